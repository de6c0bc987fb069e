"""The bunch of a run: a `particles` block."""
from __future__ import annotations

import shutil
from dataclasses import dataclass
from pathlib import Path
from tempfile import NamedTemporaryFile
from typing import ClassVar

from ..beam.bunch import Bunch
from ..deck import keys
from ..files.bunchfiles import read_bunch, write_bunch
from .block import Block, word_of


@dataclass(frozen=True)
class Words:
    """An array that stands in a deck itself, word by word."""

    text: str


@dataclass(frozen=True, eq=False)
class Particles(Block):
    """Where the bunch comes from and what the magnets are set for: a `particles` block.

    :param array: a Bunch, or a bunch file, which the run's folder gets a copy of.
    :param format: fmt1, fmt2 or umbra: of the file, or that in which a Bunch is written.
    :param reference_momentum: what the magnets are set for: "reference_particle", "average", or a momentum [eV/c].
    :param reference_point_x: lab place of the file frame's origin [m].
    :param reference_point_y: likewise [m].
    :param reference_point_phi: rotation of the file frame [degrees].
    """

    COMMAND: ClassVar = "particles"
    KEYS: ClassVar = keys.PARTICLES

    array: Bunch | str | Path | Words
    format: str = "fmt1"
    reference_momentum: float | str = "reference_particle"
    reference_point_x: float = 0.0
    reference_point_y: float = 0.0
    reference_point_phi: float = 0.0

    def _test(self) -> None:
        if isinstance(self.array, str):
            object.__setattr__(self, "array", Path(self.array))
        if not isinstance(self.array, (Bunch, Path, Words)):
            raise ValueError(f"Particles: array must be a Bunch or the path of a bunch file, not {type(self.array).__name__}")
        if isinstance(self.array, Bunch) and len(self.array) > keys.CAPACITY["maxprt"]:
            raise ValueError(f"Particles: {len(self.array)} particles are more than the {keys.CAPACITY['maxprt']} that the program "
                             "holds")

    def bunch(self) -> Bunch:
        """The bunch, in the frame of its file."""
        if isinstance(self.array, Bunch):
            return self.array
        if isinstance(self.array, Path):
            return read_bunch(self.array, self.format)
        with NamedTemporaryFile("w", suffix=".dat") as file:
            file.write(self.array.text)
            file.flush()
            return read_bunch(file.name, self.format)

    def momentum_of_magnets(self) -> float:
        """The reference momentum that the program will take [eV/c]."""
        if self.reference_momentum == "average":
            return float(self.bunch().momentum.mean())
        return float(self.bunch().momentum[0]) if self.reference_momentum == "reference_particle" else self.reference_momentum

    def save(self, path: Path) -> None:
        """Writes the array as a file of its own."""
        if isinstance(self.array, Bunch):
            write_bunch(path, self.array, self.format)
        elif isinstance(self.array, Words):
            path.write_text(self.array.text)
        else:
            shutil.copyfile(self.array, path)

    def deck(self, names: dict[str, str] | None = None) -> str:
        """The block as a line of a deck, its array in a file (`bunch.dat`, or the name told for the key `array`)."""
        words = [f"{name} = {word_of(value)}" for name, value in self._given().items() if name != "array"]
        words.append(f"array = #file {{ name = {(names or {}).get('array', 'bunch.dat')} }}")
        return f"particles {{ {'  '.join(words)} }}\n"
