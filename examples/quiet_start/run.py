"""Shows what a quiet start is worth: the noise of the CSR force with random and with quiet particles.

    run.py [--program PATH] [--workdir DIR] [--particles N ...] [--quick]
"""
from __future__ import annotations

import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
import common  # noqa: E402
import numpy as np  # noqa: E402
from tessaron.beam.bunch import Bunch  # noqa: E402
from tessaron.beam.bunching import bunching  # noqa: E402
from tessaron.pictures import along, plots  # noqa: E402
from tessaron.files.bunchfiles import write_bunch  # noqa: E402
from tessaron.beam.generate import BunchRequest, make_bunch  # noqa: E402
from tessaron.files.outputs import read_force  # noqa: E402


def bunch(particles: int, quiet: bool = True) -> Bunch:
    """1 GeV, 1 nC, 0.1 mm."""
    return make_bunch(BunchRequest(particles, energy=1e9, charge=1e-9, length=1e-4, quiet=quiet))


def force(program: Path, folder: Path, particles: int, quiet: bool) -> tuple[np.ndarray, np.ndarray]:
    """Places ahead of particle 1 [m] and forces [eV/m] of one run."""
    write_bunch(folder.with_suffix(".bunch"), bunch(particles, quiet), "fmt1")
    common.run(program, folder, (HERE / "tessar.in").read_text(), {"bunch.dat": folder.with_suffix(".bunch")}, "fc1.dat")
    table = read_force(folder / "fc1.dat")
    # 0.1 m before its end the arc has turned the bunch by -0.09
    place = table.dx * np.cos(-0.09) + table.dy * np.sin(-0.09)
    order = np.argsort(place)
    return place[order], table.along[order]


def main() -> None:
    options = common.parse(common.parser(__file__, __doc__, [1000, 3000, 10000, 30000], [1000, 9000]))
    program, folder = options.program, options.workdir / "run"
    grid = np.linspace(-2e-4, 2e-4, 401)
    smooth = np.interp(grid, *force(program, folder, 300000, True))
    largest = np.abs(smooth).max()
    figure, axes = plots.plt.subplots(figsize=(8, 4.5))
    print("rms noise of the force in percent of its largest value\nparticles    random     quiet")
    for particles in options.particles:
        curves = {quiet: np.interp(grid, *force(program, folder, particles, quiet)) for quiet in (False, True)}
        noise = {quiet: 100 * np.sqrt(np.mean((curve - smooth) ** 2)) / largest for quiet, curve in curves.items()}
        print(f"{particles:9d} {noise[False]:9.3f} {noise[True]:9.3f}", flush=True)
        if particles == options.particles[len(options.particles) // 2]:
            axes.plot(grid * 1e6, curves[False] * 1e-3, color=plots.SECOND, lw=1, label=f"random, {particles} particles")
            axes.plot(grid * 1e6, curves[True] * 1e-3, color=plots.INK, label=f"quiet, {particles} particles")
    axes.set(xlabel="ahead of particle 1 / µm", ylabel="force / (keV/m)")
    axes.legend()
    plots.save(figure, options.workdir / "quiet_start.png")
    particles = options.particles[len(options.particles) // 2]
    spectra = [(name, bunching(bunch(particles, quiet).local(), 1e-6)) for name, quiet in (("random", False), ("quiet", True))]
    plots.save(along.bunching_factor(spectra), options.workdir / "bunching.png", dpi=90)
    print(options.workdir / "quiet_start.png", options.workdir / "bunching.png", sep="\n")


if __name__ == "__main__":
    main()
