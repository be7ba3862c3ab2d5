"""What is looked for on a mesh: sharp edges, arcs, drilled holes, flat regions, directions, curvature."""

from __future__ import annotations

import ctypes
from typing import Any, List, NamedTuple, Optional, Tuple

import numpy as np

from . import _bindings as c
from ._arrays import FloatArray, IntArray, view
from ._distances import split_lists
from ._lines import Borrowed
from ._mesh import Mesh
from ._progress import Progress, make, options, run
from ._values import number

_ENDS = {
    int(c.sorvane_hole_end.SORVANE_HOLE_THROUGH): "through",
    int(c.sorvane_hole_end.SORVANE_HOLE_FLAT): "flat",
    int(c.sorvane_hole_end.SORVANE_HOLE_POINTED): "pointed",
}


class Arc(NamedTuple):
    """A circular arc in space."""

    #: Of the circle, (3,).
    center: FloatArray
    #: Unit, square to the plane of the circle, on either side of it, (3,).
    normal: FloatArray
    radius: float
    #: Of the arc, or of all arcs that make up the circle.
    length: float


class HoleStep(NamedTuple):
    """One diameter of a hole, or its way from one to another."""

    #: At the end toward the mouth.
    diameter: float
    #: At the deep end; another one for a cone.
    end_diameter: float
    #: Depth of the two ends, below the entry.
    start: float
    stop: float
    is_cone: bool


class DrillHole(NamedTuple):
    """All that is drilled, bored and sunk on one axis from one mouth."""

    #: Center of the mouth, (3,).
    entry: FloatArray
    #: Unit, from the mouth into the material, (3,).
    axis: FloatArray
    #: Depth on the axis, with the point that a drill leaves.
    depth: float
    #: What is at the deep end: "through", "flat" or "pointed".
    end: str
    #: A flat shoulder leads from a cylinder to a narrower step.
    is_counterbored: bool
    #: The first step is a cone that narrows to the second one.
    is_countersunk: bool
    #: From the mouth down.
    steps: Tuple[HoleStep, ...]

    @property
    def diameter(self) -> float:
        """The least diameter of a cylinder, or of the mouth where there are only cones."""
        bores = [step.diameter for step in self.steps if not step.is_cone]
        return min(bores) if bores else self.steps[0].diameter


class Cluster(NamedTuple):
    """Connected triangles of one direction."""

    #: Unit, weighted by area, (3,).
    normal: FloatArray
    #: Weighted by area, (3,).
    centroid: FloatArray
    area: float
    #: Numbers of the triangles.
    triangles: IntArray


class Curvatures(NamedTuple):
    """Shape of the surface at the points of a mesh."""

    #: Greatest and least principal curvature, 1 / length, (n,) each. The wall of a hole and that of a peg both have
    #: 1 / radius and 0.
    greatest: FloatArray
    least: FloatArray
    #: Unit normals, (n, 3).
    normals: FloatArray
    #: Unit directions in which the surface bends away, (n, 3); zero where it is flat.
    directions: FloatArray
    #: The area that belongs to each point, (n,).
    areas: FloatArray


def _array(values: Any) -> FloatArray:
    return np.array(values[:])


def _hole_options(
    crease_angle: Optional[float],
    tolerance: Optional[float],
    fraction: Optional[float],
    axis_tolerance: Optional[float],
) -> Any:
    return options(
        c.sorvane_hole_options,
        crease_angle=None if crease_angle is None else float(np.radians(number(crease_angle, "crease_angle"))),
        tolerance=None if tolerance is None else number(tolerance, "tolerance"),
        fraction=None if fraction is None else number(fraction, "fraction"),
        axis_tolerance=None if axis_tolerance is None else float(np.radians(number(axis_tolerance, "axis_tolerance"))),
    )


def sharp_edges(
    mesh: Mesh, crease_angle: float, *, with_boundary: bool = False, progress: Progress = None
) -> IntArray:
    angle = float(np.radians(number(crease_angle, "crease_angle")))
    made = make(c.sorvane_mesh_sharp_edges, mesh._handle, angle, bool(with_boundary), progress=progress)
    edges: IntArray = view(made, c.sorvane_edges_points, 2)
    return edges


def boundary_edges(mesh: Mesh, *, progress: Progress = None) -> IntArray:
    made = make(c.sorvane_mesh_boundary_edges, mesh._handle, progress=progress)
    edges: IntArray = view(made, c.sorvane_edges_points, 2)
    return edges


def longest_straight_boundary(mesh: Mesh, tolerance: float) -> FloatArray:
    ends = np.empty((2, 3))
    run(c.sorvane_mesh_longest_straight_boundary, mesh._handle, number(tolerance, "tolerance"), ends)
    return ends


def arcs(
    mesh: Mesh,
    *,
    crease_angle: Optional[float] = None,
    tolerance: Optional[float] = None,
    fraction: Optional[float] = None,
    progress: Progress = None,
) -> List[Arc]:
    how = _hole_options(crease_angle, tolerance, fraction, None)
    made = make(c.sorvane_mesh_arcs, mesh._handle, ctypes.byref(how), progress=progress)
    count = ctypes.c_size_t()
    items = c.sorvane_arcs_items(made, ctypes.byref(count))
    return [
        Arc(_array(items[i].center), _array(items[i].normal), items[i].radius, items[i].length)
        for i in range(count.value)
    ]


def drill_holes(
    mesh: Mesh,
    *,
    crease_angle: Optional[float] = None,
    tolerance: Optional[float] = None,
    fraction: Optional[float] = None,
    axis_tolerance: Optional[float] = None,
    progress: Progress = None,
) -> List[DrillHole]:
    how = _hole_options(crease_angle, tolerance, fraction, axis_tolerance)
    made = make(c.sorvane_mesh_drill_holes, mesh._handle, ctypes.byref(how), progress=progress)
    count = ctypes.c_size_t()
    all_steps = c.sorvane_holes_steps(made, ctypes.byref(count))
    items = c.sorvane_holes_items(made, ctypes.byref(count))
    holes = []
    for i in range(count.value):
        hole = items[i]
        steps = (all_steps[hole.first_step + k] for k in range(hole.step_count))
        holes.append(
            DrillHole(
                _array(hole.entry),
                _array(hole.axis),
                hole.tip_depth,
                _ENDS[hole.end],
                bool(hole.is_counterbored),
                bool(hole.is_countersunk),
                tuple(
                    HoleStep(step.diameter, step.end_diameter, step.from_depth, step.to_depth, bool(step.is_cone))
                    for step in steps
                ),
            )
        )
    return holes


def facet_clusters(mesh: Mesh, normal_tolerance: float, *, progress: Progress = None) -> List[Cluster]:
    tolerance = number(normal_tolerance, "normal_tolerance")
    made = make(c.sorvane_mesh_facet_clusters, mesh._handle, tolerance, progress=progress)
    count = ctypes.c_size_t()
    items = c.sorvane_clusters_items(made, ctypes.byref(count))
    triangles = split_lists(Borrowed(c.sorvane_clusters_triangles(made), made))
    return [
        Cluster(_array(items[i].normal), _array(items[i].centroid), items[i].area, triangles[i])
        for i in range(count.value)
    ]


def normal_groups(mesh: Mesh, resolution: float, *, progress: Progress = None) -> IntArray:
    groups = np.empty(len(mesh), dtype=np.int32)
    angle = float(np.radians(number(resolution, "resolution")))
    run(c.sorvane_mesh_normal_groups, mesh._handle, angle, groups, progress=progress)
    return groups


def curvatures(mesh: Mesh, tolerance: float, *, progress: Progress = None) -> Curvatures:
    n = len(mesh.points)
    result = Curvatures(np.empty(n), np.empty(n), np.empty((n, 3)), np.empty((n, 3)), np.empty(n))
    run(c.sorvane_mesh_curvatures, mesh._handle, number(tolerance, "tolerance"), *result, progress=progress)
    return result
