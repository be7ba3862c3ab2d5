"""The declarations made from the C headers: against what the compiler and the library say."""

from __future__ import annotations

import ctypes
import enum
import os
import shutil
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from conftest import SOURCE

from sorvane import _bindings as c

SCRIPT = SOURCE / "scripts" / "python-bindings"


def declared(kind: type) -> dict[str, type]:
    return {name: item for name, item in vars(c).items() if isinstance(item, type) and issubclass(item, kind)}


def test_structures_and_enumerations_are_those_of_the_compiler(tmp_path: Path) -> None:
    compiler = shutil.which("gcc") or shutil.which("cc")
    if compiler is None:
        pytest.skip("no C compiler")
    lines, expected = [], []
    for name, item in declared(ctypes.Structure).items():
        fields = getattr(item, "_fields_", None)
        if fields is None:
            continue  # a handle
        lines.append(f'printf("{name} %zu\\n", sizeof({name}));')
        expected.append(f"{name} {ctypes.sizeof(item)}")
        for field, _ in fields:
            plain = field.rstrip("_")
            lines.append(f'printf("{name}.{plain} %zu %zu\\n", offsetof({name}, {plain}), sizeof((({name} *)0)->{plain}));')
            place = getattr(item, field)
            expected.append(f"{name}.{plain} {place.offset} {place.size}")
    assert lines
    for item in declared(enum.IntEnum).values():
        for name, value in getattr(item, "__members__").items():
            lines.append(f'printf("{name} %d\\n", (int){name});')
            expected.append(f"{name} {int(value)}")
    source = tmp_path / "layout.c"
    source.write_text("#include <stdio.h>\n#include <sorvane.h>\nint main(void)\n{\n" + "\n".join(lines) + "\nreturn 0;\n}\n")
    program = tmp_path / "layout"
    subprocess.run([compiler, "-std=c99", "-I", str(SOURCE / "c"), str(source), "-o", str(program)], check=True)
    said = subprocess.run([str(program)], check=True, stdout=subprocess.PIPE, text=True).stdout
    assert said.splitlines() == expected


def test_every_symbol_of_the_library_is_declared() -> None:
    exported = (SOURCE / "tests/c/exports.txt").read_text().split()
    functions = [name for name in exported if name.startswith("sorvane_")]
    assert "sorvane_mesh_weld" in functions
    assert [name for name in functions if not hasattr(c, name)] == []


def test_every_handle_has_its_release() -> None:
    handles = [name for name, item in declared(ctypes.Structure).items() if not hasattr(item, "_fields_")]
    assert sorted(handles) == sorted(c.FREE)


def make(tmp_path: Path, header: str) -> "subprocess.CompletedProcess[str]":
    (tmp_path / "sorvane.h").write_text(header)
    return subprocess.run(
        [sys.executable, str(SCRIPT), str(tmp_path), str(tmp_path / "out.py")],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
    )


def test_what_the_script_can_not_read_is_an_error(tmp_path: Path) -> None:
    for header, reason in {
        "SORVANE_C_API strange f(int a);": "unknown type strange",
        "typedef union u {int a;} u;": "can't read",
        "static int f(void);": "can't read",
        "typedef struct sorvane_x sorvane_x;": "nothing releases a sorvane_x",
        "SORVANE_C_API int f(int a": "unfinished",
    }.items():
        result = make(tmp_path, header)
        assert result.returncode == 1 and reason in result.stdout, header


def test_comments_and_directives_are_passed_over(tmp_path: Path) -> None:
    result = make(
        tmp_path,
        '#ifndef X\n#define X(a) \\\n  a;\n#ifdef __cplusplus\nextern "C" {\n#endif\n/* SORVANE_C_API int g(int a); */\n'
        "typedef enum sorvane_e {\n  A = 2, /* two; */\n  B,\n  C = 0x10\n} sorvane_e;\n"
        "SORVANE_C_API\n  sorvane_e f(const double *p, size_t n, double m[12]);\n#ifdef __cplusplus\n}\n#endif\n#endif\n",
    )
    assert result.returncode == 0, result.stdout
    out = (tmp_path / "out.py").read_text()
    assert "    A = 2\n    B = 3\n    C = 16\n" in out
    assert '_accessor("f", ctypes.c_int, [Doubles, ctypes.c_size_t, Doubles])' in out
    assert '"g"' not in out


def test_a_library_that_is_not_there_is_named() -> None:
    result = subprocess.run(
        [sys.executable, "-c", "import sorvane"],
        env={**os.environ, "SORVANE_LIBRARY": "nowhere/libsorvane_c.so"},
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
    )
    assert result.returncode == 1
    assert "ImportError: sorvane: can't load the library nowhere/libsorvane_c.so" in result.stdout


def test_a_library_without_our_functions_is_of_another_version() -> None:
    result = subprocess.run(
        [sys.executable, "-c", "import sorvane"],
        env={**os.environ, "SORVANE_LIBRARY": "libm.so.6"},
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
    )
    assert result.returncode == 1
    assert "has no function sorvane_status_name: it is of another version" in result.stdout


@pytest.mark.parametrize("wrong", [np.zeros((3, 6))[:, ::2], np.zeros((3, 3), np.float32), np.zeros((3, 3), ">f8"), [0.0]])
def test_pointers_take_no_other_arrays(wrong: object) -> None:
    # What a slip in this package would pass must not be read as something else.
    error = c.sorvane_error()
    made = ctypes.POINTER(c.sorvane_mesh)()
    with pytest.raises(ctypes.ArgumentError):
        c.sorvane_mesh_new(wrong, 3, np.zeros((0, 3), np.int32), 0, ctypes.byref(made), ctypes.byref(error))
    assert not made
