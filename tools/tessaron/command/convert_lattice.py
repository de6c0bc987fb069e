"""Convert a lattice from or to other programs.

Reads MAD-X and elegant files and decks; writes a `lattice` block for a deck, a MAD-X file, or a survey as CSV. Elements that the
program has not are an error, each told by its line, unless their type is to be replaced by drifts.
"""
from __future__ import annotations

from argparse import ArgumentParser, Namespace

from .common import note_given, refuse_without


def options(parser: ArgumentParser) -> None:
    note_given(parser)
    add = parser.add_argument
    add("input", help="lattice file; its suffix tells the format: .madx, .mad, .seq; .lte for elegant; others are decks")
    add("-o", "--output", default="lattice.in", metavar="FILE", help="file to write; its suffix tells the format: .madx, .mad, .seq; .csv "
        "is a survey (s, x, y [m], angle [rad], element); others hold a lattice block, which a deck takes by #file { name = FILE }")
    add("--from", dest="source", choices=["madx", "elegant", "deck"], help="format of the input, whatever its name")
    add("--line", metavar="NAME", help="line or sequence; otherwise that in use, in elegant the last one")
    add("--between", nargs=2, metavar=("FIRST", "LAST"), help="take the part of the line from the first element of one name to the next of another")
    add("--momentum", type=float, metavar="EV_C", help="reference momentum [eV/c], in place of that of a MAD-X beam; noted in the output; "
        "elegant's magnets that are told by their field need it")
    add("--replace-by-drift", nargs="+", default=[], metavar="TYPE", help="types, as the other program calls them, whose elements become "
        "drifts of their length where the program has no counterpart")


def run(options: Namespace) -> None:
    from ..exchange.convert import format_of, load, save
    from ..exchange.pieces import Choice

    source = options.source or format_of(options.input)
    for name in ("line", "between", "replace-by-drift"):
        refuse_without(options, name, source != "deck", "on a deck")
    if options.momentum is not None and not options.momentum > 0:
        raise ValueError(f"--momentum must be above 0 eV/c, not {options.momentum!r}")
    choice = Choice(options.line, options.between, tuple(options.replace_by_drift))
    lattice, momentum = load(options.input, source, choice, options.momentum)
    print(save(options.output, lattice, options.input, options.momentum or momentum))
