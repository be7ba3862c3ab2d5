"""Lists of lines as arrays: what sections, regions and chains come as and go in as."""

from __future__ import annotations

from typing import Any, Iterable, List, NamedTuple, Sequence, Tuple, Union

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, FloatArray, IntArray, points_of, view
from ._handles import Handle
from ._values import list_of


def _nothing(pointer: Any) -> None:
    """Releases what belongs to another handle."""


class Borrowed(Handle):
    """A handle that belongs to another one, which it keeps alive."""

    __slots__ = ("_owner",)

    def __init__(self, pointer: Any, owner: Handle) -> None:
        self._free = _nothing
        self._as_parameter_ = pointer
        self._owner = owner


class Lines(NamedTuple):
    """Lines of a handle: views of its memory."""

    points: FloatArray
    starts: IntArray
    closed: IntArray

    def line(self, index: int) -> FloatArray:
        """The points of one line."""
        return self.points[self.starts[index] : self.starts[index + 1]]

    def all(self) -> List[FloatArray]:
        return [self.line(i) for i in range(len(self.closed))]

    def all_told_closed(self) -> List[FloatArray]:
        """All of them, those that are closed with their first point again at the end."""
        return [
            np.concatenate([line, line[:1]]) if is_closed else line for line, is_closed in zip(self.all(), self.closed)
        ]


def lines_of(handle: Handle, columns: int = 2) -> Lines:
    """What a `sorvane_lines` holds."""
    return Lines(
        view(handle, c.sorvane_lines_points, columns),
        view(handle, c.sorvane_lines_starts),
        view(handle, c.sorvane_lines_closed),
    )


def groups_of(handle: Handle) -> List[List[FloatArray]]:
    """The lines of a `sorvane_line_groups`, a list for each group."""
    lines = lines_of(Borrowed(c.sorvane_line_groups_lines(handle), handle)).all()
    starts = view(handle, c.sorvane_line_groups_starts)
    return [lines[starts[i] : starts[i + 1]] for i in range(len(starts) - 1)]


def _is_point(row: Any) -> bool:
    try:
        return np.shape(row) == (2,)
    except ValueError:  # rows of different lengths
        return False


def flat_lines(lines: Union[ArrayLike, Iterable[ArrayLike]], name: str) -> Tuple[FloatArray, IntArray]:
    """The points of lines, one after the other, and where each starts; a single array (n, 2) is one line."""
    given: Sequence[Any]
    if isinstance(lines, np.ndarray):
        given = [lines] if lines.ndim == 2 else list(lines)
    else:
        given = list_of(lines, name)  # type: ignore[arg-type]
        if given and all(_is_point(row) for row in given):
            given = [given]
    arrays = [points_of(line, f"{name}[{i}]", 2) for i, line in enumerate(given)]
    starts = np.zeros(len(arrays) + 1, dtype=np.int32)
    if arrays:
        total = np.cumsum([len(array) for array in arrays])
        if total[-1] >= 2**31:
            raise ValueError(f"{name}: expected fewer than 2^31 points, given {total[-1]}")
        starts[1:] = total
    points = arrays[0] if len(arrays) == 1 else np.concatenate([np.empty((0, 2)), *arrays])
    return points, starts
