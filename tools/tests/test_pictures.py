"""What pictures show is what the data hold."""
import numpy as np
import pytest
from matplotlib.collections import PathCollection, QuadMesh

from tessaron.beam.generate import BunchRequest, Plane, make_bunch
from tessaron.pictures import plots
from tessaron.pictures.style import some, unit_of


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
        assert len(meshes) == (particles > 15000)
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
