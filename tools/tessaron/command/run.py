"""Run the program and tell how it ended.

Starts the program in a folder with its deck tessar.in, shows how far it is, keeps the console as console.txt and standard error as
errors.txt, and compares what is there in the end with what the deck promised. Exit status 0 if the run completed, else 1.
"""
from __future__ import annotations

import sys
from argparse import ArgumentParser, Namespace


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("folder", nargs="?", default=".", help="working folder of the run, with its tessar.in")
    add("--program", metavar="FILE", help="the program; otherwise $TESSARON, tessaron on the PATH, or the build beside these tools")
    add("--processes", type=int, default=1, metavar="N", help="processes, of a program built with MPI")
    add("--threads", type=int, metavar="N", help="threads of each process; what the program takes by itself otherwise")
    add("--quiet", action="store_true", help="no progress bar")


def run(options: Namespace) -> int:
    from ..study.folder import RunFolder
    from ..study.process import run_program

    with Bar(not options.quiet and sys.stderr.isatty()) as bar:
        ending = run_program(options.folder, program=options.program, processes=options.processes, threads=options.threads, follow=bar.follow)
    verdict = RunFolder(options.folder).judge(ending)
    print(verdict.line)
    for detail in verdict.details:
        print("  " + detail)
    return 0 if verdict.completed else 1


class Bar:
    """A progress bar over the metres of the present tracking run, on a terminal."""

    def __init__(self, shown: bool) -> None:
        self._shown, self._bar, self._end = shown, None, None

    def __enter__(self) -> "Bar":
        return self

    def __exit__(self, *_: object) -> None:
        if self._bar is not None:
            self._bar.close()

    def follow(self, progress) -> None:
        """Shows the progress of a run (`study.process.Progress`)."""
        if not self._shown or progress.end <= progress.start:
            return
        if progress.end != self._end:
            from tqdm import tqdm

            self.__exit__()
            self._end = progress.end
            self._bar = tqdm(total=round(progress.end - progress.start, 3), unit="m", desc=f"to c·t = {progress.end:.5g} m")
        self._bar.update(round(progress.ct - progress.start, 3) - self._bar.n)
