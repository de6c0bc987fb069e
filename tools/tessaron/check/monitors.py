"""The blocks `monitor` and `online_monitor`, and which monitors ever write."""
from __future__ import annotations

from ..deck.blocks import Value, read_block
from ..deck.keys import CAPACITY, MONITOR, MONITOR_FORMATS, ONLINE_MONITOR
from ..deck.reader import DeckReader, Place, Token
from .outputs import note_output
from .particles import place_beam
from .state import CheckState, OnlineMonitor, OutputFile


def check_monitor(state: CheckState, reader: DeckReader, command: Token) -> None:
    """A `monitor` block, which writes at once."""
    values = read_block(reader, "monitor", MONITOR, state.error, state.warn)
    state.need_beam(command.place, "write")
    place_beam(state)
    if "name" not in values:
        state.error(command.place, "monitor needs name")
        return
    note_output(state, values["name"].text, command.place)
    state.particles_written += len(state.beam.bunch) if state.beam else 0
    state.outputs.append(OutputFile(values["name"].text, "bunch", values["format"].text if "format" in values else "fmt1"))
    if "format" in values and values["format"].text == "fmt3" and not state.boundaries and state.lattice_good:
        state.warn(values["format"].place, "fmt3 needs a lattice")


def check_online_monitor(state: CheckState, reader: DeckReader, command: Token) -> None:
    """An `online_monitor` block; it waits for the next tracker."""
    values = read_block(reader, "online_monitor", ONLINE_MONITOR, state.error, state.warn)
    if "name" not in values:
        state.warn(command.place, "an online_monitor without name is ignored")
        return
    name = values["name"].text
    for which in ("start", "end"):
        if f"{which}_time_c0" not in values and f"{which}_time_marker" not in values:
            state.error(command.place, f"online_monitor {name} needs {which}_time_c0 or {which}_time_marker")
        if f"{which}_time_c0" in values:
            for other in (f"{which}_time_marker", f"{which}_time_shift_c0"):
                if other in values:
                    state.warn(values[other].place, f"{other} has no effect beside {which}_time_c0")
    _suspicions(state, command.place, values)
    same = [monitor for monitor in state.monitors if monitor.name == name]
    if same:
        state.warn(command.place, f"online_monitor {name} stands a second time; it replaces the one at {same[0].place} and overwrites its file")
        state.monitors.remove(same[0])
    if len(state.monitors) >= CAPACITY["maxmon"]:
        state.error(command.place, f"more than {CAPACITY['maxmon']} online monitors at a time")
        return
    state.monitors.append(OnlineMonitor(name, command.place, values))
    kind = values["type"].text if "type" in values else "phase"
    whole = "particle" not in values or values["particle"].text == "all"
    fmt = values["format"].text if "format" in values else "fmt1"
    content = ("bunch" if whole else "particle") if kind == "phase" else kind
    series = content in ("bunch", "green")
    if not same:
        note_output(state, name, command.place, stays_open=not series, series=series)
    state.outputs.append(OutputFile(name, content, f"fmt{fmt}" if fmt.isdigit() else fmt, series))


def _suspicions(state: CheckState, place: Place, values: dict[str, Value]) -> None:
    kind = values["type"].text if "type" in values else "phase"
    fmt = values.get("format")
    if "time_step_c0" not in values:
        state.warn(place, "online_monitor without time_step_c0 will not become active; give a step or all")
    if fmt is not None and fmt.number is not None and not 0 <= fmt.number < len(MONITOR_FORMATS):
        state.warn(fmt.place, f"format {fmt.text} is no format; the files stay empty")
    if kind == "green":
        if state.force_type not in ("csr_p_to_m", "csr_g_to_p", "csr_g_to_m"):
            state.warn(place, f"a green monitor gets its content from the Green's function models; the forces are {state.force_type} here")
        if fmt is not None and fmt.text not in ("fmt1", "1"):
            state.warn(fmt.place, "a green monitor gets its content with fmt1 only")
    if kind in ("steps", "subbunch"):
        for name in ("format", "particle"):
            if name in values:
                state.warn(values[name].place, f"{name} has no effect with type {kind}")
    if kind == "phase" and "particle" not in values and values.get("time_step_c0") and values["time_step_c0"].text == "all":
        state.warn(values["time_step_c0"].place, "the whole bunch is written at every step, a file each time")


def accept_monitors(state: CheckState) -> None:
    """At a tracker: times from markers, and rejection of what lacks a time or its particle."""
    beam, kept = state.beam, []
    for monitor in state.monitors:
        if not monitor.accepted:
            monitor.start = _time(state, monitor, "start")
            monitor.end = _time(state, monitor, "end")
            particle = monitor.values.get("particle")
            if particle is not None and particle.number and particle.number > len(beam.bunch) and _kind(monitor) == "phase":
                state.warn(particle.place, f"online_monitor {monitor.name} asks for particle {particle.text} of {len(beam.bunch)}; "
                           "it will not become active")
                continue
            if monitor.start is None or monitor.end is None or "time_step_c0" not in monitor.values:
                continue
            monitor.accepted = True
            if monitor.end < monitor.start:
                state.warn(monitor.place, f"online_monitor {monitor.name} can never write: it ends at c*t = {monitor.end:.6g} m, "
                           f"before it starts at {monitor.start:.6g} m")
                monitor.outputs = True
            elif monitor.end < beam.ct:
                state.warn(monitor.place, f"online_monitor {monitor.name} can never write: it ends at c*t = {monitor.end:.6g} m, and the "
                           f"bunch is already at {beam.ct:.6g} m")
                monitor.outputs = True
        kept.append(monitor)
    state.monitors = kept


def write_monitors(state: CheckState, end: float) -> None:
    """During a tracker to `end`, c*t [m]: notes which monitors have an output."""
    for monitor in state.monitors:
        if monitor.accepted and monitor.start <= end:
            monitor.outputs = True


def whole_outputs(state: CheckState, end: float) -> tuple[float, int]:
    """During a tracker to `end`: how often monitors write the whole bunch at times of their own, and how many do at every step."""
    times, every = 0.0, 0
    for monitor in state.monitors:
        particle, step = monitor.values.get("particle"), monitor.values.get("time_step_c0")
        first, last = (max(monitor.start, state.beam.ct), min(monitor.end, end)) if monitor.accepted else (end, state.beam.ct)
        if _kind(monitor) != "phase" or particle is not None and particle.text != "all" or last < first:
            continue
        every += not step.number
        times += (last - first) / step.number if step.number else 0.0
    return times, every


def excuse_monitors(state: CheckState) -> None:
    """A tracker whose end cannot be told: whether its monitors write cannot be told either."""
    for monitor in state.monitors:
        monitor.outputs = True


def end_of_deck(state: CheckState) -> None:
    """What the monitors that are left never did."""
    for monitor in state.monitors if state.beam is not None else []:
        if not monitor.accepted:
            state.warn(monitor.place, f"online_monitor {monitor.name} can never write: no tracker follows it")
        elif not monitor.outputs:
            state.warn(monitor.place, f"online_monitor {monitor.name} can never write: it starts at c*t = {monitor.start:.6g} m, and the "
                       f"run ends at {state.beam.ct:.6g} m")


def _kind(monitor: OnlineMonitor) -> str:
    return monitor.values["type"].text if "type" in monitor.values else "phase"


def _time(state: CheckState, monitor: OnlineMonitor, which: str) -> float | None:
    value = monitor.values.get(f"{which}_time_c0")
    if value is not None:
        return state.beam.ct if value.text == "now" else value.number
    marker = monitor.values.get(f"{which}_time_marker")
    if marker is None:
        return None
    if which == "start" and marker.text == "now" and not state.has_marker("now"):
        return state.beam.ct
    time = state.marker_time(marker.text)
    if time is None:
        if state.lattice_good:
            state.warn(marker.place, f"{state.no_marker(marker.text)}; online_monitor {monitor.name} will not become active")
        return None
    shift = monitor.values.get(f"{which}_time_shift_c0")
    return time + (shift.number or 0.0 if shift is not None else 0.0)
