"""Shared by all tests: where the repository and the built program are, and small bunches."""
from __future__ import annotations

import os
import sys
from pathlib import Path

import numpy as np
import pytest

ROOT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tools"), str(ROOT / "examples" / "bunch_compressor")]

from tessaron.beam.bunch import Bunch  # noqa: E402


@pytest.fixture(scope="session")
def program() -> Path:
    """The built program: $TESSARON, or build/tessaron."""
    path = Path(os.environ.get("TESSARON", ROOT / "build" / "tessaron"))
    if not path.exists():
        pytest.skip("the program is not built; set TESSARON to its path")
    return path


@pytest.fixture
def askew() -> Bunch:
    """A bunch without any symmetry, heading upwards and to the left, with unequal charges and one mere test particle."""
    random = np.random.default_rng(7)
    scales = np.array([2e-4, 5e-5, 3e-5, 3e6, 2e4, 1e4])[:, None]
    offsets = scales * random.standard_normal((6, 40))
    offsets[:, 0] = 0
    charge = random.random(40) * 1e-12
    charge[5] = 0
    return Bunch(3.25, np.array([1.5, -0.25, 0.01, 4e8, 1.2e8, 5e6]), offsets, charge)


def assert_same(a: Bunch, b: Bunch, tolerance: float = 1e-12) -> None:
    """Equal coordinates, on the scale of the largest of each kind, differences from the reference included."""
    assert a.ct == pytest.approx(b.ct, rel=tolerance, abs=tolerance)
    for rows in (slice(0, 3), slice(3, 6)):
        for one, other in ((a.offsets, b.offsets), (a.reference, b.reference)):
            assert np.abs(one[rows] - other[rows]).max() <= tolerance * np.abs(other[rows]).max()
    assert np.abs(a.charge - b.charge).max() <= tolerance * np.abs(b.charge).max()
