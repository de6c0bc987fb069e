"""Lattices from elegant: what its statements define, and a line as a row of pieces."""
from __future__ import annotations

import re
from dataclasses import dataclass, field, replace
from pathlib import Path
from typing import Callable, Iterator, Union

from ...constants import SPEED_OF_LIGHT
from ...deck.reader import REAL, Place
from ...lattice.elements import Drift, Element
from ...lattice.lattice import Lattice
from .. import builders as to
from ..definition import Definition
from ..lines import Line, expanded
from ..pieces import Choice, Piece, lattice_of
from ..source import LatticeFault, opened
from .attributes import PASSED_OVER
from .rpn import Calculator
from .text import statement, statements


def _charge(numbers: to.Numbers) -> Element:
    numbers.remark("total perparticle", "charges come with the bunch")
    return Drift(0.0)


def _bend(numbers: to.Numbers) -> Element:
    numbers.refuse(numbers.length, "usebn", "a bend told by its field")
    return to.sector_bend(numbers)


def _quadrupole(numbers: to.Numbers) -> Element:
    numbers.refuse(numbers.length, "yaw pitch", "a magnet with errors")
    return to.magnet(4)(numbers)


_KICKER, _RECTANGULAR = to.inert("kick hkick vkick", "a kick"), to.rectangular_bend(chord=True)
TYPES: dict[str, to.Builder | None] = {
    **dict.fromkeys(("drif", "edrift", "csrdrift", "lscdrift"), to.drift), **dict.fromkeys(("moni", "hmon", "vmon"), to.monitor),
    "mark": to.marker, "watch": to.marker, "charge": _charge, **dict.fromkeys(("floor", "recirc", "histogram", "slice"), to.drift),
    **dict.fromkeys(("rcol", "ecol", "scraper", "maxamp"), to.collimator),
    **dict.fromkeys(("sben", "csbend", "csrcsbend", "ccbend", "nibend", "ksbend"), _bend), "rben": _RECTANGULAR,
    "quad": _quadrupole, "kquad": _quadrupole, "sext": to.magnet(6), "ksext": to.magnet(6), "octu": to.magnet(8), "koct": to.magnet(8),
    **dict.fromkeys(("hkick", "vkick", "ehkick", "evkick", "kicker", "ekicker"), _KICKER),
    "rfca": to.inert("volt", "a cavity"), "rfcw": to.inert("volt", "a cavity"), "sole": to.inert("ks b", "a solenoid"),
    **dict.fromkeys("""matr ematrix ilmatrix twmta tmcf cepl rfdf rftmez0 rmdf modrf rfmode frfmode trfmode ftrfmode rampp rampf twla bumper malign center
wake trwake zlongit ztransverse corgpipe lsrmdltr pfilter energy twiss rotate magnify sreffects ibscatter scatter dscatter matter bmapxy bmxyz
bggexp ftable cwiggler wiggler apple gfwiggler mult fmult script remcor reflect sample stray klistr tfbpickup tfbdriver clean dcollimator ioneffects
speedbump taperapc tapere taperapr emittance mrfdf shrfdf kpoly hkpoly polyseries lthinlens lmirror ibend branch chrm""".split()),
}  #: by the shortest of elegant's words; None has no counterpart
_SWAPPED = {"e1": "e2", "h1": "h2", "edge1effects": "edge2effects", "fint1": "fint2"}
_SWAPPED |= {second: first for first, second in _SWAPPED.items()}
_DEFAULTS = {"fint": 0.5, "edge1effects": 1.0, "edge2effects": 1.0}
_ELSEWHERE = {"bore", "b", "edge1effects", "edge2effects", "filename", "outputfile", "mode", "group", "label", "fitpoint"}  #: seen to, or no matter


Number = Union[float, LatticeFault]  #: of an attribute, or why it has none, which only matters when it is used


@dataclass
class ElegantFile:
    """All that a file and those that it includes define."""

    momentum: float | None = None  #: [eV/c]
    elements: dict[str, Definition[Number]] = field(default_factory=dict)
    lines: dict[str, Line] = field(default_factory=dict)
    used: str = ""  #: the line of `USE`, else the last one
    calculator: Calculator = field(default_factory=Calculator)
    _open: list[Path] = field(default_factory=list)
    _ended: bool = False

    def read(self, path: Path) -> None:
        """Carries out the statements of a file.

        :raises ValueError: with file and line.
        """
        with opened(path, self._open, "include"):
            for words, place in statements(path):
                self._carry_out(words, place)
                if self._ended:
                    break

    def _carry_out(self, words: str, place: Place) -> None:
        end = re.fullmatch(r'(USE|RETURN)(?:,"?([^",]*)"?)?[;,]*', words, re.IGNORECASE)
        include = re.fullmatch(r'#INCLUDE:?(.*)', words, re.IGNORECASE)
        if words.startswith("%"):
            self._calculate(words[1:], place)
        elif end:
            self._ended, self.used = True, (end[2] or "") or self.used
        elif include:
            path = self._open[-1].parent / include[1].strip().strip('"')
            if not path.is_file():
                raise LatticeFault(place, f"the included file {str(include[1])!r} is not there")
            self.read(path)
        else:
            found = statement(words, place)
            getattr(self, "_" + found.kind)(*found.parts, place=place)

    def _calculate(self, expression: str, place: Place) -> None:
        try:
            self.calculator.run(expression)
        except ValueError as error:
            raise LatticeFault(place, str(error)) from None

    def _line(self, name: str, item: object, place: Place) -> None:
        plain = not isinstance(item.what, str) and item.count == 1 and not item.reverse
        self.lines[name] = Line(str(name), item.what if plain else (item,), place)
        self.elements.pop(name, None)
        self.used = str(name)

    def _definition(self, name: str, base: str, *attributes: tuple[str, str | None], place: Place) -> None:
        values = {key: self._value(text, place) for key, text in attributes if text is not None}
        self.elements[name] = Definition(str(name), self.elements.get(base, str(base)), values, place)
        self.lines.pop(name, None)

    def _value(self, text: str, place: Place) -> Number:
        if re.fullmatch(REAL, text):
            return float(text.lower().replace("d", "e"))
        expression = text[1:-1] if text.startswith('"') else text.upper()
        try:
            return self.calculator.worth(expression)
        except ValueError as error:
            return LatticeFault(place, str(error))

    def pieces(self, name: str | None) -> Iterator[Piece]:
        """The pieces of a line: that of the name, else of `USE`, else the last one.

        :raises ValueError: there is none, or none of that name.
        """
        wanted = name or self.used
        if not self.lines:
            raise ValueError("the file defines no line")
        line = self.lines.get(wanted) or self.lines.get(wanted.upper())
        if line is None:
            raise ValueError(f"no line {wanted!r}; there are {', '.join(self.lines)}")
        for member, reverse, place in expanded(line, self.lines.get):
            if member not in self.elements:
                raise LatticeFault(place, f"{member!r} is neither an element nor a line")
            yield self._piece(self.elements[member], reverse)

    def _piece(self, definition: Definition, reverse: bool) -> Piece:
        def number(name: str) -> float:
            value = definition.find(_SWAPPED.get(name, name) if reverse else name)
            if isinstance(value, LatticeFault):
                raise value
            return _DEFAULTS.get(name, 0.0) if value is None else value

        try:
            kind = _type_of(definition.type)
        except ValueError as error:
            raise LatticeFault(definition.place, str(error)) from None
        def settled(name: str) -> float:
            if name in ("e1", "e2"):
                return _face(kind, name, number)
            return self._gradient(definition, number) if name == "k1" and kind in ("quad", "kquad") and number("bore") else number(name)

        numbers = to.Numbers(settled, given=definition.given - _ELSEWHERE, others=PASSED_OVER)
        bend, rectangular = TYPES[kind] in (_bend, _RECTANGULAR), kind == "rben"
        if off := [f"edge{k}effects" for k in "12" if bend and not number(f"edge{k}effects") and (rectangular or number(f"e{k}"))]:
            numbers.remarks.append(f"an edge without effect is taken as a face square to the orbit ({' and '.join(off)} off)")
        return to.built(definition, kind.upper(), TYPES[kind], numbers)

    def _gradient(self, definition: Definition, number: Callable[[str], float]) -> float:
        """k1 [1/m^2] from the field at the pole tip."""
        if self.momentum is None:
            raise LatticeFault(definition.place, f"{definition.name} is told by its field (BORE, B), which needs --momentum")
        return number("b") / number("bore") * SPEED_OF_LIGHT / self.momentum


def lattice_of_elegant(path: Path, choice: Choice = Choice(), momentum: float | None = None) -> Lattice:
    """The lattice of a line in an elegant file: of the name chosen, otherwise that of `USE`, else the last one.

    :param momentum: of the reference particle [eV/c], which quadrupoles need that are told by their field.
    :raises ValueError: the file cannot be taken; the message names file, line and word.
    """
    replaced = tuple(_type_of(word) for word in choice.replace_by_drift)
    file = ElegantFile(momentum)
    file.read(path)
    try:
        pieces = list(file.pieces(choice.line))
    except LatticeFault:
        raise
    except ValueError as error:
        raise ValueError(f"{path}: {error}") from None
    return lattice_of(pieces, str(path), replace(choice, replace_by_drift=replaced))


def _face(kind: str, name: str, number: Callable[[str], float]) -> float:
    """The angle of a face, which an edge without effect has square to the orbit."""
    if number(f"edge{name[1]}effects"):
        return number(name)
    return -number("angle") / 2 if kind == "rben" else 0.0


def _type_of(word: str) -> str:
    """The type that a word means: two words are one type if one begins with the other.

    :raises ValueError: several types begin with the word, or none fits.
    """
    small = word.lower()
    if small in TYPES:
        return small
    longer, shorter = [name for name in TYPES if name.startswith(small)], [name for name in TYPES if small.startswith(name)]
    if len(longer) == 1 or (not longer and shorter):
        return longer[0] if longer else max(shorter, key=len)
    if longer:
        raise ValueError(f"{word!r} is the beginning of several types: {', '.join(longer)}")
    raise ValueError(f"{word!r} is neither a type that is known here nor an element")
