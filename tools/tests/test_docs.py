"""The documentation: every link holds, the site is built, its search finds keys and messages, and the rooms stand as told."""
import html
import json
import re
import shutil
import subprocess
from urllib.parse import unquote

import chicane
import numpy as np
import pytest
from conftest import ROOT

from tessaron import Lattice
from tessaron.deck import keys

PAGES = [ROOT / name for name in ("README.md", "CHANGELOG.md", "CONTRIBUTING.md", "tools/README.md")] \
    + sorted((ROOT / "docs").glob("*.md")) + sorted((ROOT / "examples").glob("**/README.md"))


def without_code(text):
    return re.sub(r"```.*?```|`[^`\n]*`", "", text, flags=re.S)


def anchors(page):
    """The anchors that a forge gives to the headings of a page."""
    headings = re.findall(r"^#+ (.*)$", re.sub(r"```.*?```", "", page.read_text(), flags=re.S), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


@pytest.mark.parametrize("page", PAGES, ids=lambda page: str(page.relative_to(ROOT)))
def test_links_hold(page):
    links = re.findall(r"\]\(([^)\s]+)\)", without_code(page.read_text()))
    for link in links:
        place, _, anchor = link.partition("#")
        target = page.parent / unquote(place) if place else page
        assert "://" in link or target.exists(), link
        assert not anchor or "://" in link or anchor in anchors(target), link


@pytest.fixture(scope="module")
def site(tmp_path_factory):
    if not shutil.which("mkdocs"):
        pytest.skip("mkdocs is not installed")
    folder = tmp_path_factory.mktemp("site")
    done = subprocess.run([ROOT / "docs" / "build.sh", folder], capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    return folder


def test_the_site_has_every_page_and_no_loose_end(site):
    pages = {path: path.read_text() for path in site.rglob("*.html") if path.name != "404.html"}
    assert len(pages) == len(PAGES) + 1  # and the search
    for path, text in pages.items():
        for link in re.findall(r'(?:href|src)="([^"]+)"', text):
            place, _, anchor = html.unescape(link).partition("#")
            target = (path.parent / unquote(place.partition("?")[0])).resolve() if place else path
            if "://" in link:
                assert link.startswith("https://") and not re.search(rf'src="{re.escape(link)}"', text), link  # nothing is fetched
            else:
                assert target.is_file() and (not anchor or f'id="{anchor}"' in pages[target]), f"{path}: {link}"
        assert not re.search(r"<p>[^<]*\n\s*(\||- |\d\. )", text), f"{path}: a table or list that was not taken for one"


def test_the_search_knows_every_key_and_works_from_a_file(site):
    index = json.loads((site / "search-index.js").read_text().removeprefix("const entries = ").rstrip(";\n"))
    rows = {word for entry in index if entry["page"] == "Commands and keys" for word in re.split(r"[\s,]+", entry["key"])}
    blocks = (keys.IO_PATH, keys.PARTICLES, keys.FORCES, keys.TRACK_STEP, keys.TRACKER, keys.ONLINE_MONITOR, keys.POSITION)
    assert {key for block in blocks for key in block} <= rows
    browser = shutil.which("chromium")
    if not browser:
        pytest.skip("chromium is not installed")
    for query, page, found in (("ct_step_max", "docs/commands.html", "ct_step_max, ct_step_min, ct_step_first"),
                               ("SDDS", "docs/coming.html", "Coming from another program"),  # ahead of the changes
                               ("12 lines of run.log could not be written", "docs/messages.html", "n lines of file could not be written: cause")):
        arguments = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking", f"--user-data-dir={site}/profile",
                     "--virtual-time-budget=3000", "--dump-dom", f"file://{site}/search.html?q={query.replace(' ', '+')}"]
        shown = subprocess.run([browser, *arguments], capture_output=True, text=True, timeout=120).stdout
        link, first = re.search(r'id="found"><p><a href="([^"]+)">(.*?)</a>', shown).groups()
        place, row = link.split("#")
        assert place == page and html.unescape(re.sub(r"<[^>]+>", "", first)) == found
        assert f'id="{row}"' in (site / page).read_text()


@pytest.mark.parametrize("language, suffix", [("madx", ".madx"), ("elegant", ".lte")])
def test_the_chicanes_of_the_chapter_are_that_of_the_example(tmp_path, language, suffix):
    """All faces stand across the axis at round numbers, and R56 is that of the closed form."""
    chapter = (ROOT / "docs" / "coming.md").read_text()
    file = tmp_path / f"chicane{suffix}"
    file.write_text(re.search(rf"```{language}\n(.*?)```", chapter, re.S)[1])
    lattice = getattr(Lattice, f"from_{language}")(file)
    faces = [(face.x, abs(face.nx), face.ny) for face in lattice.boundaries()]
    assert np.allclose(faces, [(x, 1, 0) for x in (1, 1.5, 6.5, 7, 8, 8.5, 13.5, 14, 16)], rtol=0, atol=1e-9)
    assert lattice.boundaries()[1].y < 0 and lattice.matrix()[4, 5] == pytest.approx(chicane.r56(), rel=1e-9)


def test_python_rooms_import_what_stands_below_them():
    """In the order of the table for developers. What a method imports when it is called may stand above."""
    package = ROOT / "tools" / "tessaron"
    rooms = re.findall(r"^\| `(\w+)/` \|", (ROOT / "docs" / "developer.md").read_text(), re.M)
    assert sorted(rooms) == sorted(path.parent.name for path in package.glob("*/__init__.py"))
    for k, room in enumerate(rooms):
        for file in (package / room).rglob("*.py"):
            dots = len(file.relative_to(package).parts)
            assert set(re.findall(rf"^from \.{{{dots}}}(\w+)", file.read_text(), re.M)) <= {*rooms[k + 1:], "constants", "words"}, file
