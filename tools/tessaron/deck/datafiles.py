"""Reading the tables that a deck names, the way the program does, and saying what is wrong with them.

Every function returns the contents and a list of (line, text) of what would fail; an empty list is a good file.
"""
from __future__ import annotations

from pathlib import Path

from .keys import CAPACITY
from .reader import integer_of, real_of

Faults = list[tuple[int, str]]


def _records(path: Path) -> list[tuple[int, list[str]]]:
    """Line numbers and words of all lines that hold something."""
    lines = path.read_text(errors="replace").splitlines()
    return [(number, words) for number, line in enumerate(lines, 1) if (words := line.replace(",", " ").replace(";", " ").split())]


def read_time_grid(path: Path) -> tuple[list[float], Faults]:
    """`time_grid_file`: one value of c*t [m] per line, not decreasing."""
    values: list[float] = []
    for line, words in _records(path):
        value = real_of(words[0])
        if value is None:
            return values, [(line, f"{words[0]!r} is no number")]
        if values and value < values[-1]:
            return values, [(line, "values in time_grid_file not increasing")]
        values.append(value)
        if len(values) >= CAPACITY["matist"]:
            return values, [(line, f"more than {CAPACITY['matist'] - 1} values")]
    return values, [] if values else [(1, "the file is empty")]


def read_subbunch_table(path: Path, asked: tuple[bool, bool, bool]) -> tuple[list[list[float]], Faults]:
    """`sigma_file`: rows of c*t and the longitudinal, radial and vertical rms size [m].

    :param asked: which of the three sizes the deck takes from the file; the others may hold anything readable.
    """
    rows: list[list[float]] = []
    records = _records(path)
    for line, words in records:
        row = [real_of(word) for word in words[:4]]
        if rows and len(row) < 4 and None not in row and line == records[-1][0]:
            break  # cut by the end of the file
        if len(row) < 4 or None in row:
            return rows, [(line, "a row needs four numbers: c*t, longitudinal, radial and vertical rms size")]
        if rows and row[0] < rows[-1][0]:
            return rows, [(line, "first column with c*time is not increasing")]
        if any(wanted and size <= 0 for wanted, size in zip(asked, row[1:])):
            return rows, [(line, "a size that is taken from the file must be above 0")]
        rows.append(row)
        if len(rows) >= CAPACITY["matist"]:
            return rows, [(line, f"more than {CAPACITY['matist'] - 1} rows")]
    return rows, [] if rows else [(1, "the file is empty")]


def read_wake(path: Path) -> tuple[list[float], Faults]:
    """`wake_file`: comment lines with "!", then one number a line: rms length sigwak [m] of the bunch that the wake was
    computed for, step stpwak [m], first and last index, and the values in volts per metre per coulomb."""
    records = _records(path)
    while records and any("!" in word for word in records[0][1]):
        records.pop(0)
    last = records[-1][0] if records else 1
    items = [(line, words[0]) for line, words in records]

    def item(k: int, convert: type) -> tuple[int, float | None]:
        if k >= len(items):
            return last, None
        return items[k][0], (integer_of if convert is int else real_of)(items[k][1])

    line, sigma = item(0, float)
    if sigma is None or sigma <= 0:
        return [], [(line, "sigwak, the rms length, must be a number above 0")]
    line, step = item(1, float)
    if step is None or step <= 0:
        return [], [(line, "stpwak, the step, must be a number above 0")]
    line, first = item(2, int)
    if first is None or first * step > -3 * sigma:
        return [], [(line, "n1wak, the first index, must be an integer with n1wak * stpwak at or below -3 sigwak")]
    line, final = item(3, int)
    if final is None or final * step < 3 * sigma:
        return [], [(line, "n2wak, the last index, must be an integer with n2wak * stpwak at or above 3 sigwak")]
    count = int(final - first + 1)
    if count > CAPACITY["narcsr"]:
        return [], [(line, f"{count} values are more than the {CAPACITY['narcsr']} that the program holds")]
    values = []
    for k in range(count):
        line, value = item(4 + k, float)
        if value is None:
            return values, [(line, f"value {k + 1} of {count} is missing or no number")]
        values.append(value)
    return values, []
