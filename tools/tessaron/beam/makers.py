"""Bunches from the numbers at hand, from arrays, and from the objects of other programs."""
from __future__ import annotations

from dataclasses import replace
from typing import Any, Sequence

import numpy as np

from ..constants import REST_ENERGY, SPEED_OF_LIGHT
from .bunch import Bunch, from_absolute
from .generate import BunchRequest, Plane, make_bunch

#: Names of the arrays of a bunch: absolute coordinates and charges. The same as the columns of its CSV files.
ARRAYS = ("x_m", "y_m", "z_m", "px_eV_c", "py_eV_c", "pz_eV_c", "q_C")


def made(profile: str, particles: int = 20000, *, energy_eV: float, charge_C: float, length_m: float,
         chirp: float | Sequence[float] = 0.0, spread_eV: float = 0.0, emittance_m: float | Sequence[float] = 1e-6,
         beta_m: float | Sequence[float] = 10.0, alpha: float | Sequence[float] = 0.0, twiss_ahead_m: float = 0.0,
         size_m: Sequence[float] | None = None, divergence_rad: float | Sequence[float] = 0.0, cut: float = 5.0,
         x_m: float = 0.0, ct_m: float = 0.0, quiet: bool = True, seed: int = 1) -> Bunch:
    """A bunch that flies along +x. Its first particle is the ideal reference particle.

    :param profile: of the current along the bunch: gaussian, flat-top, parabolic or double-horn.
    :param particles: macro-particles, 2 to 300000.
    :param energy_eV: total energy of the reference particle; charge_C: of the whole bunch; length_m: rms.
    :param chirp: relative energy per metre behind the reference particle [1/m], above 0 for a tail of more energy; or up to
        three coefficients [1/m, 1/m^2, 1/m^3].
    :param spread_eV: uncorrelated rms energy spread.
    :param emittance_m: normalised, one for both planes or (in the orbit plane, vertical); so are beta_m, alpha and the rest.
    :param twiss_ahead_m: how far ahead beta and alpha hold, behind a drift.
    :param size_m: rms sizes (in the plane, vertical), with divergence_rad, in place of Twiss parameters.
    :param cut: of a Gaussian, in rms lengths.
    :param x_m: where the reference particle starts; ct_m: the bunch time.
    :param quiet: even places of a low-discrepancy sequence, for little noise in the force, or random ones.
    :param seed: of the random numbers; it shifts quiet ones.
    :raises ValueError: a number out of range; the message names it.
    """
    coefficients = (chirp,) if np.isscalar(chirp) else tuple(chirp)
    if len(coefficients) > 3:
        raise ValueError(f"chirp takes up to three coefficients, not {len(coefficients)}")
    pairs = {name: pair_of(name, value) for name, value in (("emittance_m", emittance_m), ("beta_m", beta_m), ("alpha", alpha),
                                                          ("divergence_rad", divergence_rad))}
    sizes = None if size_m is None else pair_of("size_m", size_m)
    planes = [Plane(pairs["emittance_m"][k], pairs["beta_m"][k], pairs["alpha"][k],
                    (sizes[k], pairs["divergence_rad"][k]) if sizes else None, twiss_ahead_m) for k in (0, 1)]
    numbers = dict(particles=particles, energy_eV=energy_eV, charge_C=charge_C, length_m=length_m, spread_eV=spread_eV, x_m=x_m,
                   ct_m=ct_m, cut=cut)
    for name, value in numbers.items():
        if isinstance(value, (str, bool)) or not np.isscalar(value) or not np.isfinite(value):
            raise ValueError(f"{name} must be a number, not {value!r}")
    request = BunchRequest(int(particles), energy_eV, charge_C, length_m, profile, cut,
                           chirp=(*coefficients, 0.0, 0.0, 0.0)[:3], energy_spread=spread_eV, horizontal=planes[0],
                           vertical=planes[1], x=x_m, ct=ct_m, quiet=quiet, seed=seed)
    return replace(make_bunch(request), request=request)


def from_arrays(*, x_m: Any, y_m: Any, z_m: Any, px_eV_c: Any, py_eV_c: Any, pz_eV_c: Any, q_C: Any, ct_m: float = 0.0) -> Bunch:
    """A bunch from absolute coordinates of all particles at one time; the first one is the reference particle.

    :param x_m, y_m: places in the orbit plane, x along its start, and z_m up; (N,) each or one number for all.
    :param q_C: charges of the particles, or one for each of them.
    :raises ValueError: lengths that differ, or a value that is not finite; the message names the array.
    """
    given = dict(x_m=x_m, y_m=y_m, z_m=z_m, px_eV_c=px_eV_c, py_eV_c=py_eV_c, pz_eV_c=pz_eV_c, q_C=q_C)
    arrays = {name: np.asarray(values, dtype=float) for name, values in given.items()}
    count = max(array.size for array in arrays.values())
    for name, array in arrays.items():
        if array.ndim > 1 or array.size not in (1, count):
            raise ValueError(f"{name} must hold {count} numbers, as the longest array does, or one; it has the shape {array.shape}")
        if not np.isfinite(array).all():
            raise ValueError(f"{name} must be finite; number {int(np.argmin(np.isfinite(np.ravel(array)))) + 1} is not")
    columns = [np.broadcast_to(np.ravel(array), count) for array in arrays.values()]
    return from_absolute(float(ct_m), np.array(columns[:6]), np.array(columns[6]))


def from_particle_group(group: Any) -> Bunch:
    """A bunch from an object with the attributes of openPMD-beamphysics' ParticleGroup: x, y, z [m] with z along the beam and
    y up, px, py, pz [eV/c], t [s], weight [C], and if it has them status (1 is alive) and species.

    Particles that are not alive are left out. Where they do not share one time, they fly straight to the latest one.

    :raises ValueError: an attribute is missing, no particle is alive, or the particles are no electrons.
    """
    names = ("x", "y", "z", "px", "py", "pz", "t", "weight")
    missing = [name for name in names if not hasattr(group, name)]
    if missing:
        raise ValueError(f"the object has no {', '.join(missing)}; a bunch needs {', '.join(names)}")
    if (species := str(getattr(group, "species", "electron"))) not in ("electron", "positron"):
        raise ValueError(f"the particles are {species}s; this program tracks electrons")
    x, y, z, px, py, pz, t, charge = (np.atleast_1d(np.asarray(getattr(group, name), dtype=float)) for name in names)
    count = z.size
    alive = np.broadcast_to(np.asarray(getattr(group, "status", 1)) == 1, count)
    if not alive.any():
        raise ValueError("no particle of the object is alive (status 1)")
    rows = np.array([np.broadcast_to(row, count) for row in (z, x, y, pz, px, py)])[:, alive]
    return at_latest_time(np.broadcast_to(t, count)[alive] * SPEED_OF_LIGHT, rows, np.broadcast_to(charge, count)[alive])


def at_latest_time(ct: np.ndarray, rows: np.ndarray, charge: np.ndarray) -> Bunch:
    """A bunch of particles that are told at times c*t of their own [m], (N,): all fly straight to the latest one.

    :param rows: (6, N) absolute coordinates x, y, z [m], px, py, pz [eV/c]; the places are changed.
    """
    rows[:3] += rows[3:] / np.hypot(np.sqrt((rows[3:]**2).sum(axis=0)), REST_ENERGY) * (ct.max() - ct)
    return from_absolute(float(ct.max()), rows, charge)


def arrays_of(bunch: Bunch) -> dict[str, np.ndarray]:
    """The absolute coordinates and charges, by the names of ARRAYS."""
    return {**{name: bunch.absolute(row) for row, name in enumerate(ARRAYS[:6])}, "q_C": bunch.charge}


def particle_group_data(bunch: Bunch) -> dict[str, Any]:
    """What openPMD-beamphysics' `ParticleGroup(data=...)` takes: z along the beam, y up, times in s, all alive."""
    x, y, z, px, py, pz = (bunch.absolute(row) for row in (1, 2, 0, 4, 5, 3))
    return {"x": x, "y": y, "z": z, "px": px, "py": py, "pz": pz, "t": np.full(len(bunch), bunch.ct / SPEED_OF_LIGHT),
            "weight": np.abs(bunch.charge), "status": np.ones(len(bunch), dtype=int), "species": "electron"}


def pair_of(name: str, value: Any) -> tuple[float, float]:
    """Two numbers, for the orbit plane and the vertical, from one for both or from two."""
    numbers = (value, value) if np.isscalar(value) else tuple(value)
    if len(numbers) != 2 or any(isinstance(number, (str, bool)) or not np.isfinite(number) for number in numbers):
        raise ValueError(f"{name} must be a number or two, in the orbit plane and vertical, not {value!r}")
    return float(numbers[0]), float(numbers[1])
