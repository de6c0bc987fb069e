"""Force models side by side on a small bunch in an arc."""
import numpy as np
import pytest

from tessaron import Bunch, Dipole, Drift, Forces, Lattice, Run, Steps, Tracker, compare_models

LATTICE = Lattice([Drift(0.5), Dipole(2, 0.2)])


def bunch(particles):
    return Bunch.gaussian(particles, energy_eV=5e8, charge_C=1e-9, length_m=1e-4, spread_eV=1e4, size_m=(5e-5, 5e-5))


def test_models_with_time_and_difference_of_each(tmp_path, program):
    run = Run(LATTICE, bunch(120), Forces("projected", sigma_long=3e-5), Steps(ct_step_max=0.4), tracker=Tracker(end_time_c0=1.2))
    found = compare_models(run, ["none", "projected", "csr_g_to_p", Forces("csr_p_to_p", sigma_long=3e-5)], {"projected": 400},
                           tmp_path, program=program, progress=False)
    table = found.table()
    assert list(table.model) == ["none", "projected", "csr_g_to_p", "csr_p_to_p"] and list(table.particles) == [120, 400, 120, 120]
    assert found.reference == "csr_p_to_p" and (table.seconds > 0).all()
    none, projected, green, direct = table
    # the Green's function is the direct sum but for its table; no force misses all of it; the other number of particles has no pairs
    assert (direct.along_max, direct.d_loss) == (0, 0) and green.along_max < 5e-3 and green.across_max < 5e-2
    assert none.along_max == pytest.approx(1) and none.loss == pytest.approx(0, abs=1e-3) and np.isnan(projected.along_rms)
    assert abs(green.d_loss) < 2e-3 and abs(projected.d_loss) < 0.15
    assert "csr_g_to_p" in str(found) and len(found.plot().axes) == 2
    assert found.results["projected"].run.forces.type == "projected"


@pytest.mark.parametrize("arguments, words", [
    ((["projectd"],), "'projectd' is no model; there are none"), ((["none", "none"],), "'none' stands twice"), (([],), "at least one"),
    ((["none"], {"projected": 10}), "particles names 'projected'"), ((["projected"],), "no force whose sizes"),
])
def test_bad_models_are_told(tmp_path, arguments, words):
    with pytest.raises(ValueError, match=words):
        compare_models(Run(LATTICE, bunch(2), tracker=Tracker(end_time_c0=1)), *arguments, folder=tmp_path)
