"""How batches scale from one worker to two. Writes rows of Batch.csv.

Each worker is a process of one thread, held on a core of its own, so that two of them have twice the means of one. The
least of several rounds counts, one worker and two in turns.

Usage: batch.py MACHINE FOLDER_OF_THE_SHARED_DATA >> Batch.csv
"""

import datetime
import os
import sys
import tempfile
import time
from pathlib import Path

import numpy as np
from distributed import Client, LocalCluster

import sorvane
from sorvane import batch

ROUNDS = 5


def hold_on_core(dask_worker):
    os.sched_setaffinity(0, {int(dask_worker.name) % (os.cpu_count() or 1)})


def start(workers):
    cluster = LocalCluster(
        n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=":0", memory_limit=0
    )
    client = Client(cluster, set_as_default=False)
    client.run(hold_on_core)
    return cluster, client


def main():
    machine, data = sys.argv[1], Path(sys.argv[2])
    date = datetime.date.today().isoformat()
    files = [file for file in sorted(data.glob("meshes_*/*")) if file.suffix.lower() == ".stl"] * 4
    part = sorvane.read(data / "meshes_nist/nist_ftc_06_asme1_rd.stl")
    tool = sorvane.Tool.ball(6)
    low, high = part.bounds
    xs, ys = np.linspace(low[0], high[0], 1200), np.linspace(low[1], high[1], 1200)
    fine = part.weld(1e-6).split_long_edges(3)
    stack = np.linspace(low[2], high[2], 4000)
    with tempfile.TemporaryDirectory() as folder:
        small = Path(folder, "small.tipc")
        sorvane.hull([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]).write(small)
        jobs = {
            f"`reports` of {len(files)} files": lambda client: batch.reports(files, client=client),
            "`height_map` of 1200 x 1200": lambda client: batch.height_map(part, tool, xs, ys, tile=150, client=client),
            f"`slices` at 4000 heights of {len(fine)} triangles": lambda client: batch.slices(fine, stack, client=client),
            "500 files of 4 triangles": lambda client: batch.map_parts(len, [small] * 500, client=client),
        }
        both = {workers: start(workers) for workers in (1, 2)}
        for name, job in jobs.items():
            best = dict.fromkeys(both, float("inf"))
            for _ in range(ROUNDS):
                for workers, (_, client) in both.items():
                    begin = time.perf_counter()
                    job(client)
                    best[workers] = min(best[workers], time.perf_counter() - begin)
            for workers, seconds in best.items():
                print(f"{date},{machine},batch.py,{workers} worker{'s' * (workers > 1)},{name},,{seconds:.3g},s", flush=True)
        for cluster, client in both.values():
            client.close()
            cluster.close()


if __name__ == "__main__":
    main()
