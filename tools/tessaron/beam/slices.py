"""Slices along the bunch, its current, and how it is bunched."""
from __future__ import annotations

from dataclasses import dataclass
from typing import Literal

import numpy as np

from ..constants import REST_ENERGY, SPEED_OF_LIGHT
from ..lattice.geometry import Boundary
from .bunch import Bunch, LocalCoordinates
from .moments import emittance, residual, rms, without_dispersion
from .orbit import coordinates


@dataclass
class Slices:
    """Slices along s, those with particles enough to tell moments; arrays of one length."""

    s: np.ndarray  #: middle of the slice, ahead of the centre [m]
    current: np.ndarray  #: [A]
    energy: np.ndarray  #: mean [eV]
    energy_spread: np.ndarray  #: rms about the slice's own linear chirp [eV]
    emittance_u: np.ndarray  #: normalised, in the orbit plane [m]
    emittance_w: np.ndarray  #: normalised, vertical [m]
    emittance_u_free: np.ndarray  #: in the orbit plane, without the dispersion of the whole bunch [m]
    centre_u: np.ndarray  #: mean offset in the orbit plane, from that of the bunch [m]
    angle_u: np.ndarray  #: mean angle in the orbit plane, from that of the bunch [rad]
    particles: np.ndarray  #: count


def slice_moments(bunch: Bunch, slices: int = 50, fewest: int = 10, orbit: list[Boundary] | None = None,
                  equal: Literal["length", "charge"] = "length") -> Slices:
    """Moments of slices between the first and the last particle; those with less than `fewest` are left out.

    :param orbit: the field boundaries, for coordinates about the design orbit (`coordinates`).
    :param equal: slices of equal length, or of equal charge.
    """
    return slices_of(coordinates(bunch, orbit), float(np.abs(bunch.charge).sum()), slices, fewest, equal)


def slices_of(local: LocalCoordinates, charge: float, slices: int, fewest: int = 10, equal: str = "length") -> Slices:
    """The same from coordinates that are known already; `charge` is that of the bunch [C]."""
    order = np.argsort(local.s, kind="stable")
    s = local.s[order]
    if equal == "charge":
        share = np.cumsum(local.weight[order])
        ends = np.searchsorted(share, np.arange(1, slices) / slices)
        edges = np.concatenate([s[:1], 0.5 * (s[ends] + s[np.maximum(ends - 1, 0)]), s[-1:]])
    else:
        edges = np.linspace(*_whole(s), slices + 1)
        ends = np.searchsorted(s, edges[1:-1])
    angle, speed = local.pu / local.ps, _speed(local)
    free_u, free_pu = without_dispersion(local.u, local.pu, local)
    middle_angle = local.weight @ angle
    rows = []
    for k, members in enumerate(np.split(order, ends)):
        total = local.weight[members].sum()
        if len(members) < fewest or total <= 0 or edges[k + 1] <= edges[k]:
            continue
        weight, energy = local.weight[members] / total, local.energy[members]
        u, pu = local.u[members], local.pu[members]
        rows.append((0.5 * (edges[k] + edges[k + 1]), total * charge * speed / (edges[k + 1] - edges[k]), weight @ energy,
                     rms(residual(energy - weight @ energy, local.s[members] - edges[k], weight, 1), weight),
                     emittance(u, pu, weight), emittance(local.w[members], local.pw[members], weight),
                     emittance(free_u[members], free_pu[members], weight),
                     weight @ u, weight @ angle[members] - middle_angle, len(members)))
    return Slices(*np.array(rows).reshape(-1, 10).T)


def current_profile(bunch: Bunch, bins: int = 50, whole: bool = False, orbit: list[Boundary] | None = None) -> tuple[np.ndarray, np.ndarray]:
    """Edges along s [m] and the current in between [A], over five rms lengths to both sides, or the whole bunch."""
    return profile_of(coordinates(bunch, orbit), float(np.abs(bunch.charge).sum()), bins, whole)


def profile_of(local: LocalCoordinates, charge: float, bins: int, whole: bool = False) -> tuple[np.ndarray, np.ndarray]:
    """The same from coordinates that are known already; `charge` is that of the bunch [C]."""
    reach = 5 * rms(local.s, local.weight)
    low, high = _whole(local.s) if whole or not reach > 0 else (-reach, reach)
    share, edges = np.histogram(local.s, bins, (low, high), weights=local.weight)
    return edges, share * charge * _speed(local) / np.diff(edges)


def _whole(s: np.ndarray) -> tuple[float, float]:
    low, high = float(s.min()), float(s.max())
    return (low, high) if high > low else (-1e-9, 1e-9)


def _speed(local: LocalCoordinates) -> float:
    return SPEED_OF_LIGHT * np.sqrt(1 - (REST_ENERGY / float(local.weight @ local.energy)) ** 2)
