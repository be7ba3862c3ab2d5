"""How many threads operations work on."""

from __future__ import annotations

import contextlib
from typing import Generator

from . import _bindings as c
from ._progress import make
from ._values import count


@contextlib.contextmanager
def thread_limit(threads: int) -> Generator[None, None, None]:
    """Within it, operations work on so many threads at most, the calling one included.

    It holds for the whole process, on every thread. Of several limits the lowest holds. Results are the same, bit for
    bit, for any number.

    Parameters
    ----------
    threads : int
        At least 1. A number beyond that of the processors changes nothing.

    >>> import sorvane
    >>> with sorvane.thread_limit(1):
    ...     sorvane.thread_count()
    1
    """
    limit = make(c.sorvane_threads_open, count(threads, "threads"))
    try:
        yield
    finally:
        del limit


def thread_count() -> int:
    """The threads that an operation would work on now."""
    threads: int = c.sorvane_threads_current()
    return threads
