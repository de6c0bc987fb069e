"""An HTML page of a finished run.

Writes one self-contained page: deck, settings, pictures, tables, warnings, time spent.
"""
from __future__ import annotations

from argparse import ArgumentParser, Namespace
from pathlib import Path


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("folder", nargs="?", default=".", help="working folder of a finished run, with its tessar.in")
    add("-o", "--output", help="page to write; report.html in the folder otherwise")
    add("--slices", type=int, default=50, metavar="N", help="number of slices and bins")


def run(options: Namespace) -> None:
    from ..pictures.report import write_report

    print(write_report(Path(options.folder), Path(options.output) if options.output else None, options.slices))
