"""The power that a bunch loses to coherent radiation between two parallel plates, as a share of the power without them.

In a steady state, at high energy, a harmonic k of the beam loses (Schwinger 1945; Nodvick and Saxon, Phys. Rev. 96 (1954) 180)
    P(k)  ~  sum over p = 0, 1, ...  of  G(x_p),    G(x) = Ai'(x)^2 + x Ai(x)^2,    x_p = ((2p+1) pi / h)^2 (R / (2 k^2))^(2/3).
For plates far apart the sum becomes the integral of G((2p+1)^2 ...) over p, and P(k) ~ k^(1/3).
"""
from __future__ import annotations

import numpy as np

MODES = 200


def bessel_k(order: float, x: np.ndarray) -> np.ndarray:
    """K of a real order and argument above 0: the integral of exp(-x cosh t) cosh(order t) over t."""
    t = np.linspace(0, 30, 6001)[1:]
    with np.errstate(over="ignore", under="ignore"):
        return (t[1] - t[0]) * (np.exp(-np.outer(x, np.cosh(t))) @ np.cosh(order * t) + 0.5 * np.exp(-x))


def emission(x: np.ndarray) -> np.ndarray:
    """G(x), from Ai = sqrt(x / 3) K_1/3(zeta) / pi and Ai' = -x K_2/3(zeta) / (pi sqrt 3) with zeta = 2/3 x^(3/2)."""
    zeta = 2 / 3 * x**1.5
    return (x**2 / 3 * (bessel_k(1 / 3, zeta) ** 2 + bessel_k(2 / 3, zeta) ** 2)) / np.pi**2


V = np.linspace(0, 4, 2001)[1:]  # square root of x
G = emission(V**2)
WHOLE = (V[1] - V[0]) * (G.sum() + 0.5 * (2 * G[0] - G[1]))  # integral of G(v^2) over v


def share(distance: float, radius: float, length: float) -> float:
    """Of a Gaussian bunch of this rms length [all in m]."""
    k = np.linspace(0, 6, 401)[1:] / length
    scale = (radius / (2 * k**2)) ** (1 / 3)  # square root of x over the vertical wave number
    v = np.outer(scale, (2 * np.arange(MODES) + 1) * np.pi / distance)
    of_k = 2 * np.pi / distance * scale * np.interp(v, V, G, left=G[0], right=0).sum(axis=1) / WHOLE
    weight = k ** (1 / 3) * np.exp(-((k * length) ** 2))
    return float(of_k @ weight / weight.sum())


def free_loss(charge: float, radius: float, length: float) -> float:
    """Mean loss per metre without plates [eV/m]: -0.350472 Q / (4 pi eps0) / (R^(2/3) sigma^(4/3))."""
    return -0.350472 * 8.9875517923e9 * charge / (radius ** (2 / 3) * length ** (4 / 3))
