"""Several threads at once."""

from __future__ import annotations

import os
import subprocess
import sys
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import pytest
from shapes import grid

import sorvane

# The library waits for what another Python thread writes: it would wait for ever if it held the interpreter lock.
LOCK_IS_FREE = """
import os, sys, threading
import sorvane

pipe, part = sys.argv[1:]
def write():
    with open(pipe, "wb") as out, open(part, "rb") as data:
        out.write(data.read())
writer = threading.Thread(target=write)
writer.start()
print(len(sorvane.read(pipe).triangles))
writer.join()
"""


def test_the_interpreter_lock_is_free_in_a_call(tmp_path: Path, example_data: Path) -> None:
    pipe = tmp_path / "pipe"
    os.mkfifo(pipe)
    command = [sys.executable, "-c", LOCK_IS_FREE, str(pipe), str(example_data / "bracket.stl")]
    result = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, timeout=60)
    assert result.stdout == "692\n"


def test_threads_give_what_one_gives() -> None:
    mesh = grid(60)
    soup = sorvane.Mesh(mesh.points[mesh.triangles.ravel()], np.arange(mesh.triangles.size, dtype=np.int32).reshape(-1, 3))
    alone = soup.weld(1e-9)
    barrier = threading.Barrier(4)

    def work(number: int) -> list[sorvane.Mesh]:
        barrier.wait()
        return [soup.weld(1e-9) for _ in range(5)]

    with ThreadPoolExecutor(4) as pool:
        for welded in [mesh for meshes in pool.map(work, range(4)) for mesh in meshes]:
            assert np.array_equal(welded.points, alone.points) and np.array_equal(welded.triangles, alone.triangles)


def test_handles_may_go_away_on_another_thread() -> None:
    views = []
    with ThreadPoolExecutor(2) as pool:
        for points in pool.map(lambda height: grid(20, height).points, [0.5] * 20):
            views.append(points)
    assert all(np.array_equal(points, views[0]) for points in views)


def test_thread_limit() -> None:
    before = sorvane.thread_count()
    with sorvane.thread_limit(1):
        assert sorvane.thread_count() == 1
        with sorvane.thread_limit(2):
            assert sorvane.thread_count() == 1, "the lowest holds"
    with pytest.raises(RuntimeError), sorvane.thread_limit(1):
        raise RuntimeError
    assert sorvane.thread_count() == before
    for wrong in (0, -1):
        with pytest.raises(ValueError, match=f"threads is {wrong}; there must be 1 at least"):
            with sorvane.thread_limit(wrong):
                pass
    with pytest.raises(ValueError, match="threads: expected a whole number"):
        with sorvane.thread_limit(1.5):  # type: ignore[arg-type]
            pass
