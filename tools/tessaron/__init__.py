"""Tessaron from Python: lattices, bunches, runs, scans, convergence, and what comes before and after a run.

    from tessaron import Dipole, Drift, Lattice, Marker

    lattice = Lattice([Drift(1), Dipole.rbend(0.5, 0.05, name="B1"), Drift(2), Marker("end")])

Coordinates everywhere: x and y span the orbit plane, z is vertical, the design orbit starts along +x. Lengths in metres,
momenta in eV/c, charges in coulomb, time as c*t in metres. Names are imported when they are first used.
"""
from __future__ import annotations

from importlib import import_module
from typing import TYPE_CHECKING, Any

__version__ = "1.2"  # that of the program

#: Public names by the module that holds them.
_HOMES = {
    ".lattice.elements": ("Dipole", "Drift", "Map", "Marker", "Multipole", "Quadrupole", "ThinQuadrupole"),
    ".lattice.lattice": ("Lattice",),
    ".study.process": ("Progress", "RunFailed", "find_program"),
}
_HOME_OF = {name: home for home, names in _HOMES.items() for name in names}
__all__ = sorted(_HOME_OF)

if TYPE_CHECKING:
    from .lattice.elements import Dipole, Drift, Map, Marker, Multipole, Quadrupole, ThinQuadrupole
    from .lattice.lattice import Lattice
    from .study.process import Progress, RunFailed, find_program


def __getattr__(name: str) -> Any:
    if name not in _HOME_OF:
        raise AttributeError(f"tessaron has no {name!r}")
    value = globals()[name] = getattr(import_module(_HOME_OF[name], __name__), name)
    return value


def __dir__() -> list[str]:
    return sorted({*globals(), *__all__})
