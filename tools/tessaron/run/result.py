"""What a run left in its folder."""
from __future__ import annotations

from bisect import bisect_left
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path
from typing import TYPE_CHECKING, Iterator, Sequence, overload

import numpy as np

from ..beam.analyse import Summary, summary
from ..beam.bunch import Bunch
from ..files import outputs
from ..files.bunchfiles import read_bunch, tokens_of
from ..files.ending import CONSOLE, Ending, ending_of
from ..files.runlog import RunLog, read_log
from ..lattice.geometry import orbit_position
from .orbit import Orbit, on_orbit, orbit_beside
from .process import DECK
from .settings import IoPath, Monitor, OnlineMonitor

if TYPE_CHECKING:
    from ..study.budget import EnergyBudget
    from .run import Run

PARTS = "resumed_*"  #: folders of the runs that went on with an interrupted one
_COLUMNS = {"fmt1": 7, "fmt2": 7, "fmt3": 12}


@dataclass(frozen=True)
class BunchFile:
    """A bunch that a monitor wrote."""

    path: Path
    format: str  #: fmt1, fmt2 or fmt3
    ct: float  #: bunch time [m]

    def load(self) -> Bunch:
        """The bunch. One of fmt3 lies along its reference path made straight."""
        return read_bunch(self.path, self.format)


class Bunches(Sequence[Bunch]):
    """Bunches in the order of time, each read when it is asked for."""

    def __init__(self, files: list[BunchFile]) -> None:
        self.files = files  #: the same as files

    @property
    def ct(self) -> np.ndarray:
        """Their bunch times [m]."""
        return np.array([file.ct for file in self.files])

    def __len__(self) -> int:
        return len(self.files)

    @overload
    def __getitem__(self, k: int) -> Bunch: ...
    @overload
    def __getitem__(self, k: slice) -> "Bunches": ...
    def __getitem__(self, k):  # noqa: E301
        return Bunches(self.files[k]) if isinstance(k, slice) else self.files[k].load()


class Result:
    """A run's results, read from its folder when they are asked for. Parts that went on with it (`Run.resume`) belong to it.

    :param folder: working folder of a run, also of one that Python did not start.
    :raises FileNotFoundError: there is no deck in it.
    """

    def __init__(self, folder: str | Path) -> None:
        self.folder = Path(folder)
        if not (self.folder / DECK).is_file():
            raise FileNotFoundError(f"there is no run in {self.folder}: no {DECK}")
        self.parts = [self.folder, *sorted(path for path in self.folder.glob(PARTS) if (path / DECK).is_file())]

    @cached_property
    def run(self) -> "Run":
        """The run, from its deck."""
        from .run import Run

        return Run.from_deck(self.folder)

    @property
    def ending(self) -> Ending:
        """How the last part ended."""
        return ending_of(self.parts[-1])

    @cached_property
    def log(self) -> RunLog:
        """The console of the last part: settings, warnings, numbers of steps."""
        return read_log(self.parts[-1] / CONSOLE)

    @cached_property
    def bunches(self) -> Bunches:
        """All whole bunches that monitors wrote, one for each time, in the order of time."""
        files: list[BunchFile] = []
        for part in self.parts:
            reached = files[-1].ct if files else float("-inf")
            files += [file for file in _bunch_files(part, _commands(part)) if file.ct > reached]
        return Bunches(files)

    @property
    def start(self) -> Bunch:
        """The first bunch."""
        return self._bunch(0)

    @property
    def end(self) -> Bunch:
        """The last bunch."""
        return self._bunch(-1)

    def _bunch(self, k: int) -> Bunch:
        if not self.bunches:
            raise ValueError(f"no monitor wrote a whole bunch in {self.folder}")
        return self.bunches[k]

    def bunch(self, *, ct: float | None = None, marker: str | None = None, within: float = 0.1) -> Bunch:
        """The bunch nearest to a bunch time [m], or to the time at which the reference particle is at a marker.

        :param within: how far away it may be [m].
        :raises ValueError: none is so near; the message tells what times there are.
        """
        if (ct is None) == (marker is None):
            raise ValueError("Result.bunch needs either ct or marker")
        time = ct if ct is not None else self.time_of(marker)
        times = self.bunches.ct
        if not times.size or abs(times - time).min() > within:
            near = ", ".join(f"{other:.4f}" for other in times[max(0, bisect_left(times, time) - 3):][:6]) or "none at all"
            raise ValueError(f"no bunch within {within:g} m of c*t = {time:.4f} m; there are {near}. "
                             f"Monitors().at({marker or 'marker'!r}) asks for one")
        return self.bunches[int(abs(times - time).argmin())]

    def time_of(self, marker: str) -> float:
        """The bunch time at which the reference particle is at a marker [m], by its speed at the start."""
        start = self.run.bunch
        boundaries = self.run.lattice.boundaries()
        s, _, _ = orbit_position(boundaries, start.reference[0], start.reference[1])
        return start.ct + (self.run.lattice.s_of(marker) - s) * float(start.energy[0] / start.momentum[0])

    @cached_property
    def steps(self) -> outputs.Steps:
        """The table of the first `steps` monitor, over all parts.

        :raises ValueError: the run had none.
        """
        tables = []
        for part in self.parts:
            names = [monitor.name for monitor in _commands(part).of_kind(OnlineMonitor) if monitor.type == "steps"]
            paths = [path for name in names if (path := _output(part) / name).is_file()]
            tables += [outputs.read_steps(path) for path in paths[:1]]
        if not tables:
            raise ValueError(f"the run in {self.folder} had no monitor of type steps")
        table = tables[0]
        for later in tables[1:]:
            kept = table.ct < later.ct[0]
            table = outputs.Steps(np.r_[table.ct[kept], later.ct], np.r_[table.error[kept], later.error],
                                  np.r_[table.duty[kept], later.duty], np.c_[table.calls[:, kept], later.calls])
        return table

    def energy_budget(self) -> "EnergyBudget":
        """Where the energy went: by element and drift, between the bunches that monitors wrote. `Tracker.through(markers)` puts
        one at every marked boundary; between two of them the energies are interpolated.

        :raises ValueError: less than two bunches.
        """
        from ..study.budget import budget_of

        return budget_of(self)

    def summaries(self) -> list[Summary]:
        """The numbers of every bunch, about the design orbit, in the order of time."""
        return [self.summary_of(bunch) for bunch in self.bunches]

    @cached_property
    def orbit(self) -> Orbit | None:
        """The design orbit, and the frame in which the run's bunch files stand."""
        return orbit_beside(self.folder / DECK)

    def summary_of(self, bunch: Bunch) -> Summary:
        """The numbers of one of the run's bunches, about the design orbit if it is on it."""
        moved, orbit = on_orbit(bunch, self.orbit)
        return summary(moved, orbit=orbit)

    @cached_property
    def quantities(self) -> dict[str, float]:
        """What became of the bunch: see `tessaron.run.quantities`."""
        from .quantities import quantities_of

        return quantities_of(self)

    def _repr_html_(self) -> str:
        from ..report.show import result_html

        return result_html(self)

    def __repr__(self) -> str:
        return f"Result({str(self.folder)!r}): {self.ending.reason}"


def _commands(part: Path) -> "Run":
    from .run import Run

    return Run.from_deck(part)


def _output(part: Path) -> Path:
    """Where the files of a part are: the output folder of its last `io_path` block that names one."""
    named = [block.output for block in _commands(part).of_kind(IoPath) if block.output]
    return part / named[-1] if named else part


def _bunch_files(part: Path, run: "Run") -> list[BunchFile]:
    """The whole bunch files of one part in the order of time, one for each time."""
    count = _particles_in(part)
    found: dict[float, BunchFile] = {}
    for path, fmt in _candidates(part, run):
        if fmt in _COLUMNS and (ct := time_of_whole_file(path, fmt, count)) is not None:
            known = found.get(ct)
            if known is None or known.format == "fmt3":
                found[ct] = BunchFile(path, fmt, ct)
    return sorted(found.values(), key=lambda file: file.ct)


def _candidates(part: Path, run: "Run") -> Iterator[tuple[Path, str]]:
    folder = part
    for command in run.commands:
        if isinstance(command, IoPath) and command.output:
            folder = part / command.output
        if isinstance(command, Monitor) and (folder / command.name).is_file():
            yield folder / command.name, command.format
        if isinstance(command, OnlineMonitor) and command.type == "phase" and command.is_series:
            stem, dot, suffix = command.name.partition(".")
            fmt = command.format if isinstance(command.format, str) else f"fmt{command.format}"
            for path in sorted(folder.glob(f"{stem}_[0-9][0-9][0-9][0-9]{dot}{suffix}")):
                yield path, fmt


def _particles_in(part: Path) -> int | None:
    """The number of particles that the console tells; None without one."""
    console = part / CONSOLE
    lines = console.read_text(errors="replace").splitlines() if console.is_file() else []
    counts = [line.rsplit("=", 1)[1] for line in lines if line.startswith(" end of particles definition, npart =")]
    return int(counts[-1]) if counts else None


def time_of_whole_file(path: Path, fmt: str, particles: int | None = None) -> float | None:
    """The bunch time c*t [m] of a bunch file; None for one that its writer never finished.

    :param particles: how many it has to hold; None takes any number of whole lines.
    """
    data = path.read_bytes()
    lines = data.count(b"\n")
    first, last = data[:data.find(b"\n") + 1], data[data.rfind(b"\n", 0, max(len(data) - 1, 0)) + 1:]
    if not data.endswith(b"\n") or lines < 2 or particles is not None and lines != particles + 1:
        return None
    if len(last.split()) != _COLUMNS[fmt]:
        return None
    return float(tokens_of(first.decode())[0])
