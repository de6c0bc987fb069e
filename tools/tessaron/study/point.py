"""One point of a scan: what a worker does, wherever it is.

A point is computed in the folder `.NAME`, which gets its real name when all is done: a folder with its real name is a finished
point. Whoever writes its deck, the worker, and the program that it starts hold a lock on it. Whoever finds such a folder later can
thus tell whether somebody still works there; when the lock is free, a run that completed is taken as it is, although nobody was
left to look at it, and any other one is started again.
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
from ..run.process import DECK, run_program
from ..run.result import Result
from ..run.run import Run
from .manifest import Manifest

LOCK = "lock"


def compute(working: str, finished: str, point: dict[str, Any], program: str | None, processes: int, threads: int | None,
            timeout: float | None) -> Manifest:
    """Runs the deck of a working folder, takes the quantities and gives the folder its real name.

    Everything that fails is told in the manifest; nothing is raised but what the machine itself refuses (a full disk).
    """
    folder, goal = Path(working), Path(finished)
    began = time.monotonic()
    with locked(folder) as handle:
        if (known := Manifest.load(goal)) is not None:  # somebody else was faster
            shutil.rmtree(folder, ignore_errors=True)
            return known
        if handle is None or not (folder / DECK).is_file():
            return Manifest(point, False, "killed while its deck was being written")
        ending = ending_of(folder) if (folder / CONSOLE).is_file() else None
        if ending is None or not ending.completed:
            ending = run_program(folder, program=program, processes=processes, threads=threads, timeout=timeout,
                                 keep_open=(handle,))
        manifest = Manifest(point, ending.completed, ending.reason, list(ending.trace),
                            list(ending.place) if ending.place else None, seconds=time.monotonic() - began)
        if ending.completed:
            manifest = _with_quantities(manifest, folder, began)
        manifest.save(folder)
        os.rename(folder, goal)
        (goal / LOCK).unlink()  # only now: who waits for it must find that the folder is gone
        return manifest


def prepare(folder: Path, run: Run) -> None:
    """Writes a run into a working folder, unless it is there or somebody works on it."""
    folder.mkdir(parents=True, exist_ok=True)
    with locked(folder, wait=False) as handle:
        if handle is not None and not (folder / DECK).is_file():
            run.write(folder)


def _with_quantities(manifest: Manifest, folder: Path, began: float) -> Manifest:
    try:
        quantities = Result(folder).quantities
    except (ValueError, OSError) as error:
        return replace(manifest, completed=False, reason=f"the run completed, but its bunches tell no numbers: {error}")
    return replace(manifest, quantities=quantities, seconds=time.monotonic() - began)


@contextmanager
def locked(folder: Path, wait: bool = True) -> Iterator[int | None]:
    """Holds the lock of a working folder, once nobody else does. None where the folder is gone, or without `wait` is in use."""
    try:
        handle = os.open(folder / LOCK, os.O_RDWR | os.O_CREAT, 0o666)
    except FileNotFoundError:
        yield None
        return
    try:
        try:
            fcntl.flock(handle, fcntl.LOCK_EX | (0 if wait else fcntl.LOCK_NB))
        except BlockingIOError:
            yield None
        else:
            yield handle
    finally:
        os.close(handle)
