"""The `lattice` block: reading it, building its orbit, and what is suspicious about it."""
from __future__ import annotations

from math import asin, atan2, cos, degrees, pi, radians, sin

from ..deck.blocks import Value, meant, read_block, suggestion
from ..deck.keys import CAPACITY, ELEMENTS, POSITION, PROPERTIES, SUB_BLOCKS
from ..deck.reader import DeckReader, Token, real_of
from ..lattice.geometry import Boundary, add_boundary
from .state import CheckState


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
            state.error(token.place, f"lattice has no element {token.text!r}{suggestion(token.text, ELEMENTS)}")
            if near := meant(token.text, ELEMENTS):
                _element(state, reader, Token(near, token.place), pools)
                continue
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
    misplaced = False
    while True:
        token = reader.command()
        if not misplaced and token.text not in SUB_BLOCKS and (near := meant(token.text, SUB_BLOCKS)):
            state.error(token.place, f"{kind.text} has no {token.text!r}; did you mean {near}?")
            token = Token(near, token.place)
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
            if not misplaced:
                state.error(token.place, f"{kind.text}: {token.text!r} does not belong here; the order is {', '.join(order)}")
            state.lattice_good, misplaced = False, True
            if token.text in SUB_BLOCKS:
                reader.expect("{", f"to open {token.text}")
            if token.text in (*SUB_BLOCKS, "{"):
                reader.skip_block()
            continue
        misplaced = False
        done.append(token.text)
        if token.text == "properties":
            blamed = len(state.findings)
            properties = read_block(reader, f"properties of {kind.text}", PROPERTIES[kind.text], state.error, state.warn)
            if len(state.findings) == blamed:
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
        why = f"delta_s = {numbers['delta_s']:g}: " if numbers.get("delta_s", 1.0) <= 0 else ""
        state.error(token.place, f"{why}this boundary lies {where} the one ahead of it; sections need a length above 0")
        state.lattice_good = False
    if before is not None and r and (turn := abs(boundary.s - before.s) / abs(r)) >= 2 * pi * (1 - 1e-12):
        state.error(token.place, f"this arc turns by {degrees(turn):.6g} degrees; one dipole bends by less than 360{_as_angle(numbers, r)}")
        state.lattice_good = False
    elif before is not None and r and turn > pi * (1 + 1e-9) and "rho" not in numbers:
        state.warn(token.place, f"this arc turns by {degrees(turn):.4g} degrees{_as_angle(numbers, r)}")
    if before is None and numbers.get("delta_s", 0.0) < 0:
        state.warn(token.place, f"delta_s = {boundary.s:g} is below 0: the first boundary lies upstream of the origin")
    if abs(boundary.nx * boundary.tx + boundary.ny * boundary.ty) < 0.2:
        state.warn(token.place, "the boundary line runs nearly along the orbit")


def _as_angle(numbers: dict[str, float], r: float) -> str:
    """What to write where an angle was given as the length of an arc."""
    if "delta_s" not in numbers:
        return ""
    angle = numbers["delta_s"]
    return f"; delta_s is a length in metres, {angle:g} degrees of this radius are {abs(r) * radians(angle):.6g} m"


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
    """A lattice that turns round more than once, or of bends that come nearly, but not quite, back to their axis or direction."""
    turned = 0.0
    if not state.lattice_good:
        return
    for first, b in zip(state.boundaries, state.boundaries[1:]):
        turn = (b.s - first.s) / b.r if b.r else 0.0
        turned += turn
        if abs(turned) > 2 * pi * (1 + 1e-9) and abs(turn) <= pi * (1 + 1e-9):
            state.warn(command.place, f"the lattice turns by {degrees(abs(turned)):.4g} degrees in one sense by s = {b.s:.6g} m, further than a full circle")
            return
    bends = [(first, b) for first, b in zip(state.boundaries, state.boundaries[1:]) if b.r]
    if len(bends) < 2 or len({b.r > 0 for _, b in bends}) < 2:
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


def check_way(state: CheckState) -> None:
    """Called ahead of a tracker: whether particle 1, with its own momentum, meets all boundaries ahead of it.

    Drifts and dipoles are followed, up to the first other element.
    """
    beam, boundaries = state.beam, state.boundaries
    if beam is None or beam.tracked or not boundaries or not state.lattice_good or not beam.reference_momentum:
        return
    x, y, px, py = beam.lab
    scale, angle = float(beam.bunch.momentum[0]) / beam.reference_momentum, atan2(py, px)
    for b in (boundary for boundary in boundaries if boundary.s > beam.path):
        if b.element != (1, 0):
            return
        normal = atan2(b.ny, b.nx)
        if b.r == 0:
            approach = cos(normal - angle)
            if abs(approach) < 1e-6:
                _unmet(state, b, "flies along it")
                return
            way = ((b.x - x) * b.nx + (b.y - y) * b.ny) / approach
            x, y = x + way * cos(angle), y + way * sin(angle)
            continue
        r = b.r * scale
        x, y = x + r * sin(angle), y - r * cos(angle)  # the centre of its circle, on which it is at -r sin, r cos of its angle
        sine = ((b.x - x) * b.nx + (b.y - y) * b.ny) / r  # of normal less angle, where the circle meets the line
        if abs(sine) > 1 + 1e-9:
            _unmet(state, b, f"has a radius of {abs(r):.6g} m here, by its own momentum and the reference momentum")
            return
        turn = asin(max(-1.0, min(1.0, sine)))
        angle = normal - (turn if b.nx * b.tx + b.ny * b.ty > 0 else pi - turn)
        x, y = x - r * sin(angle), y + r * cos(angle)


def _unmet(state: CheckState, boundary: Boundary, why: str) -> None:
    name = f"{boundary.marker} " if boundary.marker else ""
    state.error(state.beam.place, f"particle 1 never meets the boundary {name}at s = {boundary.s:.6g} m: it {why}")
    state.lattice_good = False


def smallest_radius(boundaries: list[Boundary]) -> float | None:
    """The smallest bending radius [m], None without bends."""
    radii = [abs(b.r) for b in boundaries[1:] if b.r]
    return min(radii) if radii else None
