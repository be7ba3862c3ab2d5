"""Solids: grids of signed distances, swept volumes, cells of octrees, bodies from profiles and curves.

    from sorvane import solids

    ball = solids.Volume.of_field(lambda p: np.linalg.norm(p, axis=1) - 1, (-1.2, -1.2, -1.2), 0.1, (25, 25, 25))
    box = ...
    part = (ball - box).surface()
"""

from __future__ import annotations

import ctypes
from typing import Any, Callable, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _bindings as c
from ._arrays import ArrayLike, FloatArray, IntArray, array_of, indices_of, point_of, points_of, view
from ._errors import Stopped
from ._handles import Handle
from ._mesh import Mesh, mesh_handle
from ._progress import Listener, Progress, listening, make, run
from ._values import choice, count, list_of, number

__all__ = [
    "CELL_EXTERIOR",
    "CELL_INTERIOR",
    "CELL_SURFACE",
    "CELL_UNCLASSIFIED",
    "Cells",
    "Sweep",
    "Volume",
    "cell_paths",
    "cells_surface",
    "extrude",
    "patch",
    "patch_mesh",
    "revolve",
    "solid_cells",
]

PathArray = npt.NDArray[np.int64]

#: Told points, (n, 3); answers their signed distances, (n,), or a pair of these and the directions in which they grow.
Field = Callable[[FloatArray], Union[ArrayLike, Tuple[ArrayLike, ArrayLike]]]

CELL_UNCLASSIFIED = int(c.sorvane_cell_state.SORVANE_CELL_UNCLASSIFIED)
CELL_SURFACE = int(c.sorvane_cell_state.SORVANE_CELL_SURFACE)
CELL_INTERIOR = int(c.sorvane_cell_state.SORVANE_CELL_INTERIOR)
CELL_EXTERIOR = int(c.sorvane_cell_state.SORVANE_CELL_EXTERIOR)


# --- swept volumes ----------------------------------------------------------------------------------------------------


class Sweep:
    """A body that is moved along paths without being turned.

    ``body`` is a mesh that is welded and, for a shell without gaps, closed. `sorvane.Error` for one without an edge of
    two triangles, as an STL before `Mesh.weld`.

    >>> import numpy as np, sorvane
    >>> from sorvane import solids
    >>> cube = solids.extrude([[0, 0], [1, 0], [1, 1], [0, 1]], 0, 1)
    >>> round(solids.Sweep(cube).along([[0, 0, 0], [3, 0, 0]]).volume, 9)
    4.0
    """

    __slots__ = ("_handle",)

    def __init__(self, body: Mesh, *, progress: Progress = None) -> None:
        self._handle = make(c.sorvane_sweep_new, mesh_handle(body, "body"), progress=progress)

    def along(self, path: ArrayLike, *, weld: bool = True, progress: Progress = None) -> Mesh:
        """The shell that the body sweeps while its origin goes along ``path``, (n, 3).

        Facets may lie inside of the swept space and pass through each other: the winding number is 1 at least in all of
        that space and 0 outside. Without ``weld`` every triangle has points of its own.
        """
        points = points_of(path, "path")
        shell = Mesh._of(make(c.sorvane_sweep_along, self._handle, points, len(points), progress=progress))
        return shell.weld(progress=progress) if weld else shell


# --- volumes ----------------------------------------------------------------------------------------------------------


def _is_single(value: Any, name: str) -> bool:
    """Is it one number for all, and no array?"""
    return array_of(value, name, "(n,)").ndim == 0


def _grid(nodes: Sequence[int], origin: ArrayLike, spacing: Union[float, ArrayLike]) -> Any:
    grid = c.sorvane_grid()
    c.sorvane_grid_init(ctypes.byref(grid))
    numbers = [count(n, "nodes") for n in list_of(nodes, "nodes")]
    if len(numbers) != 3:
        raise ValueError(f"nodes: expected three numbers, given {len(numbers)}")
    steps = np.full(3, number(spacing, "spacing")) if _is_single(spacing, "spacing") else point_of(spacing, "spacing")
    grid.nodes[:] = numbers
    grid.origin[:] = point_of(origin, "origin").tolist()
    grid.spacing[:] = steps.tolist()
    return grid


class Volume:
    """A solid as a grid of signed distances from its surface, negative inside.

    Volumes are never changed, and can be pickled. ``a | b``, ``a & b`` and ``a - b`` are the union, the intersection and
    the difference, node by node. Their nodes must lie at the same places.

    Parameters
    ----------
    values : array_like, (nz, ny, nx)
        The distance at each node: element [z, y, x] is that at origin + (x, y, z) * spacing.
    origin : array_like, (3,)
        Place of node (0, 0, 0).
    spacing : float or array_like, (3,)
        Distance of neighbors along the axes.
    directions : array_like, (nz, ny, nx, 3), optional
        Unit directions in which the distances grow. With them edges and corners of the solid come out sharp; where they
        are zero, or missing, they are taken from differences of the values.

    >>> import numpy as np
    >>> from sorvane import solids
    >>> z, y, x = np.meshgrid(*3 * [np.linspace(-1, 1, 21)], indexing="ij")
    >>> ball = solids.Volume(np.sqrt(x * x + y * y + z * z) - 0.7, (-1, -1, -1), 0.1)
    >>> slab = solids.Volume(np.abs(z) - 0.25, (-1, -1, -1), 0.1)
    >>> (ball & slab).nodes
    (21, 21, 21)
    >>> abs((ball - slab).surface().volume - 0.6998) < 0.02   # two caps, from one value a tenth
    True
    """

    __slots__ = ("_handle",)

    def __init__(
        self,
        values: ArrayLike,
        origin: ArrayLike = (0.0, 0.0, 0.0),
        spacing: Union[float, ArrayLike] = 1.0,
        *,
        directions: Optional[ArrayLike] = None,
    ) -> None:
        array = array_of(values, "values", "(nz, ny, nx)")
        if array.ndim != 3 or array.dtype.kind not in "fiu":
            raise ValueError(f"values: expected numbers of shape (nz, ny, nx), given {array.dtype} of shape {array.shape}")
        samples: FloatArray = np.require(array, dtype=np.float64, requirements=["C", "A"])
        normals: Optional[FloatArray] = None
        if directions is not None:
            given = array_of(directions, "directions", f"{samples.shape + (3,)}")
            if given.shape != samples.shape + (3,):
                raise ValueError(f"directions: expected shape {samples.shape + (3,)}, given {given.shape}")
            if given.dtype.kind not in "fiu":
                raise ValueError(f"directions: expected numbers of shape {given.shape}, given {given.dtype}")
            normals = np.require(given, dtype=np.float64, requirements=["C", "A"])
        grid = _grid(samples.shape[::-1], origin, spacing)
        self._handle = make(c.sorvane_volume_new, ctypes.byref(grid), samples, samples.size, normals)

    @classmethod
    def _of(cls, handle: Handle) -> "Volume":
        volume = cls.__new__(cls)
        volume._handle = handle
        return volume

    @classmethod
    def of_field(
        cls,
        field: Field,
        origin: ArrayLike,
        spacing: Union[float, ArrayLike],
        nodes: Sequence[int],
        *,
        progress: Progress = None,
    ) -> "Volume":
        """A volume of what ``field`` tells of its nodes, (nx, ny, nz) of them along the axes.

        ``field`` is called with the points of a layer, (n, 3), and answers distances, (n,), or a pair of distances and
        directions, (n, 3). What it raises comes out of here.
        """
        if not callable(field):
            raise ValueError(f"field: expected a callable, given {type(field).__name__}")
        grid = _grid(nodes, origin, spacing)
        raised: "list[BaseException]" = []
        layers = int(grid.nodes[2])
        done = 0
        refused = False

        told: Optional[Listener] = None

        def ask(points: int, n: int, values: int, directions: int, user: Any) -> int:
            nonlocal done, refused
            try:
                # A copy: the library's own memory would be gone for a field that keeps its points.
                at = np.array((ctypes.c_double * (3 * n)).from_address(points)).reshape(n, 3)
                at.flags.writeable = False
                answer = field(at)
                values_told, normals = answer if isinstance(answer, tuple) else (answer, None)
                distances = np.asarray(values_told, dtype=np.float64)
                if distances.shape != (n,):
                    raise ValueError(f"field: expected distances of shape ({n},), given {distances.shape}")
                np.ctypeslib.as_array((ctypes.c_double * n).from_address(values))[:] = distances
                if normals is not None:
                    given = np.asarray(normals, dtype=np.float64)
                    if given.shape != (n, 3):
                        raise ValueError(f"field: expected directions of shape ({n}, 3), given {given.shape}")
                    np.ctypeslib.as_array((ctypes.c_double * (3 * n)).from_address(directions))[:] = given.ravel()
                done += 1
                if told is not None and told(done / layers) is False:
                    refused = True
                    return 0
                return 1
            except BaseException as exception:
                raised.append(exception)
                return 0

        # Python runs the handlers of signals on entering a function. What they raise there is before the `try` of `ask`:
        # ctypes prints it, and nobody has told of the layer or said whether to go on.
        with listening(progress, "volume of field") as told:
            try:
                handle = make(c.sorvane_volume_of_field, ctypes.byref(grid), c.sorvane_field(ask), None)
            except Stopped:
                if raised:
                    raise raised[0] from None
                if refused:
                    raise
                raise KeyboardInterrupt from None
        if done != layers:
            raise KeyboardInterrupt
        return cls._of(handle)

    def __copy__(self) -> "Volume":
        return self

    def __deepcopy__(self, memo: Any) -> "Volume":
        return self

    def __reduce__(self) -> Any:
        return _restored, (self.values, self.origin, self.spacing, self.directions)

    def _placed(self) -> Any:
        grid = c.sorvane_grid()
        c.sorvane_grid_init(ctypes.byref(grid))
        c.sorvane_volume_grid(self._handle, ctypes.byref(grid))
        return grid

    @property
    def nodes(self) -> Tuple[int, int, int]:
        """Nodes along x, y and z."""
        x, y, z = self._placed().nodes[:]
        return x, y, z

    @property
    def origin(self) -> FloatArray:
        """Place of node (0, 0, 0), (3,)."""
        return np.array(self._placed().origin[:])

    @property
    def spacing(self) -> FloatArray:
        """Distance of neighbors along the axes, (3,)."""
        return np.array(self._placed().spacing[:])

    @property
    def values(self) -> FloatArray:
        """Distances, (nz, ny, nx): a read-only view."""
        x, y, z = self.nodes
        samples: FloatArray = view(self._handle, c.sorvane_volume_samples, 4)
        return samples.reshape(z, y, x, 4)[..., 0]

    @property
    def directions(self) -> FloatArray:
        """Directions in which the distances grow, (nz, ny, nx, 3): a read-only view."""
        x, y, z = self.nodes
        samples: FloatArray = view(self._handle, c.sorvane_volume_samples, 4)
        return samples.reshape(z, y, x, 4)[..., 1:]

    def __or__(self, other: "Volume") -> "Volume":
        if not isinstance(other, Volume):
            return NotImplemented
        return Volume._of(make(c.sorvane_volume_union, self._handle, other._handle))

    def __and__(self, other: "Volume") -> "Volume":
        if not isinstance(other, Volume):
            return NotImplemented
        return Volume._of(make(c.sorvane_volume_intersection, self._handle, other._handle))

    def __sub__(self, other: "Volume") -> "Volume":
        if not isinstance(other, Volume):
            return NotImplemented
        return Volume._of(make(c.sorvane_volume_difference, self._handle, other._handle))

    def surface(self, *, progress: Progress = None) -> Mesh:
        """The surface, by dual contouring: a mesh that faces outward.

        Closed where the solid keeps away from the outermost nodes, otherwise open there. Nodes whose value is not a
        number count as outside.
        """
        return Mesh._of(make(c.sorvane_volume_surface, self._handle, progress=progress))

    def __repr__(self) -> str:
        x, y, z = self.nodes
        return f"<sorvane.solids.Volume: {x} x {y} x {z} nodes>"

    def _repr_svg_(self) -> str:
        return self.surface()._repr_svg_()


def _restored(values: FloatArray, origin: FloatArray, spacing: FloatArray, directions: FloatArray) -> Volume:
    return Volume(values, origin, spacing, directions=directions)


# --- cells ------------------------------------------------------------------------------------------------------------


class Cells(NamedTuple):
    """Cells of a quadtree or octree, and what is known of them."""

    #: How often the root was divided, (n,).
    depths: IntArray
    #: Which child on each level, (n,): child k of a cell has path * 2^dimension + k; bit 0 of k is x, bit 1 y, bit 2 z.
    paths: PathArray
    #: CELL_SURFACE, CELL_INTERIOR, CELL_EXTERIOR, or CELL_UNCLASSIFIED for one that is divided, (n,).
    states: IntArray


def cell_paths(points: ArrayLike, depth: int) -> PathArray:
    """Paths of the cells of a depth that hold the points, (n,).

    Parameters
    ----------
    points : array_like, (n, 2) or (n, 3)
        In the unit square or cube; others go to the nearest cell.
    depth : int
        0 to 31 in the plane, to 21 in space.

    >>> from sorvane import solids
    >>> solids.cell_paths([[0.6, 0.1, 0.1], [0.6, 0.6, 0.6]], 1)
    array([1, 7])
    """
    given = array_of(points, "points", "(n, 2) or (n, 3)")
    if given.ndim != 2 or given.shape[1] not in (2, 3):
        raise ValueError(f"points: expected shape (n, 2) or (n, 3), given {given.shape}")
    dimension = given.shape[1]
    at = points_of(points, "points", dimension)
    paths = np.empty(len(at), dtype=np.int64)
    run(c.sorvane_cell_paths, dimension, at, len(at), count(depth, "depth"), paths)
    return paths


def _paths_of(value: ArrayLike, name: str) -> PathArray:
    given = array_of(value, name, "(n,)")
    if given.ndim != 1 or (given.dtype.kind not in "iu" and given.size > 0):
        raise ValueError(f"{name}: expected whole numbers of shape (n,), given {given.dtype} of shape {given.shape}")
    return np.require(given, dtype=np.int64, requirements=["C", "A"])


def solid_cells(
    paths: ArrayLike,
    depths: Union[int, ArrayLike],
    *,
    dimension: int = 3,
    leaves_only: bool = True,
    progress: Progress = None,
) -> Cells:
    """Completes the cells that the surface of a solid passes through into a tree, and tells which others lie inside: all
    that empty space does not reach from outside through faces.

    Parameters
    ----------
    paths : array_like, (n,)
        As of `cell_paths`.
    depths : int or array_like, (n,)
        Of all cells, or of each. Give cells of one depth.
    dimension : {2, 3}
    leaves_only : bool
        Leave out cells that are divided.

    Raises
    ------
    IndexError
        A path or depth out of range; cells at full depth (31 or 21) are.
    """
    given = _paths_of(paths, "paths")
    if _is_single(depths, "depths"):
        depths = np.full(len(given), count(depths, "depths"), dtype=np.int32)
    levels = indices_of(depths, "depths")
    if levels.shape != given.shape:
        raise ValueError(f"depths: expected one number or shape {given.shape}, given {levels.shape}")
    made = make(
        c.sorvane_solid_cells,
        count(dimension, "dimension"),
        levels,
        given,
        len(given),
        bool(leaves_only),
        progress=progress,
    )
    return Cells(
        view(made, c.sorvane_cells_depths), view(made, c.sorvane_cells_paths), view(made, c.sorvane_cells_states)
    )


def cells_surface(
    paths: ArrayLike,
    depth: int,
    *,
    scale: Union[float, ArrayLike] = 1.0,
    offset: ArrayLike = (0.0, 0.0, 0.0),
    progress: Progress = None,
) -> Mesh:
    """The surface of the union of octree cells of one depth, facing outward.

    The unit cube goes to space by p * scale + offset.

    >>> from sorvane import solids
    >>> solids.cells_surface([0], 1, scale=2.0).volume
    1.0
    """
    given = _paths_of(paths, "paths")
    size = np.full(3, number(scale, "scale")) if _is_single(scale, "scale") else point_of(scale, "scale")
    return Mesh._of(
        make(
            c.sorvane_cells_surface,
            given,
            len(given),
            count(depth, "depth"),
            size,
            point_of(offset, "offset"),
            progress=progress,
        )
    )


# --- bodies from profiles and curves ----------------------------------------------------------------------------------


def extrude(profile: ArrayLike, bottom: float, top: float, *, slices: int = 1, progress: Progress = None) -> Mesh:
    """The body over a plane profile, (n, 2), either way round, from one height to another: closed and welded.

    Raises `sorvane.Error` for a profile that crosses itself or bounds no area.

    >>> from sorvane import solids
    >>> solids.extrude([[0, 0], [4, 0], [0, 3]], 0, 2).volume
    12.0
    """
    outline = points_of(profile, "profile", 2)
    return Mesh._of(
        make(
            c.sorvane_mesh_extrude,
            outline,
            len(outline),
            number(bottom, "bottom"),
            number(top, "top"),
            count(slices, "slices"),
            progress=progress,
        )
    )


def revolve(
    profile: ArrayLike,
    *,
    axis_point: ArrayLike = (0.0, 0.0, 0.0),
    axis_direction: ArrayLike = (0.0, 0.0, 1.0),
    tolerance: float = 0.01,
    progress: Progress = None,
) -> Mesh:
    """The surface of a profile in space, (n, 3), turned about an axis; chords stay within ``tolerance`` of the circles.

    >>> from sorvane import solids
    >>> cone = solids.revolve([[0, 0, 0], [1, 0, 0], [0, 0, 3]], tolerance=1e-4)
    >>> round(abs(cone.volume), 2)
    3.14
    """
    points = points_of(profile, "profile")
    return Mesh._of(
        make(
            c.sorvane_mesh_revolve,
            points,
            len(points),
            point_of(axis_point, "axis_point"),
            point_of(axis_direction, "axis_direction"),
            number(tolerance, "tolerance"),
            progress=progress,
        )
    )


def patch(curve: ArrayLike, *, progress: Progress = None) -> Mesh:
    """A surface whose boundary is a closed curve in space, (n, 3), such as the rim of a hole, relaxed like a soap film.

    Raises `sorvane.Error` for a curve that can't be laid out in a plane.
    """
    points = points_of(curve, "curve")
    return Mesh._of(make(c.sorvane_mesh_patch, points, len(points), progress=progress))


_STYLES = {
    "midpoints": c.sorvane_patch_style.SORVANE_PATCH_MIDPOINTS,
    "centroids": c.sorvane_patch_style.SORVANE_PATCH_CENTROIDS,
    "centroids_and_midpoints": c.sorvane_patch_style.SORVANE_PATCH_CENTROIDS_AND_MIDPOINTS,
}
_PARTS = {
    "whole": c.sorvane_patch_part.SORVANE_PATCH_WHOLE,
    "inside": c.sorvane_patch_part.SORVANE_PATCH_INSIDE,
    "outside": c.sorvane_patch_part.SORVANE_PATCH_OUTSIDE,
    "conflicts": c.sorvane_patch_part.SORVANE_PATCH_CONFLICTS,
}


def patch_mesh(level: int, inside: ArrayLike, *, style: str = "midpoints", part: str = "whole") -> Mesh:
    """A triangular patch cut by a mask of its nodes, in the plane of weights: x of corner 0, y of corner 1.

    Parameters
    ----------
    level : int
        0 to 7: each edge is cut in level + 1 parts, which makes (level + 2)(level + 3) / 2 nodes.
    inside : array_like, (nodes,)
        Which nodes lie inside, row by row from the edge between corners 0 and 1 to corner 2.
    style : {"midpoints", "centroids", "centroids_and_midpoints"}
    part : {"whole", "inside", "outside", "conflicts"}

    >>> from sorvane import solids
    >>> solids.patch_mesh(1, [1, 0, 0, 0, 0, 0], part="inside").area
    0.03125
    """
    given = array_of(inside, "inside", "(n,)")
    if given.ndim != 1 or (given.dtype.kind not in "biuf" and given.size > 0):
        raise ValueError(f"inside: expected truth values of shape (n,), given {given.dtype} of shape {given.shape}")
    mask: IntArray = (given != 0).astype(np.int32)
    return Mesh._of(
        make(
            c.sorvane_patch_mesh,
            count(level, "level"),
            mask,
            len(mask),
            int(choice(style, "style", _STYLES)),
            int(choice(part, "part", _PARTS)),
        )
    )
