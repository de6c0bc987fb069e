"""What a run left in its folder, and whether that is what its deck promised."""
from __future__ import annotations

from dataclasses import dataclass
from functools import cached_property
from pathlib import Path
from typing import Iterator

import numpy as np

from ..beam.bunch import Bunch
from ..check.state import CheckState, OnlineMonitor, OutputFile
from ..check.walk import walk_deck
from ..files import bunchfiles
from ..files.ending import CONSOLE, ERRORS, Ending, ending_of, read_ending
from ..files.runlog import RunLog, read_log
from ..lattice.geometry import Boundary
from ..words import counted
from .orbit import LATOUT, Orbit, on_orbit, orbit_beside
from .process import DECK

WITH_TIME = ("fmt1", "fmt2", "fmt3")  #: formats of bunches that tell their time


@dataclass(frozen=True)
class Verdict:
    """Whether a run did all that its deck promised."""

    completed: bool
    line: str  #: one line for a person
    details: tuple[str, ...]  #: what is missing, and the program's own last words


class RunFolder:
    """The working folder of a run. Files are read when they are asked for.

    :raises ValueError: there is no deck in it.
    """

    def __init__(self, folder: str | Path) -> None:
        self.folder = Path(folder)
        if not (self.folder / DECK).is_file():
            raise ValueError(f"no {DECK} in {self.folder}")

    @cached_property
    def state(self) -> CheckState:
        """What the deck says, as `check` reads it."""
        return walk_deck(self.folder / DECK)

    @cached_property
    def orbit(self) -> Orbit | None:
        """The design orbit, None if neither deck nor latout.dat tells it."""
        return orbit_beside(self.folder / DECK)

    @cached_property
    def log(self) -> RunLog | None:
        """The console if it was kept, else the log."""
        paths = [self.folder / CONSOLE] + ([self.state.output_path(self.state.logfile)] if self.state.logfile else [])
        return next((read_log(path) for path in paths if path.is_file()), None)

    def files(self, output: OutputFile) -> list[Path]:
        """The files of an output that are there, in their order."""
        if not output.series:
            path = self.state.output_path(output.name)
            return [path] if path.is_file() else []
        head, dot, tail = output.name.partition(".")
        path = self.state.output_path(f"{head}_[0-9][0-9][0-9][0-9]{dot}{tail}")
        return sorted(path.parent.glob(path.name))

    def bunch_files(self, most: int | None = None) -> list[tuple[Path, str]]:
        """Files of whole bunches that tell their time, with their format; of a long series `most`, evenly chosen."""
        found: dict[Path, str] = {}
        for output in self.state.outputs:
            if output.kind == "bunch" and output.fmt in WITH_TIME:
                paths = self.files(output)
                if most is not None and len(paths) > most:
                    paths = [paths[int(k)] for k in np.linspace(0, len(paths) - 1, most)]
                found.update((path, output.fmt) for path in paths)
        return list(found.items())

    def bunches(self, files: list[tuple[Path, str]]) -> Iterator[tuple[Path, Bunch | None, list[Boundary] | None, str]]:
        """Reads bunches one after the other: path, bunch, its orbit, and why it could not be read, if so."""
        for path, fmt in files:
            try:
                yield (path, *on_orbit(bunchfiles.read_bunch(path, fmt), self.orbit), "")
            except (OSError, ValueError) as error:
                yield path, None, None, str(error)

    @cached_property
    def ending(self) -> Ending | None:
        """How the program itself ended, None where it left neither console nor log."""
        if (self.folder / CONSOLE).is_file():
            return ending_of(self.folder)
        if self.log is None:
            return None
        errors = self.folder / ERRORS
        return read_ending("\n".join(self.log.lines), errors.read_text(errors="replace") if errors.is_file() else "")

    @cached_property
    def verdict(self) -> Verdict:
        """The judgement of the whole run."""
        return self.judge(self.ending)

    def judge(self, ending: Ending | None) -> Verdict:
        """The judgement where the program's own ending is known better than the folder tells."""
        missing = self._missing()
        faults = [f"the deck has errors: {finding}" for finding in self.state.findings if finding.severity == "error"]
        at = "" if self.log is None or self.log.last_ct is None else f" at c·t = {self.log.last_ct:.5g} m"
        if ending is not None and not ending.completed:
            return Verdict(False, ending.reason, (*ending.trace, *missing))
        if ending is None and not self._signs_of_life():
            return Verdict(False, "no sign of a run: neither console nor log nor any of its files", (*missing, *faults))
        if ending is None and faults:
            missing = [*missing, *faults]
        if missing:
            return Verdict(False, f"not complete{at}: {missing[0]}" + (f", and {len(missing) - 1} more" if missing[1:] else ""), tuple(missing))
        judged = "" if ending is not None else ", judged by its files alone: neither console nor log was kept"
        return Verdict(True, f"completed{at}{judged}", ())

    def _signs_of_life(self) -> bool:
        """Whether anything is there that only a run leaves."""
        return self.state.output_path(LATOUT).is_file() or any(self.files(output) for output in self.state.outputs)

    def _missing(self) -> list[str]:
        """What the deck promised and what is not there."""
        found = []
        trackers = len(self.log.integrated_errors) if self.log is not None else self.state.trackers
        if trackers < self.state.trackers:
            found.append(f"{trackers} of {counted(self.state.trackers, 'tracker')} reached the end")
        monitors = {monitor.name: monitor for monitor in self.state.monitors}
        for output in dict.fromkeys(self.state.outputs):
            if output.kind != "green":
                words = self._fault_of(output, monitors.get(output.name))
                found += [f"{output.name}: {words}"] if words else []
        return found

    def _fault_of(self, output: OutputFile, monitor: OnlineMonitor | None) -> str:
        """What is wrong with the files of an output; nothing if all is well or nothing can be said."""
        if monitor is not None and not monitor.outputs:
            return ""
        paths = self.files(output)
        if not paths:
            return "was never written"
        if paths[-1].stat().st_size == 0:
            return f"{paths[-1].name} is empty"
        latout = self.state.output_path(LATOUT)
        if latout.is_file() and paths[-1].stat().st_mtime < latout.stat().st_mtime - 2:
            return f"{paths[-1].name} is older than the run"
        last = _last_time(paths[-1], output)
        if monitor is None or last is None or monitor.end is None or self.state.beam is None:
            return ""
        step = monitor.values["time_step_c0"].number or 0.0
        due = min(monitor.end, self.state.beam.ct) - step - 1.01 * self.state.steps["ct_step_max"] - 1e-3 * abs(self.state.beam.ct)
        return f"ends at c·t = {last:.6g} m, but was due until {min(monitor.end, self.state.beam.ct):.6g} m" if last < due else ""


def _last_time(path: Path, output: OutputFile) -> float | None:
    """The bunch time of a file's last output, None where it tells none."""
    if output.kind == "bunch" and output.fmt not in WITH_TIME:
        return None
    with open(path, "rb") as file:
        if output.kind != "bunch":
            file.seek(max(0, path.stat().st_size - 4000))
        lines = file.read(4000).decode(errors="replace").splitlines()
    words = lines[0 if output.kind == "bunch" else -1].split() if lines else []
    try:
        return float(words[0])
    except (ValueError, IndexError):
        return None
