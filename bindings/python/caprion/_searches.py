"""The searches, for blocking callers and for asyncio."""

from __future__ import annotations

import os
from typing import Any, Callable, Iterable, Mapping, Union

from ._calls import Outcome, Search
from ._library import Criterion, lib, path_argument, text_argument
from ._records import Subtitle

Criteria = Union[Mapping[str, str], Iterable["tuple[str, str]"]]
OnEnd = Callable[[Outcome["list[Subtitle]"]], None]


class Request:
    """A search to be started: a function of the library, and its arguments."""

    def __init__(self, function: Any, *arguments: Any) -> None:
        self._function = function
        self._arguments = arguments

    def start(self, search: Search) -> Search:
        return search.start(self._function, *self._arguments)


def by_file(path: str | os.PathLike[str], language: str) -> Request:
    return Request(lib.helper_find_subtitles_for, path_argument(path), text_argument(language, "a language"))


def by_text(text: str, language: str) -> Request:
    return Request(
        lib.helper_find_subtitles_matching, text_argument(text, "a text"), text_argument(language, "a language")
    )


def by_criteria(criteria: Criteria) -> Request:
    pairs = [
        (text_argument(kind, "a criterion's kind"), text_argument(value, "a criterion's value"))
        for kind, value in (criteria.items() if isinstance(criteria, Mapping) else criteria)
    ]
    return Request(lib.query, (Criterion * len(pairs))(*(Criterion(*pair) for pair in pairs)), len(pairs))


def find(path: str | os.PathLike[str], language: str = "eng", *, timeout: float | None = None) -> list[Subtitle]:
    """Searches for subtitles of a video file, by its movie hash and size. Returns an empty list if there are none.

    The language is the service's identifier; `language("en").identifier` returns it. Blocks, but at most for `timeout`
    seconds. Raises Error.
    """
    return by_file(path, language).start(Search()).result(timeout)


def search(text: str, language: str = "eng", *, timeout: float | None = None) -> list[Subtitle]:
    """Searches for subtitles by a text, otherwise like `find`."""
    return by_text(text, language).start(Search()).result(timeout)


def query(criteria: Criteria, *, timeout: float | None = None) -> list[Subtitle]:
    """Searches by criteria, which are sent in this order, such as {"imdbid": "0063350", "sublanguageid": "eng"}.

    The kinds are episode, imdbid, moviebytesize, moviehash, query, season, sublanguageid and tag.
    """
    return by_criteria(criteria).start(Search()).result(timeout)
