"""Random and quiet numbers, and how a density becomes particles.

A quiet start puts particles where the density asks for them instead of drawing them: the longitudinal places are even
in the cumulated charge, the other coordinates follow the radical inverses of 2, 3, 5, ... (Hammersley 1960). Its
density then deviates from the smooth one by about 1/N where random particles deviate by 1/sqrt(N).
"""
from __future__ import annotations

from statistics import NormalDist

import numpy as np

PROFILES = ("gaussian", "flat-top", "parabolic", "double-horn")
_PRIMES = (2, 3, 5, 7, 11, 13, 17)
_inverse_normal = np.frompyfunc(NormalDist().inv_cdf, 1, 1)


def radical_inverse(index: np.ndarray, base: int) -> np.ndarray:
    """Mirrors the digits of each index at the point: 6 = 110 (base 2) becomes 0.011 = 0.375."""
    rest = np.array(index, dtype=np.int64)
    result = np.zeros(rest.size)
    scale = 1.0
    while rest.any():
        scale /= base
        result += scale * (rest % base)
        rest //= base
    return result


def uniform_points(n: int, dimensions: int, quiet: bool, seed: int) -> np.ndarray:
    """(dimensions, n) points inside the open unit cube.

    Quiet: the Hammersley set, of which `seed` shifts all but the first coordinate around the cube. Random: the generator
    of `seed`.
    """
    generator = np.random.default_rng(seed)
    if not quiet:
        return np.clip(generator.random((dimensions, n)), 1e-16, 1 - 1e-16)
    index = np.arange(1, n + 1)
    shift = generator.random(dimensions)
    rows = [(index - 0.5) / n]
    rows += [(radical_inverse(index, _PRIMES[k]) + shift[k]) % 1.0 for k in range(dimensions - 1)]
    return np.clip(rows, 0.25 / n, 1 - 0.25 / n)


def normal(points: np.ndarray, cut: float = np.inf) -> np.ndarray:
    """Normal numbers of rms 1 from uniform points, beyond `cut` left out (the rms is then slightly below 1)."""
    tail = NormalDist().cdf(-cut) if np.isfinite(cut) else 0.0
    return _inverse_normal(tail + (1 - 2 * tail) * points).astype(float)


def longitudinal(points: np.ndarray, profile: str, cut: float, horn: tuple[float, float]) -> np.ndarray:
    """Places of mean 0 and rms 1 along the bunch whose density is the current profile.

    :param profile: one of PROFILES.
    :param cut: for the Gaussian, the largest distance in units of the rms.
    :param horn: for the double horn, height of the horns over the plateau, and rms width of a horn as a fraction of half
        the bunch.
    """
    if profile == "gaussian":
        return normal(points, cut)
    places = np.linspace(-1, 1, 40001)
    middle = 0.5 * (places[1:] + places[:-1])
    density = profile_density(profile, middle, horn)
    cumulated = np.concatenate([[0.0], np.cumsum(density)])
    rms = np.sqrt(np.sum(density * middle**2) / cumulated[-1])
    return np.interp(points, cumulated / cumulated[-1], places) / rms


def profile_density(profile: str, t: np.ndarray, horn: tuple[float, float]) -> np.ndarray:
    """Current, not normalised, at t = -1 (tail) to 1 (head)."""
    if profile == "flat-top":
        return np.ones_like(t)
    if profile == "parabolic":
        return 1 - t**2
    if profile == "double-horn":
        height, width = horn
        return 1 + (height - 1) * np.exp(-0.5 * ((1 - np.abs(t)) / width) ** 2)
    raise ValueError(f"unknown current profile {profile}; one of {', '.join(PROFILES)}")
