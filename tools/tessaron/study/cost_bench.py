"""Small runs of the program that tell what its steps cost on this machine."""
from __future__ import annotations

import os
import re
import subprocess
import tempfile
from dataclasses import replace
from pathlib import Path
from threading import Timer
from typing import NamedTuple, Sequence

import numpy as np

from ..beam.bunch import Bunch
from ..check.state import Way
from ..deck.keys import FORCE_TYPES
from ..files.outputs import read_steps
from ..lattice.lattice import Lattice
from ..run.particles import Particles
from ..run.reading import Command
from ..run.run import Run
from ..run.settings import FOREVER, Forces, Monitor, OnlineMonitor, Steps, Tracker

FEW = {"none": (500, 15000), "projected": (500, 15000), "csr_p_to_p": (16, 64), "csr_p_to_m": (16, 64), "csr_g_to_p": (200, 1200),
       "csr_g_to_m": (200, 3000)}  # particles of the two measurements, a tenth of a second or two each
COUNTED, READ = 200, 20000  # particles with which steps are counted, and reading is measured
SAMPLES = 5  # steps that are measured
PATIENCE = 20.0  # s for one measurement
TRANSIT = Steps(ct_step_max=10.0, ct_step_first=10.0, duty_steps=False)  # from one of them to the next


class Unmeasured(Exception):
    """The program did not do what was to be measured."""


def law(kind: str, particles: int, points: float) -> float:
    """What the time of a step grows with."""
    return particles * {"csr_p_to_p": particles, "csr_g_to_p": particles, "csr_p_to_m": points, "csr_g_to_m": points}.get(kind, 1.0)


def mesh_points(bunch: Bunch, box: tuple[float, float]) -> int:
    """Observation points of a mesh of boxes: corners of boxes with four particles or more, and the other particles.

    :param box: length along and across [m].
    """
    forward = bunch.reference[3:5] / (np.hypot(*bunch.reference[3:5]) or 1.0)
    along, across = forward @ bunch.offsets[:2], forward[0] * bunch.offsets[1] - forward[1] * bunch.offsets[0]
    u, v = (((place - place.min()) / size).astype(np.int64) for place, size in ((along, box[0]), (across, box[1])))
    row = int(u.max()) + 2
    cells, counts = np.unique(u + row * v, return_counts=True)
    boxes = cells[counts >= 4]
    return np.unique(np.concatenate([boxes, boxes + 1, boxes + row, boxes + row + 1])).size + int(counts[counts < 4].sum())


def thinned(bunch: Bunch, count: int) -> Bunch:
    """So many of its particles, evenly along the bunch, with as much charge in all; particle 1 among them."""
    if count >= len(bunch):
        return bunch
    order = np.argsort(bunch.reference[3:5] @ bunch.offsets[:2])
    order = order[order != 0]
    chosen = np.insert(order[((np.arange(count - 1) + 0.5) / (count - 1) * order.size).astype(int)], 0, 0)
    total = bunch.charge[chosen].sum()
    return replace(bunch, offsets=bunch.offsets[:, chosen], charge=bunch.charge[chosen] * (bunch.charge.sum() / total if total else 1.0))


class Price(NamedTuple):
    """Seconds of a step, and of the forces at the start of a tracker that cannot take them over from the one before."""

    step: float
    start: float = 0.0


class Bench:
    """Measures a deck in a folder that does not outlive it: a context manager.

    :param commands: of the deck.
    :param ways: its trackers, as a check found them.
    """

    def __init__(self, program: Path, commands: Sequence[Command], ways: Sequence[Way]) -> None:
        self._program, self._commands, self._ways = program, commands, ways
        self._settings: list[tuple[Lattice | None, Particles, Forces, Steps]] = []
        self._counts: list[int] = []
        self._steps: list[list[tuple[float, float]]] = []  # start and end, c*t [m]
        self._prices: dict[tuple[object, str], Price] = {}
        lattice, particles, forces, steps = None, None, Forces(), Steps()
        for command in commands:
            lattice = command if isinstance(command, Lattice) else lattice
            particles = command if isinstance(command, Particles) else particles
            forces = command if isinstance(command, Forces) else forces
            steps = command if isinstance(command, Steps) else steps
            if isinstance(command, Tracker):
                self._settings.append((lattice, particles, forces, steps))
        if len(self._settings) != len(ways):
            raise Unmeasured

    def __enter__(self) -> "Bench":
        self._folder = tempfile.TemporaryDirectory()
        return self

    def __exit__(self, *_: object) -> None:
        self._folder.cleanup()

    def count(self) -> list[int]:
        """The steps of every tracker."""
        bunches = {id(settings[1]): way.bunch for settings, way in zip(self._settings, self._ways)}
        kept: list[Command] = []
        tables: list[str] = []
        for command in self._commands:
            if isinstance(command, Particles) and id(command) in bunches:
                tables.append(f"steps_{len(tables)}.dat")
                kept += [_with_bunch(command, thinned(bunches[id(command)], COUNTED)), _step_table(tables[-1])]
            elif isinstance(command, (Lattice, Steps, Tracker)):
                kept.append(command)
        _, console = self._run(kept)
        times = np.concatenate([read_steps(Path(self._folder.name) / table).ct for table in tables])
        row = 0
        for number, report in enumerate(console.split("\n  start time ")[1:]):
            count = report.count("\n  ctstep=") - 1  # the last of these lines tells that there is no further step
            way, steps = self._ways[number], times[row:row + count + 1]
            self._counts.append(count)
            self._steps.append([(a, b) for a, b in zip(steps, steps[1:]) if b > a * (1 + 1e-6)] or [(way.start, way.end)])
            row += count + 1
        if len(self._counts) != len(self._ways) or row != times.size:
            raise Unmeasured
        return self._counts

    def seconds(self, number: int, kind: str) -> float:
        """Those of a tracker with a force type; `count` has been called."""
        settings = self._settings[number]
        carried_over = number > 0 and settings == self._settings[number - 1]
        price = self._price(number, kind)
        if kind == "projected":  # cheap enough for the push to count
            price = price._replace(step=price.step + self._price(number, "none").step)
        return price.step * self._counts[number] + (0.0 if carried_over else price.start)

    def _price(self, number: int, kind: str) -> Price:
        settings = tuple(map(id, self._settings[number]))
        if (settings, kind) not in self._prices:
            steps = [step for steps, other in zip(self._steps, self._settings) if tuple(map(id, other)) == settings for step in steps]
            self._prices[settings, kind] = self._extrapolated(number, kind, steps)
        return self._prices[settings, kind]

    def _extrapolated(self, number: int, kind: str, steps: list[tuple[float, float]]) -> Price:
        bunch, box = self._ways[number].bunch, self._ways[number].box
        places = sorted({steps[int((k + 0.5) / SAMPLES * len(steps))] for k in range(SAMPLES)})
        prices, laws = [], []
        for count in sorted({min(len(bunch), count) for count in FEW[kind]}):
            fewer = thinned(bunch, count)
            price, points = self._sampled(number, kind, fewer, places)
            prices.append(price)
            laws.append(law(kind, count, points))
        if len(laws) < 2 or laws[1] <= laws[0]:
            return prices[-1]
        mesh = points * mesh_points(bunch, box) / mesh_points(fewer, box)
        few, many = prices
        slope = min(max((many.step - few.step) / (laws[1] - laws[0]), 0.0), many.step / laws[1])
        step = many.step + slope * (law(kind, len(bunch), mesh) - laws[1])
        return Price(step, many.start * step / many.step if many.step else 0.0)

    def _sampled(self, number: int, kind: str, bunch: Bunch, places: list[tuple[float, float]]) -> tuple[Price, float]:
        """The price at these places, each of which begins with forces at the start, and the mean number of observation points of a mesh of boxes."""
        lattice, particles, forces, steps = self._settings[number]
        start = [command for command in (lattice, _with_bunch(particles, bunch)) if command is not None]
        if kind == "none":
            runs = [self._run([*start, steps, Tracker(end_time_c0=end)]) for _, end in (places[0], places[-1])]
            taken = runs[1][1].count("ctstep=") - runs[0][1].count("ctstep=")
            return Price(max(runs[1][0] - runs[0][0], 0.0) / max(taken, 1)), 0.0
        start.append(_step_table("steps.dat"))
        forced, free, now = list(start), list(start), bunch.ct
        for begin, end in places:
            transit = [TRANSIT, Tracker(end_time_c0=begin)] if begin > now + 1e-9 else []
            length = end - max(begin, now)
            step = [replace(steps, ct_step_max=length, ct_step_min=length / 2, ct_step_first=length, duty_steps=False, arc_factor=1.0,
                            time_grid_file=None), Tracker(end_time_c0=end)]
            forced += [Forces(), *transit, _forces_of(forces, kind), *step]
            free += [*transit, *step]
            now = end
        seconds, console = self._run(forced)
        evaluations = float(read_steps(Path(self._folder.name) / "steps.dat").calls[FORCE_TYPES.index(kind) - 1, -1])
        without, _ = self._run(free)
        points = [int(nodes) + int(single) for nodes, single in re.findall(r"boxes = *\d+ +e_points= *(\d+) +p_points= *(\d+)", console)]
        price = max(seconds - without, 0.0) / len(places)
        start = price * min(len(places) / max(evaluations, 1.0), 0.5)
        return Price(price - start, start), float(np.mean(points)) if points else 0.0

    def files(self) -> tuple[float, float] | None:
        """Seconds for a particle that is read, and one that is written; None for a bunch of few."""
        lattice, particles, _, _ = self._settings[0]
        bunches = [_with_bunch(particles, thinned(self._ways[0].bunch, count)) for count in (100, READ)]
        few, many = (len(bunch.array) for bunch in bunches)
        if many < 10 * few:
            return None
        four = [Monitor(f"{k}.dat") for k in range(4)]
        seconds = [self._run([command for command in (lattice, *others) if command is not None])[0]
                   for others in (bunches[:1], bunches[1:], [bunches[1], *four])]
        return max(seconds[1] - seconds[0], 0.0) / (many - few), max(seconds[2] - seconds[1], 0.0) / (4 * many)

    def _run(self, commands: Sequence[Command]) -> tuple[float, str]:
        """Processor time [s] and console of a run with one thread."""
        folder = Path(self._folder.name)
        Run.from_commands(commands).write(folder)
        with open(folder / "console", "w+") as console:
            process = subprocess.Popen([self._program], cwd=folder, stdin=subprocess.DEVNULL, stdout=console, stderr=subprocess.DEVNULL,
                                       env={**os.environ, "OMP_NUM_THREADS": "1"})
            patience = Timer(PATIENCE, process.kill)
            patience.start()
            _, status, usage = os.wait4(process.pid, 0)
            patience.cancel()
            process.returncode = os.waitstatus_to_exitcode(status)
            console.seek(0)
            text = console.read()
        if process.returncode != 0 or "error in" in text:
            raise Unmeasured
        return usage.ru_utime + usage.ru_stime, text  # of the two only the sum is exact for a short run


def _step_table(name: str) -> OnlineMonitor:
    return OnlineMonitor(name, "steps", start_time_c0="now", end_time_c0=FOREVER, time_step_c0="all")


def _with_bunch(particles: Particles, bunch: Bunch) -> Particles:
    return replace(particles, array=bunch, format="fmt1")


def _forces_of(forces: Forces, kind: str) -> Forces:
    """The deck's force, or another one with its sizes."""
    if forces.type == "none":
        return Forces(kind, sigma_long="relative", relative_long=0.1)
    line = kind == "projected"
    return replace(forces, type=kind, test=False, wake_file=forces.wake_file if line else None, shield_reach=forces.shield_reach if line else None)
