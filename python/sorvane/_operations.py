"""Operations that make one mesh of another: remeshing, decimation, subdivision, better triangles."""

from __future__ import annotations

import ctypes
from typing import Any, NamedTuple, Optional, Tuple

from . import _bindings as c
from ._handles import Handle
from ._mesh import Mesh
from ._progress import Progress, make, options, run
from ._values import choice, count, number

_SUBDIVISIONS = {"loop": c.sorvane_subdivision.SORVANE_LOOP, "sqrt3": c.sorvane_subdivision.SORVANE_SQRT3}
_REFINEMENTS = {
    "centroid": c.sorvane_refinement.SORVANE_CENTROID,
    "midpoints": c.sorvane_refinement.SORVANE_MIDPOINTS,
    "centroid_and_midpoints": c.sorvane_refinement.SORVANE_CENTROID_AND_MIDPOINTS,
}
_DECIMATIONS = {
    "batches": c.sorvane_decimation_method.SORVANE_DECIMATE_IN_BATCHES,
    "one_by_one": c.sorvane_decimation_method.SORVANE_DECIMATE_ONE_BY_ONE,
}
_STOPS = ("target", "tolerance", "locked", "too_long", "folds", "empty")


class Decimation(NamedTuple):
    """What a decimation did. The edges that are left are counted by why they were not collapsed."""

    initial_triangles: int
    triangles: int
    percent_left: float
    #: Greatest error accepted, in the method's own measure.
    greatest_error: float
    #: Of the result from the mesh, as measured; NaN where it was not.
    deviation: float
    #: Why it ended: "target", "tolerance", "locked", "too_long", "folds" or "empty".
    stop: str
    locked_edges: int
    long_edges: int
    deviating_edges: int
    folding_edges: int


def _positive(value: Any, name: str) -> float:
    result = number(value, name)
    if not result > 0:
        raise ValueError(f"{name}: expected a positive number, given {value!r}")
    return result


def remesh(
    mesh: Mesh,
    length: Optional[float],
    *,
    chord_tolerance: Optional[float],
    crease_angle: float,
    iterations: int,
    curvature_exponent: float,
    keep_boundary: bool,
    keep_tags: bool,
    progress: Progress,
) -> Mesh:
    values: Any = {
        "length": None if length is None else _positive(length, "length"),
        "crease_angle_degrees": number(crease_angle, "crease_angle"),
        "iterations": count(iterations, "iterations"),
        "keep_boundary": int(bool(keep_boundary)),
        "keep_tags": int(bool(keep_tags)),
    }
    if chord_tolerance is None:
        given = options(c.sorvane_remesh_options, **values)
        return Mesh._of(make(c.sorvane_mesh_remesh, mesh._handle, ctypes.byref(given), progress=progress))
    values["chord_tolerance"] = _positive(chord_tolerance, "chord_tolerance")
    values["curvature_exponent"] = _positive(curvature_exponent, "curvature_exponent")
    given = options(c.sorvane_adaptive_options, **values)
    return Mesh._of(make(c.sorvane_mesh_remesh_adaptive, mesh._handle, ctypes.byref(given), progress=progress))


def decimate(
    mesh: Mesh,
    percent: Optional[float],
    *,
    tolerance: Optional[float],
    crease_angle: float,
    method: str,
    keep_tags: bool,
    progress: Progress,
) -> Tuple[Mesh, Decimation]:
    if percent is None and tolerance is None:
        raise ValueError("percent, tolerance: expected one of them, given none")
    given = options(
        c.sorvane_decimate_options,
        keep_percent=0.0 if percent is None else number(percent, "percent"),
        tolerance=float("inf") if tolerance is None else number(tolerance, "tolerance"),
        crease_angle_degrees=number(crease_angle, "crease_angle"),
        method=int(choice(method, "method", _DECIMATIONS)),
        keep_tags=int(bool(keep_tags)),
    )
    decimated = Handle(c.sorvane_mesh)
    done = c.sorvane_decimation()
    run(
        c.sorvane_mesh_decimate,
        mesh._handle,
        ctypes.byref(given),
        decimated.place,
        ctypes.byref(done),
        progress=progress,
    )
    report = Decimation(
        done.initial_triangles,
        done.triangles,
        done.percent_left,
        done.greatest_error,
        done.deviation,
        _STOPS[done.stop],
        done.locked_edges,
        done.long_edges,
        done.deviating_edges,
        done.folding_edges,
    )
    return Mesh._of(decimated), report


def subdivide(mesh: Mesh, iterations: int, *, method: str, crease_angle: float, progress: Progress) -> Mesh:
    kind = choice(method, "method", _SUBDIVISIONS)
    passes = count(iterations, "iterations")
    angle = number(crease_angle, "crease_angle")
    return Mesh._of(make(c.sorvane_mesh_subdivide, mesh._handle, kind, passes, angle, progress=progress))


def refine(mesh: Mesh, iterations: int, *, method: str, progress: Progress) -> Mesh:
    kind = choice(method, "method", _REFINEMENTS)
    return Mesh._of(make(c.sorvane_mesh_refine, mesh._handle, kind, count(iterations, "iterations"), progress=progress))


def split_long_edges(mesh: Mesh, length: float, *, at_middle: bool, iterations: int, progress: Progress) -> Mesh:
    return Mesh._of(
        make(
            c.sorvane_mesh_split_long_edges,
            mesh._handle,
            number(length, "length"),
            int(bool(at_middle)),
            count(iterations, "iterations"),
            progress=progress,
        )
    )


def improve(mesh: Mesh, *, crease_angle: float, max_drift: float, progress: Progress) -> Mesh:
    angle, drift = number(crease_angle, "crease_angle"), number(max_drift, "max_drift")
    return Mesh._of(make(c.sorvane_mesh_improve, mesh._handle, angle, drift, progress=progress))


def remove_stars(mesh: Mesh, max_angle: float, *, progress: Progress) -> Mesh:
    cleared = Handle(c.sorvane_mesh)
    angle = number(max_angle, "max_angle")
    run(c.sorvane_mesh_remove_stars, mesh._handle, angle, cleared.place, None, progress=progress)
    return Mesh._of(cleared)
