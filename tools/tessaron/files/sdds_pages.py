"""Pages of SDDS files: parameters and a table of columns, as text or as bytes of either order."""
from __future__ import annotations

import re
from dataclasses import dataclass, field
from itertools import chain
from pathlib import Path
from typing import Iterable, Sequence

import numpy as np

from ..words import counted
from .sdds_header import NUMBERS, Definition, Header, SddsFile, read_header, unquoted

KINDS = ("binary", "ascii", "big-endian")  #: of the files written; binary is little-endian
_WORD = re.compile(r'"(?:[^"\\]|\\.)*"|[^\s"]+')
_LONG_COUNT = -(1 << 31)  # in place of a row count: one of 64 bits follows


@dataclass
class Page:
    """One page of a file."""

    parameters: dict[str, float | str] = field(default_factory=dict)
    columns: dict[str, np.ndarray] = field(default_factory=dict)  #: those that were asked for
    units: dict[str, str] = field(default_factory=dict)  #: of all columns, in their order
    number: int = 1
    more: bool = False  #: whether further pages follow


def read_page(path: str | Path, wanted: Sequence[str], number: int = 1) -> Page:
    """Reads one page.

    :param wanted: the columns to read; those that the file has not are missing in the page too. Others are skipped.
    :param number: of the page, from 1.
    :raises ValueError: what is no SDDS file, a page that is not there, a word that is no number; the message names line
        and word, or the byte.
    """
    if number < 1:
        raise ValueError(f"{path}: no page {number}; pages count from 1")
    with open(path, "rb") as stream:
        file = SddsFile(stream, path)
        header = read_header(file)
        if not header.columns:
            raise ValueError(f"{path}: the header defines no columns")
        read = _ascii_page if header.ascii else _binary_page
        for k in range(1, number + 1):
            page = Page(_fixed_values(file, header), {}, {column.name: column.units for column in header.columns}, k)
            if not _more(file, header):
                raise ValueError(f"{path}: no page {number}; there " + (f"are {k - 1}" if k > 2 else "is 1" if k > 1 else "is none"))
            read(file, header, page, wanted if k == number else ())
        page.more = _more(file, header)
    return page


def write_page(path: str | Path, parameters: Iterable[tuple[Definition, float]], columns: Iterable[tuple[Definition, np.ndarray]],
               kind: str = KINDS[0]) -> None:
    """Writes a file of one page of numbers.

    :param kind: one of KINDS.
    """
    parameters, columns = list(parameters), list(columns)
    order = ">" if kind == "big-endian" else "<"
    rows = len(columns[0][1])
    with open(path, "wb") as file:
        text = ["SDDS1", "!# big-endian" if order == ">" else "!# little-endian"]
        for command, definitions in (("parameter", parameters), ("column", columns)):
            text += [f'&{command} name={d.name}, ' + (f'units="{d.units}", ' if d.units else "") + f"type={d.type}, &end" for d, _ in definitions]
        text.append(f"&data mode={'ascii' if kind == 'ascii' else 'binary'}, &end")
        if kind == "ascii":
            text += ["! page number 1", *(repr(value) for _, value in parameters), str(rows)]
        file.write(("\n".join(text) + "\n").encode())
        if kind == "ascii":
            file.writelines((" ".join(map(repr, row)) + "\n").encode() for row in zip(*(values.tolist() for _, values in columns)))
            return
        file.write(np.array(rows, dtype=order + "i4").tobytes())
        file.writelines(np.array(value, dtype=order + NUMBERS[d.type]).tobytes() for d, value in parameters)
        table = np.empty(rows, dtype=_row_type([d for d, _ in columns], order))
        for d, values in columns:
            table[d.name] = values
        file.write(table.tobytes())


def _fixed_values(file: SddsFile, header: Header) -> dict[str, float | str]:
    return {p.name: _value(file, p, p.fixed) for p in header.parameters if p.fixed is not None}


def _value(file: SddsFile, definition: Definition, text: str) -> float | str:
    if definition.type in ("string", "character"):
        return unquoted(text.strip())
    try:
        return float(text)
    except ValueError:
        file.refuse(f"{text.strip()[:40]!r} for {definition.name} is no number")


def _more(file: SddsFile, header: Header) -> bool:
    """Whether a page begins here; blank lines and comments between pages are passed over."""
    if not header.ascii:
        return file.left > 0
    while True:
        start = file.peek(4096).lstrip(b" \t")
        if not start.startswith((b"\n", b"\r", b"!")):
            return bool(start) or file.left > 4096
        file.next_line()


# Text.


def _data_line(file: SddsFile, what: str, blank: bool = False) -> str:
    """The next line that is no comment, nor blank unless that is taken."""
    while True:
        text = file.next_line()
        if text is None:
            file.refuse(f"the file ends where {what} should stand")
        if not text.startswith("!") and (blank or text.strip()):
            return text


def _ascii_page(file: SddsFile, header: Header, page: Page, wanted: Sequence[str]) -> None:
    for parameter in header.parameters:
        if parameter.fixed is None:
            line = _data_line(file, f"parameter {parameter.name}", blank=parameter.type in ("string", "character"))
            page.parameters[parameter.name] = _value(file, parameter, line)
    for array in header.arrays:
        sizes = [_count(file, word, f"size of array {array.name}") for word in _data_line(file, f"array {array.name}").split()]
        left = int(np.prod(sizes, dtype=object))
        while left > 0:
            left -= len(_words(_data_line(file, f"array {array.name}")))
    if header.row_counts:
        rows: int | None = _count(file, _data_line(file, "the row count").strip(), "the row count")
    else:
        rows = None
    numbers, texts = _row_lines(file, header, rows)
    _set_columns(file, header, page, wanted, numbers, [_words(text) for text in texts], rows)


def _words(text: str) -> list[str]:
    return _WORD.findall(text) if '"' in text else text.split()


def _count(file: SddsFile, word: str, what: str) -> int:
    if not re.fullmatch(r"\d{1,18}", word):
        file.refuse(f"{word[:40]!r} for {what} is no count")
    return int(word)


def _row_lines(file: SddsFile, header: Header, rows: int | None) -> tuple[list[int], list[str]]:
    """The lines of the rows, with their numbers."""
    numbers: list[int] = []
    texts: list[str] = []
    words = 0
    while rows is None or (words < rows * len(header.columns) if header.lines_per_row == 0 else len(texts) < rows * header.lines_per_row):
        text = file.next_line()
        if text is None:
            if rows is None:
                break
            file.refuse(f"the row count is {rows}, but the file ends behind {counted(len(texts), 'line')} of rows")
        if text.startswith("!"):
            continue
        if not text.strip():
            if rows is None:
                break
            continue
        words += len(_words(text)) if header.lines_per_row == 0 else 0
        numbers.append(file.line)
        texts.append(text)
    return numbers, texts


def _set_columns(file: SddsFile, header: Header, page: Page, wanted: Sequence[str], numbers: list[int], lines: list[list[str]],
                 rows: int | None) -> None:
    width = len(header.columns)
    if header.lines_per_row == 1:
        for number, words in zip(numbers, lines):
            if len(words) != width:
                file.refuse(f"{counted(len(words), 'word')} in a row of {counted(width, 'column')}: {' '.join(words)[:60]}", number)
    words = list(chain.from_iterable(lines))
    if len(words) % width or rows is not None and len(words) != rows * width:
        wanted = "rows" if rows is None else counted(rows, "row")
        file.refuse(f"{counted(len(words), 'word')} cannot be {wanted} of {counted(width, 'column')}")
    for k, column in enumerate(header.columns):
        if column.name in wanted and column.type in NUMBERS:
            try:
                page.columns[column.name] = np.array(words[k::width], dtype=float)
            except ValueError:
                row, word = next((row, word) for row, word in enumerate(words[k::width]) if not _is_number(word))
                ends = np.cumsum([len(line) for line in lines])
                file.refuse(f"{word[:40]!r} in column {column.name} is no number", numbers[int(np.searchsorted(ends, row * width + k, "right"))])


def _is_number(word: str) -> bool:
    try:
        float(word)
    except ValueError:
        return False
    return True


# Bytes.


def _binary_page(file: SddsFile, header: Header, page: Page, wanted: Sequence[str]) -> None:
    if header.order is None:
        header.order = _likely_order(file, header)
    order, start = header.order, file.byte
    rows = _integer(file, order, "the row count")
    if rows == _LONG_COUNT:
        rows = _integer(file, order, "the row count", "i8")
    if rows < 0 or rows * _least_bytes(header) > file.left:
        file.refuse_byte(f"the row count {rows} does not fit the {counted(file.left, 'byte')} behind it; the file is cut, or its byte order another one", start)
    for parameter in header.parameters:
        if parameter.fixed is None:
            page.parameters[parameter.name] = _binary_value(file, parameter, order)
    for array in header.arrays:
        sizes = [_integer(file, order, f"a size of array {array.name}") for _ in range(array.dimensions)]
        if min(sizes, default=0) < 0:
            file.refuse_byte(f"array {array.name} has the sizes {sizes}")
        _skip(file, array, int(np.prod(sizes, dtype=object)), order)
    if header.column_major:
        _by_columns(file, header, page, wanted, rows)
    else:
        _by_rows(file, header, page, wanted, rows)


def _least_bytes(header: Header) -> int:
    """Of a row: its numbers, and the lengths of its strings."""
    return sum(np.dtype(NUMBERS.get(column.type, "i4")).itemsize for column in header.columns)


def _likely_order(file: SddsFile, header: Header) -> str:
    """Where the file does not tell: little, unless its row count fits only as big."""
    start = file.peek(4)
    little, big = (int.from_bytes(start, order, signed=True) for order in ("little", "big"))
    fits = [count == _LONG_COUNT or 0 <= count * _least_bytes(header) <= file.left for count in (little, big)]
    return ">" if fits == [False, True] else "<"


def _integer(file: SddsFile, order: str, what: str, kind: str = "i4") -> int:
    return int(np.frombuffer(file.take(int(kind[1]), what), dtype=order + kind)[0])


def _binary_value(file: SddsFile, definition: Definition, order: str) -> float | str:
    if definition.type == "string":
        length = _integer(file, order, f"the length of {definition.name}")
        return file.take(length, f"the text of {definition.name}").decode("latin-1")
    kind = np.dtype(order + NUMBERS[definition.type])
    return float(_plain(np.frombuffer(file.take(kind.itemsize, definition.name), dtype=kind), order)[0])


def _skip(file: SddsFile, definition: Definition, count: int, order: str) -> None:
    if definition.type != "string":
        file.take(count * np.dtype(NUMBERS[definition.type]).itemsize, definition.name)
        return
    if 4 * count > file.left:
        file.refuse_byte(f"{counted(count, 'text')} of {definition.name} would not fit the {counted(file.left, 'byte')} left")
    for _ in range(count):
        file.take(_integer(file, order, f"the length of {definition.name}"), f"a text of {definition.name}")


def _row_type(columns: Sequence[Definition], order: str) -> np.dtype:
    return np.dtype([(column.name, order + NUMBERS[column.type]) for column in columns])


def _by_columns(file: SddsFile, header: Header, page: Page, wanted: Sequence[str], rows: int) -> None:
    for column in header.columns:
        if column.name in wanted and column.type != "string":
            kind = np.dtype(header.order + NUMBERS[column.type])
            page.columns[column.name] = _plain(np.frombuffer(file.take(rows * kind.itemsize, f"column {column.name}"), dtype=kind), header.order)
        else:
            _skip(file, column, rows, header.order)


def _by_rows(file: SddsFile, header: Header, page: Page, wanted: Sequence[str], rows: int) -> None:
    """Rows of numbers alone are read at once; where texts stand between them, row by row and piece by piece."""
    pieces: list[list[Definition]] = [[]]  # each of numbers; a text stands behind each but the last
    for column in header.columns:
        if column.type == "string":
            pieces.append([])
        else:
            pieces[-1].append(column)
    kinds = [_row_type(piece, header.order) for piece in pieces]
    if len(pieces) == 1:
        found = [file.take(rows * kinds[0].itemsize, counted(rows, "row"))]
    else:
        found = [bytearray() for _ in pieces]
        for _ in range(rows):
            for k, kind in enumerate(kinds):
                if k:
                    file.take(_integer(file, header.order, "the length of a text"), "a text")
                found[k] += file.take(kind.itemsize, "a row")
    for piece, kind, data in zip(pieces, kinds, found):
        for column in piece:
            if column.name in wanted:
                page.columns[column.name] = _plain(np.frombuffer(data, dtype=kind)[column.name], header.order)


def _plain(values: np.ndarray, order: str) -> np.ndarray:
    """As doubles. Long doubles have 64 bits of mantissa and 16 of sign and exponent (x86)."""
    if values.dtype.kind != "V":
        return values.astype(float)
    if order == ">":
        raise ValueError("long doubles of a big-endian file are not read")
    halves = np.frombuffer(values.tobytes(), dtype=np.dtype([("mantissa", "<u8"), ("power", "<u2"), ("rest", "V6")]))
    power = halves["power"].astype(int)
    with np.errstate(over="ignore"):  # to infinity
        return np.ldexp(np.where(power >> 15, -1.0, 1.0) * halves["mantissa"].astype(float), (power & 0x7FFF) - 16383 - 63)
