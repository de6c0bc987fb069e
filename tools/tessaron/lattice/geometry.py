"""The design orbit that a `lattice` block describes, built boundary by boundary as the program does."""
from __future__ import annotations

from dataclasses import dataclass
from math import atan2, cos, hypot, inf, pi, radians, remainder, sin, sqrt

import numpy as np

from ..deck.keys import CAPACITY


@dataclass
class Boundary:
    """A field boundary of latout.dat."""

    marker: str
    duty: bool
    x: float  #: point of the design orbit on the boundary [m]
    y: float
    tx: float  #: tangent of the orbit there
    ty: float
    nx: float  #: normal of the boundary line
    ny: float
    s: float  #: path length from the origin [m]
    r: float  #: radius of the section that ends here [m], 0 straight, above 0 clockwise
    element: tuple[int, int] = (1, 0)  #: class (1 field section, 0 discrete element) and subtype


def add_boundary(boundaries: list[Boundary], keys: dict[str, float], r: float, marker: str, duty: bool) -> Boundary:
    """Appends the boundary that the keys of a `position` block describe.

    :param keys: those of rho [m], psi [degrees], delta_s [m], delta_psi [degrees] that the deck gives.
    :param r: radius of the section that ends here [m], 0 for a straight one, above 0 clockwise.
    :raises ValueError: with words for a person, when the keys cannot be met.
    """
    if len(boundaries) >= CAPACITY["maxlat"]:
        raise ValueError(f"more than {CAPACITY['maxlat']} field boundaries")
    if "rho" not in keys and "delta_s" not in keys:
        raise ValueError("position needs rho or delta_s")
    if not boundaries:
        boundary = _first(keys, r)
    elif r == 0:
        boundary = _straight(boundaries[-1], keys)
    elif "rho" in keys and "psi" in keys:
        boundary = _absolute_arc(boundaries[-1], keys, r)
    else:
        boundary = _relative_arc(boundaries[-1], keys, r)
    boundary.marker, boundary.duty = marker, duty
    boundaries.append(boundary)
    return boundary


def turned(vector: tuple[float, float], angle: float) -> tuple[float, float]:
    """A vector of the plane turned by an angle [rad]."""
    c, s = cos(angle), sin(angle)
    return vector[0] * c - vector[1] * s, vector[0] * s + vector[1] * c


def _normal(keys: dict[str, float], tangent: tuple[float, float]) -> tuple[float, float]:
    if "psi" in keys:
        return cos(radians(keys["psi"])), sin(radians(keys["psi"]))
    return turned(tangent, radians(keys.get("delta_psi", 0.0)))


def _first(keys: dict[str, float], r: float) -> Boundary:
    psi = radians(keys.get("psi", keys.get("delta_psi", 0.0)))
    if "delta_s" not in keys and abs(cos(psi)) < 1e-9:
        raise ValueError("the boundary runs along the orbit, which never crosses it")
    s = keys["delta_s"] if "delta_s" in keys else keys["rho"] / cos(psi)
    return Boundary("", True, s, 0.0, 1.0, 0.0, cos(psi), sin(psi), s, r)


def _straight(before: Boundary, keys: dict[str, float]) -> Boundary:
    nx, ny = _normal(keys, (before.tx, before.ty))
    if "delta_s" in keys:
        length = keys["delta_s"]
    else:
        forward = ny * before.ty + nx * before.tx
        if abs(forward) < 1e-9:
            raise ValueError("the boundary runs along the orbit, which never crosses it")
        length = ((keys["rho"] * ny - before.y) * ny + (keys["rho"] * nx - before.x) * nx) / forward
    return Boundary("", True, before.x + before.tx * length, before.y + before.ty * length, before.tx, before.ty, nx, ny,
                    before.s + length, 0.0)


def _relative_arc(before: Boundary, keys: dict[str, float], r: float) -> Boundary:
    if "delta_s" not in keys:
        raise ValueError("the end of an arc needs delta_s, or rho and psi")
    if keys["delta_s"] < 0:
        raise ValueError(f"delta_s = {keys['delta_s']:g}: the length of an arc must be above 0")
    boundary = _arc(before, keys["delta_s"], r)
    boundary.nx, boundary.ny = _normal(keys, (boundary.tx, boundary.ty))
    return boundary


def _absolute_arc(before: Boundary, keys: dict[str, float], r: float) -> Boundary:
    c, e = cos(radians(keys["psi"])), sin(radians(keys["psi"]))
    a, b = before.tx * e - before.ty * c, before.tx * c + before.ty * e
    distance = (keys["rho"] - (before.y * e + before.x * c)) / r + a
    if abs(distance) > 1:
        raise ValueError("the arc does not reach the line of rho and psi")
    root = sqrt(1 - distance**2)
    m = 1 / (b * b + a * a)
    angles = [atan2((side * a * root - distance * b) * m, (side * b * root + distance * a) * m) for side in (1, -1)]
    lengths = [-r * angle + (2 * pi * abs(r) if -r * angle < 0 else 0.0) for angle in angles]
    boundary = _arc(before, min(lengths), r)
    boundary.nx, boundary.ny = c, e
    return boundary


def _arc(before: Boundary, length: float, r: float) -> Boundary:
    angle = -length / r
    tx, ty = turned((before.tx, before.ty), angle)
    chord_x, chord_y = turned((before.tx, before.ty), angle / 2)
    chord = 2 * r * sin(angle / 2)
    return Boundary("", True, before.x - chord_x * chord, before.y - chord_y * chord, tx, ty, tx, ty, before.s + length, r)


def design_orbit(boundaries: list[Boundary], points: int = 30) -> np.ndarray:
    """(2, N) points x, y [m] along the design orbit from the origin through all boundaries.

    :param points: of each section; an arc gets more where it turns by more than 3 degrees between them.
    """
    x, y, tx, ty, s = 0.0, 0.0, 1.0, 0.0, 0.0
    rows = [(x, y)]
    for b in boundaries:
        turn = abs((b.s - s) / b.r) if b.r else 0.0
        for length in np.linspace(0, b.s - s, max(points, int(np.ceil(turn / np.radians(3))) + 1))[1:]:
            # an arc is its chord, turned by half the angle; an angle falls along a positive radius
            half = -length / b.r / 2 if b.r else 0.0
            chord = -2 * b.r * np.sin(half) if b.r else length
            rows.append((x + chord * (tx * np.cos(half) - ty * np.sin(half)), y + chord * (ty * np.cos(half) + tx * np.sin(half))))
        x, y, tx, ty, s = b.x, b.y, b.tx, b.ty, b.s
    return np.array(rows).T


def orbit_position(boundaries: list[Boundary], x: float, y: float) -> tuple[float, float, float]:
    """Path length of the orbit point nearest to (x, y) [m], the distance from it [m], and the orbit's direction there [rad]."""
    best = (inf, 0.0, 0.0)
    for k in range(len(boundaries) + 1):
        start = boundaries[k - 1] if k else Boundary("", False, 0, 0, 1, 0, 1, 0, 0, 0)
        low = start.s if k else -inf
        high = boundaries[k].s if k < len(boundaries) else inf
        r = boundaries[k].r if 0 < k < len(boundaries) else 0.0
        s, beside, direction = _beside(start, r, high - low, x, y)
        best = min(best, (hypot(beside, max(low - s, s - high, 0.0)), min(max(s, low), high), direction))
    distance, s, direction = best
    return s, distance, direction


def _beside(start: Boundary, r: float, length: float, x: float, y: float) -> tuple[float, float, float]:
    """Path length [m], offset [m] and direction [rad] of a point beside the line or circle that goes on from a boundary.

    An arc's path length counts up to whole turns; the one nearest to its `length` is taken.
    """
    ahead = (x - start.x) * start.tx + (y - start.y) * start.ty
    left = (y - start.y) * start.tx - (x - start.x) * start.ty
    direction = atan2(start.ty, start.tx)
    if r == 0:
        return start.s + ahead, left, direction
    # the centre of the circle is at the distance r to the right; the orbit turns clockwise for r > 0
    turn = atan2(ahead, left + r) if r > 0 else atan2(ahead, -left - r)
    if turn < length / abs(r) / 2 - pi:
        turn += 2 * pi
    return start.s + abs(r) * turn, hypot(ahead, left + r) - abs(r), remainder(direction - turn * (1 if r > 0 else -1), 2 * pi)
