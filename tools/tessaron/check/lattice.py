"""The `lattice` block: reading it, building its orbit, and what is suspicious about it."""
from __future__ import annotations

from math import atan2, degrees, pi

from ..files.blocks import Value, read_block
from .state import CheckState
from ..files.deck import DeckReader, Token, real_of
from ..lattice.geometry import add_boundary
from ..files.keys import CAPACITY, ELEMENTS, POSITION, PROPERTIES
from ..files.outputs import Boundary


def check_lattice(state: CheckState, reader: DeckReader, command: Token) -> None:
    """Reads a whole block; the state gets its boundaries."""
    state.boundaries, state.lattice_place, state.lattice_good = [], command.place, True
    pools = {"ilalen": 0, "rlalen": 0}
    reader.expect("{", "to open lattice")
    while True:
        token = reader.command()
        if token.text == "}":
            break
        if token.text not in ELEMENTS:
            state.error(token.place, f"lattice has no element {token.text!r}; there are {', '.join(ELEMENTS)}")
            state.lattice_good = False
            follow = reader.token()
            if follow.text == "{":
                reader.skip_block()
                continue
            if follow.text == "}":
                break
            continue
        _element(state, reader, token, pools)
    _suspicions(state, command)


def _element(state: CheckState, reader: DeckReader, kind: Token, pools: dict[str, int]) -> None:
    """One element block: `position` and `properties` in their order."""
    reader.expect("{", f"to open {kind.text}")
    bends = kind.text in ("dipole", "quadrupole", "multipole")
    order = ["position", "properties", "position"] if bends else ["position", "properties"]
    done: list[str] = []
    properties: dict[str, Value] = {}
    while True:
        token = reader.command()
        if token.text == "}":
            if not bends and len(done) < 2:
                state.error(token.place, f"{kind.text} needs position and properties")
            elif done == ["position", "properties"] and bends:
                state.warn(token.place, f"properties of this {kind.text} have no effect without a second position")
            return
        if kind.text == "discrete_free" and token.text in ("integer_array", "real_array") and len(done) == 2:
            _array(state, reader, token, properties)
            continue
        if len(done) >= len(order) or token.text != order[len(done)]:
            state.error(token.place, f"{kind.text}: {token.text!r} does not belong here; the order is {', '.join(order)}")
            state.lattice_good = False
            if token.text in ("position", "properties", "integer_array", "real_array"):
                reader.expect("{", f"to open {token.text}")
                reader.skip_block()
            continue
        done.append(token.text)
        if token.text == "properties":
            properties = read_block(reader, f"properties of {kind.text}", PROPERTIES[kind.text], state.error, state.warn)
            _properties(state, token, kind.text, properties)
        else:
            radius = properties.get("r") if len(done) == 3 else None
            _position(state, reader, token, kind.text, radius.number or 0.0 if radius else 0.0)
            if kind.text in ("quadrupole", "multipole") and len(done) == 3 and _order(kind.text, properties) != 1:
                _grow(state, token, pools, 1, 4)
                _set_element(state, (1, 1))
        if token.text == "properties" and kind.text == "thin_quadrupole":
            _grow(state, token, pools, 0, 32)
            _set_element(state, (0, 1))
        if token.text == "properties" and kind.text == "discrete_free":
            _grow(state, token, pools, *(int(properties[name].number or 0) if name in properties else 0 for name in ("integer", "real")))


def _set_element(state: CheckState, element: tuple[int, int]) -> None:
    """Class and subtype of the element at the last boundary, as in latout.dat."""
    if state.boundaries:
        state.boundaries[-1].element = element


def _position(state: CheckState, reader: DeckReader, token: Token, kind: str, r: float) -> None:
    values = read_block(reader, "position", POSITION, state.error, state.warn)
    numbers = {name: values[name].number for name in ("rho", "psi", "delta_s", "delta_psi")
               if name in values and values[name].number is not None}
    marker = values["marker"].text if "marker" in values else ""
    duty = values["duty"].text == "yes" if "duty" in values else kind in ("dipole", "quadrupole", "multipole")
    if "rho" in numbers and "delta_s" in numbers and not (r and "psi" in numbers):
        state.warn(token.place, "rho and delta_s are both given; delta_s counts, rho does not")
    if marker and state.has_marker(marker):
        state.warn(token.place, f"marker {marker} stands a second time; only the first one is ever found")
    if marker == "now":
        state.warn(token.place, "a marker named now is found in place of the monitors' start at the bunch time")
    before = state.boundaries[-1] if state.boundaries else None
    try:
        boundary = add_boundary(state.boundaries, numbers, r, marker, duty)
    except ValueError as fault:
        state.error(token.place, str(fault))
        state.lattice_good = False
        return
    if before is not None and boundary.s <= before.s:
        where = f"{before.s - boundary.s:.6g} m before" if boundary.s < before.s else "on"
        state.error(token.place, f"this boundary lies {where} the one ahead of it; sections need a length above 0")
        state.lattice_good = False
    if before is not None and r and (turn := abs(boundary.s - before.s) / abs(r)) >= 2 * pi * (1 - 1e-12):
        state.error(token.place, f"this arc turns by {degrees(turn):.6g} degrees; one dipole bends by less than 360")
        state.lattice_good = False
    if abs(boundary.nx * boundary.tx + boundary.ny * boundary.ty) < 0.2:
        state.warn(token.place, "the boundary line runs nearly along the orbit")


def _order(kind: str, properties: dict[str, Value]) -> int:
    if kind == "quadrupole":
        return 2
    poles = properties.get("poles")
    return int(poles.number or 2) // 2 if poles else 1


def _properties(state: CheckState, token: Token, kind: str, values: dict[str, Value]) -> None:
    needed = {"multipole": ("poles",), "thin_quadrupole": ("effective_length", "quadrupole_k"),
              "discrete_free": ("type", "integer", "real")}.get(kind, ())
    for name in needed:
        if name not in values:
            state.error(token.place, f"properties of {kind} need {name}")
    poles = values.get("poles")
    if poles is not None and poles.number is not None:
        if poles.number < 2 or poles.number % 2:
            state.error(poles.place, "poles must be an even number of at least 2")
        elif poles.number == 2:
            state.warn(poles.place, "a multipole of 2 poles is a straight section without field, whatever its strength")
    if kind == "dipole" and not values:
        state.warn(token.place, "a dipole without r is a straight section")
    if kind == "discrete_free" and "type" in values and values["type"].number not in (None, 1):
        state.warn(values["type"].place, "only type 1 acts on particles; this element is stored and does nothing")


def _array(state: CheckState, reader: DeckReader, token: Token, properties: dict[str, Value]) -> None:
    """`integer_array` or `real_array`: at most as many numbers as `properties` say."""
    name = "integer" if token.text == "integer_array" else "real"
    capacity = int(properties[name].number or 0) if name in properties else 0
    reader.expect("{", f"to open {token.text}")
    count = 0
    while (item := reader.token()).text != "}":
        count += 1
        if count > capacity:
            state.error(item.place, f"{token.text} holds more than the {capacity} values that properties announce")
            reader.skip_block()
            return
        if real_of(item.text) is None:
            state.error(item.place, f"{item.text!r} in {token.text} is no number")


def _grow(state: CheckState, token: Token, pools: dict[str, int], integers: int, reals: int) -> None:
    for name, count in (("ilalen", integers), ("rlalen", reals)):
        pools[name] += count
        if pools[name] > CAPACITY[name] and pools[name] - count <= CAPACITY[name]:
            state.error(token.place, f"the private data of all elements exceed the {CAPACITY[name]} places of {name}")


def _suspicions(state: CheckState, command: Token) -> None:
    """A lattice of bends that comes nearly, but not quite, back to its axis or direction."""
    bends = [(first, b) for first, b in zip(state.boundaries, state.boundaries[1:]) if b.r]
    if not state.lattice_good or len(bends) < 2 or len({b.r > 0 for _, b in bends}) < 2:
        return
    last = state.boundaries[-1]
    total = sum(abs((b.s - first.s) / b.r) for first, b in bends)
    angle = atan2(last.ty, last.tx)
    if 1e-9 * total < abs(angle) < 0.1 * total:
        state.warn(command.place, f"the lattice does not close: the bends of both signs nearly cancel, but the orbit leaves at "
                   f"{degrees(angle):.4g} degrees")
        return
    widest = max(abs(b.y) for b in state.boundaries)
    if abs(angle) <= 1e-9 * total and 1e-9 * widest < abs(last.y) < 0.3 * widest:
        state.warn(command.place, f"the lattice does not close: the orbit leaves along its first line, but {last.y * 1e3:.4g} mm beside it")


def smallest_radius(boundaries: list[Boundary]) -> float | None:
    """The smallest bending radius [m], None without bends."""
    radii = [abs(b.r) for b in boundaries[1:] if b.r]
    return min(radii) if radii else None
