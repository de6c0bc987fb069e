"""The command as a user calls it: through its launcher, from any folder."""
import json
import os
import re
import subprocess

import pytest
from conftest import ROOT
from decks import DECK

from tessaron.command.cli import main

COMMAND = ROOT / "tools" / "tessaron-tools"


def call(folder, *arguments, status=0):
    result = subprocess.run([COMMAND, *map(str, arguments)], cwd=folder, capture_output=True, text=True)
    assert result.returncode == status, result.stderr
    return result


def test_from_a_bunch_to_pictures(tmp_path):
    made = call(tmp_path, "make-bunch", "b.dat", "-n", 500, "--energy", 5e8, "--length", 1e-4, "--chirp", 10, 1e3, "--profile", "parabolic", "--seed", 3).stdout
    assert made.count("\n") == 1 and made.startswith("b.dat: fmt1, 500 particles, 1 nC")
    call(tmp_path, "convert", "b.dat", "b.h5")
    call(tmp_path, "convert", "b.h5", "b2.dat", "--to", "fmt2")
    call(tmp_path, "convert", "b2.dat", "c.dat", "--from", "fmt2")
    assert (tmp_path / "c.dat").read_text() == (tmp_path / "b.dat").read_text()
    table = call(tmp_path, "analyse", "b.h5", "--slices", 5).stdout
    assert re.search(r"rms length +(99\.\d+|100\.\d+) um", table) and re.search(r"mean energy +500(\.\d+)? MeV", table)
    result = json.loads(call(tmp_path, "analyse", "b.dat", "b.h5", "--r56", "--json").stdout)
    assert result["path_length"]["r56"] == pytest.approx(0, abs=1e-12) and len(result["series"]["ct"]) == 2
    call(tmp_path, "make-bunch", "s.dat", "--size", 1e-4, 2e-4, "--divergence", 1e-5, 3e-5)
    sized = json.loads(call(tmp_path, "analyse", "s.dat", "--json").stdout)["bunches"][0]
    assert [sized[plane][name] for plane in ("horizontal", "vertical") for name in ("size", "angle")] == pytest.approx([1e-4, 1e-5, 2e-4, 3e-5], rel=0.01)
    for kind in ("phase", "longitudinal", "slices", "series"):
        call(tmp_path, "plot", kind, "b.dat", "-o", f"{kind}.png")
        assert (tmp_path / f"{kind}.png").read_bytes().startswith(b"\x89PNG")


def test_check_tells_its_verdict_as_status(tmp_path):
    call(tmp_path, "make-bunch", "bunch.dat", "-n", 2000)
    (tmp_path / "tessar.in").write_text(DECK)
    assert call(tmp_path, "check").stdout.startswith("0 errors, 0 warnings\nestimated time of one core, ")
    (tmp_path / "tessar.in").write_text(DECK.replace("fmt1", "fmt9"))
    result = call(tmp_path, "check", "tessar.in", "--json", status=1)
    assert [item["line"] for item in json.loads(result.stdout) if item["severity"] == "error"] == [5]
    assert call(tmp_path, "check", status=1).stdout.splitlines()[-1].startswith("1 error, ")


@pytest.mark.parametrize("arguments, words", [
    ("analyse nowhere.dat", "nowhere.dat"), ("make-bunch b.dat --chirp -3.6e1 --charge -1e-9 -n 1", "at least 2 particles"),
    ("convert steps.dat ./steps.dat", "is the file that is read"),
    ("make-bunch b.dat --energy 1e9 --momentum 1e9", "--momentum and --energy exclude each other"),
    ("make-bunch b.dat --size 1 1 --beta 1 1", "--size and --beta exclude each other"),
    ("make-bunch b.dat --divergence 1 1", "--divergence has no effect without --size"),
    ("plot force noise.bin", "noise.bin"), ("plot floor noise.bin", "noise.bin"), ("plot steps noise.bin", "noise.bin"),
    ("plot force steps.dat", "steps.dat: no force file"), ("plot floor steps.dat", "steps.dat: no lattice"),
    ("plot phase steps.dat steps.dat", "phase shows one file"), ("analyse steps.dat", "steps.dat: 8 columns cannot be a bunch format"),
])
def test_failures_are_one_line(tmp_path, monkeypatch, capsys, arguments, words):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "noise.bin").write_bytes(bytes(range(256)) * 4)
    (tmp_path / "steps.dat").write_text("0.1 1e-6 0 1 0 0 0 0\n0.2 2e-6 1 2 0 0 0 0\n")
    assert main(arguments.split()) == 1
    told = capsys.readouterr().err
    assert told.count("\n") == 1 and words in told


def test_every_command_explains_itself_with_units(tmp_path):
    listed = call(tmp_path, "--help").stdout
    for name in ("make-bunch", "convert", "analyse", "plot", "report", "check"):
        assert name in listed and "usage" in call(tmp_path, name, "--help").stdout
    assert "[eV]" in call(tmp_path, "make-bunch", "--help").stdout


def test_without_a_fitting_python_the_packages_are_named(tmp_path):
    (tmp_path / "python3").write_text("#!/bin/sh\nexit 1\n")
    (tmp_path / "python3").chmod(0o755)
    text = COMMAND.read_text().replace("/usr/bin/python3", str(tmp_path / "python3"))
    (tmp_path / "copy").write_text(text)
    result = subprocess.run(["sh", tmp_path / "copy", "check"], capture_output=True, text=True,
                            env={**os.environ, "PATH": f"{tmp_path}:/usr/bin:/bin", "PYTHON": ""})
    assert result.returncode == 1 and "apt-get install python3-numpy python3-matplotlib python3-h5py" in result.stderr
