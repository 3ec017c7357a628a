"""Finds and fetches subtitles for local video files, using the Caprion library.

    hits = caprion.find("Movie.mkv", "eng")
    path = caprion.ranked("Movie.mkv", hits)[0].subtitle.download()

`caprion.aio` has the same functions for asyncio. Every failure of the library raises a caprion.Error.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from ._errors import Cancelled, Error, NoConnection, NoSubtitleInArchive, NotAList, TimedOut
from ._matching import language, languages, movie_hash, parse, ranked, set_application_name
from ._records import Components, Evidence, Language, MovieHash, MovieKind, RankedSubtitle, Subtitle
from ._searches import find, query, search

if TYPE_CHECKING:
    from . import aio

__all__ = [
    "Cancelled",
    "Components",
    "Error",
    "Evidence",
    "Language",
    "MovieHash",
    "MovieKind",
    "NoConnection",
    "NoSubtitleInArchive",
    "NotAList",
    "RankedSubtitle",
    "Subtitle",
    "TimedOut",
    "aio",
    "find",
    "language",
    "languages",
    "movie_hash",
    "parse",
    "query",
    "ranked",
    "search",
    "set_application_name",
]


def __getattr__(name: str) -> Any:
    """Imports `caprion.aio` on first use, as importing asyncio takes longer than the rest of the package."""
    if name == "aio":
        from importlib import import_module

        return import_module("caprion.aio")
    raise AttributeError(f"module 'caprion' has no attribute {name!r}")
