"""Scans: the same run with other numbers, point by point, on any `concurrent.futures.Executor`."""
from __future__ import annotations

import hashlib
import os
import re
from concurrent.futures import FIRST_COMPLETED, Executor, Future, ThreadPoolExecutor, wait
from itertools import product
from pathlib import Path
from typing import TYPE_CHECKING, Any, Callable, Iterable, Iterator, Mapping, Sequence

import numpy as np

from ..beam.bunch import Bunch
from ..run import quantities as known_quantities
from ..run.particles import Particles, Words
from ..run.process import RunFailed, find_program
from ..run.progress import points_bar
from ..run.result import Result
from ..run.run import Run
from .manifest import Manifest
from .point import compute, prepare

if TYPE_CHECKING:
    from matplotlib.figure import Figure

    from .table import Table

Point = dict[str, Any]
_AHEAD = 32  # points whose folders are made before a worker is free, so that large scans do not fill the disk at once


class Scan:
    """Runs at all combinations of the values of some axes.

        def make_run(charge, chirp):
            return Run(lattice, Bunch.gaussian(20000, charge_C=charge, chirp=chirp, energy_eV=5e9, length_m=2e-4), forces)

        scan = Scan(make_run, {"charge": [0.5e-9, 1e-9], "chirp": [30, 33, 36]}, "study").run()
        scan.table(); scan.plot("charge", "emittance")

    Every point gets a folder of its own below the scan's, with deck, results and `manifest.json`. Its name ends in a fingerprint
    of the deck and of all that the deck reads: what is there is never computed again, and a changed `make_run` makes new
    folders. A scan that was interrupted, or killed, goes on when it is run again.

    `make_run` is called in this process; workers get folders, so that they need this package and, on a cluster, the same file
    system, but nothing of the script or notebook.

    :param make_run: a function of the axes that returns a Run.
    :param axes: values by name; all combinations are run. Or a list of points, each a dict.
    :param folder: of the scan; it is made.
    :param quantities: a function of a Result that returns numbers by name, for the table, beside the usual ones
        (`tessaron.run.quantities`).
    :param program: the program; processes: of each run, as MPI job; threads: of each process; timeout: of each run [s].
    :raises ValueError: an axis without values, or values that are no list.
    """

    def __init__(self, make_run: Callable[..., Run], axes: Mapping[str, Iterable] | Sequence[Point], folder: str | Path = "scan", *,
                 quantities: Callable[[Result], Mapping[str, float]] | None = None, program: str | Path | None = None,
                 processes: int = 1, threads: int = 1, timeout: float | None = None) -> None:
        if not callable(make_run):
            raise ValueError(f"Scan: make_run must be a function that returns a Run, not {make_run!r}")
        self.make_run, self.folder = make_run, Path(folder)
        self.points = points_of(axes)
        self.program = None if program is None else str(program)
        self.processes, self.threads, self.timeout = processes, threads, timeout
        self._quantities = quantities
        self._names: dict[tuple, str] = {}  # folders of the points that were asked for
        self._failed: dict[tuple, Manifest] = {}  # points whose run could not even be made

    def run(self, executor: Executor | None = None, *, progress: bool | None = None, retry_failed: bool = False) -> "Scan":
        """Computes all points that are not there yet.

        A point that fails does not stop the others: `failed()` tells them with their traces.

        :param executor: where: local processes of the program unless given, as many as the cores allow with the threads of each;
            a Dask client's `get_executor()`, or an `mpi4py.futures.MPIPoolExecutor`.
        :param progress: a bar with the time left; None shows it on a terminal and in a notebook.
        :param retry_failed: also compute again what failed before. A run that was killed is always computed again.
        :return: the scan itself.
        """
        if executor is None:
            with ThreadPoolExecutor(self._places()) as local:  # each thread starts the program and waits for it
                try:
                    return self.run(local, progress=progress, retry_failed=retry_failed)
                except BaseException:
                    local.shutdown(wait=False, cancel_futures=True)
                    raise
        program = str(find_program(self.program, self.processes > 1))  # before anything is written
        with points_bar(len(self.points), self.folder.name, progress) as bar:
            under_way: set[Future] = set()
            for point in self.points:
                working = self._prepared(point, retry_failed)
                if working is None:
                    bar.update()
                    continue
                under_way.add(executor.submit(compute, str(working), str(self._folder_of(point)), point, program, self.processes,
                                              self.threads, self.timeout))
                if len(under_way) >= _AHEAD:
                    under_way = self._collected(under_way, bar, FIRST_COMPLETED)
            while under_way:
                under_way = self._collected(under_way, bar, FIRST_COMPLETED)
        self.table().save_csv(self.folder / "table.csv")
        return self

    def at(self, **point: Any) -> dict[str, float]:
        """The quantities at one point, which is computed if it is not there yet: what an optimiser calls.

        :raises RunFailed: its run did not complete.
        """
        working = self._prepared(point, False)
        if working is not None:
            compute(str(working), str(self._folder_of(point)), point, self.program, self.processes,
                    self.threads, self.timeout)
        manifest = self.manifest(**point)
        if not manifest.completed:
            raise RunFailed(self._folder_of(point) if _key(point) in self._names else self.folder, manifest.ending)
        return self._numbers(point, manifest)

    def manifest(self, **point: Any) -> Manifest:
        """What a finished point tells.

        :raises KeyError: it is not there yet.
        """
        key = _key(point)
        if key in self._failed:
            return self._failed[key]
        if key not in self._names:
            self._prepared(point, False, write=False)
        manifest = self._failed.get(key) or Manifest.load(self._folder_of(point))
        if manifest is None:
            raise KeyError(f"the point {point} is not computed yet; run() the scan")
        return manifest

    def result(self, **point: Any) -> Result:
        """The result of one finished point."""
        self.manifest(**point)
        return Result(self._folder_of(point))

    def failed(self) -> list[Manifest]:
        """The points that failed: `point`, `reason`, `trace`, `place`."""
        return [manifest for _, manifest in self._finished() if not manifest.completed]

    def table(self) -> "Table":
        """All finished points: axes, quantities, seconds, how they ended and where they are. A numpy record array."""
        from .table import table_of

        rows = [{**point, **self._numbers(point, manifest), "seconds": manifest.seconds, "status": manifest.reason,
                 "folder": self._names.get(_key(point), "")} for point, manifest in self._finished()]
        return table_of(rows, [*self.points[0], *known_quantities.UNITS] if self.points else [])

    def plot(self, x: str, *y: str, by: str | None = None) -> "Figure":
        """Quantities against an axis, with a curve for each value of the axis `by`; see `tessaron.study.table.plot`."""
        from .table import plot

        return plot(self.table(), x, y, by if by is not None else self._other_axis(x))

    def _other_axis(self, x: str) -> str | None:
        """The one other axis of several values, if there is just one."""
        others = [name for name in self.points[0] if name != x and len({str(point[name]) for point in self.points}) > 1]
        return others[0] if len(others) == 1 else None

    def _places(self) -> int:
        """How many runs share the cores."""
        return max(1, len(os.sched_getaffinity(0)) // (self.threads * self.processes))

    def _finished(self) -> Iterator[tuple[Point, Manifest]]:
        for point in self.points:
            try:
                yield point, self.manifest(**point)
            except KeyError:
                continue

    def _numbers(self, point: Point, manifest: Manifest) -> dict[str, float]:
        own = self._quantities(Result(self._folder_of(point))) if self._quantities and manifest.completed else {}
        return {**manifest.quantities, **own}

    def _folder_of(self, point: Point) -> Path:
        return self.folder / self._names[_key(point)]

    def _prepared(self, point: Point, retry_failed: bool, write: bool = True) -> Path | None:
        """A folder with the point's deck, or None if the point is finished or cannot be made."""
        key = _key(point)
        try:
            run = self.make_run(**point)
        except (ValueError, OSError, ArithmeticError) as error:
            self._failed[key] = Manifest(point, False, f"make_run: {error}")
            return None
        if not isinstance(run, Run):
            raise ValueError(f"Scan: make_run must return a Run, not {type(run).__name__}")
        self._names[key] = f"{_readable(point)}-{fingerprint(run)[:10]}"
        finished = self._folder_of(point)
        known = Manifest.load(finished)
        if known is not None and not known.completed and (retry_failed or _was_killed(known)) and write:
            finished.rename(_working_folder(finished))  # and computed again below
            known = None
        if known is not None or not write:
            return None
        working = _working_folder(finished)
        prepare(working, run)
        return working

    @staticmethod
    def _collected(under_way: set[Future], bar: Any, how: str) -> set[Future]:
        done, rest = wait(under_way, return_when=how)
        for future in done:
            manifest = future.result()
            if not manifest.completed:
                bar.write(f"{_readable(manifest.point)}: {manifest.ending}")
            bar.update()
        return rest


def points_of(axes: Mapping[str, Iterable] | Sequence[Point]) -> list[Point]:
    """All combinations, the last axis running first; a list of points is taken as it is."""
    if not isinstance(axes, Mapping):
        points = list(axes)
        if not all(isinstance(point, Mapping) and set(point) == set(points[0]) for point in points):
            raise ValueError("Scan: points must be dicts of the same names")
        return [dict(point) for point in points]
    values = {}
    for name, column in axes.items():
        if isinstance(column, str) or not isinstance(column, Iterable):
            raise ValueError(f"Scan: the axis {name!r} must be a list of values, not {column!r}")
        values[name] = [value.item() if isinstance(value, np.generic) else value for value in column]
        if not values[name]:
            raise ValueError(f"Scan: the axis {name!r} has no values")
    return [dict(zip(values, combination)) for combination in product(*values.values())]


def fingerprint(run: Run) -> str:
    """A number of the deck and of everything that it reads, in hexadecimal."""
    text, files = run.deck(), run.files()
    state = hashlib.sha256(text.encode())
    for name, source in files.items():
        array = source.array if isinstance(source, Particles) else source
        state.update(name.encode())
        if isinstance(array, Bunch):
            for part in (np.float64(array.ct), array.reference, array.offsets, array.charge):
                state.update(np.ascontiguousarray(part).tobytes())
        else:
            state.update(array.text.encode() if isinstance(array, Words) else Path(array).read_bytes())
    return state.hexdigest()


def _working_folder(finished: Path) -> Path:
    return finished.with_name(f".{finished.name}")


def _readable(point: Point) -> str:
    words = [f"{name}_{value:.6g}" if isinstance(value, float) else f"{name}_{value}" for name, value in point.items()]
    return re.sub(r"[^\w.+=-]+", "_", "-".join(words))[:80].lstrip(".") or "point"


def _was_killed(manifest: Manifest) -> bool:
    return manifest.reason.startswith(("killed", "ended after", "ended by", "ended on the way"))


def _key(point: Point) -> tuple:
    return tuple(sorted((name, repr(value.item() if isinstance(value, np.generic) else value)) for name, value in point.items()))
