"""How a result shows itself in a notebook: how it ended, the headline numbers before and behind, the picture of the bunch."""
from __future__ import annotations

from base64 import b64encode
from html import escape
from io import BytesIO
from typing import TYPE_CHECKING

from ..pictures.notebook import shown_once
from ..run.orbit import on_orbit
from .headline import headline

if TYPE_CHECKING:
    from ..run.result import Result


def result_html(result: "Result") -> str:
    """The page of a notebook's cell."""
    ending = result.ending
    colour, mark = ("#006d2c", "✓") if ending.completed else ("#a50026", "✗")
    parts = [f'<p style="color:{colour}"><b>{mark} {escape(str(ending.reason))}</b> <code>{escape(str(result.folder))}</code></p>']
    if ending.trace:
        parts.append(f"<pre>{escape(chr(10).join(ending.trace))}</pre>")
    if result.bunches:
        heads, rows = headline(result.summary_of(result.start), result.summary_of(result.end))
        lines = [("th", heads), *(("td", row) for row in rows)]
        parts.append("<table>" + "".join("<tr>" + "".join(f"<{tag}>{escape(cell)}</{tag}>" for cell in cells) + "</tr>"
                                         for tag, cells in lines) + "</table>")
        parts.append(_picture(result))
    return "".join(parts)


def _picture(result: "Result") -> str:
    from ..pictures.plots import longitudinal

    data = BytesIO()
    bunches = [(name, *on_orbit(bunch, result.orbit)) for name, bunch in (("before", result.start), ("behind", result.end))]
    shown_once(longitudinal(bunches)).savefig(data, format="png", dpi=60)
    return (f'<img alt="Energy and current along the bunch, before and behind" '
            f'src="data:image/png;base64,{b64encode(data.getvalue()).decode()}">')
