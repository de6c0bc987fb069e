"""Emittances and moments on bunches whose numbers are known by construction."""
import numpy as np
import pytest

from tessaron.beam import analyse
from tessaron.beam.bunch import Bunch, from_absolute
from tessaron.beam.orbit import coordinates
from tessaron.constants import REST_ENERGY
from tessaron.lattice.geometry import add_boundary


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
    columns = analyse.series([after.at_time(3.0), before])
    assert list(columns["ct"]) == [0, 3] and columns["loss"] == pytest.approx([0, 2e3], rel=1e-6)


def test_one_particle_has_numbers_too():
    result = analyse.summary(Bunch(0, np.array([0, 0, 0, 1e9, 0, 0]), np.zeros((6, 1)), np.array([1e-9])))
    assert result.length == 0 and result.horizontal.emittance == 0 and np.isfinite(result.peak_current)


def bunch_on_arc(s, u, slope, delta, radius, entrance=1.0, arc=1e9):
    """Particles at path lengths s, offsets u and slopes of an orbit with an arc behind a straight, straight again behind it."""
    turn = np.clip(s - entrance, 0, arc) / radius
    behind = np.maximum(s - entrance - arc, 0)
    x = np.minimum(s, entrance) + radius * np.sin(turn) + behind * np.cos(turn) + u * np.sin(turn)
    y = -radius * (1 - np.cos(turn)) - behind * np.sin(turn) + u * np.cos(turn)
    p = 5e8 * (1 + delta)
    along, across = p / np.hypot(1, slope), p * slope / np.hypot(1, slope)
    rows = np.array([x, y, 0 * s, along * np.cos(turn) + across * np.sin(turn), across * np.cos(turn) - along * np.sin(turn), 0 * s])
    return from_absolute(0.0, rows, np.full(s.size, 1e-12))


@pytest.mark.parametrize("radius", [1.5, -1.5])
@pytest.mark.parametrize("arc, place", [(6.0, place) for place in (0.3, 1.0, 1.7, 5.5, 7.0, 7.6)] + [(8.7, 9.5)])
def test_coordinates_about_the_orbit(radius, arc, place):
    """In front of, at, and in an arc of 229 degrees, at its end, behind it; near the end of one of 332 degrees."""
    random = np.random.default_rng(2)
    s, u, slope, delta = np.array([2e-4, 1e-4, 5e-5, 1e-3])[:, None] * random.standard_normal((4, 300))
    s += place
    orbit: list = []
    for length, r in ((1.0, 0), (arc, radius), (1.0, 0)):
        add_boundary(orbit, {"delta_s": length}, r, "", True)
    local = coordinates(bunch_on_arc(s, u, slope, delta, radius, 1.0, arc), orbit)
    np.testing.assert_allclose(local.s + local.place, s, atol=1e-13)
    np.testing.assert_allclose(local.u + local.offset, u, atol=1e-13)
    np.testing.assert_allclose(local.pu / local.ps, slope, atol=1e-12)


@pytest.mark.parametrize("direction, y", [(1.0, 0.0), (0.0, 0.5)])
def test_a_bunch_elsewhere_has_no_orbit(direction, y):
    orbit: list = []
    add_boundary(orbit, {"delta_s": 1.0}, 0, "", True)
    bunch = four_corners(direction)
    bunch.reference[:2] += (0.5, y)
    with pytest.raises(ValueError, match="not on the design orbit"):
        coordinates(bunch, orbit)


def test_dispersion_is_found_and_taken_out():
    # D = 0.3 m and D' = 50 mrad to first, -D to second order on a bunch of 1 % momentum spread
    random = np.random.default_rng(4)
    s, u, slope, delta = np.array([1e-4, 5e-5, 2e-5, 1e-2])[:, None] * random.standard_normal((4, 20000))
    alone = bunch_on_arc(s, u, slope, delta, 1.0)
    spread = bunch_on_arc(s, u + 0.3 * (delta - delta**2), slope + 0.05 * delta, delta, 1.0)
    plain, moved = (analyse.summary(bunch).horizontal for bunch in (alone, spread))
    assert moved.dispersion == pytest.approx(0.3, rel=1e-2) and moved.dispersion_slope == pytest.approx(0.05, rel=1e-2)
    assert moved.emittance > 5 * plain.emittance and moved.emittance_free == pytest.approx(plain.emittance, rel=2e-3)
    slices = analyse.slice_moments(spread, 4, equal="charge")
    assert slices.particles == pytest.approx([5000] * 4, abs=1)
    assert slices.emittance_u_free == pytest.approx([plain.emittance] * 4, rel=0.03)
    # a quarter of the charge lies beyond 0.6745 rms lengths; the current is charge over length
    edges = np.quantile(s, [0, 0.25, 0.5, 0.75, 1])
    assert slices.current == pytest.approx(5000e-12 * 299792458 / np.diff(edges), rel=1e-3)
