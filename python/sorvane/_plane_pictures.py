"""Pictures of chains, regions and lines for notebooks, as SVG."""

from __future__ import annotations

from typing import Iterable, List

import numpy as np

from ._arrays import FloatArray
from ._chains import Chain
from ._lines import Lines
from ._regions import Region

_WIDTH = 420.0
_NOTHING = '<svg xmlns="http://www.w3.org/2000/svg" width="420" height="20"><text y="15">nothing to show</text></svg>'


class _Frame:
    """From the plane to the picture: y downward, 420 wide or high."""

    def __init__(self, low: FloatArray, high: FloatArray) -> None:
        size = high - low
        self.scale = _WIDTH / max(float(size.max()), 1e-300)
        self.low, self.high = low, high

    def points(self, points: FloatArray) -> FloatArray:
        flat: FloatArray = (points - self.low) * self.scale
        flat[:, 1] = (self.high[1] - self.low[1]) * self.scale - flat[:, 1]
        return flat

    def svg(self, body: str) -> str:
        width, height = ((self.high - self.low) * self.scale + 6).tolist()
        return (
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height:.0f}" '
            f'viewBox="-3 -3 {width:.1f} {height:.1f}" fill="none" stroke="#1f4e79" stroke-width="1.5" '
            f'stroke-linejoin="round">{body}</svg>'
        )


def _chain_path(chain: Chain, frame: _Frame) -> str:
    rows = chain.elements
    kinds = chain.kinds
    starts = frame.points(rows[:, :2])
    ends = frame.points(chain.ends)
    radii = np.hypot(*(rows[:, :2] - rows[:, 2:4]).T)
    parts: List[str] = []
    for i in range(len(kinds)):
        if i == 0 or not np.allclose(starts[i], ends[i - 1], rtol=0, atol=0.01):
            parts.append(f"M{starts[i, 0]:.2f} {starts[i, 1]:.2f}")
        if kinds[i] == 0 or radii[i] == 0:
            parts.append(f"L{ends[i, 0]:.2f} {ends[i, 1]:.2f}")
            continue
        # Halves: a whole turn has no arc in SVG.
        angle = rows[i, 4] / radii[i]
        spoke = rows[i, :2] - rows[i, 2:4]
        cos, sin = np.cos(0.5 * angle), np.sin(0.5 * angle)
        middle = rows[i, 2:4] + (spoke[0] * cos - spoke[1] * sin, spoke[0] * sin + spoke[1] * cos)
        radius = radii[i] * frame.scale
        for x, y in (frame.points(middle[None])[0], ends[i]):
            large = int(abs(angle) > 2 * np.pi)
            parts.append(f"A{radius:.2f} {radius:.2f} 0 {large} {int(angle < 0)} {x:.2f} {y:.2f}")
    return "".join(parts)


def chains_svg(chains: Iterable[Chain]) -> str:
    """Chains as true arcs and lines, with a dot at each joint."""
    drawn = [chain for chain in chains if len(chain) > 0]
    if not drawn:
        return _NOTHING
    bounds = np.array([chain.bounds for chain in drawn])
    frame = _Frame(bounds[:, 0].min(axis=0), bounds[:, 1].max(axis=0))
    body: List[str] = []
    for chain in drawn:
        body.append(f'<path d="{_chain_path(chain, frame)}"/>')
        joints = np.concatenate([chain.starts[:1], chain.ends])
        if len(joints) <= 400:
            dots = "".join(f'<circle cx="{x:.2f}" cy="{y:.2f}" r="2"/>' for x, y in frame.points(joints))
            body.append(f'<g fill="#1f4e79" stroke="none">{dots}</g>')
    return frame.svg("".join(body))


def region_svg(region: Region) -> str:
    """A region, filled."""
    loops = [loop for loop in region.loops if len(loop) > 0]
    if not loops:
        return _NOTHING
    bounds = region.bounds
    frame = _Frame(bounds[0], bounds[1])
    path = "".join("M" + "L".join(f"{x:.2f} {y:.2f}" for x, y in frame.points(loop)) + "Z" for loop in loops)
    return frame.svg(f'<path d="{path}" fill="#c9d9ea" fill-rule="nonzero"/>')


def lines_svg(lines: Lines) -> str:
    """The lines as they lie in the plane, lines in space seen from above: closed ones filled, open ones in red."""
    points = lines.points[:, :2]
    finite = points[np.isfinite(points).all(axis=1)]
    if len(finite) == 0:
        return '<svg xmlns="http://www.w3.org/2000/svg" width="320" height="20"><text y="15">no lines</text></svg>'
    low, high = finite.min(axis=0), finite.max(axis=0)
    scale = 320.0 / max(float((high - low).max()), 1e-300)
    width, height = ((high - low) * scale + 4).tolist()
    loops: List[str] = []
    chains: List[str] = []
    for line, is_closed in zip(lines, lines.closed):
        x = (line[:, 0] - low[0]) * scale
        y = (high[1] - line[:, 1]) * scale
        path = "L".join(f"{a:.2f} {b:.2f}" for a, b in zip(x.tolist(), y.tolist()))
        if path:
            (loops if is_closed else chains).append("M" + path + ("Z" if is_closed else ""))
    fill = "#d6e4f0" if lines.points.shape[1] == 2 else "none"
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height:.0f}" '
        f'viewBox="-2 -2 {width:.1f} {height:.1f}" fill="none" stroke-width="1.2" stroke-linejoin="round">'
        f'<path d="{"".join(loops)}" fill="{fill}" fill-rule="evenodd" stroke="#1f4e79"/>'
        f'<path d="{"".join(chains)}" stroke="#c0392b"/></svg>'
    )
