"""An HTML page of a finished run.

Writes one self-contained page: how the run ended, the bunch before and behind, energy budget, slices, lattice and optics, forces,
settings, deck, log. Exit status 1 if the run did not complete; the page is written all the same.
"""
from __future__ import annotations

import sys
from argparse import ArgumentParser, Namespace
from pathlib import Path


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("folder", nargs="?", default=".", help="working folder of a finished run, with its tessar.in")
    add("-o", "--output", help="page to write; report.html in the folder otherwise")
    add("--slices", type=int, default=50, metavar="N", help="number of slices and bins")
    add("--frame", choices=["orbit", "straight"], default="orbit", help="coordinates about the design orbit where it is known, or along "
        "the mean momentum")


def run(options: Namespace) -> int:
    from ..report.report import write_report
    from ..run.folder import RunFolder

    if options.slices < 2:
        raise ValueError("--slices must be 2 or above")
    folder = RunFolder(options.folder)
    print(write_report(Path(options.folder), Path(options.output) if options.output else None, options.slices, _Told(), folder,
                       options.frame == "orbit"))
    print(folder.verdict.line)
    return 0 if folder.verdict.completed else 1


class _Told:
    """Shows on a terminal what is being done."""

    def __init__(self) -> None:
        self._bar = None
        if sys.stderr.isatty():
            try:
                from tqdm import tqdm
            except ModuleNotFoundError:  # nobody should miss a page for want of a bar
                return
            self._bar = tqdm(total=30, leave=False, bar_format="{desc} {bar} {elapsed}")

    def __call__(self, what: str, done: int, of: int) -> None:
        if self._bar is not None:
            self._bar.set_description_str(what[:40].ljust(40))
            self._bar.total = max(self._bar.total, of + 20)
            self._bar.update()
