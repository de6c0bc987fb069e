"""Lattices of elements: their decks, their orbit and their optics against the program's own."""
from math import cos, cosh, radians, sin, sqrt

import numpy as np
import pytest
from conftest import ROOT

from tessaron.beam.bunch import Bunch
from tessaron.files.bunchfiles import read_fmt3, write_bunch
from tessaron.lattice.chicane import chicane
from tessaron.lattice.elements import Dipole, Drift, Map, Marker, Multipole, Quadrupole, ThinQuadrupole
from tessaron.lattice.lattice import Lattice
from tessaron.run.process import run_program

MATRIX = np.array([[1, 0.2, 0, 0], [-0.5, 0.9, 0, 0], [0, 0, 1, 0.1], [0, 0, 0.3, 1.03]])
#: one of each element, in a deck as somebody wrote it: absolute and relative places, slanted faces, markers, duties
DECK = """lattice { ! #file and exit stand in comments only
dipole { position { rho = 1 psi = 20 } properties { r = 3 } position { delta_s = 0.4 delta_psi = -10 duty = no } }
quadrupole { position { delta_s = 0.3 marker = q } properties { strength = 1 alpha = 90 horizontal_offset = 1e-3 } position { delta_s = 0.2 } }
multipole { position { delta_s = 0.3 } properties { poles = 6 strength = 3 vertical_offset = -1e-4 } position { delta_s = 0.1 psi = 0 } }
dipole { position { rho = 2.6 psi = -5 } properties { r = -2 } position { rho = 3.1 psi = 8 marker = B2 } }
thin_quadrupole { position { delta_s = 0.25 marker = T } properties { effective_length = 0.1 quadrupole_k = 2 } }
discrete_free { position { delta_s = 0.25 duty = yes } properties { type = 1 integer = 2 real = 16 }
  integer_array { 3 4 } real_array { 1 -0.5 0 0  0.2 0.9 0 0  0 0 1 0.3  0 0 0.1 1.03 } }
discrete_free { position { delta_s = 0.25 } properties { type = 7 integer = 0 real = 2 } }
dipole { position { delta_s = 1 marker = END } } }
particles { array = 0 0 0 0 0 0 0  0 0 0 1e9 0 0 1e-12 }
"""


def deck_file(folder, text):
    (folder / "tessar.in").write_text(text)
    return folder / "tessar.in"


def listing(folder, program, text):
    """latout.dat, its words split so that numbers can be compared, for all elements that act."""
    deck_file(folder, text)
    assert run_program(folder, program=program).completed
    return (folder / "latout.dat").read_text().split()


@pytest.mark.parametrize("deck", [DECK, "example"])
def test_a_deck_goes_through_objects_and_means_the_same(tmp_path, program, deck):
    text = (ROOT / "examples/bunch_compressor/tessar.in").read_text().split("particles {")[0] if deck == "example" else DECK
    lattice = Lattice.from_deck(deck_file(tmp_path, text))
    again = lattice.deck()
    if deck == DECK:  # private integers of a map, and an element that acts on nothing, are not taken over
        text = text.replace("integer = 2", "integer = 0").replace("integer_array { 3 4 }", "")
        text = text.replace("discrete_free { position { delta_s = 0.25 } properties { type = 7 integer = 0 real = 2 } }",
                            "dipole { position { delta_s = 0.25 duty = no } }")
        assert np.array_equal(lattice[-5].matrix, MATRIX) and lattice[-3] == Marker() and lattice[3].k1 == 1
    ours, theirs = listing(tmp_path, program, text), listing(tmp_path, program, again)
    assert len(ours) == len(theirs) and len(ours) > 250
    for one, other in zip(ours, theirs):
        assert one == other or float(one) == pytest.approx(float(other), abs=1e-12)
    assert len(Lattice.from_deck(deck_file(tmp_path, again))) == len(lattice)


def rays(lattice, folder, program, size=1e-6):
    """The matrix that the program itself gives: rays of one small coordinate each, along the design orbit (fmt3)."""
    offsets = np.zeros((6, 13))
    momentum = 1e9
    for k in range(6):
        row, unit = [(1, 1), (4, momentum), (2, 1), (5, momentum), (0, -1), (3, momentum)][k]
        offsets[row, 2 * k + 1], offsets[row, 2 * k + 2] = size * unit, -size * unit
    bunch = Bunch(0.0, np.array([0, 0, 0, momentum, 0, 0]), offsets, np.full(13, 1e-15))
    write_bunch(folder / "bunch.dat", bunch, "fmt1")
    deck_file(folder, lattice.deck() + "particles { array = #file { name = bunch.dat } }\nmonitor { name = a.dat format = fmt3 }\n"
              f"tracker {{ end_time_c0 = {lattice.length} }}\nmonitor {{ name = b.dat format = fmt3 }}\n")
    assert run_program(folder, program=program).completed
    places = []
    for name in ("a.dat", "b.dat"):
        table = read_fmt3(folder / name)[1][:, [0, 1, 2, 3, 4, 5]] * [1, 1, 1, 1, -1, 1]
        places.append((table[1::2] - table[2::2]).T / 2)
    return places[1] @ np.linalg.inv(places[0])


@pytest.mark.parametrize("elements", [
    [Drift(0.5), Dipole.sbend(0.6, 0.3), Drift(0.4)],
    [Drift(0.5), Dipole.sbend(0.6, -0.3, e1=-0.2, e2=0.1), Drift(0.4)],
    [Drift(0.5), Dipole.rbend(0.6, 0.3), Drift(0.2), Quadrupole(0.3, 2.5), Drift(0.1), Quadrupole(0.2, -3.0), Drift(0.4)],
    [Drift(0.5), Quadrupole(0.3, 2.5, tilt=0.4), Drift(0.1), ThinQuadrupole(0.1, 5), Drift(0.1), Map(MATRIX), Drift(0.4)],
    [Drift(0.5), Multipole(0.3, 4, -1.5), Drift(0.1), Multipole(0.3, 6, 5.0), Drift(0.3)],
    list(chicane(0.08, 0.5, 1.0, 0.5, angle2=0.05)),
], ids=lambda elements: "-".join(type(element).__name__ for element in elements if not isinstance(element, Drift)))
def test_matrices_are_those_of_rays_tracked_by_the_program(tmp_path, program, elements):
    lattice = Lattice(elements)
    np.testing.assert_allclose(rays(lattice, tmp_path, program), lattice.matrix(), atol=2e-5)


def test_closed_forms():
    radius, angle = 3.0, 0.4
    rectangular = Dipole.rbend(2 * radius * sin(angle / 2), angle, chord=True)
    assert (rectangular.length, *rectangular.turns) == pytest.approx((radius * angle, -angle / 2, angle / 2))
    assert Dipole.arc(radius, angle=angle).length == pytest.approx(1.2) and Dipole.arc(radius, length=1.2).angle == pytest.approx(0.4)
    # a rectangular bend is a drift in its plane
    np.testing.assert_allclose(Lattice([rectangular]).matrix()[:2, :2], [[1, radius * sin(angle)], [0, 1]], atol=1e-14)
    # a thin chicane: R56 = -2 angle^2 (drift + 2/3 length)
    small = chicane(1e-3, 0.5, 5.0, 1.0)
    assert small.matrix()[4, 5] == pytest.approx(-2e-6 * (5 + 1 / 3), rel=1e-5)
    last = small.boundaries()[-1]
    assert (last.y, last.ty) == pytest.approx((0, 0), abs=1e-15) and last.x == pytest.approx(1 + 2 * (0.5 + 5 + 0.5) + 1 + 1)
    slanted = chicane(0.08, 0.5, 1.0, 0.5, angle2=0.05).boundaries()[-1]
    assert (slanted.y, slanted.ty) == pytest.approx((0, 0), abs=1e-15)
    # a quadrupole: beta of a beam at its waist
    k, length, beta = 2.0, 0.7, 3.0
    twiss = Lattice([Quadrupole(length, k)]).optics(beta=(beta, beta), step=0.1)
    c, s = cos(sqrt(k) * length), sin(sqrt(k) * length) / sqrt(k)
    assert twiss.beta_u[-1] == pytest.approx(beta * c**2 + s**2 / beta)
    assert twiss.beta_w[-1] == pytest.approx(beta * cosh(sqrt(k) * length)**2 + (np.sinh(sqrt(k) * length) / sqrt(k))**2 / beta)
    assert len(twiss.s) == 8 and twiss.s[-1] == pytest.approx(length)


def test_places_and_names():
    lattice = Lattice([Drift(1), Dipole(0.5, radians(20), name="B"), Marker("after"), Drift(2), Marker("q"), Quadrupole(0.5, 1), Drift(1)])
    assert lattice.markers == {"B_in": 1, "after": 1.5, "q": 3.5}
    assert lattice.length == 5 and [b.s for b in lattice.boundaries()] == [1, 1.5, 3.5, 4, 5]
    assert lattice.boundaries()[0].r == 0 and lattice.boundaries()[1].r == pytest.approx(0.5 / radians(20))
    assert lattice.floor()[:, -1] == pytest.approx([lattice.boundaries()[-1].x, lattice.boundaries()[-1].y])
    assert lattice.boundaries()[-1].ty < 0  # to the right
    assert [start for start, _, element in lattice.placed() if isinstance(element, Quadrupole)] == [3.5]


@pytest.mark.parametrize("make, words", [
    (lambda: Drift(-1), "Drift: length must be 0 or above"),
    (lambda: Dipole(0, 0.1), "Dipole: length must be above 0"),
    (lambda: Dipole("1", 0.1), "Dipole: length must be a number"),
    (lambda: Dipole(1, float("nan")), "angle must be a number"),
    (lambda: Dipole(1, 0.1, e1=2), "less than a right angle"),
    (lambda: Dipole.arc(2.0), "either angle or length"),
    (lambda: Marker("two words"), "one word of a deck"),
    (lambda: Multipole(1, 5, 1), "poles must be an even integer"),
    (lambda: Map(np.eye(3)), "4 by 4"),
    (lambda: Lattice([Drift(1), "drift"]), "element 1 is 'drift'"),
    (lambda: Lattice([Drift(1), Dipole(1, 0.1, name="B1"), Quadrupole(1, 1, name="Q")]), r"element 2 \(Quadrupole Q\) touches element 1"),
    (lambda: Lattice([Dipole(1, 0.1, exit="one"), Marker("two")]), "a boundary has one name"),
    (lambda: Lattice([element for _ in range(51) for element in (Drift(1), Dipole(1, 0.1))]), "more than 100 field boundaries"),
    (lambda: Lattice([Drift(1), Marker("end")]).s_of("start"), "marker 'start' stands nowhere in the lattice; there are end"),
    (lambda: chicane(0.1, 0.5, 1, 0, 1), "middle must be above 0"),
    (lambda: chicane(0.1, 0.5, 0.1, 1, angle2=1.2), "angle2 of 1.2 takes the orbit back"),
    (lambda: Lattice([Quadrupole(1, 1, tilt=0.3)]).optics(), "couples the planes"),
])
def test_bad_input_is_told_by_its_name(make, words):
    with pytest.raises(ValueError, match=words):
        make()


@pytest.mark.parametrize("old, new, words", [
    ("strength = 1 ", "strenth = 1 ", "tessar.in:3: properties of quadrupole has no key 'strenth'"),
    ("quadrupole {", "quad {", "tessar.in:3: lattice has no element 'quad'"),
    ("poles = 6 ", "", "tessar.in:4: properties of multipole need poles"),
    ("rho = 3.1 psi = 8", "rho = 9 psi = 8", "tessar.in:5: the arc does not reach"),
    ("real_array { 1 -0.5", "real_array {", "tessar.in:7: .*16 reals"),
    ("lattice", "track_accuracy", "has no lattice block"),
])
def test_a_bad_deck_is_told_by_file_and_line(tmp_path, old, new, words):
    assert old in DECK
    with pytest.raises(ValueError, match=words):
        Lattice.from_deck(deck_file(tmp_path, DECK.replace(old, new, 1)))
