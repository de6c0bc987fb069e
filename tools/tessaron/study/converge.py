"""Is it converged? What steps, smoothing, boxes and particles each do to the numbers of a run, and what would be enough.

Every source of error is varied alone, at three resolutions around the run as it is. Steps, smoothing and boxes have an order,
by which the values are extrapolated (`extrapolation`); the noise of the particles is judged by runs with fewer of them. The
smoothing length is varied upwards, since a shorter one also needs more particles.
"""
from __future__ import annotations

from concurrent.futures import Executor
from dataclasses import dataclass
from html import escape
from pathlib import Path
from typing import TYPE_CHECKING, Sequence

from ..run.process import RunFailed
from ..run.quantities import UNITS, known
from ..run.run import Run
from .extrapolation import Limit, limit_of, noise_of
from .knobs import Knob, knobs_of
from .scan import Scan
from .table import Table, table_of

if TYPE_CHECKING:
    from matplotlib.figure import Figure


@dataclass(frozen=True)
class Source:
    """One source of error: its runs, and what they say of each quantity."""

    knob: Knob
    values: dict[str, list[float]]  #: by quantity, at the knob's scales
    limits: dict[str, Limit]  #: by quantity


@dataclass(frozen=True, repr=False)
class Convergence:
    """What became of the question."""

    run: Run
    to: float  #: relative error asked for
    values: dict[str, float]  #: of the run as it is
    sources: list[Source]
    left_out: list[str]  #: what could not be varied, in words
    seconds: float  #: that the run takes

    def error(self, quantity: str) -> float:
        """The stated error of the value: the sum of the errors by source."""
        return sum(source.limits[quantity].error for source in self.sources)

    def extrapolated(self, quantity: str) -> float:
        """The value with what each source with an order does to it taken away."""
        return self.values[quantity] + sum(source.limits[quantity].value - self.values[quantity]
                                           for source in self.sources if not source.knob.noisy)

    def is_converged(self, quantity: str) -> bool:
        """Whether the stated error is within what was asked for."""
        return self.error(quantity) <= self.to * abs(self.values[quantity])

    @property
    def converged(self) -> bool:
        """Whether all quantities are."""
        return all(self.is_converged(quantity) for quantity in self.values)

    def table(self) -> Table:
        """One row for each quantity: value, extrapolated value, error, and the errors by source."""
        return table_of([{"quantity": quantity, "unit": UNITS[quantity], "value": value,
                          "extrapolated": self.extrapolated(quantity), "error": self.error(quantity), "relative": self.error(quantity) / abs(value) if value else float("nan"),
                          **{f"by_{source.knob.name}": source.limits[quantity].error for source in self.sources},
                          "converged": "yes" if self.is_converged(quantity) else "no"} for quantity, value in self.values.items()])

    def advice(self) -> list[str]:
        """What to change, and what it will cost, so that every source keeps its share of the error asked for."""
        lines, cost = [], 1.0
        for source in self.sources:
            factor, worst = max((self._refinement(source, quantity), quantity) for quantity in self.values)
            if factor <= 1:
                continue
            price = factor**source.knob.cost
            cost *= price
            lines.append(f"{source.knob.name}: {source.knob.told(self.run, 1 / factor)}, for {worst}; {price:.2g} times the time")
        if lines:
            lines.append(f"together {cost:.2g} times the time: about {_duration(cost * self.seconds)} instead of "
                         f"{_duration(self.seconds)}")
        return lines

    def _refinement(self, source: Source, quantity: str) -> float:
        if self.is_converged(quantity):
            return 1.0
        share = self.to * abs(self.values[quantity]) / len(self.sources)
        factor = source.limits[quantity].refinement(share) if share > 0 else 1.0
        return min(factor, 1e3)

    def plot(self) -> "Figure":
        """The quantities against the scale of each source, with the value extrapolated."""
        import matplotlib.pyplot as plt

        from ..pictures.notebook import shown_once
        from ..pictures.style import label, unit_of

        figure, axes = plt.subplots(len(self.values), len(self.sources), squeeze=False, sharey="row", layout="constrained",
                                    figsize=(1 + 2.8 * len(self.sources), 0.6 + 2.4 * len(self.values)))
        for panels, (quantity, value) in zip(axes, self.values.items()):
            factor, unit = unit_of([value], UNITS[quantity])
            for panel, source in zip(panels, self.sources):
                knob, limit = source.knob, source.limits[quantity]
                panel.plot(knob.scales, [factor * value for value in source.values[quantity]], "o-")
                panel.errorbar([1], [factor * value], [factor * limit.error], color="k", capsize=4, fmt="s", fillstyle="none")
                if not knob.noisy:
                    panel.plot([0], [factor * limit.value], "*", ms=10, color="tab:orange")
                panel.set_xlim(left=-0.1)
                panel.grid(alpha=0.3)
            panels[0].set_ylabel(label(quantity, unit))
        for panel, source in zip(axes[-1], self.sources):
            panel.set_xlabel({"particles": "charge of a particle"}.get(source.knob.name, source.knob.name) + " / as it is")
        return shown_once(figure)

    def __str__(self) -> str:
        names = [source.knob.name for source in self.sources]
        lines = [_row("quantity", "value", "extrapolated", "error", *names, "order")]
        for quantity, value in self.values.items():
            relative = [limit.error / abs(value) if value else float("nan") for limit in (s.limits[quantity] for s in self.sources)]
            orders = ", ".join(f"{s.knob.name} {s.limits[quantity].order:.1f}{'' if s.limits[quantity].regular else '?'}"
                               for s in self.sources if not s.knob.noisy)
            cells = [quantity, f"{value:.6g} {UNITS[quantity]}", f"{self.extrapolated(quantity):.6g}",
                     f"{100 * self.error(quantity) / abs(value) if value else float('nan'):.2g} %",
                     *(f"{100 * share:.2g} %" for share in relative), orders]
            lines.append(_row(*cells))
        if self.converged:
            lines.append(f"converged to {100 * self.to:g} %")
        else:
            lines += [f"not converged to {100 * self.to:g} %. What would be enough:", *("  " + line for line in self.advice())]
        return "\n".join([*lines, *(f"not varied: {words}" for words in self.left_out)])

    __repr__ = __str__

    def _repr_html_(self) -> str:
        return f"<pre>{escape(str(self))}</pre>"


def converge(run: Run, quantities: Sequence[str] = ("loss", "emittance", "length"), to: float = 0.01,
             folder: str | Path = "converge", *, executor: Executor | None = None, program: str | Path | None = None, processes: int = 1, threads: int = 1,
             progress: bool | None = None) -> Convergence:
    """Varies one source of error after the other and says how far the run is from what it tends to.

    The runs are points of a `Scan`: they share the cores, and what is in the folder is not computed again. A bunch that
    knows how it was made (`Bunch.gaussian` and its like) is made again with fewer particles; of any other one random choices
    are taken, which have the noise of random particles also if the bunch is quiet.

    :param run: as it is.
    :param quantities: names of `tessaron.run.quantities`.
    :param to: relative error asked for.
    :param folder: of the runs; the other arguments as in `Scan`.
    :raises RunFailed: one of the runs did not complete.
    :raises ValueError: a quantity that is none, or an error that is not above 0.
    """
    if not to > 0:
        raise ValueError(f"converge: to must be a relative error above 0, not {to!r}")
    names = known(quantities)
    knobs, left_out = knobs_of(run)
    by_name = {knob.name: knob for knob in knobs}

    def make_run(source: str, scale: float) -> Run:
        return by_name[source].turned(run, scale) if scale != 1 else run

    points = [{"source": "none", "scale": 1.0}] + [{"source": knob.name, "scale": scale} for knob in knobs for scale in knob.scales
                                                   if scale != 1]
    scan = Scan(make_run, points, folder, program=program, processes=processes, threads=threads).run(executor, progress=progress)
    for manifest in scan.failed():
        raise RunFailed(scan.folder, manifest.ending)

    def numbers(knob: Knob, scale: float) -> dict[str, float]:
        return scan.manifest(source=knob.name if scale != 1 else "none", scale=scale).quantities

    base = scan.manifest(source="none", scale=1.0)
    sources = []
    for knob in knobs:
        seen = [numbers(knob, scale) for scale in knob.scales]
        values = {name: [row[name] for row in seen] for name in names}
        sources.append(Source(knob, values, {name: _limit(knob, values[name]) for name in names}))
    return Convergence(run, to, {name: base.quantities[name] for name in names}, sources, left_out, base.seconds)


def _limit(knob: Knob, values: list[float]) -> Limit:
    if knob.noisy:
        return noise_of(values, [1 / scale for scale in knob.scales], knob.order)
    return limit_of(values, knob.ratio, knob.order, knob.base)


def _row(*cells: str) -> str:
    return "  ".join(f"{cell:>{16 if k == 1 else 12}s}" for k, cell in enumerate(cells))


def _duration(seconds: float) -> str:
    if seconds < 90:
        return f"{seconds:.2g} s"
    return f"{seconds / 60:.0f} min" if seconds < 5400 else f"{seconds / 3600:.1f} h"
