"""The language of MAD-X files: statements, their expressions and where they stand.

The grammar is for Lark, whose LALR parser takes any depth without recursion and tells line and word of a fault.
"""
from __future__ import annotations

import re
from dataclasses import dataclass
from functools import lru_cache
from pathlib import Path
from typing import Iterator, NamedTuple, Union

import lark

from ...deck.reader import Place
from ..lines import Item, repeats
from ..source import LatticeFault, Statement, parsed, read_text

_CUT = re.compile(r"""(?P<string>"[^"]*"|'[^']*')|(?P<comment>!.*|//.*|/\*[\s\S]*?\*/|&(?=[ \t]*\n))|(?P<open>/\*)|(?P<end>;)""")

_GRAMMAR = r"""
start: NAME assign value              -> setting
     | NAME "->" NAME assign value    -> change
     | NAME [formals] ":" _LINE "=" item -> line
     | NAME ":" NAME attributes       -> definition
     | NAME attributes                -> command
assign: "="                           -> now
      | ":="                          -> later
formals: "(" NAME ("," NAME)* ")"
attributes: (","? attribute)* ","?
attribute: NAME assign value          -> given
         | NAME                       -> on
         | MINUS NAME                 -> off
         | STRING                     -> text
?value: sum
      | STRING                        -> string
      | "{" [value ("," value)*] "}"  -> array
sum: product ((PLUS | MINUS) product)*
product: signed (MULTIPLY signed)*
?signed: power
       | MINUS signed                 -> negative
       | PLUS signed                  -> positive
?power: atom
      | atom "^" exponent             -> power
?exponent: atom
         | MINUS atom                 -> negative
         | PLUS atom                  -> positive
?atom: NUMBER                         -> number
     | NAME                           -> name
     | RANGE                          -> name
     | NAME "->" NAME                 -> attribute_of
     | NAME "(" [sum ("," sum)*] ")"  -> call
     | "(" sum ")"
item: [sign] [NUMBER "*"] (NAME [arguments] | list)
list: "(" item ("," item)* ")"
arguments: "(" item ("," item)* ")"
?sign: PLUS | MINUS
PLUS: "+"
MINUS: "-"
MULTIPLY: "*" | "/"
_LINE.2: /line(?![\w.])/i
NUMBER: /(\d+\.?\d*|\.\d+)([ed][+-]?\d+)?/i
NAME: /[a-z_][\w.%]*/i
RANGE: /#[se]/i
STRING: /"[^"]*"|'[^']*'/
%ignore /\s+/
"""


class Node(NamedTuple):
    """A part of an expression."""

    kind: str
    parts: tuple


@dataclass(frozen=True)
class Given:
    """An attribute as it is written."""

    name: str
    value: Union[Node, None]  #: None for a flag that stands alone
    later: bool = False  #: := asks for the value at the time of use
    on: bool = True  #: of a flag


class _Maker(lark.Transformer):
    """Nodes and statements as the parser reduces them."""

    now, later = (lambda self, parts: False), (lambda self, parts: True)
    formals = tuple
    attributes = list

    def given(self, parts: list) -> Given:
        return Given(str(parts[0]).lower(), parts[2], parts[1])

    def on(self, parts: list) -> Given:
        return Given(str(parts[0]).lower(), None)

    def off(self, parts: list) -> Given:
        return Given(str(parts[1]).lower(), None, on=False)

    def text(self, parts: list) -> Given:
        return Given("", Node("string", (str(parts[0])[1:-1],)))

    def string(self, parts: list) -> Node:
        return Node("string", (str(parts[0])[1:-1],))

    def number(self, parts: list) -> Node:
        return Node("number", (float(parts[0].lower().replace("d", "e")),))

    def name(self, parts: list) -> Node:
        return Node("name", (str(parts[0]),))

    def sum(self, parts: list) -> Node:
        return parts[0] if len(parts) == 1 else Node("sum", tuple(parts))

    def product(self, parts: list) -> Node:
        return parts[0] if len(parts) == 1 else Node("product", tuple(parts))

    def call(self, parts: list) -> Node:
        return Node("call", (str(parts[0]).lower(), *(part for part in parts[1:] if part is not None)))

    def attribute_of(self, parts: list) -> Node:
        return Node("attribute_of", (str(parts[0]), str(parts[1]).lower()))

    def array(self, parts: list) -> Node:
        return Node("array", tuple(part for part in parts if part is not None))

    def negative(self, parts: list) -> Node:
        return Node("negative", (parts[1],))

    def positive(self, parts: list) -> Node:
        return parts[1]

    def power(self, parts: list) -> Node:
        return Node("power", tuple(parts))

    def list(self, parts: list) -> tuple:
        return tuple(parts)

    arguments = list

    def item(self, parts: list) -> Item:
        sign, count, what = parts[:3]
        return Item(what if isinstance(what, tuple) else str(what), repeats(count), sign == "-", (parts[3] if len(parts) > 3 else None) or (),
                    getattr(what, "line", None) or _row(what))


def _row(items: tuple) -> int:
    return items[0].row if items else 1


@lru_cache(maxsize=1)
def _parser() -> lark.Lark:
    return lark.Lark(_GRAMMAR, parser="lalr", transformer=_Maker(), maybe_placeholders=True)


def statements(path: Path) -> Iterator[tuple[str, Place]]:
    """The statements of a file without their comments, and where each begins."""
    text = read_text(path)
    begin, kept, line = 0, [], 1  # of the statement: its end so far, its text so far
    for match in _CUT.finditer(text):
        kept.append(text[begin:match.start()])
        begin = match.end()
        if match["open"]:
            raise LatticeFault(Place(str(path), text.count("\n", 0, match.start()) + 1), "the comment '/*' is not closed")
        kept.append(match[0] if match["string"] else " " if match["comment"] is None else _blank(match[0]))
        if match["end"]:
            whole = "".join(kept)
            yield from _stripped(whole, path, line)
            line += whole.count("\n")
            kept = []
    rest = "".join(kept) + text[begin:]
    for words, place in _stripped(rest, path, line):
        raise LatticeFault(place, f"{' '.join(words.split())[:40]!r} is not ended by ';'")


def statement(words: str, place: Place) -> Statement:
    """A statement taken apart.

    :raises LatticeFault: it is none.
    """
    tree = parsed(_parser(), words, place)
    return Statement(tree.data, tuple(tree.children), place)


def _blank(comment: str) -> str:
    return " " + "\n" * comment.count("\n")


def _stripped(words: str, path: Path, line: int) -> Iterator[tuple[str, Place]]:
    if text := words.strip():
        yield text, Place(str(path), line + words[:words.index(text[0])].count("\n"))
