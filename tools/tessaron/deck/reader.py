"""A reader of decks that remembers where every token stands.

It follows the program's own scanner: seven marks ( ) { } [ ] =, the separators blank, comma and semicolon, comments from
a `!` that starts a token, `#file { name = ... }` wherever a command, a key or the first token of a particle record is
read. Nothing is carried out. This module needs the standard library only.
"""
from __future__ import annotations

import re
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable, NamedTuple

MARKS = "(){}[]="
LONGEST_LINE, LONGEST_TOKEN, MOST_FILES = 400, 80, 10
_TOKEN = re.compile(r"!.*|[(){}\[\]=]|[^(){}\[\]= ,;]+", re.DOTALL)
REAL = r"[+-]?(?:\d+\.?\d*|\.\d+)(?:[eEdD][+-]?\d+)?"  #: how a number is written; monitors leave out the E ahead of three digits
_REAL = re.compile(REAL + r"|[+-]?(\d+\.\d*|\.\d+)[+-]\d{3}")
_BARE_EXPONENT = re.compile(r"(?<=[\d.])(?=[+-]\d{3}$)")
_PLAIN, _EMPTY_TOKEN = re.compile(r"[-+.\deEdD ,;\n]*"), re.compile(r"^ *[,;]", re.MULTILINE)
_INTEGER = re.compile(r"[+-]?\d+")


class Place(NamedTuple):
    """A line of a file."""

    file: str
    line: int

    def __str__(self) -> str:
        return f"{self.file}:{self.line}"


class Token(NamedTuple):
    """A word or a mark, and where it stands."""

    text: str
    place: Place


class DeckEnd(Exception):
    """The deck ended; at top level that is its orderly end."""


class DeckFault(Exception):
    """Reading cannot go on from here."""

    def __init__(self, text: str, place: Place) -> None:
        super().__init__(text)
        self.text, self.place = text, place


def real_of(text: str) -> float | None:
    """The number of a token, or None: the whole token must be one, as 1, -2.5, 1e-3, 1d-3 or 0.1-103."""
    if not _REAL.fullmatch(text):
        return None
    value = float(plain_real(text))
    return value if abs(value) < float("inf") else None


def plain_real(word: str) -> str:
    """A number as `float` takes it: its exponent behind an e. The program also reads d and D there, and no letter at all
    ahead of the three digits of an exponent that leaves no room for one in its monitors' columns."""
    return _BARE_EXPONENT.sub("e", word.replace("d", "e").replace("D", "e"), 1)


def integer_of(text: str) -> int | None:
    """The 32-bit integer of a token, or None."""
    if not _INTEGER.fullmatch(text):
        return None
    value = int(text)
    return value if -(2**31) <= value < 2**31 else None


def split_line(line: str) -> list[str]:
    """The tokens of one line. A separator at the very start makes an empty token."""
    line = line.rstrip("\r")[:LONGEST_LINE]
    tokens = _TOKEN.findall(line)
    if tokens and tokens[-1][0] == "!":
        tokens.pop()
    if line.lstrip(" ")[:1] in (",", ";"):
        tokens.insert(0, "")
    return tokens


@dataclass
class _Level:
    """An open deck file: its lines, and the tokens that its current line still holds."""

    name: str
    path: Path
    lines: list[str]
    number: int = 0
    tokens: list[str] = field(default_factory=list)
    next: int = 0


class DeckReader:
    """Tokens of a deck and its included files.

    :param note: is told of lines and tokens that the program would cut, with their place.
    :param fault: is told of tabs in words, which then separate them, so that reading can go on; without it they are left in.
    """

    def __init__(self, deck: Path, note: Callable[[Place, str], None] = lambda place, text: None,
                 fault: Callable[[Place, str], None] | None = None) -> None:
        self.folder = deck.parent
        self.input_folder: str | None = None
        self._note, self._fault = note, fault
        self._levels = [_Level(deck.name, deck, _lines_of(deck))]
        self._last = self._levels[0]
        self.own_lines = self._last.lines  #: of the deck itself
        self.included: list[Path] = []  #: files that `#file` opened

    @property
    def place(self) -> Place:
        """Where reading stands."""
        level = self._levels[-1] if self._levels else self._last
        return Place(level.name, level.number)

    @property
    def open_files(self) -> list[Path]:
        """The deck and those included files that are being read."""
        return [level.path for level in self._levels]

    @property
    def at_line_start(self) -> bool:
        """Whether the last token was the first one of its line."""
        return bool(self._levels) and self._levels[-1].next == 1

    def path_of(self, name: str) -> Path:
        """An input file as the program finds it: below the `input` folder, if one is set."""
        return self.folder / (f"{self.input_folder}/{name}" if self.input_folder else name)

    def token(self) -> Token:
        """The next token; the end of an included file reads as `#eof`, that of the deck raises DeckEnd."""
        while True:
            if not self._levels:
                raise DeckEnd
            level = self._levels[-1]
            if level.next < len(level.tokens):
                text = level.tokens[level.next]
                level.next += 1
                if len(text) > LONGEST_TOKEN:
                    self._note(self.place, f"a token of {len(text)} characters is cut to {LONGEST_TOKEN}: {text[:40]}...")
                return Token(text[:LONGEST_TOKEN], self.place)
            if level.number >= len(level.lines):
                if level.number == len(level.lines):
                    level.number += 1
                    return Token("#eof", Place(level.name, len(level.lines)))
                raise DeckFault("the file ends here", Place(level.name, len(level.lines)))
            level.tokens, level.next = self._scan(level), 0

    def command(self) -> Token:
        """The next token at command level, with `#file` and `#eof` carried out."""
        while True:
            token = self.token()
            if not token.text.startswith("#"):
                return token
            if token.text == "#eof":
                self._last = self._levels.pop()
                if not self._levels:
                    raise DeckEnd
            elif token.text == "#file":
                self._open(token)
            else:
                raise DeckFault(f"unknown global command {token.text}; there are #file and #eof", token.place)

    def expect(self, text: str, why: str) -> Token:
        """The next token, which must be `text`."""
        token = self.token()
        if token.text != text:
            raise DeckFault(f"expected {text} {why}, found {_shown(token)}", token.place)
        return token

    def rest_of_line(self) -> list[str]:
        """All tokens that the current line still holds; they count as read."""
        level = self._levels[-1]
        tokens, level.next = level.tokens[level.next:], len(level.tokens)
        return tokens

    def plain_rest(self) -> list[str] | None:
        """All numbers that the rest of an included file holds; they count as read.

        None, and nothing read, where anything else stands there, or a line that is not read as it looks. An array of
        millions of numbers is taken at once so.
        """
        level = self._levels[-1] if len(self._levels) > 1 else self._last
        lines = level.lines[level.number:]
        if len(self._levels) < 2 or level.next < len(level.tokens) or not lines or max(map(len, lines)) > LONGEST_LINE:
            return None
        text = "\n".join(lines)
        if not _PLAIN.fullmatch(text) or _EMPTY_TOKEN.search(text):
            return None
        words = text.replace(",", " ").replace(";", " ").split()
        if not all(map(_REAL.fullmatch, words)) or max(map(len, words), default=0) > LONGEST_TOKEN:
            return None
        level.number = len(level.lines)
        return words

    def give_back(self, tokens: list[str]) -> None:
        """Makes the last tokens of `rest_of_line` unread again."""
        self._levels[-1].next -= len(tokens)

    def skip_block(self, open_braces: int = 1) -> None:
        """Reads on behind the `}` that closes the last of the open braces, so that checking can go on there."""
        while open_braces > 0:
            text = self.command().text
            open_braces += (text == "{") - (text == "}")

    def _open(self, token: Token) -> None:
        self.expect("{", "behind #file")
        self.expect("name", "in #file")
        self.expect("=", "in #file")
        name = self.token()
        self.expect("}", "at the end of #file")
        path = self.path_of(name.text)
        if len(self._levels) >= MOST_FILES:
            raise DeckFault(f"more than {MOST_FILES} deck files open at a time", token.place)
        if not path.is_file():
            what = "is no file" if path.exists() else "does not exist; the program would create it empty"
            raise DeckFault(f"{path} {what}", name.place)
        self._levels.append(_Level(name.text, path, _lines_of(path)))
        self.included.append(path)

    def _scan(self, level: _Level) -> list[str]:
        line = level.lines[level.number]
        level.number += 1
        tokens = split_line(line)
        if self._fault is not None and "\t" in line and any("\t" in text for text in tokens):
            self._fault(self.place, "a tab does not separate words, it is part of them; use blanks")
            tokens = split_line(line.replace("\t", " "))
        if len(line.rstrip()) > LONGEST_LINE and len(_TOKEN.findall(line)) > len(tokens):
            self._note(self.place, f"the line is longer than {LONGEST_LINE} characters; the program does not see its end")
        return tokens


def _lines_of(path: Path) -> list[str]:
    try:
        return path.read_text(encoding="utf-8", errors="replace").split("\n")
    except OSError as error:
        raise DeckFault(f"cannot be read: {error.strerror}", Place(str(path), 0)) from None


def _shown(token: Token) -> str:
    return f"the end of {token.place.file}" if token.text == "#eof" else repr(token.text)
