"""The direct sum over all pairs of particles beside the projected force: pictures along the bunch, and where they part.

    run.py [--particles N] [--program PATH] [--workdir DIR] [--quick]
"""
from __future__ import annotations

import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))

import common  # noqa: E402
import numpy as np  # noqa: E402
from evaluation import Evaluation, deviation, evaluate, gaussian, in_arc  # noqa: E402
from tessaron.beam.bunch import Bunch  # noqa: E402
from tessaron.pictures import plots  # noqa: E402

RADIUS, ENTRANCE, ARC = 10.0, 1.0, 2.5  # m; as in the deck
LENGTH, CHARGE = 1e-4, 1e-9  # rms length [m] and charge [C] of the bunch
WIDTH = (LENGTH**2 * RADIUS) ** (1 / 3)  # m, the characteristic transverse size


def bunch(particles: int, width: float = 5e-5, energy: float = 5e8) -> Bunch:
    """Gaussian, upright on the orbit."""
    s, u = gaussian(particles, LENGTH, width)
    return in_arc(s, u, np.full(s.size, CHARGE / s.size), energy, RADIUS, ENTRANCE, ARC)


def models(options, name: str, bunch: Bunch, **keys: float) -> list[Evaluation]:
    """The projected and the direct force on one bunch."""
    deck = (HERE / "tessar.in").read_text()
    return [evaluate(options.program, options.workdir / name / kind, common.changed(deck, type=kind, **keys), bunch)
            for kind in ("projected", "csr_p_to_p")]


def picture(options, widths: list[float], energy: float) -> None:
    """Both forces on the particles of a thin and of a wide bunch."""
    figure, axes = plots.plt.subplots(2, 2, figsize=(9, 6.5), sharex=True, sharey="row")
    print(f"{options.particles} particles, {energy * 1e-6:g} MeV; rms width, then differences along in % of the largest projected force")
    print("    width    rms  largest   seconds per evaluation: projected  csr_p_to_p")
    for (top, bottom), width in zip(axes.T, widths):
        projected, direct = models(options, f"{width * 1e6:.0f}um", bunch(options.particles, width, energy))
        largest = np.abs(projected.along).max()
        rms, most = deviation(direct.along, projected.along, largest)
        print(f"  {width * 1e6:4.0f} um {100 * rms:6.2f} {100 * most:8.2f} {projected.seconds:38.4f} {direct.seconds:11.3f}", flush=True)
        order = np.argsort(projected.s)
        shades = dict(c=direct.u / width, cmap="coolwarm", vmin=-2.5, vmax=2.5, s=5, rasterized=True)
        top.plot(projected.s[order] * 1e6, projected.along[order] * 1e-3, color="k", lw=1, label="projected")
        top.scatter(direct.s * 1e6, direct.along * 1e-3, label="csr_p_to_p", **shades)
        dots = bottom.scatter(direct.s * 1e6, direct.across * 1e-3, **shades)
        bottom.axhline(0, color="k", lw=1)
        top.set_title(f"rms width {width * 1e6:.0f} µm")
        bottom.set_xlabel("ahead of the centre / µm")
    axes[0, 0].set_ylabel("force along / (keV/m)")
    axes[1, 0].set_ylabel("force across, to the outside / (keV/m)")
    axes[0, 0].legend()
    figure.colorbar(dots, ax=axes, label="place across / rms width")
    plots.save(figure, options.workdir / "direct_sum.png", dpi=90)


def ribbon(ratio: float) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Sources across the orbit, which carry a Gaussian of width `ratio` * WIDTH by the nodes and weights of Gauss and
    Hermite, and observers on the orbit from three lengths behind to three ahead.
    """
    nodes, weights = np.polynomial.hermite_e.hermegauss(16)
    observers = np.linspace(-3, 3, 61) * LENGTH
    s = np.concatenate([[0], 0 * nodes, observers])
    u = np.concatenate([[0], nodes * ratio * WIDTH, 0 * observers])
    return s, u, np.concatenate([[0], CHARGE * weights / weights.sum(), 0 * observers])


def trend(options) -> None:
    """A bunch of one sub-bunch length: no noise and no smoothing is left, only width and energy."""
    print(f"\none sub-bunch length, widths in units of (sigma^2 R)^(1/3) = {WIDTH * 1e3:.2f} mm; in % of the largest projected force")
    print(" energy / MeV   width   along: rms  largest    largest across")
    cases = [(5e9, width) for width in (2, 1, 1 / 2, 1 / 4, 1 / 8, 1 / 16, 1 / 64)]
    cases += [(energy, 1 / 64) for energy in (1e9, 5e8, 2.5e8, 1e8)]
    for energy, ratio in cases[:: 3 if options.quick else 1]:
        s, u, charge = ribbon(ratio)
        name = f"{energy * 1e-6:.0f}MeV_{ratio:.4f}"
        projected, direct = models(options, name, in_arc(s, u, charge, energy, RADIUS, ENTRANCE, ARC), sigma_long=LENGTH)
        seen = slice(17, None)  # the observers
        largest = np.abs(projected.along[seen]).max()
        rms, most = deviation(direct.along[seen], projected.along[seen], largest)
        across = np.abs(direct.across[seen]).max() / largest
        print(f"{energy * 1e-6:13.0f} {ratio:7.4f} {100 * rms:12.3f} {100 * most:8.3f} {100 * across:15.2f}", flush=True)


def main() -> None:
    options = common.parse(common.parser(__file__, __doc__, 1000, 60))
    picture(options, [5e-5, 0.5 * WIDTH], 5e8)
    trend(options)
    print(options.workdir / "direct_sum.png")


if __name__ == "__main__":
    main()
