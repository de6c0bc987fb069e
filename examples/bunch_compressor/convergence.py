"""How the result of the bunch compressor depends on particles, smoothing length and step.

    convergence.py [--program PATH] [--workdir DIR] [--most N]

Runs the example's deck with the projected force once per line and prints the table of the README.
"""
from __future__ import annotations

import argparse
import re
import sys
from pathlib import Path

from run import ROOT, deck_for, run

CASES = [dict(particles=20000), dict(particles=5000), dict(particles=80000), dict(particles=300000),
         dict(relative_long=0.2), dict(relative_long=0.05), dict(relative_long=0.05, particles=300000),
         dict(ct_step_max=0.2), dict(ct_step_max=0.05), dict(ct_step_max=0.025), dict(loading="random"),
         dict(ct_step_max=0.025, relative_long=0.05, particles=300000)]


def changed(deck: str, **keys: float) -> str:
    """The deck with other values of some keys; a shorter largest step pulls the two other ones along."""
    if "ct_step_max" in keys:
        keys |= {"ct_step_min": keys["ct_step_max"] / 10, "ct_step_first": keys["ct_step_max"]}
    for key, value in keys.items():
        deck, count = re.subn(rf"\b{key}(\s*)=(\s*)\S+", rf"{key}\1=\g<2>{value:g}", deck, count=1)
        assert count == 1, key
    return re.sub(r"online_monitor \{[^}]*way\.dat[^}]*\}", "", deck)  # no files of the whole bunch on the way


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--program", type=Path, default=ROOT / "build" / "tessaron")
    parser.add_argument("--workdir", type=Path, default=Path("convergence"))
    parser.add_argument("--most", type=int, default=300000, help="leave out cases with more particles")
    options = parser.parse_args()
    from make_bunch import benchmark_bunch
    from tessaron_tools import analyse
    from tessaron_tools.bunchfiles import read_bunch

    folder = options.workdir.resolve()
    folder.mkdir(parents=True, exist_ok=True)
    print("| particles | loading | relative_long | ct_step_max / m | mean / % | rms / % | emittance / µm | length / µm |")
    print("|---|---|---|---|---|---|---|---|")
    for case in CASES:
        keys = {"particles": 20000, "loading": "quiet", "relative_long": 0.1, "ct_step_max": 0.1, **case}
        if keys["particles"] > options.most:
            continue
        benchmark_bunch(folder / "bunch.dat", keys["particles"], keys["loading"] == "quiet")
        deck = changed(deck_for("projected"), relative_long=keys["relative_long"], ct_step_max=keys["ct_step_max"])
        run(options.program.resolve(), folder / "run", deck, folder / "bunch.dat")
        start, end = (read_bunch(folder / "run" / name, "fmt1") for name in ("start.dat", "end.dat"))
        change, after = analyse.energy_change(start, end), analyse.summary(end)
        values = (100 * change.mean / 5e9, 100 * change.rms / 5e9, after.horizontal.emittance * 1e6, after.length * 1e6)
        print("| " + " | ".join([*map(str, keys.values()), "{:.4f} | {:.4f} | {:.3f} | {:.2f}".format(*values)]) + " |", flush=True)


if __name__ == "__main__":
    sys.exit(main())
