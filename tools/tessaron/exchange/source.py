"""Files of other programs: their text, and faults in them by file, line and word."""
from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path
from typing import Any

import lark

from ..deck.reader import Place

LARGEST = 20_000_000  #: bytes of a lattice file


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
