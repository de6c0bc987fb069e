"""Say whether a deck is converged.

Varies steps, smoothing length, boxes and particles of a deck one at a time, extrapolates, and says for every quantity its value,
the error by source, what to change and what it will cost. The runs go to a folder and are not computed twice. Exit status 1 if
an error is above what was asked for.
"""
from __future__ import annotations

from argparse import ArgumentParser, Namespace


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("deck", nargs="?", default="tessar.in", help="deck; files in it are taken from its folder")
    add("--quantities", nargs="+", default=["loss", "emittance", "length"], metavar="NAME",
        help="loss, energy, spread, length, compression, peak_current, emittance, emittance_w, growth, growth_w, size, size_w")
    add("--to", type=float, default=0.01, metavar="ERROR", help="relative error asked for")
    add("--folder", default="converge", help="where the runs go")
    add("--program", help="the program; $TESSARON or tessaron on the PATH otherwise")
    add("--threads", type=int, default=1, help="threads of each run; runs share the cores accordingly")
    add("--plot", metavar="FILE", help="draw the quantities against each source's scale")


def run(options: Namespace) -> int:
    from ..pictures.style import save
    from ..run.run import Run
    from ..study.converge import converge

    found = converge(Run.from_deck(options.deck), options.quantities, options.to, options.folder, program=options.program,
                     threads=options.threads)
    print(found)
    if options.plot:
        save(found.plot(), options.plot)
    return 0 if found.converged else 1
