"""The language of elegant's lattice files: statements, a line each, and where they stand."""
from __future__ import annotations

import re
from functools import lru_cache
from pathlib import Path
from typing import Iterator

import lark

from ...deck.reader import Place
from ..lines import Item, repeats
from ..source import LatticeFault, Statement, parsed, read_text

_GRAMMAR = r"""
start: statement ";"*
?statement: name ":" _LINE "=" item             -> line
          | name ":" name ("," attribute?)*     -> definition
attribute: name "=" [VALUE | STRING]
name: NAME | STRING
item: [SIGN] [COUNT "*" [SIGN]] (name | list)
list: "(" item ("," item)* ")"
SIGN: "-" | "+"
COUNT.2: /\d+(?=\s*\*)/
_LINE.2: /LINE(?=\s*=)/i
NAME: /[^\s:,=()*"&;+-][^\s:,=()*"&;]*/
VALUE: /[^\s,"&;=]+/
STRING: /"[^"]*"/
%ignore /\s+/
"""


class _Maker(lark.Transformer):
    """Statements as the parser reduces them: a name in capitals unless it is quoted, values as they are written."""

    def name(self, parts: list) -> str:
        return parts[0][1:-1] if parts[0].type == "STRING" else lark.Token("NAME", parts[0].upper(), line=parts[0].line)

    def attribute(self, parts: list) -> tuple[str, str | None]:
        return parts[0].replace("_", "").lower(), next((part for part in parts[1:] if part is not None), None)

    def list(self, parts: list) -> tuple:
        return tuple(parts)

    def item(self, parts: list) -> Item:
        sign, count, inner, what = parts
        row = what[0].row if isinstance(what, tuple) else getattr(what, "line", 1)
        return Item(what if isinstance(what, tuple) else str(what), repeats(count), (sign == "-") != (inner == "-"), row=row)


@lru_cache(maxsize=1)
def _parser() -> lark.Lark:
    return lark.Lark(_GRAMMAR, parser="lalr", transformer=_Maker(), maybe_placeholders=True)


def statements(path: Path) -> Iterator[tuple[str, Place]]:
    """The statements of a file, continued lines joined, without comments and blanks, and where each begins."""
    begin, kept, title = 0, [], False
    for number, line in enumerate(read_text(path).split("\n"), 1):
        if title:
            title = False
            continue
        if line.startswith("%") and not kept:
            yield line.strip(), Place(str(path), number)
            continue
        words = _bare(line)
        begin = begin if kept else number
        kept.append(words.removesuffix("&"))
        if words.endswith("&") or (not words and len(kept) > 1):
            continue
        whole, kept = "\n".join(kept), []
        title = whole.rstrip(",").upper() == "TITLE"
        if whole.strip() and not title:
            yield whole, Place(str(path), begin)
    if kept:
        raise LatticeFault(Place(str(path), begin), "the statement is continued by & to the end of the file")


def statement(words: str, place: Place) -> Statement:
    """A statement taken apart.

    :raises LatticeFault: it is none.
    """
    tree = parsed(_parser(), words, place).children[0]
    return Statement(tree.data, tuple(tree.children), place)


def _bare(line: str) -> str:
    """A line without its comment, and without blanks outside quotes."""
    kept = []
    for word in re.findall(r'"[^"]*"|[^"!]+|["!]', line):
        if word == "!":
            break
        kept.append(word if word[0] == '"' else re.sub(r"\s+", "", word))
    return "".join(kept)
