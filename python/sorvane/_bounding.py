"""What goes round points: convex hulls, circles and spheres, boxes that stand askew, prisms."""

from __future__ import annotations

import ctypes
from typing import NamedTuple

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, FloatArray, points_of, view
from ._mesh import Mesh
from ._progress import Progress, make, run
from ._values import choice


class Circle(NamedTuple):
    """A circle in the plane."""

    #: (2,)
    center: FloatArray
    radius: float


class Sphere(NamedTuple):
    """A sphere."""

    #: (3,)
    center: FloatArray
    radius: float


class OrientedRectangle(NamedTuple):
    """A rectangle of any orientation."""

    #: Its lower corner, (2,).
    origin: FloatArray
    #: Unit vectors of its axes, (2, 2): one a row.
    axes: FloatArray
    #: Its size along each axis, (2,).
    extent: FloatArray

    @property
    def area(self) -> float:
        return float(self.extent.prod())

    def corners(self) -> FloatArray:
        """The four corners, counterclockwise, (4, 2)."""
        steps = np.array([(0, 0), (1, 0), (1, 1), (0, 1)]) * self.extent
        corners: FloatArray = self.origin + steps @ self.axes
        return corners


class OrientedBox(NamedTuple):
    """A box of any orientation."""

    #: Its lower corner, (3,).
    origin: FloatArray
    #: Unit vectors of its axes, (3, 3): one a row; right-handed.
    axes: FloatArray
    #: Its size along each axis, (3,); one of them is 0 round points in a plane.
    extent: FloatArray

    @property
    def volume(self) -> float:
        return float(self.extent.prod())

    def corners(self) -> FloatArray:
        """The eight corners, (8, 3): x of the box changes first, then y, then z."""
        steps = np.array([(x, y, z) for z in (0, 1) for y in (0, 1) for x in (0, 1)]) * self.extent
        corners: FloatArray = self.origin + steps @ self.axes
        return corners

    def to_mesh(self) -> Mesh:
        """The box as a mesh that faces outward."""
        faces = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
        return Mesh(self.corners(), [t for a, b, d, e in faces for t in ((a, b, d), (a, d, e))])


class Prism(NamedTuple):
    """A prism round points: the outline of what is seen along its axis, from ``low`` to ``high`` along it."""

    #: Unit vector, (3,).
    axis: FloatArray
    #: Of the outline.
    area: float
    volume: float
    #: Least and greatest distance of a point from the origin, along the axis.
    low: float
    high: float


def hull(points: ArrayLike, *, progress: Progress = None) -> Mesh:
    """Convex hull of points in space, (n, 3): a closed mesh that faces outward, on points that were given.

    Raises
    ------
    ValueError
        A point that is not finite.
    sorvane.Error
        Points that span no solid.

    >>> import sorvane
    >>> sorvane.hull([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1], [0.1, 0.1, 0.1]])
    <sorvane.Mesh: 4 triangles on 4 points>
    """
    points = points_of(points, "points")
    return Mesh._of(make(c.sorvane_hull_3d, points, len(points), progress=progress))


def hull_2d(points: ArrayLike, *, progress: Progress = None) -> FloatArray:
    """Convex hull of points in the plane, (n, 2): those of them that are its corners, counterclockwise, (k, 2).

    Points on a line leave its two ends. ValueError: a point that is not finite; sorvane.Error: no points.

    >>> import sorvane
    >>> sorvane.hull_2d([[0, 0], [2, 0], [1, 1], [0, 2], [2, 2]])
    array([[0., 0.],
           [2., 0.],
           [2., 2.],
           [0., 2.]])
    """
    points = points_of(points, "points", 2)
    made = make(c.sorvane_hull_2d, points, len(points), progress=progress)
    corners: FloatArray = view(made, c.sorvane_lines_points, 2)
    return corners


def bounding_circle(points: ArrayLike, *, progress: Progress = None) -> Circle:
    """Smallest circle round points in the plane, (n, 2); it holds every one of them.

    >>> import sorvane
    >>> sorvane.bounding_circle([[0, 0], [2, 0], [1, 0.5]]).radius
    1.0
    """
    points = points_of(points, "points", 2)
    center, radius = np.empty(2), ctypes.c_double()
    run(c.sorvane_circle, points, len(points), center, ctypes.byref(radius), progress=progress)
    return Circle(center, radius.value)


def bounding_sphere(points: ArrayLike, *, progress: Progress = None) -> Sphere:
    """Smallest sphere round points in space, (n, 3); it holds every one of them.

    >>> import sorvane
    >>> sorvane.bounding_sphere([[0, 0, 0], [0, 0, 6], [1, 1, 3]]).radius
    3.0
    """
    points = points_of(points, "points")
    center, radius = np.empty(3), ctypes.c_double()
    run(c.sorvane_sphere, points, len(points), center, ctypes.byref(radius), progress=progress)
    return Sphere(center, radius.value)


def oriented_rectangle(points: ArrayLike, *, progress: Progress = None) -> OrientedRectangle:
    """Rectangle of least area round points in the plane, (n, 2). sorvane.Error: they lie on a line.

    >>> import sorvane
    >>> sorvane.oriented_rectangle([[0, 1], [1, 0], [2, 1], [1, 2]]).area.__round__(12)
    2.0
    """
    points = points_of(points, "points", 2)
    box = c.sorvane_oriented_rectangle()
    run(c.sorvane_oriented_box_2d, points, len(points), ctypes.byref(box), progress=progress)
    return OrientedRectangle(np.array(box.origin), np.array(box.axes).reshape(2, 2), np.array(box.extent))


def oriented_box(points: ArrayLike, *, quick: bool = False, progress: Progress = None) -> OrientedBox:
    """A really small box round points in space, (n, 3), turned as it needs: for choosing stock.

    With ``quick`` the box stands on a triangle of the hull, along its first edge, and may be twice as large.
    sorvane.Error: the points lie on a line.

    >>> import sorvane
    >>> square = [[0, 1], [1, 0], [2, 1], [1, 2]]   # on a corner, of area 2
    >>> sorvane.oriented_box([[x, y, z] for x, y in square for z in (0, 5)]).volume.__round__(12)
    10.0
    """
    points = points_of(points, "points")
    box = c.sorvane_oriented_box()
    function = c.sorvane_oriented_box_quick if quick else c.sorvane_oriented_box_3d
    run(function, points, len(points), ctypes.byref(box), progress=progress)
    return OrientedBox(np.array(box.origin), np.array(box.axes).reshape(3, 3), np.array(box.extent))


def prism(points: ArrayLike, *, by: str = "area", progress: Progress = None) -> Prism:
    """The prism of least area, or volume, round points in space, (n, 3): bar stock to be sawn off.

    Looked for along the normals of their hull's triangles and 4,096 more directions.

    >>> import sorvane
    >>> sorvane.prism([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 9], [1, 0, 9], [0, 1, 9]]).area
    0.5
    """
    points = points_of(points, "points")
    by_volume = choice(by, "by", {"area": 0, "volume": 1})
    found = c.sorvane_prism()
    run(c.sorvane_prism_round, points, len(points), by_volume, ctypes.byref(found), progress=progress)
    return Prism(np.array(found.axis), found.area, found.volume, found.low, found.high)
