"""Tessaron from Python: lattices, bunches, runs, scans, convergence, and what comes before and after a run.

    from tessaron import Bunch, Forces, Lattice, Run

    bunch = Bunch.gaussian(20000, energy_eV=5e9, charge_C=1e-9, length_m=2e-4, chirp=36)
    run = Run(Lattice.chicane(0.0483, 0.5, 5, 1), bunch, Forces("projected", sigma_long="relative", relative_long=0.1))
    result = run.start("first")

Coordinates everywhere: x and y span the orbit plane, z is vertical, the design orbit starts along +x. Lengths in metres,
momenta in eV/c, charges in coulomb, time as c*t in metres. Names are imported when they are first used.
"""
from __future__ import annotations

from importlib import import_module
from typing import TYPE_CHECKING, Any

__version__ = "1.2"  # that of the program

#: Public names by the module that holds them.
_HOMES = {
    ".beam.bunch": ("Bunch",),
    ".lattice.elements": ("Dipole", "Drift", "Map", "Marker", "Multipole", "Quadrupole", "ThinQuadrupole"),
    ".lattice.lattice": ("Lattice",),
    ".run.particles": ("Particles",),
    ".run.process": ("Progress", "RunFailed", "find_program"),
    ".run.result": ("Result",),
    ".run.run": ("Run",),
    ".run.settings": ("Forces", "IoPath", "Monitor", "Monitors", "OnlineMonitor", "Steps", "Tracker"),
    ".study.converge": ("converge",),
    ".study.models": ("compare_models",),
    ".study.scan": ("Scan",),
}
_HOME_OF = {name: home for home, names in _HOMES.items() for name in names}
__all__ = sorted(_HOME_OF)

if TYPE_CHECKING:
    from .beam.bunch import Bunch
    from .lattice.elements import Dipole, Drift, Map, Marker, Multipole, Quadrupole, ThinQuadrupole
    from .lattice.lattice import Lattice
    from .run.particles import Particles
    from .run.process import Progress, RunFailed, find_program
    from .run.result import Result
    from .run.run import Run
    from .run.settings import Forces, IoPath, Monitor, Monitors, OnlineMonitor, Steps, Tracker
    from .study.converge import converge
    from .study.models import compare_models
    from .study.scan import Scan


def __getattr__(name: str) -> Any:
    if name not in _HOME_OF:
        raise AttributeError(f"tessaron has no {name!r}")
    value = globals()[name] = getattr(import_module(_HOME_OF[name], __name__), name)
    return value


def __dir__() -> list[str]:
    return sorted({*globals(), *__all__})
