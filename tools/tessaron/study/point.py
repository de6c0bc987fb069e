"""One point of a scan: what a worker does, wherever it is.

A point is computed in a folder with a name of its own, `.NAME.XXXX`, which gets its real name when all is done: a folder with
its real name is a finished point. The worker, and the program that it starts, hold a lock on it. Whoever finds such a folder
later can thus tell whether somebody still works there; when the lock is free, a run that completed is taken as it is, although
nobody was left to look at it, and any other one is started again.
"""
from __future__ import annotations

import fcntl
import os
import shutil
import time
from contextlib import contextmanager
from dataclasses import replace
from pathlib import Path
from typing import Any, Iterator

from ..files.ending import CONSOLE, ending_of
from .manifest import Manifest
from .process import run_program
from .result import Result

LOCK = "lock"


def compute(working: str, finished: str, point: dict[str, Any], program: str | None, processes: int, threads: int | None,
            timeout: float | None) -> Manifest:
    """Runs the deck of a working folder, takes the quantities and gives the folder its real name.

    Everything that fails is told in the manifest; nothing is raised but what the machine itself refuses (a full disk).
    """
    folder, goal = Path(working), Path(finished)
    began = time.monotonic()
    with _locked(folder) as handle:
        ending = ending_of(folder) if (folder / CONSOLE).is_file() else None
        if ending is None or not ending.completed:
            ending = run_program(folder, program=program, processes=processes, threads=threads, timeout=timeout,
                                 keep_open=(handle,))
        manifest = Manifest(point, ending.completed, ending.reason, list(ending.trace),
                            list(ending.place) if ending.place else None, seconds=time.monotonic() - began)
        if ending.completed:
            manifest = _with_quantities(manifest, folder, began)
        manifest.save(folder)
        (folder / LOCK).unlink()
        return _settled(folder, goal, manifest)


def _with_quantities(manifest: Manifest, folder: Path, began: float) -> Manifest:
    try:
        quantities = Result(folder).quantities
    except (ValueError, OSError) as error:
        return replace(manifest, completed=False, reason=f"the run completed, but its bunches tell no numbers: {error}")
    return replace(manifest, quantities=quantities, seconds=time.monotonic() - began)


def _settled(folder: Path, goal: Path, manifest: Manifest) -> Manifest:
    try:
        os.rename(folder, goal)
    except OSError:
        known = Manifest.load(goal)
        if known is None:
            raise
        if known.completed or not manifest.completed:  # somebody else was faster
            shutil.rmtree(folder)
            return known
        shutil.rmtree(goal)
        os.rename(folder, goal)
    return manifest


@contextmanager
def _locked(folder: Path) -> Iterator[int]:
    """Waits until nobody else works in the folder."""
    handle = os.open(folder / LOCK, os.O_RDWR | os.O_CREAT, 0o666)
    try:
        fcntl.flock(handle, fcntl.LOCK_EX)
        yield handle
    finally:
        os.close(handle)
