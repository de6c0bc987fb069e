"""Run a study point by point.

Runs all combinations of the values in a study file (docs/python.md tells its form), each in a folder of its own with a
manifest, and prints the table, which also goes to table.csv. A scan that was stopped goes on where it was. Exit status 1 if a
point failed. On a cluster: --dask, or "mpirun -n 9 python3 -m mpi4py.futures -m tessaron scan study.toml --mpi".
"""
from __future__ import annotations

from argparse import ArgumentParser, Namespace
from pathlib import Path


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("study", nargs="?", default="study.toml", help="study file")
    add("--folder", help="where the points go; as the study says, else its name without the suffix")
    add("--program", help="the program; $TESSARON or tessaron on the PATH otherwise")
    add("--threads", type=int, help="threads of each run; runs share the cores accordingly")
    add("--retry-failed", action="store_true", help="compute failed points again")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--dask", metavar="ADDRESS", help="run on the workers of this Dask scheduler")
    where.add_argument("--mpi", action="store_true", help="run on the workers of mpi4py.futures")


def run(options: Namespace) -> int:
    from contextlib import nullcontext

    from ..pictures.style import save
    from ..study.study_file import read_study

    scan, plot = read_study(options.study, folder=options.folder, program=options.program, threads=options.threads)
    if options.dask:
        from distributed import Client

        pool = Client(options.dask).get_executor()
    elif options.mpi:
        from mpi4py.futures import MPIPoolExecutor

        pool = MPIPoolExecutor()
    else:
        pool = nullcontext()
    with pool as executor:
        scan.run(executor, retry_failed=options.retry_failed)
    table = scan.table()
    shown = [name for name in table.dtype.names if name in {*scan.points[0], "loss", "length", "emittance", "seconds", "status"}]
    for row in [shown, *([_cell(row[name]) for name in shown] for row in table)]:
        print("  ".join(f"{cell:>12s}" for cell in row))
    print(f"{scan.folder / 'table.csv'} has all columns")
    if plot:
        picture = Path(scan.folder) / "plot.png"
        save(scan.plot(plot["x"], *plot["y"]), picture)
        print(picture)
    for manifest in scan.failed():
        print(f"failed: {manifest.point}: {manifest.ending}")
    return 1 if scan.failed() else 0


def _cell(value: object) -> str:
    return f"{value:.6g}" if isinstance(value, float) else str(value)
