"""The log of a run, or its console: settings, warnings, steps."""
from __future__ import annotations

import re
from dataclasses import dataclass, field
from pathlib import Path

# The first and last lines of the report that precedes each tracking run.
_FIRST_SETTING = "start time"
_STEP = re.compile(r"ctstep= *(\S+) ---> ct= *(\S+)")
#: How the program's lines of trouble begin.
TROUBLE = ("error", "io error", "warning", "unknown global command", "npart.ge.maxprt", "nsam.gt.nsamax", "nf2-nf1+1.gt.nsamax",
            "undefined or invalid", "global constant", "increase ", "values in time_grid_file", "too many points", "file with ",
            "first column with", "array size", "NSTACK")


@dataclass
class RunLog:
    """What a log tells."""

    lines: list[str]
    settings: list[list[str]] = field(default_factory=list)  #: one list of lines per tracking run
    troubles: list[tuple[int, str]] = field(default_factory=list)  #: warnings and errors with their line number
    steps: int = 0
    duty_stops: int = 0
    integrated_errors: list[float] = field(default_factory=list)  #: at the end of each tracking run
    last_ct: float | None = None  #: c*t [m] of the last step


def read_log(path: Path) -> RunLog:
    """Reads a log file."""
    log = RunLog([line.rstrip() for line in path.read_text(errors="replace").splitlines()])
    inside = False
    for number, line in enumerate(log.lines, 1):
        text = line.strip()
        if text.startswith(_FIRST_SETTING):
            log.settings.append([])
            inside = True
        if inside and text:
            log.settings[-1].append(text)
        inside = inside and bool(text)
        if text.startswith(TROUBLE):
            log.troubles.append((number, text))
        _count(log, text)
    return log


def ct_of_step(line: str) -> float | None:
    """The time c*t [m] that a step leads to, from its line without the blanks around it; None for any other line."""
    found = _STEP.match(line)
    return _number(found[2]) if found else None


def _count(log: RunLog, text: str) -> None:
    if found := _STEP.match(text):
        log.steps += found[1] != "0.00000"
        log.last_ct = ct_of_step(text)
    elif text.startswith("--- duty"):
        log.duty_stops += 1
    elif text.startswith("integrated step error="):
        value = _number(text.split("=")[1])
        if value is not None:
            log.integrated_errors.append(value)


def _number(text: str) -> float | None:
    try:
        return float(text)
    except ValueError:
        return None
