"""Optics from rays that the program itself tracks: what the magnets of a deck do, whatever they are.

Pairs of rays on both sides of the design orbit, in offset, angle and momentum, run through the lattice without self force
and are looked at about the orbit at some hundred places. Their differences give the transfer matrix from the start to
each place, their sums the second order of the path length. Vectors are (u [m], u', w [m], w', z [m], delta): u to the left,
w up, z the path length more than the reference particle's, delta the relative deviation of momentum. A chicane has R56
below 0, as in elegant: more energy, less path. Speeds do not enter: z is path, not time.
"""
from __future__ import annotations

import shutil
import tempfile
from dataclasses import dataclass
from pathlib import Path
from textwrap import wrap

import numpy as np

from ..beam.bunch import Bunch
from ..beam.orbit import coordinates
from ..constants import REST_ENERGY
from ..files.bunchfiles import read_bunch, write_bunch
from ..lattice.geometry import Boundary
from ..lattice.optics import Optics
from .orbit import Orbit
from .process import DECK, RunFailed, run_program

OFFSET, ANGLE, DELTA = 2e-6, 2e-6, 2e-4  # m, rad, 1: small against apertures, large against the last digit of a position
SECOND_DELTA = 5e-4  # for second differences, which need more
CLEAR = 1e-4  # m from a boundary within which nothing is looked at: there some rays are still on its other side
MOST_PLACES = 1900  # the program's time grid holds 2000

_TEXT = """lattice
{lattice}
particles {{ format = fmt1 array = #file {{ name = rays.dat }} }}
forces {{ type = none }}
track_step {{ time_grid_file = grid.dat steps_tolerance = 1e-9 }}
online_monitor {{ name = ray.dat format = fmt1 start_time_c0 = now end_time_c0 = {end!r} time_step_c0 = all }}
tracker {{ end_time_c0 = {end!r} }}
"""


@dataclass
class TransferMaps:
    """Transfer matrices from the start to places along the orbit."""

    s: np.ndarray  #: (N,) places [m]; the first is the start
    matrix: np.ndarray  #: (N, 6, 6)
    t566: np.ndarray  #: (N,) half the second derivative of the path length to delta [m]


@dataclass(frozen=True)
class TrackedOptics(Optics):
    """Optics along s with what rays tell besides. R56 is that of particles that start on the dispersion orbit."""

    t566: np.ndarray  #: second order of the path length, for particles that start on the design orbit [m]
    phase_u: np.ndarray  #: phase advance [rad]
    phase_w: np.ndarray


def track_rays(orbit: Orbit, program: str | Path | None = None, step: float | None = None, start: float | None = None,
               momentum: float = 1e9) -> TransferMaps:
    """Runs the program on the lattice of a deck.

    :param orbit: from `orbit.read_orbit` of a deck (a latout.dat does not tell all fields).
    :param program: the program; without it, it is looked for (`process.find_program`).
    :param step: largest distance of two places [m]; a four-hundredth of the lattice without it.
    :param start: place where the rays start [m], ahead of the first boundary; 0, or just ahead of it, without one.
    :param momentum: of the reference particle [eV/c].
    :raises ValueError: the program did not complete; a start behind the first boundary; no deck.
    """
    if not orbit.lattice:
        raise ValueError(f"{orbit.source}: optics needs a deck, which tells the fields")
    first = orbit.boundaries[0].s
    start = min(0.0, first - 1e-3) if start is None else start
    if start >= first:
        raise ValueError(f"the start at s = {start:.6g} m must lie ahead of the first boundary at {first:.6g} m")
    places = _places(orbit.boundaries, start, step)
    rays = _rays(start, momentum)
    beta = 1 / np.sqrt(1 + (REST_ENERGY / momentum) ** 2)
    times = (places - start) / beta
    folder = Path(tempfile.mkdtemp(prefix="tessaron-optics-"))
    try:
        write_bunch(folder / "rays.dat", rays, "fmt1")
        (folder / "grid.dat").write_text("".join(f"{time!r}\n" for time in times[1:].tolist()))
        lattice = "\n".join(wrap(" ".join(orbit.lattice), 300, break_long_words=False, break_on_hyphens=False))
        (folder / DECK).write_text(_TEXT.format(lattice=lattice, end=float(times[-1])))
        ending = run_program(folder, program=program)
        if not ending.completed:
            raise RunFailed(folder, ending)
        found = [_local(read_bunch(path, "fmt1"), rays, orbit.boundaries) for path in sorted(folder.glob("ray_*.dat"))]
    except RunFailed as failure:
        raise ValueError(f"the rays through {orbit.source} did not arrive: {failure.ending}") from None
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    if len(found) != len(places):
        raise ValueError(f"the program wrote {len(found)} of {len(places)} places")
    return _maps(np.array(found), places)


def optics(maps: TransferMaps, beta: tuple[float, float] | None = None, alpha: tuple[float, float] = (0.0, 0.0),
           dispersion: tuple[float, float] = (0.0, 0.0)) -> TrackedOptics:
    """Beta functions, dispersion and R56 along the lattice.

    :param beta: in the plane and vertical at the start [m], `alpha` likewise; None takes the periodic solution of both and of
        the dispersion, as for a cell that repeats.
    :param dispersion: u per delta [m] and u' per delta at the start.
    :raises ValueError: no periodic solution, a beta not above 0, or planes that are coupled.
    """
    m = maps.matrix
    scale = np.sqrt(np.abs(m[:, 0, 0] * m[:, 2, 2]).max() + 1)
    if max(np.abs(m[:, :2, 2:4]).max(), np.abs(m[:, 2:4, :2]).max()) > 1e-4 * scale:
        raise ValueError("the planes are coupled, so that there are no beta functions of each")
    if beta is None:
        (beta_u, alpha_u), (beta_w, alpha_w) = (_periodic(m[-1, k:k + 2, k:k + 2], name) for k, name in ((0, "orbit"), (2, "vertical")))
        beta, alpha = (beta_u, beta_w), (alpha_u, alpha_w)
        dispersion = tuple(np.linalg.solve(np.eye(2) - m[-1, :2, :2], m[-1, :2, 5]))
    elif min(beta) <= 0:
        raise ValueError(f"beta must be above 0, not {beta}")
    planes = [_twiss(m[:, k:k + 2, k:k + 2], beta[k // 2], alpha[k // 2]) for k in (0, 2)]
    along = m @ np.array([*dispersion, 0, 0, 0, 1.0])
    return TrackedOptics(maps.s, planes[0][0], planes[0][1], planes[1][0], planes[1][1], along[:, 0], along[:, 1], along[:, 4],
                         maps.t566, planes[0][2], planes[1][2])


def _places(boundaries: list[Boundary], start: float, step: float | None) -> np.ndarray:
    """Places on both sides of every boundary and in between."""
    edges = [start, *(b.s for b in boundaries)]
    length = edges[-1] - start
    step = max(step or length / 400, length / (MOST_PLACES - 6 * len(edges)))
    places = [start]
    for low, high in zip(edges, edges[1:]):
        clear = min(CLEAR, 0.01 * (high - low))
        inner = np.linspace(low + clear, high - clear, max(4, int(np.ceil((high - low) / step))) + 1)
        places += list(inner if low > start else inner[1:])
    return np.array([*places, edges[-1] + CLEAR])


def _rays(start: float, momentum: float) -> Bunch:
    """The reference particle and one pair for each of u, u', w, w', delta, and a wider one of delta."""
    offsets = np.zeros((6, 13))
    for k, (row, size) in enumerate(((1, OFFSET), (4, ANGLE), (2, OFFSET), (5, ANGLE))):
        offsets[row, 1 + 2 * k], offsets[row, 2 + 2 * k] = size, -size
        if row > 3:  # an angle at the same momentum
            offsets[row, 1 + 2 * k:3 + 2 * k] = momentum * np.sin([size, -size])
            offsets[3, 1 + 2 * k:3 + 2 * k] = -2 * momentum * np.sin(size / 2) ** 2
    offsets[3, 9:] = momentum * np.array([DELTA, -DELTA, SECOND_DELTA, -SECOND_DELTA])
    return Bunch(0.0, np.array([start, 0, 0, momentum, 0, 0]), offsets, np.full(13, 1e-15))


def _local(bunch: Bunch, rays: Bunch, boundaries: list[Boundary]) -> np.ndarray:
    """(13, 5) u, u', w, w' and path length of each ray where it passes the place of the reference particle, less those of that one."""
    local = coordinates(bunch, boundaries)
    slope_u, slope_w = local.pu / local.ps, local.pw / local.ps
    ahead = local.s[0] - local.s  # still to go, below 0 for those ahead
    u, w = local.u - local.u[0], local.w - local.w[0]
    r = next((b.r for b in boundaries if b.s > local.place), 0.0)
    stretch = (1 + u / r if r else 1.0) * np.sqrt(1 + slope_u**2 + slope_w**2)
    gamma2 = 1 + (rays.momentum / REST_ENERGY) ** 2
    speed = np.sqrt(1 - 1 / gamma2)
    faster = (1 / gamma2[0] - 1 / gamma2) / (speed + speed[0])
    path = bunch.ct * faster + ahead * stretch
    return np.array([u + slope_u * ahead, slope_u - slope_u[0], w + slope_w * ahead, slope_w - slope_w[0], path]).T


def _maps(found: np.ndarray, places: np.ndarray) -> TransferMaps:
    matrix = np.broadcast_to(np.eye(6), (len(places), 6, 6)).copy()
    sizes = (OFFSET, np.tan(ANGLE), OFFSET, np.tan(ANGLE), DELTA)
    for k, (column, size) in enumerate(zip((0, 1, 2, 3, 5), sizes)):
        matrix[:, :5, column] = (found[:, 1 + 2 * k] - found[:, 2 + 2 * k]) / (2 * size)
    return TransferMaps(places, matrix, (found[:, 11, 4] + found[:, 12, 4]) / (2 * SECOND_DELTA**2))


def _periodic(m: np.ndarray, name: str) -> tuple[float, float]:
    """beta [m] and alpha that a cell reproduces."""
    cosine = 0.5 * (m[0, 0] + m[1, 1])
    if abs(cosine) >= 1:
        raise ValueError(f"no periodic solution in the {name} plane: half the trace of the matrix is {cosine:.6g}")
    sine = np.sign(m[0, 1]) * np.sqrt(1 - cosine**2)
    return float(m[0, 1] / sine), float((m[0, 0] - m[1, 1]) / (2 * sine))


def _twiss(m: np.ndarray, beta: float, alpha: float) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    gamma = (1 + alpha**2) / beta
    a, b, c, d = m[:, 0, 0], m[:, 0, 1], m[:, 1, 0], m[:, 1, 1]
    phase = np.unwrap(np.arctan2(b, a * beta - b * alpha))
    return (a**2 * beta - 2 * a * b * alpha + b**2 * gamma, -a * c * beta + (a * d + b * c) * alpha - b * d * gamma, phase)
