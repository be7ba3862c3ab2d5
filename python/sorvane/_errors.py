"""What a failed call raises."""

from __future__ import annotations

import os
from typing import Any, NoReturn

from . import _bindings as c

Status = c.sorvane_status


class Error(Exception):
    """An operation that failed: the geometry does not allow it, or a fault of the library.

    The text tells the reason. An argument that can't be served is a ``ValueError``, a subscript out of range an
    ``IndexError``, a lack of memory a ``MemoryError``.

    Attributes
    ----------
    status : sorvane.Status
        What the C interface answered.
    index : int or None
        The triangle, edge, point, line or element that is to blame, counted from 0, where there is one.

    >>> import sorvane
    >>> raise sorvane.Error("the lines cross at element 3", sorvane.Status.SORVANE_FAILED, 3)
    Traceback (most recent call last):
    ...
    sorvane._errors.Error: the lines cross at element 3
    """

    def __init__(self, message: str, status: Status = Status.SORVANE_FAILED, index: int | None = None) -> None:
        super().__init__(message)
        self.status = status
        self.index = index

    def __reduce__(self) -> Any:
        return type(self), (str(self), self.status, self.index)


class FileError(Error, OSError):
    """A file that can't be read or written as what it should be; ``index`` is the byte where a reader gave up.

    It is an ``Error`` and an ``OSError``. A file that is not there is a plain ``FileNotFoundError``, one that may not
    be opened a ``PermissionError``.
    """


class Stopped(Error):
    """The callable of ``progress=`` returned False."""


def failure(status: int, error: c.sorvane_error, path: str | os.PathLike[str] | None = None) -> Exception:
    """The exception for a call that gave ``status``. ``path`` is the file that it was to read."""
    message = error.message.decode("utf-8", "replace")
    index = None if error.index < 0 else int(error.index)
    if status == Status.SORVANE_BAD_ARGUMENT:
        return ValueError(message)
    if status == Status.SORVANE_BAD_INDEX:
        return IndexError(message)
    if status == Status.SORVANE_OUT_OF_MEMORY:
        return MemoryError(message)
    if status == Status.SORVANE_STOPPED:
        return Stopped(message, Status(status), index)
    if status == Status.SORVANE_FILE_ERROR:
        if path is not None:
            # The C interface tells why in words only; what the system itself refuses has an exception of its own.
            try:
                # A pipe without a writer is not waited for.
                os.close(os.open(path, os.O_RDONLY | getattr(os, "O_NONBLOCK", 0)))
                if os.path.isdir(path):
                    return IsADirectoryError(21, "Is a directory", os.fspath(path))
            except OSError as reason:
                return reason
        return FileError(message, Status(status), index)
    return Error(message, Status(status), index)


def raise_failure(status: int, error: c.sorvane_error) -> NoReturn:
    raise failure(status, error)
