"""Types of pointer arguments: they take NumPy arrays of the right element, and what ctypes makes itself.

As the type of a result they tell the element that the address is of.
"""

from __future__ import annotations

import ctypes
from typing import Any

import numpy as np


_BYREF = type(ctypes.byref(ctypes.c_int()))


class _Pointer(ctypes.c_void_p):
    """The address of numbers."""

    dtype: Any

    @classmethod
    def from_param(cls, value: Any) -> Any:
        if isinstance(value, np.ndarray):
            # _arrays.py makes them so; what stands here keeps a slip of ours from becoming a wrong number.
            if value.dtype != cls.dtype or not value.flags.c_contiguous:
                raise TypeError(f"array of {value.dtype}, not a contiguous one of {cls.dtype}")
            return ctypes.c_void_p(value.__array_interface__["data"][0])
        if value is None or isinstance(value, (_BYREF, ctypes.Array, ctypes.c_void_p)):
            return value
        raise TypeError(f"{type(value).__name__} where numbers are pointed to")


class Doubles(_Pointer):
    dtype = np.dtype(np.float64)


class Floats(_Pointer):
    dtype = np.dtype(np.float32)


class Ints(_Pointer):
    dtype = np.dtype(np.int32)


class LongLongs(_Pointer):
    dtype = np.dtype(np.int64)


class Sizes(_Pointer):
    dtype = np.dtype(np.uintp)


class Bytes(_Pointer):
    dtype = np.dtype(np.uint8)


class UnsignedLongLongs(_Pointer):
    dtype = np.dtype(np.uint64)
