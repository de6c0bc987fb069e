"""Pictures of bunches, runs and lattices. Every function returns a matplotlib figure; `save` writes it."""
from __future__ import annotations

import numpy as np
from matplotlib.figure import Figure

from ..beam.bunch import Bunch, LocalCoordinates
from ..beam.orbit import coordinates
from ..beam.slices import profile_of, slices_of
from ..files.outputs import Grid, GreenFile, ParticleForce, Steps, direction_of
from ..lattice.geometry import Boundary
from .density import draw_cloud
from .floor import floor_plan
from .greenmesh import extent, mesh_lines, wavefront_zones
from .style import INK, SECOND, THIRD, label, plt, save, some, unit_of

__all__ = ["INK", "SECOND", "THIRD", "floor_plan", "plt", "save", "unit_of"]


def phase_spaces(bunch: Bunch, orbit: list[Boundary] | None = None, title: str = "") -> Figure:
    """Longitudinal phase space, both transverse ones, and the view from above, as densities.

    :param orbit: the field boundaries, for coordinates about the design orbit; so in the other pictures of bunches.
    """
    local = coordinates(bunch, orbit)
    figure, axes = plt.subplots(2, 2, figsize=(9, 7))
    weight = local.weight
    draw_cloud(axes[0, 0], local.s, _energy_offset(local), weight, ("ahead", "m"), ("energy less its mean", "eV"))
    draw_cloud(axes[0, 1], local.u, local.pu / local.ps, weight, ("u, across in the plane", "m"), ("u'", "rad"))
    draw_cloud(axes[1, 0], local.w, local.pw / local.ps, weight, ("w, vertical", "m"), ("w'", "rad"))
    draw_cloud(axes[1, 1], local.s, local.u, weight, ("ahead", "m"), ("u", "m"))
    figure.suptitle(title or f"bunch at c·t = {bunch.ct:.6g} m")
    return figure


def longitudinal(bunches: list[tuple], bins: int = 100) -> Figure:
    """Longitudinal phase space above the current, one column per bunch.

    :param bunches: name, bunch, and if wanted the field boundaries of its orbit.
    """
    figure, axes = plt.subplots(2, len(bunches), figsize=(4.8 * len(bunches), 6.5), squeeze=False, sharex="col")
    for (name, bunch, *orbit), (top, bottom) in zip(bunches, axes.T):
        local = coordinates(bunch, *orbit)
        factor, unit = unit_of(local.s, "m")
        draw_cloud(top, local.s, _energy_offset(local), local.weight, ("", "m"), ("energy less its mean", "eV"))
        top.set_xlabel("")
        top.set_title(name)
        edges, current = profile_of(local, float(np.abs(bunch.charge).sum()), bins)
        bottom.stairs(*_current(current, edges * factor, bottom), color=INK, fill=True, alpha=0.5)
        bottom.set_xlabel(label("ahead of the centre", unit))
    return figure


def _energy_offset(local: LocalCoordinates) -> np.ndarray:
    """Energies less their mean [eV]; rounding alone counts as nothing."""
    mean = local.weight @ local.energy
    offset = local.energy - mean
    return offset if np.abs(offset).max() > 1e-13 * mean else np.zeros_like(offset)


def slices(bunch: Bunch, orbit: list[Boundary] | None = None, count: int = 50, title: str = "", equal: str = "length") -> Figure:
    """Current, slice energy spread, slice emittances and slice centroid along the bunch."""
    local, charge = coordinates(bunch, orbit), float(np.abs(bunch.charge).sum())
    table = slices_of(local, charge, count, equal=equal)
    figure, axes = plt.subplots(4, 1, figsize=(7, 9), sharex=True)
    edges, current = profile_of(local, charge, count, whole=True)
    factor, unit = unit_of(edges, "m")
    axes[0].stairs(*_current(current, edges * factor, axes[0]), color=INK, fill=True, alpha=0.5)
    _lines(axes[1], table.s * factor, "slice energy spread", "eV", [(table.energy_spread, "")])
    _lines(axes[2], table.s * factor, "slice emittance, norm.", "m", [
        (table.emittance_u, "in the orbit plane"), (table.emittance_u_free, "the same without dispersion"), (table.emittance_w, "vertical")])
    axes[2].set_ylim(bottom=0)
    _lines(axes[3], table.s * factor, "slice centre u", "m", [(table.centre_u, "")])
    axes[-1].set_xlabel(label("ahead of the centre", unit))
    figure.suptitle(title or f"slices at c·t = {bunch.ct:.6g} m")
    return figure


def _lines(axes: plt.Axes, x: np.ndarray, name: str, unit: str, curves: list[tuple[np.ndarray, str]], marker: str = "") -> None:
    """Curves of one kind in one readable unit, told apart by dashes as well as by colour."""
    factor, text = unit_of(np.concatenate([np.ravel(values) for values, _ in curves]), unit)
    for (values, legend), colour, dashes in zip(curves, (INK, SECOND, THIRD), ("-", "--", ":")):
        axes.plot(x, values * factor, color=colour, ls=dashes, marker=marker, ms=4, label=legend)
    axes.set_ylabel(label(name, text))
    if len(curves) > 1:
        axes.legend()


def force(forces: list[tuple[str, ParticleForce]], current: Grid | None = None, direction: float | None = None) -> Figure:
    """Force along the bunch from fc1.dat and fc2.dat, the head to the right.

    :param direction: of the motion of particle 1 [rad], which the files do not tell; guessed otherwise.
    """
    figure, axes = plt.subplots(figsize=(7, 4.5))
    angles = [direction_of(item) if direction is None else direction for _, item in forces]
    places = [np.cos(angle) * item.dx + np.sin(angle) * item.dy for angle, (_, item) in zip(angles, forces)]
    factor, unit = unit_of(np.concatenate(places), "m")
    scale, scale_unit = unit_of(np.concatenate([item.along for _, item in forces]), "eV/m")
    for (name, item), place, colour in zip(forces, places, [INK, SECOND, THIRD] * len(forces)):
        order = np.argsort(place)
        if item.across is None:
            axes.plot(place[order] * factor, item.along[order] * scale, color=colour, label=name)
        else:
            axes.plot(place * factor, item.along * scale, ".", ms=3, color=colour, label=name + ", along")
            axes.plot(place * factor, item.across * scale, "x", ms=3, color=THIRD, label=name + ", across")
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
    for column, text in ((1, "along"), (2, "radial"), (3, "vertical")):
        if np.any(table[:, column]):
            axes.plot(table[:, 0], table[:, column] * factor, label=text)
    axes.set_xlabel("c·t / m")
    axes.set_ylabel(f"rms size of the sub-bunches / {unit}")
    if axes.lines:
        axes.legend()
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
    factor, unit = unit_of(size, "m")
    top.step(table.ct[1:], size * factor, where="pre", color=INK)
    top.plot(table.ct[1:][table.duty[1:]], size[table.duty[1:]] * factor, "o", ms=3, color=SECOND, label="duty stops")
    top.set_ylabel(label("step", unit))
    if table.duty[1:].any():
        top.legend()
    factor, unit = unit_of(table.error, "")
    middle.plot(table.ct, table.error * factor, color=INK)
    middle.set_ylabel(label("integrated step error", unit))
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
    """Loss of mean energy, length and emittances along the orbit or against c*t, from `analyse.series_of`."""
    figure, axes = plt.subplots(4, 1, figsize=(8, 9.5), sharex=True)
    along = "place" if np.all(np.isfinite(columns["place"])) else "ct"
    x = columns[along]
    _lines(axes[0], x, "mean energy loss", "eV", [(columns["loss"], "")], ".")
    _lines(axes[1], x, "rms length", "m", [(columns["length"], "")], ".")
    _lines(axes[2], x, "norm. emittance", "m", [(columns["emittance_u"], "in the orbit plane"),
                                                (columns["emittance_u_free"], "the same without dispersion"), (columns["emittance_w"], "vertical")], ".")
    if columns["emittance_u"].min() > 0 and columns["emittance_u"].max() > 20 * columns["emittance_u"].min():
        axes[2].set_yscale("log")  # inside a chicane the dispersion counts as emittance
    _lines(axes[3], x, "dispersion", "m", [(columns["dispersion"], "")], ".")
    axes[-1].set_xlabel("s / m" if along == "place" else "c·t / m")
    return figure


def _current(current: np.ndarray, edges: np.ndarray, axes: plt.Axes) -> tuple[np.ndarray, np.ndarray]:
    factor, unit = unit_of(current, "A")
    axes.set_ylabel(f"current / {unit}")
    return current * factor, edges
