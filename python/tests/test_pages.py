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
