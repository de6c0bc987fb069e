"""Fast reading of the program's own tables, whose numbers all have the form `  0.12345678901234E+05` of 23 characters.

A bunch of 300000 particles is 50 MB of digits, which a general reader takes most of half a second for. Here the digits of
one column of some thousand lines are put together side by side. What does not look exactly like such a table is left to
the general reader, which would give the same numbers.
"""
from __future__ import annotations

import numpy as np

WIDTH = 23
_DIGITS = slice(5, 19)
_LINES = 2000  # at a time: their bytes and digits stay in the cache
_MOST = 22  # powers of ten up to here are exact
_POWERS = 10.0 ** np.arange(_MOST + 1)
_PAIRS = np.full(1 << 16, -1, dtype=np.int32)  # value of two digits, by their bytes read as one number
for _k in range(100):
    _PAIRS[np.frombuffer(f"{_k:02d}".encode(), dtype=np.uint16)[0]] = _k


def fixed_numbers(text: bytes) -> np.ndarray | None:
    """All numbers of such a table, line by line, or None where the text is none.

    All lines have the same length; each may end with two flags of one digit, as in `fmt3`.
    """
    length = text.find(b"\n") + 1
    columns, flags = divmod(length - 1, WIDTH)
    if columns < 1 or flags not in (0, 4) or len(text) % length:
        return None
    cells = np.frombuffer(text, dtype=np.uint8).reshape(-1, length)
    result = np.empty((len(cells), columns + flags // 2))
    for first in range(0, len(cells), _LINES):
        block = cells[first:first + _LINES]
        if np.any(block[:, -1] != ord("\n")):
            return None
        for k in range(columns):
            values = _column(block[:, k * WIDTH:(k + 1) * WIDTH])
            if values is None:
                return None
            result[first:first + _LINES, k] = values
        for k in range(flags // 2):
            flag = block[:, columns * WIDTH + 1 + 2 * k]
            if np.any((flag != ord("0")) & (flag != ord("1"))) or np.any(block[:, columns * WIDTH + 2 * k] != ord(" ")):
                return None
            result[first:first + _LINES, columns + k] = flag == ord("1")
    return result.ravel()


def _column(cells: np.ndarray) -> np.ndarray | None:
    """Numbers of one column, (N, WIDTH) bytes; None if a cell is not of the form."""
    if np.any(cells[:, (0, 1, 3, 4, 19)] != np.frombuffer(b"  0.E", dtype=np.uint8)):
        return None
    pairs = _PAIRS[np.ascontiguousarray(cells[:, _DIGITS]).view(np.uint16)]
    power = _PAIRS[np.ascontiguousarray(cells[:, 21:]).view(np.uint16)[:, 0]]
    minus, power_minus = cells[:, 2] == ord("-"), cells[:, 20] == ord("-")
    if pairs.min() < 0 or power.min() < 0 or np.any(~minus & (cells[:, 2] != ord(" "))) or np.any(~power_minus & (cells[:, 20] != ord("+"))):
        return None
    high = (((pairs[:, 0] * 100 + pairs[:, 1]) * 100 + pairs[:, 2]).astype(np.int64)) * 100 + pairs[:, 3]
    whole = high * 1000000 + ((pairs[:, 4] * 100 + pairs[:, 5]) * 100 + pairs[:, 6])
    values = _scaled(whole, np.where(power_minus, -power, power) - 14)
    return np.where(minus, -values, values)


def _scaled(whole: np.ndarray, power: np.ndarray) -> np.ndarray:
    """whole 10^power, rounded as the general reader rounds.

    A whole number below 2^53 times or over a power of ten up to 10^22 rounds once, since both are exact (Clinger 1990). For
    other powers the number is written out and read, once for all that are equal.
    """
    size = np.abs(power)
    scale = _POWERS[np.minimum(size, _MOST)]
    values = np.where(power < 0, whole / scale, whole * scale)
    hard = np.flatnonzero((size > _MOST) & (whole != 0))
    if hard.size:
        keys, where = np.unique(whole[hard] * 1000 + power[hard] + 500, return_inverse=True)
        values[hard] = np.array([float(f"{key // 1000}e{key % 1000 - 500}") for key in keys.tolist()])[where]
    return values
