"""The command line: `tessaron-tools COMMAND ...`.

Every subcommand is a module of this folder: its docstring is the help, `options(parser)` adds its options, and
`run(options)` carries it out and returns an exit status if that may be other than 0.
"""
from __future__ import annotations

import argparse
import re
import sys
from importlib import import_module

from .. import __version__
from .completion import PrintCompletion

SUBCOMMANDS = (
    "make-bunch",
    "convert",
    "convert-lattice",
    "check",
    "run",
    "analyse",
    "plot",
    "optics",
    "budget",
    "slices",
    "report",
    "scan",
    "converge",
)

PACKAGES = {"numpy": "python3-numpy", "matplotlib": "python3-matplotlib", "h5py": "python3-h5py", "tqdm": "python3-tqdm",
            "distributed": "python3-distributed", "mpi4py": "python3-mpi4py", "tomli": "python3-tomli", "lark": "python3-lark"}


# What begins with a minus and is no option: argparse's own pattern knows neither exponents nor lists.
NEGATIVE = re.compile(r"-(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?(,.*)?$")


def build_parser() -> argparse.ArgumentParser:
    """All subcommands with their help. Importing this needs nothing but the standard library."""
    parser = argparse.ArgumentParser(
        prog="tessaron-tools", description="Bunches in and out, pictures, reports and deck checks for Tessaron.",
        epilog="Lengths in metres, momenta in eV/c, energies in eV, charges in coulomb, time as c*t in metres.")
    parser.add_argument("--version", action="version", version=f"tessaron-tools {__version__}")
    parser.add_argument("--bash-completion", action=PrintCompletion, help="print the completion for bash, to be sourced, and end")
    parser.add_argument("--traceback", action="store_true", help="show where in the tools an error was met")
    subparsers = parser.add_subparsers(dest="command", metavar="COMMAND", required=True)
    parser._negative_number_matcher = NEGATIVE
    for name in SUBCOMMANDS:
        command = import_module("." + name.replace("-", "_"), __package__)
        title, _, description = (command.__doc__ or name).partition("\n")
        sub = subparsers.add_parser(name, help=title.rstrip("."), description=description.strip() or title,
                                    formatter_class=argparse.ArgumentDefaultsHelpFormatter)
        sub._negative_number_matcher = NEGATIVE
        command.options(sub)
        sub.set_defaults(run=command.run)
    return parser


def main(arguments: list[str] | None = None) -> int:
    """Runs one subcommand. 0 on success; 1 with a line on standard error when it failed; `check` tells its own status."""
    parsed = build_parser().parse_args(arguments)
    try:
        return parsed.run(parsed) or 0
    except BrokenPipeError:
        return 0
    except KeyboardInterrupt:
        print(f"tessaron-tools {parsed.command}: interrupted", file=sys.stderr)
        return 130
    except ModuleNotFoundError as error:
        if parsed.traceback or error.name not in PACKAGES:
            raise
        print(f"tessaron-tools: this needs {error.name}. On Debian: apt-get install {PACKAGES[error.name]}", file=sys.stderr)
    except (OSError, ValueError, KeyError) as error:
        if parsed.traceback:
            raise
        print(f"tessaron-tools {parsed.command}: {error}", file=sys.stderr)
    return 1
