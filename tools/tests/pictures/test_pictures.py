"""What pictures show is what the data hold."""
import re

import numpy as np
import pytest
from matplotlib.collections import PathCollection, QuadMesh

from tessaron import Dipole, Drift, Lattice
from tessaron.beam.generate import BunchRequest, Plane, make_bunch
from tessaron.command.cli import main
from tessaron.lattice.sections import sections_of
from tessaron.pictures import plots, style
from tessaron.pictures.floor import _outline
from tessaron.pictures.style import some, unit_of
from tessaron.report import page


@pytest.mark.parametrize("particles", [2000, 30000, 60000, 300000])
def test_the_drawn_density_is_that_of_the_whole_bunch(particles):
    bunch = make_bunch(BunchRequest(particles, 1e9, 1e-9, 1e-4, horizontal=Plane(1e-6, 10), vertical=Plane(1e-6, 10)))
    bunch.offsets[2, 1] = 0.1  # one particle far outside
    local = bunch.local()
    figure = plots.phase_spaces(bunch)
    for axes, x, y in ((figure.axes[1], local.u, local.pu / local.ps), (figure.axes[2], local.w, local.pw / local.ps)):
        meshes = [artist for artist in axes.collections if isinstance(artist, QuadMesh)]
        dots, = (artist for artist in axes.collections if isinstance(artist, PathCollection))
        places = np.array(dots.get_offsets()).T
        assert len(meshes) == (particles > 25000)
        edges, drawn, in_cells = [[-1e9, 0, 1e9]] * 2, np.zeros((2, 2)), 0.0
        if meshes:
            corners = meshes[0].get_coordinates()
            cells = meshes[0].get_array().filled(0).reshape(corners.shape[0] - 1, -1).T
            step, in_cells = len(cells) // 12, cells.sum()
            drawn = np.add.reduceat(np.add.reduceat(cells, np.arange(0, len(cells), step), 0), np.arange(0, len(cells), step), 1)
            edges = [np.append(edge[:-1:step], edge[-1]) for edge in (corners[0, :, 0], corners[:, 0, 1])]
        scale = [unit_of(x, "m")[0], unit_of(y, "rad")[0]]
        whole = np.histogram2d(x * scale[0], y * scale[1], edges)[0] / particles
        np.testing.assert_allclose(drawn + np.histogram2d(*places, edges)[0] / particles, whole, atol=1e-9)
        assert whole.sum() > 0.99 and places.shape[1] + round(in_cells * particles) == particles  # the tails are there too
    plots.plt.close(figure)


def test_a_force_is_drawn_along_the_motion_and_the_current_with_it(tmp_path, monkeypatch):
    (tmp_path / "fc1.dat").write_text("0 0 -2e-6 1000\n1e-6 2e-5 1e-6 1001\n")  # motion along y: 20 um of dy are 20 um ahead
    (tmp_path / "curr.dat").write_text("0\n3e-5\n5\n6\n7\n")  # from particle 1 to 30 um behind it
    monkeypatch.setattr(plots, "save", lambda figure, path: shown.append(figure.axes))
    shown: list = []
    assert main(["plot", "force", str(tmp_path / "fc1.dat"), "--current", str(tmp_path / "curr.dat"), "--direction", "90"]) == 0
    assert shown[0][0].lines[0].get_xdata() == pytest.approx([0, 20]) and shown[0][1].dataLim.x0 == pytest.approx(-30)


def test_drawn_faces_lie_on_their_boundaries():
    section = sections_of(boundaries := Lattice([Drift(1), Dipole.sbend(1.0, 0.02, e1=0.3, e2=-0.2)]).boundaries())[-1]
    for (x, y), b in zip(_outline(section, 0.01)[:, [0, -1, 119, 120]].T, np.repeat(boundaries, 2)):
        assert (x - b.x) * b.nx + (y - b.y) * b.ny == pytest.approx(0, abs=1e-6)


def test_a_choice_of_dots_is_random_and_always_the_same():
    chosen = some(300000, 20000)
    assert np.array_equal(chosen, some(300000, 20000)) and len(set(chosen)) == 20000
    assert np.bincount(chosen % 15).min() > 1200  # no residue class is left out
    assert list(some(3)) == [0, 1, 2]


@pytest.mark.parametrize("values, name, unit, factor", [
    ([2e-5], "m", "µm", 1e6), ([-3e4], "m", "km", 1e-3), ([0.0], "m", "m", 1), ([5e-12], "m", "pm", 1e12), ([4e-3, np.nan], "", "10⁻³", 1e3),
    ([7.0], "", "", 1)])
def test_units_read_well(values, name, unit, factor):
    assert unit_of(np.array(values), name) == (pytest.approx(factor), unit)


# Machado, Oliveira, Fernandes 2009: what eyes without one kind of cones see, on linear RGB.
BLIND = {"normal": np.eye(3), "protan": np.array([[0.152, 1.053, -0.205], [0.115, 0.786, 0.099], [-0.004, -0.048, 1.052]]),
         "deutan": np.array([[0.367, 0.861, -0.228], [0.280, 0.673, 0.047], [-0.012, 0.043, 0.969]])}


def linear(colour: str) -> np.ndarray:
    values = np.array([int(colour[k:k + 2], 16) for k in (1, 3, 5)]) / 255
    return np.where(values <= 0.04045, values / 12.92, ((values + 0.055) / 1.055) ** 2.4)


def contrast(one: str, other: str) -> float:
    """By the Web Content Accessibility Guidelines: 4.5 for text, 3 for lines."""
    light, dark = sorted((linear(colour) @ [0.2126, 0.7152, 0.0722] for colour in (one, other)), reverse=True)
    return (light + 0.05) / (dark + 0.05)


@pytest.mark.parametrize("eyes", BLIND)
def test_colours_differ_for_every_eye(eyes):
    from itertools import combinations

    def seen(colour):  # CIE L*a*b*
        xyz = np.array([[0.4124, 0.3576, 0.1805], [0.2126, 0.7152, 0.0722], [0.0193, 0.1192, 0.9505]]) @ np.clip(BLIND[eyes] @ linear(colour), 0, 1)
        f = np.cbrt(xyz / [0.9505, 1, 1.089])
        return np.array([116 * f[1], 500 * (f[0] - f[1]), 200 * (f[1] - f[2])])

    for one, other in combinations((style.INK, style.SECOND, style.THIRD), 2):
        assert np.linalg.norm(seen(one) - seen(other)) > 20, (one, other)
    for colour in (style.INK, style.SECOND, style.THIRD, style.FOURTH):
        assert contrast(colour, "#ffffff") > 3
    for text, ground in re.findall(r"\.verdict\.\w+ { color: (#\w+); background: (#\w+)", page._STYLE):
        assert contrast(text, ground) > 4.5
