"""The settings of a run, as objects: their fields are the keys of the deck's blocks, with the program's own defaults."""
from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path
from typing import ClassVar, Iterable

from ..deck import keys
from .block import Block


@dataclass(frozen=True)
class Forces(Block):
    """The bunch's force on itself: a `forces` block. docs/models.md tells what each model assumes and when to choose it.

    :param type: none, projected, csr_p_to_p, csr_p_to_m, csr_g_to_p or csr_g_to_m.
    :param sigma_long: rms length of a sub-bunch [m]; "relative" to the rms length of the bunch; or "file".
    :param relative_long: that factor, up to 2.
    :param test: write diagnostic files.
    :param shape: sphere or ellipsoid; csr models.
    :param sigma_rad: rms size across [m], or "file"; None follows sigma_long. Ellipsoids.
    :param sigma_vert: rms height [m], "relative" to that of the bunch, or "file"; None is the bunch's own. Ellipsoids.
    :param relative_vert: that factor, up to 2.
    :param rintmi: smallest length that the field library resolves [m].
    :param sigma_file: table of c*t, sigma_long, sigma_rad, sigma_vert.
    :param use_old_mesh: keep the Green's function of the same time.
    :param sbox: length of a mesh box in units of the sub-bunch size; ellipsoids.
    :param rbox: its width likewise.
    :param shield: distance of two conducting planes [m], 0 for none.
    :param shield_max: largest image distance used [m].
    :param shield_reach: how far the kernel between planes reaches ahead: "kernel" or "bunch", which shields right; projected model.
    :param par1: charge smoothing of the projected model, on when not 0; None leaves par1 to par5 as they are, 0 at the start.
    :param par2: its width in particles, at least 2.
    :param par3: without effect.
    :param par4: the CSR field is scaled by 1 - par4.
    :param par5: the wake is scaled by 1 - par5.
    :param wake_file: table of a wake; projected model.
    """

    COMMAND: ClassVar = "forces"
    KEYS: ClassVar = keys.FORCES
    FILES: ClassVar = ("sigma_file", "wake_file")

    type: str = "none"
    sigma_long: float | str | None = None
    relative_long: float | None = None
    test: bool = False
    shape: str = "sphere"
    sigma_rad: float | str | None = None
    sigma_vert: float | str | None = None
    relative_vert: float | None = None
    rintmi: float = 1e-9
    sigma_file: str | Path | None = None
    use_old_mesh: bool = True
    sbox: float = 0.5
    rbox: float = 0.5
    shield: float = 0.0
    shield_max: float = 0.3
    shield_reach: str | None = None
    par1: float | None = None
    par2: float | None = None
    par3: float | None = None
    par4: float | None = None
    par5: float | None = None
    wake_file: str | Path | None = None

    def _test(self) -> None:
        if self.type == "none":
            return
        if self.sigma_long is None:
            raise ValueError(f"Forces: sigma_long is needed with type {self.type!r}: a length in m, 'relative' or 'file'")
        for size, factor in (("sigma_long", "relative_long"), ("sigma_vert", "relative_vert")):
            if getattr(self, size) == "relative" and getattr(self, factor) is None:
                raise ValueError(f"Forces: {size} = 'relative' needs {factor}, a factor above 0 and at most 2")
        sizes = (self.sigma_long, self.sigma_rad, self.sigma_vert) if self.is_ellipsoid else (self.sigma_long,)
        if "file" in sizes and self.sigma_file is None:
            raise ValueError("Forces: a size from 'file' needs sigma_file")

    def _given(self) -> dict:
        return {"type": self.type, **super()._given()}

    @property
    def is_ellipsoid(self) -> bool:
        """Whether the sub-bunches are ellipsoids: of that shape, with a size of their own."""
        return self.type.startswith("csr") and self.shape == "ellipsoid" and (self.sigma_rad, self.sigma_vert) != (None, None)


@dataclass(frozen=True)
class Steps(Block):
    """How the steps are taken: a `track_step` block.

    :param precondition: find the step's end with a cheaper force model first.
    :param iterative: most corrector passes of a step.
    :param error_per_ct: step error per metre below which no further pass is made [1/m].
    :param error_weight_momentum: weight of the momentum in the step error.
    :param ct_step_max: largest step [m].
    :param ct_step_min: smallest step [m], below ct_step_max; None is 0.01, or half of ct_step_max where that is less than it.
    :param ct_step_first: first step [m]; None is 0.1, or the nearest that lies between the other two.
    :param duty_steps: stop around boundaries with the duty flag.
    :param increase_factor: largest growth from step to step.
    :param arc_factor: fraction of the overtaking length (24 R^2 sigma)^(1/3) allowed as a step.
    :param time_grid_file: file of times [m], one to a line: the steps go from one to the next.
    :param steps_tolerance: grid times nearer than this count as reached [m].
    """

    COMMAND: ClassVar = "track_step"
    KEYS: ClassVar = keys.TRACK_STEP
    FILES: ClassVar = ("time_grid_file",)

    precondition: bool = True
    iterative: int = 3
    error_per_ct: float = 0.001
    error_weight_momentum: float = 1.0
    ct_step_max: float = 0.1
    ct_step_min: float | None = None
    ct_step_first: float | None = None
    duty_steps: bool = True
    increase_factor: float = 2.0
    arc_factor: float = 0.5
    time_grid_file: str | Path | None = None
    steps_tolerance: float = 1e-5

    def _test(self) -> None:
        if self.ct_step_min is not None and self.ct_step_min >= self.ct_step_max:
            raise ValueError(f"Steps: ct_step_min must be below ct_step_max, not {self.ct_step_min!r} with {self.ct_step_max!r}")
        if not self.shortest <= self.first <= self.ct_step_max:
            raise ValueError(f"Steps: ct_step_first must lie between ct_step_min and ct_step_max, {self.shortest!r} and "
                             f"{self.ct_step_max!r}, not {self.first!r}")

    @property
    def shortest(self) -> float:
        """The smallest step that the program will take as such [m]."""
        if self.ct_step_min is not None:
            return self.ct_step_min
        return 0.01 if self.ct_step_max >= 0.01 else self.ct_step_max / 2

    @property
    def first(self) -> float:
        """The first step that the program will take [m]."""
        return self.ct_step_first if self.ct_step_first is not None else min(max(0.1, self.shortest), self.ct_step_max)

    def deck(self, names: dict[str, str] | None = None, whole: bool = False) -> str:
        """The block as a line of a deck; `whole` writes every key, for a block that follows another one."""
        if not whole:
            return super().deck(names)
        return _Whole(**{**vars(self), "ct_step_min": self.shortest, "ct_step_first": self.first}).deck(names)


class _Whole(Steps):
    """Steps of which every key is written."""

    def _given(self) -> dict:
        return {name: value for name, value in vars(self).items() if value is not None}


@dataclass(frozen=True)
class Tracker(Block):
    """How far the bunch is tracked: a `tracker` block. One of the three ends is needed; the marker goes before delta_time_c0,
    that before end_time_c0.

    :param end_time_c0: bunch time c*t to track to [m].
    :param delta_time_c0: time to track by [m].
    :param end_time_marker: track until the reference particle would reach the boundary of this name.
    :param end_time_shift_c0: added to the marker's time [m].
    """

    COMMAND: ClassVar = "tracker"
    KEYS: ClassVar = keys.TRACKER

    end_time_c0: float | None = None
    delta_time_c0: float | None = None
    end_time_marker: str | None = None
    end_time_shift_c0: float | None = None

    def _test(self) -> None:
        if (self.end_time_c0, self.delta_time_c0, self.end_time_marker) == (None, None, None):
            raise ValueError("Tracker: end_time_c0, delta_time_c0 or end_time_marker is needed")
        if self.delta_time_c0 is not None and self.end_time_marker is None and self.delta_time_c0 <= 0:
            raise ValueError(f"Tracker: delta_time_c0 must be above 0, not {self.delta_time_c0!r}")


    @classmethod
    def through(cls, markers: Iterable[str], format: str = "fmt1") -> "list[Tracker | Monitor]":
        """A tracking run to each marker in turn, and the bunch there as `at_MARKER.dat`: what a Run takes as its tracker.

            Run(lattice, bunch, forces, tracker=Tracker.through(lattice.markers))
        """
        return [block for marker in markers for block in (cls(end_time_marker=marker), Monitor(f"at_{marker}.dat", format))]


@dataclass(frozen=True)
class Monitor(Block):
    """Writes the bunch at once, where it stands among the commands: a `monitor` block.

    :param name: file.
    :param format: fmt0, fmt1, fmt2 or fmt3 (docs/outputs.md); fmt1 and fmt2 hold all that a bunch is.
    """

    COMMAND: ClassVar = "monitor"
    KEYS: ClassVar = keys.MONITOR

    name: str
    format: str = "fmt1"


@dataclass(frozen=True)
class OnlineMonitor(Block):
    """Writes while the bunch is tracked: an `online_monitor` block. A start, an end and a step are needed.

    :param name: file; one of whole bunches gets a number, way_0001.dat for way.dat.
    :param type: phase (particles), steps, subbunch or green (mesh of the Green's function).
    :param format: fmt0 to fmt3, or an integer.
    :param particle: "all", or the number of one.
    :param start_time_c0: bunch time of the first output [m], or "now".
    :param start_time_marker: boundary in place of it, with start_time_shift_c0 added [m].
    :param start_time_shift_c0: see there.
    :param end_time_c0: bunch time behind which nothing is written [m].
    :param end_time_marker: boundary in place of it, with end_time_shift_c0 added [m].
    :param end_time_shift_c0: see there.
    :param time_step_c0: distance of the outputs [m], or "all" for every step.
    """

    COMMAND: ClassVar = "online_monitor"
    KEYS: ClassVar = keys.ONLINE_MONITOR

    name: str
    type: str = "phase"
    format: str | int = "fmt1"
    particle: str | int = "all"
    start_time_c0: float | str | None = None
    start_time_marker: str | None = None
    start_time_shift_c0: float | None = None
    end_time_c0: float | None = None
    end_time_marker: str | None = None
    end_time_shift_c0: float | None = None
    time_step_c0: float | str | None = None

    def _test(self) -> None:
        for which in ("start", "end"):
            if getattr(self, f"{which}_time_c0") is None and getattr(self, f"{which}_time_marker") is None:
                raise ValueError(f"OnlineMonitor {self.name}: {which}_time_c0 or {which}_time_marker is needed")

    @property
    def is_series(self) -> bool:
        """Whether it writes a numbered file for each output."""
        return self.type == "green" or self.type == "phase" and self.particle == "all"


FOREVER = 1e9  #: m, an end behind all ends


class Monitors(list):
    """A list of Monitor and OnlineMonitor, and makers of the usual ones, which can be chained.

        Monitors().steps().every(0.5).at("B2_out", "B4_out")
    """

    def __init__(self, monitors: Iterable[Monitor | OnlineMonitor] = ()) -> None:
        super().__init__(monitors)
        for monitor in self:
            if not isinstance(monitor, (Monitor, OnlineMonitor)):
                raise ValueError(f"Monitors: {monitor!r} is neither a Monitor nor an OnlineMonitor")

    def steps(self, name: str = "steps.dat") -> "Monitors":
        """The table of steps: times, step errors, force evaluations."""
        return self._with(OnlineMonitor(name, "steps", start_time_c0="now", end_time_c0=FOREVER, time_step_c0="all"))

    def sub_bunch(self, name: str = "subbunch.dat") -> "Monitors":
        """The table of sub-bunch sizes."""
        return self._with(OnlineMonitor(name, "subbunch", start_time_c0="now", end_time_c0=FOREVER, time_step_c0="all"))

    def every(self, distance: float, name: str = "way.dat", format: str = "fmt1") -> "Monitors":
        """The whole bunch each time that it has gone a distance [m], at the first step behind it."""
        return self._with(OnlineMonitor(name, format=format, start_time_c0="now", end_time_c0=FOREVER, time_step_c0=distance))

    def at(self, *markers: str, format: str = "fmt1") -> "Monitors":
        """The whole bunch at the first step at which the reference particle has reached each marked boundary. Ten monitors may
        work at a time; for more places see `Tracker.through`."""
        for marker in markers:
            self._with(OnlineMonitor(f"at_{marker}.dat", format=format, start_time_marker=marker, end_time_c0=FOREVER,
                                     time_step_c0=FOREVER))
        return self

    def _with(self, monitor: OnlineMonitor) -> "Monitors":
        self.append(monitor)
        return self


@dataclass(frozen=True)
class IoPath(Block):
    """Where files are: an `io_path` block. A run that Python starts needs none but for its log.

    :param input: folder of files that are read; only in decks, whose files a Run takes along.
    :param output: folder of files that are written.
    :param logfile: name of the log, in that folder.
    """

    COMMAND: ClassVar = "io_path"
    KEYS: ClassVar = keys.IO_PATH

    input: str | None = None
    output: str | None = None
    logfile: str | None = None
