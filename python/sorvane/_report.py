"""How healthy a mesh is."""

from __future__ import annotations

import html
import math
from typing import Any, Dict, NamedTuple, Tuple

import numpy as np

from . import _bindings as c
from ._arrays import FloatArray, IntArray, view
from ._mesh import Mesh
from ._progress import Progress, make
from ._values import number


class Box(NamedTuple):
    """A box along the axes."""

    #: Least coordinates, (3,).
    min: FloatArray
    #: Greatest coordinates, (3,).
    max: FloatArray


class Report:
    """How healthy a mesh is: what `Mesh.report` finds.

    Triangles have the numbers of the mesh. Edge k of a triangle t runs from its corner k to its corner k + 1, and its
    *slot* is the number 3 t + k; slots between the same two points belong to one edge.

    Attributes
    ----------
    triangles, points : int
        Their numbers, points after corners were joined.
    components, bodies : int
        Of triangles that hang together across edges; or in points, too.
    tolerance : float
        Within which corners were joined.
    box : Box
        Of the points; NaN without any.
    area, volume : float
        Of an open mesh the volume means nothing.
    mean_edge_length, mean_triangle_area : float
        Inner edges count twice.
    centroid : ndarray, (3,)
        Center of the volume; NaN when that is exactly 0.
    closed : bool
        Every edge has exactly two triangles.
    open_edges, holes, crowded_edges : int
        Edges of one triangle, the chains that they form, edges of three triangles or more.
    open_slots, non_manifold_slots : ndarray
        The first slot of each edge that has not exactly two; all slots of the crowded ones.
    misoriented_triangles : ndarray
        That run an edge the same way as a neighbor; of each pair both.
    degenerate_triangles : ndarray
        With two corners in one point, or no higher than twice the tolerance.
    folded_triangles : ndarray
        Whose normal points against a neighbor's within 2.5 degrees.
    gap : float
        Greatest distance of a boundary point of one component from the boundaries of the others: 0 for a closed mesh,
        1.34e154 where no other has a boundary.
    gap_location : ndarray, (3,)
        The last boundary point of the last component; not where the gap is.
    gap_invalid_mesh : bool
        The boundaries can't be linked; the last two are zero then.
    defects : tuple of str
        Of "not_finite", "open", "crowded", "turned", "slivers", "folded", "inside_out", those that there are.
    sound : bool
        There are none.
    """

    _NAMES = (
        ("triangles", "points", "components", "tolerance", "box", "area", "mean_edge_length", "mean_triangle_area")
        + ("volume", "centroid", "closed", "open_edges", "holes", "crowded_edges", "open_slots", "non_manifold_slots")
        + ("misoriented_triangles", "degenerate_triangles", "folded_triangles", "gap", "gap_location")
        + ("gap_invalid_mesh", "bodies", "defects", "sound")
    )

    triangles: int
    points: int
    components: int
    bodies: int
    tolerance: float
    box: Box
    area: float
    mean_edge_length: float
    mean_triangle_area: float
    volume: float
    centroid: FloatArray
    closed: bool
    open_edges: int
    holes: int
    crowded_edges: int
    open_slots: IntArray
    non_manifold_slots: IntArray
    misoriented_triangles: IntArray
    degenerate_triangles: IntArray
    folded_triangles: IntArray
    gap: float
    gap_location: FloatArray
    gap_invalid_mesh: bool
    defects: Tuple[str, ...]
    sound: bool

    def to_dict(self) -> Dict[str, Any]:
        """Plain numbers, lists and dicts, for JSON: what is not finite is None."""
        return {name: _plain(getattr(self, name)) for name in self._NAMES}

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Report):
            return NotImplemented
        return self.to_dict() == other.to_dict()

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        verdict = "sound" if self.sound else ", ".join(self.defects)
        return f"<sorvane.Report: {self.triangles} triangles on {self.points} points: {verdict}>"

    def _rows(self) -> Dict[str, str]:
        low, high = self.box
        return {
            "mesh": f"{self.triangles} triangles on {self.points} points, corners joined within {self.tolerance:g}",
            "components": f"{self.components}",
            "box": f"{_place(low)} to {_place(high)}",
            "surface": f"area {self.area:.8g}, mean edge {self.mean_edge_length:.6g}",
            "volume": f"{self.volume:.8g}, center {_place(self.centroid)}" + ("" if self.closed else " (open)"),
            "edges": f"{self.open_edges} open in {self.holes} holes or cracks, {self.crowded_edges} crowded",
            "triangles": f"{len(self.misoriented_triangles)} wound against a neighbor, "
            f"{len(self.degenerate_triangles)} slivers, {len(self.folded_triangles)} folded",
            "verdict": "sound" if self.sound else "defective: " + ", ".join(self.defects),
        }

    def __str__(self) -> str:
        return "\n".join(f"{name:12}{text}" for name, text in self._rows().items())

    def _repr_html_(self) -> str:
        rows = (f"<tr><th>{name}</th><td>{html.escape(text)}</td></tr>" for name, text in self._rows().items())
        return f"<table>{''.join(rows)}</table>"


def _place(point: FloatArray) -> str:
    return "(" + ", ".join(f"{value:.6g}" for value in point) + ")"


def _plain(value: Any) -> Any:
    if isinstance(value, Box):
        return {"min": _plain(value.min), "max": _plain(value.max)}
    if isinstance(value, np.ndarray):
        return [_plain(element) for element in value.tolist()]
    if isinstance(value, float):
        return value if math.isfinite(value) else None
    return list(value) if isinstance(value, tuple) else value


def _array(values: Any) -> FloatArray:
    array = np.array(values)
    array.flags.writeable = False
    return array


def report(mesh: Mesh, tolerance: float, *, progress: Progress) -> Report:
    handle = make(c.sorvane_mesh_report_new, mesh._handle, number(tolerance, "tolerance"), progress=progress)
    figures = c.sorvane_mesh_report_figures(handle).contents
    result = Report()
    for name in ("triangles", "points", "components", "bodies", "open_edges", "holes", "crowded_edges"):
        setattr(result, name, getattr(figures, name))
    for name in ("tolerance", "area", "mean_edge_length", "mean_triangle_area", "volume", "gap"):
        setattr(result, name, getattr(figures, name))
    for name in ("closed", "gap_invalid_mesh", "sound"):
        setattr(result, name, bool(getattr(figures, name)))
    result.box = Box(_array(figures.low), _array(figures.high))
    result.centroid = _array(figures.centroid)
    result.gap_location = _array(figures.gap_location)
    result.open_slots = view(handle, c.sorvane_mesh_report_open_slots)
    result.non_manifold_slots = view(handle, c.sorvane_mesh_report_non_manifold_slots)
    result.misoriented_triangles = view(handle, c.sorvane_mesh_report_misoriented_triangles)
    result.degenerate_triangles = view(handle, c.sorvane_mesh_report_degenerate_triangles)
    result.folded_triangles = view(handle, c.sorvane_mesh_report_folded_triangles)
    found = {
        "not_finite": not math.isfinite(result.mean_edge_length),
        "open": result.open_edges > 0,
        "crowded": result.crowded_edges > 0,
        "turned": len(result.misoriented_triangles) > 0,
        "slivers": len(result.degenerate_triangles) > 0,
        "folded": len(result.folded_triangles) > 0,
        "inside_out": result.closed and result.volume < 0,
    }
    result.defects = tuple(name for name, is_there in found.items() if is_there)
    return result
