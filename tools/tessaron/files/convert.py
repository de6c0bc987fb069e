"""Bunches of other systems: openPMD-beamphysics HDF5 and CSV.

openPMD files follow the base standard 2.0.0 with its extension BeamPhysics: one species `electron` below
/data/1/particles/, positions in m, momenta in eV/c, macro-particle charges as `weight` in C, one common `time` in s.
Their axes are horizontal x, vertical y and z along the beam: (x, y, z) there is (y, z, x) here. `position` and
`momentum` hold the differences from the reference particle, and `positionOffset` and `momentumOffset` the reference
particle itself, as the standard provides; readers add them up. The reference particle is the first one, also in a
file from elsewhere.

CSV files have one line of names. ct_m, x_m, y_m, z_m, px_eV_c, py_eV_c, pz_eV_c, q_C are absolute values; the further
columns dx_m ... dpz_eV_c repeat the differences from the first row with all their digits and may be absent on reading.
"""
from __future__ import annotations

import csv
from pathlib import Path

import h5py
import numpy as np

from ..beam.bunch import Bunch, from_absolute
from .bunchfiles import read_bunch, write_bunch
from ..constants import SI_ELEMENTARY_CHARGE, SPEED_OF_LIGHT

SUFFIXES = {".h5": "openpmd", ".hdf5": "openpmd", ".csv": "csv"}
EV_PER_C = SI_ELEMENTARY_CHARGE / SPEED_OF_LIGHT  # kg m/s

# Seven powers of length, mass, time, current, temperature, amount, luminous intensity.
_DIMENSION = {
    "position": (1, 0, 0, 0, 0, 0, 0),
    "momentum": (1, 1, -1, 0, 0, 0, 0),
    "time": (0, 0, 1, 0, 0, 0, 0),
    "weight": (0, 0, 1, 1, 0, 0, 0),
    "particleStatus": (0, 0, 0, 0, 0, 0, 0),
}
_OPENPMD_ROWS = {"x": 1, "y": 2, "z": 0}  # their axis: our row
_ABSOLUTE = ["x_m", "y_m", "z_m", "px_eV_c", "py_eV_c", "pz_eV_c"]


def format_of(path: str | Path, fmt: str | None) -> str | None:
    """The format of a file by its name where none is given; None leaves the guess to the reader of text formats."""
    return fmt or SUFFIXES.get(Path(path).suffix.lower())


def load(path: str | Path, fmt: str | None = None, charge: float = 0.0) -> Bunch:
    """Reads a bunch in any known format; `charge` [C] as in `read_bunch`."""
    fmt = format_of(path, fmt)
    if fmt == "openpmd":
        return read_openpmd(path)
    return read_csv(path) if fmt == "csv" else read_bunch(path, fmt, charge)


def save(path: str | Path, bunch: Bunch, fmt: str | None = None) -> None:
    """Writes a bunch in any writable format; without a name of one, by the file's suffix, else fmt1."""
    fmt = format_of(path, fmt) or "fmt1"
    if fmt == "openpmd":
        write_openpmd(path, bunch)
    elif fmt == "csv":
        write_csv(path, bunch)
    else:
        write_bunch(path, bunch, fmt)


def write_openpmd(path: str | Path, bunch: Bunch) -> None:
    """Writes an openPMD-beamphysics file. Weights are positive; the attribute `chargeSign` keeps the sign."""
    sign = -1.0 if np.any(bunch.charge < 0) else 1.0
    if np.any(bunch.charge * sign < 0):
        raise ValueError("openPMD weights cannot hold charges of both signs")
    n = len(bunch)
    with h5py.File(path, "w") as file:
        _attributes(file, openPMD="2.0.0", openPMDextension="BeamPhysics;SpeciesType", basePath="/data/%T/",
                    particlesPath="particles/", dataType="openPMD", software="tessaron-tools", iterationEncoding="groupBased",
                    iterationFormat="/data/%T/")
        iteration = file.create_group("data/1")
        iteration.attrs.update(time=bunch.ct / SPEED_OF_LIGHT, dt=0.0, timeUnitSI=1.0)
        species = iteration.create_group("particles/electron")
        _attributes(species, speciesType="electron")
        total = np.abs(bunch.charge).sum()
        species.attrs.update(numParticles=np.int64(n), totalCharge=total, chargeLive=total, chargeUnitSI=1.0, chargeSign=sign)
        for record, first, unit in (("position", 0, 1.0), ("momentum", 3, EV_PER_C)):
            group = _record(species, record, record)
            origin = _record(species, record + "Offset", record)
            for axis, row in _OPENPMD_ROWS.items():
                group[axis] = bunch.offsets[first + row]
                group[axis].attrs["unitSI"] = unit
                _constant(origin, axis, bunch.reference[first + row], n, unit)
        _constant(species, "time", bunch.ct / SPEED_OF_LIGHT, n, 1.0, "time")
        _constant(species, "particleStatus", np.int64(1), n, 1.0, "particleStatus")
        species["weight"] = np.abs(bunch.charge)
        species["weight"].attrs.update(unitSI=1.0, **_record_attributes("weight"))


def read_openpmd(path: str | Path) -> Bunch:
    """Reads the first iteration and its first species.

    Particles that are not alive (status other than 1) are left out; particles at different times are brought to the
    latest of them by a straight flight.
    """
    with h5py.File(path, "r") as file:
        species = _species(file)
        n = _count(species)
        offsets, reference = np.empty((6, n)), np.zeros(6)
        for record, first, unit in (("position", 0, 1.0), ("momentum", 3, EV_PER_C)):
            for axis, row in _OPENPMD_ROWS.items():
                offsets[first + row] = _component(species, f"{record}/{axis}", n, unit)
                origin = _component(species, f"{record}Offset/{axis}", n, unit, missing=0.0)
                reference[first + row] = origin[0]
                offsets[first + row] += origin - origin[0]
        time = _component(species, "time", n, 1.0, missing=0.0) + _component(species, "timeOffset", n, 1.0, missing=0.0)
        charge = _component(species, "weight", n, 1.0) * species.attrs.get("chargeSign", 1.0)
        alive = _component(species, "particleStatus", n, 1.0, missing=1.0) == 1
    reference, offsets = reference + offsets[:, 0], offsets - offsets[:, :1]
    bunch = Bunch(0.0, reference, offsets, charge)
    return _at_one_time(bunch, time * SPEED_OF_LIGHT, alive)


def _at_one_time(bunch: Bunch, ct: np.ndarray, alive: np.ndarray) -> Bunch:
    if not np.any(alive):
        raise ValueError("no particle is alive")
    if np.all(alive) and np.all(ct == ct[0]):
        bunch.ct = float(ct[0])
        return bunch
    rows = bunch.offsets + bunch.reference[:, None]
    rows[:3] += rows[3:] / bunch.energy * (ct[alive].max() - ct)
    return from_absolute(float(ct[alive].max()), rows[:, alive], bunch.charge[alive])


def write_csv(path: str | Path, bunch: Bunch) -> None:
    """Writes absolute coordinates and differences as named columns, every number with 17 digits."""
    names = ["ct_m", *_ABSOLUTE, "q_C", *("d" + name for name in _ABSOLUTE)]
    rows = [bunch.absolute(row) for row in range(6)]
    table = np.column_stack([np.full(len(bunch), bunch.ct), *rows, bunch.charge, bunch.offsets.T])
    with open(path, "w") as file:
        file.write(",".join(names) + "\n")
        file.writelines(",".join(map(repr, values)) + "\n" for values in table.tolist())


def read_csv(path: str | Path) -> Bunch:
    """Reads named columns in any order. q_C may be absent (no charge), ct_m too (0)."""
    with open(path, newline="") as file:
        names = [name.strip() for name in next(csv.reader(file), [])]
        missing = [name for name in _ABSOLUTE if name not in names]
        if missing:
            raise ValueError(f"{path}: no column {', '.join(missing)}")
        table = np.loadtxt(file, delimiter=",", ndmin=2)
    column = dict(zip(names, table.T))
    rows = np.array([column[name] for name in _ABSOLUTE])
    charge = column.get("q_C", np.zeros(len(table)))
    bunch = from_absolute(float(column["ct_m"][0]) if "ct_m" in column else 0.0, rows, charge)
    for row, name in enumerate(_ABSOLUTE):
        bunch.offsets[row] = column.get("d" + name, bunch.offsets[row])
    return bunch


def _attributes(node: h5py.Group, **texts: str) -> None:
    for name, text in texts.items():
        node.attrs[name] = np.bytes_(text)


def _record_attributes(quantity: str) -> dict:
    return {"unitDimension": np.array(_DIMENSION[quantity], dtype=float), "timeOffset": 0.0,
            "macroWeighted": np.uint32(quantity == "weight"), "weightingPower": float(quantity == "weight")}


def _record(species: h5py.Group, name: str, quantity: str) -> h5py.Group:
    group = species.create_group(name)
    group.attrs.update(_record_attributes(quantity))
    return group


def _constant(parent: h5py.Group, name: str, value: float, n: int, unit: float, quantity: str | None = None) -> None:
    """A component that is the same for all particles holds its value in attributes."""
    node = parent.create_group(name)
    node.attrs.update(value=value, shape=np.array([n], dtype=np.int64), unitSI=unit)
    if quantity:
        node.attrs.update(_record_attributes(quantity))


def _species(file: h5py.File) -> h5py.Group:
    base = _text(file.attrs.get("basePath", "/data/%T/"))
    if "%T" in base:
        head, tail = base.split("%T")
        iterations = sorted(file[head], key=lambda name: (len(name), name))
        if not iterations:
            raise ValueError("no iteration in the file")
        base = head + iterations[0] + tail
    particles = file[base][_text(file.attrs.get("particlesPath", "particles/"))]
    return particles if "position" in particles else particles[next(iter(particles))]


def _text(value: bytes | str) -> str:
    return value.decode() if isinstance(value, bytes) else str(value)


def _count(species: h5py.Group) -> int:
    node = species["position/x"]
    return int(np.ravel(node.attrs["shape"])[0]) if "shape" in node.attrs else node.shape[0]


def _component(species: h5py.Group, name: str, n: int, unit: float, missing: float | None = None) -> np.ndarray:
    """One component in units of `unit` (in SI units), constant ones filled up."""
    if name not in species:
        if missing is None:
            raise ValueError(f"no component {name}")
        return np.full(n, missing)
    node = species[name]
    scale = float(node.attrs.get("unitSI", unit)) / unit
    values = np.full(n, node.attrs["value"], dtype=float) if "value" in node.attrs else np.asarray(node, dtype=float)
    return values if scale == 1.0 else values * scale
