"""Slices of one bunch after the other.

Tells current, energy, spread, emittance and centroid of slices of every bunch: of the files, or of all whole bunches that the monitors
of a run wrote if a folder is named; exit status 1 if that run did not complete. Slices of equal charge are numbered from the tail to the head.
"""
from __future__ import annotations

import csv
from argparse import ArgumentParser, Namespace
from dataclasses import fields
from pathlib import Path

from .common import BunchReader, add_bunch_options, progress, status_of


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("files", nargs="+", help="bunch files, or the working folder of a run")
    add_bunch_options(parser)
    add("-n", "--slices", type=int, default=20, metavar="N", help="number of slices")
    add("--equal", choices=["length", "charge"], default="charge", help="what the slices have in common")
    add("--fewest", type=int, default=10, metavar="N", help="particles that a slice needs")
    add("--csv", metavar="FILE", help="write the table with all digits, in SI units and eV")
    add("-o", "--output", metavar="FILE", help="draw slices of equal charge along s; png, svg or pdf by its name")


def run(options: Namespace) -> int:
    from ..beam.slices import Slices, slice_moments
    from ..pictures.tables import column_table, text_table
    from ..run.folder import RunFolder

    if options.slices < 1:
        raise ValueError("--slices must be 1 or above")
    if options.output and options.equal != "charge":
        raise ValueError("-o draws slices of equal charge, not of equal length")
    tables, boundaries = [], None
    for name, bunch, orbit in _bunches(options):
        table = slice_moments(bunch, options.slices, options.fewest, orbit, options.equal)
        tables.append((name, bunch.ct, _place(bunch, orbit), table))
        boundaries = orbit or boundaries
    tables.sort(key=lambda item: item[1])
    if options.csv:
        names = [field.name for field in fields(Slices)]
        with open(options.csv, "w", newline="") as file:
            writer = csv.writer(file)
            writer.writerow(["file", "ct_m", "place_m", "slice", *(f"{name}{UNITS[name]}" for name in names)])
            for name, ct, place, table in tables:
                for k, values in enumerate(zip(*(getattr(table, field) for field in names)), 1):
                    writer.writerow([name, ct, "" if place is None else place, k, *values])
    else:
        for name, ct, place, table in tables:
            print(f"{name}, c*t = {ct:.6g} m" + ("" if place is None else f", s = {place:.6g} m"))
            print(text_table(*column_table(vars(table), "slices")))
    if options.output:
        from ..pictures import along, plots

        on_orbit = all(place is not None for _, _, place, _ in tables)
        plots.save(along.slices_along([(place if on_orbit else ct, table) for _, ct, place, table in tables],
                                      boundaries if on_orbit else None), options.output)
    return status_of(RunFolder(options.files[0])) if _is_run(options) else 0


UNITS = {"s": "_m", "current": "_A", "energy": "_eV", "energy_spread": "_eV", "emittance_u": "_m", "emittance_w": "_m", "emittance_u_free": "_m",
         "centre_u": "_m", "angle_u": "_rad", "particles": ""}


def _is_run(options: Namespace) -> bool:
    return len(options.files) == 1 and Path(options.files[0]).is_dir()


def _bunches(options: Namespace):
    """Name, bunch and orbit of all bunches asked for."""
    if _is_run(options):
        from ..run.folder import RunFolder

        folder = RunFolder(options.files[0])
        files = folder.bunch_files()
        for path, bunch, orbit, fault in progress(folder.bunches(files), len(files), "reading"):
            if bunch is None:
                raise ValueError(fault)
            yield path.name, bunch, None if options.frame == "straight" else orbit
        return
    reader = BunchReader(options)
    for name in progress(options.files, len(options.files), "reading"):
        yield name, *reader.read(name)


def _place(bunch, orbit) -> float | None:
    from ..beam.orbit import locate

    return locate(bunch, orbit)[1] if orbit else None
