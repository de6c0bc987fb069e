"""The design orbit of a run: from its deck, or from the latout.dat that the program wrote."""
from __future__ import annotations

from dataclasses import dataclass, field
from math import radians
from pathlib import Path

import numpy as np

from ..beam.bunch import Bunch
from ..beam.orbit import locate
from ..beam.placing import moved, turned_by
from ..check.lattice import check_lattice
from ..check.state import CheckState
from ..deck.keys import COMMANDS
from ..deck.reader import DeckEnd, DeckFault, DeckReader, Token, real_of
from ..files.outputs import read_latout
from ..lattice.geometry import Boundary
from .process import DECK

LATOUT = "latout.dat"


@dataclass
class Orbit:
    """Field boundaries, and where the frame of the bunch files lies in theirs, the lab."""

    boundaries: list[Boundary]
    source: Path  #: the file that told them
    reference_point: tuple[float, float, float] = (0.0, 0.0, 0.0)  #: x, y [m], angle [rad]
    lattice: list[str] = field(default_factory=list)  #: words of the deck's `lattice` block

    def in_lab(self, bunch: Bunch) -> Bunch:
        """The bunch of a file in the lab frame."""
        x0, y0, phi = self.reference_point
        if bunch.on_orbit or self.reference_point == (0.0, 0.0, 0.0):
            return bunch
        return moved(bunch, turned_by(-phi), np.array([x0, y0, 0.0]), np.zeros(3))

    def in_file(self, bunch: Bunch) -> Bunch:
        """A bunch in the lab frame as the files of the run hold it."""
        x0, y0, phi = self.reference_point
        if self.reference_point == (0.0, 0.0, 0.0):
            return bunch
        return moved(bunch, turned_by(phi), np.zeros(3), np.array([x0, y0, 0.0]))

    def point_in_file(self, place: np.ndarray, direction: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
        """A place [m] and a direction in the lab, (3,) each, as the files of the run hold them."""
        x0, y0, phi = self.reference_point
        return turned_by(phi) @ place + np.array([x0, y0, 0.0]), turned_by(phi) @ direction


def read_orbit(path: str | Path) -> Orbit:
    """The orbit that a deck or a latout.dat tells.

    :raises ValueError: the file tells none, or the deck's lattice has errors.
    """
    path = Path(path)
    with open(path, errors="replace") as file:
        is_latout = file.readline().strip() == "-" * 48
    orbit = Orbit(read_latout(path), path) if is_latout else _of_deck(path)
    if not orbit.boundaries:
        raise ValueError(f"{path}: no lattice with a boundary in it")
    return orbit


def orbit_beside(bunch_file: str | Path) -> Orbit | None:
    """The orbit of the run that a bunch file belongs to: by the deck in its folder, else by the latout.dat there."""
    folder = Path(bunch_file).parent
    for name in (DECK, LATOUT):
        if (folder / name).is_file():
            try:
                return read_orbit(folder / name)
            except (ValueError, OSError):
                continue
    return None


def on_orbit(bunch: Bunch, orbit: Orbit | None) -> tuple[Bunch, list[Boundary] | None]:
    """A bunch of a file in the lab, with the boundaries of its orbit; as it is and without them where it is not on the orbit."""
    if orbit is None or bunch.on_orbit:
        return bunch, None
    moved = orbit.in_lab(bunch)
    try:
        locate(moved, orbit.boundaries)
    except ValueError:
        return bunch, None
    return moved, orbit.boundaries


def _of_deck(path: Path) -> Orbit:
    """Reads the deck's last `lattice` block, and the reference point; the particles themselves are passed over."""
    state = CheckState(path.parent)
    orbit = Orbit([], path)
    try:
        reader = _Recorder(path)
        while True:
            command = reader.command()
            if command.text == "exit":
                break
            if command.text == "lattice":
                reader.words = []
                check_lattice(state, reader, command)
                orbit.lattice = reader.taken()
            elif command.text not in COMMANDS:
                raise ValueError(f"{path}: no lattice in it; it is neither a deck nor a latout.dat")
            else:
                _pass_over(reader, command, orbit)
    except DeckEnd:
        pass
    except DeckFault as fault:
        raise ValueError(f"{fault.place}: {fault.text}") from None
    errors = [finding for finding in state.findings if finding.severity == "error"]
    if errors:
        raise ValueError(str(errors[0]))
    orbit.boundaries = state.boundaries
    return orbit


def _pass_over(reader: "_Recorder", command: Token, orbit: Orbit) -> None:
    """Reads over a block without carrying out a `#file` in it; the input folder and the reference point are noted."""
    reader.expect("{", f"to open {command.text}")
    x, y, phi = orbit.reference_point if command.text != "particles" else (0.0, 0.0, 0.0)
    key, depth = "", 1
    while depth > 0:
        word = reader.token().text
        depth += (word == "{") - (word == "}")
        value = real_of(word)
        if value is not None and key.startswith("reference_point_"):
            x, y, phi = {"x": (value, y, phi), "y": (x, value, phi), "phi": (x, y, radians(value))}.get(key[16:], (x, y, phi))
        if key == "input" and command.text == "io_path" and word != "=":
            reader.input_folder = word
        if word != "=":
            key = word
    orbit.reference_point = (x, y, phi)


class _Recorder(DeckReader):
    """A reader that remembers the words it has read."""

    words: list[str] | None = None

    def token(self) -> Token:
        token = super().token()
        if self.words is not None:
            self.words.append(token.text)
        return token

    def taken(self) -> list[str]:
        """The words since the recording began, without `#file { name = ... }` and `#eof`, which have been carried out."""
        words, self.words = self.words or [], None
        result: list[str] = []
        k = 0
        while k < len(words):
            if words[k] == "#file":
                k += 5
            elif words[k] != "#eof":
                result.append(words[k])
            k += 1
        return result
