"""What a run will cost: processor time of each tracker, for the deck's force model or for all of them.

The steps are counted by a run of the deck with few particles and without force. The price of a step comes from the program as
well: some of these steps, taken from all over the way, with two small numbers of particles, and carried on to the bunch's own number
with the law of the model,

    seconds per step = a + b g(N),   g = N (none, projected), N^2 (csr_p_to_p, csr_g_to_p), N M (csr_p_to_m, csr_g_to_m),

with M points of the mesh of boxes. Without a program stored prices stand in.
"""
from __future__ import annotations

from dataclasses import dataclass
from math import ceil
from pathlib import Path
from typing import Sequence

from ..check.state import CheckState, Way
from ..deck.reader import Place
from ..run.process import find_program
from ..run.reading import Command
from ..run.run import Run
from .cost_bench import Bench, Unmeasured, law, mesh_points

LONG = 3600.0  # s, above which a run gets a warning
#: Seconds of a step: of the model itself, and for each unit of g. One core of a server of 2023.
STORED = {"none": (0.0, 1e-7), "projected": (1e-3, 2e-7), "csr_p_to_p": (0.1, 1e-5), "csr_p_to_m": (0.1, 1e-5), "csr_g_to_p": (0.1, 2.5e-8),
          "csr_g_to_m": (0.1, 2.5e-8)}
STORED_FILES = 2e-6, 2e-6  # s for each particle that is read, and written


@dataclass(frozen=True)
class TrackerCost:
    """What a tracker costs."""

    place: Place
    kind: str  #: the deck's force type
    particles: int
    steps: int
    seconds: dict[str, float]  #: by force type


@dataclass(frozen=True)
class Cost:
    """What a run costs, in seconds of one core."""

    trackers: list[TrackerCost]
    files: float  #: for reading bunches and for the monitors between trackers
    measured: bool  #: with the program at hand, or from stored prices

    @property
    def seconds(self) -> float:
        """The whole run, with its own force types."""
        return self.files + sum(tracker.seconds[tracker.kind] for tracker in self.trackers)

    def numbers(self) -> dict:
        """The same as plain numbers, for JSON."""
        trackers = [{"file": tracker.place.file, "line": tracker.place.line, "type": tracker.kind, "particles": tracker.particles,
                     "steps": tracker.steps, "seconds": tracker.seconds} for tracker in self.trackers]
        return {"trackers": trackers, "files": self.files, "seconds": self.seconds, "measured": self.measured}

    def __str__(self) -> str:
        kinds = list(dict.fromkeys(kind for tracker in self.trackers for kind in tracker.seconds))
        how = "measured with the program" if self.measured else "by stored prices: there is no program to measure with"
        rows = [["tracker", "particles", "steps", *kinds]]
        for tracker in self.trackers:
            rows.append([str(tracker.place), str(tracker.particles), str(tracker.steps), *(time_in_words(tracker.seconds[kind])
                         if kind in tracker.seconds else "" for kind in kinds)])
        widths = [max(map(len, column)) for column in zip(*rows)]
        lines = ["  ".join([row[0].ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(row[1:], widths[1:]))]) for row in rows]
        return "\n".join([f"estimated time of one core, {how}:", *lines,
                          f"{time_in_words(self.seconds)} in all, {time_in_words(self.files)} of it to read and write bunches between the trackers"])


def time_in_words(seconds: float) -> str:
    """With two digits, in a unit that suits."""
    for size, unit in ((3600.0, "h"), (60.0, "min")):
        if seconds >= 1.5 * size:
            return f"{seconds / size:.2g} {unit}" if seconds < 100 * size else f"{seconds / size:.0f} {unit}"
    return f"{seconds:.2g} s"


def cost_of(state: CheckState, deck: Path, program: str | Path | None = None, kinds: Sequence[str] = ()) -> Cost:
    """Estimates the processor time of a deck, right within a factor of 2 where the program is at hand.

    :param state: as `walk_deck` leaves it, without errors.
    :param program: the program; otherwise it is looked for (`find_program`).
    :param kinds: force types to estimate besides the deck's own.
    """
    try:
        found, (reading, writing) = _measured(find_program(program), Run.from_deck(deck).commands, state.ways, kinds)
        measured = True
    except (FileNotFoundError, ValueError, Unmeasured):
        found, (reading, writing), measured = [_stored(way, kinds) for way in state.ways], STORED_FILES, False
    for way, tracker in zip(state.ways, found):
        for kind in tracker.seconds:
            tracker.seconds[kind] += writing * tracker.particles * (way.outputs + way.outputs_each_step * tracker.steps)
    return Cost(found, reading * state.particles_read + writing * state.particles_written, measured)


def _measured(program: Path, commands: Sequence[Command], ways: list[Way], kinds: Sequence[str]) -> tuple[list[TrackerCost], tuple[float, float]]:
    with Bench(program, commands, ways) as bench:
        counts = bench.count()
        return [TrackerCost(way.place, way.kind, len(way.bunch), count, {kind: bench.seconds(number, kind) for kind in dict.fromkeys((way.kind, *kinds))})
                for number, (way, count) in enumerate(zip(ways, counts))], bench.files() or STORED_FILES


def _stored(way: Way, kinds: Sequence[str]) -> TrackerCost:
    """By stored prices, and a count of steps that knows the largest step, the arcs and the stops around boundaries."""
    steps, longest = 0, way.steps["ct_step_max"]
    edges = [way.path, *(b.s for b in way.boundaries if way.path < b.s < way.path_end), way.path_end]
    for low, high in zip(edges, edges[1:]):
        r = next((b.r for b in way.boundaries if b.s >= high), 0.0)
        limit = way.steps["arc_factor"] * (24 * r**2 * way.length) ** (1 / 3) if r and way.length else longest
        steps += ceil((high - low) / min(longest, limit)) + 4
    number, mesh = len(way.bunch), mesh_points(way.bunch, way.box)
    seconds = {kind: steps * (STORED[kind][0] + STORED[kind][1] * law(kind, number, mesh)) for kind in dict.fromkeys((way.kind, *kinds))}
    return TrackerCost(way.place, way.kind, number, steps, seconds)
