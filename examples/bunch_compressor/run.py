"""Makes the benchmark bunch, sends it through the chicane and shows what came out.

    run.py [--particles N] [--program PATH] [--workdir DIR] [--type none|projected|...]

Every force type runs in a folder of its own below the work folder; `none` always runs too, for comparison.
"""
from __future__ import annotations

import argparse
import re
import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
PACKAGES = {"numpy": "python3-numpy", "matplotlib": "python3-matplotlib", "h5py": "python3-h5py"}
sys.path.insert(0, str(ROOT / "tools"))

FORCE_TYPE = re.compile(r"^(\s*type\s*=\s*)(none|projected)\b", re.MULTILINE)


def deck_for(kind: str) -> str:
    """The example's deck with another force type."""
    return FORCE_TYPE.sub(lambda found: found[1] + kind, (HERE / "tessar.in").read_text(), count=1)


def run(program: Path, folder: Path, deck: str, bunch: Path) -> None:
    """One run of the program in its own folder; its console goes to console.txt."""
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    (folder / "tessar.in").write_text(deck)
    shutil.copy(bunch, folder / "bunch.dat")
    with open(folder / "console.txt", "w") as console:
        subprocess.run([program], cwd=folder, stdout=console, check=True)
    if not (folder / "end.dat").exists():
        sys.exit(f"the run in {folder} did not reach its end:\n" + "".join((folder / "console.txt").open().readlines()[-15:]))


def main() -> None:
    deck_type = FORCE_TYPE.search((HERE / "tessar.in").read_text())[2]
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--particles", type=int, default=20000, help="macro-particles, at most 300000")
    parser.add_argument("--program", type=Path, default=ROOT / "build" / "tessaron", help="the built program")
    parser.add_argument("--workdir", type=Path, default=HERE / "work", help="folder for the runs and the pictures")
    parser.add_argument("--type", default=deck_type, choices=["none", "projected"], help="self force")
    options = parser.parse_args()
    program, folder = options.program.resolve(), options.workdir.resolve()
    if not program.exists():
        sys.exit(f"no program at {program}; build it first: cmake -S . -B build && cmake --build build -j2")
    try:
        from make_bunch import benchmark_bunch
        from show import show
    except ModuleNotFoundError as error:
        sys.exit(f"this needs {error.name}; on Debian: apt-get install {PACKAGES.get(error.name, error.name)}")

    folder.mkdir(parents=True, exist_ok=True)
    benchmark_bunch(folder / "bunch.dat", options.particles)
    folders = {}
    for kind in dict.fromkeys(["none", options.type]):
        print(f"tracking {options.particles} particles, self force: {kind}", flush=True)
        folders[kind] = folder / kind
        run(program, folders[kind], deck_for(kind), folder / "bunch.dat")
    show(folders, folder)


if __name__ == "__main__":
    main()
