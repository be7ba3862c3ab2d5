"""Chains of straight segments and circular arcs in the plane."""

from __future__ import annotations

import os
from typing import Any, Iterable, List, Sequence, Tuple, Union

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, BoolArray, FloatArray, IntArray, indices_of, numbers_of, point_of, points_of, view
from ._handles import Handle
from ._lines import Borrowed, Lines
from ._progress import Progress, make, run
from ._values import list_of, number, path_bytes

Path = Union[str, "os.PathLike[str]"]

#: The largest coordinate that chains are made of.
_MOST = 1e150
#: The largest bulge that makes no arc.
_STRAIGHT = 1e-8


class Chain:
    """Segments and arcs, head to tail: an outline, a tool's profile, an offset. It is never changed.

    `len` of a chain is the number of its elements. Chains are equal when their elements and tolerances are; they can be
    pickled.

    Parameters
    ----------
    points : array_like, (n, 2)
        Corners that are joined by segments.
    closed : bool
        Whether the last point is joined to the first.
    tolerance : float
        Length within which ends count as joined.

    >>> import sorvane
    >>> square = sorvane.Chain([(0, 0), (4, 0), (4, 3), (0, 3)], closed=True)
    >>> square
    <sorvane.Chain: 4 elements, closed, length 14>
    >>> square.area
    12.0
    """

    __slots__ = ("_handle", "__weakref__")

    _handle: Handle

    def __init__(self, points: ArrayLike, *, closed: bool = False, tolerance: float = 1e-9) -> None:
        corners = points_of(points, "points", 2)
        self._handle = make(
            c.sorvane_chain_from_points, corners, len(corners), int(bool(closed)), number(tolerance, "tolerance")
        )

    @classmethod
    def _of(cls, handle: Handle) -> "Chain":
        chain = cls.__new__(cls)
        chain._handle = handle
        return chain

    # --- making ------------------------------------------------------------------------------------------------------

    @classmethod
    def from_elements(cls, kinds: ArrayLike, elements: ArrayLike, *, tolerance: float = 1e-9) -> "Chain":
        """A chain of the elements that `kinds` and `elements` tell of, bit for bit.

        Parameters
        ----------
        kinds : array_like, (n,)
            0 for a segment, 1 for an arc.
        elements : array_like, (n, 5)
            Start x and y; end x and y of a segment or center x and y of an arc; length of an arc, positive
            counter-clockwise, or 0.

        Raises
        ------
        ValueError
            An element of another kind, one that is not finite, or one that does not start where the one before ends.

        >>> import math, sorvane
        >>> sorvane.Chain.from_elements([1], [(5, 0, 0, 0, math.pi * 5)])
        <sorvane.Chain: 1 element, open, length 15.708>
        """
        numbers = indices_of(kinds, "kinds")
        rows = points_of(elements, "elements", 5)
        if len(numbers) != len(rows):
            raise ValueError(f"elements: expected shape ({len(numbers)}, 5), given {rows.shape}")
        return cls._of(make(c.sorvane_chain_new, numbers, rows, len(rows), number(tolerance, "tolerance")))

    @classmethod
    def circle(
        cls, center: ArrayLike, radius: float, *, clockwise: bool = False, tolerance: float = 1e-9
    ) -> "Chain":
        """A whole turn from the point to the right of the center, of four quarters.

        >>> import sorvane
        >>> sorvane.Chain.circle((0, 0), 5).bounds
        array([[-5., -5.],
               [ 5.,  5.]])
        """
        middle = point_of(center, "center", 2)
        size = number(radius, "radius")
        if not 0 < size < np.inf:
            raise ValueError(f"radius: expected a number greater than 0, given {size}")
        _usable(np.array(size), "radius")
        _usable(middle, "center")
        turn = -1.0 if clockwise else 1.0
        steps = np.array([(1, 0), (0, turn), (-1, 0), (0, -turn)]) * size
        rows = np.empty((4, 5))
        rows[:, :2] = middle + steps
        rows[:, 2:4] = middle
        rows[:, 4] = turn * 0.5 * np.pi * size
        return cls.from_elements(np.ones(4, dtype=np.int32), rows, tolerance=tolerance)

    @classmethod
    def from_bulges(
        cls, points: ArrayLike, bulges: ArrayLike, *, closed: bool = False, tolerance: float = 1e-9
    ) -> "Chain":
        """A chain of points and bulges, as CAD files have polylines.

        Parameters
        ----------
        points : array_like, (n, 2)
        bulges : array_like, (n,)
            Of the way from each point to the next: the tangent of a quarter of the arc's angle, positive
            counter-clockwise; 0 for a segment, and so is what is within 1e-8 of it: an arc as flat as that is bent by
            less than its far center is rounded. The last one counts with ``closed`` alone.

        >>> import sorvane
        >>> sorvane.Chain.from_bulges([(0, 0), (6, 0), (6, 2), (0, 2)], [0, 1, 0, 1], closed=True)
        <sorvane.Chain: 4 elements, closed, length 18.2832>
        """
        corners = points_of(points, "points", 2)
        values = numbers_of(bulges, "bulges")
        if len(values) != len(corners):
            raise ValueError(f"bulges: expected shape ({len(corners)},), given {values.shape}")
        _usable(corners, "points")
        _usable(values, "bulges")
        starts = corners if closed else corners[:-1]
        ends = np.roll(corners, -1, axis=0) if closed else corners[1:]
        bulge = values[: len(starts)]
        apart = (starts != ends).any(axis=1)
        starts, ends, bulge = starts[apart], ends[apart], bulge[apart]
        kinds = (np.abs(bulge) > _STRAIGHT).astype(np.int32)
        rows = np.zeros((len(starts), 5))
        rows[:, :2] = starts
        rows[:, 2:4] = ends
        arcs = np.flatnonzero(kinds)
        b = bulge[arcs]
        chord = ends[arcs] - starts[arcs]
        length = np.hypot(chord[:, 0], chord[:, 1])
        left = np.column_stack([-chord[:, 1], chord[:, 0]])
        # The center lies on the chord's bisector; a bulge of 1 is a half circle.
        rows[arcs, 2:4] = 0.5 * (starts[arcs] + ends[arcs]) + left * ((1 - b * b) / (4 * b))[:, None]
        rows[arcs, 4] = length * (1 + b * b) / (4 * np.abs(b)) * 4 * np.arctan(b)
        # Centers and ends are rounded: what that leaves open is no gap.
        size = float(np.abs(rows).max(initial=0.0))
        return cls.from_elements(kinds, rows, tolerance=max(number(tolerance, "tolerance"), 1e-14 * size))

    @classmethod
    def fit(cls, points: ArrayLike, tolerance: float, *, progress: Progress = None) -> "Chain":
        """Arcs and segments that a dense polyline samples, within ``tolerance`` of each point.

        A polyline that ends with its first point gives a closed chain.

        >>> import numpy as np, sorvane
        >>> t = np.linspace(0, 2 * np.pi, 100)
        >>> sorvane.Chain.fit(np.column_stack([np.cos(t), np.sin(t)]), 0.001)
        <sorvane.Chain: 1 element, closed, length 6.28319>
        """
        polyline = points_of(points, "points", 2)
        return cls._of(
            make(c.sorvane_chain_fit, polyline, len(polyline), number(tolerance, "tolerance"), progress=progress)
        )

    @classmethod
    def read(cls, path: Path) -> "Chain":
        """Reads a chain from a text file of `write`, bit for bit.

        Raises FileNotFoundError for one that is not there, and `sorvane.FileError` for content that is no chain and for
        a device.
        """
        name = path_bytes(path)
        if not os.path.exists(path):
            raise FileNotFoundError(2, "No such file", os.fspath(path))
        return cls._of(make(c.sorvane_chain_read, name, path=path))

    def write(self, path: Path) -> None:
        """Writes the chain as text, with all digits.

        Raises `sorvane.FileError` when it can't be written, and for a chain without elements, of which there is no file.
        """
        run(c.sorvane_chain_write, self._handle, path_bytes(path))

    # --- what it is --------------------------------------------------------------------------------------------------

    @property
    def kinds(self) -> IntArray:
        """0 for each segment, 1 for each arc, (n,) int32: a read-only view."""
        kinds: IntArray = view(self._handle, c.sorvane_chain_kinds)
        return kinds

    @property
    def elements(self) -> FloatArray:
        """The numbers of each element, (n, 5) float64, as `from_elements` takes them: a read-only view."""
        elements: FloatArray = view(self._handle, c.sorvane_chain_elements, 5)
        return elements

    @property
    def starts(self) -> FloatArray:
        """Where each element starts, (n, 2): a read-only view."""
        return self.elements[:, :2]

    @property
    def ends(self) -> FloatArray:
        """Where each element ends, (n, 2): a read-only view."""
        ends: FloatArray = view(self._handle, c.sorvane_chain_ends, 2)
        return ends

    @property
    def tolerance(self) -> float:
        """Length within which ends count as joined."""
        return float(c.sorvane_chain_tolerance(self._handle))

    @property
    def is_closed(self) -> bool:
        return bool(c.sorvane_chain_is_closed(self._handle))

    @property
    def length(self) -> float:
        """Length along the chain."""
        return float(c.sorvane_chain_length(self._handle))

    @property
    def area(self) -> float:
        """Area that the chain encloses, positive counter-clockwise; an open one is closed by a segment."""
        return float(c.sorvane_chain_area(self._handle))

    @property
    def bounds(self) -> FloatArray:
        """Least and greatest coordinates, (2, 2). `sorvane.Error` for an empty chain."""
        bounds = np.empty((2, 2))
        run(c.sorvane_chain_box, self._handle, bounds[0], bounds[1])
        return bounds

    def __len__(self) -> int:
        return len(self.kinds)

    def __bool__(self) -> bool:
        return True

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Chain):
            return NotImplemented
        return (
            self.tolerance == other.tolerance
            and np.array_equal(self.kinds, other.kinds)
            and np.array_equal(self.elements, other.elements)
        )

    def __hash__(self) -> int:
        return hash((len(self), self.tolerance, self.elements[:2].tobytes()))

    def __copy__(self) -> "Chain":
        return self

    def __deepcopy__(self, memo: Any) -> "Chain":
        return self

    def __reduce__(self) -> Any:
        return _restored, (self.kinds, self.elements, self.tolerance)

    def __repr__(self) -> str:
        count = len(self)
        state = "closed" if self.is_closed else "open"
        return f"<sorvane.Chain: {count} element{'s' * (count != 1)}, {state}, length {self.length:g}>"

    def _repr_svg_(self) -> str:
        from ._plane_pictures import chains_svg

        return chains_svg([self])

    # --- along it ----------------------------------------------------------------------------------------------------

    def parameters(self, *, normalized: bool = False) -> FloatArray:
        """Running length at each joint, (n + 1,); divided by the length of the chain with ``normalized``."""
        result = np.empty(len(self) + 1)
        run(c.sorvane_chain_parameters, self._handle, int(bool(normalized)), result)
        return result

    def points_at(self, parameters: ArrayLike, *, normalized: bool = False) -> FloatArray:
        """Points at lengths from the start, (m, 2), or at fractions with ``normalized``.

        ValueError for a parameter that is not on the chain.

        >>> import sorvane
        >>> sorvane.Chain([(0, 0), (4, 0), (4, 3)]).points_at([2, 5])
        array([[2., 0.],
               [4., 1.]])
        """
        places = numbers_of(parameters, "parameters")
        points = np.empty((len(places), 2))
        run(c.sorvane_chain_points_at, self._handle, places, len(places), int(bool(normalized)), points)
        return points

    def parameters_of(self, points: ArrayLike, *, tolerance: float = 1e-6, progress: Progress = None) -> FloatArray:
        """Places of points as lengths from the start, (m,); NaN for those farther than ``tolerance`` from the chain."""
        given = points_of(points, "points", 2)
        places = np.empty(len(given))
        run(
            c.sorvane_chain_parameters_of,
            self._handle,
            given,
            len(given),
            number(tolerance, "tolerance"),
            places,
            progress=progress,
        )
        places[places < 0] = np.nan
        return places

    def nearest(self, points: ArrayLike) -> FloatArray:
        """The nearest point of the chain to each of (m, 2) points. Each takes time in proportion to the elements."""
        given = points_of(points, "points", 2)
        found = np.empty((len(given), 2))
        run(c.sorvane_chain_nearest, self._handle, given, len(given), found, None)
        return found

    def signed_distances(self, points: ArrayLike) -> FloatArray:
        """Distances of (m, 2) points: positive to the left of travel, so inside a counter-clockwise outline.

        >>> import sorvane
        >>> sorvane.Chain.circle((0, 0), 5).signed_distances([(1, 0), (9, 0)])
        array([ 4., -4.])
        """
        given = points_of(points, "points", 2)
        found = np.empty((len(given), 2))
        left = np.empty(len(given), dtype=np.int32)
        run(c.sorvane_chain_nearest, self._handle, given, len(given), found, left)
        away = given - found
        distances: FloatArray = np.where(left != 0, 1.0, -1.0) * np.hypot(away[:, 0], away[:, 1])
        return distances

    def contains(self, points: ArrayLike) -> BoolArray:
        """Whether (m, 2) points are inside a closed chain that does not cross itself, of either direction.

        ValueError for an open chain.
        """
        if not self.is_closed:
            raise ValueError("contains: expected a closed chain, given an open one")
        distances = self.signed_distances(points)
        inside: BoolArray = distances >= 0 if self.area >= 0 else distances <= 0
        return inside

    # --- made from it ------------------------------------------------------------------------------------------------

    def reversed(self) -> "Chain":
        """The chain from its end to its start."""
        return Chain._of(make(c.sorvane_chain_reversed, self._handle))

    def tessellate(self, tolerance: float) -> FloatArray:
        """Points (m, 2) no chord of which is farther than ``tolerance`` from the chain: a read-only view.

        The first point of a closed chain is not repeated.

        >>> import sorvane
        >>> sorvane.Chain.circle((0, 0), 5).tessellate(10).round(3) + 0.0
        array([[ 5.,  0.],
               [ 0.,  5.],
               [-5.,  0.],
               [ 0., -5.]])
        """
        lines = make(c.sorvane_chain_tessellate, self._handle, number(tolerance, "tolerance"))
        return Lines._of(lines).points

    def offset(self, distance: float, *, tolerance: float = 1e-6, progress: Progress = None) -> "List[Chain]":
        """The curves at ``distance``: to the right of travel for a positive one, so that a counter-clockwise outline
        grows; to the left for a negative one, run the other way.

        Outer corners are rounded. What is smaller than ``tolerance`` makes no difference. The list is empty where the
        offset has vanished.

        >>> import sorvane
        >>> square = sorvane.Chain([(0, 0), (4, 0), (4, 3), (0, 3)], closed=True)
        >>> square.offset(-1)
        [<sorvane.Chain: 4 elements, closed, length 6>]
        """
        return self.offsets([number(distance, "distance")], tolerance=tolerance, progress=progress)[0]

    def offsets(
        self, distances: ArrayLike, *, tolerance: float = 1e-6, progress: Progress = None
    ) -> "List[List[Chain]]":
        """The curves at each of several distances, worked on side by side: a list for each."""
        wanted = numbers_of(distances, "distances")
        made = make(
            c.sorvane_chain_offsets,
            self._handle,
            wanted,
            len(wanted),
            number(tolerance, "tolerance"),
            progress=progress,
        )
        chains = chains_of(made)
        groups = view(made, c.sorvane_chains_groups)
        return [chains[groups[i] : groups[i + 1]] for i in range(len(groups) - 1)]

    def break_at(
        self, parameters: ArrayLike, *, normalized: bool = False, tolerance: float = 1e-9
    ) -> "Chain":
        """The chain with further joints at lengths from its start, or at fractions with ``normalized``."""
        places = numbers_of(parameters, "parameters")
        return Chain._of(
            make(
                c.sorvane_chain_break,
                self._handle,
                places,
                len(places),
                int(bool(normalized)),
                number(tolerance, "tolerance"),
            )
        )

    def split_at(
        self, parameters: ArrayLike, *, normalized: bool = False, tolerance: float = 1e-9
    ) -> "List[Chain]":
        """The chains between lengths from the start, or fractions; a closed one comes apart at its start too."""
        places = numbers_of(parameters, "parameters")
        return chains_of(
            make(
                c.sorvane_chain_split,
                self._handle,
                places,
                len(places),
                int(bool(normalized)),
                number(tolerance, "tolerance"),
            )
        )

    def split_at_tangent(self, direction: ArrayLike, *, tolerance: float = 1e-9) -> "List[Chain]":
        """The chains between the places at which the tangent becomes parallel to ``direction``."""
        along = point_of(direction, "direction", 2)
        return chains_of(make(c.sorvane_chain_split_at_tangent, self._handle, along, number(tolerance, "tolerance")))

    def trim(self, start: ArrayLike, end: ArrayLike, *, tolerance: float = 1e-9) -> "Chain":
        """The part from one point of the chain to another; on a closed one it may run over the start.

        Where both lie on one segment it is the stretch between them, turned round if need be. Raises `sorvane.Error` for a point that is not on the chain.
        """
        first, last = point_of(start, "start", 2), point_of(end, "end", 2)
        return Chain._of(
            make(
                c.sorvane_chain_trim,
                self._handle,
                first,
                last,
                number(tolerance, "tolerance"),
                names={"from": "start", "to": "end"},
            )
        )

    # --- two of them -------------------------------------------------------------------------------------------------

    def intersections(self, other: "Chain", *, tolerance: float = 1e-9, progress: Progress = None) -> FloatArray:
        """Where two chains meet, (m, 2), sorted by x, then y: crossings, touches, ends of overlaps, common vertices.

        >>> import sorvane
        >>> line = sorvane.Chain([(-9, 3), (9, 3)])
        >>> line.intersections(sorvane.Chain.circle((0, 0), 5)).round(9)
        array([[-4.,  3.],
               [ 4.,  3.]])
        """
        points = make(
            c.sorvane_chain_intersections,
            self._handle,
            _chain(other, "other"),
            number(tolerance, "tolerance"),
            progress=progress,
        )
        return Lines._of(points).points

    def break_at_intersections(self, other: "Chain", *, tolerance: float = 1e-9) -> "Tuple[Chain, Chain]":
        """Both chains with joints where they meet."""
        first, second = Handle(c.sorvane_chain), Handle(c.sorvane_chain)
        run(
            c.sorvane_chain_break_at_intersections,
            self._handle,
            _chain(other, "other"),
            number(tolerance, "tolerance"),
            first.place,
            second.place,
        )
        return Chain._of(first), Chain._of(second)

    def split_at_intersections(
        self, other: "Chain", *, tolerance: float = 1e-9
    ) -> "Tuple[List[Chain], List[Chain]]":
        """The pieces of both chains between the places where they meet."""
        first, second = Handle(c.sorvane_chains), Handle(c.sorvane_chains)
        run(
            c.sorvane_chain_split_at_intersections,
            self._handle,
            _chain(other, "other"),
            number(tolerance, "tolerance"),
            first.place,
            second.place,
        )
        return chains_of(first), chains_of(second)


def _usable(numbers: FloatArray, name: str) -> None:
    """What is made of them would be told under another name."""
    if not (np.abs(numbers) <= _MOST).all():
        raise ValueError(f"{name}: expected finite numbers not beyond {_MOST:g}")


def _chain(value: Any, name: str) -> Handle:
    if not isinstance(value, Chain):
        raise ValueError(f"{name}: expected a sorvane.Chain, given {type(value).__name__}")
    return value._handle


def _restored(kinds: IntArray, elements: FloatArray, tolerance: float) -> Chain:
    # Joints that an operation left wider apart than the tolerance are taken as they are.
    gap = 0.0
    if len(kinds) > 1:
        ends = Chain.from_elements(kinds, elements, tolerance=np.inf).ends
        away = elements[1:, :2] - ends[:-1]
        gap = float(np.hypot(away[:, 0], away[:, 1]).max())
    return Chain.from_elements(kinds, elements, tolerance=max(tolerance, gap) if gap > tolerance else tolerance)


def chains_of(handle: Handle) -> List[Chain]:
    """The chains of a list, which each of them keeps alive."""
    count = c.sorvane_chains_count(handle)
    return [Chain._of(Borrowed(c.sorvane_chains_at(handle, i), handle)) for i in range(count)]


def join_chains(chains: Iterable[Chain], *, tolerance: float = 1e-9, progress: Progress = None) -> List[Chain]:
    """Chains out of the elements of several, in whatever order and direction they come, joined where ends match.

    Of several elements between the same two ends one is kept, and an element whose ends match (a full circle) is lost:
    break one of them first.

    >>> import sorvane
    >>> sides = [sorvane.Chain([(0, 0), (3, 0)]), sorvane.Chain([(0, 4), (3, 0)]), sorvane.Chain([(0, 0), (0, 4)])]
    >>> sorvane.join_chains(sides)
    [<sorvane.Chain: 3 elements, closed, length 12>]
    """
    given: Sequence[Chain] = list_of(chains, "chains")
    for i, chain in enumerate(given):
        _chain(chain, f"chains[{i}]")
    kinds = np.concatenate([np.empty(0, dtype=np.int32), *(chain.kinds for chain in given)])
    elements = np.concatenate([np.empty((0, 5)), *(chain.elements for chain in given)])
    return chains_of(
        make(c.sorvane_chains_join, kinds, elements, len(kinds), number(tolerance, "tolerance"), progress=progress)
    )


def thin(points: ArrayLike, *, curvature: float = 1e-9, tolerance: float = 1e-9) -> FloatArray:
    """A polyline (n, 2) without the points at which it does not bend: (m, 2), a read-only view.

    Parameters
    ----------
    points : array_like, (n, 2)
    curvature : float
        1 / radius of the circle through a point and its neighbors above which the point is kept.
    tolerance : float
        A point within this, per coordinate, of the one kept before is left out.

    >>> import sorvane
    >>> sorvane.thin([(0, 0), (1, 0), (2, 0), (2, 1)])
    array([[0., 0.],
           [2., 0.],
           [2., 1.]])
    """
    polyline = points_of(points, "points", 2)
    lines = Lines._of(
        make(
            c.sorvane_polyline_thin,
            polyline,
            len(polyline),
            number(curvature, "curvature"),
            number(tolerance, "tolerance"),
        )
    )
    if len(lines.closed) > 0 and lines.closed[0]:
        closed: FloatArray = np.concatenate([lines.points, lines.points[:1]])
        closed.flags.writeable = False
        return closed
    return lines.points
