"""The blocks of the page about meshes, run in the folder of the example inputs, and its picture."""

from __future__ import annotations

import doctest
import re
from pathlib import Path

import pytest
from conftest import SOURCE

import sorvane

PAGE = SOURCE / "docs" / "python-meshes.md"


def test_blocks_say_what_comes_out(example_data: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    blocks = re.findall(r"^```python\n(.*?)^```$", PAGE.read_text(encoding="utf-8"), flags=re.M | re.S)
    test = doctest.DocTestParser().get_doctest("\n".join(blocks), {}, PAGE.name, str(PAGE), 0)
    assert len(test.examples) > 20
    monkeypatch.chdir(example_data)
    failures: list[str] = []
    doctest.DocTestRunner().run(test, out=failures.append)
    assert not failures, "".join(failures)


def test_the_picture_is_that_of_the_package(example_data: Path) -> None:
    drawn = (SOURCE / "docs" / "pictures" / "python-mesh.svg").read_text(encoding="utf-8")
    fresh = sorvane.read(example_data / "bracket.stl").weld(1e-6)._repr_svg_()
    # Last digits are another processor's affair.
    assert drawn.split("viewBox")[0] == fresh.split("viewBox")[0]
    assert drawn.count("<path") == fresh.count("<path")
