"""One bunch in an arc with every model of the self force: what a model costs, and how far it is from the direct sum.

    run.py [--particles N] [--program PATH] [--workdir DIR] [--quick] [--sweeps]
"""
from __future__ import annotations

import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))

import common  # noqa: E402
import numpy as np  # noqa: E402
import sweeps  # noqa: E402
from evaluation import TYPES  # noqa: E402
from setup import SIGMA, Case, Runner  # noqa: E402
from tessaron.pictures import plots  # noqa: E402
from tessaron.files.outputs import read_green  # noqa: E402


def table(runner: Runner, particles: int) -> dict[str, object]:
    """All settings on the same bunch."""
    print(f"{particles} particles; differences from csr_p_to_p in % of the largest force along")
    results = {kind: runner.run(Case(particles, kind)) for kind in ("csr_p_to_p", "none", *TYPES)}
    direct = results["csr_p_to_p"]
    largest = np.abs(direct.along).max()
    print(f"{'':12s}  seconds per   along            across")
    print(f"{'':12s}   evaluation   rms  largest     rms  largest")
    for kind in ("none", *TYPES):
        one = results[kind]
        cost = "-" if kind == "none" else f"{one.seconds:.4f}"
        print(f"{kind:12s} {cost:>12s}" + runner.columns(one, direct, largest), flush=True)
    return results


def pictures(options, runner: Runner, results: dict[str, object], particles: int) -> None:
    """Forces and differences along the bunch; the mesh of the Green's function with its zones."""
    direct = results["csr_p_to_p"]
    order = np.argsort(direct.s)
    figure, axes = plots.plt.subplots(2, 2, figsize=(9, 6.5), sharex=True)
    shown = {"csr_g_to_m": plots.SECOND, "csr_p_to_m": plots.THIRD, "csr_g_to_p": plots.INK}
    for column, name in enumerate(("along", "across")):
        for kind, colour in shown.items():
            values = getattr(results[kind], name)
            axes[1, column].plot(direct.s * 1e6, (values - getattr(direct, name)) * 1e-3, ".", ms=2, color=colour, label=kind, rasterized=True)
        axes[0, column].plot(direct.s * 1e6, getattr(direct, name) * 1e-3, ".", ms=2, color="k", label="csr_p_to_p")
        axes[0, column].plot(direct.s[order] * 1e6, getattr(results["projected"], name)[order] * 1e-3, color="0.6", label="projected")
        axes[0, column].set_title(f"force {name}")
        axes[1, column].set_xlabel("ahead of the centre / µm")
    axes[0, 0].set_ylabel("force / (keV/m)")
    axes[1, 0].set_ylabel("difference from csr_p_to_p / (keV/m)")
    axes[0, 0].legend(markerscale=4)
    axes[1, 0].legend(markerscale=4)
    plots.save(figure, options.workdir / "forces.png", dpi=90)

    mesh = runner.folder(Case(particles, "csr_g_to_m")) / "mesh_0001.dat"
    figure = plots.green_mesh(read_green(mesh), SIGMA)
    plots.save(figure, options.workdir / "mesh.png", dpi=90)


def main() -> None:
    parser = common.parser(__file__, __doc__, 1000, 100)
    parser.add_argument("--sweeps", action="store_true", help="also particles, box sizes and places: some minutes")
    options = common.parse(parser)
    runner = Runner(options.program, options.workdir, (HERE / "tessar.in").read_text())
    pictures(options, runner, table(runner, options.particles), options.particles)
    if options.sweeps:
        sweeps.places(runner, options.particles // 2)
        sweeps.boxes(runner, options.quick)
        sweeps.particles(runner, options.quick)
    print(options.workdir / "forces.png", options.workdir / "mesh.png", sep="\n")


if __name__ == "__main__":
    main()
