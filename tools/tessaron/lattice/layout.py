"""From elements to the blocks of a deck: which boundaries stand where, and what they carry."""
from __future__ import annotations

from dataclasses import dataclass, replace
from math import degrees
from typing import Iterable, Sequence

from .elements import Dipole, Drift, Element, Magnet, Map, Multipole, Point, Quadrupole, ThinQuadrupole
from .geometry import Boundary, add_boundary


@dataclass(frozen=True)
class Spot:
    """A boundary by its distance from the one before."""

    delta_s: float  #: along the orbit [m]
    turn: float  #: of its normal against the orbit [rad]
    marker: str
    duty: bool


@dataclass(frozen=True)
class Block:
    """An element as a block of the deck."""

    number: int  #: of the element in its lattice
    element: Element | None  #: None for the end of a drift that nothing follows
    first: Spot
    last: Spot | None = None  #: of a magnet

    @property
    def spots(self) -> tuple[Spot, ...]:
        return (self.first,) if self.last is None else (self.first, self.last)


def blocks_of(elements: Sequence[Element]) -> list[Block]:
    """The blocks that the elements make.

    :raises ValueError: where two boundaries would fall on one place, or a place would have two names.
    """
    blocks: list[Block] = []
    ahead = 0.0  # drift since the last boundary
    for number, element in enumerate(elements):
        if isinstance(element, Drift):
            ahead += element.length
            continue
        touching = bool(blocks) and ahead == 0
        if isinstance(element, Magnet):
            block = _magnet(number, element, ahead)
            if touching and _is_marker(blocks[-1]):
                block = _named_by_marker(block, blocks.pop())
                touching = False
        else:
            block = Block(number, element, Spot(ahead, element.turn, element.name, element.duty))
            if touching and _is_marker(block):
                blocks[-1] = _with_marker(blocks[-1], element.name, number)
                continue
        if touching:
            raise ValueError(f"{told(number, element)} touches {told(blocks[-1].number, blocks[-1].element)}; boundaries need a "
                             "distance above 0: put a drift between them")
        blocks.append(block)
        ahead = 0.0
    if ahead > 0:
        blocks.append(Block(len(elements) - 1, None, Spot(ahead, 0.0, "", False)))
    return blocks


def boundaries_of(blocks: Iterable[Block]) -> list[Boundary]:
    """The field boundaries, by the same construction as the program's own."""
    boundaries: list[Boundary] = []
    for block in blocks:
        for spot in block.spots:
            bends = spot is block.last and isinstance(block.element, Dipole)
            add_boundary(boundaries, {"delta_s": spot.delta_s, "delta_psi": degrees(spot.turn)},
                         block.element.radius if bends else 0.0, spot.marker, spot.duty)
            boundaries[-1].element = _codes(block, spot)
    return boundaries


def deck_of(blocks: Iterable[Block]) -> str:
    """A `lattice` block of the deck as a person would write it."""
    lines = ["lattice {"]
    for block in blocks:
        kind, properties, tail = _words(block.element)
        own_duty = kind in ("dipole", "quadrupole", "multipole")
        parts = [_position(block.first, own_duty)]
        if properties:
            parts.append("properties { " + "  ".join(f"{key} = {value}" for key, value in properties.items()) + " }")
        if block.last is not None:
            parts.append(_position(block.last, own_duty))
        indent = "\n" + " " * (len(kind) + 5)
        lines.append(f"  {kind} {{ " + indent.join(parts + tail) + " }")
    return "\n".join(lines + ["}"]) + "\n"


def number(value: float) -> str:
    """A number as a deck holds it: a short text that reads back to the same one."""
    return next((text for text in (f"{value:.6g}", f"{value:.15g}") if float(text) == value), repr(float(value)))


def told(number: int, element: Element | None) -> str:
    """An element in words for a message."""
    name = getattr(element, "name", "") or getattr(element, "entrance", "")
    return f"element {number} ({type(element).__name__}{' ' + name if name else ''})"


def _magnet(number: int, element: Element, ahead: float) -> Block:
    (turn_in, turn_out), (duty_in, duty_out) = element.turns, element.duty
    return Block(number, element, Spot(ahead, turn_in, element.entrance, duty_in),
                 Spot(element.length, turn_out, element.exit, duty_out))


def _is_marker(block: Block) -> bool:
    return isinstance(block.element, Point) and not isinstance(block.element, (ThinQuadrupole, Map))


def _chosen(block: Block, own: str, automatic: bool, name: str) -> str:
    """The one name of a place: that of a marker goes before that which a magnet gives its face by itself."""
    if own and name and own != name and not automatic:
        raise ValueError(f"{told(block.number, block.element)} and the marker {name!r} name the same place {own!r} and {name!r}; "
                         "a boundary has one name")
    return name or own


def _named_by_marker(block: Block, marker: Block) -> Block:
    name = block.element.name
    first = replace(block.first, delta_s=marker.first.delta_s,
                    marker=_chosen(block, block.first.marker, block.first.marker == f"{name}_in", marker.first.marker))
    return replace(block, first=first)


def _with_marker(block: Block, marker: str, number: int) -> Block:
    spot = block.spots[-1]
    automatic = block.last is not None and spot.marker == f"{block.element.name}_out"
    named = replace(spot, marker=_chosen(block, spot.marker, automatic, marker))
    return replace(block, last=named) if block.last is not None else replace(block, first=named)


def _codes(block: Block, spot: Spot) -> tuple[int, int]:
    """Class and subtype of the element as latout.dat tells them."""
    if isinstance(block.element, (ThinQuadrupole, Map)):
        return 0, 1
    field = spot is block.last and (isinstance(block.element, Quadrupole)
                                    or isinstance(block.element, Multipole) and block.element.poles > 2)
    return 1, int(field)


def _words(element: Element | None) -> tuple[str, dict[str, object], list[str]]:
    """The block's name, its properties, and what else it holds."""
    if isinstance(element, Dipole):
        return "dipole", {"r": number(element.radius)}, []
    if isinstance(element, (Quadrupole, Multipole)):
        values = {"horizontal_offset": element.du, "vertical_offset": element.dw, "alpha": degrees(element.tilt)}
        others = {key: number(value) for key, value in values.items() if value}
        if isinstance(element, Quadrupole):
            return "quadrupole", {"strength": number(element.k1), **others}, []
        return "multipole", {"poles": element.poles, "strength": number(element.strength), **others}, []
    if isinstance(element, ThinQuadrupole):
        return "thin_quadrupole", {"effective_length": number(element.effective_length), "quadrupole_k": number(element.k1)}, []
    if isinstance(element, Map):
        columns = [" ".join(number(value) for value in column) for column in element.matrix.T]
        return "discrete_free", {"type": 1, "integer": 0, "real": 16}, ["real_array { " + "  ".join(columns) + " }"]
    return "dipole", {}, []


def _position(spot: Spot, own_duty: bool) -> str:
    words = [f"delta_s = {number(spot.delta_s)}"]
    if spot.turn:
        words.append(f"delta_psi = {degrees(spot.turn):.15g}")
    if spot.marker:
        words.append(f"marker = {spot.marker}")
    if spot.duty != own_duty:
        words.append(f"duty = {'yes' if spot.duty else 'no'}")
    return "position { " + "  ".join(words) + " }"
