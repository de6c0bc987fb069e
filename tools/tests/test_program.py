"""The tools beside the built program: both sides of every file, and two opinions on every deck."""
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from conftest import ROOT, assert_same
from decks import DECK, ERROR, MISTAKES

from tessaron.beam.generate import BunchRequest, Plane, make_bunch
from tessaron.beam.orbit import coordinates
from tessaron.check.walk import check_deck, walk_deck
from tessaron.files import outputs
from tessaron.files.bunchfiles import read_bunch, write_bunch
from tessaron.run.orbit import on_orbit, read_orbit


def run(program: Path, folder: Path, deck: str) -> str:
    """Runs a deck and returns the console."""
    (folder / "tessar.in").write_text(deck)
    result = subprocess.run([program], cwd=folder, capture_output=True, text=True, timeout=300)
    assert result.returncode == 0
    return result.stdout


@pytest.mark.parametrize("fmt", ["fmt1", "fmt2", "umbra"])
@pytest.mark.parametrize("out", ["fmt1", "fmt2", "fmt0"])
def test_a_bunch_goes_through_the_program_unchanged(tmp_path, program, askew, fmt, out):
    write_bunch(tmp_path / "b.dat", askew, fmt)
    run(program, tmp_path, "lattice { dipole { position { delta_s = 9 } } }\n"
        f"particles {{ format = {fmt} array = #file {{ name = b.dat }} }}\nmonitor {{ name = out.dat format = {out} }}\n")
    back = read_bunch(tmp_path / "out.dat", out)
    if out == "fmt0":  # tells neither time nor charges, and has 14 digits of absolute values
        back.ct, back.charge = askew.ct, askew.charge
    # the program's constant for m c and its inverse agree to 1e-16, its files carry 14 digits
    assert_same(back, askew, 1e-9 if out == "fmt0" else 1e-11)


def test_all_formats_tell_the_same_about_the_orbit(tmp_path, program):
    """Half way through an arc, the files in a frame of their own that is moved and turned."""
    c, s, bunch = np.cos(0.3), np.sin(0.3), make_bunch(BunchRequest(500, 1e9, 1e-9, 1e-3, chirp=(20, 0, 0), x=0.5, horizontal=Plane(1e-6, 10)))
    turn = np.array([[c, -s], [s, c]])
    for rows in (slice(0, 2), slice(3, 5)):
        bunch.reference[rows], bunch.offsets[rows] = turn @ bunch.reference[rows], turn @ bunch.offsets[rows]
    bunch.reference[:2] += (2, 3)
    write_bunch(tmp_path / "b.dat", bunch, "fmt1")
    run(program, tmp_path, "lattice { dipole { position { delta_s = 1 delta_psi = 10 marker = in } properties { r = 1.5 } position { delta_s = 1.2 } } }\n"
        f"particles {{ reference_point_x = 2 reference_point_y = 3 reference_point_phi = {np.degrees(0.3)} array = #file {{ name = b.dat }} }}\n"
        "tracker { end_time_marker = in end_time_shift_c0 = 0.6 }\n" + "".join(f"monitor {{ name = {fmt} format = {fmt} }}\n" for fmt in ("fmt1", "fmt2", "fmt3")))
    orbit = read_orbit(tmp_path / "tessar.in")
    found = [coordinates(*on_orbit(read_bunch(tmp_path / fmt, fmt), orbit)) for fmt in ("fmt1", "fmt2", "fmt3")]
    assert walk_deck(tmp_path / "tessar.in").beam.ct == pytest.approx(read_bunch(tmp_path / "fmt1", "fmt1").ct, abs=1e-6)
    for local in found[:2]:
        assert local.place == pytest.approx(1.6, abs=1e-3)
        for name, digits in (("s", 1e-13), ("u", 1e-13), ("w", 1e-13), ("pu", 1e-3), ("ps", 1e-3), ("energy", 1e-3)):
            np.testing.assert_allclose(getattr(local, name), getattr(found[2], name), atol=digits)


def test_both_sides_build_the_same_orbit(tmp_path, program):
    deck = (ROOT / "examples/bunch_compressor/tessar.in").read_text()
    bend = ("lattice { dipole { position { rho = 1 psi = 20 } properties { r = 3 } position { delta_s = 0.4 delta_psi = -10 } }\n"
            "quadrupole { position { delta_s = 0.3 marker = q } properties { strength = 1 } position { delta_s = 0.2 } }\n"
            "dipole { position { rho = 2.5 psi = -5 } properties { r = -2 } position { rho = 3.1 psi = 8 duty = no } } }\n")
    for text in (re.search(r"lattice \{.*?\n\}\n", deck, re.DOTALL)[0], bend):
        run(program, tmp_path, text)
        ours, theirs = walk_deck(tmp_path / "tessar.in").boundaries, outputs.read_latout(tmp_path / "latout.dat")
        assert len(ours) == len(theirs) >= 6
        for one, other in zip(ours, theirs):
            assert (one.marker, one.duty) == (other.marker, other.duty)
            for name in ("x", "y", "tx", "ty", "nx", "ny", "s", "r"):
                assert getattr(one, name) == pytest.approx(getattr(other, name), abs=1e-13)


@pytest.mark.parametrize("old, new, line", [row[:3] for row in MISTAKES if row[3] == ERROR])
def test_the_program_fails_where_the_check_says_so(tmp_path, program, old, new, line):
    write_bunch(tmp_path / "bunch.dat", make_bunch(BunchRequest(2000, 1e9, 1e-9, 1e-4)), "fmt1")
    deck = DECK.replace("type = projected", "type = none").replace(old.replace("projected", "none"), new, 1)
    if deck == DECK.replace("type = projected", "type = none") or "type = none" in deck and line == 6:
        deck = DECK.replace(old, new, 1)
    (tmp_path / "tessar.in").write_text(deck)
    assert any(finding.severity == "error" for finding in check_deck(tmp_path / "tessar.in"))
    console = run(program, tmp_path, deck)
    assert re.search(r"^ (io )?error|unknown global command", console, re.MULTILINE), console[-600:]


def test_a_quiet_start_lowers_the_noise_of_the_csr_force(tmp_path, program):
    """The force in an arc as the program writes it: random noise falls with the root of N, that of a quiet start with N."""
    script = ROOT / "examples/quiet_start/run.py"
    result = subprocess.run([sys.executable, script, "--program", program, "--workdir", tmp_path, "--particles", "1000", "9000"],
                            capture_output=True, text=True, timeout=300)
    assert result.returncode == 0, result.stderr
    (few, random_few, quiet_few), (many, random_many, quiet_many) = (map(float, found) for found in re.findall(
        r"^ +(\d+) +([\d.]+) +([\d.]+)$", result.stdout, re.MULTILINE))
    assert (few, many) == (1000, 9000)
    assert quiet_few < 0.1 * random_few and quiet_many < 0.03 * random_many
    assert 1.5 < random_few / random_many < 6  # 3 on average
    assert 6 < quiet_few / quiet_many < 15  # 9
