"""The words of the deck: every block with its keys, what a value must be, and its unit.

A test compares these tables with the key tables in the program's sources, so that the two cannot drift apart.
"""
from __future__ import annotations

from typing import NamedTuple

COMMANDS = ("exit", "io_path", "lattice", "particles", "monitor", "online_monitor", "forces", "track_step",
            "track_accuracy", "tracker")

#: Conditions on numbers, and how they read in words.
CONDITIONS = {
    "any": (lambda v: True, ""),
    ">0": (lambda v: v > 0, "must be above 0"),
    ">=0": (lambda v: v >= 0, "must be 0 or above"),
    ">=1": (lambda v: v >= 1, "must be 1 or above"),
    "0..1": (lambda v: 0 < v <= 1, "must be above 0 and at most 1"),
    "0..2": (lambda v: 0 < v <= 2, "must be above 0 and at most 2"),
}


class Key(NamedTuple):
    """What a value must be: a `kind` of text, flag (yes or no), word, real or integer; `words` that may stand in place
    of a number, or are all that may stand; the `test` of a number, one of CONDITIONS; its `unit`."""

    kind: str
    words: tuple[str, ...] = ()
    test: str = "any"
    unit: str = ""


def real(test: str = "any", unit: str = "", words: tuple[str, ...] = ()) -> Key:
    return Key("real", words, test, unit)


TEXT, FLAG = Key("text"), Key("flag", ("yes", "no"))
FORCE_TYPES = ("none", "projected", "csr_p_to_p", "csr_p_to_m", "csr_g_to_p", "csr_g_to_m")
MONITOR_FORMATS = ("fmt0", "fmt1", "fmt2", "fmt3")
MONITOR_TYPES = ("phase", "steps", "subbunch", "green")

IO_PATH = {"input": TEXT, "output": TEXT, "logfile": TEXT}

PARTICLES = {
    "format": Key("word", ("fmt1", "fmt2", "umbra")),
    "reference_momentum": real("any", "eV/c", ("reference_particle", "average")),
    "reference_point_x": real(unit="m"),
    "reference_point_y": real(unit="m"),
    "reference_point_phi": real(unit="degrees"),
    "array": Key("array"),
}

FORCES = {
    "type": Key("word", FORCE_TYPES),
    "sigma_long": real(">0", "m", ("file", "relative")),
    "relative_long": real("0..2"),
    "test": FLAG,
    "shape": Key("word", ("sphere", "ellipsoid")),
    "sigma_rad": real(">0", "m", ("file",)),
    "sigma_vert": real(">0", "m", ("file", "relative")),
    "relative_vert": real("0..2"),
    "rintmi": real(">0"),
    "sigma_file": TEXT,
    "use_old_mesh": FLAG,
    "sbox": real(">0"),
    "rbox": real(">0"),
    "shield": real(">=0", "m"),
    "shield_max": real(">0", "m"),
    "shield_reach": Key("word", ("kernel", "bunch")),
    "par1": real(), "par2": real(), "par3": real(), "par4": real(), "par5": real(),
    "wake_file": TEXT,
}

TRACK_STEP = {
    "precondition": FLAG,
    "iterative": Key("integer", (), ">0"),
    "error_per_ct": real(">0", "1/m"),
    "error_weight_momentum": real(">=0"),
    "ct_step_max": real(">0", "m"),
    "ct_step_min": real(">0", "m"),
    "ct_step_first": real("any", "m"),
    "duty_steps": FLAG,
    "increase_factor": real(">=1"),
    "arc_factor": real("0..1"),
    "time_grid_file": TEXT,
    "steps_tolerance": real(">0", "m"),
}

TRACKER = {"end_time_c0": real(unit="m"), "delta_time_c0": real(unit="m"), "end_time_marker": TEXT,
           "end_time_shift_c0": real(unit="m")}

MONITOR = {"format": Key("word", MONITOR_FORMATS), "name": TEXT}

ONLINE_MONITOR = {
    "name": TEXT,
    "type": Key("word", MONITOR_TYPES),
    "format": Key("integer", MONITOR_FORMATS),
    "particle": Key("integer", ("all",), ">=1"),
    "start_time_c0": real("any", "m", ("now",)),
    "start_time_marker": TEXT,
    "start_time_shift_c0": real(unit="m"),
    "end_time_c0": real(unit="m"),
    "end_time_marker": TEXT,
    "end_time_shift_c0": real(unit="m"),
    "time_step_c0": real(">=0", "m", ("all",)),
}

ELEMENTS = ("dipole", "quadrupole", "multipole", "thin_quadrupole", "discrete_free")
SUB_BLOCKS = ("position", "properties", "integer_array", "real_array")  #: of an element
POSITION = {"rho": real(unit="m"), "psi": real(unit="degrees"), "delta_s": real(unit="m"), "delta_psi": real(unit="degrees"),
            "marker": TEXT, "duty": FLAG}
_OFFSETS = {"strength": real(), "alpha": real(unit="degrees"), "horizontal_offset": real(unit="m"), "vertical_offset": real(unit="m")}
PROPERTIES = {
    "dipole": {"r": real(unit="m")},
    "quadrupole": _OFFSETS,
    "multipole": {**_OFFSETS, "poles": Key("integer")},
    "thin_quadrupole": {"effective_length": real(unit="m"), "quadrupole_k": real()},
    "discrete_free": {"type": Key("integer"), "integer": Key("integer", (), ">=0"), "real": Key("integer", (), ">=0")},
}

CAPACITY = {"maxprt": 300000, "maxlat": 100, "ilalen": 1000, "rlalen": 1000, "matist": 2000, "narcsr": 50000, "maxmon": 10,
            "nsamax": 50000}
