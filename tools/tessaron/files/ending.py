"""How a run ended, told from what it left: the console (or the log, which holds the same lines) and standard error.

The exit status of the program is 0 for every end of its own, so these lines are the only witnesses. A run is complete if

- the last thing on the console is the banner, with no line of trouble right ahead of it or behind it,
- standard error names no place where the program stopped, or was ended by a signal, and no file that is missing or lacks lines,
- no force evaluation failed and no tracking run gave up on the way: the program goes on then, but with forces and at times
  that nobody asked for.
"""
from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

from ..deck.reader import Place
from .runlog import TROUBLE, ct_of_step

CONSOLE, ERRORS = "console.txt", "errors.txt"  #: what a started run keeps beside its deck

_STOPPED = re.compile(r"tessaron: (stopped|ended by SIG[A-Z]+) at (.*?)(?::(\d+))? \((.*?)\)(.*)")
_LACKING = re.compile(r"tessaron: (monitor file .* failed: .*|\d+ lines? of .* could not be written: .*|.*: nothing was done)")
_FORCE_FAILED = re.compile(r"error in (force\d|forcei|frcims|frcsub)\b")
_GAVE_UP = "step is too small to change the time: tracking ends"
_RULE = "-" * 54
_MOST_LINES = 12


@dataclass(frozen=True)
class Ending:
    """How a run ended."""

    completed: bool
    reason: str  #: one line for a person; "completed" if it was
    trace: tuple[str, ...] = ()  #: the program's own lines about it, from the inside out
    place: Place | None = None  #: file and line where reading of the deck stood
    ct: float | None = None  #: bunch time c*t [m] of the last step, None before the first one

    def __str__(self) -> str:
        return "\n".join([self.reason, *("  " + line for line in self.trace)])


def ending_of(folder: str | Path, exit_status: int | None = None) -> Ending:
    """How the run in a folder ended, by its `console.txt` and, where that was kept, its `errors.txt`.

    :param exit_status: as `subprocess` tells it, below 0 for a signal; None where nobody knows.
    """
    folder = Path(folder)
    texts = [path.read_text(errors="replace") if path.is_file() else "" for path in (folder / CONSOLE, folder / ERRORS)]
    return read_ending(*texts, exit_status)


def read_ending(console: str, errors: str = "", exit_status: int | None = None) -> Ending:
    """How a run ended, by the text of its console or log and that of its standard error."""
    lines = [line.strip() for line in console.splitlines() if line.strip()]
    ct = _last_time(lines)
    whole, trace = _tail(lines)

    def failed(reason: str, lines: tuple[str, ...] = trace, place: Place | None = None, where: str = "at") -> Ending:
        return Ending(False, reason + (f", {where} c*t = {ct:.5f} m" if ct is not None else ""), lines, place, ct)

    if stopped := _STOPPED.search(errors):
        how, file, line, doing, more = stopped.groups()
        if how != "stopped":
            more, whole = "", True  # the time is told anyway, and there is no trouble to trace
        return failed(f"{how} at {file}{':' + line if line else ''} ({doing}){more}",
                      trace or (() if whole else tuple(lines[-3:])), Place(file, int(line or 0)))
    if exit_status is not None and exit_status != 0:
        how = f"killed by signal {-exit_status}" if exit_status < 0 else f"ended with exit status {exit_status}"
        return failed(how, trace + tuple(errors.strip().splitlines()[-_MOST_LINES:]))
    if not lines:
        return failed("the program never wrote a line")
    if not whole or trace:
        return failed("stopped" if trace else "ended on the way, without its closing lines", trace or tuple(lines[-3:]))
    if broken := _LACKING.search(errors):
        return failed(broken[1])
    if evaluations := [k for k, line in enumerate(lines) if _FORCE_FAILED.match(line)]:
        ct = _last_time(lines[:evaluations[0]])
        count = sum(line == "error in forcei" for line in lines) or len(evaluations)
        return failed(f"{count} force evaluations failed, so that the results are not to be used",
                      _around(lines, evaluations[0]), where="the first behind")
    if _GAVE_UP in lines:
        return failed("a tracking run ended ahead of its end time", (_GAVE_UP,))
    return Ending(True, "completed", ct=ct)


def _tail(lines: list[str]) -> tuple[bool, tuple[str, ...]]:
    """Whether the closing banner ends the text, and the lines of trouble right ahead of it, or at the end without it."""
    rules = [k for k, line in enumerate(lines) if line == _RULE]
    whole = len(rules) >= 2 and rules[-1] == len(lines) - 1 and rules[-2] > 0  # the one at the start of a console closes nothing
    return whole, _last_troubles(lines[:rules[-2]] if whole else lines)


def _last_troubles(lines: list[str]) -> tuple[str, ...]:
    start = len(lines)
    while start > 0 and _is_trouble(lines[start - 1]):
        start -= 1
    return tuple(lines[start:][-_MOST_LINES:])


def _around(lines: list[str], k: int) -> tuple[str, ...]:
    """The lines of trouble about line k, up to the end of the first failed evaluation."""
    start, end = k, k + 1
    while start > 0 and _is_trouble(lines[start - 1]):
        start -= 1
    while end < len(lines) and lines[end] != lines[start] and _is_trouble(lines[end]):
        end += 1
    return tuple(lines[start:end])


def _last_time(lines: list[str]) -> float | None:
    return next((time for line in reversed(lines) if (time := ct_of_step(line)) is not None), None)


def _is_trouble(line: str) -> bool:
    return line.startswith(TROUBLE) and not line.startswith("warning")
