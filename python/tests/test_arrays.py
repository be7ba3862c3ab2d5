"""Arrays on their way in and out."""

from __future__ import annotations

import gc
import weakref

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp
from shapes import box, grid

import sorvane
from sorvane import _bindings as c
from sorvane._arrays import indices_of, numbers_of, point_of, points_of, triangles_of
from sorvane._handles import Handle


def test_what_is_right_is_not_copied() -> None:
    points = np.zeros((5, 3))
    assert points_of(points, "points") is points
    flat = np.zeros((5, 2))
    assert points_of(flat, "points", 2) is flat
    numbers = np.zeros(5)
    assert numbers_of(numbers, "numbers") is numbers
    triangles = np.zeros((5, 3), np.int32)
    assert triangles_of(triangles) is triangles
    indices = np.zeros(5, np.int32)
    assert indices_of(indices, "indices") is indices
    # A row of a contiguous array, and a contiguous block of rows, are contiguous.
    assert np.shares_memory(points_of(points[1:3], "points"), points)


@given(
    hnp.arrays(
        st.sampled_from(["<f8", ">f8", "<f4", "<i8", "<i2", "u1"]).map(np.dtype),
        st.tuples(st.integers(0, 5), st.just(3)),
        elements=st.integers(0, 100),
    ),
    st.sampled_from(["plain", "fortran", "reversed", "every second", "list", "read-only"]),
)
def test_what_means_the_same_is_the_same(array: np.ndarray, form: str) -> None:
    given_array = {
        "plain": lambda: array,
        "fortran": lambda: np.asfortranarray(array),
        "reversed": lambda: array[::-1].copy()[::-1],
        "every second": lambda: np.repeat(array, 2, axis=0)[::2],
        "list": lambda: array.tolist(),
        "read-only": lambda: np.frombuffer(array.tobytes(), array.dtype).reshape(array.shape),
    }[form]()
    result = points_of(given_array, "points")
    assert result.dtype == np.float64 and result.dtype.isnative and result.flags.c_contiguous
    assert result.shape == array.shape and np.array_equal(result, array)


@pytest.mark.parametrize(
    "value, given_text",
    [
        (np.zeros((4, 2)), "expected shape (n, 3), given (4, 2)"),
        (np.zeros(3), "expected shape (n, 3), given (3,)"),
        (np.zeros((2, 2, 3)), "expected shape (n, 3), given (2, 2, 3)"),
        (7.0, "expected shape (n, 3), given ()"),
        ([[1, 2, 3], [4, 5]], "expected an array of shape (n, 3), given rows of different lengths"),
        (np.zeros((2, 3), complex), "expected numbers of shape (n, 3), given complex128 of shape (2, 3)"),
        (np.zeros((2, 3), bool), "expected numbers of shape (n, 3), given bool of shape (2, 3)"),
        ([["1", "2", "3"]], "expected numbers of shape (n, 3), given <U1 of shape (1, 3)"),
        ([[None, 1, 2]], "expected numbers of shape (n, 3), given object of shape (1, 3)"),
        (np.ma.masked_equal([[1.0, 2, 3]], 2), "given one with masked elements"),
    ],
)
def test_what_is_wrong_is_named(value: object, given_text: str) -> None:
    with pytest.raises(ValueError) as caught:
        sorvane.Mesh(value, [])
    assert str(caught.value).startswith("points: ") and given_text in str(caught.value)


def test_triangles_are_whole_numbers() -> None:
    points = np.zeros((3, 3))
    for kind in (np.int8, np.uint16, np.int64, np.uint64):
        assert sorvane.Mesh(points, np.array([[0, 1, 2]], kind)).triangles.tolist() == [[0, 1, 2]]
    with pytest.raises(ValueError, match=r"triangles: expected whole numbers of shape \(n, 3\), given float64 of shape \(1, 3\)"):
        sorvane.Mesh(points, [[0, 1, 2.0]])
    with pytest.raises(IndexError, match="triangle 1 names point 3 of 3"):
        sorvane.Mesh(points, [[0, 1, 2], [0, 1, 3]])
    with pytest.raises(IndexError, match="triangle 0 names point -1 of 3"):
        sorvane.Mesh(points, [[0, 1, -1]])
    # 2^32 would be 0 if it were cut to 32 bits.
    with pytest.raises(IndexError, match="triangles: 4294967296 at 1 is beyond 32 bits"):
        sorvane.Mesh(points, [[0, 1, 2], [0, 1, 2**32]])
    with pytest.raises(IndexError, match="triangles: 2147483648 at 0 is beyond 32 bits"):
        sorvane.Mesh(points, [[0, 1, 2**31]])
    with pytest.raises(IndexError, match="beyond 32 bits"):
        sorvane.Mesh(points, np.array([[0, 1, 2**63]], np.uint64))


def test_a_point_is_one_row() -> None:
    assert point_of((1, 2, 3), "direction").tolist() == [1, 2, 3]
    for wrong in ([1, 2], [[1, 2, 3]], 5):
        with pytest.raises(ValueError, match=r"direction: expected shape \(3,\), given"):
            point_of(wrong, "direction")


def test_results_are_read_only() -> None:
    points = box().points
    with pytest.raises(ValueError, match="read-only"):
        points[0, 0] = 5
    with pytest.raises(ValueError):
        points.flags.writeable = True


def test_a_view_keeps_its_owner_alive() -> None:
    mesh = grid(300)
    expected = mesh.points.copy()
    triangles = mesh.triangles
    points = mesh.points[10:]
    gone = weakref.ref(mesh)
    del mesh
    gc.collect()
    assert gone() is None  # the mesh is, the memory is not
    # What was freed would be written over by these.
    others = [grid(300, height) for height in (1.0, 2.0, 3.0)]
    assert np.array_equal(points, expected[10:])
    assert triangles.max() == len(expected) - 1
    del others


def test_a_mesh_does_not_see_later_changes_of_the_array() -> None:
    points = np.zeros((3, 3))
    mesh = sorvane.Mesh(points, [[0, 1, 2]])
    points[:] = 9
    assert mesh.points.max() == 0


def test_empty_arrays() -> None:
    for points, triangles in (([], []), (np.zeros((0, 3)), np.zeros((0, 3), np.int32)), ([[0, 0, 0]], [])):
        mesh = sorvane.Mesh(points, triangles)
        assert mesh.triangles.shape == (0, 3) and mesh.triangles.dtype == np.int32
        assert mesh.points.shape == (len(points), 3) and not mesh.points.flags.writeable


def test_memory_is_released_when_the_last_that_looks_at_it_goes(monkeypatch: pytest.MonkeyPatch) -> None:
    released: list[str] = []
    for kind in ("sorvane_mesh", "sorvane_sections"):
        free = c.FREE[kind]
        monkeypatch.setitem(c.FREE, kind, lambda pointer, kind=kind, free=free: (released.append(kind), free(pointer)))
    mesh = box()
    points, row = mesh.points, mesh.points[3]
    loops = mesh.section(0.5).loops
    line = loops[0]
    del mesh
    gc.collect()
    assert released == []
    del points
    assert released == []
    del row
    assert released == ["sorvane_mesh"]
    del loops
    assert released == ["sorvane_mesh"]
    del line
    assert released == ["sorvane_mesh", "sorvane_sections"]
    # One that no function filled has nothing to release, one of a failed call neither.
    Handle(c.sorvane_mesh)
    with pytest.raises(IndexError):
        sorvane.Mesh([[0, 0, 0]], [[0, 1, 2]])
    assert released == ["sorvane_mesh", "sorvane_sections"]
