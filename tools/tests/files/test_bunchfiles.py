"""Bunch files: round trips, the grammar of their numbers, and each format's axes on records worked out by hand."""
import numpy as np
import pytest
from conftest import assert_same

from tessaron.beam.bunch import frame_along
from tessaron.files.bunchfiles import guess_format, read_bunch, write_bunch
from tessaron.files.fixed import fixed_numbers
from tessaron.constants import REST_ENERGY


@pytest.mark.parametrize("fmt", ["fmt1", "fmt2", "umbra"])
def test_a_written_bunch_reads_back(tmp_path, askew, fmt):
    write_bunch(tmp_path / "b", askew, fmt)
    assert_same(read_bunch(tmp_path / "b", fmt), askew)
    assert guess_format(tmp_path / "b") == ("umbra" if fmt == "umbra" else "fmt1")


def test_numbers_may_be_spread_over_lines_and_carry_comments(tmp_path):
    path = tmp_path / "b"
    path.write_text("2.5 any six words may stand here\n! a comment\n 1,2;3\n1D9 0\n0 1e-12 ! reference\n1e-6 0 0 5d3 0 0 1e-12\n")
    bunch = read_bunch(path, "fmt1")
    assert bunch.ct == 2.5
    assert list(bunch.reference) == [1, 2, 3, 1e9, 0, 0]
    assert bunch.px[1] == 1e9 + 5e3 and bunch.x[1] == 1 + 1e-6


def test_the_programs_own_tables_are_read_fast_and_to_the_last_digit():
    random = np.random.default_rng(8)
    values = random.choice([-1, 1], 70000) * random.random(70000) * 10.0 ** random.integers(-40, 40, 70000)
    values[:200] = 0
    def cell(value):  # as Fortran writes E22.14, with the digits behind "0."
        digits, power = f"{value:.13E}".replace(".", "").split("E")
        sign, digits = ("-", digits[1:]) if digits[0] == "-" else (" ", digits)
        return f"  {sign}0.{digits}E{int(power) + (value != 0):+03d}"
    lines = ["".join(cell(value) for value in row) for row in values.reshape(-1, 7).tolist()]
    text = "\n".join(lines) + "\n"
    expected = np.array(text.split(), dtype=float)
    assert np.array_equal(fixed_numbers(text.encode()), expected)
    flagged = "".join(line + " 1 0\n" for line in lines).encode()
    assert np.array_equal(fixed_numbers(flagged).reshape(-1, 9)[:, :7].ravel(), expected)
    for spoilt in (text[1:], text.replace("E", "D", 1), text[:-1], text.replace("  0.", "  1.", 1), text.replace("E+", "E ", 1), "1 2\n", ""):
        assert fixed_numbers(spoilt.encode()) is None


def test_fmt2_differences_lie_along_the_reference_momentum(tmp_path):
    # the reference particle flies along +y: "ahead" is +y, "to the left" is -x
    path = tmp_path / "b"
    path.write_text("0 0 0 0 0 0 0\n 5 6 7 0 1e9 0.10000000000000-119 1\n 1e-3 2e-3 3e-3 10 20 30 1\n")
    bunch = read_bunch(path, "fmt2")
    np.testing.assert_allclose(bunch.offsets[:, 1], [-2e-3, 1e-3, 3e-3, -20, 10, 30], atol=1e-18)


def test_umbra_axes_clock_and_status(tmp_path, askew):
    # its z is our x, its x our y, its y our z; the clock in ns, the charge in nC
    path = tmp_path / "b"
    path.write_text("1 2 3 10 20 1e9 100 0.5 1 5\n 0 0 1e-3 0 0 7 55 0.25 2 3\n")
    bunch = read_bunch(path)
    assert list(bunch.reference) == [3, 1, 2, 1e9, 10, 20]
    assert list(bunch.offsets[:, 1]) == [1e-3, 0, 0, 7, 0, 0]
    assert bunch.ct == pytest.approx(29.9792458) and list(bunch.charge) == [0.5e-9, 0.25e-9]
    write_bunch(path, askew, "umbra")
    status = [int(line.split()[9]) for line in path.read_text().splitlines()]
    assert status[5] == 1 and set(status[:5] + status[6:]) == {5}  # particle 6 has no charge


def test_fmt0_turns_angles_into_momenta(tmp_path):
    path = tmp_path / "b"
    path.write_text(f"0 0 0 1000 {np.pi / 6} 0\n1 2 3 2000 0 {np.pi / 3}\n")
    bunch = read_bunch(path, charge=2e-9)
    np.testing.assert_allclose([bunch.px[0], bunch.py[0], bunch.pz[0]], REST_ENERGY * 1000 * np.array([np.sqrt(3) / 2, 0.5, 0]), rtol=1e-12)
    np.testing.assert_allclose([bunch.px[1], bunch.pz[1]], REST_ENERGY * 2000 * np.array([0.5, np.sqrt(3) / 2]), rtol=1e-12)
    assert bunch.charge.sum() == 2e-9


def test_fmt3_is_laid_out_straight(tmp_path):
    # gamma0 = 1000; the second particle 1 % above, 2 um to the left, slopes 3e-3 and -4e-3, 5 um ahead
    path = tmp_path / "b"
    path.write_text("7 1000 0 0 0 0 0 0 0 0 0 0\n" "0 0 0 0 0 0 1e-12 0 0 0 1 1\n" "2e-6 3e-3 1e-6 -4e-3 5e-6 0.01 1e-12 9 8 7 1 1\n")
    bunch = read_bunch(path)
    assert bunch.ct == 7
    np.testing.assert_allclose(bunch.offsets[:3, 1], [5e-6, 2e-6, 1e-6], rtol=1e-9)
    np.testing.assert_allclose(bunch.energy / REST_ENERGY, [1000, 1010], rtol=1e-12)
    assert bunch.py[1] / bunch.px[1] == pytest.approx(3e-3) and bunch.pz[1] / bunch.px[1] == pytest.approx(-4e-3)


@pytest.mark.parametrize("text", ["", "1 2 3\n", "0 0 0 0 0 0 0\n1 2 3 4 5 6\n", "0 0 0 0 0 0 0\n1 2 x 4 5 6 7\n"])
def test_what_is_no_bunch_is_refused(tmp_path, text):
    (tmp_path / "b").write_text(text)
    with pytest.raises(ValueError, match="b: "):
        read_bunch(tmp_path / "b", None if len(text) < 7 else "fmt1")


@pytest.mark.parametrize("direction", [(1, 0, 0), (0, -2, 0), (1, 2, -3), (0, 0, 1), (1e-9, 0, -1)])
def test_frames_are_orthonormal_and_right_handed(direction):
    axes = frame_along(np.array(direction))
    np.testing.assert_allclose(axes.T @ axes, np.eye(3), atol=1e-14)
    assert np.linalg.det(axes) == pytest.approx(1)
    np.testing.assert_allclose(axes[:, 0], np.array(direction) / np.linalg.norm(direction), atol=1e-15)
