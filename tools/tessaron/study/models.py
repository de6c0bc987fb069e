"""Force models side by side: the same run with each of them, what it takes and how far apart they are."""
from __future__ import annotations

from concurrent.futures import Executor, ThreadPoolExecutor
from dataclasses import dataclass, replace
from pathlib import Path
from typing import TYPE_CHECKING, Mapping, Sequence

import numpy as np

from ..beam.bunch import Bunch
from ..beam.orbit import coordinates
from ..deck.keys import FORCE_TYPES
from ..run.orbit import on_orbit
from ..run.process import RunFailed
from ..run.quantities import known
from ..run.result import Result
from ..run.run import Run
from ..run.settings import Forces
from .scan import Scan
from .table import Table, table_of

if TYPE_CHECKING:
    from matplotlib.figure import Figure


@dataclass(frozen=True)
class Kicks:
    """What a force did to each particle of a run, from the first bunch to the last."""

    place: np.ndarray  #: at the start, ahead of the centre [m]
    along: np.ndarray  #: change of energy [eV]
    across: np.ndarray  #: change of the momentum across the orbit plane's direction of motion, less that without force [eV/c]


@dataclass(frozen=True, repr=False)
class ModelsCompared:
    """The runs, and what they say."""

    results: dict[str, Result]  #: by model
    seconds: dict[str, float]  #: that each run took
    quantities: dict[str, dict[str, float]]  #: by model
    kicks: dict[str, Kicks]
    reference: str  #: the model that the others are compared with

    def difference(self, model: str) -> dict[str, float]:
        """Root mean square and largest difference of the particles' energy changes and kicks across from those of the reference
        model, in parts of the largest of the reference; NaN where the numbers of particles differ."""
        ours, theirs = self.kicks[model], self.kicks[self.reference]
        found = {}
        for name in ("along", "across"):
            one, other = getattr(ours, name), getattr(theirs, name)
            same = len(one) == len(other) and np.abs(other).max() > 0
            gap = np.abs(one - other) / np.abs(other).max() if same else np.array([np.nan])
            found[f"{name}_rms"], found[f"{name}_max"] = float(np.sqrt(np.mean(gap**2))), float(gap.max())
        return found

    def table(self) -> Table:
        """One row for each model: particles, seconds, quantities, their relative differences from the reference's (d_...), and
        the differences particle by particle (`difference`)."""
        rows = []
        for model, values in self.quantities.items():
            other = self.quantities[self.reference]
            gaps = {f"d_{name}": value / other[name] - 1 if other[name] else float("nan") for name, value in values.items()}
            rows.append({"model": model, "particles": len(self.kicks[model].place), "seconds": self.seconds[model], **values, **gaps,
                         **self.difference(model)})
        return table_of(rows)

    def plot(self) -> "Figure":
        """Energy change along the bunch for every model, and the differences from the reference where there are as many
        particles."""
        import matplotlib.pyplot as plt

        from ..pictures.notebook import shown_once
        from ..pictures.style import label, some, unit_of

        figure, (top, bottom) = plt.subplots(2, 1, figsize=(7.5, 7), sharex=True, layout="constrained")
        theirs = self.kicks[self.reference]
        length, length_unit = unit_of(theirs.place, "m")
        energy, energy_unit = unit_of(theirs.along, "eV")
        for k, (model, kicks) in enumerate(self.kicks.items()):
            shown = some(len(kicks.place))
            style = dict(marker="osd^v<"[k % 6], ls="", ms=3, label=model, color=f"C{k}", zorder=1 if model == self.reference else 2)
            top.plot(length * kicks.place[shown], energy * kicks.along[shown], **style)
            if model != self.reference and len(kicks.along) == len(theirs.along):
                gap = 100 * (kicks.along - theirs.along) / np.abs(theirs.along).max()
                bottom.plot(length * kicks.place[shown], gap[shown], **style)
        top.set_ylabel(label("energy change", energy_unit))
        bottom.set_ylabel(f"difference from {self.reference} / %\nof its largest")
        bottom.set_xlabel(label("ahead of the centre at the start", length_unit))
        top.legend()
        for panel in (top, bottom):
            panel.grid(alpha=0.3)
        return shown_once(figure)

    def __str__(self) -> str:
        lines = ["  ".join(f"{word:>12s}" for word in ("model", "particles", "seconds", *next(iter(self.quantities.values())),
                                                      "along: rms", "largest", "across: rms", "largest"))]
        for row in self.table():
            values = [f"{row[name]:.6g}" for name in self.quantities[row.model]]
            gaps = [f"{100 * row[name]:.2g} %" for name in ("along_rms", "along_max", "across_rms", "across_max")]
            lines.append("  ".join(f"{cell:>12s}" for cell in (row.model, f"{row.particles}", f"{row.seconds:.3g}", *values, *gaps)))
        return "\n".join([*lines, f"differences from {self.reference}, in percent of its largest energy change and kick across"])

    __repr__ = __str__

    def _repr_html_(self) -> str:
        return self.table()._repr_html_()


def compare_models(run: Run, models: Sequence[str | Forces] = ("projected", "csr_g_to_p", "csr_p_to_p"),
                   particles: Mapping[str, int] | None = None, folder: str | Path = "models", *,
                   quantities: Sequence[str] = ("loss", "emittance", "length"), reference: str | None = None,
                   executor: Executor | None = None, program: str | Path | None = None, processes: int = 1, threads: int = 1,
                   progress: bool | None = None) -> ModelsCompared:
    """The same run with each of several force models.

    A run without force is added, as what the kicks are counted from. One run goes after the other, so that their times can be
    compared; what is in the folder is not computed again.

    :param run: with a force, whose sizes the models take over.
    :param models: types of force; or Forces, for other sizes, which go by their type.
    :param particles: number of particles by model, for those that cannot do with as many as the run has.
    :param folder: of the runs; executor, program, processes, threads, progress as in `Scan`.
    :param quantities: names of `tessaron.run.quantities`.
    :param reference: the model to compare with; csr_p_to_p where it is among them, else the last.
    :raises ValueError: a model that is none, twice the same, or a run without force.
    :raises RunFailed: one of the runs did not complete.
    """
    names = known(quantities)
    forces = _forces(run, models)
    counts = dict(particles or {})
    for what, given in (("particles", counts), ("reference", [reference] if reference else [])):
        for name in given:
            if name not in forces:
                raise ValueError(f"compare_models: {what} names {name!r}; the models are {', '.join(forces)}")
    reference = reference or ("csr_p_to_p" if "csr_p_to_p" in forces else list(forces)[-1])

    def make_run(model: str, count: int) -> Run:
        other = run.with_forces(forces.get(model, Forces()))
        return other if count == len(bunch) else other.with_bunch(bunch.with_particles(count))

    bunch = run.bunch
    points = {model: {"model": model, "count": counts.get(model, len(bunch))} for model in forces}
    without = {count: {"model": "none", "count": count} for count in {point["count"] for point in points.values()}}
    every = {tuple(point.items()): point for point in [*without.values(), *points.values()]}
    scan = Scan(make_run, list(every.values()), folder, program=program, processes=processes, threads=threads)
    with ThreadPoolExecutor(1) as alone:
        scan.run(executor or alone, progress=progress)
    for manifest in scan.failed():
        raise RunFailed(scan.folder, manifest.ending)
    results = {model: scan.result(**point) for model, point in points.items()}
    kicks = {model: _kicks(results[model], scan.result(**without[point["count"]])) for model, point in points.items()}
    manifests = {model: scan.manifest(**point) for model, point in points.items()}
    return ModelsCompared(results, {model: manifest.seconds for model, manifest in manifests.items()},
                          {model: {name: manifest.quantities[name] for name in names} for model, manifest in manifests.items()},
                          kicks, reference)


def _forces(run: Run, models: Sequence[str | Forces]) -> dict[str, Forces]:
    basis = next((force for force in run.of_kind(Forces) if force.type != "none"), None)
    found: dict[str, Forces] = {}
    for model in models:
        force = model if isinstance(model, Forces) else _force_of(model, basis)
        if force.type in found:
            raise ValueError(f"compare_models: the model {force.type!r} stands twice")
        found[force.type] = force
    if not found:
        raise ValueError("compare_models: models must name at least one")
    return found


def _force_of(model: str, basis: Forces | None) -> Forces:
    if model not in FORCE_TYPES:
        raise ValueError(f"compare_models: {model!r} is no model; there are {', '.join(FORCE_TYPES)}")
    if model == "none":
        return Forces()
    if basis is None:
        raise ValueError("compare_models: the run has no force whose sizes the models could take over")
    return replace(basis, type=model)


def _kicks(result: Result, without: Result) -> Kicks:
    start, end, free = (_local(result, bunch) for bunch in (result.start, result.end, without.end))
    return Kicks(start.s, end.energy - start.energy, end.pu - free.pu)


def _local(result: Result, bunch: Bunch):
    moved, orbit = on_orbit(bunch, result.orbit)
    return coordinates(moved, orbit)
