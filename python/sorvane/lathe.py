"""Turning: where a tool may go before a profile, and which tilts of it reach what.

The plane is that of the profile: x along the spindle, y across it. Outlines of tool and holder are closed polygons
(n, 2), whether or not they repeat their first point; the target is a profile, open or closed; obstacles are lines.
Positions are those of the tool's pivot, which is the origin of its frame unless told.

>>> from sorvane import lathe
>>> insert = [(0, 0), (1, 3), (-1, 3)]
>>> holder = [(-1, 3), (1, 3), (3, 14), (-3, 14)]
>>> shaft = [(0, 0), (0, 8), (60, 8), (60, 0), (0, 0)]
>>> sweep = lathe.sweep([-15, 0, 15], insert, shaft, holder=holder)
>>> sweep
<sorvane.lathe.Sweep: 3 angles>
>>> sequence = sweep.sequence()
>>> sequence.valid_at(38)    # 8 up and 30 along
array([ True,  True,  True])
"""

from __future__ import annotations

import ctypes
from typing import Any, Iterable, List, NamedTuple, Optional, Union

import numpy as np

from . import _bindings as c
from ._arrays import ArrayLike, BoolArray, FloatArray, numbers_of, point_of, points_of, view
from ._handles import Handle
from ._lines import Borrowed, Lines, flat_lines
from ._progress import Progress, make, options, run
from ._values import number

__all__ = ["Regions", "Sequence", "Sweep", "regions", "sweep"]


class Regions(NamedTuple):
    """The boundary of where the tool may go, parted by what touches there.

    A stretch that goes all around ends with its first point.
    """

    #: Stretches where the tool touches the target and everything else is clear: arrays (n, 2).
    tool: List[FloatArray]
    #: Stretches where something else touches.
    holder: List[FloatArray]


class Sequence(NamedTuple):
    """Along the target, the angles that may be used from each place on."""

    #: Arc lengths along the target at which something changes, (n,), ascending.
    parameters: FloatArray
    #: Whether each angle may be used from there to the next, (n, number of angles).
    valid: BoolArray

    def valid_at(self, parameter: float) -> BoolArray:
        """Which angles may be used at an arc length along the target."""
        place = number(parameter, "parameter")
        step = int(np.searchsorted(self.parameters, place, side="right")) - 1
        if step < 0:
            return np.zeros(self.valid.shape[1], dtype=np.bool_)
        valid: BoolArray = self.valid[step]
        return valid


class Sweep:
    """What tool and holder reach at each of several angles: made by `sweep`."""

    __slots__ = ("_handle", "_angles")

    def __init__(self, handle: Handle, angles: FloatArray) -> None:
        self._handle = handle
        self._angles = angles

    @property
    def angles(self) -> FloatArray:
        """In degrees, (n,)."""
        return self._angles

    @property
    def failed(self) -> BoolArray:
        """Where a boundary did not close, so that what is told of the angle is not to be relied on, (n,)."""
        failed: BoolArray = view(self._handle, c.sorvane_lathe_sweep_failed) != 0
        return failed

    def _groups(self, accessor: Any) -> List[List[FloatArray]]:
        groups = accessor(self._handle)
        lines = lines_of(Borrowed(c.sorvane_line_groups_lines(groups), self._handle)).all_told_closed()
        starts = view(Borrowed(groups, self._handle), c.sorvane_line_groups_starts)
        return [lines[a:b] for a, b in zip(starts[:-1], starts[1:])]

    @property
    def reachable(self) -> List[List[FloatArray]]:
        """For each angle the stretches of the target that the tool can touch; one all around ends with its first
        point."""
        return self._groups(c.sorvane_lathe_sweep_reachable)

    @property
    def regions(self) -> List[Regions]:
        """For each angle the positions as `regions` gives them."""
        tool = self._groups(c.sorvane_lathe_sweep_tool_regions)
        holder = self._groups(c.sorvane_lathe_sweep_holder_regions)
        return [Regions(a, b) for a, b in zip(tool, holder)]

    def sequence(self, arcs: Optional[ArrayLike] = None) -> Sequence:
        """The answer the other way round: along the target, the angles that may be used.

        Parameters
        ----------
        arcs : array_like, (k, 3), optional
            Stretches of the target that are arcs: where they start and end, as arc lengths along it, and the largest
            gap between facets that is bridged. On a closed target, which may start anywhere, an arc that runs over
            the start ends below where it starts.
        """
        rows = np.empty((0, 3)) if arcs is None else points_of(arcs, "arcs")
        found = make(c.sorvane_lathe_sequence_new, self._handle, rows, len(rows))
        parameters: FloatArray = view(found, c.sorvane_lathe_sequence_parameters)
        valid = view(found, c.sorvane_lathe_sequence_valid).reshape(len(parameters), len(self._angles)) != 0
        return Sequence(parameters, valid)

    def __repr__(self) -> str:
        count = len(self._angles)
        return f"<sorvane.lathe.Sweep: {count} angle{'s' * (count != 1)}>"


#: What the points of the obstacles are called in messages.
_NAMES = {"points": "obstacles"}

_Lines = Union[ArrayLike, Iterable[ArrayLike], None]


def _setup(
    tool: ArrayLike, target: ArrayLike, holder: Optional[ArrayLike], obstacles: _Lines, pivot: Optional[ArrayLike]
) -> Any:
    insert, profile = points_of(tool, "tool", 2), points_of(target, "target", 2)
    body = np.empty((0, 2)) if holder is None else points_of(holder, "holder", 2)
    points, starts = flat_lines([] if obstacles is None else obstacles, "obstacles")
    setup = options(
        c.sorvane_lathe_setup,
        tool=insert,
        tool_count=len(insert),
        holder=body,
        holder_count=len(body),
        target=profile,
        target_count=len(profile),
        obstacles=points,
        obstacle_points=len(points),
        obstacle_starts=starts,
        obstacle_count=len(starts) - 1,
    )
    if pivot is not None:
        setup.pivot[:] = point_of(pivot, "pivot", 2).tolist()
    return setup


def regions(
    tool: ArrayLike,
    target: ArrayLike,
    *,
    holder: Optional[ArrayLike] = None,
    obstacles: _Lines = None,
    progress: Progress = None,
) -> Regions:
    """The boundary of where the tool may go, at the tilt that it is drawn with.

    Raises `sorvane.Error` when a boundary does not close, as of outlines that are lines.

    >>> from sorvane import lathe
    >>> found = lathe.regions([(0, 0), (1, 3), (-1, 3)], [(0, 0), (0, 8), (60, 8), (60, 0), (0, 0)])
    >>> max(float(line[:, 1].max()) for line in found.tool)    # the tip slides along the shaft
    8.0
    """
    setup = _setup(tool, target, holder, obstacles, None)
    of_tool, of_holder = Handle(c.sorvane_lines), Handle(c.sorvane_lines)
    run(c.sorvane_lathe_regions, ctypes.byref(setup), of_tool.place, of_holder.place, progress=progress, names=_NAMES)
    return Regions(Lines._of(of_tool)._told_closed(), Lines._of(of_holder)._told_closed())


def sweep(
    angles: ArrayLike,
    tool: ArrayLike,
    target: ArrayLike,
    *,
    holder: Optional[ArrayLike] = None,
    obstacles: _Lines = None,
    pivot: Optional[ArrayLike] = None,
    progress: Progress = None,
) -> Sweep:
    """What tool and holder reach at each of several tilts.

    Parameters
    ----------
    angles : array_like, (n,)
        In degrees, counter-clockwise about the pivot.
    tool, target : array_like, (k, 2)
        Outline of the insert, and the profile.
    holder : array_like, (k, 2), optional
        Outline of the holder.
    obstacles : list of array_like, (k, 2), optional
        Chuck, tailstock and the like.
    pivot : array_like, (2,), optional
        What tool and holder turn about.
    """
    numbers = numbers_of(angles, "angles")
    setup = _setup(tool, target, holder, obstacles, pivot)
    handle = make(c.sorvane_lathe_sweep_new, ctypes.byref(setup), numbers, len(numbers), progress=progress, names=_NAMES)
    kept = numbers.copy()
    kept.flags.writeable = False
    return Sweep(handle, kept)
