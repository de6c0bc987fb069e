"""The bunch compressor by an independent one-dimensional calculation, without the program.

    check.py [--energy EV] [--charge C] [--planes M] [--shield-max M] [--second-order C2] [--gaussian] [--step M]

A few hundred particles, evenly spaced in the Gaussian that the bunch starts with, move through the chicane as points; the
longitudinal field is the retarded integral over the design orbit, done anew for every step. `--gaussian` takes the charge for a
Gaussian of the local rms length at every place instead of what it is. `--planes` puts image charges of alternating sign above and
below the orbit, faded out towards `--shield-max`.
"""
from __future__ import annotations

import argparse
from dataclasses import dataclass
from functools import partial

import numpy as np

import chicane

REST, COULOMB = 0.51099895e6, 8.9875517923e9  # eV, V m/C
FACES = np.array([1.0, 1.5, 6.5, 7.0, 8.0, 8.5, 13.5, 14.0])  # m along the axis, entrance and exit of the four dipoles
SINES = np.array([0, 1, 1, 0, 0, -1, -1, 0]) * -chicane.DIPOLE / chicane.RADIUS  # sine of the orbit's angle at the faces
END = 16.0  # m


@dataclass(frozen=True)
class Case:
    """What is calculated."""

    energy: float = 5e9  # eV
    charge: float = 1e-9  # C
    planes: float = 0.0  # distance of the planes [m], 0 for none
    shield_max: float = 0.3  # where the images have faded out [m]
    second_order: float = 0.0  # of the chirp [1/m^2]
    gaussian: bool = False
    step: float = 0.02  # m

    @property
    def gamma(self) -> float:
        return self.energy / REST

    @property
    def beta(self) -> float:
        return np.sqrt(1 - 1 / self.gamma**2)

    @property
    def lag(self) -> float:
        """1 - beta, to all digits."""
        return 1 / (self.gamma**2 * (1 + self.beta))


def orbit() -> tuple[np.ndarray, np.ndarray]:
    """Path lengths and axis coordinates of the faces on the design orbit."""
    theta, (sine, fall) = np.arcsin(SINES), (SINES[:-1], np.diff(SINES))
    width = np.diff(FACES)
    with np.errstate(divide="ignore", invalid="ignore"):
        arc = width * np.diff(theta) / fall  # R dtheta; R = width / d(sin)
    path = np.where(fall == 0, width / np.sqrt(1 - sine**2), arc)
    return FACES[0] + np.concatenate([[0], np.cumsum(path)]), theta


S, THETA = orbit()
Y = np.zeros(S.size)  # of the faces, filled below


def place(s: np.ndarray) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Point and angle of the design orbit at the path length s: exact arcs and straights between the faces."""
    k = np.clip(np.searchsorted(S, s, side="right") - 1, -1, S.size - 1)
    inside = (k >= 0) & (k < S.size - 1)
    k0, k1 = np.maximum(k, 0), np.minimum(np.maximum(k, 0) + 1, S.size - 1)
    share = np.where(inside, (s - S[k0]) / np.where(k1 > k0, S[k1] - S[k0], 1), 0)
    angle = THETA[k0] + share * (THETA[k1] - THETA[k0])
    half = (angle - THETA[k0]) / 2
    chord = (s - S[k0]) * np.sinc(half / np.pi)
    return FACES[k0] + chord * np.cos(THETA[k0] + half), Y[k0] + chord * np.sin(THETA[k0] + half), angle


for face in range(1, S.size):
    Y[face] = place(S[face] - 1e-13)[1]


def geometry(s: float, P: np.ndarray, height: float = 0.0) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Distance D of the source at s + P, a height above the orbit, from the observer at s; u n and u u'."""
    (x, y, angle), (x0, y0, angle0) = place(s + P), place(np.array(s))
    dx, dy = x0 - x, y0 - y
    D = np.sqrt(dx**2 + dy**2 + height**2)
    return D, (dx * np.cos(angle0) + dy * np.sin(angle0)) / D, np.cos(angle - angle0)


def integral(case: Case, s: float, length: float, height: float = 0.0) -> tuple[np.ndarray, ...]:
    """Nodes of the retarded integral for an observer at s: path P <= 0, Q, and the weighted factors of lambda' and lambda.

    With the potentials of a line charge on the orbit, D the distance, n the line of sight, u and u' the directions of motion,
        E u = -k Int ( lambda'(z + Q) (beta u n - beta^2 u u') / D - lambda(z + Q) u n / D^2 ) dP,   Q = P + beta D,
    less the same on a straight orbit (n = u' = u, D = -P). There Q = P (1 - beta), so that the nodes go to
    |P| = 40 sigma / (1 - beta); on the bent orbit the sources have left the bunch long before.
    """
    near, per_log = (1e-6, 0.03) if height == 0 else (0.1 * height, 0.05)
    far = 40 * length / case.lag
    table = np.unique(np.concatenate([-np.geomspace(near, far, int(100 * np.log(far / near))),
                                      *(np.linspace(a, b, 400) - s for a, b in zip(S, S[1:]))]))
    table = table[(-far <= table) & (table <= -near)]  # from afar
    Q = np.clip(table + case.beta * geometry(s, table, height)[0], -16 * length, 16 * length)
    steps = np.abs(np.diff(Q)) / (0.1 * length) + np.abs(np.diff(np.log(-table))) / per_log
    count = np.concatenate([[0], np.cumsum(steps)])
    P = np.interp(np.linspace(0, count[-1], int(count[-1]) + 2), count, table)
    D, sight, motion = geometry(s, P, height)
    weight = np.zeros(P.size)
    weight[:-1] += np.diff(P) / 2
    weight[1:] += np.diff(P) / 2
    return P, weight, P + case.beta * D, weight * (case.beta * sight - case.beta**2 * motion) / D, weight * sight / D**2


def images(case: Case, s: float, length: float) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Kernel of all images on a grid of Q: the grid, the weighted factors of lambda' and of lambda."""
    grid = np.linspace(-14 * length, 14 * length, 1121)
    factors = np.zeros((2, grid.size))
    for i in range(1, int(case.shield_max / case.planes + 0.5) + 1):
        sign = 2 * (-1) ** i * np.cos(np.pi * i * case.planes / (2 * case.shield_max))  # above and below
        _, _, Q, *both = integral(case, s, length, i * case.planes)
        cell = (Q - grid[0]) / (grid[1] - grid[0])
        inside = (cell >= 0) & (cell < grid.size - 1)
        left = cell[inside].astype(int)
        share = cell[inside] - left
        for total, factor in zip(factors, both):
            total += sign * np.bincount(left, factor[inside] * (1 - share), grid.size)
            total += sign * np.bincount(left + 1, factor[inside] * share, grid.size)
    return grid, *factors


def field(case: Case, s: float, z: np.ndarray, length: float, density, slope) -> np.ndarray:
    """Longitudinal field at the places z for a charge of 1 C [V/m]."""
    P, weight, Q, for_slope, for_density = integral(case, s, length)
    here, straight = z[:, None] + Q, z[:, None] + P * case.lag
    sum_ = slope(here) @ for_slope - density(here) @ for_density
    sum_ += slope(straight) @ (weight * case.beta * case.lag / P) + density(straight) @ (weight / P**2)
    if case.planes > 0:
        Q, for_slope, for_density = images(case, s, length)
        here = z[:, None] + Q
        sum_ += slope(here) @ for_slope - density(here) @ for_density
    return -COULOMB * sum_


def profile(z: np.ndarray, u: np.ndarray, gaussian: bool):
    """Line density and slope as functions of the place, from the places of particles evenly spaced in u."""
    weight = np.exp(-u**2 / 2)
    if gaussian:
        mean = np.average(z, weights=weight)
        rms = np.sqrt(np.average((z - mean) ** 2, weights=weight))
        bell = lambda x: np.exp(-0.5 * ((x - mean) / rms) ** 2) / (np.sqrt(2 * np.pi) * rms)  # noqa: E731
        return rms, bell, lambda x: -(x - mean) / rms**2 * bell(x)
    order = np.argsort(z)
    z, weight = z[order], weight[order]
    density = weight / np.sqrt(2 * np.pi) / np.abs(np.gradient(z, u[1] - u[0]))
    rms = np.sqrt(np.average((z - np.average(z, weights=weight)) ** 2, weights=weight))
    slope = np.gradient(density, z)
    return rms, partial(np.interp, xp=z, fp=density, left=0, right=0), partial(np.interp, xp=z, fp=slope, left=0, right=0)


def track(case: Case) -> dict[str, float]:
    """Mean and rms energy change [share of the energy], rms length [m] and normalised emittance in the plane [m] at the end."""
    u = np.linspace(-4.0, 4.0, 321)  # farther out the bunch folds over at its highest compression, where the density has no bound
    x, y = 200e-6 * u, np.zeros(u.size)
    start = 1 - 36.0 * x + case.second_order * x**2  # the tail has more energy
    p, across = start.copy(), np.zeros(u.size)  # across: p_y less what the dipoles gave
    weight = np.exp(-u**2 / 2)
    weight /= weight.sum()
    middle, s = u.size // 2, 0.0
    given = partial(np.interp, xp=FACES, fp=SINES)  # p_y / p0 of the dipoles depends on x alone

    def velocity(x):
        sine = (across + given(x)) / p
        return np.sqrt(1 - sine**2), sine

    step = case.step
    while x[middle] < END:
        vx, vy = velocity(x)
        cosine, sine = vx[middle], vy[middle]
        z = (x - x[middle]) * cosine + (y - y[middle]) * sine
        rms, density, slope = profile(z, u, case.gaussian)
        gain = case.charge * step * field(case, s + step / 2, z, rms, density, slope) / case.energy if 1 < s else 0.0
        across, p = across + gain * vy, p + gain
        for _ in range(4):
            vx, vy = velocity(x + velocity(x)[0] * step / 8)
            x, y = x + vx * step / 4, y + vy * step / 4
        s += step
    change = p - start
    mean, (slope_y, length) = weight @ change, ((across / p), x)
    spread = lambda a, b: weight @ ((a - weight @ a) * (b - weight @ b))  # noqa: E731
    drift = np.sum(np.diff(np.linspace(0, END, 4001)) / (1 - given(np.linspace(0, END, 4000)) ** 2) ** 1.5)
    emittance, beta, alpha = 1e-6 / case.gamma, 40.0, 2.6  # 1 m behind the start
    drift -= 1.0
    twiss = (1 + alpha**2) / beta
    uu = emittance * (beta - 2 * alpha * drift + twiss * drift**2) + spread(y, y)
    uv = emittance * (-alpha + twiss * drift) + spread(y, slope_y)
    vv = emittance * twiss + spread(slope_y, slope_y)
    return {"mean": mean, "rms": np.sqrt(spread(change, change)), "length": np.sqrt(spread(length, length)),
            "emittance": case.gamma * np.sqrt(uu * vv - uv**2)}


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--energy", type=float, default=5e9, help="eV")
    parser.add_argument("--charge", type=float, default=1e-9, help="C")
    parser.add_argument("--planes", type=float, default=0.0, help="distance of the conducting planes [m], 0 for none")
    parser.add_argument("--shield-max", type=float, default=0.3, help="largest distance of an image [m]")
    parser.add_argument("--second-order", type=float, default=0.0, help="of the chirp [1/m^2]; 1948 keeps the bunch Gaussian")
    parser.add_argument("--gaussian", action="store_true", help="take the charge for a Gaussian of the local length")
    parser.add_argument("--step", type=float, default=0.02, help="m")
    result = track(Case(**vars(parser.parse_args())))
    print("mean {:.5g} %  rms {:.5g} %  emittance {:.4f} um  length {:.3f} um".format(
        100 * result["mean"], 100 * result["rms"], 1e6 * result["emittance"], 1e6 * result["length"]))


if __name__ == "__main__":
    main()
