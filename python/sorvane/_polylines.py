"""Lists of lines of points, on their way in and out, and pictures of them."""

from __future__ import annotations

from typing import Any, Iterator, List, Sequence, Tuple, Union, overload

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, BoolArray, FloatArray, IntArray, points_of, view
from ._handles import Handle
from ._values import list_of

#: Lines on their way in: a list of arrays, or `Lines` as they came out.
LinesLike = Union["Lines", Sequence[ArrayLike]]


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
        return cls(view(handle, c.sorvane_lines_points, dimension), view(handle, c.sorvane_lines_starts), closed)

    def _part(self, first: int, last: int) -> "Lines":
        starts = self.starts[first : last + 1]
        return Lines(self.points[starts[0] : starts[-1]], starts - starts[0], self.closed[first:last])

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
        return lines_svg(self)


def joined(lines: LinesLike, name: str, columns: int = 3) -> Tuple[FloatArray, IntArray]:
    """The points of all lines one after the other, and where each of them starts."""
    if isinstance(lines, Lines):
        return points_of(lines.points, name, columns), lines.starts
    if isinstance(lines, np.ndarray) and lines.ndim == 2:
        raise ValueError(f"{name}: expected a list of arrays of shape (n, {columns}), given one of {lines.shape}")
    arrays = [points_of(line, f"{name}[{i}]", columns) for i, line in enumerate(list_of(lines, name))]
    starts = np.zeros(len(arrays) + 1, dtype=np.int32)
    np.cumsum([len(array) for array in arrays], out=starts[1:])
    if len(arrays) == 1:
        return arrays[0], starts
    return np.concatenate(arrays) if arrays else np.empty((0, columns)), starts


_WIDTH = 320.0


def lines_svg(lines: Lines) -> str:
    """The lines as they lie in the plane, lines in space seen from above: closed ones filled, open ones in red."""
    points = lines.points[:, :2]
    finite = points[np.isfinite(points).all(axis=1)]
    if len(finite) == 0:
        return '<svg xmlns="http://www.w3.org/2000/svg" width="320" height="20"><text y="15">no lines</text></svg>'
    low, high = finite.min(axis=0), finite.max(axis=0)
    scale = _WIDTH / max(float((high - low).max()), 1e-300)
    width, height = ((high - low) * scale + 4).tolist()
    loops: List[str] = []
    chains: List[str] = []
    for line, is_closed in zip(lines, lines.closed):
        x = (line[:, 0] - low[0]) * scale
        y = (high[1] - line[:, 1]) * scale
        path = "L".join(f"{a:.2f} {b:.2f}" for a, b in zip(x.tolist(), y.tolist()))
        if path:
            (loops if is_closed else chains).append("M" + path + ("Z" if is_closed else ""))
    fill = "#d6e4f0" if lines.points.shape[1] == 2 else "none"
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height:.0f}" '
        f'viewBox="-2 -2 {width:.1f} {height:.1f}" fill="none" stroke-width="1.2" stroke-linejoin="round">'
        f'<path d="{"".join(loops)}" fill="{fill}" fill-rule="evenodd" stroke="#1f4e79"/>'
        f'<path d="{"".join(chains)}" stroke="#c0392b"/></svg>'
    )
