"""Finds and fetches subtitles for local video files, with the Caprion library.

    hits = caprion.find("Movie.mkv", "eng")
    path = caprion.ranked("Movie.mkv", hits)[0].subtitle.download()

`caprion.aio` has the same for asyncio. Every failure of the library is a caprion.Error.
"""

from . import aio
from ._errors import Cancelled, Error, NoConnection, NoSubtitleInArchive, NotAList, TimedOut
from ._matching import language, languages, movie_hash, parse, ranked, set_application_name
from ._records import Components, Evidence, Language, MovieHash, MovieKind, RankedSubtitle, Subtitle
from ._searches import find, query, search

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
