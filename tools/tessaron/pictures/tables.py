"""Results of `analyse` as text tables with units."""
from __future__ import annotations

import numpy as np

from ..beam.budget import BudgetRow
from ..constants import SPEED_OF_LIGHT
from ..lattice.geometry import Boundary
from ..run.tracked_optics import TrackedOptics

_ROWS = (
    ("c*t", "ct", 1, "m"), ("particles", "particles", 1, ""), ("charge", "charge", 1e9, "nC"), ("mean energy", "energy", 1e-6, "MeV"),
    ("energy spread", "energy_spread", 1e-3, "keV"), ("  about a cubic chirp", "energy_spread_uncorrelated", 1e-3, "keV"),
    ("chirp, more behind", "chirp", 1, "1/m"), ("rms length", "length", 1e6, "um"), ("peak current", "peak_current", 1, "A"),
)
_PLANE_ROWS = (
    ("rms size", "size", 1e6, "um"), ("rms angle", "angle", 1e6, "urad"), ("norm. emittance", "emittance", 1e6, "um"),
    ("  without dispersion", "emittance_free", 1e6, "um"), ("beta", "beta", 1, "m"), ("alpha", "alpha", 1, ""),
    ("dispersion", "dispersion", 1e3, "mm"), ("slope of the dispersion", "dispersion_slope", 1e3, "mrad"),
)
_SERIES = (("c*t [m]", "ct", 1), ("s [m]", "place", 1), ("energy [MeV]", "energy", 1e-6), ("loss [keV]", "loss", 1e-3), ("spread [keV]", "energy_spread", 1e-3),
           ("length [um]", "length", 1e6), ("emitt. u [um]", "emittance_u", 1e6), ("u, no disp. [um]", "emittance_u_free", 1e6),
           ("emitt. w [um]", "emittance_w", 1e6), ("disp. [mm]", "dispersion", 1e3))
_SLICES = (("ahead [um]", "s", 1e6), ("current [A]", "current", 1), ("energy [MeV]", "energy", 1e-6),
           ("spread [keV]", "energy_spread", 1e-3), ("emitt. u [um]", "emittance_u", 1e6), ("u, no disp. [um]", "emittance_u_free", 1e6),
           ("emitt. w [um]", "emittance_w", 1e6), ("centre u [um]", "centre_u", 1e6), ("angle u [urad]", "angle_u", 1e6), ("particles", "particles", 1))


def summary_rows(entry: dict) -> list[tuple[str, str, str]]:
    """(name, value, unit) of all numbers of one bunch summary."""
    rows = [(name, f"{entry[key] * factor:.6g}", unit) for name, key, factor, unit in _ROWS]
    rows[-1] = (rows[-1][0], rows[-1][1], f"A, in bins of {entry['current_bin'] * 1e6:.4g} um: up to {0.5e-12 * SPEED_OF_LIGHT / entry['current_bin']:.3g} THz")
    rows.append(("coordinates along", "the orbit" if entry["frame"] == "orbit" else "the mean momentum", ""))
    if entry["place"] is not None:
        rows += [("path length of the centre", f"{entry['place']:.7g}", "m"), ("centre beside the orbit", f"{entry['offset'] * 1e6:.6g}", "um")]
    rows.append(("centre x, y, z", ", ".join(f"{value:.6g}" for value in entry["position"]), "m"))
    for plane, label in (("horizontal", "in the orbit plane"), ("vertical", "vertical")):
        rows += [(f"{name}, {label}", f"{entry[plane][key] * factor:.6g}", unit) for name, key, factor, unit in _PLANE_ROWS]
    return rows


def column_table(columns: dict, kind: str) -> tuple[list[str], list[list[str]]]:
    """Heads and rows of a table of columns; `kind` is "series" or "slices"."""
    chosen = _SERIES if kind == "series" else _SLICES
    rows = zip(*(["-" if value is None or value != value else f"{value * factor if abs(value * factor) > 1e-7 else 0:.7g}" for value in columns[key]] for _, key, factor in chosen))
    return [head for head, _, _ in chosen], [list(row) for row in rows]


def path_length_rows(fit: dict) -> list[tuple[str, str, str]]:
    """(name, value, unit) of a fitted path length."""
    names = (("R56, head at negative z", "r56", 1e3, "mm"), ("T566", "t566", 1e3, "mm"), ("U5666", "u5666", 1e3, "mm"),
             ("rms left by the fit", "rest", 1e6, "um"))
    return [(name, f"{fit[key] * factor:.6g}", unit) for name, key, factor, unit in names]


def budget_table(rows: list[BudgetRow]) -> tuple[list[str], list[list[str]]]:
    """Heads and rows of an energy budget; `~` marks ends that are interpolated between two bunches."""
    columns = (("mean [keV]", "mean", 1e-3), ("rms [keV]", "rms", 1e-3), ("spread [keV]", "spread", 1e-3), ("length [um]", "length", 1e6),
               ("emitt. u [um]", "emittance_u", 1e6), ("u, no disp. [um]", "emittance_u_free", 1e6), ("emitt. w [um]", "emittance_w", 1e6))
    table = [[row.section.name, number(row.start), number(row.end), "~" if row.interpolated else "",
              *(number(getattr(row, name) * factor) for _, name, factor in columns)] for row in rows]
    if rows:  # rms changes of single particles do not add up
        table.append(["all", number(rows[0].start), number(rows[-1].end), "", *(
            "" if name == "rms" else number(sum(getattr(row, name) for row in rows) * factor) for _, name, factor in columns)])
    return ["section", "from [m]", "to [m]", "", *(head for head, _, _ in columns)], table


def optics_table(optics: TrackedOptics, boundaries: list[Boundary]) -> tuple[list[str], list[list[str]]]:
    """Heads and rows of optics at the start and at every boundary, a tenth of a millimetre ahead of it or behind."""
    heads = ["", "s [m]", "beta u [m]", "alpha u", "beta w [m]", "alpha w", "dispersion [mm]", "slope [mrad]", "R56 [mm]", "T566 [mm]"]
    columns = ((optics.beta_u, 1), (optics.alpha_u, 1), (optics.beta_w, 1), (optics.alpha_w, 1), (optics.dispersion, 1e3),
               (optics.dispersion_slope, 1e3), (optics.r56, 1e3), (np.round(optics.t566, 7), 1e3))
    places = [("start", 0)] + [(b.marker or f"boundary {k}", int(np.argmin(np.abs(optics.s - b.s)))) for k, b in enumerate(boundaries, 1)]
    return heads, [[name, f"{optics.s[k]:.7g}", *(number(float(values[k]) * factor) for values, factor in columns)] for name, k in places]


def number(value: float) -> str:
    """Five digits; what rounding alone makes is 0."""
    return f"{value:.5g}" if abs(value) > 1e-7 else "0"


def text_table(heads: list[str], rows: list[list[str]]) -> str:
    """A table for the console, every column as wide as it needs; numbers to the right."""
    widths = [max(len(row[k]) for row in [heads, *rows]) for k in range(len(heads))]
    return "\n".join("  ".join(cell.ljust(width) if k == 0 else cell.rjust(width) for k, (cell, width) in enumerate(zip(row, widths)))
                     for row in [heads, *rows]) + "\n"


def analysis_text(result: dict) -> str:
    """The whole result for the console."""
    parts = []
    for entry in result["bunches"]:
        parts += [entry["file"], _lines(summary_rows(entry))]
        if "slices" in entry:
            parts.append(text_table(*column_table(entry["slices"], "slices")))
    if "series" in result:
        parts.append(text_table(*column_table(result["series"], "series")))
    if "path_length" in result:
        parts.append(_lines(path_length_rows(result["path_length"])))
    return "\n".join(parts)


def _lines(rows: list[tuple[str, str, str]]) -> str:
    return "\n".join(f"  {name:36s} {value:>20s} {unit}" for name, value, unit in rows) + "\n"
