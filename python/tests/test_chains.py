"""Chains: against NumPy on every element, and against figures that others found."""

from __future__ import annotations

import copy
import gc
import json
import math
import os
import pickle
from pathlib import Path
from typing import Any

import hypothesis.strategies as st
import numpy as np
import pytest
from hypothesis import given

import sorvane
from sorvane import Chain

COORDINATES = st.floats(-100, 100).map(lambda x: round(x, 3))
POINTS = st.lists(st.tuples(COORDINATES, COORDINATES), min_size=2, max_size=12).map(lambda p: np.array(p))


def distances_to_segments(points: np.ndarray, starts: np.ndarray, ends: np.ndarray) -> np.ndarray:
    """Of each point to the nearest of the segments."""
    along = ends - starts
    square = np.maximum((along * along).sum(axis=1), 1e-300)
    t = np.clip(((points[:, None] - starts) * along).sum(axis=2) / square, 0, 1)
    away = points[:, None] - starts - t[..., None] * along
    return np.hypot(away[..., 0], away[..., 1]).min(axis=1)


def slot() -> Chain:
    """6 long and 2 wide, with round ends of radius 1."""
    return Chain.from_bulges([(0, 0), (6, 0), (6, 2), (0, 2)], [0, 1, 0, 1], closed=True)


def test_measures_of_a_slot() -> None:
    chain = slot()
    assert chain.is_closed and len(chain) == 4
    assert chain.length == pytest.approx(12 + 2 * np.pi, abs=1e-13)
    assert chain.area == pytest.approx(12 + np.pi, abs=1e-13)
    assert chain.bounds == pytest.approx(np.array([[-1, 0], [7, 2]]), abs=1e-13)
    assert chain.kinds.tolist() == [0, 1, 0, 1]
    assert chain.elements[1] == pytest.approx([6, 0, 6, 1, np.pi])
    assert chain.reversed().area == pytest.approx(-chain.area)


def test_arrays_are_views_that_keep_the_chain() -> None:
    chain = slot()
    elements, ends = chain.elements, chain.ends
    expected = elements.copy(), ends.copy()
    del chain
    gc.collect()
    assert np.array_equal(elements, expected[0]) and np.array_equal(ends, expected[1])
    with pytest.raises(ValueError):
        elements[0, 0] = 1
    curve = sorvane.Chain.circle((0, 0), 5).offset(1)[0]
    gc.collect()
    assert curve.length == pytest.approx(12 * np.pi)


def test_chains_are_values() -> None:
    chain = slot()
    again = pickle.loads(pickle.dumps(chain))
    assert again == chain and hash(again) == hash(chain) and copy.deepcopy(chain) is chain
    assert again != Chain([(0, 0), (1, 0)]) and chain != 7
    offset = chain.offset(-0.25)[0]
    assert np.array_equal(pickle.loads(pickle.dumps(offset)).elements, offset.elements)
    assert repr(Chain([(0, 0), (1, 0)])) == "<sorvane.Chain: 1 element, open, length 1>"
    empty = pickle.loads(pickle.dumps(Chain([])))
    assert len(empty) == 0 and empty.length == 0


@given(POINTS)
def test_length_and_area_are_those_of_the_polygon(points: np.ndarray) -> None:
    chain = Chain(points, closed=True)
    after = np.roll(points, -1, axis=0)
    assert chain.length == pytest.approx(np.hypot(*(after - points).T).sum(), abs=1e-10)
    area = 0.5 * (points[:, 0] * after[:, 1] - points[:, 1] * after[:, 0]).sum()
    assert chain.area == pytest.approx(area, abs=1e-9)


@given(POINTS, st.lists(st.floats(0, 1), max_size=8))
def test_points_at_parameters_are_those_of_numpy(points: np.ndarray, fractions: list[float]) -> None:
    chain = Chain(points)
    joints = chain.parameters()
    if chain.length < 1:
        return
    steps = np.hypot(*np.diff(points, axis=0).T)
    running = np.concatenate([[0], np.cumsum(steps)])
    wanted = np.minimum(np.array(fractions), 1) * joints[-1]
    found = chain.points_at(wanted)
    expected = np.column_stack([np.interp(wanted, running, points[:, k]) for k in (0, 1)])
    assert found == pytest.approx(expected, abs=1e-9)
    back = chain.parameters_of(found)
    assert (back <= wanted + 1e-6).all()  # where the chain crosses itself the first pass counts
    assert chain.points_at(np.minimum(back, joints[-1])) == pytest.approx(found, abs=1e-5)


@given(POINTS, POINTS)
def test_nearest_points_are_those_of_brute_force(corners: np.ndarray, points: np.ndarray) -> None:
    chain = Chain(corners)
    if len(chain) == 0:
        return
    found = chain.nearest(points)
    expected = distances_to_segments(points, corners[:-1], corners[1:])
    assert np.hypot(*(points - found).T) == pytest.approx(expected, abs=1e-9)
    assert np.abs(chain.signed_distances(points)) == pytest.approx(expected, abs=1e-9)


@given(POINTS)
def test_points_are_in_a_circle_or_not(points: np.ndarray) -> None:
    radius = np.hypot(*points.T)
    for clockwise in (False, True):
        chain = Chain.circle((0, 0), 40, clockwise=clockwise)
        clear = np.abs(radius - 40) > 1e-9
        assert (chain.contains(points) == (radius <= 40))[clear].all()


@given(st.floats(0.1, 50), st.floats(1e-4, 1))
def test_a_circle_is_tessellated_within_the_tolerance(radius: float, tolerance: float) -> None:
    points = Chain.circle((3, 4), radius).tessellate(tolerance)
    assert np.hypot(*(points - (3, 4)).T) == pytest.approx(np.full(len(points), radius), rel=1e-12)
    middles = 0.5 * (points + np.roll(points, -1, axis=0))
    assert (radius - np.hypot(*(middles - (3, 4)).T) <= tolerance * (1 + 1e-9)).all()


@given(POINTS, POINTS)
def test_crossings_of_polylines_are_those_of_brute_force(a: np.ndarray, b: np.ndarray) -> None:
    first, second = Chain(a), Chain(b)
    hits = first.intersections(second, tolerance=1e-7)
    # Every clear crossing of a segment of one and a segment of the other is among the hits.
    for p, q in zip(a[:-1], a[1:]):
        for r, s in zip(b[:-1], b[1:]):
            d, e = q - p, s - r
            cross = d[0] * e[1] - d[1] * e[0]
            if abs(cross) < 1e-3 * max(np.hypot(*d) * np.hypot(*e), 1e-9):
                continue
            t = ((r - p)[0] * e[1] - (r - p)[1] * e[0]) / cross
            u = ((r - p)[0] * d[1] - (r - p)[1] * d[0]) / cross
            if 0.001 < t < 0.999 and 0.001 < u < 0.999:
                assert np.hypot(*(hits - (p + t * d)).T).min() < 1e-5
    if len(hits) > 0:
        on_first = distances_to_segments(hits, a[:-1], a[1:])
        on_second = distances_to_segments(hits, b[:-1], b[1:])
        assert (np.minimum(on_first, on_second) < 1e-6).all()


def test_offsets_have_the_areas_and_lengths_that_others_found(shared_data: Path) -> None:
    cases = json.loads((shared_data / "arc_offsets/arc_offset_cases.json").read_text())["cases"]
    compared = 0
    for case in cases:
        if not case["closed"] or any(e["area"] == 0 for e in case["expected"]):
            continue  # an offset that has shrunk to a line comes once here, and there and back in the table
        vertices = np.array(case["vertices"])
        chain = Chain.from_bulges(vertices[:, :2], vertices[:, 2], closed=True)
        assert chain.length == pytest.approx(case["input_length"], abs=1e-6), case["name"]
        assert chain.area == pytest.approx(case["input_area"], abs=1e-6), case["name"]
        curves = chain.offset(-case["offset"])  # there to the left for a positive distance
        sense = -1 if case["offset"] > 0 else 1  # curves on the left run the other way
        found = sorted((curve.length, sense * curve.area) for curve in curves)
        expected = sorted((e["path_length"], e["area"]) for e in case["expected"])
        assert np.array(found) == pytest.approx(np.array(expected), abs=1e-4), case["name"]
        compared += 1
    assert compared >= 7


def test_offsets_of_several_distances_are_those_of_each() -> None:
    chain = slot()
    distances = [0.5, -0.25, 0.5, -2]
    together = chain.offsets(distances)
    assert [len(curves) for curves in together] == [1, 1, 1, 0]
    for distance, curves in zip(distances, together):
        assert curves == chain.offset(distance)


def test_breaking_and_splitting_keep_the_curve() -> None:
    chain = slot()
    broken = chain.break_at([1, 7, 9.5])
    assert len(broken) == 7 and broken.length == pytest.approx(chain.length)
    pieces = chain.split_at([1, 7, 9.5])
    assert [round(piece.length, 9) for piece in pieces] == [1, 6, 2.5, round(chain.length - 9.5, 9)]
    assert chain.break_at([0.25], normalized=True).parameters()[1] == pytest.approx(chain.length / 4)
    joined = sorvane.join_chains(pieces[::-1])
    assert len(joined) == 1 and joined[0].length == pytest.approx(chain.length)
    lower = chain.trim((1, 0), (5, 0))
    assert lower.length == pytest.approx(4)
    assert chain.trim((5, 0), (1, 2)).length == pytest.approx(1 + np.pi + 5)
    assert chain.trim((1, 2), (5, 0)).length == pytest.approx(1 + np.pi + 5)  # over the start
    assert chain.trim((5, 0), (1, 0)).ends[-1].tolist() == [1, 0]  # of one segment: turned round
    sides = Chain.circle((0, 0), 2).split_at_tangent((1, 0))
    assert sum(side.length for side in sides) == pytest.approx(4 * np.pi)


def test_two_circles_meet_in_two_points() -> None:
    a, b = Chain.circle((0, 0), 5), Chain.circle((6, 0), 5)
    assert a.intersections(b) == pytest.approx(np.array([[3, -4], [3, 4]]), abs=1e-12)
    first, second = a.break_at_intersections(b)
    assert len(first) == 6 and len(second) == 6
    pieces, others = a.split_at_intersections(b)
    assert sum(piece.length for piece in pieces) == pytest.approx(10 * np.pi)
    assert sum(piece.length for piece in others) == pytest.approx(10 * np.pi)


def test_noisy_points_of_a_slot_become_a_slot() -> None:
    points = slot().tessellate(1e-5)
    fitted = Chain.fit(np.concatenate([points, points[:1]]), 1e-3)
    assert fitted.is_closed and len(fitted) <= 6
    assert fitted.area == pytest.approx(12 + np.pi, abs=1e-2)


def test_chains_are_written_and_read(tmp_path: Path) -> None:
    path = tmp_path / "slot.txt"
    slot().write(path)
    assert Chain.read(path) == slot()
    with pytest.raises(FileNotFoundError):
        Chain.read(tmp_path / "none.txt")
    (tmp_path / "wrong.txt").write_text("\n2\t1e-9\nL\t0\t0\t1\t0\n")
    with pytest.raises(sorvane.FileError, match="2 elements"):
        Chain.read(tmp_path / "wrong.txt")


@pytest.mark.parametrize("tolerance", [0.0, 1e-9, 0.1, 5.0])
@pytest.mark.parametrize("offset", [0.0, 1e6])
def test_whatever_is_written_is_read_again(tolerance: float, offset: float, tmp_path: Path) -> None:
    # Most edges are shorter than the larger tolerances: one by one, in a row, first and last.
    random = np.random.default_rng(17)
    path = tmp_path / "chain.txt"
    for trial in range(40):
        count = int(random.integers(2, 12))
        steps = random.normal(size=(count, 2)) * 10.0 ** random.integers(-4, 2, size=(count, 1))
        points = offset + np.cumsum(steps, axis=0)
        bulges = random.choice([0.0, 0.0, 0.7, -1.5], size=count)
        for chain in (
            Chain.from_bulges(points, bulges, closed=bool(trial % 2), tolerance=tolerance),
            Chain(points, closed=bool(trial % 2), tolerance=tolerance),
        ):
            chain.write(path)
            back = Chain.read(path)
            assert back == chain and back.is_closed == chain.is_closed
            assert back.elements.tobytes() == chain.elements.tobytes()


def test_a_chain_that_could_not_be_read_again_is_not_written(tmp_path: Path) -> None:
    path = tmp_path / "chain.txt"
    path.write_text("old")
    for chain, words in (
        (Chain([(1, 1), (1, 1)]), "no elements"),
        (Chain([(0, 0), (1, 1)], tolerance=math.inf), "infinite tolerance"),
    ):
        with pytest.raises(sorvane.FileError, match=words):
            chain.write(path)
        assert path.read_text() == "old"


def test_devices_are_refused_and_pipes_are_read(tmp_path: Path) -> None:
    with pytest.raises(sorvane.FileError, match="is a device"):
        Chain.read("/dev/zero")
    with pytest.raises(sorvane.FileError, match="neither an STL"):
        sorvane.read("/dev/zero")
    with open("/dev/zero", "rb") as endless, pytest.raises(sorvane.FileError, match="/dev/zero: is a device"):
        sorvane.read(endless)
    path = tmp_path / "slot.txt"
    slot().write(path)
    ours, theirs = os.pipe()
    try:
        os.write(theirs, path.read_bytes())
        os.close(theirs)
        assert Chain.read(f"/proc/self/fd/{ours}") == slot()
    finally:
        os.close(ours)


@pytest.mark.parametrize(
    "call, message",
    [
        (lambda: Chain([(0, 0, 0)]), "points: expected shape (n, 2), given (1, 3)"),
        (lambda: Chain([(0, 0), (1, np.nan)]), "number 1 is not finite"),
        (lambda: Chain.from_elements([0], [(0, 0, 1, 1)]), "elements: expected shape (n, 5), given (1, 4)"),
        (lambda: Chain.from_elements([0, 0], [(0, 0, 1, 1, 0)]), "elements: expected shape (2, 5), given (1, 5)"),
        (lambda: Chain.from_elements([3], [(0, 0, 1, 1, 0)]), "element 0 has kind 3"),
        (lambda: Chain.from_elements([0, 0], [(0, 0, 1, 0, 0), (2, 0, 3, 0, 0)]), "element 1 starts 1 away"),
        (lambda: Chain.circle((0, 0), -1), "radius: expected a number greater than 0, given -1"),
        (lambda: Chain.from_bulges([(0, 0), (1, 0)], [0]), "bulges: expected shape (2,), given (1,)"),
        (lambda: slot().points_at([1, 99]), "parameter 1 is 99"),
        (lambda: slot().offset(1, tolerance=-1), "tolerance is -1"),
        (lambda: slot().offset("x"), "distance: expected a number, given 'x'"),
        (lambda: slot().break_at([1, 1 + 1e-12]), "parameter 1 is within the tolerance"),
        (lambda: slot().split_at_tangent((0, 0)), "direction has no length"),
        (lambda: slot().intersections(7), "other: expected a sorvane.Chain, given int"),
        (lambda: Chain([(0, 0), (1, 0)]).contains([(0, 0)]), "expected a closed chain"),
        (lambda: sorvane.join_chains([slot(), 3]), "chains[1]: expected a sorvane.Chain, given int"),
    ],
)
def test_wrong_arguments_are_told(call, message) -> None:  # type: ignore[no-untyped-def]
    with pytest.raises(ValueError) as raised:
        call()
    assert message in str(raised.value)


def test_what_the_geometry_does_not_allow_is_told() -> None:
    with pytest.raises(sorvane.Error, match="not on the chain"):
        slot().trim((1, 0), (3, 1))
    with pytest.raises(sorvane.Error, match="no box"):
        Chain([]).bounds
    with pytest.raises(sorvane.Error, match="differ by more"):
        Chain.fit([(0, 0), (0, 0)], 0.1)


def test_a_chain_shows_itself() -> None:
    svg = slot()._repr_svg_()
    assert svg.startswith("<svg") and svg.count("A") >= 2 and "nan" not in svg
    assert "nothing" in Chain([])._repr_svg_()


def test_circles_run_either_way() -> None:
    for clockwise, sign in ((False, 1), (True, -1)):
        circle = sorvane.Chain.circle((1, 2), 3, clockwise=clockwise)
        assert circle.area == pytest.approx(sign * math.pi * 9)
        # A quarter of the way on from the right of the center.
        assert circle.points_at([0, 1.5 * math.pi])[:, :] == pytest.approx(np.array([[4, 2], [1, 2 + 3 * sign]]))


def test_bulges_of_rounding_are_segments() -> None:
    corners = [(0, 0), (100, 0), (100, 50), (0, 50)]
    straight = Chain(corners, closed=True)
    for bulge in (1e-8, 1e-12, -1e-16, 1e-200, 5e-324):
        chain = Chain.from_bulges(corners, [bulge, 0, -bulge, 0], closed=True)
        # An arc of such a radius would make a chain that tells nothing apart.
        assert chain == straight and chain.offset(-1) == straight.offset(-1)
    for bulge in (1e-3, 1e-5, 1e-7):
        chain = Chain.from_bulges(corners, [bulge, 0, 0, 0], closed=True)
        assert chain.kinds.tolist() == [1, 0, 0, 0]
        # Of a segment of a circle, flat: two thirds of chord times height.
        assert chain.area - 5000 == pytest.approx(2 / 3 * 100 * (bulge * 50), rel=0.01)


@pytest.mark.parametrize(
    "call, text",
    [
        (lambda: Chain.circle((np.nan, 0), 1), "center: "),
        (lambda: Chain.circle((0, 1e200), 1), "center: "),
        (lambda: Chain.circle((0, 0), 1e200), "radius: "),
        (lambda: Chain.circle((0, 0), np.nan), "radius: "),
        (lambda: Chain.from_bulges([(0, np.inf), (1, 1)], [0, 0]), "points: "),
        (lambda: Chain.from_bulges([(0, 0), (1, 1)], [np.nan, 0]), "bulges: "),
        (lambda: Chain([(0, 0), (1, 0)]).trim((np.nan, 0), (1, 0)), "start: "),
        (lambda: Chain([(0, 0), (1, 0)]).trim((0, 0), (1, np.inf)), "end: "),
        (lambda: sorvane.Region([[(0, 0), (1, np.nan), (1, 1)]]), "loops: "),
        (lambda: sorvane.Region.sweep([(0, 0), (1, 0), (1, 1)], [[(0, 0), (np.inf, 1)]]), "paths: "),
        (lambda: sorvane.Region([(0, 0), (1, 0), (1, 1)]).clip([[(0, 0), (np.nan, 1)]]), "lines: "),
        (lambda: sorvane.tessellate([[(0, 0), (1, np.nan), (1, 1)]]), "outlines: "),
        (lambda: sorvane.tessellate_polygon([(0, 0), (1, np.nan), (1, 1)]), "outline: "),
        (
            lambda: sorvane.lathe.regions([(0, 0), (1, 3), (-1, 3)], [(0, 0), (9, 0), (9, 9)], obstacles=[[(0, np.nan)]]),
            "obstacles: ",
        ),
    ],
)
def test_a_number_that_is_no_use_is_told_by_the_name_of_its_argument(call: Any, text: str) -> None:
    with pytest.raises(ValueError) as caught:
        call()
    assert str(caught.value).startswith(text)


def test_normalized_is_a_truth_value() -> None:
    chain = Chain([(0, 0), (4, 0)])
    for value in (None, 0, "", [], np.False_):
        assert chain.points_at([1], normalized=value).tolist() == [[1, 0]]  # type: ignore[arg-type]
    for value in (1, "yes", np.True_):
        assert chain.points_at([1], normalized=value).tolist() == [[4, 0]]  # type: ignore[arg-type]
        assert chain.parameters(normalized=value).tolist() == [0, 1]  # type: ignore[arg-type]
