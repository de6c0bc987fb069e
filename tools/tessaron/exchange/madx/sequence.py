"""Sequences of MAD-X: elements placed by where they stand, with drifts in the gaps."""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import Callable, Iterator

from ...deck.reader import Place
from ...lattice.elements import Drift
from ..definition import Definition
from ..pieces import Piece
from ..source import LatticeFault
from .values import Names, Value

LEAST_GAP, MOST_OVERLAP, LONGEST = 1e-9, 1e-6, 100_000  #: [m], [m], pieces
DIGITS = 12  #: of a gap in metres, which takes the noise out of differences of places
_REFER = {"entry": 0.0, "centre": 0.5, "center": 0.5, "exit": 1.0}


@dataclass(frozen=True)
class Entry:
    """An element in a sequence; `at` and `from` are among its values."""

    definition: Definition
    place: Place


@dataclass
class Sequence:
    """Elements by where they stand."""

    name: str
    values: dict[str, Value]
    place: Place
    entries: list[Entry] = field(default_factory=list)
    busy: bool = False  #: is being laid out, so that it cannot be met again inside itself


@dataclass(frozen=True)
class _Laid:
    """The pieces of an entry with their begin and end from the beginning of the sequence [m]."""

    begin: float
    end: float
    pieces: list[Piece]
    entry: Entry


def placed(sequence: Sequence, names: Names, inside: Callable[[Definition, Place], list[Piece]]) -> Iterator[Piece]:
    """The pieces of a sequence, drifts between them.

    :param inside: the pieces of one entry.
    :raises LatticeFault: places that overlap or cannot be worked out.
    """
    if sequence.busy:
        raise LatticeFault(sequence.place, f"the sequence {sequence.name} contains itself")
    sequence.busy = True
    laid = sorted(_laid(sequence, names, inside), key=lambda one: one.begin + one.end)
    sequence.busy = False
    if sum(len(one.pieces) for one in laid) > LONGEST:
        raise LatticeFault(sequence.place, f"the sequence {sequence.name} has more than {LONGEST} members")
    end, before = 0.0, f"the beginning of {sequence.name}"
    for one in laid:
        gap = round(one.begin - end, DIGITS)
        if gap < -MOST_OVERLAP:
            raise LatticeFault(one.entry.place, f"{one.entry.definition.name} begins {-gap:.6g} m ahead of the end of {before}")
        if gap > LEAST_GAP:
            yield _drift(gap, one.entry.place)
            end += gap
        yield from one.pieces
        end += one.end - one.begin
        before = one.entry.definition.name
    if "l" in sequence.values:
        gap = round(names.number(sequence.values["l"]) - end, DIGITS)
        if gap < -MOST_OVERLAP:
            raise LatticeFault(sequence.place, f"{before} ends {-gap:.6g} m behind the end of the sequence {sequence.name}")
        if gap > LEAST_GAP:
            yield _drift(gap, sequence.place)


def _drift(length: float, place: Place) -> Piece:
    return Piece("drift", "drift", place, length, Drift(length))


def _laid(sequence: Sequence, names: Names, inside: Callable[[Definition, Place], list[Piece]]) -> list[_Laid]:
    refer = sequence.values["refer"].text.lower() if "refer" in sequence.values else "centre"
    if refer not in _REFER:
        raise LatticeFault(sequence.place, f"refer={refer} is none of entry, centre, exit")
    centres: dict[str, float] = {}
    found: list[_Laid] = []
    waiting = list(sequence.entries)
    while waiting:
        later = []
        for entry in waiting:
            one = _one(entry, names, inside, _REFER[refer], centres)
            if one is None:
                later.append(entry)
            else:
                centres.setdefault(entry.definition.name.lower(), (one.begin + one.end) / 2)
                found.append(one)
        if len(later) == len(waiting):
            other = later[0].definition.values["from"].text
            raise LatticeFault(later[0].place, f"from={other} of {later[0].definition.name} is no element with a place in the sequence")
        waiting = later
    return found


def _one(entry: Entry, names: Names, inside: Callable[[Definition, Place], list[Piece]], share: float, centres: dict[str, float]) -> _Laid | None:
    """An entry at its place; None as long as that counts from an element without a place."""
    values = entry.definition.values
    if "at" not in values:
        raise LatticeFault(entry.place, f"{entry.definition.name} has no place: at= is missing")
    other = values["from"].text.lower() if "from" in values else None
    if other is not None and other not in centres:
        return None
    pieces = inside(entry.definition, entry.place)
    length = sum(piece.length for piece in pieces)
    begin = names.number(values["at"]) + (centres[other] if other is not None else 0.0) - share * length
    return _Laid(begin, begin + length, pieces, entry)
