"""A plain HTML page: headings, tables, pictures, listings. Needs no script and nothing from elsewhere."""
from __future__ import annotations

from html import escape

_STYLE = """
:root { color-scheme: light; }
* { box-sizing: border-box; }
body { margin: 0; font: 1rem/1.5 system-ui, "DejaVu Sans", sans-serif; color: #1a1a1a; background: #fff; }
header, main, footer { max-width: 62rem; margin: 0 auto; padding: 0 1rem; }
h1 { margin: 1rem 0 .25rem; font-size: 1.6rem; }
h2 { margin: 2rem 0 .5rem; border-bottom: 2px solid #1b4f72; font-size: 1.25rem; }
h3 { margin: 1.25rem 0 .25rem; font-size: 1rem; }
nav ul { display: flex; flex-wrap: wrap; gap: .25rem 1rem; margin: .5rem 0; padding: 0; list-style: none; }
nav a { display: inline-block; padding: .4rem 0; }
a { color: #1b4f72; }
.verdict { margin: .5rem 0; padding: .5rem .75rem; border-left: .5rem solid; font-weight: 600; overflow-wrap: anywhere; }
.verdict.good { color: #0b4f3a; background: #e3f4ee; border-color: #117a5d; }
.verdict.bad { color: #7a1f00; background: #fde8dc; border-color: #c14600; }
a:focus-visible, [tabindex]:focus-visible { outline: 3px solid #b03a2e; outline-offset: 2px; }
.skip { position: absolute; left: -999rem; }
.skip:focus { position: static; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; margin: .75rem 0; font-variant-numeric: tabular-nums; }
caption { text-align: left; font-weight: 600; padding-bottom: .25rem; }
th, td { padding: .2rem .6rem; border-bottom: 1px solid #ccc; text-align: left; vertical-align: top; }
th[scope="col"]:not(:first-child) { text-align: right; }
td.number { text-align: right; white-space: nowrap; }
figure { margin: 1rem 0; }
figcaption { font-weight: 600; }
img { max-width: 100%; height: auto; }
pre { max-height: 30rem; overflow: auto; margin: 0; padding: .75rem; border: 1px solid #ccc; background: #f7f7f7;
      font: .85rem/1.4 "DejaVu Sans Mono", monospace; }
@media (max-width: 40rem) { table { font-size: .85rem; } th, td { padding: .15rem .3rem; } }
@media print {
  nav, .skip { display: none; }
  body { font-size: 10pt; }
  pre { max-height: none; white-space: pre-wrap; border: none; background: none; padding: 0; }
  .wide { overflow: visible; break-inside: avoid; }
  .verdict { border: 1px solid; border-left-width: .5rem; }
  table { font-size: 8pt; }
  th, td { padding: .1rem .25rem; }
  figure, tr { break-inside: avoid; }
  img { max-height: 23cm; }
  h2, h3 { break-after: avoid; }
}
"""


class Page:
    """Collects the parts of a page in their order. All texts are escaped here."""

    def __init__(self, title: str, good: bool | None = None, verdict: str = "") -> None:
        """`verdict` is one line below the title, green or red by `good`; a mark and words say the same as the colour."""
        self._title, self._good, self._verdict = title, good, verdict
        self._parts: list[str] = []
        self._sections: list[str] = []

    def section(self, heading: str) -> None:
        """Starts a section, which the list at the top of the page links to."""
        if self._sections:
            self._parts.append("</section>")
        self._sections.append(heading)
        number = len(self._sections)
        self._parts.append(f'<section aria-labelledby="s{number}"><h2 id="s{number}">{escape(heading)}</h2>')

    def text(self, words: str) -> None:
        """A paragraph."""
        self._parts.append(f"<p>{escape(words)}</p>")

    def table(self, caption: str, heads: list[str], rows: list[list[str]]) -> None:
        """A table with a row of headings; cells that hold a number are set right."""
        head = "".join(f'<th scope="col">{escape(cell)}</th>' for cell in heads)
        body = "".join("<tr>" + "".join(_cell(cell) for cell in row) + "</tr>" for row in rows)
        self._wide(caption, f"<table><caption>{escape(caption)}</caption><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>")

    def pairs(self, caption: str, rows: list[tuple[str, str, str]]) -> None:
        """A table of name, value and unit."""
        body = "".join(f'<tr><th scope="row">{escape(name.strip())}</th>{_cell(value)}<td>{escape(unit)}</td></tr>' for name, value, unit in rows)
        self._wide(caption, f"<table><caption>{escape(caption)}</caption><tbody>{body}</tbody></table>")

    def image(self, caption: str, png_base64: str, spoken: str = "") -> None:
        """A picture with its caption; that and `spoken` are its text for those who cannot see it."""
        text = f"Diagram: {caption}" + (f"; {spoken}" if spoken else "")
        self._parts.append(f'<figure><figcaption>{escape(caption)}</figcaption>'
                           f'<img alt="{escape(text)}" src="data:image/png;base64,{png_base64}"></figure>')

    def listing(self, name: str, text: str) -> None:
        """A file as it is, in a region that scrolls and that the keyboard reaches."""
        self._parts.append(f'<h3>{escape(name)}</h3><pre tabindex="0" role="region" aria-label="{escape(name)}">{escape(text)}</pre>')

    def html(self) -> str:
        """The whole page."""
        links = "".join(f'<li><a href="#s{k}">{escape(name)}</a></li>' for k, name in enumerate(self._sections, 1))
        end = "</section>" if self._sections else ""
        kind, mark = ("good", "✓ ") if self._good else ("bad", "✗ ")
        verdict = f'<p class="verdict {kind}">{mark}{escape(self._verdict)}</p>' if self._verdict else ""
        return (f'<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8"><title>{escape(self._title)}</title>'
                f'<meta name="viewport" content="width=device-width, initial-scale=1"><style>{_STYLE}</style></head>\n'
                f'<body><a class="skip" href="#content">Skip to the content</a><header><h1>{escape(self._title)}</h1>{verdict}'
                f'<nav aria-label="Sections"><ul>{links}</ul></nav></header>\n<main id="content">'
                + "\n".join(self._parts) + f"{end}</main></body></html>\n")

    def _wide(self, label: str, table: str) -> None:
        self._parts.append(f'<div class="wide" tabindex="0" role="region" aria-label="{escape(label)}">{table}</div>')


def _cell(text: str) -> str:
    try:
        float(text)
    except ValueError:
        return f"<td>{escape(text)}</td>"
    return f'<td class="number">{escape(text)}</td>'
