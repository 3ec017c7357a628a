"""Running operations, from their start in the library to their outcome.

Reports arrive on threads of the library, and one that arrived while the interpreter shuts down would crash the
process. So each call is kept until the library has released it: it then posts a semaphore, from C, after it has left
Python. At exit new calls are refused, the running ones are cancelled, and the interpreter waits for their release.
"""

from __future__ import annotations

import atexit
import ctypes
import logging
import os
import threading
import time
import weakref
from collections import deque
from pathlib import Path
from typing import Any, Callable, Generic, TypeVar, Union

from ._errors import Cancelled, TimedOut, error_from
from ._library import SEM_POST, DownloadCompletion, SearchCompletion, lib, sem_init, sem_trywait
from ._records import Subtitle, subtitle_from, subtitle_handle

_log = logging.getLogger("caprion")

Value = TypeVar("Value")
Outcome = Union[Value, BaseException]

_EXIT_SECONDS = 5.0  # longest wait for cancelled calls when the interpreter exits
STOP_SECONDS = 0.5  # longest wait for one cancelled call
_SLICE_SECONDS = 0.2  # longest delay until a signal that another thread received is noticed

_lock = threading.Lock()
_calls: dict[int, Call[Any]] = {}  # the running ones, by context
_leaving: deque[ctypes.Array[Any]] = deque()  # semaphores of ended calls, until they are posted
_of_parent: list[Call[Any]] = []
_exiting = False


class Call(Generic[Value]):
    """One operation. `on_end` is called once with the outcome, on any thread."""

    def __init__(self, on_end: Callable[[Outcome[Value]], None] | None = None) -> None:
        self._on_end = on_end
        self._outcome: Outcome[Value] | None = None
        self._has_ended = threading.Event()
        self._is_cancelled = False
        self._released = (ctypes.c_long * 4)()  # a sem_t
        self.context = ctypes.addressof(self._released)
        sem_init(self.context, 0, 0)

    def run(self, start: Callable[[], None]) -> None:
        """Starts the operation by calling `start`, unless it is cancelled or the interpreter exits."""
        with _lock:
            if _exiting or self._is_cancelled:
                raise Cancelled
            _drop_posted()
            _calls[self.context] = self
        start()
        if self._is_cancelled:
            self.cancel()

    def cancel(self) -> None:
        """Requests cancellation. Returns at once."""
        self._is_cancelled = True

    def end(self, outcome: Outcome[Value]) -> None:
        """Stores the outcome and passes it on."""
        self._outcome = outcome
        self._has_ended.set()
        if self.is_under_way:
            _leaving.append(self._released)
            del _calls[self.context]
        if self._on_end is not None:
            self._on_end(outcome)

    @property
    def is_under_way(self) -> bool:
        return self.context in _calls

    def result(self, timeout: float | None = None) -> Value:
        """Waits for the outcome. Stops the operation after `timeout` seconds, or on an exception such as Ctrl-C."""
        deadline = None if timeout is None else time.monotonic() + timeout
        try:
            while not self._has_ended.wait(_SLICE_SECONDS if deadline is None else _slice_before(deadline)):
                if deadline is not None and time.monotonic() >= deadline:
                    raise TimedOut
        except BaseException:
            self.stop()
            raise
        if isinstance(self._outcome, BaseException):
            raise self._outcome
        return self._outcome  # type: ignore[return-value]

    def stop(self) -> None:
        """Cancels the operation, and waits for its end, but not for long."""
        deadline = time.monotonic() + STOP_SECONDS
        self.cancel()
        while self.is_under_way and time.monotonic() < deadline:
            self.cancel()  # again, as a download may not have started the first time
            self._has_ended.wait(0.01)


def _slice_before(deadline: float) -> float:
    return max(0.0, min(_SLICE_SECONDS, deadline - time.monotonic()))


class Search(Call["list[Subtitle]"]):
    """A search, with its own facade object, so that it can be cancelled."""

    def __init__(self, on_end: Callable[[Outcome[list[Subtitle]]], None] | None = None) -> None:
        super().__init__(on_end)
        self._helper = _handle_of(self, lib.helper_new(), lib.helper_free)

    def start(self, function: Any, *arguments: Any) -> Search:
        """Starts the search by calling a function of the library."""

        def start() -> None:
            function(self._helper, *arguments, _SEARCH_ENDED, self.context, SEM_POST)

        self.run(start)
        return self

    def cancel(self) -> None:
        super().cancel()
        lib.helper_cancel_search(self._helper)


class Download(Call[Path]):
    """A download, which blocks its own thread."""

    def __init__(self, subtitle: Subtitle, on_end: Callable[[Outcome[Path]], None] | None = None) -> None:
        super().__init__(on_end)
        self._downloader = _handle_of(self, lib.downloader_new(), lib.downloader_free)
        self._subtitle = _handle_of(self, subtitle_handle(subtitle), lib.subtitle_free)
        self.last_report: Outcome[Path] = Cancelled()  # if there is no report

    def start(self) -> Download:
        # A daemon thread, which the interpreter doesn't wait for: _end_all() does.
        threading.Thread(target=self._run, name="caprion download", daemon=True).start()
        return self

    def _run(self) -> None:
        try:
            self.run(self._download)
        except BaseException as error:
            self.last_report = error
        try:
            self.end(self.last_report)
        except BaseException:
            _log.exception("an exception at the end of a download")

    def _download(self) -> None:
        lib.downloader_download(self._downloader, self._subtitle, _DOWNLOAD_REPORTED, self.context, SEM_POST)

    def cancel(self) -> None:
        super().cancel()
        lib.downloader_cancel(self._downloader)


def _handle_of(owner: object, handle: int | None, free: Callable[[int], None]) -> int:
    """Returns the handle, and frees it together with its owner."""
    if not handle:
        raise MemoryError
    weakref.finalize(owner, free, handle).atexit = False
    return handle


# The library calls these functions on any thread. No exception may leave them.


def _search_ended(subtitles: int | None, error: int | None, context: int) -> None:
    try:
        call = _calls[context]
        try:
            outcome: Outcome[list[Subtitle]] = error_from(error) if error else _subtitles_in(subtitles)
        except BaseException as exception:  # such as MemoryError
            outcome = exception
        call.end(outcome)
    except BaseException:
        _log.exception("an exception at the end of a search")


def _download_reported(path: bytes | None, error: int | None, context: int) -> None:
    try:
        call = _calls[context]
        assert isinstance(call, Download)
        call.last_report = error_from(error) if error else Path(os.fsdecode(path or b""))
    except BaseException:
        _log.exception("an exception in a report of a download")


_SEARCH_ENDED = SearchCompletion(_search_ended)
_DOWNLOAD_REPORTED = DownloadCompletion(_download_reported)


def _subtitles_in(subtitles: int | None) -> list[Subtitle]:
    count = lib.subtitle_list_count(subtitles)
    return [subtitle_from(lib.subtitle_list_at(subtitles, index)) for index in range(count)]


def _end_all() -> None:
    global _exiting
    with _lock:
        _exiting = True
    deadline = time.monotonic() + _EXIT_SECONDS
    while (_calls or _leaving) and time.monotonic() < deadline:
        for call in list(_calls.values()):
            call.cancel()
        _drop_posted()
        time.sleep(0.001)


def _drop_posted() -> None:
    while _leaving and sem_trywait(ctypes.addressof(_leaving[0])) == 0:
        _leaving.popleft()


def _forget_all() -> None:
    """Drops the parent's calls in a child of fork(), where they never report."""
    global _lock
    _lock = threading.Lock()
    _of_parent.extend(_calls.values())  # kept, as freeing them might wait for threads that only the parent has
    _calls.clear()
    _leaving.clear()


atexit.register(_end_all)
os.register_at_fork(after_in_child=_forget_all)
