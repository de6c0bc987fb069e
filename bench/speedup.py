#!/usr/bin/env python3
"""Whole runs of the program on one process and on several: the ratio of their times for each shared force type.

    bench/speedup.py [--program build-mpi/tessaron] [--processes 2] [--repeat 3]

Each run makes a few force evaluations of a bunch in an arc. The median of the ratios is printed, beside the time of
one process.
"""
import argparse
import pathlib
import statistics
import subprocess
import tempfile
import time

from runs import write_bunch

# force type: particles
CASES = {"csr_p_to_p": 800, "csr_p_to_m": 1000, "csr_g_to_p": 6000, "csr_g_to_m": 60000}

DECK = """
lattice {{ dipole {{ position {{ delta_s = 1 }} properties {{ r = 5 }} position {{ delta_s = 2 }} }} }}
particles {{ format = fmt1 array = #file {{ name = bunch.dat }} }}
forces {{ type = {type} sigma_long = 5e-5 shape = ellipsoid sigma_rad = 5e-5 sigma_vert = 5e-5 }}
track_step {{ precondition = no iterative = 1 ct_step_max = 0.1 ct_step_first = 0.1 duty_steps = no arc_factor = 1 }}
tracker {{ delta_time_c0 = 0.2 }}
"""


def run_time(program, processes, folder):
    """Wall time of one run [s]."""
    command = ["mpirun", "--allow-run-as-root", "--oversubscribe", "-n", str(processes), program]
    start = time.perf_counter()
    subprocess.run(command, cwd=folder, check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - start


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    root = pathlib.Path(__file__).resolve().parent.parent
    parser.add_argument("--program", type=pathlib.Path, default=root / "build-mpi/tessaron")
    parser.add_argument("--processes", type=int, default=2)
    parser.add_argument("--repeat", type=int, default=3)
    options = parser.parse_args()
    program = options.program.resolve()  # the runs have a working folder of their own
    print(f"{'force type':<12} {'particles':>9} {'one process':>12} {'speed-up':>9}   on {options.processes} processes")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for force, particles in CASES.items():
            write_bunch(folder / "bunch.dat", particles, x=1.0)
            (folder / "tessar.in").write_text(DECK.format(type=force))
            one, ratio = [], []
            for _ in range(options.repeat):
                one.append(run_time(program, 1, folder))
                ratio.append(one[-1] / run_time(program, options.processes, folder))
            print(f"{force:<12} {particles:>9} {statistics.median(one):>10.2f} s {statistics.median(ratio):>9.2f}")


if __name__ == "__main__":
    main()
