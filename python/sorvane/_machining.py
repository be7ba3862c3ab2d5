"""Milling tools, and where they touch a part."""

from __future__ import annotations

import ctypes
from typing import Any, NamedTuple, Optional, Tuple

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, BoolArray, FloatArray, IntArray, numbers_of, point_of, points_of, view
from ._chains import Chain
from ._handles import Handle
from ._lines import Borrowed, Lines
from ._mesh import Mesh, mesh_handle
from ._progress import Progress, make, options, run
from ._regions import Region
from ._values import choice, number

_FAMILIES = {
    "convex": c.sorvane_tool_family.SORVANE_TOOL_CONVEX,
    "cylindrical": c.sorvane_tool_family.SORVANE_TOOL_CYLINDRICAL,
}
_FIELDS = (
    "tip_radius",
    "lower_corner_radius",
    "lower_corner_angle",
    "taper_height",
    "taper_angle",
    "upper_corner_radius",
    "shank_length",
)


class ToolFit(NamedTuple):
    """How far a fitted tool is off its outline."""

    #: Largest distance between tool and outline.
    point_deviation: float
    #: Largest distance between tool and the hull of the outline: compare it with the tolerance.
    hull_deviation: float
    #: Mean over the points of both.
    mean_deviation: float


class Drops(NamedTuple):
    """Where a tool stops at each of many positions."""

    #: Heights of the tip, (n,); -inf where there is nothing below.
    heights: FloatArray
    #: The triangle that stops the tool, (n,) int32; -1 where there is nothing below.
    triangles: IntArray


class Gouges(NamedTuple):
    """What a tool gouges at each of many positions."""

    #: By how much the tool would have to be lifted, (n,); 0 where it is clear.
    depths: FloatArray
    #: The triangle that reaches in so far, (n,) int32; -1 where the tool is clear.
    triangles: IntArray
    #: The number of the part of the tool that offends most, (n,) int32; -1 where the tool is clear.
    parts: IntArray

    @property
    def clear(self) -> BoolArray:
        """Whether the tool is clear, (n,)."""
        clear: BoolArray = self.parts < 0
        return clear


class Tool:
    """A milling tool of revolution: a cutter, and what is above it. It is never changed, and can be pickled.

    Parameters
    ----------
    tip_radius : float
        Half-width of the flat at the tip.
    lower_corner_radius, lower_corner_angle : float
        Of the arc that leaves the flat; pi / 2 for one that is tangent to it.
    taper_height, taper_angle : float
        Of the cone, and its angle from the axis.
    upper_corner_radius : float
        Of the arc that leaves the cone.
    shank_length : float
        Straight part above all the rest.

    Lengths are in the unit of the parts, angles in radians. What is 0 is missing.

    >>> import sorvane
    >>> sorvane.Tool.ball(10)
    <sorvane.Tool: radius 5, 1 part>
    """

    __slots__ = ("_handle", "__weakref__")

    _handle: Handle

    def __init__(
        self,
        *,
        tip_radius: float = 0.0,
        lower_corner_radius: float = 0.0,
        lower_corner_angle: float = 0.0,
        taper_height: float = 0.0,
        taper_angle: float = 0.0,
        upper_corner_radius: float = 0.0,
        shank_length: float = 0.0,
    ) -> None:
        values = (
            tip_radius,
            lower_corner_radius,
            lower_corner_angle,
            taper_height,
            taper_angle,
            upper_corner_radius,
            shank_length,
        )
        shape = _shape({name: number(value, name) for name, value in zip(_FIELDS, values)})
        self._handle = make(c.sorvane_tool_new, ctypes.byref(shape))

    @classmethod
    def _of(cls, handle: Handle) -> "Tool":
        tool = cls.__new__(cls)
        tool._handle = handle
        return tool

    @classmethod
    def ball(cls, diameter: float, *, length: Optional[float] = None) -> "Tool":
        """Ball nose. ``length`` is the height of the whole cutter, here and below; 4 diameters unless told."""
        size = number(diameter, "diameter")
        return cls._of(make(c.sorvane_tool_ball, size, _length(length, size)))

    @classmethod
    def flat(cls, diameter: float, *, length: Optional[float] = None) -> "Tool":
        """Flat end mill."""
        size = number(diameter, "diameter")
        return cls._of(make(c.sorvane_tool_flat, size, _length(length, size)))

    @classmethod
    def bull(cls, diameter: float, corner_radius: float, *, length: Optional[float] = None) -> "Tool":
        """Bull nose: flat with rounded corners.

        >>> import sorvane
        >>> sorvane.Tool.bull(12, 2).profile
        <sorvane.Chain: 3 elements, open, length 53.1416>
        """
        size = number(diameter, "diameter")
        corner = number(corner_radius, "corner_radius")
        return cls._of(make(c.sorvane_tool_bull, size, corner, _length(length, size)))

    @classmethod
    def cone(cls, diameter: float, angle: float = 90.0, *, length: Optional[float] = None) -> "Tool":
        """Cone on its point, of a whole ``angle`` in degrees; the length is that of the cone and 3 diameters unless
        told."""
        size, degrees = number(diameter, "diameter"), number(angle, "angle")
        if length is None:
            cone = 0.5 * size / np.tan(np.radians(degrees / 2)) if 0 < degrees < 180 else 0.0
            length = float(cone + 3 * size)
        return cls._of(make(c.sorvane_tool_cone, size, degrees, number(length, "length")))

    @classmethod
    def from_profile(
        cls, points: ArrayLike, *, tolerance: float = 0.01, family: str = "convex", progress: Progress = None
    ) -> "Tuple[Tool, ToolFit]":
        """The tool that a drawn or scanned half outline describes, and how far it is off.

        Parameters
        ----------
        points : array_like, (n, 2)
            Radius and height, from the tip on the axis outward and upward.
        tolerance : float
            Within which the tool should follow the outline; a fit never fails for it: see the `ToolFit`.
        family : {"convex", "cylindrical"}
            A cylindrical tool contains the outline whatever the tolerance.

        >>> import sorvane
        >>> tool, fit = sorvane.Tool.from_profile([(0, 0), (5, 0), (5, 20)])
        >>> tool.radius, fit.hull_deviation
        (5.0, 0.0)
        """
        outline = points_of(points, "points", 2)
        fit = c.sorvane_tool_fit()
        handle = Handle(c.sorvane_tool)
        run(
            c.sorvane_tool_from_profile,
            outline,
            len(outline),
            number(tolerance, "tolerance"),
            choice(family, "family", _FAMILIES),
            handle.place,
            ctypes.byref(fit),
            progress=progress,
        )
        return cls._of(handle), ToolFit(fit.point_deviation, fit.hull_deviation, fit.mean_deviation)

    @classmethod
    def best_from_profile(
        cls, points: ArrayLike, low: float = 0.0, high: float = 0.0, *, progress: Progress = None
    ) -> "Tuple[Tool, ToolFit]":
        """The best convex tool of 200 fits or more at tolerances between two bounds; 0 and 0 mean 1e-5 to 1e-3."""
        outline = points_of(points, "points", 2)
        fit = c.sorvane_tool_fit()
        handle = Handle(c.sorvane_tool)
        run(
            c.sorvane_tool_from_profile_best,
            outline,
            len(outline),
            number(low, "low"),
            number(high, "high"),
            handle.place,
            ctypes.byref(fit),
            progress=progress,
        )
        return cls._of(handle), ToolFit(fit.point_deviation, fit.hull_deviation, fit.mean_deviation)

    def with_part(self, part: "Tool", height: float) -> "Tool":
        """The tool with the cutter of another one above it, such as a shank or holder: that one's tip at ``height``.

        >>> import sorvane
        >>> sorvane.Tool.ball(10).with_part(sorvane.Tool.flat(60, length=50), 40)
        <sorvane.Tool: radius 5, 2 parts>
        """
        if not isinstance(part, Tool):
            raise ValueError(f"part: expected a sorvane.Tool, given {type(part).__name__}")
        shape = _shape(dict(zip(_FIELDS, part.parts[0])))
        return Tool._of(make(c.sorvane_tool_with_part, self._handle, ctypes.byref(shape), number(height, "height")))

    @property
    def parts(self) -> FloatArray:
        """A row for each part, (n, 8): the parameters of its shape in their order, and its height. Read-only view."""
        parts: FloatArray = view(self._handle, c.sorvane_tool_parts, 8)
        return parts

    @property
    def radius(self) -> float:
        """Largest radius of the cutter."""
        return float(c.sorvane_tool_radius(self._handle))

    @property
    def diameter(self) -> float:
        """Largest diameter of the cutter."""
        return 2 * self.radius

    @property
    def profile(self) -> Chain:
        """Half profile of the cutter, (radius, height), from the axis outward and upward."""
        return Chain._of(Borrowed(c.sorvane_tool_profile(self._handle), self._handle))

    def offset(self, points: ArrayLike, normals: ArrayLike) -> FloatArray:
        """Where the tip stands for the cutter to touch a surface at (n, 3) points with unit normals, (n, 3).

        >>> import sorvane
        >>> sorvane.Tool.ball(10).offset([(1, 2, 3)], [(0, 0, 1)]).round(9)
        array([[1., 2., 3.]])
        """
        places = points_of(points, "points")
        directions = points_of(normals, "normals")
        if len(places) != len(directions):
            raise ValueError(f"normals: expected shape {places.shape}, given {directions.shape}")
        tips = np.empty_like(places)
        run(c.sorvane_tool_offset, self._handle, places, directions, len(places), tips)
        return tips

    def __copy__(self) -> "Tool":
        return self

    def __deepcopy__(self, memo: Any) -> "Tool":
        return self

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Tool):
            return NotImplemented
        return np.array_equal(self.parts, other.parts)

    def __hash__(self) -> int:
        return hash(self.parts.tobytes())

    def __reduce__(self) -> Any:
        return _restored, (self.parts,)

    def __repr__(self) -> str:
        count = len(self.parts)
        return f"<sorvane.Tool: radius {self.radius:g}, {count} part{'s' * (count != 1)}>"

    def _repr_svg_(self) -> str:
        from ._plane_pictures import chains_svg

        profile = self.profile
        rows = profile.elements.copy()
        rows[:, 0::2] *= -1
        rows[:, 4] = -profile.elements[:, 4]
        segments = profile.kinds == 0
        rows[segments, 4] = 0
        rows[:, 2] = np.where(segments, -profile.elements[:, 2], rows[:, 2])
        mirrored = Chain.from_elements(profile.kinds, rows, tolerance=1e-6 * max(self.radius, 1e-300))
        return chains_svg([profile, mirrored])


def _length(length: Optional[float], diameter: float) -> float:
    return 4 * diameter if length is None else number(length, "length")


def _shape(values: Any) -> c.sorvane_tool_shape:
    shape: c.sorvane_tool_shape = options(c.sorvane_tool_shape, **values)
    return shape


def _restored(parts: FloatArray) -> Tool:
    tool = Tool(**dict(zip(_FIELDS, (float(value) for value in parts[0][:7]))))
    for row in parts[1:]:
        shape = _shape(dict(zip(_FIELDS, row)))
        tool = Tool._of(make(c.sorvane_tool_with_part, tool._handle, ctypes.byref(shape), float(row[7])))
    return tool


def _tool(value: Any) -> Handle:
    if not isinstance(value, Tool):
        raise ValueError(f"tool: expected a sorvane.Tool, given {type(value).__name__}")
    return value._handle


class Surface:
    """A mesh prepared for tools that come from above, along -z. To be made once for each part; it can be pickled.

    The methods of `Mesh` of the same names prepare the mesh at every call.

    >>> import sorvane
    >>> roof = sorvane.Mesh([(0, 0, 0), (9, 0, 0), (0, 9, 0), (9, 9, 9)], [(0, 1, 2), (1, 3, 2)])
    >>> part = sorvane.Surface(roof)
    >>> part.height_map(sorvane.Tool.flat(0.2), [1, 2, 50], [1, 2])
    array([[  0.,   0., -inf],
           [  0.,   0., -inf]])
    """

    __slots__ = ("_handle", "_mesh", "__weakref__")

    def __init__(self, mesh: Mesh, *, progress: Progress = None) -> None:
        self._handle = make(c.sorvane_surface_new, mesh_handle(mesh, "mesh"), progress=progress)
        self._mesh = mesh

    @property
    def mesh(self) -> Mesh:
        """The mesh that it was made of."""
        return self._mesh

    def __copy__(self) -> "Surface":
        return self

    def __deepcopy__(self, memo: Any) -> "Surface":
        return self

    def __reduce__(self) -> Any:
        return Surface, (self._mesh,)

    def __repr__(self) -> str:
        return f"<sorvane.Surface of {self._mesh!r}>"

    def drop(self, tool: Tool, points: ArrayLike, *, progress: Progress = None) -> Drops:
        """Lowers the cutter at (n, 2) positions until it touches. One that is not finite has nothing below it."""
        positions = points_of(points, "points", 2)
        drops = Drops(np.empty(len(positions)), np.empty(len(positions), dtype=np.int32))
        run(
            c.sorvane_surface_drop,
            self._handle,
            _tool(tool),
            positions,
            len(positions),
            drops.heights,
            drops.triangles,
            progress=progress,
        )
        return drops

    def height_map(self, tool: Tool, xs: ArrayLike, ys: ArrayLike, *, progress: Progress = None) -> FloatArray:
        """Heights of the tip over a raster, (len(ys), len(xs)); -inf where there is nothing below.

        Those of a part of a raster are the same to the bit: it may be cut in tiles.
        """
        columns, rows = numbers_of(xs, "xs"), numbers_of(ys, "ys")
        heights = np.empty((len(rows), len(columns)))
        run(
            c.sorvane_surface_height_map,
            self._handle,
            _tool(tool),
            columns,
            len(columns),
            rows,
            len(rows),
            heights.reshape(-1),
            None,
            progress=progress,
        )
        return heights

    def gouges(
        self, tool: Tool, positions: ArrayLike, *, allowance: float = 1e-9, progress: Progress = None
    ) -> Gouges:
        """What the tool, with all its parts, gouges with its tip at (n, 3) positions.

        Parameters
        ----------
        tool : Tool
        positions : array_like, (n, 3)
            One that is not finite is clear: nothing is there.
        allowance : float
            Depth up to which a touch is none; a negative one asks for as much clearance, upward.
        """
        tips = points_of(positions, "positions")
        numbers = np.empty((2, len(tips)), dtype=np.int32)
        gouges = Gouges(np.empty(len(tips)), numbers[0], numbers[1])
        run(
            c.sorvane_surface_gouges,
            self._handle,
            _tool(tool),
            tips,
            len(tips),
            number(allowance, "allowance"),
            gouges.depths,
            gouges.triangles,
            gouges.parts,
            progress=progress,
        )
        return gouges


def silhouette(mesh: Mesh, direction: ArrayLike, *, progress: Progress = None) -> "Tuple[Region, FloatArray]":
    """See `Mesh.silhouette`."""
    along = point_of(direction, "direction")
    axes = np.empty((2, 3))
    handle = Handle(c.sorvane_region)
    run(c.sorvane_mesh_silhouette, mesh._handle, along, axes.reshape(-1), handle.place, progress=progress)
    return Region._of(handle), axes


def spin_outline(
    mesh: Mesh, step: float, origin: ArrayLike, direction: ArrayLike, *, progress: Progress = None
) -> FloatArray:
    """See `Mesh.spin_outline`."""
    lines = make(
        c.sorvane_mesh_spin_outline,
        mesh._handle,
        point_of(origin, "origin"),
        point_of(direction, "direction"),
        number(step, "step"),
        progress=progress,
    )
    return Lines._of(lines).points
