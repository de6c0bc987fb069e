"""Lattices as MAD-X files: elements and a line of them, which `madx` reads back to the same lattice."""
from __future__ import annotations

import re
from textwrap import wrap

from ...lattice.elements import Dipole, Drift, Element, Magnet, Map, Quadrupole, ThinQuadrupole
from ...lattice.lattice import Lattice
from ...lattice.layout import number, told
from ..pieces import tell

_STRENGTHS = {4: ("quadrupole", "k1"), 6: ("sextupole", "k2"), 8: ("octupole", "k3")}
_WORDS = ("drift", "sbend", "quadrupole", "sextupole", "octupole", "multipole", "matrix", "marker", "line", "use", "beam")  #: of the file itself


def madx_of(lattice: Lattice, momentum: float | None = None, line: str = "lattice") -> str:
    """The text of a MAD-X file that defines the line and uses it.

    Bends are sector bends with pole face angles. Magnets without a name get one; faces that are not called NAME_in and NAME_out
    get markers. MAD-X knows nothing of duties and of slanted markers, which is told on standard error.

    :param momentum: of the reference particle [eV/c], for a `beam` statement.
    :raises ValueError: an element that MAD-X has not: with offsets or slanted faces other than a bend's, or of more than 8 poles.
    """
    names = _Names(line)
    definitions: list[str] = []
    members: list[str] = []
    drifts: dict[float, str] = {}
    for k, element in enumerate(lattice):
        if isinstance(element, Drift):
            if element.length not in drifts:
                drifts[element.length] = names.new(f"drift_{len(drifts) + 1}")
                definitions.append(f"{drifts[element.length]}: drift, l = {number(element.length)};")
            members.append(drifts[element.length])
            continue
        for name, words in _parts(k, element, names):
            definitions.append(f"{name}: {words};")
            members.append(name)
    tell(_left_out(lattice))
    beam = [f"beam, particle = electron, pc = {number(momentum * 1e-9)};"] if momentum else []
    row = "\n".join(wrap(", ".join(members), 110, initial_indent="  ", subsequent_indent="  ", break_long_words=False, break_on_hyphens=False))
    return "\n".join([*beam, *definitions, f"{line}: line = (\n{row});", f"use, period = {line};"]) + "\n"


class _Names:
    """Names as MAD-X takes them: a letter, then letters, digits, points and underscores, whatever their case each once."""

    def __init__(self, line: str) -> None:
        self._taken = {line.lower(), *_WORDS}

    def new(self, wanted: str) -> str:
        """A name that is not taken yet, as near as can be to the one wanted."""
        plain = re.sub(r"[^\w.]", "_", wanted, flags=re.ASCII)
        plain = plain if plain[:1].isalpha() else "n" + plain
        chosen, count = plain, 1
        while chosen.lower() in self._taken:
            count += 1
            chosen = f"{plain}.{count}"
        self._taken.add(chosen.lower())
        return chosen


def _parts(k: int, element: Element, names: _Names) -> list[tuple[str, str]]:
    """Names and definitions of an element and of the markers at its faces."""
    if not isinstance(element, Magnet):
        return [(names.new(element.name or f"place_{k}"), _point(element))]
    wanted = element.name or (element.entrance[:-3] if element.entrance.endswith("_in") else "") or f"magnet_{k}"
    magnet = names.new(wanted)
    parts = [(magnet, _magnet(k, element))]
    if element.entrance and element.entrance != f"{magnet}_in":
        parts.insert(0, (names.new(element.entrance), "marker"))
    if element.exit and element.exit != f"{magnet}_out":
        parts.append((names.new(element.exit), "marker"))
    return parts


def _point(element: Element) -> str:
    if isinstance(element, ThinQuadrupole):
        return f"multipole, knl = {{0, {number(element.effective_length * element.k1)}}}"
    if isinstance(element, Map):
        rows = [f"rm{i + 1}{j + 1} = {number(value)}" for i, row in enumerate(element.matrix) for j, value in enumerate(row) if value]
        return ", ".join(["matrix", *rows, "rm55 = 1", "rm66 = 1"])
    return "marker"


def _magnet(k: int, element: Element) -> str:
    if isinstance(element, Dipole):
        given = {"l": element.length, "angle": element.angle, "e1": element.e1, "e2": element.e2}
        return "sbend, " + _attributes(given, ("l", "angle"))
    if any(element.turns) or element.du or element.dw:
        raise ValueError(f"to_madx: {told(k, element)} has slanted faces or an offset, which MAD-X's elements have not")
    poles = 4 if isinstance(element, Quadrupole) else element.poles
    if poles not in _STRENGTHS:
        raise ValueError(f"to_madx: {told(k, element)} has {poles} poles; MAD-X has magnets of 4, 6 and 8")
    kind, attribute = _STRENGTHS[poles]
    strength = element.k1 if isinstance(element, Quadrupole) else element.strength
    return f"{kind}, " + _attributes({"l": element.length, attribute: strength, "tilt": element.tilt}, ("l", attribute))


def _attributes(given: dict[str, float], always: tuple[str, ...]) -> str:
    return ", ".join(f"{name} = {number(value)}" for name, value in given.items() if value or name in always)


def _left_out(lattice: Lattice) -> list[str]:
    remarks = [f"{told(k, element)}: its slant is left out" for k, element in enumerate(lattice) if getattr(element, "turn", 0.0)]
    usual = all(element.duty == ((True, True) if isinstance(element, Magnet) else False) for element in lattice if not isinstance(element, Drift))
    return remarks + ([] if usual else ["the duty flags of the boundaries are left out"])
