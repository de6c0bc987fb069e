"""Bunch files of every format by name or by suffix, and what no bunch for this program may be."""
from __future__ import annotations

import sys
from pathlib import Path

import numpy as np

from ..beam.bunch import Bunch
from ..deck.keys import CAPACITY
from ..words import counted
from .astra import read_astra, write_astra
from .bunchfiles import WRITABLE, guess_format, read_bunch, write_bunch
from .csvfiles import read_csv, write_csv
from .sdds import Plane, read_sdds, write_sdds
from .sdds_header import is_sdds
from .sdds_pages import KINDS

SUFFIXES = {".h5": "openpmd", ".hdf5": "openpmd", ".csv": "csv", ".sdds": "sdds", ".astra": "astra", ".ini": "astra", ".umbra": "umbra",
            ".fmt0": "fmt0", ".fmt1": "fmt1", ".fmt2": "fmt2", ".fmt3": "fmt3"}
FORMLESS = ("", ".dat", ".txt", ".in", ".bunch", ".part")  #: suffixes that tell nothing; written as fmt1, read by what stands in the file
FORMATS = (*WRITABLE, "openpmd", "csv", "sdds", "astra")
_NAMES = {"openpmd": "openPMD", "sdds": "SDDS"}


def format_of(path: str | Path, fmt: str | None = None) -> str:
    """The format of a file to read: `fmt` if told, else by the suffix, else by its first words or columns.

    :raises ValueError: a packed file, or columns that are no format.
    """
    with open(path, "rb") as file:
        if file.read(6).startswith((b"\x1f\x8b", b"BZh", b"\xfd7zXZ")):
            raise ValueError(f"{path} is packed; unpack it with gunzip, bunzip2 or unxz")
    if found := fmt or SUFFIXES.get(Path(path).suffix.lower()):
        return found
    return "sdds" if is_sdds(path) else guess_format(path)


def format_to_write(path: str | Path, fmt: str | None = None) -> str:
    """`fmt` if told, else by the suffix, fmt1 where that tells nothing.

    :raises ValueError: a suffix that stands for no format.
    """
    suffix = Path(path).suffix.lower()
    if found := fmt or SUFFIXES.get(suffix) or ("fmt1" if suffix in FORMLESS else None):
        return found
    raise ValueError(f"{path}: no format has the suffix {suffix}; name one of {', '.join(FORMATS)}, or use a suffix of "
                     f"{', '.join(s for s, f in SUFFIXES.items() if f in FORMATS)}")


def load(path: str | Path, fmt: str | None = None, charge: float = 0.0, species: str | None = None, iteration: str | None = None,
         beam_axis: str = "x", page: int | None = None, instant: float | None = None, take: int | None = None) -> Bunch:
    """Reads a bunch in any known format; what had to be assumed is told on standard error.

    :param fmt: its format; otherwise by the suffix, else by what stands in the file.
    :param charge: [C] of a file that tells none; `species`, `iteration`: of an openPMD file; `beam_axis`: of a CSV file; `page`,
        `instant`: of an SDDS file, as in `read_sdds`.
    :param take: a random choice of so many particles (`Bunch.with_particles`).
    :raises ValueError: the file holds no bunch, or one that is none: numbers that are not finite, or particles at rest.
    """
    fmt = format_of(path, fmt)
    for name, value, wanted in (("species", species, "openpmd"), ("iteration", iteration, "openpmd"), ("page", page, "sdds"),
                                ("instant", instant, "sdds")):
        if value is not None and fmt != wanted:
            raise ValueError(f"{path}: --{name} is for {_NAMES[wanted]} files")
    told = ""
    if fmt == "openpmd":
        from .openpmd import read_openpmd  # h5py takes a while to load

        bunch = read_openpmd(path, species, iteration)
    elif fmt == "csv":
        bunch, told = read_csv(path, beam_axis)
    elif fmt == "sdds":
        bunch, told = read_sdds(path, 1 if page is None else page, instant)
    elif fmt == "astra":
        bunch, told = read_astra(path)
    else:
        bunch = read_bunch(path, fmt)
    if told:
        print(f"{path}: {told}", file=sys.stderr)
    if charge and bunch.charge.any():
        raise ValueError(f"{path}: --charge is for files that tell none, as fmt0; this one holds {bunch.charge.sum() * 1e9:.6g} nC")
    bunch = bunch.with_charge(charge) if charge else bunch
    bunch = bunch.with_particles(take) if take is not None else bunch
    refuse_bad(bunch, path)
    return bunch


def save(path: str | Path, bunch: Bunch, fmt: str | None = None, version: str | None = None, sdds: str | None = None,
         plane: Plane | None = None) -> str:
    """Writes a bunch in any writable format and returns one line that tells what was written.

    :param fmt: the format; otherwise by the suffix, fmt1 where that tells nothing.
    :param version: of openPMD; `sdds`: binary, ascii or big-endian; `plane`: of SDDS, that of `plane_of` otherwise.
    :raises ValueError: a suffix that stands for another format, or a bunch that the program cannot take. Nothing is written.
    """
    fmt = format_to_write(path, fmt)
    if fmt not in FORMATS:
        raise ValueError(f"{path}: {fmt} cannot be written; one of {', '.join(FORMATS)} can")
    for value, what, wanted in ((version, "a version of openPMD", "openpmd"), (sdds, "a kind of SDDS", "sdds")):
        if value is not None and fmt != wanted:
            raise ValueError(f"{path}: {what} was asked for, but the format is {fmt}")
    refuse_bad(bunch, path)
    told = ""
    if fmt == "openpmd":
        from .openpmd import VERSIONS, write_openpmd

        write_openpmd(path, bunch, version or VERSIONS[0])
    elif fmt == "csv":
        write_csv(path, bunch)
    elif fmt == "sdds":
        told = ", " + write_sdds(path, bunch, sdds or KINDS[0], plane)
    elif fmt == "astra":
        write_astra(path, bunch)
    else:
        write_bunch(path, bunch, fmt)
    return (f"{path}: {fmt}, {counted(len(bunch), 'particle')}, {bunch.charge.sum() * 1e9:.6g} nC, particle 1 with {bunch.momentum[0] * 1e-6:.6g} MeV/c, "
            f"c*t = {bunch.ct:.6g} m{told}")


def refuse_bad(bunch: Bunch, path: str | Path) -> None:
    """What must never get into a run, or into numbers about one."""
    rows = [*bunch.offsets, bunch.charge, np.full(len(bunch), bunch.ct + bunch.reference.sum())]
    if not all(np.isfinite(row.sum()) for row in rows):
        bad = int(np.flatnonzero(~np.all([np.isfinite(row) for row in rows], axis=0))[0]) + 1
        raise ValueError(f"{path}: particle {bad} holds a value that is no finite number")
    if np.any(bunch.momentum <= 0):
        raise ValueError(f"{path}: particle {int(np.argmin(bunch.momentum)) + 1} has no momentum")
    if len(bunch) > CAPACITY["maxprt"]:
        raise ValueError(f"{path}: {len(bunch)} particles are more than the {CAPACITY['maxprt']} that the program holds")
