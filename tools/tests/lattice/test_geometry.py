"""The orbit of a lattice block: points worked out by hand, and the same lattice told in other words."""
from math import asin, cos, degrees, hypot, pi, radians, sin

import chicane
import pytest

from tessaron.lattice.geometry import Boundary, add_boundary, orbit_position


def lattice(*positions) -> list[Boundary]:
    """Boundaries from pairs of radius and keys."""
    boundaries: list[Boundary] = []
    for r, values in positions:
        add_boundary(boundaries, values, r, "", True)
    return boundaries


def benchmark() -> list[Boundary]:
    faces = [(1.0, 0), (1.5, 1), (6.5, 0), (7.0, -1), (8.0, 0), (8.5, -1), (13.5, 0), (14.0, 1), (16.0, 0)]
    return lattice(*((sign * chicane.RADIUS, {"rho": x, "psi": 0.0}) for x, sign in faces))


@pytest.mark.parametrize("values, x", [({"delta_s": 0.5}, 0.5), ({"rho": 1.0, "psi": 60.0}, 2.0), ({"rho": 1.0, "delta_psi": 60.0}, 2.0)])
def test_first_boundaries(values, x):
    (b,) = lattice((0, values))
    assert (b.x, b.y, b.s) == (pytest.approx(x), 0, pytest.approx(x))


@pytest.mark.parametrize("r, end, tangent", [(1.0, (1, -1), (0, -1)), (-1.0, (1, 1), (0, 1))])
def test_a_positive_radius_turns_clockwise(r, end, tangent):
    _, b = lattice((0, {"delta_s": 0.0}), (r, {"delta_s": pi / 2}))
    assert (b.x, b.y, b.tx, b.ty) == pytest.approx((*end, *tangent), abs=1e-12)


def test_the_benchmark_chicane_closes():
    bounds = benchmark()
    last, theta = bounds[-1], asin(chicane.DIPOLE / chicane.RADIUS)
    assert (last.x, last.y, last.tx, last.ty) == pytest.approx((16, 0, 1, 0), abs=1e-12)
    assert last.s == pytest.approx(1 + 4 * chicane.RADIUS * theta + 2 * 5 / cos(theta) + 1 + 2, abs=1e-12)
    assert degrees(asin(-bounds[1].ty)) == pytest.approx(degrees(theta))


def test_relative_and_absolute_words_give_the_same_lattice():
    absolute = benchmark()
    theta, positions, previous = asin(chicane.DIPOLE / chicane.RADIUS), [], 0.0
    for b in absolute:
        positions.append((b.r, {"delta_s": b.s - previous, "psi": 0.0} if not b.r else {"delta_s": chicane.RADIUS * theta, "psi": 0.0}))
        previous = b.s
    for one, other in zip(absolute, lattice(*positions)):
        assert (one.x, one.y, one.tx, one.ty, one.nx, one.ny, one.s) == pytest.approx(
            (other.x, other.y, other.tx, other.ty, other.nx, other.ny, other.s), abs=1e-12)


@pytest.mark.parametrize("positions, words", [
    ([(0, {})], "rho or delta_s"),
    ([(0, {"rho": 1.0, "psi": 90.0})], "along the orbit"),
    ([(0, {"delta_s": 1.0}), (2.0, {"rho": 3.0})], "needs delta_s"),
    ([(0, {"delta_s": 1.0}), (2.0, {"delta_s": -1.0})], "must be above 0"),
    ([(0, {"delta_s": 1.0}), (0.5, {"rho": 3.0, "psi": 0.0})], "does not reach"),
    ([(0, {"delta_s": 0.1 * k}) for k in range(101)], "more than 100"),
])
def test_impossible_positions(positions, words):
    with pytest.raises(ValueError, match=words):
        lattice(*positions)


@pytest.mark.parametrize("s", [0.4, 1.2, 4.0, 7.5, 13.7, 15.0, 17.5])
def test_a_place_on_the_orbit_is_found(s):
    bounds = benchmark()
    before = max((b for b in bounds if b.s <= s), key=lambda b: b.s, default=Boundary("", True, 0, 0, 1, 0, 1, 0, 0, 0))
    r = next((b.r for b in bounds if b.s > s), 0.0)
    length = s - before.s
    if r:  # integrate the arc in small straight steps
        x, y, steps = before.x, before.y, 20000
        for k in range(steps):
            a = -(k + 0.5) / steps * length / r
            x += length / steps * (before.tx * cos(a) - before.ty * sin(a))
            y += length / steps * (before.tx * sin(a) + before.ty * cos(a))
    else:
        x, y = before.x + length * before.tx, before.y + length * before.ty
    found, distance, _ = orbit_position(bounds, x, y)
    assert found == pytest.approx(s, abs=1e-4) and distance < 1e-4
    found, distance, direction = orbit_position(bounds, x, y + 0.01)
    assert distance == pytest.approx(0.01 * cos(direction), rel=0.02) and hypot(found - s, 0) < 1e-3


@pytest.mark.parametrize("degree", [60, 180, 270, 330])
@pytest.mark.parametrize("r", [2.0, -0.7])
def test_a_place_in_a_long_arc_is_found(degree, r):
    turn = radians(degree)
    bounds = lattice((0, {"delta_s": 0.5}), (r, {"delta_s": abs(r) * turn}), (0, {"delta_s": 0.1}))
    for part in (0.013, 0.305, 0.6237, 0.995):
        for u in (0.0, 1e-3):  # to the left
            a = part * turn
            x, y = 0.5 + (abs(r) + (u if r > 0 else -u)) * sin(a), (r + u) * cos(a) - r
            s, distance, direction = orbit_position(bounds, x, y)
            assert (s, distance) == pytest.approx((0.5 + abs(r) * a, u), abs=1e-12)
            assert cos(direction + (a if r > 0 else -a)) == pytest.approx(1, abs=1e-14)
