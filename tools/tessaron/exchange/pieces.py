"""From the pieces of another program's line to a lattice: names, faces that touch, and what has no counterpart."""
from __future__ import annotations

import sys
from dataclasses import dataclass, replace
from typing import Iterable, Sequence

from ..deck.keys import CAPACITY
from ..deck.reader import Place
from ..lattice.elements import NAME_BREAKERS, Drift, Element, Magnet, Marker
from ..lattice.lattice import Lattice

CONTACT = 1e-8  #: drift that is put between magnets that touch, and taken from the next drift [m]
TOLD = 40  #: lines of a message or of remarks


@dataclass(frozen=True)
class Piece:
    """An element as it stands in a line."""

    name: str
    type: str  #: of the other program
    place: Place
    length: float  #: along the orbit [m]
    element: Element | None  #: that does the same; None if there is none
    lacking: str = ""  #: what it would take
    remarks: tuple[str, ...] = ()  #: what its element leaves out
    unread: tuple[str, ...] = ()  #: attributes that were passed over
    slips: tuple[str, ...] = ()  #: attributes that it has not, in place of one that it needs
    doubts: tuple[str, ...] = ()  #: others that it has not


@dataclass(frozen=True)
class Choice:
    """What of a file is taken, and how."""

    line: str | None = None  #: name of a line or sequence; None for that in use
    between: tuple[str, str] | None = None  #: names of the first and the last element of a part
    replace_by_drift: tuple[str, ...] = ()  #: types whose elements become drifts where the program has nothing that does the same


def lattice_of(pieces: Sequence[Piece], source: str, choice: Choice = Choice()) -> Lattice:
    """The lattice of a row of pieces. What it had to leave out is told on standard error, element by element.

    Magnets and thin elements that touch get a drift of CONTACT between them. A name that stands several times becomes NAME,
    NAME.2, NAME.3 ...; of two markers on one place the first stays.

    :param source: the file, for messages.
    :raises ValueError: other pieces have no counterpart, each told by its line; or the lattice is longer than the program's.
    """
    replaced = {name.lower() for name in choice.replace_by_drift}
    pieces = _part(pieces, choice.between, source) if choice.between else pieces
    if slips := [slip for piece in pieces for slip in piece.slips]:
        raise ValueError(f"{source}: an attribute that no such element has would leave it without what was meant\n" + _list(slips))
    refused = [piece for piece in pieces if piece.element is None and piece.type.lower() not in replaced]
    if refused:
        raise ValueError(f"{source}: the program has no counterpart for\n" + _list(f"{p.place}: {p.name} ({p.type}): {p.lacking}" for p in refused)
                         + "\n--replace-by-drift TYPE makes drifts of the elements of a type")
    row = _Row()
    remarks = []
    for piece in pieces:
        if piece.element is None:
            remarks.append(f"{piece.place}: {piece.name} ({piece.type}) is replaced by a drift of {piece.length:.6g} m: {piece.lacking}")
        remarks += [f"{piece.place}: {piece.name} ({piece.type}): {remark}" for remark in piece.remarks]
        row.add(piece)
    if not row.elements:
        raise ValueError(f"{source}: the line holds nothing")
    if isinstance(next(element for element in (*row.elements, None) if not isinstance(element, Marker)), Magnet):
        remarks.append(f"{source}: the line begins with a magnet at s = 0: let the bunch start ahead of it, or put a drift into the line")
    if words := _unread(pieces):
        remarks.append(f"{source}: attributes that were passed over: {words}")
    tell(doubt for piece in pieces for doubt in piece.doubts)
    tell(remarks + row.remarks)
    boundaries = row.boundaries
    if boundaries > CAPACITY["maxlat"]:
        raise ValueError(f"{source}: the line needs {boundaries} field boundaries; the program holds {CAPACITY['maxlat']}, two to a magnet "
                         "and one to a marker. --between FIRST LAST takes a part of the line")
    try:
        return Lattice(row.elements)
    except ValueError as error:
        raise ValueError(f"{source}: {error}") from None


def tell(remarks: Iterable[str]) -> None:
    """Remarks on standard error, each once."""
    if text := _list(remarks):
        print(text, file=sys.stderr)


def _part(pieces: Sequence[Piece], between: tuple[str, str], source: str) -> Sequence[Piece]:
    """From the first piece of one name to the next one of the other."""
    names = [piece.name.lower() for piece in pieces]
    first, last = (name.lower() for name in between)
    if first not in names:
        raise ValueError(f"{source}: no element {between[0]!r} in the line")
    begin = names.index(first)
    if last not in names[begin:]:
        raise ValueError(f"{source}: no element {between[1]!r} behind {between[0]} in the line")
    return pieces[begin:names.index(last, begin) + 1]


def _list(lines: Iterable[str]) -> str:
    unique = list(dict.fromkeys(lines))
    more = [f"and {len(unique) - TOLD} more"] if len(unique) > TOLD else []
    return "\n".join(unique[:TOLD] + more)


def _unread(pieces: Iterable[Piece]) -> str:
    """The attributes that were passed over, by types."""
    names: dict[str, set[str]] = {}
    for piece in pieces:
        names.setdefault(piece.type, set()).update(piece.unread)
    return "; ".join(f"{kind} {', '.join(sorted(unread))}" for kind, unread in names.items() if unread)


class _Row:
    """Elements as they are added, and what stands at the end of the row: whether a boundary, a name, a lone marker."""

    def __init__(self) -> None:
        self.elements: list[Element] = []
        self.remarks: list[str] = []
        self._counts: dict[str, int] = {}
        self._owed = 0.0  # by drifts to come for contacts
        self._touch, self._named, self._lone = False, "", False

    @property
    def boundaries(self) -> int:
        faces = sum(2 if isinstance(element, Magnet) else not isinstance(element, Drift) for element in self.elements)
        return faces + (bool(self.elements) and isinstance(self.elements[-1], Drift))

    def add(self, piece: Piece) -> None:
        element = Drift(piece.length) if piece.element is None else piece.element
        if isinstance(element, Drift):
            self._drift(element.length)
        elif isinstance(element, Marker):
            self._marker(piece, element)
        else:
            self._other(piece, element)

    def _drift(self, length: float) -> None:
        if length == 0:
            return
        if self._owed and length > 2 * self._owed:
            length, self._owed = length - self._owed, 0.0
        if self.elements and isinstance(self.elements[-1], Drift):
            length += self.elements.pop().length
        self.elements.append(Drift(length))
        self._touch, self._named, self._lone = False, "", False

    def _marker(self, piece: Piece, marker: Marker) -> None:
        if self._named:
            self.remarks.append(f"{piece.place}: {piece.name} ({piece.type}) stands on the same place as {self._named} and is left out")
            return
        name = self._name(piece)
        self.elements.append(replace(marker, name=name))
        self._lone, self._named, self._touch = not self._touch, name, True

    def _other(self, piece: Piece, element: Element) -> None:
        magnet = isinstance(element, Magnet)
        if self._touch and not (magnet and self._lone):
            self.elements.append(Drift(CONTACT))
            self._owed += CONTACT
        name = self._name(piece)
        self.elements.append(replace(element, name=name))
        self._touch, self._lone, self._named = True, False, "" if magnet else name

    def _name(self, piece: Piece) -> str:
        """The name in words of a deck, with a number from its second time on."""
        name = "".join("_" if char in NAME_BREAKERS else char for char in piece.name)[:60]
        while True:
            count = self._counts[name] = self._counts.get(name, 0) + 1
            chosen = name if count == 1 else f"{name}.{count}"
            if count == 1 or chosen not in self._counts:
                self._counts.setdefault(chosen, 1)
                return chosen


