"""Linear optics of a row of elements, by the matrices of the textbooks (Wiedemann, Particle Accelerator Physics, ch. 5 and 7).

Vectors are (u [m], u', w [m], w', z [m], delta): u to the left, w up, z the distance *behind* the reference particle, delta
the relative deviation of momentum; all speeds count as that of light. A chicane has R56 below 0, as in elegant: more energy,
less path.
"""
from __future__ import annotations

from dataclasses import dataclass
from math import cos, cosh, isclose, pi, sin, sinh, sqrt, tan
from typing import TYPE_CHECKING, Sequence

import numpy as np

from .elements import Dipole, Element, Map, Multipole, Quadrupole, ThinQuadrupole, length_of

if TYPE_CHECKING:
    from matplotlib.figure import Figure


@dataclass(frozen=True)
class Optics:
    """Linear optics along s, arrays of one length."""

    s: np.ndarray  #: [m]
    beta_u: np.ndarray  #: in the orbit plane [m]
    alpha_u: np.ndarray
    beta_w: np.ndarray  #: vertical [m]
    alpha_w: np.ndarray
    dispersion: np.ndarray  #: u per relative momentum [m]
    dispersion_slope: np.ndarray
    r56: np.ndarray  #: path length per relative momentum since the start [m]

    def plot(self) -> "Figure":
        """Beta functions, dispersion and R56 along s."""
        from matplotlib.figure import Figure

        figure = Figure(figsize=(8, 6), layout="constrained")
        beta, dispersion, path = figure.subplots(3, 1, sharex=True)
        beta.plot(self.s, self.beta_u, label="in the plane")
        beta.plot(self.s, self.beta_w, "--", label="vertical")
        beta.set_ylabel("beta / m")
        beta.legend()
        dispersion.plot(self.s, self.dispersion)
        dispersion.set_ylabel("dispersion / m")
        path.plot(self.s, self.r56)
        path.set_ylabel("R56 / m")
        path.set_xlabel("s / m")
        return figure


def optics(elements: Sequence[Element], beta: tuple[float, float] = (10.0, 10.0), alpha: tuple[float, float] = (0.0, 0.0),
           dispersion: tuple[float, float] = (0.0, 0.0), step: float = 0.05) -> Optics:
    """Beta functions, dispersion and R56 along the elements.

    :param beta: in the plane and vertical at s = 0 [m], above 0; alpha: likewise.
    :param dispersion: u per delta [m] and u' per delta at s = 0.
    :param step: largest distance of two points [m].
    :raises ValueError: a beta or step that is not above 0, or an element that couples the planes.
    """
    if min(beta) <= 0 or step <= 0:
        raise ValueError(f"optics: beta and step must be above 0, not {beta} and {step!r}")
    place, total, rows = 0.0, np.eye(6), []

    def note() -> None:
        planes = [_twiss(total[k:k + 2, k:k + 2], beta[k // 2], alpha[k // 2]) for k in (0, 2)]
        orbit = total @ np.array([*dispersion, 0, 0, 0, 1.0])
        rows.append((place, *planes[0], *planes[1], orbit[0], orbit[1], total[4, 5]))

    note()
    for element in elements:
        for length, matrix in _slices(element, step):
            if abs(matrix[:2, 2:4]).max() + abs(matrix[2:4, :2]).max() > 1e-12:
                raise ValueError(f"optics: {element!r} couples the planes")
            total, place = matrix @ total, place + length
            note()
    return Optics(*np.array(rows).T)


def matrix_of(elements: Sequence[Element]) -> np.ndarray:
    """(6, 6) matrix of the whole row."""
    total = np.eye(6)
    for element in elements:
        for _, matrix in _slices(element, float("inf")):
            total = matrix @ total
    return total


def _slices(element: Element, step: float) -> list[tuple[float, np.ndarray]]:
    """Lengths [m] and matrices of parts of at most a step, the edges of a bend among them."""
    length = length_of(element)
    if isinstance(element, ThinQuadrupole):
        kick = np.eye(6)
        kick[1, 0], kick[3, 2] = -element.effective_length * element.k1, element.effective_length * element.k1
        return [(0.0, kick)]
    if isinstance(element, Map):
        whole = np.eye(6)
        whole[:4, :4] = element.matrix
        return [(0.0, whole)]
    count = max(1, int(np.ceil(length / step))) if length else 0
    parts = [(length / count, _body(element, length / count))] * count if count else []
    if isinstance(element, Dipole) and element.angle:
        parts = [(0.0, _edge(element, element.e1)), *parts, (0.0, _edge(element, element.e2))]
    return parts


def _body(element: Element, length: float) -> np.ndarray:
    matrix = np.eye(6)
    if isinstance(element, Dipole) and element.angle:
        h = 1 / element.radius
        c, s = cos(h * length), sin(h * length)
        matrix[:2, :2] = [[c, s / h], [-h * s, c]]
        matrix[2, 3] = length
        matrix[:2, 5] = (1 - c) / h, s
        matrix[4, :2] = s, (1 - c) / h
        matrix[4, 5] = length - s / h
        return matrix
    if isinstance(element, Quadrupole) or isinstance(element, Multipole) and element.poles == 4:
        k = element.k1 if isinstance(element, Quadrupole) else element.strength
        matrix[:2, :2], matrix[2:4, 2:4] = _focusing(k, length), _focusing(-k, length)
        return _tilted(matrix, element.tilt)
    matrix[0, 1] = matrix[2, 3] = length
    return matrix


def _focusing(k: float, length: float) -> np.ndarray:
    if k == 0:
        return np.array([[1.0, length], [0.0, 1.0]])
    root = sqrt(abs(k))
    c, s = (cos(root * length), sin(root * length)) if k > 0 else (cosh(root * length), sinh(root * length))
    return np.array([[c, s / root], [-k * s / root, c]])


def _tilted(matrix: np.ndarray, tilt: float) -> np.ndarray:
    """The matrix of an element that is turned about its axis, from left to up."""
    if isclose(tilt % pi, 0, abs_tol=1e-15):
        return matrix
    turn = np.eye(6)
    turn[:4, :4] = np.kron(np.array([[cos(tilt), sin(tilt)], [-sin(tilt), cos(tilt)]]), np.eye(2))
    return turn.T @ matrix @ turn


def _edge(bend: Dipole, angle: float) -> np.ndarray:
    matrix = np.eye(6)
    matrix[1, 0], matrix[3, 2] = tan(angle) / bend.radius, -tan(angle) / bend.radius
    return matrix


def _twiss(m: np.ndarray, beta: float, alpha: float) -> tuple[float, float]:
    gamma = (1 + alpha**2) / beta
    return (m[0, 0]**2 * beta - 2 * m[0, 0] * m[0, 1] * alpha + m[0, 1]**2 * gamma,
            -m[0, 0] * m[1, 0] * beta + (m[0, 0] * m[1, 1] + m[0, 1] * m[1, 0]) * alpha - m[0, 1] * m[1, 1] * gamma)
