"""Single arguments: what is none of the kind is a ValueError that names the argument."""

from __future__ import annotations

import operator
from typing import Any, Mapping, TypeVar

Value = TypeVar("Value")


def number(value: Any, name: str) -> float:
    """A number as float; infinities and NaN are for the library to judge."""
    try:
        if isinstance(value, (str, bytes)):
            raise TypeError
        return float(value)
    except (TypeError, ValueError):
        raise ValueError(f"{name}: expected a number, given {value!r}") from None


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
