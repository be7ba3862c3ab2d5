"""What the tests share: the folders of the inputs, and how examples are drawn. Shapes are in shapes.py."""

from __future__ import annotations

import os
from pathlib import Path

import hypothesis
import pytest
from shapes import box

import sorvane

SOURCE = Path(os.environ.get("SORVANE_SOURCE", Path(__file__).resolve().parents[2]))
SHARED = SOURCE.parent / "shared" / "data"

# Examples are drawn from a fixed seed: a test that fails once in a hundred runs helps nobody.
hypothesis.settings.register_profile("sorvane", derandomize=True, deadline=None, max_examples=50)
hypothesis.settings.load_profile("sorvane")


@pytest.fixture
def example_data() -> Path:
    """The folder of the example inputs."""
    return SOURCE / "examples" / "data"


@pytest.fixture
def shared_data() -> Path:
    """The folder of real inputs; tests that need it are left out where it is not."""
    if not SHARED.is_dir():
        pytest.skip("the shared inputs are not here")
    return SHARED


@pytest.fixture
def cube() -> sorvane.Mesh:
    """The unit cube."""
    return box()
