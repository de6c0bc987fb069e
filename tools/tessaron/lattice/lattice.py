"""A lattice as a row of elements."""
from __future__ import annotations

from dataclasses import dataclass
from functools import cached_property
from pathlib import Path
from typing import TYPE_CHECKING, Iterable, Iterator, Sequence

import numpy as np

from ..words import counted
from . import layout
from .elements import Drift, Element, length_of
from .geometry import Boundary, design_orbit

if TYPE_CHECKING:
    from matplotlib.figure import Figure

    from .optics import Optics


@dataclass(frozen=True)
class Lattice:
    """Elements in the order of the orbit, which starts at the origin along +x, where s = 0.

        chicane = Lattice([Drift(1), Dipole.sbend(0.5, 0.05, e2=0.05, name="B1"), Drift(5), ...])

    `elements` explains the conventions of bends and their faces. Lattices are values: `+` joins two of them.

    :raises ValueError: elements whose boundaries fall on one place, more boundaries than the program holds, and what is
        no element; the message names the element.
    """

    elements: tuple[Element, ...]

    def __init__(self, elements: Iterable[Element]) -> None:
        object.__setattr__(self, "elements", tuple(elements))
        for k, element in enumerate(self.elements):
            if not isinstance(element, Element.__args__):
                raise ValueError(f"Lattice: element {k} is {element!r}; elements are Drift, Dipole, Quadrupole, Multipole, "
                                 "ThinQuadrupole, Map and Marker")
        self.boundaries()

    @classmethod
    def from_deck(cls, deck: str | Path) -> "Lattice":
        """The lattice of a deck: of its last `lattice` block.

        :raises ValueError: the deck has none, or one that the program would refuse; the message names file and line.
        """
        from .reading import lattice_of_deck

        return lattice_of_deck(Path(deck))

    @classmethod
    def from_madx(cls, path: str | Path, line: str | None = None, between: tuple[str, str] | None = None,
                  replace_by_drift: Iterable[str] = ()) -> "Lattice":
        """The lattice of a line or sequence in a MAD-X file; see `tessaron.exchange.madx.read`. It needs python3-lark.

        What has to be left out, such as fringe fields, is told on standard error.

        :param line: name of the line or sequence; otherwise that of the last `use`, else the only one.
        :param between: names of the first and the last element of a part of it.
        :param replace_by_drift: types, as MAD-X calls them, whose elements become drifts where the program has no counterpart.
        :raises ValueError: elements without counterpart, each told by its line; a file that cannot be taken, by file, line and word.
        """
        from ..exchange.madx.read import lattice_of_madx
        from ..exchange.pieces import Choice

        return lattice_of_madx(Path(path), Choice(line, between, tuple(replace_by_drift)))[0]

    @classmethod
    def from_elegant(cls, path: str | Path, line: str | None = None, between: tuple[str, str] | None = None,
                     replace_by_drift: Iterable[str] = (), momentum_eV_c: float | None = None) -> "Lattice":
        """The lattice of a line in an elegant file (.lte); see `tessaron.exchange.elegant.read`. It needs python3-lark.

        What has to be left out, such as fringe fields, is told on standard error.

        :param line: name of the line; otherwise that of `USE`, else the last one.
        :param between: names of the first and the last element of a part of it.
        :param replace_by_drift: types, as elegant calls them, whose elements become drifts where the program has no counterpart.
        :param momentum_eV_c: of the reference particle [eV/c], for quadrupoles that are told by their field.
        :raises ValueError: elements without counterpart, each told by its line; a file that cannot be taken, by file, line and word.
        """
        from ..exchange.elegant.read import lattice_of_elegant
        from ..exchange.pieces import Choice

        return lattice_of_elegant(Path(path), Choice(line, between, tuple(replace_by_drift)), momentum_eV_c)

    @classmethod
    def chicane(cls, angle: float, length: float, drift: float, middle: float, **more: float) -> "Lattice":
        """Four rectangular dipoles; see `tessaron.lattice.chicane.chicane`."""
        from .chicane import chicane

        return chicane(angle, length, drift, middle, **more)

    def __len__(self) -> int:
        return len(self.elements)

    def __iter__(self) -> Iterator[Element]:
        return iter(self.elements)

    def __getitem__(self, k: int) -> Element:
        return self.elements[k]

    def __add__(self, other: "Lattice | Sequence[Element]") -> "Lattice":
        return Lattice((*self.elements, *other))

    @property
    def length(self) -> float:
        """Length of the design orbit through all elements [m]."""
        return float(sum(length_of(element) for element in self.elements))

    def placed(self) -> list[tuple[float, float, Element]]:
        """(s of the beginning [m], s of the end [m], element) of every element."""
        ends = np.cumsum([length_of(element) for element in self.elements])
        return [(float(end) - length_of(element), float(end), element) for end, element in zip(ends, self.elements)]

    def boundaries(self) -> list[Boundary]:
        """The field boundaries as the program lays them: places, tangents, normals, s and radii, with markers."""
        return [Boundary(**vars(boundary)) for boundary in self._boundaries]

    @cached_property
    def markers(self) -> dict[str, float]:
        """s [m] by the name of each marked place; of a name that stands twice, the first place, as the program takes it."""
        places: dict[str, float] = {}
        for boundary in self._boundaries:
            if boundary.marker:
                places.setdefault(boundary.marker, boundary.s)
        return places

    def s_of(self, marker: str) -> float:
        """s of a marked place [m].

        :raises ValueError: no place has this name; the message lists those that there are.
        """
        if marker not in self.markers:
            raise ValueError(f"marker {marker!r} stands nowhere in the lattice; there are {', '.join(self.markers) or 'none'}")
        return self.markers[marker]

    def floor(self, points: int = 30) -> np.ndarray:
        """(2, N) places x, y [m] along the design orbit, `points` to a section."""
        return design_orbit(self._boundaries, points)

    def plot(self) -> "Figure":
        """The floor plan as a matplotlib figure."""
        from ..pictures.floor import floor_plan
        from ..pictures.notebook import shown_once

        return shown_once(floor_plan(self.boundaries()))

    def optics(self, beta: tuple[float, float] = (10.0, 10.0), alpha: tuple[float, float] = (0.0, 0.0),
               dispersion: tuple[float, float] = (0.0, 0.0), step: float = 0.05) -> "Optics":
        """Linear optics along s from initial values at s = 0; see `tessaron.lattice.optics.optics`."""
        from .optics import optics

        return optics(self.elements, beta, alpha, dispersion, step)

    def matrix(self) -> np.ndarray:
        """(6, 6) transfer matrix of (u, u', w, w', distance behind, delta), lengths in metres; [4, 5] is R56."""
        from .optics import matrix_of

        return matrix_of(self.elements)

    def deck(self) -> str:
        """The `lattice` block of a deck that makes this lattice."""
        return layout.deck_of(self._blocks)

    def to_madx(self, path: str | Path | None = None, momentum_eV_c: float | None = None) -> str:
        """The text of a MAD-X file, also written to a path, that `from_madx` reads back; see `tessaron.exchange.madx.write`.

        :param momentum_eV_c: of the reference particle [eV/c], for a `beam` statement.
        :raises ValueError: an element that MAD-X has not; nothing is written.
        """
        from ..exchange.madx.write import madx_of

        return _written(madx_of(self, momentum_eV_c), path)

    def survey_csv(self, path: str | Path | None = None) -> str:
        """The ends of all elements as CSV, also written to a path: s, x, y [m], direction of the orbit [rad], kind and name."""
        from ..exchange.survey import survey_csv

        return _written(survey_csv(self), path)

    def _repr_html_(self) -> str:
        rows = "".join(f"<tr><td>{start:.6g}</td><td>{end:.6g}</td><td>{element!r}</td></tr>"
                       for start, end, element in self.placed() if not isinstance(element, Drift))
        return f"<table><tr><th>s / m</th><th>to / m</th><th>{counted(len(self), 'element')}, {self.length:.6g} m</th></tr>{rows}</table>"

    @cached_property
    def _blocks(self) -> list[layout.Block]:
        return layout.blocks_of(self.elements)

    @cached_property
    def _boundaries(self) -> list[Boundary]:
        return layout.boundaries_of(self._blocks)


def _written(text: str, path: str | Path | None) -> str:
    if path is not None:
        Path(path).write_text(text)
    return text
