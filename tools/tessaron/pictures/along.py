"""What happens along the beam line: energy budget, slices, optics, bunching."""
from __future__ import annotations

import numpy as np
from matplotlib.colors import Normalize
from matplotlib.figure import Figure

from ..beam.analyse import Summary
from ..beam.budget import BudgetRow, Station, energy_budget, placed
from ..beam.bunching import Bunching, bunching
from ..beam.orbit import coordinates
from ..beam.slices import Slices
from ..lattice.geometry import Boundary
from ..lattice.sections import sections_of
from ..run.folder import RunFolder
from ..run.orbit import Orbit, read_orbit
from ..run.process import DECK
from ..run.tracked_optics import TrackedOptics, optics as tracked, track_rays
from .floor import COLOURS
from .style import INK, SECOND, THIRD, label, plt, unit_of


def lattice_strip(axes: plt.Axes, boundaries: list[Boundary]) -> None:
    """Magnets as blocks at the top edge of a picture along s."""
    for section in sections_of(boundaries):
        if section.kind == "drift":
            continue
        colour = COLOURS["quadrupole or multipole"] if section.kind == "quadrupole" else COLOURS[f"dipole to the {'right' if section.end.r > 0 else 'left'}"]
        axes.axvspan(section.start.s, section.end.s, 0.94, 1.0, color=colour, alpha=0.7, lw=0)
        axes.axvspan(section.start.s, section.end.s, color=colour, alpha=0.07, lw=0)


def budget(rows: list[BudgetRow], stations: list[Station], boundaries: list[Boundary]) -> Figure:
    """Energy change of every section as a bar, and what has come together so far."""
    stations = placed(stations)
    figure, axes = plt.subplots(4, 1, figsize=(8.5, 9.5), sharex=True, height_ratios=[1.3, 1, 1, 1])
    factor, unit = unit_of(np.array([[row.mean, row.rms] for row in rows]), "eV")
    for k, row in enumerate(rows):
        where, width = 0.5 * (row.start + row.end), row.end - row.start
        hatch = "///" if row.interpolated else None
        axes[0].bar(where, row.mean * factor, width, color=INK, alpha=0.75, hatch=hatch, ec="white", label="mean" if k == 0 else None)
        axes[0].errorbar(where, 0, row.rms * factor, color=SECOND, capsize=3, lw=1.5, label="± rms over the particles" if k == 0 else None)
    axes[0].axhline(0, color="0.3", lw=0.8)
    axes[0].set_ylabel(label("energy change in a section", unit))
    axes[0].legend()
    first = stations[0]
    places = np.array([station.place for station in stations])
    changes = [station.energy - first.energy for station in stations]
    means = np.array([first.weight @ change for change in changes])
    spreads = np.array([np.sqrt(first.weight @ (change - mean) ** 2) for change, mean in zip(changes, means)])
    factor, unit = unit_of(np.concatenate([means, spreads]), "eV")
    axes[1].plot(places, means * factor, ".-", color=INK, label="mean")
    axes[1].plot(places, spreads * factor, ".--", color=SECOND, label="rms")
    axes[1].set_ylabel(label("energy change so far", unit))
    axes[1].legend()
    for axis, name, unit, curves in (
            (axes[2], "rms length", "m", [("", [s.summary.length for s in stations])]),
            (axes[3], "norm. emittance", "m", [("in the plane, where dispersion is closed", [_closed(s) for s in stations]),
                                               ("in the plane, without dispersion", [s.summary.horizontal.emittance_free for s in stations]),
                                               ("vertical", [s.summary.vertical.emittance for s in stations])])):
        factor, text = unit_of(np.concatenate([values for _, values in curves]), unit)
        for (legend, values), colour, dashes in zip(curves, (INK, SECOND, THIRD), ("-", "--", ":")):
            axis.plot(places, np.array(values) * factor, dashes, marker=".", color=colour, label=legend)
        axis.set_ylabel(label(name, text))
        if len(curves) > 1:
            axis.legend()
    for axis in axes:
        lattice_strip(axis, boundaries)
    axes[-1].set_xlabel("s / m")
    return figure


def rows_of(stations: list[Station], orbit: Orbit | None) -> list[BudgetRow]:
    """The energy budget of a run.

    :raises ValueError: there is none; the message says why.
    """
    if orbit is None:
        raise ValueError("neither the deck nor a latout.dat tells the lattice")
    return energy_budget(stations, orbit.boundaries)


def optics_of_run(run: RunFolder, start: Summary | None) -> TrackedOptics:
    """Optics of a run's lattice with the Twiss parameters of a bunch ahead of the first boundary, else with those of 10 m.

    :raises ValueError, OSError: the program was not found or its rays did not arrive.
    """
    ahead = start is not None and start.place is not None and start.place < run.orbit.boundaries[0].s - 1e-3
    maps = track_rays(read_orbit(run.folder / DECK), start=start.place if ahead else None)
    if not ahead or min(start.horizontal.beta, start.vertical.beta) <= 0:
        return tracked(maps, (10.0, 10.0))
    return tracked(maps, (start.horizontal.beta, start.vertical.beta), (start.horizontal.alpha, start.vertical.alpha))


def bunching_of(bunches: list[tuple]) -> Figure:
    """Bunching factors of bunches: name, bunch and the field boundaries of its orbit."""
    return bunching_factor([(name, bunching(coordinates(bunch, orbit))) for name, bunch, orbit in bunches])


def _closed(station: Station) -> float:
    """The whole emittance in the plane where dispersion takes a small part in the size of the bunch, else NaN."""
    plane, s = station.summary.horizontal, station.summary
    return plane.emittance if abs(plane.dispersion) * s.energy_spread / s.energy < 0.3 * plane.size and plane.emittance < 3 * plane.emittance_free else np.nan


def optics(optics: TrackedOptics, boundaries: list[Boundary]) -> Figure:
    """Beta functions, dispersion, R56 and T566 along s."""
    figure, axes = plt.subplots(3, 1, figsize=(8.5, 8), sharex=True)
    panels = (("beta", [("in the plane", optics.beta_u), ("vertical", optics.beta_w)]), ("dispersion", [("", optics.dispersion)]),
              ("path length", [("R56", optics.r56), ("T566", optics.t566)]))
    for axis, (name, curves) in zip(axes, panels):
        factor, unit = (1.0, "m") if name == "beta" else unit_of(np.concatenate([values for _, values in curves]), "m")
        for (legend, values), colour, dashes in zip(curves, (INK, SECOND), ("-", "--")):
            axis.plot(optics.s, values * factor, dashes, color=colour, label=legend)
        axis.set_ylabel(label(name, unit))
        if len(curves) > 1:
            axis.legend()
        lattice_strip(axis, boundaries)
    axes[-1].set_xlabel("s / m")
    return figure


def slices_along(tables: list[tuple[float, Slices]], boundaries: list[Boundary] | None = None) -> Figure:
    """Current, energy, spread, emittance and centre of slices of equal charge (tail below, head above) against the place.

    :param tables: place s, or time c*t [m], and slices of equal charge; bunches of another number of slices are left out.
    """
    count = max(table.s.size for _, table in tables)
    tables = sorted((item for item in tables if item[1].s.size == count), key=lambda item: item[0])
    places = np.array([place for place, _ in tables])
    middles = 0.5 * (places[1:] + places[:-1])
    edges = np.concatenate([[places[0]], middles, [places[-1]]]) if places.size > 1 else places[0] + np.array([-0.5, 0.5])
    shares = np.linspace(0, 100, count + 1)
    panels = (("current", "A", lambda t: t.current, False), ("energy less the mean", "eV", lambda t: t.energy - t.energy.mean(), True),
              ("energy spread", "eV", lambda t: t.energy_spread, False), ("emittance, no dispersion", "m", lambda t: t.emittance_u_free, False),
              ("centre u", "m", lambda t: t.centre_u, True))
    figure, axes = plt.subplots(len(panels), 1, figsize=(8.5, 11), sharex=True, sharey=True)
    for axis, (name, unit, value, signed) in zip(axes, panels):
        values = np.array([value(table) for _, table in tables]).T
        factor, text = unit_of(values, unit)
        values = values * factor
        reach = np.abs(values).max() or 1.0
        low, high = (-reach, reach) if signed else (0.0, max(float(np.quantile(values, 0.98)) * 1.05, 1e-30))
        axis.grid(False)
        mesh = axis.pcolormesh(edges, shares, values, cmap="PuOr" if signed else "viridis", norm=Normalize(low, high), rasterized=True)
        figure.colorbar(mesh, ax=axis, label=label(name, text), extend="neither" if signed else "max", aspect=12)
        axis.set_ylabel("charge / %\ntail to head")
        if boundaries:
            for b in boundaries:
                axis.axvline(b.s, color="white", lw=0.6, alpha=0.7)
    axes[-1].set_xlabel("s / m" if boundaries else "c·t / m")
    return figure


def bunching_factor(spectra: list[tuple[str, Bunching]]) -> Figure:
    """Bunching factor against wavelength, with the level of shot noise."""
    figure, axes = plt.subplots(figsize=(7, 4.5))
    factor, unit = unit_of(np.array([np.exp(np.log(spectrum.wavelength).mean()) for _, spectrum in spectra]), "m")
    for (name, spectrum), colour, dashes in zip(spectra, (INK, SECOND, THIRD), ("-", "--", ":")):
        axes.loglog(spectrum.wavelength * factor, spectrum.factor, dashes, color=colour, label=name)
    axes.axhline(spectra[0][1].noise, color="0.4", ls="-.", label=f"shot noise, {spectra[0][1].noise:.2g}")
    axes.set_ylim(bottom=max(1e-7, 0.01 * spectra[0][1].noise))
    axes.set_xlabel(label("wavelength", unit))
    axes.set_ylabel("bunching factor")
    axes.legend()
    return figure
