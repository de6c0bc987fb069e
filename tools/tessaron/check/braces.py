"""A brace too few or too many in a deck: where it begins to matter, so that it gives one message instead of a row of them."""
from __future__ import annotations

import re
from typing import NamedTuple

from ..deck.keys import COMMANDS, ELEMENTS, SUB_BLOCKS
from ..deck.reader import Place, split_line

_LEVELS = {**{word: 0 for word in COMMANDS if word != "exit"}, **{word: 1 for word in ELEMENTS}, **{word: 2 for word in SUB_BLOCKS}}
_SPARE = re.compile(r"[-+.\deEdD ,;]*")  # lines of numbers, of which a deck may hold many


class BraceFault(NamedTuple):
    """Where the command that it is in begins, where it is told, and what is wrong."""

    command: Place
    place: Place
    text: str


def brace_fault(name: str, lines: list[str]) -> BraceFault | None:
    """The first brace that is missing or too many in the deck's own lines; files that it includes count as whole."""
    opened: list[tuple[str, Place]] = []
    before, wants = "", None  # wants: the word that a { has to follow
    for number, line in enumerate(lines, 1):
        if _SPARE.fullmatch(line):
            continue
        for text in split_line(line):
            place = Place(name, number)
            if wants is not None:
                if text != "{":
                    return BraceFault((opened or [wants])[0][1], wants[1], f"expected {{ behind {wants[0]}, found {text!r}")
                opened.append(wants)
                wants = None
            elif text == "{":
                opened.append(("a block", place))
            elif text == "}":
                if not opened:
                    return BraceFault(place, place, "a } too many: no block is open here")
                opened.pop()
            elif text == "exit" and not opened:
                return None
            elif text == "#file" or before != "=" and len(opened) == _LEVELS.get(text):
                wants = (text, place)
            elif before != "=" and opened and opened[0][0] != "track_accuracy" and len(opened) > _LEVELS.get(text, len(opened)):
                word, start = opened[_LEVELS[text]]
                return BraceFault(opened[0][1], start, f"{word} is not closed: {text} at {place} begins inside it; a }} is missing")
            before = text
    if opened:
        return BraceFault(opened[0][1], opened[0][1], f"the deck ends inside {opened[0][0]}; a }} is missing")
    return None
