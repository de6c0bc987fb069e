"""Pictures of bunches, forces, lattice, meshes, steps.

Draws one picture.
"""
from __future__ import annotations

import math
from argparse import ArgumentParser, Namespace

from .formats import TEXT_FORMATS

PLOTS = ("phase", "longitudinal", "slices", "force", "floor", "green", "steps", "series")


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("kind", choices=PLOTS, help="phase: all phase spaces of a bunch; longitudinal: energy and current, a column per bunch; "
        "slices: current, slice energy spread and emittances; force: fc1.dat or fc2.dat; floor: latout.dat; green: a mesh file; "
        "steps: a steps monitor; series: energy loss, length and emittance over several bunches")
    add("files", nargs="+")
    add("-o", "--output", default="plot.png", help="picture; png, svg or pdf by its name")
    add("--from", dest="source", choices=TEXT_FORMATS, help="format of bunch files; guessed otherwise")
    add("--charge", type=float, default=0.0, metavar="C", help="total charge [C] for fmt0")
    add("--slices", type=int, default=50, metavar="N", help="number of slices or bins")
    add("--current", metavar="FILE", help="with force: fc1_curr.dat, drawn behind it")
    add("--direction", type=float, metavar="DEG", help="with force: direction of the motion [degrees]; guessed otherwise")
    add("--sigma-long", type=float, metavar="M", help="with green: rms length of the sub-bunch [m], shows the fine zones")


def run(options: Namespace) -> None:
    from ..beam import analyse as numbers
    from ..files import convert as formats
    from ..files import outputs
    from ..pictures import plots

    def bunch(name: str):
        return formats.load(name, options.source, options.charge)

    first, kind = options.files[0], options.kind
    if kind == "phase":
        figure = plots.phase_spaces(bunch(first))
    elif kind == "longitudinal":
        figure = plots.longitudinal([(name, bunch(name)) for name in options.files], options.slices)
    elif kind == "slices":
        figure = plots.slices(bunch(first), options.slices)
    elif kind == "force":
        current = outputs.read_grid(options.current) if options.current else None
        figure = plots.force([(name, outputs.read_force(name)) for name in options.files], current,
                             math.radians(options.direction) if options.direction is not None else None)
    elif kind == "floor":
        figure = plots.floor_plan(outputs.read_latout(first))
    elif kind == "green":
        figure = plots.green_mesh(outputs.read_green(first), options.sigma_long)
    elif kind == "steps":
        figure = plots.steps(outputs.read_steps(first))
    else:
        figure = plots.development(numbers.series([bunch(name) for name in options.files]))
    plots.save(figure, options.output)
