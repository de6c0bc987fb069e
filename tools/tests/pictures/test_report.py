"""The page of a run: complete, self-contained, readable by a browser, and there also when a run has failed."""
import os
import re
import shutil
import subprocess
from html.parser import HTMLParser
from pathlib import Path

import matplotlib.pyplot as plt
import numpy as np
import pytest
from decks import DECK

from tessaron.beam.generate import BunchRequest, make_bunch
from tessaron.command.cli import main
from tessaron.files.bunchfiles import write_bunch
from tessaron.report.headline import headline
from tessaron.report.report import write_report
from tessaron.run.folder import RunFolder
from tessaron.run.process import run_program

PICTURES = 10
VOID = {"meta", "img", "br", "link"}


class Outline(HTMLParser):
    """Headings, pictures, links; and that every element is closed in order."""

    def __init__(self, text: str) -> None:
        super().__init__()
        self.open, self.levels, self.images, self.anchors, self.targets, self.loaded = [], [], [], [], set(), []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        if tag not in VOID:
            self.open.append(tag)
        if re.fullmatch("h[1-6]", tag):
            self.levels.append(int(tag[1]))
        if tag == "img":
            self.images.append(values)
        if tag == "a":
            self.anchors.append(values["href"])
        self.targets.add(values.get("id"))
        self.loaded += [values[name] for name in ("src", "href") if name in values] + [tag] * (tag in ("script", "iframe", "object"))

    def handle_endtag(self, tag):
        assert self.open.pop() == tag


@pytest.fixture(scope="module")
def folder(program, tmp_path_factory) -> Path:
    """What a finished run leaves, one file of it cut off, with a warning in the log that no page may take for markup."""
    folder = tmp_path_factory.mktemp("run")
    write_bunch(folder / "bunch.dat", make_bunch(BunchRequest(3000, 1e9, 1e-9, 1e-4, chirp=(20, 0, 0))), "fmt1")
    way = "online_monitor { name = way.dat start_time_c0 = now end_time_c0 = 9 time_step_c0 = 1 }\n"
    (folder / "tessar.in").write_text("io_path { logfile = run.log }\n" + DECK.replace("tracker", way + "tracker", 1).replace("0.1 }", "0.1 test = yes }"))
    assert run_program(folder, program=program).completed
    (folder / "way_0003.dat").write_text("cut off in the midd")
    console = (folder / "console.txt").read_text()
    (folder / "console.txt").write_text(console.replace("\n", "\n warning: <b>large</b> sbox\n", 1))
    return folder


@pytest.fixture(scope="module")
def page(folder, program) -> Path:
    os.environ["TESSARON"] = str(program)
    return write_report(folder)


def test_the_page_is_whole_and_needs_nothing_from_elsewhere(page):
    text = page.read_text()
    outline = Outline(text)
    assert outline.open == [] and outline.levels[0] == 1 and outline.levels.count(1) == 1
    assert all(after - before <= 1 for before, after in zip(outline.levels, outline.levels[1:]))  # no heading level is jumped
    assert all(item.startswith(("data:image/png;base64,", "#")) for item in outline.loaded)
    assert all(anchor[1:] in outline.targets for anchor in outline.anchors) and len(outline.anchors) >= 9
    assert len(outline.images) == PICTURES and all(len(image["alt"]) > 20 for image in outline.images)
    for words in ('number">2</td><td class="number">1</td><td>warning: &lt;b&gt;large&lt;/b&gt;', "way_0003.dat", "not a bunch", "name = way.dat", 'lang="en"', "@media print", "viewport", "compression",
                  'class="verdict good"', "completed at", "dipole 1 (in - out)", "R56"):
        assert words in text
    assert "<b>large" not in text


BAD = [  # what is done to the folder of a good run, words of the verdict
    (lambda folder: (folder / "end.dat").unlink(), "end.dat: was never written"),
    (lambda folder: (folder / "end.dat").write_text(""), "end.dat is empty"),
    (lambda folder: os.utime(folder / "end.dat", (0, 0)), "end.dat is older than the run"),
    (lambda folder: (folder / "way_0004.dat").unlink(), "way.dat: ends at c·t = 2"),
    (lambda folder: cut(folder / "console.txt", "ctstep= "), "without its closing lines, at c*t"),
    (lambda folder: (folder / "tessar.in").write_text((folder / "tessar.in").read_text() + "tracker { delta_time_c0 = 1 }"), "1 of 2 trackers"),
    (lambda folder: (folder / "errors.txt").write_text("tessaron: stopped at tessar.in:9 (reading tracker)\n"), "stopped at tessar.in:9"),
]


def cut(path: Path, words: str) -> None:
    """Cuts a text behind the last place of some words."""
    text = path.read_text()
    path.write_text(text[:text.rindex(words) + len(words)])


@pytest.mark.parametrize("spoil, words", BAD, ids=[words for _, words in BAD])
def test_a_run_that_died_is_told_first(folder, tmp_path, spoil, words):
    copy = Path(shutil.copytree(folder, tmp_path / "run"))
    (copy / "way_0003.dat").write_bytes((copy / "way_0002.dat").read_bytes().replace(b"0.1", b"0.2", 1))
    shutil.copy(folder / "s.dat", copy / "s.dat")
    assert RunFolder(copy).verdict.completed
    spoil(copy)
    verdict = RunFolder(copy).verdict
    assert not verdict.completed and words in "\n".join([verdict.line, *verdict.details])


def test_a_failed_run_has_a_report_and_a_status(tmp_path, program, capsys):
    (tmp_path / "tessar.in").write_text("lattice { dipol { } }\nmonitor { name = end.dat }\n")
    assert main(["report", str(tmp_path), "-o", str(tmp_path / "page.html")]) == 1
    assert "no sign of a run" in capsys.readouterr().out
    text = (tmp_path / "page.html").read_text()
    assert "no element" in text and "left no log" in text and Outline(text).open == []
    assert text.index('class="verdict bad"') < text.index("<h2")
    assert main(["report", str(tmp_path / "nowhere")]) == 1 and "no tessar.in" in capsys.readouterr().err
    assert main(["run", str(tmp_path), "--program", str(program)]) == 1 and "stopped at tessar.in:1" in capsys.readouterr().out


def test_the_headline_compares_before_and_behind():
    before, behind = (make_bunch(BunchRequest(1000, energy, 1e-9, length)).moments() for energy, length in ((1e9, 2e-4), (0.9e9, 1e-4)))
    rows = {name: cells for name, *cells in headline(before, behind)[1]}
    assert rows["compression"][1] == "2" and rows["mean energy loss / keV"][1:] == ["100000", "-10.0000 %"]


def test_a_browser_shows_it(page, tmp_path):
    browser = shutil.which("chromium") or shutil.which("chromium-browser")
    if browser is None:
        pytest.skip("chromium is not installed")
    flags = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
             "--disable-component-update", "--disable-sync", f"--user-data-dir={tmp_path / 'profile'}", "--window-size=500,1000"]
    # The page reports on itself: a narrow window, and one as narrow as a phone, must not have to scroll sideways, every picture
    # must have loaded, the keyboard must reach links and scrolling regions.
    probe = ("<script>addEventListener('load', () => { document.title = JSON.stringify({ wide: document.documentElement.scrollWidth - innerWidth, "
             "broken: [...document.images].filter(i => !i.naturalWidth).length, images: document.images.length, "
             "phone: (document.documentElement.style.width = '360px', "
             "Math.max(...[...document.querySelectorAll('body, header, main, section, p, h1, h2, h3, figure, img, .wide, pre')].map("
             "e => e.getBoundingClientRect().right)) - 360), "
             "regions: document.querySelectorAll('[tabindex=\"0\"]').length, "
             "focus: [...document.querySelectorAll('a, [tabindex]')].every(e => { e.focus(); return document.activeElement === e; }) }); });</script>")
    probed = tmp_path / "probed.html"
    probed.write_text(page.read_text().replace("</body>", probe + "</body>"))
    result = subprocess.run([browser, *flags, "--dump-dom", probed.as_uri()], capture_output=True, text=True, timeout=120)
    title = re.search(r"<title>(.*?)</title>", result.stdout)
    assert title, result.stderr[-2000:]
    facts = dict(re.findall(r'"(\w+)":([\w-]+)', title[1].replace("&quot;", '"')))
    assert int(facts["wide"]) <= 0 and facts["broken"] == "0" and facts["images"] == str(PICTURES) and facts["focus"] == "true"
    assert int(facts["regions"]) >= 5 and int(facts["phone"]) <= 0
    shot = tmp_path / "page.png"
    subprocess.run([browser, *flags, "--hide-scrollbars", f"--screenshot={shot}", page.as_uri()], capture_output=True, timeout=120, check=True)
    pixels = (np.array(plt.imread(shot))[..., :3] * 255).round()
    assert pixels.shape == (1000, 500, 3) and (pixels == [0xe3, 0xf4, 0xee]).all(axis=2).sum() > 5000  # the verdict's green
    assert 0.02 < (pixels.min(axis=2) < 200).mean() < 0.6  # neither empty nor black
    subprocess.run([browser, *flags, f"--print-to-pdf={tmp_path / 'page.pdf'}", page.as_uri()], capture_output=True, timeout=120, check=True)
    pdf = (tmp_path / "page.pdf").read_bytes()
    assert pdf.startswith(b"%PDF") and pdf.count(b"/Type /Page\n") + pdf.count(b"/Type /Page ") + pdf.count(b"/Type/Page/") >= 2
