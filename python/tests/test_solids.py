"""Volumes, sweeps, cells and bodies."""

from __future__ import annotations

import gc
import math
import pickle
import sys
from typing import Any

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from shapes import box

import sorvane
from sorvane import solids


def ball_field(radius: float, center=(0.0, 0.0, 0.0)):
    def field(points):
        away = points - np.array(center)
        distance = np.linalg.norm(away, axis=1)
        return distance - radius, away / np.maximum(distance, 1e-300)[:, None]

    return field


def volume_of(field, nodes: int = 21) -> solids.Volume:
    return solids.Volume.of_field(field, (-1, -1, -1), 2 / (nodes - 1), (nodes, nodes, nodes))


def test_a_volume_gives_back_what_it_was_made_of() -> None:
    values = np.arange(24.0).reshape(2, 3, 4)
    directions = np.zeros((2, 3, 4, 3))
    directions[..., 1] = 1
    volume = solids.Volume(values, (1, 2, 3), (0.5, 1, 2), directions=directions)
    assert volume.nodes == (4, 3, 2) and volume.origin.tolist() == [1, 2, 3] and volume.spacing.tolist() == [0.5, 1, 2]
    assert np.array_equal(volume.values, values) and np.array_equal(volume.directions, directions)
    assert not volume.values.flags.writeable and "4 x 3 x 2" in repr(volume)


@given(st.lists(st.floats(-1, 1), min_size=54, max_size=54))
def test_set_operations_are_those_of_numpy(numbers):
    a, b = np.array(numbers).reshape(2, 3, 3, 3)
    first, second = solids.Volume(a), solids.Volume(b)
    assert np.array_equal((first | second).values, np.minimum(a, b))
    assert np.array_equal((first & second).values, np.maximum(a, b))
    assert np.array_equal((first - second).values, np.maximum(a, -b))


def test_a_ball_from_its_field() -> None:
    ball = volume_of(ball_field(0.8)).surface()
    assert ball.volume == pytest.approx(4 / 3 * math.pi * 0.8**3, rel=0.01)
    assert not len(ball.boundary_edges())
    # A vertex lies where the planes of its cell meet: outside by the arc of a cell at most.
    assert np.abs(np.linalg.norm(ball.points, axis=1) - 0.8).max() < 0.1**2 / 0.8


def test_a_lens_has_a_sharp_rim() -> None:
    first, second = (volume_of(ball_field(0.8, (0, 0, z)), 41) for z in (-0.5, 0.5))
    lens = (first & second).surface()
    height = 0.8 - 0.5
    assert lens.volume == pytest.approx(2 * math.pi * height**2 * (0.8 - height / 3), rel=0.02)
    rim = np.linalg.norm(lens.points[:, :2], axis=1).max()
    assert rim == pytest.approx(math.sqrt(0.8**2 - 0.5**2), abs=0.01)


def test_fields_that_fail() -> None:
    class Own(Exception):
        pass

    def broken(points):
        raise Own("no field")

    with pytest.raises(Own, match="no field"):
        volume_of(broken)
    with pytest.raises(ValueError, match=r"field: expected distances of shape \(441,\), given \(3,\)"):
        volume_of(lambda points: np.zeros(3))
    with pytest.raises(sorvane.Stopped):
        solids.Volume.of_field(ball_field(1), (0, 0, 0), 1, (2, 2, 2), progress=lambda fraction: False)
    told: list[float] = []
    solids.Volume.of_field(ball_field(1), (0, 0, 0), 1, (2, 2, 4), progress=told.append)
    assert told == [0.25, 0.5, 0.75, 1]
    with pytest.raises(ValueError, match="spacing"):
        solids.Volume(np.zeros((2, 2, 2)), spacing=0)
    with pytest.raises(ValueError, match=r"values: expected numbers of shape \(nz, ny, nx\)"):
        solids.Volume(np.zeros(4))
    with pytest.raises(ValueError, match="same places"):
        solids.Volume(np.zeros((2, 2, 2))) | solids.Volume(np.zeros((2, 2, 3)))
    with pytest.raises(TypeError):
        solids.Volume(np.zeros((2, 2, 2))) | 1


@given(st.lists(st.tuples(st.floats(-3, 3), st.floats(-3, 3), st.floats(-3, 3)), min_size=1, max_size=5))
def test_a_sweep_covers_the_places_of_the_body(path):
    cube = box()
    shell = solids.Sweep(cube).along(path)
    # Each step adds the area of the body across it times its length.
    expected = 1 + sum(np.abs(np.subtract(b, a)).sum() for a, b in zip(path, path[1:]))
    assert shell.volume == pytest.approx(expected, abs=1e-9)
    assert np.array_equal(cube.sweep(path).points, shell.points)


def test_a_soup_sweeps_nothing(cube: sorvane.Mesh) -> None:
    soup = sorvane.Mesh(cube.points[cube.triangles].reshape(-1, 3), np.arange(36).reshape(12, 3))
    with pytest.raises(sorvane.Error, match="weld"):
        solids.Sweep(soup)


@given(st.lists(st.tuples(*3 * [st.floats(0, 1, exclude_max=True)]), min_size=1), st.integers(0, 20))
def test_paths_are_the_bits_of_the_coordinates(points, depth):
    expected = []
    for point in points:
        cell = [int(x * 2**depth) for x in point]
        expected.append(sum(((cell[axis] >> bit) & 1) << (3 * bit + axis) for bit in range(depth) for axis in range(3)))
    assert solids.cell_paths(points, depth).tolist() == expected


def test_a_hollow_block_is_filled() -> None:
    z, y, x = np.meshgrid(*3 * [np.arange(2, 14)], indexing="ij")
    hull = (np.minimum.reduce([x, y, z]) == 2) | (np.maximum.reduce([x, y, z]) == 13)
    centers = np.column_stack([x[hull], y[hull], z[hull]]) / 16 + 1 / 32
    paths = solids.cell_paths(centers, 4)
    cells = solids.solid_cells(paths, 4)
    sizes = 8.0 ** -cells.depths
    assert sizes[cells.states == solids.CELL_INTERIOR].sum() == pytest.approx(1000 / 4096)
    assert sizes[cells.states == solids.CELL_SURFACE].sum() == pytest.approx(728 / 4096)
    # The shell has an outside and an inside.
    shell = solids.cells_surface(paths, 4, scale=16)
    assert shell.volume == pytest.approx(728) and shell.area == pytest.approx(6 * 144 + 6 * 100)
    with pytest.raises(IndexError, match="cell 1"):
        solids.solid_cells([0, -1], 4)
    with pytest.raises(ValueError, match="dimension"):
        solids.solid_cells([0], 4, dimension=4)
    with pytest.raises(ValueError, match=r"points: expected shape"):
        solids.cell_paths([0.5], 1)


@given(st.lists(st.tuples(st.floats(0.5, 2), st.floats(0.05, 1)), min_size=3, max_size=12), st.booleans(), st.integers(1, 3))
def test_extrusion_of_a_star(spokes, clockwise, slices):
    angles = np.cumsum([step for _, step in spokes])
    angles *= 2 * np.pi / angles[-1]
    profile = np.array([r for r, _ in spokes])[:, None] * np.column_stack([np.cos(angles), np.sin(angles)])
    if np.diff(np.append(angles, angles[0] + 2 * np.pi)).max() > 3:
        return  # the middle is not inside
    x, y = profile.T
    area = (x * np.roll(y, -1) - y * np.roll(x, -1)).sum() / 2
    body = solids.extrude(profile[::-1] if clockwise else profile, 1, 3.5, slices=slices)
    assert body.volume == pytest.approx(2.5 * area) and not len(body.boundary_edges())


def test_bodies_that_cannot_be() -> None:
    with pytest.raises(sorvane.Error, match="bounds no area"):
        solids.extrude([[0, 0], [1, 0], [2, 0]], 0, 1)
    with pytest.raises(ValueError, match="slices"):
        solids.extrude([[0, 0], [1, 0], [0, 1]], 0, 1, slices=0)
    with pytest.raises(ValueError, match="axis_direction"):
        solids.revolve([[0, 0, 0], [1, 0, 0]], axis_direction=(0, 0, 0))
    with pytest.raises(sorvane.Error):
        solids.patch([[0, 0, 0], [1, 0, 0], [2, 0, 0]])
    with pytest.raises(ValueError, match="level"):
        solids.patch_mesh(8, [0])


def test_turning_about_an_axis_that_is_elsewhere() -> None:
    profile = np.array([[5, 5, 0], [7, 5, 0], [7, 5, 3], [5, 5, 3]], dtype=float)
    body = solids.revolve(profile, axis_point=(5, 5, 9), tolerance=1e-4)
    assert abs(body.volume) == pytest.approx(12 * math.pi, rel=1e-3) and not len(body.boundary_edges())
    radii = np.linalg.norm(body.points[:, :2] - 5, axis=1)
    assert set(np.round(radii, 9).tolist()) == {0, 2}


def test_a_rim_is_filled() -> None:
    t = np.arange(40) * 2 * np.pi / 40
    rim = np.column_stack([np.cos(t), np.sin(t), 0.2 * np.cos(2 * t)])
    film = solids.patch(rim)
    assert len(film.boundary_edges()) == 40 and math.pi * 0.98 < film.area < math.pi * 1.1


@given(st.integers(0, 7), st.integers(0, 2**45 - 1), st.sampled_from(["midpoints", "centroids", "centroids_and_midpoints"]))
def test_patches_divide_the_triangle(level, bits, style):
    mask = [(bits >> i) & 1 for i in range((level + 2) * (level + 3) // 2)]
    inside, outside = (solids.patch_mesh(level, mask, style=style, part=part) for part in ("inside", "outside"))
    assert inside.area + outside.area == pytest.approx(0.5)
    assert (len(inside) == 0) == (not any(mask)) and (len(outside) == 0) == all(mask)


@pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
@pytest.mark.parametrize("layer", [1, 3, 5])
def test_an_interrupt_on_the_way_into_a_field_is_not_lost(layer: int, capsys: pytest.CaptureFixture[str]) -> None:
    # Signals are handled on entering a function, before it can catch what they raise. Without a check the layer that
    # nobody told of keeps the numbers of the one before.
    entered = 0

    def trace(frame, event, arg):
        nonlocal entered
        if event == "call" and frame.f_code.co_name == "ask":
            entered += 1
            if entered == layer:
                raise KeyboardInterrupt

    before = sys.gettrace()
    sys.settrace(trace)
    try:
        with pytest.raises(KeyboardInterrupt):
            volume_of(ball_field(0.8), 5)
    finally:
        sys.settrace(before)
    assert entered >= layer
    assert volume_of(ball_field(0.8), 5).nodes == (5, 5, 5)


def test_volumes_can_be_pickled() -> None:
    volume = solids.Volume.of_field(ball_field(0.7), (-1, -2, 1e6), (0.1, 0.2, 0.3), (3, 4, 5))
    again = pickle.loads(pickle.dumps(volume))
    assert again.nodes == (3, 4, 5) and np.array_equal(again.values, volume.values)
    assert np.array_equal(again.directions, volume.directions) and again.directions.any()
    assert np.array_equal(again.origin, volume.origin) and np.array_equal(again.spacing, volume.spacing)
    with pytest.raises(ValueError, match="directions: expected numbers"):
        solids.Volume(np.zeros((2, 2, 2)), directions=np.zeros((2, 2, 2, 3), complex))


def test_a_field_may_keep_its_points() -> None:
    kept: list[np.ndarray] = []

    def field(points: np.ndarray) -> np.ndarray:
        kept.append(points)
        return points[:, 2] - 2.0

    solids.Volume.of_field(field, (1, 2, 3), 0.5, (3, 4, 5))
    del field
    gc.collect()
    filler = [np.full((12, 3), -7.0) for _ in range(1000)]
    given = np.concatenate(kept)
    nodes = np.stack(np.meshgrid(*(low + 0.5 * np.arange(n) for low, n in zip((1, 2, 3), (3, 4, 5))), indexing="ij"), -1)
    assert sorted(given.tolist()) == sorted(nodes.reshape(-1, 3).tolist()) and len(filler) == 1000


@pytest.mark.parametrize(
    "call, text",
    [
        (lambda: solids.Volume.of_field(5, (0, 0, 0), 1, (3, 3, 3)), "field: expected a callable, given int"),  # type: ignore[arg-type]
        (lambda: solids.Volume.of_field(len, (0, 0, 0), 1, 5), "nodes: expected a list, given int"),  # type: ignore[arg-type]
        (lambda: solids.Volume.of_field(len, (0, 0, 0), [[1, 2], [3]], (3, 3, 3)), "spacing: "),  # type: ignore[arg-type]
        (lambda: solids.patch_mesh(0, ["1"] * 3), "inside: expected truth values"),
        (lambda: solids.patch_mesh(0, [[1], [2, 3]]), "inside: "),
        (lambda: solids.cell_paths([[1, 2], [3]], 2), "points: "),
        (lambda: solids.solid_cells([[1, 2], [3]], 2), "paths: "),
        (lambda: solids.solid_cells([1], [[1, 2], [3]]), "depths: "),
        (lambda: solids.cells_surface([0], 1, scale=[[1, 2], [3]]), "scale: "),
    ],
)
def test_what_is_none_of_the_kind_is_named(call: Any, text: str) -> None:
    with pytest.raises(ValueError) as caught:
        call()
    assert str(caught.value).startswith(text)
