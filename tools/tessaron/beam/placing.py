"""Putting a bunch where it is wanted: another place, direction, optics, or particle 1.

All of these move every particle alike, or by a linear map, and make a new bunch. `Bunch` has them as methods.
"""
from __future__ import annotations

from dataclasses import dataclass, replace
from typing import Sequence

import numpy as np

from ..lattice.geometry import Boundary
from .bunch import Bunch, frame_along
from .orbit import FARTHEST, MOST_ASKEW


@dataclass
class Twiss:
    """Wanted in one plane."""

    beta: float  #: [m]
    alpha: float


def moved(bunch: Bunch, axes: np.ndarray, start: np.ndarray, place: np.ndarray) -> Bunch:
    """The bunch turned by the orthonormal (3, 3) `axes` about the point `start` and carried to the point `place` [m]."""
    reference = np.concatenate([axes @ (bunch.reference[:3] - start) + place, axes @ bunch.reference[3:]])
    return replace(bunch, reference=reference, offsets=np.vstack([axes @ bunch.offsets[:3], axes @ bunch.offsets[3:]]), request=None,
                   on_orbit=False)


def mean_of(bunch: Bunch) -> np.ndarray:
    """Charge-weighted mean place [m] and momentum [eV/c], (6,)."""
    return bunch.reference + bunch.offsets @ bunch.weight


def turned_by(angle: float) -> np.ndarray:
    """Turns about the vertical, counter-clockwise seen from above [rad]."""
    c, s = np.cos(angle), np.sin(angle)
    return np.array([[c, -s, 0.0], [s, c, 0.0], [0.0, 0.0, 1.0]])


def centred(bunch: Bunch, place: Sequence[float], angle: float) -> Bunch:
    """With its mean place at `place` [m] and its mean momentum level, in the direction `angle` [rad] against the x axis."""
    mean = mean_of(bunch)
    return moved(bunch, turned_by(angle) @ frame_along(mean[3:]).T, mean[:3], np.asarray(place, dtype=float))


def rotated(bunch: Bunch, angle: float) -> Bunch:
    """Turned about the vertical through its mean place, counter-clockwise seen from above [rad]."""
    mean = mean_of(bunch)
    return moved(bunch, turned_by(angle), mean[:3], mean[:3])


def boundary_at(boundaries: Sequence[Boundary], marker: str) -> Boundary:
    """The first boundary of that marker.

    :raises ValueError: there is none; the message lists the markers.
    """
    for boundary in boundaries:
        if boundary.marker == marker:
            return boundary
    names = [boundary.marker for boundary in boundaries if boundary.marker]
    raise ValueError(f"no marker {marker}; there are {', '.join(names[:30]) or 'none'}" + (", ..." if len(names) > 30 else ""))


def placed(bunch: Bunch, boundary: Boundary, centre: bool) -> Bunch:
    """On the design orbit at a boundary.

    :param centre: with its mean place on the orbit and its mean momentum along it. Otherwise the x axis of its own frame is laid
        along the orbit, so that what it was beside that axis, or askew to it, it is beside the orbit.
    :raises ValueError: without `centre`, a bunch nowhere near its own x axis.
    """
    place, angle = np.array([boundary.x, boundary.y, 0.0]), float(np.arctan2(boundary.ty, boundary.tx))
    if centre:
        return centred(bunch, place, angle)
    mean = mean_of(bunch)
    beside, askew = np.hypot(mean[1], mean[2]), np.arctan2(np.hypot(mean[4], mean[5]), mean[3])
    if beside > FARTHEST or askew > MOST_ASKEW:
        raise ValueError(f"the bunch is {beside:.3g} m beside the x axis of its frame and {askew:.3g} rad askew to it, so that this axis is "
                         "no design orbit; --centre puts it on the orbit")
    return moved(bunch, turned_by(angle), np.array([mean[0], 0.0, 0.0]), place)


def flown_back(bunch: Bunch, distance: float) -> Bunch:
    """As it was when its mean place lay that far back [m]: all particles flown back straight. The bunch time stays."""
    velocities = (bunch.reference[3:, None] + bunch.offsets[3:]) / bunch.energy  # over c
    time = distance / np.linalg.norm(velocities @ bunch.weight)
    reference, offsets = bunch.reference.copy(), bunch.offsets.copy()
    reference[:3] -= time * velocities[:, 0]
    offsets[:3] -= time * (velocities - velocities[:, :1])
    return replace(bunch, reference=reference, offsets=offsets, request=None)


def ahead_of(bunch: Bunch, boundary: Boundary) -> np.ndarray:
    """How far each particle is ahead of a boundary's line, below 0 for those that have passed it [m]."""
    side = np.sign(boundary.nx * boundary.tx + boundary.ny * boundary.ty) or 1.0
    return -side * ((bunch.x - boundary.x) * boundary.nx + (bunch.y - boundary.y) * boundary.ny)


def matched(bunch: Bunch, horizontal: Twiss, vertical: Twiss) -> Bunch:
    """With other Twiss parameters where it stands.

    In its own frame, along its mean momentum, places u and slopes u' of both planes go through

        u -> sqrt(beta/beta0) u,        u' -> ((alpha0 - alpha) u + beta0 u') / sqrt(beta beta0)

    about their means, which keeps the emittance of u and u'. The magnitude of each momentum stays, and so do the places along and
    the direction of the mean momentum.
    beta0 and alpha0 are those of all particles, with whatever dispersion they have: dispersion goes through the same map.

    :raises ValueError: a beta that is not above 0, a plane without emittance, or a particle that flies backwards.
    """
    mean = mean_of(bunch)
    axes = frame_along(mean[3:])
    weight, momentum = bunch.weight, bunch.momentum
    places = axes.T @ (bunch.offsets[:3] - (mean - bunch.reference)[:3, None])
    along, *across = axes.T @ (bunch.reference[3:, None] + bunch.offsets[3:])
    if np.any(along <= 0):
        raise ValueError(f"particle {int(np.argmin(along)) + 1} flies against the bunch; it has no slope to match")
    slopes = []
    for k, (twiss, name) in enumerate(((horizontal, "in the orbit plane"), (vertical, "vertically"))):
        if not (0 < twiss.beta < np.inf and np.isfinite(twiss.alpha)):
            raise ValueError(f"beta must be a number above 0 and alpha a number {name}, not {twiss.beta!r} and {twiss.alpha!r}")
        slope = across[k] / along
        u, slope = places[1 + k], slope - weight @ slope
        size2, angle2, mixed = (float(weight @ values) for values in (u * u, slope * slope, u * slope))
        emittance = np.sqrt(max(size2 * angle2 - mixed**2, 0.0))
        if emittance <= 1e-12 * np.sqrt(size2 * angle2) or emittance == 0:
            raise ValueError(f"the bunch has no emittance {name}, so that no beta can be given to it")
        beta0, alpha0 = size2 / emittance, -mixed / emittance
        slopes.append(((alpha0 - twiss.alpha) * u + beta0 * slope) / np.sqrt(twiss.beta * beta0))
        places[1 + k] = np.sqrt(twiss.beta / beta0) * u
    forward = along
    for _ in range(2):  # the mean momentum stays along its direction; the second time for what that does to the momenta along
        slopes = [slope - weight @ (forward * slope) / (weight @ forward) for slope in slopes]
        forward = momentum / np.sqrt(1 + slopes[0]**2 + slopes[1]**2)
    rows = np.vstack([axes @ places + (mean - bunch.reference)[:3, None],
                      axes @ np.array([forward, forward * slopes[0], forward * slopes[1]]) - bunch.reference[3:, None]])
    return replace(bunch, reference=bunch.reference + rows[:, 0], offsets=rows - rows[:, :1], request=None)


def with_central_reference(bunch: Bunch) -> Bunch:
    """With the particle nearest to the centre, in units of the rms of each coordinate, in the place of particle 1, and particle 1 in
    its place."""
    weight = bunch.weight
    about = bunch.offsets - (bunch.offsets @ weight)[:, None]
    spread2 = about**2 @ weight
    about = about[spread2 > 0]
    near = int(np.argmin((about**2 / spread2[spread2 > 0, None]).sum(axis=0)))
    order = np.arange(len(bunch))
    order[[0, near]] = near, 0
    offsets = bunch.offsets[:, order]
    return replace(bunch, reference=bunch.reference + offsets[:, 0], offsets=offsets - offsets[:, :1], charge=bunch.charge[order], request=None)
