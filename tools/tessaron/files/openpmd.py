"""openPMD files of bunches, with the extension BeamPhysics (HDF5).

Written are files of the base standard 2.0.0, or of 1.1.0 on request: one species `electron` below /data/1/particles/,
positions in m, momenta in eV/c, macro-particle charges as `weight` in C, one common `time` in s. Their axes are horizontal
x, vertical y and z along the beam: (x, y, z) there is (y, z, x) here. `position` and `momentum` hold the differences from
the reference particle, and `positionOffset` and `momentumOffset` the reference particle itself, as the standard provides;
readers add them up. The reference particle is the first one, also in a file from elsewhere.
"""
from __future__ import annotations

import getpass
from datetime import datetime, timezone
from pathlib import Path

import h5py
import numpy as np

from .. import __version__
from ..beam.bunch import Bunch
from ..beam.makers import at_latest_time
from ..constants import SI_ELEMENTARY_CHARGE, SPEED_OF_LIGHT
from ..words import counted

EV_PER_C = SI_ELEMENTARY_CHARGE / SPEED_OF_LIGHT  # kg m/s
VERSIONS = ("2.0.0", "1.1.0")
ELECTRONS = ("electron", "electrons", "e-")

# Seven powers of length, mass, time, current, temperature, amount, luminous intensity.
_DIMENSION = {
    "position": (1, 0, 0, 0, 0, 0, 0),
    "momentum": (1, 1, -1, 0, 0, 0, 0),
    "time": (0, 0, 1, 0, 0, 0, 0),
    "weight": (0, 0, 1, 1, 0, 0, 0),
    "particleStatus": (0, 0, 0, 0, 0, 0, 0),
}
_ROWS = {"x": 1, "y": 2, "z": 0}  # their axis: our row


def write_openpmd(path: str | Path, bunch: Bunch, version: str = VERSIONS[0]) -> None:
    """Writes a file of the given version of the base standard. Weights are positive; `chargeSign` keeps the sign."""
    sign = -1.0 if np.any(bunch.charge < 0) else 1.0
    if np.any(bunch.charge * sign < 0):
        raise ValueError("openPMD weights cannot hold charges of both signs")
    if version not in VERSIONS:
        raise ValueError(f"openPMD {version} is not known; there are {', '.join(VERSIONS)}")
    n = len(bunch)
    with h5py.File(path, "w") as file:
        _root(file, version)
        iteration = file.create_group("data/1")
        iteration.attrs.update(time=bunch.ct / SPEED_OF_LIGHT, dt=0.0, timeUnitSI=1.0)
        species = iteration.create_group("particles/electron")
        _texts(species, speciesType="electron")
        total = np.abs(bunch.charge).sum()
        species.attrs.update(numParticles=np.uint64(n), totalCharge=total, chargeLive=total, chargeUnitSI=1.0, chargeSign=sign)
        for record, first, unit in (("position", 0, 1.0), ("momentum", 3, EV_PER_C)):
            group, origin = (species.create_group(name) for name in (record, record + "Offset"))
            for node in (group, origin):
                node.attrs.update(_record_attributes(record))
            for axis, row in _ROWS.items():
                group[axis] = bunch.offsets[first + row]
                group[axis].attrs["unitSI"] = unit
                _constant(origin, axis, bunch.reference[first + row], n, unit)
        _constant(species, "time", bunch.ct / SPEED_OF_LIGHT, n, 1.0, "time")
        _constant(species, "particleStatus", np.int64(1), n, 1.0, "particleStatus")
        species["weight"] = np.abs(bunch.charge)
        species["weight"].attrs.update(unitSI=1.0, **_record_attributes("weight"))


def read_openpmd(path: str | Path, species: str | None = None, iteration: str | None = None) -> Bunch:
    """Reads one species of electrons at one iteration.

    Particles that are not alive (status other than 1) are left out; particles at different times are brought to the
    latest of them by a straight flight.

    :param species: its name; needed where the file holds several. `iteration` likewise.
    """
    try:
        file = h5py.File(path, "r")
    except OSError as error:
        if Path(path).is_file():
            raise ValueError(f"{path}: no HDF5 file: {error}") from None
        raise
    with file:
        try:
            return _bunch_of(_species(file, species, iteration))
        except (ValueError, KeyError) as error:
            raise ValueError(f"{path}: {error.args[0] if error.args else error}") from None


def _bunch_of(node: h5py.Group) -> Bunch:
    _check_kind(node)
    n = _count(node)
    offsets, reference = np.empty((6, n)), np.zeros(6)
    for record, first, unit in (("position", 0, 1.0), ("momentum", 3, EV_PER_C)):
        for axis, row in _ROWS.items():
            offsets[first + row] = _component(node, record, n, unit, axis)
            origin = _component(node, record, n, unit, axis, "Offset", missing=0.0)
            reference[first + row] = origin[0]
            offsets[first + row] += origin - origin[0]
    time = _component(node, "time", n, 1.0, missing=0.0) + _component(node, "time", n, 1.0, suffix="Offset", missing=0.0)
    charge = _component(node, "weight", n, 1.0) * node.attrs.get("chargeSign", 1.0)
    alive = _component(node, "particleStatus", n, 1.0, missing=1.0) == 1
    reference, offsets = reference + offsets[:, 0], offsets - offsets[:, :1]
    return _at_one_time(Bunch(0.0, reference, offsets, charge), time * SPEED_OF_LIGHT, alive)


def _at_one_time(bunch: Bunch, ct: np.ndarray, alive: np.ndarray) -> Bunch:
    if not np.any(alive):
        raise ValueError("no particle is alive")
    if np.all(alive) and np.all(ct == ct[0]):
        bunch.ct = float(ct[0])
        return bunch
    rows = bunch.offsets + bunch.reference[:, None]
    return at_latest_time(ct[alive], rows[:, alive], bunch.charge[alive])


def _root(file: h5py.File, version: str) -> None:
    _texts(file, openPMD=version, basePath="/data/%T/", particlesPath="particles/", dataType="openPMD", iterationEncoding="groupBased",
           iterationFormat="/data/%T/", software="tessaron-tools", softwareVersion=__version__, author=_author(),
           date=datetime.now(timezone.utc).strftime("%Y-%m-%d %H:%M:%S %z"))
    if version.startswith("1."):
        file.attrs["openPMDextension"] = np.uint32(0)  # a mask of numbered extensions, of which BeamPhysics is none
    else:
        _texts(file, openPMDextension="BeamPhysics;SpeciesType")


def _author() -> str:
    try:
        return getpass.getuser()
    except (KeyError, OSError):
        return "unknown"


def _texts(node: h5py.Group, **texts: str) -> None:
    for name, text in texts.items():
        node.attrs[name] = np.bytes_(text)


def _record_attributes(quantity: str) -> dict:
    return {"unitDimension": np.array(_DIMENSION[quantity], dtype=float), "timeOffset": 0.0,
            "macroWeighted": np.uint32(quantity == "weight"), "weightingPower": float(quantity == "weight")}


def _constant(parent: h5py.Group, name: str, value: float, n: int, unit: float, quantity: str | None = None) -> None:
    """A component that is the same for all particles holds its value in attributes."""
    node = parent.create_group(name)
    node.attrs.update(value=value, shape=np.array([n], dtype=np.uint64), unitSI=unit)
    if quantity:
        node.attrs.update(_record_attributes(quantity))


def _species(file: h5py.File, species: str | None, iteration: str | None) -> h5py.Group:
    base = _text(file.attrs.get("basePath", "/data/%T/"))
    if "%T" in base:
        head, tail = base.split("%T")
        if head not in file:
            raise ValueError(f"no group {head}: is this an openPMD file?")
        base = head + _one(sorted(file[head], key=lambda name: (len(name), name)), iteration, "iteration") + tail
    elif iteration is not None:
        raise ValueError("the file has no iterations to choose from")
    path = _text(file.attrs.get("particlesPath", "particles/"))
    if path not in file[base]:
        raise ValueError(f"no particles at {base}{path}")
    particles = file[base][path]
    if "position" in particles:
        return particles
    return particles[_one(sorted(particles), species, "species")]


def _one(names: list[str], chosen: str | None, what: str) -> str:
    """The chosen one of several, or the only one."""
    listed = ", ".join(names[:20]) + (", ..." if len(names) > 20 else "")
    if not names:
        raise ValueError(f"no {what} in the file")
    if chosen is not None:
        if str(chosen) not in names:
            raise ValueError(f"no {what} {chosen}; there are {listed}")
        return str(chosen)
    if len(names) > 1:
        raise ValueError(f"several {what if what == 'species' else what + 's'}: {listed}; choose one with --{what}")
    return names[0]


def _check_kind(node: h5py.Group) -> None:
    """Refuses what is not electrons, as far as the file tells."""
    kind = _text(node.attrs.get("speciesType", "electron"))
    if kind.split(":")[-1].lower() not in ELECTRONS:
        raise ValueError(f"{node.name} holds {kind}s; the program tracks electrons")
    name = node.name.rsplit("/", 1)[-1].lower()
    if "speciesType" not in node.attrs and any(other in name for other in ("proton", "positron", "ion", "muon", "photon")):
        raise ValueError(f"{node.name} does not tell its kind but is named {name}; the program tracks electrons")
    if "mass" in node:
        mass = _component(node, "mass", 1, 1.0)[0]
        if not 0.99 < mass / 9.1093837e-31 < 1.01:
            raise ValueError(f"{node.name} holds particles of {mass:.4g} kg; the program tracks electrons of 9.109e-31 kg")


def _text(value: bytes | str) -> str:
    return value.decode() if isinstance(value, bytes) else str(value)


def _count(node: h5py.Group) -> int:
    if "position/x" not in node:
        raise ValueError(f"{node.name} holds no position/x")
    x = node["position/x"]
    return int(np.ravel(x.attrs["shape"])[0]) if "shape" in x.attrs else x.shape[0]


def _component(species: h5py.Group, record: str, n: int, unit: float, axis: str = "", suffix: str = "",
               missing: float | None = None) -> np.ndarray:
    """One component in units of `unit` (in SI units), constant ones filled up."""
    name = record + suffix + (f"/{axis}" if axis else "")
    if name not in species:
        if missing is None:
            raise ValueError(f"no component {name}")
        return np.full(n, missing)
    node, told = species[name], species[record + suffix].attrs.get("unitDimension")
    if record in _DIMENSION and told is not None and tuple(np.ravel(told)) != _DIMENSION[record]:
        raise ValueError(f"{record + suffix} has the unitDimension {[round(float(v), 3) for v in np.ravel(told)]}, not "
                         f"{list(_DIMENSION[record])}" + ("; weights must be charges" if record == "weight" else ""))
    scale = float(node.attrs.get("unitSI", unit)) / unit
    values = np.full(n, node.attrs["value"], dtype=float) if "value" in node.attrs else np.asarray(node, dtype=float)
    if values.shape != (n,):
        raise ValueError(f"{name} has {values.shape} values for {counted(n, 'particle')}")
    return values if scale == 1.0 else values * scale
