"""Convergence: the extrapolation on laws that are known, what each knob turns, and the benchmark chicane."""
import numpy as np
import pytest

from tessaron import Bunch, Drift, Forces, Lattice, Run, RunFailed, Scan, Steps, Tracker, converge
from tessaron.command.cli import main
from tessaron.study.extrapolation import limit_of, noise_of
from tessaron.study.knobs import knobs_of, with_particles, with_smoothing, with_steps

CHICANE = Lattice.chicane(0.04834562, 0.5, 5, 1, behind=2)
PROJECTED = Forces("projected", sigma_long="relative", relative_long=0.1)


def bunch(particles, **more):
    return Bunch.gaussian(particles, **{**dict(energy_eV=5e9, charge_C=1e-9, length_m=2e-4, chirp=36, spread_eV=1e4, beta_m=(40, 13),
                                               alpha=(2.6, 1), twiss_ahead_m=1), **more})


@pytest.mark.parametrize("order, base", [(2, 0), (2, 1), (1, 1), (0.7, 2)])
def test_a_law_is_extrapolated_to_its_limit(order, base):
    values = [5 + 0.3 * h**order for h in (2, 1, 0.5)]
    limit = limit_of(values, 2, 2, base)
    assert (limit.value, limit.order, limit.regular) == (pytest.approx(5), pytest.approx(order), True)
    assert limit.error == pytest.approx(1.25 * abs(values[base] - 5))
    # as fine as it says is fine enough: the error then is what was wanted
    h = (2, 1, 0.5)[base] / limit.refinement(1e-3)
    assert 1.25 * 0.3 * h**order == pytest.approx(1e-3) and limit.refinement(1e3) == 1


def test_what_follows_no_law_gets_a_wide_error():
    assert limit_of([1, 2, 1.5], 2, 2, 1).error == pytest.approx(3) and not limit_of([1, 1.1, 2], 2, 2, 1).regular
    assert limit_of([1, 1.1, 2], 2, 2, 1).error == pytest.approx(2.7)
    assert limit_of([3.0, 3.0, 3.0], 2, 2, 1).error == 0
    # faster than the method's order is chance: it is not extrapolated with it
    assert limit_of([1 + 1e-1, 1 + 1e-4, 1 + 1e-7], 2, 2, 1).order == 2
    # the error of N random numbers' mean, from parts of them, holds in nearly all cases
    random = np.random.default_rng(1).standard_normal((500, 1024))
    held = [abs(row.mean()) <= noise_of([row[:256].mean(), row[:512].mean(), row.mean()], [256, 512, 1024], 0.5).error for row in random]
    assert np.mean(held) > 0.95


def test_each_knob_turns_its_keys_alone():
    run = Run(CHICANE, bunch(100), Forces("csr_g_to_m", sigma_long=2e-5, shape="ellipsoid", sigma_rad=3e-5, sbox=0.4), Steps(ct_step_max=0.05))
    knobs, left_out = knobs_of(run)
    turned = {knob.name: knob.turned(run, 0.5) for knob in knobs if knob.name != "particles"}
    lines = {name: set(other.deck().splitlines()) - set(run.deck().splitlines()) for name, other in turned.items()}
    assert lines == {
        "steps": {"track_step { ct_step_max = 0.025  ct_step_min = 0.005  ct_step_first = 0.025  arc_factor = 0.25 }"},
        "smoothing": {"forces { type = csr_g_to_m  sigma_long = 1e-05  shape = ellipsoid  sigma_rad = 1.5e-05  sbox = 0.4 }"},
        "boxes": {"forces { type = csr_g_to_m  sigma_long = 2e-05  shape = ellipsoid  sigma_rad = 3e-05  sbox = 0.2  rbox = 0.25 }"}}
    assert "it holds about 4 particles" in left_out[0] and knobs[-1].told(run, 0.1) == "1000 particles"
    fewer = with_particles(run, 2).bunch
    assert len(fewer) == 50 and fewer.charge.sum() == pytest.approx(1e-9) and knobs[-1].order == 1
    # a bunch of unknown making: a random choice, with the charge of all
    file = Bunch(0.0, run.bunch.reference, run.bunch.offsets, run.bunch.charge)
    chosen = file.with_particles(30)
    assert chosen.charge.sum() == pytest.approx(1e-9) and set(chosen.offsets[0]) < set(file.offsets[0]) and chosen.offsets[0, 0] == 0
    assert knobs_of(run.with_bunch(file))[0][-1].order == 0.5
    with pytest.raises(ValueError, match="1 to 100 particles can be chosen from the bunch, not 200"):
        file.with_particles(200)
    sphere = knobs_of(Run(CHICANE, bunch(100), Forces("csr_p_to_m", sigma_long=1e-4)))
    assert len(sphere[1]) == 1
    assert [knob.name for knob in sphere[0]] == ["steps", "smoothing", "particles"] and "boxes" in sphere[1][0]


def test_the_stated_error_covers_the_distance_to_a_run_eight_times_finer(tmp_path, program):
    run = Run(CHICANE, bunch(400), PROJECTED, Steps(ct_step_max=0.2, ct_step_min=0.02))
    names = ("loss", "emittance", "length", "spread")
    found = converge(run, names, folder=tmp_path, program=program, progress=False)
    finest = with_particles(with_smoothing(with_steps(run, 1 / 8), 1 / 8), 1 / 8)
    fine = Scan(lambda: finest, [{}], tmp_path, program=program).at()
    for name in names:
        distance = abs(fine[name] - found.values[name])
        assert distance <= found.error(name) < 0.1 * abs(fine[name]), name
    assert not found.converged and "steps: ct_step_max = 0.0" in str(found) and "together" in found.advice()[-1]
    assert list(found.table().quantity) == list(names) and found.table().by_steps[0] == found.sources[0].limits["loss"].error
    assert len(found.plot().axes) == 12
    again = converge(run, ("length",), to=0.2, folder=tmp_path, program=program, progress=False)
    assert again.converged and again.advice() == [] and "converged to 20 %" in str(again)


def test_a_deck_on_the_command_line(tmp_path, program, capsys, monkeypatch):
    run = Run(Lattice([Drift(1)]), bunch(200), tracker=Tracker(end_time_c0=1))
    run.write(tmp_path)
    monkeypatch.chdir(tmp_path)
    assert main(["converge", "--program", str(program), "--quantities", "energy", "--to", "0.5", "--plot", "c.png"]) == 0
    assert "converged to 50 %" in capsys.readouterr().out and (tmp_path / "c.png").exists()
    assert main(["converge", "--program", str(program), "--quantities", "length", "--to", "1e-9"]) == 1
    with pytest.raises(ValueError, match="'lenght' is none; there are loss"):
        converge(run, ["lenght"])
    with pytest.raises(ValueError, match="to must be a relative error above 0"):
        converge(run, to=0)
    with pytest.raises(RunFailed, match="nsam.gt.nsamax"):
        converge(Run(CHICANE, bunch(50), Forces("projected", sigma_long=1e-9)), folder=tmp_path / "f", program=program, progress=False)
