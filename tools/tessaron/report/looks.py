"""What a report keeps of every bunch of a run: each file is read once, and dropped again."""
from __future__ import annotations

import os
from concurrent.futures import ProcessPoolExecutor
from dataclasses import dataclass
from functools import partial
from pathlib import Path
from typing import Callable, Iterator

import numpy as np

from ..beam.analyse import Summary, summary
from ..beam.budget import Station
from ..beam.bunch import Bunch
from ..beam.orbit import coordinates, locate
from ..beam.slices import Slices, slices_of
from ..files.bunchfiles import read_bunch
from ..lattice.geometry import Boundary
from ..run.folder import RunFolder
from ..run.orbit import Orbit, on_orbit

MUCH = 30e6  # bytes of bunch files that are worth several processes
Told = Callable[[str, int, int], None]  #: is told what is done, how much of it, of how much


@dataclass
class Look:
    """One bunch of a run."""

    name: str
    summary: Summary
    slices: Slices  #: of equal charge
    station: Station
    bunch: Bunch | None = None  #: kept of the first and the last one alone
    orbit: list[Boundary] | None = None

    @property
    def title(self) -> str:
        """Name, time and place."""
        place = "" if self.summary.place is None else f", s = {self.summary.place:.6g} m"
        return f"{self.name}, c·t = {self.summary.ct:.6g} m{place}"


def look_at(run: RunFolder, most: int, slices: int, told: Told, about_orbit: bool = True) -> tuple[list[Look], list[list[str]]]:
    """Looks at the input bunch and at up to `most` of those that each monitor wrote, in the order of time.

    :return: the looks, of which the first and the last keep their particles, and names and reasons of files that could not
        be read.
    """
    looks: list[Look] = []
    failed: list[list[str]] = []
    files = run.bunch_files(most)
    if run.state.beam is not None:
        looks.append(_look("input", *on_orbit(run.state.beam.bunch, run.orbit), slices, about_orbit))
    for done, (path, look, fault) in enumerate(_looks(run, files, slices, about_orbit)):
        told(f"reading {path.name}", done, len(files))
        if look is None:
            failed.append([path.name, fault])
        else:
            looks.append(look)
    looks = _one_of_each_time(looks)
    for look in looks[:1] + looks[-1:]:
        for path, fmt in files if look.bunch is None else []:
            if path.name == look.name:
                look.bunch, orbit = on_orbit(read_bunch(path, fmt), run.orbit)
                look.orbit = orbit if about_orbit else None
    return looks, failed


def _looks(run: RunFolder, files: list[tuple[Path, str]], slices: int, about_orbit: bool) -> Iterator[tuple[Path, Look | None, str]]:
    """Reads files, in several processes where there is much to read."""
    work = partial(_read, orbit=run.orbit, slices=slices, about_orbit=about_orbit)
    processes = min(len(files), len(os.sched_getaffinity(0)), 8)
    if processes > 1 and sum(path.stat().st_size for path, _ in files) > MUCH:
        with ProcessPoolExecutor(processes) as pool:
            yield from pool.map(work, files)
    else:
        yield from map(work, files)


def _read(file: tuple[Path, str], orbit: Orbit | None, slices: int, about_orbit: bool) -> tuple[Path, Look | None, str]:
    path, fmt = file
    try:
        look = _look(path.name, *on_orbit(read_bunch(path, fmt), orbit), slices, about_orbit)
    except (OSError, ValueError) as error:
        return path, None, str(error)
    look.bunch = None
    return path, look, ""


def _one_of_each_time(looks: list[Look]) -> list[Look]:
    """In the order of time, of several at one time the one that knows its place; the others get theirs from the time."""
    kept: list[Look] = []
    for look in sorted(looks, key=_order):
        if not kept or look.summary.ct > kept[-1].summary.ct + 1e-9:
            kept.append(look)
    known = [look for look in kept if look.summary.place is not None]
    for look in kept if known else []:
        if look.summary.place is None:
            near = min(known, key=lambda other: abs(other.summary.ct - look.summary.ct)).summary
            look.summary.place = look.station.place = near.place + look.summary.ct - near.ct
    return kept


def _order(look: Look) -> tuple[float, bool]:
    return look.summary.ct, look.summary.place is None


def _look(name: str, bunch: Bunch, orbit: list[Boundary] | None, slices: int, about_orbit: bool) -> Look:
    local = coordinates(bunch, orbit if about_orbit else None)
    if orbit and not about_orbit:
        local.place = locate(bunch, orbit)[1]
    numbers = summary(bunch, slices, orbit if about_orbit else None, local)
    if not about_orbit:
        numbers.frame = "straight"
    table = slices_of(local, float(np.abs(bunch.charge).sum()), 20, 5, "charge")
    return Look(name, numbers, table, Station(numbers, local.energy, local.weight, numbers.place), bunch, orbit if about_orbit else None)
