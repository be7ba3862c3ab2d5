"""Regions: against winding numbers counted by NumPy, and against results that others found."""

from __future__ import annotations

import json
import pickle
from pathlib import Path
from typing import Any

import hypothesis.strategies as st
import numpy as np
import pytest
from hypothesis import given, settings

import sorvane
from sorvane import Chain, Region

COORDINATES = st.integers(0, 20).map(float)
LOOP = st.lists(st.tuples(COORDINATES, COORDINATES), min_size=3, max_size=9).map(lambda p: np.array(p))
LOOPS = st.lists(LOOP, min_size=1, max_size=3)
# Points that no edge between whole coordinates comes near of: they are off by an irrational part of a grid.
SAMPLES = np.column_stack([a.ravel() for a in np.meshgrid(np.arange(-1, 21) + 0.4142135, np.arange(-1, 21) + 0.2718281)])


def winding(loops: list[np.ndarray], points: np.ndarray) -> np.ndarray:
    """By the sum of the angles under which each edge is seen."""
    total = np.zeros(len(points))
    for loop in loops:
        rays = loop[None] - points[:, None]
        after = np.roll(rays, -1, axis=1)
        cross = rays[..., 0] * after[..., 1] - rays[..., 1] * after[..., 0]
        total += np.arctan2(cross, (rays * after).sum(axis=2)).sum(axis=1)
    return np.rint(total / (2 * np.pi)).astype(int)


def shoelace(loops: list[np.ndarray]) -> float:
    after = [np.roll(loop, -1, axis=0) for loop in loops]
    return float(sum(0.5 * (a[:, 0] * b[:, 1] - a[:, 1] * b[:, 0]).sum() for a, b in zip(loops, after)))


def is_in(loops: list[np.ndarray], points: np.ndarray) -> np.ndarray:
    count = winding(loops, points)
    return count < 0 if shoelace(loops) < 0 else count > 0


def away_from_edges(loops: list[np.ndarray], points: np.ndarray, distance: float = 1e-4) -> np.ndarray:
    clear = np.ones(len(points), dtype=bool)
    for loop in loops:
        starts, along = loop, np.roll(loop, -1, axis=0) - loop
        square = np.maximum((along * along).sum(axis=1), 1e-300)
        t = np.clip(((points[:, None] - starts) * along).sum(axis=2) / square, 0, 1)
        away = points[:, None] - starts - t[..., None] * along
        clear &= np.hypot(away[..., 0], away[..., 1]).min(axis=1) > distance
    return clear


def square(x0: float, y0: float, x1: float, y1: float) -> np.ndarray:
    return np.array([(x0, y0), (x1, y0), (x1, y1), (x0, y1)], dtype=float)


def ring() -> Region:
    return Region([square(0, 0, 10, 10), square(3, 3, 7, 7)[::-1]])


@given(LOOPS)
def test_points_are_in_a_region_as_loops_wind(loops: list[np.ndarray]) -> None:
    region = Region(loops)
    clear = away_from_edges(loops, SAMPLES)
    assert (region.contains(SAMPLES) == is_in(loops, SAMPLES))[clear].all()


@given(LOOPS, LOOPS)
def test_two_regions_are_combined_point_by_point(a: list[np.ndarray], b: list[np.ndarray]) -> None:
    first, second = Region(a), Region(b)
    # Where the areas of loops cancel, which way they count hangs on rounding.
    if abs(shoelace(a)) < 1e-6 or abs(shoelace(b)) < 1e-6:
        return
    clear = away_from_edges(a + b, SAMPLES)
    in_a, in_b = is_in(a, SAMPLES), is_in(b, SAMPLES)
    results = {
        "|": (first | second, in_a | in_b),
        "&": (first & second, in_a & in_b),
        "-": (first - second, in_a & ~in_b),
        "^": (first ^ second, in_a ^ in_b),
    }
    for name, (result, expected) in results.items():
        assert (result.contains(SAMPLES) == expected)[clear].all(), name
        assert result.resolution <= np.sqrt(8) * 20 * 2.0**-30 * 1.0001
        count = winding(result.loops, SAMPLES)
        assert np.isin(count[clear], (0, 1)).all(), name
    areas = {name: result.area for name, (result, _) in results.items()}
    assert areas["|"] == pytest.approx(areas["&"] + areas["^"], abs=1e-5)
    assert first.area == pytest.approx(areas["-"] + areas["&"], abs=1e-5)


class RingCrossesItself(Exception):
    """What is inside such a ring depends on the rule that one goes by."""


def filled(ring: Any) -> Region:
    corners = np.array(ring)[:, :2]
    region = Region(corners).union()
    size = float(np.ptp(corners, axis=0).max())
    if abs(region.area - abs(shoelace([corners]))) > 1e-8 * size * size:
        raise RingCrossesItself
    return region


def rings_of(geometry: dict[str, Any]) -> Region:
    """A GeoJSON polygon or multipolygon: each ring for itself, so that its direction does not matter."""
    polygons = geometry["coordinates"]
    if geometry["type"] == "Polygon":
        polygons = [polygons]
    result = Region([])
    for rings in polygons:
        if not rings:
            continue
        polygon = filled(rings[0])
        for hole in rings[1:]:
            polygon = polygon - filled(hole)
        result = result | polygon
    return result


def test_results_are_those_that_others_found(shared_data: Path) -> None:
    operations = {
        "union": Region.union,
        "intersection": Region.intersection,
        "difference": Region.difference,
        "xor": Region.symmetric_difference,
    }
    compared = 0
    for folder in sorted((shared_data / "polygon_booleans/geojson").iterdir()):
        features = json.loads((folder / "args.geojson").read_text())["features"]
        try:
            regions = [rings_of(feature["geometry"]) for feature in features]
        except RingCrossesItself:
            continue
        for name, operation in operations.items():
            file = folder / f"{name}.geojson"
            if not file.exists():
                file = folder / "all.geojson"
            if not file.exists() or (name in ("difference", "xor") and len(regions) != 2):
                continue
            result = regions[0]
            for region in regions[1:]:
                result = operation(result, region)
            content = json.loads(file.read_text())
            expected = Region([])
            for feature in content.get("features", [content]):
                expected = expected | rings_of(feature["geometry"])
            size = max(float(np.ptp(region._lines().points, axis=0).max()) for region in regions if len(region))
            assert (result ^ expected).area <= 1e-6 * size * size, (folder.name, name)
            compared += 1
    assert compared >= 20


@given(st.floats(0.05, 3), st.floats(1e-4, 0.1))
def test_offsets_keep_their_distance(distance: float, tolerance: float) -> None:
    region = ring()
    loops = region.loops
    for sign in (1, -1):
        result = region.offset(sign * distance, tolerance=tolerance)
        for loop in result.loops:
            assert away_from_edges(loops, loop, distance - 1e-7).all()
            middles = 0.5 * (loop + np.roll(loop, -1, axis=0))
            points = np.concatenate([loop, middles])
            assert not away_from_edges(loops, points, distance + tolerance + 1e-7).any()
    if distance < 1.9:
        again = region.offset(-distance, tolerance=tolerance)
        assert not (again - region).contains(SAMPLES).any()


def test_passes_of_a_pocket_clear_it() -> None:
    region, radius = ring(), 0.6
    passes = region.pocket(radius, 0.5, tolerance=1e-3)
    # The ring is 3 wide: passes at 0.6 and 1.1 from both walls, and at 1.6 in its four corners alone.
    assert [len(loops) for loops in passes] == [2, 2, 4]
    for number, loops in enumerate(passes):
        for loop in loops:
            assert away_from_edges(region.loops, loop, radius + 0.5 * number - 1e-7).all()
    turn = np.linspace(0, 2 * np.pi, 64, endpoint=False)
    disc = radius * np.column_stack([np.cos(turn), np.sin(turn)])
    cleared = Region.sweep(disc, [np.concatenate([loop, loop[:1]]) for loops in passes for loop in loops])
    assert (cleared - region).area < 1e-6  # nothing beyond the walls
    # What is left are the corners outside: four of (1 - pi / 4) r^2, and what the polygon is less than its circle.
    assert (region - cleared).area == pytest.approx(4 * (1 - np.pi / 4) * radius**2, abs=0.15)
    with pytest.raises(sorvane.Error, match="does not fit"):
        region.pocket(1.8)


@given(LOOP, st.lists(LOOP, min_size=1, max_size=3))
@settings(max_examples=40)
def test_clipped_lines_are_in_the_region(loop: np.ndarray, lines: list[np.ndarray]) -> None:
    region = Region(loop)
    inside, outside = region.clip(lines), region.clip(lines, outside=True)
    assert len(inside) == len(lines)
    for line, kept, left in zip(lines, inside, outside):
        total = np.hypot(*np.diff(line, axis=0).T).sum()
        lengths = [np.hypot(*np.diff(part, axis=0).T).sum() for part in kept + left]
        assert sum(lengths) == pytest.approx(total, abs=1e-6)
        for parts, expected in ((kept, True), (left, False)):
            for part in parts:
                middles = 0.5 * (part[1:] + part[:-1])
                clear = away_from_edges([loop], middles, 1e-6)
                assert (is_in([loop], middles) == expected)[clear].all()


def test_a_closed_line_that_runs_over_its_start_comes_in_one_part() -> None:
    lines = square(5, 5, 15, 15)
    (parts,) = Region(square(0, 0, 10, 10)).clip(lines, closed=True)
    assert len(parts) == 1 and parts[0].tolist() == [[5, 10], [5, 5], [10, 5]]
    (whole,) = Region(square(0, 0, 20, 20)).clip(lines, closed=True)
    assert np.array_equal(whole[0], lines)


@given(LOOP)
def test_a_region_is_dilated_by_a_square(loop: np.ndarray) -> None:
    region = Region(loop)
    if abs(shoelace([loop])) < 1e-6:
        return
    grown = region.dilate(square(-1, -1, 1, 1))
    assert (region - grown).area < 1e-6
    assert not (grown.contract(square(-1, -1, 1, 1)) ^ region).contains(SAMPLES)[region.contains(SAMPLES)].any()
    shrunk = region.contract(square(-1, -1, 1, 1))
    assert (shrunk.dilate(square(-1, -1, 1, 1)) - region).area < 1e-5


def test_regions_of_chains_and_back() -> None:
    region = Region.from_chains([Chain.circle((0, 0), 5), Chain.circle((0, 0), 2, clockwise=True)], tolerance=1e-5)
    assert region.area == pytest.approx(21 * np.pi, abs=1e-3)
    assert region.contains([(3, 0), (0, 0)]).tolist() == [True, False]
    with pytest.raises(ValueError, match="expected closed chains"):
        Region.from_chains(Chain([(0, 0), (1, 0)]))


def test_one_loop_may_be_given_alone() -> None:
    corners = square(0, 0, 2, 3)
    for loops in (corners, [corners], corners.tolist(), list(corners), [corners.tolist()], corners[None]):
        region = Region(loops)
        assert len(region) == 1 and region.area == pytest.approx(6)
    assert Region([]).is_empty


def test_regions_are_values() -> None:
    region = ring()
    again = pickle.loads(pickle.dumps(region))
    assert all(np.array_equal(a, b) for a, b in zip(again.loops, region.loops)) and len(again) == 2
    assert region.bounds.tolist() == [[0, 0], [10, 10]] and not region.is_empty
    empty = region - region
    assert empty.is_empty and empty.area == 0
    assert pickle.loads(pickle.dumps(empty)).is_empty
    assert region._repr_svg_().startswith("<svg") and "nothing" in empty._repr_svg_()
    with pytest.raises(sorvane.Error, match="no bounds"):
        empty.bounds
    with pytest.raises(TypeError):
        region | 7  # type: ignore[operator]


def test_a_region_far_from_the_origin_keeps_its_area() -> None:
    for at in (1e6, -1e9):
        a, b = Region(square(at, at, at + 4, at + 4)), Region(square(at + 1, at - 1, at + 2, at + 9))
        assert (a & b).area == pytest.approx(4, abs=1e-5)
        assert (a ^ b).area == pytest.approx(16 + 10 - 8, abs=1e-5)


@pytest.mark.parametrize(
    "call, message",
    [
        (lambda: Region([[(0, 0, 1)]]), "loops[0]: expected shape (n, 2), given (1, 3)"),
        (lambda: Region([[(0, 0), (1,)], [(0, 0), (1, 1)]]), "loops[0]: expected an array of shape (n, 2)"),
        (lambda: Region([[(0, 0), (1, 0), (np.inf, 1)]]), "number 2 is not finite"),
        (lambda: ring().union(3), "other: expected a sorvane.Region, given int"),
        (lambda: ring().dilate([]), "tool has 0 points"),
        (lambda: ring().offset(1, tolerance=0), "tolerance is 0"),
        (lambda: ring().pocket(1, 2), "step is greater than radius"),
        (lambda: ring().clip([(0, 0), (1, 1)], tolerance=-1), "tolerance is -1"),
        (lambda: ring().contains([(1, 2, 3)]), "points: expected shape (n, 2), given (1, 3)"),
    ],
)
def test_wrong_arguments_are_told(call, message) -> None:  # type: ignore[no-untyped-def]
    with pytest.raises(ValueError) as raised:
        call()
    assert message in str(raised.value)


def test_a_region_takes_the_lines_of_a_section(cube: sorvane.Mesh) -> None:
    loops = cube.section(0.5).loops
    region = sorvane.Region(loops)
    assert [loop.tolist() for loop in region.loops] == [loop.tolist() for loop in loops]
    assert type(region._lines()) is sorvane.Lines  # one class for the lines of all families
    with pytest.raises(ValueError, match=r"loops: expected shape \(n, 2\), given \(4, 3\)"):
        sorvane.Region(sorvane.Lines(np.zeros((4, 3)), np.array([0, 4], dtype=np.int32), np.array([True])))
