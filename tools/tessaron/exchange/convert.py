"""Lattice files of every format by name or by suffix."""
from __future__ import annotations

from pathlib import Path

from ..lattice.lattice import Lattice
from ..words import counted
from .pieces import Choice

SUFFIXES = {".madx": "madx", ".mad": "madx", ".seq": "madx", ".lte": "elegant", ".csv": "survey"}  #: others are decks


def format_of(path: str | Path) -> str:
    """The format that the suffix of a file tells."""
    return SUFFIXES.get(Path(path).suffix.lower(), "deck")


def load(path: str | Path, fmt: str | None = None, choice: Choice = Choice(), momentum: float | None = None) -> tuple[Lattice, float | None]:
    """The lattice of a file, and the momentum that it tells [eV/c].

    :param choice: what of it is taken, unless it is a deck.
    :param momentum: of the reference particle [eV/c], where the file needs one.
    :raises ValueError: with file, line and word.
    """
    path, fmt = Path(path), fmt or format_of(path)
    if fmt == "madx":
        from .madx.read import lattice_of_madx

        return lattice_of_madx(path, choice)
    if fmt == "elegant":
        from .elegant.read import lattice_of_elegant

        return lattice_of_elegant(path, choice, momentum), momentum
    if fmt == "deck":
        return Lattice.from_deck(path), None
    raise ValueError(f"{path}: {fmt} is not read")


def save(path: str | Path, lattice: Lattice, source: str, momentum: float | None = None) -> str:
    """Writes a lattice in the format of the file's suffix and returns one line that tells what was written.

    :param source: where the lattice comes from, noted in the file.
    :raises ValueError: the file is that source, or the format cannot hold the lattice. Nothing is written.
    """
    path, fmt = Path(path), format_of(path)
    if path.exists() and Path(source).exists() and path.samefile(source):
        raise ValueError(f"{path}: is the file that is read")
    text = _text(path, fmt, lattice, source, momentum)
    path.write_text(text)
    turned = round(sum(getattr(element, "angle", 0.0) for element in lattice), 12) + 0.0  # no -0
    return (f"{path}: {'lattice block' if fmt == 'deck' else fmt}, {counted(len(lattice.boundaries()), 'boundary')}, {lattice.length:.9g} m, "
            f"turns by {turned:.6g} rad" + (f", {momentum * 1e-6:.6g} MeV/c" if momentum else ""))


def _text(path: Path, fmt: str, lattice: Lattice, source: str, momentum: float | None) -> str:
    if fmt == "madx":
        return lattice.to_madx(momentum_eV_c=momentum)
    if fmt == "survey":
        return lattice.survey_csv()
    if fmt == "deck":
        return _block(path, lattice, source, momentum)
    raise ValueError(f"{path}: {fmt} is not written; .madx and .csv are, and the lattice block of a deck")


def _block(path: Path, lattice: Lattice, source: str, momentum: float | None) -> str:
    """The lattice as a file that a deck includes."""
    lines = [f"! From {_word(Path(source).name)}. A deck takes it by #file {{ name = {_word(path.name)} }}"]
    if momentum:
        lines.append(f"! and its momentum by particles {{ reference_momentum = {momentum!r} ... }}   [eV/c]")
    return "\n".join(lines) + "\n" + lattice.deck()


def _word(name: str) -> str:
    return "".join(char if char.isprintable() else "?" for char in name)
