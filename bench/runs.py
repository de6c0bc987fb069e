#!/usr/bin/env python3
"""Whole runs of the program, and of an older one beside it: seconds, rates, paired ratios.

    bench/runs.py [--program build/tessaron] [--old PROGRAM] [--threads 1 2] [--repeat 3] [--case NAME ...]

    chicane         the benchmark chicane, 300000 particles, projected force: particles times pushes per second
    chicane_small   the same with 1000 particles: what a run costs besides its particles
    csr_p_to_p      one evaluation of the direct force on 1000 particles: pairs per second
    csr_p_to_m      the same on a mesh

Seconds are processor time on one thread, which neighbours on the machine disturb less, and real time on several.
With --old every run is paired with one of the older program on the same threads; the median of the ratios new to old is
printed.
"""
import argparse
import os
import pathlib
import random
import statistics
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent

CHICANE = """
lattice {{
  dipole {{ position {{ rho = 1.0  psi = 0 }} properties {{ r = 10.3462283687 }}  position {{ rho = 1.5  psi = 0 }} }}
  dipole {{ position {{ rho = 6.5  psi = 0 }} properties {{ r = -10.3462283687 }} position {{ rho = 7.0  psi = 0 }} }}
  dipole {{ position {{ rho = 8.0  psi = 0 }} properties {{ r = -10.3462283687 }} position {{ rho = 8.5  psi = 0 }} }}
  dipole {{ position {{ rho = 13.5 psi = 0 }} properties {{ r = 10.3462283687 }}  position {{ rho = 14.0 psi = 0 }} }}
  dipole {{ position {{ rho = 16.0 psi = 0 marker = end duty = no }} }}
}}
particles {{ format = fmt1 reference_momentum = reference_particle array = #file {{ name = bunch.dat }} }}
forces {{ type = {force} sigma_long = relative relative_long = 0.1 }}
tracker {{ end_time_marker = end }}
"""
ARC = """
lattice {{ dipole {{ position {{ delta_s = 1 }} properties {{ r = 5 }} position {{ delta_s = 2 }} }} }}
particles {{ format = fmt1 array = #file {{ name = bunch.dat }} }}
forces {{ type = {force} sigma_long = 5e-5 }}
track_step {{ precondition = no iterative = 1 ct_step_max = 0.1 ct_step_first = 0.1 duty_steps = no }}
tracker {{ delta_time_c0 = 1e-6 }}
"""
# name: deck, force type, particles, what the rate counts, how many of them a run does
CASES = {
    "chicane": (CHICANE, "projected", 300000, "particle pushes", 300000 * 366),
    "chicane_small": (CHICANE, "projected", 1000, "particle pushes", 1000 * 366),
    "csr_p_to_p": (ARC, "csr_p_to_p", 1000, "pairs", 2 * 1000**2),
    "csr_p_to_m": (ARC, "csr_p_to_m", 1000, "particles", 2 * 1000),
}


def write_chirped(path, n):
    """5 GeV, 1 nC, 0.2 mm rms, chirp 36 per metre, 1 um: the bunch of the chicane."""
    rng = random.Random(1)
    lines = ["0 0 0 0 0 0 0", f"0 0 0 5e9 0 0 {1e-9 / n}"]
    for _ in range(n - 1):
        s, u, angle = 2e-4 * max(-4, min(4, rng.gauss(0, 1))), 6.8e-5 * rng.gauss(0, 1), 1.5e-6 * rng.gauss(0, 1)
        lines.append(f"{s} {u} 0 {-36 * s * 5e9 + 1e4 * rng.gauss(0, 1)} {5e9 * (angle - 0.06 * u)} 0 {1e-9 / n}")
    path.write_text("\n".join(lines) + "\n")


def write_bunch(path, n, x=1.5):
    """n particles at 500 MeV, 1 nC, 0.1 mm rms along and 0.05 mm across, the reference particle at x [m]."""
    rng = random.Random(1)
    lines = ["1.5 0 0 0 0 0 0", f"{x} 0 0 5e8 0 0 {1e-9 / n}"]
    for _ in range(n - 1):
        lines.append(f"{1e-4 * rng.gauss(0, 1)} {5e-5 * rng.gauss(0, 1)} 0 {1e5 * rng.gauss(0, 1)} "
                     f"{1e3 * rng.gauss(0, 1)} 0 {1e-9 / n}")
    path.write_text("\n".join(lines) + "\n")


def seconds(program, threads, folder):
    """Time of one run on so many threads [s]."""
    start, before = time.perf_counter(), os.times()
    subprocess.run([program], cwd=folder, check=True, stdout=subprocess.DEVNULL,
                   env={**os.environ, "OMP_NUM_THREADS": str(threads)})
    after = os.times()
    if threads == 1:
        return after.children_user - before.children_user + after.children_system - before.children_system
    return time.perf_counter() - start


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", type=pathlib.Path, default=ROOT / "build/tessaron")
    parser.add_argument("--old", type=pathlib.Path)
    parser.add_argument("--threads", type=int, nargs="+", default=[1, os.cpu_count() or 1])
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--case", nargs="+", choices=CASES, default=list(CASES))
    options = parser.parse_args()
    program, old = options.program.resolve(), options.old and options.old.resolve()
    print(f"{'run':<14} {'threads':>7} {'seconds':>8}  rate" + ("" if old is None else " " * 28 + "new/old"), flush=True)
    for name in options.case:
        deck, force, particles, unit, count = CASES[name]
        with tempfile.TemporaryDirectory() as folder:
            (write_chirped if deck is CHICANE else write_bunch)(pathlib.Path(folder, "bunch.dat"), particles)
            pathlib.Path(folder, "tessar.in").write_text(deck.format(force=force))
            for threads in dict.fromkeys(options.threads):
                times, ratios = [], []
                for _ in range(options.repeat):
                    before = seconds(old, threads, folder) if old else None
                    times.append(seconds(program, threads, folder))
                    ratios.append(times[-1] / before if old else 0)
                rate = f"{count / statistics.median(times):.3g} {unit}/s"
                print(f"{name:<14} {threads:>7} {statistics.median(times):>8.2f}  {rate:<32}" +
                      (f"{statistics.median(ratios):.2f}" if old else ""), flush=True)


if __name__ == "__main__":
    main()
