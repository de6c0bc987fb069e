"""What several subcommands share: reading bunch files, and the frame of their coordinates."""
from __future__ import annotations

import sys
from argparse import Action, ArgumentParser, Namespace
from typing import TYPE_CHECKING, Iterable

if TYPE_CHECKING:
    from ..beam.bunch import Bunch
    from ..lattice.geometry import Boundary
    from ..run.folder import RunFolder
    from ..run.orbit import Orbit

TEXT_FORMATS = "fmt0 fmt1 fmt2 fmt3 umbra openpmd csv sdds astra".split()
OUT_FORMATS = "fmt1 fmt2 umbra openpmd csv sdds astra".split()


def add_bunch_options(parser: ArgumentParser) -> None:
    """How bunch files are read, and in which frame they are looked at."""
    add = parser.add_argument
    add("--from", dest="source", choices=TEXT_FORMATS, help="format of bunch files; guessed otherwise (fmt2 looks like fmt1 and "
        "must be told)")
    add("--charge", type=float, default=0.0, metavar="C", help="total charge [C] for a file that tells none, as fmt0")
    add("--frame", choices=["orbit", "straight"], help="coordinates about the design orbit, or along the mean momentum; the orbit "
        "where one is found and the bunch is on it")
    add("--lattice", metavar="FILE", help="deck or latout.dat that tells the orbit; otherwise looked for beside the bunch file")


def note_given(parser: ArgumentParser) -> None:
    """Lets the options that follow tell afterwards which of them were given: `options.given`, a set of their names."""
    parser.register("action", None, _Noted)
    parser.set_defaults(given=frozenset())


class _Noted(Action):
    def __call__(self, parser: ArgumentParser, namespace: Namespace, values: object, option_string: str | None = None) -> None:
        setattr(namespace, self.dest, values)
        namespace.given = namespace.given | {self.dest}


def refuse_together(options: Namespace, one: str, *others: str) -> None:
    """Refuses an option beside any of the others; names are those of the command line without their dashes."""
    given = {name.replace("_", "-") for name in options.given}
    if one in given and (both := [name for name in others if name in given]):
        raise ValueError(f"--{one} and --{both[0]} exclude each other")


def refuse_without(options: Namespace, one: str, needed: bool, words: str) -> None:
    """Refuses an option that has no effect as things are."""
    if one.replace("-", "_") in options.given and not needed:
        raise ValueError(f"--{one} has no effect {words}")


class BunchReader:
    """Reads bunches as the options of a subcommand ask for, and finds the orbit of each."""

    def __init__(self, options: Namespace) -> None:
        from ..run.orbit import read_orbit

        self._options = options
        self._orbits: dict[str, Orbit | None] = {}
        self._told: set[str] = set()
        if options.lattice and options.frame == "straight":
            raise ValueError("--lattice and --frame straight exclude each other")
        self._given = read_orbit(options.lattice) if options.lattice else None

    def read(self, name: str) -> tuple[Bunch, list[Boundary] | None]:
        """A bunch, in the lab frame where an orbit is known, and the orbit's boundaries, or None for straight coordinates."""
        from ..beam.orbit import locate
        from ..files import convert

        bunch = convert.load(name, self._options.source, self._options.charge)
        orbit = self._orbit(name)
        if self._options.frame == "straight" or bunch.on_orbit:
            return bunch, None
        if orbit is None:
            if self._options.frame == "orbit":
                raise ValueError(f"{name}: no deck and no latout.dat beside it; --lattice FILE tells the orbit")
            return bunch, None
        moved = orbit.in_lab(bunch)
        try:
            locate(moved, orbit.boundaries)
        except ValueError as error:
            if self._options.frame == "orbit" or self._given is not None:
                raise ValueError(f"{name}: {error} ({orbit.source})") from None
            self._tell(f"{name}: {error} ({orbit.source}); taken along its own mean momentum")
            return bunch, None
        return moved, orbit.boundaries

    def _orbit(self, name: str) -> Orbit | None:
        from pathlib import Path

        from ..run.orbit import orbit_beside

        if self._given is not None:
            return self._given
        folder = str(Path(name).parent)
        if folder not in self._orbits:
            self._orbits[folder] = orbit_beside(name)
        return self._orbits[folder]

    def _tell(self, text: str) -> None:
        if text not in self._told:
            self._told.add(text)
            print(text, file=sys.stderr)


def progress(items: Iterable, count: int, name: str) -> Iterable:
    """The items, with a progress bar on a terminal where there are several."""
    if count < 3 or not sys.stderr.isatty():
        return items
    try:
        from tqdm import tqdm
    except ModuleNotFoundError:  # nobody should miss a result for want of a bar
        return items
    return tqdm(items, total=count, desc=name, leave=False)


def status_of(folder: RunFolder) -> int:
    """Exit status of a subcommand that looked at a run: 1, with the reason on standard error, if the run did not complete."""
    if not folder.verdict.completed:
        print(f"{folder.folder}: {folder.verdict.line}", file=sys.stderr)
    return 0 if folder.verdict.completed else 1
