"""Bunches as CSV, with one line of names.

Written and read are ct_m, x_m, y_m, z_m, px_eV_c, py_eV_c, pz_eV_c, q_C: absolute values along the axes of the program,
x along the beam, z vertical. The further columns dx_m ... dpz_eV_c repeat the differences from the first row with all
their digits; they, ct_m and q_C may be absent on reading. The plain names x, y, z, px, py, pz, q (and ct) are taken too,
as metres, eV/c and coulomb.
"""
from __future__ import annotations

import csv
from pathlib import Path

import numpy as np

from ..beam.bunch import Bunch, from_absolute

ABSOLUTE = ["x_m", "y_m", "z_m", "px_eV_c", "py_eV_c", "pz_eV_c"]
PLAIN = {"x": "x_m", "y": "y_m", "z": "z_m", "px": "px_eV_c", "py": "py_eV_c", "pz": "pz_eV_c", "q": "q_C", "ct": "ct_m"}
CONVENTION = "plain names read as x, y, z in m, px, py, pz in eV/c, q in C; {0} along the beam, {1} vertical"
_ALONG_Z = {"x_m": "y_m", "y_m": "z_m", "z_m": "x_m"}  # their column: ours


def write_csv(path: str | Path, bunch: Bunch) -> None:
    """Writes absolute coordinates and differences as named columns, every number with 17 digits."""
    names = ["ct_m", *ABSOLUTE, "q_C", *("d" + name for name in ABSOLUTE)]
    rows = [bunch.absolute(row) for row in range(6)]
    table = np.column_stack([np.full(len(bunch), bunch.ct), *rows, bunch.charge, bunch.offsets.T])
    with open(path, "w") as file:
        file.write(",".join(names) + "\n")
        file.writelines(",".join(map(repr, values)) + "\n" for values in table.tolist())


def read_csv(path: str | Path, beam_axis: str = "x") -> tuple[Bunch, str]:
    """Reads named columns in any order.

    :param beam_axis: the axis along the beam in the file: x, or z with the vertical along y.
    :return: the bunch, and what had to be assumed about the columns, for a person.
    """
    with open(path, newline="", errors="replace") as file:
        names = [name.strip().strip("#").strip() for name in next(csv.reader(file), [])]
        plain = not set(ABSOLUTE) <= set(names) and set(list(PLAIN)[:6]) <= set(names)
        names = [PLAIN.get(name, name) for name in names] if plain else names
        if missing := [name for name in ABSOLUTE if name not in names]:
            raise ValueError(f"{path}: no column {', '.join(missing)}; a bunch needs {', '.join(ABSOLUTE)}, or x, y, z, px, py, pz, and q_C or "
                             f"q. The first line holds {', '.join(names[:12]) or 'nothing'}")
        try:
            table = np.loadtxt(file, delimiter=",", ndmin=2)
        except ValueError as error:
            raise ValueError(f"{path}: {error}") from None
    if not len(table):
        raise ValueError(f"{path}: no particle")
    column = dict(zip(names, table.T))
    if beam_axis == "z":
        column = _turned(column)
    rows = np.array([column[name] for name in ABSOLUTE])
    if np.abs(rows[5]).mean() > np.abs(rows[3]).mean():
        raise ValueError(f"{path}: the particles fly along " + ("z, which is vertical here; if z is the beam axis, say --beam-axis z"
                                                              if beam_axis == "x" else "y, with z as the beam axis"))
    charge = column.get("q_C", np.zeros(len(table)))
    bunch = from_absolute(float(column["ct_m"][0]) if "ct_m" in column else 0.0, rows, charge)
    for row, name in enumerate(ABSOLUTE):
        bunch.offsets[row] = column.get("d" + name, bunch.offsets[row])
    told = [CONVENTION.format(*(("x", "z") if beam_axis == "x" else ("z", "y")))] if plain else []
    told += ["no charges in it"] if "q_C" not in column else []
    return bunch, "; ".join(told)


def _turned(column: dict[str, np.ndarray]) -> dict[str, np.ndarray]:
    """Columns of a file whose z lies along the beam."""
    names = {**_ALONG_Z, **{"p" + a[0] + "_eV_c": "p" + b[0] + "_eV_c" for a, b in _ALONG_Z.items()}}
    names.update({"d" + a: "d" + b for a, b in names.items()})
    return {names.get(name, name): values for name, values in column.items()}
