"""The Python blocks of the guide pages do what the pages say."""

from __future__ import annotations

import doctest
import shutil
from pathlib import Path

import pytest
from conftest import SOURCE


@pytest.mark.parametrize("page", ["python.md", "batches.md"])
def test_blocks_of_a_page(page: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch, example_data: Path) -> None:
    for file in example_data.iterdir():
        shutil.copy(file, tmp_path)
    monkeypatch.chdir(tmp_path)
    result = doctest.testfile(str(SOURCE / "docs" / page), module_relative=False, encoding="utf-8")
    assert result.attempted >= 3 and result.failed == 0


@pytest.mark.parametrize("page", sorted(path.name for path in (SOURCE / "docs").glob("*.md")))
def test_blocks_of_a_page_end(page: str) -> None:
    # One that is left open shows the text after it as code, and that is run all the same.
    opened = ""
    for line in (SOURCE / "docs" / page).read_text(encoding="utf-8").splitlines():
        if line.startswith("```"):
            assert not opened or line == "```", f"{line} stands in the block of {opened}"
            opened = "" if opened else line
        assert not (opened and line.startswith("## ")), f"{line} stands in the block of {opened}"
    assert not opened
