"""SDDS and Astra files as others write them, built here byte by byte, and files that are none."""
import re
import struct

import numpy as np
import pytest

from tessaron.constants import SPEED_OF_LIGHT
from tessaron.files.convert import load, save
from tessaron.files.sdds_header import Definition
from tessaron.files.sdds_pages import KINDS, read_page, write_page

# Two particles at a plane, far from paraxial and slow, the second 2 ps later; columns in another order and more of them.
X, XP, T, P = (1e-3, -2e-3), (0.75, 0.0), (5e-9, 5.002e-9), (2.0, 3.0)
COLUMNS = """&column name=p, type=double, units="m$be$nc", &end
&column name=t, units=s
  symbol="a \\"t\\", of &end", type=double &end
! a comment
&column name=note type=string, &end &column name=x, type=float, units=m, &end
&column name=xp, type=double, &end &column name=y, type=longdouble, units=m, &end &column name=yp, type=short, &end
&column name=particleID, type=ulong64, &end
"""
PARAMETERS = """&description text="elegant's" contents="watch", &end
&parameter name=Charge, units=C, type=double, &end
&parameter name=Note, type=string, &end &parameter name=Version, type=string, fixed_value="1 2", &end
&array name=a, type=long, dimensions=2, &end
"""


def binary(order: str, major: bool = False, count: bytes | None = None, note: int | None = None) -> bytes:
    name = {"<": "little", ">": "big"}[order]
    columns, endian = (COLUMNS, f"endian={name}, ") if order == "<" else (COLUMNS.replace("longdouble", "double"), "")
    head = f"SDDS5\n{PARAMETERS}{columns}&data mode=binary, {endian}column_major_order={int(major)}, &end\n"
    data = (count or struct.pack(order + "i", 2)) + struct.pack(order + "di3s", 3e-12, 3, b"abc") + struct.pack(order + "ii2i", 1, 2, 7, 8)
    # 80 bits: 1 is the mantissa 2^63 with the power 16383
    y = [bytes(16), struct.pack("<QH6x", 1 << 63, 16383 - 10)] if order == "<" else [struct.pack(">d", value) for value in (0, 1 / 1024)]
    cells = [[struct.pack(order + "d", P[k]), struct.pack(order + "d", T[k]), struct.pack(order + "i2s", 2 if note is None else note, b"ab"),
              struct.pack(order + "f", X[k]), struct.pack(order + "d", XP[k]), y[k], struct.pack(order + "h", 0),
              struct.pack(order + "Q", k + 1)] for k in (0, 1)]
    return head.encode() + data + b"".join(b"".join(cell) for cell in (zip(*cells) if major else cells))


def text(lines_per_row: int, counts: bool = True, pages: int = 2) -> bytes:
    rows = [f'{P[k]} {T[k]!r} "a note" {X[k]} {XP[k]} {k / 1024} 0 {k + 1}' for k in (0, 1)]
    rows = [row.replace(" 0 ", " 0\n") for row in rows] if lines_per_row == 2 else [" ".join(rows)] if lines_per_row == 0 else rows
    data = ["! page number 1", "3e-12", '"a b"', "1 2", "7 8", *(["  2"] if counts else []), rows[0], "! a comment", *rows[1:], ""]
    page = "\n".join(data) + "\n"
    return f"SDDS1\n{PARAMETERS}{COLUMNS}&data mode=ascii, lines_per_row={lines_per_row}, no_row_counts={int(not counts)} &end\n{page * pages}".encode()


@pytest.mark.parametrize("content, x_digits", [(binary("<"), 7), (binary(">"), 7), (binary("<", major=True), 7), (binary("<", count=struct.pack("<iq", -2**31, 2)), 7),
                                               (text(1), 12), (text(2), 12), (text(0), 12), (text(1, counts=False), 12)],
                         ids=["little", "big, untold", "column-major", "long count", "text", "two lines a row", "lines free", "no row counts"])
def test_two_particles_at_a_plane(tmp_path, capsys, content, x_digits):
    path = tmp_path / "watch.w1"
    path.write_bytes(content)
    bunch = load(path)
    told = capsys.readouterr().err
    assert told.count("\n") == 1 and "the mean arrival" in told and ("others follow" in told) == content.startswith(b"SDDS1")
    assert bunch.ct == pytest.approx(5.001e-9 * SPEED_OF_LIGHT, rel=1e-14) and bunch.charge.tolist() == [1.5e-12] * 2
    # gamma = sqrt(5), dx/ds = 3/4: v_s = (2/sqrt(5)) (4/5) c. The first one is ahead by what it flies in 1 ps, the later one behind.
    ahead = np.array([1e-12 * 8 / (5 * np.sqrt(5)), -1e-12 * 3 / np.sqrt(10)]) * SPEED_OF_LIGHT
    np.testing.assert_allclose(bunch.x, ahead, rtol=1e-9)  # of times of 5 ns
    np.testing.assert_allclose(bunch.y, np.array(X) + ahead * XP, rtol=10.0**-x_digits, atol=1e-15)
    np.testing.assert_allclose(bunch.z, [0, 1 / 1024], rtol=1e-15)
    np.testing.assert_allclose(np.array([bunch.px, bunch.py]) / 510998.95, [[1.6, 3], [1.2, 0]], rtol=1e-8)
    assert "across the x axis, at 0 m" in save(tmp_path / "again.sdds", bunch)
    again, read = (read_page(name, ("x", "xp", "t", "p")).columns for name in (tmp_path / "again.sdds", path))
    for name, values in read.items():  # x to the last digit of what is flown there and back
        np.testing.assert_allclose(again[name], values, rtol=1e-15, atol=1e-16 * (name == "x"), err_msg=name)
    late = load(path, instant=bunch.ct + 1e-3)  # everybody a millimetre of light later
    np.testing.assert_allclose(late.x - bunch.x, 1e-3 * np.array([1.6 / np.sqrt(5), 3 / np.sqrt(10)]), rtol=1e-9)


@pytest.mark.parametrize("kind", KINDS)
def test_pages_keep_every_bit(tmp_path, kind):
    values = np.random.default_rng(1).integers(0, 1 << 62, 1000).view(float)  # of any size
    write_page(tmp_path / "p", [(Definition("A", "double"), 0.1), (Definition("N", "long"), 1000)], [(Definition("v", "double"), values)], kind)
    page = read_page(tmp_path / "p", ["v"])
    assert page.columns["v"].tobytes() == values.tobytes() and page.parameters == {"A": 0.1, "N": 1000} and not page.more


def test_cut_and_hostile_sdds_files_are_refused(tmp_path):
    path = tmp_path / "b.sdds"
    for good in (binary("<"), binary(">"), text(1, pages=1)[:-4]):
        for end in range(0, len(good), 3):
            path.write_bytes(good[:end])
            with pytest.raises(ValueError, match=r"b\.sdds"):
                load(path)


ASTRA = "1e-3 0 5.0 0 0 1e8 2.0 -1e-3 1 5\n"
REFUSED = [  # content, words of the message
    (binary("<", count=struct.pack("<i", 2**31 - 1)), f"b: byte {len(binary('<')) - 155}: the row count 2147483647 does not fit"),
    (binary("<", count=struct.pack("<iq", -2**31, 2**62)), "the row count 4611686018427387904 does not fit"),
    (binary("<", count=struct.pack("<i", -5)), "the row count -5"),
    (binary("<", note=-3), "a text would take -3 bytes"),
    (binary("<", note=2**31 - 1), "a text would take 2147483647 bytes"),
    (b"SDDS6\n", "b:1: 'SDDS6' is not SDDS1 to SDDS5"),
    (text(1).replace(b"type=float", b"type=real"), "b:10: column x has the type real"),
    (text(1).replace(b"symbol=", b"symbol "), "b:8: 'symbol' in &column where field=value"),
    (text(1).replace(b"5e-09", b"five"), "b:20: 'five' in column t is no number"),
    (text(1).replace(b"  2", b" -2"), "'-2' for the row count is no count"),
    (text(1).replace(b"0.75 ", b""), "b:20: 7 words in a row of 8 columns"),
    (text(1).replace(b"units=m,", b"units=mm,"), "column x has the unit mm; it must be m"),
    (text(1).replace(b"name=yp", b"name=dy"), "no numbers in column yp"),
    (text(1).replace(b"\n3.0 ", b"\n-3.0 "), "particle 2 of page 1 has the p -3.0"),
    ((ASTRA + "0 0 0 0 0 0 0 -1e-3 1\n").encode(), "b:2: 9 words; a particle has 10"),
    ((ASTRA + "\n0 0 z 0 0 0 0 -1e-3 1 5\n").encode(), "b:3: 'z' for z is no number"),
    ((ASTRA + "\n0 0 0 0 0 0 0 -1e-3 1 -1\n").encode(), "b:3: status -1: the bunch is still at the cathode"),
    ((ASTRA * 2 + "0 0 0 0 0 0 0 1e-3 3 5\n").encode(), "b:3: species 3; the program tracks electrons"),
    ((ASTRA * 2 + "0 0 0 0 0 0 0 1e-3 1 5.5\n").encode(), "b:3: status 5.5"),
    (ASTRA.replace(" 5\n", " -7\n").encode() * 2, "all of 2 particles lost"),
]


@pytest.mark.parametrize("content, words", REFUSED, ids=range(len(REFUSED)))
def test_bad_files_are_told_by_place_and_word(tmp_path, content, words):
    (tmp_path / "b").write_bytes(content)
    with pytest.raises(ValueError, match=re.escape(words)):
        load(tmp_path / "b", "sdds" if content.startswith(b"SDDS") else "astra")


def test_pages_charges_and_directions_of_sdds(tmp_path, askew):
    path = tmp_path / "b.sdds"
    path.write_bytes(text(1).replace(b"3e-12", b"4e-12", 1))
    assert [load(path, page=k).charge.sum() for k in (1, 2)] == [4e-12, 3e-12]
    for page, words in ((3, "no page 3; there are 2"), (0, "no page 0; pages count from 1")):
        with pytest.raises(ValueError, match=words):
            load(path, page=page)
    askew.offsets[3, 3] = -1e9
    with pytest.raises(ValueError, match="particle 4 does not fly through the plane"):
        save(tmp_path / "c.sdds", askew)
    assert not (tmp_path / "c.sdds").exists()


def test_astra_by_hand(tmp_path, capsys):
    # z, pz relative to the first line, all else absolute; one particle lost, one passive; low resolution, where numbers touch
    path = tmp_path / "run.0100.001"
    cells = [[1e-3, 2e-3, 5.0, 10, 20, 1e8, 2.0, -1e-3], [3e-3, 2e-3, -1e-4, -5, 20, 1e6, 9.9, -1e-3], [0, 0, 0, 0, 0, 0, 0, -1e-3], [0] * 8]
    flags = [5, 3, -15, 1]
    path.write_text("".join("".join(f"{value:12.4E}" for value in row) + f"{1:4d}{flag:4d}\n" for row, flag in zip(cells, flags)))
    touching = path.read_text().replace("  2.0000E+00", "-20.0000E-01").replace("  2.0000E-03", "2.000000E-03")
    for content, ct in ((path.read_text(), 2), (touching, -2)):
        path.write_text(content)
        bunch = load(path, "astra")
        told = capsys.readouterr().err
        assert "1 lost particles (status -15) left out; 1 passive" in told
        assert bunch.ct == pytest.approx(ct * 1e-9 * SPEED_OF_LIGHT) and bunch.charge == pytest.approx([1e-12, 1e-12, 0])
        np.testing.assert_allclose([bunch.x, bunch.y, bunch.z], [[5, 4.9999, 5], [1e-3, 3e-3, 0], [2e-3, 2e-3, 0]])
        np.testing.assert_allclose([bunch.px, bunch.py, bunch.pz], [[1e8, 1.01e8, 1e8], [10, -5, 0], [20, 20, 0]])
    save(tmp_path / "b.astra", bunch)
    lines = (tmp_path / "b.astra").read_text().splitlines()
    assert all(line.split()[8:] == ["1", "5"] and float(line.split()[7]) <= 0 for line in lines)
    assert float(lines[1].split()[0]) == 3e-3 and float(lines[1].split()[2]) == pytest.approx(-1e-4)
