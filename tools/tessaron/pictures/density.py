"""Clouds of particles as densities: every particle counts, however many there are.

Of many particles the density is drawn, a histogram on a logarithmic colour scale; where a cell holds one or two
particles these are dots at their own places, so that a tail of few particles is a tail of few dots and not a row of
squares. Of few particles each one is a dot in the colour of the density around it. The projections on both axes stand at
the edges.
"""
from __future__ import annotations

from dataclasses import dataclass

import numpy as np
from matplotlib.colors import ListedColormap, LogNorm

from .style import THIRD, label, plt, unit_of

FEWEST_IN_CELL = 3
FEW = 25000  # particles that are all drawn as dots
THIN = 0.12  # share of the cells that a thin curve touches at most
# Without the lightest end, which small dots on white would lose.
COLOURS = ListedColormap(plt.get_cmap("viridis")(np.linspace(0, 0.9, 256)))
_LARGEST_SHARE = 0.17  # of the picture that a projection takes


@dataclass
class Density:
    """A cloud divided into cells and single dots. Their sum is the whole cloud."""

    x_edges: np.ndarray
    y_edges: np.ndarray
    cells: np.ndarray  #: (columns, rows) sum of the weights in the cells that are drawn as such, else 0
    dots: np.ndarray  #: indices of all other particles, those in dense places last
    around: np.ndarray  #: sum of the weights in the cell of each dot


def density_of(x: np.ndarray, y: np.ndarray, weight: np.ndarray) -> Density:
    """Divides a cloud. The cells cover its core: far tails are dots, and do not coarsen the cells. A thin curve gets more cells."""
    count = int(np.clip(np.sqrt(x.size / 2), 20, 256))
    ranges = _core(x), _core(y)
    cell = _cells(x, y, ranges, count)
    particles = np.bincount(cell, minlength=count * count + 1)
    if np.count_nonzero(particles) < THIN * count * count:
        count = min(2 * count, 400)
        cell = _cells(x, y, ranges, count)
        particles = np.bincount(cell, minlength=count * count + 1)
    sums = np.bincount(cell, weights=weight, minlength=count * count + 1)
    sums[-1] = 0.0
    full = (particles >= FEWEST_IN_CELL) & (sums > 0) & (x.size > FEW)
    dots = np.flatnonzero(~full[cell])
    dots = dots[np.argsort(sums[cell[dots]], kind="stable")]
    edges = [np.linspace(*limits, count + 1) for limits in ranges]
    return Density(*edges, np.where(full, sums, 0.0)[:-1].reshape(count, count), dots, sums[cell[dots]])


def _cells(x: np.ndarray, y: np.ndarray, ranges: tuple, count: int) -> np.ndarray:
    """Number of the cell that each particle is in; count^2 for those in none."""
    column, row = (np.floor((values - low) * (count / (high - low))).astype(np.int64) for values, (low, high) in zip((x, y), ranges))
    inside = (column >= 0) & (column < count) & (row >= 0) & (row < count)
    return np.where(inside, column * count + row, count * count)


def draw_cloud(axes: plt.Axes, x: np.ndarray, y: np.ndarray, weight: np.ndarray, x_name: tuple[str, str], y_name: tuple[str, str]) -> None:
    """Draws a cloud, its projections and the names of its axes; all of the cloud is in the picture.

    :param x_name: name and unit of the x values, which get a readable prefix; `y_name` likewise.
    """
    (fx, x_unit), (fy, y_unit) = unit_of(x, x_name[1]), unit_of(y, y_name[1])
    x, y = x * fx, y * fy
    density = density_of(x, y, weight)
    cells = np.ma.masked_equal(density.cells.T, 0.0)
    largest = max(cells.max() if cells.count() else 0.0, density.around.max(initial=0.0)) or 1.0
    scale = LogNorm(min(largest / 3, cells.min() if cells.count() else largest / 100), largest, clip=True)
    axes.grid(False)
    if cells.count():
        axes.pcolormesh(density.x_edges, density.y_edges, cells, cmap=COLOURS, norm=scale, rasterized=True, zorder=2)
    area = 9.0 if x.size < 1000 else 4.0 if x.size <= FEW else 0.8
    axes.scatter(x[density.dots], y[density.dots], area, np.maximum(density.around, scale.vmin), cmap=COLOURS,
                 norm=scale, lw=0, rasterized=True, zorder=1.9)
    _projection(axes, x, weight, False)
    _projection(axes, y, weight, True)
    axes.set_xlabel(label(x_name[0], x_unit))
    axes.set_ylabel(label(y_name[0], y_unit))


def _core(values: np.ndarray) -> tuple[float, float]:
    """A range that holds nearly all values, and no empty reach for the sake of a few."""
    low, high = values.min(), values.max()
    inner_low, inner_high = np.quantile(values, (0.001, 0.999))
    reach = 0.5 * (inner_high - inner_low) or 0.5 * (high - low)
    low, high = max(low, inner_low - reach), min(high, inner_high + reach)
    if not high > low:
        width = abs(low) * 1e-3 or 1.0
        return low - width, high + width
    return low, np.nextafter(high + 1e-9 * (high - low), np.inf)


def _projection(axes: plt.Axes, values: np.ndarray, weight: np.ndarray, upright: bool) -> None:
    """The density along one axis, from the edge of the picture inwards."""
    count = int(np.clip(2 * np.cbrt(values.size), 20, 150))
    heights, edges = np.histogram(values, np.linspace(*_core(values), count + 1), weights=weight)
    if heights.max() > 0:
        axes.stairs(heights * (_LARGEST_SHARE / heights.max()), edges, orientation="horizontal" if upright else "vertical", fill=True,
                    color=THIRD, alpha=0.35, lw=0, zorder=1.5, transform=axes.get_yaxis_transform() if upright else axes.get_xaxis_transform())
