"""Triangles of outlines and of points: against brute force in NumPy."""

from __future__ import annotations

import math

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp

import sorvane


def ring(radius: float, count: int, center: tuple[float, float] = (0, 0)) -> np.ndarray:
    angles = 2 * math.pi * np.arange(count) / count
    return np.column_stack([radius * np.cos(angles), radius * np.sin(angles)]) + center


def signed_areas(mesh: sorvane.Mesh) -> np.ndarray:
    (px, py), (qx, qy), (rx, ry) = (mesh.points[mesh.triangles[:, k], :2].T for k in range(3))
    areas: np.ndarray = ((qx - px) * (ry - py) - (rx - px) * (qy - py)) / 2
    return areas


@given(st.integers(3, 30), st.integers(3, 20), st.floats(0.1, 0.7))
def test_a_ring_has_its_area(outer: int, inner: int, radius: float) -> None:
    radius *= math.cos(math.pi / outer)  # within the polygon
    mesh = sorvane.tessellate([ring(1, outer), ring(radius, inner)[::-1]])
    polygon = [0.5 * n * r * r * math.sin(2 * math.pi / n) for n, r in ((outer, 1), (inner, radius))]
    assert mesh.area == pytest.approx(polygon[0] - polygon[1], abs=1e-9)
    assert len(mesh) == outer + inner and (signed_areas(mesh) > 0).all()
    report = mesh.report(0)
    assert report.open_edges == outer + inner and report.holes == 2


@given(hnp.arrays(float, st.tuples(st.integers(3, 14), st.just(2)), elements=st.integers(-8, 8)))
def test_circles_of_delaunay_triangles_are_empty(points: np.ndarray) -> None:
    points = np.unique(points, axis=0)
    mesh = sorvane.delaunay(points)
    assert np.array_equal(mesh.points[:, :2], points) and not mesh.points[:, 2].any()
    assert (signed_areas(mesh) > 0).all()
    hull = sorvane.hull_2d(points)
    x, y = hull.T
    assert mesh.area == pytest.approx((x * np.roll(y, -1) - y * np.roll(x, -1)).sum() / 2, abs=1e-9)
    for a, b, d in mesh.triangles:
        matrix = 2 * np.array([points[b] - points[a], points[d] - points[a]])
        sides = [(points[b] - points[a]) @ (points[b] - points[a]), (points[d] - points[a]) @ (points[d] - points[a])]
        center = points[a] + np.linalg.solve(matrix, sides)
        radius = np.linalg.norm(points[a] - center)
        assert np.linalg.norm(points - center, axis=1).min() > radius - 1e-6 * max(1, radius)


def test_small_sets_have_the_triangles_of_large_ones() -> None:
    random = np.random.default_rng(7)
    points = random.random((300, 2)) + [0.25, 3]
    large = sorvane.delaunay(points)
    low, high = points.min(axis=0), points.max(axis=0)
    assert 0.9 * np.prod(high - low) < large.area < np.prod(high - low)
    for exponent in (-3, -20, -40, -400, -1000):
        small = sorvane.delaunay(np.ldexp(points, exponent))
        assert np.array_equal(small.triangles, large.triangles)
        assert np.array_equal(small.points[:, :2], np.ldexp(points, exponent))
    with pytest.raises(sorvane.Error, match="repeats"):  # beside 1e99 such sizes are none
        sorvane.delaunay(np.ldexp(points - points[0], -300) + [0, 1e99])


def test_edges_that_are_wanted_are_there() -> None:
    rhombus = [[-3, 0], [0, -1], [3, 0], [0, 1]]
    mesh = sorvane.delaunay(rhombus, [[0, 2]])
    assert all({0, 2} <= set(triangle) for triangle in mesh.triangles.tolist())
    outline = ring(2, 12)
    inside = np.vstack([outline, ring(1, 5)])
    edges = [(12 + i, 12 + (i + 1) % 5) for i in range(5)]
    star = sorvane.delaunay(inside, edges, inside_only=True)
    assert star.area == pytest.approx(0.5 * 5 * math.sin(2 * math.pi / 5))


def test_polygons_in_the_plane_and_in_space() -> None:
    outline = np.array([[0, 0], [2, 0], [2, 1], [1, 1], [1, 2], [0, 2]], dtype=float)
    mesh = sorvane.tessellate_polygon(outline)
    assert len(mesh) == 4 and mesh.area == pytest.approx(3) and np.array_equal(mesh.points[:, :2], outline)
    wall = np.column_stack([outline[:, 0], np.full(6, 7.0), outline[:, 1]])
    assert sorvane.tessellate_polygon(wall).area == pytest.approx(3)
    assert sorvane.tessellate([wall]).area == pytest.approx(3)
    assert np.allclose(sorvane.tessellate([wall]).points[:, 1], 7)


def test_interior_points_become_corners() -> None:
    square = [[0, 0], [4, 0], [4, 4], [0, 4]]
    mesh = sorvane.tessellate([square], [[1, 1], [3, 2]])
    assert len(mesh.points) == 6 and mesh.area == pytest.approx(16) and len(mesh) == 6
    alone = sorvane.tessellate([], [[0, 0], [1, 0], [0, 1]])
    assert len(alone) == 1
    assert len(sorvane.tessellate([])) == 0


def test_what_can_not_be_filled_is_told() -> None:
    with pytest.raises(sorvane.Error, match="crosses or touches itself"):
        sorvane.tessellate_polygon([[0, 0], [1, 1], [1, 0], [0, 1]])
    with pytest.raises(sorvane.Error, match="plane"):
        sorvane.tessellate([[[0, 0, 0], [1, 1, 1], [2, 2, 2]]])
    with pytest.raises(ValueError, match=r"outlines\[1\]: expected shape \(n, 2\), given \(3, 3\)"):
        sorvane.tessellate([ring(1, 5), np.eye(3)])
    with pytest.raises(ValueError, match="outlines: point 5 is not finite"):
        sorvane.tessellate([ring(1, 5), [[0, np.nan], [1, 0], [0, 1]]])
    with pytest.raises(ValueError, match="tolerance"):
        sorvane.tessellate([ring(1, 5)], tolerance=-1)
    with pytest.raises(sorvane.Error, match="point 2 repeats another") as caught:
        sorvane.delaunay([[0, 0], [1, 0], [0, 0], [5, 5]])
    assert caught.value.index == 2
    with pytest.raises(sorvane.Error) as caught:
        sorvane.delaunay([[0, 0], [1, 1], [2, 2], [0, 2]], [[0, 3], [0, 2]])
    assert caught.value.index == 1
    with pytest.raises(sorvane.Error, match="crossed"):
        sorvane.delaunay([[0, 0], [2, 0], [2, 2], [0, 2]], [[0, 2], [1, 3]])
    with pytest.raises(IndexError, match="edge 0 runs from point 0 to 4 of 4"):
        sorvane.delaunay([[0, 0], [2, 0], [2, 2], [0, 2]], [[0, 4]])
