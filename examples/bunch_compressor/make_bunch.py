"""The benchmark bunch: 5 GeV, 1 nC, Gaussian of 200 um rms with a chirp of 36 per metre towards a shorter bunch.

It starts at the origin, a drift of 1 m ahead of the first dipole, where the Twiss parameters hold.
"""
from __future__ import annotations

from pathlib import Path

from tessaron.beam.bunch import Bunch
from tessaron.files.bunchfiles import write_bunch
from tessaron.beam.generate import BunchRequest, Plane, make_bunch

DRIFT = 1.0  # m, from the start to the first dipole


def bunch(particles: int, quiet: bool = True, seed: int = 1, second_order: float = 0.0) -> Bunch:
    """The bunch.

    :param second_order: of the chirp [1/m^2]; 1948 keeps the bunch Gaussian in the chicane.
    """
    return make_bunch(BunchRequest(
        particles=particles, energy=5e9, charge=1e-9, length=200e-6, chirp=(36.0, second_order, 0.0), energy_spread=10e3,
        horizontal=Plane(emittance=1e-6, beta=40.0, alpha=2.6, drift=DRIFT),
        vertical=Plane(emittance=1e-6, beta=13.0, alpha=1.0, drift=DRIFT), quiet=quiet, seed=seed))


def benchmark_bunch(path: Path, particles: int, quiet: bool = True, seed: int = 1, second_order: float = 0.0) -> None:
    """Writes it as fmt1."""
    write_bunch(path, bunch(particles, quiet, seed, second_order), "fmt1")
