"""Builds the wheel, installs it into an empty virtual environment and runs the examples there.

Usage: check_wheel.py SOURCE BUILD

The environment has nothing but the wheel and NumPy, the one of the Python that runs this (a link to its folder alone, so
that it works without a network). Variables that could lead to the build tree are taken away.
"""

import os
import subprocess
import sys
import tempfile
import venv
from pathlib import Path

import numpy

INSIDE = r"""
import doctest, importlib, os, pkgutil, sys
import sorvane
assert sorvane.__file__.startswith(sys.prefix), sorvane.__file__
with open("/proc/self/maps") as maps:
    loaded = {line.split()[-1] for line in maps if ".so" in line}
ours = [path for path in loaded if "libsorvane" in path or "libtbb" in path]
assert len(ours) == 3, ours
for path in ours:
    assert path.startswith(os.path.realpath(sys.prefix)), path
count = 0
for module in pkgutil.iter_modules(sorvane.__path__, "sorvane."):
    try:
        loaded_module = importlib.import_module(module.name)
    except ImportError as error:
        assert module.name == "sorvane.batch" and "dask" in str(error), (module.name, error)
        continue
    result = doctest.testmod(loaded_module)
    assert result.failed == 0, module.name
    count += result.attempted
assert count > 5
print(f"{count} examples of the docstrings")
"""


def main() -> None:
    source, build = Path(sys.argv[1]), Path(sys.argv[2])
    with tempfile.TemporaryDirectory() as folder:
        scratch = Path(os.path.realpath(folder))
        subprocess.run([source / "scripts/wheel", build, scratch], check=True)
        (wheel,) = scratch.glob("*.whl")
        venv.create(scratch / "env", with_pip=False, symlinks=True)
        python = str(scratch / "env/bin/python")
        environment = {
            name: value
            for name, value in os.environ.items()
            if not name.startswith(("PYTHON", "SORVANE", "LD_LIBRARY", "PIP_"))
        }
        pip = [sys.executable, "-m", "pip", "--python", python, "--disable-pip-version-check"]
        subprocess.run([*pip, "install", "-q", "--root-user-action=ignore", "--no-index", "--no-deps", wheel], check=True, env=environment)
        (packages,) = (scratch / "env/lib").glob("python*/site-packages")
        (packages / "numpy").symlink_to(Path(numpy.__file__).parent)
        work = scratch / "work"
        work.mkdir()
        subprocess.run([python, "-I", "-c", INSIDE], check=True, cwd=work, env=environment)
        examples = sorted((source / "python/examples").glob("*.py"))
        assert examples, "no examples"
        for example in examples:
            print(f"--- {example.name}", flush=True)
            text = example.read_text(encoding="utf-8")
            assert len(text.splitlines()) < 60, f"{example.name} has 60 lines or more"
            if "sorvane.batch" in text:
                continue  # needs Dask, which is not here
            subprocess.run([python, "-I", example, source / "examples/data/bracket.stl"], check=True, cwd=work, env=environment)
        # What pip put there, it takes away.
        subprocess.run([*pip, "uninstall", "-q", "-y", "--root-user-action=ignore", "sorvane"], check=True, env=environment)
        left = [path.name for path in packages.glob("sorvane*")]
        assert not left, left


if __name__ == "__main__":
    main()
