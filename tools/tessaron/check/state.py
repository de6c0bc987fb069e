"""What a check knows at a place of the deck: the settings that the program would hold there, and its findings."""
from __future__ import annotations

from dataclasses import dataclass, field
from pathlib import Path
from typing import TYPE_CHECKING

from ..beam.bunch import Bunch
from ..deck.blocks import Value, meant
from ..deck.reader import DeckReader, Place, Token
from ..lattice.geometry import Boundary

if TYPE_CHECKING:
    from .outputs import Output

STEP_DEFAULTS = {"ct_step_max": 0.1, "ct_step_min": 0.01, "ct_step_first": 0.1, "arc_factor": 0.5}


@dataclass(frozen=True, order=True)
class Finding:
    """One thing that would fail (error) or that looks wrong (warning)."""

    place: Place
    severity: str
    text: str

    def __str__(self) -> str:
        return f"{self.place}: {self.severity}: {self.text}"


@dataclass
class OnlineMonitor:
    """An `online_monitor` block that is waiting or at work."""

    name: str
    place: Place
    values: dict[str, Value]
    accepted: bool = False
    start: float | None = None  #: c*t [m], once accepted
    end: float | None = None
    outputs: bool = False  #: at least one output was due


@dataclass(frozen=True)
class OutputFile:
    """A file that a monitor writes; a series has numbered names instead of its own."""

    name: str
    kind: str  #: bunch, particle, steps, subbunch or green
    fmt: str
    series: bool = False


@dataclass
class Beam:
    """The bunch of the last `particles` block, as far as a check can follow it."""

    bunch: Bunch
    place: Place
    length: float  #: rms along the direction of particle 1 [m], sources only
    sources: int
    reference_momentum: float | None  #: [eV/c]; None if unreadable
    ct: float  #: bunch time [m]
    beta: float
    lab: tuple[float, float, float, float] = (0.0, 0.0, 1.0, 0.0)  #: x, y [m], px, py [eV/c] of particle 1 in the lab
    orbit_checked: bool = False
    path: float = 0.0  #: path length of particle 1 [m], valid with a lattice
    tracked: bool = False  #: a tracker has moved it; its length is that of the start


@dataclass(frozen=True)
class Way:
    """A tracker, with what its time depends on."""

    place: Place
    kind: str  #: force type
    bunch: Bunch  #: as it was read
    length: float  #: rms, at the start [m]
    box: tuple[float, float]  #: of a mesh, along and across [m]
    start: float  #: c*t [m]
    end: float
    path: float  #: path length at the start [m]
    path_end: float  #: and at the end
    boundaries: list[Boundary]
    steps: dict[str, float]
    outputs: float  #: of the whole bunch, by online monitors
    outputs_each_step: int  #: monitors that write it at every step


@dataclass
class StoredForces:
    """The forces that the last tracker with a self force left at its end."""

    ct: float  #: c*t [m]
    tracker: Place
    older_than: Token | None = None  #: the latest `particles`, `lattice` or `forces` command behind that tracker


@dataclass
class CheckState:
    """All settings at the present place of the deck."""

    folder: Path
    reader: DeckReader | None = None
    findings: list[Finding] = field(default_factory=list)
    output_folder: str | None = None
    boundaries: list[Boundary] = field(default_factory=list)
    lattice_place: Place | None = None
    lattice_good: bool = True
    beam: Beam | None = None
    beam_failed: bool = False  #: there is a particles block, but it could not be read
    forces: dict[str, Value] = field(default_factory=dict)
    forces_place: Place | None = None
    kept_parameters: dict[str, float] = field(default_factory=dict)  #: par1 to par5 stay from block to block
    steps: dict[str, float] = field(default_factory=lambda: dict(STEP_DEFAULTS))
    steps_place: Place | None = None
    time_grid: list[float] | None = None
    monitors: list[OnlineMonitor] = field(default_factory=list)
    inputs: list[Path] = field(default_factory=list)  #: data files that have been read
    written: list[Output] = field(default_factory=list)  #: output files, the log among them
    outputs: list[OutputFile] = field(default_factory=list)  #: those of monitors, with what they hold
    logfile: str | None = None
    trackers: int = 0
    ways: list[Way] = field(default_factory=list)
    particles_read: int = 0
    particles_written: int = 0  #: by monitors between trackers
    force_checked: set[str] = field(default_factory=set)
    stored: StoredForces | None = None

    def error(self, place: Place, text: str) -> None:
        """Something that would fail."""
        self.findings.append(Finding(place, "error", text))

    def warn(self, place: Place, text: str) -> None:
        """Something suspicious."""
        self.findings.append(Finding(place, "warning", text))

    def need_beam(self, place: Place, what: str) -> None:
        """Tells that there are no particles, unless their block has already been blamed."""
        if self.beam is None and not self.beam_failed:
            self.error(place, f"there are no particles to {what}")

    @property
    def force_type(self) -> str:
        """The word of `type`; `none` before any good `forces` block."""
        value = self.forces.get("type")
        return value.text if value is not None and value.good else "none"

    def marker_time(self, marker: str) -> float | None:
        """When particle 1 meets the first boundary with this marker, c*t [m]; None without one, without a bunch or in a lattice that failed."""
        for boundary in self.boundaries if self.lattice_good else []:
            if boundary.marker == marker and self.beam is not None:
                return self.beam.ct + (boundary.s - self.beam.path) / self.beam.beta
        return None

    def has_marker(self, marker: str) -> bool:
        """Whether a boundary has this marker."""
        return any(boundary.marker == marker for boundary in self.boundaries)

    def no_marker(self, marker: str) -> str:
        """The message that there is no such marker, with the one that was meant."""
        near = meant(marker, [boundary.marker for boundary in self.boundaries])
        return f"no field boundary has the marker {marker}" + (f" (did you mean {near}?)" if near else "")

    def output_path(self, name: str) -> Path:
        """A file that the program writes."""
        return self.folder / (f"{self.output_folder}/{name}" if self.output_folder else name)
