"""Putting a bunch elsewhere: what must stay, and where it must be, by closed formulas."""
import numpy as np
import pytest
from conftest import assert_same

from tessaron import Bunch, Lattice
from tessaron.command.cli import main
from tessaron.files.convert import load
from tessaron.files.sdds_pages import read_page
from tessaron.run.orbit import read_orbit

CHICANE = Lattice.chicane(0.05, 0.5, 5, 1)


def about_mean(bunch: Bunch) -> np.ndarray:
    """(6, N) coordinates about their charge-weighted means."""
    return bunch.offsets - (bunch.offsets @ bunch.weight)[:, None]


def mean(bunch: Bunch) -> np.ndarray:
    return bunch.reference + bunch.offsets @ bunch.weight


def test_a_bunch_at_a_marker_lies_along_the_orbit(askew):
    # behind B1 the orbit has turned by 0.05 to the right and is 0.5 tan(0.025) beside the axis
    bunch = askew.placed(CHICANE, "B1_out")
    np.testing.assert_allclose(mean(bunch)[:3], [1.5, -0.5 * np.tan(0.025), 0], atol=1e-14)
    assert np.arctan2(mean(bunch)[4], mean(bunch)[3]) == pytest.approx(-0.05) and abs(mean(bunch)[5]) < 1e-6
    moments = bunch.moments(CHICANE.boundaries())
    assert moments.place == pytest.approx(1 + 0.5 * 0.05 / np.sin(0.05), abs=1e-6) and moments.offset == pytest.approx(0, abs=1e-6)
    for one, other in ((about_mean(bunch), about_mean(askew)), (bunch.reference[3:, None] + bunch.offsets[3:], askew.reference[3:, None] + askew.offsets[3:])):
        np.testing.assert_allclose((one[:3]**2).sum(axis=0), (other[:3]**2).sum(axis=0), rtol=1e-10)  # rigid
    with pytest.raises(ValueError, match="no marker B9; there are B1_in, B1_out"):
        askew.placed(CHICANE, "B9")
    with pytest.raises(ValueError, match="rad askew to it"):
        askew.placed(CHICANE, "B1_in", centre=False)
    # what is off its own axis stays off the orbit: 1 mm to the left and 2 mrad upwards
    beside = Bunch.gaussian(100, energy_eV=1e8, charge_C=1e-9, length_m=1e-4).centred(7, 1e-3, 0)
    beside.reference[5] = 2e-3 * beside.reference[3]
    kept = beside.placed(CHICANE, "B1_out", centre=False)
    np.testing.assert_allclose(mean(kept)[:2], [1.5 + 1e-3 * np.sin(0.05), -0.5 * np.tan(0.025) + 1e-3 * np.cos(0.05)], atol=1e-14)
    assert kept.reference[5] == beside.reference[5]


def test_turns_flights_charges_and_times(askew):
    turned = askew.rotated(np.pi / 2)  # counter-clockwise: x becomes y, y becomes -x
    np.testing.assert_allclose(about_mean(turned), about_mean(askew)[[1, 0, 2, 4, 3, 5]] * np.array([-1, 1, 1, -1, 1, 1])[:, None], atol=1e-9)
    np.testing.assert_allclose(mean(turned)[:3], mean(askew)[:3], atol=1e-15)
    back = askew.flown_back(0.5)
    assert np.linalg.norm(mean(back)[:3] - mean(askew)[:3]) == pytest.approx(0.5, rel=1e-12)
    moved = (askew.reference[:3, None] + askew.offsets[:3]) - (back.reference[:3, None] + back.offsets[:3])
    flights = moved / (askew.reference[3:, None] + askew.offsets[3:]) * askew.energy
    np.testing.assert_allclose(flights, flights[0, 0], rtol=1e-9)  # one time for all
    assert_same(back.flown_back(-0.5), askew)
    assert askew.with_charge(-3e-9).charge.sum() == pytest.approx(-3e-9) and askew.at_time(5).ct == 5
    assert not askew.with_charge(0).charge.any() and askew.with_charge(0).with_charge(4e-9).charge == pytest.approx(np.full(40, 1e-10))
    central = askew.with_central_reference()
    assert sorted(central.x) == pytest.approx(sorted(askew.x), abs=1e-15) and central.charge.sum() == pytest.approx(askew.charge.sum())
    sizes = about_mean(askew).std(axis=1)
    assert np.linalg.norm(about_mean(central)[:, 0] / sizes) < np.median(np.linalg.norm(about_mean(askew) / sizes[:, None], axis=0))


def test_matching_gives_the_twiss_parameters_and_keeps_the_emittances(askew):
    bunch = askew.matched((30, 5), (-2, 1.5))
    local, before = bunch.local(), askew.local()
    for (u, pu), (u0, pu0), beta, alpha in (((local.u, local.pu), (before.u, before.pu), 30, -2), ((local.w, local.pw), (before.w, before.pw), 5, 1.5)):
        now, then = (np.cov(place, momentum / ps, aweights=askew.weight, ddof=0) for place, momentum, ps in ((u, pu, local.ps), (u0, pu0, before.ps)))
        emittance = np.sqrt(np.linalg.det(now))
        assert emittance == pytest.approx(np.sqrt(np.linalg.det(then)), rel=1e-9)
        assert [now[0, 0] / emittance, -now[0, 1] / emittance] == pytest.approx([beta, alpha], rel=1e-9)
    np.testing.assert_allclose(bunch.momentum, askew.momentum, rtol=1e-13)
    np.testing.assert_allclose(local.s, before.s, atol=1e-12)
    assert_same(bunch.matched((30, 5), (-2, 1.5)), bunch, 1e-9)
    with pytest.raises(ValueError, match="no emittance"):
        Bunch.gaussian(100, energy_eV=1e8, charge_C=1e-9, length_m=1e-4, emittance_m=0).matched(1, 0)


def test_one_command_puts_a_foreign_bunch_ahead_of_a_magnet(tmp_path, askew, capsys):
    askew.save(tmp_path / "b.sdds")
    deck = tmp_path / "run.deck"
    deck.write_text("particles { reference_point_x = 3 reference_point_y = -1 reference_point_phi = 30 }\n" + CHICANE.deck())
    words = f"convert {tmp_path}/b.sdds {tmp_path}/b.dat --centre --at-marker B2_in --deck {deck} --take 20 --charge 5e-10 --match 20,1 --time 2"
    assert main(words.split()) == 0
    told = capsys.readouterr().err
    assert "of 20 particles stand behind B2_in" in told and "--ahead 0.00" in told
    assert main([*words.split(), "--ahead", "0.01"]) == 0
    assert capsys.readouterr().err.count("\n") == 1  # what was read
    for marker, distance, told in (("B1_out", 1e-2, "B1_out ends a bend"), ("B3_in", 1.1, "the boundary ahead of B3_in is 1 m away")):
        assert main(f"convert {tmp_path}/b.sdds {tmp_path}/d.dat --centre --at-marker {marker} --deck {deck} --ahead {distance}".split()) == 0
        assert told in capsys.readouterr().err
    orbit = read_orbit(deck)
    bunch = load(tmp_path / "b.dat")
    moments = orbit.in_lab(bunch).moments(orbit.boundaries)
    boundary = next(b for b in CHICANE.boundaries() if b.marker == "B2_in")
    assert moments.place == pytest.approx(boundary.s - 0.01, abs=1e-9) and moments.offset == pytest.approx(0, abs=1e-8)
    assert bunch.ct == 2 and len(bunch) == 20 and bunch.charge.sum() == pytest.approx(5e-10)
    assert moments.horizontal.beta == pytest.approx(20 + 2 * 0.01, rel=1e-3)  # beta(s) = beta - 2 alpha s at s = -0.01
    assert_same(orbit.in_file(orbit.in_lab(bunch)), bunch)
    # and out again, at the plane across the orbit beside it: x is then about the orbit, and it reads back to its place
    assert main(f"convert {tmp_path}/b.dat {tmp_path}/c.sdds --deck {deck}".split()) == 0
    assert f"across the orbit, at s = {boundary.s - 0.01:.9g} m" in capsys.readouterr().out
    x, xp = read_page(tmp_path / "c.sdds", ["x", "xp"]).columns.values()
    assert bunch.weight @ x == pytest.approx(0, abs=1e-3 * x.std()) and bunch.weight @ xp == pytest.approx(0, abs=1e-2 * xp.std())
    assert_same(load(tmp_path / "c.sdds"), bunch, 1e-11)


@pytest.mark.parametrize("arguments, words", [("--at-marker M", "--at-marker needs the lattice"), ("--deck d", "--deck has no effect without --at-marker, or an SDDS file"),
                                              ("--page 2", "--page is for SDDS files"), ("--take 41", "1 to 40 particles can be chosen from the bunch, not 41"),
                                              ("--take 0", "can be chosen from the bunch, not 0"), ("--match 0,1", "beta must be a number above 0"),
                                              ("--charge nan", "--charge must be a finite number of coulomb, not nan"), ("--rotate nan", "--rotate must be a finite number of degrees"), ("--sdds ascii", "a kind of SDDS was asked for")])
def test_what_cannot_be_done_is_told_and_nothing_written(tmp_path, monkeypatch, askew, capsys, arguments, words):
    monkeypatch.chdir(tmp_path)
    askew.save("b.csv")
    assert main(f"convert b.csv c.dat {arguments}".split()) == 1 and words in capsys.readouterr().err
    assert not (tmp_path / "c.dat").exists()
