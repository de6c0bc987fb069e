"""Going on with an interrupted run.

The bunch is the last one that a monitor wrote whole, in fmt1 or fmt2. The magnets stay set for the reference momentum of the
first run, whatever energy the reference particle has lost since. The rest of the deck follows: the settings that stood when the
bunch was written, monitors at the times that they had, and the tracking run that was under way with the end time that the program
had told, as it was found with the energy of its start.

The new part runs in a folder `resumed_01` (and so on) below the first one; nothing there is touched. `Result` of the first folder
holds all parts.
"""
from __future__ import annotations

import re
from dataclasses import replace
from math import floor
from pathlib import Path

import numpy as np

from ..beam.bunch import Bunch
from ..files.bunchfiles import numbers_of, tokens_of
from ..files.ending import CONSOLE
from .particles import Particles, Words
from .process import RunFailed, run_program
from .progress import Bar
from .reading import Command
from .result import BunchFile, Result
from .run import Run
from .settings import Forces, IoPath, Monitor, OnlineMonitor, Steps, Tracker

_END = re.compile(r"^ *tracking to end_time =(.*)$", re.MULTILINE)
_CONTINUABLE = ("fmt1", "fmt2")
_KEPT = ("relative_long", "relative_vert", "par1", "par2", "par3", "par4", "par5")


def resume(folder: str | Path, *, processes: int = 1, threads: int | None = None, program: str | Path | None = None,
           progress: bool | None = None, timeout: float | None = None) -> Result:
    """Goes on with the run in a folder from its last whole bunch; a run that completed is left as it is.

    Where the steps fall alike, with a time grid for example, the result is that of an uninterrupted run to 1e-9.

    :param folder: of the first run; the other arguments as in `Run.start`.
    :return: the result of all parts.
    :raises ValueError: no monitor wrote a whole bunch in fmt1 or fmt2 before the run ended.
    :raises RunFailed: the new part did not complete either.
    """
    result = Result(folder)
    if result.ending.completed:
        return result
    part, file = _last_bunch(result)
    run = continued(Result(part), file)
    target = result.folder / f"resumed_{len(result.parts):02d}"
    run.write(target)
    with Bar(result.folder.name, progress) as bar:
        ending = run_program(target, program=program, processes=processes, threads=threads, follow=bar.show, timeout=timeout)
    if not ending.completed:
        raise RunFailed(target, ending)
    return Result(folder)


def continued(result: Result, file: BunchFile) -> Run:
    """The run that goes on with one part of a run, from a bunch that it wrote.

    :raises ValueError: the run holds several `particles` blocks, so that times do not tell where it stood.
    """
    run = result.run
    if len(run.of_kind(Particles)) != 1:
        raise ValueError(f"the run in {result.folder} reads several bunches; one can go on with runs of a single one only")
    standing, rest = _split(run, _end_times(result.folder), file.ct)
    monitors = [_from_now(command, result, file.ct) for command in standing if isinstance(command, OnlineMonitor)]
    settings = [command for command in standing if not isinstance(command, (OnlineMonitor, Particles))]
    after_bunch = [command for command in settings if isinstance(command, (Forces, Steps))]
    ahead = [command for command in settings if command not in after_bunch]
    return Run.from_commands([*ahead, _particles(run.particles, file), *after_bunch, *monitors, *rest])


def _last_bunch(result: Result) -> tuple[Path, BunchFile]:
    """The part that wrote the last whole bunch that can be read back, and that bunch."""
    for part in reversed(result.parts):
        files = [file for file in part_result(part).bunches.files if file.format in _CONTINUABLE]
        if files:
            return part, files[-1]
    raise ValueError(f"no monitor wrote a whole bunch in fmt1 or fmt2 in {result.folder}; start the run again")


def part_result(part: Path) -> Result:
    """One part alone."""
    result = Result(part)
    result.parts = [part]
    return result


def _end_times(part: Path) -> list[float]:
    """The end times of the tracking runs that began, as the program told them [m]."""
    return [float(found) for found in _END.findall((part / CONSOLE).read_text(errors="replace"))]


def _split(run: Run, ends: list[float], ct: float) -> tuple[list[Command], list[Command]]:
    """The settings and monitors in force at a bunch time, and the commands that are still to be carried out."""
    standing: list[Command] = []
    for k, command in enumerate(run.commands):
        if isinstance(command, Tracker):
            end = ends.pop(0) if ends else None
            if end is None:
                return standing, list(run.commands[k:])
            if end > ct:
                return standing, [Tracker(end_time_c0=end), *run.commands[k + 1:]]
            if end == ct:
                return standing, list(run.commands[k + 1:])
        elif not isinstance(command, Monitor):
            standing = _standing(standing, command)
    return standing, []


def _standing(before: list[Command], new: Command) -> list[Command]:
    """The settings in force behind one more command."""
    def replaced(old: Command) -> bool:
        return type(old) is type(new) and (not isinstance(new, OnlineMonitor) or old.name == new.name)

    for old in filter(replaced, before):
        if isinstance(new, Forces):  # what a block does not give stays
            new = replace(new, **{key: getattr(old, key) for key in _KEPT if getattr(new, key) is None})
        if isinstance(new, IoPath):
            new = IoPath(output=new.output or old.output, logfile=new.logfile or old.logfile)
    return [*(old for old in before if not replaced(old)), new]


def _from_now(monitor: OnlineMonitor, result: Result, ct: float) -> OnlineMonitor:
    """A monitor with its times as numbers, whose next output is the first one behind the bunch time [m]."""
    def time(which: str) -> float:
        given = getattr(monitor, f"{which}_time_c0")
        if given == "now":
            return result.run.bunch.ct
        if given is not None:
            return given
        return result.time_of(getattr(monitor, f"{which}_time_marker")) + (getattr(monitor, f"{which}_time_shift_c0") or 0.0)

    start, step = time("start"), monitor.time_step_c0
    if start <= ct:
        start = ct if step in ("all", 0, None) else start + step * (floor((ct - start) / step) + 1)
    return replace(monitor, start_time_c0=start, start_time_marker=None, start_time_shift_c0=None,
                   end_time_c0=time("end"), end_time_marker=None, end_time_shift_c0=None)


def _particles(first: Particles, file: BunchFile) -> Particles:
    """The bunch of a file, with the magnets as they were set first, and the same particles as sources."""
    array: object = file.path
    if first.format == "umbra":
        bunch = file.load()
        bunch.charge[~_sources(first)] = 0.0
        array = bunch
    return replace(first, array=array, format=file.format, reference_momentum=first.momentum_of_magnets())


def _sources(particles: Particles) -> np.ndarray:
    """Which particles of an umbra array make a force: those of status 3 or 5."""
    text = particles.array.text if isinstance(particles.array, Words) else None
    if isinstance(particles.array, Bunch):
        return particles.array.charge != 0
    words = tokens_of(text if text is not None else Path(particles.array).read_text())
    return np.isin(numbers_of(words[9::10]), (3, 5))
