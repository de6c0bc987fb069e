"""Convert a bunch between formats, and put it where it is wanted.

Converts between fmt1, fmt2, umbra, openPMD-beamphysics HDF5, CSV, SDDS with elegant's columns, and Astra's files; reads fmt0 and fmt3
too. The first particle is the reference particle. Columns of CSV: x_m, y_m, z_m, px_eV_c, py_eV_c, pz_eV_c, and if wanted q_C and
ct_m; or plainly x, y, z, px, py, pz, q. What is asked for is done in this order: --take, --reference, --charge, --match, --centre or
--at-marker, --rotate, --ahead, --time.
"""
from __future__ import annotations

import sys
from argparse import ArgumentParser, Namespace
from math import isfinite
from pathlib import Path
from typing import TYPE_CHECKING

from .common import OUT_FORMATS, TEXT_FORMATS, note_given, refuse_without

if TYPE_CHECKING:
    from ..beam.bunch import Bunch
    from ..files.sdds import Plane


def options(parser: ArgumentParser) -> None:
    note_given(parser)
    add = parser.add_argument
    add("input", help="bunch file")
    add("output", help="bunch file to write; its suffix tells the format: .h5, .csv, .sdds, .astra, .umbra, .fmt2; .dat, .txt or none is fmt1")
    add("--from", dest="source", choices=TEXT_FORMATS, help="format of the input; guessed from the name or from what stands in it "
        "(fmt2 looks like fmt1 and must be told)")
    add("--to", choices=OUT_FORMATS, help="format of the output, whatever its name")
    add("--charge", type=float, default=None, metavar="C", help="total charge [C] to scale the charges to; equal parts where the input tells none")
    add("--species", help="of an openPMD file that holds several")
    add("--iteration", help="of an openPMD file that holds several")
    add("--page", type=int, metavar="N", help="of an SDDS file that holds several; the first otherwise")
    add("--instant", type=float, metavar="M", help="c*t in the time of an SDDS file at which the particles are taken [m]; their mean arrival otherwise")
    add("--beam-axis", choices=["x", "z"], default="x", help="axis along the beam in a CSV file; with z the vertical is y")
    add("--openpmd", choices=["2.0.0", "1.1.0"], help="version of the standard to write; 2.0.0 otherwise")
    add("--sdds", choices=["binary", "ascii", "big-endian"], help="kind of SDDS to write; binary is little-endian, and written otherwise")
    wanted = parser.add_argument_group("to put the bunch where it is wanted")
    add = wanted.add_argument
    add("--take", type=int, metavar="N", help="a random choice of N particles, always the same one, with particle 1 and the whole charge")
    add("--reference", choices=["first", "centre"], default="first", help="particle 1: the input's, or the one nearest to the centre")
    add("--match", type=_twiss, metavar="BETA,ALPHA[,BETAY,ALPHAY]", help="Twiss parameters [m, 1] in the orbit plane and vertically, given by "
        "a linear map that keeps the emittances; dispersion goes through it too")
    add("--centre", action="store_true", help="the mean place to the origin, the mean momentum along x; at a marker on the orbit and along it")
    add("--at-marker", metavar="NAME", help="onto the design orbit at that boundary of --deck; without --centre, the input's x axis is laid "
        "along the orbit")
    add("--deck", metavar="FILE", help="deck, lattice or latout.dat with the marker; on writing SDDS it sets the plane across the orbit beside the "
        "bunch's mean")
    add("--rotate", type=float, default=0.0, metavar="DEG", help="turn about the vertical where it stands [degrees], counter-clockwise from above")
    add("--ahead", type=float, default=0.0, metavar="M", help="flown back straight until its mean is so far ahead [m]")
    add("--time", type=float, metavar="M", help="bunch time c*t to write [m]; nothing moves")


def run(options: Namespace) -> None:
    from ..files import convert as formats

    if Path(options.output).exists() and Path(options.input).exists() and Path(options.output).samefile(options.input):
        raise ValueError(f"{options.output}: is the file that is read")
    source, target = formats.format_of(options.input, options.source), formats.format_to_write(options.output, options.to)
    refuse_without(options, "beam-axis", source == "csv", "on a file that is not CSV")
    refuse_without(options, "deck", options.at_marker is not None or target == "sdds", "without --at-marker, or an SDDS file to write")
    if options.at_marker is not None and options.deck is None:
        raise ValueError("--at-marker needs the lattice: --deck FILE, a deck, a lattice or a latout.dat")
    for name, unit in (("charge", "coulomb"), ("instant", "metres"), ("rotate", "degrees"), ("ahead", "metres"), ("time", "metres")):
        value = getattr(options, name)
        if value is not None and not isfinite(value):
            raise ValueError(f"--{name} must be a finite number of {unit}, not {value!r}")
    bunch = formats.load(options.input, source, 0.0, options.species, options.iteration, options.beam_axis, options.page, options.instant,
                         options.take)
    bunch = _as_wanted(bunch, options)
    plane = _plane(bunch, options) if target == "sdds" and options.deck is not None else None
    print(formats.save(options.output, bunch, target, options.openpmd, options.sdds, plane))


def _plane(bunch: Bunch, options: Namespace) -> Plane:
    """Across the design orbit beside the bunch, in the frame of its file."""
    from ..beam.orbit import nearest_point
    from ..files.sdds import Plane
    from ..run.orbit import read_orbit

    orbit = read_orbit(options.deck)
    try:
        place, tangent, s = nearest_point(orbit.in_lab(bunch), orbit.boundaries)
    except ValueError as error:
        raise ValueError(f"{orbit.source}: {error}") from None
    place, tangent = orbit.point_in_file(place, tangent)
    return Plane(place, tangent, f"across the orbit, at s = {s:.9g} m")


def _as_wanted(bunch: Bunch, options: Namespace) -> Bunch:
    from math import radians

    if options.reference == "centre":
        bunch = bunch.with_central_reference()
    if options.charge is not None:
        bunch = bunch.with_charge(options.charge)
    if options.match is not None:
        bunch = bunch.matched(*options.match)
    if options.at_marker is not None:
        bunch = _at_marker(bunch, options)
    else:
        bunch = bunch.centred() if options.centre else bunch
        bunch = bunch.rotated(radians(options.rotate)) if options.rotate else bunch
        bunch = bunch.flown_back(options.ahead) if options.ahead else bunch
    return bunch.at_time(options.time) if options.time is not None else bunch


def _at_marker(bunch: Bunch, options: Namespace) -> Bunch:
    """In the frame of the run's files; told are particles that miss a part of a magnet, or have come back through one."""
    from math import radians

    from ..beam.placing import ahead_of, boundary_at
    from ..run.orbit import read_orbit

    orbit = read_orbit(options.deck)
    try:
        boundary = boundary_at(orbit.boundaries, options.at_marker)
    except ValueError as error:
        raise ValueError(f"{orbit.source}: {error}") from None
    bunch = bunch.placed(orbit.boundaries, options.at_marker, options.centre).rotated(radians(options.rotate)).flown_back(options.ahead)
    ahead = ahead_of(bunch, boundary)
    if passed := int((ahead < 0).sum()):
        print(f"{passed} of {len(bunch)} particles stand behind {options.at_marker}, by up to {-ahead.min():.3g} m, and would start in what follows "
              f"it; if that is a magnet: --ahead {options.ahead - 1.5 * ahead.min():.2g}", file=sys.stderr)
    free = min((boundary.s - other.s for other in orbit.boundaries if other.s < boundary.s), default=float("inf"))
    if ahead.max() > (free if boundary.r == 0 else 0.0) and options.ahead > 0:
        print(f"particles were flown back by up to {ahead.max():.3g} m, where " + (f"the boundary ahead of {options.at_marker} is {free:.3g} m away"
              if boundary.r == 0 else f"{options.at_marker} ends a bend") + "; the flight was straight all the same", file=sys.stderr)
    return orbit.in_file(bunch)


def _twiss(text: str) -> tuple[tuple[float, float], tuple[float, float]]:
    """(beta, beta y), (alpha, alpha y) from two or four numbers."""
    numbers = [float(word) for word in text.split(",")]
    if len(numbers) not in (2, 4) or not all(isfinite(number) for number in numbers):
        raise ValueError(text)
    return (numbers[0], numbers[-2]), (numbers[1], numbers[-1])


_twiss.__name__ = "BETA,ALPHA[,BETAY,ALPHAY]"  # as argparse names what it could not read
