"""From a `lattice` block of a deck to elements."""
from __future__ import annotations

from math import atan2, radians
from pathlib import Path

import numpy as np

from ..deck.blocks import Value, read_block
from ..deck.keys import IO_PATH, POSITION, PROPERTIES
from ..deck.reader import DeckEnd, DeckFault, DeckReader, Place, Token, real_of
from .elements import Dipole, Drift, Element, Map, Marker, Multipole, Quadrupole, ThinQuadrupole
from .geometry import Boundary, add_boundary
from .lattice import Lattice


def lattice_of_deck(deck: Path) -> Lattice:
    """The lattice of a deck's last `lattice` block; blocks of other commands are read over."""
    lattice = None
    try:
        reader = DeckReader(deck)
        while True:
            try:
                command = reader.command()
            except DeckEnd:
                break
            if command.text == "exit":
                break
            if command.text == "lattice":
                lattice = read_lattice(reader)
            else:
                _read_over(reader, command)
    except DeckFault as fault:
        raise ValueError(f"{fault.place}: {fault.text}") from None
    if lattice is None:
        raise ValueError(f"{deck} has no lattice block")
    return lattice


def _read_over(reader: DeckReader, command: Token) -> None:
    if command.text == "io_path":
        values = read_block(reader, "io_path", IO_PATH, _fault, _nothing)
        reader.input_folder = values["input"].text if "input" in values else reader.input_folder
        return
    reader.expect("{", f"to open {command.text}")
    open_braces = 1
    while open_braces > 0:  # by lines, for an array may hold millions of words
        words = [reader.command().text, *reader.rest_of_line()]
        for k, word in enumerate(words):
            open_braces += (word == "{") - (word == "}")
            if open_braces == 0 or word == "#file":
                reader.give_back(words[k + (word != "#file"):])
                break


def read_lattice(reader: DeckReader) -> Lattice:
    """Reads a block behind the word `lattice`.

    :raises DeckFault: what the program would refuse.
    """
    place = reader.expect("{", "to open lattice").place
    boundaries: list[Boundary] = []
    elements: list[Element] = []
    while (token := reader.command()).text != "}":
        if token.text not in PROPERTIES:
            raise DeckFault(f"lattice has no element {token.text!r}; there are {', '.join(PROPERTIES)}", token.place)
        try:
            elements += _Element(reader, token, boundaries).read()
        except ValueError as error:
            raise DeckFault(str(error), token.place) from None
    try:
        return Lattice(elements)
    except ValueError as error:
        raise DeckFault(str(error), place) from None


class _Element:
    """One element block on its way to elements."""

    def __init__(self, reader: DeckReader, kind: Token, boundaries: list[Boundary]) -> None:
        self._reader, self._kind, self._boundaries = reader, kind, boundaries
        self._magnet = kind.text in ("dipole", "quadrupole", "multipole")
        self._properties: dict[str, Value] = {}
        self._reals: list[float] = []

    def read(self) -> list[Element]:
        self._reader.expect("{", f"to open {self._kind.text}")
        start = self._boundaries[-1].s if self._boundaries else 0.0
        order = ["position", "properties", "position"] if self._magnet else ["position", "properties"]
        found: list[Boundary] = []
        done = 0
        while (token := self._reader.command()).text != "}":
            if token.text in ("integer_array", "real_array") and self._kind.text == "discrete_free" and done == 2:
                self._array(token)
            elif done < len(order) and token.text == order[done]:
                done += 1
                if token.text == "properties":
                    self._properties = read_block(self._reader, f"properties of {self._kind.text}", PROPERTIES[self._kind.text],
                                                  _fault, _nothing)
                else:
                    found.append(self._position(done == 3))
            else:
                raise DeckFault(f"{self._kind.text}: {token.text!r} does not belong here; the order is {', '.join(order)}",
                                token.place)
        if not found:
            return []
        drift = found[0].s - start
        return ([Drift(drift)] if drift or self._boundaries[1:] else []) + [self._element(found)]

    def _number(self, name: str, default: float | None = None) -> float:
        if name in self._properties:
            return self._properties[name].number
        if default is None:
            raise DeckFault(f"properties of {self._kind.text} need {name}", self._kind.place)
        return default

    def _position(self, is_exit: bool) -> Boundary:
        values = read_block(self._reader, "position", POSITION, _fault, _nothing)
        numbers = {name: values[name].number for name in ("rho", "psi", "delta_s", "delta_psi") if name in values}
        marker = values["marker"].text if "marker" in values else ""
        duty = values["duty"].text == "yes" if "duty" in values else self._magnet
        radius = self._number("r", 0.0) if is_exit and self._kind.text == "dipole" else 0.0
        return add_boundary(self._boundaries, numbers, radius, marker, duty)

    def _array(self, token: Token) -> None:
        self._reader.expect("{", f"to open {token.text}")
        values = []
        while (item := self._reader.token()).text != "}":
            values.append(real_of(item.text))
            if values[-1] is None:
                raise DeckFault(f"{item.text!r} in {token.text} is no number", item.place)
        if token.text == "real_array":
            self._reals = values

    def _element(self, found: list[Boundary]) -> Element:
        first = found[0]
        point = dict(name=first.marker, duty=first.duty, turn=_turn(first))
        if self._kind.text == "thin_quadrupole":
            return ThinQuadrupole(self._number("effective_length"), self._number("quadrupole_k"), **point)
        if self._kind.text == "discrete_free" and self._number("type") == 1:
            if len(self._reals) < 16:
                raise DeckFault("a discrete_free of type 1 needs 16 reals", self._kind.place)
            return Map(np.array(self._reals[:16]).reshape(4, 4).T, **point)
        if len(found) == 1:  # a place alone; elements of types without effect among them
            return Marker(**point)
        last = found[1]
        faces = dict(entrance=first.marker, exit=last.marker, duty=(first.duty, last.duty))
        length, turns = last.s - first.s, (_turn(first), _turn(last))
        if self._kind.text == "dipole":
            return Dipole(length, length / last.r if last.r else 0.0, -turns[0] + 0.0, turns[1], **faces)  # no -0
        more = dict(tilt=radians(self._number("alpha", 0.0)), du=self._number("horizontal_offset", 0.0),
                    dw=self._number("vertical_offset", 0.0), turns=turns, **faces)
        if self._kind.text == "quadrupole":
            return Quadrupole(length, self._number("strength", 0.0), **more)
        return Multipole(length, int(self._number("poles")), self._number("strength", 0.0), **more)


def _turn(boundary: Boundary) -> float:
    """Angle of the normal against the orbit, counter-clockwise; a normal against the orbit makes the same line [rad]."""
    along = boundary.nx * boundary.tx + boundary.ny * boundary.ty
    across = boundary.ny * boundary.tx - boundary.nx * boundary.ty
    turn = atan2(across, along) if along >= 0 else atan2(-across, -along)
    return 0.0 if abs(turn) < 1e-14 else turn


def _fault(place: Place, text: str) -> None:
    raise DeckFault(text, place)


def _nothing(place: Place, text: str) -> None:
    """Warnings are the business of a check."""
