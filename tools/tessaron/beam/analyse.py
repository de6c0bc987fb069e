"""Numbers of a bunch: moments, emittances, Twiss parameters, slices, R56, energy loss.

All moments are weighted with the charge and taken about the centre, in the frame of the mean momentum: s ahead, u to the
left in the orbit plane, w up. Emittances are normalised: sqrt(<u^2><pu^2> - <u pu>^2) / (m c).
"""
from __future__ import annotations

from dataclasses import asdict, dataclass

import numpy as np

from .bunch import Bunch, LocalCoordinates
from ..constants import REST_ENERGY, SPEED_OF_LIGHT


@dataclass
class PlaneMoments:
    """One transverse plane."""

    size: float  #: rms [m]
    angle: float  #: rms [rad]
    emittance: float  #: normalised [m]
    beta: float  #: [m]
    alpha: float
    dispersion: float  #: slope of the place with relative energy [m]


@dataclass
class Slices:
    """Slices of equal length along s, those with particles enough to tell moments; arrays of one length."""

    s: np.ndarray  #: middle of the slice, ahead of the centre [m]
    current: np.ndarray  #: [A]
    energy: np.ndarray  #: mean [eV]
    energy_spread: np.ndarray  #: rms about the slice's own linear chirp [eV]
    emittance_u: np.ndarray  #: normalised, in the orbit plane [m]
    emittance_w: np.ndarray  #: normalised, vertical [m]
    particles: np.ndarray  #: count


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
    peak_current: float  #: [A]
    position: tuple[float, float, float]  #: mean x, y, z [m]
    horizontal: PlaneMoments
    vertical: PlaneMoments


def summary(bunch: Bunch, slices: int = 50) -> Summary:
    """The bunch in numbers; `slices` is the number of bins of the current profile, over five rms lengths."""
    local = bunch.local()
    weight = local.weight
    energy = float(weight @ local.energy)
    length = _rms(local.s, weight)
    offset = local.energy - energy
    chirp = -float(weight @ (local.s * offset)) / (energy * length**2) if length > 0 else 0.0
    cubic = _residual(offset, local.s / length if length > 0 else local.s, weight, 3)
    return Summary(
        ct=bunch.ct, particles=len(bunch), charge=float(bunch.charge.sum()), energy=energy,
        energy_spread=_rms(offset, weight), chirp=chirp, energy_spread_uncorrelated=_rms(cubic, weight), length=length,
        peak_current=float(current_profile(bunch, slices)[1].max()),
        position=tuple(float(weight @ bunch.absolute(row)) for row in range(3)),
        horizontal=_plane(local.u, local.pu, local), vertical=_plane(local.w, local.pw, local))


def slice_moments(bunch: Bunch, slices: int = 50, fewest: int = 10) -> Slices:
    """Moments of slices of equal length between the first and the last particle; slices below `fewest` are left out."""
    local = bunch.local()
    edges, current = current_profile(bunch, slices, whole=True)
    index = np.clip(np.searchsorted(edges, local.s, side="right") - 1, 0, slices - 1)
    order = np.argsort(index, kind="stable")
    rows = []
    for k, members in enumerate(np.split(order, np.searchsorted(index[order], np.arange(1, slices)))):
        if len(members) < fewest or local.weight[members].sum() <= 0:
            continue
        weight = local.weight[members] / local.weight[members].sum()
        energy = local.energy[members]
        rows.append((0.5 * (edges[k] + edges[k + 1]), current[k], weight @ energy,
                     _rms(_residual(energy - weight @ energy, local.s[members] - edges[k], weight, 1), weight),
                     emittance(local.u[members], local.pu[members], weight),
                     emittance(local.w[members], local.pw[members], weight), len(members)))
    return Slices(*np.array(rows).reshape(-1, 7).T)


def current_profile(bunch: Bunch, bins: int = 50, whole: bool = False) -> tuple[np.ndarray, np.ndarray]:
    """Edges along s [m] and the current in between [A], over five rms lengths to both sides, or the whole bunch."""
    local = bunch.local()
    reach = 5 * _rms(local.s, local.weight)
    low, high = (local.s.min(), local.s.max()) if whole else (-reach, reach)
    if not high > low:
        low, high = -1e-9, 1e-9
    edges = np.linspace(low, high, bins + 1)
    charge, _ = np.histogram(local.s, edges, weights=np.abs(bunch.charge))
    speed = SPEED_OF_LIGHT * np.sqrt(1 - (REST_ENERGY / float(local.weight @ local.energy)) ** 2)
    return edges, charge * speed / np.diff(edges)


def emittance(place: np.ndarray, momentum: np.ndarray, weight: np.ndarray) -> float:
    """Normalised rms emittance [m] from places [m] and transverse momenta [eV/c]."""
    place, momentum = place - weight @ place, momentum - weight @ momentum
    squared = (weight @ place**2) * (weight @ momentum**2) - (weight @ (place * momentum)) ** 2
    return float(np.sqrt(max(squared, 0.0)) / REST_ENERGY)


@dataclass
class PathLength:
    """Fitted change of the distance behind the reference with relative energy: dz = R56 d + T566 d^2 + U5666 d^3."""

    r56: float  #: [m]
    t566: float  #: [m]
    u5666: float  #: [m]
    rest: float  #: rms of what the fit leaves [m]


def fit_path_length(before: Bunch, after: Bunch) -> PathLength:
    """R56 and its higher orders from the same particles at two times, the head at negative z.

    The energies must not have changed on the way, so the bunch must have been tracked without self force. The distance
    is taken from particle 1. Linear terms of the start coordinates are fitted along and thus do no harm.
    """
    if len(before) != len(after):
        raise ValueError("R56 needs the same particles before and after")
    first, last = before.local(), after.local()
    drift = -(last.s - last.s[0]) + (first.s - first.s[0])
    delta = before.energy / before.energy[0] - 1
    columns = [delta, delta**2, delta**3]
    for extra in (first.u, first.pu / first.ps, first.w, first.pw / first.ps):
        if _rms(extra, first.weight) > 0:
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
    return EnergyChange(mean, _rms(change - mean, before.weight), change)


def series(bunches: list[Bunch]) -> dict[str, np.ndarray]:
    """The development of a bunch over a series of files, in the order of c*t.

    Columns: ct [m], energy [eV], loss of mean energy since the first [eV], energy_spread [eV], length [m], emittance_u,
    emittance_w [m].
    """
    rows = sorted((summary(bunch) for bunch in bunches), key=lambda row: row.ct)
    energy = np.array([row.energy for row in rows])
    return {
        "ct": np.array([row.ct for row in rows]), "energy": energy, "loss": energy[0] - energy,
        "energy_spread": np.array([row.energy_spread for row in rows]), "length": np.array([row.length for row in rows]),
        "emittance_u": np.array([row.horizontal.emittance for row in rows]),
        "emittance_w": np.array([row.vertical.emittance for row in rows]),
    }


def plain(record: object) -> dict:
    """A result as lists and numbers, for JSON."""
    values = record if isinstance(record, dict) else asdict(record)
    return {key: _plain_value(value) for key, value in values.items()}


def _plain_value(value: object) -> object:
    if isinstance(value, dict):
        return plain(value)
    if isinstance(value, (np.ndarray, list, tuple)):
        return [_plain_value(item) for item in value]
    return value.item() if isinstance(value, np.generic) else value


def _plane(place: np.ndarray, momentum: np.ndarray, local: LocalCoordinates) -> PlaneMoments:
    weight = local.weight
    slope = momentum / local.ps
    slope = slope - weight @ slope
    size2, angle2, mixed = (float(weight @ values) for values in (place**2, slope**2, place * slope))
    geometric = np.sqrt(max(size2 * angle2 - mixed**2, 0.0))
    delta = local.energy / (weight @ local.energy) - 1
    spread2 = float(weight @ delta**2)
    return PlaneMoments(
        size=float(np.sqrt(size2)), angle=float(np.sqrt(angle2)), emittance=emittance(place, momentum, weight),
        beta=float(size2 / geometric) if geometric > 0 else 0.0, alpha=float(-mixed / geometric) if geometric > 0 else 0.0,
        dispersion=float(weight @ (place * delta)) / spread2 if spread2 > 0 else 0.0)


def _rms(values: np.ndarray, weight: np.ndarray) -> float:
    mean = weight @ values
    return float(np.sqrt(weight @ (values - mean) ** 2))


def _residual(values: np.ndarray, along: np.ndarray, weight: np.ndarray, order: int) -> np.ndarray:
    """What a weighted polynomial fit of `order` leaves of `values`; the values themselves if there is nothing to fit."""
    if np.unique(along).size <= order:
        return values
    scale = np.abs(along).max()
    return values - np.polyval(np.polyfit(along / scale, values, order, w=np.sqrt(weight)), along / scale)
