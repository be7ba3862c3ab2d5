"""Sections, halves and intersections."""

from __future__ import annotations

import gc
import json
import runpy
import threading
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import pickle

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from shapes import box, grid

import sorvane

numbers = st.floats(-5, 5).map(lambda x: round(x, 3))
clouds = st.lists(st.tuples(numbers, numbers, numbers), min_size=8, max_size=20, unique=True)


def solid_of(points: list[tuple[float, float, float]]) -> sorvane.Mesh | None:
    try:
        return sorvane.hull(points)
    except sorvane.Error:
        return None  # flat


def cut_by_brute_force(points: np.ndarray, z: float) -> float:
    """Area of the section of a convex hull: where segments between any two of its points cross the plane."""
    i, k = np.nonzero((points[:, 2] <= z)[:, None] & (points[:, 2] > z)[None, :])
    a, b = points[i], points[k]
    places = (a + (b - a) * ((z - a[:, 2]) / (b[:, 2] - a[:, 2]))[:, None])[:, :2]
    if len(places) < 3:
        return 0.0
    try:
        loop = sorvane.hull_2d(places)
    except sorvane.Error:
        return 0.0
    x, y = (loop - loop[0]).T
    return float(abs((x * np.roll(y, -1) - y * np.roll(x, -1)).sum()) / 2)


@given(clouds, st.floats(-5, 5))
def test_sections_of_convex_solids_are_those_of_brute_force(points, z):
    solid = solid_of(points)
    if solid is None:
        return
    section = solid.section(z)
    assert section.area == pytest.approx(cut_by_brute_force(np.array(points), z), abs=1e-9)
    assert section.is_closed


@given(clouds, st.tuples(numbers, numbers, numbers), st.floats(-3, 3))
def test_halves_add_up(points, normal, shift):
    solid = solid_of(points)
    if solid is None or np.linalg.norm(normal) < 0.1:
        return
    middle = solid.points.mean(axis=0)
    below, above = solid.split((middle + np.array(normal) * shift, normal))
    assert below.volume + above.volume == pytest.approx(solid.volume, rel=1e-6, abs=1e-6)


def test_slices_are_the_reference_figures(shared_data: Path) -> None:
    meshes = json.loads((shared_data / "reference_figures.json").read_text())["meshes"]
    for name in ("meshes_cad/plate_holes.STL", "meshes_nist/nist_ctc_03_asme1_rc.stl"):
        figures = meshes[name]["slices_z"]
        part = sorvane.read(shared_data / name).weld()
        slices = part.slices([figure["z"] for figure in figures])
        assert len(slices) == len(figures) > 5
        np.testing.assert_allclose(slices.areas, [figure["signed_area"] for figure in figures], rtol=1e-9, atol=1e-9)
        np.testing.assert_allclose(slices.lengths, [figure["length"] for figure in figures], rtol=1e-9, atol=1e-9)
        assert not slices.open_lengths.any()
        # One by one, prepared, and from two threads at a time it is the same to the last bit.
        slicer = part.slicer()
        found = [None, None]

        def cut(i: int) -> None:
            found[i] = slicer.slices(slices.heights)

        threads = [threading.Thread(target=cut, args=(i,)) for i in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for other in found:
            assert np.array_equal(other.lines.points, slices.lines.points)
        assert np.array_equal(part.section(figures[3]["z"]).lines.points, slices[3].lines.points)


def test_a_section_tells_lines_and_figures(cube: sorvane.Mesh) -> None:
    section = cube.section(([0, 0, 0.25], [0, 0, 3]))
    assert section.height == 0.25 and section.area == pytest.approx(1) and section.length == pytest.approx(4)
    assert len(section.loops) == 1 and len(section.chains) == 0 and section.is_closed
    [loop] = section.in_space()
    assert loop.shape[1] == 3 and np.all(loop[:, 2] == 0.25)
    assert section.region().area == pytest.approx(1)
    assert "1 loops" in repr(section)
    ElementTree.fromstring(section._repr_svg_())


def test_an_open_mesh_has_chains() -> None:
    section = grid(4).section(([0.4, 0, 0], [1, 0, 0]))
    assert not section.is_closed and len(section.chains) == 1 and section.area == 0
    assert section.open_length == pytest.approx(float(section.chains.lengths()[0]))
    assert section.chains.closed.tolist() == [False]


def test_both_sides_of_a_face() -> None:
    step = box()
    assert step.section(1.0).area == 0
    assert step.section(1.0, side="below").area == pytest.approx(1)
    assert step.section(1 - 1e-9, tolerance=1e-6).area == 0


def test_slices_behave_like_a_sequence(cube: sorvane.Mesh) -> None:
    slices = cube.slices([0.1, 0.2, 0.7], normal=(1, 0, 0))
    assert len(slices) == 3 and slices[-1].height == 0.7 and [s.height for s in slices[1:]] == [0.2, 0.7]
    assert [section.height for section in slices] == [0.1, 0.2, 0.7]
    with pytest.raises(IndexError):
        slices[3]
    assert slices.frames.shape == (3, 3, 4)
    np.testing.assert_allclose(slices.in_space().points[:, 0], np.repeat([0.1, 0.2, 0.7], np.diff(slices.lines.starts)))
    ElementTree.fromstring(slices._repr_svg_())
    assert len(cube.slices([])) == 0


def test_views_keep_their_owner(cube: sorvane.Mesh) -> None:
    loop = cube.section(0.5).loops[0]
    kept = loop.copy()
    gc.collect()
    trash = [cube.slices(np.linspace(0, 1, 50)) for _ in range(5)]
    assert np.array_equal(loop, kept) and not loop.flags.writeable
    del trash


def test_wrong_planes_are_told(cube: sorvane.Mesh) -> None:
    with pytest.raises(ValueError, match="plane"):
        cube.section("high")
    with pytest.raises(ValueError, match=r"plane\[1\]: expected shape \(3,\), given \(2,\)"):
        cube.section(([0, 0, 0], [1, 0]))
    with pytest.raises(ValueError, match="normal"):
        cube.section(([0, 0, 0], [0, 0, 0]))
    with pytest.raises(ValueError, match="height 1 is not finite"):
        cube.slices([0, np.nan])
    with pytest.raises(ValueError, match=r"heights: expected shape \(n,\), given \(1, 2\)"):
        cube.slices([[0, 1]])
    with pytest.raises(ValueError, match="side"):
        cube.section(0, side="left")
    with pytest.raises(ValueError, match="tolerance"):
        cube.split(0.5, tolerance=-1)


def test_meshes_cut_each_other() -> None:
    first, second = box(), box(at=(0.5, 0.5, 0.5))
    curves = first.intersection_curves(second)
    # The edges of the common cube that lie on both: six of length 0.5.
    assert curves.closed.tolist() == [True] and curves.lengths()[0] == pytest.approx(3)
    assert len(first.self_intersections()) == 0 and len(sorvane.join([first, second]).self_intersections()) > 0
    cut, uncut, other = first.cut_along(second)
    assert cut.area + uncut.area == pytest.approx(6) and len(other) > 0
    assert "closed" in repr(curves)
    ElementTree.fromstring(curves._repr_svg_())


def test_the_example_draws_the_picture_of_the_guide(example_data: Path, tmp_path: Path, capsys) -> None:
    root = example_data.parents[1]
    example = runpy.run_path(str(root / "python/examples/inspect_part.py"))
    example["main"](str(example_data / "bracket.stl"), str(tmp_path / "part.svg"))
    assert (tmp_path / "part.svg").read_text() == (root / "docs/pictures/python-inspect.svg").read_text()
    told = capsys.readouterr().out
    assert told.count("hole at") == 2 and "diameter 12.000, 8.000 deep, through" in told


def test_sections_go_through_pickle() -> None:
    slices = box((4, 3, 2)).slices([0.5, 1.0, 1e9], normal=(1, 2, 3))
    copy = pickle.loads(pickle.dumps(slices))
    assert repr(copy) == repr(slices) and len(copy) == 3
    alone = [pickle.loads(pickle.dumps(section)) for section in slices]
    for one, other, whole in zip(copy, alone, slices):
        for section in (one, other):
            assert (section.height, section.area, section.length) == (whole.height, whole.area, whole.length)
            assert section.lines.points.tobytes() == whole.lines.points.tobytes()
            assert section.frame.tobytes() == whole.frame.tobytes() and section.is_closed
    assert np.allclose(copy.in_space().points, slices.in_space().points, rtol=0, atol=1e-12)
    again = pickle.loads(pickle.dumps(copy))
    assert again.lines.points.tobytes() == slices.lines.points.tobytes()


@pytest.mark.parametrize("length", [5e-324, 1e-310, 1e-200, 1e-3, 7.0, 1e200, 1.7e308])
def test_the_length_of_a_normal_does_not_matter(length: float) -> None:
    # Its square may be too large or too small for a number.
    pyramid = sorvane.hull([[0, 0, 0], [10, 0, 0], [0, 10, 0], [0, 0, 10]])
    plane = ([0, 0, 6], [0, 0, length])
    assert pyramid.section(plane).height == pytest.approx(6, abs=1e-14)
    assert pyramid.section(np.array(plane)).area == pytest.approx(8, abs=1e-12)  # legs of 4
    if length > 1e-12 or length < 1e-100:
        below, above = pyramid.split(plane)
        assert above.volume == pytest.approx(4**3 / 6, abs=1e-9)
        assert below.volume == pytest.approx((10**3 - 4**3) / 6, abs=1e-9)


def test_the_lines_of_a_section_of_a_stack_are_its_own() -> None:
    pyramid = sorvane.hull([[0, 0, 0], [10, 0, 0], [0, 10, 0], [0, 0, 10]])
    sheet = sorvane.Mesh([[20, 0, 0], [30, 0, 0], [20, 0, 10]], [[0, 1, 2]])  # gives an open line at each height
    stack = sorvane.join([pyramid, sheet]).slices([1, 4, 7])
    for section, leg in zip(stack, (9.0, 6.0, 3.0)):
        (loop,), (chain,) = section.loops, section.chains
        assert np.ptp(loop, axis=0) == pytest.approx([leg, leg]) and loop.min(axis=0) == pytest.approx([0, 0])
        assert np.ptp(chain, axis=0) == pytest.approx([leg, 0]) and len(section.lines) == 2
        assert section.lines.starts[0] == 0 and section.lines.starts[-1] == len(section.lines.points)
        assert section.lines.lengths() == pytest.approx([(2 + 2**0.5) * leg, leg])
        assert np.array_equal(section.lines[1], chain) and np.array_equal(section.lines[-2], loop)
