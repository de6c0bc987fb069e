"""How a result shows itself in a notebook: how it ended, the headline numbers before and behind, the picture of the bunch."""
from __future__ import annotations

from base64 import b64encode
from html import escape
from io import BytesIO
from typing import TYPE_CHECKING

from ..beam.analyse import Summary
from ..lattice.of_deck import on_orbit
from ..pictures.notebook import shown_once

if TYPE_CHECKING:
    from .result import Result

#: What the table shows: its words, the number, its scale and unit.
_ROWS = (("mean energy", lambda b: b.energy, 1e-6, "MeV"), ("rms energy spread", lambda b: b.energy_spread, 1e-3, "keV"),
         ("rms length", lambda b: b.length, 1e6, "µm"), ("peak current", lambda b: b.peak_current, 1.0, "A"),
         ("emittance in the plane", lambda b: b.horizontal.emittance, 1e6, "µm"),
         ("vertical emittance", lambda b: b.vertical.emittance, 1e6, "µm"), ("charge", lambda b: b.charge, 1e9, "nC"),
         ("c·t", lambda b: b.ct, 1.0, "m"))


def headline(start: Summary, end: Summary) -> list[tuple[str, float, float, str]]:
    """Rows of (quantity, at the start, at the end, unit)."""
    return [(words, scale * value(start), scale * value(end), unit) for words, value, scale, unit in _ROWS]


def result_html(result: "Result") -> str:
    """The page of a notebook's cell."""
    ending = result.ending
    colour, mark = ("#006d2c", "✓") if ending.completed else ("#a50026", "✗")
    parts = [f'<p style="color:{colour}"><b>{mark} {escape(str(ending.reason))}</b> <code>{escape(str(result.folder))}</code></p>']
    if ending.trace:
        parts.append(f"<pre>{escape(chr(10).join(ending.trace))}</pre>")
    if result.bunches:
        rows = headline(result.summary_of(result.start), result.summary_of(result.end))
        cells = "".join(f"<tr><td>{words}</td><td>{before:.6g}</td><td>{after:.6g}</td><td>{unit}</td></tr>"
                        for words, before, after, unit in rows)
        parts.append(f"<table><tr><th></th><th>start</th><th>end</th><th></th></tr>{cells}</table>")
        parts.append(_picture(result))
    return "".join(parts)


def _picture(result: "Result") -> str:
    from ..pictures.plots import longitudinal

    data = BytesIO()
    bunches = [(name, *on_orbit(bunch, result.orbit)) for name, bunch in (("start", result.start), ("end", result.end))]
    shown_once(longitudinal(bunches)).savefig(data, format="png", dpi=60)
    return (f'<img alt="Energy and current along the bunch, at the start and at the end" '
            f'src="data:image/png;base64,{b64encode(data.getvalue()).decode()}">')
