"""The functions that need no network: movie hashes, file names, ranking, languages."""

from __future__ import annotations

import ctypes
import os
from typing import Iterable

from ._library import lib, path_argument, text, text_argument
from ._records import Components, Evidence, Language, MovieHash, RankedSubtitle, subtitle_from, subtitle_handle
from ._records import Subtitle


def movie_hash(path: str | os.PathLike[str]) -> MovieHash | None:
    """The movie hash and the size of a file; None if it isn't a readable file.

    These are ("", 0) for a file shorter than 65,536 bytes. Reads up to 128 KiB.
    """
    digits, size = ctypes.create_string_buffer(17), ctypes.c_uint64()
    if not lib.file_hash(path_argument(path), digits, size):
        return None
    return MovieHash(digits.value.decode(), size.value)


def parse(path: str | os.PathLike[str]) -> Components:
    """Splits the name of a video file into title, year, season, episode and resolution. Doesn't access the file."""
    components = lib.components_new_from_path(path_argument(path))
    if not components:
        raise MemoryError
    try:
        numbers: list[int | None] = []
        for getter in (lib.components_year, lib.components_season, lib.components_episode):
            number = ctypes.c_int64()
            numbers.append(number.value if getter(components, number) else None)
        resolution = lib.components_resolution(components)
        return Components(
            text(lib.components_title(components)),
            year=numbers[0],
            season=numbers[1],
            episode=numbers[2],
            resolution=None if resolution is None else text(resolution),
            search_string=text(lib.components_search_string(components)),
        )
    finally:
        lib.components_free(components)


def ranked(path: str | os.PathLike[str], hits: Iterable[Subtitle]) -> list[RankedSubtitle]:
    """The hits that suit a video by its name, the best first. Doesn't access the file or the network."""
    video = path_argument(path)
    handles: list[int] = []
    subtitles = ranking = None
    try:
        for hit in hits:
            handles.append(subtitle_handle(hit))
        subtitles = lib.subtitle_list_new((ctypes.c_void_p * len(handles))(*handles), len(handles))
        ranking = lib.ranking_new(subtitles, video)
        if not ranking:
            raise MemoryError
        return [
            RankedSubtitle(
                subtitle_from(lib.ranking_subtitle_at(ranking, index)),
                Evidence(lib.ranking_evidence_at(ranking, index)),
                text(lib.ranking_reason_at(ranking, index)),
            )
            for index in range(lib.ranking_count(ranking))
        ]
    finally:
        lib.ranking_free(ranking)
        lib.subtitle_list_free(subtitles)
        for handle in handles:
            lib.subtitle_free(handle)


def language(code: str) -> Language | None:
    """The language with a code: the service's identifier, ISO 639-1, ISO 639-2, or a tag such as "pt-BR"."""
    handle = lib.language_from(text_argument(code, "a language's code"))
    return _language(handle) if handle else None


def languages() -> list[Language]:
    """All languages of the service, in the order of their identifiers."""
    return [_language(lib.language_at(index)) for index in range(lib.language_count())]


def _language(handle: int) -> Language:
    getters = (
        lib.language_identifier,
        lib.language_iso6391,
        lib.language_iso6392,
        lib.language_tag,
        lib.language_name,
    )
    return Language(*(text(getter(handle)) for getter in getters))


def set_application_name(name: str | None) -> None:
    """Sets the application name, which names the folder of all later downloads; None restores "Caprion"."""
    if not lib.bundle_set_name(None if name is None else text_argument(name, "the application's name")):
        raise MemoryError
