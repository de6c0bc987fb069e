"""Made bunches against what was asked for.

A moment estimated from N random particles has a relative standard error of c/sqrt(N): c = 1/sqrt(2) for an rms value of
a Gaussian. The bounds below allow four of these, with seeds fixed. Quiet bunches must do better.
"""
import numpy as np
import pytest

from tessaron.beam.analyse import fit_path_length, slice_moments, summary
from tessaron.constants import REST_ENERGY
from tessaron.beam.generate import BunchRequest, Plane, chirp_of_spread, make_bunch
from tessaron.beam.sampling import PROFILES, longitudinal, uniform_points

N = 20000
RANDOM_BOUND, QUIET_BOUND = 4 / np.sqrt(2 * N), 0.002


def request(**changes) -> BunchRequest:
    basis = dict(particles=N, energy=1e9, charge=0.5e-9, length=1e-4, energy_spread=1e4, horizontal=Plane(2e-6, 20, 1.5),
                 vertical=Plane(1e-6, 5, -2.0))
    return BunchRequest(**{**basis, **changes})


@pytest.mark.parametrize("quiet, bound", [(False, RANDOM_BOUND), (True, QUIET_BOUND)])
def test_moments_are_those_asked_for(quiet, bound):
    result = summary(make_bunch(request(quiet=quiet, chirp=(20.0, 0, 0))))
    assert result.charge == pytest.approx(0.5e-9, rel=1e-12)
    assert result.energy == pytest.approx(1e9, abs=4 * 20 * 1e-4 * 1e9 / np.sqrt(N))
    assert result.length == pytest.approx(1e-4, rel=bound)
    assert result.energy_spread_uncorrelated == pytest.approx(1e4, rel=bound)
    assert result.chirp == pytest.approx(20, rel=1e-3)
    for plane, emittance, beta, alpha in ((result.horizontal, 2e-6, 20, 1.5), (result.vertical, 1e-6, 5, -2.0)):
        # the chirp changes momenta by 0.2 % rms, which an emittance feels in second order only
        assert plane.emittance == pytest.approx(emittance, rel=np.sqrt(2) * bound)
        assert plane.beta == pytest.approx(beta, rel=2 * bound)
        assert plane.alpha == pytest.approx(alpha, abs=4 * bound * (1 + alpha**2) ** 0.5)
    one, other = (uniform_points(N, 6, quiet, seed) for seed in (1, 2))
    assert np.abs(np.corrcoef(one) - np.eye(6)).max() < 4 / np.sqrt(N) and not np.any(one[1:] == other[1:])


def test_twiss_hold_where_they_are_asked_for():
    bunch = make_bunch(request(horizontal=Plane(1e-6, 40, 2.6, drift=3.0)))
    bunch.offsets[1] += 3.0 * bunch.offsets[4] / bunch.px
    plane = summary(bunch).horizontal
    assert (plane.beta, plane.alpha) == (pytest.approx(40, rel=5e-3), pytest.approx(2.6, rel=5e-3))


def test_the_chirp_is_a_cubic_of_the_distance_behind():
    bunch = make_bunch(request(chirp=(30.0, 4e4, -5e7), energy_spread=0.0))
    t = -bunch.offsets[0]
    np.testing.assert_allclose(bunch.energy / 1e9 - 1, 30 * t + 4e4 * t**2 - 5e7 * t**3, atol=1e-12)
    spread = make_bunch(request(chirp=(chirp_of_spread(2e6, 1e9, 1e-4), 0, 0), energy_spread=0.0)).energy.std()
    assert spread == pytest.approx(2e6, rel=QUIET_BOUND)


# kurtosis <t^4>/<t^2>^2 of each profile: 3; (1/5)/(1/3)^2 = 9/5; for 1 - t^2 (3/35)/(1/5)^2 = 15/7
@pytest.mark.parametrize("profile, kurtosis", [("gaussian", 3.0), ("flat-top", 9 / 5), ("parabolic", 15 / 7)])
def test_profiles_have_their_shape(profile, kurtosis):
    t = longitudinal(uniform_points(N, 6, True, 1)[0], profile, np.inf, (3, 0.1))
    assert t.mean() == pytest.approx(0, abs=1e-6) and np.sqrt(np.mean(t**2)) == pytest.approx(1, rel=1e-3)
    assert np.mean(t**4) == pytest.approx(kurtosis, rel=2e-3)


def test_a_double_horn_has_its_horns():
    t = longitudinal(uniform_points(200000, 1, True, 1)[0], "double-horn", np.inf, (4.0, 0.05))
    density, _ = np.histogram(t, np.linspace(t.min(), t.max(), 201))
    middle = density[80:120].mean()
    assert density[:2].mean() / middle == pytest.approx(4, rel=0.05) and density[-2:].mean() / middle == pytest.approx(4, rel=0.05)
    assert np.sqrt(np.mean(t**2)) == pytest.approx(1, rel=1e-4)


@pytest.mark.parametrize("profile", PROFILES)
def test_a_quiet_start_lowers_the_shot_noise(profile):
    """Counts in bins of a tenth of the rms length: noise about sqrt(count) for random places, below 1 for quiet ones."""
    def noise(quiet: bool) -> float:
        s = make_bunch(request(profile=profile, quiet=quiet)).offsets[0, 1:] / 1e-4
        counts, edges = np.histogram(s, np.linspace(-1.2, 1.2, 25))
        exact = longitudinal((np.arange(4_000_000) + 0.5) / 4_000_000, profile, 5.0, (3.0, 0.08))
        expected = np.histogram(exact, edges)[0] * (N - 1) / 4_000_000
        return np.sqrt(np.mean((counts - expected) ** 2 / expected))

    assert noise(False) == pytest.approx(1, abs=0.5)
    assert noise(True) < 0.03


@pytest.mark.parametrize("change", [{"particles": 1}, {"particles": 300001}, {"energy": REST_ENERGY}, {"length": 0.0},
                                    {"profile": "square"}, {"chirp": (2e4, 0, 0)}, {"horizontal": Plane(1e-6, -1)}])
def test_impossible_requests_are_refused(change):
    with pytest.raises(ValueError):
        make_bunch(request(**change))


def test_r56_of_a_constructed_path():
    """Every particle is moved back by its own R56 d + T566 d^2 + U5666 d^3 along the motion."""
    before = make_bunch(request(chirp=(30.0, 0, 0)))
    after = make_bunch(request(chirp=(30.0, 0, 0)))
    d = before.energy / before.energy[0] - 1
    after.offsets[0] -= -0.025 * d + 0.0375 * d**2 - 0.05 * d**3
    fit = fit_path_length(before, after)
    assert fit.r56 == pytest.approx(-0.025, rel=1e-6) and fit.t566 == pytest.approx(0.0375, rel=1e-4)
    assert fit.u5666 == pytest.approx(-0.05, rel=1e-2) and fit.rest < 1e-10


def test_slices_carry_their_share():
    bunch = make_bunch(request(profile="flat-top", chirp=(20.0, 0, 0)))
    table = slice_moments(bunch, 20)
    expected = 0.5e-9 * 299792458 / (2 * np.sqrt(3) * 1e-4)  # Q c / full length
    np.testing.assert_allclose(table.current, expected, rtol=5e-3)
    np.testing.assert_allclose(table.energy_spread, 1e4, rtol=0.05)
    np.testing.assert_allclose(table.emittance_u, 2e-6, rtol=0.05)
    np.testing.assert_allclose(table.energy, 1e9 * (1 - 20 * table.s), rtol=1e-5)
