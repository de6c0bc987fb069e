"""A run: a lattice, a bunch and settings, written as a deck, checked, and started."""
from __future__ import annotations

import shutil
import tempfile
from pathlib import Path
from typing import TYPE_CHECKING, Any, Callable, Iterable, Sequence, TypeVar

from ..beam.bunch import Bunch
from ..deck.keys import CAPACITY
from ..lattice.lattice import Lattice
from .block import Block
from .particles import Particles
from .process import DECK, RunFailed, run_program
from .progress import Bar
from .reading import Command, commands_of_deck
from .settings import Forces, IoPath, Monitor, Monitors, OnlineMonitor, Steps, Tracker

if TYPE_CHECKING:
    from ..check.state import Finding
    from .result import Result

LOG, START, END = "tessar.log", "start.dat", "end.dat"
Kind = TypeVar("Kind")


class Run:
    """One run of the program: what stands in its deck.

        run = Run(lattice, bunch, Forces("projected", sigma_long="relative", relative_long=0.1))
        result = run.start("first")

    :param lattice: the magnets.
    :param bunch: a Bunch, the path of a bunch file, or Particles for more than that.
    :param forces: the bunch's force on itself; none unless given.
    :param steps: how the steps are taken.
    :param monitors: what is written besides the bunch at the start, `start.dat`, and at the end, `end.dat`; unless given, the
        table of steps, and that of the sub-bunch sizes where there is a force.
    :param tracker: where to track to; or a row of Tracker, Monitor, Forces and so on, in the order in which they shall act.
        Unless given, the bunch is tracked to the last marker of the lattice.
    :raises ValueError: an argument of another kind, or no tracker and no marker to track to.
    """

    def __init__(self, lattice: Lattice, bunch: Bunch | str | Path | Particles, forces: Forces | None = None,
                 steps: Steps | None = None, monitors: Iterable | None = None,
                 tracker: Tracker | Sequence[Command] | None = None) -> None:
        if not isinstance(lattice, Lattice):
            raise ValueError(f"Run: lattice must be a Lattice, not {type(lattice).__name__}")
        forces, steps = forces or Forces(), steps or Steps()
        for name, value, kind in (("forces", forces, Forces), ("steps", steps, Steps)):
            if not isinstance(value, kind):
                raise ValueError(f"Run: {name} must be {kind.__name__}, not {type(value).__name__}")
        if monitors is not None:
            monitors = Monitors(monitors)
        else:
            monitors = Monitors().steps() if forces.type == "none" else Monitors().steps().sub_bunch()
        if tracker is None:
            if not lattice.markers:
                raise ValueError("Run: tracker is needed, for the lattice has no marker to track to")
            tracker = Tracker(end_time_marker=max(lattice.markers, key=lattice.s_of))
        if sum(isinstance(monitor, OnlineMonitor) for monitor in monitors) > CAPACITY["maxmon"]:
            raise ValueError(f"Run: monitors holds more than the {CAPACITY['maxmon']} online monitors that work at a time; "
                             "tracker=Tracker.through(markers) writes the bunch at any number of places")
        course = [tracker] if isinstance(tracker, Tracker) else list(tracker)
        self._settle([IoPath(logfile=LOG), lattice, bunch if isinstance(bunch, Particles) else Particles(bunch), forces, steps,
                      Monitor(START), *monitors, *course, Monitor(END)])

    @classmethod
    def from_commands(cls, commands: Iterable[Command]) -> "Run":
        """A run of just these commands, in their order."""
        run = cls.__new__(cls)
        run._settle(list(commands))
        return run

    @classmethod
    def from_deck(cls, deck: str | Path) -> "Run":
        """The run of a deck. It means the same: same orbit, bunch, settings and outputs; comments and layout are gone.

        :raises ValueError: what the program would refuse; the message names file and line.
        """
        path = Path(deck)
        return cls.from_commands(commands_of_deck(path / DECK if path.is_dir() else path))

    def _settle(self, commands: list[Command]) -> None:
        for command in commands:
            if not isinstance(command, (Lattice, Block)):
                raise ValueError(f"Run: {command!r} is no command of a deck")
        self.commands: tuple[Command, ...] = tuple(commands)  #: in their order

    def of_kind(self, kind: type[Kind]) -> list[Kind]:
        """All commands of a class, in their order."""
        return [command for command in self.commands if isinstance(command, kind)]

    def _first(self, kind: type[Kind], name: str) -> Kind:
        found = self.of_kind(kind)
        if not found:
            raise ValueError(f"this run has no {name}")
        return found[0]

    @property
    def lattice(self) -> Lattice:
        """The first lattice."""
        return self._first(Lattice, "lattice")

    @property
    def particles(self) -> Particles:
        """The first `particles` block."""
        return self._first(Particles, "particles")

    @property
    def bunch(self) -> Bunch:
        """The bunch at the start, read from its file if it comes from one."""
        return self.particles.bunch()

    @property
    def forces(self) -> Forces:
        """The first force settings; none where there are no others."""
        return (self.of_kind(Forces) or [Forces()])[0]

    @property
    def steps(self) -> Steps:
        """The first settings of steps, or the program's own."""
        return (self.of_kind(Steps) or [Steps()])[0]

    def changed(self, change: Callable[[Command], Command]) -> "Run":
        """Another run, with every command passed through a function."""
        return Run.from_commands([change(command) for command in self.commands])

    def with_forces(self, forces: Forces) -> "Run":
        """Another run, with this force in place of every one of type other than none; or ahead of tracking if there is none."""
        if not any(command.type != "none" for command in self.of_kind(Forces)):
            rest = [command for command in self.commands if not isinstance(command, Forces)]
            k = next((k for k, command in enumerate(rest) if isinstance(command, Tracker)), len(rest))
            return Run.from_commands([*rest[:k], forces, *rest[k:]])
        return self.changed(lambda command: forces if isinstance(command, Forces) and command.type != "none" else command)

    def with_bunch(self, bunch: Bunch) -> "Run":
        """Another run, with this bunch in place of the first one; the reference momentum is taken as before."""
        from dataclasses import replace

        first = self.particles
        return self.changed(lambda command: replace(command, array=bunch, format="fmt1") if command is first else command)

    def deck(self) -> str:
        """The deck; files that it reads go by the names that `write` gives them."""
        return self._deck_and_files()[0]

    def files(self) -> dict[str, Particles | Path]:
        """What the deck reads: by the names that `write` gives them, bunches and the paths of files."""
        return self._deck_and_files()[1]

    def write(self, folder: str | Path) -> Path:
        """Writes the deck, `tessar.in`, and all files that it reads into a folder, which is made if it does not exist.

        :return: the deck's path.
        """
        folder = Path(folder)
        folder.mkdir(parents=True, exist_ok=True)
        text, files = self._deck_and_files()
        for name, source in files.items():
            if isinstance(source, Particles):
                source.save(folder / name)
            else:
                shutil.copyfile(source, folder / name)
        for command in self.of_kind(IoPath):
            (folder / (command.output or ".")).mkdir(parents=True, exist_ok=True)
        (folder / DECK).write_text(text)
        return folder / DECK

    def check(self) -> "list[Finding]":
        """Everything in the deck that would fail, and what looks wrong, by the lines of `deck()`; see tessaron-tools check."""
        from ..check.walk import check_deck

        with tempfile.TemporaryDirectory() as folder:
            return check_deck(self.write(folder))

    def start(self, folder: str | Path, *, processes: int = 1, threads: int | None = None, program: str | Path | None = None,
              progress: bool | None = None, timeout: float | None = None, overwrite: bool = False) -> "Result":
        """Writes the run into a folder and runs it there to its end.

        :param folder: a new or empty one; `overwrite` empties it first.
        :param processes: of an MPI job; the program must be built with MPI. threads: of each process; None leaves it open.
        :param program: the program; see `find_program` for where it is looked for otherwise.
        :param progress: a bar with the time left; None shows it on a terminal and in a notebook.
        :param timeout: seconds after which the run is ended.
        :raises RunFailed: the run did not complete; it holds the program's own trace, file and line. The folder is kept.
        :raises FileExistsError: the folder holds something.
        """
        from .result import Result

        folder = Path(folder)
        if folder.is_dir() and any(folder.iterdir()):
            if not overwrite:
                raise FileExistsError(f"{folder} is not empty; take a new folder, or overwrite=True to empty it")
            shutil.rmtree(folder)
        self.write(folder)
        with Bar(folder.name, progress) as bar:
            ending = run_program(folder, program=program, processes=processes, threads=threads, follow=bar.show, timeout=timeout)
        if not ending.completed:
            raise RunFailed(folder, ending)
        return Result(folder)

    @staticmethod
    def resume(folder: str | Path, **how: Any) -> "Result":
        """Goes on with an interrupted run; see `tessaron.run.resume.resume`."""
        from .resume import resume

        return resume(folder, **how)

    def _deck_and_files(self) -> tuple[str, dict[str, Particles | Path]]:
        """The text, and by name what has to lie beside it."""
        files: dict[str, Particles | Path] = {}

        def named(wanted: str, source: Particles | Path) -> str:
            stem, dot, suffix = wanted.partition(".")
            name, k = wanted, 1
            while name in files and files[name] != source:
                k += 1
                name = f"{stem}_{k}{dot}{suffix}"
            files[name] = source
            return name

        parts, before = [], None
        first_steps = next(iter(self.of_kind(Steps)), None)
        for command in self.commands:
            if command is first_steps and command == Steps():
                continue  # says nothing
            if isinstance(command, Particles):
                text = command.deck({"array": named("bunch.dat", command)})
            elif isinstance(command, Lattice):
                text = command.deck()
            else:
                names = {key: named(getattr(command, key).name, getattr(command, key)) for key in command.FILES
                         if getattr(command, key) is not None}
                text = command.deck(names, whole=command is not first_steps) if isinstance(command, Steps) else command.deck(names)
            parts.append(text if before is type(command) or before is None else "\n" + text)
            before = type(command)
        return "".join(parts), files

    def _repr_html_(self) -> str:
        from html import escape

        return f"<pre>{escape(self.deck())}</pre>"
