"""Reads a deck without running it and tells what would fail and what looks wrong, each with file and line.

The walk is the program's own: one command after the other, each changing the settings at hand. Where the program would
stop at the first failure, the check reports it and goes on as well as it can.
"""
from __future__ import annotations

from pathlib import Path

from ..deck.blocks import meant, read_block, suggestion
from ..deck.keys import COMMANDS, IO_PATH
from ..deck.reader import DeckEnd, DeckFault, DeckReader, Place, Token
from .braces import brace_fault
from .forces import check_forces
from .lattice import check_lattice
from .monitors import check_monitor, check_online_monitor, end_of_deck
from .outputs import note_output
from .particles import check_particles
from .state import CheckState, Finding
from .tracking import check_track_step, check_tracker


def check_deck(deck: Path) -> list[Finding]:
    """All findings, in the order of the deck. File names in it are taken from the deck's folder, as in a run there."""
    return walk_deck(deck).findings


def walk_deck(deck: Path) -> CheckState:
    """The state at the deck's end, with all findings; of a deck with a brace missing those ahead of it, and that."""
    state = _walked(deck, None)
    if any(finding.severity == "error" for finding in state.findings) and state.reader is not None:
        fault = brace_fault(deck.name, state.reader.own_lines)
        if fault is not None:
            state = _walked(deck, fault.command)
            state.error(fault.place, f"{fault.text}; nothing behind it is checked")
    return state


def _walked(deck: Path, until: Place | None) -> CheckState:
    """The same as far as a place, as if all braces were right."""
    state = CheckState(deck.parent)
    if not deck.is_file():
        state.error(Place(str(deck), 0), "there is no such deck; the program would create it empty and end")
        return state
    try:
        reader = state.reader = DeckReader(deck, state.warn, state.error)
    except DeckFault as fault:
        state.error(fault.place, fault.text)
        return state
    _walk(state, reader, until)
    if until is None:
        end_of_deck(state)
    if until is None and not state.trackers and not any(finding.severity == "error" for finding in state.findings):
        state.warn(Place(deck.name, 1), "the deck holds no tracker, so nothing moves")
    state.findings = list(dict.fromkeys(state.findings))
    return state


def _walk(state: CheckState, reader: DeckReader, until: Place | None) -> None:
    pending: Token | None = None
    while True:
        try:
            command = pending or reader.command()
            pending = None
            if until is not None and command.place.file == until.file and command.place.line >= until.line:
                return
            command = _spelled(state, command)
            if command.text == "exit":
                _behind_exit(state, reader)
                return
            pending = _carry_out(state, reader, command)
        except DeckEnd:
            return
        except DeckFault as fault:
            state.error(fault.place, fault.text)
            try:
                pending = _next_command(reader)
            except (DeckEnd, DeckFault):
                return


def _spelled(state: CheckState, command: Token) -> Token:
    """A command; a slip of the pen is told, and counts as the command that it meant."""
    if command.text in COMMANDS:
        return command
    state.error(command.place, f"unknown command {command.text!r}{suggestion(command.text, COMMANDS)}")
    return Token(meant(command.text, COMMANDS) or command.text, command.place)


def _carry_out(state: CheckState, reader: DeckReader, command: Token) -> Token | None:
    """One command with its block; the next command, where that has been read already."""
    blocks = {"lattice": check_lattice, "particles": check_particles, "forces": check_forces, "track_step": check_track_step,
              "tracker": check_tracker, "monitor": check_monitor, "online_monitor": check_online_monitor, "io_path": _io_path,
              "track_accuracy": _track_accuracy}
    if command.text not in blocks:
        return _behind_unknown(state, reader, command)
    if state.stored is not None and command.text in ("particles", "lattice", "forces"):
        state.stored.older_than = command
    try:
        blocks[command.text](state, reader, command)
    except DeckEnd:
        raise DeckFault(f"the deck ends inside {command.text}; a }} is missing", command.place) from None
    return None


def _behind_unknown(state: CheckState, reader: DeckReader, command: Token) -> Token | None:
    """Passes over the block of an unknown command, which may have been any of those that are missing."""
    state.lattice_good &= bool(state.boundaries)
    state.beam_failed |= state.beam is None
    state.forces_place = state.forces_place or command.place
    token = reader.command()
    if token.text == "{":
        reader.skip_block()
        return None
    return token if token.text in COMMANDS and reader.at_line_start else _next_command(reader)


def _io_path(state: CheckState, reader: DeckReader, command: Token) -> None:
    values = read_block(reader, "io_path", IO_PATH, state.error, state.warn)
    if "input" in values:
        reader.input_folder = values["input"].text
        if not reader.path_of(".").is_dir():
            state.error(values["input"].place, f"the folder {reader.path_of('.')} does not exist")
    if "output" in values:
        state.output_folder = values["output"].text
        if not state.output_path(".").is_dir():
            state.warn(values["output"].place, f"the folder {state.output_path('.')} does not exist; make it before the run")
    if "logfile" in values:
        path = state.output_path(values["logfile"].text)
        if path.is_dir() or not path.parent.is_dir():
            state.error(values["logfile"].place, f"the log {path} cannot be written")
        elif state.logfile != values["logfile"].text:
            note_output(state, values["logfile"].text, values["logfile"].place, stays_open=True)
        state.logfile = values["logfile"].text


def _track_accuracy(state: CheckState, reader: DeckReader, command: Token) -> None:
    reader.expect("{", "to open track_accuracy")
    reader.skip_block()
    state.warn(command.place, "track_accuracy is read over and changes nothing; track_step holds the accuracy settings")


def _behind_exit(state: CheckState, reader: DeckReader) -> None:
    try:
        token = reader.token()
    except (DeckEnd, DeckFault):
        return
    if token.text != "#eof":
        state.warn(token.place, "what stands behind exit is never read")


def _next_command(reader: DeckReader) -> Token:
    """After a fault: the next word at the start of a line that is a command."""
    while True:
        token = reader.command()
        if token.text in COMMANDS and reader.at_line_start:
            return token
