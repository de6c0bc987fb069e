"""The subcommands: options with their units, and what each one does. The work itself is in the modules they import."""
from __future__ import annotations

import json
import math
from argparse import ArgumentParser, Namespace
from dataclasses import dataclass
from typing import Callable

TEXT_FORMATS = "fmt0 fmt1 fmt2 fmt3 umbra openpmd csv".split()
OUT_FORMATS = "fmt1 fmt2 umbra openpmd csv".split()


@dataclass
class Command:
    """One subcommand."""

    help: str
    description: str
    options: Callable[[ArgumentParser], None]
    run: Callable[[Namespace], int | None]


def make_bunch_options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("output", help="file to write; .h5 gives openPMD, .csv CSV, anything else --format")
    add("--format", choices=OUT_FORMATS, help="format of the output; fmt1 unless the name tells otherwise")
    add("-n", "--particles", type=int, default=20000, help="macro-particles, the reference particle included; at most 300000")
    add("--energy", type=float, default=1e9, metavar="EV", help="total energy of the reference particle [eV]")
    add("--momentum", type=float, metavar="EV/C", help="its momentum [eV/c], in place of --energy")
    add("--charge", type=float, default=1e-9, metavar="C", help="charge of the bunch [C]")
    add("--length", type=float, default=1e-4, metavar="M", help="rms length [m]")
    add("--profile", choices=["gaussian", "flat-top", "parabolic", "double-horn"], default="gaussian", help="current profile")
    add("--cut", type=float, default=5.0, help="of the Gaussian [rms lengths]")
    add("--horn", type=float, nargs=2, default=[3.0, 0.08], metavar=("HEIGHT", "WIDTH"),
        help="horns of the double horn: height over the plateau [1], rms width over half the bunch [1]")
    add("--chirp", type=float, nargs="+", default=[0.0], metavar="C",
        help="relative energy against the distance behind the reference: C1 [1/m] and if wanted C2 [1/m^2], C3 [1/m^3]; "
        "C1 above 0 gives the tail more energy")
    add("--correlated-spread", type=float, metavar="EV", help="rms energy spread [eV] of the linear chirp, in place of C1")
    add("--energy-spread", type=float, default=0.0, metavar="EV", help="uncorrelated rms energy spread [eV]")
    add("--emittance", type=float, nargs=2, default=[1e-6, 1e-6], metavar="M", help="normalised emittances, plane and vertical [m]")
    add("--beta", type=float, nargs=2, default=[10.0, 10.0], metavar="M", help="beta functions, plane and vertical [m]")
    add("--alpha", type=float, nargs=2, default=[0.0, 0.0], metavar="A", help="alpha, plane and vertical [1]")
    add("--twiss-ahead", type=float, default=0.0, metavar="M", help="distance ahead at which beta and alpha hold, behind a drift [m]")
    add("--size", type=float, nargs=2, metavar="M", help="rms sizes [m], with --divergence in place of Twiss parameters")
    add("--divergence", type=float, nargs=2, default=[0.0, 0.0], metavar="RAD", help="rms angles with --size [rad]")
    add("--x", type=float, default=0.0, metavar="M", help="start of the reference particle along x [m]")
    add("--ct", type=float, default=0.0, metavar="M", help="bunch time c*t [m]")
    add("--loading", choices=["quiet", "random"], default="quiet", help="Hammersley places or random ones")
    add("--seed", type=int, default=1, help="of the random numbers; shifts a quiet start")


def make_bunch(options: Namespace) -> None:
    from ..files import convert
    from ..constants import REST_ENERGY
    from ..beam.generate import BunchRequest, Plane, chirp_of_spread, make_bunch as make

    energy = (options.momentum**2 + REST_ENERGY**2) ** 0.5 if options.momentum else options.energy
    if len(options.chirp) > 3:
        raise ValueError("--chirp takes at most three coefficients")
    chirp = (options.chirp + [0.0, 0.0])[:3]
    if options.correlated_spread is not None:
        chirp[0] = chirp_of_spread(options.correlated_spread, energy, options.length)
    planes = [Plane(options.emittance[k], options.beta[k], options.alpha[k],
                    (options.size[k], options.divergence[k]) if options.size else None, options.twiss_ahead) for k in (0, 1)]
    bunch = make(BunchRequest(options.particles, energy, options.charge, options.length, options.profile, options.cut,
                              tuple(options.horn), tuple(chirp), options.energy_spread, planes[0], planes[1], options.x,
                              options.ct, options.loading == "quiet", options.seed))
    convert.save(options.output, bunch, options.format)


def convert_options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("input", help="bunch file")
    add("output", help="bunch file to write")
    add("--from", dest="source", choices=TEXT_FORMATS, help="format of the input; guessed from the name or the columns "
        "(fmt2 looks like fmt1 and must be told)")
    add("--to", choices=OUT_FORMATS, help="format of the output; by its name, else fmt1")
    add("--charge", type=float, default=0.0, metavar="C", help="total charge [C] for fmt0, which holds none")


def convert(options: Namespace) -> None:
    from ..files import convert as formats

    formats.save(options.output, formats.load(options.input, options.source, options.charge), options.to)


def analyse_options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("files", nargs="+", help="bunch files; several of them also give the development against c*t")
    add("--from", dest="source", choices=TEXT_FORMATS, help="their format; guessed otherwise")
    add("--charge", type=float, default=0.0, metavar="C", help="total charge [C] for fmt0")
    add("--slices", type=int, default=0, metavar="N", help="add a table of N slices of each bunch")
    add("--bins", type=int, default=50, help="bins of the current profile over ten rms lengths")
    add("--r56", action="store_true", help="fit R56, T566, U5666 [m] between the first and the last file (no self force)")
    add("--json", nargs="?", const="-", metavar="FILE", help="write JSON to FILE, or to the console")


def analyse(options: Namespace) -> None:
    from ..beam import analyse as numbers
    from ..files import convert as formats
    from ..pictures.tables import analysis_text

    bunches = [formats.load(name, options.source, options.charge) for name in options.files]
    result: dict = {"bunches": [dict(file=name, **numbers.plain(numbers.summary(bunch, options.bins)))
                                for name, bunch in zip(options.files, bunches)]}
    if options.slices:
        for entry, bunch in zip(result["bunches"], bunches):
            entry["slices"] = numbers.plain(numbers.slice_moments(bunch, options.slices))
    if len(bunches) > 1:
        result["series"] = numbers.plain(numbers.series(bunches))
    if options.r56:
        if len(bunches) < 2:
            raise ValueError("--r56 needs a file before and a file after")
        result["path_length"] = numbers.plain(numbers.fit_path_length(bunches[0], bunches[-1]))
    if options.json and options.json != "-":
        with open(options.json, "w") as file:
            json.dump(result, file, indent=1)
    print(json.dumps(result, indent=1) if options.json == "-" else analysis_text(result))


PLOTS = ("phase", "longitudinal", "slices", "force", "floor", "green", "steps", "series")


def plot_options(parser: ArgumentParser) -> None:
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


def plot(options: Namespace) -> None:
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


def check_options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("deck", nargs="?", default="tessar.in", help="deck; its folder counts as the working folder of the run")
    add("--json", action="store_true", help="findings as JSON")


def check(options: Namespace) -> int:
    from pathlib import Path

    from ..check.walk import check_deck

    findings = check_deck(Path(options.deck))
    errors = sum(finding.severity == "error" for finding in findings)
    if options.json:
        print(json.dumps([{"file": f.place.file, "line": f.place.line, "severity": f.severity, "text": f.text} for f in findings], indent=1))
    else:
        print(*findings, f"{errors} errors, {len(findings) - errors} warnings", sep="\n")
    return 1 if errors else 0


def report_options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("folder", nargs="?", default=".", help="working folder of a finished run, with its tessar.in")
    add("-o", "--output", help="page to write; report.html in the folder otherwise")
    add("--slices", type=int, default=50, metavar="N", help="number of slices and bins")


def report(options: Namespace) -> None:
    from pathlib import Path

    from ..pictures.report import write_report

    print(write_report(Path(options.folder), Path(options.output) if options.output else None, options.slices))


COMMANDS = {
    "make-bunch": Command("make a bunch from its parameters", "Makes a bunch that moves along +x and writes it.",
                          make_bunch_options, make_bunch),
    "convert": Command("convert a bunch between formats", "Converts between fmt1, fmt2, umbra, openPMD-beamphysics HDF5 and "
                       "CSV; reads fmt0 and fmt3 too. The first particle is the reference particle.", convert_options, convert),
    "analyse": Command("numbers of bunches", "Twiss parameters, emittances, current, length, energy spread, R56, energy loss, "
                       "as a table or JSON.", analyse_options, analyse),
    "plot": Command("pictures of bunches, forces, lattice, meshes, steps", "Draws one picture.", plot_options, plot),
    "report": Command("an HTML page of a finished run", "Writes one self-contained page: deck, settings, pictures, tables, "
                      "warnings, time spent.", report_options, report),
    "check": Command("check a deck without running it", "Tells everything in a deck that would fail, and what looks wrong, with "
                     "file and line. Exit status 1 if something would fail.", check_options, check),
}
