"""The lattice from above: magnets bent along the design orbit, faces as they stand, markers."""
from __future__ import annotations

import numpy as np
from matplotlib.figure import Figure

from ..lattice.geometry import Boundary, design_orbit
from ..lattice.sections import KINDS, Section, sections_of
from .style import FOURTH, INK, SECOND, label, plt, unit_of

COLOURS = {"dipole to the right": SECOND, "dipole to the left": INK, "quadrupole or multipole": FOURTH}


def floor_plan(boundaries: list[Boundary], equal_scales: bool = False) -> Figure:
    """Draws field boundaries, magnets and the design orbit.

    :param equal_scales: the same scale along and across; otherwise the picture is as high as reads well.
    """
    x, y = design_orbit(boundaries)
    width, height = max(np.ptp(x), 1e-3), np.ptp(y)
    figure, axes = plt.subplots(figsize=(9, np.clip(9 * height / width + 1.6, 2.4, 9) if equal_scales else 3.8))
    half = 0.02 * max(width, height) if equal_scales else max(0.1 * height, 0.004 * width)
    fx, x_unit = unit_of(x, "m")
    fy, y_unit = (fx, x_unit) if equal_scales else unit_of(np.append(y, half), "m")
    drawn = set()
    for section in sections_of(boundaries):
        if section.kind not in ("dipole", "quadrupole"):
            continue
        name = KINDS[section.kind] if section.kind == "quadrupole" else f"dipole to the {'right' if section.end.r > 0 else 'left'}"
        outline = _outline(section, half if section.kind == "dipole" else 0.7 * half)
        axes.fill(outline[0] * fx, outline[1] * fy, color=COLOURS[name], alpha=0.3, lw=0, label=None if name in drawn else name)
        drawn.add(name)
    for b in boundaries:
        ends = np.array([[b.x + side * half * -b.ny, b.y + side * half * b.nx] for side in (-1, 1)]).T
        thin = b.element[0] == 0
        axes.plot(ends[0] * fx, ends[1] * fy, color=FOURTH if thin else "0.35", lw=2 if thin else 1)
    axes.plot(x * fx, y * fy, color="k", lw=1.2)
    _markers(axes, boundaries, half, fx, fy)
    if equal_scales:
        axes.set_aspect("equal", adjustable="datalim")
    axes.margins(0.03, 0.05 if equal_scales else 0.35)
    axes.set_xlabel(label("x", x_unit))
    axes.set_ylabel(label("y", y_unit) + ("" if equal_scales else "\n(other scale than x)"))
    if drawn:
        axes.legend(loc="lower right", bbox_to_anchor=(1.0, 1.0), fontsize=8, ncol=3, frameon=False)
    return figure


def _outline(section: Section, half: float) -> np.ndarray:
    """(2, N) corners of a magnet of the given half width [m] between its two faces, which may be slanted."""
    left, right = (_side(section, side * half) for side in (1, -1))
    return np.hstack([left, right[:, ::-1]])


def _side(section: Section, offset: float) -> np.ndarray:
    """Points of a magnet's edge that runs beside the orbit at an offset to the left [m]."""
    begin, end = (face.s + offset * _slant(face) for face in (section.start, section.end))
    points = np.array([section.point(s) for s in np.linspace(begin, max(begin, end), 120)]).T
    x, y, tx, ty = points
    return np.array([x - offset * ty, y + offset * tx])


def _slant(face: Boundary) -> float:
    """How far a face leads ahead along the orbit per offset to the left."""
    straight = face.nx * face.tx + face.ny * face.ty
    return float(np.clip((face.nx * face.ty - face.ny * face.tx) / straight, -5, 5)) if straight else 0.0


def _markers(axes: plt.Axes, boundaries: list[Boundary], half: float, fx: float, fy: float) -> None:
    """Names of the markers; where they would stand on each other only some of them."""
    marked = [b for b in boundaries if b.marker]
    reach = (marked[-1].s - marked[0].s if marked else 0.0) / 45
    last = -np.inf
    for b in marked:
        if b.s - last >= reach:
            axes.annotate(b.marker, (b.x * fx, (b.y + 1.1 * half) * fy), rotation=60, fontsize=8, ha="left", va="bottom")
            last = b.s
