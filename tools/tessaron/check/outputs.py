"""Which files a deck writes, and that none of them is lost to another, to the deck or to an input."""
from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

from ..deck.reader import Place
from .state import CheckState

LISTING = "latout.dat"
FORCE_TESTS = {"projected": ("fc1.dat", "fc1_curr.dat", "fc1_csr_w_sub.dat", "fc1_w_sub.dat", "fc1_csr_w_curr.dat"), "csr_p_to_p": ("fc2.dat",)}


@dataclass(frozen=True)
class Output:
    """An output file: the log and the tables of online monitors stay open, a series has numbered names."""

    path: Path
    name: str
    place: Place
    stays_open: bool = False
    series: bool = False

    def covers(self, other: "Output") -> bool:
        """Whether this series gets to the other one's name: its number stands ahead of the name's first point."""
        stem, point, rest = self.name.partition(".")
        beside = re.fullmatch(rf"{re.escape(Path(stem).name)}_\d{{4}}{re.escape(point + rest)}", other.path.name)
        return self.series and not other.series and beside is not None and self.path.parent == other.path.parent


def note_output(state: CheckState, name: str, place: Place, stays_open: bool = False, series: bool = False) -> None:
    """Notes an output, and tells whose file it takes, under whatever name."""
    output = Output(state.output_path(name).resolve(), name, place, stays_open, series)
    same = next((earlier for earlier in state.written if earlier.path == output.path and earlier.series == series), None)
    numbered = next((earlier for earlier in state.written if earlier.covers(output) or output.covers(earlier)), None)
    state.written.append(output)
    kind = state.force_type
    tested = state.forces["test"].text == "yes" if "test" in state.forces else False
    own = [LISTING] if state.boundaries else []
    own += FORCE_TESTS.get(kind, ()) if tested else ()
    if not output.path.parent.is_dir():
        state.error(place, f"the folder {state.output_path(name).parent} for {name} does not exist")
    elif not series and output.path in (source.resolve() for source in state.reader.open_files):
        state.error(place, f"{name} is being read as the deck, so the program does not write it")
    elif not series and output.path in (source.resolve() for source in (*state.reader.included, *state.inputs)):
        state.warn(place, f"{name} has been read; its content is written over")
    elif same is not None and (stays_open or same.stays_open):
        state.error(place, f"{name} is the file of {same.place} already, so the program does not write it a second time")
    elif same is not None:
        state.warn(place, f"{name} is written a second time; the output of {same.place} is lost")
    elif numbered is not None:
        state.warn(place, f"{name} and {numbered.name} of {numbered.place} take the same file; numbers go in ahead of the first point of a name")
    elif not series and output.path in (state.output_path(mine).resolve() for mine in own):
        state.warn(place, f"{name} is also what the program calls a file of its own; one of them is lost")
