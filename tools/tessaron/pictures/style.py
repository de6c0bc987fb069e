"""What all pictures share: colours, units of axes, choice of single dots, writing."""
from __future__ import annotations

from pathlib import Path

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402
from matplotlib.figure import Figure  # noqa: E402

# Okabe and Ito's palette as far as it reads on white: the colours differ in lightness too.
INK, SECOND, THIRD, FOURTH = "#0b4f8a", "#d55e00", "#117a5d", "#a05195"
MOST_DOTS = 20000
plt.rcParams.update({"figure.constrained_layout.use": True, "axes.grid": True, "grid.alpha": 0.3, "font.size": 10,
                     "axes.formatter.useoffset": False, "axes.formatter.limits": (-5, 6)})

_PREFIXES = [(10.0 ** -power, prefix) for power, prefix in
             ((12, "T"), (9, "G"), (6, "M"), (3, "k"), (0, ""), (-3, "m"), (-6, "µ"), (-9, "n"), (-12, "p"), (-15, "f"))]
_POWERS = {"T": "10¹²", "G": "10⁹", "M": "10⁶", "k": "10³", "m": "10⁻³", "µ": "10⁻⁶", "n": "10⁻⁹", "p": "10⁻¹²", "f": "10⁻¹⁵"}


def save(figure: Figure, path: str | Path, dpi: int = 130) -> None:
    """Writes the picture; the suffix (png, svg, pdf) chooses the form."""
    figure.savefig(path, dpi=dpi)
    plt.close(figure)


def unit_of(values: np.ndarray, unit: str) -> tuple[float, str]:
    """A factor and a name of unit with which the largest of the values reads well, as (1e6, "µm").

    Values without a unit of their own get a power of ten, as (1e3, "10⁻³"). What is smaller than any prefix stays as it is.
    """
    finite = np.abs(np.asarray(values, dtype=float))
    largest = float(np.max(finite, initial=0.0, where=np.isfinite(finite)))
    for factor, prefix in _PREFIXES:
        if largest * factor >= 1:
            return factor, prefix + unit if unit else _POWERS.get(prefix, "")
    return 1.0, unit


def label(name: str, unit: str) -> str:
    """Name and unit of an axis, as "length / µm"; compound units get brackets."""
    return f"{name} / {f'({unit})' if '/' in unit else unit}" if unit else name


def some(count: int, most: int = MOST_DOTS) -> np.ndarray:
    """Which of `count` dots are drawn where not all can be: a random choice that is always the same, in their order.

    Never every k-th: quiet bunches are low-discrepancy sequences, of which that is one residue class.
    """
    if count <= most:
        return np.arange(count)
    return np.sort(np.random.default_rng(1).choice(count, most, replace=False))
