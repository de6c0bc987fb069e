"""From the attributes of MAD-X and elegant, which mean the same, to elements.

Both count x to the left, angles to the right, and k1 above 0 as focusing in the plane, as `lattice.elements` does. A roll by
`tilt` is from left to up; half a turn makes a bend one to the other side.
"""
from __future__ import annotations

import re
from math import atan2, hypot, pi, sin
from typing import AbstractSet, Callable

import numpy as np

from ..lattice.elements import Dipole, Drift, Element, Map, Marker, Multipole, Quadrupole, ThinQuadrupole, length_of
from .attributes import DECISIVE, meant
from .definition import Definition
from .pieces import Piece
from .source import LatticeFault

ROLL = 1e-5  #: rad within which a roll counts as none or as half a turn; files write 1.5708
HELD = "the program holds the magnets of the orbit plane alone"


class NoCounterpart(Exception):
    """Why an element cannot be had, and the length that a drift in its place would need [m]."""

    def __init__(self, why: str, length: float) -> None:
        super().__init__(why)
        self.length = length


class Numbers:
    """The attributes of an element by their names in small letters, and the remarks that were made on it."""

    def __init__(self, number: Callable[[str], float], array: Callable[[str], list[float]] = lambda name: [],
                 given: AbstractSet[str] = frozenset(), others: frozenset[str] = frozenset()) -> None:
        """:param given: names of the attributes whose passing over is to be told.
        :param others: attributes of the language that mean nothing here."""
        self._number, self._array, self.unread, self.others = number, array, set(given), others
        self.own: tuple[str, ...] = ("l",)  #: attributes of its class by which an element is what it is, strength first
        self.remarks: list[str] = []

    def __call__(self, name: str) -> float:
        """The number of an attribute, 0 where it is not given."""
        self.unread.discard(name)
        return self._number(name)

    def array(self, name: str) -> list[float]:
        """The numbers of an attribute in braces, none where it is not given."""
        self.unread.discard(name)
        return self._array(name)

    @property
    def length(self) -> float:
        return self("l")

    def refuse(self, length: float, names: str, words: str) -> None:
        """No counterpart if one of the attributes is not 0."""
        for name in names.split():
            if value := self(name):
                raise NoCounterpart(f"{words} ({name} = {value:.6g})", length)

    def remark(self, names: str, words: str) -> None:
        """A remark if one of the attributes is not 0."""
        given = [f"{name} = {value:.6g}" for name in names.split() if (value := self(name))]
        if given:
            self.remarks.append(f"{words} ({', '.join(given)})")


Builder = Callable[[Numbers], Element]


def built(definition: Definition, kind: str, builder: Builder | None, numbers: Numbers) -> Piece:
    """The piece that a builder makes; one without an element where that cannot be had, or for None as a builder.

    :raises LatticeFault: numbers that no element can have.
    """
    element, lacking = None, ""
    try:
        try:
            if builder is None:
                raise NoCounterpart("no element of this kind", numbers.length)
            element = builder(numbers)
            length = length_of(element)
        except NoCounterpart as error:
            length, lacking = Drift(error.length).length, str(error)
    except LatticeFault:
        raise
    except ValueError as error:
        words = re.sub(r"^[A-Z]\w+: ", "", str(error))  # without the name of our class
        raise LatticeFault(definition.place, f"{definition.name} ({kind}): {words}") from None
    slips, doubts = _strangers(definition, kind, element, numbers)
    return Piece(definition.name, kind, definition.place, length, element, lacking, tuple(numbers.remarks),
                 tuple(sorted(numbers.unread & numbers.others.union(numbers.own))) if element is not None else (), slips, doubts)


def _strangers(definition: Definition, kind: str, element: Element | None, numbers: Numbers) -> tuple[tuple[str, ...], tuple[str, ...]]:
    """Attributes that the class has not, in words: slips of those that decide what the element does and are missing, and others.

    Where there is no element, only its length is of interest.
    """
    slips, doubts = [], []
    idle = any(getattr(element, name, 1) == 0 for name in ("angle", "k1", "strength"))
    for word in sorted(numbers.unread - numbers.others - set(numbers.own)):
        near = meant(word, numbers.own, numbers.others)
        giver = definition.giver(word)
        text = f"{kind} {giver.name!r} has no attribute {word!r}"
        if near in DECISIVE.intersection(numbers.own) - definition.given and (near == "l" or element is not None):
            slips.append(f"{giver.place}: {text}: did you mean {near!r}?")
        elif element is not None:
            guess = f" (did you mean {near!r}?)" if near and near not in definition.given else ""
            doubts.append(f"{giver.place}: warning: {text} that is known here{guess}: it is passed over"
                          + (", and the magnet has no strength" if idle else ""))
    return tuple(slips), tuple(doubts)


def marker(numbers: Numbers) -> Element:
    """A place with a name."""
    return Marker()


def drift(numbers: Numbers) -> Element:
    """Nothing but its length."""
    return Drift(numbers.length)


def monitor(numbers: Numbers) -> Element:
    """A drift, or where it has no length a marker."""
    if numbers.length:
        numbers.remarks.append("has a length and becomes a drift: no marker keeps its name")
    return Drift(numbers.length) if numbers.length else Marker()


def collimator(numbers: Numbers) -> Element:
    """A drift; the program has no apertures."""
    numbers.remarks.append("the aperture is left out")
    return Drift(numbers.length)


def inert(names: str, words: str) -> Builder:
    """A drift where the attributes are 0, for example a corrector that is switched off."""
    def build(numbers: Numbers) -> Element:
        numbers.own = (*names.split(), "l")
        numbers.refuse(numbers.length, names, words)
        return Drift(numbers.length)
    return build


def sector_bend(numbers: Numbers) -> Element:
    """A bend whose length is that of the orbit."""
    return _bend(numbers, numbers.length, 0.0)


def rectangular_bend(chord: bool) -> Builder:
    """A bend whose faces are parallel but for e1 and e2; `chord`: its length is the straight one."""
    def build(numbers: Numbers) -> Element:
        angle = numbers("angle")
        if abs(angle) >= 2 * pi:
            raise NoCounterpart(f"a bend by {angle:.6g} rad, more than a turn", numbers.length)
        stretch = (angle / 2) / sin(angle / 2) if chord and angle else 1.0
        return _bend(numbers, numbers.length * stretch, angle / 2)
    return build


def _bend(numbers: Numbers, length: float, face: float) -> Element:
    numbers.own = ("angle", "l", "e1", "e2", "tilt")
    angle, roll = numbers("angle"), numbers("tilt")
    numbers.refuse(length, "k1 k1s k2 k2s k3 k3s k0s", "a combined-function bend")
    numbers.refuse(length, "dx dy dz etilt fse", "a bend with errors")
    _refuse_errors(numbers, length)
    if (field := numbers("k0")) and abs(field * length - angle) > 1e-6 * abs(angle):
        raise NoCounterpart(f"a bend whose field is not that of its angle (k0 = {field:.6g})", length)
    side = 1 if abs(sin(roll / 2)) < ROLL / 2 else -1
    if angle and abs(sin(roll)) > ROLL:
        raise NoCounterpart(f"a bend out of the plane (tilt = {roll:.6g}); {HELD}", length)
    if not length:
        if angle:
            raise NoCounterpart(f"a bend without length (angle = {angle:.6g})", 0.0)
        return Drift(0.0)
    numbers.remark("h1 h2", "the curvature of the pole faces is left out")
    if numbers("hgap") and (numbers("fint") or numbers("fintx")):
        numbers.remark("hgap", "edges are hard: the fringe fields are left out, which changes the vertical focusing")
    faces = [face + numbers("e1"), face + numbers("e2")]
    if abs(steepest := max(faces, key=abs)) >= pi / 2:
        raise ValueError(f"a face would be turned by {steepest:.6g} rad against the orbit, where less than a right angle is possible"
                         + (f"; half the bend's angle of {angle:.6g} rad is part of that" if face else ""))
    return Dipole(length, side * angle, *(side * turn for turn in faces))


def magnet(poles: int) -> Builder:
    """A quadrupole, or a sextupole and so on, with its skew part as a roll."""
    order = poles // 2

    def build(numbers: Numbers) -> Element:
        numbers.own = (f"k{order - 1}", f"k{order - 1}s", "l", "tilt", "dx", "dy")
        length, scale = numbers.length, 1 + numbers("fse")
        upright, skew = scale * numbers(f"k{order - 1}"), scale * numbers(f"k{order - 1}s")
        numbers.refuse(length, " ".join(f"k{k} k{k}s" for k in range(4) if k != order - 1), "a combined-function magnet")
        numbers.refuse(length, "dz", "a magnet with errors")
        _refuse_errors(numbers, length)
        numbers.refuse(length, "hkick vkick", "a steering magnet")
        if not length:
            if upright or skew:
                numbers.remarks.append("has no length and so no effect")
            return Drift(0.0)
        roll, strength = numbers("tilt"), upright
        if skew:
            roll, strength = roll - atan2(skew, upright) / order, hypot(upright, skew)
        half_turns = round(roll * order / pi)
        if abs(sin(roll * order)) < ROLL:  # upright again, with the other sign after every odd one
            roll, strength = 0.0, (-strength if half_turns % 2 else strength) + 0.0  # no -0
        more = dict(tilt=roll, du=numbers("dx"), dw=numbers("dy"))
        return Quadrupole(length, strength, **more) if poles == 4 else Multipole(length, poles, strength, **more)
    return build


def _refuse_errors(numbers: Numbers, length: float) -> None:
    """No counterpart for a magnet with multipole errors."""
    if any(numbers.array("knl")) or any(numbers.array("ksl")):
        raise NoCounterpart("a magnet with thin multipoles (knl, ksl)", length)


def thin_multipole(numbers: Numbers) -> Element:
    """A thin quadrupole; other orders have no counterpart."""
    numbers.own = ("knl", "ksl", "tilt")
    upright, skew = numbers.array("knl"), numbers.array("ksl")
    if any(skew):
        raise NoCounterpart("a thin skew multipole", numbers.length)
    for order, strength in enumerate(upright):
        if strength and order == 0:
            raise NoCounterpart(f"a thin bend (knl[0] = {strength:.6g})", numbers.length)
        if strength and order > 1:
            raise NoCounterpart(f"a thin multipole of {2 * order + 2} poles (knl[{order}] = {strength:.6g})", numbers.length)
    strength = upright[1] if len(upright) > 1 else 0.0
    half_turns = round(numbers("tilt") * 2 / pi)
    if strength and abs(sin(2 * numbers("tilt"))) > ROLL:
        raise NoCounterpart(f"a thin quadrupole with a roll (tilt = {numbers('tilt'):.6g})", numbers.length)
    return ThinQuadrupole(1.0, -strength if half_turns % 2 else strength) if strength else Marker()


def matrix(numbers: Numbers) -> Element:
    """A linear map of the four transverse coordinates."""
    rows = np.array([[numbers(f"rm{row}{column}") for column in range(1, 7)] for row in range(1, 7)])
    others = rows.copy()
    others[:4, :4] = np.eye(4)
    if numbers.length or not np.array_equal(others, np.eye(6)) or any(numbers(f"kick{k}") for k in range(1, 7)):
        raise NoCounterpart("a matrix with a length, a kick, or terms of time and momentum", numbers.length)
    return Map(rows[:4, :4])
