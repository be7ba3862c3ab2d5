"""Many parts at once: in this process and on a cluster of two workers, of which one is lost in the middle."""

from __future__ import annotations

import contextlib
import importlib
import os
import signal
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any, Callable, Iterator

import numpy as np
import pytest
from shapes import box, grid

import sorvane
from sorvane import batch

FILES = ["bracket.stl", "bracket_ascii.stl", "damaged_box.stl"]


@contextlib.contextmanager
def two_workers() -> Iterator[Any]:
    """The client of two workers, each a process of its own that is started again when it ends."""
    dask = pytest.importorskip("dask")
    distributed = pytest.importorskip("distributed")
    # Nothing here takes long; workers that end are noticed as soon.
    batch._PATIENCE = 2.0
    os.environ["DASK_DISTRIBUTED__COMM__TIMEOUTS__CONNECT"] = "1s"  # for the workers
    with dask.config.set({"distributed.scheduler.allowed-failures": 1, "distributed.comm.timeouts.connect": "1s"}):
        with distributed.LocalCluster(
            n_workers=2, threads_per_worker=1, processes=True, dashboard_address=":0", memory_limit=0, silence_logs=50
        ) as local:
            with distributed.Client(local, set_as_default=False) as client:
                yield client


@pytest.fixture(scope="module")
def cluster() -> Iterator[Any]:
    with two_workers() as client:
        yield client


@pytest.fixture
def fresh_cluster() -> Iterator[Any]:
    """For tests that end workers: what is left of a cluster after that is no place for the next one."""
    with two_workers() as client:
        yield client


@pytest.fixture(params=["here", "cluster"])
def client(request: pytest.FixtureRequest) -> Any:
    return None if request.param == "here" else request.getfixturevalue("cluster")


@pytest.fixture
def files(example_data: Path) -> list[Path]:
    return [example_data / name for name in FILES]


def dies_once(marker: str) -> Callable[[sorvane.Mesh], Any]:
    """A function that ends its process the first time that it meets a damaged part, wherever that is."""

    def work(mesh: sorvane.Mesh) -> Any:
        report = mesh.report()
        if not report.sound:
            try:
                os.close(os.open(marker, os.O_CREAT | os.O_EXCL))
            except FileExistsError:
                return report
            os.kill(os.getpid(), signal.SIGKILL)
        return report

    return work


def always_dies(mesh: sorvane.Mesh) -> int:
    if len(mesh) == 2:
        os.kill(os.getpid(), signal.SIGKILL)
    return len(mesh)


def test_reports_are_those_of_the_meshes(files: list[Path], client: Any) -> None:
    rows = batch.reports(files, client=client)
    assert [row.file for row in rows] == [str(file) for file in files]
    assert [row.error for row in rows] == [None] * 3
    for row, file in zip(rows, files):
        assert row.value == sorvane.read(file).report()
    loose = batch.reports(files[:1], 0.5, client=client)
    assert loose[0].value.tolerance == 0.5


def test_a_bad_file_has_its_reason_and_stops_nothing(files: list[Path], client: Any, tmp_path: Path) -> None:
    torn = tmp_path / "torn.stl"
    torn.write_bytes(files[0].read_bytes()[:1000])
    gone = tmp_path / "gone.stl"
    rows = batch.map_parts(lambda mesh: 1 // (len(mesh) - 692), [torn, files[0], gone, files[2]], client=client)
    assert rows[0].error is not None and rows[0].error.startswith("FileError: ") and "torn.stl" in rows[0].error
    assert rows[1].error == "ZeroDivisionError: integer division or modulo by zero"
    assert rows[2].error is not None and rows[2].error.startswith("FileNotFoundError: ")
    assert rows[3].error is None and rows[3].value == 1 // (len(sorvane.read(files[2])) - 692)
    assert [row.value for row in rows[:3]] == [None] * 3


def test_no_files(client: Any) -> None:
    assert batch.reports([], client=client) == []


def test_what_comes_back_is_any_result(files: list[Path], client: Any) -> None:
    rows = batch.map_parts(lambda mesh: (mesh.weld(1e-6), mesh.points[:2]), files, client=client)
    for row, file in zip(rows, files):
        mesh = sorvane.read(file)
        assert row.value[0] == mesh.weld(1e-6) and np.array_equal(row.value[1], mesh.points[:2])


def test_a_lost_worker_loses_nothing(files: list[Path], fresh_cluster: Any, tmp_path: Path) -> None:
    many = files * 6
    marker = tmp_path / "died"
    rows = batch.map_parts(dies_once(str(marker)), many, client=fresh_cluster)
    assert marker.exists()  # it has happened
    expected = {file: sorvane.read(file).report() for file in files}
    assert [row.error for row in rows] == [None] * len(many)
    assert [row.value for row in rows] == [expected[file] for file in many]


def test_a_file_that_ends_every_worker_has_its_reason(files: list[Path], fresh_cluster: Any, tmp_path: Path) -> None:
    deadly = tmp_path / "deadly.tipc"
    sorvane.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0]], [[0, 1, 2], [1, 3, 2]]).write(deadly)
    rows = batch.map_parts(always_dies, [files[0], deadly, files[2]], client=fresh_cluster)
    assert rows[1].value is None
    assert rows[1].error == "KilledWorker: every worker that took it ended, as by a lack of memory"
    assert (rows[0].value, rows[2].value) == (692, len(sorvane.read(files[2])))


def test_progress(files: list[Path], client: Any) -> None:
    seen: list[float] = []
    batch.reports(files, client=client, progress=seen.append)
    assert seen == [1 / 3, 2 / 3, 1]
    with pytest.raises(sorvane.Stopped):
        batch.reports(files, client=client, progress=lambda fraction: False)
    with pytest.raises(ZeroDivisionError):
        batch.reports(files, client=client, progress=lambda fraction: 1 // 0)
    assert len(batch.reports(files, client=client, progress=True)) == 3


def test_the_default_client_is_taken(files: list[Path], cluster: Any) -> None:
    here = os.getpid()
    assert {row.value for row in batch.map_parts(lambda mesh: os.getpid(), files)} == {here}
    with cluster.as_current():
        assert here not in {row.value for row in batch.map_parts(lambda mesh: os.getpid(), files)}


def bits(array: np.ndarray) -> bytes:
    return np.ascontiguousarray(array).tobytes()


@pytest.mark.parametrize("as_file", [False, True])
def test_heights_are_the_same_in_any_tiling(client: Any, tmp_path: Path, as_file: bool) -> None:
    mesh = grid(20)
    part: Any = mesh
    if as_file:
        part = tmp_path / "grid.tipc"
        mesh.write(part)
    tool = sorvane.Tool.bull(0.2, 0.05)
    # Beyond the part on every side, so that some heights are -inf.
    xs, ys = np.linspace(-0.2, 1.2, 41), np.linspace(-0.3, 1.1, 29)
    whole = mesh.height_map(tool, xs, ys)
    assert np.isinf(whole).any() and np.isfinite(whole).any()
    for tile in (7, 41) if client else (1, 7, 28, 29, 41, 1000):
        assert bits(batch.height_map(part, tool, xs, ys, tile=tile, client=client)) == bits(whole)


def test_sections_are_the_same_in_any_division(client: Any, example_data: Path, tmp_path: Path) -> None:
    file = tmp_path / "bracket.tipc"
    mesh = sorvane.read(example_data / "bracket.stl").weld(1e-6)
    mesh.write(file)
    heights = np.linspace(-1, 51, 23)
    normal = (0.3, -0.2, 1)
    whole = mesh.slices(heights, normal=normal)
    assert max(len(section.loops) for section in whole) > 1
    for part, chunk in ((mesh, 5), (file, 1), (file, 100)):
        parts = batch.slices(part, heights, normal=normal, chunk=chunk, client=client)
        assert len(parts) == len(whole)
        for some, one in zip(parts, whole):
            assert (some.height, some.area, some.length) == (one.height, one.area, one.length)
            assert bits(some.lines.points) == bits(one.lines.points) and bits(some.frame) == bits(one.frame)
            assert np.array_equal(some.lines.starts, one.lines.starts)


def test_a_worker_prepares_a_part_once(monkeypatch: pytest.MonkeyPatch) -> None:
    made = []

    class Counted(sorvane.Surface):
        def __init__(self, mesh: sorvane.Mesh) -> None:
            made.append(mesh)
            super().__init__(mesh)

    monkeypatch.setattr(batch, "Surface", Counted)
    mesh = box()
    t = np.linspace(0, 1, 12)
    batch.height_map(mesh, sorvane.Tool.ball(1), t, t, tile=2)
    assert made == [mesh]
    assert not batch._ready  # and does not keep it


def test_two_prepared_parts_are_kept_and_the_latest_stay(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(batch, "_ready", type(batch._ready)())
    made: list[str] = []

    def prepared(key: str) -> Any:
        return batch._prepared(key, lambda: made.append(key) or key)

    assert [prepared(key) for key in "aabab"] == list("aabab") and made == list("ab")
    prepared("c")
    assert list(batch._ready) == list("bc")
    prepared("b")
    assert made == list("abc")
    prepared("a")
    assert made == list("abca") and list(batch._ready) == list("ca")


def test_what_could_not_be_prepared_is_tried_again(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(batch, "_ready", type(batch._ready)())
    with pytest.raises(ZeroDivisionError):
        batch._prepared("part", lambda: 1 // 0)
    assert batch._prepared("part", lambda: "now it is there") == "now it is there"


def test_who_comes_while_a_part_is_prepared_waits_for_it(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(batch, "_ready", type(batch._ready)())
    begun, go_on = threading.Event(), threading.Event()
    made: list[int] = []

    def prepare() -> object:
        made.append(1)
        begun.set()
        assert go_on.wait(60)
        return object()

    with ThreadPoolExecutor(2) as pool:
        first = pool.submit(batch._prepared, "part", prepare)
        assert begun.wait(60)
        second = pool.submit(batch._prepared, "part", prepare)
        go_on.set()
        assert first.result() is second.result() and made == [1]


def test_a_mesh_leaves_this_process_once(cluster: Any, monkeypatch: pytest.MonkeyPatch) -> None:
    sent: list[sorvane.Mesh] = []
    reduced = sorvane.Mesh.__reduce__

    def told(mesh: sorvane.Mesh) -> Any:
        sent.append(mesh)
        return reduced(mesh)

    monkeypatch.setattr(sorvane.Mesh, "__reduce__", told)
    mesh = grid(20)
    assert len(batch.slices(mesh, np.linspace(-1, 1, 40), chunk=2, client=cluster)) == 40
    assert sent == [mesh]


def test_workers_keep_no_more_than_the_latest_parts(cluster: Any) -> None:
    t = np.linspace(0, 1, 4)
    for _ in range(3):
        batch.height_map(box(), sorvane.Tool.ball(1), t, t, tile=1, client=cluster)
    kept = cluster.run(lambda: len(importlib.import_module("sorvane.batch")._ready))
    assert set(kept.values()) <= {1, 2} and 2 in kept.values()


def test_the_largest_files_come_first(tmp_path: Path, client: Any, monkeypatch: pytest.MonkeyPatch) -> None:
    sizes = [2, 5, 3, 4]
    names = []
    for size in sizes:
        mesh = grid(size)
        names.append(tmp_path / f"{size}.tipc")
        mesh.write(names[-1])
    begun: list[int] = []
    if client is None:
        monkeypatch.setattr(os, "cpu_count", lambda: 1)
        rows = batch.map_parts(lambda mesh: begun.append(round((len(mesh) / 2) ** 0.5)), names)
        assert [row.error for row in rows] == [None] * 4
    else:
        # What begins first is up to the scheduler, which goes by the priorities.
        submit, priorities = client.submit, {}

        def told(*arguments: Any, priority: float = 0, **keywords: Any) -> Any:
            priorities[priority] = arguments[-1]
            return submit(*arguments, priority=priority, **keywords)

        monkeypatch.setattr(client, "submit", told)
        rows = batch.map_parts(len, names, client=client)
        begun = [int(Path(priorities[priority]).stem) for priority in sorted(priorities, reverse=True)]
    assert begun == [5, 4, 3, 2]
    assert [row.file for row in rows] == [str(name) for name in names]


@pytest.mark.parametrize("when", [(0.4, 0.4), (0.2, 0.6)])
def test_a_raster_survives_the_loss_of_both_workers(fresh_cluster: Any, when: tuple[float, float]) -> None:
    """With all tiles that were ready and not fetched: of both at once, and of one after the other."""
    mesh = grid(20)
    tool = sorvane.Tool.ball(0.2)
    t = np.linspace(0, 1, 40)
    processes = list(fresh_cluster.run(os.getpid).values())
    ended: list[int] = []

    def told(fraction: float) -> None:
        while len(ended) < 2 and fraction > when[len(ended)]:
            ended.append(processes[len(ended)])
            os.kill(ended[-1], signal.SIGKILL)

    heights = batch.height_map(mesh, tool, t, t, tile=8, client=fresh_cluster, progress=told)
    assert ended == processes and bits(heights) == bits(mesh.height_map(tool, t, t))


def test_what_can_not_be_done_is_raised(client: Any, tmp_path: Path) -> None:
    tool = sorvane.Tool.ball(1)
    with pytest.raises(FileNotFoundError):
        batch.height_map(tmp_path / "gone.stl", tool, [0, 1], [0], client=client)
    with pytest.raises(ValueError, match="side"):
        batch.slices(box(), [0.5], side="beside", client=client)
    with pytest.raises(ValueError, match="tile: expected a whole number from 1 on, given 0"):
        batch.height_map(box(), tool, [0], [0], tile=0, client=client)
    for part in (None, 5, [box()]):
        with pytest.raises(ValueError, match="part: expected a sorvane.Mesh or a path, given "):
            batch.slices(part, [0], client=client)  # type: ignore[arg-type]
    with pytest.raises(ValueError, match="tool: expected a sorvane.Tool, given int"):
        batch.height_map(box(), 5, [0], [0], client=client)  # type: ignore[arg-type]
    assert batch.slices(box(), [], client=client) == []
    assert batch.height_map(box(), tool, [], [0], client=client).shape == (1, 0)


class NotHere:
    """Goes through pickle on the worker that makes it, and fails where it arrives."""

    def __reduce__(self) -> Any:
        return _arrives, (os.getpid(),)


def _arrives(sender: int) -> None:
    if os.getpid() != sender:
        raise ImportError("not here")


@pytest.mark.parametrize("end", [SystemExit, KeyboardInterrupt])
def test_a_function_that_wants_to_end_the_worker_has_its_reason(files: list[Path], client: Any, end: type) -> None:
    def work(mesh: sorvane.Mesh) -> int:
        if len(mesh) < 100:
            raise end("enough")
        return len(mesh)

    rows = batch.map_parts(work, files, client=client)
    assert [row.error for row in rows] == [None, None, f"{end.__name__}: enough"]
    assert [row.value for row in rows] == [692, 692, None]


def test_a_result_that_can_not_arrive_has_its_reason(files: list[Path], cluster: Any) -> None:
    rows = batch.map_parts(lambda mesh: NotHere() if len(mesh) > 100 else len(mesh), files, client=cluster)
    assert rows[0].error == rows[1].error == "ImportError: not here"
    assert rows[2].value == 14


def test_a_closed_client_is_told(files: list[Path], fresh_cluster: Any) -> None:
    with pytest.raises(sorvane.Error, match="client is closed"):
        batch.map_parts(len, files * 5, client=fresh_cluster, progress=lambda fraction: fresh_cluster.close())
    with pytest.raises(sorvane.Error, match="client is closed"):
        batch.map_parts(len, files, client=fresh_cluster)


def test_a_result_that_can_not_travel_has_its_reason(files: list[Path], cluster: Any) -> None:
    rows = batch.map_parts(lambda mesh: mesh._handle if len(mesh) > 100 else len(mesh), files, client=cluster)
    assert rows[0].error == rows[1].error == "TypeError: a handle can't be pickled"
    assert rows[2].value == 14
