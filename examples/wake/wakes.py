"""Two wakes, as the field that a Gaussian bunch of any rms length makes, and the table that the program reads."""
from __future__ import annotations

from math import erfc
from pathlib import Path

import numpy as np

STRENGTH, RANGE = 2e14, 30e-6  # of the exponential wake: V/m per coulomb, m
IMPEDANCE, LIGHT = 376.730313668, 299792458.0  # ohm, m/s
PIPE, CONDUCTIVITY = 5e-3, 5.8e7  # of the resistive pipe: radius [m], 1/(ohm m); copper


def exponential(behind: np.ndarray, rms: float) -> np.ndarray:
    """Field at places behind the centre of a Gaussian of 1 C, for the wake -W exp(-s / r) of a point charge [V/m]:
        -W / 2 exp(rms^2 / (2 r^2) - s / r) erfc((rms / r - s / rms) / sqrt(2)).
    """
    s = np.asarray(behind, dtype=float)
    inner = np.array([erfc(v) for v in (rms / RANGE - s / rms) / np.sqrt(2)])
    return -STRENGTH / 2 * np.exp(np.minimum(rms**2 / (2 * RANGE**2) - s / RANGE, 700)) * inner


def resistive_point(s: np.ndarray) -> np.ndarray:
    """Short-range wake of a point charge in a round resistive pipe [V/m per coulomb] (Bane and Sands, SLAC-PUB-95-7074):
        -4 Z0 c / (pi a^2) (exp(-t) cos(sqrt(3) t) / 3 - sqrt(2) / pi Int x^2 exp(-x^2 t') / (x^6 + 8) dx),
        t' = s / s0, t = t', s0 = (2 a^2 / (Z0 conductivity))^(1/3).
    """
    t = np.asarray(s) / (2 * PIPE**2 / (IMPEDANCE * CONDUCTIVITY)) ** (1 / 3)
    x = (np.arange(3000) + 0.5) * 0.02
    slow = 0.02 * np.exp(-np.outer(t, x**2)) @ (x**2 / (x**6 + 8))
    return -4 * IMPEDANCE * LIGHT / (np.pi * PIPE**2) * (np.exp(-t) * np.cos(np.sqrt(3) * t) / 3 - np.sqrt(2) / np.pi * slow)


def resistive(behind: np.ndarray, rms: float) -> np.ndarray:
    """The same for a Gaussian of 1 C, by quadrature over the Gaussian ahead of the place [V/m]."""
    reach = float(np.max(behind)) + 6 * rms
    s = (np.arange(20000) + 0.5) * reach / 20000
    point = resistive_point(s) * reach / 20000
    return np.array([point @ np.exp(-0.5 * ((b - s) / rms) ** 2) for b in behind]) / (np.sqrt(2 * np.pi) * rms)


def write_table(path: Path, title: str, wake, rms: float, step: float, last: float) -> None:
    """The wake of a Gaussian of 1 C: rms length, step, first and last index, values; positive indices towards the tail."""
    first, end = -int(np.ceil(6 * rms / step)), int(np.ceil(last / step))
    values = wake(np.arange(first, end + 1) * step, rms)
    path.write_text(f"! {title}\n{rms}\n{step}\n{first}\n{end}\n" + "".join(f"{value:.9e}\n" for value in values))
