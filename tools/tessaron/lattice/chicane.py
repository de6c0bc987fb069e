"""The lattice of a bunch compressor."""
from __future__ import annotations

from math import isfinite, pi, sin, tan

from .elements import Dipole, Drift, Marker
from .lattice import Lattice


def chicane(angle: float, length: float, drift: float, middle: float, ahead: float = 1.0, behind: float = 1.0,
            angle2: float | None = None, end: str = "end") -> Lattice:
    """Four rectangular dipoles B1 to B4 with all faces across the x axis: the orbit ends on the axis it began on.

    Distances are along x, so that magnets keep their places when the angle changes. Marked are the faces, B1_in to B4_out,
    and the end.

    :param angle: of B1, and of B2 the other way [rad], above 0 to the right.
    :param length: of each magnet along x [m].
    :param drift: between B1 and B2 along x [m], and between B3 and B4 unless `angle2` asks for another one.
    :param middle: between B2 and B3 [m].
    :param ahead: from the origin to B1 [m]; behind: from B4 to the end [m].
    :param angle2: of B4, and of B3 the other way [rad], `angle` unless given. The drift between B3 and B4 then becomes what
        brings the orbit back to the axis.
    :param end: marker of the end.
    :raises ValueError: an angle that is 0 or not below a right angle, a length that is not above 0, or an `angle2` too large
        to come back to the axis only behind B3.
    """
    second = angle if angle2 is None else angle2
    for name, value in (("length", length), ("drift", drift), ("middle", middle), ("ahead", ahead), ("behind", behind)):
        if not (isfinite(value) and value > 0):
            raise ValueError(f"chicane: {name} must be above 0, not {value!r}")
    for name, value in (("angle", angle), ("angle2", second)):
        if not 0 < abs(value) < pi / 2 or value * angle < 0:
            raise ValueError(f"chicane: {name} must be below a right angle, of the sign of angle and not 0, not {value!r}")
    offset = 2 * length * tan(angle / 2) + drift * tan(angle)
    back = drift if second == angle else (offset - 2 * length * tan(second / 2)) / tan(second)
    if back <= 0:
        raise ValueError(f"chicane: angle2 of {second!r} takes the orbit back to the axis within the magnets; it must be smaller")
    return Lattice([
        Drift(ahead), _bend(angle, 0.0, length, "B1"), _slanted(drift, angle), _bend(-angle, -angle, length, "B2"),
        Drift(middle), _bend(-second, 0.0, length, "B3"), _slanted(back, second), _bend(second, second, length, "B4"),
        Drift(behind), Marker(end)])


def _slanted(distance: float, angle: float) -> Drift:
    return Drift(distance * tan(angle) / sin(angle))


def _bend(angle: float, e1: float, length: float, name: str) -> Dipole:
    """A dipole between two faces across the x axis, one of them met at a right angle."""
    return Dipole(length * angle / sin(angle), angle, e1=e1, e2=angle - e1, name=name)
