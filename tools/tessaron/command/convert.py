"""Convert a bunch between formats.

Converts between fmt1, fmt2, umbra, openPMD-beamphysics HDF5 and CSV; reads fmt0 and fmt3 too. The first particle is the reference
particle.
"""
from __future__ import annotations

from argparse import ArgumentParser, Namespace

from .common import OUT_FORMATS, TEXT_FORMATS


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("input", help="bunch file")
    add("output", help="bunch file to write")
    add("--from", dest="source", choices=TEXT_FORMATS, help="format of the input; guessed from the name or the columns "
        "(fmt2 looks like fmt1 and must be told)")
    add("--to", choices=OUT_FORMATS, help="format of the output; by its name, else fmt1")
    add("--charge", type=float, default=0.0, metavar="C", help="total charge [C] for fmt0, which holds none")


def run(options: Namespace) -> None:
    from ..files import convert as formats

    formats.save(options.output, formats.load(options.input, options.source, options.charge), options.to)
