"""Triangle meshes: the class, and what reads and joins them.

The methods of `Mesh` are thin: what they do stands in a module for each family, as a function of the same name. Those
modules are imported by the first call, so that `import sorvane` stays quick and no two modules need each other.
"""

from __future__ import annotations

import ctypes
import operator
import os
import stat
from typing import TYPE_CHECKING, Any, Callable, Iterable, List, Optional, Tuple, TypeVar, Union, overload

import numpy as np
import numpy.typing as npt

from . import _bindings as c
from ._arrays import ArrayLike, FloatArray, IntArray, array_of, indices_of, points_of, triangles_of, view
from ._errors import FileError, Status
from ._handles import Handle
from ._progress import Progress, make, run
from ._values import choice, list_of, number, path_bytes

if TYPE_CHECKING:
    from typing import Literal, Protocol, Sequence

    from ._bounding import OrientedBox, Prism, Sphere
    from ._distances import Crossings, Hausdorff, HausdorffBounds, Nearest, TriangleTree
    from ._features import Arc, Cluster, Curvatures, DrillHole
    from ._imprint import Imprint
    from ._lines import Lines, LinesLike
    from ._machining import Drops, Gouges, Tool
    from ._operations import Decimation
    from ._regions import Region
    from ._report import Report
    from ._sections import Plane, Section, Slicer, Slices

    class SupportsRead(Protocol):
        """What has bytes to read."""

        def read(self) -> Optional[bytes]: ...


Path = Union[str, "os.PathLike[str]"]
TagArray = npt.NDArray[np.uint64]
Made = TypeVar("Made")

_FORMS = {
    "ascii_stl": c.sorvane_file_form.SORVANE_FORM_ASCII_STL,
    "binary_stl": c.sorvane_file_form.SORVANE_FORM_BINARY_STL,
    "tipc": c.sorvane_file_form.SORVANE_FORM_TIPC,
}
_CONNECTIONS = {
    "edge": c.sorvane_connection.SORVANE_SHARED_EDGE,
    "point": c.sorvane_connection.SORVANE_SHARED_POINT,
}


def _tags_of(value: Optional[ArrayLike], name: str, count: int) -> TagArray:
    if value is None:
        return np.empty(0, dtype=np.uint64)
    given: Any = _whole_numbers(value) if isinstance(value, (list, tuple)) else value
    array = array_of(given, name, f"({count},)")
    if array.shape != (count,):
        raise ValueError(f"{name}: expected shape ({count},), given {array.shape}")
    if array.dtype.kind not in "iu" and array.size > 0:
        raise ValueError(f"{name}: expected whole numbers of shape ({count},), given {array.dtype}")
    if array.dtype.kind == "i" and array.size > 0 and array.min() < 0:
        raise ValueError(f"{name}: expected numbers from 0 to 2^64 - 1, given {array.min()}")
    return np.require(array, dtype=np.uint64, requirements=["C", "A"])


def _whole_numbers(values: Any) -> Any:
    """A list of whole numbers, as it is unless some are above 2^63 and some below: NumPy would make floats of those."""
    try:
        if max(values) < 2**63 or min(values) < 0:
            return values
        return np.array([operator.index(value) for value in values], dtype=np.uint64)
    except (TypeError, ValueError, OverflowError):  # what they are is told by who looks at them as an array
        return values


def mesh_handle(value: Any, name: str) -> Handle:
    """What stands behind an argument that is to be a mesh."""
    if not isinstance(value, Mesh):
        raise ValueError(f"{name}: expected a sorvane.Mesh, given {type(value).__name__}")
    return value._handle


class Mesh:
    """A triangle mesh: points, and triangles that name three of them each, counterclockwise seen from outside.

    It is never changed: operations give new ones. So threads may share it, and its arrays are read-only views of the
    library's memory. `len` of a mesh is the number of its triangles. Meshes are equal when their points, triangles and
    tags are; they can be pickled.

    Parameters
    ----------
    points : array_like, (n, 3)
        Coordinates, in any unit of length; results are in the same.
    triangles : array_like, (m, 3)
        Subscripts of the points.
    point_tags, triangle_tags : array_like, (n,) and (m,), optional
        Numbers from 0 to 2^64 - 1 that mean whatever you want, such as the face of a CAD model that a triangle is of.
        Operations keep them where their text says so; a TIPC file has room for them.

    Raises
    ------
    ValueError
        An array of another shape or type.
    IndexError
        A subscript out of range; the text names the triangle.

    >>> import sorvane
    >>> mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    >>> mesh
    <sorvane.Mesh: 1 triangle on 3 points>
    >>> mesh.triangles
    array([[0, 1, 2]], dtype=int32)
    """

    __slots__ = ("_handle", "_tree", "__weakref__")

    _handle: Handle
    _tree: "TriangleTree"  # made by the first search

    def __init__(
        self,
        points: ArrayLike,
        triangles: ArrayLike,
        *,
        point_tags: Optional[ArrayLike] = None,
        triangle_tags: Optional[ArrayLike] = None,
    ) -> None:
        points = points_of(points, "points")
        triangles = triangles_of(triangles, "triangles")
        handle = make(c.sorvane_mesh_new, points, len(points), triangles, len(triangles))
        if point_tags is not None or triangle_tags is not None:
            of_points = _tags_of(point_tags, "point_tags", len(points))
            of_triangles = _tags_of(triangle_tags, "triangle_tags", len(triangles))
            handle = make(
                c.sorvane_mesh_with_tags, handle, of_points, len(of_points), of_triangles, len(of_triangles)
            )
        self._handle = handle

    @classmethod
    def _of(cls, handle: Handle) -> "Mesh":
        """The mesh that owns a handle of the C interface."""
        mesh = cls.__new__(cls)
        mesh._handle = handle
        return mesh

    # --- arrays ------------------------------------------------------------------------------------------------------

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

    @property
    def point_tags(self) -> Optional[TagArray]:
        """Tags of the points, (n,) uint64, or None: a read-only view."""
        tags: TagArray = view(self._handle, c.sorvane_mesh_point_tags)
        return tags if len(tags) > 0 else None

    @property
    def triangle_tags(self) -> Optional[TagArray]:
        """Tags of the triangles, (m,) uint64, or None: a read-only view."""
        tags: TagArray = view(self._handle, c.sorvane_mesh_triangle_tags)
        return tags if len(tags) > 0 else None

    @property
    def vertices(self) -> FloatArray:
        """The points, under the name that other packages use."""
        return self.points

    @property
    def faces(self) -> IntArray:
        """The triangles, under the name that other packages use."""
        return self.triangles

    def __len__(self) -> int:
        count = ctypes.c_size_t()
        c.sorvane_mesh_triangles(self._handle, ctypes.byref(count))
        return count.value

    def __bool__(self) -> bool:
        return True

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Mesh):
            return NotImplemented
        if self is other or self._handle is other._handle:
            return not np.isnan(self.points).any()
        return (
            np.array_equal(self.points, other.points)
            and np.array_equal(self.triangles, other.triangles)
            and _same(self.point_tags, other.point_tags)
            and _same(self.triangle_tags, other.triangle_tags)
        )

    def __hash__(self) -> int:
        points = self.points
        return hash((len(points), len(self), tuple(points[:2].ravel()), tuple(points[-2:].ravel())))

    def __copy__(self) -> "Mesh":
        return self

    def __deepcopy__(self, memo: Any) -> "Mesh":
        return self

    def __reduce__(self) -> Any:
        return _restored, (self.points, self.triangles, self.point_tags, self.triangle_tags)

    def __repr__(self) -> str:
        count, points = len(self), len(self.points)
        return f"<sorvane.Mesh: {count} triangle{'s' * (count != 1)} on {points} point{'s' * (points != 1)}>"

    def _repr_svg_(self) -> str:
        from ._pictures import mesh_svg

        return mesh_svg(self)

    # --- other packages' meshes, and files ---------------------------------------------------------------------------

    @classmethod
    def from_object(cls, other: Any) -> "Mesh":
        """The mesh of anything that has ``vertices`` (n, 3) and ``faces`` (m, 3), such as a mesh of another package.

        >>> import sorvane
        >>> class Other:
        ...     vertices = [[0, 0, 0], [1, 0, 0], [0, 1, 0]]
        ...     faces = [[0, 1, 2]]
        >>> sorvane.Mesh.from_object(Other())
        <sorvane.Mesh: 1 triangle on 3 points>
        """
        if isinstance(other, Mesh):
            return other
        if not hasattr(other, "vertices") or not hasattr(other, "faces"):
            raise ValueError(f"other: expected an object with vertices and faces, given {type(other).__name__}")
        return cls(points_of(other.vertices, "other.vertices"), triangles_of(other.faces, "other.faces"))

    def to_object(self, kind: Callable[..., Made]) -> Made:
        """``kind(vertices=..., faces=...)`` with copies of the arrays: a mesh of another package.

        >>> import sorvane, types
        >>> mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
        >>> mesh.to_object(types.SimpleNamespace).faces
        array([[0, 1, 2]], dtype=int32)
        """
        return kind(vertices=self.points.copy(), faces=self.triangles.copy())

    @property
    def form(self) -> Optional[str]:
        """Form of the file that the mesh was read from: "ascii_stl", "binary_stl", "tipc"; None for any other mesh."""
        number = c.sorvane_mesh_form(self._handle)
        return next((name for name, form in _FORMS.items() if form == number), None)

    def write(self, path: Path, form: Optional[str] = None, *, progress: Progress = None) -> None:
        """Writes the mesh, as a whole or not at all: a failure leaves a file that was there as it was.

        Parameters
        ----------
        path : path
            Without ``form`` its extension tells the form: ".stl" is binary STL, ".tipc" is TIPC.
        form : {"ascii_stl", "binary_stl", "tipc"}, optional
            TIPC keeps coordinates and tags bit for bit, ASCII STL coordinates; binary STL rounds them to 32-bit floats.

        Raises
        ------
        sorvane.FileError
            A folder that is not there, a full disk, an extension that names no form, a mesh without triangles, or one
            with a coordinate that is not finite or too large for the form. For binary STL also one that 32-bit floats
            would flatten: they can't tell the corners of a part apart that is tiny, or far from the origin.
        """
        number = 0 if form is None else choice(form, "form", _FORMS)
        run(c.sorvane_mesh_write, self._handle, path_bytes(path), number, progress=progress)

    def to_bytes(self, form: str = "binary_stl", *, progress: Progress = None) -> bytes:
        """The bytes of a file of the mesh, as `write` would write it: for a socket, a database, an archive.

        Raises `sorvane.FileError` where `write` would refuse the mesh.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
        >>> len(mesh.to_bytes())
        134
        >>> sorvane.read(mesh.to_bytes("tipc")) == mesh
        True
        """
        made = make(c.sorvane_mesh_write_bytes, self._handle, choice(form, "form", _FORMS), progress=progress)
        data: bytes = view(made, c.sorvane_bytes_data).tobytes()
        return data

    # --- measures ----------------------------------------------------------------------------------------------------

    @property
    def bounds(self) -> FloatArray:
        """Least and greatest coordinates of the points that triangles use, (2, 3).

        Raises `sorvane.Error` for a mesh without triangles, and ValueError for a point that is not finite.
        """
        bounds = np.empty((2, 3))
        run(c.sorvane_mesh_box, self._handle, bounds[0], bounds[1])
        return bounds

    @property
    def extent(self) -> FloatArray:
        """Size along each axis, (3,)."""
        bounds = self.bounds
        extent: FloatArray = bounds[1] - bounds[0]
        return extent

    @property
    def area(self) -> float:
        """Area of all triangles."""
        area = ctypes.c_double()
        run(c.sorvane_mesh_measure, self._handle, ctypes.byref(area), None)
        return area.value

    @property
    def volume(self) -> float:
        """Volume of a closed mesh, positive when it is wound outward; of an open one it means nothing."""
        volume = ctypes.c_double()
        run(c.sorvane_mesh_measure, self._handle, None, ctypes.byref(volume))
        return volume.value

    @property
    def centroid(self) -> FloatArray:
        """Center of mass of a closed mesh, (3,); NaN when the volume is 0. Of an open mesh it means nothing."""
        centroid = np.empty(3)
        run(c.sorvane_mesh_centroid, self._handle, centroid)
        return centroid

    def normals(self) -> FloatArray:
        """Unit normals of the triangles, (m, 3); zero for one of an area of at most 1e-12."""
        normals = np.empty((len(self), 3))
        run(c.sorvane_mesh_normals, self._handle, normals)
        return normals

    def point_normals(self) -> FloatArray:
        """Unit normals of the points, (n, 3): those of their triangles, weighted by area; zero where there is none."""
        normals = np.empty((len(self.points), 3))
        run(c.sorvane_mesh_point_normals, self._handle, normals)
        return normals

    def areas(self) -> FloatArray:
        """Areas of the triangles, (m,)."""
        areas = np.empty(len(self))
        run(c.sorvane_mesh_areas, self._handle, areas)
        return areas

    def aspect_ratios(self) -> FloatArray:
        """Twice the inradius over the circumradius of each triangle, (m,): 1 for an equilateral one, 0 without area."""
        ratios = np.empty(len(self))
        run(c.sorvane_mesh_aspect_ratios, self._handle, ratios)
        return ratios

    def neighbors(self) -> IntArray:
        """For each triangle those across its edges, (m, 3); -1 where there is none.

        Edge k runs from corner k to corner k + 1. On an edge of more than two triangles it is the first other one.
        """
        neighbors = np.empty((len(self), 3), dtype=np.int32)
        run(c.sorvane_mesh_neighbors, self._handle, neighbors)
        return neighbors

    def crease_angles(self) -> FloatArray:
        """Angle at each edge of each triangle between its normal and the neighbor's, (m, 3), radians.

        Positive for a convex edge, negative for a concave one; 2 pi where there is no neighbor.
        """
        angles = np.empty((len(self), 3))
        run(c.sorvane_mesh_crease_angles, self._handle, angles)
        return angles

    # --- one mesh of another -----------------------------------------------------------------------------------------

    def weld(self, tolerance: float = 0.0, *, progress: Progress = None) -> "Mesh":
        """Joins points of which every coordinate differs by at most ``tolerance``.

        Points that no triangle uses disappear; triangles stay, in their order and with their tags.

        >>> import sorvane
        >>> soup = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 1, 0], [1, 0, 0], [1, 1, 0]], [[0, 1, 2], [3, 4, 5]])
        >>> len(soup.weld().points)
        4
        """
        tolerance = number(tolerance, "tolerance")
        return Mesh._of(make(c.sorvane_mesh_weld, self._handle, tolerance, progress=progress))

    def transformed(self, matrix: ArrayLike) -> "Mesh":
        """The mesh mapped by an affine matrix, (3, 4) or (4, 4) with a last row of 0 0 0 1.

        A matrix that mirrors turns the triangles over, so that they face outward as before. Tags are kept.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
        >>> mesh.transformed([[2, 0, 0, 5], [0, 2, 0, 0], [0, 0, 2, 0]]).bounds
        array([[5., 0., 0.],
               [7., 2., 0.]])
        """
        given = array_of(matrix, "matrix", "(3, 4) or (4, 4)")
        if given.shape not in ((3, 4), (4, 4)):
            raise ValueError(f"matrix: expected shape (3, 4) or (4, 4), given {given.shape}")
        rows = points_of(given, "matrix", 4)
        if len(rows) == 4 and not np.array_equal(rows[3], (0, 0, 0, 1)):
            raise ValueError(f"matrix: expected a last row of 0 0 0 1, given {rows[3]}")
        return Mesh._of(make(c.sorvane_mesh_transformed, self._handle, rows))

    def part(self, triangles: ArrayLike) -> "Mesh":
        """The triangles of the list, (k,), in its order, with the points that they use. Tags are kept.

        A mask of (m,) booleans is taken as well. IndexError: a number that is no triangle.
        """
        given = array_of(triangles, "triangles", "(k,)")
        if given.dtype == np.bool_:
            if given.shape != (len(self),):
                raise ValueError(f"triangles: expected shape ({len(self)},), given {given.shape}")
            given = np.flatnonzero(given)
        numbers = indices_of(given, "triangles")
        return Mesh._of(make(c.sorvane_mesh_part, self._handle, numbers, len(numbers)))

    def components(self, connection: str = "edge", *, progress: Progress = None) -> List["Mesh"]:
        """The parts of the mesh that hang together, in the order of their first triangles.

        Weld first: in an STL as read every triangle is a component by itself.

        Parameters
        ----------
        connection : {"edge", "point"}
            Whether triangles that have only a point in common hang together.

        >>> import sorvane
        >>> points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [5, 0, 0], [6, 0, 0], [5, 1, 0]]
        >>> sorvane.Mesh(points, [[0, 1, 2], [3, 4, 5]]).components()
        [<sorvane.Mesh: 1 triangle on 3 points>, <sorvane.Mesh: 1 triangle on 3 points>]
        """
        found, starts, triangles = self._components(connection, progress)
        # A view's pieces are contiguous: nothing is copied.
        pieces = [triangles[starts[i] : starts[i + 1]] for i in range(len(starts) - 1)]
        return [Mesh._of(make(c.sorvane_mesh_part, self._handle, piece, len(piece))) for piece in pieces]

    def component_labels(self, connection: str = "edge", *, progress: Progress = None) -> IntArray:
        """For each triangle the number of its component, (m,), in the order of `components`."""
        found, starts, triangles = self._components(connection, progress)
        labels = np.empty(len(self), dtype=np.int32)
        labels[triangles] = np.repeat(np.arange(len(starts) - 1, dtype=np.int32), np.diff(starts))
        return labels

    def _components(self, connection: str, progress: Progress) -> Tuple[Handle, IntArray, IntArray]:
        number = choice(connection, "connection", _CONNECTIONS)
        found = make(c.sorvane_mesh_components, self._handle, number, progress=progress)
        return found, view(found, c.sorvane_components_starts), view(found, c.sorvane_components_triangles)

    def match_normals(self, *, progress: Progress = None) -> "Mesh":
        """Makes the triangles of each component run alike, by turning those in the minority over.

        Weld first: an STL as read has no common edges. Tags are kept. Afterwards all may still face inward: then
        `volume` is negative.
        """
        matched = Handle(c.sorvane_mesh)
        run(c.sorvane_mesh_match_normals, self._handle, matched.place, None, progress=progress)
        return Mesh._of(matched)

    def report(self, tolerance: float = 1e-6, *, progress: Progress = None) -> "Report":
        """How healthy the mesh is: defective triangles, edges that do not join two triangles, measures.

        Corners within ``tolerance`` on every axis are joined for it, so that an STL need not be welded before.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
        >>> report = mesh.report()
        >>> report.open_edges, report.sound, report.defects
        (3, False, ('open',))
        """
        from ._report import report

        return report(self, tolerance, progress=progress)

    # --- remeshing, decimation, subdivision ---------------------------------------------------------------------------

    def remesh(
        self,
        length: Optional[float] = None,
        *,
        chord_tolerance: Optional[float] = None,
        crease_angle: float = 40.0,
        iterations: int = 10,
        curvature_exponent: float = 1.0,
        keep_boundary: bool = True,
        keep_tags: bool = True,
        progress: Progress = None,
    ) -> "Mesh":
        """Remeshes until edges have about the same length, or with ``chord_tolerance`` until they are as long as that
        allows: short where the surface bends, long where it is flat.

        A closed surface stays closed. Weld first: an STL as read has no common edges.

        Parameters
        ----------
        length : float, optional
            The wanted edge length; by default the mean of the mesh. With ``chord_tolerance`` edges are between 0.25
            and 5 times as long.
        chord_tolerance : float, optional
            Greatest distance wanted between an edge and the surface.
        crease_angle : float
            Edges that bend by that many degrees or more are kept; above 180 none is.
        iterations : int
            Of splits, collapses, flips and moves, at most.
        curvature_exponent : float
            With ``chord_tolerance``: above 1 spares triangles where the surface bends little.
        keep_boundary : bool
            Whether boundary edges stay as they are; otherwise long ones are split.
        keep_tags : bool
            Whether edges between triangles of different tags are kept, with the tags. Of at most 256 different ones.

        Raises
        ------
        ValueError
            A length or tolerance that is not positive and finite, negative iterations.
        """
        from ._operations import remesh

        return remesh(
            self,
            length,
            chord_tolerance=chord_tolerance,
            crease_angle=crease_angle,
            iterations=iterations,
            curvature_exponent=curvature_exponent,
            keep_boundary=keep_boundary,
            keep_tags=keep_tags,
            progress=progress,
        )

    @overload
    def decimate(
        self,
        percent: Optional[float] = None,
        *,
        tolerance: Optional[float] = None,
        crease_angle: float = 40.0,
        method: str = "batches",
        keep_tags: bool = True,
        with_report: "Literal[False]" = False,
        progress: Progress = None,
    ) -> "Mesh": ...

    @overload
    def decimate(
        self,
        percent: Optional[float] = None,
        *,
        tolerance: Optional[float] = None,
        crease_angle: float = 40.0,
        method: str = "batches",
        keep_tags: bool = True,
        with_report: "Literal[True]",
        progress: Progress = None,
    ) -> "Tuple[Mesh, Decimation]": ...

    @overload
    def decimate(
        self,
        percent: Optional[float] = None,
        *,
        tolerance: Optional[float] = None,
        crease_angle: float = 40.0,
        method: str = "batches",
        keep_tags: bool = True,
        with_report: bool,
        progress: Progress = None,
    ) -> "Union[Mesh, Tuple[Mesh, Decimation]]": ...

    def decimate(
        self,
        percent: Optional[float] = None,
        *,
        tolerance: Optional[float] = None,
        crease_angle: float = 40.0,
        method: str = "batches",
        keep_tags: bool = True,
        with_report: bool = False,
        progress: Progress = None,
    ) -> "Union[Mesh, Tuple[Mesh, Decimation]]":
        """Fewer triangles for the same surface: until ``percent`` of them are left, or nothing more can go within
        ``tolerance``. One of the two must be given.

        Weld first: an STL as read has no common edges. A closed surface stays closed; boundaries stay where they are.

        Parameters
        ----------
        percent : float, optional
            Of the triangles to be left, from 0 to 100; by default 0: the tolerance alone decides.
        tolerance : float, optional
            Distance of the result from the mesh, which is measured; by default no limit. For "one_by_one" it is a
            distance times an area instead.
        crease_angle : float
            Edges that bend by that many degrees or more are kept.
        method : {"batches", "one_by_one"}
            Many edges at a time, or the cheapest first.
        keep_tags : bool
            As in `remesh`.
        with_report : bool
            Whether to return a pair: the mesh, and a `sorvane.Decimation` that tells what was done and why it ended.

        >>> import numpy as np, sorvane
        >>> x, y = (a.ravel() for a in np.meshgrid(np.arange(11.0), np.arange(11.0)))
        >>> sheet = sorvane.delaunay(np.column_stack([x, y]))   # flat
        >>> len(sheet), len(sheet.decimate(tolerance=0.01))
        (200, 2)
        """
        from ._operations import decimate

        decimated, report = decimate(
            self,
            percent,
            tolerance=tolerance,
            crease_angle=crease_angle,
            method=method,
            keep_tags=keep_tags,
            progress=progress,
        )
        return (decimated, report) if with_report else decimated

    def subdivide(
        self, iterations: int = 1, *, method: str = "loop", crease_angle: float = 30.0, progress: Progress = None
    ) -> "Mesh":
        """A finer and smoother mesh. Edges that bend by ``crease_angle`` degrees or more become smooth curves.

        Parameters
        ----------
        iterations : int
            Each makes four triangles ("loop") or three ("sqrt3") of one.
        method : {"loop", "sqrt3"}
            For parts with corners "loop".
        crease_angle : float
            Above 180 only boundaries are kept sharp.
        """
        from ._operations import subdivide

        return subdivide(self, iterations, method=method, crease_angle=crease_angle, progress=progress)

    def refine(self, iterations: int = 1, *, method: str = "midpoints", progress: Progress = None) -> "Mesh":
        """Every triangle cut in smaller ones that lie in it, and have its tag; they stand in its place.

        Parameters
        ----------
        iterations : int
            How many times over.
        method : {"centroid", "midpoints", "centroid_and_midpoints"}
            In 3, 4 or 6.

        >>> import sorvane
        >>> sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]]).refine()
        <sorvane.Mesh: 4 triangles on 6 points>
        """
        from ._operations import refine

        return refine(self, iterations, method=method, progress=progress)

    def split_long_edges(
        self, length: float, *, at_middle: bool = True, iterations: int = 50, progress: Progress = None
    ) -> "Mesh":
        """Splits the edges longer than ``length``, in passes; nothing else moves.

        Without ``at_middle`` an edge is split where the other diagonal of its two triangles crosses it; on needles
        that makes several times as many triangles, and thinner ones.
        """
        from ._operations import split_long_edges

        return split_long_edges(self, length, at_middle=at_middle, iterations=iterations, progress=progress)

    def improve(self, *, crease_angle: float = 1.0, max_drift: float = 0.01, progress: Progress = None) -> "Mesh":
        """Better shaped triangles by turning edges alone: no point is moved, added or dropped.

        Parameters
        ----------
        crease_angle : float
            Edges that bend by more degrees stay.
        max_drift : float
            How far the surface may move at a triangle, in the unit of the points: the accuracy of the part.
        """
        from ._operations import improve

        return improve(self, crease_angle=crease_angle, max_drift=max_drift, progress=progress)

    def remove_stars(self, max_angle: float = 1.0, *, progress: Progress = None) -> "Mesh":
        """One triangle in place of three round a point, where their normals differ by at most ``max_angle`` degrees."""
        from ._operations import remove_stars

        return remove_stars(self, max_angle, progress=progress)

    # --- what goes round it ------------------------------------------------------------------------------------------

    def hull(self, *, progress: Progress = None) -> "Mesh":
        """Convex hull of the points that triangles use: a closed mesh that faces outward.

        Raises `sorvane.Error` where they span no solid.
        """
        from ._bounding import hull

        return hull(self._used_points(), progress=progress)

    def bounding_sphere(self, *, progress: Progress = None) -> "Sphere":
        """The smallest sphere round the points that triangles use."""
        from ._bounding import bounding_sphere

        return bounding_sphere(self._used_points(), progress=progress)

    def oriented_box(self, *, quick: bool = False, progress: Progress = None) -> "OrientedBox":
        """A really small box round the points that triangles use, turned as it needs: for choosing stock.

        With ``quick`` the box stands on a triangle of the hull, along its first edge, and may be twice as large.
        """
        from ._bounding import oriented_box

        return oriented_box(self._used_points(), quick=quick, progress=progress)

    def prism(self, *, by: str = "area", progress: Progress = None) -> "Prism":
        """The prism of least "area" or "volume" round the points that triangles use: bar stock to be sawn off."""
        from ._bounding import prism

        return prism(self._used_points(), by=by, progress=progress)

    def _used_points(self) -> FloatArray:
        points, triangles = self.points, self.triangles
        if len(triangles) == 0:
            return points[:0]
        used = np.zeros(len(points), dtype=np.bool_)
        used[triangles] = True
        return points if used.all() else points[used]

    # --- sections --------------------------------------------------------------------------------------------------------

    def section(
        self, plane: "Plane", *, side: str = "above", tolerance: float = 0.0, progress: Progress = None
    ) -> "Section":
        """Where a plane cuts the mesh: loops, and chains where the mesh is open. Weld first.

        Parameters
        ----------
        plane : float or pair
            A number z for the level plane at that height, or (point, normal), both (3,).
        side : {"above", "below"}
            Where faces of the mesh lie in the plane: the section of what lies just above it, on the side to which the
            normal points, or just below.
        tolerance : float
            Corners within this of the plane count as lying in it: 1e-6 of the largest coordinate for faces of an STL
            that lie in the plane up to rounding.

        Raises
        ------
        ValueError
            A normal that is zero, or anything that is not finite.

        >>> import sorvane
        >>> tetrahedron = sorvane.hull([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]])
        >>> tetrahedron.section(0.5)
        <sorvane.Section at 0.5: 1 loops, area 0.125>
        >>> tetrahedron.section(([0.5, 0, 0], [2, 0, 0])).loops[0].shape
        (3, 2)
        """
        from ._sections import section

        return section(self, plane, side=side, tolerance=tolerance, progress=progress)

    def slices(
        self,
        heights: ArrayLike,
        *,
        normal: ArrayLike = (0.0, 0.0, 1.0),
        side: str = "above",
        tolerance: float = 0.0,
        progress: Progress = None,
    ) -> "Slices":
        """The sections with a stack of planes of one normal, (k,) heights along it, each as `section` gives it.

        Heights are distances from the origin along the unit normal. ValueError as in `section`.

        >>> import numpy as np, sorvane
        >>> tetrahedron = sorvane.hull([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]])
        >>> tetrahedron.slices([0, 0.5, 2]).areas
        array([0.5  , 0.125, 0.   ])
        """
        from ._sections import slices

        return slices(self, heights, normal=normal, side=side, tolerance=tolerance, progress=progress)

    def slicer(self, normal: ArrayLike = (0.0, 0.0, 1.0), *, progress: Progress = None) -> "Slicer":
        """The mesh made ready to be cut again and again by planes of one normal."""
        from ._sections import Slicer

        return Slicer(self, normal, progress=progress)

    def split(self, plane: "Plane", *, tolerance: float = 1e-9, progress: Progress = None) -> "Tuple[Mesh, Mesh]":
        """The part below a plane and the part above it, each closed by its lid: a pair of meshes.

        ``plane`` is as in `section`; corners within ``tolerance`` of it count as lying on it. A mesh that is open gives
        halves that are open.

        >>> import sorvane
        >>> tetrahedron = sorvane.hull([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]])
        >>> [round(half.volume * 48, 9) for half in tetrahedron.split(0.5)]
        [7.0, 1.0]
        """
        from ._sections import split

        return split(self, plane, tolerance=tolerance, progress=progress)

    def intersection_curves(self, other: "Mesh", *, progress: Progress = None) -> "Lines":
        """The curves in which two meshes cut each other, in space; none where they don't.

        Triangles that lie in one plane don't cut each other.
        """
        from ._sections import intersection_curves

        return intersection_curves(self, other, progress=progress)

    def self_intersections(self, *, progress: Progress = None) -> "Lines":
        """The curves in which the mesh cuts itself, in space; none for a sound one."""
        from ._sections import self_intersections

        return self_intersections(self, progress=progress)

    def cut_along(self, other: "Mesh", *, progress: Progress = None) -> "Tuple[Mesh, Mesh, Mesh]":
        """Cuts the triangles of two meshes along their intersection: the pieces of this one's that are cut, its other
        triangles, and the pieces of the triangles of ``other``."""
        from ._sections import cut_along

        return cut_along(self, other, progress=progress)

    # --- distances -------------------------------------------------------------------------------------------------------

    def _search_tree(self, progress: Progress) -> "TriangleTree":
        try:
            return self._tree
        except AttributeError:
            from ._distances import TriangleTree

            self._tree = TriangleTree(self, progress=progress)
            return self._tree

    def nearest(self, points: ArrayLike, *, radius: float = np.inf, progress: Progress = None) -> "Nearest":
        """For each of the points, (n, 3), the nearest place on the mesh, its triangle, and its distance.

        Only places within ``radius`` count: where there is none, the triangle is -1 and the distance infinite. The first
        call makes a search tree, which stays with the mesh. `sorvane.Error`: a mesh without triangles.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[0, 0, 0], [4, 0, 0], [0, 4, 0]], [[0, 1, 2]])
        >>> places, triangles, distances = mesh.nearest([[1, 1, 3], [-3, -4, 0]])
        >>> places
        array([[1., 1., 0.],
               [0., 0., 0.]])
        >>> distances
        array([3., 5.])
        """
        return self._search_tree(progress).nearest(points, radius=radius, progress=progress)

    def signed_distances(self, points: ArrayLike, *, progress: Progress = None) -> FloatArray:
        """The distance of each of the points, (n,): negative within a closed mesh that faces outward.

        The sign is that of the side of the surface at the nearest place, right also beside edges and corners however
        sharp. NaN for a point that is not finite. `sorvane.Error`: a mesh without triangles.
        """
        return self._search_tree(progress).signed_distances(points, progress=progress)

    def project_vertically(self, points: ArrayLike, *, progress: Progress = None) -> FloatArray:
        """The points, (n, 3), moved along z to the highest place of the mesh above or below them; z is NaN where there
        is none."""
        from ._distances import project_vertically

        return project_vertically(self, points, progress=progress)

    def crossings(self, lines: "LinesLike", *, progress: Progress = None) -> "Crossings":
        """Where open lines in space, a list of (k, 3), cross the mesh or touch it.

        A place on the common edge of two triangles is there twice.
        """
        from ._distances import crossings

        return crossings(self, lines, progress=progress)

    def hausdorff(self, other: "Mesh", *, progress: Progress = None) -> "Hausdorff":
        """The point of each of two meshes that is farthest from the other mesh, and the distances.

        Measures at points only; `hausdorff_bounds` sees what bulges between them.
        """
        from ._distances import hausdorff

        return hausdorff(self, other, progress=progress)

    def hausdorff_bounds(self, other: "Mesh", accuracy: float, *, progress: Progress = None) -> "HausdorffBounds":
        """Bounds of the distance of two surfaces, all of their points counted, no farther apart than ``accuracy`` as
        long as that can be had with some work. They are certain.

        A thousandth of the distance that you expect is cheap.

        >>> import sorvane
        >>> low = sorvane.Mesh([[0, 0, 0], [4, 0, 0], [0, 4, 0]], [[0, 1, 2]])
        >>> high = sorvane.Mesh([[0, 0, 1], [4, 0, 1], [0, 4, 2]], [[0, 1, 2]])
        >>> bounds = low.hausdorff_bounds(high, 1e-6)
        >>> bounds.lower <= 2 <= bounds.upper
        True
        """
        from ._distances import hausdorff_bounds

        return hausdorff_bounds(self, other, accuracy, progress=progress)

    # --- features --------------------------------------------------------------------------------------------------------

    def sharp_edges(
        self, crease_angle: float = 30.0, *, with_boundary: bool = False, progress: Progress = None
    ) -> IntArray:
        """Edges at which the surface turns by ``crease_angle`` degrees or more, (k, 2) subscripts of points.

        One inside the surface comes twice, once as each of its triangles runs it; a boundary edge comes once,
        ``with_boundary`` only.
        """
        from ._features import sharp_edges

        return sharp_edges(self, crease_angle, with_boundary=with_boundary, progress=progress)

    def boundary_edges(self, *, progress: Progress = None) -> IntArray:
        """Edges that exactly one triangle has, as it runs them, (k, 2) subscripts; none for a closed mesh.

        >>> import sorvane
        >>> sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]]).boundary_edges()
        array([[0, 1],
               [1, 2],
               [2, 0]], dtype=int32)
        """
        from ._features import boundary_edges

        return boundary_edges(self, progress=progress)

    def longest_straight_boundary(self, tolerance: float = 1e-6) -> FloatArray:
        """Ends of the longest straight stretch of the boundary, (2, 3): straight while no point of it lies farther than
        100 times ``tolerance`` from it. `sorvane.Error`: there is no boundary."""
        from ._features import longest_straight_boundary

        return longest_straight_boundary(self, tolerance)

    def arcs(
        self,
        *,
        crease_angle: Optional[float] = None,
        tolerance: Optional[float] = None,
        fraction: Optional[float] = None,
        progress: Progress = None,
    ) -> "List[Arc]":
        """Circular arcs among the sharp edges and the boundary; parameters as in `drill_holes`."""
        from ._features import arcs

        return arcs(self, crease_angle=crease_angle, tolerance=tolerance, fraction=fraction, progress=progress)

    def drill_holes(
        self,
        *,
        crease_angle: Optional[float] = None,
        tolerance: Optional[float] = None,
        fraction: Optional[float] = None,
        axis_tolerance: Optional[float] = None,
        progress: Progress = None,
    ) -> "List[DrillHole]":
        """The drilled holes, one record for each, however many diameters it has. Weld first.

        A hole is missed where a circle of it is: at a mouth on a curved or slanted face, and at a fillet. Slots and pegs
        are no holes.

        Parameters
        ----------
        crease_angle : float, optional
            Edges of that many degrees or more are sharp; about 23 (0.4 radians).
        tolerance : float, optional
            How far the points of a circle may lie from it, in the unit of the points; 0.02, for parts in millimeters.
        fraction : float, optional
            The share of a rim, and of a wall, that has to be there; 0.8.
        axis_tolerance : float, optional
            How far two axes that are one may differ, degrees; about 1.1 (0.02 radians).

        Raises
        ------
        ValueError
            A parameter that is negative or not a number.

        >>> import sorvane
        >>> plate = sorvane.solids.revolve([[2, 0, 0], [9, 0, 0], [9, 0, 5], [2, 0, 5], [2, 0, 0]], tolerance=0.01)
        >>> [hole] = plate.weld(1e-9).drill_holes()
        >>> round(hole.diameter, 6), round(hole.depth, 6), hole.end
        (4.0, 5.0, 'through')
        """
        from ._features import drill_holes

        return drill_holes(
            self,
            crease_angle=crease_angle,
            tolerance=tolerance,
            fraction=fraction,
            axis_tolerance=axis_tolerance,
            progress=progress,
        )

    def facet_clusters(self, normal_tolerance: float = 1e-6, *, progress: Progress = None) -> "List[Cluster]":
        """Connected triangles of one direction, largest area first: the flat faces of a part.

        Unit normals within ``normal_tolerance`` of each other per coordinate are one direction.
        """
        from ._features import facet_clusters

        return facet_clusters(self, normal_tolerance, progress=progress)

    def normal_groups(self, resolution: float = 15.0, *, progress: Progress = None) -> IntArray:
        """For each triangle the number of its group of like directions, (m,), ``resolution`` degrees or so apart."""
        from ._features import normal_groups

        return normal_groups(self, resolution, progress=progress)

    def curvatures(self, tolerance: float = 1e-12, *, progress: Progress = None) -> "Curvatures":
        """Principal curvatures, normals and areas at the points; all zero where the area is at most ``tolerance``."""
        from ._features import curvatures

        return curvatures(self, tolerance, progress=progress)

    # --- imprint ---------------------------------------------------------------------------------------------------------

    def imprint(
        self,
        lines: "LinesLike",
        *,
        closed: "Union[None, bool, Sequence[bool]]" = None,
        tolerance: float = 1e-6,
        skip_far_points: bool = False,
        progress: Progress = None,
    ) -> "Imprint":
        """Lines on the surface cut into it, so that they run along its edges, and what lies between them. Weld first.

        Triangles that name a point twice, or run an edge as another one does, are left out.

        Parameters
        ----------
        lines : list of array_like, (k, 3) each, or Lines
            Three points or more each. Between two points a line goes over the surface along the plane that holds both
            and the mean of the normals there: give points on both sides of sharp edges, and many on curved surfaces.
        closed : bool or sequence of bool, optional
            Which lines lead back to their first point, which is not repeated; by default all, or as `Lines` tell.
        tolerance : float
            How far a point may lie from the surface, and from a corner or an edge that it snaps to.
        skip_far_points : bool
            Points farther away are skipped with the stretches to them, rather than an error.

        Raises
        ------
        sorvane.Error
            A point that is not on the surface; ``index`` is its number among the points of all lines.
        ValueError
            A line of fewer than three points.

        >>> import sorvane
        >>> sheet = sorvane.Mesh([[0, 0, 0], [4, 0, 0], [4, 4, 0], [0, 4, 0]], [[0, 1, 2], [0, 2, 3]])
        >>> made = sheet.imprint([[[1, 1, 0], [3, 1, 0], [3, 3, 0], [1, 3, 0]]])
        >>> made.side().area, made.side(inside=False).area
        (4.0, 12.0)
        """
        from ._imprint import imprint

        return imprint(
            self, lines, closed=closed, tolerance=tolerance, skip_far_points=skip_far_points, progress=progress
        )

    def embed(
        self,
        lines: "LinesLike",
        *,
        step: float = 0.0,
        repeat_tolerance: float = 1e-9,
        progress: Progress = None,
    ) -> "Tuple[Mesh, List[IntArray]]":
        """Lines projected to the nearest points of the mesh and cut into it: the new mesh, welded, and for each line the
        subscripts of the points that it runs through.

        Parameters
        ----------
        lines : list of array_like, (k, 3) each, or Lines
            One whose last point equals its first is closed.
        step : float
            Distance of the places along a line that are projected; 0 for its own points.
        repeat_tolerance : float
            Points closer together are one.
        """
        from ._imprint import embed

        return embed(self, lines, step=step, repeat_tolerance=repeat_tolerance, progress=progress)

    def walk(
        self, start: ArrayLike, direction: ArrayLike, length: float, *, tolerance: float = 1e-6
    ) -> FloatArray:
        """The straightest line on the surface from a point of it, (n, 3); for many make a `sorvane.Tracer`."""
        from ._imprint import Tracer

        return Tracer(self, tolerance=tolerance).walk(start, direction, length)

    # --- solids ----------------------------------------------------------------------------------------------------------

    def sweep(self, path: ArrayLike, *, weld: bool = True, progress: Progress = None) -> "Mesh":
        """The shell that the mesh sweeps while its origin goes along ``path``, (n, 3); see `sorvane.solids.Sweep`."""
        from .solids import Sweep

        return Sweep(self, progress=progress).along(path, weld=weld, progress=progress)
    # --- tools from above, and shadows ---------------------------------------------------------------------------------

    def drop(self, tool: "Tool", points: ArrayLike, *, progress: Progress = None) -> "Drops":
        """Lowers the cutter of a tool along -z at (n, 2) positions until it touches: heights and triangles.

        For many calls on one mesh make a `sorvane.Surface` of it once.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[0, 0, 2], [9, 0, 2], [0, 9, 2]], [[0, 1, 2]])
        >>> mesh.drop(sorvane.Tool.ball(1), [[1, 1], [50, 0]])
        Drops(heights=array([  2., -inf]), triangles=array([ 0, -1], dtype=int32))
        """
        from ._machining import Surface

        return Surface(self, progress=progress).drop(tool, points, progress=progress)

    def height_map(self, tool: "Tool", xs: ArrayLike, ys: ArrayLike, *, progress: Progress = None) -> FloatArray:
        """Heights of the tool's tip over a raster, (len(ys), len(xs)); -inf where there is nothing below.

        For many calls on one mesh make a `sorvane.Surface` of it once.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[0, 0, 2], [9, 0, 2], [0, 9, 2]], [[0, 1, 2]])
        >>> mesh.height_map(sorvane.Tool.ball(1), [1, 2, 50], [1, 2])
        array([[  2.,   2., -inf],
               [  2.,   2., -inf]])
        """
        from ._machining import Surface

        return Surface(self, progress=progress).height_map(tool, xs, ys, progress=progress)

    def gouges(
        self, tool: "Tool", positions: ArrayLike, *, allowance: float = 1e-9, progress: Progress = None
    ) -> "Gouges":
        """What a tool, with all its parts, gouges with its tip at (n, 3) positions.

        ``allowance`` is a depth up to which a touch is none; a negative one asks for clearance, upward.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[0, 0, 2], [9, 0, 2], [0, 9, 2]], [[0, 1, 2]])
        >>> mesh.gouges(sorvane.Tool.flat(1), [[2, 2, 2], [2, 2, 1.5]]).depths
        array([0. , 0.5])
        """
        from ._machining import Surface

        return Surface(self, progress=progress).gouges(tool, positions, allowance=allowance, progress=progress)

    def silhouette(
        self, direction: ArrayLike = (0.0, 0.0, 1.0), *, progress: Progress = None
    ) -> "Region":
        """The shadow of the mesh seen along ``direction``, as a region of the plane.

        Along z the coordinates of the plane are x and y. Along another direction the first axis is level and the second
        one makes a right-handed frame with it and the direction: `silhouette_axes` tells both. Open meshes and soups
        have shadows too.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[0, 0, 2], [9, 0, 2], [0, 9, 5]], [[0, 1, 2]])
        >>> round(mesh.silhouette().area, 6), round(mesh.silhouette((0, -1, 0)).area, 6)
        (40.5, 13.5)
        """
        from ._machining import silhouette

        return silhouette(self, direction, progress=progress)[0]

    def silhouette_axes(self, direction: ArrayLike) -> FloatArray:
        """The two axes of the plane of `silhouette`, (2, 3): a point p lies at ``axes @ p``.

        >>> import sorvane
        >>> sorvane.Mesh([[0, 0, 0]], []).silhouette_axes((0, -2, 0)) + 0.0
        array([[1., 0., 0.],
               [0., 0., 1.]])
        """
        from ._machining import silhouette

        return silhouette(Mesh(np.empty((0, 3)), np.empty((0, 3), dtype=np.int32)), direction)[1]

    def spin_outline(
        self,
        step: float,
        *,
        origin: ArrayLike = (0.0, 0.0, 0.0),
        direction: ArrayLike = (0.0, 0.0, 1.0),
        progress: Progress = None,
    ) -> FloatArray:
        """Half the outline of what the mesh sweeps when it turns about an axis, (n, 2): radius, and height along the
        axis from the origin. A closed loop that does not repeat its first point, the lowest of the axis.

        Edges are sampled at heights ``step`` apart; what is smaller may be missed. Raises `sorvane.Error` for a mesh no
        higher than the step.

        >>> import sorvane
        >>> mesh = sorvane.Mesh([[3, 0, 0], [3, 0, 8], [3, 4, 0]], [[0, 1, 2]])
        >>> mesh.spin_outline(0.1).max(axis=0)
        array([5., 8.])
        """
        from ._machining import spin_outline

        return spin_outline(self, step, origin, direction, progress=progress)

    # --- (further families below, each under a line of its own) --------------------------------------------------------


def _same(a: Optional[TagArray], b: Optional[TagArray]) -> bool:
    return (a is None and b is None) or (a is not None and b is not None and np.array_equal(a, b))


def _restored(
    points: FloatArray, triangles: IntArray, point_tags: Optional[TagArray], triangle_tags: Optional[TagArray]
) -> Mesh:
    return Mesh(points, triangles, point_tags=point_tags, triangle_tags=triangle_tags)


def _refuse_device(source: Any) -> None:
    """Refuses a file object of a device, which may never end."""
    try:
        mode = os.fstat(source.fileno()).st_mode
    except (AttributeError, OSError, TypeError, ValueError):
        return  # none of the system's files
    if stat.S_ISCHR(mode) or stat.S_ISBLK(mode):
        raise FileError(f"{getattr(source, 'name', 'source')}: is a device", Status.SORVANE_FILE_ERROR)


def _bytes_of(source: Any) -> npt.NDArray[np.uint8]:
    """The bytes of a buffer, or those that a file object still has, without a copy of their own."""
    if hasattr(source, "read"):
        _refuse_device(source)
        source = source.read()
        if source is None:
            raise BlockingIOError("source: a file object without data at the moment")
        if isinstance(source, str):
            raise ValueError("source: expected a file open for bytes ('rb'), given one for text")
    try:
        buffer = memoryview(source)
    except TypeError:
        raise ValueError(f"source: expected a path, bytes or a file object, given {type(source).__name__}") from None
    if not buffer.c_contiguous:
        raise ValueError("source: expected contiguous bytes")
    return np.frombuffer(buffer, dtype=np.uint8) if buffer.nbytes > 0 else np.empty(0, dtype=np.uint8)


def read(
    source: Union[Path, bytes, bytearray, memoryview, "SupportsRead"], *, name: Optional[str] = None, progress: Progress = None
) -> Mesh:
    """Reads an ASCII STL, a binary STL or a TIPC file, told apart by content.

    An STL gives three fresh points for each triangle: join them with `Mesh.weld`. The tags of a TIPC file are kept.

    Parameters
    ----------
    source : path, bytes, bytearray, memoryview or file object
        The path of a file, or its bytes, or what has them by a method ``read``: a file open with "rb", an upload, a
        member of an archive. From where a file object stands it is read to its end, and not closed. Bytes are not
        copied. They are never taken for a path.
    name : str, optional
        What the texts of errors call bytes; without one it is the ``name`` of the file object, or "bytes".

    >>> import io, sorvane
    >>> data = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]]).to_bytes()
    >>> sorvane.read(io.BytesIO(data))
    <sorvane.Mesh: 1 triangle on 3 points>
    >>> sorvane.read(data[:100], name="upload")
    Traceback (most recent call last):
    ...
    sorvane._errors.FileError: upload: binary STL cut short: 134 bytes announced, 100 there

    Raises
    ------
    OSError
        A file that is not there (FileNotFoundError) or may not be read (PermissionError).
    sorvane.FileError
        Content that is none of these; the text tells what is wrong and where. A file object of a device.
    """
    if isinstance(source, (str, os.PathLike)):
        return Mesh._of(make(c.sorvane_mesh_read, path_bytes(source), progress=progress, path=source))
    if name is None:
        given = getattr(source, "name", None)
        name = given if isinstance(given, str) else "bytes"
    label = name.encode("utf-8", "surrogateescape").split(b"\0")[0]
    data = _bytes_of(source)
    return Mesh._of(make(c.sorvane_mesh_read_bytes, data, len(data), label, progress=progress))


def join(meshes: Iterable[Mesh]) -> Mesh:
    """One mesh of several: points and triangles one after the other, nothing welded.

    Tags are kept when all the meshes have them.

    >>> import sorvane
    >>> one = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    >>> sorvane.join([one, one])
    <sorvane.Mesh: 2 triangles on 6 points>
    """
    parts = list_of(meshes, "meshes")
    for i, part in enumerate(parts):
        if not isinstance(part, Mesh):
            raise ValueError(f"meshes: expected meshes, given {type(part).__name__} at {i}")
    pointers = (ctypes.POINTER(c.sorvane_mesh) * len(parts))(*(part._handle._as_parameter_ for part in parts))
    return Mesh._of(make(c.sorvane_mesh_joined, pointers, len(parts)))
