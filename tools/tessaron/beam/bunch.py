"""A bunch of macro-particles at one common time, in the frame of its file."""
from __future__ import annotations

from dataclasses import dataclass, field, replace
from pathlib import Path
from typing import TYPE_CHECKING, Any, Sequence

import numpy as np

from ..constants import REST_ENERGY

if TYPE_CHECKING:
    from matplotlib.figure import Figure

    from ..lattice.geometry import Boundary
    from ..lattice.lattice import Lattice
    from .analyse import Summary
    from .generate import BunchRequest
    from .slices import Slices


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
    request: "BunchRequest | None" = field(default=None, repr=False, compare=False)  #: how it was made, if it was

    def __post_init__(self) -> None:
        self.reference = np.asarray(self.reference, dtype=float)
        self.offsets = np.asarray(self.offsets, dtype=float)
        self.charge = np.asarray(self.charge, dtype=float)
        n = self.offsets.shape[1] if self.offsets.ndim == 2 else 0
        if self.reference.shape != (6,) or self.offsets.shape != (6, n) or self.charge.shape != (n,) or n == 0:
            raise ValueError("a bunch needs at least one particle, six coordinates and a charge for each")

    @classmethod
    def gaussian(cls, particles: int = 20000, **numbers: Any) -> "Bunch":
        """A bunch of Gaussian current; `tessaron.beam.makers.made` tells the numbers.

            Bunch.gaussian(20000, energy_eV=5e9, charge_C=1e-9, length_m=2e-4, chirp=36, emittance_m=1e-6, beta_m=(40, 13))
        """
        from .makers import made

        return made("gaussian", particles, **numbers)

    @classmethod
    def flat_top(cls, particles: int = 20000, **numbers: Any) -> "Bunch":
        """A bunch of even current, with the numbers of `tessaron.beam.makers.made`."""
        from .makers import made

        return made("flat-top", particles, **numbers)

    @classmethod
    def from_arrays(cls, **arrays: Any) -> "Bunch":
        """A bunch from x_m, y_m, z_m, px_eV_c, py_eV_c, pz_eV_c, q_C and ct_m; see `tessaron.beam.makers.from_arrays`."""
        from .makers import from_arrays

        return from_arrays(**arrays)

    @classmethod
    def from_particle_group(cls, group: Any) -> "Bunch":
        """A bunch from an object like openPMD-beamphysics' ParticleGroup; see `tessaron.beam.makers.from_particle_group`."""
        from .makers import from_particle_group

        return from_particle_group(group)

    @classmethod
    def from_file(cls, path: str | Path, fmt: str | None = None, charge_C: float = 0.0, page: int | None = None) -> "Bunch":
        """A bunch from a file of any known format; None tells it by the name or what stands in it, charge_C is for files that tell
        none, page is that of an SDDS file."""
        from ..files.convert import load

        return load(path, fmt, charge_C, page=page)

    @classmethod
    def from_openpmd(cls, path: str | Path) -> "Bunch":
        """A bunch from an openPMD-beamphysics file."""
        return cls.from_file(path, "openpmd")

    def save(self, path: str | Path, fmt: str | None = None) -> None:
        """Writes the bunch, in the format of the file's suffix unless told, else fmt1."""
        from ..files.convert import save

        save(path, self, fmt)

    def with_particles(self, count: int, seed: int = 1) -> "Bunch":
        """The same bunch of another number of particles: made again if it knows how it was made, else a random choice of its
        particles with as much charge in all, particle 1 among them.

        :raises ValueError: a choice of more particles than there are.
        """
        if self.request is not None:
            from .generate import make_bunch

            request = replace(self.request, particles=count)
            return replace(make_bunch(request), request=request)
        if not 1 <= count <= len(self):
            raise ValueError(f"with_particles: 1 to {len(self)} particles can be chosen from the bunch, not {count}")
        chosen = np.sort(np.random.default_rng(seed).choice(len(self) - 1, count - 1, replace=False) + 1)
        chosen = np.insert(chosen, 0, 0)
        total = self.charge[chosen].sum()
        factor = self.charge.sum() / total if total else 1.0
        return replace(self, offsets=self.offsets[:, chosen], charge=self.charge[chosen] * factor)

    def with_charge(self, charge_C: float) -> "Bunch":
        """The same bunch of another charge in all, in equal parts where it has none."""
        if not np.isfinite(charge_C):
            raise ValueError(f"the charge must be a number of coulomb, not {charge_C!r}")
        total = self.charge.sum()
        charge = self.charge * (charge_C / total) if total else np.full(len(self), charge_C / len(self))
        return replace(self, charge=charge, request=self.request and replace(self.request, charge=charge_C))

    def at_time(self, ct_m: float) -> "Bunch":
        """The same bunch at another bunch time c*t; nothing moves."""
        if not np.isfinite(ct_m):
            raise ValueError(f"the bunch time must be a number of metres, not {ct_m!r}")
        return replace(self, ct=float(ct_m), request=self.request and replace(self.request, ct=float(ct_m)))

    def centred(self, x_m: float = 0.0, y_m: float = 0.0, z_m: float = 0.0, angle: float = 0.0) -> "Bunch":
        """With its mean place there and its mean momentum level, in the direction of the angle [rad] against the x axis."""
        from .placing import centred

        return centred(self, (x_m, y_m, z_m), angle)

    def rotated(self, angle: float) -> "Bunch":
        """Turned about the vertical through its mean place, counter-clockwise seen from above [rad]."""
        from .placing import rotated

        return rotated(self, angle)

    def placed(self, lattice: "Lattice | list[Boundary]", marker: str, centre: bool = True) -> "Bunch":
        """On the design orbit of a lattice, or of its boundaries, at a marker.

        :param centre: with its mean place on the orbit and its mean momentum along it; otherwise its own x axis is laid along the
            orbit. Half of it is then behind the marker: `flown_back` brings it ahead of a magnet that begins there.
        :raises ValueError: no such marker; the message lists them.
        """
        from .placing import boundary_at, placed

        boundaries = lattice if isinstance(lattice, list) else lattice.boundaries()
        return placed(self, boundary_at(boundaries, marker), centre)

    def flown_back(self, distance_m: float) -> "Bunch":
        """As it was when its mean place lay that far back: all particles flown back straight. The bunch time stays."""
        from .placing import flown_back

        return flown_back(self, distance_m)

    def matched(self, beta_m: float | Sequence[float], alpha: float | Sequence[float]) -> "Bunch":
        """With these Twiss parameters where it stands, by a linear map about its mean that keeps the emittances; dispersion goes
        through the map too (`tessaron.beam.placing.matched`).

        :param beta_m: one for both planes, or (in the orbit plane, vertical); alpha likewise.
        """
        from .makers import pair_of
        from .placing import Twiss, matched

        (beta_u, beta_w), (alpha_u, alpha_w) = pair_of("beta_m", beta_m), pair_of("alpha", alpha)
        return matched(self, Twiss(beta_u, alpha_u), Twiss(beta_w, alpha_w))

    def with_central_reference(self) -> "Bunch":
        """With the particle nearest to the centre as particle 1, which fits the magnets and the markers' times better than any."""
        from .placing import with_central_reference

        return with_central_reference(self)

    def arrays(self) -> dict[str, np.ndarray]:
        """Absolute coordinates and charges by names with units: x_m, y_m, z_m, px_eV_c, py_eV_c, pz_eV_c, q_C."""
        from .makers import arrays_of

        return arrays_of(self)

    def moments(self, orbit: "list[Boundary] | None" = None) -> "Summary":
        """The bunch in numbers, about the design orbit if its boundaries (`Lattice.boundaries()`) are told."""
        from .analyse import summary

        return summary(self, orbit=orbit)

    def slices(self, count: int = 50, orbit: "list[Boundary] | None" = None) -> "Slices":
        """Moments of slices along the bunch."""
        from .slices import slice_moments

        return slice_moments(self, count, orbit=orbit)

    def plot(self, orbit: "list[Boundary] | None" = None) -> "Figure":
        """All phase spaces as a matplotlib figure."""
        from ..pictures.notebook import shown_once
        from ..pictures.plots import phase_spaces

        return shown_once(phase_spaces(self, orbit))

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
