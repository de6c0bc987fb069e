"""What came out of the chicane: a summary on the console and pictures beside the run's files."""
from __future__ import annotations

from pathlib import Path

import matplotlib.pyplot as plt
import numpy as np

import chicane
from common import row
from tessaron.beam import analyse
from tessaron.beam.budget import energy_budget, station_of
from tessaron.beam.bunch import Bunch
from tessaron.beam.orbit import coordinates
from tessaron.beam.slices import slice_moments
from tessaron.files.bunchfiles import read_bunch, read_fmt3
from tessaron.pictures import along, plots
from tessaron.pictures.density import draw_cloud
from tessaron.pictures.style import some
from tessaron.pictures.tables import budget_table, text_table
from tessaron.run.folder import RunFolder


def show_optics(start: Bunch, end: Bunch, folder: Path) -> None:
    """A run without self force: compression, and the measured R56 beside the closed form."""
    before, after = analyse.summary(start), analyse.summary(end)
    fit = analyse.fit_path_length(start, end)
    # every particle falls behind by what its path is longer than that of particle 1
    behind = -start.local().s + chicane.path(start.momentum / start.momentum[0])
    row("rms bunch length before", before.length * 1e6, "um", "200 asked for")
    row("rms bunch length behind", after.length * 1e6, "um", f"{np.std(behind) * 1e6:.5g} from the closed form of the path")
    row("peak current before", before.peak_current, "A")
    row("peak current behind", after.peak_current, "A")
    row("R56 measured", fit.r56 * 1e3, "mm", f"{chicane.r56() * 1e3:.4f} in closed form")
    row("T566 measured", fit.t566 * 1e3, "mm", f"{chicane.t566() * 1e3:.4f} in closed form")
    row("norm. emittance in the plane", after.horizontal.emittance * 1e6, "um", f"{before.horizontal.emittance * 1e6:.4f} before")
    plots.save(plots.longitudinal([("before", start), ("behind the chicane, no self force", end)]), folder / "compression.png")


def show_force(start: Bunch, end: Bunch, without: Bunch, last_dipole: Path, folder: Path) -> None:
    """A run with self force: what it did to energy and emittance, and the force in the last dipole."""
    change = analyse.energy_change(start, end)
    before, after, ideal = (analyse.summary(bunch) for bunch in (start, end, without))
    row("rms bunch length behind", after.length * 1e6, "um", f"{ideal.length * 1e6:.4g} without self force")
    row("mean energy change", 100 * change.mean / before.energy, "%", "check.py -0.0447; if the charge were Gaussian all along -0.0435")
    row("added rms energy spread", 100 * change.rms / before.energy, "%", "check.py 0.0231; Gaussian 0.0241")
    row("norm. emittance before", before.horizontal.emittance * 1e6, "um")
    row("norm. emittance behind", after.horizontal.emittance * 1e6, "um", "check.py 1.59; Gaussian 1.59")

    figure, axes = plt.subplots(2, 2, figsize=(10, 7.5))
    phase_space(axes[0, 0], without, end)
    for bunch, label, colour in ((without, "without self force", "0.5"), (end, "with", plots.INK)):
        edges, current = analyse.current_profile(bunch, 120)
        axes[0, 1].stairs(current, edges * 1e6, color=colour, label=label)
    axes[0, 1].set(xlabel="ahead of the centre / µm", ylabel="current / A")
    axes[0, 1].legend()
    _, table = read_fmt3(last_dipole)
    draw_cloud(axes[1, 0], table[:, 4], table[:, 7], end.weight, ("ahead of particle 1", "m"), ("force in the last dipole", "eV/m"))
    draw_cloud(axes[1, 1], end.local().s, change.per_particle, end.weight, ("ahead of the centre", "m"), ("energy change on the way", "eV"))
    plots.save(figure, folder / "self_force.png", dpi=100)


def show_budget(run: RunFolder, folder: Path) -> None:
    """Where the energy went: every element and drift, between the bunches at its two ends."""
    stations = [station_of(bunch, orbit) for _, bunch, orbit, _ in run.bunches(run.bunch_files())]
    rows = energy_budget(stations, run.orbit.boundaries)
    print(text_table(*budget_table(rows)))
    plots.save(along.budget(rows, stations, run.orbit.boundaries), folder / "budget.png", dpi=80)


def show_slices(run: RunFolder, folder: Path) -> None:
    """Slices of equal charge along the chicane."""
    tables = [(coordinates(bunch, orbit).place, slice_moments(bunch, 20, orbit=orbit, equal="charge"))
              for _, bunch, orbit, _ in run.bunches(run.bunch_files()) if orbit]
    plots.save(along.slices_along(tables, run.orbit.boundaries), folder / "slices.png", dpi=80)


def phase_space(axes: plt.Axes, without: Bunch, end: Bunch) -> None:
    """Both final bunches, energies about that of the run without self force."""
    energy = without.weight @ without.energy
    for bunch, label, colour in ((without, "without self force", "0.6"), (end, "with", plots.INK)):
        chosen = some(len(bunch))
        axes.plot(bunch.local().s[chosen] * 1e6, (bunch.energy[chosen] / energy - 1) * 100, ".", ms=1.5, mew=0, color=colour)
        axes.plot([], [], "o", color=colour, label=label)
    axes.set(xlabel="ahead of the centre / µm", ylabel="relative energy / %")
    axes.legend()


def show(folders: dict[str, Path], pictures: Path) -> None:
    """The summary of the runs in `folders`, by force type; `none` must be among them."""
    start, ideal = (read_bunch(folders["none"] / name, "fmt1") for name in ("start.dat", "end.dat"))
    print("without self force:")
    show_optics(start, ideal, pictures)
    for kind, folder in folders.items():
        if kind != "none":
            end = read_bunch(folder / "end.dat", "fmt1")
            if np.all(np.abs(analyse.energy_change(start, end).per_particle) < 1.0):  # eV, rounding
                print(f"{kind}: the force was zero throughout; see {folder / 'tessar.log'}")
                continue
            print(f"with self force, type {kind}:")
            show_force(start, end, ideal, folder / "last_dipole.dat", pictures)
            show_budget(RunFolder(folder), pictures)
            show_slices(RunFolder(folder), pictures)
    print("pictures:", *sorted(str(path) for path in pictures.glob("*.png")), sep="\n  ")
