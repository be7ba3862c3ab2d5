"""Lists of lines: what sections, regions and cuts give, and what they are given."""

from __future__ import annotations

from typing import Any, Iterable, Iterator, List, Sequence, Tuple, Union, overload

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, BoolArray, FloatArray, IntArray, indices_of, points_of, view
from ._handles import Handle
from ._values import list_of

#: Lines on their way in: a list of arrays, or `Lines` as they came out.
LinesLike = Union["Lines", Sequence[ArrayLike]]


def _nothing(pointer: Any) -> None:
    """Releases what belongs to another handle."""


class Borrowed(Handle):
    """A handle that belongs to another one, which it keeps alive."""

    __slots__ = ("_owner",)

    def __init__(self, pointer: Any, owner: Handle) -> None:
        self._free = _nothing
        self._as_parameter_ = pointer
        self._owner = owner


class Lines(Sequence[FloatArray]):
    """Lines of points in the plane or in space, open or closed; each one is an array (n, 2) or (n, 3).

    All arrays are read-only views. The last point of a closed line is not its first one again.

    >>> import sorvane
    >>> lines = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 1]], [[0, 1, 2]]).section(0.5).chains
    >>> len(lines)
    1
    >>> lines[0].shape, lines.closed
    ((2, 2), array([False]))
    """

    __slots__ = ("points", "starts", "closed")

    #: The points of all lines, (k, 2) or (k, 3).
    points: FloatArray
    #: Line i has the points from starts[i] to starts[i + 1] - 1, (len + 1,).
    starts: IntArray
    #: Which of the lines are closed, (len,).
    closed: BoolArray

    def __init__(self, points: FloatArray, starts: IntArray, closed: BoolArray) -> None:
        self.points = points
        self.starts = starts
        self.closed = closed

    @classmethod
    def _of(cls, handle: Handle) -> "Lines":
        """The lines behind a handle of the C interface, which they keep alive."""
        dimension = int(c.sorvane_lines_dimension(handle))
        closed: BoolArray = view(handle, c.sorvane_lines_closed) != 0
        closed.flags.writeable = False
        return cls(view(handle, c.sorvane_lines_points, dimension), view(handle, c.sorvane_lines_starts), closed)

    def _part(self, first: int, last: int) -> "Lines":
        starts = self.starts[first : last + 1]
        own: IntArray = starts - starts[0]
        own.flags.writeable = False
        return Lines(self.points[starts[0] : starts[-1]], own, self.closed[first:last])

    def _told_closed(self) -> List[FloatArray]:
        """All of them, those that are closed with their first point again at the end."""
        return [
            np.concatenate([line, line[:1]]) if is_closed else line for line, is_closed in zip(self, self.closed)
        ]

    def __len__(self) -> int:
        return len(self.closed)

    @overload
    def __getitem__(self, index: int) -> FloatArray: ...

    @overload
    def __getitem__(self, index: slice) -> List[FloatArray]: ...

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(len(self)))]
        place = index + len(self) if index < 0 else index
        if not 0 <= place < len(self):
            raise IndexError(f"line {index} of {len(self)}")
        return self.points[self.starts[place] : self.starts[place + 1]]

    def __iter__(self) -> Iterator[FloatArray]:
        for i in range(len(self)):
            yield self.points[self.starts[i] : self.starts[i + 1]]

    def __repr__(self) -> str:
        count = len(self)
        return f"<sorvane.Lines: {count} line{'s' * (count != 1)}, {int(self.closed.sum())} closed>"

    def lengths(self) -> FloatArray:
        """Length of each line, (len,); a closed one with the way back to its first point."""
        lengths = np.zeros(len(self))
        for i, line in enumerate(self):
            if len(line) > 0:
                steps = np.diff(np.concatenate([line, line[:1]]) if self.closed[i] else line, axis=0)
                lengths[i] = np.sqrt((steps * steps).sum(axis=1)).sum()
        return lengths

    def _repr_svg_(self) -> str:
        from ._plane_pictures import lines_svg

        return lines_svg(self)


def groups_of(handle: Handle) -> List[List[FloatArray]]:
    """The lines of a `sorvane_line_groups`, a list for each group."""
    lines = list(Lines._of(Borrowed(c.sorvane_line_groups_lines(handle), handle)))
    starts = view(handle, c.sorvane_line_groups_starts)
    return [lines[starts[i] : starts[i + 1]] for i in range(len(starts) - 1)]


def joined(lines: LinesLike, name: str, columns: int = 3) -> Tuple[FloatArray, IntArray]:
    """The points of all lines one after the other, and where each of them starts."""
    if isinstance(lines, Lines):
        return points_of(lines.points, name, columns), indices_of(lines.starts, f"{name}.starts")
    if isinstance(lines, np.ndarray) and lines.ndim == 2:
        raise ValueError(f"{name}: expected a list of arrays of shape (n, {columns}), given one of {lines.shape}")
    arrays = [points_of(line, f"{name}[{i}]", columns) for i, line in enumerate(list_of(lines, name))]
    starts = np.zeros(len(arrays) + 1, dtype=np.int32)
    if arrays:
        total = np.cumsum([len(array) for array in arrays])
        if total[-1] >= 2**31:
            raise ValueError(f"{name}: expected fewer than 2^31 points, given {total[-1]}")
        starts[1:] = total
    if len(arrays) == 1:
        return arrays[0], starts
    return np.concatenate(arrays) if arrays else np.empty((0, columns)), starts


def _is_point(row: Any) -> bool:
    try:
        return np.shape(row) == (2,)
    except ValueError:  # rows of different lengths
        return False


def flat_lines(lines: Union[ArrayLike, Iterable[ArrayLike]], name: str) -> Tuple[FloatArray, IntArray]:
    """Lines of the plane as `joined` gives them; a single array (n, 2) is one line."""
    if isinstance(lines, Lines):
        return joined(lines, name, 2)
    if isinstance(lines, np.ndarray):
        return joined([lines] if lines.ndim == 2 else list(lines), name, 2)
    given: Sequence[Any] = list_of(lines, name)  # type: ignore[arg-type]
    if given and all(_is_point(row) for row in given):
        given = [given]
    return joined(given, name, 2)
