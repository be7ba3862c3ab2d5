"""Pictures for notebooks, as SVG."""

from __future__ import annotations

from typing import List

import numpy as np

from ._arrays import FloatArray
from ._mesh import Mesh

_WIDTH = 420.0
_MOST_TRIANGLES = 6000
_CREASE = np.radians(30.0)
# From the front, the right and above.
_VIEW = np.array([0.55, -0.75, 0.5]) / np.sqrt(0.55**2 + 0.75**2 + 0.5**2)
_LIGHT = np.array([0.25, -0.5, 0.83]) / np.sqrt(0.25**2 + 0.5**2 + 0.83**2)


def _frame() -> FloatArray:
    """Rows: right, up, toward the viewer."""
    right = np.cross((0.0, 0.0, 1.0), _VIEW)
    right /= np.sqrt(right @ right)
    frame: FloatArray = np.array([right, np.cross(_VIEW, right), _VIEW])
    return frame


def mesh_svg(mesh: Mesh) -> str:
    """The mesh seen from the front, the right and above: triangles painted from back to front, creases and open edges
    as lines. A large mesh is decimated for it."""
    points = mesh.points
    if len(mesh) > 0 and not np.isfinite(points[np.unique(mesh.triangles)]).all():
        triangles = mesh.triangles
        mesh = mesh.part(np.isfinite(points).all(axis=1)[triangles].all(axis=1))
    if len(mesh) == 0:
        return '<svg xmlns="http://www.w3.org/2000/svg" width="420" height="20"><text y="15">no triangles</text></svg>'
    extent = mesh.extent
    size = float(np.sqrt(extent @ extent))
    mesh = mesh.weld(1e-7 * size)
    if len(mesh) > _MOST_TRIANGLES:
        mesh = mesh.decimate(100.0 * _MOST_TRIANGLES / len(mesh), keep_tags=False)
    triangles = mesh.triangles
    seen = mesh.points @ _frame().T
    low, high = seen.min(axis=0), seen.max(axis=0)
    scale = _WIDTH / max(float((high - low)[:2].max()), 1e-300)
    flat = (seen[:, :2] - low[:2]) * scale
    flat[:, 1] = (high[1] - low[1]) * scale - flat[:, 1]
    corners = seen[triangles]
    normals = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0])
    lengths = np.sqrt((normals * normals).sum(axis=1))
    normals /= np.where(lengths > 0, lengths, 1)[:, None]
    creases = np.abs(mesh.crease_angles()) >= _CREASE
    open_edges = mesh.neighbors() < 0
    # Of a closed mesh the triangles that face away are hidden; of an open one the inside can be seen.
    drawn = np.flatnonzero(normals[:, 2] > 0) if not open_edges.any() else np.arange(len(triangles))
    drawn = drawn[np.argsort(corners[drawn, :, 2].mean(axis=1), kind="stable")]
    shade = np.clip(0.35 + 0.65 * np.abs(normals @ (_frame() @ _LIGHT)), 0, 1)
    colors = np.where(
        (normals[:, 2] >= 0)[:, None], shade[:, None] * (170, 195, 220), shade[:, None] * (225, 190, 160)
    ).astype(int)
    # Lines end half a point outside of the picture at most: a margin of 2 takes them in.
    parts: List[str] = []
    for t in drawn:
        (ax, ay), (bx, by), (dx, dy) = flat[triangles[t]]
        color = "#%02x%02x%02x" % tuple(colors[t])
        path = f"M{ax:.1f} {ay:.1f}L{bx:.1f} {by:.1f}L{dx:.1f} {dy:.1f}Z"
        parts.append(f'<path d="{path}" fill="{color}" stroke="{color}"/>')
        lines = ((ax, ay, bx, by), (bx, by, dx, dy), (dx, dy, ax, ay))
        edges = "".join(f"M{x0:.1f} {y0:.1f}L{x1:.1f} {y1:.1f}" for k, (x0, y0, x1, y1) in enumerate(lines) if creases[t, k])
        if edges:
            red = bool(open_edges[t].any())
            parts.append(f'<path d="{edges}" stroke="{"#c0392b" if red else "#2c3e50"}" stroke-width="1"/>')
    width, height = ((high - low)[:2] * scale + 4).tolist()
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height:.0f}" '
        f'viewBox="-2 -2 {width:.1f} {height:.1f}" fill="none" stroke-width="0.4" stroke-linecap="round" '
        f'stroke-linejoin="round">{"".join(parts)}</svg>'
    )
