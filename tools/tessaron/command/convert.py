"""Convert a bunch between formats.

Converts between fmt1, fmt2, umbra, openPMD-beamphysics HDF5 and CSV; reads fmt0 and fmt3 too. The first particle is the reference
particle. Columns of CSV: x_m, y_m, z_m, px_eV_c, py_eV_c, pz_eV_c, and if wanted q_C and ct_m; or plainly x, y, z, px, py, pz, q.
"""
from __future__ import annotations

from argparse import ArgumentParser, Namespace

from .common import OUT_FORMATS, TEXT_FORMATS, note_given, refuse_without


def options(parser: ArgumentParser) -> None:
    note_given(parser)
    add = parser.add_argument
    add("input", help="bunch file")
    add("output", help="bunch file to write; its suffix tells the format: .h5, .csv, .umbra, .fmt2; .dat, .txt or none is fmt1")
    add("--from", dest="source", choices=TEXT_FORMATS, help="format of the input; guessed from the name or the columns "
        "(fmt2 looks like fmt1 and must be told)")
    add("--to", choices=OUT_FORMATS, help="format of the output, whatever its name")
    add("--charge", type=float, default=0.0, metavar="C", help="total charge [C] for fmt0, which holds none")
    add("--species", help="of an openPMD file that holds several")
    add("--iteration", help="of an openPMD file that holds several")
    add("--beam-axis", choices=["x", "z"], default="x", help="axis along the beam in a CSV file; with z the vertical is y")
    add("--openpmd", choices=["2.0.0", "1.1.0"], help="version of the standard to write; 2.0.0 otherwise")


def run(options: Namespace) -> None:
    from ..files import convert as formats

    source = options.source or formats.SUFFIXES.get(options.input[options.input.rfind("."):].lower())
    refuse_without(options, "beam-axis", source == "csv", "on a file that is not CSV")
    bunch = formats.load(options.input, options.source, options.charge, options.species, options.iteration, options.beam_axis)
    print(formats.save(options.output, bunch, options.to, options.openpmd))
