"""Many parts, or one job too large for one processor: on the cores of this machine or on a Dask cluster.

Each function does its work on the cluster of ``client=``, a ``dask.distributed.Client``. Without one it takes the client
that the program has made last, and without any the threads of this process, for which Dask need not be installed.

Results do not depend on any of that, to the last bit: not on the number of workers, not on how the work was divided, not
on workers that were lost on the way, whose work others do again.

The workers need this package, in the same version. Files are read by the workers, under the names given here.
"""

from __future__ import annotations

import contextlib
import importlib
import os
import pickle
import queue
import sys
import threading
import uuid
import warnings
from collections import OrderedDict
from concurrent.futures import Future, ThreadPoolExecutor, as_completed
from typing import Any, Callable, Dict, Generator, Iterable, List, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np

import sorvane

from ._arrays import ArrayLike, FloatArray, numbers_of, point_of
from ._errors import Error, Stopped
from ._machining import Surface, Tool
from ._mesh import Mesh
from ._progress import Progress, listening
from ._sections import Section, Slicer, Slices

__all__ = ["Row", "height_map", "map_parts", "reports", "slices"]

PathLike = Union[str, "os.PathLike[str]"]


class Row(NamedTuple):
    """What became of one file."""

    #: Its name, as it was given.
    file: str
    #: The result; None when there is an error.
    value: Any
    #: Why there is none, such as "FileNotFoundError: ..."; None when all went well.
    error: Optional[str]


def map_parts(
    function: Callable[[Mesh], Any], files: Iterable[PathLike], *, client: Any = None, progress: Progress = None
) -> List[Row]:
    """Reads each file and calls ``function`` with its mesh.

    Parameters
    ----------
    function : callable
        Takes a `sorvane.Mesh`, as it was read: an STL is not welded. On a cluster it goes to the workers, and what it
        returns comes back, by pickle.
    files : iterable of paths
        Names under which the workers find them.
    client : dask.distributed.Client, optional
        See above.
    progress : None, True or callable
        Told the fraction of the files that are done.

    Returns
    -------
    list of Row
        In the order of the files. What goes wrong with one of them, be it that it can't be read, that the function
        raises something or that workers die of it, stands in its row and stops nothing.

    >>> from sorvane import batch
    >>> rows = batch.map_parts(len, ["nowhere.stl"])
    >>> rows[0].value is None, rows[0].error.split(":")[0]
    (True, 'FileNotFoundError')
    """
    names = [os.fspath(file) for file in files]
    jobs = [(function, name) for name in names]
    # The largest first, so that none of them runs alone at the end.
    order = sorted(range(len(names)), key=lambda i: -_size(names[i]))
    return _each(
        _part, jobs, client, progress, order=order, failed=lambda i, error: Row(names[i], None, _reason(error))
    )


def reports(
    files: Iterable[PathLike], tolerance: float = 1e-6, *, client: Any = None, progress: Progress = None
) -> List[Row]:
    """`Mesh.report` of each file. The value of a row is a `sorvane.Report`; see `map_parts` for the rest.

    >>> from sorvane import batch
    >>> [row.error for row in batch.reports(["nowhere.stl"])]
    ["FileNotFoundError: [Errno 2] No such file or directory: 'nowhere.stl'"]
    """
    return map_parts(_Reporter(tolerance), files, client=client, progress=progress)


class _Reporter:
    def __init__(self, tolerance: float) -> None:
        self.tolerance = tolerance

    def __call__(self, mesh: Mesh) -> Any:
        return mesh.report(self.tolerance)


def height_map(
    part: Union[Mesh, PathLike],
    tool: Tool,
    xs: ArrayLike,
    ys: ArrayLike,
    *,
    tile: int = 512,
    client: Any = None,
    progress: Progress = None,
) -> FloatArray:
    """`Mesh.height_map` of a large raster in tiles: heights of the tool's tip, (len(ys), len(xs)).

    Each worker prepares the part once and then drops the tool over one tile after the other. The heights are those of
    one call over the whole raster, to the bit.

    Parameters
    ----------
    part : Mesh or path
        A mesh goes to each worker once. A path is read by each worker, and not by this process.
    tool : Tool
        The cutter.
    xs, ys : array_like, (nx,) and (ny,)
        Where the raster stands.
    tile : int
        Rows and columns of a tile at most.

    >>> import sorvane
    >>> from sorvane import batch
    >>> roof = sorvane.Mesh([(0, 0, 0), (9, 0, 0), (0, 9, 0), (9, 9, 9)], [(0, 1, 2), (1, 3, 2)])
    >>> batch.height_map(roof, sorvane.Tool.flat(2), [1, 2, 3], [1, 2], tile=2)
    array([[0., 0., 0.],
           [0., 0., 0.]])
    """
    columns, rows = numbers_of(xs, "xs"), numbers_of(ys, "ys")
    if not isinstance(tool, Tool):
        raise ValueError(f"tool: expected a sorvane.Tool, given {type(tool).__name__}")
    size = _count(tile, "tile")
    corners = [(i, j) for j in range(0, len(rows), size) for i in range(0, len(columns), size)]
    heights = np.empty((len(rows), len(columns)))

    def put(number: int, values: FloatArray) -> None:
        i, j = corners[number]
        heights[j : j + size, i : i + size] = values

    with _everywhere(part) as shared:
        jobs = [(tool, columns[i : i + size], rows[j : j + size]) for i, j in corners]
        _each(_height_tile, jobs, client, progress, shared=shared, put=put)
    return heights


def slices(
    part: Union[Mesh, PathLike],
    heights: ArrayLike,
    *,
    normal: ArrayLike = (0.0, 0.0, 1.0),
    side: str = "above",
    tolerance: float = 0.0,
    chunk: int = 64,
    client: Any = None,
    progress: Progress = None,
) -> List[Section]:
    """`Mesh.slices` of a tall stack, ``chunk`` planes at a time: a section for each height, in their order.

    Each worker prepares the part once; the sections are those of one call, to the bit. ``part`` as in `height_map`,
    the rest as in `Mesh.slices`. Sections of an STL as read do not close: weld it, and pass the mesh or a TIPC file.

    >>> import sorvane
    >>> from sorvane import batch
    >>> peak = sorvane.hull([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]])
    >>> [section.area for section in batch.slices(peak, [0, 0.5], chunk=1)]
    [0.5, 0.125]
    """
    planes, direction = numbers_of(heights, "heights"), point_of(normal, "normal")
    size = _count(chunk, "chunk")
    with _everywhere(part) as shared:
        jobs = [
            (direction, side, tolerance, planes[first : first + size]) for first in range(0, len(planes), size)
        ]
        parts = _each(_some_slices, jobs, client, progress, shared=shared)
    return [section for some in parts for section in some]


def _count(value: int, name: str) -> int:
    if not isinstance(value, (int, np.integer)) or value < 1:
        raise ValueError(f"{name}: expected a whole number from 1 on, given {value!r}")
    return int(value)


def _height_tile(key: str, part: Any, tool: Tool, xs: FloatArray, ys: FloatArray) -> FloatArray:
    surface: Surface = _prepared(key + " surface", lambda: Surface(_mesh(part)))
    return surface.height_map(tool, xs, ys)


def _some_slices(
    key: str, part: Any, normal: FloatArray, side: str, tolerance: float, heights: FloatArray
) -> Slices:
    # By the direction as well: one stack has one, but whoever holds the key may ask for another.
    slicer: Slicer = _prepared(f"{key} slicer {normal.tolist()}", lambda: Slicer(_mesh(part), normal))
    return slicer.slices(heights, side=side, tolerance=tolerance)


def _mesh(part: Any) -> Mesh:
    return part if isinstance(part, Mesh) else sorvane.read(part)


# What this process has prepared, the latest last. Every process of a cluster has its own.
_ready: "OrderedDict[str, Future[Any]]" = OrderedDict()
_ready_lock = threading.Lock()
#: How many prepared parts a worker keeps.
_KEPT = 2


def _prepared(key: str, prepare: Callable[[], Any]) -> Any:
    """What `prepare` gives, made once for each key; who comes while it is made waits for it."""
    with _ready_lock:
        future = _ready.get(key)
        mine = future is None
        if future is None:
            future = _ready[key] = Future()
            while len(_ready) > _KEPT:
                _ready.popitem(last=False)
    if mine:
        try:
            future.set_result(prepare())
        except BaseException as error:
            future.set_exception(error)
            with _ready_lock:
                _ready.pop(key, None)
    return future.result()


@contextlib.contextmanager
def _everywhere(part: Union[Mesh, PathLike]) -> Generator[Tuple[str, Any], None, None]:
    """A key of its own for one call, and the part, as what its jobs share."""
    if not isinstance(part, (Mesh, str, bytes, os.PathLike)):
        raise ValueError(f"part: expected a sorvane.Mesh or a path, given {type(part).__name__}")
    key = uuid.uuid4().hex
    try:
        yield key, part if isinstance(part, Mesh) else os.fspath(part)
    finally:
        with _ready_lock:
            for name in [name for name in _ready if name.startswith(key)]:
                del _ready[name]


def _size(name: str) -> int:
    try:
        return os.stat(name).st_size
    except (OSError, ValueError):
        return 0  # the workers may see what this machine does not


def _reason(error: BaseException) -> str:
    text = str(error)
    name = type(error).__name__
    if name == "KilledWorker":
        return "KilledWorker: every worker that took it ended, as by a lack of memory"
    return f"{name}: {text}" if text else name


def _part(function: Callable[[Mesh], Any], name: str) -> Row:
    try:
        return Row(name, function(sorvane.read(name)), None)
    except BaseException as error:  # sys.exit() and the like too: they would end the worker
        return Row(name, None, _reason(error))


# --- how jobs are done ------------------------------------------------------------------------------------------------


def _each(
    function: Callable[..., Any],
    jobs: Sequence[Tuple[Any, ...]],
    client: Any,
    progress: Progress,
    *,
    shared: Tuple[Any, ...] = (),
    order: Optional[Sequence[int]] = None,
    failed: Optional[Callable[[int, BaseException], Any]] = None,
    put: Optional[Callable[[int, Any], None]] = None,
) -> List[Any]:
    """`function(*shared, *job)` for all jobs, begun in the given order; results in that of the jobs.

    What is shared goes to each worker once. With `put` results go there at once instead of into the list. Where a job can't be done, `failed` gives a result in its place, or the
    error is raised.
    """
    if order is None:
        order = range(len(jobs))
    client = _client(client)
    if client is None:
        answers = _locally(function, shared, jobs, order)
    else:
        answers = _on_cluster(client, function, shared, jobs, order)
    results: List[Any] = [None] * len(jobs)
    with listening(progress, "batch") as told, contextlib.closing(answers):
        for done, (number, result, error) in enumerate(answers, 1):
            if error is not None:
                if failed is None:
                    raise error
                result = failed(number, error)
            if put is not None:
                put(number, result)
            else:
                results[number] = result
            if told is not None and not told(done / len(jobs)):
                raise Stopped("stopped by progress", sorvane.Status.SORVANE_STOPPED)
    return results


def _client(client: Any) -> Any:
    if client is not None:
        return client
    distributed = sys.modules.get("distributed")
    if distributed is None:
        return None  # nobody can have made a client
    try:
        return distributed.default_client()
    except ValueError:
        return None


#: Seconds without any news after which jobs are given out once more; see below.
_PATIENCE = 60.0
#: How often a job is given out of which the result can't be fetched.
_FETCHES = 4

#: Number of a job, its result, and what it raised.
_Answers = Generator[Tuple[int, Any, Optional[BaseException]], None, None]


def _locally(
    function: Callable[..., Any], shared: Tuple[Any, ...], jobs: Sequence[Tuple[Any, ...]], order: Sequence[int]
) -> _Answers:
    """In the threads of this process: the interpreter lock is free while the library works."""
    pool = ThreadPoolExecutor(os.cpu_count() or 1)
    try:
        numbers = {pool.submit(function, *shared, *jobs[i]): i for i in order}
        for future in as_completed(numbers):
            error = future.exception()
            yield numbers.pop(future), None if error else future.result(), error
    finally:
        pool.shutdown(cancel_futures=True)


def _on_cluster(
    client: Any,
    function: Callable[..., Any],
    shared: Tuple[Any, ...],
    jobs: Sequence[Tuple[Any, ...]],
    order: Sequence[int],
) -> _Answers:
    """On the workers of a cluster. Dask does again what was lost with a worker."""
    finished: "queue.SimpleQueue[Tuple[int, Any, Any, Optional[BaseException]]]" = queue.SimpleQueue()
    pending: Dict[int, List[Any]] = {}
    there: List[Any] = []
    blamed: List[int] = []
    alone = False

    async def fetch(number: int, future: Any) -> None:
        try:
            finished.put((number, future, await client.gather(future, asynchronous=True), None))
        except BaseException as error:
            finished.put((number, future, None, error))

    def running() -> None:
        if client.status in ("closing", "closed"):
            raise Error("the client is closed, or has lost its scheduler")

    def begin(numbers: Iterable[int]) -> None:
        running()
        # What is shared goes with a job of its own, which can be done again. Dask would rather have it sent ahead, but
        # then it would be lost with the workers that hold it.
        with warnings.catch_warnings():
            warnings.filterwarnings("ignore", message="Large object of size")
            there[:] = [client.submit(_itself, part, pure=False) for part in shared]
            for rank, number in enumerate(numbers):
                future = client.submit(
                    _checked, sorvane.__version__, function, *there, *jobs[number], pure=False, priority=-rank
                )
                pending.setdefault(number, []).append(future)
                # In the client's thread: a result that was lost with its worker keeps no other one waiting.
                future.add_done_callback(lambda done, number=number: client.loop.add_callback(fetch, number, done))

    def drop(futures: List[Any]) -> None:
        if client.status == "running":
            client.cancel(futures)

    # Without any news for that long the jobs are given out once more, and what is ready first counts. Where workers end
    # while others fetch something from them, the scheduler may wait for a job that nobody does. A job that just takes
    # long is done twice then, but not three times before it has taken twice as long again.
    patience = _PATIENCE
    try:
        begin(order)
        while pending or blamed:
            if not pending:
                # Dask blames a worker's end on all jobs that were waiting there. Alone, a job is to blame itself.
                alone = True
                begin([blamed.pop(0)])
            try:
                number, future, packed, error = finished.get(timeout=patience)
            except queue.Empty:
                patience *= 2
                begin(list(pending))
                continue
            running()  # or all are said to be canceled
            if future not in pending.get(number, []):
                continue  # another one was first
            result = None
            if error is None:
                try:
                    result = pickle.loads(packed)
                except Exception as exception:
                    error = exception
            elif type(error).__name__ == "CancelledError":
                error = Error("the cluster has given the job up")
            elif future.status != "error" and len(pending[number]) < _FETCHES:
                begin([number])  # it was done, but its result can't be had
                continue
            drop(pending.pop(number))
            if type(error).__name__ == "KilledWorker" and not alone:
                blamed.append(number)
            else:
                yield number, result, error
    finally:
        drop([future for futures in pending.values() for future in futures])


def _itself(value: Any) -> Any:
    return value


def _checked(version: str, function: Callable[..., Any], *job: Any) -> bytes:
    if sorvane.__version__ != version:
        raise Error(f"a worker has sorvane {sorvane.__version__}, not {version}: its results might differ")
    # As bytes: of a result that can't travel Dask would ask again and again, and this says so at once.
    cloudpickle = importlib.import_module("cloudpickle")
    packed: bytes = cloudpickle.dumps(function(*job), protocol=5)
    return packed
