"""Lattices of other programs: against matrices and floor coordinates of the textbooks, rays of the program, and bad files."""
import cmath
import csv
from math import sin, tan
from pathlib import Path

import numpy as np
import pytest

from tessaron.beam.bunch import Bunch
from tessaron.command.cli import main
from tessaron.files.bunchfiles import read_bunch, write_bunch
from tessaron.lattice.elements import Dipole, Drift, Map, Marker, Multipole, Quadrupole, ThinQuadrupole
from tessaron.lattice.lattice import Lattice
from tessaron.run.orbit import read_orbit
from tessaron.run.process import run_program
from tessaron.run.tracked_optics import track_rays

A = 0.1  # bend of the chicanes [rad]
ARC = 0.5 * (A / 2) / sin(A / 2)  # of a chord of 0.5 m
RECTANGULAR = [("D", 1), *(part for sign, gap in ((1, 2), (-1, 1), (-1, 2), (1, 1))
                           for part in (("B", ARC, sign * A, sign * A / 2, sign * A / 2), ("D", gap)))]
SECTOR = [("D", 1), ("B", 0.5, A, 0, A), ("D", 2), ("B", 0.5, -A, -A, 0), ("D", 1), ("B", 0.5, -A, 0, -A), ("D", 2), ("B", 0.5, A, A, 0), ("D", 1)]
DOGLEG = [("D", 1), ("B", 0.4, 0.2, 0.03, 0.05), ("D", 0.5), ("Q", 0.2, 3.0), ("D", 0.3), ("Q", 0.1, -5.0), ("Q", 0.1, -5.0), ("D", 0.3), ("Q", 0.2, 3.0),
          ("D", 0.5), ("B", 0.4, -0.2, -0.05, -0.03), ("D", 1)]
FODO = [("Q", 0.15, 2.0), ("D", 1), ("Q", 0.3, -2.2), ("D", 1), ("Q", 0.15, 2.0)] * 2

CASES = {
    "fodo.madx": (FODO, """
        beam, particle = electron, pc = 0.5;          // halves of the outer quadrupoles touch
        lq = 0.3; kf := 2*scale; scale = 0.5;
        qf: quadrupole, l := lq/2, k1 := kf; qd: quadrupole, l = lq k1 = -2.2;
        cell: sequence, l = 2*lq + 2, refer = centre;
          q1: qf, at = -1 - lq*3/4, from = q2;  q2: qd, at = 1 + lq;  q3: qf, at = qd->l*3/4 + 1, from = q2;
        endsequence;
        scale = 1; two: line = (2*cell); use, period = two;"""),
    "rectangular.madx": (RECTANGULAR, """ option, rbarc = true; a = 0.1; /* arcs count
        in places */
        b: rbend, l = 0.5, angle := a; c: b, angle = -a; arc := 0.5*(a/2)/sin(a/2);
        s: sequence, refer = entry, l = 7 + 4*arc; b1: b, at = 1; b2: c, at = 3 + arc;
        b3: c, at = 4 + 2*arc; b4: b, at = 6 + 3*arc; endsequence; use, sequence = s;"""),
    "arcs.madx": (RECTANGULAR, """ option, rbarc = false; a = 0.1; arc = 0.5*(a/2)/sin(a/2);
        b: rbend, l = arc, angle := a; c: rbend, l = arc, angle = a, tilt = pi;
        s: sequence, refer = exit, l = 7 + 4*arc; b1: b, at = 1 + arc; b2: c, at = 3 + 2*arc;
        b3: c, at = 4 + 3*arc; b4: b, at = 6 + 4*arc; endsequence;"""),
    "sector.madx": (SECTOR, """ const real a = 5.729577951308232*raddeg; d1: drift, l = 1; d2: drift, l = 2;
        b: sbend, l = 1.25e-1*2^2, angle = a; b1: b, e2 = a; b2: b, angle = -a, e1 = -a; b3: b, angle = -a, e2 = -a; b4: b, e1 = a;
        m: monitor; half(x, y): line = (d1, x, d2, y); all: line = (half(b1, b2), half(b3, b4), m, d1);"""),
    "dogleg.madx": (DOGLEG, """ b1: sbend, l = .4, angle = .2, e1 = .03, e2 = .05; b2: b1, angle = -.2, e1 = -.05, e2 = -.03;
        q: quadrupole, l = .2, k1 = 3; h: quadrupole; h, l = .1, k1 := 5, tilt = pi/2; w: marker;
        d5: drift, l = .5; d3: instrument, l = .3; d1: drift, l = 1;
        half: line = (d5, q, d3, h); bend: line = (d1, b1); all: line = (bend, half, w, -half, b2, d1);"""),
    "fodo.lte": (FODO, """! halves that touch
% 0.3 sto lq
% lq 2 / sto half
Q: CHARGE, TOTAL=1e-9
"qf": KQUAD, L="half", K1="2 1 * ", N_KICKS=10, &   ! continued
   FSE=0
QD: QUADRUPOLE, L=0.3, K1=-2.2
D: EDRIFT,L=1.
CELL: LINE=("qf", d, QD, D, "qf")
ALL: LINE=(q, 2*cell)
OTHER: LINE=(D)
USE, ALL
this is not read any more"""),
    "rectangular.lte": (RECTANGULAR, """B: RBEN, L=0.5, ANGLE=0.1
C: B, ANGLE=-1.e-1
D1: DRIF, L=1;
D2: CSRDRIFT, L="1 2 *", DZ=0.01, USE_STUPAKOV=1
ALL: LINE=(D1, B, D2, C, D1, C, D2, B, D1)"""),
    "sector.lte": (SECTOR, """% 0.1 sto A
"B1:x": CSRCSBEND, L=.5, ANGLE=a, E2="A", BINS=500, SG_HALFWIDTH=1, OUTPUT_FILE="%s.b1"
B2: CSBEND, L=.5, ANGLE="A chs", E1="0 A -", EDGE_2_EFFECTS=0
M: MONI, L=0.5
D2: LSCDRIFT, L=2
HALF: LINE=(M, M, "B1:x", D2, B2)
W: WATCH, FILENAME="%s.w1", MODE=coord
ALL: LINE=(HALF, W, M, M, -HALF)"""),
    "dogleg.lte": (DOGLEG, """B: CSBEND, L=0.4, ANGLE=0.2, E1=0.05, E2=0.03
C: B, TILT="pi"
D1: DRIFT, L=1
D5: DRIFT, L=0.5
Q: QUAD, L=0.2, K1=3
H: KQUAD, L=0.1, BORE=0.01, B="-0.05 1e9 * c_mks /"
D3: DRIFT, L=0.3
HALF: LINE=(D5, Q, D3, H)
ALL: LINE=(D1, -B, HALF, -HALF, C, D1)"""),
}


def textbook(parts):
    """Matrix of (x, x', y, y', path, delta), end point of the orbit as a complex number, its direction, its length."""
    total, place, direction, length = np.eye(6), 0j, 0.0, 0.0
    for kind, size, *numbers in parts:
        m = np.eye(6)
        angle, e1, e2 = numbers if kind == "B" else (0.0, 0.0, 0.0)
        h, k = angle / size, numbers[0] if kind == "Q" else 0.0
        for first, focus in ((0, h * h + k), (2, -k)):
            root = cmath.sqrt(focus)
            s = (cmath.sin(root * size) / root).real if focus else size
            m[first:first + 2, first:first + 2] = [[cmath.cos(root * size).real, s], [-focus * s, cmath.cos(root * size).real]]
        if h:
            m[0, 5], m[1, 5], m[4, 0], m[4, 1], m[4, 5] = (1 - m[0, 0]) / h, h * m[0, 1], h * m[0, 1], (1 - m[0, 0]) / h, size - m[0, 1]
        for e, side in ((e1, "in"), (e2, "out")):
            edge = np.eye(6)
            edge[1, 0], edge[3, 2] = h * tan(e), -h * tan(e)
            m = m @ edge if side == "in" else edge @ m
        total = m @ total
        place += cmath.exp(1j * (direction - angle / 2)) * (size * sin(angle / 2) / (angle / 2) if angle else size)
        direction, length = direction - angle, length + size
    return total, place, direction, length


def converted(folder, name, text, *options):
    (folder / name).write_text(text)
    assert main(["convert-lattice", str(folder / name), "-o", str(folder / "lattice.in"), *options]) == 0
    return Lattice.from_deck(folder / "lattice.in")


@pytest.mark.parametrize("name", CASES)
def test_geometry_and_matrix_are_those_of_the_textbooks(tmp_path, name):
    parts, text = CASES[name]
    lattice = converted(tmp_path, name, text, "--momentum", "1e9")
    matrix, place, direction, length = textbook(parts)
    last = lattice.boundaries()[-1]
    assert lattice.length == pytest.approx(length, abs=2e-8)
    assert (last.x, last.y, cmath.phase(complex(last.tx, last.ty))) == pytest.approx((place.real, place.imag, direction), abs=3e-8)
    np.testing.assert_allclose(lattice.matrix(), matrix, atol=5e-7)


@pytest.mark.parametrize("name", ["dogleg.madx", "dogleg.lte"])
def test_rays_of_the_program_see_the_bends_and_quadrupoles(tmp_path, program, name):
    parts, text = CASES[name]
    converted(tmp_path, name, text, "--momentum", "1e9")
    maps = track_rays(read_orbit(tmp_path / "lattice.in"), program)
    beyond = textbook([("D", maps.s[-1] - textbook(parts)[3])])[0]
    np.testing.assert_allclose(maps.matrix[-1], beyond @ textbook(parts)[0], atol=2e-6)


@pytest.mark.parametrize("magnet, y, z, kick", [  # p_x - i p_y = - sum of l (kn + i kns) (x + i y)^n / n!, x to the left
    ("sextupole, k2 = 100", 1e-3, 0, (-5e-6, 0)), ("sextupole, k2 = 100", 0, 1e-3, (5e-6, 0)), ("sextupole, k2s = 100", 1e-3, 1e-3, (1e-5, 0)),
    ("sextupole, k2 = 100, tilt = pi/3", 1e-3, 0, (5e-6, 0)), ("quadrupole, k1s = 1", 0, 1e-3, (1e-4, 0)), ("octupole, k3 = 1e5", 1e-3, 0, (-1e-5 / 6, 0))])
def test_kicks_of_other_magnets_are_those_of_rays(tmp_path, program, magnet, y, z, kick):
    lattice = converted(tmp_path, "a.madx", f"d: drift, l = 1; m: {magnet}, l = 0.1; u: line = (d, m, d);")
    offsets = np.zeros((6, 2))
    offsets[1:3, 1] = y, z
    write_bunch(tmp_path / "b.dat", Bunch(0.0, np.array([0, 0, 0, 1e9, 0, 0]), offsets, np.full(2, 1e-15)), "fmt1")
    (tmp_path / "tessar.in").write_text(lattice.deck() + "particles { array = #file { name = b.dat } }\ntracker { end_time_c0 = 2 }\nmonitor { name = e.dat format = fmt1 }\n")
    assert run_program(tmp_path, program=program).completed
    np.testing.assert_allclose(read_bunch(tmp_path / "e.dat", "fmt1").offsets[4:6, 1] / 1e9, kick, atol=2e-7 if "quad" in magnet else 3e-9)


BEGIN = {".madx": "d: drift, l = 1; q: quadrupole, l = .2, k1 = 1; b: sbend, l = .5, angle = .1;\n", ".lte": "D: DRIF, L=1\n", ".in": ""}
BAD = {  # file, words of the message
    "a.madx": [
        ("q1: quad, l = 1;", "a.madx:2: 'quad' is neither a type nor an element"), ("q1: quadrupole, l = 1 = 2;", "a.madx:2: '=' does not belong here"),
        ("x = (1 + 2;", "a.madx:2: the statement 'x = (1 + 2' breaks off"), ("x = 1", "a.madx:2: 'x = 1' is not ended by ';'"),
        ("/* open", "a.madx:2: the comment '/*' is not closed"), ("u: line = (d, nothing);", "a.madx:2: 'nothing' in the line u is not defined"),
        ("u: line = (d, v); v: line = (u); use, u;", "the line u contains itself"), ("u: line = (1000000000*(d));", "more than 100000 members"),
        ("u: line = (" + "(" * 500 + "d" + ")" * 500 + ");", "lines nest deeper than 50"),
        ("l0: line = (d);" + "".join(f"l{k + 1}: line = (l{k}, l{k});" for k in range(45)), "more than 100000 members"),
        ("x := y; y := x; e: drift, l := x; u: line = (e);", "a.madx:2: expressions nest deeper"), ("e: drift, l = " + "-(" * 900 + "1" + ")" * 900 + ";u: line = (q, e);", "a.madx:2: expressions nest deeper"),
        ("e: drift, l = 1/0; u: line = (e);", "a.madx:2: an expression has no value"), ("e: drift, l = table(t); u: line = (e);", "a.madx:2: the function 'table' is not known"),
        ("e: drift, l = -1; u: line = (d, e);", "a.madx:2: e (drift): length must be 0 or above"), ("c: rfcavity, l = -1, volt = 1; u: line = (d, c);", "a.madx:2: c (rfcavity): length must be"), ("if (x > 1) { y = 2; }", "a.madx:2: 'if': conditions, loops"),
        ("", "a.madx: the file defines no line and no sequence"), ("s: sequence, l = 2; s, at = 1; endsequence;", "a.madx:2: the sequence s contains itself"),
        ("e: quadrupole, l = .2, kl = 1.2; u: line = (e);", "a.madx:2: quadrupole 'e' has no attribute 'kl': did you mean 'k1'?"), ("m: multipole, kn = {0, 1}; u: line = (d, m);", "did you mean 'knl'?"),
        ("e: sbend, l = 1, angel = .1;\nf: e; u: line = (d, f);", "a.madx:2: sbend 'e' has no attribute 'angel': did you mean 'angle'?"),
        ("c: rfcavity, length = 3, volt = 2; u: line = (d, c);", "'c' has no attribute 'length': did you mean 'l'?"), ("e: rbend, l = 1, angle = 3.5; u: line = (e);", "a.madx:2: e (rbend): a face would be turned by 1.75 rad"),
        ("seqedit, sequence = s;", "'seqedit'"), ("call, file = b.madx;", "a.madx:2: the called file 'b.madx' is not there"), ("call, file = a.madx;", "call each other in a ring"),
        ("s: sequence, l = 2; q, at = 1; b, at = 1.2; endsequence;", "a.madx:2: b begins 0.15 m ahead of the end of q"),
        ("s: sequence, l = 2; b, at = 1.9; endsequence;", "ends 0.15 m behind the end of the sequence s"),
        ("s: sequence, l = 2; b, at = 1, from = c; endsequence;", "a.madx:2: from=c of b is no element with a place"),
        ("u: line = (d); v: line = (q);", "2 lines and sequences that no other one holds (u, v)"), ("u: line = (d); use, w;", "no line or sequence 'w'; there are u"),
        ("u: line = (100*(q, d));", "the line needs 201 field boundaries; the program holds 100"),
        ("e: sbend, l = 1, angle = .1, k1 = 2;\nc: rfcavity, l = .3, volt = 2; k: b, tilt = pi/2; s: solenoid, l = .1, ks = 1;\nh: hkicker, kick = 1e-3;"
         "o: hkicker, l = .1; u: line = (e, c, k, s, h, o, d);",
         "a.madx:2: e (sbend): a combined-function bend (k1 = 2)\na.madx:3: c (rfcavity): a cavity (volt = 2)\na.madx:3: k (sbend): a bend out of the plane"
         " (tilt = 1.5708); the program holds the magnets of the orbit plane alone\na.madx:3: s (solenoid): a solenoid (ks = 1)\na.madx:4: h (hkicker): a kick (kick = 0.001)\n--replace"),
    ],
    "a.lte": [
        ("Q: QUAD, L=\"1 x +\"\nU: LINE=(Q)", "a.lte:2: 'x' in '1 x +': is neither a number nor known here"), ("% 1 0 / sto a", "a.lte:2: '/' in"), ("% 1 +", "'+' finds too few numbers"),
        ("Q: QUAD, L=.1 K1=2", "a.lte:2: '=' does not belong here"), ("Q: QUAD, &\n  L=.1, &\n  K1==2", "a.lte:4: '=' does not belong here"), ("Q: QUAD, &", "a.lte:2: the statement is continued"),
        ("U: LINE=(D, E)", "a.lte:2: 'E' is neither an element nor a line"), ("U: LINE=(D", "a.lte:2: the statement 'U:LINE=(D' breaks off"), ("U: LINE=(D,-V)\nV: LINE=(2*U)", "the line V contains itself"),
        ("U: LINE=(9999999*D)", "more than 100000 members"), ("C: FOO, L=1\nU: LINE=(C)", "a.lte:2: 'FOO' is neither a type"), ("C: CSR, L=1\nU: LINE=(C)", "several types: csrdrift, csrcsbend"),
        ("H: KQUAD, L=.1, BORE=1, B=1\nU: LINE=(H)", "a.lte:2: H is told by its field (BORE, B), which needs --momentum"), ("#INCLUDE: b.lte", "a.lte:2: the included file 'b.lte' is not there"),
        ("Q: KQUAD, L=.2, K=1.2\nU: LINE=(Q)", "a.lte:2: KQUAD 'Q' has no attribute 'k': did you mean 'k1'?"), ("", "a.lte: the file defines no line"),
        ("#INCLUDE: a.lte", "include each other in a ring"), ("Q: QUAD, L=-1\nU: LINE=(Q)", "a.lte:2: Q (QUAD): length must be above 0"), ("U: LINE=(0*D)", "a.lte: the line holds nothing"),
        ("R: RFCA, L=1, VOLT=1e6\nB: CSBEND, L=1, ANGLE=.1, &\nK1=1\nM: MALIGN, DX=1\nU: LINE=(R, 2*B, M, D)",
         "a.lte:2: R (RFCA): a cavity (volt = 1e+06)\na.lte:3: B (CSBEND): a combined-function bend (k1 = 1)\na.lte:5: M (MALIGN): no element of this kind\n--replace"),
    ],
    "a.in": [("lattice { dipole { position { } } }", "a.in:1: position needs rho or delta_s")],
}


@pytest.mark.parametrize("name, text, words", [(name, *case) for name, cases in BAD.items() for case in cases],
                         ids=lambda words: words[:40])
def test_bad_files_are_told_by_file_line_and_word_and_nothing_is_written(tmp_path, monkeypatch, capsys, name, text, words):
    monkeypatch.chdir(tmp_path)
    (tmp_path / name).write_text(BEGIN[Path(name).suffix] + text)
    assert main(["convert-lattice", name]) == 1
    assert words in capsys.readouterr().err and not (tmp_path / "lattice.in").exists()


def test_what_is_left_out_is_told(tmp_path, capsys):
    lattice = converted(tmp_path, "a.madx", BEGIN[".madx"] + """c: rfcavity, l = .3, volt = 2;
        f: b, fint = .5, hgap = .01; w: marker; v: marker; s: sextupole, l = .1, k2 := k2s1; t: quadrupole, l = .1, k1s = 2;
        thin: multipole, knl = {0, .3}; q, kmax = 2, foo = 3; u: line = (d, c, f, w, v, s, t, 2*q, d, thin, w); twiss; """, "--replace-by-drift", "RFcavity")
    told = capsys.readouterr().err
    for words in ("a.madx:2: c (rfcavity) is replaced by a drift of 0.3 m: a cavity", "a.madx:3: f (sbend): edges are hard", "v (marker) stands on the same place as w",
                  "'k2s1' was never given a value and counts as 0", "passed over: twiss (line 4)", "passed over: quadrupole kmax", "a.madx:1: warning: quadrupole 'q' has no attribute 'foo' that is known here: it is passed over\n"):
        assert words in told
    assert list(lattice.markers) == ["f_in", "w", "s_in", "s_out", "t_in", "t_out", "q_in", "q_out", "q.2_in", "q.2_out", "thin"]
    assert lattice.s_of("thin") == lattice.length == pytest.approx(3.4, abs=1e-12)
    skew = next(element for element in lattice if getattr(element, "entrance", "") == "t_in")
    assert (skew.k1, skew.tilt) == pytest.approx((2, -np.pi / 4))


def test_a_part_of_a_line(tmp_path, capsys):
    text = BEGIN[".madx"] + "c: rfcavity, l = 1, volt = 1; m: marker; u: line = (c, 60*(q, d), m, d, b, q, 60*(d, q), c);"
    lattice = converted(tmp_path, "a.madx", text, "--between", "M", "q")
    assert lattice.length == pytest.approx(1 + .5 + .2 + 1e-8, abs=1e-12) and list(lattice.markers) == ["m", "b_in", "b_out", "q_in", "q_out"]
    assert main(["convert-lattice", str(tmp_path / "a.madx"), "--between", "b", "m"]) == 1 and "no element 'm' behind b" in capsys.readouterr().err
    assert main(["convert-lattice", str(tmp_path / "a.madx"), "--replace-by-drift", "cavity"]) == 1 and "'cavity' is no type of MAD-X" in capsys.readouterr().err


@pytest.mark.parametrize("elements", [
    Lattice.chicane(0.08, 0.5, 1.0, 0.5),
    [Drift(1 / 3), Dipole(0.5, -0.1, e1=0.2, entrance="in", exit="out"), Drift(0.2), Quadrupole(0.3, 1.5, tilt=0.3, name="q"), Marker("M"), Drift(1e-8),
     Quadrupole(0.3, -2, name="Q.2"), Drift(1), Multipole(0.1, 6, 3.0, name="s"), Drift(1), ThinQuadrupole(1, 0.2, "thin"), Drift(2),
     Map([[1, .2, 0, 0], [-.5, .9, 0, 0], [0, 0, 1, .1], [0, 0, .3, 1.03]], "map")],
], ids=["chicane", "all"])
def test_madx_files_read_back_to_the_same_lattice(tmp_path, elements):
    lattice = Lattice(elements)
    lattice.to_madx(tmp_path / "x.madx", momentum_eV_c=1e9)
    again = Lattice.from_madx(tmp_path / "x.madx")
    assert again.deck() == lattice.deck()


def test_the_survey_is_that_of_the_boundaries(tmp_path):
    (tmp_path / "d.madx").write_text(CASES["dogleg.madx"][1])
    assert main(["convert-lattice", str(tmp_path / "d.madx"), "-o", str(tmp_path / "x.csv")]) == 0
    rows = list(csv.DictReader(open(tmp_path / "x.csv")))
    _, place, direction, length = textbook(DOGLEG)
    assert [float(rows[-1][name]) for name in ("s_m", "x_m", "y_m", "angle_rad")] == pytest.approx([length, place.real, place.imag, direction], abs=3e-8)
    assert [row["name"] for row in rows if row["element"] == "dipole"] == ["b1", "b2"] and float(rows[2]["angle_rad"]) == pytest.approx(-0.2)
