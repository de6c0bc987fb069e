"""Optics of a lattice without a bunch.

Dispersion, R56, T566 and beta functions along s, from rays that the program tracks through the deck's lattice without self force.
Signs: u to the left of the motion; R56 is path length per momentum, below 0 for a chicane.
"""
from __future__ import annotations

import csv
from argparse import ArgumentParser, Namespace
from pathlib import Path

from .common import note_given, refuse_together

COLUMNS = ("s", "beta_u", "alpha_u", "phase_u", "beta_w", "alpha_w", "phase_w", "dispersion", "dispersion_slope", "r56", "t566")
UNITS = {"alpha_u": "", "alpha_w": "", "phase_u": "_rad", "phase_w": "_rad", "dispersion_slope": "_rad"}


def options(parser: ArgumentParser) -> None:
    note_given(parser)
    add = parser.add_argument
    add("deck", nargs="?", default="tessar.in", help="deck with the lattice")
    add("--beta", type=float, nargs=2, default=[10.0, 10.0], metavar="M", help="beta functions at the start, plane and vertical [m]")
    add("--alpha", type=float, nargs=2, default=[0.0, 0.0], metavar="A", help="alpha at the start, plane and vertical")
    add("--dispersion", type=float, nargs=2, default=[0.0, 0.0], metavar=("M", "RAD"), help="dispersion in the plane and its slope at the start")
    parser.set_defaults(periodic=False)
    add("--periodic", action="store_true", help="the solution of a cell that repeats, in place of these")
    add("--start", type=float, metavar="M", help="place where the rays start, ahead of the first boundary [m]; 0 otherwise")
    add("--step", type=float, metavar="M", help="largest distance of two places [m]; a four-hundredth of the lattice otherwise")
    add("--program", metavar="FILE", help="the program; looked for as by `run` otherwise")
    add("--csv", metavar="FILE", help="write all places with all digits")
    add("-o", "--output", metavar="FILE", help="draw them; png, svg or pdf by its name")


def run(options: Namespace) -> None:
    from ..pictures.tables import optics_table, text_table
    from ..run.orbit import read_orbit
    from ..run.tracked_optics import optics, track_rays

    if options.periodic:
        options.given |= {"periodic"}
        refuse_together(options, "periodic", "beta", "alpha", "dispersion")
    orbit = read_orbit(Path(options.deck))
    maps = track_rays(orbit, options.program, options.step, options.start)
    result = optics(maps, None if options.periodic else tuple(options.beta), tuple(options.alpha), tuple(options.dispersion))
    print(text_table(*optics_table(result, orbit.boundaries)))
    if options.csv:
        with open(options.csv, "w", newline="") as file:
            writer = csv.writer(file)
            writer.writerow([name + UNITS.get(name, "_m") for name in COLUMNS])
            writer.writerows(zip(*(getattr(result, name).tolist() for name in COLUMNS)))
    if options.output:
        from ..pictures import along, plots

        plots.save(along.optics(result, orbit.boundaries), options.output)
