"""Decks with planted faults: each is found on its line, in plain words, and nothing else is reported."""
import importlib
import re
import sys
from dataclasses import replace
from pathlib import Path

import numpy as np
import pytest
from conftest import ROOT
from decks import DECK, MISTAKES

from tessaron.beam.generate import BunchRequest, Plane, make_bunch
from tessaron.check.particles import array_words
from tessaron.check.walk import check_deck
from tessaron.deck.reader import DeckReader, integer_of, real_of, split_line
from tessaron.files.bunchfiles import write_bunch


@pytest.fixture(scope="module")
def bunch_file(tmp_path_factory) -> Path:
    """Of 1 GeV, quiet, 80 particles per tenth of the rms length; beside it others that do not suit the deck."""
    path = tmp_path_factory.mktemp("bunch") / "bunch.dat"
    good = BunchRequest(2000, 1e9, 1e-9, 1e-4)
    others = {"random.dat": dict(quiet=False), "slow.dat": dict(energy=1e8), "wide.dat": dict(horizontal=Plane(sizes=(2e-3, 1e-6))), "bunch.dat": {},
              "chirped.dat": dict(chirp=(200.0, 0, 0))}
    for name, numbers in others.items():
        write_bunch(path.parent / name, make_bunch(replace(good, **numbers)), "fmt1")
    return path


def findings(folder: Path, bunch: Path | None, deck: str) -> list[str]:
    for path in bunch.parent.iterdir() if bunch is not None else ():
        if not (folder / path.name).exists():
            (folder / path.name).symlink_to(path)
    (folder / "tessar.in").write_text(deck)
    return [str(finding) for finding in check_deck(folder / "tessar.in")]


@pytest.mark.parametrize("line", ["1 2 3", "1,2;3", " , 1", "1 ! 2 3", "1d3 .5 -2.E-1", "1 x", "1_0 1", "1 2 } 3", "1 " * 210, "0.1-119"])
def test_an_array_is_read_at_once_as_it_is_line_by_line(tmp_path, line, monkeypatch):
    (tmp_path / "a").write_text(f"0 0 0\n{line}\n4 5\n")
    (tmp_path / "tessar.in").write_text("#file { name = a } 6 } 7")
    found = [array_words(DeckReader(tmp_path / "tessar.in"))]
    monkeypatch.setattr(DeckReader, "plain_rest", lambda reader: None)
    found.append(array_words(DeckReader(tmp_path / "tessar.in")))
    assert found[0] == found[1] and len(found[0][0]) >= 3


@pytest.mark.parametrize("old, new", [
    ("", ""), ("0.1 }", "0.1 shield = 0.02 shield_reach = bunch }"), ("relative_long = 0.1", "relative_long = 0.01"),
    ("delta_s = 0.5 m", "delta_s = 15.7 m"), ("monitor { name = end.dat }", "monitor { name = end.dat } io_path { logfile = run.log }")])
def test_a_good_deck_has_no_findings(tmp_path, bunch_file, old, new):
    assert findings(tmp_path, bunch_file, DECK.replace(old, new, 1)) == []


@pytest.mark.parametrize("example, maker", [("bunch_compressor", "make_bunch"), ("direct_sum", "run"), ("models_compared", "setup"),
                                            ("quiet_start", "run"), ("shielding", "run"), ("wake", "run")])
def test_every_example_passes(tmp_path, monkeypatch, example, maker):
    """Its deck, with the bunch that its script makes."""
    folder = ROOT / "examples" / example
    monkeypatch.setattr(sys, "path", [str(folder), str(folder.parent), *sys.path])
    monkeypatch.delitem(sys.modules, maker, raising=False)
    script = importlib.import_module(maker)
    monkeypatch.delitem(sys.modules, maker)
    write_bunch(tmp_path / "bunch.dat", script.bunch(1000), "fmt1")
    if example == "wake":
        script.wakes.write_table(tmp_path / "wake.txt", "wake", script.wakes.resistive, script.TABLE_RMS, script.TABLE_STEP, 14 * script.LENGTH)
    (tmp_path / "tessar.in").write_bytes((folder / "tessar.in").read_bytes())
    assert check_deck(tmp_path / "tessar.in") == []
    assert set(path.parent.name for path in folder.parent.glob("*/tessar*.in")) == {"bunch_compressor", "direct_sum", "models_compared", "quiet_start", "shielding", "wake"}


@pytest.mark.parametrize("old, new, line, kind, words", MISTAKES)
def test_a_mistake_gives_one_message(tmp_path, bunch_file, old, new, line, kind, words):
    assert old in DECK
    found = findings(tmp_path, bunch_file, DECK.replace(old, new, 1))
    assert len(found) == 1 and words in found[0], found
    assert re.match(rf"(tessar.in:{line}|bunch.dat:1): {kind}: ", found[0])


def test_monitors_ahead_of_their_particles_or_behind_the_last_tracker(tmp_path, bunch_file):
    lines = DECK.splitlines()
    early = lines[:4] + [lines[7]] + lines[4:7] + lines[8:]
    found = findings(tmp_path, bunch_file, "\n".join(early))
    assert len(found) == 1 and found[0].startswith("tessar.in:5: warning: ") and "stands before the particles block at tessar.in:6" in found[0]
    late = lines[:7] + lines[8:] + [lines[7]]
    found = findings(tmp_path, bunch_file, "\n".join(late))
    assert len(found) == 1 and found[0].startswith("tessar.in:10: warning: ") and "no tracker follows" in found[0]


BEHIND = "track_step { }\ntracker { delta_time_c0 = 0.1 }\n"


@pytest.mark.parametrize("between, warned", [
    ("", ""), ("particles { array = 3.5 0 0 0 0 0 0\n 0 0 0 1e9 0 0 1e-12\n -1e-4 0 0 0 0 0 1e-12 }\n", "particles"),
    ("particles { array = 3.5000001 0 0 0 0 0 0\n 0 0 0 1e9 0 0 1e-12\n -1e-4 0 0 0 0 0 1e-12 }\n", ""),
    ("forces { type = csr_g_to_m sigma_long = 1e-5 }\n", "forces"), ("forces { type = none }\n", ""),
    ("forces { type = none } tracker { delta_time_c0 = 1e-9 } forces { type = csr_g_to_m sigma_long = 1e-5 }\n", "")])
def test_forces_of_an_older_bunch_or_setting(tmp_path, bunch_file, between, warned):
    deck = DECK.replace("tracker { end_time_marker = end }", "tracker { end_time_c0 = 3.5 }") + between + BEHIND
    found = [text for text in findings(tmp_path, bunch_file, deck) if "starts with the forces" in text]
    assert len(found) == bool(warned)
    if warned:
        line = deck.count("\n")
        assert found[0].startswith(f"tessar.in:{line}: warning: this tracker starts with the forces that the one at tessar.in:9 left at c*t = 3.5 m")
        assert f"before {warned} at tessar.in:11;" in found[0]


def test_the_eleventh_monitor_fails(tmp_path, bunch_file):
    block = 'online_monitor { name = m%d type = steps start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }\n'
    found = findings(tmp_path, bunch_file, DECK.replace("tracker {", "".join(block % k for k in range(10)) + "tracker {"))
    assert [text.split(" error")[0] for text in found] == ["tessar.in:18:"] and "more than 10" in found[0]


def test_a_lattice_that_does_not_close(tmp_path):
    deck = (ROOT / "examples/bunch_compressor/tessar.in").read_text()
    line = 1 + deck[:deck.index("lattice {")].count("\n")
    for old, new, words in (("-10.3462283687", "-10.5", "leaves at -"), ("rho = 13.5", "rho = 13.4", "leaves at"),
                            ("rho =  8.5", "rho =  8.51", "leaves at")):
        found = findings(tmp_path, None, deck.replace(old, new, 1))
        assert any(text.startswith(f"tessar.in:{line}: warning: the lattice does not close") and words in text for text in found), found
    moved = deck.replace("rho = 13.5", "rho = 13.9").replace("rho = 14.0", "rho = 14.4")
    found = findings(tmp_path, None, moved)
    assert any("mm beside it" in text for text in found), found
    assert not any("does not close" in text for text in findings(tmp_path, None, deck))


def test_everything_is_found_in_one_go(tmp_path, bunch_file):
    deck = DECK.replace("r = 5", "r = x").replace("projected", "csr").replace("0.01 }", "0.5 }").replace("type = steps", "type = s")
    found = [text for text in findings(tmp_path, bunch_file, deck) if ": error: " in text]
    assert [int(text.split(":")[1]) for text in found] == [2, 6, 7, 8]


def test_faults_of_the_data_files_tell_their_own_lines(tmp_path, bunch_file):
    (tmp_path / "w").write_text("! a wake\n1e-4\n1e-5\n-30\n30\n" + "0\n" * 20 + "zero\n" + "0\n" * 40)
    (tmp_path / "s").write_text("0 1e-5 0 0\n2 1e-5 0 0\n1 1e-5 0 0\n3 1e-5\n")
    (tmp_path / "g").write_text("0\n1\n0.5\n")
    deck = DECK.replace("relative relative_long = 0.1", "file sigma_file = s wake_file = w").replace("ct_step_min", "time_grid_file = g ct_step_min")
    found = findings(tmp_path, bunch_file, deck)
    assert [text.split(" ")[0] for text in found] == ["s:3:", "w:26:", "g:3:"]
    (tmp_path / "w").write_text("1e-4\n1e-5\n-20\n30\n")
    assert "w:3: error: n1wak" in findings(tmp_path, bunch_file, deck)[1]


def test_bad_numbers_in_a_particle_file_are_found(tmp_path, bunch_file):
    lines = bunch_file.read_text().splitlines()
    lines[700] = lines[700].replace("E", "F", 1)
    (tmp_path / "bunch.dat").write_text("\n".join(lines))
    found = findings(tmp_path, None, DECK)
    assert found[0].startswith("bunch.dat:701: error: ") and "is no number" in found[0]


def test_included_files_keep_their_own_lines(tmp_path, bunch_file):
    (tmp_path / "in").mkdir()
    (tmp_path / "in" / "steps.txt").write_text("! steps\ntrack_step {\n  ct_step_max = -1 }\n")
    (tmp_path / "in" / "bunch.dat").write_bytes(bunch_file.read_bytes())
    deck = "io_path { input = in }\n" + DECK.replace("tracker", "#file { name = steps.txt }\ntracker", 1)
    assert findings(tmp_path, None, deck) == ["steps.txt:3: error: ct_step_max = -1: it must be above 0"]
    (tmp_path / "in" / "steps.txt").write_text("#file { name = steps.txt }\n")
    assert "more than 10 deck files" in findings(tmp_path, None, deck)[0]


@pytest.mark.parametrize("line, tokens", [("a=b,c;d", "a = b c d"), ("a!b !c", "a!b"), ("x=!y", "x ="), ('"two words"', '"two words"'), ("  ", ""), (" ,a", " a")])
def test_tokens(line, tokens):
    assert " ".join(split_line(line)) == tokens


@pytest.mark.parametrize("text, number", [("1", 1), ("-2.5", -2.5), (".5e1", 5), ("1D-3", 1e-3), ("-0.1-119", -1e-120), (".5+100", 5e99), ("1-119", None), ("0.1-19", None), ("1.5abc", None), ("nan", None), ("inf", None),
                                          ("", None), ("1e999", None), ("1_0", None)])
def test_numbers(text, number):
    assert real_of(text) == number
    assert integer_of("2147483648") is None and integer_of("-7") == -7 and integer_of("1.0") is None


def test_the_end_of_the_deck(tmp_path):
    (tmp_path / "d").write_text("a b")
    reader = DeckReader(tmp_path / "d")
    assert [reader.token().text for _ in range(3)] == ["a", "b", "#eof"]


def test_mutated_decks_never_break_the_check(tmp_path, bunch_file):
    """Bytes dropped, doubled, exchanged and inserted: there may be any findings, but an orderly end."""
    random = np.random.default_rng(11)
    text = DECK + "io_path { output = . }\n" + (ROOT / "examples/bunch_compressor/tessar.in").read_text()
    for _ in range(100):
        characters = list(text)
        for _ in range(random.integers(1, 6)):
            k = int(random.integers(len(characters)))
            characters[k] = random.choice(["", "}", "{", "=", " ", "#", "1e400", "-", "!", "\x00", characters[k] * 2, "nan", "#eof ", ","])
        for finding in findings(tmp_path, bunch_file, "".join(characters)):
            assert re.match(r"^[\w./]+:\d+: (error|warning): ", finding), finding
