"""Where the energy went, element by element.

Compares the bunches that the monitors of a run wrote, particle by particle, and tells for every element and drift the mean energy
change (negative for a loss), its rms over the particles, and the change of energy spread, length and emittances. Best with a monitor
at every boundary (trackers that end at its marker, each followed by a monitor); what lies between two bunches is interpolated and
marked with ~. Exit status 1 if the run did not complete. Further runs of the same bunch through the same places are subtracted, to take forces apart: a run with the walls'
wake alone (par4 = 1) or the radiation alone (par5 = 1), or, with the sub-bunch models, a run through a straight of the same length
(--straight), whose energy changes are those of the bunch's own Coulomb field.
"""
from __future__ import annotations

import csv
import sys
from argparse import ArgumentParser, Namespace
from pathlib import Path
from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from ..beam.budget import BudgetRow, Station
    from ..lattice.geometry import Boundary


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("folder", nargs="?", default=".", help="working folder of a run")
    add("--less", action="append", default=[], metavar="FOLDER", help="another run, whose energy changes are subtracted; may be repeated")
    add("--csv", metavar="FILE", help="write the table with all digits, in eV and metres")
    add("-o", "--output", metavar="FILE", help="draw the budget along s; png, svg or pdf by its name")
    add("--straight", metavar="FILE", help="write the lattice block of a straight with the same boundaries to FILE, and nothing else")


def run(options: Namespace) -> int:
    from ..beam.budget import COLUMNS, budget_records, energy_budget
    from ..lattice.sections import straight_lattice
    from ..pictures.tables import budget_table, text_table
    from ..run.folder import RunFolder
    from ..words import counted
    from .common import status_of

    folder = RunFolder(options.folder)
    if folder.orbit is None:
        raise ValueError(f"{options.folder}: neither the deck nor a latout.dat tells the lattice")
    boundaries = folder.orbit.boundaries
    if options.straight:
        Path(options.straight).write_text(straight_lattice(boundaries))
        print(f"{options.straight}: {counted(len(boundaries), 'boundary')}, {boundaries[-1].s:.6g} m")
        return 0
    stations = read_stations(folder)
    rows = energy_budget(stations, boundaries)
    print(text_table(*budget_table(rows)))
    for other in options.less:
        _difference(other, stations, rows, boundaries)
    if options.csv:
        with open(options.csv, "w", newline="") as file:
            csv.writer(file).writerows([COLUMNS, *budget_records(rows)])
    if options.output:
        from ..pictures import along, plots

        plots.save(along.budget(rows, stations, boundaries), options.output)
    return status_of(folder)


def read_stations(folder) -> list[Station]:
    """The bunches of a run (`run.folder.RunFolder`) for a budget, with a progress bar where it takes long."""
    from ..beam.budget import station_of
    from .common import progress

    files, stations = folder.bunch_files(200), []
    for path, bunch, orbit, fault in progress(folder.bunches(files), len(files), "reading"):
        if bunch is None:
            print(f"{path}: {fault}", file=sys.stderr)
        else:
            stations.append(station_of(bunch, orbit))
    return stations


def _difference(name: str, stations: list[Station], rows: list[BudgetRow], boundaries: list[Boundary]) -> None:
    from ..beam.budget import budget_difference
    from ..pictures.tables import number, text_table
    from ..run.folder import RunFolder

    others = read_stations(RunFolder(name))
    difference = budget_difference(stations, others, boundaries)
    print(text_table(["section", "mean [keV]", f"mean in {name}", "difference", "rms [keV]", f"rms in {name}", "rms of the difference"], [
        [item.section.name, *(number(value * 1e-3) for value in (row.mean, item.other_mean, row.mean - item.other_mean, row.rms, item.other_rms, item.rms))]
        for row, item in zip(rows, difference)]))
    lengths = [abs(item.length_ratio - 1) for item in difference]
    if max(lengths, default=0.0) > 0.05:
        print(f"The bunch is up to {100 * max(lengths):.0f} % longer or shorter in {name} than here: a Coulomb field depends on the length, so that "
              "a difference to a straight tells little there.\n")
