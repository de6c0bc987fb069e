"""The header of an SDDS file: what its pages hold, and how.

A header is text: the word SDDS with a version from 1 to 5, then commands from `&parameter` or the like to `&end` with
`field=value` pairs over one or several lines, of which `&data` is the last. Lines that begin with "!" are comments.
"""
from __future__ import annotations

import os
import re
from dataclasses import dataclass, field
from pathlib import Path
from typing import BinaryIO, NoReturn

#: numpy's types of the numbers, without their byte order. A long double is the 80 bits of x86, padded.
NUMBERS = {"short": "i2", "ushort": "u2", "long": "i4", "ulong": "u4", "long64": "i8", "ulong64": "u8", "float": "f4", "double": "f8",
           "longdouble": "V16", "character": "u1"}
LONGEST_LINE = 1 << 20  # bytes; beyond that a file is no text
_DEFINITIONS = {"parameter": "parameters", "array": "arrays", "column": "columns"}
_QUOTED = r'"(?:[^"\\]|\\.)*"'
_PAIR = re.compile(rf'[\s,]*(\w+)\s*=\s*({_QUOTED}|[^\s,&"]+)')
_ESCAPE = re.compile(r"\\([0-7]{1,3}|.)")


class SddsFile:
    """An open file of lines and bytes that knows where it is."""

    def __init__(self, file: BinaryIO, path: str | Path) -> None:
        self.path, self._file, self.line = path, file, 0
        self.size = os.fstat(file.fileno()).st_size

    def next_line(self) -> str | None:
        """The next line without its end, or None behind the last one."""
        text = self._file.readline(LONGEST_LINE)
        self.line += 1
        if len(text) == LONGEST_LINE and not text.endswith(b"\n"):
            self.refuse("a line of a megabyte; this is no text")
        return text.decode("latin-1").rstrip("\r\n") if text else None

    @property
    def byte(self) -> int:
        return self._file.tell()

    @property
    def left(self) -> int:
        """Bytes behind the present one."""
        return max(self.size - self.byte, 0)

    def peek(self, count: int) -> bytes:
        place = self.byte
        found = self._file.read(count)
        self._file.seek(place)
        return found

    def take(self, count: int, what: str) -> bytes:
        """So many bytes; refused if there are not so many."""
        found = self._file.read(count) if 0 <= count <= self.left else b""
        if len(found) != count:
            self.refuse_byte(f"{what} would take {count} bytes where {self.left} are left; the file is cut, or its byte order another one")
        return found

    def refuse(self, words: str, line: int | None = None) -> NoReturn:
        raise ValueError(f"{self.path}:{line or self.line}: {words}")

    def refuse_byte(self, words: str, byte: int | None = None) -> NoReturn:
        raise ValueError(f"{self.path}: byte {self.byte if byte is None else byte}: {words}")


@dataclass
class Definition:
    """A parameter, an array or a column."""

    name: str
    type: str
    units: str = ""
    fixed: str | None = None  #: value of a parameter that stands in the header and not in the pages
    dimensions: int = 1  #: of an array


@dataclass
class Header:
    """Definitions in the order of the data, and how the data are written."""

    parameters: list[Definition] = field(default_factory=list)
    arrays: list[Definition] = field(default_factory=list)
    columns: list[Definition] = field(default_factory=list)
    ascii: bool = True
    lines_per_row: int = 1  #: 0 where line ends mean nothing
    row_counts: bool = True  #: else an empty line ends the rows
    column_major: bool = False
    order: str | None = None  #: "<" or ">", None if not told


def is_sdds(path: str | Path) -> bool:
    """Whether a file begins as SDDS files do."""
    with open(path, "rb") as file:
        return re.match(rb"SDDS\d+\s", file.read(16)) is not None


def read_header(file: SddsFile) -> Header:
    """Reads all up to the first page.

    :raises ValueError: what is no header; the message names line and word.
    """
    first = (file.next_line() or "").strip()
    if not re.fullmatch("SDDS[1-5]", first):
        file.refuse(f"{first[:20]!r} is not SDDS1 to SDDS5, with which an SDDS file begins")
    header, rest = Header(), ""
    while True:
        text = rest or file.next_line()
        if text is None:
            file.refuse("the file ends within the header, before &data")
        text, rest = text.strip(), ""
        if text.startswith("!"):
            header.order = {"!# big-endian": ">", "!# little-endian": "<"}.get(text, header.order)
        elif text:
            command, fields, line, rest = _command(file, text)
            if command == "data":
                _set_data(file, header, fields, line)
                return header
            if command in _DEFINITIONS:
                _define(file, getattr(header, _DEFINITIONS[command]), command, fields, line)
            elif command not in ("description", "associate"):
                file.refuse(f"&{command} is not read; there are &description, &parameter, &column, &array, &associate and &data", line)


def _command(file: SddsFile, text: str) -> tuple[str, dict[str, str], int, str]:
    """One command: its name, its fields, its first line, and what stands behind it on the last one."""
    line = file.line
    match = re.match(r"&([A-Za-z]\w*)", text)
    if match is None:
        file.refuse(f"{text.split()[0][:40]!r} where a command such as &column should begin")
    fields: dict[str, str] = {}
    text = text[match.end():]
    while True:
        text = text.strip(" \t,")
        if text.startswith("&end"):
            return match[1], fields, line, text[4:]
        if not text or text.startswith("!"):
            text = file.next_line()
            if text is None:
                file.refuse(f"&{match[1]} has no &end", line)
            continue
        pair = _PAIR.match(text)
        if pair is None:
            file.refuse(f"{text.split()[0][:40]!r} in &{match[1]} where field=value or &end should stand")
        fields[pair[1]] = unquoted(pair[2])
        text = text[pair.end():]


def unquoted(word: str) -> str:
    """A value without its quotes and escapes."""
    if len(word) < 2 or word[0] != '"' or word[-1] != '"':
        return word
    return _ESCAPE.sub(lambda found: chr(int(found[1], 8) & 255) if found[1].isdigit() else found[1], word[1:-1])


def _define(file: SddsFile, known: list[Definition], command: str, fields: dict[str, str], line: int) -> None:
    name, kind = fields.get("name", ""), fields.get("type", "")
    if not name or any(name == other.name for other in known):
        file.refuse(f"&{command} " + (f"defines {name} again" if name else "has no name"), line)
    if kind not in NUMBERS and kind != "string":
        file.refuse(f"{command} {name} has the type {kind or 'none'}; there are {', '.join(NUMBERS)} and string", line)
    known.append(Definition(name, kind, fields.get("units", ""), fields.get("fixed_value"), _whole(file, fields, "dimensions", 1, line)))


def _set_data(file: SddsFile, header: Header, fields: dict[str, str], line: int) -> None:
    mode, order = fields.get("mode", "missing"), fields.get("endian")
    if mode not in ("ascii", "binary"):
        file.refuse(f"the mode of &data is {mode}; it must be ascii or binary", line)
    if order not in (None, "big", "little"):
        file.refuse(f"endian of &data is {order}; it must be big or little", line)
    header.ascii = mode == "ascii"
    header.order = header.order if order is None else ">" if order == "big" else "<"
    header.lines_per_row = _whole(file, fields, "lines_per_row", 1, line)
    header.row_counts = _whole(file, fields, "no_row_counts", 0, line) == 0
    header.column_major = _whole(file, fields, "column_major_order", 0, line) != 0
    for _ in range(_whole(file, fields, "additional_header_lines", 0, line)):
        if file.next_line() is None:
            file.refuse("the file ends within the additional header lines")


def _whole(file: SddsFile, fields: dict[str, str], name: str, default: int, line: int) -> int:
    text = fields.get(name, str(default))
    if not re.fullmatch(r"\d{1,9}", text):
        file.refuse(f"{name}={text} must be a whole number", line)
    return int(text)
