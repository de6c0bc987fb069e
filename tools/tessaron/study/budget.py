"""Where the energy of a run went, as a table and a picture."""
from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING

from ..beam.budget import COLUMNS, BudgetRow, Station, budget_records, energy_budget, station_of
from ..lattice.geometry import Boundary
from ..run.orbit import on_orbit
from .table import Table, table_of

if TYPE_CHECKING:
    from matplotlib.figure import Figure

    from ..run.result import Result


@dataclass(frozen=True)
class EnergyBudget:
    """What the bunch lost in every element and drift between the first and the last bunch; see `tessaron.beam.budget`."""

    rows: list[BudgetRow]
    stations: list[Station]
    boundaries: list[Boundary]

    def table(self) -> Table:
        """One row for each section, with the columns of `tessaron-tools budget --csv`."""
        return table_of([dict(zip(COLUMNS, record)) for record in budget_records(self.rows)])

    def plot(self) -> "Figure":
        """Energy change by section and so far, length and emittances along s."""
        from ..pictures.along import budget
        from ..pictures.notebook import shown_once

        return shown_once(budget(self.rows, self.stations, self.boundaries))

    def _repr_html_(self) -> str:
        return self.table()._repr_html_()


def budget_of(result: "Result") -> EnergyBudget:
    """The budget of a run's bunches.

    :raises ValueError: the run tells no lattice, or wrote less than two bunches.
    """
    if result.orbit is None:
        raise ValueError(f"the run in {result.folder} tells no lattice")
    stations = [station_of(*on_orbit(bunch, result.orbit)) for bunch in result.bunches]
    return EnergyBudget(energy_budget(stations, result.orbit.boundaries), stations, result.orbit.boundaries)
