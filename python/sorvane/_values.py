"""Single arguments: what is none of the kind is a ValueError that names the argument."""

from __future__ import annotations

import operator
import os
from typing import Any, Iterable, List, Mapping, TypeVar, Union

Value = TypeVar("Value")


def number(value: Any, name: str) -> float:
    """A number as float; infinities and NaN are for the library to judge."""
    try:
        if isinstance(value, (str, bytes)):
            raise TypeError
        return float(value)
    except (TypeError, ValueError):
        raise ValueError(f"{name}: expected a number, given {value!r}") from None
    except OverflowError:  # a whole number of more than 308 digits
        raise ValueError(f"{name}: expected a number that a float64 can hold") from None


def path_bytes(path: Union[str, "os.PathLike[str]"]) -> bytes:
    """The name of a file as the system has it. C takes a name to end at its first zero: another file's, maybe."""
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError(f"path: expected a name without null characters, given {path!r}")
    return name


def count(value: Any, name: str) -> int:
    """A whole number that an `int` of C can hold."""
    try:
        result = operator.index(value)
    except TypeError:
        raise ValueError(f"{name}: expected a whole number, given {value!r}") from None
    if not -(2**31) <= result < 2**31:
        raise ValueError(f"{name}: expected a whole number of 32 bits, given {value!r}")
    return result


def choice(value: Any, name: str, choices: Mapping[str, Value]) -> Value:
    """What stands for one of the words in `choices`."""
    if not isinstance(value, str) or value not in choices:
        words = ", ".join(repr(word) for word in choices)
        raise ValueError(f"{name}: expected one of {words}, given {value!r}")
    return choices[value]


def list_of(values: Iterable[Value], name: str) -> List[Value]:
    """What can be gone through, as a list."""
    try:
        iterator = iter(values)
    except TypeError:
        raise ValueError(f"{name}: expected a list, given {type(values).__name__}") from None
    return list(iterator)
