"""The values that the library returns. They are plain Python objects and own no memory of the library."""

from __future__ import annotations

import ctypes
import enum
import json
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable, NamedTuple

from ._errors import error_from
from ._library import lib, owned_text


class MovieKind(enum.Enum):
    """The kind of title that a subtitle is for."""

    MOVIE = "movie"
    EPISODE = "episode"


@dataclass(frozen=True, repr=False)
class Subtitle:
    """One hit of a search: a subtitle file that the service offers.

    The fields are as the service wrote them: any string may be empty, and years and numbers are strings too.
    """

    subtitle_id: str  #: the service's identifier of the subtitle
    matched_by: str  #: how the service matched the hit, such as "moviehash"
    sub_file_name: str  #: the name of the subtitle file
    sub_language_id: str  #: the service's language code, such as "eng"
    language_name: str  #: such as "English"
    iso639: str  #: such as "en"
    sub_format: str  #: such as "srt"
    movie_name: str  #: the title; for an episode, including that of its series
    movie_year: str
    movie_kind: MovieKind
    imdb_id_movie: str  #: the IMDb number of the title, without "tt"
    imdb_id_series: str  #: the same of an episode's series
    series_season: str
    series_episode: str
    zip_download_link: str | None  #: None if there is nothing to download
    sub_download_link: str | None
    sub_sum_cd: str  #: the number of discs that the subtitle spans

    def __repr__(self) -> str:
        return f"<Subtitle {self.subtitle_id} {self.sub_file_name!r} ({self.sub_language_id}), {self.detail_string}>"

    @property
    def imdb_id(self) -> str:
        """The IMDb identifier of the title (for an episode, of its series), such as "tt0000133"."""
        return _read(self, lib.subtitle_imdb_id_copy)

    @property
    def detail_string(self) -> str:
        """The title in one line: "Alien (79)", or "Pilot (99), season 1, episode 3"."""
        return _read(self, lib.subtitle_detail_string_copy)

    def to_json(self) -> str:
        """The record as a JSON object with the service's keys."""
        values = ((key, getattr(self, field)) for field, key in _KEYS.items())
        return json.dumps(
            {key: value.value if isinstance(value, MovieKind) else value for key, value in values if value is not None}
        )

    @staticmethod
    def from_json(record: str) -> Subtitle:
        """Decodes a JSON object with the service's keys. Raises Error."""
        handle = _decode(record)
        try:
            return subtitle_from(handle)
        finally:
            lib.subtitle_free(handle)

    def download(self, *, timeout: float | None = None) -> Path:
        """Downloads the archive, unpacks it, and returns the path of the subtitle file, in the cache folder.

        Blocks until the download has ended, but at most for `timeout` seconds. Raises Error. A later download of the
        same subtitle empties the folder first, so move or copy the file to keep it.
        """
        from ._calls import Download

        return Download(self).start().result(timeout)


_KEYS = {
    "subtitle_id": "IDSubtitle",
    "matched_by": "MatchedBy",
    "sub_file_name": "SubFileName",
    "sub_language_id": "SubLanguageID",
    "language_name": "LanguageName",
    "iso639": "ISO639",
    "sub_format": "SubFormat",
    "movie_name": "MovieName",
    "movie_year": "MovieYear",
    "movie_kind": "MovieKind",
    "imdb_id_movie": "IDMovieImdb",
    "imdb_id_series": "SeriesIMDBParent",
    "series_season": "SeriesSeason",
    "series_episode": "SeriesEpisode",
    "zip_download_link": "ZipDownloadLink",
    "sub_download_link": "SubDownloadLink",
    "sub_sum_cd": "SubSumCD",
}


class Evidence(enum.Enum):
    """Why a hit belongs to a video, the strongest evidence first."""

    CONTENT = 0  #: the service knows the video by its movie hash
    RELEASE = 1  #: the service knows the release by its name
    TITLE = 2  #: title and episode, or title and year, are those in the video's name


@dataclass(frozen=True)
class RankedSubtitle:
    """A hit that suits a video, and why."""

    subtitle: Subtitle
    evidence: Evidence
    reason: str  #: for people, such as "found by content"


@dataclass(frozen=True)
class Components:
    """The parts of a video file's name."""

    title: str
    year: int | None
    season: int | None
    episode: int | None
    resolution: str | None  #: as written in the name: "720p"
    search_string: str  #: a text to search by


class MovieHash(NamedTuple):
    """The movie hash of a file, 16 hexadecimal digits, and its size in bytes."""

    hash: str
    size: int


@dataclass(frozen=True)
class Language:
    """A language that the service has subtitles in. A code that it doesn't have is the empty string."""

    identifier: str  #: the service's identifier, which searches take: "eng", "pob"
    iso6391: str  #: the ISO 639-1 code: "en"
    iso6392: str  #: the ISO 639-2/T code: "eng", "deu"
    tag: str  #: the BCP 47 tag, with a region if the service distinguishes one: "pt-BR"
    name: str  #: the name in English: "Portuguese (Brazil)"


def subtitle_from(handle: int) -> Subtitle:
    """Converts a record of the library."""
    error = ctypes.c_void_p()
    encoded = lib.subtitle_json_copy(handle, error)
    _raise_if(error)
    record: dict[str, Any] = json.loads(owned_text(encoded))
    values: dict[str, Any] = {field: record.get(key) for field, key in _KEYS.items()}
    values["movie_kind"] = MovieKind(values["movie_kind"])
    return Subtitle(**values)


def subtitle_handle(subtitle: Subtitle) -> int:
    """A new record of the library, which the caller frees."""
    if not isinstance(subtitle, Subtitle):
        raise TypeError(f"a Subtitle is needed, not {type(subtitle).__name__}")
    return _decode(subtitle.to_json())


def _decode(record: str) -> int:
    error = ctypes.c_void_p()
    handle = lib.subtitle_new_from_json(record.encode(), error)
    _raise_if(error)
    if not handle:
        raise MemoryError
    return int(handle)


def _raise_if(error: ctypes.c_void_p) -> None:
    if error.value:
        try:
            raise error_from(error.value)
        finally:
            lib.error_free(error)


def _read(subtitle: Subtitle, getter: Callable[[int], int | None]) -> str:
    handle = subtitle_handle(subtitle)
    try:
        return owned_text(getter(handle))
    finally:
        lib.subtitle_free(handle)
