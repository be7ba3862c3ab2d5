"""Arrays on their way in and out.

In: an array that is as the library wants it is passed as it is; anything else that means the same (a list, `float32`, a
transposed array) is copied once, and what does not mean the same is a ValueError that names the argument.
Out: arrays are read-only views of the library's memory and keep its owner alive.
"""

from __future__ import annotations

import ctypes
import functools
from typing import Any, Union

import numpy as np
import numpy.typing as npt

from ._handles import Handle

FloatArray = npt.NDArray[np.float64]
IntArray = npt.NDArray[np.int32]
BoolArray = npt.NDArray[np.bool_]
#: What is taken for an array: one of NumPy, or nested lists and tuples.
ArrayLike = npt.ArrayLike

_FLOAT = np.dtype(np.float64)
_INT = np.dtype(np.int32)
_Columns = Union[int, None]


def _expected(columns: _Columns) -> str:
    return "(n,)" if columns is None else f"(n, {columns})"


def array_of(value: ArrayLike, name: str, expected: str) -> npt.NDArray[Any]:
    """`value` as an array, of whatever shape and type; `expected` is the shape that a message tells of."""
    try:
        return np.asarray(value)
    except ValueError:  # rows of different lengths
        raise ValueError(f"{name}: expected an array of shape {expected}, given rows of different lengths") from None


def _checked(value: ArrayLike, name: str, columns: _Columns) -> npt.NDArray[Any]:
    """`value` as an array of numbers of the right shape, of whatever type."""
    array = array_of(value, name, _expected(columns))
    if array.dtype.kind not in "fiu":
        raise ValueError(f"{name}: expected numbers of shape {_expected(columns)}, given {array.dtype} of shape {array.shape}")
    if isinstance(value, np.ma.MaskedArray) and np.any(np.ma.getmaskarray(value)):  # type: ignore[no-untyped-call]
        raise ValueError(f"{name}: expected an array of shape {_expected(columns)}, given one with masked elements")
    if columns is None:
        if array.ndim != 1:
            raise ValueError(f"{name}: expected shape (n,), given {array.shape}")
    elif array.shape == (0,):
        array = array.reshape(0, columns)
    elif array.ndim != 2 or array.shape[1] != columns:
        raise ValueError(f"{name}: expected shape (n, {columns}), given {array.shape}")
    return array


def _plain(array: npt.NDArray[Any], dtype: Any) -> Any:
    return np.require(array, dtype=dtype, requirements=["C", "A"])


def points_of(value: ArrayLike, name: str, columns: int = 3) -> FloatArray:
    """Points of `columns` coordinates each: shape (n, columns), contiguous, float64."""
    if (
        type(value) is np.ndarray
        and value.dtype == _FLOAT
        and value.ndim == 2
        and value.shape[1] == columns
        and value.flags.c_contiguous
        and value.flags.aligned
    ):
        return value
    result: FloatArray = _plain(_checked(value, name, columns), _FLOAT)
    return result


def numbers_of(value: ArrayLike, name: str) -> FloatArray:
    """Numbers: shape (n,), contiguous, float64."""
    if (
        type(value) is np.ndarray
        and value.dtype == _FLOAT
        and value.ndim == 1
        and value.flags.c_contiguous
        and value.flags.aligned
    ):
        return value
    result: FloatArray = _plain(_checked(value, name, None), _FLOAT)
    return result


def point_of(value: ArrayLike, name: str, columns: int = 3) -> FloatArray:
    """One point or vector: shape (columns,)."""
    array = array_of(value, name, f"({columns},)")
    if array.ndim == 1:
        array = _checked(value, name, None)
    if array.shape != (columns,):
        raise ValueError(f"{name}: expected shape ({columns},), given {array.shape}")
    result: FloatArray = _plain(array, _FLOAT)
    return result


def _integers(value: ArrayLike, name: str, columns: _Columns) -> IntArray:
    array = _checked(value, name, columns)
    if array.dtype.kind == "f" and array.size > 0:
        raise ValueError(f"{name}: expected whole numbers of shape {_expected(columns)}, given {array.dtype} of shape {array.shape}")
    if array.dtype != _INT and array.size > 0 and (array.min() < -(2**31) or array.max() >= 2**31):
        at = int(np.flatnonzero((array < -(2**31)) | (array >= 2**31))[0])
        place = f"{at}" if columns is None else f"{at // columns}"
        raise IndexError(f"{name}: {array.flat[at]} at {place} is beyond 32 bits")
    result: IntArray = _plain(array, _INT)
    return result


def triangles_of(value: ArrayLike, name: str = "triangles") -> IntArray:
    """Triangles: shape (m, 3), contiguous, int32."""
    return indices_of(value, name, 3)


def indices_of(value: ArrayLike, name: str, columns: _Columns = None) -> IntArray:
    """Subscripts: shape (n,) or (n, columns), contiguous, int32. Whether they are in range is checked by the library."""
    if (
        type(value) is np.ndarray
        and value.dtype == _INT
        and value.flags.c_contiguous
        and value.flags.aligned
        and (value.ndim == 1 if columns is None else value.ndim == 2 and value.shape[1] == columns)
    ):
        return value
    return _integers(value, name, columns)


class _Memory:
    """Tells NumPy where numbers stand, and keeps their owner as long as an array looks at them."""

    __slots__ = ("__array_interface__", "owner")

    def __init__(self, address: int, dtype: np.dtype[Any], shape: tuple[int, ...], owner: object) -> None:
        self.owner = owner
        self.__array_interface__ = {
            "version": 3,
            "shape": shape,
            "typestr": dtype.str,
            "data": (address, True),
        }


@functools.lru_cache(maxsize=None)
def _empty(dtype: np.dtype[Any], columns: _Columns) -> npt.NDArray[Any]:
    """Nothing, read-only: the same for all that have nothing."""
    empty = np.empty((0,) if columns is None else (0, columns), dtype=dtype)
    empty.flags.writeable = False
    return empty


def view(owner: Handle, accessor: Any, columns: _Columns = None, *arguments: Any) -> Any:
    """The array that `accessor(owner, *arguments, &count)` points to: (count,) or (count, columns), read-only.

    Its element is that of the accessor's result. It lives as long as it is looked at, whatever becomes of `owner`.
    """
    count = ctypes.c_size_t()
    pointer = accessor(owner, *arguments, ctypes.byref(count))
    shape = (count.value,) if columns is None else (count.value, columns)
    if not pointer.value or count.value == 0:
        return _empty(pointer.dtype, columns)
    return np.asarray(_Memory(pointer.value, pointer.dtype, shape, owner))
