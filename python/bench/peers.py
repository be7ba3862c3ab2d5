"""Side by side with other Python packages, where they are installed. Writes rows of Peers.csv.

Each pair does the same job on the same data, in turns; the least of several runs counts. Results are compared first, so
that nobody is fast at something else.

Usage: peers.py MACHINE FOLDER_OF_THE_SHARED_DATA >> Peers.csv
"""

import datetime
import importlib.util
import sys
import time
from pathlib import Path

import numpy as np

import sorvane


def row(library, operation, size, seconds):
    date = datetime.date.today().isoformat()
    print(f"{date},{sys.argv[1]},peers.py,{library},{operation},{size},{1e3 * seconds:.3g},ms", flush=True)


def compare(operation, size, calls, runs=7):
    best = dict.fromkeys(calls, float("inf"))
    for _ in range(runs):
        for library, call in calls.items():
            start = time.perf_counter()
            call()
            best[library] = min(best[library], time.perf_counter() - start)
    for library, seconds in best.items():
        row(library, operation, size, seconds)


def installed(name):
    return importlib.util.find_spec(name) is not None


def files(data):
    path = str(data / "meshes_organic/koala.stl")
    mesh = sorvane.read(path)
    calls = {"sorvane": lambda: sorvane.read(path).points}
    if installed("stl"):
        import stl

        assert np.allclose(stl.mesh.Mesh.from_file(path).vectors.reshape(-1, 3), mesh.points)
        calls["numpy-stl"] = lambda: stl.mesh.Mesh.from_file(path).vectors
    compare("read a binary STL", len(mesh), calls)

    calls = {"sorvane": lambda: sorvane.read(path).weld(0)}
    if installed("meshio"):
        import meshio

        assert len(meshio.read(path, "stl").points) == len(mesh.weld(0).points)
        calls["meshio"] = lambda: meshio.read(path, "stl")
    compare("read a binary STL and join equal points", len(mesh), calls)

    calls = {"sorvane": lambda: sorvane.read(path).volume}
    if installed("stl"):
        assert np.isclose(stl.mesh.Mesh.from_file(path).get_mass_properties()[0], mesh.volume)
        calls["numpy-stl"] = lambda: stl.mesh.Mesh.from_file(path).get_mass_properties()[0]
    compare("read a binary STL and take its volume", len(mesh), calls)


def regions():
    if not installed("shapely"):
        return
    from shapely.geometry import Polygon
    from shapely.ops import unary_union

    rng = np.random.default_rng(5)
    angles = np.linspace(0, 2 * np.pi, 40, endpoint=False)
    circle = np.column_stack([np.cos(angles), np.sin(angles)])
    loops = [circle * rng.uniform(0.5, 1) + rng.uniform(0, 40, 2) for _ in range(1000)]
    polygons = [Polygon(loop) for loop in loops]
    region = sorvane.Region(loops).union()
    assert np.isclose(region.area, unary_union(polygons).area, rtol=1e-6)
    calls = {
        "sorvane": lambda: sorvane.Region(loops).union(),
        "shapely": lambda: unary_union([Polygon(loop) for loop in loops]),
    }
    compare("union of 1000 outlines", 40 * len(loops), calls)

    star = np.column_stack([np.cos(angles), np.sin(angles)]) * np.where(np.arange(40) % 2, 5.0, 9.0)[:, None]
    shape, part = Polygon(star), sorvane.Region([star])
    calls = {
        "sorvane": lambda: part.offset(1.0, tolerance=0.01),
        "shapely": lambda: shape.buffer(1.0, resolution=11),  # chords of the same height
    }
    assert np.isclose(part.offset(1.0, tolerance=0.01).area, shape.buffer(1.0, resolution=11).area, rtol=1e-2)
    compare("offset of a star outward", 40, calls)


files(Path(sys.argv[2]))
regions()
