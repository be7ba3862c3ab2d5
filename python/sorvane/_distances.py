"""How far points, lines and surfaces lie from a mesh."""

from __future__ import annotations

import ctypes
from typing import List, NamedTuple

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, FloatArray, IntArray, points_of, view
from ._handles import Handle
from ._lines import LinesLike, joined
from ._mesh import Mesh, mesh_handle
from ._progress import Progress, make, run
from ._values import number


class Nearest(NamedTuple):
    """The nearest places of a mesh, one for each point asked for."""

    #: The places on the mesh, (n, 3); the point itself where nothing was found.
    points: FloatArray
    #: Numbers of their triangles, (n,); -1 where nothing was found.
    triangles: IntArray
    #: Distances, (n,), never negative; infinite where nothing was found.
    distances: FloatArray


class Crossings(NamedTuple):
    """Where lines meet a mesh; those of a line by arc length, then by triangle."""

    #: (n, 3)
    points: FloatArray
    #: Arc length along its line, (n,).
    parameters: FloatArray
    #: Number of the triangle, (n,).
    triangles: IntArray
    #: Line i has the places from starts[i] to starts[i + 1] - 1.
    starts: IntArray


class Hausdorff(NamedTuple):
    """The point of each of two meshes that is farthest from the other one."""

    #: The greater one of the two distances.
    distance: float
    first_point: int
    first_distance: float
    second_point: int
    second_distance: float


class OneWayBounds(NamedTuple):
    """Bounds of the greatest distance of a place of one surface from the other."""

    lower: float
    upper: float
    #: Where the lower one is reached, (3,), and the triangle that holds the place.
    point: FloatArray
    triangle: int
    #: The nearest place on the other surface, (3,), and its triangle.
    nearest: FloatArray
    nearest_triangle: int


class HausdorffBounds(NamedTuple):
    """Bounds that are certain: lower <= distance of the surfaces <= upper."""

    lower: float
    upper: float
    #: From the first surface to the second, and the other way.
    first: OneWayBounds
    second: OneWayBounds


def split_lists(lists: Handle) -> List[IntArray]:
    """An array for each list of a `sorvane_lists`."""
    numbers: IntArray = view(lists, c.sorvane_lists_numbers)
    starts = view(lists, c.sorvane_lists_starts).tolist()
    return [numbers[a:b] for a, b in zip(starts, starts[1:])]


class TriangleTree:
    """A search tree over the triangles of a mesh: made once in O(n log n), asked for a point in O(log n).

    Many points at once are answered several times faster than one after the other. `sorvane.Error` for a mesh without
    triangles of usable coordinates.

    >>> import sorvane
    >>> tree = sorvane.TriangleTree(sorvane.Mesh([[0, 0, 0], [4, 0, 0], [0, 4, 0]], [[0, 1, 2]]))
    >>> tree.nearest([[1, 1, 3]]).distances
    array([3.])
    """

    __slots__ = ("_handle",)

    def __init__(self, mesh: Mesh, *, progress: Progress = None) -> None:
        self._handle = make(c.sorvane_triangle_tree_new, mesh_handle(mesh, "mesh"), progress=progress)

    def nearest(self, points: ArrayLike, *, radius: float = np.inf, progress: Progress = None) -> Nearest:
        """As `Mesh.nearest`."""
        points = points_of(points, "points")
        places = np.empty((len(points), 3))
        triangles = np.empty(len(points), dtype=np.int32)
        distances = np.empty(len(points))
        run(
            c.sorvane_triangle_tree_nearest,
            self._handle,
            points,
            len(points),
            number(radius, "radius"),
            places,
            triangles,
            distances,
            progress=progress,
        )
        return Nearest(places, triangles, distances)

    def signed_distances(self, points: ArrayLike, *, progress: Progress = None) -> FloatArray:
        """As `Mesh.signed_distances`."""
        points = points_of(points, "points")
        distances = np.empty(len(points))
        run(
            c.sorvane_triangle_tree_signed_distances,
            self._handle,
            points,
            len(points),
            distances,
            progress=progress,
        )
        return distances

    def on_lines(self, origins: ArrayLike, directions: ArrayLike, *, progress: Progress = None) -> List[IntArray]:
        """For each line through an origin, (n, 3), along a direction, (n, 3), both ways without end, the numbers of the
        triangles that it meets, ascending."""
        origins, directions = _pair(origins, directions, "origins", "directions")
        return split_lists(
            make(
                c.sorvane_triangle_tree_on_lines,
                self._handle,
                origins,
                directions,
                len(origins),
                progress=progress,
            )
        )

    def in_boxes(self, lowest: ArrayLike, highest: ArrayLike, *, progress: Progress = None) -> List[IntArray]:
        """For each box from a lowest to a highest corner, (n, 3) each, the numbers of the triangles whose own boxes meet
        it: all that may reach into it, ascending."""
        lowest, highest = _pair(lowest, highest, "lowest", "highest")
        return split_lists(
            make(c.sorvane_triangle_tree_in_boxes, self._handle, lowest, highest, len(lowest), progress=progress)
        )


def _pair(first: ArrayLike, second: ArrayLike, name: str, other: str) -> "tuple[FloatArray, FloatArray]":
    a, b = points_of(first, name), points_of(second, other)
    if len(a) != len(b):
        raise ValueError(f"{other}: expected shape {a.shape}, as {name}, given {b.shape}")
    return a, b


def project_vertically(mesh: Mesh, points: ArrayLike, *, progress: Progress = None) -> FloatArray:
    points = points_of(points, "points")
    projected = np.empty((len(points), 3))
    run(c.sorvane_mesh_project_vertically, mesh._handle, points, len(points), projected, progress=progress)
    return projected


def crossings(mesh: Mesh, lines: LinesLike, *, progress: Progress = None) -> Crossings:
    points, starts = joined(lines, "lines")
    made = make(
        c.sorvane_mesh_crossings, mesh._handle, points, len(points), starts, len(starts) - 1, progress=progress
    )
    return Crossings(
        view(made, c.sorvane_crossings_points, 3),
        view(made, c.sorvane_crossings_parameters),
        view(made, c.sorvane_crossings_triangles),
        view(made, c.sorvane_crossings_starts),
    )


def hausdorff(mesh: Mesh, other: Mesh, *, progress: Progress = None) -> Hausdorff:
    result = c.sorvane_hausdorff()
    run(c.sorvane_mesh_hausdorff, mesh._handle, mesh_handle(other, "other"), ctypes.byref(result), progress=progress)
    return Hausdorff(
        result.distance, result.first_point, result.first_distance, result.second_point, result.second_distance
    )


def hausdorff_bounds(mesh: Mesh, other: Mesh, accuracy: float, *, progress: Progress = None) -> HausdorffBounds:
    result = c.sorvane_hausdorff_bounds()
    run(
        c.sorvane_mesh_hausdorff_bounds,
        mesh._handle,
        mesh_handle(other, "other"),
        number(accuracy, "accuracy"),
        ctypes.byref(result),
        progress=progress,
    )
    first = OneWayBounds(
        result.first_lower,
        result.first_upper,
        np.array(result.first_point[:]),
        result.first_triangle,
        np.array(result.first_nearest[:]),
        result.first_nearest_triangle,
    )
    second = OneWayBounds(
        result.second_lower,
        result.second_upper,
        np.array(result.second_point[:]),
        result.second_triangle,
        np.array(result.second_nearest[:]),
        result.second_nearest_triangle,
    )
    return HausdorffBounds(result.lower, result.upper, first, second)
