"""What is told along the beam line: energy budget, bunching, optics."""
import csv
import shutil

import numpy as np
import pytest

from tessaron import Dipole, Drift, Lattice, Marker, Quadrupole
from tessaron.beam.budget import budget_difference, energy_budget, station_of
from tessaron.beam.bunch import Bunch
from tessaron.beam.bunching import bunching
from tessaron.beam.generate import BunchRequest, make_bunch
from tessaron.command.cli import main
from tessaron.files.bunchfiles import read_bunch
from tessaron.files.convert import save
from tessaron.lattice.sections import straight_lattice
from tessaron.run.orbit import read_orbit
from tessaron.run.tracked_optics import optics, track_rays


def drifting(place: float, gain: np.ndarray) -> Bunch:
    """Four particles in flight along x with energies of 1 GeV and what they have gained so far [eV]."""
    offsets = np.zeros((6, 4))
    offsets[0], offsets[3] = [0, 1e-5, -1e-5, 2e-5], gain - gain[0]
    return Bunch(place, np.array([place, 0, 0, 1e9 + gain[0], 0, 0]), offsets, np.full(4, 1e-12))


def test_the_energy_budget_tells_where_it_went():
    # 1 keV per metre from everybody, and from s = 2 m on 2 keV per metre more from half of them; one station is missing
    boundaries = Lattice([Drift(1), Marker("a"), Drift(1), Marker("b"), Drift(2), Marker("c")]).boundaries()
    uneven = np.array([1, 1, 0, 0])
    def gain(s):
        return -1e3 * s - 2e3 * max(s - 2, 0) * uneven
    stations = [station_of(drifting(s, gain(s)), boundaries) for s in (4.0, 0.0, 1.5, 2.0)]
    rows = energy_budget(stations, boundaries)
    assert [row.interpolated for row in rows] == [True, True, False]
    assert [row.mean for row in rows] == pytest.approx([-1e3, -1e3, -4e3], rel=1e-5)  # the centre is 5 um ahead of particle 1
    assert [row.rms for row in rows] == pytest.approx([0, 0, 2e3], abs=1e-3, rel=1e-6)
    other = [station_of(drifting(s, -1e3 * s + 0 * uneven), boundaries) for s in (0.0, 2.0, 4.0)]
    difference = budget_difference(stations, other, boundaries)
    assert [item.other_mean for item in difference] == pytest.approx([-1e3, -1e3, -2e3], rel=1e-5) and difference[2].rms == pytest.approx(2e3, rel=1e-6)
    with pytest.raises(ValueError, match="two places"):
        energy_budget(stations[:1], boundaries)


def test_bunching_of_a_comb_and_of_noise():
    # particles at every 10 um, within 20 % of it, have sin(0.2 pi) / (0.2 pi) at 10 um; random ones 1 / sqrt(N)
    random = np.random.default_rng(5)
    s = 10e-6 * (random.integers(0, 100, 100000) + 0.2 * random.random(100000))
    local = drifting(0, np.zeros(4)).local()
    local.s, local.weight = s, np.full(s.size, 1 / s.size)
    found = bunching(local, shortest=2e-6, points=20000)
    near = np.abs(found.wavelength / 10e-6 - 1) < 0.004
    assert found.factor[near].max() == pytest.approx(np.sin(0.2 * np.pi) / (0.2 * np.pi), rel=0.01)
    assert found.noise == pytest.approx(1 / np.sqrt(1e5))
    local.s = random.random(s.size) * 1e-3
    noise = bunching(local, shortest=2e-6).factor[-50:]
    assert np.sqrt(np.mean(noise**2)) == pytest.approx(found.noise, rel=0.05)


LATTICES = [
    ("drift", [Drift(2.0)]),
    ("dipole with slanted faces", [Drift(0.5), Dipole.sbend(0.7, 0.4, e1=0.15, e2=-0.2), Drift(0.3)]),
    ("to the left", [Drift(0.5), Dipole.sbend(0.7, -0.4, e1=0.1), Drift(0.3)]),
    ("quadrupoles", [Drift(0.5), Quadrupole(0.3, 4.0), Drift(1.0), Quadrupole(0.3, -4.0), Drift(0.5)]),
    ("chicane", list(Lattice.chicane(0.05, 0.5, 2.0, 1.0)) + [Drift(0.5)]),
]


@pytest.mark.parametrize("elements", [elements for _, elements in LATTICES], ids=[name for name, _ in LATTICES])
def test_tracked_rays_give_the_matrices_of_the_textbooks(tmp_path, program, elements):
    lattice = Lattice([Drift(0.2), *elements])
    (tmp_path / "tessar.in").write_text(lattice.deck())
    maps = track_rays(read_orbit(tmp_path / "tessar.in"), program)
    whole = np.linalg.inv(Lattice([Drift(maps.s[-1] - lattice.length)]).matrix()) @ maps.matrix[-1]
    np.testing.assert_allclose(whole, lattice.matrix(), atol=1e-6)
    found, expected = optics(maps, (12.0, 7.0), (1.5, -0.5)), lattice.optics((12.0, 7.0), (1.5, -0.5), step=0.002)
    for name in ("beta_u", "beta_w", "dispersion", "r56"):
        values = getattr(expected, name)
        np.testing.assert_allclose(getattr(found, name)[:-1], np.interp(found.s[:-1], expected.s, values), atol=1e-4 * max(np.abs(values).max(), 1e-3))


def test_second_order_path_of_a_chicane(program):
    import chicane

    maps = track_rays(read_orbit(chicane.__file__.replace("chicane.py", "tessar.in")), program)
    assert maps.t566[-1] == pytest.approx(chicane.t566(), rel=1e-4) and maps.matrix[-1, 4, 5] == pytest.approx(chicane.r56(), rel=1e-6)


def test_the_optics_command_and_a_periodic_cell(tmp_path, program, capsys):
    # a thin-lens FODO cell of quadrupoles of focal length f at a distance L has sin(mu / 2) = L / (2 f)
    cell = Lattice([Quadrupole(0.005, 40.0), Drift(1.99), Quadrupole(0.01, -40.0), Drift(1.99), Quadrupole(0.005, 40.0), Drift(0.001)])
    (tmp_path / "tessar.in").write_text(Lattice([Drift(0.001), *cell]).deck())
    arguments = ["optics", str(tmp_path / "tessar.in"), "--periodic", "--csv", str(tmp_path / "o.csv"), "-o", str(tmp_path / "o.png"), "--program", str(program)]
    assert main(arguments) == 0 and "beta u [m]" in capsys.readouterr().out and (tmp_path / "o.png").stat().st_size > 10000
    rows = list(csv.DictReader((tmp_path / "o.csv").open()))
    sine = 2.0 * 0.4 / 2
    assert 2 * np.sin(float(rows[-1]["phase_u_rad"]) / 2) == pytest.approx(2 * sine, rel=0.01)
    assert float(rows[0]["beta_u_m"]) == pytest.approx(2 * 2.0 * (1 + sine) / np.sin(2 * np.arcsin(sine)), rel=0.01)
    assert float(rows[-1]["beta_u_m"]) == pytest.approx(float(rows[0]["beta_u_m"]), rel=1e-3)
    assert main([*arguments, "--beta", "1", "1"]) == 1 and "exclude each other" in capsys.readouterr().err


def test_a_straight_of_the_same_length(tmp_path):
    bends = Lattice([Drift(1), Dipole.sbend(0.5, 0.3, name="B"), Drift(2)]).boundaries()
    (tmp_path / "straight.in").write_text(straight_lattice(bends))
    straight = read_orbit(tmp_path / "straight.in").boundaries
    assert [b.s for b in straight] == pytest.approx([b.s for b in bends]) and [b.marker for b in straight] == [b.marker for b in bends]
    assert not any(b.r for b in straight) and straight[-1].x == pytest.approx(3.5)


def test_a_run_told_along_its_way(tmp_path, program, monkeypatch, capsys):
    """The tutorial's bend with a bunch at every boundary: what the sections lose is what the bunch lost."""
    monkeypatch.chdir(tmp_path)
    bunch = make_bunch(BunchRequest(1000, 5e8, 1e-9, 1e-4, energy_spread=1e4))
    save("bunch.dat", bunch)
    trackers = "".join(f"tracker {{ end_time_marker = {name} }} monitor {{ name = {name}.dat }}\n" for name in ("IN", "OUT", "END"))
    (tmp_path / "tessar.in").write_text(
        "lattice { dipole { position { delta_s = 1 marker = IN } properties { r = 1.5 } position { delta_s = 0.785398 marker = OUT } }\n"
        "dipole { position { delta_s = 0.5 marker = END duty = no } } }\n"
        "particles { array = #file { name = bunch.dat } } monitor { name = start.dat }\n"
        "forces { type = projected sigma_long = relative relative_long = 0.1 } track_step { ct_step_max = 0.05 }\n" + trackers)
    assert main(["run", "--program", str(program)]) == 0 and capsys.readouterr().out.startswith("completed")
    assert main(["budget", "--csv", "b.csv", "-o", "b.png"]) == 0 and "~" not in capsys.readouterr().out
    rows = list(csv.DictReader(open("b.csv")))
    assert [row["kind"] for row in rows] == ["drift", "dipole", "drift"]
    loss = read_bunch("END.dat").energy.mean() - bunch.energy.mean()
    assert sum(float(row["mean_energy_change_eV"]) for row in rows) == pytest.approx(loss, rel=1e-9) and float(rows[1]["mean_energy_change_eV"]) < 0.5 * loss
    shutil.copytree(tmp_path, tmp_path / "none")
    (tmp_path / "none/tessar.in").write_text((tmp_path / "tessar.in").read_text().replace("projected", "none"))
    assert main(["run", "none", "--program", str(program)]) == 0 and main(["budget", "--less", "none"]) == 0
    mean, other, difference = [line for line in capsys.readouterr().out.splitlines() if line.startswith("dipole 1 ")][1].split()[-6:-3]
    assert mean == difference and abs(float(other)) < 1e-3 < abs(float(mean))  # there is no force in the other
    assert main(["slices", ".", "--csv", "s.csv", "-n", "10", "-o", "s.png"]) == 0
    rows = list(csv.DictReader(open("s.csv")))
    assert len(rows) == 40 and {row["file"] for row in rows} == {"start.dat", "IN.dat", "OUT.dat", "END.dat"} and all(99 <= float(row["particles"]) <= 101 for row in rows)
