"""Lines cut into meshes, and walks over their surface."""

from __future__ import annotations

import gc

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from shapes import box, grid

import sorvane

SQUARE = [[0.25, 0.25, 1], [0.75, 0.25, 1], [0.75, 0.75, 1], [0.25, 0.75, 1]]


def edges_of(mesh: sorvane.Mesh) -> set[tuple[int, int]]:
    t = mesh.triangles
    return {(int(a), int(b)) for k in range(3) for a, b in np.sort(np.column_stack([t[:, k], t[:, (k + 1) % 3]]), axis=1)}


def test_a_square_in_a_face(cube: sorvane.Mesh) -> None:
    made = cube.imprint([SQUARE])
    assert made.has_sides and made.mesh.area == pytest.approx(6) and not len(made.mesh.boundary_edges())
    assert made.mesh.areas()[made.inside].sum() == pytest.approx(0.25)
    assert made.side().area == pytest.approx(0.25) and made.side(False).area == pytest.approx(5.75)
    [line] = made.lines
    assert made.lines.closed.tolist() == [True] and made.lines.lengths()[0] == pytest.approx(2)
    # The line runs along edges of the mesh.
    numbers = [int(np.flatnonzero((made.mesh.points == p).all(axis=1))[0]) for p in line]
    edges = edges_of(made.mesh)
    assert all((min(a, b), max(a, b)) in edges for a, b in zip(numbers, numbers[1:] + numbers[:1]))
    assert "1 lines" in repr(made)


def test_what_belongs_to_an_imprint_keeps_it(cube: sorvane.Mesh) -> None:
    mesh = cube.imprint([SQUARE]).mesh
    gc.collect()
    assert mesh.area == pytest.approx(6) and len(mesh.weld()) == len(mesh)


@given(st.floats(0.15, 0.3), st.floats(0.35, 0.65), st.integers(8, 40))
def test_a_circle_divides_the_area(radius, middle, steps):
    t = np.arange(steps) * 2 * np.pi / steps
    circle = np.column_stack([middle + radius * np.cos(t), 0.5 + radius * np.sin(t), np.zeros(steps)])
    sheet = grid(7, height=0.0)
    made = sheet.imprint([circle])
    assert made.has_sides
    assert made.side().area == pytest.approx(steps / 2 * radius**2 * np.sin(2 * np.pi / steps), rel=1e-2)
    assert made.mesh.area == pytest.approx(1)


def test_points_off_the_surface_are_told(cube: sorvane.Mesh) -> None:
    lifted = [SQUARE, [[0.1, 0.1, 1], [0.2, 0.1, 1.5], [0.2, 0.2, 1]]]
    with pytest.raises(sorvane.Error, match="point 5") as told:
        cube.imprint(lifted)
    assert told.value.index == 5
    assert cube.imprint(lifted, skip_far_points=True).mesh.area == pytest.approx(6)
    with pytest.raises(ValueError, match="line 0 has 2 points"):
        cube.imprint([SQUARE[:2]])
    with pytest.raises(ValueError, match="closed: expected one value"):
        cube.imprint([SQUARE], closed=[True, False])
    with pytest.raises(ValueError, match=r"lines\[0\]"):
        cube.imprint([[[0, 0]]])


def test_sections_can_be_imprinted() -> None:
    sheet = grid(9)
    chains = sheet.section(([0.5, 0.5, 0], [1, 0.3, 0])).in_space()
    made = sheet.imprint(chains, tolerance=1e-6)
    assert made.lines.closed.tolist() == [False] and made.mesh.area == pytest.approx(sheet.area)


def test_embedding_tells_the_points(cube: sorvane.Mesh) -> None:
    mesh, [numbers] = cube.embed([[[0.2, 0.3, 1.4], [0.5, 0.3, 1.2], [0.9, 0.3, 1.3]]])
    np.testing.assert_allclose(mesh.points[numbers][[0, -1]], [[0.2, 0.3, 1], [0.9, 0.3, 1]], atol=1e-6)
    edges = edges_of(mesh)
    assert all((min(a, b), max(a, b)) in edges for a, b in zip(numbers.tolist(), numbers.tolist()[1:]))
    with pytest.raises(ValueError, match="step"):
        cube.embed([SQUARE], step=1e-300)


@given(st.floats(0.05, 0.95), st.floats(0.05, 0.95), st.floats(0, 6.28), st.floats(0.1, 3))
def test_walks_are_as_long_as_asked_and_stay_on_the_surface(x, y, angle, length):
    cube = box()
    line = cube.walk([x, y, 1], [np.cos(angle), np.sin(angle), 0], length)
    assert np.linalg.norm(np.diff(line, axis=0), axis=1).sum() == pytest.approx(length, abs=1e-6)
    assert cube.nearest(line).distances.max() < 1e-9
    np.testing.assert_allclose(line[0], [x, y, 1], atol=1e-6)  # it may snap to an edge


def test_many_walks(cube: sorvane.Mesh) -> None:
    tracer = sorvane.Tracer(cube)
    lines = tracer.walks([[0.5, 0.5, 1], [0.5, 0.5, 5]], [[1, 0, 0], [1, 0, 0]], 0.75)
    assert len(lines) == 2 and len(lines[1]) == 1
    np.testing.assert_allclose(lines[0][-1], [1, 0.5, 0.75], atol=1e-12)
    with pytest.raises(ValueError, match="length 0 is negative"):
        tracer.walk([0, 0, 1], [1, 0, 0], -1)
    with pytest.raises(ValueError, match=r"lengths: expected shape \(1,\), given \(2,\)"):
        tracer.walks([[0, 0, 1]], [[1, 0, 0]], [1, 2])


def test_flags_and_lengths_that_are_none_are_named(cube: sorvane.Mesh) -> None:
    square = [[(0.2, 0.2, 1), (0.8, 0.2, 1), (0.5, 0.8, 1)]]
    with pytest.raises(ValueError, match="closed: expected one value or whether each line is closed, given <U5"):
        cube.imprint(square, closed=["False"])  # type: ignore[list-item]
    tracer = sorvane.Tracer(cube)
    with pytest.raises(ValueError, match="lengths: .* rows of different lengths"):
        tracer.walks([(0.5, 0.5, 1)] * 2, [(1, 0, 0)] * 2, [[1, 2], [3]])


def test_lines_of_ones_own_are_taken_or_refused(cube: sorvane.Mesh) -> None:
    points = np.array([(0.2, 0.2, 1), (0.8, 0.2, 1), (0.5, 0.8, 1)])
    whole = cube.imprint([points])
    for kind in (np.int32, np.int64, np.uint8):
        lines = sorvane.Lines(points, np.array([0, 3], kind), np.array([True]))
        assert cube.imprint(lines).mesh == whole.mesh
    for starts in ([0.0, 3.0], [0, 4], [0, -3], [3, 0], [0, 2**40]):
        with pytest.raises((ValueError, IndexError), match="starts"):
            cube.imprint(sorvane.Lines(points, np.array(starts), np.array([True])))


def test_lines_are_read_only(cube: sorvane.Mesh) -> None:
    section = cube.section(0.5)
    for lines in (section.lines, section.loops, section.in_space(), cube.slices([0.5]).in_space()):
        for array in (lines.points, lines.starts, lines.closed):
            with pytest.raises(ValueError, match="read-only"):
                array[...] = 0
