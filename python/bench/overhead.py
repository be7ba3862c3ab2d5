"""What a call from Python costs beyond the C function itself. Writes rows of Overhead.csv.

Each operation is called through the package, and again the C function alone with arguments that are ready. Both
alternate, the least of many runs counts, and the difference is what Python adds: for one element, and for a million.

Usage: overhead.py MACHINE >> Overhead.csv
"""

import ctypes
import datetime
import sys
import time

import numpy as np

import sorvane
from sorvane import _bindings as c


def least(call, runs):
    best = float("inf")
    for _ in range(runs):
        start = time.perf_counter()
        call()
        best = min(best, time.perf_counter() - start)
    return best


def pairs(whole, bare, runs):
    """Least time of each, taken in turns."""
    times = [(least(whole, 1), least(bare, 1)) for _ in range(runs)]
    return min(t[0] for t in times), min(t[1] for t in times)


def main():
    error = c.sorvane_error()
    date = datetime.date.today().isoformat()
    big = 1_000_000
    points = np.random.default_rng(1).random((big, 3))
    triangles = np.arange(big - 1, dtype=np.int32).reshape(-1, 3)
    tool = sorvane.Tool.ball(0.2)
    surface = sorvane.Surface(sorvane.hull(points[:1000]))
    for size in (1, big):
        some = points[: max(size, 3)]
        few = triangles[: max(size // 3, 1)]
        runs = 20000 if size == 1 else 100

        def new():
            sorvane.Mesh(some, few)

        def bare_new():
            mesh = ctypes.POINTER(c.sorvane_mesh)()
            c.sorvane_mesh_new(some, len(some), few, len(few), ctypes.byref(mesh), ctypes.byref(error))
            c.sorvane_mesh_free(mesh)

        mesh = sorvane.Mesh(some, few)
        areas = np.empty(len(mesh))
        queries = points[: max(size // 100, 1)]
        flat = np.ascontiguousarray(queries[:, :2])
        heights, stops = np.empty(len(flat)), np.empty(len(flat), np.int32)

        def bare_areas():
            c.sorvane_mesh_areas(mesh._handle, areas, ctypes.byref(error))

        def bare_drop():
            c.sorvane_surface_drop(
                surface._handle, tool._handle, flat, len(flat), heights, stops, ctypes.byref(error)
            )

        for name, whole, bare, count in (
            ("`Mesh(points, triangles)`", new, bare_new, len(some)),
            ("`Mesh.areas()`", mesh.areas, bare_areas, len(mesh)),
            ("`Surface.drop(tool, points)`", lambda: surface.drop(tool, flat), bare_drop, len(flat)),
        ):
            with_python, alone = pairs(whole, bare, runs)
            for what, value in (("called from Python", with_python), ("of that in C", alone)):
                print(f"{date},{sys.argv[1]},overhead.py,{what},\"{name}\",{count},{1e6 * value:.{3 if value < 1e-4 else 0}{'g' if value < 1e-4 else 'f'}},us")
        if size == 1:
            # Results with most figures: what Python adds there is most.
            how = c.sorvane_section_options()
            c.sorvane_section_options_init(ctypes.byref(how))
            normal, height = np.array((0.0, 0.0, 1.0)), np.array((0.5,))

            def bare_section():
                made = ctypes.POINTER(c.sorvane_sections)()
                c.sorvane_mesh_sections(
                    mesh._handle, normal, height, 1, ctypes.byref(how), ctypes.byref(made), ctypes.byref(error)
                )
                c.sorvane_sections_free(made)

            def bare_report():
                made = ctypes.POINTER(c.sorvane_mesh_report)()
                c.sorvane_mesh_report_new(mesh._handle, 1e-6, ctypes.byref(made), ctypes.byref(error))
                c.sorvane_mesh_report_free(made)

            for name, whole, bare in (
                ("`Mesh.section(z)`", lambda: mesh.section(0.5), bare_section),
                ("`Mesh.report()`", mesh.report, bare_report),
            ):
                with_python, alone = pairs(whole, bare, runs)
                for what, value in (("called from Python", with_python), ("of that in C", alone)):
                    print(f"{date},{sys.argv[1]},overhead.py,{what},{name},{len(mesh)},{1e6 * value:.3g},us")
            view = least(lambda: mesh.points, runs)
            print(f"{date},{sys.argv[1]},overhead.py,called from Python,`Mesh.points` (a view),{len(some)},{1e6 * view:.3g},us")
        del mesh


main()
