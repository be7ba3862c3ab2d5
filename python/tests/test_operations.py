"""Remeshing, decimation, subdivision and better triangles."""

from __future__ import annotations

import math
from typing import Any, Callable

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from shapes import box, grid

import sorvane


def sphere() -> sorvane.Mesh:
    """A ball of radius 1: the box refined and blown up."""
    fine = box((2, 2, 2), at=(-1, -1, -1)).refine(3)
    points = fine.points / np.linalg.norm(fine.points, axis=1)[:, None]
    return sorvane.Mesh(points, fine.triangles)


def edge_lengths(mesh: sorvane.Mesh) -> np.ndarray:
    corners = mesh.points[mesh.triangles]
    return np.linalg.norm(corners - np.roll(corners, -1, axis=1), axis=2)


def test_remeshing_reaches_the_length() -> None:
    ball = sphere()
    even = ball.remesh(0.2)
    lengths = edge_lengths(even)
    assert lengths.mean() == pytest.approx(0.2, rel=0.15)
    assert even.report().closed and even.volume == pytest.approx(ball.volume, rel=0.02)
    assert np.abs(np.linalg.norm(even.points, axis=1) - 1).max() < 0.05
    assert ball.remesh() == ball.remesh(edge_lengths(ball).mean()) or len(ball.remesh()) > 100
    flat = box((10, 10, 10)).refine(3).remesh(chord_tolerance=0.01, length=2.0)
    assert flat.volume == pytest.approx(1000, rel=1e-9)


def test_chord_tolerance_follows_the_bend() -> None:
    ball = sphere()
    fine, coarse = ball.remesh(0.3, chord_tolerance=0.001), ball.remesh(0.3, chord_tolerance=0.01)
    assert len(fine) > 2 * len(coarse)


@pytest.mark.parametrize(
    "call, text",
    [
        (lambda m: m.remesh(-1), "length: expected a positive number, given -1"),
        (lambda m: m.remesh("1"), "length: expected a number, given '1'"),
        (lambda m: m.remesh(math.inf), "length is inf"),
        (lambda m: m.remesh(1, iterations=-1), "iterations is -1"),
        (lambda m: m.remesh(1, iterations=1.5), "iterations: expected a whole number, given 1.5"),
        (lambda m: m.remesh(1, crease_angle=math.nan), "crease_angle_degrees is "),
        (lambda m: m.remesh(1, chord_tolerance=0), "chord_tolerance: expected a positive number"),
        (lambda m: m.decimate(), "percent, tolerance: expected one of them"),
        (lambda m: m.decimate(101), "keep_percent is 101"),
        (lambda m: m.decimate(tolerance=-1), "tolerance is -1"),
        (lambda m: m.decimate(50, method="all"), "method: expected one of 'batches', 'one_by_one', given 'all'"),
        (lambda m: m.subdivide(method="x"), "method: expected one of"),
        (lambda m: m.subdivide(-1), "iterations"),
        (lambda m: m.refine(method=3), "method: expected one of"),
        (lambda m: m.split_long_edges(0), "length is 0"),
        (lambda m: m.improve(max_drift=-1), "max_drift is -1"),
        (lambda m: m.remove_stars(math.nan), "max_angle_degrees"),
    ],
)
def test_wrong_values_are_named(call: Callable[[Any], Any], text: str) -> None:
    with pytest.raises(ValueError, match=text):
        call(box())


def test_memory_that_can_not_be_is_a_memory_error() -> None:
    with pytest.raises(MemoryError):
        box().refine(40)


@given(st.integers(2, 12), st.floats(1, 90))
def test_decimation_reaches_the_percentage(cells: int, percent: float) -> None:
    mesh = grid(cells)
    coarse, done = mesh.decimate(percent, with_report=True)
    assert done.triangles == len(coarse) and done.initial_triangles == len(mesh) == 2 * cells**2
    assert done.percent_left == pytest.approx(100 * len(coarse) / len(mesh))
    assert done.stop in ("target", "locked", "folds")
    if done.stop == "target":
        assert done.percent_left <= percent + 200 / len(mesh)  # an edge takes two triangles
    assert math.isnan(done.deviation)


def test_decimation_keeps_its_distance() -> None:
    mesh = grid(30, height=0.3)
    coarse, done = mesh.decimate(tolerance=0.01, with_report=True)
    assert len(coarse) < len(mesh) / 2 and done.deviation <= 0.01
    # Each point of the mesh lies within that of the coarse one: brute force over its triangles, seen from above.
    x, y, z = mesh.points.T
    heights = np.full(len(z), np.nan)
    for a, b, d in coarse.points[coarse.triangles]:
        e, f = b - a, d - a
        det = e[0] * f[1] - e[1] * f[0]
        u = ((x - a[0]) * f[1] - (y - a[1]) * f[0]) / det
        v = (e[0] * (y - a[1]) - e[1] * (x - a[0])) / det
        inside = (u > -1e-9) & (v > -1e-9) & (u + v < 1 + 1e-9)
        heights[inside] = (a[2] + u * e[2] + v * f[2])[inside]
    # A vertical distance may exceed the distance by the slope, which is 9 * 0.3 at most.
    # At the boundary a point may lie beside all triangles, within the tolerance.
    inner = (np.abs(x - 0.5) < 0.48) & (np.abs(y - 0.5) < 0.48)
    assert np.abs(heights - z)[inner].max() < 0.01 * math.hypot(1, 9 * 0.3) + 1e-9


def test_tags_keep_their_areas() -> None:
    mesh = grid(16)
    middle = mesh.points[mesh.triangles].mean(axis=1)[:, 0]
    tags = np.where(middle < 0.5, np.uint64(5), np.uint64(2**63))
    tagged = sorvane.Mesh(mesh.points, mesh.triangles, triangle_tags=tags)
    for result in (tagged.remesh(0.1), tagged.decimate(tolerance=0.02), tagged.refine()):
        assert result.triangle_tags is not None
        sides = result.points[result.triangles].mean(axis=1)[:, 0] < 0.5
        assert np.array_equal(result.triangle_tags, np.where(sides, np.uint64(5), np.uint64(2**63)))
    assert tagged.remesh(0.1, keep_tags=False).triangle_tags is None
    many = sorvane.Mesh(mesh.points, mesh.triangles, triangle_tags=range(len(mesh)))
    with pytest.raises(ValueError, match="512 different tags; no more than 256"):
        many.remesh(0.1)


def test_subdivision_keeps_what_it_must() -> None:
    mesh = box()
    assert len(mesh.subdivide(2)) == 12 * 16 and mesh.subdivide(2).volume == pytest.approx(1)
    round_box = mesh.subdivide(2, crease_angle=181)
    assert 0.2 < round_box.volume < 0.9 and round_box.report().closed
    assert len(mesh.subdivide(1, method="sqrt3", crease_angle=181)) == 36
    for method, parts in (("centroid", 3), ("midpoints", 4), ("centroid_and_midpoints", 6)):
        fine = mesh.refine(2, method=method)
        assert len(fine) == 12 * parts**2 and fine.volume == pytest.approx(1) and fine.area == pytest.approx(6)
    split = mesh.split_long_edges(0.6)
    assert edge_lengths(split).max() <= 0.6 and split.volume == pytest.approx(1)


def test_better_triangles() -> None:
    needles = sorvane.Mesh([[-3, 0, 0], [0, -1, 0], [3, 0, 0], [0, 1, 0]], [[0, 1, 2], [0, 2, 3]])
    assert needles.improve().aspect_ratios().min() > 2 * needles.aspect_ratios().min()
    star = sorvane.Mesh([[0, 0, 0], [4, 0, 0], [0, 4, 0], [1, 1, 0]], [[0, 1, 3], [1, 2, 3], [2, 0, 3]])
    assert len(star.remove_stars()) == 1


def test_progress_is_told_and_stops() -> None:
    mesh = grid(60)
    told: list[float] = []
    mesh.remesh(0.005, iterations=3, progress=told.append)
    assert told == sorted(told) and all(0 <= fraction <= 1 for fraction in told)
    with pytest.raises(sorvane.Stopped):
        mesh.remesh(0.0005, progress=lambda fraction: False)

    def fail(fraction: float) -> None:
        raise KeyError("of the callable")

    with pytest.raises(KeyError, match="of the callable"):
        mesh.remesh(0.0005, progress=fail)
