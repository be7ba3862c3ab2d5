"""Regions of the plane bounded by polylines."""

from __future__ import annotations

import ctypes
from typing import Any, Iterable, List, Optional, Union

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, BoolArray, FloatArray, points_of, view
from ._chains import Chain
from ._handles import Handle
from ._lines import Borrowed, Lines, flat_lines, groups_of
from ._progress import Progress, make, run
from ._values import list_of, number


class Region:
    """A region of the plane: closed loops, outer ones counter-clockwise and holes clockwise. It is never changed.

    A point is in the region when the loops wind about it more often counter-clockwise than clockwise, however they
    overlap; when the areas of all loops add up to less than 0, all directions count the other way round. Operations
    calculate exactly on a grid of 2^30 cells along each axis, and their results move by no more than `resolution`.

    ``a | b``, ``a & b``, ``a - b`` and ``a ^ b`` are union, intersection, difference and symmetric difference. `len` of
    a region is the number of its loops. Regions can be pickled.

    Parameters
    ----------
    loops : array_like (n, 2), or a list of them
        Corners of each loop; the last is joined to the first.

    Raises
    ------
    ValueError
        An array of another shape, or a coordinate that is not finite.

    >>> import sorvane
    >>> plate = sorvane.Region([[(0, 0), (10, 0), (10, 10), (0, 10)], [(3, 3), (3, 7), (7, 7), (7, 3)]])
    >>> plate
    <sorvane.Region: 2 loops>
    >>> round(plate.area, 6)
    84.0
    >>> (plate & sorvane.Region([(0, 0), (5, 0), (5, 5), (0, 5)])).contains([(1, 1), (4, 4)])
    array([ True, False])
    """

    __slots__ = ("_handle", "__weakref__")

    _handle: Handle

    def __init__(self, loops: Union[ArrayLike, Iterable[ArrayLike]]) -> None:
        points, starts = flat_lines(loops, "loops")
        self._handle = make(
            c.sorvane_region_new, points, len(points), starts, len(starts) - 1, names={"points": "loops"}
        )

    @classmethod
    def _of(cls, handle: Handle) -> "Region":
        region = cls.__new__(cls)
        region._handle = handle
        return region

    @classmethod
    def from_chains(cls, chains: Union[Chain, Iterable[Chain]], *, tolerance: float = 1e-3) -> "Region":
        """The region of closed chains, flattened with chords no farther than ``tolerance`` from them.

        ValueError for a chain that is open.

        >>> import math, sorvane
        >>> disc = sorvane.Region.from_chains(sorvane.Chain.circle((0, 0), 1), tolerance=1e-6)
        >>> abs(disc.area - math.pi) < 1e-5
        True
        """
        given = [chains] if isinstance(chains, Chain) else list_of(chains, "chains")
        for i, chain in enumerate(given):
            if not isinstance(chain, Chain) or not chain.is_closed:
                raise ValueError(f"chains: expected closed chains, given {chain!r} at {i}")
        return cls([chain.tessellate(tolerance) for chain in given])

    @classmethod
    def sweep(
        cls, tool: ArrayLike, paths: Union[ArrayLike, Iterable[ArrayLike]], *, progress: Progress = None
    ) -> "Region":
        """What the polygon ``tool`` (k, 2) covers when the origin of its frame follows open paths.

        >>> import sorvane
        >>> round(sorvane.Region.sweep([(-1, -1), (1, -1), (1, 1), (-1, 1)], [(0, 0), (10, 0)]).area, 6)
        24.0
        """
        polygon = points_of(tool, "tool", 2)
        points, starts = flat_lines(paths, "paths")
        return cls._of(
            make(
                c.sorvane_region_sweep,
                polygon,
                len(polygon),
                points,
                len(points),
                starts,
                len(starts) - 1,
                progress=progress,
                names={"points": "paths"},
            )
        )

    # --- what it is --------------------------------------------------------------------------------------------------

    def _lines(self) -> Lines:
        return Lines._of(Borrowed(c.sorvane_region_loops(self._handle), self._handle))

    @property
    def loops(self) -> List[FloatArray]:
        """The corners of each loop, (n, 2): read-only views. First points are not repeated."""
        return list(self._lines())

    @property
    def resolution(self) -> float:
        """By how much points may have moved in the operation that it came from; 0 for one that was given."""
        return float(c.sorvane_region_resolution(self._handle))

    @property
    def area(self) -> float:
        """Area; where loops overlap it counts once."""
        area = ctypes.c_double()
        run(c.sorvane_region_area, self._handle, ctypes.byref(area))
        return area.value

    @property
    def bounds(self) -> FloatArray:
        """Least and greatest coordinates, (2, 2). `sorvane.Error` for a region without points."""
        points = self._lines().points
        if len(points) == 0:
            from ._errors import Error

            raise Error("a region without points has no bounds")
        return np.array([points.min(axis=0), points.max(axis=0)])

    @property
    def is_empty(self) -> bool:
        """Whether it has no loops."""
        return len(self) == 0

    def __len__(self) -> int:
        return int(c.sorvane_lines_count(c.sorvane_region_loops(self._handle)))

    def __bool__(self) -> bool:
        return True

    def __copy__(self) -> "Region":
        return self

    def __deepcopy__(self, memo: Any) -> "Region":
        return self

    def __reduce__(self) -> Any:
        return Region, (self.loops,)

    def __repr__(self) -> str:
        return f"<sorvane.Region: {len(self)} loop{'s' * (len(self) != 1)}>"

    def _repr_svg_(self) -> str:
        from ._plane_pictures import region_svg

        return region_svg(self)

    def contains(self, points: ArrayLike) -> BoolArray:
        """Whether each of (m, 2) points is in the region, (m,). Points on an edge may count as either."""
        given = points_of(points, "points", 2)
        inside = np.empty(len(given), dtype=np.int32)
        run(c.sorvane_region_contains, self._handle, given, len(given), inside)
        found: BoolArray = inside != 0
        return found

    # --- two of them -------------------------------------------------------------------------------------------------

    def union(self, other: "Optional[Region]" = None, *, progress: Progress = None) -> "Region":
        """What is in one of two regions or in both; without ``other`` the own loops united, so that none cross."""
        second = None if other is None else _region(other, "other")
        return Region._of(make(c.sorvane_region_union, self._handle, second, progress=progress))

    def intersection(self, other: "Region", *, progress: Progress = None) -> "Region":
        """What is in both."""
        return Region._of(
            make(c.sorvane_region_intersection, self._handle, _region(other, "other"), progress=progress)
        )

    def difference(self, other: "Region", *, progress: Progress = None) -> "Region":
        """What is in this one and not in the other."""
        return Region._of(make(c.sorvane_region_difference, self._handle, _region(other, "other"), progress=progress))

    def symmetric_difference(self, other: "Region", *, progress: Progress = None) -> "Region":
        """What is in one of them alone."""
        return Region._of(
            make(c.sorvane_region_symmetric_difference, self._handle, _region(other, "other"), progress=progress)
        )

    def __or__(self, other: "Region") -> "Region":
        return self.union(other) if isinstance(other, Region) else NotImplemented

    def __and__(self, other: "Region") -> "Region":
        return self.intersection(other) if isinstance(other, Region) else NotImplemented

    def __sub__(self, other: "Region") -> "Region":
        return self.difference(other) if isinstance(other, Region) else NotImplemented

    def __xor__(self, other: "Region") -> "Region":
        return self.symmetric_difference(other) if isinstance(other, Region) else NotImplemented

    # --- tools and distances -----------------------------------------------------------------------------------------

    def dilate(self, tool: ArrayLike, *, progress: Progress = None) -> "Region":
        """Minkowski sum: what the polygon ``tool`` (k, 2) covers when its frame's origin goes all over the region.

        >>> import sorvane
        >>> square = sorvane.Region([(0, 0), (4, 0), (4, 4), (0, 4)])
        >>> round(square.dilate([(0, 0), (1, 0), (1, 2), (0, 2)]).area, 6)
        30.0
        """
        polygon = points_of(tool, "tool", 2)
        return Region._of(make(c.sorvane_region_dilate, self._handle, polygon, len(polygon), progress=progress))

    def contract(self, tool: ArrayLike, *, progress: Progress = None) -> "Region":
        """The region less the sum of the tool and everything outside; the tool is not reflected."""
        polygon = points_of(tool, "tool", 2)
        return Region._of(make(c.sorvane_region_contract, self._handle, polygon, len(polygon), progress=progress))

    def offset(self, distance: float, *, tolerance: float = 1e-3, progress: Progress = None) -> "Region":
        """The region grown by ``distance``, or shrunk for a negative one, with round corners.

        The boundary comes nowhere nearer than the distance, and is nowhere more than ``tolerance`` farther away.
        """
        return Region._of(
            make(
                c.sorvane_region_offset,
                self._handle,
                number(distance, "distance"),
                number(tolerance, "tolerance"),
                progress=progress,
            )
        )

    def pocket(
        self, radius: float, step: Optional[float] = None, *, tolerance: float = 1e-3, progress: Progress = None
    ) -> List[List[FloatArray]]:
        """Passes that clear the region with a round tool of ``radius``: the loops of each pass, from the wall inward.

        Parameters
        ----------
        radius : float
            Of the tool, and of the first pass from the wall.
        step : float, optional
            From pass to pass; the radius unless told, which is also the most.
        tolerance : float
            What a pass may be farther from the wall than told.

        Raises
        ------
        sorvane.Error
            The tool does not fit in.

        >>> import sorvane
        >>> square = sorvane.Region([(0, 0), (4, 0), (4, 4), (0, 4)])
        >>> [len(loops) for loops in square.pocket(0.5)]
        [1, 1, 1]
        """
        size = number(radius, "radius")
        return groups_of(
            make(
                c.sorvane_region_pocket,
                self._handle,
                size,
                size if step is None else number(step, "step"),
                number(tolerance, "tolerance"),
                progress=progress,
            )
        )

    def clip(
        self,
        lines: Union[ArrayLike, Iterable[ArrayLike]],
        *,
        closed: bool = False,
        outside: bool = False,
        tolerance: float = 1e-9,
    ) -> List[List[FloatArray]]:
        """The parts of polylines that are in the region, or outside: a list for each line.

        Parameters
        ----------
        lines : array_like (n, 2), or a list of them
        closed : bool
            Whether the last point of each is joined to the first. One that is kept whole comes without its first
            point again.
        outside : bool
        tolerance : float
            What runs along the boundary within this is in the region.

        >>> import sorvane
        >>> square = sorvane.Region([(0, 0), (4, 0), (4, 4), (0, 4)])
        >>> square.clip([(-1, 2), (9, 2)])
        [[array([[0., 2.],
               [4., 2.]])]]
        """
        points, starts = flat_lines(lines, "lines")
        count = len(starts) - 1
        return groups_of(
            make(
                c.sorvane_region_clip,
                self._handle,
                points,
                len(points),
                starts,
                np.full(count, int(bool(closed)), dtype=np.int32),
                count,
                int(bool(outside)),
                number(tolerance, "tolerance"),
                names={"points": "lines"},
            )
        )


def _region(value: Any, name: str) -> Handle:
    if not isinstance(value, Region):
        raise ValueError(f"{name}: expected a sorvane.Region, given {type(value).__name__}")
    return value._handle
