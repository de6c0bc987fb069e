"""Studies in a file: `study.toml` for people who do not write Python.

    deck = "tessar.in"                # the run that is varied; beside the study, as all files
    folder = "scan"                   # where the points go
    threads = 1                       # of each run; likewise processes, timeout [s], program

    [bunch]                           # in place of the deck's bunch: what `Bunch.gaussian` and its like take
    profile = "gaussian"
    particles = 20000
    energy_eV = 5e9
    charge_C = 1e-9
    length_m = 200e-6

    [chicane]                         # in place of the deck's lattice: what `Lattice.chicane` takes
    angle = 0.0483
    length = 0.5
    drift = 5.0
    middle = 1.0

    [vary]                            # all combinations; names are PART.NUMBER
    "bunch.charge_C" = [0.5e-9, 1e-9]
    "forces.shield" = [0, 0.01]       # any key of a `forces` block
    "steps.ct_step_max" = [0.05]      # any key of a `track_step` block

    [plot]                            # pictures of the table, if wanted
    x = "bunch.charge_C"
    y = ["loss", "emittance"]

Without a table [bunch], `bunch.charge_C` scales the charges of the deck's bunch.
"""
from __future__ import annotations

from dataclasses import fields, replace
from pathlib import Path
from typing import Any

from ..beam.bunch import Bunch
from ..beam.makers import made
from ..lattice.lattice import Lattice
from ..run.block import Block
from ..run.process import DECK
from ..run.run import Run
from ..run.settings import Forces, Steps, Tracker
from .scan import Scan

_TABLES = {"bunch", "chicane", "vary", "plot"}
_SETTINGS = {"folder", "threads", "processes", "timeout", "program"}
_PARTS: dict[str, type[Block]] = {"forces": Forces, "steps": Steps}


def read_study(path: str | Path, **settings: Any) -> tuple[Scan, dict[str, Any]]:
    """The scan that a file describes, and what it says of pictures.

    :param settings: folder, threads, processes, timeout, program in place of the file's.
    :raises ValueError: what is not understood; the message names the file and the key.
    """
    path = Path(path)
    study = _load(path)
    try:
        unknown = sorted(set(study) - _TABLES - _SETTINGS - {"deck"})
        if unknown:
            raise ValueError(f"unknown key {unknown[0]!r}; there are {', '.join(sorted(_TABLES | _SETTINGS | {'deck'}))}")
        if not isinstance(study.get("vary"), dict) or not study["vary"]:
            raise ValueError("a table [vary] is needed, with a list of values for each name")
        base = Run.from_deck(path.parent / study.get("deck", DECK))
        maker = _Maker(base, study.get("bunch"), study.get("chicane"))
        for name, values in study["vary"].items():
            maker.test(name)
        chosen = {name: study[name] for name in _SETTINGS if name in study} | {k: v for k, v in settings.items() if v is not None}
        folder = path.parent / chosen.pop("folder", path.stem)
        return Scan(maker, study["vary"], folder, **chosen), study.get("plot", {})
    except ValueError as error:
        raise ValueError(f"{path}: {error}") from None


class _Maker:
    """Makes the run of a point: the base with the point's numbers."""

    def __init__(self, base: Run, bunch: dict[str, Any] | None, chicane: dict[str, Any] | None) -> None:
        self._base, self._bunch, self._chicane = base, bunch, chicane

    def test(self, name: str) -> None:
        """Tells whether the name of an axis is one.

        :raises ValueError: it is not; the message says what would be right.
        """
        part, _, key = name.partition(".")
        if part in _PARTS:
            keys = [field.name for field in fields(_PARTS[part])]  # type: ignore[arg-type]
            if key not in keys:
                raise ValueError(f"vary: {part} has no {key!r}; there are {', '.join(keys)}")
        elif part == "bunch":
            if self._bunch is None and key != "charge_C":
                raise ValueError(f"vary: {name} needs a table [bunch] that makes the bunch")
        elif part == "chicane":
            if self._chicane is None:
                raise ValueError(f"vary: {name} needs a table [chicane] that makes the lattice")
        else:
            raise ValueError(f"vary: {name!r} must be bunch.NUMBER, chicane.NUMBER, forces.KEY or steps.KEY")

    def __call__(self, **point: Any) -> Run:
        values: dict[str, dict[str, Any]] = {}
        for name, value in point.items():
            part, _, key = name.partition(".")
            values.setdefault(part, {})[key] = value
        run = _with_settings(self._base, values)
        if self._bunch is not None:
            numbers = {"profile": "gaussian", **self._bunch, **values.get("bunch", {})}
            run = run.with_bunch(_call("bunch", made, numbers))
        elif "bunch" in values:
            run = run.with_bunch(_charged(run.bunch, values["bunch"]["charge_C"]))
        if self._chicane is not None:
            lattice = _call("chicane", Lattice.chicane, {**self._chicane, **values.get("chicane", {})})
            run = run.changed(lambda command: lattice if isinstance(command, Lattice) else command)
        return run


def _with_settings(run: Run, values: dict[str, dict[str, Any]]) -> Run:
    if "forces" in values:
        if not any(forces.type != "none" for forces in run.of_kind(Forces)) and "type" not in values["forces"]:
            raise ValueError("forces: the deck has no force to be varied")
        run = run.changed(lambda command: replace(command, **values["forces"]) if isinstance(command, Forces) and (
            command.type != "none" or "type" in values["forces"]) else command)
    if "steps" in values:
        if not run.of_kind(Steps):
            k = next((k for k, command in enumerate(run.commands) if isinstance(command, Tracker)), len(run.commands))
            run = Run.from_commands([*run.commands[:k], Steps(), *run.commands[k:]])
        run = run.changed(lambda command: replace(command, **values["steps"]) if isinstance(command, Steps) else command)
    return run


def _charged(bunch: Bunch, charge: float) -> Bunch:
    """The same particles with another charge [C] in all."""
    total = bunch.charge.sum()
    if total == 0:
        raise ValueError("bunch.charge_C: the deck's bunch has no charge that could be scaled")
    return Bunch(bunch.ct, bunch.reference, bunch.offsets, bunch.charge * (charge / total))


def _call(what: str, make: Any, numbers: dict[str, Any]) -> Any:
    try:
        return make(**numbers)
    except TypeError as error:
        raise ValueError(f"[{what}]: {str(error).partition('() ')[2] or error}") from None


def _load(path: Path) -> dict[str, Any]:
    try:
        import tomllib
    except ModuleNotFoundError:  # before Python 3.11
        import tomli as tomllib
    try:
        return tomllib.loads(path.read_text())
    except tomllib.TOMLDecodeError as error:
        raise ValueError(f"{path}: {error}") from None
