"""Run the program and tell how it ended.

Starts the program in a folder with its deck tessar.in, shows how far it is, keeps the console as console.txt and standard error as
errors.txt, and compares what is there in the end with what the deck promised. Exit status 0 if the run completed, else 1.
"""
from __future__ import annotations

from argparse import ArgumentParser, Namespace
from pathlib import Path


def options(parser: ArgumentParser) -> None:
    add = parser.add_argument
    add("folder", nargs="?", default=".", help="working folder of the run, with its tessar.in")
    add("--program", metavar="FILE", help="the program; otherwise $TESSARON, tessaron on the PATH, or the build beside these tools")
    add("--processes", type=int, default=1, metavar="N", help="processes, of a program built with MPI")
    add("--threads", type=int, metavar="N", help="threads of each process; what the program takes by itself otherwise")
    add("--quiet", action="store_true", help="no progress bar")


def run(options: Namespace) -> int:
    from ..run.folder import RunFolder
    from ..run.process import run_program
    from ..run.progress import Bar

    with Bar(Path(options.folder).resolve().name, False if options.quiet else None) as bar:
        ending = run_program(options.folder, program=options.program, processes=options.processes, threads=options.threads, follow=bar.show)
    verdict = RunFolder(options.folder).judge(ending)
    print(verdict.line)
    for detail in verdict.details:
        print("  " + detail)
    return 0 if verdict.completed else 1
