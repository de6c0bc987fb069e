"""The page of a run: complete, self-contained, readable by a browser, and there also when a run has failed."""
import re
import shutil
import subprocess
from html.parser import HTMLParser
from pathlib import Path

import pytest
from test_check import DECK
from test_outputs import LATOUT

from tessaron.files.bunchfiles import write_bunch
from tessaron.beam.generate import BunchRequest, make_bunch
from tessaron.pictures.report import write_report

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


@pytest.fixture
def folder(tmp_path) -> Path:
    """What a finished run leaves, made by hand."""
    bunch = make_bunch(BunchRequest(3000, 1e9, 1e-9, 1e-4, chirp=(20, 0, 0)))
    write_bunch(tmp_path / "bunch.dat", bunch, "fmt1")
    for k, name in enumerate(("way_0001.dat", "way_0002.dat", "end.dat")):
        bunch.ct = k
        bunch.reference[3] -= 1e5
        write_bunch(tmp_path / name, bunch, "fmt1")
    (tmp_path / "latout.dat").write_text(LATOUT)
    (tmp_path / "s.dat").write_text("0.1 1e-6 0 1 0 0 0 0\n0.2 2e-6 1 2 0 0 0 0\n")
    (tmp_path / "fc1.dat").write_text("".join(f"{k * 1e-6} 0 {k * 1e-7} 2000\n" for k in sorted(range(-5, 6), key=abs)))
    (tmp_path / "way_0003.dat").write_text("cut off in the midd")
    (tmp_path / "run.log").write_text(" start time           = 0\n\n warning: <b>large</b> sbox\n integrated step error= 1e-3\n")
    way = "online_monitor { name = way.dat start_time_c0 = now end_time_c0 = 9 time_step_c0 = 1 }\n"
    (tmp_path / "tessar.in").write_text("io_path { logfile = run.log }\n" + DECK.replace("tracker", way + "tracker", 1))
    return tmp_path


def test_the_page_is_whole_and_needs_nothing_from_elsewhere(folder):
    text = write_report(folder).read_text()
    page = Outline(text)
    assert page.open == [] and page.levels[0] == 1 and page.levels.count(1) == 1
    assert all(after - before <= 1 for before, after in zip(page.levels, page.levels[1:]))  # no heading level is jumped
    assert all(item.startswith(("data:image/png;base64,", "#")) for item in page.loaded)
    assert all(anchor[1:] in page.targets for anchor in page.anchors) and len(page.anchors) >= 7
    assert len(page.images) == 7 and all(len(image["alt"]) > 10 for image in page.images)
    for words in ("&lt;b&gt;large&lt;/b&gt;", "way_0003.dat", "not a bunch", "0.001", "name = way.dat", 'lang="en"', "@media print", "viewport"):
        assert words in text
    assert "<b>large" not in text


def test_a_failed_run_has_a_report_too(tmp_path):
    (tmp_path / "tessar.in").write_text("lattice { dipol { } }\n")
    text = write_report(tmp_path, tmp_path / "page.html").read_text()
    assert "no element" in text and "left no log" in text and Outline(text).open == []
    with pytest.raises(ValueError, match="no tessar.in"):
        write_report(tmp_path / "nowhere")


def test_a_browser_shows_it(folder, tmp_path):
    browser = shutil.which("chromium") or shutil.which("chromium-browser")
    if browser is None:
        pytest.skip("chromium is not installed")
    page = write_report(folder)
    flags = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
             "--disable-component-update", "--disable-sync", f"--user-data-dir={tmp_path / 'profile'}", "--window-size=500,1000"]
    # The page reports on itself: a narrow window must not have to scroll sideways, every picture must have loaded,
    # the keyboard must reach links and scrolling regions.
    probe = ("<script>addEventListener('load', () => { document.title = JSON.stringify({ wide: document.documentElement.scrollWidth - innerWidth, "
             "broken: [...document.images].filter(i => !i.naturalWidth).length, images: document.images.length, "
             "regions: document.querySelectorAll('[tabindex=\"0\"]').length, "
             "focus: [...document.querySelectorAll('a, [tabindex]')].every(e => { e.focus(); return document.activeElement === e; }) }); });</script>")
    probed = tmp_path / "probed.html"
    probed.write_text(page.read_text().replace("</body>", probe + "</body>"))
    result = subprocess.run([browser, *flags, "--dump-dom", probed.as_uri()], capture_output=True, text=True, timeout=120)
    title = re.search(r"<title>(.*?)</title>", result.stdout)
    assert title, result.stderr[-2000:]
    facts = dict(re.findall(r'"(\w+)":([\w-]+)', title[1].replace("&quot;", '"')))
    assert int(facts["wide"]) <= 0 and facts["broken"] == "0" and facts["images"] == "7" and facts["focus"] == "true"
    assert int(facts["regions"]) >= 5
    subprocess.run([browser, *flags, f"--print-to-pdf={tmp_path / 'page.pdf'}", page.as_uri()], capture_output=True, timeout=120, check=True)
    pdf = (tmp_path / "page.pdf").read_bytes()
    assert pdf.startswith(b"%PDF") and pdf.count(b"/Type /Page\n") + pdf.count(b"/Type /Page ") + pdf.count(b"/Type/Page/") >= 2
