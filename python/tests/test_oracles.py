"""Operations of meshes against plain NumPy, which shares no line with the library: lines through a mesh, curvatures,
lines cut into it, what it sweeps when it spins, and chains put together again. Parts of all sizes, also far away."""

from __future__ import annotations

import math
from fractions import Fraction
from typing import Any, Callable, List, Set, Tuple

import numpy as np
import pytest

import sorvane

SCALES = [1e-3, 1.0, 1e3]
#: In terms of the scale.
OFFSETS = [0.0, 1e3, 1e6]


def sheet(random: np.random.Generator, n: int, f: Callable[[float, float], Tuple[float, float, float]]) -> Any:
    points = np.array([f(i / n, j / n) for i in range(n + 1) for j in range(n + 1)])
    triangles: List[Tuple[int, int, int]] = []
    for i in range(n):
        for j in range(n):
            a, b, c, d = (i * (n + 1) + j, i * (n + 1) + j + 1, (i + 1) * (n + 1) + j, (i + 1) * (n + 1) + j + 1)
            triangles += [(a, c, b), (b, c, d)] if random.random() < 0.5 else [(a, c, d), (a, d, b)]
    return points, np.array(triangles)


def wave(u: float, v: float) -> Tuple[float, float, float]:
    return 2 * u - 1, 2 * v - 1, 0.3 * math.sin(3 * u + v)


def ball(level: int) -> Any:
    """An octahedron, its triangles cut in four and led out to the sphere."""
    points = [np.array(p, float) for p in [(1, 0, 0), (-1, 0, 0), (0, 1, 0), (0, -1, 0), (0, 0, 1), (0, 0, -1)]]
    triangles = [(0, 2, 4), (2, 1, 4), (1, 3, 4), (3, 0, 4), (2, 0, 5), (1, 2, 5), (3, 1, 5), (0, 3, 5)]
    for _ in range(level):
        middles: dict[Tuple[int, int], int] = {}

        def middle(a: int, b: int) -> int:
            key = (min(a, b), max(a, b))
            if key not in middles:
                p = points[a] + points[b]
                points.append(p / np.linalg.norm(p))
                middles[key] = len(points) - 1
            return middles[key]

        finer = []
        for a, b, c in triangles:
            x, y, z = middle(a, b), middle(b, c), middle(c, a)
            finer += [(a, x, z), (x, b, y), (z, y, c), (x, y, z)]
        triangles = finer
    return np.array(points), np.array(triangles)


def volume(*corners: np.ndarray) -> Fraction:
    """Six times that of a tetrahedron, exactly."""
    a, b, c, d = ([Fraction(float(x)) for x in p] for p in corners)
    u, v, w = ([x - y for x, y in zip(p, a)] for p in (b, c, d))
    return (
        u[0] * (v[1] * w[2] - v[2] * w[1])
        - u[1] * (v[0] * w[2] - v[2] * w[0])
        + u[2] * (v[0] * w[1] - v[1] * w[0])
    )


@pytest.mark.parametrize("offset", OFFSETS)
@pytest.mark.parametrize("scale", [1e-6] + SCALES)
def test_crossings_are_those_of_exact_arithmetic(scale: float, offset: float) -> None:
    random = np.random.default_rng(5)
    hits = 0
    for points, triangles in (ball(1), sheet(random, 4, wave)):
        points = (points + 0.01 * random.normal(size=points.shape)) * scale + offset * scale
        line = random.normal(size=(10, 3)) * 1.2 * scale + offset * scale
        found = sorvane.Mesh(points, triangles).crossings([line])
        lengths = np.linalg.norm(np.diff(line, axis=0), axis=1)
        starts = np.concatenate([[0.0], np.cumsum(lengths)])
        expected: Set[Tuple[int, int]] = set()
        for s, (a, b) in enumerate(zip(line[:-1], line[1:])):
            for t, (x, y, z) in enumerate(points[triangles]):
                if (volume(x, y, z, a) > 0) == (volume(x, y, z, b) > 0):
                    continue
                sides = [volume(a, b, p, q) > 0 for p, q in ((x, y), (y, z), (z, x))]
                if all(sides) or not any(sides):
                    expected.add((s, t))
        got = set()
        for point, parameter, triangle in zip(found.points, found.parameters, found.triangles):
            s = int(np.searchsorted(starts, parameter, side="right")) - 1
            got.add((s, int(triangle)))
            there = line[s] + (line[s + 1] - line[s]) * (parameter - starts[s]) / lengths[s]
            assert np.linalg.norm(there - point) < (1e-12 + 1e-14 * offset) * scale
        assert got == expected
        hits += len(got)
    assert hits > 5


def angle(u: np.ndarray, v: np.ndarray) -> float:
    return math.atan2(float(np.linalg.norm(np.cross(u, v))), float(u @ v))


@pytest.mark.parametrize("scale", SCALES)
def test_curvatures_are_those_of_angles_and_cotangents(scale: float) -> None:
    random = np.random.default_rng(6)
    for points, triangles in (
        ball(2),
        sheet(random, 6, lambda u, v: (u, v, 0.2 * math.sin(5 * u) * math.cos(4 * v))),
        sheet(random, 6, lambda u, v: (math.cos(3 * v), math.sin(3 * v), u)),
    ):
        points = (points * (1 + 0.02 * random.normal(size=(len(points), 1)))) * scale
        deficit = np.full(len(points), 2 * math.pi)
        area, normals, laplace = np.zeros(len(points)), np.zeros((len(points), 3)), np.zeros((len(points), 3))
        directed = {(int(t[k]), int(t[(k + 1) % 3])) for t in triangles for k in range(3)}
        for a, b in directed:
            if (b, a) not in directed:
                deficit[[a, b]] = math.pi
        for t in triangles:
            for k in range(3):
                x, y, z = points[np.roll(t, -k)]
                at_x, at_y, at_z = angle(y - x, z - x), angle(x - y, z - y), angle(x - z, y - z)
                doubled = float(np.linalg.norm(np.cross(y - x, z - x)))
                if at_x > math.pi / 2:
                    part = doubled / 4
                elif max(at_y, at_z) > math.pi / 2:
                    part = doubled / 8
                else:
                    part = ((y - x) @ (y - x) / math.tan(at_z) + (z - x) @ (z - x) / math.tan(at_y)) / 8
                deficit[t[k]] -= at_x
                area[t[k]] += part
                normals[t[k]] += np.cross(y - x, z - x) / doubled * part
                laplace[t[k]] += (x - y) / math.tan(at_z) + (x - z) / math.tan(at_y)
        mean = np.linalg.norm(laplace, axis=1) / (4 * area)
        apart = np.sqrt(np.maximum(mean**2 - deficit / area, 0))
        neighbors = [len({b for a, b in directed if a == i} | {a for a, b in directed if b == i}) for i in range(len(points))]
        told = np.array(neighbors) >= 3  # of the others nothing is told
        got = sorvane.Mesh(points, triangles).curvatures(0.0)
        # Where both are alike their difference is the root of a rounding error.
        np.testing.assert_allclose(got.greatest[told] * scale, ((mean + apart) * scale)[told], atol=3e-6)
        np.testing.assert_allclose(got.least[told] * scale, ((mean - apart) * scale)[told], atol=3e-6)
        np.testing.assert_allclose(got.areas[told], area[told], rtol=1e-9)
        unit = normals / np.linalg.norm(normals, axis=1)[:, None]
        np.testing.assert_allclose(got.normals[told], unit[told], atol=1e-9)


@pytest.mark.parametrize("offset", [0.0, 1e3])
@pytest.mark.parametrize("scale", [0.1, 1.0, 1e3])
def test_an_embedded_line_runs_along_edges_of_the_same_surface(scale: float, offset: float) -> None:
    random = np.random.default_rng(7)
    for trial in range(8):
        points, triangles = sheet(random, 5, wave)
        points = points * scale + offset * scale
        x = np.sort(random.uniform(-0.8, 0.8, size=5))  # so that it does not cross itself
        y = random.uniform(-0.8, 0.8, size=5)
        line = np.column_stack([x, y, 0.3 * np.sin(3 * (x + 1) / 2 + (y + 1) / 2)]) * scale + offset * scale
        step = 0.2 * scale if trial % 2 else 0.0
        mesh, paths = sorvane.Mesh(points, triangles).embed([line], step=step, repeat_tolerance=1e-9 * scale)
        edges = {frozenset((int(t[k]), int(t[(k + 1) % 3]))) for t in mesh.triangles for k in range(3)}
        assert len(paths) == 1 and len(paths[0]) >= 5
        assert all(frozenset((int(a), int(b))) in edges for a, b in zip(paths[0][:-1], paths[0][1:]))

        def area(p: np.ndarray, t: np.ndarray) -> float:
            return float(np.linalg.norm(np.cross(p[t[:, 1]] - p[t[:, 0]], p[t[:, 2]] - p[t[:, 0]]), axis=1).sum() / 2)

        assert area(mesh.points, mesh.triangles) == pytest.approx(area(points, triangles), rel=1e-7)
        if step == 0:  # the points of the line lie near the surface, and so does each of them to one of the path
            path = mesh.points[paths[0]]
            for p in line:
                assert np.linalg.norm(path - p, axis=1).min() < 0.05 * scale


@pytest.mark.parametrize("offset", OFFSETS)
@pytest.mark.parametrize("scale", SCALES)
def test_a_spun_outline_is_that_of_the_edges_at_each_height(scale: float, offset: float) -> None:
    random = np.random.default_rng(8)
    for trial in range(4):
        points, triangles = ball(1) if trial % 2 else sheet(random, 4, wave)
        points = (points * random.uniform(0.5, 2, size=3) + random.normal(size=3)) * scale + offset * scale
        origin = random.normal(size=3) * scale + offset * scale
        axis = random.normal(size=3)
        axis /= np.linalg.norm(axis)
        height = (points - origin) @ axis
        step = float(np.ptp(height)) / 200
        outline = sorvane.Mesh(points, triangles).spin_outline(step, origin=origin, direction=axis)
        edges = {frozenset((int(t[k]), int(t[(k + 1) % 3]))) for t in triangles for k in range(3)}

        def radius(h: float) -> float:
            """The greatest distance of an edge from the axis at that height."""
            greatest = 0.0
            for a, b in map(tuple, edges):
                low, high = sorted((height[a], height[b]))
                if low - 1e-12 * scale <= h <= high + 1e-12 * scale and high > low:
                    q = points[a] + (points[b] - points[a]) * np.clip((h - height[a]) / (height[b] - height[a]), 0, 1)
                    greatest = max(greatest, float(np.linalg.norm(np.cross(q - origin, axis))))
            return greatest

        rounding = (1e-9 + 1e-11 * offset) * scale
        assert outline[0] == pytest.approx([0, height.min()], abs=rounding)
        assert outline[:, 1].max() == pytest.approx(height.max(), abs=rounding)
        for r, h in outline:  # it never lies farther out
            assert r <= radius(float(np.clip(h, height.min(), height.max()))) + rounding + 1e-9 * scale
        # Nor does it fall short by more than what is told: edges that are alike, and the chord, a step each, and what
        # lies between two samples.
        ahead = np.roll(outline, -1, axis=0) - outline
        for h in np.linspace(height.min(), height.max(), 60):
            place = np.array([radius(float(h)), h])
            t = np.clip(((place - outline) * ahead).sum(axis=1) / np.maximum((ahead * ahead).sum(axis=1), 1e-300), 0, 1)
            distance = np.linalg.norm(place - outline - t[:, None] * ahead, axis=1).min()
            inside = any(
                r >= place[0] - rounding and abs(z - h) <= step for r, z in outline
            )  # farther out at this height already
            assert inside or distance <= 3 * step


@pytest.mark.parametrize("offset", OFFSETS)
@pytest.mark.parametrize("scale", SCALES)
def test_shuffled_elements_join_to_the_chains_that_they_were(scale: float, offset: float) -> None:
    random = np.random.default_rng(9)
    for _ in range(20):
        chains = []
        for k in range(int(random.integers(1, 4))):
            count = int(random.integers(3, 8))
            points = (random.normal(size=(count, 2)) + 10 * k) * scale + offset * scale
            bulges = random.choice([0.0, 0.0, 0.4, -0.8], size=count)
            chains.append(sorvane.Chain.from_bulges(points, bulges, closed=bool(random.random() < 0.5)))
        elements = [
            sorvane.Chain.from_elements([kind], [element])
            for chain in chains
            for kind, element in zip(chain.kinds, chain.elements)
        ]
        loose = [elements[i] for i in random.permutation(len(elements))]
        joined = sorvane.join_chains(loose, tolerance=(1e-9 + 1e-13 * offset) * scale)
        assert sorted(len(chain) for chain in joined) == sorted(len(chain) for chain in chains)
        assert sorted(chain.is_closed for chain in joined) == sorted(chain.is_closed for chain in chains)
        assert sum(c.length for c in joined) == pytest.approx(sum(c.length for c in chains), rel=1e-9)
