"""Pictures of bunches, runs and lattices. Every function returns a matplotlib figure; `save` writes it."""
from __future__ import annotations

import numpy as np
from matplotlib.figure import Figure

from ..beam import analyse
from ..beam.bunch import Bunch, LocalCoordinates
from ..files.outputs import Boundary, Grid, GreenFile, ParticleForce, Steps, design_orbit, direction_of
from .density import draw_cloud
from .greenmesh import extent, mesh_lines, wavefront_zones
from .style import INK, SECOND, THIRD, label, plt, save, some, unit_of

__all__ = ["INK", "SECOND", "THIRD", "plt", "save", "unit_of"]


def phase_spaces(bunch: Bunch, title: str = "") -> Figure:
    """Longitudinal phase space, both transverse ones, and the view from above, as densities."""
    local = bunch.local()
    figure, axes = plt.subplots(2, 2, figsize=(9, 7))
    weight = local.weight
    draw_cloud(axes[0, 0], local.s, _energy_offset(local), weight, ("ahead", "m"), ("energy less its mean", "eV"))
    draw_cloud(axes[0, 1], local.u, local.pu / local.ps, weight, ("u, across in the plane", "m"), ("u'", "rad"))
    draw_cloud(axes[1, 0], local.w, local.pw / local.ps, weight, ("w, vertical", "m"), ("w'", "rad"))
    draw_cloud(axes[1, 1], local.s, local.u, weight, ("ahead", "m"), ("u", "m"))
    figure.suptitle(title or f"bunch at c·t = {bunch.ct:.6g} m")
    return figure


def longitudinal(bunches: list[tuple[str, Bunch]], bins: int = 100) -> Figure:
    """Longitudinal phase space above the current, one column per bunch."""
    figure, axes = plt.subplots(2, len(bunches), figsize=(4.8 * len(bunches), 6.5), squeeze=False, sharex="col")
    for (name, bunch), (top, bottom) in zip(bunches, axes.T):
        local = bunch.local()
        factor, unit = unit_of(local.s, "m")
        draw_cloud(top, local.s, _energy_offset(local), local.weight, ("", "m"), ("energy less its mean", "eV"))
        top.set_xlabel("")
        top.set_title(name)
        edges, current = analyse.current_profile(bunch, bins)
        bottom.stairs(*_current(current, edges * factor, bottom), color=INK, fill=True, alpha=0.5)
        bottom.set_xlabel(label("ahead of the centre", unit))
    return figure


def _energy_offset(local: LocalCoordinates) -> np.ndarray:
    """Energies less their mean [eV]; rounding alone counts as nothing."""
    mean = local.weight @ local.energy
    offset = local.energy - mean
    return offset if np.abs(offset).max() > 1e-13 * mean else np.zeros_like(offset)


def slices(bunch: Bunch, count: int = 50, title: str = "") -> Figure:
    """Current, slice energy spread and slice emittances along the bunch."""
    table = analyse.slice_moments(bunch, count)
    factor, unit = unit_of(table.s, "m")
    figure, (top, middle, bottom) = plt.subplots(3, 1, figsize=(7, 8), sharex=True)
    edges, current = analyse.current_profile(bunch, count, whole=True)
    top.stairs(*_current(current, edges * factor, top), color=INK, fill=True, alpha=0.5)
    spread_factor, spread_unit = unit_of(table.energy_spread, "eV")
    middle.plot(table.s * factor, table.energy_spread * spread_factor, color=INK)
    middle.set_ylabel(f"slice energy spread / {spread_unit}")
    bottom.plot(table.s * factor, table.emittance_u * 1e6, color=INK, label="in the orbit plane")
    bottom.plot(table.s * factor, table.emittance_w * 1e6, color=SECOND, ls="--", label="vertical")
    bottom.set_ylabel("slice emittance, norm. / µm")
    bottom.set_ylim(bottom=0)
    bottom.set_xlabel(f"ahead of the centre / {unit}")
    bottom.legend()
    figure.suptitle(title or f"slices at c·t = {bunch.ct:.6g} m")
    return figure


def force(forces: list[tuple[str, ParticleForce]], current: Grid | None = None, direction: float | None = None) -> Figure:
    """Force along the bunch from fc1.dat and fc2.dat, the head to the right.

    :param direction: of the motion of particle 1 [rad], which the files do not tell; guessed otherwise.
    """
    figure, axes = plt.subplots(figsize=(7, 4.5))
    angles = [direction_of(item) if direction is None else direction for _, item in forces]
    places = [np.cos(angle) * item.dx + np.sin(angle) * item.dy for angle, (_, item) in zip(angles, forces)]
    factor, unit = unit_of(np.concatenate(places), "m")
    scale, scale_unit = unit_of(np.concatenate([item.along for _, item in forces]), "eV/m")
    for (label, item), place, colour in zip(forces, places, [INK, SECOND, THIRD] * len(forces)):
        order = np.argsort(place)
        if item.across is None:
            axes.plot(place[order] * factor, item.along[order] * scale, color=colour, label=label)
        else:
            axes.plot(place * factor, item.along * scale, ".", ms=3, color=colour, label=label + ", along")
            axes.plot(place * factor, item.across * scale, "x", ms=3, color=THIRD, label=label + ", across")
    axes.set_xlabel(f"ahead of particle 1 / {unit}")
    axes.set_ylabel(f"force / ({scale_unit})")
    if current is not None:
        second = axes.twinx()
        second.fill_between(-current.position * factor, current.value, color="0.5", alpha=0.25, lw=0)
        second.set_ylabel("current / A")
        second.grid(False)
    axes.legend()
    return figure


def force_on_path(table: np.ndarray, title: str = "") -> Figure:
    """The three force components of an fmt3 file along the bunch."""
    figure, axes = plt.subplots(figsize=(7, 4.5))
    table = table[some(len(table))]
    factor, unit = unit_of(table[:, 4], "m")
    scale, scale_unit = unit_of(table[:, 7:10], "eV/m")
    for column, text, colour in ((7, "along the motion", INK), (8, "across, in the plane", SECOND), (9, "across, vertical", THIRD)):
        if np.any(table[:, column]):
            axes.plot(table[:, 4] * factor, table[:, column] * scale, ".", ms=1.5, color=colour, label=text, rasterized=True)
    axes.set_xlabel(f"ahead of particle 1 / {unit}")
    axes.set_ylabel(f"force / ({scale_unit})")
    if axes.lines:
        axes.legend(markerscale=5)
    axes.set_title(title)
    return figure


def subbunch(table: np.ndarray) -> Figure:
    """Sizes of the sub-bunches against c*t, from a `subbunch` monitor."""
    figure, axes = plt.subplots(figsize=(8, 3.5))
    factor, unit = unit_of(table[:, 1:], "m")
    for column, label in ((1, "along"), (2, "radial"), (3, "vertical")):
        if np.any(table[:, column]):
            axes.plot(table[:, 0], table[:, column] * factor, label=label)
    axes.set_xlabel("c·t / m")
    axes.set_ylabel(f"rms size of the sub-bunches / {unit}")
    if axes.lines:
        axes.legend()
    return figure


def floor_plan(boundaries: list[Boundary]) -> Figure:
    """The lattice from above: field boundaries, bending sections, the design orbit."""
    figure, axes = plt.subplots(figsize=(9, 3.6))
    x, y = design_orbit(boundaries)
    half = max(np.ptp(y) * 0.15, np.ptp(x) * 0.004, 1e-3)
    for b in boundaries:
        axes.plot([b.x + b.ny * half, b.x - b.ny * half], [b.y - b.nx * half, b.y + b.nx * half], color="0.4", lw=1)
        if b.marker:
            axes.annotate(b.marker, (b.x, b.y + half), rotation=60, fontsize=8, ha="left", va="bottom")
    for first, b in zip(boundaries, boundaries[1:]):
        if b.r:
            xs = [first.x + first.ny * half, first.x - first.ny * half, b.x - b.ny * half, b.x + b.ny * half]
            ys = [first.y - first.nx * half, first.y + first.nx * half, b.y + b.nx * half, b.y - b.nx * half]
            axes.fill(xs, ys, color=SECOND if b.r > 0 else INK, alpha=0.25, lw=0)
    axes.plot(x, y, color="k", lw=1.2)
    axes.margins(0.03, 0.35)
    axes.set_xlabel("x / m")
    axes.set_ylabel("y / m (not to scale)")
    return figure


def green_mesh(mesh: GreenFile, sigma_long: float | None = None) -> Figure:
    """The region of a mesh and the wavefronts that cross it; also its lines and their zones where the sub-bunch length is told."""
    figure, axes = plt.subplots(figsize=(8, 5))
    a, b = mesh.polygon
    fa, unit_a = unit_of(a, "m")
    fb, unit_b = unit_of(b, "m")
    axes.fill(a * fa, b * fb, facecolor="0.93", edgecolor="k", label="mesh")
    if sigma_long:
        for k, (low, high) in enumerate(wavefront_zones(mesh, sigma_long)):
            axes.axvspan(low * fa, high * fa, color=SECOND, alpha=0.2, lw=0, label="fine zones" if k == 0 else None)
        lines = mesh_lines(mesh, sigma_long)
        axes.vlines(lines * fa, *(end * fb for end in extent(mesh.polygon, lines)), color="0.35", lw=0.5, label="lines of the mesh")
    margin = 0.05 * np.ptp(b)
    height = np.linspace(b.min() - margin, b.max() + margin, 400)
    fronts = 0
    for ct, x, y, _ in mesh.arcs.T:
        if ct < 0:
            reach = ct**2 - (height - y) ** 2
            for side in (-1, 1):
                front = np.where(reach > 0, x + side * np.sqrt(np.maximum(reach, 0)), np.nan)
                if np.any((front > a.min()) & (front < a.max())):
                    axes.plot(front * fa, height * fb, color=INK, lw=0.8, label="wavefronts" if fronts == 0 else None)
                    fronts += 1
    pad = 0.05 * np.ptp(a)
    axes.set_xlim((a.min() - pad) * fa, (a.max() + pad) * fa)
    axes.set_ylim((b.min() - margin) * fb, (b.max() + margin) * fb)
    axes.set_xlabel(f"a, along the sub-bunch's motion / {unit_a}")
    axes.set_ylabel(f"b, across / {unit_b}")
    axes.legend(loc="upper left")
    return figure


def steps(table: Steps) -> Figure:
    """Step size, integrated step error and force calls against c*t; duty stops as dots."""
    figure, (top, middle, bottom) = plt.subplots(3, 1, figsize=(8, 7), sharex=True)
    size = np.diff(table.ct)
    top.step(table.ct[1:], size, where="pre", color=INK)
    top.plot(table.ct[1:][table.duty[1:]], size[table.duty[1:]], "o", ms=3, color=SECOND, label="duty stops")
    top.set_ylabel("step / m")
    if table.duty[1:].any():
        top.legend()
    middle.plot(table.ct, table.error, color=INK)
    middle.set_ylabel("integrated step error")
    names = ("projected", "csr_p_to_p", "csr_p_to_m", "csr_g_to_p", "csr_g_to_m")
    for name, calls in zip(names, table.calls):
        if calls.any():
            bottom.plot(table.ct, calls, label=name)
    if table.calls.any():
        bottom.legend()
    bottom.set_ylabel("force calls")
    bottom.set_xlabel("c·t / m")
    return figure


def development(columns: dict[str, np.ndarray]) -> Figure:
    """Loss of mean energy, length and emittances against c*t, from `analyse.series`."""
    figure, (top, middle, bottom) = plt.subplots(3, 1, figsize=(8, 7.5), sharex=True)
    for axes, name, label, unit in ((top, "loss", "mean energy loss", "eV"), (middle, "length", "rms length", "m")):
        factor, text = unit_of(columns[name], unit)
        axes.plot(columns["ct"], columns[name] * factor, ".-", color=INK)
        axes.set_ylabel(f"{label} / {text}")
    bottom.plot(columns["ct"], columns["emittance_u"] * 1e6, ".-", color=INK, label="in the orbit plane")
    bottom.plot(columns["ct"], columns["emittance_w"] * 1e6, ".--", color=SECOND, label="vertical")
    bottom.set_ylabel("norm. emittance / µm")
    if columns["emittance_u"].min() > 0 and columns["emittance_u"].max() > 20 * columns["emittance_u"].min():
        bottom.set_yscale("log")  # inside a chicane the dispersion counts as emittance
    bottom.set_xlabel("c·t / m")
    bottom.legend()
    return figure


def _current(current: np.ndarray, edges: np.ndarray, axes: plt.Axes) -> tuple[np.ndarray, np.ndarray]:
    factor, unit = unit_of(current, "A")
    axes.set_ylabel(f"current / {unit}")
    return current * factor, edges
