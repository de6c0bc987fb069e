"""Where a force model stops being true for the bunch and the lattice at hand."""
from __future__ import annotations

from math import e, log1p, pi, sqrt
from typing import Callable

import numpy as np

from ..beam.bunch import Bunch
from ..constants import REST_ENERGY
from ..deck.reader import Place
from .lattice import smallest_radius
from .state import CheckState

GREATEST_SPREAD = 0.01  # rms of the momentum over its mean, for the models with one path for all
GREATEST_WIDTH = 0.3  # rms width over (sigma^2 R)^(1/3), for the line charge (Derbenev et al., TESLA-FEL 95-05)
GREATEST_SHARE = 0.03  # of the field of uniform motion
SHIELD_DEFAULT = 0.3  # m, shield_max where it is not given
KERNEL_REACH = 3.5355  # of the kernel's own grid, in units of sigma_long
ENOUGH_REACH = 3.0  # rms lengths of the bunch behind which nothing of weight is lost in an arc
Once = Callable[[str, Place, str], None]


def doubt_model(state: CheckState, once: Once, sigma: float | None) -> None:
    """Planes without the whole kernel, low energy, one path for a chirped bunch, a line for a wide one.

    :param once: warns, once for each key.
    :param sigma: sub-bunch length [m]; None if it cannot be told.
    """
    beam, kind, radius = state.beam, state.force_type, smallest_radius(state.boundaries)
    where = state.forces["type"].place
    if kind in ("csr_g_to_p", "csr_g_to_m"):
        momentum = beam.bunch.momentum[beam.bunch.charge != 0]
        spread = float(momentum.std() / momentum.mean())
        if spread > GREATEST_SPREAD:
            once("spread", where, f"{kind} gives all sub-bunches the path of one; a momentum spread or chirp of {100 * spread:.3g} % rms parts them, "
                 "above one percent it is not to be trusted; csr_p_to_m holds")
    if kind != "projected" or radius is None:
        return
    planes = plane_distance(state)
    if planes and sigma is not None:
        short = KERNEL_REACH * sigma < ENOUGH_REACH * beam.length
        if short or _drift_behind_arc(state):
            once("planes", state.forces["shield"].place, f"planes {planes:g} m apart: the kernel ends before the bunch does, "
                 f"{'so that most of the shielding is lost' if short else 'which is enough in arcs, but not in the drifts behind them'}; write shield_reach = bunch")
    _doubt_line(state, once, where, radius)


def _drift_behind_arc(state: CheckState) -> bool:
    radii = [b.r for b in state.boundaries[1:]]
    return any(before and not r for before, r in zip(radii, radii[1:]))


def plane_distance(state: CheckState) -> float | None:
    """Distance of planes [m] that shield this bunch and need the whole kernel; None if they do not, or have it."""
    radius = smallest_radius(state.boundaries)
    if state.force_type != "projected" or radius is None:
        return None
    shield, most, over = (state.forces.get(name) for name in ("shield", "shield_max", "shield_reach"))
    distance = shield.number if shield is not None and shield.number else 0.0
    farthest = most.number if most is not None and most.number else SHIELD_DEFAULT
    close = 0 < distance < min(farthest, 20 * (radius * state.beam.length**2) ** (1 / 3))
    return distance if close and (over is None or over.text != "bunch") else None


def _doubt_line(state: CheckState, once: Once, where: Place, radius: float) -> None:
    beam = state.beam
    width, height = _sizes(beam.bunch)
    gamma = float(np.hypot(beam.bunch.momentum[0] / REST_ENERGY, 1.0))
    share = uniform_motion_share(gamma, beam.length, sqrt((width**2 + height**2) / 2), radius)
    if share > GREATEST_SHARE:
        once("energy", where, f"projected leaves out the field of uniform motion, here about {100 * share:.2g} % of that of the radiation; it holds "
             f"below {100 * GREATEST_SHARE:.0f} %, the csr_ models hold at any energy")
    reach = (radius * beam.length**2) ** (1 / 3)
    if width / reach > GREATEST_WIDTH:
        once("wide", where, f"the bunch is {width:.3g} m rms wide in the plane, {width / reach:.2g} times (sigma^2 R)^(1/3); projected takes it for a "
             f"line, which holds below {GREATEST_WIDTH}")


def uniform_motion_share(gamma: float, length: float, across: float, radius: float) -> float:
    """The largest longitudinal field of uniform motion over that of the radiation in an arc, for a Gaussian bunch.

        (E_0 / E_csr) = C ln(gamma sigma / r) (R / sigma)^(2/3) / gamma^2,   C = 2 / (sqrt(2 pi e) 0.6167) = 0.785

    A charge Q of rms length sigma and rms radius r has on its axis the field
    E_0(z) = -Q / (4 pi eps0 gamma^2) 2 ln(gamma sigma / r) lambda'(z) where gamma sigma >> r, largest at z = sigma with
    -lambda' = 1 / (sqrt(2 pi e) sigma^2); that of the radiation is 0.6167 Q / (4 pi eps0) R^(-2/3) sigma^(-4/3) at most (Derbenev
    et al., TESLA-FEL 95-05). Against the exact field of a Gaussian ellipsoid (the integral of Kellogg, Foundations of Potential
    Theory, ch. 7, in the rest frame) it is right to 3 %. A round bunch below gamma sigma / r of 1 gets the logarithm's root form.

    :param length: rms length sigma [m].
    :param across: rms radius r [m], the root of the mean square of width and height; at least a hundredth of sigma counts.
    :param radius: of the arc [m].
    """
    ratio = gamma * length / max(across, 0.01 * length)
    return 2 / (sqrt(2 * pi * e) * 0.6167) * 0.5 * log1p(ratio**2) * (radius / length) ** (2 / 3) / gamma**2


def _sizes(bunch: Bunch) -> tuple[float, float]:
    """Rms width across the direction of particle 1 in the plane, less what is linear in the place along it, and rms height [m]."""
    px, py = bunch.reference[3:5]
    source = bunch.charge != 0
    norm = float(np.hypot(px, py)) or 1.0
    along, across = ((px * bunch.offsets[0] + py * bunch.offsets[1])[source] / norm, (px * bunch.offsets[1] - py * bunch.offsets[0])[source] / norm)
    along, across = along - along.mean(), across - across.mean()
    tilt = along @ across / (along @ along) if along.any() else 0.0
    return float((across - tilt * along).std()), float(bunch.offsets[2][source].std())


def noise_of(bunch: Bunch, direction: np.ndarray, step: float) -> float:
    """How noisy the density along the bunch is: 1 for particles drawn at random, near 0 for a quiet start.

    Of the charges n in steps of a given length, the mean square of n[k-1] - 2 n[k] + n[k+1] over what it is for independent
    particles, n[k-1] + 4 n[k] + n[k+1]: what is smooth drops out.

    :param direction: (2,) along the bunch, in the plane.
    :param step: [m]; of some five particles at least, short against the bunch.
    """
    source = bunch.charge != 0
    place, charge = direction @ bunch.offsets[:2, source], np.abs(bunch.charge[source])
    cell = ((place - place.min()) / step).astype(int)
    count, square = (np.pad(np.bincount(cell, weight), 1) for weight in (charge, charge**2))
    bend = count[:-2] - 2 * count[1:-1] + count[2:]
    return float(bend @ bend / (square[:-2] + 4 * square[1:-1] + square[2:]).sum())
