"""Triangle meshes."""

from __future__ import annotations

import os
from typing import Union

from . import _bindings as c
from ._arrays import ArrayLike, FloatArray, IntArray, points_of, triangles_of, view
from ._handles import Handle
from ._progress import Progress, make


class Mesh:
    """A triangle mesh: points, and triangles that name three of them each, counterclockwise seen from outside.

    It is never changed: operations give new ones. So threads may share it.

    Parameters
    ----------
    points : array_like, (n, 3)
        Coordinates, in any unit of length; results are in the same.
    triangles : array_like, (m, 3)
        Subscripts of the points.

    Raises
    ------
    ValueError
        An array of another shape or type.
    IndexError
        A subscript out of range; the text names the triangle.

    >>> import sorvane
    >>> mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    >>> mesh.triangles
    array([[0, 1, 2]], dtype=int32)
    """

    __slots__ = ("_handle", "_points", "_triangles", "__weakref__")

    _handle: Handle

    def __init__(self, points: ArrayLike, triangles: ArrayLike) -> None:
        points = points_of(points, "points")
        triangles = triangles_of(triangles, "triangles")
        self._handle = make(c.sorvane_mesh_new, points, len(points), triangles, len(triangles))

    @classmethod
    def _of(cls, handle: Handle) -> "Mesh":
        """The mesh that owns a handle of the C interface."""
        mesh = cls.__new__(cls)
        mesh._handle = handle
        return mesh

    @property
    def points(self) -> FloatArray:
        """Coordinates, (n, 3) float64: a read-only view."""
        points: FloatArray = view(self._handle, c.sorvane_mesh_points, 3)
        return points

    @property
    def triangles(self) -> IntArray:
        """Subscripts of the points, (m, 3) int32: a read-only view."""
        triangles: IntArray = view(self._handle, c.sorvane_mesh_triangles, 3)
        return triangles

    def weld(self, tolerance: float = 0.0, *, progress: Progress = None) -> "Mesh":
        """Joins points of which every coordinate differs by at most ``tolerance``.

        Points that no triangle uses disappear; triangles stay, in their order.

        >>> import sorvane
        >>> soup = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 1, 0], [1, 0, 0], [1, 1, 0]], [[0, 1, 2], [3, 4, 5]])
        >>> len(soup.weld().points)
        4
        """
        return Mesh._of(make(c.sorvane_mesh_weld, self._handle, tolerance, progress=progress))


def read(path: Union[str, "os.PathLike[str]"], *, progress: Progress = None) -> Mesh:
    """Reads an ASCII STL, a binary STL or a TIPC file, told apart by content.

    An STL gives three fresh points for each triangle: join them with `Mesh.weld`.

    Raises
    ------
    OSError
        A file that is not there (FileNotFoundError) or may not be read (PermissionError).
    sorvane.FileError
        Content that is none of these; the text tells what is wrong and where.
    """
    return Mesh._of(make(c.sorvane_mesh_read, os.fsencode(path), progress=progress, path=path))
