"""Readers of what a run leaves behind besides bunches: step tables, sub-bunch tables, force files, lattice, meshes."""
from __future__ import annotations

from dataclasses import dataclass, field
from pathlib import Path

import numpy as np

from ..constants import REST_ENERGY
from ..lattice.geometry import Boundary
from ..words import counted
from .bunchfiles import numbers_in, numbers_of


@dataclass
class Steps:
    """A `steps` monitor, one entry per output."""

    ct: np.ndarray  #: bunch time c*t [m]
    error: np.ndarray  #: integrated step error
    duty: np.ndarray  #: a duty step just ended
    calls: np.ndarray  #: (5, N) force evaluations so far, by force type 1 to 5


@dataclass
class Grid:
    """Values on an even grid, as in the fc1_... files; the position is c*t behind particle 1 [m]."""

    position: np.ndarray
    value: np.ndarray


@dataclass
class ParticleForce:
    """fc1.dat and fc2.dat: one entry per particle, the first is the reference particle."""

    dx: np.ndarray  #: position less that of particle 1 [m]
    dy: np.ndarray
    along: np.ndarray  #: force along the motion [eV/m]
    across: np.ndarray | None  #: force across it in the plane [eV/m]; None in fc1.dat
    momentum: np.ndarray | None  #: gamma beta; None in fc2.dat


@dataclass
class GreenFile:
    """What a `green` monitor tells of a mesh, in the frame of the sub-bunch: a along its motion, b across [m]."""

    polygon: np.ndarray  #: (2, 20) corners of the region that the mesh covers
    arcs: np.ndarray  #: (4, N) changes of curvature of the path: c*t [m], place a, b [m], curvature [1/m]
    ct: float | None = field(default=None)  #: bunch time [m], where the file tells it


def read_steps(path: str | Path) -> Steps:
    """Reads a `steps` monitor."""
    table = _table(path, 8)
    return Steps(table[:, 0], table[:, 1], table[:, 2] == 1, table[:, 3:8].T)


def read_subbunch(path: str | Path) -> np.ndarray:
    """Reads a `subbunch` monitor: (N, 4) with c*t, rms length, radial and vertical rms size of the sub-bunches [m]."""
    return _table(path, 4)


def read_grid(path: str | Path) -> Grid:
    """Reads fc1_curr.dat [A], fc1_csr_w_sub.dat and fc1_w_sub.dat [V/(m C)], fc1_csr_w_curr.dat [1/m]."""
    values = _table(path, 1)[:, 0]
    if len(values) < 3:
        raise ValueError(f"{path}: no grid")
    return Grid(np.linspace(values[0], values[1], len(values) - 2), values[2:])


def read_force(path: str | Path) -> ParticleForce:
    """Reads fc1.dat or fc2.dat, told apart by the name; forces are turned to eV/m."""
    table = _table(path, 4)
    if np.any(table[0, :2]):
        raise ValueError(f"{path}: no force file; in fc1.dat and fc2.dat the first line is particle 1, at 0, 0 from itself")
    if Path(path).name.startswith("fc2"):
        return ParticleForce(table[:, 0], table[:, 1], table[:, 2] * REST_ENERGY, table[:, 3] * REST_ENERGY, None)
    return ParticleForce(table[:, 0], table[:, 1], table[:, 2] * REST_ENERGY, None, table[:, 3])


def direction_of(force: ParticleForce) -> float:
    """A guess at the direction of motion [rad], between -90 and 90 degrees: the one along which the force is smoothest.

    A force of the bunch on itself depends above all on the place along the motion.
    """
    chosen = np.random.default_rng(1).permutation(force.dx.size)[:2000]
    dx, dy, along = force.dx[chosen], force.dy[chosen], force.along[chosen]

    def roughness(angle: float) -> float:
        return float(np.abs(np.diff(along[np.argsort(np.cos(angle) * dx + np.sin(angle) * dy)])).sum())

    best, reach = 0.0, np.pi / 2
    while reach > 1e-5:
        angles = best + reach * np.linspace(-1, 1, 121)
        best, reach = angles[int(np.argmin([roughness(angle) for angle in angles]))], reach / 20
    return float(best)


def read_latout(path: str | Path) -> list[Boundary]:
    """Reads latout.dat."""
    text = Path(path).read_text(errors="replace")
    try:
        return [_boundary([line.split() for line in block.splitlines() if line.strip()])
                for block in text.split("-" * 48) if block.strip()]
    except (ValueError, IndexError):
        raise ValueError(f"{path}: not a latout.dat, which the program writes at the end of each lattice block") from None


def _boundary(lines: list[list[str]]) -> Boundary:
    head = lines[0]
    marker = head[head.index("marker=") + 1]
    numbers = [float(numbers_of(line[1:2])[0]) for line in lines[1:9]]
    element = (int(lines[9][1]), int(lines[10][1]))
    return Boundary("" if marker == "undefined" else marker, head[-1].upper().startswith("T"), *numbers, element)


def read_green(path: str | Path) -> GreenFile:
    """Reads one file of a `green` monitor. One that holds a time alone belongs to a step that built no mesh."""
    values = list(_table(path, 1)[:, 0])
    if len(values) == 1:
        raise ValueError(f"{path}: no mesh was built in this step")
    columns = []
    for _ in range(6):
        count = int(values.pop(0)) if values else 0
        columns.append(values[:count])
        del values[:count]
    if [len(column) for column in columns[:2]] != [20, 20] or len({len(column) for column in columns[2:]}) != 1:
        raise ValueError(f"{path}: not a mesh file")
    return GreenFile(np.array(columns[:2]), np.array(columns[2:]), values[0] if values else None)


def _table(path: str | Path, columns: int) -> np.ndarray:
    words = numbers_in(path)
    if not len(words) or len(words) % columns:
        raise ValueError(f"{path}: {counted(len(words), 'number')} cannot be whole lines of {columns}")
    try:
        return numbers_of(words).reshape(-1, columns)
    except ValueError as error:
        raise ValueError(f"{path}: {error}") from None
