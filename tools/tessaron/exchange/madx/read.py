"""Lattices from MAD-X: what its statements define, and the line or sequence in use as a row of pieces.

Expressions with := are worked out when the line is used, with the values at the end of the file. Rectangular bends are as
long as their chord unless `option, rbarc=false` says that it is the arc.
"""
from __future__ import annotations

import re
from dataclasses import dataclass, field
from math import sqrt
from pathlib import Path
from typing import Iterable

from ...constants import SPEED_OF_LIGHT
from ...deck.reader import Place
from ...lattice.lattice import Lattice
from .. import builders as to
from ..definition import Definition
from ..lines import Item, Line, expanded
from ..pieces import Choice, Piece, lattice_of, tell
from ..source import LatticeFault, Statement, opened
from .attributes import PASSED_OVER
from .sequence import Entry, Sequence, placed
from .text import Given, statement, statements
from .values import CONSTANTS, Names

_KICKER, _CAVITY = to.inert("kick hkick vkick", "a kick"), to.inert("volt", "a cavity")
TYPES: dict[str, to.Builder | None] = {
    "drift": to.drift, "marker": to.marker, "placeholder": to.monitor, "wire": to.drift, "sbend": to.sector_bend, "rbend": None,
    **dict.fromkeys(("monitor", "hmonitor", "vmonitor", "instrument"), to.monitor),
    **dict.fromkeys(("collimator", "rcollimator", "ecollimator"), to.collimator),
    "quadrupole": to.magnet(4), "sextupole": to.magnet(6), "octupole": to.magnet(8), "multipole": to.thin_multipole, "matrix": to.matrix,
    **dict.fromkeys(("hkicker", "vkicker", "kicker", "tkicker"), _KICKER), "rfcavity": _CAVITY, "twcavity": _CAVITY, "crabcavity": _CAVITY,
    "solenoid": to.inert("ks ksi", "a solenoid"),
    **dict.fromkeys("dipedge elseparator beambeam nllens rfmultipole changeref xrotation yrotation srotation translation hacdipole "
                    "vacdipole".split()),
}  #: by MAD-X's type; rbend depends on an option, None has no counterpart

#: Statements that say nothing about the lattice.
_ASIDE = set("""title twiss survey select ealign efcomp eoption eprint esave seterr plot setplot resplot value print printf show set
assign save savebeta write help system ptc_create_universe ptc_create_layout ptc_twiss ptc_normal ptc_end ptc_align ptc_setswitch ptc_track
ptc_track_line ptc_track_end ptc_observe ptc_start track start observe run endtrack dumpsequ create fill delete readtable readmytable
sectormap coguess aperture ibs touschek emit sixtrack dynap resbeam setvars setvars_lin match endmatch vary constraint lmdif simplex
migrad jacobian weight gweight global use_macro tabstring correct usemonitor usekick coption getorbit putorbit readcorr setcorr csave""".split())
#: Statements that would change the lattice in ways that are not followed here.
_BEYOND = set("if elseif else while exec seqedit endedit install remove move replace reflect flatten cycle extract makethin".split())
_HEAD = re.compile(r"\s*([a-z_][\w.]*)\s*(:=|=|->|:|\(|\{|)", re.IGNORECASE)
_FILE = re.compile(r"""\bfile\s*=\s*("[^"]*"|'[^']*'|[^\s,;]+)""", re.IGNORECASE)
_MASSES = {"positron": "emass", "electron": "emass", "proton": "pmass", "antiproton": "pmass", "posmuon": "mumass", "negmuon": "mumass"}
_ELSEWHERE = {"at", "from", "type", "apertype", "aperture"}  #: attributes seen to elsewhere, or no matter
_MOST_NESTED = 20  #: sequences within each other


@dataclass
class MadxFile:
    """All that a file and those that it calls define."""

    names: Names = field(default_factory=Names)
    lines: dict[str, Line] = field(default_factory=dict)
    sequences: dict[str, Sequence] = field(default_factory=dict)
    used: str = ""  #: the line or sequence of the last `use`
    rbarc: bool = True
    _beam: dict[str, tuple[Given, Place]] = field(default_factory=dict)
    _open: list[Path] = field(default_factory=list)
    _sequence: Sequence | None = None
    _ended: bool = False
    _aside: dict[str, Place] = field(default_factory=dict)  # words of statements passed over
    _nested: int = 0

    def __post_init__(self) -> None:
        self.names.beam = self.beam

    def read(self, path: Path) -> None:
        """Carries out the statements of a file.

        :raises ValueError: with file and line.
        """
        with opened(path, self._open, "call"):
            for words, place in statements(path):
                head, mark = _HEAD.match(words).groups() if _HEAD.match(words) else ("", "")
                if head.lower() in ("return", "stop", "exit", "quit") and not mark:
                    self._ended = head.lower() != "return"
                    break
                self._carry_out(words, head.lower(), mark, place)
                if self._ended:
                    break

    def beam(self, name: str) -> float | None:
        """An attribute of the beam: energy and pc [GeV], gamma, beta, brho [T m], mass [GeV], charge; None for others.

        Without a `beam` statement it is MAD-X's positron of 1 GeV.
        """
        mass = self._mass()
        given = {key: self.names.number(self.names.value(*self._beam[key])) for key in ("energy", "pc", "gamma", "beta", "brho", "charge")
                 if key in self._beam}
        if "energy" in given or not given.keys() & {"pc", "gamma", "beta", "brho"}:
            energy = given.get("energy", 1.0)
        elif "pc" in given:
            energy = sqrt(given["pc"]**2 + mass**2)
        elif "gamma" in given or "beta" in given:
            energy = mass * (given["gamma"] if "gamma" in given else 1 / sqrt(max(1 - given["beta"]**2, 1e-30)))
        else:
            energy = sqrt((given["brho"] * SPEED_OF_LIGHT * 1e-9)**2 + mass**2)
        momentum = sqrt(max(energy**2 - mass**2, 0.0))
        return {"energy": energy, "pc": momentum, "gamma": energy / mass, "beta": momentum / energy if energy else 0.0, "mass": mass,
                "brho": momentum / (SPEED_OF_LIGHT * 1e-9), "charge": given.get("charge", 1.0)}.get(name)

    @property
    def momentum(self) -> float | None:
        """Of the `beam` statement [eV/c]; None without one."""
        return None if not self._beam else 1e9 * (self.beam("pc") or 0.0)

    @property
    def remarks(self) -> list[str]:
        """What a user should know of the file as a whole."""
        found = [f"{place}: the beam is of {self.particle}s; the program tracks electrons" for given, place in
                 [self._beam.get("particle", (None, None))] if given and self.particle not in ("electron", "positron")]
        if self._aside:
            found.append("passed over: " + ", ".join(f"{word} (line {place.line})" for word, place in self._aside.items()))
        return found

    def pieces(self, name: str | None) -> list[Piece]:
        """The pieces of a line or sequence: that of the name, else of the last `use`, else the only one.

        :raises ValueError: there is none, or none of that name.
        """
        chosen = (name or self.used).lower() or self._only()
        if chosen not in self.sequences and chosen not in self.lines:
            known = [item.name for item in (*self.sequences.values(), *self.lines.values())]
            raise ValueError(f"no line or sequence {name or self.used!r}; there {'are ' + ', '.join(known) if known else 'is none'}")
        return list(self._pieces_of(chosen))

    def _mass(self) -> float:
        if "mass" in self._beam:
            return self.names.number(self.names.value(*self._beam["mass"])) or CONSTANTS["emass"]
        particle = self.particle
        if particle not in _MASSES:
            raise LatticeFault(self._beam["particle"][1], f"the beam's particle {particle!r} needs a mass")
        return CONSTANTS[_MASSES[particle]]

    @property
    def particle(self) -> str:
        """Of the beam."""
        if "particle" not in self._beam:
            return "positron"
        return self.names.value(*self._beam["particle"]).text.lower()

    def _only(self) -> str:
        """The one that no other one holds; where all are held, one that holds itself, which its layout will refuse."""
        members = {name: {entry.definition.type for entry in sequence.entries} for name, sequence in self.sequences.items()}
        members |= {name: _members(line.items) for name, line in self.lines.items()}
        if not members:
            raise ValueError("the file defines no line and no sequence")
        inner = set().union(*members.values())
        free = [name for name in members if name not in inner]
        if len(free) > 1:
            raise ValueError(f"the file has {len(free)} lines and sequences that no other one holds ({', '.join(free[:20])}) and no `use`; "
                             "--line NAME chooses one")
        name = free[0] if free else next(iter(members))
        for _ in () if free else members:  # from holder to holder, until round a ring
            name = next(other for other in members if name in members[other])
        return name

    def _carry_out(self, words: str, head: str, mark: str, place: Place) -> None:
        command = mark in ("", "(", "{")
        if command and head in _BEYOND or mark == "(" and re.search(r"\bmacro\s*=", words, re.IGNORECASE) or words.startswith("}"):
            raise LatticeFault(place, f"{head or words[:1]!r}: conditions, loops, macros and the editing of sequences are not followed; "
                               "let MAD-X write the sequence by `save`, and convert that")
        if command and head == "call":
            name = _FILE.search(words)
            if not name:
                raise LatticeFault(place, "call without a file")
            self._call(name[1].strip("\"'"), place)
        elif command and head in _ASIDE:
            if head != "title":
                self._aside.setdefault(head, place)
        else:
            words = re.sub(r"^shared\s+(?=\w)", "", words, flags=re.IGNORECASE)
            parts = statement(words, place)
            getattr(self, "_" + parts.kind)(parts)

    def _call(self, name: str, place: Place) -> None:
        for folder in (self._open[-1].parent, self._open[0].parent):
            if (folder / name).is_file():
                self.read(folder / name)
                return
        raise LatticeFault(place, f"the called file {name!r} is not there")

    def _setting(self, parts: Statement) -> None:
        name, later, node = parts.parts
        self.names.set(name, self.names.value(Given(name, node, later), parts.place))

    def _change(self, parts: Statement) -> None:
        name, attribute, later, node = parts.parts
        self._alter(str(name), [Given(str(attribute).lower(), node, later)], parts.place)

    def _alter(self, name: str, given: list[Given], place: Place) -> None:
        if name.lower() not in self.names.elements:
            raise LatticeFault(place, f"{name!r} is neither an element nor a statement that is known here")
        self.names.elements[name.lower()].values.update(self._values(given, place))
        self.names.forget()

    def _values(self, given: Iterable[Given], place: Place) -> dict:
        return {one.name: self.names.value(one, place) for one in given}

    def _line(self, parts: Statement) -> None:
        name, formals, item = str(parts.parts[0]), parts.parts[1] or (), parts.parts[2]
        plain = not isinstance(item.what, str) and item.count == 1 and not item.reverse
        self.lines[name.lower()] = Line(name, item.what if plain else (item,), parts.place, tuple(str(formal) for formal in formals))
        self.names.elements.pop(name.lower(), None)
        self.sequences.pop(name.lower(), None)

    def _definition(self, parts: Statement) -> None:
        name, base, given = str(parts.parts[0]), str(parts.parts[1]), parts.parts[2]
        if base.lower() == "sequence":
            self._sequence = Sequence(name, self._values(given, parts.place), parts.place)
            self.sequences[name.lower()] = self._sequence
            return
        definition = self._defined(name, base, given, parts.place)
        if self._sequence is None or base.lower() != name.lower():  # one that is called as its class is an instance of it
            self.names.elements[name.lower()] = definition
            self.lines.pop(name.lower(), None)
            self.names.forget()
        if self._sequence is not None:
            self._sequence.entries.append(Entry(definition, parts.place))

    def _defined(self, name: str, base: str, given: list[Given], place: Place) -> Definition:
        known: str | Definition = self.names.elements.get(base.lower(), base.lower())
        if isinstance(known, str) and known not in TYPES and not (self._sequence is not None and (known in self.sequences or known in self.lines)):
            raise LatticeFault(place, f"{base!r} is neither a type nor an element that is defined ahead of it")
        return Definition(name, known, self._values(given, place), place)

    def _command(self, parts: Statement) -> None:
        name, given = str(parts.parts[0]), parts.parts[1]
        word = name.lower()
        if word == "endsequence":
            self._sequence = None
        elif word == "use":
            self._use(given, parts.place)
        elif word == "beam":
            self._beam |= {one.name: (one, parts.place) for one in given}
            self.names.forget()
        elif word == "option":
            self.rbarc = next((one.on if one.value is None else self.names.number(self.names.value(one, parts.place)) != 0
                               for one in given if one.name == "rbarc"), self.rbarc)
        elif word in ("const", "real", "int", "vector"):
            for one in given:
                if one.value is not None:
                    self.names.set(one.name, self.names.value(one, parts.place, any(g.name == "int" for g in given) or word == "int"))
        elif self._sequence is not None and any(one.name == "at" for one in given):
            self._sequence.entries.append(Entry(self._defined(name, name, given, parts.place), parts.place))
        else:
            self._alter(name, given, parts.place)

    def _use(self, given: list[Given], place: Place) -> None:
        values = {one.name: self.names.value(one, place).text if one.value else one.name for one in given}
        names = [values.get("sequence") or values.get("period")] if "sequence" in values or "period" in values else \
            [name for name in values if name != "range"]
        if len(names) != 1 or not names[0]:
            raise LatticeFault(place, "use needs the name of one sequence or line")
        if "range" in values and not _whole(given):
            raise LatticeFault(place, "the range of `use` is not followed; take it out, and choose the part by --between FIRST LAST")
        self.used = names[0]

    def _pieces_of(self, name: str) -> Iterable[Piece]:
        if name in self.sequences:
            yield from placed(self.sequences[name], self.names, self._inside)
            return
        for member, _, place in expanded(self.lines[name], lambda other: self.lines.get(other.lower())):
            definition = self.names.elements.get(member.lower())
            if definition is None:
                if member.lower() in self.sequences:
                    yield from placed(self.sequences[member.lower()], self.names, self._inside)
                    continue
                raise LatticeFault(place, f"{member!r} in the line {self.lines[name].name} is not defined")
            yield self.piece(definition, place)

    def _inside(self, definition: Definition, place: Place) -> list[Piece]:
        """The pieces of an entry of a sequence, which may be a line or a sequence itself."""
        if definition.type in TYPES:
            return [self.piece(definition, place)]
        if definition.type in self.sequences and "refpos" in self.sequences[definition.type].values:
            raise LatticeFault(place, f"refpos of the sequence {definition.type} is not followed")
        self._nested += 1
        if self._nested > _MOST_NESTED:
            raise LatticeFault(place, f"sequences nest deeper than {_MOST_NESTED}")
        pieces = list(self._pieces_of(definition.type))
        self._nested -= 1
        return pieces

    def piece(self, definition: Definition, place: Place) -> Piece:
        """An element as it stands at a place."""
        def number(name: str) -> float:
            value = definition.find(name)
            return 0.0 if value is None else self.names.number(value)

        def array(name: str) -> list[float]:
            value = definition.find(name)
            return [] if value is None else self.names.array(value)

        kind = definition.type
        builder = to.rectangular_bend(chord=self.rbarc) if kind == "rbend" else TYPES[kind]
        return to.built(definition, kind, builder, to.Numbers(number, array, definition.given - _ELSEWHERE, PASSED_OVER))


def lattice_of_madx(path: Path, choice: Choice = Choice()) -> tuple[Lattice, float | None]:
    """The lattice of a line or sequence in a MAD-X file, and the momentum of its beam [eV/c] if it tells one.

    The line is that of the name chosen, otherwise that of the last `use`, else the only one.

    :raises ValueError: the file cannot be taken; the message names file, line and word.
    """
    if unknown := [name for name in choice.replace_by_drift if name.lower() not in TYPES]:
        raise ValueError(f"{unknown[0]!r} is no type of MAD-X that is known here")
    file = MadxFile()
    file.read(path)
    try:
        pieces = file.pieces(choice.line)
    except LatticeFault:
        raise
    except ValueError as error:
        raise ValueError(f"{path}: {error}") from None
    momentum = file.momentum
    tell([*file.remarks, *file.names.remarks])
    return lattice_of(pieces, str(path), choice), momentum


def _members(items: Iterable[Item]) -> set[str]:
    """All names in a line."""
    found: set[str] = set()
    left = list(items)
    while left:
        item = left.pop()
        if isinstance(item.what, str):
            found.add(item.what.lower())
        else:
            left += item.what
        left += item.arguments
    return found


def _whole(given: list[Given]) -> bool:
    """Whether the range of a `use` is all of it."""
    return [_words(one.value) for one in given if one.name == "range"] == [["#s", "/", "#e"]]


def _words(node: object) -> list[str]:
    parts = getattr(node, "parts", None)
    return [str(node).lower()] if parts is None else [word for part in parts for word in _words(part)]
