"""Runs from objects: decks there and back, results, failures, and going on after an interruption."""
import re
import shutil
import subprocess
import sys
from types import SimpleNamespace

import numpy as np
import pytest
from conftest import ROOT, assert_same

import tessaron
from tessaron import Bunch, Forces, Lattice, Monitor, Monitors, Result, Run, RunFailed, Steps, Tracker, find_program
from tessaron.constants import SPEED_OF_LIGHT

CHICANE = Lattice.chicane(0.0483, 0.5, 5, 1, behind=2)
PROJECTED = Forces("projected", sigma_long="relative", relative_long=0.1)
#: everything a deck may hold: files, folders, settings twice, what has no effect, and bunches in the deck itself
DECK = """io_path { input = in output = out logfile = a.log }
lattice { #file { name = l.in } }
particles { format = umbra reference_momentum = 4.9e8 reference_point_x = 0.5 reference_point_phi = 0.1 array =
 0 0 0  0 0 5e8  0 1e-3 1 5   1e-5 2e-5 -1e-4  1e3 0 1e5  0 1e-3 2 1   -1e-5 0 1e-4  0 2e3 -1e5  0 1e-3 3 3 }
track_accuracy { nothing = { at all } }
forces { type = projected sigma_long = file sigma_file = s.dat par1 = 1 par2 = 2 test = yes }
track_step { ct_step_max = 0.005 iterative = 2 }
online_monitor { type = steps }
online_monitor { name = way.dat format = 2 start_time_marker = M start_time_shift_c0 = -0.1 end_time_c0 = 9 time_step_c0 = 0.2 }
tracker { delta_time_c0 = 0.35 }
forces { type = projected sigma_long = 3e-5 shield = 0.01 }
track_step { increase_factor = 1.5 duty_steps = no }
monitor { name = mid.dat format = fmt2 }
tracker { end_time_marker = M end_time_shift_c0 = 0.2 }
monitor { name = end.dat }
exit
this is never read
"""


@pytest.fixture
def bunch():
    return Bunch.gaussian(400, energy_eV=5e9, charge_C=1e-9, length_m=2e-4, chirp=36, spread_eV=1e4, beta_m=(40, 13), alpha=(2.6, 1), twiss_ahead_m=1)


def test_a_deck_goes_through_objects_and_runs_the_same(tmp_path, program):
    first, second = tmp_path / "first", tmp_path / "second"
    for name in ("in", "out"):
        (first / name).mkdir(parents=True)
    (first / "in/l.in").write_text("dipole { position { rho = 0.4 psi = 10 } properties { r = 3 } position { delta_s = 0.3 marker = M } }\n")
    (first / "in/s.dat").write_text("0 4e-5 0 0\n9 5e-5 0 0\n")
    (first / "tessar.in").write_text(DECK)
    run = Run.from_deck(first)
    run.write(second)
    assert sorted(path.name for path in second.iterdir()) == ["bunch.dat", "out", "s.dat", "tessar.in"]
    for folder in (first, second):
        assert tessaron.run.process.run_program(folder, program=program).completed
    names = {path.name for path in (first / "out").iterdir()} | {"a.log"}
    assert names == {path.name for path in (second / "out").iterdir()} | {"a.log"} and len(names) >= 10
    for name in names - {"a.log", "latout.dat"}:
        ours, theirs = (np.array((folder / "out" / name).read_text().split(), dtype=float) for folder in (first, second))
        np.testing.assert_allclose(ours, theirs, rtol=1e-9, atol=1e-9 * np.abs(theirs).max(), err_msg=name)
    settings = [[line for line in (folder / "out/a.log").read_text().splitlines() if re.match(r" +(ct_step|incr|shield|par|with|rel)", line)]
                for folder in (first, second)]
    assert settings[0] == settings[1] and len(settings[0]) > 20
    again = Run.from_deck(second)
    resolved = [[(steps.shortest, steps.first, steps.iterative, steps.duty_steps) for steps in r.of_kind(Steps)] for r in (run, again)]
    assert resolved[0] == resolved[1] == [(0.0025, 0.005, 2, True), (0.0025, 0.005, 2, False)] and [m.name for m in again.of_kind(Monitor)] == ["mid.dat", "end.dat"]
    assert run.particles.momentum_of_magnets() == 4.9e8 and run.bunch.reference[1] == 0


def test_results_by_time_and_marker(tmp_path, program, bunch):
    run = Run(CHICANE, bunch, PROJECTED, monitors=Monitors().steps().sub_bunch().every(4).at("B2_out"),
              tracker=Tracker.through(CHICANE.markers))
    assert [finding for finding in run.check() if finding.severity == "error"] == []
    result = run.start(tmp_path / "run", program=program, progress=False)
    assert result.ending.completed and "completed" in repr(result)
    assert_same(result.start, bunch, 1e-11)
    assert len(result.bunches) == 14 and (np.diff(result.bunches.ct) > 0).all() and len(result.bunches[1:3]) == 2
    assert result.bunch(marker="B2_out").ct == pytest.approx(result.time_of("B2_out"), abs=1e-4)
    assert result.bunch(ct=16).ct == result.end.ct
    for bad in (dict(ct=2.6), dict(ct=1e3)):
        with pytest.raises(ValueError, match="no bunch within 0.1 m"):
            result.bunch(**bad)
    assert result.steps.ct[-1] == pytest.approx(result.end.ct, rel=1e-6) and result.log.steps == len(set(result.steps.ct)) - 1 and result.log.duty_stops == result.steps.duty.sum() > 10
    # the bunch has become shorter, by 1 + chirp R56
    compressed = 1 / (1 + 36 * CHICANE.matrix()[4, 5])
    assert result.quantities["compression"] == pytest.approx(compressed, rel=0.15)
    assert result.quantities["loss"] == pytest.approx(bunch.energy.mean() - result.end.energy.mean(), rel=1e-3)
    # the sections' energy changes are those of the whole, and each row is one of the lattice's
    budget = result.energy_budget()
    table = budget.table()
    assert table.mean_energy_change_eV.sum() == pytest.approx(-result.quantities["loss"], rel=1e-6) and len(table) == 9
    assert table.mean_energy_change_eV[0] > -1 and len(budget.plot().axes) == 4 and "rms_energy_change_eV" in budget._repr_html_()
    html = result._repr_html_()
    assert "completed" in html and "data:image/png;base64," in html and "emittance" in html
    with pytest.raises(FileExistsError, match="overwrite=True"):
        run.start(tmp_path / "run", program=program)


def test_a_failed_run_tells_its_trace_and_keeps_its_folder(tmp_path, program, bunch):
    run = Run(CHICANE, bunch, tracker=Tracker(end_time_marker="nowhere"))
    assert any("nowhere" in finding.text and finding.place.line == 27 for finding in run.check())
    with pytest.raises(RunFailed) as failure:
        run.start(tmp_path / "run", program=program, progress=False)
    assert failure.value.ending.place == ("tessar.in", 27)
    assert failure.value.ending.trace == ("error: unknown marker for track time", "error: end time is undefined")
    assert "tracker { end_time_marker = nowhere }" in (tmp_path / "run/tessar.in").read_text().splitlines()[26]
    assert "unknown marker" in Result(tmp_path / "run")._repr_html_()


@pytest.mark.parametrize("cut", [5.0, 9.0, 12.0])
def test_an_interrupted_run_goes_on_as_if_nothing_had_happened(tmp_path, program, bunch, cut):
    grid = tmp_path / "grid.txt"
    grid.write_text("\n".join(f"{0.1 * k:.1f}" for k in range(1, 165)))
    run = Run(CHICANE, bunch, PROJECTED, Steps(time_grid_file=grid, error_per_ct=1e-14, iterative=9), Monitors().steps().every(2.1),
              [Tracker(end_time_c0=9), Monitor("mid.dat"), Tracker(end_time_marker="end")])
    whole = run.start(tmp_path / "whole", program=program, progress=False)
    shutil.copytree(tmp_path / "whole", tmp_path / "cut")
    # as a kill leaves it: the console ends within a step, the bunch that was being written within a line
    console = (tmp_path / "cut/console.txt").read_text()
    (tmp_path / "cut/console.txt").write_text(console[:console.index(f"ct= {cut:9.5f}") + 60])
    for file in Result(tmp_path / "cut").bunches.files:
        if file.ct > cut - 0.8:
            file.path.write_bytes(file.path.read_bytes()[:-30])
    broken = Result(tmp_path / "cut")
    assert not broken.ending.completed and broken.bunches.ct[-1] < cut
    result = Run.resume(tmp_path / "cut", program=program, progress=False)
    assert result.ending.completed and len(result.parts) == 2
    np.testing.assert_array_equal(result.steps.ct, whole.steps.ct)
    np.testing.assert_allclose(result.bunches.ct, whole.bunches.ct, atol=1e-12)
    # on the scale of the bunch at the start; the corrector is told to leave nothing
    difference, scale = np.abs(result.end.offsets - whole.end.offsets), np.abs(bunch.offsets)
    assert difference[:3].max() < 1e-9 * scale[:3].max() and difference[3:].max() < 1e-9 * scale[3:].max()
    np.testing.assert_allclose(result.end.reference, whole.end.reference, rtol=1e-12, atol=1e-9 * scale[3:].max())
    assert whole.start.energy[0] - whole.end.energy[0] > 1e3  # the magnets must not follow this
    assert Run.resume(tmp_path / "cut", program=program).parts == result.parts


def test_bunches_from_arrays_and_other_programs(bunch, tmp_path):
    assert_same(Bunch.from_arrays(**bunch.arrays(), ct_m=bunch.ct), bunch, 1e-9)
    group = SimpleNamespace(**tessaron.beam.makers.particle_group_data(bunch))
    assert_same(Bunch.from_particle_group(group), bunch, 1e-9)
    # half a nanosecond early, the particles fly on to the latest time; a dead one is left out
    group.t = group.t.copy()
    group.t[3], group.status = group.t[3] + 5e-10, np.where(np.arange(400) == 7, 0, 1)
    late = Bunch.from_particle_group(group)
    assert len(late) == 399 and late.ct == pytest.approx(5e-10 * SPEED_OF_LIGHT)
    assert late.x[0] == pytest.approx(bunch.x[0] + late.ct, abs=1e-6) and late.x[3] == pytest.approx(bunch.x[3], abs=1e-12)
    bunch.save(tmp_path / "b.h5")
    assert_same(Bunch.from_openpmd(tmp_path / "b.h5"), bunch)
    assert Bunch.flat_top(1000, energy_eV=1e9, charge_C=1e-9, length_m=1e-4).moments().length == pytest.approx(1e-4, rel=1e-2)


@pytest.mark.parametrize("make, words", [
    (lambda: Run("lattice", "b.dat"), "lattice must be a Lattice"),
    (lambda: Run(Lattice([tessaron.Drift(1)]), "b.dat"), "tracker is needed"),
    (lambda: Run(CHICANE, "b.dat", forces="projected"), "forces must be Forces"),
    (lambda: Run(CHICANE, "b.dat", monitors=Monitors().steps().sub_bunch().at(*CHICANE.markers)), "more than the 10 online monitors"),
    (lambda: Bunch.gaussian(10, energy_eV=1e9, charge_C=1e-9, length_m="1"), "length_m must be a number"),
    (lambda: Bunch.gaussian(10, energy_eV=1e9, charge_C=1e-9, length_m=1e-4, beta_m=(1, 2, 3)), "beta_m must be a number or two"),
    (lambda: Bunch.from_arrays(x_m=[0, 1], y_m=0, z_m=[1, 2, 3], px_eV_c=1e9, py_eV_c=0, pz_eV_c=0, q_C=1), "x_m must hold 3 numbers"),
    (lambda: Bunch.from_arrays(x_m=[0, np.nan], y_m=0, z_m=0, px_eV_c=1e9, py_eV_c=0, pz_eV_c=0, q_C=1), "x_m must be finite; number 2"),
    (lambda: Bunch.from_particle_group(SimpleNamespace(x=1)), "has no y, z, px"),
])
def test_bad_arguments_are_told_by_their_name(make, words):
    with pytest.raises(ValueError, match=words):
        make()


def test_several_processes_and_threads(tmp_path, bunch):
    try:
        mpi = find_program(mpi=True)
    except FileNotFoundError:
        pytest.skip("the program is not built with MPI")
    run = Run(Lattice([tessaron.Drift(0.5), tessaron.Dipole(1, 0.1)]), bunch, Forces("csr_g_to_m", sigma_long=1e-4), tracker=Tracker(end_time_c0=1))
    ends = [run.start(tmp_path / str(n), processes=n, threads=1, program=mpi, progress=False).end for n in (1, 2)]
    assert "on 2 cpus" in (tmp_path / "2/console.txt").read_text()
    assert_same(*ends, 1e-7)  # the order of sums moves the integration meshes' ends


def test_one_version_everywhere_and_a_cheap_import():
    project = (ROOT / "pyproject.toml").read_text()
    cmake = re.search(r"project\(Tessaron VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]
    assert tessaron.__version__ == cmake and f'version = "{cmake}"' in project
    assert set(tessaron.__all__) <= set(dir(tessaron)) and all(getattr(tessaron, name) for name in tessaron.__all__)
    code = "import sys, tessaron; print(any(name in sys.modules for name in ('numpy', 'matplotlib', 'h5py')))"
    done = subprocess.run([sys.executable, "-c", code], cwd=ROOT / "tools", capture_output=True, text=True, check=True)
    assert done.stdout == "False\n"
