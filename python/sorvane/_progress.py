"""How calls run: progress, Ctrl-C, and what a failure raises.

The C interface reports some 30 times a second, on the thread of the call, while a progress scope is open. A report is
where Python gets a word in a long call: `progress=` is told there, exceptions of that callable stop the operation and
go on to the caller, and so does a signal's (KeyboardInterrupt), for which the main thread always opens a scope.
"""

from __future__ import annotations

import atexit
import contextlib
import ctypes
import os
import threading
import time
from typing import Any, Callable, Generator, List, Mapping, Optional, Set, Union

import numpy as np

from . import _bindings as c
from ._errors import failure
from ._handles import Handle

#: None; True for a bar on the terminal (tqdm); or a callable that is told a fraction in [0, 1] and may return False to
#: stop the operation, which then raises `sorvane.Stopped`.
Progress = Union[None, bool, Callable[[float], Any]]

#: What `progress=` comes down to: told a fraction, answers whether to go on.
Listener = Callable[[float], bool]

# The C interface passes a second argument, which this type leaves where it is: one is all that a generator takes.
_REPORT = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_double)


class _Trampoline:
    """What the library calls.

    It is a generator, resumed by each report, since Python runs the handlers of signals on entering a function: what
    they raise would come up before a `try` in the body of a function, where ctypes can only print it. A generator is
    inside its `try` when it is resumed.
    """

    def __init__(self) -> None:
        self.progress: Optional[Listener] = None
        self.raised: Optional[BaseException] = None
        self.of_main_thread = threading.current_thread() is threading.main_thread()
        self.generator = self._reports()
        next(self.generator)
        self.callback = _REPORT(self.generator.send)
        self.pointer = ctypes.cast(self.callback, c.sorvane_report)

    def _reports(self) -> Generator[int, float, None]:
        go_on = 1
        while True:
            try:
                fraction = yield go_on
                go_on = 1
                if self.progress is not None and not self.progress(fraction):
                    go_on = 0
                if _closing and not self.of_main_thread:
                    go_on = 0
            except BaseException as exception:
                if isinstance(exception, GeneratorExit):
                    raise
                self.raised = exception
                go_on = 0

    @property
    def is_alive(self) -> bool:
        return self.generator.gi_frame is not None


class _Trampolines(threading.local):
    """Those of a thread that are not in use. None is ever thrown away while its thread lives: whatever interrupts
    Python between two steps, a scope that is still open has something to call."""

    def __init__(self) -> None:
        self.all: List[_Trampoline] = []
        self.free: List[_Trampoline] = []


_trampolines = _Trampolines()
_in_use: Set[_Trampoline] = set()  # of all threads
_closing = False


@atexit.register
def _stop_daemons() -> None:
    """Stops the calls of daemon threads at the end of the program, those that report.

    Python ends a daemon thread where it asks for the interpreter lock. In a report that is below functions of C++, which
    can't be ended like that: the process would abort.
    """
    global _closing
    _closing = True
    end = time.monotonic() + 2
    while any(not trampoline.of_main_thread for trampoline in tuple(_in_use)) and time.monotonic() < end:
        time.sleep(0.002)


class _Bar:
    """A bar of tqdm."""

    def __init__(self, title: str) -> None:
        try:
            from tqdm.auto import tqdm  # type: ignore[import]
        except ImportError:
            raise ImportError("progress=True needs tqdm; install it, or pass a callable that takes a fraction") from None
        self._bar = tqdm(total=100, desc=title, unit="%", bar_format="{l_bar}{bar}| {elapsed}<{remaining}", leave=False)

    def __call__(self, fraction: float) -> bool:
        self._bar.update(round(100 * fraction, 1) - self._bar.n)
        return True

    def close(self) -> None:
        self._bar.close()


@contextlib.contextmanager
def listening(progress: Progress, title: str) -> Generator[Optional[Listener], None, None]:
    """The listener for a value of `progress=`; a bar bears the title and goes away at the end."""
    if progress is None or progress is False:
        yield None
    elif progress is True:
        bar = _Bar(title)
        try:
            yield bar
        finally:
            bar.close()
    elif callable(progress):
        told: Callable[[float], Any] = progress

        def listener(fraction: float) -> bool:
            answer = told(fraction)
            # A comparison may give NumPy's False. 0 and None are no answer.
            return not isinstance(answer, (bool, np.bool_)) or bool(answer)

        yield listener
    else:
        raise ValueError(f"progress: expected None, True or a callable, given {type(progress).__name__}")


def _failed(
    status: int, error: c.sorvane_error, path: Optional[Union[str, "os.PathLike[str]"]], names: Optional[Mapping[str, str]]
) -> Exception:
    exception = failure(status, error, path)
    if names is not None and isinstance(exception, (ValueError, IndexError)):
        name, colon, text = str(exception).partition(": ")
        if colon and name in names:
            return type(exception)(f"{names[name]}: {text}")
    return exception


def run(
    function: Any,
    *arguments: Any,
    progress: Progress = None,
    path: Optional[Union[str, "os.PathLike[str]"]] = None,
    names: Optional[Mapping[str, str]] = None,
) -> None:
    """Calls a function of the C interface that can fail; its last parameter, the error, is added here.

    Raises what the failure calls for (see `_errors`). `path` is the file that the function reads, if it does; `names`
    are those that its arguments have in Python, where they are others.
    """
    error = c.sorvane_error()
    if progress is None and threading.current_thread() is not threading.main_thread():
        # Signals are none of this thread's business: nothing to ask for.
        status = function(*arguments, ctypes.byref(error))
        if status:
            raise _failed(status, error, path, names)
        return
    if progress is None:
        status, raised = _watched(function, arguments, error, None)
    else:
        with listening(progress, function.__name__.replace("sorvane_", "").replace("_", " ")) as told:
            status, raised = _watched(function, arguments, error, told)
    if raised is not None:
        try:
            raise raised
        finally:
            del raised  # its traceback refers to this frame
    if status:
        raise _failed(status, error, path, names)


def _watched(
    function: Any, arguments: Any, error: c.sorvane_error, told: Optional[Listener]
) -> tuple[int, Optional[BaseException]]:
    free = _trampolines.free
    if not free:
        trampoline = _Trampoline()
        _trampolines.all.append(trampoline)
        free.append(trampoline)
    trampoline = free.pop()
    trampoline.progress = told
    trampoline.raised = None
    scope = ctypes.POINTER(c.sorvane_progress)()
    try:
        _in_use.add(trampoline)
        status = c.sorvane_progress_open(trampoline.pointer, None, ctypes.byref(scope), ctypes.byref(error))
        if status == 0:
            status = function(*arguments, ctypes.byref(error))
    finally:
        c.sorvane_progress_close(scope)
        _in_use.discard(trampoline)
        raised = trampoline.raised
        trampoline.progress = trampoline.raised = None
        if trampoline.is_alive:
            free.append(trampoline)
        elif raised is None:
            raised = KeyboardInterrupt()  # a second one, while the first was being put away
    return status, raised


def make(
    function: Any,
    *arguments: Any,
    progress: Progress = None,
    path: Optional[Union[str, "os.PathLike[str]"]] = None,
    names: Optional[Mapping[str, str]] = None,
) -> Handle:
    """Calls a function of the C interface whose only result is a handle, its last parameter but the error."""
    # The type of `X **result` is a pointer to a pointer to X.
    made = Handle(function.argtypes[-2]._type_._type_)
    run(function, *arguments, made.place, progress=progress, path=path, names=names)
    return made


def options(kind: Any, **values: Any) -> Any:
    """An options structure with its sensible values, but those that are given and not None.

    An array among them is pointed to and kept alive by the structure. A single number of NumPy, such as a row of an
    array gives, is the number: it has an address too, which is nobody's business.
    """
    result = kind()
    getattr(c, kind.__name__ + "_init")(ctypes.byref(result))
    for name, value in values.items():
        if value is None:
            continue
        if not hasattr(result, name):
            raise AttributeError(f"{kind.__name__} has no field {name}")
        if isinstance(value, np.generic):
            value = value.item()
        elif isinstance(value, np.ndarray):
            result.__dict__.setdefault("kept", []).append(value)
            value = value.__array_interface__["data"][0]
        setattr(result, name, value)
    return result
