"""What becomes of a bunch in a run, as named numbers: what scans tabulate, and convergence is asked about.

| name | what | unit |
|---|---|---|
| loss | mean energy lost from the first bunch to the last | eV |
| energy | mean energy at the end | eV |
| spread | rms energy spread at the end | eV |
| length | rms length at the end | m |
| compression | rms length at the start over that at the end | 1 |
| peak_current | at the end | A |
| emittance, emittance_w | normalised, in the orbit plane and vertical, at the end | m |
| growth, growth_w | emittance at the end over that at the start, less 1 | 1 |
| size, size_w | rms sizes at the end | m |
"""
from __future__ import annotations

from typing import TYPE_CHECKING, Sequence

from ..beam.analyse import Summary

if TYPE_CHECKING:
    from .result import Result

UNITS = {"loss": "eV", "energy": "eV", "spread": "eV", "length": "m", "compression": "", "peak_current": "A", "emittance": "m",
         "emittance_w": "m", "growth": "", "growth_w": "", "size": "m", "size_w": "m"}


def quantities_of(result: "Result") -> dict[str, float]:
    """All quantities of a run, from its first and its last bunch, about the design orbit."""
    return changes(result.summary_of(result.start), result.summary_of(result.end))


def changes(start: Summary, end: Summary) -> dict[str, float]:
    """The quantities from the numbers of the bunch before and behind."""
    u, w = end.horizontal, end.vertical
    return {
        "loss": start.energy - end.energy, "energy": end.energy, "spread": end.energy_spread, "length": end.length,
        "compression": _ratio(start.length, end.length), "peak_current": end.peak_current,
        "emittance": u.emittance, "emittance_w": w.emittance,
        "growth": _ratio(u.emittance, start.horizontal.emittance) - 1,
        "growth_w": _ratio(w.emittance, start.vertical.emittance) - 1,
        "size": u.size, "size_w": w.size}


def _ratio(a: float, b: float) -> float:
    return a / b if b > 0 else float("nan")


def known(names: Sequence[str]) -> tuple[str, ...]:
    """The names, if all of them are quantities.

    :raises ValueError: one is not; the message lists those that there are.
    """
    for name in names:
        if name not in UNITS:
            raise ValueError(f"quantities: {name!r} is none; there are {', '.join(UNITS)}")
    return tuple(names)
