"""The exceptions."""

from __future__ import annotations

import errno

from ._library import lib, text

_URL = "NSURLErrorDomain"
_POSIX = "NSPOSIXErrorDomain"
_ANSWER = "org.caprion.answer"


class Error(Exception):
    """An operation of the library has failed.

    Programs should check the class, or `domain` and `code`; `description` and `recovery_suggestion` (which may be
    None) are for people. Caprion's docs/errors.md lists all errors.
    """

    def __init__(self, domain: str, code: int, description: str, recovery_suggestion: str | None = None) -> None:
        super().__init__(domain, code, description, recovery_suggestion)
        self.domain = domain
        self.code = code
        self.description = description
        self.recovery_suggestion = recovery_suggestion

    def __str__(self) -> str:
        return self.description


class TimedOut(Error):
    """The service, the disk or unzip took too long, or longer than the call's `timeout`."""

    def __init__(
        self,
        domain: str = _URL,
        code: int = -1001,
        description: str = "The request timed out",
        recovery_suggestion: str | None = None,
    ) -> None:
        super().__init__(domain, code, description, recovery_suggestion)


class NoConnection(Error):
    """The server could not be found or reached, or the connection was lost."""


class Cancelled(Error):
    """The operation was cancelled, either by the program or because the interpreter exits."""

    def __init__(
        self,
        domain: str = _URL,
        code: int = -999,
        description: str = "The request was cancelled",
        recovery_suggestion: str | None = None,
    ) -> None:
        super().__init__(domain, code, description, recovery_suggestion)


class NotAList(Error):
    """The answer to a search isn't a list of subtitles. The description is the whole answer: show its start."""


class NoSubtitleInArchive(Error):
    """The archive holds no file of the subtitle's format, or the server's answer isn't an archive."""


_CLASSES: dict[tuple[str, int], type[Error]] = {
    (_URL, -1001): TimedOut,
    (_POSIX, errno.ETIMEDOUT): TimedOut,
    (_URL, -1003): NoConnection,
    (_URL, -1004): NoConnection,
    (_URL, -1005): NoConnection,
    (_URL, -999): Cancelled,
    (_ANSWER, 0): NotAList,
}


def error_from(handle: int) -> Error:
    """The exception for an error of the library."""
    domain, code = text(lib.error_domain(handle)), int(lib.error_code(handle))
    description = text(lib.error_description(handle))
    hint = lib.error_recovery_suggestion(handle)
    kind = _CLASSES.get((domain, code), Error)
    if not domain and description == "No subtitle file found in the zip archive.":
        kind = NoSubtitleInArchive  # the library's own errors have no codes
    return kind(domain, code, description, None if hint is None else text(hint))
