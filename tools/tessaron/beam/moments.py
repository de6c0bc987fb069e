"""Weighted moments: rms, emittance, dispersion, what a fit leaves."""
from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from ..constants import REST_ENERGY
from .bunch import LocalCoordinates

DISPERSION_ORDER = 3  # of the place against momentum, where dispersion is taken out
NO_SPREAD = 1e-24  # mean square of the relative momentum that rounding makes


@dataclass
class PlaneMoments:
    """One transverse plane."""

    size: float  #: rms [m]
    angle: float  #: rms [rad]
    emittance: float  #: normalised [m]
    beta: float  #: [m]
    alpha: float
    dispersion: float  #: slope of the place with relative momentum [m]
    dispersion_slope: float  #: the same of the angle [rad]
    emittance_free: float  #: normalised, without dispersion: without what follows the momentum, up to its third power [m]


def plane_moments(place: np.ndarray, momentum: np.ndarray, local: LocalCoordinates) -> PlaneMoments:
    """Moments of the places [m] and transverse momenta [eV/c] of one plane."""
    weight = local.weight
    slope = momentum / local.ps
    slope = slope - weight @ slope
    size2, angle2, mixed = (float(weight @ values) for values in (place**2, slope**2, place * slope))
    geometric = np.sqrt(max(size2 * angle2 - mixed**2, 0.0))
    delta = local.delta
    spread2 = float(weight @ delta**2)
    spread2 = spread2 if spread2 > NO_SPREAD else 0.0
    return PlaneMoments(
        size=float(np.sqrt(size2)), angle=float(np.sqrt(angle2)), emittance=emittance(place, momentum, weight),
        beta=float(size2 / geometric) if geometric > 0 else 0.0, alpha=float(-mixed / geometric) if geometric > 0 else 0.0,
        dispersion=float(weight @ (place * delta)) / spread2 if spread2 > 0 else 0.0,
        dispersion_slope=float(weight @ (slope * delta)) / spread2 if spread2 > 0 else 0.0,
        emittance_free=emittance(*without_dispersion(place, momentum, local), weight))


def emittance(place: np.ndarray, momentum: np.ndarray, weight: np.ndarray) -> float:
    """Normalised rms emittance [m] from places [m] and transverse momenta [eV/c]: sqrt(<u^2><pu^2> - <u pu>^2) / (m c)."""
    place, momentum = place - weight @ place, momentum - weight @ momentum
    squared = (weight @ place**2) * (weight @ momentum**2) - (weight @ (place * momentum)) ** 2
    return float(np.sqrt(max(squared, 0.0)) / REST_ENERGY)


def without_dispersion(place: np.ndarray, momentum: np.ndarray, local: LocalCoordinates) -> tuple[np.ndarray, np.ndarray]:
    """Both coordinates of a plane less what follows the relative momentum, up to its third power.

    A chirped bunch in a dispersive place needs more than the first: the second moves particles by D delta^2, tens of
    micrometres for a delta of a percent.
    """
    delta, weight = local.delta, local.weight
    if weight @ delta**2 <= NO_SPREAD:
        return place, momentum
    return tuple(residual(np.array([place, momentum]), delta, weight, DISPERSION_ORDER))


def rms(values: np.ndarray, weight: np.ndarray) -> float:
    """About the mean."""
    mean = weight @ values
    return float(np.sqrt(weight @ (values - mean) ** 2))


def residual(values: np.ndarray, along: np.ndarray, weight: np.ndarray, order: int) -> np.ndarray:
    """What a weighted polynomial fit of `order` leaves of `values`; the values themselves if there is nothing to fit.

    :param values: (N,), or (rows, N) of which each row is fitted alone.
    """
    largest = np.abs(along).max(initial=0.0)
    if largest == 0 or along.size <= order or np.count_nonzero(np.diff(np.sort(along[:50]))) < min(order, along.size - 1):
        return values
    powers = np.empty((order + 1, along.size))
    powers[0], step = 1.0, along / largest
    for k in range(order):
        np.multiply(powers[k], step, out=powers[k + 1])
    weighted = powers * weight
    coefficients, *_ = np.linalg.lstsq(weighted @ powers.T, weighted @ values.T, rcond=1e-14)
    return values - coefficients.T @ powers
