"""How the bunch is bunched at a wavelength, against what shot noise alone would do."""
from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from .bunch import LocalCoordinates

_CELLS = 1 << 16  # over the length of the bunch
_PAD = 8  # lines of the transform per period of the bunch's length: a wavelength falls close to one of them


@dataclass
class Bunching:
    """Bunching factors; arrays of one length."""

    wavelength: np.ndarray  #: [m], falling
    factor: np.ndarray  #: |sum of q exp(2 pi i s / wavelength)| / sum of q; rms over the neighbours that share a point
    noise: float  #: what particles at random places have, sqrt(sum of q^2) / sum of q, or 1 / sqrt(N) for equal charges


def bunching(local: LocalCoordinates, shortest: float | None = None, points: int = 300) -> Bunching:
    """Bunching factors from twice the length of the bunch down to `shortest` [m], a thousandth of its length without it.

    By a Fourier transform of the charge on a fine grid, with the width of its cells taken out of the result. Above the
    frequency where the transform has more lines than are wanted, neighbouring lines are put together.

    :raises ValueError: a wavelength below four cells of the grid.
    """
    length = float(np.ptp(local.s))
    if not length > 0:
        raise ValueError("the bunch has no length")
    shortest = length / 1000 if shortest is None else shortest
    cell = length / _CELLS
    if shortest < 4 * cell:
        raise ValueError(f"a wavelength of {shortest:.3g} m is too short for a bunch of {length:.3g} m; at least {4 * cell:.3g} m")
    charge, _ = np.histogram(local.s, _CELLS, weights=local.weight)
    lines = np.arange(_PAD // 2, int(_PAD * length / shortest) + 1)
    spectrum = np.abs(np.fft.rfft(charge, _PAD * _CELLS))[lines] / np.sinc(lines / (_PAD * _CELLS))
    edges = np.unique(np.round(np.geomspace(lines[0], lines[-1] + 1, points)).astype(int))
    starts, counts = edges[:-1] - lines[0], np.diff(edges)
    mean = np.add.reduceat(lines.astype(float), starts) / counts
    return Bunching(_PAD * length / mean, np.sqrt(np.add.reduceat(spectrum**2, starts) / counts), float(np.sqrt((local.weight**2).sum())))
