"""The class Mesh: arrays, files, tags, other packages' meshes, measures, report, components."""

from __future__ import annotations

import copy
import gc
import io
import json
import pickle
import subprocess
import threading
import types
import weakref
import zipfile
from pathlib import Path

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp
from shapes import box, grid

import sorvane


def brute_volume(points: np.ndarray, triangles: np.ndarray) -> float:
    """Signed volume by the divergence theorem with the field (x, 0, 0): the integral of x over each triangle's shadow on
    the y z plane."""
    total = 0.0
    for a, b, d in triangles:
        p, q, r = points[a], points[b], points[d]
        shadow = ((q[1] - p[1]) * (r[2] - p[2]) - (r[1] - p[1]) * (q[2] - p[2])) / 2
        total += shadow * (p[0] + q[0] + r[0]) / 3
    return total


# --- arrays ------------------------------------------------------------------------------------------------------------


def test_arrays_are_read_only_views_that_keep_their_owner() -> None:
    mesh = box()
    points, triangles = mesh.points, mesh.triangles
    expected = points.copy()
    assert points.dtype == np.float64 and points.shape == (8, 3)
    assert triangles.dtype == np.int32 and triangles.shape == (12, 3)
    assert not points.flags.writeable and not triangles.flags.writeable
    assert points.__array_interface__["data"] == mesh.points.__array_interface__["data"]  # no copy each time
    with pytest.raises(ValueError):
        points[0, 0] = 5
    watched = weakref.ref(mesh)
    del mesh
    gc.collect()
    assert watched() is None
    assert np.array_equal(points, expected)


@pytest.mark.parametrize(
    "points, triangles, text",
    [
        ([[0, 0], [1, 0]], [[0, 1, 2]], r"points: expected shape \(n, 3\), given \(2, 2\)"),
        (np.zeros((3, 3)), [[0, 1]], r"triangles: expected shape \(n, 3\), given \(1, 2\)"),
        (np.zeros((3, 3)), [[0.0, 1.0, 2.0]], r"triangles: expected whole numbers"),
        (np.zeros((3, 3, 3)), [[0, 1, 2]], r"points: expected shape"),
        (np.array([["a", "b", "c"]]), [[0, 0, 0]], r"points: expected numbers"),
        (None, [[0, 1, 2]], r"points"),
        ([[0, 0, 0], [1, 0]], [[0, 1, 2]], r"points: .*different lengths"),
    ],
)
def test_wrong_arrays_are_named(points: object, triangles: object, text: str) -> None:
    with pytest.raises(ValueError, match=text):
        sorvane.Mesh(points, triangles)  # type: ignore[arg-type]


def test_subscripts_out_of_range_are_told_with_their_place() -> None:
    with pytest.raises(IndexError, match="triangle 1 names point 3 of 3"):
        sorvane.Mesh(np.eye(3), [[0, 1, 2], [0, 1, 3]])
    with pytest.raises(IndexError, match="triangle 0 names point -1"):
        sorvane.Mesh(np.eye(3), [[0, 1, -1]])
    with pytest.raises(IndexError):
        sorvane.Mesh(np.eye(3), np.array([[0, 1, 2**40]]))


def test_other_layouts_mean_the_same() -> None:
    mesh = box()
    wide = np.zeros((8, 6))
    wide[:, ::2] = mesh.points
    for points in (
        np.asfortranarray(mesh.points),
        wide[:, ::2],
        mesh.points.astype(">f8"),
        mesh.points.astype(np.float32),
        mesh.points.tolist(),
    ):
        for triangles in (mesh.triangles.astype(np.int64), mesh.triangles[::1].tolist(), np.asfortranarray(mesh.triangles)):
            assert sorvane.Mesh(points, triangles) == mesh


def test_an_empty_mesh_is_a_mesh() -> None:
    mesh = sorvane.Mesh([], [])
    assert len(mesh) == 0 and mesh.points.shape == (0, 3) and mesh.triangles.shape == (0, 3)
    assert repr(mesh) == "<sorvane.Mesh: 0 triangles on 0 points>"
    assert mesh.area == 0 and mesh.volume == 0 and mesh.areas().shape == (0,)
    assert mesh.components() == [] and mesh.weld() == mesh
    assert "no triangles" in mesh._repr_svg_()
    with pytest.raises(sorvane.Error, match="no triangles"):
        mesh.bounds


# --- values ------------------------------------------------------------------------------------------------------------


def test_equality_hash_and_copies() -> None:
    mesh, same, other = box(), box(), box((1, 1, 2))
    assert mesh == same and hash(mesh) == hash(same) and mesh != other and mesh != "mesh"
    assert {mesh: 1}[same] == 1
    assert copy.copy(mesh) is mesh and copy.deepcopy([mesh])[0] is mesh
    tagged = sorvane.Mesh(mesh.points, mesh.triangles, triangle_tags=np.arange(12))
    assert tagged != mesh
    minus = sorvane.Mesh([[-0.0, 0, 0]], [])
    plus = sorvane.Mesh([[0.0, 0, 0]], [])
    assert minus == plus and hash(minus) == hash(plus)
    nowhere = sorvane.Mesh([[np.nan, 0, 0]], [])
    assert nowhere != nowhere


def test_a_mesh_can_be_pickled() -> None:
    mesh = box()
    tagged = sorvane.Mesh(mesh.points, mesh.triangles, point_tags=np.arange(8), triangle_tags=[2**64 - 1] * 12)
    for protocol in range(2, pickle.HIGHEST_PROTOCOL + 1):
        assert pickle.loads(pickle.dumps(tagged, protocol)) == tagged
    buffers: list[pickle.PickleBuffer] = []
    small = pickle.dumps(tagged, 5, buffer_callback=buffers.append)
    assert len(small) < 2000 and pickle.loads(small, buffers=buffers) == tagged


def test_other_packages_meshes() -> None:
    mesh = box()
    other = mesh.to_object(types.SimpleNamespace)
    assert other.vertices.flags.writeable
    assert sorvane.Mesh.from_object(other) == mesh and sorvane.Mesh.from_object(mesh) is mesh
    assert np.array_equal(mesh.vertices, mesh.points) and np.array_equal(mesh.faces, mesh.triangles)
    with pytest.raises(ValueError, match="vertices and faces, given int"):
        sorvane.Mesh.from_object(3)
    other.vertices = other.vertices[:, :2]
    with pytest.raises(ValueError, match=r"other.vertices: expected shape \(n, 3\), given \(8, 2\)"):
        sorvane.Mesh.from_object(other)


def test_tags() -> None:
    mesh = box()
    assert mesh.point_tags is None and mesh.triangle_tags is None
    tagged = sorvane.Mesh(mesh.points, mesh.triangles, triangle_tags=range(12))
    assert tagged.point_tags is None and tagged.triangle_tags is not None
    assert tagged.triangle_tags.dtype == np.uint64
    assert np.array_equal(tagged.part([7, 3]).triangle_tags, [7, 3])
    assert np.array_equal(sorvane.join([tagged, tagged]).triangle_tags, list(range(12)) * 2)
    for wrong in (range(11), [0.5] * 12, [-1] * 12, np.zeros((12, 1), dtype=int)):
        with pytest.raises(ValueError, match="triangle_tags"):
            sorvane.Mesh(mesh.points, mesh.triangles, triangle_tags=wrong)


# --- files -------------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("form, name", [("binary_stl", "a.stl"), ("ascii_stl", "a.stl"), ("tipc", "a.TIPC"), (None, "a.tipc")])
def test_files_come_back(tmp_path: Path, form: str | None, name: str) -> None:
    mesh = box((0.5, 0.25, 2))
    tagged = sorvane.Mesh(mesh.points, mesh.triangles, point_tags=range(8), triangle_tags=range(12))
    tagged.write(tmp_path / name, form)
    back = sorvane.read(str(tmp_path / name))
    assert back.form == (form or "tipc") and tagged.form is None
    if back.form == "tipc":
        assert back == tagged
    else:
        assert len(back.points) == 36 and back.point_tags is None
        assert np.array_equal(back.points, mesh.points[mesh.triangles].reshape(-1, 3))


def test_files_that_fail(tmp_path: Path) -> None:
    mesh = box()
    with pytest.raises(FileNotFoundError):
        sorvane.read(tmp_path / "none.stl")
    with pytest.raises(IsADirectoryError):
        sorvane.read(tmp_path)
    (tmp_path / "cut.stl").write_bytes(b"x" * 80 + b"\2\0\0\0" + b"y" * 50)
    with pytest.raises(sorvane.FileError, match="cut.stl: "):
        sorvane.read(tmp_path / "cut.stl")
    for path in (tmp_path / "no folder" / "a.stl", tmp_path / "a.doc", "/dev/full"):
        with pytest.raises(sorvane.FileError):
            mesh.write(path, None if str(path).endswith("doc") else "binary_stl")
    with pytest.raises(ValueError, match="form: expected one of 'ascii_stl', "):
        mesh.write(tmp_path / "a.stl", "obj")
    with pytest.raises(sorvane.FileError):
        sorvane.Mesh([], []).write(tmp_path / "a.stl")
    assert not (tmp_path / "a.stl").exists()


def test_bytes_are_files(tmp_path: Path) -> None:
    mesh = box((0.5, 0.25, 2))
    tagged = sorvane.Mesh(mesh.points, mesh.triangles, point_tags=range(8), triangle_tags=range(12))
    for form in ("binary_stl", "ascii_stl", "tipc"):
        tagged.write(tmp_path / "part", form)
        data = tagged.to_bytes(form)
        assert data == (tmp_path / "part").read_bytes()
        expected = sorvane.read(tmp_path / "part")
        with open(tmp_path / "part", "rb") as file:
            sources = [data, bytearray(data), memoryview(data), np.frombuffer(data, np.uint8), io.BytesIO(data), file]
            for source in sources:
                back = sorvane.read(source)  # type: ignore[arg-type]
                assert back == expected and back.form == form
        assert sorvane.read(memoryview(b"x" + data)[1:]) == expected, "at any address"
    with zipfile.ZipFile(tmp_path / "parts.zip", "w") as archive:
        archive.writestr("a/b.tipc", tagged.to_bytes("tipc"))
    with zipfile.ZipFile(tmp_path / "parts.zip") as archive, archive.open("a/b.tipc") as member:
        assert sorvane.read(member) == tagged


def test_bytes_that_fail(tmp_path: Path) -> None:
    data = box().to_bytes()
    cut = r"binary STL cut short: 684 bytes announced, 500 there"
    with pytest.raises(sorvane.FileError, match="^bytes: " + cut):
        sorvane.read(data[:500])
    with pytest.raises(sorvane.FileError, match="^upload 7: " + cut):
        sorvane.read(io.BytesIO(data[:500]), name="upload 7")
    (tmp_path / "cut.stl").write_bytes(data[:500])
    with open(tmp_path / "cut.stl", "rb") as file, pytest.raises(sorvane.FileError, match="cut.stl: " + cut):
        sorvane.read(file)
    for nothing in (b"", bytearray(), memoryview(b""), io.BytesIO()):
        with pytest.raises(sorvane.FileError, match="^bytes: "):
            sorvane.read(nothing)
    with pytest.raises(sorvane.FileError, match="neither"):
        sorvane.read(str(tmp_path / "cut.stl").encode())  # bytes are no path
    with pytest.raises(ValueError, match="source: expected a file open for bytes"):
        sorvane.read(io.StringIO("solid"))  # type: ignore[arg-type]
    with pytest.raises(ValueError, match="source: expected contiguous"):
        sorvane.read(memoryview(data)[::2])
    for wrong in (None, 17, [1, 2]):
        with pytest.raises(ValueError, match="source: expected a path, bytes or a file object, given "):
            sorvane.read(wrong)  # type: ignore[arg-type]
    with pytest.raises(ValueError, match="form: expected one of"):
        box().to_bytes("obj")
    with pytest.raises(sorvane.FileError):
        sorvane.Mesh([], []).to_bytes()


# --- measures ----------------------------------------------------------------------------------------------------------


def test_measures_of_a_box() -> None:
    mesh = box((1, 2, 3), at=(1e6, -1e6, 5))
    assert mesh.volume == pytest.approx(6, abs=1e-12) and mesh.area == pytest.approx(22, abs=1e-12)
    assert np.allclose(mesh.centroid, [1e6 + 0.5, 1 - 1e6, 6.5], rtol=0, atol=1e-9)
    assert np.isnan(sorvane.Mesh([], []).centroid).all()
    assert np.array_equal(mesh.bounds, [[1e6, -1e6, 5], [1e6 + 1, -1e6 + 2, 8]])
    assert np.array_equal(mesh.extent, [1, 2, 3])
    assert np.allclose(np.abs(mesh.normals()).sum(axis=0), 4)
    assert np.allclose(mesh.crease_angles().max(axis=1), np.pi / 2)
    assert (mesh.neighbors() >= 0).all()
    away = mesh.points - mesh.points.mean(axis=0)
    assert (np.einsum("ij,ij->i", mesh.point_normals(), away) > 0).all()


finite = st.floats(-100, 100)


@given(hnp.arrays(float, (7, 3), elements=finite), hnp.arrays(np.int32, (9, 3), elements=st.integers(0, 6)))
def test_measures_agree_with_numpy(points: np.ndarray, triangles: np.ndarray) -> None:
    mesh = sorvane.Mesh(points, triangles)
    p, q, r = (points[triangles[:, k]] for k in range(3))
    cross = np.cross(q - p, r - p)
    areas = np.sqrt((cross**2).sum(axis=1)) / 2
    assert np.allclose(mesh.areas(), areas, rtol=1e-9, atol=1e-9)
    assert mesh.area == pytest.approx(areas.sum(), abs=1e-7)
    used = points[np.unique(triangles)]
    assert np.array_equal(mesh.bounds, [used.min(axis=0), used.max(axis=0)])
    sides = [np.sqrt(((b - a) ** 2).sum(axis=1)) for a, b in ((p, q), (q, r), (r, p))]
    well = areas > 1e-3
    ratios = 16 * areas[well] ** 2 / (sum(sides)[well] * (sides[0] * sides[1] * sides[2])[well])  # 2 (A / s) / (abc / 4A)
    assert np.allclose(mesh.aspect_ratios()[well], ratios, atol=1e-6)


@given(st.tuples(*[st.floats(0.1, 10)] * 3), hnp.arrays(float, (3, 4), elements=st.floats(-3, 3)))
def test_maps_scale_volumes(size: tuple[float, float, float], matrix: np.ndarray) -> None:
    mesh = box(size)
    mapped = mesh.transformed(matrix)
    assert np.allclose(mapped.points, mesh.points @ matrix[:, :3].T + matrix[:, 3], atol=1e-12)
    # Mirrored or not, the outside stays outside.
    volume = abs(np.linalg.det(matrix[:, :3])) * np.prod(size)
    assert mapped.volume == pytest.approx(volume, rel=1e-9, abs=1e-8)
    assert mapped.volume == pytest.approx(brute_volume(mapped.points, mapped.triangles), rel=1e-9, abs=1e-8)


def test_matrices_are_checked() -> None:
    mesh = box()
    assert mesh.transformed(np.eye(4)) == mesh
    for wrong in (np.eye(3), np.ones((4, 4)), "matrix"):
        with pytest.raises(ValueError, match="matrix"):
            mesh.transformed(wrong)  # type: ignore[arg-type]
    with pytest.raises(ValueError, match="not finite"):
        mesh.transformed(np.full((3, 4), np.nan))


# --- components, welding, orientation ----------------------------------------------------------------------------------


@given(st.integers(1, 12), st.data())
def test_components_agree_with_union_find(count: int, data: st.DataObject) -> None:
    triangles = data.draw(hnp.arrays(np.int32, (count, 3), elements=st.integers(0, 9)))
    mesh = sorvane.Mesh(np.zeros((10, 3)), triangles)
    above = list(range(count))

    def top(i: int) -> int:
        while above[i] != i:
            i = above[i]
        return i

    for i in range(count):
        for j in range(i):
            if set(triangles[i]) & set(triangles[j]):
                above[top(i)] = top(j)
    tops = [top(i) for i in range(count)]
    labels = mesh.component_labels("point")
    assert len(mesh.components("point")) == len(set(tops)) == labels.max() + 1
    assert (np.equal.outer(labels, labels) == np.equal.outer(tops, tops)).all()
    assert np.array_equal(np.unique(labels, return_index=True)[1], np.sort(np.unique(labels, return_index=True)[1]))


def test_components_of_two_boxes() -> None:
    both = sorvane.join([box(), box(at=(3, 0, 0))])
    parts = both.components()
    assert [part.volume for part in parts] == pytest.approx([1, 1])
    assert parts[1] == box(at=(3, 0, 0))
    assert np.array_equal(both.component_labels(), [0] * 12 + [1] * 12)
    assert both.part(both.component_labels() == 1) == parts[1]
    with pytest.raises(ValueError, match="connection: expected one of 'edge', 'point', given 'face'"):
        both.components("face")
    with pytest.raises(IndexError, match="names triangle 24 of 24"):
        both.part([0, 24])
    with pytest.raises(ValueError, match=r"triangles: expected shape \(24,\), given \(3,\)"):
        both.part([True, False, True])
    with pytest.raises(ValueError, match="meshes: expected meshes, given str at 1"):
        sorvane.join([both, "x"])  # type: ignore[list-item]


@given(hnp.arrays(float, (20, 3), elements=st.integers(0, 3)))
def test_welding_joins_equal_points(points: np.ndarray) -> None:
    triangles = np.arange(18).reshape(6, 3)
    welded = sorvane.Mesh(points, triangles).weld()
    assert np.array_equal(welded.points[welded.triangles], points[triangles])
    assert len(welded.points) == len(np.unique(points[:18], axis=0))
    with pytest.raises(ValueError, match="tolerance"):
        welded.weld(-1)
    with pytest.raises(ValueError, match="tolerance: expected a number, given 'x'"):
        welded.weld("x")  # type: ignore[arg-type]


def test_every_component_is_oriented() -> None:
    both = sorvane.join([box(), box(at=(3, 0, 0))])
    triangles = both.triangles.copy()
    for t in (4, 12, 13, 14, 15):
        triangles[t] = triangles[t][::-1]
    assert sorvane.Mesh(both.points, triangles).match_normals().volume == pytest.approx(2)


# --- report ------------------------------------------------------------------------------------------------------------


def test_report_of_a_box() -> None:
    report = box((1, 2, 3)).report()
    assert report.sound and report.closed and report.defects == ()
    assert (report.triangles, report.points, report.components, report.bodies) == (12, 8, 1, 1)
    assert report.volume == pytest.approx(6) and report.area == pytest.approx(22)
    assert report.centroid == pytest.approx([0.5, 1, 1.5])
    assert np.array_equal(report.box.max, [1, 2, 3])
    assert report.tolerance == 1e-6 and report.gap == 0
    assert repr(report) == "<sorvane.Report: 12 triangles on 8 points: sound>"
    assert "sound" in str(report) and "<table>" in report._repr_html_()
    assert report == box((1, 2, 3)).report() and report != box().report()
    json.dumps(report.to_dict(), allow_nan=False)


def test_report_of_defects() -> None:
    mesh = box()
    triangles = mesh.triangles.copy()
    inside_out = sorvane.Mesh(mesh.points, triangles[:, ::-1]).report()
    assert inside_out.closed and inside_out.defects == ("inside_out",)
    holed = mesh.part(np.arange(2, 12)).report()
    assert (holed.open_edges, holed.holes, holed.closed) == (4, 1, False) and holed.defects == ("open",)
    assert len(holed.open_slots) == 4
    triangles[0] = triangles[0][::-1]
    turned = sorvane.Mesh(mesh.points, triangles).report()
    # The turned one and its three neighbors; it lies in one plane with one of them.
    assert len(turned.misoriented_triangles) == 4 and 0 in turned.misoriented_triangles
    assert len(turned.folded_triangles) == 2 and turned.defects == ("turned", "folded")
    points = mesh.points.copy()
    points[0, 0] = np.nan
    assert "not_finite" in sorvane.Mesh(points, mesh.triangles).report().defects
    with pytest.raises(ValueError, match="tolerance"):
        mesh.report(-1)
    with pytest.raises(ValueError, match="tolerance"):
        mesh.report(float("nan"))


def command() -> Path | None:
    built = Path(sorvane._library.path).resolve().parent.parent / "cli" / "sorvane"
    return built if built.exists() else None


def parts_of(folder: Path) -> list[Path]:
    return sorted(path for path in folder.rglob("*") if path.suffix.lower() in (".stl", ".tipc"))


def test_reports_are_those_of_the_command(shared_data: Path) -> None:
    program = command()
    if program is None:
        pytest.skip("the command is not built")
    paths = parts_of(shared_data)
    assert len(paths) > 20
    for path in paths:
        done = subprocess.run([program, "report", path, "--json", "--quiet"], capture_output=True, text=True)
        assert done.returncode in (0, 1), (path, done.stderr)
        told = json.loads(done.stdout)
        figures = told.get("result", told)
        found = sorvane.read(path).report().to_dict()
        assert len(figures) > 15, path
        missing = set(figures) - set(found) - {"file", "form", "command", "version"}
        assert not missing, (path, missing)
        for name, value in figures.items():
            if name in found:
                assert found[name] == value, (path, name)
        assert (done.returncode == 0) == found["sound"], path


def test_mass_properties_of_real_parts(shared_data: Path) -> None:
    """Figures of the programs that the parts were drawn with, as they come with the files: of the smooth bodies, which
    the facets miss by their chords."""
    folder = shared_data / "meshes_cad"
    expected = json.loads((folder / "expected_mass_properties.json").read_text())
    assert expected
    for part in expected:
        mesh = sorvane.read(folder / part["filename"])
        report = mesh.report()
        assert report.sound
        assert mesh.area == pytest.approx(part["area"], rel=1e-3)
        assert mesh.volume * part["density"] == pytest.approx(part["mass"], rel=1e-3)
        # A thousandth of the mass at the far end moves the center by a thousandth of the size.
        assert report.centroid == pytest.approx(part["center_mass"], abs=1e-3 * mesh.extent.max())
        assert mesh.volume == pytest.approx(brute_volume(mesh.points, mesh.triangles), rel=1e-9)
        assert report.volume == pytest.approx(mesh.volume, rel=1e-9)


# --- threads and pictures ----------------------------------------------------------------------------------------------


def test_two_threads_share_a_mesh() -> None:
    mesh = grid(40)
    expected = mesh.remesh(0.05, iterations=2)
    results: list[sorvane.Mesh] = []
    threads = [threading.Thread(target=lambda: results.append(mesh.remesh(0.05, iterations=2))) for _ in range(2)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == [expected, expected]


def test_pictures_draw_what_faces_the_viewer() -> None:
    svg = box()._repr_svg_()
    # Three faces of two triangles each, and the creases on them.
    assert svg.count('fill="#') == 6 and "#2c3e50" in svg and "#c0392b" not in svg
    assert "#c0392b" in box().part([0, 1])._repr_svg_()
    points = box().points.copy()
    points[0] = np.inf
    assert "nan" not in sorvane.Mesh(points, box().triangles)._repr_svg_()
    big = grid(80)._repr_svg_()  # 12,800 triangles are decimated to some 6,000
    assert 4000 < big.count("Z") < 7000


@pytest.mark.parametrize("tags", [[2**64 - 1, 0, 1], (0, 2**63, 5), [np.uint64(2**63 + 1), 1, 0]])
def test_tags_in_lists_on_both_sides_of_half_their_range(tags) -> None:
    mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]], point_tags=tags)
    assert mesh.point_tags is not None and [int(tag) for tag in mesh.point_tags] == [int(tag) for tag in tags]


@pytest.mark.parametrize("tags", [[2**64, 0, 1], [2**63, -1, 0], [2**63, 0.5, 0], [2**63, "a", 0], [2.0**63, 1, 0]])
def test_tags_in_lists_that_are_none(tags) -> None:
    with pytest.raises(ValueError, match="point_tags: "):
        sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]], point_tags=tags)
