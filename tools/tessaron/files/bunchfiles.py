"""The system's own bunch files: fmt1, fmt2 and umbra in both directions, fmt0 and fmt3 for reading.

All files hold the reference particle first. In fmt1, fmt2 and umbra it stands in absolute coordinates and every other
record holds the difference from it; fmt1 and umbra along the axes of the file, fmt2 along the reference particle's
momentum, horizontally across it and upwards. Momenta are in eV/c. The frame of the file is the lab frame unless the
deck's `reference_point_...` keys say otherwise; they are the deck's business and not applied here.
"""
from __future__ import annotations

import warnings
from itertools import islice
from pathlib import Path

import numpy as np

from ..beam.bunch import Bunch, frame_along, from_absolute
from ..constants import REST_ENERGY, SPEED_OF_LIGHT
from ..deck.reader import plain_real
from ..words import counted
from .astra import looks_like_astra
from .fixed import fixed_numbers

READABLE = ("fmt0", "fmt1", "fmt2", "fmt3", "umbra")
WRITABLE = ("fmt1", "fmt2", "umbra")

# The umbra axes (x, y, z) are our (y, z, x): its z is the beam axis, its y the vertical.
_UMBRA_ROWS = [1, 2, 0]


def tokens_of(text: str) -> list[str]:
    """The words of a file by the deck's rules: blank, comma and semicolon separate, `!` at a word's start ends the line."""
    text = text.replace(",", " ").replace(";", " ")
    if "!" not in text:
        return text.split()
    words: list[str] = []
    for line in text.split("\n"):
        for word in line.split():
            if word.startswith("!"):
                break
            words.append(word)
    return words


def numbers_of(words: np.ndarray | list[str]) -> np.ndarray:
    """Numbers from words, with exponents in all the forms that the program writes or reads. What are numbers already stays."""
    try:
        return np.array(words, dtype=float)
    except ValueError:
        return np.array([float(plain_real(word)) for word in words])


def numbers_in(path: str | Path) -> np.ndarray | list[str]:
    """All numbers of a file, or its words where not each of them is a plain number."""
    text = Path(path).read_bytes()
    if (numbers := fixed_numbers(text)) is not None:
        return numbers
    if _has_bare_exponent(text):  # 0.1-119, which would pass for two numbers
        return tokens_of(text.decode(errors="replace"))
    with warnings.catch_warnings():
        warnings.simplefilter("error", DeprecationWarning)  # how numpy tells that it did not read to the end
        try:
            return np.fromstring(text, sep=" ") if text and not text.isspace() else []
        except (DeprecationWarning, ValueError):
            return tokens_of(text.decode(errors="replace"))


def _has_bare_exponent(text: bytes) -> bool:
    """Whether a sign follows right behind a digit or a point anywhere."""
    characters = np.frombuffer(text, dtype=np.uint8)
    is_sign = (characters[1:] == ord("+")) | (characters[1:] == ord("-"))
    before = characters[:-1][is_sign]
    return bool(np.any((before == ord(".")) | ((before >= ord("0")) & (before <= ord("9")))))


def guess_format(path: str | Path) -> str:
    """fmt0, fmt1, fmt3, umbra or astra by the columns. fmt1 and fmt2 look alike; fmt1 is taken."""
    with open(path, errors="replace") as file:
        first = list(islice(filter(None, map(tokens_of, file)), 2))
    if not first:
        raise ValueError(f"{path}: the file is empty")
    columns = len(first[0])
    try:
        return "astra" if looks_like_astra(first) else {6: "fmt0", 7: "fmt1", 10: "umbra", 12: "fmt3"}[columns]
    except KeyError:
        raise ValueError(f"{path}: {counted(columns, 'column')} cannot be a bunch format") from None


def read_bunch(path: str | Path, fmt: str | None = None, charge: float = 0.0) -> Bunch:
    """Reads a bunch file.

    :param fmt: one of READABLE; None guesses it from the number of columns.
    :param charge: total charge [C] for fmt0, which tells none, shared equally.
    """
    fmt = fmt or guess_format(path)
    words = numbers_in(path)
    try:
        if fmt in ("fmt1", "fmt2"):
            return bunch_of_table(float(numbers_of(words[:1])[0]), _table(words[7:], 7), fmt)
        if fmt == "umbra":
            return bunch_of_table(0.0, _table(words, 10), fmt)
        if fmt == "fmt0":
            return _from_fmt0(_table(words, 6), charge)
        if fmt == "fmt3":
            return fmt3_bunch(numbers_of(words[:12]), _table(words[12:], 12))
    except (ValueError, IndexError) as error:
        raise ValueError(f"{path}: not a bunch in {fmt}: {error}") from None
    raise ValueError(f"unknown bunch format {fmt}")


def bunch_of_table(ct: float, table: np.ndarray, fmt: str) -> Bunch:
    """A bunch from the records of fmt1, fmt2 or umbra, one per row; `ct` [m] is ignored for umbra, which tells it itself."""
    return _from_umbra(table) if fmt == "umbra" else _from_fmt12(ct, table, fmt)


def write_bunch(path: str | Path, bunch: Bunch, fmt: str) -> None:
    """Writes a bunch in fmt1, fmt2 or umbra with all digits, so that it reads back to the same numbers."""
    if fmt == "umbra":
        header, table, formats = None, _to_umbra(bunch), ["%23.16E"] * 8 + ["%d", "%d"]
    elif fmt in ("fmt1", "fmt2"):
        header = " ".join(f"{value:23.16E}" for value in [bunch.ct] + [0.0] * 6)
        table, formats = _to_fmt12(bunch, fmt), ["%23.16E"] * 7
    else:
        raise ValueError(f"cannot write {fmt}; one of {', '.join(WRITABLE)}")
    row = " ".join(formats) + "\n"
    with open(path, "w") as file:
        if header:
            file.write(header + "\n")
        file.writelines(row % tuple(values) for values in table.tolist())


def read_fmt3(path: str | Path) -> tuple[np.ndarray, np.ndarray]:
    """The bare contents of an fmt3 file.

    :return: the header (c*t [m], gamma0, five zeros, sub-bunch sizes [m], two zeros), and the table (N, 12): u [m], u',
        z [m], z', path length ahead of particle 1 [m], relative energy deviation, q [C], three force components [eV/m],
        source flag, test flag.
    """
    words = numbers_in(path)
    return numbers_of(words[:12]), _table(words[12:], 12)


def _table(words: np.ndarray | list[str], columns: int) -> np.ndarray:
    if not len(words) or len(words) % columns:
        raise ValueError(f"{counted(len(words), 'number')} cannot be whole records of {columns}")
    return numbers_of(words).reshape(-1, columns)


def _from_fmt12(ct: float, table: np.ndarray, fmt: str) -> Bunch:
    reference = table[0, :6].copy()
    offsets = table[:, :6].T.copy()
    offsets[:, 0] = 0.0
    if fmt == "fmt2":
        axes = frame_along(reference[3:])
        offsets[:3], offsets[3:] = axes @ offsets[:3], axes @ offsets[3:]
    return Bunch(ct, reference, offsets, table[:, 6])


def _to_fmt12(bunch: Bunch, fmt: str) -> np.ndarray:
    offsets = bunch.offsets
    if fmt == "fmt2":
        axes = frame_along(bunch.reference[3:])
        offsets = np.vstack([axes.T @ offsets[:3], axes.T @ offsets[3:]])
    table = np.column_stack([offsets.T, bunch.charge])
    table[0, :6] = bunch.reference
    return table


def _from_umbra(table: np.ndarray) -> Bunch:
    rows = np.empty((6, len(table)))
    rows[_UMBRA_ROWS] = table[:, 0:3].T
    rows[[3 + row for row in _UMBRA_ROWS]] = table[:, 3:6].T
    reference = rows[:, 0].copy()
    rows[:, 0] = 0.0
    return Bunch(table[0, 6] * 1e-9 * SPEED_OF_LIGHT, reference, rows, table[:, 7] * 1e-9)


def _to_umbra(bunch: Bunch) -> np.ndarray:
    """Status 5 makes a particle a source; a particle without charge gets 1, a mere test particle."""
    rows = bunch.offsets.copy()
    rows[:, 0] = bunch.reference
    clock = np.full(len(bunch), bunch.ct / SPEED_OF_LIGHT * 1e9)
    index = np.arange(1, len(bunch) + 1)
    status = np.where(bunch.charge != 0, 5, 1)
    return np.column_stack([rows[_UMBRA_ROWS].T, rows[[3 + row for row in _UMBRA_ROWS]].T, clock, bunch.charge * 1e9, index, status])


def _from_fmt0(table: np.ndarray, charge: float) -> Bunch:
    """The file tells neither time nor charge: the time becomes 0."""
    x, y, z, p, phi, theta = table.T
    p = p * REST_ENERGY
    momenta = [p * np.cos(phi) * np.cos(theta), p * np.sin(phi) * np.cos(theta), p * np.sin(theta)]
    return from_absolute(0.0, np.array([x, y, z, *momenta]), np.full(len(table), charge / len(table)))


def fmt3_bunch(header: np.ndarray, table: np.ndarray) -> Bunch:
    """A bunch along the reference path laid out straight: x is the path length ahead of particle 1, y is u, z is z."""
    u, u_slope, z, z_slope, s, energy, charge = table.T[:7]
    gamma0 = header[1]
    momentum = np.sqrt((gamma0 * (1 + energy)) ** 2 - 1) * REST_ENERGY
    forward = momentum / np.sqrt(1 + u_slope**2 + z_slope**2)
    bunch = from_absolute(header[0], np.array([s, u, z, forward, forward * u_slope, forward * z_slope]), charge)
    bunch.on_orbit = True
    return bunch
