"""What failed calls raise."""

from __future__ import annotations

import os
import pickle
import subprocess
import sys
from pathlib import Path

import pytest

import sorvane
from sorvane._errors import failure
from sorvane import _bindings as c


@pytest.mark.parametrize(
    "status, kind",
    [
        ("SORVANE_BAD_ARGUMENT", ValueError),
        ("SORVANE_BAD_INDEX", IndexError),
        ("SORVANE_OUT_OF_MEMORY", MemoryError),
        ("SORVANE_FILE_ERROR", sorvane.FileError),
        ("SORVANE_FAILED", sorvane.Error),
        ("SORVANE_STOPPED", sorvane.Stopped),
        ("SORVANE_INTERNAL", sorvane.Error),
    ],
)
def test_each_status_has_its_exception(status: str, kind: type) -> None:
    error = c.sorvane_error(sorvane.Status[status], 7, "reason with an \u00e4".encode())
    exception = failure(sorvane.Status[status], error)
    assert type(exception) is kind and str(exception) == "reason with an \u00e4"
    if isinstance(exception, sorvane.Error):
        assert exception.status == sorvane.Status[status] and exception.index == 7


def test_errors_go_through_pickle() -> None:
    for kind in (sorvane.Error, sorvane.FileError, sorvane.Stopped):
        copy = pickle.loads(pickle.dumps(kind("reason", sorvane.Status.SORVANE_FAILED, 3)))
        assert type(copy) is kind and str(copy) == "reason" and copy.index == 3
        assert copy.status is sorvane.Status.SORVANE_FAILED


def test_files(tmp_path: Path) -> None:
    with pytest.raises(FileNotFoundError, match="part.stl"):
        sorvane.read(tmp_path / "part.stl")
    with pytest.raises(IsADirectoryError):
        sorvane.read(tmp_path)
    broken = tmp_path / "broken.stl"
    broken.write_bytes(b"solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0\n")
    with pytest.raises(sorvane.FileError, match="broken.stl") as caught:
        sorvane.read(broken)
    assert isinstance(caught.value, OSError) and isinstance(caught.value, sorvane.Error)
    assert caught.value.status == sorvane.Status.SORVANE_FILE_ERROR


def test_names_of_files_are_bytes_of_the_system(tmp_path: Path, example_data: Path) -> None:
    part = (example_data / "bracket.stl").read_bytes()
    for name in ("gr\u00f6\u00dfe \u6b64.stl", "bad \udcff.stl"):
        path = tmp_path / name
        path.write_bytes(part)
        assert len(sorvane.read(path).triangles) == 692
        assert len(sorvane.read(str(path)).triangles) == 692
    with pytest.raises(ValueError, match="null"):
        sorvane.read("part\0.stl")


OUT_OF_MEMORY = """
import re, resource
import numpy as np
import sorvane

points = np.zeros((4_000_000, 3))
few = sorvane.Mesh(np.zeros((3, 3)), [[0, 1, 2]]).weld()   # whatever starts with the first call has started
with open("/proc/self/status") as status:
    used = int(re.search(r"VmSize:\\s+(\\d+) kB", status.read())[1]) * 1024
resource.setrlimit(resource.RLIMIT_AS, (used + (32 << 20), resource.RLIM_INFINITY))
for _ in range(3):
    try:
        sorvane.Mesh(points, [])
    except MemoryError as error:
        print("MemoryError:", error)
resource.setrlimit(resource.RLIMIT_AS, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
print(len(sorvane.Mesh(points, []).points))
"""


def test_a_lack_of_memory() -> None:
    result = subprocess.run([sys.executable, "-c", OUT_OF_MEMORY], stdout=subprocess.PIPE, text=True, check=True)
    assert result.stdout.splitlines() == ["MemoryError: out of memory"] * 3 + ["4000000"]


def test_a_name_with_a_zero_is_no_other_file(tmp_path: Path) -> None:
    # To C a name ends at its first zero: without a check another file is read, or written over.
    mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    path = tmp_path / "part.stl"
    mesh.write(path)
    before = path.read_bytes()
    chain = sorvane.Chain([(0, 0), (1, 0)])
    for call in (
        lambda name: sorvane.read(os.fsdecode(name)),  # bytes are a mesh there, not a name
        lambda name: mesh.transformed([[2, 0, 0, 0], [0, 2, 0, 0], [0, 0, 2, 0]]).write(name, "binary_stl"),
        lambda name: sorvane.Chain.read(name),
        lambda name: chain.write(name),
    ):
        for name in (f"{path}\0.tipc", str(path).encode() + b"\0"):
            with pytest.raises(ValueError, match="path: .*null"):
                call(name)
    assert path.read_bytes() == before


def test_what_is_no_mesh_is_told_by_name() -> None:
    mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    region = sorvane.Region([(0, 0), (1, 0), (1, 1)])  # has a handle, of another kind
    for wrong in (region, None, "part.stl"):
        given = type(wrong).__name__
        for call in (mesh.hausdorff, lambda m: mesh.hausdorff_bounds(m, 1.0), mesh.intersection_curves, mesh.cut_along):
            with pytest.raises(ValueError, match=f"other: expected a sorvane.Mesh, given {given}"):
                call(wrong)
        for kind in (sorvane.Slicer, sorvane.TriangleTree, sorvane.Tracer, sorvane.Surface):
            with pytest.raises(ValueError, match=f"mesh: expected a sorvane.Mesh, given {given}"):
                kind(wrong)
        with pytest.raises(ValueError, match=f"body: expected a sorvane.Mesh, given {given}"):
            sorvane.solids.Sweep(wrong)


def test_rows_of_different_lengths_and_huge_numbers_are_told_by_name() -> None:
    mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    with pytest.raises(ValueError, match=r"plane\[1\]: .*different lengths"):
        mesh.section(([0, 0, 0], [0, [0], 1]))
    with pytest.raises(ValueError, match="matrix: .*different lengths"):
        mesh.transformed([[1], [1, 2]])
    with pytest.raises(ValueError, match="triangles: .*different lengths"):
        mesh.part([[0], 1])
    with pytest.raises(ValueError, match="point_tags: .*different lengths"):
        sorvane.Mesh(mesh.points, mesh.triangles, point_tags=[[1], 2, 3])
    with pytest.raises(ValueError, match="tolerance: "):
        mesh.weld(10**400)


@pytest.mark.parametrize("wrong", [None, 3])
def test_what_is_no_list_is_told_by_name(wrong: object) -> None:
    mesh = sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    for call, name in (
        (sorvane.join, "meshes"),
        (sorvane.join_chains, "chains"),
        (sorvane.Region.from_chains, "chains"),
        (sorvane.Region, "loops"),
        (sorvane.tessellate, "outlines"),
        (mesh.crossings, "lines"),
    ):
        with pytest.raises(ValueError, match=f"^{name}: expected .*given {type(wrong).__name__}$"):
            call(wrong)
    def broken():
        yield mesh
        raise TypeError("of the caller's own")
    with pytest.raises(TypeError, match="own"):
        sorvane.join(broken())
