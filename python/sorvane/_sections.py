"""Sections of meshes by planes, halves, and intersections of meshes."""

from __future__ import annotations

import ctypes
from typing import TYPE_CHECKING, Any, Iterator, List, Sequence, Tuple, Union, overload

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, FloatArray, IntArray, numbers_of, point_of, view
from ._handles import Handle
from ._lines import Borrowed, Lines
from ._mesh import Mesh, mesh_handle
from ._progress import Progress, make, options, run
from ._values import choice, number

if TYPE_CHECKING:
    from ._regions import Region

#: A number z for the level plane at that height, or a pair (point, normal).
Plane = Union[float, Tuple[ArrayLike, ArrayLike]]

_SIDES = {
    "above": c.sorvane_section_side.SORVANE_SECTION_ABOVE,
    "below": c.sorvane_section_side.SORVANE_SECTION_BELOW,
}


def _plane(plane: Plane) -> Tuple[FloatArray, FloatArray]:
    """Point and normal."""
    if isinstance(plane, (tuple, list)) or (isinstance(plane, np.ndarray) and plane.ndim > 0):
        if len(plane) != 2:
            raise ValueError(f"plane: expected a height or a pair (point, normal), given {len(plane)} elements")
        normal = point_of(plane[1], "plane[1]")
        size = float(np.abs(normal).max())
        if 0 < size < np.inf and not 1e-100 < size < 1e100:
            # Its square is beyond what a float64 can hold. A power of two changes no digit.
            normal = np.ldexp(normal, -int(np.frexp(size)[1]))
        return point_of(plane[0], "plane[0]"), normal
    return np.array((0.0, 0.0, number(plane, "plane"))), np.array((0.0, 0.0, 1.0))


class Section:
    """Where one plane cuts a mesh, in the plane's own coordinates.

    Seen against the normal, material lies to the left of every line: outer loops run counterclockwise and holes
    clockwise, as long as the triangles face outward. In a notebook it is a picture, with material filled.
    """

    __slots__ = ("_slices", "_number")

    def __init__(self, slices: "Slices", number: int) -> None:
        self._slices = slices
        self._number = number

    @property
    def height(self) -> float:
        """Distance of the plane from the origin, along its unit normal."""
        return float(self._slices.heights[self._number])

    @property
    def area(self) -> float:
        """Of the material: the sum of the signed areas of the loops."""
        return float(self._slices.areas[self._number])

    @property
    def length(self) -> float:
        """Of all loops."""
        return float(self._slices.lengths[self._number])

    @property
    def open_length(self) -> float:
        """Of all chains; 0 tells that the section is closed."""
        return float(self._slices.open_lengths[self._number])

    @property
    def frame(self) -> FloatArray:
        """From the plane to space, (3, 4): the point (x, y) is frame @ (x, y, 0, 1)."""
        frame: FloatArray = self._slices.frames[self._number]
        return frame

    @property
    def lines(self) -> Lines:
        """All lines, the loops before the chains."""
        first = self._slices.first
        return self._slices.lines._part(int(first[self._number]), int(first[self._number + 1]))

    @property
    def loops(self) -> Lines:
        """Closed lines."""
        lines = self.lines
        return lines._part(0, int(lines.closed.sum()))

    @property
    def chains(self) -> Lines:
        """Lines that are open at both ends, where the mesh has a hole."""
        lines = self.lines
        return lines._part(int(lines.closed.sum()), len(lines))

    @property
    def is_closed(self) -> bool:
        """Whether there is no open line."""
        return self.open_length == 0 and len(self.chains) == 0

    def in_space(self) -> Lines:
        """The lines as points of space, (n, 3) each, in the same order."""
        lines, frame = self.lines, self.frame
        points: FloatArray = lines.points @ frame[:, :2].T + frame[:, 3]
        points.flags.writeable = False
        return Lines(points, lines.starts, lines.closed)

    def region(self) -> "Region":
        """The material as a `sorvane.Region`, for offsets and set operations; open lines are no part of it."""
        from ._regions import Region

        return Region(list(self.loops))

    def __reduce__(self) -> Any:
        # Without the rest of its stack.
        lines = self.lines
        heights, areas, lengths, open_lengths = (
            np.array([value]) for value in (self.height, self.area, self.length, self.open_length)
        )
        first = np.array([0, len(lines)], dtype=np.int32)
        alone = _KeptSlices(heights, areas, lengths, open_lengths, first, self.frame[np.newaxis], lines)
        return Section, (alone, 0)

    def __repr__(self) -> str:
        open_part = f", {len(self.chains)} open" if len(self.chains) else ""
        return f"<sorvane.Section at {self.height:g}: {len(self.loops)} loops{open_part}, area {self.area:g}>"

    def _repr_svg_(self) -> str:
        from ._plane_pictures import lines_svg

        return lines_svg(self.lines)


class Slices(Sequence[Section]):
    """The sections of a mesh with a stack of planes, in the order of the heights; element i is a `Section`.

    The figures of all of them are arrays, (len,), and all lines of the stack stand in ``lines``. Read-only views.
    """

    __slots__ = ("_handle",)

    def __init__(self, handle: Handle) -> None:
        self._handle = handle

    @property
    def heights(self) -> FloatArray:
        """Of the planes, as asked for."""
        heights: FloatArray = view(self._handle, c.sorvane_sections_heights)
        return heights

    @property
    def areas(self) -> FloatArray:
        """Areas of material."""
        areas: FloatArray = view(self._handle, c.sorvane_sections_areas)
        return areas

    @property
    def lengths(self) -> FloatArray:
        """Lengths of the closed lines."""
        lengths: FloatArray = view(self._handle, c.sorvane_sections_lengths)
        return lengths

    @property
    def open_lengths(self) -> FloatArray:
        """Lengths of the open lines; 0 tells that a section is closed."""
        lengths: FloatArray = view(self._handle, c.sorvane_sections_open_lengths)
        return lengths

    @property
    def first(self) -> IntArray:
        """Section i has the lines from first[i] to first[i + 1] - 1, (len + 1,)."""
        first: IntArray = view(self._handle, c.sorvane_sections_first)
        return first

    @property
    def frames(self) -> FloatArray:
        """From the planes to space, (len, 3, 4)."""
        frames: FloatArray = view(self._handle, c.sorvane_sections_frames, 12)
        return frames.reshape(-1, 3, 4)

    @property
    def lines(self) -> Lines:
        """The lines of all sections."""
        return Lines._of(Borrowed(c.sorvane_sections_lines(self._handle), self._handle))

    def __len__(self) -> int:
        return int(c.sorvane_sections_count(self._handle))

    @overload
    def __getitem__(self, index: int) -> Section: ...

    @overload
    def __getitem__(self, index: slice) -> List[Section]: ...

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return [Section(self, i) for i in range(*index.indices(len(self)))]
        place = index + len(self) if index < 0 else index
        if not 0 <= place < len(self):
            raise IndexError(f"section {index} of {len(self)}")
        return Section(self, place)

    def __iter__(self) -> Iterator[Section]:
        return (Section(self, i) for i in range(len(self)))

    def in_space(self) -> Lines:
        """The lines of the whole stack as points of space, in the order of ``lines``."""
        return Lines._of(make(c.sorvane_sections_in_space, self._handle))

    def __reduce__(self) -> Any:
        figures = (self.heights, self.areas, self.lengths, self.open_lengths)
        return _KeptSlices, (*figures, self.first, self.frames, self.lines)

    def __repr__(self) -> str:
        return f"<sorvane.Slices: {len(self)} sections, {len(self.lines)} lines>"

    def _repr_svg_(self) -> str:
        from ._plane_pictures import lines_svg

        return lines_svg(self.in_space())


class _KeptSlices(Slices):
    """Sections that came out of a pickle: arrays of their own in place of a handle."""

    __slots__ = ("_arrays",)

    def __init__(
        self,
        heights: FloatArray,
        areas: FloatArray,
        lengths: FloatArray,
        open_lengths: FloatArray,
        first: IntArray,
        frames: FloatArray,
        lines: Lines,
    ) -> None:
        self._arrays = (heights, areas, lengths, open_lengths, first, frames, lines)
        arrays: List[Any] = [heights, areas, lengths, open_lengths, first, frames]
        for array in arrays:
            array.setflags(write=False)

    @property
    def heights(self) -> FloatArray:
        return self._arrays[0]

    @property
    def areas(self) -> FloatArray:
        return self._arrays[1]

    @property
    def lengths(self) -> FloatArray:
        return self._arrays[2]

    @property
    def open_lengths(self) -> FloatArray:
        return self._arrays[3]

    @property
    def first(self) -> IntArray:
        return self._arrays[4]

    @property
    def frames(self) -> FloatArray:
        return self._arrays[5]

    @property
    def lines(self) -> Lines:
        return self._arrays[6]

    def __len__(self) -> int:
        return len(self.heights)

    def in_space(self) -> Lines:
        lines = self.lines
        of_lines = np.repeat(np.arange(len(self)), np.diff(self.first))
        frames = self.frames[np.repeat(of_lines, np.diff(lines.starts))]
        points = np.einsum("nij,nj->ni", frames[:, :, :2], lines.points) + frames[:, :, 3]
        return Lines(points, lines.starts, lines.closed)


class Slicer:
    """A mesh made ready to be cut again and again by planes of one normal.

    A plane then costs what it cuts and not what there is: for when the next height depends on the last section.

    >>> import sorvane
    >>> slicer = sorvane.hull([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]).slicer()
    >>> slicer.lowest, slicer.highest
    (0.0, 1.0)
    >>> slicer.section(0.5).area
    0.125
    """

    __slots__ = ("_handle", "lowest", "highest")

    #: Least and greatest height of a corner of a triangle.
    lowest: float
    highest: float

    def __init__(self, mesh: Mesh, normal: ArrayLike = (0.0, 0.0, 1.0), *, progress: Progress = None) -> None:
        self._handle = make(c.sorvane_slicer_new, mesh_handle(mesh, "mesh"), point_of(normal, "normal"), progress=progress)
        lowest, highest = ctypes.c_double(), ctypes.c_double()
        c.sorvane_slicer_heights(self._handle, ctypes.byref(lowest), ctypes.byref(highest))
        self.lowest, self.highest = lowest.value, highest.value

    def section(self, height: float, *, side: str = "above", tolerance: float = 0.0) -> Section:
        """The section at one height; see `Mesh.section`."""
        return self.slices((number(height, "height"),), side=side, tolerance=tolerance)[0]

    def slices(
        self, heights: ArrayLike, *, side: str = "above", tolerance: float = 0.0, progress: Progress = None
    ) -> Slices:
        """The sections at many heights; see `Mesh.slices`."""
        at = numbers_of(heights, "heights")
        how = _options(side, tolerance)
        return Slices(
            make(c.sorvane_slicer_sections, self._handle, at, len(at), ctypes.byref(how), progress=progress)
        )


def _options(side: str, tolerance: float) -> Any:
    return options(
        c.sorvane_section_options, side=int(choice(side, "side", _SIDES)), tolerance=number(tolerance, "tolerance")
    )


def slices(
    mesh: Mesh,
    heights: ArrayLike,
    *,
    normal: ArrayLike = (0.0, 0.0, 1.0),
    side: str = "above",
    tolerance: float = 0.0,
    progress: Progress = None,
) -> Slices:
    at = numbers_of(heights, "heights")
    how = _options(side, tolerance)
    return Slices(
        make(
            c.sorvane_mesh_sections,
            mesh._handle,
            point_of(normal, "normal"),
            at,
            len(at),
            ctypes.byref(how),
            progress=progress,
        )
    )


def section(
    mesh: Mesh, plane: Plane, *, side: str = "above", tolerance: float = 0.0, progress: Progress = None
) -> Section:
    point, normal = _plane(plane)
    length = float(np.sqrt(normal @ normal))
    height = float(point @ normal) / length if length > 0 else 0.0  # the library tells of a zero normal
    return slices(mesh, (height,), normal=normal, side=side, tolerance=tolerance, progress=progress)[0]


def split(mesh: Mesh, plane: Plane, *, tolerance: float = 1e-9, progress: Progress = None) -> Tuple[Mesh, Mesh]:
    point, normal = _plane(plane)
    below, above = Handle(c.sorvane_mesh), Handle(c.sorvane_mesh)
    run(
        c.sorvane_mesh_split,
        mesh._handle,
        normal,
        point,
        number(tolerance, "tolerance"),
        below.place,
        None,
        above.place,
        None,
        progress=progress,
    )
    return Mesh._of(below), Mesh._of(above)


def intersection_curves(mesh: Mesh, other: Mesh, *, progress: Progress = None) -> Lines:
    return Lines._of(make(c.sorvane_mesh_intersection, mesh._handle, mesh_handle(other, "other"), progress=progress))


def self_intersections(mesh: Mesh, *, progress: Progress = None) -> Lines:
    return Lines._of(make(c.sorvane_mesh_self_intersection, mesh._handle, progress=progress))


def cut_along(mesh: Mesh, other: Mesh, *, progress: Progress = None) -> Tuple[Mesh, Mesh, Mesh]:
    made = [Handle(c.sorvane_mesh) for _ in range(3)]
    run(c.sorvane_mesh_cut_along, mesh._handle, mesh_handle(other, "other"), *(handle.place for handle in made), progress=progress)
    cut, uncut, other_cut = (Mesh._of(handle) for handle in made)
    return cut, uncut, other_cut
