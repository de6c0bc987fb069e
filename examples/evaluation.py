"""The self force of a bunch at one place of an arc: places particles by hand, runs the program for one step of a
micrometre, and reads the forces and what an evaluation costs.
"""
from __future__ import annotations

import resource
from dataclasses import dataclass
from pathlib import Path

import numpy as np

import common
from tessaron.beam.bunch import Bunch, from_absolute
from tessaron.files.bunchfiles import read_fmt3, write_bunch
from tessaron.constants import REST_ENERGY
from tessaron.files.outputs import read_steps
from tessaron.beam.sampling import normal, uniform_points

TYPES = ("projected", "csr_p_to_p", "csr_p_to_m", "csr_g_to_p", "csr_g_to_m")


@dataclass
class Evaluation:
    """Forces on the particles and where these are, seen from particle 1."""

    s: np.ndarray  #: ahead along the orbit [m]
    u: np.ndarray  #: to the left of it [m]
    along: np.ndarray  #: force along the motion [eV/m]
    across: np.ndarray  #: to the left, in the plane [eV/m]
    seconds: float  #: processor time of the run per evaluation
    evaluations: int
    console: str


def gaussian(particles: int, length: float, width: float) -> tuple[np.ndarray, np.ndarray]:
    """Places along and across [m] of a quiet Gaussian bunch of these rms sizes; the first is the centre."""
    points = uniform_points(particles - 1, 2, True, 1)
    return tuple(np.concatenate([[0.0], size * normal(row)]) for size, row in zip((length, width), points))


def in_arc(s: np.ndarray, u: np.ndarray, charge: np.ndarray, energy: float, radius: float, entrance: float, arc: float) -> Bunch:
    """A bunch upright on the orbit: every particle flies along the circle through its own place.

    :param s: ahead of the bunch's place [m]; `u` to the left of the orbit [m].
    :param radius: of the arc [m], above 0: clockwise, so that the left is the outside.
    :param entrance: x of its entrance [m], `arc`: the bunch's place behind that [m]; both parts of the orbit, the straight
        one ahead of the arc too, may hold particles.
    """
    place = arc + s
    turn = np.maximum(place, 0) / radius
    x = entrance + np.minimum(place, 0) + (radius + u) * np.sin(turn)
    y = (radius + u) * np.cos(turn) - radius
    momentum = np.sqrt(energy**2 - REST_ENERGY**2)
    return from_absolute(0.0, np.array([x, y, 0 * x, momentum * np.cos(turn), -momentum * np.sin(turn), 0 * x]), charge)


def evaluate(program: Path, folder: Path, deck: str, bunch: Bunch, overhead: float = 0.0) -> Evaluation:
    """One run of a deck that reads bunch.dat and writes force.dat (fmt3) and steps.dat.

    :param overhead: processor time of the run without self force [s].
    """
    folder.parent.mkdir(parents=True, exist_ok=True)
    source = folder.with_suffix(".bunch")
    write_bunch(source, bunch, "fmt1")
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    common.run(program, folder, deck, {"bunch.dat": source}, "force.dat")
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    source.unlink()
    spent = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime - overhead
    _, table = read_fmt3(folder / "force.dat")
    count = int(read_steps(folder / "steps.dat").calls[:, -1].sum())
    console = (folder / "console.txt").read_text()
    return Evaluation(table[:, 4], table[:, 0], table[:, 7], table[:, 8], max(spent, 0.0) / max(count, 1), count, console)


def deviation(a: np.ndarray, b: np.ndarray, largest: float) -> tuple[float, float]:
    """rms and largest difference of two forces in units of `largest`."""
    difference = (a - b) / largest
    return float(np.sqrt(np.mean(difference**2))), float(np.abs(difference).max())
