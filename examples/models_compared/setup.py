"""The bunch of this example, and its runs."""
from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

import common
import numpy as np
from tessaron.beam.bunch import Bunch
from evaluation import Evaluation, deviation, evaluate, gaussian, in_arc

RADIUS, ENTRANCE = 10.0, 1.0  # m; as in the deck
LENGTH, WIDTH, CHARGE, ENERGY = 1e-4, 5e-5, 1e-9, 5e8  # rms sizes [m], charge [C] and energy [eV] of the bunch
SIGMA = 3e-5  # m, rms length of a sub-bunch


@dataclass(frozen=True)
class Case:
    """One run."""

    particles: int
    kind: str  #: force type
    box: float = 0.5  #: mesh boxes in units of the sub-bunch size
    arc: float = 1.0  #: m, how far the bunch is behind the entrance


def bunch(particles: int, arc: float = 1.0) -> Bunch:
    """Gaussian, upright on the orbit, some metres behind the entrance."""
    s, u = gaussian(particles, LENGTH, WIDTH)
    return in_arc(s, u, np.full(s.size, CHARGE / s.size), ENERGY, RADIUS, ENTRANCE, arc)


@dataclass
class Runner:
    """Runs cases in folders of their own below `workdir`."""

    program: Path
    workdir: Path
    deck: str

    def folder(self, case: Case) -> Path:
        return self.workdir / f"{case.kind}_{case.particles}_{case.box:g}_{case.arc:g}m".replace(".", "p")

    def run(self, case: Case) -> Evaluation:
        return self._run(case, 0.0 if case.kind == "none" else self._overhead(case))

    def _run(self, case: Case, overhead: float) -> Evaluation:
        deck = common.changed(self.deck, type=case.kind, sbox=case.box, rbox=case.box)
        return evaluate(self.program, self.folder(case), deck, bunch(case.particles, case.arc), overhead)

    def _overhead(self, case: Case) -> float:
        """Processor time of everything but the force [s]."""
        return self._run(Case(case.particles, "none", case.box, case.arc), 0.0).seconds

    @staticmethod
    def columns(one: Evaluation, reference: Evaluation, largest: float) -> str:
        """rms and largest difference along and across, in percent of `largest`."""
        along, across = deviation(one.along, reference.along, largest), deviation(one.across, reference.across, largest)
        return "".join(f"  {100 * rms:6.3f} {100 * most:8.3f}" for rms, most in (along, across))
