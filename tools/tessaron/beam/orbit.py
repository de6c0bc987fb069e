"""A bunch about the design orbit: arc length, offset, and momenta along and across the local tangent.

In a bend the orbit turns within the bunch. Along one straight direction the head would lie beside the tail, and the two
would seem to fly apart: emittance, length and angles would be those of a bent bunch. About the orbit they are what they
are on a straight. The same coordinates as in the program's `fmt3` files.
"""
from __future__ import annotations

import numpy as np

from ..lattice.geometry import Boundary
from .bunch import Bunch, LocalCoordinates

FARTHEST = 0.1  #: m beside the orbit; farther away a bunch belongs to another lattice, or to another frame
MOST_ASKEW = 0.3  #: rad


def coordinates(bunch: Bunch, orbit: list[Boundary] | None = None) -> LocalCoordinates:
    """The bunch about its centre: along the orbit where one is told, else along its own mean momentum.

    :param orbit: the field boundaries; the positions of the bunch are in their frame, the lab. A bunch that tells its
        coordinates along the orbit anyway (from `fmt3`) needs none.
    :raises ValueError: when the bunch is nowhere near the orbit.
    """
    if not orbit or bunch.on_orbit:
        return bunch.local()
    weight = bunch.weight
    section, start = locate(bunch, orbit)
    s, u, tx, ty = np.empty((4, len(bunch)))
    for k, members in _members(bunch, orbit, section, start):
        s[members], u[members], tx[members], ty[members] = _along(bunch, orbit, k, members, start)
    px, py, pz = bunch.px, bunch.py, bunch.pz
    about = [values - weight @ values for values in (s, u, bunch.offsets[2])]
    return LocalCoordinates(*about, ps=px * tx + py * ty, pu=py * tx - px * ty, pw=pz, energy=bunch.energy, weight=weight,
                            place=round(float(start + weight @ s), 12) + 0.0, offset=float(weight @ u))


def locate(bunch: Bunch, orbit: list[Boundary]) -> tuple[int, float]:
    """The section of the bunch's centre, 0 ahead of the first boundary, and its path length [m].

    :raises ValueError: when the bunch is nowhere near the orbit, or flies elsewhere.
    """
    mean = bunch.reference + bunch.offsets @ bunch.weight
    best = (np.inf, 0, 0.0)
    for k in range(len(orbit) + 1):
        s, u, tx, ty = (float(value[0]) for value in _project(orbit, k, mean[:1], mean[1:2]))
        low = orbit[k - 1].s if k > 0 else -np.inf
        high = orbit[k].s if k < len(orbit) else np.inf
        beside = np.hypot(u, max(low - s, s - high, 0.0))
        angle = np.arctan2(mean[4] * tx - mean[3] * ty, mean[3] * tx + mean[4] * ty)
        if abs(angle) < MOST_ASKEW or len(orbit) == 0:
            best = min(best, (float(beside), k, min(max(s, low), high)))
    if best[0] > FARTHEST:
        raise ValueError(f"the bunch at x = {mean[0]:.6g} m, y = {mean[1]:.6g} m is not on the design orbit"
                         + (f" but {best[0]:.3g} m beside it" if np.isfinite(best[0]) else ", or does not fly along it"))
    return best[1], best[2]


def nearest_point(bunch: Bunch, orbit: list[Boundary]) -> tuple[np.ndarray, np.ndarray, float]:
    """Place and tangent of the orbit beside the bunch's centre, (3,) each, and the path length there [m].

    :raises ValueError: as in `locate`.
    """
    section, _ = locate(bunch, orbit)
    mean = bunch.reference[:3] + bunch.offsets[:3] @ bunch.weight
    s, u, tx, ty = (float(value[0]) for value in _project(orbit, section, mean[:1], mean[1:2]))
    return np.array([mean[0] + u * ty, mean[1] - u * tx, 0.0]), np.array([tx, ty, 0.0]), s


def _members(bunch: Bunch, orbit: list[Boundary], section: int, start: float):
    """The sections that particles are in, each with the particles. Only boundaries near the bunch are looked at."""
    x, y = bunch.x, bunch.y
    extent = 2.0 * float(np.hypot(np.ptp(bunch.offsets[0]), np.ptp(bunch.offsets[1]))) + 1e-9
    first, last = section, section
    while first > 0 and orbit[first - 1].s > start - extent:
        first -= 1
    while last < len(orbit) and orbit[last].s < start + extent:
        last += 1
    behind = np.full(len(bunch), first)
    for k in range(first, last):
        b = orbit[k]
        passed = (x - b.x) * b.tx + (y - b.y) * b.ty >= 0
        behind[passed & (behind == k)] = k + 1
    for k in range(first, last + 1):
        members = np.flatnonzero(behind == k) if first < last else slice(None)
        if first == last or members.size:
            yield k, members


def _along(bunch: Bunch, orbit: list[Boundary], k: int, members, start: float):
    """Path length beyond `start` [m], offset [m] and tangent of particles in section k."""
    s, u, tx, ty = _project(orbit, k, bunch.x[members], bunch.y[members])
    return s - start, u, tx, ty


def _project(orbit: list[Boundary], k: int, x: np.ndarray, y: np.ndarray) -> tuple[np.ndarray, np.ndarray, np.ndarray, np.ndarray]:
    """Path length, offset to the left and tangent of the orbit's points nearest to x, y, if section k went on for ever.

    Section k lies between boundaries k - 1 and k, counted from 0; a straight goes before the first and behind the last.
    """
    b = orbit[max(k - 1, 0)]
    r = orbit[k].r if 0 < k < len(orbit) else 0.0
    dx, dy = x - b.x, y - b.y
    ahead, left = dx * b.tx + dy * b.ty, dy * b.tx - dx * b.ty
    if r == 0:
        return b.s + ahead, left, np.full_like(ahead, b.tx), np.full_like(ahead, b.ty)
    # the centre of the circle is at the distance r to the right; the orbit turns clockwise for r > 0
    away = np.hypot(ahead, left + r)
    turn = np.arctan2(ahead, (left + r)) if r > 0 else np.arctan2(ahead, -(left + r))
    arc = (orbit[k].s - b.s) / abs(r)
    turn = np.where(turn < arc / 2 - np.pi, turn + 2 * np.pi, turn)  # what is nearer to the arc: before its start, or behind its end
    length = abs(r) * turn
    angle = -length / r
    offset = (ahead**2 + left * (left + 2 * r)) / (away + abs(r)) * np.sign(r)  # away - |r|, without its cancellation
    return b.s + length, offset, b.tx * np.cos(angle) - b.ty * np.sin(angle), b.ty * np.cos(angle) + b.tx * np.sin(angle)
