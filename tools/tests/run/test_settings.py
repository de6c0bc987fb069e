"""Objects of deck blocks against the table of keys, and their defaults against the program's own."""
import inspect
from dataclasses import fields

import pytest

from tessaron.beam.bunch import Bunch
from tessaron.deck import keys
from tessaron.run.particles import Particles
from tessaron.run.process import run_program
from tessaron.run.settings import Forces, IoPath, Monitor, Monitors, OnlineMonitor, Steps, Tracker

BLOCKS = {Forces: keys.FORCES, Steps: keys.TRACK_STEP, Tracker: keys.TRACKER, Monitor: keys.MONITOR,
          OnlineMonitor: keys.ONLINE_MONITOR, IoPath: keys.IO_PATH, Particles: keys.PARTICLES}


@pytest.mark.parametrize("block", BLOCKS)
def test_fields_are_the_keys_and_are_explained(block):
    assert [field.name for field in fields(block)] and {field.name for field in fields(block)} == set(BLOCKS[block])
    assert all(f":param {name}:" in inspect.getdoc(block) for name in BLOCKS[block])
    for field in fields(block):
        if BLOCKS[block][field.name].kind == "flag":
            assert isinstance(field.default, bool)


@pytest.mark.parametrize("forces", ["projected", "csr_p_to_p", "ellipsoid"])
def test_defaults_written_out_change_nothing(tmp_path, program, forces):
    """A deck that writes every default against one that leaves them all to the program: the same report, the same bunch."""
    chosen = {"type": "csr_g_to_m", "shape": "ellipsoid", "sigma_rad": 5e-5} if forces == "ellipsoid" else {"type": forces}
    Bunch.gaussian(30, energy_eV=1e9, charge_C=1e-10, length_m=1e-4, spread_eV=1e5).save(tmp_path / "bunch.dat")
    short = [Forces(sigma_long=5e-5, **chosen), Steps(), Monitor("end.dat")]

    def whole(block):
        values = {field.name: getattr(block, field.name) for field in fields(block)} | (
            {"ct_step_min": block.shortest, "ct_step_first": block.first} if isinstance(block, Steps) else {})
        words = [f"{name} = {'yes' if value is True else 'no' if value is False else value}" for name, value in values.items()
                 if value is not None]
        return f"{block.COMMAND} {{ {' '.join(words)} }}\n"

    seen = []
    for write in (whole, lambda block: block.deck()):
        texts = [write(block) for block in short]
        (tmp_path / "tessar.in").write_text(
            "lattice { dipole { position { delta_s = 0.3 } properties { r = 10 } position { delta_s = 2 } } }\n"
            "particles { array = #file { name = bunch.dat } }\n" + texts[0] + texts[1] + "tracker { end_time_c0 = 0.5 }\n" + texts[2])
        assert run_program(tmp_path, program=program).completed
        seen.append([(tmp_path / name).read_text() for name in ("console.txt", "end.dat")])
    assert seen[0] == seen[1] and "ct_step_min" in seen[0][0]
    assert Forces(sigma_long=5e-5, **chosen).is_ellipsoid == (forces == "ellipsoid")


def test_smallest_and_first_step_follow_the_largest():
    assert (Steps().shortest, Steps().first) == (0.01, 0.1)
    assert (Steps(ct_step_max=0.001).shortest, Steps(ct_step_max=0.001).first) == (0.0005, 0.001)
    assert Steps(ct_step_min=0.2, ct_step_max=0.5).first == 0.2
    assert Steps(ct_step_max=0.02).deck() == "track_step { ct_step_max = 0.02 }\n"


@pytest.mark.parametrize("make, words", [
    (lambda: Forces("projektiert"), "Forces: type must be one of none, projected"),
    (lambda: Forces("projected"), "sigma_long is needed with type 'projected'"),
    (lambda: Forces("projected", sigma_long="relativ"), "or one of file, relative, not 'relativ'; did you mean 'relative'"),
    (lambda: Forces("projected", sigma_long=0), "sigma_long must be above 0, not 0"),
    (lambda: Forces("projected", sigma_long="relative"), "needs relative_long"),
    (lambda: Forces("csr_p_to_p", sigma_long="file"), "needs sigma_file"),
    (lambda: Forces(test="yes"), "test must be True or False"),
    (lambda: Steps(iterative=2.5), "iterative must be an integer"),
    (lambda: Steps(ct_step_max=float("nan")), "ct_step_max must be a number in m"),
    (lambda: Steps(ct_step_max=0.01, ct_step_min=0.02), "ct_step_min must be below ct_step_max"),
    (lambda: Steps(ct_step_first=0.2), "ct_step_first must lie between"),
    (lambda: Tracker(), "end_time_c0, delta_time_c0 or end_time_marker is needed"),
    (lambda: Monitor("two words"), "Monitor: name must be one word"),
    (lambda: OnlineMonitor("a.dat", time_step_c0=1), "start_time_c0 or start_time_marker is needed"),
    (lambda: Monitors([Tracker(end_time_c0=1)]), "neither a Monitor nor"),
    (lambda: Particles(7), "array must be a Bunch or the path"),
])
def test_bad_values_are_told_by_their_name(make, words):
    with pytest.raises(ValueError, match=words):
        make()
