"""A bunch of macro-particles at one common time, in the frame of its file."""
from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from ..constants import REST_ENERGY


@dataclass
class Bunch:
    """Particles at the bunch time. Particle 1 (index 0) is the reference particle.

    The coordinates are kept as the files keep them, as those of the reference particle and the differences from it, so
    that a micrometre of bunch does not lose digits beside metres of beam line.
    """

    ct: float  #: bunch time c*t [m]
    reference: np.ndarray  #: (6,) x, y, z [m], px, py, pz [eV/c] of particle 1
    offsets: np.ndarray  #: (6, N) the same of all particles, less those of particle 1
    charge: np.ndarray  #: (N,) charge of each macro-particle [C]
    on_orbit: bool = False  #: x is the path length ahead of particle 1, y the offset from the orbit, as in `fmt3`

    def __post_init__(self) -> None:
        self.reference = np.asarray(self.reference, dtype=float)
        self.offsets = np.asarray(self.offsets, dtype=float)
        self.charge = np.asarray(self.charge, dtype=float)
        n = self.offsets.shape[1] if self.offsets.ndim == 2 else 0
        if self.reference.shape != (6,) or self.offsets.shape != (6, n) or self.charge.shape != (n,) or n == 0:
            raise ValueError("a bunch needs at least one particle, six coordinates and a charge for each")

    def __len__(self) -> int:
        return self.charge.size

    def absolute(self, row: int) -> np.ndarray:
        """Coordinate number `row` (0..5: x, y, z [m], px, py, pz [eV/c]) of all particles."""
        return self.reference[row] + self.offsets[row]

    x = property(lambda self: self.absolute(0), doc="position in the orbit plane, along the start of the orbit [m]")
    y = property(lambda self: self.absolute(1), doc="position in the orbit plane, across [m]")
    z = property(lambda self: self.absolute(2), doc="vertical position [m]")
    px = property(lambda self: self.absolute(3), doc="momentum along x [eV/c]")
    py = property(lambda self: self.absolute(4), doc="momentum along y [eV/c]")
    pz = property(lambda self: self.absolute(5), doc="vertical momentum [eV/c]")

    @property
    def momentum(self) -> np.ndarray:
        """Magnitude of the momentum [eV/c]."""
        return np.sqrt(self.px**2 + self.py**2 + self.pz**2)

    @property
    def energy(self) -> np.ndarray:
        """Total energy [eV]."""
        return np.hypot(self.momentum, REST_ENERGY)

    @property
    def weight(self) -> np.ndarray:
        """Weights of the moments, of sum 1: the charges, or equal ones where the file tells no charge."""
        size = np.abs(self.charge)
        total = size.sum()
        return size / total if total > 0 else np.full(len(self), 1 / len(self))

    def local(self) -> "LocalCoordinates":
        """The bunch about its centre, along and across its mean momentum, or along the orbit if it is told so."""
        weight = self.weight
        mean = self.offsets @ weight
        about = self.offsets - mean[:, None]
        axes = np.eye(3) if self.on_orbit else frame_along(self.reference[3:] + mean[3:])
        s, u, w = axes.T @ about[:3]
        ps, pu, pw = axes.T @ (self.reference[3:, None] + self.offsets[3:])
        return LocalCoordinates(s=s, u=u, w=w, ps=ps, pu=pu, pw=pw, energy=self.energy, weight=weight)


@dataclass
class LocalCoordinates:
    """Particles about their centre: s ahead, u to the left in the orbit plane, w up [m].

    The directions are those of the mean momentum, or of the orbit at each particle's own place.
    """

    s: np.ndarray
    u: np.ndarray
    w: np.ndarray
    ps: np.ndarray  #: momenta along these axes [eV/c]
    pu: np.ndarray
    pw: np.ndarray
    energy: np.ndarray  #: [eV]
    weight: np.ndarray  #: of sum 1
    place: float | None = None  #: path length of the centre [m], where the orbit is known
    offset: float | None = None  #: distance of the centre from the orbit, to the left [m]

    @property
    def delta(self) -> np.ndarray:
        """Relative deviation from the mean momentum."""
        momentum = np.sqrt(self.ps**2 + self.pu**2 + self.pw**2)
        return momentum / (self.weight @ momentum) - 1


def frame_along(direction: np.ndarray) -> np.ndarray:
    """Orthonormal columns: along `direction`, horizontally across it to the left, upwards.

    A direction straight up has no horizontal of its own; it gets the one that a direction along x has.
    """
    nx, ny, nz = np.asarray(direction, dtype=float) / np.linalg.norm(direction)
    h = np.hypot(nx, ny)
    hx, hy = (nx / h, ny / h) if h > 0 else (1.0, 0.0)
    return np.array([[nx, -hy, -nz * hx], [ny, hx, -nz * hy], [nz, 0.0, h]])


def from_absolute(ct: float, coordinates: np.ndarray, charge: np.ndarray) -> Bunch:
    """A bunch from (6, N) absolute coordinates x, y, z [m], px, py, pz [eV/c]; the first particle is the reference."""
    coordinates = np.asarray(coordinates, dtype=float)
    reference = coordinates[:, 0].copy()
    return Bunch(ct, reference, coordinates - reference[:, None], charge)
