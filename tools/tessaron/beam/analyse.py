"""Numbers of a bunch: moments, emittances, Twiss parameters, R56, energy loss.

All moments are weighted with the charge and taken about the centre: s ahead, u to the left in the orbit plane, w up.
These directions follow the design orbit where it is told (`orbit`, the field boundaries of the lattice), else they are
those of the mean momentum, which in a bend are not what one wants to know. Emittances are normalised.
"""
from __future__ import annotations

from dataclasses import asdict, dataclass

import numpy as np

from ..lattice.geometry import Boundary
from .bunch import Bunch, LocalCoordinates
from .moments import PlaneMoments, plane_moments, residual, rms
from .orbit import coordinates
from .slices import current_profile, profile_of, slice_moments

__all__ = ["current_profile", "slice_moments"]


@dataclass
class Summary:
    """A bunch in numbers."""

    ct: float  #: bunch time [m]
    particles: int
    charge: float  #: [C]
    energy: float  #: mean total energy [eV]
    energy_spread: float  #: rms [eV]
    chirp: float  #: relative energy per metre behind the centre [1/m], fitted
    energy_spread_uncorrelated: float  #: rms about a chirp of third order [eV]
    length: float  #: rms [m]
    peak_current: float  #: [A], the mean over one bin of the profile
    current_bin: float  #: length of that bin [m]
    position: tuple[float, float, float]  #: mean x, y, z [m]
    frame: str  #: "orbit" or "straight": what s, u, w follow
    place: float | None  #: path length of the centre along the orbit [m], where the orbit is known
    offset: float | None  #: distance of the centre from the orbit [m]
    horizontal: PlaneMoments
    vertical: PlaneMoments


def summary(bunch: Bunch, slices: int = 50, orbit: list[Boundary] | None = None, local: LocalCoordinates | None = None) -> Summary:
    """The bunch in numbers.

    :param slices: number of bins of the current profile, over five rms lengths to both sides.
    :param orbit: the field boundaries, for coordinates about the design orbit (`coordinates`).
    :param local: these coordinates, where they are known already.
    """
    local = local or coordinates(bunch, orbit)
    weight = local.weight
    energy = float(weight @ local.energy)
    length = rms(local.s, weight)
    offset = local.energy - energy
    chirp = -float(weight @ (local.s * offset)) / (energy * length**2) if length > 0 else 0.0
    cubic = residual(offset, local.s, weight, 3) if length > 0 else offset
    edges, current = profile_of(local, float(np.abs(bunch.charge).sum()), slices)
    return Summary(
        ct=bunch.ct, particles=len(bunch), charge=float(bunch.charge.sum()), energy=energy,
        energy_spread=rms(offset, weight), chirp=chirp, energy_spread_uncorrelated=rms(cubic, weight), length=length,
        peak_current=float(current.max()), current_bin=float(edges[1] - edges[0]),
        position=tuple(float(weight @ bunch.absolute(row)) for row in range(3)),
        frame="orbit" if bunch.on_orbit or local.place is not None else "straight", place=local.place, offset=local.offset,
        horizontal=plane_moments(local.u, local.pu, local), vertical=plane_moments(local.w, local.pw, local))


@dataclass
class PathLength:
    """Fitted change of the distance behind the reference with relative energy: dz = R56 d + T566 d^2 + U5666 d^3."""

    r56: float  #: [m]
    t566: float  #: [m]
    u5666: float  #: [m]
    rest: float  #: rms of what the fit leaves [m]


def fit_path_length(before: Bunch, after: Bunch, orbit_before: list[Boundary] | None = None,
                    orbit_after: list[Boundary] | None = None) -> PathLength:
    """R56 and its higher orders from the same particles at two times, the head at negative z.

    The distance is taken from particle 1. Linear terms of the start coordinates are fitted along and thus do no harm.

    :raises ValueError: the energies have changed on the way. With a self force a particle's energy is not that with which it
        went through the lattice, and what a fit gives is no property of the lattice.
    """
    if len(before) != len(after):
        raise ValueError("R56 needs the same particles before and after")
    change = np.abs(after.energy - before.energy).max() / before.energy[0]
    if change > 1e-9:
        raise ValueError(f"energies changed by up to {change:.2g} of the whole between the two files, as by a self force; R56 needs a "
                         "run with type = none, or tessaron-tools optics")
    first, last = coordinates(before, orbit_before), coordinates(after, orbit_after)
    drift = -(last.s - last.s[0]) + (first.s - first.s[0])
    delta = before.energy / before.energy[0] - 1
    columns = [delta, delta**2, delta**3]
    for extra in (first.u, first.pu / first.ps, first.w, first.pw / first.ps):
        if rms(extra, first.weight) > 0:
            columns.append(extra - extra[0])
    scales = [np.abs(column).max() or 1.0 for column in columns]
    design = np.column_stack([column / scale for column, scale in zip(columns, scales)])
    solution, *_ = np.linalg.lstsq(design, drift, rcond=None)
    rest = drift - design @ solution
    r56, t566, u5666 = (solution[k] / scales[k] for k in range(3))
    return PathLength(float(r56), float(t566), float(u5666), float(np.sqrt(np.mean(rest**2))))


@dataclass
class EnergyChange:
    """What a self force did between two states of the same particles."""

    mean: float  #: [eV], negative for a loss
    rms: float  #: about the mean [eV]
    per_particle: np.ndarray  #: [eV]


def energy_change(before: Bunch, after: Bunch) -> EnergyChange:
    """Mean and rms of the change of energy, particle by particle."""
    change = after.energy - before.energy
    mean = float(before.weight @ change)
    return EnergyChange(mean, rms(change - mean, before.weight), change)


def series(bunches: list[Bunch], orbit: list[Boundary] | None = None) -> dict[str, np.ndarray]:
    """The development of a bunch over a series of files, in the order of c*t (`series_of`)."""
    return series_of([summary(bunch, orbit=orbit) for bunch in bunches])


def series_of(summaries: list[Summary]) -> dict[str, np.ndarray]:
    """The development of a bunch from its numbers at several times, in the order of c*t.

    Columns: ct [m], place along the orbit [m] (NaN where it is not known), energy [eV], loss of mean energy since the first
    [eV], energy_spread [eV], length [m], emittance_u, emittance_w [m], emittance_u_free (without dispersion) [m],
    dispersion in the plane [m].
    """
    rows = sorted(summaries, key=lambda row: row.ct)
    columns = {
        "ct": [row.ct for row in rows], "place": [np.nan if row.place is None else row.place for row in rows],
        "energy": [row.energy for row in rows], "loss": [rows[0].energy - row.energy for row in rows],
        "energy_spread": [row.energy_spread for row in rows], "length": [row.length for row in rows],
        "emittance_u": [row.horizontal.emittance for row in rows], "emittance_w": [row.vertical.emittance for row in rows],
        "emittance_u_free": [row.horizontal.emittance_free for row in rows], "dispersion": [row.horizontal.dispersion for row in rows],
    }
    return {name: np.array(values) for name, values in columns.items()}


def plain(record: object) -> dict:
    """A result as lists and numbers, for JSON."""
    values = record if isinstance(record, dict) else asdict(record)
    return {key: _plain_value(value) for key, value in values.items()}


def _plain_value(value: object) -> object:
    if isinstance(value, dict):
        return plain(value)
    if isinstance(value, (np.ndarray, list, tuple)):
        return [_plain_value(item) for item in value]
    value = value.item() if isinstance(value, np.generic) else value
    return None if isinstance(value, float) and not np.isfinite(value) else value
