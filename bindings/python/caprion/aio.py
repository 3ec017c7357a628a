"""Searches and downloads for asyncio. Cancelling an await cancels the operation."""

from __future__ import annotations

import asyncio
import os
import time
from contextlib import suppress
from pathlib import Path
from typing import Any, Awaitable, Callable, TypeVar
from weakref import WeakKeyDictionary

from . import _searches
from ._calls import STOP_SECONDS, Call, Download, Outcome, Search
from ._records import Subtitle

__all__ = ["find", "search", "query", "download"]

Value = TypeVar("Value")
Started = TypeVar("Started", bound="Call[Any]")
_OnEnd = Callable[[Outcome[Value]], None]

_DOWNLOADS = 8  # in parallel, each on its own thread
_slots: WeakKeyDictionary[asyncio.AbstractEventLoop, asyncio.Semaphore] = WeakKeyDictionary()


async def find(path: str | os.PathLike[str], language: str = "eng") -> list[Subtitle]:
    """Searches for subtitles of a video file, which is read on another thread."""
    request = _searches.by_file(path, language)
    loop = asyncio.get_running_loop()
    return await _outcome_of(Search, lambda call: loop.run_in_executor(None, request.start, call))


async def search(text: str, language: str = "eng") -> list[Subtitle]:
    """Searches for subtitles by a text."""
    return await _outcome_of(Search, _searches.by_text(text, language).start)


async def query(criteria: _searches.Criteria) -> list[Subtitle]:
    """Searches for subtitles by criteria."""
    return await _outcome_of(Search, _searches.by_criteria(criteria).start)


async def download(subtitle: Subtitle) -> Path:
    """Downloads a subtitle. An event loop runs eight downloads in parallel; further ones wait."""
    async with _slots.setdefault(asyncio.get_running_loop(), asyncio.Semaphore(_DOWNLOADS)):
        return await _outcome_of(lambda on_end: Download(subtitle, on_end), Download.start)


async def _outcome_of(make: Callable[[_OnEnd[Value]], Started], start: Callable[[Started], Any]) -> Value:
    loop = asyncio.get_running_loop()
    future: asyncio.Future[Value] = loop.create_future()

    def on_end(outcome: Outcome[Value]) -> None:
        with suppress(RuntimeError):  # the loop is closed, so nothing awaits the outcome any more
            loop.call_soon_threadsafe(_settle, future, outcome)

    call = make(on_end)
    try:
        started = start(call)
        if isinstance(started, Awaitable):
            await started
        return await future
    except asyncio.CancelledError:
        await _stop(call)
        raise
    finally:
        call.cancel()


def _settle(future: asyncio.Future[Any], outcome: Outcome[Any]) -> None:
    if future.done():
        return
    if isinstance(outcome, BaseException):
        future.set_exception(outcome)
    else:
        future.set_result(outcome)


async def _stop(call: Call[Any]) -> None:
    """Cancels the call, and waits for its end, but not for long."""
    deadline = time.monotonic() + STOP_SECONDS
    call.cancel()
    while call.is_under_way and time.monotonic() < deadline:
        call.cancel()  # again, as a download may not have started the first time
        await asyncio.sleep(0.005)
