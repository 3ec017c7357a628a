"""Loads the C library, and declares the functions of caprion/caprion.h that this package calls."""

from __future__ import annotations

import ctypes
import os
from ctypes import CFUNCTYPE, POINTER, c_bool, c_char_p, c_int, c_int64, c_size_t, c_uint, c_uint64, c_void_p
from typing import Any


class Criterion(ctypes.Structure):
    _fields_ = [("kind", c_char_p), ("value", c_char_p)]


SearchCompletion = CFUNCTYPE(None, c_void_p, c_void_p, c_void_p)
DownloadCompletion = CFUNCTYPE(None, c_char_p, c_void_p, c_void_p)

# The release callback is always a C function, never Python: see _calls.py.
_SEARCH = [SearchCompletion, c_void_p, c_void_p]
_DOWNLOAD = [DownloadCompletion, c_void_p, c_void_p]
_NUMBER = [c_void_p, POINTER(c_int64)]

# The result and the arguments of each function. A string that the caller frees is a c_void_p.
_FUNCTIONS: dict[str, tuple[Any, list[Any]]] = {
    "helper_new": (c_void_p, []),
    "helper_free": (None, [c_void_p]),
    "helper_find_subtitles_for": (None, [c_void_p, c_char_p, c_char_p, *_SEARCH]),
    "helper_find_subtitles_matching": (None, [c_void_p, c_char_p, c_char_p, *_SEARCH]),
    "helper_cancel_search": (None, [c_void_p]),
    "query": (None, [c_void_p, POINTER(Criterion), c_size_t, *_SEARCH]),
    "downloader_new": (c_void_p, []),
    "downloader_free": (None, [c_void_p]),
    "downloader_download": (None, [c_void_p, c_void_p, *_DOWNLOAD]),
    "downloader_cancel": (None, [c_void_p]),
    "subtitle_list_new": (c_void_p, [POINTER(c_void_p), c_size_t]),
    "subtitle_list_free": (None, [c_void_p]),
    "subtitle_list_count": (c_size_t, [c_void_p]),
    "subtitle_list_at": (c_void_p, [c_void_p, c_size_t]),
    "subtitle_free": (None, [c_void_p]),
    "subtitle_imdb_id_copy": (c_void_p, [c_void_p]),
    "subtitle_detail_string_copy": (c_void_p, [c_void_p]),
    "subtitle_json_copy": (c_void_p, [c_void_p, POINTER(c_void_p)]),
    "subtitle_new_from_json": (c_void_p, [c_char_p, POINTER(c_void_p)]),
    "string_free": (None, [c_void_p]),
    "error_domain": (c_char_p, [c_void_p]),
    "error_code": (c_int64, [c_void_p]),
    "error_description": (c_char_p, [c_void_p]),
    "error_recovery_suggestion": (c_char_p, [c_void_p]),
    "error_free": (None, [c_void_p]),
    "file_hash": (c_bool, [c_char_p, c_char_p, POINTER(c_uint64)]),
    "components_new_from_path": (c_void_p, [c_char_p]),
    "components_free": (None, [c_void_p]),
    "components_title": (c_char_p, [c_void_p]),
    "components_year": (c_bool, _NUMBER),
    "components_season": (c_bool, _NUMBER),
    "components_episode": (c_bool, _NUMBER),
    "components_resolution": (c_char_p, [c_void_p]),
    "components_search_string": (c_char_p, [c_void_p]),
    "ranking_new": (c_void_p, [c_void_p, c_char_p]),
    "ranking_free": (None, [c_void_p]),
    "ranking_count": (c_size_t, [c_void_p]),
    "ranking_subtitle_at": (c_void_p, [c_void_p, c_size_t]),
    "ranking_evidence_at": (c_int, [c_void_p, c_size_t]),
    "ranking_reason_at": (c_char_p, [c_void_p, c_size_t]),
    "language_from": (c_void_p, [c_char_p]),
    "language_count": (c_size_t, []),
    "language_at": (c_void_p, [c_size_t]),
    "language_identifier": (c_char_p, [c_void_p]),
    "language_iso6391": (c_char_p, [c_void_p]),
    "language_iso6392": (c_char_p, [c_void_p]),
    "language_tag": (c_char_p, [c_void_p]),
    "language_name": (c_char_p, [c_void_p]),
    "bundle_set_name": (c_bool, [c_char_p]),
}


class Library:
    """The functions, named without "caprion_"."""

    def __init__(self) -> None:
        name = os.environ.get("CAPRION_LIBRARY") or "libcaprion.so.1"
        advice = "install the Debian package libcaprion1, or set CAPRION_LIBRARY to the path of libcaprion.so.1"
        try:
            library = ctypes.CDLL(name)
        except OSError as error:
            raise ImportError(f"the Caprion library was not found ({error}): {advice}") from error
        try:
            for function, (result, arguments) in _FUNCTIONS.items():
                entry = getattr(library, "caprion_" + function)
                entry.restype, entry.argtypes = result, arguments
                setattr(self, function, entry)
        except AttributeError as error:
            raise ImportError(f"{name} is not a Caprion library of this version ({error}): {advice}") from error

    def __getattr__(self, name: str) -> Any:  # only for type checkers: all functions are attributes
        raise AttributeError(name)


lib = Library()

# Semaphores of the C standard library, which can be posted without the interpreter.
_libc = ctypes.CDLL(None)
sem_init, sem_trywait = _libc.sem_init, _libc.sem_trywait
sem_init.argtypes, sem_trywait.argtypes = [c_void_p, c_int, c_uint], [c_void_p]
SEM_POST = ctypes.cast(_libc.sem_post, c_void_p)


def text(value: bytes | None) -> str:
    """Decodes a borrowed string."""
    return (value or b"").decode("utf-8", "replace")


def owned_text(pointer: int | None) -> str:
    """Decodes and frees a string."""
    if not pointer:
        raise MemoryError
    try:
        return text(ctypes.string_at(pointer))
    finally:
        lib.string_free(pointer)


def text_argument(value: str, what: str) -> bytes:
    """Encodes a string for the library."""
    if not isinstance(value, str):
        raise TypeError(f"{what} must be a str, not {type(value).__name__}")
    return _without_nul(value.encode(), what)


def path_argument(path: str | bytes | os.PathLike[str] | os.PathLike[bytes]) -> bytes:
    """Encodes a path for the library: any bytes but NUL."""
    return _without_nul(os.fsencode(path), "a path")


def _without_nul(value: bytes, what: str) -> bytes:
    if b"\0" in value:
        raise ValueError(f"{what} must not hold a NUL")
    return value
