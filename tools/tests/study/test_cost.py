"""What a run is said to cost: what is counted is right; seconds are for the machine to tell."""
import json

import numpy as np
import pytest
from decks import DECK

from tessaron.beam.generate import BunchRequest, Plane, make_bunch
from tessaron.check.walk import walk_deck
from tessaron.command.cli import main
from tessaron.deck.keys import FORCE_TYPES
from tessaron.files.bunchfiles import write_bunch
from tessaron.files.runlog import read_log
from tessaron.run.process import run_program
from tessaron.study.cost import STORED_FILES, cost_of
from tessaron.study.cost_bench import mesh_points, thinned

BUNCH = make_bunch(BunchRequest(400, 1e9, 1e-9, 1e-4, horizontal=Plane(sizes=(5e-5, 1e-6))))


@pytest.fixture
def folder(tmp_path):
    write_bunch(tmp_path / "bunch.dat", BUNCH, "fmt1")
    (tmp_path / "tessar.in").write_text(DECK.replace("tracker {", "tracker { end_time_marker = out }\ntracker {"))
    return tmp_path


def test_steps_and_mesh_are_those_of_the_run(folder, program):
    """csr_g_to_m tells its mesh at every evaluation, the first of which meets the bunch as it was read."""
    text = (folder / "tessar.in").read_text().replace("type = projected", "type = csr_g_to_m")
    (folder / "tessar.in").write_text("io_path { logfile = log }\n" + text.replace("ct_step_max", "precondition = no  ct_step_max"))
    state = walk_deck(folder / "tessar.in")
    cost = cost_of(state, folder / "tessar.in", program, FORCE_TYPES)
    assert cost.measured and all(set(tracker.seconds) == set(FORCE_TYPES) for tracker in cost.trackers)
    assert run_program(folder, program=program).completed
    log = read_log(folder / "log")
    assert sum(tracker.steps for tracker in cost.trackers) == pytest.approx(log.steps, abs=3) and len(cost.trackers) == len(log.settings) == 2
    words = next(line for line in log.lines if "e_points=" in line).replace("=", " ").split()
    assert mesh_points(BUNCH, state.ways[0].box) == pytest.approx(int(words[3]) + int(words[5]), abs=6)


def test_without_a_program_prices_are_stored_ones_and_say_so(folder, capsys, monkeypatch):
    monkeypatch.setenv("TESSARON", str(folder / "nowhere"))
    monkeypatch.chdir(folder)
    assert main(["check", "--cost"]) == 0 and "by stored prices" in capsys.readouterr().out
    (folder / "tessar.in").write_text(DECK.replace("projected", "csr_p_to_p").replace("ct_step_max = 0.1 ct_step_min = 0.01", "ct_step_max = 1e-3 ct_step_min = 1e-4 ct_step_first = 1e-3"))
    assert main(["check", "--cost", "--json"]) == 0
    told = json.loads(capsys.readouterr().out)
    assert [(item["line"], item["severity"]) for item in told["findings"]] == [(9, "warning")] and "of one core" in told["findings"][0]["text"]
    (folder / "tessar.in").write_text((folder / "tessar.in").read_text().replace("type = steps", ""))  # the whole bunch at every step
    assert main(["check", "--cost", "--json"]) == 0
    more = json.loads(capsys.readouterr().out)["cost"]["seconds"] - told["cost"]["seconds"]
    assert more == pytest.approx(STORED_FILES[1] * len(BUNCH) * told["cost"]["trackers"][0]["steps"], rel=1e-3)
    assert told["cost"]["seconds"] > 3600 and not told["cost"]["measured"] and told["cost"]["trackers"][0]["steps"] > 3000


def test_a_thinned_bunch_is_the_same_bunch():
    few = thinned(BUNCH, 50)
    assert len(few) == 50 and few.charge.sum() == pytest.approx(BUNCH.charge.sum(), rel=1e-12) and np.all(few.offsets[:, 0] == 0)
    assert few.moments().length == pytest.approx(BUNCH.moments().length, rel=0.05)
