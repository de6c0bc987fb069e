"""The blocks `track_step` and `tracker`."""
from __future__ import annotations

from dataclasses import replace
from math import isclose

from ..deck.blocks import Value, read_block
from ..deck.datafiles import read_time_grid
from ..deck.keys import TRACKER, TRACK_STEP
from ..deck.reader import DeckReader, Place, Token
from .forces import check_forces_on_beam, sub_bunch_length
from .lattice import check_way
from .monitors import accept_monitors, excuse_monitors, whole_outputs, write_monitors
from .particles import place_beam
from .state import CheckState, StoredForces, Way


def check_track_step(state: CheckState, reader: DeckReader, command: Token) -> None:
    """Reads a whole block. Bounds are tested against the values in force, and pull along those that are not given."""
    values = read_block(reader, "track_step", TRACK_STEP, state.error, state.warn)
    state.steps_place = command.place
    steps = state.steps

    def given(name: str) -> Value | None:
        value = values.get(name)
        return value if value is not None and value.number is not None else None

    if longest := given("ct_step_max"):
        steps["ct_step_max"] = longest.number
        if "ct_step_min" not in values and steps["ct_step_min"] > longest.number:
            steps["ct_step_min"] = longest.number / 2
        if "ct_step_first" not in values:
            steps["ct_step_first"] = min(steps["ct_step_first"], longest.number)
    if shortest := given("ct_step_min"):
        if shortest.number >= steps["ct_step_max"]:
            state.error(shortest.place, f"ct_step_min must be below ct_step_max, which is {steps['ct_step_max']:g} m here")
        steps["ct_step_min"] = shortest.number
        if "ct_step_first" not in values:
            steps["ct_step_first"] = max(steps["ct_step_first"], shortest.number)
    if first := given("ct_step_first"):
        if not steps["ct_step_min"] <= first.number <= steps["ct_step_max"]:
            state.error(first.place, f"ct_step_first must lie between ct_step_min and ct_step_max, here {steps['ct_step_min']:g} m and "
                        f"{steps['ct_step_max']:g} m")
        steps["ct_step_first"] = first.number
    if factor := given("arc_factor"):
        steps["arc_factor"] = factor.number
    state.time_grid = None
    if "time_grid_file" in values:
        _time_grid(state, reader, values["time_grid_file"])


def _time_grid(state: CheckState, reader: DeckReader, value: Value) -> None:
    path = reader.path_of(value.text)
    if not path.is_file():
        state.error(value.place, f"{path} does not exist; the program would create it empty and fail")
        return
    state.inputs.append(path)
    state.time_grid, faults = read_time_grid(path)
    for line, text in faults:
        state.error(Place(path.name, line), text)


def check_tracker(state: CheckState, reader: DeckReader, command: Token) -> None:
    """Reads a whole block and carries the state to its end time."""
    values = read_block(reader, "tracker", TRACKER, state.error, state.warn)
    state.trackers += 1
    state.need_beam(command.place, "track")
    if not state.boundaries and state.lattice_good:
        state.warn(command.place, "there is no lattice: the bunch flies straight on")
    if state.forces_place is None:
        state.warn(command.place, "there is no forces block ahead: the bunch has no force on itself; write forces { type = none } if that is meant")
    place_beam(state)
    check_way(state)
    check_forces_on_beam(state)
    _check_stored_forces(state, command)
    end = _end_time(state, command, values)
    if state.beam is not None:
        accept_monitors(state)
        if end is None:
            excuse_monitors(state)
        else:
            write_monitors(state, end)
            way = _way(state, command, end)
            _advance(state, end)
            state.ways.append(replace(way, path_end=state.beam.path))
            if state.force_type != "none":
                state.stored = StoredForces(state.beam.ct, command.place)


def _way(state: CheckState, command: Token, end: float) -> Way:
    beam, values = state.beam, state.forces
    sigma = sub_bunch_length(state) or 0.1 * beam.length or 1.0
    across = values["sigma_rad"].number if "sigma_rad" in values else None
    box = [values[name].number or 0.5 if name in values else 0.5 for name in ("sbox", "rbox")]
    return Way(command.place, state.force_type, beam.bunch, beam.length, (box[0] * sigma, box[1] * (across or sigma)), beam.ct, end, beam.path, beam.path,
               state.boundaries, dict(state.steps), *whole_outputs(state, end))


def _check_stored_forces(state: CheckState, command: Token) -> None:
    """A tracker that starts at the very time of stored forces takes them as its own."""
    stored = state.stored
    if stored is None or stored.older_than is None or state.beam is None or state.force_type == "none":
        return
    if isclose(stored.ct, state.beam.ct, rel_tol=1e-13, abs_tol=1e-13):
        state.warn(command.place, f"this tracker starts with the forces that the one at {stored.tracker} left at c*t = {stored.ct:.6g} m, before "
                   f"{stored.older_than.text} at {stored.older_than.place}; start at another time, or track by 1e-9 m with type = none ahead")


def _end_time(state: CheckState, command: Token, values: dict[str, Value]) -> float | None:
    """The end time [m], None if it cannot be told. A marker wins over delta_time_c0, that over end_time_c0."""
    names = [name for name in ("end_time_marker", "delta_time_c0", "end_time_c0") if name in values]
    if not names:
        state.error(command.place, "end time is undefined: give end_time_c0, delta_time_c0 or end_time_marker")
        return None
    if len(names) > 1:
        state.warn(values[names[1]].place, f"{names[1]} has no effect beside {names[0]}")
    shift = values.get("end_time_shift_c0")
    if shift is not None and names[0] != "end_time_marker":
        state.warn(shift.place, "end_time_shift_c0 has no effect without end_time_marker")
    value, beam = values[names[0]], state.beam
    if names[0] == "end_time_marker":
        if not state.has_marker(value.text):
            if state.lattice_good:
                state.error(value.place, state.no_marker(value.text))
            return None
        end = state.marker_time(value.text)
        if end is not None and shift is not None:
            end += shift.number or 0.0
    elif value.number is None or beam is None:
        return None
    else:
        end = value.number + (beam.ct if names[0] == "delta_time_c0" else 0.0)
    if end is not None and beam is not None and end <= beam.ct:
        state.error(value.place, f"the end time c*t = {end:.6g} m is not behind the bunch time of {beam.ct:.6g} m")
        return None
    return end


def _advance(state: CheckState, end: float) -> None:
    """The bunch at the end of a tracker: on a time grid at the last value that does not pass the end."""
    beam = state.beam
    if state.time_grid is not None:
        inside = [value for value in state.time_grid if beam.ct < value <= end]
        if not inside:
            state.warn(state.steps_place, "no value of the time grid lies in the tracking range; nothing will move")
            return
        end = inside[-1]
    beam.path += (end - beam.ct) * beam.beta
    beam.ct = end
    beam.tracked = True
