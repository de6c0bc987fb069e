"""Starts the program in a folder, follows its progress, keeps its console and finds out how the run ended.

    run_program(folder)                                  one process, as many threads as the program takes by itself
    run_program(folder, threads=4)                       OMP_NUM_THREADS=4
    run_program(folder, processes=4, program=mpi_build)  mpirun -n 4

The console goes to `console.txt` and standard error to `errors.txt` beside the deck. The program writes both itself, so that
they are whole even if the Python process is gone before the run ends.
"""
from __future__ import annotations

import os
import re
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Sequence

from ..files.ending import CONSOLE, ERRORS, Ending, ending_of
from ..files.runlog import ct_of_step

DECK = "tessar.in"  #: the name that the program looks for
_START, _END = re.compile(r" *start time +=(.*)"), re.compile(r" *tracking to end_time =(.*)")
_LOOK = 0.2  # seconds between two looks at the console
_JOB = ("OMPI_COMM_", "OMPI_UNIVERSE_", "OMPI_MCA_orte_", "OMPI_MCA_ess", "PMIX_", "PMI_")
_PATIENCE = 10.0  # seconds that an interrupted run gets to close its files


class RunFailed(RuntimeError):
    """A run that did not complete. Its folder is kept.

    `folder` is the run's folder, `ending` tells how it ended: `ending.reason`, the program's own `ending.trace`, and
    `ending.place`, file and line of the deck where it stopped, if it stopped there.
    """

    def __init__(self, folder: str | Path, ending: Ending) -> None:
        super().__init__(folder, ending)
        self.folder, self.ending = Path(folder), ending

    def __str__(self) -> str:
        return f"the run in {self.folder} did not complete: {self.ending}"


@dataclass
class Progress:
    """Where a run stands: bunch times c*t [m]."""

    start: float  #: of the present tracking run
    end: float  #: to which it goes
    ct: float  #: of the last step

    @property
    def share(self) -> float:
        """How much of the present tracking run is done, 0 to 1."""
        return min(max((self.ct - self.start) / (self.end - self.start), 0.0), 1.0) if self.end > self.start else 1.0


def run_program(folder: str | Path, *, program: str | Path | None = None, processes: int = 1, threads: int | None = None,
                follow: Callable[[Progress], None] | None = None, timeout: float | None = None,
                keep_open: Sequence[int] = ()) -> Ending:
    """Runs the deck `tessar.in` of a folder to its end. Whether it completed is for the caller to see in what comes back.

    :param folder: working folder of the run, with its deck.
    :param program: the program; without it, it is looked for (`find_program`).
    :param processes: above 1 the program, built with MPI, is started by `mpirun`.
    :param threads: threads of each process; None leaves it to the program and the environment.
    :param follow: called with the progress after each look at the console that shows a new step.
    :param timeout: seconds after which the run is ended; its ending then says so.
    :param keep_open: file descriptors that the program inherits, locks for example.
    :raises FileNotFoundError: no deck, no program or no `mpirun`.
    :raises ValueError: a number of processes or threads below 1, or several processes of a program without MPI.
    """
    folder = Path(folder)
    if not (folder / DECK).is_file():
        raise FileNotFoundError(f"there is no deck {folder / DECK}")
    for name, count in (("processes", processes), ("threads", threads)):
        if count is not None and (not isinstance(count, int) or count < 1):
            raise ValueError(f"{name} must be an integer of 1 or more, not {count!r}")
    command = _command(find_program(program, processes > 1), processes)
    with open(folder / CONSOLE, "wb") as console, open(folder / ERRORS, "wb") as errors:
        process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=console, stderr=errors,
                                   env=_environment(processes, threads), pass_fds=keep_open)
    watch = _Watch(folder / CONSOLE, follow)
    waited = 0.0
    try:
        while True:
            try:
                status = process.wait(_LOOK)
                break
            except subprocess.TimeoutExpired:
                watch.look()
                waited += _LOOK
                if timeout is not None and waited >= timeout:
                    _end(process)
                    return Ending(False, f"ended after {timeout:g} s, the time it was given", ct=ending_of(folder).ct)
    except BaseException:  # an interrupt among them: nothing is left running
        _end(process)
        raise
    watch.look()
    return ending_of(folder, status)


def find_program(program: str | Path | None = None, mpi: bool = False) -> Path:
    """The program's path.

    Looked for are, in this order: the argument, the environment's TESSARON (TESSARON_MPI for several processes), `tessaron`
    (`tessaron-mpi`) on the PATH, and `build/tessaron` (`build-mpi/tessaron`) of the source tree that this package stands in.

    :raises FileNotFoundError: it is nowhere; the message tells where it was looked for.
    :raises ValueError: it has no MPI where several processes are wanted.
    """
    variable, name, build = ("TESSARON_MPI", "tessaron-mpi", "build-mpi") if mpi else ("TESSARON", "tessaron", "build")
    built = Path(__file__).resolve().parents[3] / build / "tessaron"
    named = program or os.environ.get(variable)
    path = Path(named) if named else Path(shutil.which(name) or built)
    if not path.is_file():
        raise FileNotFoundError(f"no program at {path}; name it with program= or in the environment's {variable}, put {name} on "
                                f"the PATH, or build it: cmake --preset {'mpi' if mpi else 'release'} && cmake --build --preset "
                                f"{'mpi' if mpi else 'release'}")
    if mpi and b"MPI_Init" not in path.read_bytes():
        raise ValueError(f"{path} is built without MPI, so that processes= must be 1; docs/parallel.md tells how to build it")
    return path.resolve()


def _command(program: Path, processes: int) -> list[str]:
    if processes == 1:
        return [str(program)]
    launcher = shutil.which("mpirun")
    if launcher is None:
        raise FileNotFoundError("several processes need mpirun; on Debian: apt-get install openmpi-bin")
    return [launcher, "-n", str(processes), str(program)]


def _environment(processes: int, threads: int | None) -> dict[str, str]:
    """What the program and `mpirun` are told. Open MPI would tie all threads of a process to one core, and refuse root; and
    the program must not take itself for a member of an MPI job that the Python process belongs to."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith(_JOB)}
    if threads is not None:
        environment["OMP_NUM_THREADS"] = str(threads)
    if processes > 1:
        environment.setdefault("OMPI_MCA_hwloc_base_binding_policy", "none")
        if os.geteuid() == 0:
            environment.update(OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1")
    return environment


def _end(process: subprocess.Popen) -> None:
    """Asks the program to close its files and end, and makes it end if it does not."""
    process.terminate()
    try:
        process.wait(_PATIENCE)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


class _Watch:
    """Reads what is new on the console and tells the progress."""

    def __init__(self, console: Path, follow: Callable[[Progress], None] | None) -> None:
        self._console, self._follow = console, follow
        self._read, self._progress = 0, Progress(0.0, 0.0, 0.0)

    def look(self) -> None:
        if self._follow is None:
            return
        with open(self._console, "rb") as file:
            file.seek(self._read)
            text = file.read()
        text = text[:text.rfind(b"\n") + 1]  # whole lines only
        self._read += len(text)
        if self._take(text.decode(errors="replace")):
            self._follow(self._progress)

    def _take(self, text: str) -> bool:
        moved = False
        for line in text.splitlines():
            if found := _START.match(line):
                self._progress = Progress(float(found[1]), float(found[1]), float(found[1]))
            elif found := _END.match(line):
                self._progress.end = float(found[1])
            elif (ct := ct_of_step(line.strip())) is not None:
                self._progress.ct, moved = ct, True
        return moved
