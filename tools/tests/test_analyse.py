"""Emittances and moments on bunches whose numbers are known by construction."""
import numpy as np
import pytest

from tessaron.beam import analyse
from tessaron.beam.bunch import Bunch
from tessaron.constants import REST_ENERGY


def four_corners(direction: float = 0.0, weights: tuple = (1, 1, 1, 1)) -> Bunch:
    """Four particles at u = +-a, u' = +-b (all signs), turned by `direction` about the vertical."""
    a, b, p = 1e-4, 2e-5, 5e8
    u = np.array([a, a, -a, -a])
    pu = np.array([b, -b, b, -b]) * p
    c, s = np.cos(direction), np.sin(direction)
    rows = np.array([-u * s, u * c, 0 * u, p * c - pu * s, p * s + pu * c, 0 * u])
    reference = rows[:, 0].copy()
    return Bunch(0.0, reference, rows - reference[:, None], 1e-12 * np.array(weights, dtype=float))


@pytest.mark.parametrize("direction", [0.0, 0.3, -2.5])
def test_emittance_of_four_corners(direction):
    # <u^2> = a^2, <pu^2> = (b p)^2, no correlation: a b p / (m c), in any direction of motion
    plane = analyse.summary(four_corners(direction)).horizontal
    assert plane.emittance == pytest.approx(1e-4 * 2e-5 * 5e8 / REST_ENERGY, rel=1e-9)
    assert plane.beta == pytest.approx(1e-4 / 2e-5, rel=1e-9) and plane.alpha == pytest.approx(0, abs=1e-9)


def test_charges_are_the_weights():
    # with all charge on two particles of opposite place and equal slope there is no emittance left
    result = analyse.summary(four_corners(weights=(1, 0, 1, 0)))
    assert result.horizontal.emittance == pytest.approx(0, abs=1e-15) and result.horizontal.size == pytest.approx(1e-4)


def test_a_drift_keeps_the_emittance_and_turns_alpha():
    bunch = four_corners()
    bunch.offsets[1] += 7.0 * bunch.offsets[4] / bunch.px[0]
    plane = analyse.summary(bunch).horizontal
    # beta = beta0 + s^2 / beta0 and alpha = -s / beta0 behind a waist of beta0 = 5 m
    assert plane.beta == pytest.approx(5 + 49 / 5, rel=1e-6) and plane.alpha == pytest.approx(-7 / 5, rel=1e-6)
    assert plane.emittance == pytest.approx(1e-4 * 2e-5 * 5e8 / REST_ENERGY, rel=1e-6)


def test_energy_change_particle_by_particle():
    before, after = four_corners(), four_corners()
    after.offsets[3] += np.array([-1e3, -3e3, -1e3, -3e3])
    change = analyse.energy_change(before, after)
    assert change.mean == pytest.approx(-2e3, rel=1e-6) and change.rms == pytest.approx(1e3, rel=1e-6)


def test_a_series_is_sorted_and_tells_the_loss():
    late, early = four_corners(), four_corners()
    late.ct = 3.0
    late.reference[3] -= 5e4
    columns = analyse.series([late, early])
    assert list(columns["ct"]) == [0, 3] and columns["loss"] == pytest.approx([0, 5e4], rel=1e-6)


def test_one_particle_has_numbers_too():
    result = analyse.summary(Bunch(0, np.array([0, 0, 0, 1e9, 0, 0]), np.zeros((6, 1)), np.array([1e-9])))
    assert result.length == 0 and result.horizontal.emittance == 0 and np.isfinite(result.peak_current)


def test_dispersion_is_found():
    bunch = four_corners()
    bunch.offsets[1] += 0.3 * (bunch.px / bunch.px[0] - 1) + 0.3 * np.array([0, 1e-4, 0, 1e-4])
    bunch.offsets[3] += 5e8 * np.array([0, 1e-4, 0, 1e-4])
    assert analyse.summary(bunch).horizontal.dispersion == pytest.approx(0.3, rel=0.01)
