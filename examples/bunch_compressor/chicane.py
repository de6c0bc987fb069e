"""Closed forms of a chicane of four equal rectangular dipoles whose faces stand across its axis."""
from __future__ import annotations

from numpy import arcsin, cos, tan

RADIUS = 10.3462283687  # m
DIPOLE = 0.5  # m along the axis
DRIFT = 5.0  # m along the axis, from the first to the second dipole and from the third to the fourth


def path(momentum: float = 1.0) -> float:
    """Path from the entrance of the first to the exit of the last dipole without the middle drift [m].

    :param momentum: relative to the design; an array is as good.
    """
    theta = arcsin(DIPOLE / (RADIUS * momentum))
    return 4 * RADIUS * momentum * theta + 2 * DRIFT / cos(theta)


def r56() -> float:
    """First order change of the path with relative momentum [m].

    With p = p0 (1 + d) the radius is R (1 + d) and sin(theta) = L / (R (1 + d)), so that the path
        s = 4 R (1 + d) theta + 2 D / cos(theta)
    changes by  R56 = ds/dd = 4 R (theta - tan(theta)) - 2 D tan(theta)^2 / cos(theta).
    """
    theta = arcsin(DIPOLE / RADIUS)
    return 4 * RADIUS * (theta - tan(theta)) - 2 * DRIFT * tan(theta) ** 2 / cos(theta)


def t566() -> float:
    """Second order [m]: half the derivative of R56(d), from the same path with dtheta/dd = -tan(theta)/(1 + d).

    ds/dd = 4 R (theta - tan(theta)) - 2 D tan(theta)^2 / (cos(theta) (1 + d)) gives at d = 0
        d2s/dd2 = 4 R tan(theta)^3 + 2 D tan(theta)^2 / cos(theta) (3 + 3 tan(theta)^2).
    """
    theta = arcsin(DIPOLE / RADIUS)
    t = tan(theta)
    return 0.5 * (4 * RADIUS * t**3 + 2 * DRIFT * t**2 / cos(theta) * (3 + 3 * t**2))
