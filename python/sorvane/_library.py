"""Finds and loads the C library.

Looked for, in this order: the file or folder that the environment variable SORVANE_LIBRARY names; the folder `_lib` of
this package, where a wheel carries it; the places of the system.
"""

from __future__ import annotations

import ctypes
import os
from pathlib import Path
from typing import Any

NAME = "libsorvane_c.so.0"
# What the library is linked to, in the order in which they need one another. A wheel carries these; loaded by their
# own paths they are found whatever the loader's search path is.
NEEDED = ("libtbb.so.12", "libsorvane.so.0")


def _load() -> tuple[ctypes.CDLL, ctypes.PyDLL, str]:
    path = NAME
    given = os.environ.get("SORVANE_LIBRARY")
    carried = Path(__file__).parent / "_lib"
    if given:
        path = str(Path(given) / NAME) if os.path.isdir(given) else given
    elif (carried / NAME).exists():
        for name in NEEDED:
            if (carried / name).exists():
                ctypes.CDLL(str(carried / name))
        path = str(carried / NAME)
    try:
        return ctypes.CDLL(path), ctypes.PyDLL(path), path
    except OSError as error:
        raise ImportError(
            f"sorvane: can't load the library {path}: {error}. Install the wheel, which carries it, or the package "
            "libsorvane0, or let the environment variable SORVANE_LIBRARY name its file or folder."
        ) from None


_cdll, _pydll, path = _load()


def _declare(library: ctypes.CDLL, name: str, result: Any, arguments: list[Any]) -> Any:
    try:
        function = getattr(library, name)
    except AttributeError:
        raise ImportError(
            f"sorvane: the library {path} has no function {name}: it is of another version than this package"
        ) from None
    function.restype = result
    function.argtypes = arguments
    return function


def _function(name: str, result: Any, arguments: list[Any]) -> Any:
    """A function that works: the interpreter lock is free while it does."""
    return _declare(_cdll, name, result, arguments)


def _free(name: str, result: Any, arguments: list[Any]) -> Any:
    """A function that releases a handle, with the lock free as well."""
    return _declare(_cdll, name, result, arguments)


def _accessor(name: str, result: Any, arguments: list[Any]) -> Any:
    """A function that only hands over what is there. It keeps the lock: to let it go would cost more than the call."""
    return _declare(_pydll, name, result, arguments)
