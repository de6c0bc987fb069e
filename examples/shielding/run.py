"""Shielding by two plates: the mean loss in a long arc against the distance of the plates.

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

from theory import free_loss, share  # noqa: E402

RADIUS, LENGTH, CHARGE = 10.0, 1e-4, 1e-12  # little charge and emittance: the bunch keeps its length
CASES = [(1, "kernel"), (0.1, "kernel"), (0.1, "bunch")]  # relative_long and shield_reach
DISTANCES = [0.006, 0.008, 0.01, 0.014, 0.02, 0.03, 0.05]  # m


def bunch(particles: int) -> Bunch:
    """1 GeV, thin."""
    thin = Plane(emittance=1e-10)
    return make_bunch(BunchRequest(particles, energy=1e9, charge=CHARGE, length=LENGTH, horizontal=thin, vertical=thin))


def effective(relative: float) -> float:
    """Rms length [m] of the bunch that loses without smoothing what this one does with it."""
    return LENGTH * np.sqrt(1 + relative**2 / 2)


def mean_loss(options, distance: float, relative: float, reach: str) -> float:
    """Mean of the force over the particles near the end of the arc [eV/m]."""
    folder = options.workdir / f"plates_{1e3 * distance:g}mm_{relative:g}_{reach}"
    deck = common.changed((HERE / "tessar.in").read_text(), shield=distance, relative_long=relative, shield_reach=reach)
    common.run(options.program, folder, deck, {"bunch.dat": options.workdir / "bunch.dat"}, "fc1.dat")
    return float(read_force(folder / "fc1.dat").along.mean())


def picture(distances: list[float], shares: dict[tuple[float, str], list[float]], path: Path) -> None:
    """Computed shares of the free loss over theory."""
    figure, axes = plots.plt.subplots(figsize=(8, 4.5))
    fine = np.geomspace(0.004, 0.06, 80)
    for relative, colour in ((1, plots.INK), (0.1, plots.SECOND)):
        theory = [share(distance, RADIUS, effective(relative)) for distance in fine]
        axes.plot(fine * 1e3, theory, color=colour, lw=1, label=f"theory, relative_long = {relative}")
    for (relative, reach), colour, marker in zip(CASES, (plots.INK, plots.SECOND, plots.SECOND), "oxo"):
        axes.plot(np.array(distances) * 1e3, shares[relative, reach], marker, color=colour, mfc="none",
                  label=f"computed, relative_long = {relative}, shield_reach = {reach}")
    axes.set(xscale="log", xlabel="distance of the plates / mm", ylabel="mean loss over that without plates", ylim=(-0.1, 1.25))
    axes.set_xticks([4, 6, 10, 20, 40, 60], ["4", "6", "10", "20", "40", "60"], minor=False)
    axes.set_xticks([], minor=True)
    axes.legend()
    plots.save(figure, path, dpi=110)


def main() -> None:
    options = common.parse(common.parser(__file__, __doc__, 20000, 2000))
    distances = DISTANCES[::2] if options.quick else DISTANCES
    write_bunch(options.workdir / "bunch.dat", bunch(options.particles), "fmt1")
    shares = {}
    for relative, reach in CASES:
        free = mean_loss(options, 0, relative, reach)
        print(f"relative_long = {relative}, shield_reach = {reach}: without plates {free:.2f} eV/m, "
              f"theory {free_loss(CHARGE, RADIUS, effective(relative)):.2f}\n  plates / mm   computed   theory, share of the free loss")
        shares[relative, reach] = [mean_loss(options, distance, relative, reach) / free for distance in distances]
        for distance, found in zip(distances, shares[relative, reach]):
            print(f"  {1e3 * distance:11.4g} {found:10.4f} {share(distance, RADIUS, effective(relative)):8.4f}", flush=True)
    picture(distances, shares, options.workdir / "shielding.png")
    print(options.workdir / "shielding.png")


if __name__ == "__main__":
    main()
