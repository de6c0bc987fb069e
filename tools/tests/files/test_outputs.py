"""Readers of a run's other files, on files written here by hand, and what pictures make of them."""
import numpy as np
import pytest

from tessaron.files import outputs
from tessaron.constants import REST_ENERGY
from tessaron.lattice.geometry import design_orbit
from tessaron.pictures.greenmesh import crossings, extent, inside, mesh_lines, wavefront_zones

LATOUT = """ ------------------------------------------------
 i= 1   marker= in   duty= T

 1 1
 2 0
 3 1
 4 0
 5 1
 6 0
 7 1
 8 0

 1 1
 2 0
 3 0
 4 0
 ------------------------------------------------
 i= 2   marker= undefined   duty= F

 1 2
 2 -1
 3 0
 4 -1
 5 0
 6 -1
 7 2.570796326794897
 8 1

 1 1
 2 1
 3 1
 4 1

   private integers
 1 2

   private reals
 1 0.5
 ------------------------------------------------
"""


def test_latout(tmp_path):
    (tmp_path / "latout.dat").write_text(LATOUT)
    first, second = outputs.read_latout(tmp_path / "latout.dat")
    assert (first.marker, first.duty, second.marker, second.duty) == ("in", True, "", False)
    assert (second.x, second.y, second.r, second.element) == (2, -1, 1, (1, 1))
    x, y = design_orbit([first, second])
    # a quarter of a circle of radius 1 about (1, -1), clockwise
    arc = x > 1 + 1e-9
    np.testing.assert_allclose(np.hypot(x[arc] - 1, y[arc] + 1), 1, rtol=1e-12)
    assert (x[-1], y[-1]) == pytest.approx((2, -1))


def test_tables(tmp_path):
    path = tmp_path / "s"
    path.write_text("  0.1000000E+00  0.2000000E-05 1      3      0      0      0      0\n  0.2000000E+00  0.4000000E-05 0      6      0      0      0      1\n")
    table = outputs.read_steps(path)
    assert list(table.ct) == [0.1, 0.2] and list(table.duty) == [True, False] and list(table.calls[0]) == [3, 6] and table.calls[4, 1] == 1
    path.write_text(" 0.1 1e-5 2e-5 3e-5\n 0.2 1e-5 2e-5 3e-5\n")
    assert outputs.read_subbunch(path).shape == (2, 4)
    path.write_text(" -1\n 1\n 5\n 6\n 7\n")
    grid = outputs.read_grid(path)
    assert list(grid.position) == [-1, 0, 1] and list(grid.value) == [5, 6, 7]
    path.write_text("1 2 3\n")
    with pytest.raises(ValueError, match="cannot be whole lines of 8"):
        outputs.read_steps(path)


def test_forces_are_in_volts_per_metre(tmp_path):
    (tmp_path / "fc1.dat").write_text("0 0 -2e-6 1000\n1e-6 0 1e-6 1001\n")
    (tmp_path / "fc2.dat").write_text("0 0 -2e-6 1e-6\n")
    one, two = outputs.read_force(tmp_path / "fc1.dat"), outputs.read_force(tmp_path / "fc2.dat")
    assert one.along == pytest.approx(REST_ENERGY * np.array([-2e-6, 1e-6])) and one.across is None and list(one.momentum) == [1000, 1001]
    assert two.across == pytest.approx([REST_ENERGY * 1e-6]) and two.momentum is None


@pytest.mark.parametrize("angle", [0.0, 0.4, -1.2])
def test_the_direction_of_a_force_file_is_found(angle):
    random = np.random.default_rng(3)
    s, u = 1e-4 * random.standard_normal(1500), 2e-4 * random.standard_normal(1500)  # wider than long
    dx, dy = np.cos(angle) * s - np.sin(angle) * u, np.sin(angle) * s + np.cos(angle) * u
    force = outputs.ParticleForce(dx, dy, -np.exp(-0.5 * (s / 1e-4) ** 2), None, None)
    assert outputs.direction_of(force) == pytest.approx(angle, abs=2e-3)


def test_wavefronts_cross_the_mesh_where_circles_do():
    # a circle of radius 10 about (-9.5, 0) cuts the square of half side 1 at a = -9.5 + sqrt(100 - b^2), b = +-1
    corners = np.repeat([[1.0, -1, -1, 1], [1, 1, -1, -1]], 5, axis=1)  # 20 corners, five at each place
    mesh = outputs.GreenFile(corners, np.array([[-10.0, 0.0], [-9.5, 0.0], [0.0, 0.0], [0.0, 0.0]]))
    points = crossings(mesh.polygon, -9.5, 0.0, 10.0)
    np.testing.assert_allclose(np.abs(points[1]), 1, atol=1e-12)
    np.testing.assert_allclose(points[0], -9.5 + np.sqrt(99), rtol=1e-12)
    assert inside(mesh.polygon, 0.5, 0) and not inside(mesh.polygon, 1.5, 0)
    zones = wavefront_zones(mesh, 0.01)
    # around the sub-bunch, then from the crossing to the circle's foremost point a = 0.5, five sub-bunch lengths wider
    assert zones == [pytest.approx((-0.05, 0.05)), pytest.approx((-9.5 + np.sqrt(99) - 0.05, 0.55))]


def test_mesh_lines_are_even_in_zones_and_graded_between():
    a = np.array([-1, 1, 1, -1]), np.array([-1, -1, 1, 1])
    # a wavefront of radius 10 whose foremost point is at 0.6: zones from -0.05 to 0.05 and from 0.5 to 0.65
    mesh = outputs.GreenFile(np.array(a), np.array([[-10.0], [-9.4], [0.0], [0.1]]))
    sigma = 0.01
    lines = mesh_lines(mesh, sigma)
    low, high = extent(mesh.polygon, lines)
    assert lines[0] == -1 and lines[-1] == 1 and np.all(low == -1) and np.all(high == 1)
    steps = np.diff(lines)
    start = -9.4 + np.sqrt(99) - 0.05
    assert all(np.any((lines[:-1] >= z0 - 1e-9) & (lines[1:] <= z1 + 1e-9)) for z0, z1 in ((-0.05, 0.05), (start, 0.65)))
    within = ((lines[:-1] > -0.05 - 1e-9) & (lines[1:] < 0.05 + 1e-9)) | ((lines[:-1] > start - 1e-9) & (lines[1:] < 0.65 + 1e-9))
    assert np.all(steps[within] <= 0.2 * sigma * (1 + 1e-9)) and np.all(steps[within] > 0.18 * sigma)
    assert steps.max() <= 5 * sigma and steps[0] > 3 * sigma
    ratio = steps[1:] / steps[:-1]
    assert np.all((ratio < 1.6) & (ratio > 1 / 1.6))
    assert np.diff(mesh_lines(mesh, sigma, shielded=True)).max() <= 0.5 * sigma


def test_green_files(tmp_path):
    lines = ["20", *["1"] * 20, "20", *["2"] * 20]
    for column in ([-3, 0], [1, 2], [3, 4], [0.1, 0]):
        lines += ["2", *map(str, column)]
    (tmp_path / "g").write_text("\n".join([*lines, "7.5"]))
    mesh = outputs.read_green(tmp_path / "g")
    assert mesh.ct == 7.5 and list(mesh.arcs[0]) == [-3, 0] and list(mesh.arcs[3]) == [0.1, 0] and mesh.polygon.shape == (2, 20)
    (tmp_path / "g").write_text("\n".join(lines[:30]))
    with pytest.raises(ValueError, match="not a mesh file"):
        outputs.read_green(tmp_path / "g")
