"""Lines cut into a mesh, and walks over its surface."""

from __future__ import annotations

import ctypes
from typing import List, Sequence, Tuple, Union

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, BoolArray, FloatArray, IntArray, array_of, numbers_of, point_of, points_of, view
from ._distances import split_lists
from ._handles import Handle
from ._lines import Borrowed, Lines, LinesLike, joined
from ._mesh import Mesh, mesh_handle
from ._progress import Progress, make, options, run
from ._values import number


class Imprint:
    """A mesh with lines cut into it, and what they enclose."""

    __slots__ = ("_handle", "mesh", "inside", "has_sides", "lines")

    #: The whole mesh, cut along the lines; points of the given mesh come first.
    mesh: Mesh
    #: Which of its triangles lie between the lines, (m,). The side changes across every line.
    inside: BoolArray
    #: Whether the side changes across every line, so that ``inside`` means something.
    has_sides: bool
    #: The lines as they run along the edges of the mesh: the points where they cross edges among theirs.
    lines: Lines

    def __init__(self, handle: Handle) -> None:
        self._handle = handle
        self.mesh = Mesh._of(Borrowed(c.sorvane_imprint_mesh(handle), handle))
        inside: BoolArray = view(handle, c.sorvane_imprint_inside) != 0
        self.inside = inside
        self.has_sides = bool(c.sorvane_imprint_has_sides(handle))
        self.lines = Lines._of(Borrowed(c.sorvane_imprint_lines(handle), handle))

    def side(self, inside: bool = True) -> Mesh:
        """The triangles inside, or all others, as a mesh of their own."""
        return Mesh._of(make(c.sorvane_imprint_side, self._handle, bool(inside)))

    def __repr__(self) -> str:
        return f"<sorvane.Imprint: {len(self.lines)} lines, {int(self.inside.sum())} of {len(self.mesh)} triangles inside>"

    def _repr_svg_(self) -> str:
        return self.mesh._repr_svg_()


class Tracer:
    """A mesh made ready for walks over its surface.

    Parameters
    ----------
    mesh : Mesh
        Welded.
    tolerance : float
        How far the start of a walk may lie from the surface.

    >>> import sorvane
    >>> sheet = sorvane.Mesh([[0, 0, 0], [2, 0, 0], [2, 2, 0], [0, 2, 0]], [[0, 1, 2], [0, 2, 3]])
    >>> sorvane.Tracer(sheet).walk([0.5, 0.25, 0], [1, 0, 0], 1.0)[-1]
    array([1.5 , 0.25, 0.  ])
    """

    __slots__ = ("_handle",)

    def __init__(self, mesh: Mesh, *, tolerance: float = 1e-6, progress: Progress = None) -> None:
        tolerance = number(tolerance, "tolerance")
        self._handle = make(c.sorvane_tracer_new, mesh_handle(mesh, "mesh"), tolerance, progress=progress)

    def walk(self, start: ArrayLike, direction: ArrayLike, length: float) -> FloatArray:
        """The straightest line on the surface from ``start`` in ``direction``, ``length`` long, (n, 3).

        It has a point where it enters or leaves a triangle. It goes straight across edges, as if both triangles lay in
        one plane, and ends early at the boundary. Its start alone comes of a start that is not on the surface.
        """
        start = point_of(start, "start").reshape(1, 3)
        direction = point_of(direction, "direction").reshape(1, 3)
        return self.walks(start, direction, np.array((number(length, "length"),)))[0]

    def walks(
        self, starts: ArrayLike, directions: ArrayLike, lengths: ArrayLike, *, progress: Progress = None
    ) -> Lines:
        """A line for each of the starts, (n, 3), with its direction, (n, 3), and its length: (n,), or one number."""
        starts = points_of(starts, "starts")
        directions = points_of(directions, "directions")
        if np.ndim(array_of(lengths, "lengths", "(n,)")) == 0:
            lengths = np.full(len(starts), number(lengths, "lengths"))
        lengths = numbers_of(lengths, "lengths")
        if len(directions) != len(starts):
            raise ValueError(f"directions: expected shape {starts.shape}, as starts, given {directions.shape}")
        if len(lengths) != len(starts):
            raise ValueError(f"lengths: expected shape ({len(starts)},), given {lengths.shape}")
        return Lines._of(
            make(c.sorvane_tracer_walks, self._handle, starts, directions, lengths, len(starts), progress=progress)
        )


def imprint(
    mesh: Mesh,
    lines: LinesLike,
    *,
    closed: Union[None, bool, Sequence[bool]] = None,
    tolerance: float = 1e-6,
    skip_far_points: bool = False,
    progress: Progress = None,
) -> Imprint:
    points, starts = joined(lines, "lines")
    count = len(starts) - 1
    if closed is None:
        closed = lines.closed.tolist() if isinstance(lines, Lines) else True
    flags: IntArray
    if isinstance(closed, (bool, np.bool_)):
        flags = np.full(count, closed, dtype=np.int32)
    else:
        given = array_of(closed, "closed", f"({count},)")
        if given.dtype.kind not in "biu" and given.size > 0:
            raise ValueError(f"closed: expected one value or whether each line is closed, given {given.dtype}")
        flags = given.astype(np.bool_).astype(np.int32)
        if flags.shape != (count,):
            raise ValueError(f"closed: expected one value or shape ({count},), given {flags.shape}")
    how = options(
        c.sorvane_imprint_options,
        tolerance=number(tolerance, "tolerance"),
        skip_far_points=int(bool(skip_far_points)),
    )
    return Imprint(
        make(
            c.sorvane_mesh_imprint,
            mesh._handle,
            points,
            len(points),
            starts,
            count,
            flags,
            ctypes.byref(how),
            progress=progress,
        )
    )


def embed(
    mesh: Mesh,
    lines: LinesLike,
    *,
    step: float = 0.0,
    repeat_tolerance: float = 1e-9,
    progress: Progress = None,
) -> Tuple[Mesh, List[IntArray]]:
    points, starts = joined(lines, "lines")
    embedded, numbers = Handle(c.sorvane_mesh), Handle(c.sorvane_lists)
    run(
        c.sorvane_mesh_embed,
        mesh._handle,
        points,
        len(points),
        starts,
        len(starts) - 1,
        number(repeat_tolerance, "repeat_tolerance"),
        number(step, "step"),
        embedded.place,
        numbers.place,
        progress=progress,
    )
    return Mesh._of(embedded), split_lists(numbers)
