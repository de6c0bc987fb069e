"""From a deck to the objects of a run, command by command."""
from __future__ import annotations

from dataclasses import replace
from pathlib import Path
from typing import Union

from ..check.particles import array_words
from ..deck.blocks import Value, read_block, read_value
from ..deck.keys import COMMANDS, PARTICLES
from ..deck.reader import DeckEnd, DeckFault, DeckReader, Place
from ..lattice.lattice import Lattice
from ..lattice.reading import read_lattice
from .block import Block
from .particles import Particles, Words
from .settings import Forces, IoPath, Monitor, OnlineMonitor, Steps, Tracker

Command = Union[IoPath, Lattice, Particles, Forces, Steps, Monitor, OnlineMonitor, Tracker]
_BLOCKS: dict[str, type[Block]] = {block.COMMAND: block for block in (IoPath, Forces, Steps, Monitor, OnlineMonitor, Tracker)}


def commands_of_deck(deck: Path) -> list[Command]:
    """What a deck says, in its order, up to its `exit`. Files that it reads are known by their paths; `track_accuracy`, and an
    online monitor without a name, do nothing and are left out.

    :raises ValueError: what the program would refuse; the message begins with file and line.
    """
    commands: list[Command] = []
    steps = Steps()
    try:
        reader = DeckReader(deck)
        while True:
            try:
                word = reader.command()
            except DeckEnd:
                return commands
            if word.text == "exit":
                return commands
            try:
                command = _command(reader, word.text, steps)
            except DeckEnd:
                raise DeckFault(f"the deck ends inside {word.text}; a }} is missing", word.place) from None
            except ValueError as error:
                raise DeckFault(str(error), word.place) from None
            if isinstance(command, Steps):
                steps = command
            if command is not None:
                commands.append(command)
    except DeckFault as fault:
        raise ValueError(f"{fault.place}: {fault.text}") from None


def _command(reader: DeckReader, word: str, steps: Steps) -> Command | None:
    if word not in COMMANDS:
        raise DeckFault(f"unknown command {word!r}; there are {', '.join(COMMANDS)}", reader.place)
    if word == "lattice":
        return read_lattice(reader)
    if word == "particles":
        return _particles(reader)
    if word == "track_accuracy":
        reader.expect("{", "to open track_accuracy")
        return reader.skip_block()
    block = _BLOCKS[word]
    values = read_block(reader, word, block.KEYS, _fault, _nothing)
    if word == "track_step":
        return _changed(steps, reader, values)
    if word == "io_path":
        return _folders(reader, values)
    if word == "online_monitor" and "name" not in values:
        return None
    if word == "monitor" and "name" not in values:
        raise ValueError("monitor needs name")
    return _with_paths(block.from_values(values), reader)


def _with_paths(block: Block, reader: DeckReader) -> Block:
    files = {name: reader.path_of(str(getattr(block, name))) for name in block.FILES if getattr(block, name) is not None}
    return replace(block, **files) if files else block


def _changed(steps: Steps, reader: DeckReader, values: dict[str, Value]) -> Steps:
    """A block changes what it names; the shortest and the first step follow a largest one that undercuts them."""
    named = Steps.from_values({"ct_step_max": values["ct_step_max"]}) if "ct_step_max" in values else None
    before = dict(vars(steps), time_grid_file=None)
    longest = named.ct_step_max if named else steps.ct_step_max
    if longest < steps.shortest:
        before["ct_step_min"] = longest / 2
    shortest = before["ct_step_min"] if "ct_step_min" not in values else values["ct_step_min"].number
    if steps.ct_step_first is not None:
        before["ct_step_first"] = min(max(steps.ct_step_first, shortest or 0.0), longest)
    given = {name: _plain(name, value) for name, value in values.items()}
    return _with_paths(Steps(**{**before, **given}), reader)


def _plain(name: str, value: Value) -> object:
    kind = Steps.KEYS[name].kind
    return value.text == "yes" if kind == "flag" else value.text if kind == "text" else \
        int(value.number) if kind == "integer" else value.number


def _folders(reader: DeckReader, values: dict[str, Value]) -> IoPath | None:
    block = IoPath.from_values(values)
    if block.input is not None:
        reader.input_folder = block.input
    return IoPath(output=block.output, logfile=block.logfile) if block.output or block.logfile else None


def _particles(reader: DeckReader) -> Particles:
    reader.expect("{", "to open particles")
    values: dict[str, Value] = {}
    while (key := reader.command()).text != "array":
        if key.text == "}":
            raise DeckFault("particles has no array, so there is no bunch", key.place)
        if key.text not in PARTICLES:
            raise DeckFault(f"particles has no key {key.text!r}; there are {', '.join(PARTICLES)}", key.place)
        reader.expect("=", f"behind {key.text}")
        values[key.text] = read_value(key.text, PARTICLES[key.text], reader.token(), _fault, _nothing)
    reader.expect("=", "behind array")
    given = {name: value.text if value.number is None else value.number for name, value in values.items()}
    return Particles(array=_array(reader), **given)


def _array(reader: DeckReader) -> Path | Words:
    first = reader.token()
    if first.text != "#file":
        reader.give_back([first.text])
        return Words(_lines(array_words(reader)[0]))
    for word in ("{", "name", "="):
        reader.expect(word, "in #file")
    name = reader.token()
    reader.expect("}", "at the end of #file")
    path = reader.path_of(name.text)
    if not path.is_file():
        raise DeckFault(f"{path} does not exist", name.place)
    reader.expect("}", "behind the file of array; an array of several pieces cannot be taken over")
    return path


def _lines(words: list[str]) -> str:
    return "\n".join(" ".join(words[k:k + 7]) for k in range(0, len(words), 7)) + "\n"


def _fault(place: Place, text: str) -> None:
    raise DeckFault(text, place)


def _nothing(place: Place, text: str) -> None:
    """Warnings are the business of a check."""
