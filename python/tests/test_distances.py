"""Nearest places, distances and crossings."""

from __future__ import annotations

import threading

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from shapes import box, grid

import sorvane

coordinate = st.floats(-3, 3)
point = st.tuples(coordinate, coordinate, coordinate)


def segment_distances(p: np.ndarray, a: np.ndarray, b: np.ndarray) -> np.ndarray:
    way = b - a
    squared = np.maximum((way * way).sum(axis=-1), 1e-300)
    t = np.clip(((p - a) * way).sum(axis=-1) / squared, 0, 1)
    return np.linalg.norm(p - (a + t[..., None] * way), axis=-1)


def brute_force(mesh: sorvane.Mesh, points: np.ndarray) -> np.ndarray:
    """Distances of every point from every triangle: from its plane above it, from its edges elsewhere."""
    a, b, c = (mesh.points[mesh.triangles[:, k]][None] for k in range(3))
    p = points[:, None]
    distances = np.minimum(np.minimum(segment_distances(p, a, b), segment_distances(p, b, c)), segment_distances(p, c, a))
    normal = np.cross(b - a, c - a)
    length = np.linalg.norm(normal, axis=-1)
    ok = length > 1e-12
    normal = normal / np.where(ok, length, 1)[..., None]
    above = ok
    for u, v in ((a, b), (b, c), (c, a)):
        above = above & ((np.cross(v - u, p - u) * normal).sum(axis=-1) >= 0)
    return np.where(above, np.abs(((p - a) * normal).sum(axis=-1)), distances).min(axis=1)


@given(st.lists(point, min_size=4, max_size=12, unique=True), st.lists(point, min_size=1, max_size=20), st.integers(0, 10**6))
def test_nearest_is_that_of_brute_force(corners, points, seed):
    corners, points = np.array(corners), np.array(points)
    soup = np.random.default_rng(seed).integers(0, len(corners), (10, 3)).astype(np.int32)
    mesh = sorvane.Mesh(corners, soup)
    places, triangles, distances = mesh.nearest(points)
    np.testing.assert_allclose(distances, brute_force(mesh, points), rtol=1e-9, atol=1e-9)
    np.testing.assert_allclose(np.linalg.norm(places - points, axis=1), distances, rtol=1e-12, atol=1e-12)
    # The place lies on the triangle that is named.
    for place, triangle in zip(places, triangles):
        one = sorvane.Mesh(corners, soup[triangle][None])
        assert brute_force(one, place[None])[0] < 1e-7


def test_a_radius_ends_the_search(cube: sorvane.Mesh) -> None:
    found = cube.nearest([[0.5, 0.5, 1.25], [0.5, 0.5, 9], [np.nan, 0, 0]], radius=1)
    assert found.triangles[0] >= 0 and found.triangles[1:].tolist() == [-1, -1]
    assert found.distances[0] == 0.25 and found.distances[1] == np.inf
    assert cube.nearest(np.empty((0, 3))).distances.shape == (0,)


def test_signs_tell_inside(cube: sorvane.Mesh) -> None:
    points = np.random.default_rng(1).uniform(-0.5, 1.5, (500, 3))
    inside = ((points > 0) & (points < 1)).all(axis=1)
    outside = np.linalg.norm(np.maximum(np.maximum(-points, points - 1), 0), axis=1)
    depth = np.minimum(points, 1 - points).min(axis=1)
    np.testing.assert_allclose(cube.signed_distances(points), np.where(inside, -depth, outside), atol=1e-12)


def test_lines_and_boxes(cube: sorvane.Mesh) -> None:
    tree = sorvane.TriangleTree(cube)
    through, beside = tree.on_lines([[0.25, 0.5, -9], [3, 3, 3]], [[0, 0, 1], [0, 0, 1]])
    assert len(through) == 2 and len(beside) == 0
    heights = cube.points[cube.triangles[through]][:, 0, 2]
    assert sorted(heights.tolist()) == [0, 1]
    every, none = tree.in_boxes([[0, 0, 0], [2, 2, 2]], [[1, 1, 1], [3, 3, 3]])
    assert every.tolist() == list(range(12)) and len(none) == 0
    with pytest.raises(ValueError, match=r"directions: expected shape \(1, 3\), as origins, given \(2, 3\)"):
        tree.on_lines([[0, 0, 0]], [[0, 0, 1]] * 2)


def test_points_fall_on_the_mesh() -> None:
    sheet = grid(20)
    points = np.array([[0.31, 0.77, 5], [0.5, 0.5, -5], [2, 2, 0]])
    projected = sheet.project_vertically(points)
    assert np.array_equal(projected[:, :2], points[:, :2]) and np.isnan(projected[2, 2])
    x, y = points[:2, 0], points[:2, 1]
    np.testing.assert_allclose(projected[:2, 2], 0.1 * np.sin(9 * x) * np.cos(7 * y), atol=0.01)
    assert sheet.nearest(projected[:2]).distances.max() < 1e-12


def test_lines_cross(cube: sorvane.Mesh) -> None:
    found = cube.crossings([[[-1, 0.25, 0.5], [2, 0.25, 0.5]], [[5, 5, 5], [6, 6, 6]]])
    assert found.starts.tolist() == [0, 2, 2]
    np.testing.assert_allclose(found.points, [[0, 0.25, 0.5], [1, 0.25, 0.5]], atol=1e-12)
    np.testing.assert_allclose(found.parameters, [1, 2])
    with pytest.raises(ValueError, match=r"lines\[0\]: expected shape \(n, 3\), given \(2, 2\)"):
        cube.crossings([[[0, 0], [1, 1]]])
    with pytest.raises(ValueError, match="lines: expected a list of arrays"):
        cube.crossings(np.zeros((2, 3)))


@given(st.lists(point, min_size=3, max_size=15, unique=True), st.lists(point, min_size=3, max_size=15, unique=True))
def test_hausdorff_is_that_of_brute_force(first, second):
    triangles = [np.array([[0, i, i + 1] for i in range(1, len(points) - 1)]) for points in (first, second)]
    a, b = sorvane.Mesh(first, triangles[0]), sorvane.Mesh(second, triangles[1])
    to_b, to_a = brute_force(b, a.points), brute_force(a, b.points)
    found = a.hausdorff(b)
    assert found.first_distance == pytest.approx(to_b.max(), abs=1e-9)
    assert found.second_distance == pytest.approx(to_a.max(), abs=1e-9)
    assert to_b[found.first_point] == pytest.approx(to_b.max(), abs=1e-9)
    bounds = a.hausdorff_bounds(b, 1e-3)
    assert bounds.lower <= bounds.upper <= bounds.lower + 1e-3 + 1e-12
    # All points of the surface count here, and those of the corners among them.
    assert bounds.upper >= found.distance - 1e-9
    samples = np.random.default_rng(0).dirichlet((1, 1, 1), 40) @ a.points[a.triangles]
    assert brute_force(b, samples.reshape(-1, 3)).max() <= bounds.first.upper + 1e-9
    assert brute_force(b, bounds.first.point[None])[0] == pytest.approx(bounds.first.lower, abs=1e-9)


def test_without_triangles_there_is_no_distance(cube: sorvane.Mesh) -> None:
    bare = sorvane.Mesh(cube.points, np.empty((0, 3), dtype=np.int32))
    with pytest.raises(sorvane.Error, match="no triangle"):
        bare.nearest([[0, 0, 0]])
    with pytest.raises(sorvane.Error, match="second"):
        cube.hausdorff(bare)
    with pytest.raises(ValueError, match="radius"):
        cube.nearest([[0, 0, 0]], radius=-1)
    with pytest.raises(ValueError, match=r"points: expected shape \(n, 3\), given \(3,\)"):
        cube.nearest([0, 0, 0])


def test_two_threads_may_ask_one_mesh() -> None:
    sheet = grid(60)
    points = np.random.default_rng(3).uniform(0, 1, (20000, 3))
    expected = box().nearest(points), grid(60).nearest(points)
    found: list[sorvane.Nearest] = []
    threads = [threading.Thread(target=lambda: found.append(sheet.nearest(points))) for _ in range(2)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for answer in found:
        assert all(np.array_equal(a, b) for a, b in zip(answer, expected[1]))
    assert len(found) == 2


def test_bounds_tell_the_places_where_they_are_reached() -> None:
    low = sorvane.Mesh([[0, 0, 0], [4, 0, 0], [0, 4, 0]], [[0, 1, 2]])
    high = sorvane.Mesh([[0, 0, 1], [9, 0, 1], [0, 4, 2]], [[0, 1, 2]])
    bounds = low.hausdorff_bounds(high, 1e-6)
    for way, own, other in ((bounds.first, low, high), (bounds.second, high, low)):
        assert np.linalg.norm(way.point - way.nearest) == pytest.approx(way.lower, abs=1e-12)
        assert own.nearest([way.point]).distances[0] == pytest.approx(0, abs=1e-12)
        assert other.nearest([way.nearest]).distances[0] == pytest.approx(0, abs=1e-12)
        assert way.triangle == way.nearest_triangle == 0
    assert bounds.second.point == pytest.approx([9, 0, 1]) and bounds.second.nearest == pytest.approx([4, 0, 0])
