"""The table of a scan: a numpy record array that writes itself as CSV, shows itself in a notebook and is drawn."""
from __future__ import annotations

import csv
from html import escape
from pathlib import Path
from typing import TYPE_CHECKING, Any, Sequence

import numpy as np

from ..run.quantities import UNITS

if TYPE_CHECKING:
    from matplotlib.figure import Figure


class Table(np.recarray):
    """Columns by name, as fields and as attributes: `table.charge`, `table["emittance"]`."""

    def save_csv(self, path: str | Path) -> None:
        """Writes a line of names and a line for each row, numbers with all their digits."""
        Path(path).parent.mkdir(parents=True, exist_ok=True)
        with open(path, "w", newline="") as file:
            writer = csv.writer(file)
            writer.writerow(self.dtype.names or ())
            writer.writerows([value.item() if isinstance(value, np.generic) else value for value in row] for row in self)

    def _repr_html_(self) -> str:
        names = self.dtype.names or ()
        head = "".join(f"<th>{escape(name)}{' / ' + UNITS[name] if UNITS.get(name) else ''}</th>" for name in names)
        rows = "".join("<tr>" + "".join(f"<td>{escape(_shown(value))}</td>" for value in row) + "</tr>" for row in self)
        return f"<table><tr>{head}</tr>{rows}</table>"


def table_of(rows: Sequence[dict[str, Any]], first: Sequence[str] = ()) -> Table:
    """A table of rows that may lack values: numbers are then NaN, texts empty.

    :param first: names that stand first, in this order, where there are such columns.
    """
    leading = [name for name in first if any(name in row for row in rows)]
    names = list(dict.fromkeys([*leading, *(name for row in rows for name in row)]))
    columns = {name: _column([row.get(name) for row in rows]) for name in names}
    table = np.empty(len(rows), dtype=[(name, column.dtype) for name, column in columns.items()])
    for name, column in columns.items():
        table[name] = column
    return table.view(Table)


def plot(table: Table, x: str, y: Sequence[str], by: str | None = None) -> "Figure":
    """Columns against another one, below each other.

    :param by: a curve for each value of this column.
    :raises ValueError: a column that the table does not have.
    """
    import matplotlib.pyplot as plt

    from ..pictures.notebook import shown_once
    from ..pictures.style import label, unit_of

    for name in (x, *y, *([by] if by else [])):
        if name not in (table.dtype.names or ()):
            raise ValueError(f"plot: the table has no column {name!r}; there are {', '.join(table.dtype.names or ())}")
    if not y:
        raise ValueError(f"plot: name at least one column to be drawn against {x!r}")
    x_factor, x_unit, x_name = _axis(table, x)
    figure, axes = plt.subplots(len(y), 1, figsize=(6.4, 1.2 + 2.8 * len(y)), squeeze=False, sharex=True, layout="constrained")
    for name, panel in zip(y, axes[:, 0]):
        factor, unit = unit_of(table[name], UNITS[name]) if UNITS.get(name) else (1.0, "")
        for k, value in enumerate(np.unique(table[by]) if by else [None]):
            rows = table if by is None else table[table[by] == value]
            rows = rows[np.argsort(rows[x])]
            panel.plot(rows[x] * x_factor if x_unit else rows[x], rows[name] * factor, "osd^v<>p*h"[k % 10] + "-",
                       label=None if by is None else f"{by} = {_shown(value)}")
        panel.set_ylabel(label(name, unit))
        panel.grid(alpha=0.3)
    axes[-1, 0].set_xlabel(label(x_name, x_unit))
    if by:
        axes[0, 0].legend()
    return shown_once(figure)


def _axis(table: Table, name: str) -> tuple[float, str, str]:
    """A factor, its unit and a name for a column whose name may end in its unit, as charge_C does."""
    from ..pictures.style import unit_of

    if table[name].dtype.kind not in "fi":
        return 1.0, "", name
    bare, _, unit = name.rpartition("_")
    if unit not in ("C", "m", "eV", "rad", "s") or not bare:
        bare, unit = name, UNITS.get(name, "")
    return (*unit_of(table[name], unit), bare)


def _column(values: list[Any]) -> np.ndarray:
    if all(value is None or isinstance(value, (int, float, np.number)) and not isinstance(value, bool) for value in values):
        if all(isinstance(value, (int, np.integer)) for value in values):
            return np.array(values, dtype=np.int64)
        return np.array([np.nan if value is None else value for value in values], dtype=float)
    return np.array(["" if value is None else str(value) for value in values])


def _shown(value: Any) -> str:
    return f"{value:.6g}" if isinstance(value, (float, np.floating)) else str(value)
