"""What the dataclasses of deck blocks have in common: their values are tested by the table of keys that `check` uses, and
they write themselves as a person would, only what differs from the default."""
from __future__ import annotations

from dataclasses import MISSING, fields
from difflib import get_close_matches
from math import isfinite
from numbers import Integral, Real
from pathlib import Path
from typing import Any, ClassVar, TypeVar

from ..deck.blocks import Value
from ..deck.keys import CONDITIONS, Key
from ..lattice.elements import NAME_BREAKERS
from ..lattice.layout import number

Self = TypeVar("Self", bound="Block")


class Block:
    """A block `command { key = value ... }` whose fields are its keys; None stands for a key that is not given."""

    COMMAND: ClassVar[str]
    KEYS: ClassVar[dict[str, Key]]
    FILES: ClassVar[tuple[str, ...]] = ()  #: keys that name a file to be read

    def __post_init__(self) -> None:
        for name, key in self.KEYS.items():
            value = getattr(self, name)
            if value is not None and key.kind != "array":
                object.__setattr__(self, name, _tested(f"{type(self).__name__}: {name}", key, value, name in self.FILES))
        self._test()

    def _test(self) -> None:
        """Tests of values against each other; for the blocks that need them."""

    def deck(self, names: dict[str, str] | None = None) -> str:
        """The block as a line of a deck.

        :param names: names in the run's folder of the files that the block reads, by key; by default their own base names.
        """
        names = {name: Path(getattr(self, name)).name for name in self.FILES if getattr(self, name) is not None} | (names or {})
        words = [f"{name} = {names.get(name) or word_of(value)}" for name, value in self._given().items()]
        return f"{self.COMMAND} {{ {'  '.join(words)} }}\n" if words else f"{self.COMMAND} {{ }}\n"

    def _given(self) -> dict[str, Any]:
        """The keys that differ from their defaults, and those without one."""
        values = {}
        for field in fields(self):  # type: ignore[arg-type]
            value = getattr(self, field.name)
            if field.default is MISSING or value != field.default:
                values[field.name] = value
        return values

    @classmethod
    def from_values(cls: type[Self], values: dict[str, Value]) -> Self:
        """The object that a block's values, as `read_block` gives them, mean."""
        given = {}
        for name, value in values.items():
            key = cls.KEYS[name]
            if key.kind == "flag":
                given[name] = value.text == "yes"
            elif value.number is not None and value.text not in key.words:
                given[name] = int(value.number) if key.kind == "integer" else value.number
            else:
                given[name] = value.text
        return cls(**given)


def word_of(value: Any) -> str:
    """A value as a deck holds it."""
    if isinstance(value, bool):
        return "yes" if value else "no"
    return str(value) if isinstance(value, (str, Path, Integral)) else number(value)


def one_word(what: str, value: Any) -> str:
    """A text that can stand in a deck.

    :raises ValueError: it cannot.
    """
    if not isinstance(value, str) or not value or set(value) & NAME_BREAKERS or len(value) > 80:
        raise ValueError(f"{what} must be one word of a deck, of at most 80 characters, not {value!r}")
    return value


def _tested(what: str, key: Key, value: Any, is_file: bool) -> Any:
    """The value in the type that its key asks for.

    :raises ValueError: it is none that the program would take.
    """
    if is_file:
        return Path(value)
    if key.kind == "text":
        return one_word(what, value)
    if key.kind == "flag":
        if not isinstance(value, bool):
            raise ValueError(f"{what} must be True or False, not {value!r}")
        return value
    if isinstance(value, str):
        if value in key.words:
            return value
        close = get_close_matches(value, key.words, 1, 0.5)
        kinds = "" if key.kind == "word" else f"{_in_words(key)} or "
        raise ValueError(f"{what} must be {kinds}one of {', '.join(key.words) or 'no words'}, not {value!r}"
                         + (f"; did you mean {close[0]!r}?" if close else ""))
    wanted = Integral if key.kind == "integer" else Real
    if key.kind == "word" or not isinstance(value, wanted) or isinstance(value, bool) or not isfinite(value):
        options = ([] if key.kind == "word" else [_in_words(key)]) + [repr(word) for word in key.words]
        raise ValueError(f"{what} must be {' or '.join(options)}, not {value!r}")
    condition, words = CONDITIONS[key.test]
    if not condition(value):
        raise ValueError(f"{what} {words}, not {value!r}")
    return int(value) if key.kind == "integer" else float(value)


def _in_words(key: Key) -> str:
    unit = f" in {key.unit}" if key.unit else ""
    return ("an integer" if key.kind == "integer" else "a number") + unit
