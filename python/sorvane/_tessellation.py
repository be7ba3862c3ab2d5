"""Triangles of plane outlines, and of points."""

from __future__ import annotations

from typing import Optional, Sequence

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, array_of, indices_of, points_of
from ._lines import joined
from ._mesh import Mesh
from ._progress import Progress, make
from ._values import list_of, number


def tessellate(
    outlines: Sequence[ArrayLike],
    interior: Optional[ArrayLike] = None,
    *,
    tolerance: float = 0.0,
    progress: Progress = None,
) -> Mesh:
    """Triangles of the region between outlines: inside is what an odd number of them leads into.

    So an outline within another one is a hole. Outlines run either way, nest, touch and cross.

    Parameters
    ----------
    outlines : sequence of array_like, (n, 2) each, or (n, 3) each
        Closed by themselves, whether the last point repeats the first or not. In space all is seen in the plane of the
        first outline. The mesh of outlines in the plane has z = 0.
    interior : array_like, (k, 2) or (k, 3), optional
        Further corners of triangles.
    tolerance : float
        Interior points that are as near to an outline, on every axis, move onto it.

    Raises
    ------
    ValueError
        Arrays of another shape, a point that is not finite, a negative tolerance.
    sorvane.Error
        Points in space without a plane, or off it where they must not be.

    >>> import sorvane
    >>> square = [[0, 0], [4, 0], [4, 4], [0, 4]]
    >>> hole = [[1, 1], [3, 1], [3, 3], [1, 3]]
    >>> sorvane.tessellate([square, hole]).area
    12.0
    """
    given = [array_of(outline, f"outlines[{i}]", "(n, 2) or (n, 3)") for i, outline in enumerate(list_of(outlines, "outlines"))]
    first = given[0] if given else array_of([] if interior is None else interior, "interior", "(k, 2) or (k, 3)")
    columns = 3 if first.ndim == 2 and first.shape[1] == 3 else 2
    points, starts = joined(given, "outlines", columns)
    inside = points_of(np.empty((0, columns)) if interior is None else interior, "interior", columns)
    function = c.sorvane_tessellate_3d if columns == 3 else c.sorvane_tessellate_2d
    bound = number(tolerance, "tolerance")
    return Mesh._of(
        make(
            function,
            points,
            starts,
            len(given),
            inside,
            len(inside),
            bound,
            progress=progress,
            names={"points": "outlines"},
        )
    )


def tessellate_polygon(outline: ArrayLike, *, progress: Progress = None) -> Mesh:
    """Triangles of one simple polygon, (n, 2) or (n, 3), run either way: on its points, in their order, and no others.

    sorvane.Error: the outline crosses or touches itself, or has no area.

    >>> import sorvane
    >>> sorvane.tessellate_polygon([[0, 0], [2, 0], [2, 1], [1, 1], [1, 2], [0, 2]])
    <sorvane.Mesh: 4 triangles on 6 points>
    """
    given = array_of(outline, "outline", "(n, 2) or (n, 3)")
    columns = 3 if given.ndim == 2 and given.shape[1] == 3 else 2
    points = points_of(given, "outline", columns)
    function = c.sorvane_tessellate_polygon_3d if columns == 3 else c.sorvane_tessellate_polygon_2d
    return Mesh._of(make(function, points, len(points), progress=progress, names={"points": "outline"}))


def delaunay(
    points: ArrayLike, edges: Optional[ArrayLike] = None, *, inside_only: bool = False, progress: Progress = None
) -> Mesh:
    """Delaunay triangulation of points in the plane: a mesh on these points, in their order, with z = 0.

    Parameters
    ----------
    points : array_like, (n, 2)
    edges : array_like, (k, 2), optional
        Pairs of points that are to be joined by an edge, whatever the rule says.
    inside_only : bool
        Only the triangles that an odd number of ``edges`` separates from the outside.

    Raises
    ------
    sorvane.Error
        A point that repeats another within 1e-12 (``index`` is that of the later one), an edge that runs through a
        third point or is crossed by another edge (``index`` is that of the edge).
    IndexError
        An edge with a number that is no point, or the same twice.

    >>> import sorvane
    >>> sorvane.delaunay([[0, 0], [1, 0], [1, 1], [0, 1], [0.5, 0.4]])
    <sorvane.Mesh: 4 triangles on 5 points>
    """
    points = points_of(points, "points", 2)
    pairs = indices_of(np.empty((0, 2), dtype=np.int32) if edges is None else edges, "edges", 2)
    within = int(bool(inside_only))
    return Mesh._of(make(c.sorvane_delaunay, points, len(points), pairs, len(pairs), within, progress=progress))
