"""Pictures of bunches, forces, lattice, meshes, steps.

Draws one picture.
"""
from __future__ import annotations

import math
from argparse import ArgumentParser, Namespace

from .common import BunchReader, add_bunch_options, progress

PLOTS = ("phase", "longitudinal", "slices", "force", "floor", "green", "steps", "series", "bunching")
SEVERAL = ("longitudinal", "force", "series", "bunching")


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("kind", choices=PLOTS, help="phase: all phase spaces of a bunch; longitudinal: energy and current, a column per bunch; "
        "slices: current, slice energy spread and emittances; force: fc1.dat or fc2.dat; floor: latout.dat or a deck; green: a mesh file; "
        "steps: a steps monitor; series: energy loss, length and emittance over several bunches; "
        "bunching: bunching factor against wavelength, with the level of shot noise")
    add("files", nargs="+")
    add("-o", "--output", default="plot.png", help="picture; png, svg or pdf by its name")
    add_bunch_options(parser)
    add("--slices", type=int, default=50, metavar="N", help="number of slices or bins")
    add("--current", metavar="FILE", help="with force: fc1_curr.dat, drawn behind it")
    add("--direction", type=float, metavar="DEG", help="with force: direction of the motion [degrees]; guessed otherwise")
    add("--shortest", type=float, metavar="M", help="with bunching: shortest wavelength [m]; a thousandth of the bunch otherwise")
    add("--equal-scales", action="store_true", help="with floor: the same scale along and across")
    add("--sigma-long", type=float, metavar="M", help="with green: rms length of the sub-bunch [m], shows the fine zones")


def run(options: Namespace) -> None:
    from ..beam import analyse as numbers
    from ..beam.bunching import bunching
    from ..beam.orbit import coordinates
    from ..files import outputs
    from ..pictures import along, plots
    from ..run.orbit import read_orbit

    reader = BunchReader(options)
    first, kind = options.files[0], options.kind
    if len(options.files) > 1 and kind not in SEVERAL:
        raise ValueError(f"{kind} shows one file, not {len(options.files)}; {', '.join(SEVERAL)} take several")
    if kind == "phase":
        figure = plots.phase_spaces(*reader.read(first))
    elif kind == "longitudinal":
        figure = plots.longitudinal([(name, *reader.read(name)) for name in options.files], options.slices)
    elif kind == "slices":
        figure = plots.slices(*reader.read(first), options.slices)
    elif kind == "force":
        current = outputs.read_grid(options.current) if options.current else None
        figure = plots.force([(name, outputs.read_force(name)) for name in options.files], current,
                             math.radians(options.direction) if options.direction is not None else None)
    elif kind == "floor":
        figure = plots.floor_plan(read_orbit(first).boundaries, options.equal_scales)
    elif kind == "green":
        figure = plots.green_mesh(outputs.read_green(first), options.sigma_long)
    elif kind == "steps":
        figure = plots.steps(outputs.read_steps(first))
    elif kind == "bunching":
        figure = along.bunching_factor([(name, bunching(coordinates(*reader.read(name)), options.shortest)) for name in options.files])
    else:
        summaries = []
        for name in progress(options.files, len(options.files), "reading"):
            bunch, orbit = reader.read(name)
            summaries.append(numbers.summary(bunch, orbit=orbit))
        figure = plots.development(numbers.series_of(summaries))
    plots.save(figure, options.output)
