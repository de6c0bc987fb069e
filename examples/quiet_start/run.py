"""Shows what a quiet start is worth: the noise of the CSR force with random and with quiet particles.

    run.py [--program PATH] [--workdir DIR] [--particles N ...]
"""
from __future__ import annotations

import argparse
import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
sys.path.insert(0, str(ROOT / "tools"))


def force(program: Path, folder: Path, particles: int, quiet: bool):
    """Places ahead of particle 1 [m] and forces [eV/m] of one run."""
    import numpy as np
    from tessaron_tools.bunchfiles import write_bunch
    from tessaron_tools.generate import BunchRequest, make_bunch
    from tessaron_tools.outputs import read_force

    folder.mkdir(parents=True, exist_ok=True)
    shutil.copy(HERE / "tessar.in", folder)
    write_bunch(folder / "bunch.dat", make_bunch(BunchRequest(particles, energy=1e9, charge=1e-9, length=1e-4, quiet=quiet)), "fmt1")
    subprocess.run([program], cwd=folder, stdout=subprocess.DEVNULL, check=True)
    table = read_force(folder / "fc1.dat")
    # 0.1 m before its end the arc has turned the bunch by -0.09
    place = table.dx * np.cos(-0.09) + table.dy * np.sin(-0.09)
    order = np.argsort(place)
    return place[order], table.along[order]


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--program", type=Path, default=ROOT / "build" / "tessaron", help="the built program")
    parser.add_argument("--workdir", type=Path, default=HERE / "work", help="folder for the runs and the picture")
    parser.add_argument("--particles", type=int, nargs="+", default=[1000, 3000, 10000, 30000], help="macro-particles of the runs")
    options = parser.parse_args()
    program, folder = options.program.resolve(), options.workdir.resolve()
    if not program.exists():
        sys.exit(f"no program at {program}; build it first: cmake -S . -B build && cmake --build build -j2")
    try:
        import numpy as np
        from tessaron_tools import plots
    except ModuleNotFoundError as error:
        sys.exit(f"this needs {error.name}; on Debian: apt-get install python3-numpy python3-matplotlib python3-h5py")

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
    plots.save(figure, folder / "quiet_start.png")
    print(folder / "quiet_start.png")


if __name__ == "__main__":
    main()
