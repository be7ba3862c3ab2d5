"""Owners of what the library hands out."""

from __future__ import annotations

import ctypes
from typing import Any

from . import _bindings as c


class Handle:
    """Owns a handle of the C interface and releases it when nobody refers to it any more.

    It is passed to functions of the C interface as it is. Whoever holds one is sure that the memory behind is there;
    nobody frees it by hand.
    """

    __slots__ = ("_as_parameter_", "_free")

    def __init__(self, kind: Any) -> None:
        """An empty one of the type `kind` (a structure of the bindings), for a function to fill in: pass `place`."""
        self._free = c.FREE[kind.__name__]
        self._as_parameter_ = ctypes.POINTER(kind)()

    @property
    def place(self) -> Any:
        """Where a function puts the handle that it makes."""
        return ctypes.byref(self._as_parameter_)

    def __bool__(self) -> bool:
        return bool(self._as_parameter_)

    def __del__(self) -> None:
        pointer = getattr(self, "_as_parameter_", None)
        if pointer:
            self._free(pointer)

    def __copy__(self) -> "Handle":
        return self  # what stands behind a handle never changes

    def __deepcopy__(self, memo: Any) -> "Handle":
        return self

    def __reduce__(self) -> Any:
        raise TypeError("a handle can't be pickled")
