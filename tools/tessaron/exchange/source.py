"""Files of other programs: their text, and faults in them by file, line and word."""
from __future__ import annotations

from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Iterator

import lark

from ..deck.reader import Place

LARGEST = 20_000_000  #: bytes of a lattice file
MOST_FILES = 10  #: within each other


class LatticeFault(ValueError):
    """A lattice file that cannot be taken; the message names file and line."""

    def __init__(self, place: Place, text: str) -> None:
        super().__init__(f"{place}: {text}")


@dataclass(frozen=True)
class Statement:
    """A statement by its kind, for example a line or a definition."""

    kind: str
    parts: tuple
    place: Place


def read_text(path: Path) -> str:
    """The text of a lattice file.

    :raises ValueError: it is no plain file, larger than any lattice, or not text.
    :raises OSError: it cannot be read.
    """
    if path.exists() and not path.is_file():
        raise ValueError(f"{path}: not a file")
    with open(path, "rb") as file:
        raw = file.read(LARGEST + 1)
    if len(raw) > LARGEST:
        raise ValueError(f"{path}: larger than {LARGEST // 1_000_000} MB, which is no lattice file")
    if b"\0" in raw:
        raise ValueError(f"{path}: not a text file")
    return raw.decode(errors="replace").replace("\r\n", "\n").replace("\r", "\n")


@contextmanager
def opened(path: Path, files: list[Path], verb: str) -> Iterator[None]:
    """While a file is being read, it is the last one of `files`.

    :param verb: how a file takes in another one.
    :raises ValueError: it is one of them already, or they are as many as may be.
    """
    if any(path.resolve() == other.resolve() for other in files) or len(files) >= MOST_FILES:
        raise ValueError(f"{path}: files {verb} each other in a ring, or more than {MOST_FILES} deep")
    files.append(path)
    yield
    files.pop()


def parsed(parser: lark.Lark, text: str, place: Place) -> Any:
    """What a parser makes of a statement that begins at a place.

    :raises LatticeFault: the statement is none; the message holds the line and the word at which that shows.
    """
    try:
        return parser.parse(text)
    except lark.exceptions.UnexpectedCharacters as error:
        raise LatticeFault(Place(place.file, place.line + error.line - 1), f"{text[error.pos_in_stream]!r} does not belong here, "
                           f"in {_short(text)}") from None
    except lark.exceptions.UnexpectedToken as error:
        if error.token.type == "$END":
            raise LatticeFault(place, f"the statement {_short(text)} breaks off") from None
        raise LatticeFault(Place(place.file, place.line + error.token.line - 1), f"{str(error.token)[:40]!r} does not belong here, "
                           f"in {_short(text)}") from None


def _short(text: str) -> str:
    words = " ".join(text.split())
    return repr(words if len(words) <= 60 else words[:57] + "...")
