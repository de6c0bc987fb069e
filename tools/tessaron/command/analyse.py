"""Numbers of bunches.

Twiss parameters, emittances, current, length, energy spread, R56, energy loss, as a table or JSON.
"""
from __future__ import annotations

import json
from argparse import ArgumentParser, Namespace

from .formats import TEXT_FORMATS


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("files", nargs="+", help="bunch files; several of them also give the development against c*t")
    add("--from", dest="source", choices=TEXT_FORMATS, help="their format; guessed otherwise")
    add("--charge", type=float, default=0.0, metavar="C", help="total charge [C] for fmt0")
    add("--slices", type=int, default=0, metavar="N", help="add a table of N slices of each bunch")
    add("--bins", type=int, default=50, help="bins of the current profile over ten rms lengths")
    add("--r56", action="store_true", help="fit R56, T566, U5666 [m] between the first and the last file (no self force)")
    add("--json", nargs="?", const="-", metavar="FILE", help="write JSON to FILE, or to the console")


def run(options: Namespace) -> None:
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
