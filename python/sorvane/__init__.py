"""Sorvane: computational geometry for toolpath software.

    import sorvane

    part = sorvane.read("part.stl").weld(1e-6)
    print(part.report())

Arrays go in and come out as NumPy's: points (n, 3) or (n, 2) of float64, triangles (m, 3) of int32. Contiguous ones are
not copied on the way in by Python, and what comes out is a read-only view that keeps its owner alive.
"""

from __future__ import annotations

import ctypes as _ctypes

from . import lathe, solids
from ._bindings import sorvane_version as _version
from ._bounding import (
    Circle,
    OrientedBox,
    OrientedRectangle,
    Prism,
    Sphere,
    bounding_circle,
    bounding_sphere,
    hull,
    hull_2d,
    oriented_box,
    oriented_rectangle,
    prism,
)
from ._chains import Chain, join_chains, thin
from ._distances import Crossings, Hausdorff, HausdorffBounds, Nearest, OneWayBounds, TriangleTree
from ._errors import Error, FileError, Status, Stopped
from ._features import Arc, Cluster, Curvatures, DrillHole, HoleStep
from ._imprint import Imprint, Tracer
from ._lines import Lines
from ._machining import Drops, Gouges, Surface, Tool, ToolFit
from ._mesh import Mesh, join, read
from ._operations import Decimation
from ._regions import Region
from ._report import Box, Report
from ._sections import Section, Slicer, Slices
from ._tessellation import delaunay, tessellate, tessellate_polygon
from ._threads import thread_count, thread_limit

__all__ = [
    "Arc",
    "Box",
    "Chain",
    "Circle",
    "Cluster",
    "Crossings",
    "Curvatures",
    "Decimation",
    "DrillHole",
    "Drops",
    "Error",
    "FileError",
    "Gouges",
    "Hausdorff",
    "HausdorffBounds",
    "HoleStep",
    "Imprint",
    "Lines",
    "Mesh",
    "Nearest",
    "OneWayBounds",
    "OrientedBox",
    "OrientedRectangle",
    "Prism",
    "Region",
    "Report",
    "Section",
    "Slicer",
    "Slices",
    "Sphere",
    "Status",
    "Stopped",
    "Surface",
    "Tool",
    "ToolFit",
    "Tracer",
    "TriangleTree",
    "bounding_circle",
    "bounding_sphere",
    "delaunay",
    "hull",
    "hull_2d",
    "join",
    "join_chains",
    "lathe",
    "oriented_box",
    "oriented_rectangle",
    "prism",
    "read",
    "solids",
    "tessellate",
    "tessellate_polygon",
    "thin",
    "thread_count",
    "thread_limit",
]


def _version_text() -> str:
    numbers = [_ctypes.c_int() for _ in range(3)]
    _version(*(_ctypes.byref(number) for number in numbers))
    return ".".join(str(number.value) for number in numbers)


#: The version of the library that was loaded.
__version__ = _version_text()
