"""Every example with few particles against what its physics must give.

    python3 -m pytest examples

takes the program from $TESSARON or build/tessaron; without it nothing is tested.
"""
from __future__ import annotations

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

HERE = Path(__file__).resolve().parent
PROGRAM = Path(os.environ.get("TESSARON", HERE.parent / "build" / "tessaron")).resolve()
pytestmark = pytest.mark.skipif(not PROGRAM.exists(), reason="the program is not built; set TESSARON to its path")
NUMBER = r"\s+(-?[\d.]+(?:e[+-]\d+)?)"


def console_of(name: str, folder: Path, script: str = "run.py") -> str:
    """What a script --quick of an example prints; it has to end well and leave a picture of some size."""
    result = subprocess.run([sys.executable, HERE / name / script, "--quick", "--program", PROGRAM, "--workdir", folder],
                            capture_output=True, text=True, timeout=900)
    assert result.returncode == 0, result.stdout + result.stderr
    assert any(picture.stat().st_size > 10000 for picture in folder.glob("*.png"))
    return result.stdout


def numbers_behind(label: str, console: str, count: int = 1) -> list[float]:
    """The numbers that follow a label at the start of a line."""
    found = re.search(rf"^ *{re.escape(label)}" + NUMBER * count, console, re.MULTILINE)
    assert found, f"no line '{label}' in\n{console}"
    return [float(number) for number in found.groups()]


@pytest.mark.parametrize("name", sorted(path.parent.name for path in HERE.glob("*/run.py")))
def test_every_example_has_its_readme_and_pictures(name):
    text = (HERE / name / "README.md").read_text()
    pictures = re.findall(r"!\[[^\]]*\]\(([^)]+)\)", text)
    assert pictures and all((HERE / name / picture).stat().st_size < 150e3 for picture in pictures)
    assert list((HERE / name).glob("tessar*.in"))
    assert f"examples/{name}/run.py" in text


def test_bunch_compressor(tmp_path):
    """check.py, an independent calculation, gives -0.0447 %, 0.0231 %, 1.588 um; steps of 0.1 m are worth 1 %."""
    with_force = console_of("bunch_compressor", tmp_path).split("with self force")[1]
    assert numbers_behind("mean energy change", with_force) == pytest.approx([-0.0447], rel=0.02)
    assert numbers_behind("added rms energy spread", with_force) == pytest.approx([0.0231], rel=0.02)
    assert numbers_behind("norm. emittance behind", with_force) == pytest.approx([1.588], rel=0.02)


def test_shielding(tmp_path):
    """Shares of the free loss against the mode sum of parallel plates, which is 1/5 at 10 mm for a long smoothing length."""
    _, long, _, whole = console_of("shielding", tmp_path).split("relative_long")
    for console in (long, whole):
        free, theory = re.search(rf"without plates{NUMBER} eV/m, theory{NUMBER}", console).groups()
        assert float(free) == pytest.approx(float(theory), rel=0.005)
        for distance in ("6", "10", "20"):
            computed, expected = numbers_behind(distance, console, 2)
            assert computed == pytest.approx(expected, abs=0.015)
    assert numbers_behind("10", long, 2)[1] == pytest.approx(0.2, abs=0.01)


def test_planes_in_a_chicane(tmp_path):
    """The kernel over the whole bunch against check.py to 3 %; its own reach loses the shielding."""
    console = console_of("shielding", tmp_path, "chicane.py")
    shielded, alone = (numbers_behind(f"10 {name}", console, 3) for name in ("bunch", "kernel"))
    assert shielded == pytest.approx(numbers_behind("10 check.py", console, 3), rel=0.03)
    assert alone[0] < 1.4 * shielded[0]  # the loss, below 0


def test_wake(tmp_path):
    """Forces against the analytic convolution; the wake's steep front is interpolated linearly."""
    console = console_of("wake", tmp_path)
    for name, most in (("exponential", 0.3), ("resistive", 1.0)):
        mean, expected, difference = numbers_behind(name, console, 3)
        assert mean == pytest.approx(expected, rel=0.01) and mean < -40
        assert difference < most  # % of the largest force


def test_direct_sum(tmp_path):
    """Differences from the projected force vanish with the width squared, down to that model's own 0.3 %, and with 1/gamma^2."""
    console = console_of("direct_sum", tmp_path)
    wide, thin = numbers_behind("5000  0.2500", console, 3), numbers_behind("5000  0.0156", console, 3)
    assert 0.3 * 25**2 / 100 < wide[1] < 0.5 * 25**2 / 100 and thin[1] < 0.4  # % of the largest force
    assert thin[2] > 1.5 * wide[2]  # the force across grows with the logarithm
    assert numbers_behind("250  0.0156", console, 2)[1] > 10 * thin[1]


def test_models_compared(tmp_path):
    """On an arc all paths are the mean one, moved and turned: what is left is the interpolation on the mesh, at most 0.4 %."""
    console = console_of("models_compared", tmp_path)
    columns = {kind: numbers_behind(kind, console, 5) for kind in ("projected", "csr_p_to_p", "csr_p_to_m", "csr_g_to_p", "csr_g_to_m")}
    assert columns["csr_p_to_p"][1:] == [0, 0, 0, 0]
    assert all(0 <= value < 0.4 for value in columns["csr_g_to_p"][1:])
    assert max(columns["csr_p_to_m"][1:] + columns["csr_g_to_m"][1:]) < 1 < columns["projected"][2] < 15
