"""Sharp edges, arcs, holes, regions and curvature."""

from __future__ import annotations

import json
from pathlib import Path

import numpy as np
import pytest
from shapes import box, grid

import sorvane
from sorvane import solids


def turned(profile: list[tuple[float, float]], tolerance: float = 0.01) -> sorvane.Mesh:
    """A closed profile of (radius, height), turned about z and facing outward."""
    points = [(r, 0.0, z) for r, z in profile]
    mesh = solids.revolve(points + points[:1], tolerance=tolerance)
    return mesh if mesh.volume > 0 else sorvane.Mesh(mesh.points, mesh.triangles[:, ::-1].copy())


def test_edges_of_a_cube(cube: sorvane.Mesh) -> None:
    edges = {tuple(sorted(edge)) for edge in cube.sharp_edges(45).tolist()}
    lengths = np.linalg.norm(np.diff(cube.points[sorted(edges)], axis=1)[:, 0], axis=1)
    assert len(edges) == 12 and np.all(lengths == 1)
    assert len(cube.sharp_edges(91)) == 0 and len(cube.boundary_edges()) == 0
    open_cube = cube.part(np.arange(10))
    assert len(open_cube.boundary_edges()) == 4
    assert np.linalg.norm(np.diff(open_cube.longest_straight_boundary(), axis=0)) == pytest.approx(1)
    with pytest.raises(sorvane.Error, match="no boundary"):
        cube.longest_straight_boundary()
    with pytest.raises(ValueError, match="crease_angle"):
        cube.sharp_edges(np.nan)


def test_a_counterbored_hole() -> None:
    # Material from the bore to radius 20; the counterbore of radius 5 is 3 deep, the bore of radius 2 goes through.
    plate = turned([(2, 0), (20, 0), (20, 10), (5, 10), (5, 7), (2, 7)]).weld(1e-9)
    assert not len(plate.boundary_edges())
    [hole] = plate.drill_holes()
    np.testing.assert_allclose(hole.entry, [0, 0, 10], atol=1e-9)
    np.testing.assert_allclose(hole.axis, [0, 0, -1], atol=1e-9)
    assert hole.is_counterbored and not hole.is_countersunk and hole.end == "through"
    assert hole.depth == pytest.approx(10) and hole.diameter == pytest.approx(4)
    assert [round(step.diameter, 9) for step in hole.steps] == [10, 4]
    assert [(round(step.start, 9), round(step.stop, 9)) for step in hole.steps] == [(0, 3), (3, 10)]
    radii = sorted(round(arc.radius, 6) for arc in plate.arcs())
    assert radii == [2, 2, 5, 5, 20, 20]
    assert box().drill_holes() == []
    with pytest.raises(ValueError, match="tolerance"):
        plate.drill_holes(tolerance=-1)


def test_holes_are_the_bores_of_the_solid(shared_data: Path) -> None:
    """Against the exact faces that the triangles were made from: every bore of a full turn, and nothing else."""
    facts = json.loads((shared_data / "meshes_nist/nist_ctc_03_asme1_rc.expected.json").read_text())
    turns: dict[tuple[float, ...], float] = {}
    exact = {}
    for face in facts["curved_faces"]:
        if face["kind"] == "cylinder" and face["concave"]:
            axis = np.array(face["axis_dir"])
            axis = axis * np.sign(axis[np.argmax(np.abs(axis))])
            foot = np.array(face["axis_point"])
            foot = foot - axis * (foot @ axis)
            key = (round(face["radius"], 3), *np.round(foot, 3) + 0.0, *np.round(axis, 3) + 0.0)
            turns[key] = turns.get(key, 0.0) + face["sweep_rad"]
            exact[key] = face["radius"], foot, axis
    bores = [exact[key] for key, turn in turns.items() if turn > 2 * np.pi - 0.01]
    assert len(bores) == 15
    part = sorvane.read(shared_data / "meshes_nist/nist_ctc_03_asme1_rc.stl").weld()
    found = set()
    for hole in part.drill_holes():
        for step in hole.steps:
            if not step.is_cone:
                [match] = [
                    i
                    for i, (radius, foot, axis) in enumerate(bores)
                    if abs(step.diameter / 2 - radius) < 0.02
                    and np.linalg.norm(np.cross(hole.entry - foot, axis)) < 0.02
                    and abs(hole.axis @ axis) > 0.9999
                ]
                found.add(match)
    assert len(found) == 15


def test_faces_of_a_box() -> None:
    clusters = box(size=(1, 2, 3)).facet_clusters()
    assert [round(cluster.area, 9) for cluster in clusters] == [6, 6, 3, 3, 2, 2]
    assert sorted(np.concatenate([cluster.triangles for cluster in clusters]).tolist()) == list(range(12))
    for cluster in clusters:
        assert np.linalg.norm(cluster.normal) == pytest.approx(1)
        assert (cluster.centroid - np.array([0.5, 1, 1.5])) @ cluster.normal > 0
    groups = box().normal_groups()
    assert sorted(set(groups.tolist())) == list(range(6)) and np.bincount(groups).tolist() == [2] * 6


def test_curvature_of_a_ball() -> None:
    t = np.linspace(0, np.pi, 40)
    profile = np.column_stack([2 * np.sin(t), np.zeros(40), -2 * np.cos(t)])
    profile[[0, -1], 0] = 0
    ball = solids.revolve(profile, tolerance=0.01)
    told = ball.curvatures()
    level = np.abs(ball.points[:, 2]) < 1
    np.testing.assert_allclose(told.greatest[level], 0.5, rtol=0.05)
    np.testing.assert_allclose(told.least[level], 0.5, rtol=0.1)
    assert told.areas.sum() == pytest.approx(ball.area)
    assert np.abs((told.normals[level] * ball.points[level]).sum(axis=1) / 2).min() > 0.99
    assert grid(3).curvatures().greatest.shape == (16,)
