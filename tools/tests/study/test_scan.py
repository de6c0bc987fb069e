"""Scans on every kind of worker, killed and taken up again, with points that fail."""
import csv
import json
import os
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
from scan_script import LATTICE, make_run, scan

from tessaron import Bunch, Forces, Run, RunFailed, Scan, Tracker
from tessaron.command.cli import main
from tessaron.study.study_file import read_study
from tessaron.study.table import table_of

SCRIPT = os.path.join(os.path.dirname(__file__), "scan_script.py")


@pytest.fixture
def counted(tmp_path, program):
    """A program that notes each of its starts, and the starts so far."""
    script, notes = tmp_path / "program", tmp_path / "starts"
    script.write_text(f"#!/bin/sh\npwd >> {notes}\nexec {program}\n")
    script.chmod(0o755)
    return script, lambda: notes.read_text().splitlines() if notes.exists() else []


def launch(kind, folder, program, step):
    python = [sys.executable, "-m", "mpi4py.futures"] if kind == "mpi" else [sys.executable]
    job = ["mpirun", "-n", "3", "--oversubscribe"] if kind == "mpi" else []
    environment = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1")
    return subprocess.Popen([*job, *python, SCRIPT, kind, str(folder), str(program), str(step)], env=environment)


@pytest.mark.parametrize("kind", ["local", "dask", "mpi"])
def test_a_scan_runs_on_workers_and_nothing_twice(tmp_path, counted, kind):
    pytest.importorskip({"local": "numpy", "dask": "distributed", "mpi": "mpi4py"}[kind])
    program, starts = counted
    assert launch(kind, tmp_path / "study", program, 0.1).wait(120) == 0
    study = scan(tmp_path / "study", program)
    table = study.table()
    assert len(table) == 4 and list(table.status) == ["completed"] * 4 and len(starts()) == 4
    # the loss goes with the square of the charge, its share of the energy with the charge
    loss = table.loss.reshape(2, 2)
    np.testing.assert_allclose(loss[1] / loss[0], 2, rtol=0.01)
    study.run(progress=False)
    assert len(starts()) == 4 and not list((tmp_path / "study").glob(".*"))
    assert study.at(charge=1e-10, chirp=20) == json.loads((tmp_path / "study" / table.folder[1] / "manifest.json").read_text())["quantities"]
    assert study.result(charge=1e-10, chirp=20).end.charge.sum() == pytest.approx(1e-10)
    with open(tmp_path / "study/table.csv", newline="") as file:
        rows = list(csv.DictReader(file))
    assert [float(row["loss"]) for row in rows] == list(table.loss) and rows[0].keys() >= {"charge", "chirp", "emittance", "status"}
    # a point that nobody has asked for yet, and a function that makes another run
    assert study.at(charge=3e-10, chirp=0)["loss"] > table.loss[2] and len(starts()) == 5
    Scan(lambda charge: make_run(charge, 0, 0.09), {"charge": [1e-10]}, tmp_path / "study", program=program).run(progress=False)
    assert len(starts()) == 6
    with pytest.raises(KeyError, match="not computed yet"):
        study.manifest(charge=9e-10, chirp=0)


def test_a_killed_scan_loses_nothing_and_repeats_nothing(tmp_path, counted):
    """kill -9 while runs are under way: what was finished stays, what the program goes on with alone is taken over."""
    program, starts = counted
    job = launch("two", tmp_path / "study", program, 0.001)
    while len(starts()) < 3:
        time.sleep(0.02)
    os.kill(job.pid, signal.SIGKILL)
    job.wait()
    finished = {path: path.stat().st_mtime_ns for path in (tmp_path / "study").glob("*/manifest.json")}
    assert 1 <= len(finished) < 4 and list((tmp_path / "study").glob(".*"))
    study = scan(tmp_path / "study", program, 0.001).run(progress=False)
    assert list(study.table().status) == ["completed"] * 4 and len(starts()) == 4
    assert all(path.stat().st_mtime_ns == moment for path, moment in finished.items())
    assert not list((tmp_path / "study").glob(".*"))


def test_two_scans_of_one_folder_share_its_points(tmp_path, counted):
    program, starts = counted
    scans = [scan(tmp_path / "study", program, 0.001) for _ in range(2)]
    with ThreadPoolExecutor(2) as pool:
        for done in [pool.submit(study.run, progress=False) for study in scans]:
            done.result()
    assert len(starts()) == 4 and all(list(study.table().status) == ["completed"] * 4 for study in scans)
    assert not list((tmp_path / "study").glob(".*"))


def test_failed_points_tell_why_and_stop_nobody(tmp_path, counted):
    program, starts = counted
    study = scan(tmp_path, program, axes={"charge": [-1e-10, 1e-10], "chirp": [0, 99]}).run(progress=False)
    assert len(starts()) == 2
    first, second, third = study.failed()
    assert first.reason == second.reason == "make_run: charge must be above 0"
    assert third.trace[0] == "error: unknown marker for track time" and third.place[0] == "tessar.in" and third.place[1] > 10
    table = study.table()
    assert list(table.status == "completed") == [False, False, True, False] and np.isnan(table.loss[3]) and table.loss[2] > 0
    with pytest.raises(RunFailed, match="unknown marker"):
        study.at(charge=1e-10, chirp=99)
    study.run(progress=False)
    assert len(starts()) == 2
    study.run(progress=False, retry_failed=True)
    assert len(starts()) == 3 and len(study.failed()) == 3


def test_a_table_shows_and_draws_itself(tmp_path):
    rows = [{"charge": q, "model": model, "emittance": round(q * 1e3, 9) * (1 + (model == "b")), "loss": None if q > 1.5e-9 else 1e3}
            for q in (1e-9, 2e-9) for model in "ab"]
    from tessaron.study.table import plot

    table = table_of(rows, ["model"])
    assert table.dtype.names == ("model", "charge", "emittance", "loss") and list(table.model) == ["a", "b", "a", "b"]
    assert np.isnan(table.loss).tolist() == [False, False, True, True] and "emittance / m" in table._repr_html_()
    table.save_csv(tmp_path / "t.csv")
    assert (tmp_path / "t.csv").read_text().splitlines()[1] == "a,1e-09,1e-06,1000.0"
    assert [plot(table_of([{"charge_C": 2e-9, "loss": 1.0}]), "charge_C", ["loss"]).axes[0].get_xlabel()] == ["charge / nC"]
    axes = plot(table, "charge", ["emittance", "loss"], "model").axes
    assert axes[0].get_ylabel() == "emittance / µm" and [line.get_label() for line in axes[0].lines] == ["model = a", "model = b"]
    np.testing.assert_allclose(axes[0].lines[1].get_ydata(), [2, 4])
    with pytest.raises(ValueError, match="no column 'charges'"):
        plot(table, "charges", ["loss"])


@pytest.mark.parametrize("axes, words", [({"charge": 1e-9}, "axis 'charge' must be a list"), ({"charge": []}, "axis 'charge' has no values"),
                                         ([{"a": 1}, {"b": 2}], "dicts of the same names")])
def test_bad_axes_are_told(axes, words):
    with pytest.raises(ValueError, match=words):
        Scan(make_run, axes)


STUDY = """threads = 1
[bunch]
profile = "flat-top"
particles = 300
energy_eV = 1e9
charge_C = 1e-10
length_m = 1e-4
[vary]
"bunch.chirp" = [0, 20]
"forces.shield" = [0, 0.01]
[plot]
x = "bunch.chirp"
y = ["loss"]
"""


def test_a_study_file_on_the_command_line(tmp_path, counted, capsys):
    program, starts = counted
    bunch = Bunch.gaussian(200, energy_eV=1e9, charge_C=1e-10, length_m=1e-4)
    Run(LATTICE, bunch, Forces("projected", sigma_long=1e-5), tracker=Tracker(end_time_c0=1)).write(tmp_path)
    (tmp_path / "a.toml").write_text(STUDY)
    assert main(["scan", str(tmp_path / "a.toml"), "--program", str(program)]) == 0
    scan, plot = read_study(tmp_path / "a.toml", program=program)
    assert len(starts()) == 4 and len(scan.points) == 4 and plot["x"] == "bunch.chirp"
    assert scan.folder == tmp_path / "a" and (tmp_path / "a/plot.png").exists()
    table = scan.table()
    assert len(set(table.loss)) == 4 and "forces.shield" in capsys.readouterr().out
    by_shield = [scan.result(**point).run.forces.shield for point in scan.points]
    assert by_shield == [0, 0.01, 0, 0.01] and table.spread[2] > 10 * table.spread[0]  # the chirp
    # the deck's own bunch, its charge scaled; one point fails
    (tmp_path / "b.toml").write_text('[vary]\n"bunch.charge_C" = [1e-10, 2e-10]\n"forces.sigma_long" = [1e-5, 1e-9]\n')
    assert main(["scan", str(tmp_path / "b.toml"), "--program", str(program)]) == 1
    table = read_study(tmp_path / "b.toml", program=program)[0].table()
    assert table.loss[2] / table.loss[0] == pytest.approx(2, rel=0.01) and "force evaluations failed" in table.status[1]


@pytest.mark.parametrize("old, new, words", [
    ("[vary]", "[varyy]", "unknown key 'varyy'"),
    ('"forces.shield"', '"forces.shields"', "forces has no 'shields'; there are type"),
    ('"bunch.chirp"', '"chicane.angle"', r"needs a table \[chicane\]"),
    ('"bunch.chirp"', '"beam.chirp"', "must be bunch.NUMBER"),
    ("[0, 20]", "20", "must be a list of values"),
    ("[0, 20]", "[0, 20", "Unclosed array .at line 10"),
])
def test_a_bad_study_file_is_told(tmp_path, old, new, words):
    Run(LATTICE, Bunch.gaussian(2, energy_eV=1e9, charge_C=1e-10, length_m=1e-4), tracker=Tracker(end_time_c0=1)).write(tmp_path)
    (tmp_path / "a.toml").write_text(STUDY.replace(old, new))
    with pytest.raises(ValueError, match=words):
        read_study(tmp_path / "a.toml")
