"""Hulls, balls, boxes, prisms: against brute force in NumPy."""

from __future__ import annotations

import itertools
import json
import math
from pathlib import Path

import numpy as np
import pytest
from hypothesis import assume, given
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp
from shapes import box

import sorvane

finite = st.floats(-100, 100)
clouds = hnp.arrays(float, st.tuples(st.integers(4, 12), st.just(3)), elements=finite)
flat_clouds = hnp.arrays(float, st.tuples(st.integers(3, 12), st.just(2)), elements=finite)


def span(points: np.ndarray) -> float:
    """Least singular value: 0 for points on a plane, or on a line in the plane."""
    return float(np.linalg.svd(points - points.mean(axis=0), compute_uv=False)[-1])


@given(flat_clouds)
def test_hull_in_the_plane(points: np.ndarray) -> None:
    assume(span(points) > 1e-3)
    hull = sorvane.hull_2d(points)
    assert {tuple(p) for p in hull} <= {tuple(p) for p in points}
    edges = np.roll(hull, -1, axis=0) - hull
    sides = edges[:, None, 0] * (points[None, :, 1] - hull[:, None, 1]) - edges[:, None, 1] * (
        points[None, :, 0] - hull[:, None, 0]
    )
    assert sides.min() > -1e-9 * 1e4  # all to the left of every edge
    # No triangle of three of the points is larger.
    x, y = hull.T
    area = (x * np.roll(y, -1) - y * np.roll(x, -1)).sum() / 2
    largest = max(
        abs(np.cross(b - a, d - a)) / 2 for a, b, d in itertools.combinations(points, 3)
    )
    assert area > 0 and area >= largest - 1e-9


@given(clouds)
def test_hull_in_space(points: np.ndarray) -> None:
    assume(span(points) > 1e-2)
    hull = sorvane.hull(points)
    report = hull.report(0)
    assert report.open_edges == 0 and hull.volume > 0
    corners = hull.points[hull.triangles]
    normals = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0])
    lengths = np.linalg.norm(normals, axis=1)
    well = lengths > 1e-6
    heights = np.einsum("tk,tpk->tp", normals[well] / lengths[well, None], points[None] - corners[well, None, 0])
    assert heights.max() < 1e-6


@given(flat_clouds)
def test_circle_is_the_least_of_all_candidates(points: np.ndarray) -> None:
    center, radius = sorvane.bounding_circle(points)
    distances = np.linalg.norm(points - center, axis=1)
    assert distances.max() <= radius * (1 + 1e-9) + 1e-9
    assume(span(points) > 1e-3)
    # The least circle is that of two points or of three.
    best = math.inf
    for a, b in itertools.combinations(points, 2):
        middle = (a + b) / 2
        r = np.linalg.norm(points - middle, axis=1).max()
        if r <= np.linalg.norm(a - b) / 2 + 1e-7:
            best = min(best, r)
    for a, b, d in itertools.combinations(points, 3):
        matrix = 2 * np.array([b - a, d - a])
        if abs(np.linalg.det(matrix)) < 1e-9:
            continue
        middle = a + np.linalg.solve(matrix, [(b - a) @ (b - a), (d - a) @ (d - a)])
        r = np.linalg.norm(a - middle)
        if np.linalg.norm(points - middle, axis=1).max() <= r + 1e-7:
            best = min(best, r)
    assert radius == pytest.approx(best, rel=1e-6, abs=1e-6)


@given(clouds)
def test_spheres_and_boxes_hold_all_points(points: np.ndarray) -> None:
    center, radius = sorvane.bounding_sphere(points)
    assert np.linalg.norm(points - center, axis=1).max() <= radius * (1 + 1e-9) + 1e-9
    assert radius <= np.linalg.norm(np.ptp(points, axis=0)) / 2 + 1e-6
    assume(span(points) > 1e-2)
    for quick in (False, True):
        stock = sorvane.oriented_box(points, quick=quick)
        assert np.allclose(stock.axes @ stock.axes.T, np.eye(3), atol=1e-9)
        assert np.linalg.det(stock.axes) == pytest.approx(1)
        along = (points - stock.origin) @ stock.axes.T
        assert along.min() > -1e-6 and (along <= stock.extent + 1e-6).all()
        assert np.allclose(np.ptp(along, axis=0), stock.extent, atol=1e-6)
    assert sorvane.oriented_box(points).volume <= stock.volume * (1 + 1e-9)


@given(st.floats(0, math.pi), st.floats(1, 5), st.floats(1, 5))
def test_turned_rectangles_are_found(angle: float, width: float, height: float) -> None:
    c, s = math.cos(angle), math.sin(angle)
    corners = np.array([(0, 0), (width, 0), (width, height), (0, height)]) @ [[c, s], [-s, c]]
    found = sorvane.oriented_rectangle(corners)
    assert found.area == pytest.approx(width * height, rel=1e-9)
    around = found.corners()
    assert all(np.linalg.norm(around - corner, axis=1).min() < 1e-9 for corner in corners)
    x, y = around.T
    assert (x * np.roll(y, -1) - y * np.roll(x, -1)).sum() / 2 == pytest.approx(found.area)  # counterclockwise


def test_boxes_are_meshes() -> None:
    turn = np.array([[0.36, 0.48, -0.8], [-0.8, 0.6, 0.0], [0.48, 0.64, 0.6]])
    mesh = box((1, 2, 3), at=(5, 5, 5))
    turned = mesh.transformed(np.column_stack([turn, (1, 2, 3)]))
    stock = turned.oriented_box()
    assert stock.volume == pytest.approx(6) and stock.to_mesh().volume == pytest.approx(6)
    assert sorted(stock.extent) == pytest.approx([1, 2, 3])
    assert turned.hull().volume == pytest.approx(6)
    assert turned.bounding_sphere().radius == pytest.approx(math.sqrt(14) / 2)
    prism = turned.prism()
    assert prism.area == pytest.approx(2) and prism.volume == pytest.approx(6)
    assert prism.high - prism.low == pytest.approx(3)
    assert turned.prism(by="volume").volume == pytest.approx(6)


def test_points_that_no_triangle_uses_do_not_count() -> None:
    mesh = box()
    more = sorvane.Mesh(np.vstack([mesh.points, [[9, 9, 9]]]), mesh.triangles)
    assert np.array_equal(more.bounds, [[0, 0, 0], [1, 1, 1]])
    assert more.hull().volume == pytest.approx(1)
    assert more.bounding_sphere().radius == pytest.approx(math.sqrt(3) / 2)


def test_what_has_no_hull_is_told() -> None:
    with pytest.raises(sorvane.Error, match="span no solid"):
        sorvane.hull([[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0]])
    with pytest.raises(sorvane.Error, match="no points"):
        sorvane.bounding_sphere(np.empty((0, 3)))
    with pytest.raises(sorvane.Error, match="on a line"):
        sorvane.oriented_box([[0, 0, 0], [1, 1, 1], [2, 2, 2]])
    with pytest.raises(ValueError, match="points: point 1 is not finite"):
        sorvane.hull_2d([[0, 0], [np.inf, 0], [1, 1]])
    with pytest.raises(ValueError, match=r"points: expected shape \(n, 2\), given \(8, 3\)"):
        sorvane.bounding_circle(box().points)
    with pytest.raises(ValueError, match="by: expected one of 'area', 'volume', given 'mass'"):
        box().prism(by="mass")


def test_hulls_and_balls_of_real_parts(shared_data: Path) -> None:
    """Figures of other programs, to be compared at 1e-6."""
    figures = json.loads((shared_data / "reference_figures.json").read_text())["meshes"]
    count = 0
    for name, figure in figures.items():
        if not (shared_data / name).exists() or "hull" not in figure:
            continue
        count += 1
        mesh = sorvane.read(shared_data / name)
        assert len(mesh) == figure["triangles"], name
        hull = mesh.hull()
        assert hull.volume == pytest.approx(figure["hull"]["volume"], rel=1e-6), name
        assert hull.area == pytest.approx(figure["hull"]["area"], rel=1e-6), name
        ball = mesh.bounding_sphere()
        assert ball.radius == pytest.approx(figure["enclosing_ball"]["radius"], rel=1e-6), name
        size = np.abs(mesh.bounds).max()
        assert np.allclose(ball.center, figure["enclosing_ball"]["center"], atol=1e-6 * size), name
    assert count > 5
