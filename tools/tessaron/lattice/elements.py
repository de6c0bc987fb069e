"""The elements of a lattice, in the field's conventions.

Lengths are along the design orbit [m], angles in radians. Looking along the orbit, u points to the left in the orbit plane
and w up.

*Bends.* `angle` above 0 bends to the right, clockwise seen from above, as in MAD-X and elegant; the deck's `r` has the same
sign. `e1` and `e2` are the pole face angles of a sector bend (sbend): 0 for faces square to the orbit, and of the sign of
`angle` where the face is turned as that of a rectangular magnet. A rectangular bend (rbend), whose faces are parallel, thus
has e1 + e2 = angle; the symmetric one e1 = e2 = angle / 2. An edge focuses vertically where e / angle is above 0.

The deck gives a boundary by the direction of its normal: `psi` from the x axis, or `delta_psi` from the orbit, both in
degrees and counter-clockwise. The entrance has delta_psi = -e1, the exit delta_psi = +e2, whatever the sign of the angle;
psi is delta_psi plus the direction of the orbit there, which a bend lowers by its angle.

*Boundaries.* Every element but a drift has boundaries at which its field begins and ends at once (hard edges). `duty` says
whether the steps of a run stop just ahead of and behind the passage of the bunch.
"""
from __future__ import annotations

from dataclasses import dataclass, fields
from math import isfinite, pi, sin
from typing import Union

import numpy as np

NAME_BREAKERS = set("(){}[]= ,;!#\t\n")  #: what a word of a deck cannot hold


@dataclass(frozen=True)
class Drift:
    """A straight without field."""

    length: float  #: [m], 0 or more

    def __post_init__(self) -> None:
        _check(self, at_least_0=("length",))


class _TwoFaces:
    """What elements with an entrance and an exit boundary have in common."""

    def _settle(self) -> None:
        for which in ("entrance", "exit"):
            if self.name and not getattr(self, which):
                object.__setattr__(self, which, f"{self.name}_{'in' if which == 'entrance' else 'out'}")
        duty = (self.duty, self.duty) if isinstance(self.duty, bool) else tuple(self.duty)
        object.__setattr__(self, "duty", duty)
        _check(self, above_0=("length",))


@dataclass(frozen=True)
class Dipole(_TwoFaces):
    """A bending magnet; `sbend`, `rbend` and `arc` make one from other numbers."""

    length: float  #: along the orbit [m], above 0
    angle: float  #: [rad], above 0 to the right; 0 makes a straight between two boundaries
    e1: float = 0.0  #: angle of the entrance face against that of a sector bend [rad]
    e2: float = 0.0  #: of the exit face [rad]
    name: str = ""  #: marks the boundaries NAME_in and NAME_out
    entrance: str = ""  #: marker of the entrance, in place of NAME_in
    exit: str = ""  #: marker of the exit, in place of NAME_out
    duty: bool | tuple[bool, bool] = True  #: steps stop at entrance and exit

    def __post_init__(self) -> None:
        self._settle()

    @classmethod
    def sbend(cls, length: float, angle: float, e1: float = 0.0, e2: float = 0.0, **more) -> "Dipole":
        """A sector bend: `length` [m] along the orbit, faces square to the orbit but for e1 and e2 [rad]."""
        return cls(length, angle, e1, e2, **more)

    @classmethod
    def rbend(cls, length: float, angle: float, e1: float = 0.0, e2: float = 0.0, chord: bool = False, **more) -> "Dipole":
        """A rectangular bend: parallel faces, entered and left at half the angle, but for further angles e1 and e2 [rad].

        :param chord: `length` [m] is the straight distance of the faces' centres, as MAD-X takes it by its option `rbarc`,
            and not the length along the orbit, as in elegant.
        """
        arc = length * (angle / 2) / sin(angle / 2) if chord and angle else length
        return cls(arc, angle, angle / 2 + e1, angle / 2 + e2, **more)

    @classmethod
    def arc(cls, radius: float, *, angle: float | None = None, length: float | None = None, e1: float = 0.0, e2: float = 0.0,
            **more) -> "Dipole":
        """A bend from its radius [m], above 0 to the right, and either its angle [rad] or its length along the orbit [m]."""
        if (angle is None) == (length is None):
            raise ValueError("Dipole.arc needs a radius and either angle or length")
        if not radius:
            raise ValueError("Dipole.arc: radius must not be 0")
        return cls(length, length / radius, e1, e2, **more) if angle is None else cls(radius * angle, angle, e1, e2, **more)

    @property
    def radius(self) -> float:
        """Bending radius for the reference momentum [m], above 0 to the right, 0 without a bend: the deck's `r`."""
        return self.length / self.angle if self.angle else 0.0

    @property
    def turns(self) -> tuple[float, float]:
        """Angles of the boundaries' normals against the orbit [rad], counter-clockwise: the deck's `delta_psi`."""
        return -self.e1, self.e2


@dataclass(frozen=True)
class Quadrupole(_TwoFaces):
    """A quadrupole magnet."""

    length: float  #: [m], above 0
    k1: float  #: gradient over the reference momentum [1/m^2], above 0 focuses in the orbit plane
    tilt: float = 0.0  #: rotation about the axis from left to up [rad]; the deck's `alpha`
    du: float = 0.0  #: place of the axis to the left [m]; the deck's `horizontal_offset`
    dw: float = 0.0  #: and up [m]; `vertical_offset`
    name: str = ""  #: marks the boundaries NAME_in and NAME_out
    entrance: str = ""  #: marker of the entrance, in place of NAME_in
    exit: str = ""  #: marker of the exit, in place of NAME_out
    duty: bool | tuple[bool, bool] = True  #: steps stop at entrance and exit
    turns: tuple[float, float] = (0.0, 0.0)  #: angles of the boundaries' normals against the orbit [rad], counter-clockwise

    def __post_init__(self) -> None:
        self._settle()


@dataclass(frozen=True)
class Multipole(_TwoFaces):
    """A magnet of 2n poles, for example a sextupole with 6 of them."""

    length: float  #: [m], above 0
    poles: int  #: 2n, even; 4 is a quadrupole, 2 a straight without field
    strength: float  #: the (n-1)-th derivative of the field over the reference momentum [1/m^n], MAD's k of order n - 1
    tilt: float = 0.0  #: rotation about the axis from left to up [rad]; the deck's `alpha`
    du: float = 0.0  #: place of the axis to the left [m]; the deck's `horizontal_offset`
    dw: float = 0.0  #: and up [m]; `vertical_offset`
    name: str = ""  #: marks the boundaries NAME_in and NAME_out
    entrance: str = ""  #: marker of the entrance, in place of NAME_in
    exit: str = ""  #: marker of the exit, in place of NAME_out
    duty: bool | tuple[bool, bool] = True  #: steps stop at entrance and exit
    turns: tuple[float, float] = (0.0, 0.0)  #: angles of the boundaries' normals against the orbit [rad], counter-clockwise

    def __post_init__(self) -> None:
        self._settle()
        if not isinstance(self.poles, int) or self.poles < 2 or self.poles % 2:
            raise ValueError(f"Multipole: poles must be an even integer of at least 2, not {self.poles!r}")


@dataclass(frozen=True)
class Marker:
    """A boundary without a magnet: a name for a place, where a run can end and monitors can begin.

    One without a drift between itself and a magnet's face names that face.
    """

    name: str = ""
    duty: bool = False  #: steps stop here
    turn: float = 0.0  #: angle of the boundary's normal against the orbit [rad], counter-clockwise

    def __post_init__(self) -> None:
        _check(self)


@dataclass(frozen=True)
class ThinQuadrupole:
    """A quadrupole without length: u' changes by -KL u and w' by +KL w, with KL = `effective_length` * `k1`."""

    effective_length: float  #: [m]
    k1: float  #: [1/m^2], above 0 focuses in the orbit plane
    name: str = ""
    duty: bool = False  #: steps stop here
    turn: float = 0.0  #: angle of the boundary's normal against the orbit [rad], counter-clockwise

    def __post_init__(self) -> None:
        _check(self)


@dataclass(frozen=True, eq=False)
class Map:
    """A linear map without length of (u, u', w, w') of every particle about the design orbit; time and momentum stay."""

    matrix: np.ndarray  #: (4, 4), of (u [m], u', w [m], w'), u to the left and w up
    name: str = ""
    duty: bool = False  #: steps stop here
    turn: float = 0.0  #: angle of the boundary's normal against the orbit [rad], counter-clockwise

    def __post_init__(self) -> None:
        object.__setattr__(self, "matrix", np.array(self.matrix, dtype=float))
        if self.matrix.shape != (4, 4) or not np.isfinite(self.matrix).all():
            raise ValueError("Map: matrix must be 4 by 4 numbers")
        _check(self)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Map) and np.array_equal(self.matrix, other.matrix) and \
            (self.name, self.duty, self.turn) == (other.name, other.duty, other.turn)


Magnet = (Dipole, Quadrupole, Multipole)  #: elements with two boundaries
Point = (Marker, ThinQuadrupole, Map)  #: elements of one boundary
Element = Union[Drift, Dipole, Quadrupole, Multipole, ThinQuadrupole, Map, Marker]


def length_of(element: Element) -> float:
    """Length along the orbit [m]; 0 for what acts at a point."""
    return getattr(element, "length", 0.0)


def _check(element: object, above_0: tuple[str, ...] = (), at_least_0: tuple[str, ...] = ()) -> None:
    """Names that a deck can hold, numbers that are finite, lengths and face angles that can be."""
    kind = type(element).__name__
    for field in fields(element):
        value = getattr(element, field.name)
        if field.name in ("name", "entrance", "exit"):
            if not isinstance(value, str) or set(value) & NAME_BREAKERS or len(value) > 80:
                raise ValueError(f"{kind}: {field.name} must be one word of a deck, of at most 80 characters, not {value!r}")
        elif field.type == "float":
            if not isinstance(value, (int, float, np.number)) or isinstance(value, bool) or not isfinite(value):
                raise ValueError(f"{kind}: {field.name} must be a number, not {value!r}")
            object.__setattr__(element, field.name, float(value))
    for name in above_0:
        if not getattr(element, name) > 0:
            raise ValueError(f"{kind}: {name} must be above 0, not {getattr(element, name)!r}")
    for name in at_least_0:
        if getattr(element, name) < 0:
            raise ValueError(f"{kind}: {name} must be 0 or above, not {getattr(element, name)!r}")
    for turn in (*getattr(element, "turns", ()), getattr(element, "turn", 0.0)):
        if not abs(turn) < pi / 2:
            raise ValueError(f"{kind}: a face must be turned by less than a right angle against the orbit, not by {turn!r} rad")
