"""The `forces` block, and what is suspicious about it for the bunch and the lattice at hand."""
from __future__ import annotations

from math import pi, sqrt

import numpy as np

from ..deck.blocks import Value, read_block
from ..deck.datafiles import Faults, read_subbunch_table, read_wake
from ..deck.keys import CAPACITY, FORCES
from ..deck.reader import DeckReader, Place, Token
from .doubts import doubt_model, noise_of, plane_distance
from .lattice import smallest_radius
from .state import CheckState

FEWEST_RANDOM, FEWEST_QUIET = 100, 3  # particles per sigma_long; both leave 6 % rms of noise, of the largest projected force
RANDOM = 0.5  # noise of the density over that of independent particles, above which a bunch counts as random
MANY_PAIRS = 5000
SUB_BUNCH = ("csr_p_to_p", "csr_p_to_m", "csr_g_to_p", "csr_g_to_m")
_ELLIPSOID_ONLY = ("sigma_rad", "sigma_vert", "relative_vert", "sbox", "rbox")


def check_forces(state: CheckState, reader: DeckReader, command: Token) -> None:
    """Reads a whole block, with its data files."""
    values = read_block(reader, "forces", FORCES, state.error, state.warn)
    state.forces, state.forces_place = values, command.place
    state.force_checked.clear()
    for name in ("par1", "par2", "par3", "par4", "par5"):
        if name in values and values[name].number is not None:
            state.kept_parameters[name] = values[name].number
    kind = values.get("type")
    if kind is None:
        state.error(command.place, "forces needs type")
    if kind is not None and kind.good and kind.text != "none":
        _sizes(state, command, values, kind.text)
        _unused(state, values, kind.text)
    if "wake_file" in values:
        if kind is not None and kind.text != "projected":
            state.warn(values["wake_file"].place, "a wake_file acts with type projected only")
        path = reader.path_of(values["wake_file"].text)
        _data_file(state, values["wake_file"], path, lambda: read_wake(path)[1])
    if values.get("par3") is not None:
        state.warn(values["par3"].place, "par3 has no effect")


def _sizes(state: CheckState, command: Token, values: dict[str, Value], kind: str) -> None:
    if "sigma_long" not in values:
        state.error(command.place, "forces needs sigma_long")
    ellipsoid = _is_ellipsoid(values, kind)
    sized = ["sigma_long", "sigma_rad", "sigma_vert"] if ellipsoid else ["sigma_long"]
    for name in sized:
        factor = name.replace("sigma", "relative")
        if name in values and values[name].text == "relative" and factor not in values:
            state.error(values[name].place, f"{name} = relative needs {factor}")
    asked = tuple(name in sized and name in values and values[name].text == "file" for name in ("sigma_long", "sigma_rad", "sigma_vert"))
    if any(asked) and "sigma_file" not in values:
        state.error(command.place, "file with subbunch properties is not specified: give sigma_file")
    if any(asked) and "sigma_file" in values:
        path = state.reader.path_of(values["sigma_file"].text)
        _data_file(state, values["sigma_file"], path, lambda: read_subbunch_table(path, asked)[1])
    if not any(asked) and "sigma_file" in values:
        state.warn(values["sigma_file"].place, "no size is taken from sigma_file; it is not read")
    for name in ("sbox", "rbox"):
        if ellipsoid and name in values and (values[name].number or 0) > 1:
            state.warn(values[name].place, f"large {name}: a mesh box longer than the sub-bunch is coarse")


def _is_ellipsoid(values: dict[str, Value], kind: str) -> bool:
    shape = values.get("shape")
    return kind in SUB_BUNCH and shape is not None and shape.text == "ellipsoid" and ("sigma_rad" in values or "sigma_vert" in values)


def _unused(state: CheckState, values: dict[str, Value], kind: str) -> None:
    shape = values.get("shape")
    if kind in SUB_BUNCH and shape is not None and shape.text == "ellipsoid" and not _is_ellipsoid(values, kind):
        state.warn(shape.place, "an ellipsoid without sigma_rad and sigma_vert counts as a sphere")
    for name in (*_ELLIPSOID_ONLY, "rintmi", "use_old_mesh", "shape"):
        if name not in values:
            continue
        if kind not in SUB_BUNCH:
            state.warn(values[name].place, f"{name} has no effect with type {kind}")
        elif name in _ELLIPSOID_ONLY and not _is_ellipsoid(values, kind):
            state.warn(values[name].place, f"{name} has no effect with a sphere")
    shield, reach = values.get("shield"), values.get("shield_max")
    if reach is not None and (shield is None or shield.number == 0):
        state.warn(reach.place, "shield_max has no effect without shield")
    if "shield_reach" in values and (kind != "projected" or shield is None or shield.number == 0):
        state.warn(values["shield_reach"].place, "shield_reach has no effect but with type projected and shield")
    if shield is not None and shield.number and shield.number > (reach.number if reach and reach.number else 0.3):
        state.warn(shield.place, f"shield = {shield.text} is above shield_max, so that no image takes part")


def _data_file(state: CheckState, value: Value, path, read) -> None:
    """Reports the faults of a data file with its own lines."""
    if not path.is_file():
        state.error(value.place, f"{path} does not exist; the program would create it empty and fail")
        return
    state.inputs.append(path)
    faults: Faults = read()
    for line, text in faults:
        state.error(Place(str(path.name), line), text)


def check_forces_on_beam(state: CheckState) -> None:
    """Called ahead of a tracker: compares sizes with the bunch and steps with the orbit. Each remark comes once."""
    beam, kind, values = state.beam, state.force_type, state.forces
    if beam is None or kind == "none" or beam.tracked:
        return
    place = values["sigma_long"].place if "sigma_long" in values else state.forces_place

    def once(key: str, where: Place, text: str) -> None:
        if key not in state.force_checked:
            state.force_checked.add(key)
            state.warn(where, text)

    if beam.sources == 0:
        once("sources", state.forces_place, "no particle of the bunch has a charge, so there is no self force")
        return
    if kind == "csr_p_to_p" and beam.sources > MANY_PAIRS:
        once("pairs", values["type"].place, f"csr_p_to_p takes {beam.sources} x {len(beam.bunch)} pairs in every evaluation")
    if state.kept_parameters.get("par1") and round(state.kept_parameters.get("par2", 0)) >= 2 and kind == "projected":
        charge = beam.bunch.charge[beam.bunch.charge != 0]
        if charge.size and charge.min() != charge.max():
            once("smoothing", state.forces_place, "par1 asks for charge smoothing, which needs equal charges; this bunch has different ones")
    if beam.length == 0:
        if "sigma_long" in values and values["sigma_long"].text == "relative":
            state.error(place, "sigma_long = relative needs a bunch that is longer than 0")
        return
    sigma = sub_bunch_length(state)
    if sigma is not None:
        _compare_sigma(state, once, place, sigma)
    doubt_model(state, once, sigma)
    _compare_steps(state, once)


def sub_bunch_length(state: CheckState) -> float | None:
    """The sub-bunch length at the start [m]; None if it comes from a file or cannot be told."""
    value = state.forces.get("sigma_long")
    if value is None or not value.good or value.text == "file":
        return None
    if value.text != "relative":
        return value.number
    factor = state.forces.get("relative_long")
    return factor.number * state.beam.length if factor is not None and factor.good and factor.number else None


def _compare_sigma(state: CheckState, once, place: Place, sigma: float) -> None:
    length = state.beam.length
    # with the kernel's own grid planes need it long
    if sigma > (1.5 if plane_distance(state) else 0.5) * length:
        once("long", place, f"sigma_long of {sigma:.3g} m washes out a bunch of {length:.3g} m rms; a tenth is usual")
    if sigma < 0.01 * length:
        once("short", place, f"sigma_long of {sigma:.3g} m is below a hundredth of the rms bunch length {length:.3g} m; expect noise")
    else:
        _count_per_sigma(state, once, place, sigma)
    grid = (state.beam.bunch.local().s.ptp() + 7.07 * sigma) / (0.2 * 0.7071 * sigma)
    if state.force_type == "projected" and grid + 25 > CAPACITY["nsamax"]:
        if "grid" not in state.force_checked:
            state.force_checked.add("grid")
            state.error(place, f"the force needs a grid of {grid:.0f} points for this sigma_long; the program holds {CAPACITY['nsamax']}")


def _count_per_sigma(state: CheckState, once, place: Place, sigma: float) -> None:
    """Shot noise: the particles per sigma_long at the peak of a Gaussian bunch."""
    bunch, length = state.beam.bunch, state.beam.length
    charge = np.abs(bunch.charge[bunch.charge != 0])
    count = charge.sum() ** 2 / (charge**2).sum() / (sqrt(2 * pi) * length)  # per metre
    if count * sigma >= FEWEST_RANDOM:
        return
    direction = bunch.reference[3:5] / np.hypot(*bunch.reference[3:5])
    random = noise_of(bunch, direction, max(min(sigma, 0.2 * length), 5 / count)) > RANDOM
    fewest = FEWEST_RANDOM if random else FEWEST_QUIET
    if count * sigma < fewest:
        once("few", place, f"only about {count * sigma:.3g} particles per sigma_long of {sigma:.3g} m where the bunch is densest, which is "
             f"{'random' if random else 'quiet'}; at least {fewest} are wanted: more particles{', a quiet start' if random else ''} or a longer sigma_long")


def _compare_steps(state: CheckState, once) -> None:
    radius = smallest_radius(state.boundaries)
    if radius is None:
        return
    overtaking = (24 * radius**2 * state.beam.length) ** (1 / 3)
    step = state.steps["ct_step_max"]
    where = state.steps_place or state.forces_place
    if state.time_grid is None and step > overtaking:
        once("step", where, f"ct_step_max of {step:.3g} m is above the overtaking length of {overtaking:.3g} m in the sharpest bend; inside "
             f"bends arc_factor holds the steps to {state.steps['arc_factor'] * overtaking:.3g} m, outside nothing does")
