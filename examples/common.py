"""What the examples share: their options, a run of the program in a folder of its own, lines of a summary.

A run.py puts this folder on the path and imports it first; the Python companions can then be imported as well.
"""
from __future__ import annotations

import argparse
import re
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent  # the source tree, or share/doc/tessaron of the place of installation
INSTALLED = not (ROOT / "CMakeLists.txt").exists()
PROGRAM = ROOT.parents[2] / "bin" / "tessaron" if INSTALLED else ROOT / "build" / "tessaron"
sys.path[:0] = map(str, ROOT.parents[2].glob("lib/python3*/*-packages")) if INSTALLED else [str(ROOT / "tools")]
try:
    import tessaron.pictures.plots  # noqa: F401  needs all that the examples need
except ModuleNotFoundError as error:
    sys.exit(f"this needs {error.name}; on Debian: apt-get install python3-numpy python3-matplotlib python3-h5py")


def parser(script: str, description: str, particles: int | list[int], quick: int | list[int]) -> argparse.ArgumentParser:
    """Options of every example. A list of particles makes `--particles` take several numbers.

    :param quick: particles with `--quick`, for a look whether the example works.
    """
    parser = argparse.ArgumentParser(description=description.splitlines()[0])
    several = {"nargs": "+"} if isinstance(particles, list) else {}
    parser.add_argument("--particles", type=int, help=f"macro-particles, at most 300000 (default: {particles})", **several)
    parser.add_argument("--quick", action="store_true", help=f"a short run with {quick} particles")
    parser.add_argument("--program", type=Path, default=PROGRAM, help="the built or installed program")
    folder = Path.cwd() if INSTALLED else Path(script).resolve().parent
    parser.add_argument("--workdir", type=Path, default=folder / "work", help="folder for runs and pictures (default: %(default)s)")
    parser.set_defaults(counts=(particles, quick))
    return parser


def parse(parser: argparse.ArgumentParser) -> argparse.Namespace:
    """The options with absolute paths and the number of particles settled; the work folder exists."""
    options = parser.parse_args()
    options.particles = options.particles or options.counts[options.quick]
    options.program, options.workdir = options.program.resolve(), options.workdir.resolve()
    if not options.program.exists():
        sys.exit(f"no program at {options.program}; build it first: cmake -S . -B build && cmake --build build -j2")
    options.workdir.mkdir(parents=True, exist_ok=True)
    return options


def changed(deck: str, **keys: float | str) -> str:
    """The deck with other values of some keys, at the first place where each of them stands outside a comment."""
    for key, value in keys.items():
        deck, count = re.subn(rf"(?m)^([^!\n]*?\b{key}\s*=\s*)\S+", lambda found: f"{found[1]}{value}", deck, count=1)
        if not count:
            raise KeyError(key)
    return deck


def run(program: Path, folder: Path, deck: str, files: dict[str, Path] | None = None, expect: str | None = None) -> None:
    """One run in its own folder, which is emptied first; its console goes to console.txt.

    :param files: other files that the deck reads, by the names they have there.
    :param expect: a file that the run leaves if it gets to its end.
    """
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    (folder / "tessar.in").write_text(deck)
    for name, source in (files or {}).items():
        shutil.copy(source, folder / name)
    with open(folder / "console.txt", "w") as console:
        subprocess.run([program], cwd=folder, stdout=console, check=True)
    if expect and not (folder / expect).exists():
        last = (folder / "console.txt").read_text().splitlines(keepends=True)[-15:]
        sys.exit(f"the run in {folder} did not reach its end:\n" + "".join(last))


def row(name: str, value: float, unit: str, expected: str = "") -> None:
    """One line of a summary."""
    print(f"  {name:32s} {value:11.6g} {unit:3s}" + (f"  ({expected})" if expected else ""))
