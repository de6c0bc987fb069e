"""Starting the program, following it, and how a run ended, for runs that end in every way."""
import os
import re
import signal
import threading
import time

import pytest

from tessaron.beam.generate import BunchRequest, make_bunch
from tessaron.files.bunchfiles import write_bunch
from tessaron.files.ending import ending_of, read_ending
from tessaron.run.process import Progress, RunFailed, find_program, run_program

DECK = """lattice { dipole { position { delta_s = 1 } properties { r = 10 } position { delta_s = 2 marker = end } } }
particles { array = #file { name = bunch.dat } }
forces { type = projected sigma_long = 1e-5 }
track_step { ct_step_max = 0.1 }
online_monitor { name = steps.dat type = steps start_time_c0 = now end_time_c0 = 99 time_step_c0 = all }
tracker { end_time_marker = end }
monitor { name = end.dat }
"""
#: what is changed, how the reason begins, the first line of the trace, the line of the deck
ENDS = [
    ("", "", "completed", None, None),
    ("projected", "projectd", r"stopped at tessar.in:3 \(command forces\)", "error in force", 3),
    ("tracker {", "trackr {", r"stopped at tessar.in:6 \(command trackr\)", "error in tessar: unknown layer command", 6),
    ("marker = end }\nm", "marker = ende }\nm", "stopped at tessar.in:6", "error: unknown marker for track time", 6),
    ("name = bunch.dat", "name = none.dat", r"stopped at tessar.in:2 \(command particles\); none.dat did not exist",
     "error in array with particles", 2),
    ("sigma_long = 1e-5", "sigma_long = 1e-9", r"\d+ force evaluations failed", "nsam.gt.nsamax", None),
    ("online_monitor { name = steps", "online_monitor { name = none/steps", "monitor file none/steps.dat failed: No such file", None, None),
    (DECK, "! nothing\n", "tessar.in holds no command: nothing was done", None, None),
    ("monitor { name = end.dat }", "monitor { name = none/end.dat }", "stopped at tessar.in:7", "error in execution of monitor", 7),
]


@pytest.fixture
def folder(tmp_path):
    write_bunch(tmp_path / "bunch.dat", make_bunch(BunchRequest(200, 1e9, 1e-10, 1e-4)), "fmt1")
    (tmp_path / "tessar.in").write_text(DECK)
    return tmp_path


@pytest.mark.parametrize("old, new, reason, trace, line", ENDS)
def test_an_ending_names_what_went_wrong_and_where(folder, program, old, new, reason, trace, line):
    assert old in DECK
    (folder / "tessar.in").write_text(DECK.replace(old, new))
    ending = run_program(folder, program=program)
    assert ending.completed == (reason == "completed") and re.match(reason, ending.reason), ending
    assert (ending.trace[0] if ending.trace else None, ending.place and ending.place.line) == (trace, line)
    assert ending == ending_of(folder)
    if ending.completed or ending.trace:  # the console alone tells as much, without the place
        alone = read_ending((folder / "console.txt").read_text())
        assert (alone.completed, alone.trace) == (ending.completed, ending.trace)
    if not ending.completed:
        failure = RunFailed(folder, ending)
        assert str(folder) in str(failure) and str(ending) in str(failure)


def test_progress_is_told_and_a_killed_run_is_no_complete_one(folder, program):
    (folder / "tessar.in").write_text(DECK.replace("ct_step_max = 0.1", "ct_step_max = 1e-5"))
    seen: list[Progress] = []

    def follow(progress: Progress) -> None:
        seen.append(Progress(progress.start, progress.end, progress.ct))

    ending = run_program(folder, program=program, follow=follow, timeout=1.0)
    assert not ending.completed and ending.reason.startswith("ended after 1 s")
    assert len(seen) > 1 and all(a.ct < b.ct for a, b in zip(seen, seen[1:])) and seen[-1].end == pytest.approx(3)
    assert 0 < seen[0].share < seen[-1].share < 1

    # somebody else ends it: found from the exit status or from standard error, and afterwards from the console alone
    def kill(how: signal.Signals) -> None:
        while True:
            for entry in os.listdir("/proc"):
                try:
                    if entry.isdigit() and os.readlink(f"/proc/{entry}/cwd") == str(folder) and entry != str(os.getpid()):
                        return os.kill(int(entry), how)
                except OSError:
                    continue
            time.sleep(0.05)

    for how, reason in (signal.SIGTERM, "ended by SIGTERM at tessar.in:6 (command tracker), at c*t = "), (signal.SIGKILL, "killed by signal 9"):
        killer = threading.Timer(0.6, kill, [how])
        killer.start()
        ending = run_program(folder, program=program)
        killer.join()
        assert not ending.completed and ending.reason.startswith(reason) and ending.ct > 0, ending
        assert read_ending((folder / "console.txt").read_text()).reason.startswith("ended on the way")


def test_wrong_arguments_say_which(folder, program, monkeypatch):
    with pytest.raises(ValueError, match="threads must be an integer of 1 or more, not 0"):
        run_program(folder, program=program, threads=0)
    with pytest.raises(ValueError, match="built without MPI"):
        run_program(folder, program=program, processes=2)
    with pytest.raises(FileNotFoundError, match="no program at .*nowhere"):
        run_program(folder, program=folder / "nowhere")
    with pytest.raises(FileNotFoundError, match="no deck"):
        run_program(folder / "nowhere", program=program)
    monkeypatch.setenv("TESSARON", str(program))
    assert find_program() == program.resolve()
