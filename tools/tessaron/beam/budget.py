"""Where the energy went: for every element and drift what the bunch lost, and how it changed.

Bunches at several places ("stations") are compared particle by particle. At a boundary of the lattice the bunch of the
nearest station counts if it stands there, within some of its own lengths; otherwise the values are interpolated between
the two stations about it, and marked so. Stations at the boundaries come from monitors between trackers that end there.
"""
from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from ..lattice.geometry import Boundary
from ..lattice.sections import Section, sections_of
from .analyse import Summary, summary
from .bunch import Bunch

NEAR = 8.0  # rms lengths of the bunch within which a station counts as standing at a boundary
NEAR_ENOUGH = 2e-3  # m, likewise for short bunches: no force does much on two millimetres


@dataclass
class Station:
    """A bunch at one time."""

    summary: Summary
    energy: np.ndarray  #: of every particle [eV]
    weight: np.ndarray  #: of sum 1
    place: float | None  #: path length of its centre [m]; None until a neighbour tells


@dataclass
class BudgetRow:
    """One section of the lattice; changes are from its begin to its end."""

    section: Section
    start: float  #: path length where the values at its begin belong to [m]
    end: float
    interpolated: bool  #: at least one of its ends has no station of its own
    mean: float  #: mean energy change [eV], negative for a loss
    rms: float  #: rms of the energy change of single particles, about its mean [eV]
    spread: float  #: change of the rms energy spread [eV]
    length: float  #: change of the rms length [m]
    emittance_u: float  #: change of the normalised emittance in the plane [m]
    emittance_u_free: float  #: the same without dispersion [m]
    emittance_w: float  #: vertical [m]


def station_of(bunch: Bunch, orbit: list[Boundary] | None = None, bins: int = 50, numbers: Summary | None = None) -> Station:
    """What a budget needs of a bunch; `numbers` saves working its summary out again."""
    numbers = numbers or summary(bunch, bins, orbit)
    return Station(numbers, bunch.energy, bunch.weight, numbers.place)


def energy_budget(stations: list[Station], boundaries: list[Boundary]) -> list[BudgetRow]:
    """The budget of all sections between the first and the last station.

    :raises ValueError: less than two stations, or stations of different particles.
    """
    stations = placed(stations)
    if len(stations) < 2:
        raise ValueError("a budget needs the same bunch at two places at least")
    if len({station.energy.size for station in stations}) > 1:
        raise ValueError("the bunches hold different numbers of particles: " + ", ".join(
            f"{station.energy.size} at c*t = {station.summary.ct:.6g} m" for station in stations[:8]))
    rows = []
    first, last = _at(stations, stations[0].place), _at(stations, stations[-1].place)
    for section in sections_of(boundaries):
        if section.end.s <= first.place + _reach(stations[0]) or section.start.s >= last.place - _reach(stations[-1]):
            continue
        begin = _at(stations, section.start.s) if section.start.s > first.place else first
        end = _at(stations, section.end.s) if section.end.s < last.place else last
        rows.append(_row(section, begin, end, stations[0].weight))
    return rows


def placed(stations: list[Station]) -> list[Station]:
    """In the order of time, one of each; those that do not know their place get it from the time."""
    stations = sorted(stations, key=lambda station: station.summary.ct)
    known = [station for station in stations if station.place is not None]
    if not known:
        raise ValueError("no bunch tells where on the orbit it is")
    result: list[Station] = []
    for station in stations:
        if station.place is None:
            nearest = min(known, key=lambda other: abs(other.summary.ct - station.summary.ct))
            station = Station(station.summary, station.energy, station.weight, nearest.place + station.summary.ct - nearest.summary.ct)
        if not result or station.summary.ct > result[-1].summary.ct + 1e-9:
            result.append(station)
    return result


@dataclass
class _Values:
    """The bunch at one place, found or interpolated."""

    place: float
    energy: np.ndarray
    numbers: np.ndarray  #: spread, length, emittances
    found: bool


def _at(stations: list[Station], place: float) -> _Values:
    places = np.array([station.place for station in stations])
    nearest = stations[int(np.argmin(np.abs(places - place)))]
    if abs(nearest.place - place) <= _reach(nearest):
        return _Values(nearest.place, nearest.energy, _numbers(nearest), True)
    k = int(np.clip(np.searchsorted(places, place), 1, len(stations) - 1))
    before, after = stations[k - 1], stations[k]
    share = (place - before.place) / (after.place - before.place)
    return _Values(place, before.energy + share * (after.energy - before.energy),
                   _numbers(before) + share * (_numbers(after) - _numbers(before)), False)


def _reach(station: Station) -> float:
    return max(NEAR * station.summary.length, NEAR_ENOUGH)


def _numbers(station: Station) -> np.ndarray:
    s = station.summary
    return np.array([s.energy_spread, s.length, s.horizontal.emittance, s.horizontal.emittance_free, s.vertical.emittance])


def _row(section: Section, begin: _Values, end: _Values, weight: np.ndarray) -> BudgetRow:
    change = end.energy - begin.energy
    mean = float(weight @ change)
    rms = float(np.sqrt(weight @ (change - mean) ** 2))
    return BudgetRow(section, begin.place, end.place, not (begin.found and end.found), mean, rms, *(float(x) for x in end.numbers - begin.numbers))


@dataclass
class Difference:
    """A section in another run of the same particles."""

    section: Section
    other_mean: float  #: mean energy change there [eV]
    other_rms: float  #: rms of the energy change there [eV]
    rms: float  #: rms of the difference of the two runs, particle by particle, about its mean [eV]
    length_ratio: float  #: length of the bunch there over that here, at the end of the section


def budget_difference(stations: list[Station], others: list[Station], boundaries: list[Boundary]) -> list[Difference]:
    """The same sections in another run, whose lattice may differ but has its boundaries at the same path lengths.

    :raises ValueError: the runs hold different particles, or the other one does not reach as far.
    """
    stations, others = placed(stations), placed(others)
    if stations[0].energy.size != others[0].energy.size:
        raise ValueError(f"the other run has {others[0].energy.size} particles instead of {stations[0].energy.size}")
    if others[-1].place < stations[-1].place - _reach(stations[-1]) or others[0].place > stations[0].place + _reach(stations[0]):
        raise ValueError(f"the other run has bunches from s = {others[0].place:.5g} to {others[-1].place:.5g} m, not from "
                         f"{stations[0].place:.5g} to {stations[-1].place:.5g} m")
    weight, result = stations[0].weight, []
    for row in energy_budget(stations, boundaries):
        here, there = (_at(run, row.end).energy - _at(run, row.start).energy for run in (stations, others))
        mean, apart = weight @ there, here - there
        result.append(Difference(row.section, float(mean), float(np.sqrt(weight @ (there - mean) ** 2)),
                                 float(np.sqrt(weight @ (apart - weight @ apart) ** 2)),
                                 float(_at(others, row.end).numbers[1] / _at(stations, row.end).numbers[1])))
    return result


COLUMNS = ("section", "kind", "s_start_m", "s_end_m", "interpolated", "mean_energy_change_eV", "rms_energy_change_eV", "energy_spread_change_eV",
           "length_change_m", "emittance_u_change_m", "emittance_u_without_dispersion_change_m", "emittance_w_change_m")


def budget_records(rows: list[BudgetRow]) -> list[tuple]:
    """The rows with their columns in the order of COLUMNS, for CSV."""
    return [(row.section.name, row.section.kind, row.start, row.end, int(row.interpolated), row.mean, row.rms, row.spread, row.length,
             row.emittance_u, row.emittance_u_free, row.emittance_w) for row in rows]
