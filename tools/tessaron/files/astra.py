"""Bunches as Astra's particle files: text, ten columns, one line a particle.

The columns are x, y, z [m], px, py, pz [eV/c], clock [ns], charge [nC], species and status, z along the beam and y upwards:
(x, y, z) there is (y, z, x) here. The first line is the reference particle, with its own charge; in all other lines z, pz
and clock are relative to it, while x, y, px and py are absolute. All particles are at one time, the reference particle's
clock. Of the status numbers, 5 and 3 are particles, 1 and 0 are carried along without a field of their own, which here
means without charge, -1 and -3 wait at the cathode, and other negative ones are lost.
"""
from __future__ import annotations

import warnings
from pathlib import Path
from typing import NoReturn

import numpy as np

from ..beam.bunch import Bunch
from ..constants import SPEED_OF_LIGHT
from ..deck.reader import plain_real
from ..words import counted

COLUMNS = ("x", "y", "z", "px", "py", "pz", "clock", "charge", "species", "status")
ELECTRON, NORMAL = 1, 5
_ROWS = [1, 2, 0, 4, 5, 3]  # of their x, y, z, px, py, pz here
_RELATIVE = [2, 5]  # their z and pz
_LARGEST = 1e30  # beyond any unit
_WIDTHS = {104: (12, 4), 168: (20, 4)}  # of lines whose numbers touch: eight reals and two integers


def read_astra(path: str | Path) -> tuple[Bunch, str]:
    """Reads the particles that are neither lost nor at the cathode.

    :return: the bunch, and what was left out of it, for a person.
    :raises ValueError: a line that is no record, other particles than electrons, particles at the cathode; the message names
        the line and the word.
    """
    table = _table(path)
    species, status = (_whole(path, table, column) for column in (8, 9))
    lost = (status < 0) & (status != -1) & (status != -3)
    for wrong, what in (((status > 5) | (status == 2) | (status == 4), "status {9:g}; known are 5, 3, 1, 0 and negative ones"),
                        ((status == -1) | (status == -3), "status {9:g}: the bunch is still at the cathode, and not at one time"),
                        (~lost & (species != ELECTRON), "species {8:g}; the program tracks electrons, 1")):
        if wrong.any():
            _refuse(path, table, int(np.argmax(wrong)), what)
    if lost.all():
        raise ValueError(f"{path}: all of {counted(len(table), 'particle')} lost")
    rows = table[:, :6].T
    origin = rows[:, 0].copy()
    rows[:, 0] -= np.where(np.isin(range(6), _RELATIVE), origin, 0.0)  # as in the lines below
    rows = rows[:, ~lost]
    first = rows[:, 0].copy()
    reference, offsets = np.empty(6), np.empty_like(rows)
    reference[_ROWS] = np.where(np.isin(range(6), _RELATIVE), origin + first, first)
    offsets[_ROWS] = rows - first[:, None]
    passive = np.isin(status, (0, 1))
    charge = np.where(passive, 0.0, np.abs(table[:, 7]) / 1e9)[~lost]
    told = [f"{lost.sum()} lost particles (status {', '.join(map(str, np.unique(status[lost])[::-1][:5]))}) left out"] if lost.any() else []
    told += [f"{(passive & ~lost).sum()} passive particles (status 0 or 1) without charge"] if (passive & ~lost).any() else []
    return Bunch(table[0, 6] * 1e-9 * SPEED_OF_LIGHT, reference, offsets, charge), "; ".join(told)


def write_astra(path: str | Path, bunch: Bunch) -> None:
    """Writes all particles as normal electrons, with 17 digits and negative charges."""
    rows = bunch.offsets[_ROWS]
    absolute = [k for k in range(6) if k not in _RELATIVE]
    rows[absolute] += bunch.reference[_ROWS][absolute, None]
    rows[:, 0] = bunch.reference[_ROWS]
    clock = np.zeros(len(bunch))
    clock[0] = bunch.ct / SPEED_OF_LIGHT * 1e9
    table = np.vstack([rows, clock, -_nanocoulomb(np.abs(bunch.charge))]).T
    line = " %23.16E" * 8 + f"{ELECTRON:4d}{NORMAL:4d}\n"
    with open(path, "w") as file:
        file.writelines(line % tuple(values) for values in table.tolist())


def _nanocoulomb(charge: np.ndarray) -> np.ndarray:
    """Charges [C] in the numbers of nC that are read back to the same digits: rounded up or down by one where that is nearer."""
    best = charge * 1e9
    for neighbour in (np.nextafter(best, 0), np.nextafter(best, np.inf)):
        best = np.where((best / 1e9 != charge) & (neighbour / 1e9 == charge), neighbour, best)
    return best


def looks_like_astra(lines: list[list[str]]) -> bool:
    """Whether ten columns are Astra's rather than `umbra`'s: both of the first particles are electrons, and not numbered."""
    return len(lines) > 1 and all(len(words) == 10 and words[8] == str(ELECTRON) for words in lines[:2])


def _table(path: str | Path) -> np.ndarray:
    with open(path, errors="replace") as file:
        lines = file.read().splitlines()
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", UserWarning)  # of a file without lines
            table = np.loadtxt(lines, comments=None, ndmin=2)
    except ValueError:
        table = np.empty((0, 0))
    if table.shape[1] != len(COLUMNS):  # touching numbers, exponents of Fortran, or a fault to tell
        table = np.array([_record(path, number, line) for number, line in enumerate(lines, 1) if line.strip()])
    if not len(table):
        raise ValueError(f"{path}: no particle")
    if np.any(bad := ~(np.abs(table) < _LARGEST)):
        row, column = np.argwhere(bad)[0]
        _refuse(path, table, row, f"{COLUMNS[column]} {{{column}:g}}, which is no coordinate")
    return table


def _record(path: str | Path, number: int, line: str) -> list[float]:
    words = line.split()
    if len(words) != len(COLUMNS) and len(line) in _WIDTHS:
        real, integer = _WIDTHS[len(line)]
        ends = np.cumsum([0] + [real] * 8 + [integer] * 2)
        words = [line[a:b].strip() for a, b in zip(ends[:-1], ends[1:])]
    if len(words) != len(COLUMNS):
        raise ValueError(f"{path}:{number}: {counted(len(words), 'word')}; a particle has {len(COLUMNS)}: {', '.join(COLUMNS)}")
    values = []
    for name, word in zip(COLUMNS, words):
        try:
            values.append(float(plain_real(word)))
        except ValueError:
            raise ValueError(f"{path}:{number}: {word[:40]!r} for {name} is no number") from None
    return values


def _whole(path: str | Path, table: np.ndarray, column: int) -> np.ndarray:
    values = table[:, column]
    if np.any(bad := (values != np.round(values)) | (np.abs(values) > 1e6)):
        _refuse(path, table, int(np.argmax(bad)), f"{COLUMNS[column]} {{{column}:g}}, which is no whole number of the format")
    return values.astype(int)


def _refuse(path: str | Path, table: np.ndarray, row: int, what: str) -> NoReturn:
    """Tells the line of a record; `what` may show its numbers."""
    with open(path, errors="replace") as file:
        line = [number for number, text in enumerate(file, 1) if text.strip()][row]
    raise ValueError(f"{path}:{line}: " + what.format(*table[row]))
