"""How the result of the bunch compressor depends on particles, smoothing length, steps and the shape of the chirp.

    convergence.py [--program PATH] [--workdir DIR] [--most N]

Runs the example's deck with the projected force once per line and prints the table of the README.
"""
from __future__ import annotations

import argparse
import re
import sys
from pathlib import Path

from run import common, deck_for  # first: it lets the companions be found

from make_bunch import benchmark_bunch
from tessaron.beam import analyse
from tessaron.files.bunchfiles import read_bunch

#: What differs from the example: keys of the deck, particles, loading, second order of the chirp, charge.
CASES = [{}, dict(particles=5000), dict(particles=80000), dict(particles=300000),
         dict(loading="random"), dict(loading="random", particles=80000), dict(loading="random", particles=300000),
         dict(relative_long=0.3), dict(relative_long=0.2), dict(relative_long=0.05), dict(relative_long=0.025),
         dict(ct_step_max=0.2), dict(ct_step_max=0.05), dict(ct_step_max=0.025), dict(ct_step_max=0.0125),
         dict(arc_factor=0.25), dict(arc_factor=0.1), dict(iterative=1), dict(iterative=10, error_per_ct=1e-6),
         dict(ct_step_max=0.025, relative_long=0.05),
         dict(ct_step_max=0.025, relative_long=0.05, second_order=1948.0)]


def deck_with(keys: dict[str, float]) -> str:
    """The deck with other values of some keys, without files of the whole bunch on the way."""
    deck = deck_for("projected").replace("arc_factor    = 0.5", "arc_factor    = 0.5\n  iterative = 3\n  error_per_ct = 1e-3")
    if "ct_step_max" in keys:
        keys = {**keys, "ct_step_min": keys["ct_step_max"] / 10, "ct_step_first": keys["ct_step_max"]}
    return re.sub(r"online_monitor \{[^}]*way\.dat[^}]*\}", "", common.changed(deck, **keys))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--program", type=Path, default=common.PROGRAM)
    parser.add_argument("--workdir", type=Path, default=Path("convergence"))
    parser.add_argument("--most", type=int, default=300000, help="leave out cases with more particles")
    options = parser.parse_args()

    folder = options.workdir.resolve()
    folder.mkdir(parents=True, exist_ok=True)
    print("| changed | mean / % | rms / % | emittance / µm | length / µm |\n|---|---|---|---|---|")
    for case in CASES:
        keys = dict(case)
        particles, loading = keys.pop("particles", 20000), keys.pop("loading", "quiet")
        if particles > options.most:
            continue
        benchmark_bunch(folder / "bunch.dat", particles, loading == "quiet", second_order=keys.pop("second_order", 0.0))
        common.run(options.program.resolve(), folder / "run", deck_with(keys), {"bunch.dat": folder / "bunch.dat"}, "end.dat")
        start, end = (read_bunch(folder / "run" / name, "fmt1") for name in ("start.dat", "end.dat"))
        change, after = analyse.energy_change(start, end), analyse.summary(end)
        values = (100 * change.mean / 5e9, 100 * change.rms / 5e9, after.horizontal.emittance * 1e6, after.length * 1e6)
        name = ", ".join(f"{key} = {value}" for key, value in case.items()) or "nothing: 20000 quiet particles"
        print(f"| {name} | " + "{:.4f} | {:.4f} | {:.3f} | {:.2f} |".format(*values), flush=True)


if __name__ == "__main__":
    sys.exit(main())
