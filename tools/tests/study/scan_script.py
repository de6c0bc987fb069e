"""A small scan as a script: scan_script.py EXECUTOR FOLDER PROGRAM [STEP]. Run by the tests, also in jobs that get killed."""
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2]))

from tessaron import Bunch, Dipole, Drift, Forces, Lattice, Monitors, Run, Scan, Steps, Tracker  # noqa: E402

LATTICE = Lattice([Drift(0.5), Dipole(1.0, 0.1), Drift(1)])


def make_run(charge: float, chirp: float, step: float = 0.1) -> Run:
    if charge < 0:
        raise ValueError("charge must be above 0")
    bunch = Bunch.gaussian(300, energy_eV=1e9, charge_C=charge, length_m=1e-4, chirp=chirp)
    # a chirp of 99 stands for what fails on the way
    end = Tracker(end_time_marker="nowhere") if chirp == 99 else Tracker(end_time_c0=2)
    return Run(LATTICE, bunch, Forces("projected", sigma_long=1e-5), Steps(ct_step_max=step), Monitors(), end)


def scan(folder: str, program: str, step: float = 0.1, axes: dict | None = None) -> Scan:
    return Scan(lambda charge, chirp: make_run(charge, chirp, step), axes or {"charge": [1e-10, 2e-10], "chirp": [0, 20]}, folder,
                program=program)


def main(kind: str, folder: str, program: str, step: str = "0.1") -> None:
    study = scan(folder, program, float(step))
    if kind == "local":
        study.run(progress=False)
    elif kind == "two":
        with ThreadPoolExecutor(2) as pool:
            study.run(pool, progress=False)
    elif kind == "dask":
        from distributed import Client, LocalCluster

        with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster) as client:
            study.run(client.get_executor(), progress=False)
    else:
        from mpi4py.futures import MPIPoolExecutor

        with MPIPoolExecutor() as pool:
            study.run(pool, progress=False)


if __name__ == "__main__":
    main(*sys.argv[1:])
