"""The `particles` block: reading its array, and what is suspicious about the bunch."""
from __future__ import annotations

import re
from math import cos, degrees, radians, sin

import numpy as np

from ..beam.bunch import Bunch
from ..constants import REST_ENERGY
from ..deck.blocks import Value, meant, read_value, suggestion
from ..deck.keys import CAPACITY, PARTICLES
from ..deck.reader import REAL, DeckFault, DeckReader, Place, Token, integer_of, real_of
from ..files.bunchfiles import bunch_of_table, numbers_of
from ..lattice.geometry import orbit_position
from ..words import counted
from .state import Beam, CheckState

_REALS = re.compile(rf"(?:{REAL}(?: {REAL})*)?")
FAR_FROM_ORBIT = 1e-3  # m
ASKEW = 1e-3  # rad


def check_particles(state: CheckState, reader: DeckReader, command: Token) -> None:
    """Reads a whole block; the state gets its beam, or none if it cannot be read."""
    lost = [monitor for monitor in state.monitors if not monitor.accepted]
    for monitor in lost:
        state.warn(monitor.place, f"online_monitor {monitor.name} stands before the particles block at {command.place}, which "
                   "stops all monitors; put it behind")
    state.monitors = []
    state.beam, state.beam_failed = None, True
    reader.expect("{", "to open particles")
    values: dict[str, Value] = {}
    while (key := reader.command()).text != "}":
        if key.text not in PARTICLES:
            fault = DeckFault(f"particles has no key {key.text!r}{suggestion(key.text, PARTICLES)}", key.place)
            if (near := meant(key.text, PARTICLES)) is None:
                raise fault
            state.error(fault.place, fault.text)
            key = Token(near, key.place)
        reader.expect("=", f"behind {key.text}")
        if key.text == "array":
            _array(state, reader, key, values)
            return
        values[key.text] = read_value(key.text, PARTICLES[key.text], reader.token(), state.error, state.warn)
    state.error(command.place, "particles has no array, so there is no bunch")


def _array(state: CheckState, reader: DeckReader, key: Token, values: dict[str, Value]) -> None:
    fmt = values["format"].text if "format" in values and values["format"].good else "fmt1"
    width = 10 if fmt == "umbra" else 7
    words, first, bad = array_words(reader)
    header = [] if fmt == "umbra" else words[:7]
    records = words[len(header):]
    if not records:
        state.error(key.place, f"the {fmt} array holds no particle" + (" behind its header" if header else ""))
        return
    count = len(records) // width
    if len(records) % width:
        state.error(first, f"the {fmt} array holds {counted(len(words), 'number')}, which cannot be whole records of {width}"
                    + (" behind a header of 7" if header else ""))
        return
    if count > CAPACITY["maxprt"]:
        state.error(first, f"{count} particles are more than the {CAPACITY['maxprt']} that the program holds")
        return
    if header and real_of(header[0]) is None:
        state.error(first, f"the header's first word {header[0]!r} must be the bunch time c*t in metres")
        return
    for place, number, word in bad:
        if number >= len(header) or number == 0:
            state.error(place, f"{word!r} in the particle array is no number")
            return
    table = np.array([real_of(word) for word in records], dtype=float).reshape(-1, width) if bad else \
        numbers_of(records).reshape(-1, width)
    if fmt == "umbra" and any(integer_of(word) is None for column in (8, 9) for word in records[column::width]):
        state.error(first, "the ninth and tenth number of an umbra record must be integers")
        return
    _enter_beam(state, key.place, fmt, bunch_of_table(real_of(header[0]) if header else 0.0, table, fmt), table, values)


def array_words(reader: DeckReader) -> tuple[list[str], Place, list[tuple[Place, int, str]]]:
    """All words up to the closing brace, where they begin, and those that are no numbers with their place and number.

    Whole lines are taken at once, and whole files where they hold nothing but numbers: an array may hold millions of words.
    """
    words: list[str] = []
    bad: list[tuple[Place, int, str]] = []
    start: Place | None = None
    while True:
        token = reader.command()
        start = start or token.place
        if token.text == "}":
            return words, start, bad
        line = [token.text, *reader.rest_of_line()]
        end = line.index("}") if "}" in line else len(line)
        if len(bad) < 100 and not _REALS.fullmatch(" ".join(line[:end])):
            bad += [(token.place, len(words) + k, word) for k, word in enumerate(line[:end]) if real_of(word) is None]
        words += line[:end]
        if end < len(line):
            reader.give_back(line[end + 1:])
            return words, start, bad
        if token.place == start:
            words += reader.plain_rest() or []


def _enter_beam(state: CheckState, place: Place, fmt: str, bunch: Bunch, table: np.ndarray, values: dict[str, Value]) -> None:
    if np.any(bunch.momentum <= 0):
        state.error(place, f"particle {int(np.argmin(bunch.momentum)) + 1} has no momentum")
        return
    source = bunch.charge != 0
    if fmt == "umbra":
        source &= np.isin(table[:, 9], (3, 5))
    signs = np.sign(bunch.charge[source])
    if signs.size and signs.min() != signs.max():
        state.warn(place, "the bunch holds charges of both signs")
    length = _rms_length(bunch, source)
    p = float(bunch.momentum[0])
    mode = values.get("reference_momentum")
    reference = p if mode is None else mode.number
    if mode is not None and mode.text == "average":
        reference = float(bunch.momentum.mean())
    if reference is not None and not 0.9 < reference / p < 1.1:
        state.warn(mode.place if mode else place, f"the reference momentum of {reference:.4g} eV/c is far from the {p:.4g} eV/c of particle 1")
    if reference is not None and reference <= 0:
        state.error(mode.place, "the reference momentum must be above 0")
    mean = float(bunch.weight @ bunch.momentum)
    if abs(mean / p - 1) > 0.1:
        state.warn(place, f"the mean momentum {mean:.4g} eV/c is far from the {p:.4g} eV/c of particle 1")
    state.beam = Beam(bunch, place, length, int(source.sum()), reference, bunch.ct, p / float(np.hypot(p, REST_ENERGY)))
    state.particles_read += len(bunch)
    _lab_frame(state, values)


def _rms_length(bunch: Bunch, source: np.ndarray) -> float:
    """As the program measures it: along the direction of particle 1, over the sources, weighted with the charge [m]."""
    if not source.any():
        return 0.0
    forward = bunch.reference[3:5] / (np.hypot(*bunch.reference[3:5]) or 1.0)
    place = forward @ bunch.offsets[:2, source]
    weight = np.abs(bunch.charge[source])
    mean = np.average(place, weights=weight)
    return float(np.sqrt(np.average((place - mean) ** 2, weights=weight)))


def _lab_frame(state: CheckState, values: dict[str, Value]) -> None:
    """Where the file's frame puts particle 1 in the lab, for the comparison with the orbit."""
    x0, y0, phi = (values[name].number or 0.0 if name in values else 0.0
                   for name in ("reference_point_x", "reference_point_y", "reference_point_phi"))
    c, s = cos(radians(phi)), sin(radians(phi))
    x, y, _, px, py, _ = state.beam.bunch.reference
    state.beam.lab = ((x - x0) * c + (y - y0) * s, (y - y0) * c - (x - x0) * s, px * c + py * s, py * c - px * s)


def place_beam(state: CheckState) -> None:
    """Finds particle 1 on the design orbit; called ahead of a tracker or a monitor, when bunch and lattice are known."""
    beam = state.beam
    if beam is None or beam.tracked or not state.boundaries or not state.lattice_good:
        return
    x, y, px, py = beam.lab
    beam.path, distance, direction = orbit_position(state.boundaries, x, y)
    if beam.orbit_checked:
        return
    beam.orbit_checked = True
    if distance > FAR_FROM_ORBIT:
        state.warn(beam.place, f"particle 1 starts {distance * 1e3:.4g} mm beside the design orbit")
    angle = np.arctan2(py * np.cos(direction) - px * np.sin(direction), px * np.cos(direction) + py * np.sin(direction))
    if abs(angle) > ASKEW:
        state.warn(beam.place, f"particle 1 starts at {degrees(angle):.4g} degrees to the design orbit")
