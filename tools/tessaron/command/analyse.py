"""Numbers of bunches.

Twiss parameters, emittances, dispersion, current, length, energy spread, R56, energy loss, about the design orbit where it is known,
as a table or JSON.
"""
from __future__ import annotations

import json
from argparse import ArgumentParser, Namespace

from .common import BunchReader, add_bunch_options, progress


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("files", nargs="+", help="bunch files; several of them also give the development against c*t")
    add_bunch_options(parser)
    add("--slices", type=int, default=0, metavar="N", help="add a table of N slices of each bunch")
    add("--equal", choices=["length", "charge"], default="length", help="what the slices have in common")
    add("--bins", type=int, default=50, help="bins of the current profile over ten rms lengths")
    add("--r56", action="store_true", help="fit R56, T566, U5666 [m] between the first and the last file; refused where the energies have "
        "changed on the way, as in a run with self force")
    add("--json", nargs="?", const="-", metavar="FILE", help="write JSON to FILE, or to the console")


def run(options: Namespace) -> None:
    from ..beam import analyse as numbers
    from ..pictures.tables import analysis_text

    if options.slices < 0 or options.bins < 1:
        raise ValueError("--slices must be 0 or above, --bins 1 or above")
    if options.r56 and len(options.files) < 2:
        raise ValueError("--r56 needs a file before and a file after")
    reader = BunchReader(options)
    result: dict = {"bunches": []}
    summaries, ends = [], []
    for name in progress(options.files, len(options.files), "reading"):
        bunch, orbit = reader.read(name)
        summaries.append(numbers.summary(bunch, options.bins, orbit))
        result["bunches"].append(dict(file=name, **numbers.plain(summaries[-1])))
        if options.slices:
            result["bunches"][-1]["slices"] = numbers.plain(numbers.slice_moments(bunch, options.slices, orbit=orbit, equal=options.equal))
        if options.r56 and name in (options.files[0], options.files[-1]):
            ends.append((bunch, orbit))
    if len(summaries) > 1:
        result["series"] = numbers.plain(numbers.series_of(summaries))
    if options.r56:
        result["path_length"] = numbers.plain(numbers.fit_path_length(ends[0][0], ends[-1][0], ends[0][1], ends[-1][1]))
    if options.json and options.json != "-":
        with open(options.json, "w") as file:
            json.dump(result, file, indent=1)
    print(json.dumps(result, indent=1) if options.json == "-" else analysis_text(result))
