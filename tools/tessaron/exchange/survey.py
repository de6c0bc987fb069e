"""The places of a lattice's elements on the floor, as a plain table."""
from __future__ import annotations

import csv
import io
from math import cos, sin

from ..lattice.elements import length_of
from ..lattice.lattice import Lattice

COLUMNS = ("s_m", "x_m", "y_m", "angle_rad", "element", "name")


def survey(lattice: Lattice) -> list[tuple[float, float, float, float, str, str]]:
    """The start of the orbit, then the end of each element: s, x, y [m], direction of the orbit [rad], kind and name.

    The direction counts from the x axis, above 0 to the left, whole turns included.
    """
    s, x, y, angle = 0.0, 0.0, 0.0, 0.0
    rows = [(s, x, y, angle, "start", "")]
    for element in lattice:
        length, bend = length_of(element), getattr(element, "angle", 0.0)
        chord = length * sin(bend / 2) / (bend / 2) if bend else length
        s, x, y, angle = s + length, x + chord * cos(angle - bend / 2), y + chord * sin(angle - bend / 2), angle - bend
        rows.append((s, x, y, angle, type(element).__name__.lower(), getattr(element, "name", "") or getattr(element, "entrance", "")))
    return rows


def survey_csv(lattice: Lattice) -> str:
    """The survey as comma separated values with one line of names, all digits."""
    text = io.StringIO()
    writer = csv.writer(text, lineterminator="\n")
    writer.writerow(COLUMNS)
    writer.writerows(survey(lattice))
    return text.getvalue()
