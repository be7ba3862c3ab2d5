"""Progress, exceptions of its callable, and Ctrl-C inside a long call."""

from __future__ import annotations

import ctypes
import gc
import io
import subprocess
import sys
import threading
import weakref
from contextlib import redirect_stderr
from typing import Any

import numpy as np
import pytest
from shapes import box, grid

import sorvane
from sorvane import _bindings as c
from sorvane._progress import Progress, _trampolines, make, options

#: Edge length for which the remeshing of the unit square would take a minute: every test here has to stop it.
FINE = 1 / 1500


def remesh(mesh: sorvane.Mesh, length: float, progress: Progress = None) -> sorvane.Mesh:
    opts = options(c.sorvane_remesh_options, length=length)
    return sorvane.Mesh._of(make(c.sorvane_mesh_remesh, mesh._handle, ctypes.byref(opts), progress=progress))


@pytest.fixture(scope="module")
def square() -> sorvane.Mesh:
    return grid(150)


class Enough(Exception):
    pass


def test_fractions_rise_and_false_stops(square: sorvane.Mesh) -> None:
    seen: list[float] = []

    def told(fraction: float) -> Any:
        seen.append(fraction)
        return np.float64(len(seen)) < 5  # a bool of NumPy

    with pytest.raises(sorvane.Stopped) as caught:
        remesh(square, FINE, told)
    assert caught.value.status == sorvane.Status.SORVANE_STOPPED
    assert len(seen) == 5
    assert seen == sorted(seen) and 0 <= seen[0] and seen[-1] <= 1


def test_other_answers_go_on() -> None:
    answers = iter([None, 0, 1, "", np.True_, True])
    with pytest.raises(StopIteration):  # of the seventh report: none before has stopped it
        remesh(grid(150), FINE, lambda fraction: next(answers))


def test_an_exception_of_the_callable_goes_through(square: sorvane.Mesh) -> None:
    def told(fraction: float) -> None:
        raise Enough("of it")

    for _ in range(3):
        with pytest.raises(Enough, match="of it") as caught:
            remesh(square, FINE, told)
        assert any(entry.name == "told" for entry in caught.traceback)
    # The same thread is as it was before.
    assert len(square.weld(0).points) == len(square.points)
    with pytest.raises(sorvane.Stopped):
        remesh(square, FINE, lambda fraction: False)


def test_nothing_is_kept_of_a_call_that_failed(square: sorvane.Mesh) -> None:
    class Told:
        def __call__(self, fraction: float) -> None:
            raise Enough

    told = Told()
    gone = weakref.ref(told)
    with pytest.raises(Enough):
        remesh(square, FINE, told)
    del told
    gc.collect()
    assert gone() is None


def test_calls_inside_the_callable(square: sorvane.Mesh) -> None:
    """They are not watched by the outer scope, may have progress of their own, and may fail."""
    cube = box()
    events: list[Any] = []

    def inner(fraction: float) -> None:
        raise Enough

    def told(fraction: float) -> Any:
        events.append(len(cube.weld(0.1).points))
        with pytest.raises(Enough):
            remesh(square, FINE, inner)
        with pytest.raises(ValueError):
            cube.weld(-1)
        return len(events) < 2

    with pytest.raises(sorvane.Stopped):
        remesh(square, FINE, told)
    assert events == [8, 8]


def test_the_same_bits_with_and_without() -> None:
    mesh = grid(40)
    alone = remesh(mesh, 0.01)
    seen: list[float] = []
    watched = remesh(mesh, 0.01, seen.append)
    assert np.array_equal(alone.points, watched.points) and np.array_equal(alone.triangles, watched.triangles)
    elsewhere: list[sorvane.Mesh] = []
    thread = threading.Thread(target=lambda: elsewhere.append(remesh(mesh, 0.01)))  # without any scope
    thread.start()
    thread.join()
    assert np.array_equal(alone.points, elsewhere[0].points)


def test_each_thread_has_its_own(square: sorvane.Mesh) -> None:
    results: dict[int, BaseException] = {}

    def work(number: int) -> None:
        def told(fraction: float) -> None:
            assert threading.get_ident() == thread_of[number]
            raise Enough(number)

        thread_of[number] = threading.get_ident()
        try:
            remesh(square, FINE, told)
        except BaseException as exception:
            results[number] = exception

    thread_of: dict[int, int] = {}
    threads = [threading.Thread(target=work, args=(number,)) for number in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert {number: result.args for number, result in results.items()} == {0: (0,), 1: (1,), 2: (2,)}
    assert all(type(result) is Enough for result in results.values())


def test_a_bar(square: sorvane.Mesh) -> None:
    pytest.importorskip("tqdm")
    out = io.StringIO()
    with redirect_stderr(out):
        box().weld(0, progress=True)
    assert "mesh weld" in out.getvalue()


def test_what_is_no_callable_is_refused() -> None:
    with pytest.raises(ValueError, match="progress: expected None, True or a callable, given int"):
        box().weld(0, progress=5)  # type: ignore[arg-type]
    box().weld(0, progress=False)


def test_unknown_options_are_refused() -> None:
    with pytest.raises(AttributeError, match="sorvane_remesh_options has no field lenght"):
        options(c.sorvane_remesh_options, lenght=1)


PREAMBLE = """
import os, signal, sys, threading, time
sys.path.insert(0, {tests!r})
from test_progress import FINE, grid, remesh
import sorvane
square = grid(150)
"""

# The signal comes from inside a report: it is pending when the callable's own code goes on.
INSIDE_A_REPORT = PREAMBLE + """
try:
    remesh(square, FINE, lambda fraction: os.kill(os.getpid(), signal.SIGINT))
except KeyboardInterrupt:
    print("interrupted")
"""

# It comes while the library works, and nobody asked for progress. The second thread waits until the call has used
# processor time, so that it is well inside.
WITHOUT_PROGRESS = PREAMBLE + """
main = threading.main_thread().ident
def interrupt():
    while not any(name == "_watched" for name in names(sys._current_frames()[main])):
        pass
    start = time.process_time()
    while time.process_time() < start + 0.2:
        pass
    os.kill(os.getpid(), signal.SIGINT)
def names(frame):
    while frame is not None:
        yield frame.f_code.co_name
        frame = frame.f_back
threading.Thread(target=interrupt).start()
try:
    remesh(square, FINE)
except KeyboardInterrupt:
    print("interrupted")
"""

# A handler of the program's own may raise what it likes.
OWN_HANDLER = PREAMBLE + """
def late(number, frame):
    raise TimeoutError("late")
signal.signal(signal.SIGALRM, late)
signal.setitimer(signal.ITIMER_REAL, 0.2)
try:
    remesh(square, FINE)
except TimeoutError as error:
    print("interrupted")
"""

# One after the other: nothing is left behind that would stop or break the next call.
AGAIN = PREAMBLE + """
count = 0
for _ in range(5):
    try:
        remesh(square, FINE, lambda fraction: os.kill(os.getpid(), signal.SIGINT))
    except KeyboardInterrupt:
        count += 1
assert count == 5
assert len(square.weld(0).points) == len(square.points)
print("interrupted")
"""


@pytest.mark.parametrize(
    "program",
    [
        pytest.param(INSIDE_A_REPORT, id="inside a report"),
        pytest.param(WITHOUT_PROGRESS, id="without progress"),
        pytest.param(OWN_HANDLER, id="own handler"),
        pytest.param(AGAIN, id="again"),
    ],
)
def test_signals_are_heard_in_a_long_call(program: str, request: pytest.FixtureRequest) -> None:
    tests = str(request.path.parent)
    result = subprocess.run(
        [sys.executable, "-c", program.replace("{tests!r}", repr(tests))],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        timeout=100,
    )
    assert (result.stdout, result.stderr) == ("interrupted\n", "")


def test_scopes_are_given_back(square: sorvane.Mesh) -> None:
    def told(fraction: float) -> None:
        raise Enough

    for _ in range(5):
        with pytest.raises(Enough):
            remesh(square, FINE, told)
    assert len(_trampolines.free) == len(_trampolines.all)
    assert len(_trampolines.all) <= 3  # as many as calls were nested


# A report of a daemon thread while the interpreter ends: the thread can't be ended there, below the library.
ENDS_WITH_A_DAEMON = PREAMBLE + """
inside = threading.Event()
def work():
    while True:
        remesh(square, FINE, lambda fraction: inside.set())
threading.Thread(target=work, daemon=True).start()
inside.wait()
print("end")
"""


def test_a_program_ends_while_a_daemon_is_in_a_call(request: pytest.FixtureRequest) -> None:
    program = ENDS_WITH_A_DAEMON.replace("{tests!r}", repr(str(request.path.parent)))
    result = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=100)
    assert (result.returncode, result.stdout) == (0, "end\n")
