"""Wakes from a table: the force on the particles beside the convolution of the wake with the bunch.

    run.py [--particles N] [--program PATH] [--workdir DIR] [--quick]
"""
from __future__ import annotations

import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
import common  # noqa: E402
import numpy as np  # noqa: E402
from tessaron.beam.bunch import Bunch  # noqa: E402
from tessaron.pictures import plots  # noqa: E402
from tessaron.files.bunchfiles import write_bunch  # noqa: E402
from tessaron.beam.generate import BunchRequest, Plane, make_bunch  # noqa: E402
from tessaron.files.outputs import read_force  # noqa: E402

import wakes  # noqa: E402

LENGTH, CHARGE, SIGMA_LONG = 20e-6, 1e-12, 2e-6  # little charge: the bunch keeps its profile
TABLE_RMS, TABLE_STEP = 1e-6, 0.25e-6  # m; the rms length must not be above sigma_long / sqrt(2)
ANGLE = -0.09  # rad; 0.1 m before its end the arc has turned the bunch


def bunch(particles: int) -> Bunch:
    """1 GeV, thin."""
    thin = Plane(emittance=1e-10)
    return make_bunch(BunchRequest(particles, energy=1e9, charge=CHARGE, length=LENGTH, horizontal=thin, vertical=thin))


def force(options, name: str, **keys) -> tuple[np.ndarray, np.ndarray]:
    """Places behind the centre of the bunch [m] and forces [eV/m] of one run."""
    folder = options.workdir / name.replace(" ", "_")
    deck = common.changed((HERE / "tessar.in").read_text(), **keys)
    table = keys["wake_file"]
    common.run(options.program, folder, deck, {file: options.workdir / file for file in ("bunch.dat", table)}, "fc1.dat")
    found = read_force(folder / "fc1.dat")
    behind = -(found.dx * np.cos(ANGLE) + found.dy * np.sin(ANGLE))
    order = np.argsort(behind)
    return (behind - behind.mean())[order], found.along[order]


def main() -> None:
    options = common.parse(common.parser(__file__, __doc__, 20000, 2000))
    write_bunch(options.workdir / "bunch.dat", bunch(options.particles), "fmt1")
    figure, axes = plots.plt.subplots(1, 3, figsize=(12, 3.8))
    print("                 mean force           convolution   largest difference\n"
          "                 / (eV/m)             / (eV/m)      / % of the largest force")
    for wake, name, axis in ((wakes.exponential, "exponential", axes[0]), (wakes.resistive, "resistive", axes[1])):
        wakes.write_table(options.workdir / f"{name}.txt", f"{name} wake", wake, TABLE_RMS, TABLE_STEP, 14 * LENGTH)
        behind, along = force(options, name, wake_file=f"{name}.txt")
        grid = np.linspace(behind[0], behind[-1], 241)
        # the smoothing stands for a longer bunch
        expected = CHARGE * wake(grid, np.hypot(behind.std(), SIGMA_LONG))
        at_particles = np.interp(behind, grid, expected)
        print(f"  {name:12s} {along.mean():12.3f} {at_particles.mean():20.3f} "
              f"{100 * np.abs(along - at_particles).max() / np.abs(expected).max():18.3f}", flush=True)
        axis.plot(behind * 1e6, along, color=plots.INK, lw=4, alpha=0.5, label="from the table")
        axis.plot(grid * 1e6, expected, "--", color="black", lw=1, label="convolution")
        axis.set(title=f"{name} wake")
    for name, share, colour in (("radiation and wake", 0, plots.SECOND), ("wake", 1, plots.INK)):
        behind, along = force(options, name, wake_file="resistive.txt", par4=share)
        axes[2].plot(behind * 1e6, along, color=colour, lw=1.5, label=name)
    axes[2].set(title="beside the radiation")
    for axis in axes:
        axis.set(xlabel="behind the centre / µm", ylabel="force / (eV/m)")
        axis.legend()
    plots.save(figure, options.workdir / "wake.png", dpi=100)
    print(options.workdir / "wake.png")


if __name__ == "__main__":
    main()
