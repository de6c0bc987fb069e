"""Hooks of mkdocs: an index of all sections and table rows, for the search page, which works without a server."""
import json
import re
from html.parser import HTMLParser
from pathlib import Path

HEADINGS = ("h1", "h2", "h3", "h4")
entries: list[dict[str, str]] = []


class Reader(HTMLParser):
    """Takes a page apart into sections and rows of tables; a row's first cell is what it tells about."""

    def __init__(self, page: str, url: str) -> None:
        super().__init__()
        self.page, self.url = page, url
        self.anchor = self.heading = self.text = ""
        self.rows = 0
        self.cells: list[str] | None = None
        self.in_heading = self.in_permalink = False

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if tag in HEADINGS:
            self.end_section()
            self.anchor, self.in_heading = "#" + attributes.get("id", ""), True
        elif tag == "a" and attributes.get("class") == "headerlink":
            self.in_permalink = True
        elif tag == "tr":
            self.rows, self.cells = self.rows + 1, []
        elif tag == "td" and self.cells is not None:
            self.cells.append("")

    def handle_endtag(self, tag):
        if tag in HEADINGS:
            self.in_heading = False
        elif tag == "a":
            self.in_permalink = False
        elif tag == "tr":
            if self.cells:
                self.add(f"#row-{self.rows}", self.cells[0], " · ".join(self.cells[1:]))
            self.cells = None

    def handle_data(self, data):
        if self.in_permalink:
            return
        if self.in_heading:
            self.heading += data
        elif self.cells:
            self.cells[-1] += data
        elif self.cells is None:
            self.text += data

    def end_section(self):
        if self.heading:
            self.add(self.anchor, "", self.text)
        self.heading = self.text = ""

    def add(self, anchor, key, text):
        clean = {"page": self.page, "heading": self.heading, "key": key, "text": text}
        entries.append({"url": self.url + anchor, **{name: re.sub(r"\s+", " ", words).strip() for name, words in clean.items()}})


def on_pre_build(config):
    entries.clear()


def on_page_content(html, page, config, files):
    """Reads the page, and gives every table row an anchor."""
    if page.file.src_uri == "search.md":
        return html
    reader = Reader(page.title, page.url)
    reader.feed(html)
    reader.end_section()
    rows = iter(range(1, reader.rows + 1))
    return re.sub(r"<tr>", lambda _: f'<tr id="row-{next(rows)}">', html)


def on_post_build(config):
    index = json.dumps(entries, ensure_ascii=False, separators=(",", ":"))
    Path(config["site_dir"], "search-index.js").write_text(f"const entries = {index};\n")
