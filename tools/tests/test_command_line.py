"""The command as a user calls it: through its launcher, from any folder."""
import json
import os
import re
import subprocess

import pytest
from conftest import ROOT
from test_check import DECK

COMMAND = ROOT / "tools" / "tessaron-tools"


def call(folder, *arguments, status=0):
    result = subprocess.run([COMMAND, *map(str, arguments)], cwd=folder, capture_output=True, text=True)
    assert result.returncode == status, result.stderr
    return result


def test_from_a_bunch_to_pictures(tmp_path):
    call(tmp_path, "make-bunch", "b.dat", "-n", 500, "--energy", 5e8, "--length", 1e-4, "--chirp", 10, 1e3, "--profile", "parabolic", "--seed", 3)
    call(tmp_path, "convert", "b.dat", "b.h5")
    call(tmp_path, "convert", "b.h5", "b2.dat", "--to", "fmt2")
    call(tmp_path, "convert", "b2.dat", "c.dat", "--from", "fmt2")
    assert (tmp_path / "c.dat").read_text() == (tmp_path / "b.dat").read_text()
    table = call(tmp_path, "analyse", "b.h5", "--slices", 5).stdout
    assert re.search(r"rms length +(99\.\d+|100\.\d+) um", table) and re.search(r"mean energy +500(\.\d+)? MeV", table)
    result = json.loads(call(tmp_path, "analyse", "b.dat", "b.h5", "--r56", "--json").stdout)
    assert result["path_length"]["r56"] == pytest.approx(0, abs=1e-12) and len(result["series"]["ct"]) == 2
    for kind in ("phase", "longitudinal", "slices", "series"):
        call(tmp_path, "plot", kind, "b.dat", "-o", f"{kind}.png")
        assert (tmp_path / f"{kind}.png").read_bytes().startswith(b"\x89PNG")


def test_check_tells_its_verdict_as_status(tmp_path):
    call(tmp_path, "make-bunch", "bunch.dat", "-n", 2000)
    (tmp_path / "tessar.in").write_text(DECK)
    assert call(tmp_path, "check").stdout == "0 errors, 0 warnings\n"
    (tmp_path / "tessar.in").write_text(DECK.replace("fmt1", "fmt9"))
    result = call(tmp_path, "check", "tessar.in", "--json", status=1)
    assert [item["line"] for item in json.loads(result.stdout) if item["severity"] == "error"] == [5]


def test_failures_are_one_line(tmp_path):
    result = call(tmp_path, "analyse", "nowhere.dat", status=1)
    assert result.stderr.count("\n") == 1 and "nowhere.dat" in result.stderr
    result = call(tmp_path, "make-bunch", "b.dat", "-n", 1, status=1)
    assert "at least 2 particles" in result.stderr


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
