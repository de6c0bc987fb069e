"""Bunches as SDDS files with the columns of elegant: x, xp, y, yp, t and p.

Such a file tells when and where every particle crosses a plane at a fixed place of the design orbit, x to the left and y
upwards; a bunch here is all particles at one time. With the velocity along the orbit, v = p c / gamma / sqrt(1 + xp^2 + yp^2),
a particle that arrives at t is ahead of the plane by

    s = v (T - t),    x + xp s,    y + yp s

at the time T, so that a larger t is farther behind. In a file from elsewhere the plane is taken to stand at the origin, across the
x axis of the program. A file written here tells in parameters of its own, which others ignore, where its plane is (PlaneX, PlaneY,
PlaneZ [m]), which way it faces (PlaneNX, PlaneNY, PlaneNZ) and c T (PlaneCt [m]); read back, the bunch is where it was.

p is in units of m c; it becomes a momentum in eV/c with the rest energy of the SI. elegant's particles have equal charges,
of which `Charge` is the sum: where they are unequal, a further column q [C] tells them. pCentral is written as the mean p.
"""
from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

import numpy as np

from ..beam.bunch import Bunch, frame_along
from ..beam.orbit import FARTHEST, MOST_ASKEW
from ..beam.placing import mean_of
from ..constants import SI_ELECTRON_REST_ENERGY, SPEED_OF_LIGHT
from .sdds_header import Definition
from .sdds_pages import KINDS, Page, read_page, write_page

UNITS = {"x": ("m",), "xp": ("", "rad"), "y": ("m",), "yp": ("", "rad"), "t": ("s",), "p": ("m$be$nc", "")}
_LARGEST = 1e30  # beyond any unit; its square is still a number
_PLANE = ("PlaneX", "PlaneY", "PlaneZ", "PlaneNX", "PlaneNY", "PlaneNZ", "PlaneCt")


@dataclass
class Plane:
    """Where particles are told to cross."""

    place: np.ndarray  #: (3,) origin of x and y [m]
    normal: np.ndarray  #: (3,) along the beam
    words: str  #: for a person


def read_sdds(path: str | Path, page: int = 1, instant: float | None = None) -> tuple[Bunch, str]:
    """Reads a bunch at the plane of one page and brings it to one time.

    :param page: its number, from 1.
    :param instant: c times that time, in the file's own time [m]; otherwise that of the mean arrival, or the one that a
        file written here tells.
    :return: the bunch, and what was made of the file, for a person.
    """
    found = read_page(path, (*UNITS, "q"), page)
    _check(path, found)
    x, xp, y, yp, t, p = (found.columns[name] for name in UNITS)
    plane = [found.parameters.get(name) for name in _PLANE]
    told_plane = all(isinstance(value, float) and np.isfinite(value) for value in plane) and any(plane[3:6])
    mean = float(t.mean()) * SPEED_OF_LIGHT
    ct = float(instant) if instant is not None else plane[6] if told_plane else mean
    forward = p / np.sqrt(1 + xp**2 + yp**2)
    ahead = forward / np.sqrt(1 + p**2) * (ct - t * SPEED_OF_LIGHT)
    forward = forward * SI_ELECTRON_REST_ENERGY
    local = np.array([ahead, x + xp * ahead, y + yp * ahead, forward, xp * forward, yp * forward])
    axes, origin = (frame_along(np.array(plane[3:6])), np.array(plane[:3])) if told_plane else (np.eye(3), np.zeros(3))
    reference, offsets = local[:, 0], local - local[:, :1]
    reference = np.concatenate([axes @ reference[:3] + origin, axes @ reference[3:]])
    bunch = Bunch(ct, reference, np.vstack([axes @ offsets[:3], axes @ offsets[3:]]), _charges(found, len(t)))
    which = "as asked" if instant is not None else "the one the file tells" if told_plane else "the mean arrival"
    told = [f"page {page}" + (", others follow" if found.more else ""),
            f"particles crossing a plane, flown straight by up to {np.abs(ahead).max():.3g} m to one time, c*t = {ct:.9g} m ({which})"]
    if isinstance(central := found.parameters.get("pCentral"), float):
        told.append(f"pCentral is {central * SI_ELECTRON_REST_ENERGY:.10g} eV/c")
    return bunch, "; ".join(told + ([] if bunch.charge.any() else ["no charges in it"]))


def plane_of(bunch: Bunch) -> Plane:
    """Across the x axis for a bunch that flies near it, so that what was read is written: at the origin if the bunch is astride it, else
    at its mean. For any other bunch across its mean momentum, at its mean."""
    mean = mean_of(bunch)
    if np.hypot(mean[1], mean[2]) > FARTHEST or np.arctan2(np.hypot(mean[4], mean[5]), mean[3]) > MOST_ASKEW:
        return Plane(mean[:3], mean[3:], "across its mean momentum, at its mean")
    x = 0.0 if bunch.x.min() <= 0 <= bunch.x.max() else float(mean[0])
    return Plane(np.array([x, 0.0, 0.0]), np.array([1.0, 0.0, 0.0]), f"across the x axis, at {x:.9g} m")


def write_sdds(path: str | Path, bunch: Bunch, kind: str = KINDS[0], plane: Plane | None = None) -> str:
    """Writes a bunch as it crosses a plane, every particle flown there straight, and returns words that tell which.

    :param kind: binary (little-endian), ascii or big-endian.
    :param plane: that of `plane_of` unless told.
    :raises ValueError: a particle that does not fly through the plane. Nothing is written.
    """
    if kind not in KINDS:
        raise ValueError(f"SDDS {kind} is not known; there are {', '.join(KINDS)}")
    plane = plane or plane_of(bunch)
    axes = frame_along(plane.normal)
    ahead, left, up = axes.T @ (bunch.offsets[:3] + (bunch.reference[:3] - plane.place)[:, None])
    ps, pu, pw = axes.T @ (bunch.reference[3:, None] + bunch.offsets[3:])
    if np.any(ps <= 0):
        raise ValueError(f"{path}: particle {int(np.argmin(ps)) + 1} does not fly through the plane {plane.words}")
    xp, yp, p = pu / ps, pw / ps, bunch.momentum / SI_ELECTRON_REST_ENERGY
    speed = p / np.sqrt(1 + p**2) / np.sqrt(1 + xp**2 + yp**2)
    columns = {"x": left - xp * ahead, "xp": xp, "y": up - yp * ahead, "yp": yp, "t": (bunch.ct - ahead / speed) / SPEED_OF_LIGHT, "p": p}
    table = [(Definition(name, "double", UNITS[name][0]), values) for name, values in columns.items()]
    table.append((Definition("particleID", "long"), np.arange(1, len(bunch) + 1)))
    if np.any(bunch.charge != bunch.charge[0]) or bunch.charge[0] < 0:
        table.append((Definition("q", "double", "C"), bunch.charge))
    numbers = {"pCentral": (bunch.weight @ p, "m$be$nc"), "Charge": (np.abs(bunch.charge).sum(), "C")}
    place = zip(_PLANE, (*plane.place, *axes[:, 0], bunch.ct), ("m", "m", "m", "", "", "", "m"))
    numbers.update({name: (value, unit) for name, value, unit in place})
    parameters = [(Definition(name, "double", unit), float(value)) for name, (value, unit) in numbers.items()]
    write_page(path, [*parameters, (Definition("Particles", "long"), len(bunch))], table, kind)
    return f"at a plane {plane.words}, particles flown there by up to {np.abs(ahead).max():.3g} m"


def _check(path: str | Path, page: Page) -> None:
    """Refuses what is no bunch of elegant's."""
    if missing := [name for name in UNITS if name not in page.columns]:
        raise ValueError(f"{path}: no numbers in column {', '.join(missing)}; a bunch needs {', '.join(UNITS)}. The columns are "
                         f"{', '.join(list(page.units)[:20])}")
    for name, units in UNITS.items():
        if page.units[name] not in (*units, ""):
            raise ValueError(f"{path}: column {name} has the unit {page.units[name]}; it must be {units[0] or 'none'}")
    if not len(page.columns["x"]):
        raise ValueError(f"{path}: page {page.number} holds no particle")
    for name in UNITS:
        values = page.columns[name]
        if not np.all(good := (np.abs(values) < _LARGEST) & (values > 0 if name == "p" else True)):
            k = int(np.argmin(good))
            raise ValueError(f"{path}: particle {k + 1} of page {page.number} has the {name} {values[k]}")


def _charges(page: Page, count: int) -> np.ndarray:
    """From column q, scaled to the parameter Charge; or equal parts of that."""
    total, charges = page.parameters.get("Charge"), page.columns.get("q")
    total = total if isinstance(total, float) and np.isfinite(total) else None
    if charges is None:
        return np.full(count, (total or 0.0) / count)
    size = np.abs(charges).sum()
    return charges if total is None or not size or abs(total / size - 1) < 1e-12 else charges * (total / size)
