"""Lines of elements as both MAD-X and elegant write them: nested, repeated and reversed."""
from __future__ import annotations

from dataclasses import dataclass
from typing import Callable, Iterator, Mapping, Union

from ..deck.reader import Place
from ..words import counted
from .source import LatticeFault

DEEPEST, LONGEST = 50, 100_000  #: lines within lines; steps of an expansion


@dataclass(frozen=True)
class Item:
    """A member of a line: a name or a list in brackets."""

    what: Union[str, tuple["Item", ...]]
    count: int = 1
    reverse: bool = False
    arguments: tuple["Item", ...] = ()  #: of a line with formal arguments
    row: int = 1  #: line in its statement


@dataclass(frozen=True)
class Line:
    """A named row of items."""

    name: str
    items: tuple[Item, ...]
    place: Place
    formals: tuple[str, ...] = ()  #: names that stand for arguments

    def place_of(self, item: Item) -> Place:
        return Place(self.place.file, self.place.line + item.row - 1)


def repeats(word: str | None) -> int:
    """The count ahead of a member, 1 where there is none."""
    return 1 if word is None else int(min(float(word.lower().replace("d", "e")), 1e9))


def expanded(line: Line, find: Callable[[str], Union[Line, None]]) -> Iterator[tuple[str, bool, Place]]:
    """The names of elements in a line, whether each is reversed, and where it stands.

    :param find: the line of a name, or None for an element.
    :raises LatticeFault: a line that contains itself, lines nested deeper than DEEPEST, or more than LONGEST steps.
    """
    return _Expansion(find).line(line, False, {})


class _Expansion:
    def __init__(self, find: Callable[[str], Union[Line, None]]) -> None:
        self._find, self._steps = find, 0
        self._open: list[Line] = []
        self._depth = 0

    def line(self, line: Line, reverse: bool, bound: Mapping[str, tuple]) -> Iterator[tuple[str, bool, Place]]:
        if any(line is other for other in self._open):
            raise LatticeFault(line.place, f"the line {line.name} contains itself")
        self._open.append(line)
        yield from self._items(line, line.items, reverse, bound)
        self._open.pop()

    def _items(self, line: Line, items: tuple[Item, ...], reverse: bool, bound: Mapping[str, tuple]) -> Iterator[tuple[str, bool, Place]]:
        self._depth += 1
        if self._depth > DEEPEST:
            raise LatticeFault(line.place, f"lines nest deeper than {DEEPEST} in {line.name}")
        for item in reversed(items) if reverse else items:
            for _ in range(item.count):
                self._steps += 1
                if self._steps > LONGEST:
                    raise LatticeFault(line.place_of(item), f"the line has more than {LONGEST} members")
                yield from self._one(line, item, reverse != item.reverse, bound)
        self._depth -= 1

    def _one(self, line: Line, item: Item, reverse: bool, bound: Mapping[str, tuple]) -> Iterator[tuple[str, bool, Place]]:
        if not isinstance(item.what, str):
            yield from self._items(line, item.what, reverse, bound)
            return
        if item.what.lower() in bound:
            caller, argument, outer = bound[item.what.lower()]
            yield from self._items(caller, (argument,), reverse, outer)
            return
        found = self._find(item.what)
        if found is None:
            yield item.what, reverse, line.place_of(item)
            return
        if len(found.formals) != len(item.arguments):
            raise LatticeFault(line.place_of(item), f"the line {item.what} has {counted(len(found.formals), 'argument')}, not {len(item.arguments)}")
        yield from self.line(found, reverse, {formal.lower(): (line, argument, bound)
                                              for formal, argument in zip(found.formals, item.arguments)})
