"""Planes in a chicane: the bunch compressor between two planes, with the kernel's own reach and over the whole bunch.

    chicane.py [--particles N] [--program PATH] [--workdir DIR] [--quick]
"""
from __future__ import annotations

import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
COMPRESSOR = HERE.parent / "bunch_compressor"
sys.path[:0] = [str(HERE.parent), str(COMPRESSOR)]
import common  # noqa: E402
from tessaron.beam import analyse  # noqa: E402
from tessaron.files.bunchfiles import read_bunch  # noqa: E402
from tessaron.pictures import plots  # noqa: E402

import check  # noqa: E402
from make_bunch import benchmark_bunch  # noqa: E402

DISTANCES = [0.0, 0.005, 0.01, 0.02]  # m, 0 for no planes
QUANTITIES = ("mean energy change / %", "added rms energy spread / %", "emittance in the plane / µm")
LOOKS = {"kernel": ("x", plots.SECOND), "bunch": ("o", plots.INK), "check.py": ("+", "0.4")}


def tracked(options, distance: float, reach: str) -> tuple[float, float, float]:
    """Mean and rms energy change [%] and normalised emittance [um] behind the chicane, by the program."""
    folder = options.workdir / f"chicane_{1e3 * distance:g}mm_{reach}"
    keys = f"shield = {distance} shield_max = 0.3 shield_reach = {reach}" if distance else ""
    deck = (COMPRESSOR / "tessar.in").read_text().replace("relative_long = 0.1 ", f"relative_long = 0.1 {keys} ", 1)
    common.run(options.program, folder, deck, {"bunch.dat": options.workdir / "chicane.dat"}, "end.dat")
    before, after = read_bunch(folder / "start.dat"), read_bunch(folder / "end.dat")
    change, end = analyse.energy_change(before, after), analyse.summary(after)
    return 100 * change.mean / 5e9, 100 * change.rms / 5e9, 1e6 * end.horizontal.emittance


def calculated(distance: float, step: float) -> tuple[float, float, float]:
    """The same by the independent calculation."""
    result = check.track(check.Case(planes=distance, step=step))
    return 100 * result["mean"], 100 * result["rms"], 1e6 * result["emittance"]


def picture(results: dict[str, dict[float, tuple[float, ...]]], path: Path) -> None:
    """The three quantities over the distances, without planes at the right."""
    figure, panels = plots.plt.subplots(1, 3, figsize=(11, 3.6))
    distances = [*sorted(distance for distance in results["bunch"] if distance), 0.0]
    for k, (axes, quantity) in enumerate(zip(panels, QUANTITIES)):
        for name, (marker, colour) in LOOKS.items():
            axes.plot(range(len(distances)), [results[name][distance][k] for distance in distances], marker, color=colour, label=name, ms=9,
                      mfc="none")
        axes.set(title=quantity, xlabel="distance of the planes / mm")
        axes.set_xticks(range(len(distances)), [f"{1e3 * distance:g}" if distance else "none" for distance in distances])
        axes.margins(0.15)
    panels[0].legend(title="shield_reach")
    figure.tight_layout()
    plots.save(figure, path, dpi=90)


def main() -> None:
    options = common.parse(common.parser(__file__, __doc__, 20000, 5000))
    distances, step = ([0.0, 0.01], 0.05) if options.quick else (DISTANCES, 0.02)
    benchmark_bunch(options.workdir / "chicane.dat", options.particles)
    results: dict[str, dict[float, tuple[float, ...]]] = {name: {} for name in LOOKS}
    print("planes / mm   reach    " + "   ".join(QUANTITIES))
    for distance in distances:
        for name in LOOKS:
            results[name][distance] = calculated(distance, step) if name == "check.py" else tracked(options, distance, name)
            print(f"{1e3 * distance:g} {name:9s}" + "".join(f"{value:13.4f}" for value in results[name][distance]), flush=True)
    picture(results, options.workdir / "chicane.png")
    print(options.workdir / "chicane.png")


if __name__ == "__main__":
    main()
