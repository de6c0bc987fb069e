"""The lattice as a row of sections: what lies between two field boundaries."""
from __future__ import annotations

from dataclasses import dataclass
from math import sin

from .geometry import Boundary, turned

KINDS = {"dipole": "dipole", "quadrupole": "quadrupole or multipole", "drift": "drift"}


@dataclass
class Section:
    """The stretch of the orbit from one boundary to the next."""

    start: Boundary
    end: Boundary
    kind: str  #: one of KINDS
    name: str  #: by the markers of its ends

    @property
    def length(self) -> float:
        """Along the orbit [m]."""
        return self.end.s - self.start.s

    def point(self, s: float) -> tuple[float, float, float, float]:
        """Point x, y [m] and tangent of the orbit at the path length s [m]; beyond the ends the section goes on."""
        b, r, length = self.start, self.end.r, s - self.start.s
        angle = -length / r if r else 0.0
        chord = -2 * r * sin(angle / 2) if r else length
        (cx, cy), (tx, ty) = turned((b.tx, b.ty), angle / 2), turned((b.tx, b.ty), angle)
        return b.x + chord * cx, b.y + chord * cy, tx, ty


def sections_of(boundaries: list[Boundary]) -> list[Section]:
    """All sections, the straight from the origin to the first boundary included if it has a length."""
    origin = Boundary("", False, 0.0, 0.0, 1.0, 0.0, 1.0, 0.0, 0.0, 0.0)
    ends = [origin, *boundaries] if boundaries and boundaries[0].s > 0 else list(boundaries)
    sections, counts = [], {kind: 0 for kind in KINDS}
    for start, end in zip(ends, ends[1:]):
        kind = "dipole" if end.r else "quadrupole" if end.element == (1, 1) else "drift"
        counts[kind] += 1
        markers = " - ".join(marker for marker in (start.marker, end.marker) if marker)
        sections.append(Section(start, end, kind, f"{kind} {counts[kind]}" + (f" ({markers})" if markers and kind != "drift" else "")))
    return sections


def straight_lattice(boundaries: list[Boundary]) -> str:
    """A `lattice` block without fields whose boundaries stand at the same path lengths, with the same markers."""
    lines, before = [], 0.0
    for b in boundaries:
        marker = f" marker = {b.marker}" if b.marker else ""
        lines.append(f"  dipole {{ position {{ delta_s = {b.s - before!r}{marker} duty = {'yes' if b.duty else 'no'} }} }}")
        before = b.s
    return "lattice {\n" + "\n".join(lines) + "\n}\n"
