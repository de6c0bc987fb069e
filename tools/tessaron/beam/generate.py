"""Makes a bunch from the numbers that an accelerator physicist has at hand."""
from __future__ import annotations

from dataclasses import dataclass, field

import numpy as np

from .bunch import Bunch
from ..constants import REST_ENERGY
from .sampling import longitudinal, normal, uniform_points


@dataclass
class Plane:
    """One transverse plane: Twiss parameters with a normalised emittance, or sizes.

    Twiss hold where the reference particle will be `drift` metres further on; give 0 for "here".
    """

    emittance: float = 0.0  #: normalised, [m]
    beta: float = 1.0  #: [m]
    alpha: float = 0.0
    sizes: tuple[float, float] | None = None  #: rms size [m] and rms angle [rad]; overrides the rest
    drift: float = 0.0  #: [m]

    def moments(self, beta_gamma: float) -> tuple[float, float, float]:
        """rms size [m], slope of the size-angle correlation [1/m], rms angle without correlation [rad], here."""
        if self.sizes is not None:
            return self.sizes[0], 0.0, self.sizes[1]
        emittance = self.emittance / beta_gamma
        gamma = (1 + self.alpha**2) / self.beta
        alpha = self.alpha + gamma * self.drift
        beta = self.beta + 2 * self.alpha * self.drift + gamma * self.drift**2
        size = np.sqrt(emittance * beta)
        return size, -alpha / beta, np.sqrt(emittance / beta)


@dataclass
class BunchRequest:
    """What a made bunch shall be.

    The energy of a particle is E0 (1 + c1 t + c2 t^2 + c3 t^3) + spread, with t the distance behind the reference
    particle in metres: a positive c1 gives the tail more energy, which a chicane turns into a shorter bunch.
    """

    particles: int
    energy: float  #: E0, total energy of the reference particle [eV]
    charge: float  #: total charge [C]
    length: float  #: rms length [m]
    profile: str = "gaussian"
    cut: float = 5.0  #: of the Gaussian, in units of the rms length
    horn: tuple[float, float] = (3.0, 0.08)  #: height over the plateau; rms width over half the bunch
    chirp: tuple[float, float, float] = (0.0, 0.0, 0.0)  #: c1 [1/m], c2 [1/m^2], c3 [1/m^3]
    energy_spread: float = 0.0  #: uncorrelated rms energy spread [eV]
    horizontal: Plane = field(default_factory=Plane)
    vertical: Plane = field(default_factory=Plane)
    x: float = 0.0  #: where the reference particle starts, along x [m]
    ct: float = 0.0  #: bunch time [m]
    quiet: bool = True
    seed: int = 1


def chirp_of_spread(spread: float, energy: float, length: float) -> float:
    """Linear chirp [1/m] whose correlated rms energy spread is `spread` [eV]."""
    return spread / (energy * length)


def make_bunch(request: BunchRequest) -> Bunch:
    """A bunch that moves along +x; record 1 is the ideal reference particle, with its share of the charge."""
    _check(request)
    beta_gamma = np.sqrt((request.energy / REST_ENERGY) ** 2 - 1)
    points = uniform_points(request.particles - 1, 6, request.quiet, request.seed)
    ahead = request.length * longitudinal(points[0], request.profile, request.cut, request.horn)
    behind = -ahead

    c1, c2, c3 = request.chirp
    energy = request.energy * (1 + behind * (c1 + behind * (c2 + behind * c3)))
    energy += request.energy_spread * normal(points[1])
    if np.any(energy <= REST_ENERGY):
        raise ValueError("the chirp takes the energy of a particle below its rest energy")
    momentum = np.sqrt(energy**2 - REST_ENERGY**2)

    u, u_slope = _plane(request.horizontal, beta_gamma, points[2], points[3])
    w, w_slope = _plane(request.vertical, beta_gamma, points[4], points[5])
    forward = momentum / np.sqrt(1 + u_slope**2 + w_slope**2)

    reference_momentum = beta_gamma * REST_ENERGY
    offsets = np.zeros((6, request.particles))
    offsets[:, 1:] = ahead, u, w, forward - reference_momentum, forward * u_slope, forward * w_slope
    charge = np.full(request.particles, request.charge / request.particles)
    return Bunch(request.ct, np.array([request.x, 0, 0, reference_momentum, 0, 0]), offsets, charge)


def _plane(plane: Plane, beta_gamma: float, points: np.ndarray, more_points: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    size, correlation, angle = plane.moments(beta_gamma)
    place = size * normal(points)
    return place, correlation * place + angle * normal(more_points)


def _check(request: BunchRequest) -> None:
    wrong = [
        (request.particles < 2, "a bunch needs at least 2 particles"),
        (request.particles > 300000, "the program holds at most 300000 particles"),
        (request.energy <= REST_ENERGY, "the energy must be above the rest energy of 0.511 MeV"),
        (request.length <= 0, "the rms length must be above 0"),
        (request.cut <= 0, "the cut must be above 0"),
        (request.horn[0] < 0 or request.horn[1] <= 0, "the horns need a height of 0 or more and a width above 0"),
    ]
    for plane in (request.horizontal, request.vertical):
        wrong.append((plane.beta <= 0 or plane.emittance < 0, "beta must be above 0, an emittance at least 0"))
    for is_wrong, message in wrong:
        if is_wrong:
            raise ValueError(message)
