"""Reading blocks of `key = value` and lattice elements, telling everything that is wrong on the way and going on."""
from __future__ import annotations

from dataclasses import dataclass
from difflib import get_close_matches
from typing import Callable, Iterable

from .keys import CONDITIONS, Key
from .reader import DeckEnd, DeckFault, DeckReader, Place, Token, integer_of, real_of

Report = Callable[[Place, str], None]


@dataclass
class Value:
    """A value of a block; `number` where the key takes one and it reads, else None; `good` if it passes all tests."""

    text: str
    place: Place
    number: float | None
    good: bool


def read_block(reader: DeckReader, name: str, keys: dict[str, Key], error: Report, warn: Report) -> dict[str, Value]:
    """Reads `{ key = value ... }`. Unknown keys and bad values are reported; bad ones stay in the result, not `good`.

    A slip of the pen in a key counts as the key that it meant, unless that stands there, too.
    """
    reader.expect("{", f"to open {name}")
    values: dict[str, Value] = {}
    slips: set[str] = set()
    pending: Token | None = None
    while True:
        key = pending or _command(reader, name)
        pending = None
        if key.text == "}":
            return values
        known = keys.get(key.text)
        if known is None:
            error(key.place, f"{name} has no key {key.text!r}{suggestion(key.text, keys)}")
            if (near := meant(key.text, keys)) not in (None, *values):
                key, known = Token(near, key.place), keys[near]
                slips.add(near)
        token = reader.token()
        if token.text != "=":
            if known is not None:
                error(token.place, f"expected = behind {key.text!r}, found {token.text!r}")
            if token.text == "#eof":
                raise DeckEnd
            if token.text == "{":
                reader.skip_block()
            else:
                pending = token
            continue
        token = reader.token()
        if token.text == "#file":
            error(token.place, f"#file is not carried out where the value of {key.text} is read")
            values[key.text] = Value(token.text, token.place, None, False)
            while reader.token().text not in ("}", "#eof"):
                pass
        elif token.text == "{" and known is None:
            reader.skip_block()
        elif known is not None:
            if key.text in values and key.text not in slips:
                warn(key.place, f"{key.text} is given twice; the last one counts")
            values[key.text] = read_value(key.text, known, token, error, warn)


def read_value(name: str, key: Key, token: Token, error: Report, warn: Report) -> Value:
    """One value, converted and tested by its key's table. A slip of the pen in a word is reported and counts as what it meant."""
    text, place = token
    near = meant(text, key.words)
    if text in ("", "#eof") or text in "(){}[]=":
        error(place, f"the value of {name} is missing; {text or 'an empty word'!r} stands there")
        return Value(text, place, None, False)
    if key.kind == "text" or text in key.words:
        return Value(text, place, None, True)
    if key.kind == "flag":
        warn(place, f"{name} = {text} counts as no; only yes counts as yes")
        return Value(text, place, None, True)
    words = " or ".join(key.words) if len(key.words) < 3 else "one of " + ", ".join(key.words)
    if key.kind == "word":
        error(place, f"{name} = {text}: it must be {words}")
        return Value(near or text, place, None, near is not None)
    number = real_of(text) if key.kind == "real" else integer_of(text)
    if number is None:
        kind = "a number" if key.kind == "real" else "an integer"
        unit = f" in {key.unit}" if key.unit else ""
        error(place, f"{name} = {text}: it must be {kind}{unit}" + (f", or {words}" if key.words else ""))
        return Value(near or text, place, None, near is not None)
    condition, in_words = CONDITIONS[key.test]
    if not condition(number):
        error(place, f"{name} = {text}: it {in_words}")
    return Value(text, place, number, condition(number))


def _command(reader: DeckReader, name: str) -> Token:
    place = reader.place
    try:
        return reader.command()
    except DeckEnd:
        raise DeckFault(f"the deck ends inside {name}; a }} is missing", place) from None


def meant(word: str, words: Iterable[str]) -> str | None:
    """The one of some words that a slip of the pen may have meant, in whatever case, or that it is; None if none is near."""
    known = {text.lower(): text for text in words}
    return next((known[text] for text in get_close_matches(word.lower(), known, 1, 0.7)), None)


def suggestion(word: str, words: Iterable[str]) -> str:
    """The end of a message about an unknown word: what it may have meant, or what there is."""
    near = meant(word, words)
    return f"; did you mean {near}?" if near else f"; there are {', '.join(words)}"
