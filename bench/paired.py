#!/usr/bin/env python3
"""Benchmark programs of two builds against each other, in turns: the median ratio new to old of each benchmark's time.

On one thread that is processor time, which neighbours on the machine disturb less; on several it is real time.

    bench/paired.py OLD_FOLDER NEW_FOLDER [--repeat 3]
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import tempfile


def times(program, threads):
    """Time of each benchmark of a program, by name."""
    with tempfile.TemporaryDirectory() as folder:
        report = pathlib.Path(folder, "report.json")  # what the program itself prints stays out of it
        subprocess.run([program, f"--benchmark_out={report}", "--benchmark_out_format=json", "--benchmark_min_time=0.2"],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       env={**os.environ, "OMP_NUM_THREADS": str(threads)})
        kind = "cpu_time" if threads == 1 else "real_time"
        return {entry["name"]: entry[kind] for entry in json.loads(report.read_text())["benchmarks"]}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("old", type=pathlib.Path)
    parser.add_argument("new", type=pathlib.Path)
    parser.add_argument("--repeat", type=int, default=3)
    options = parser.parse_args()
    counts = list(dict.fromkeys([1, os.cpu_count() or 1]))
    print(f"{'benchmark':<52}" + "".join(f"{f'{n} threads':>12}" for n in counts) + "   new/old")
    for program in sorted(path.name for path in options.new.glob("bench_*") if os.access(path, os.X_OK) and path.is_file()):
        if not (options.old / program).is_file():
            continue
        ratios = {}
        for threads in counts:
            for _ in range(options.repeat):
                before, after = times(options.old / program, threads), times(options.new / program, threads)
                for name in before.keys() & after.keys():
                    ratios.setdefault(name, {}).setdefault(threads, []).append(after[name] / before[name])
        for name in sorted(ratios):
            print(f"{program[6:] + ': ' + name:<52}" + "".join(f"{statistics.median(ratios[name][n]):>12.2f}" for n in counts), flush=True)


if __name__ == "__main__":
    main()
