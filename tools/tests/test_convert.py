"""openPMD and CSV: round trips, the standard's attributes, and files that others might write."""
import h5py
import numpy as np
import pytest
from conftest import assert_same

from tessaron.constants import SI_ELEMENTARY_CHARGE, SPEED_OF_LIGHT
from tessaron.files.convert import load, save


@pytest.mark.parametrize("name", ["b.h5", "b.csv"])
def test_round_trips_are_exact(tmp_path, askew, name):
    save(tmp_path / name, askew)
    assert_same(load(tmp_path / name), askew, 1e-15)


def test_a_negative_bunch_keeps_its_sign(tmp_path, askew):
    askew.charge *= -1
    save(tmp_path / "b.h5", askew)
    assert_same(load(tmp_path / "b.h5"), askew, 1e-15)
    askew.charge[0] *= -1
    with pytest.raises(ValueError, match="both signs"):
        save(tmp_path / "c.h5", askew)


def test_openpmd_files_say_what_the_standard_asks_for(tmp_path, askew):
    save(tmp_path / "b.h5", askew)
    with h5py.File(tmp_path / "b.h5") as file:
        assert file.attrs["openPMD"] == b"2.0.0" and b"BeamPhysics" in file.attrs["openPMDextension"]
        for name in ("basePath", "particlesPath", "iterationEncoding", "iterationFormat", "dataType"):
            assert name in file.attrs
        iteration = file["data/1"]
        assert {"time", "dt", "timeUnitSI"} <= set(iteration.attrs)
        species = iteration["particles/electron"]
        assert species.attrs["speciesType"] == b"electron" and species.attrs["numParticles"] == len(askew)
        assert species.attrs["totalCharge"] == pytest.approx(askew.charge.sum())
        for record, dimension in {"position": [1, 0, 0], "momentum": [1, 1, -1]}.items():
            for name in (record, record + "Offset"):
                assert list(species[name].attrs["unitDimension"][:3]) == dimension
        # their (x, y, z) is our (y, z, x), and offsets add up to absolute coordinates in SI units
        beam = species["position/z"][:] + species["positionOffset/z"].attrs["value"]
        np.testing.assert_allclose(beam, askew.x, rtol=1e-15)
        vertical = (species["momentum/y"][:] + species["momentumOffset/y"].attrs["value"]) * species["momentum/y"].attrs["unitSI"]
        np.testing.assert_allclose(vertical, askew.pz * SI_ELEMENTARY_CHARGE / SPEED_OF_LIGHT, rtol=1e-14)
        assert species["time"].attrs["value"] * SPEED_OF_LIGHT == pytest.approx(askew.ct)
        np.testing.assert_array_equal(species["weight"][:], askew.charge)


def test_a_foreign_file_in_other_units_with_dead_and_late_particles(tmp_path):
    # no offsets, positions in mm, momenta in SI units; particle 3 is dead, particle 2 is told 1 ps earlier than the others
    path, p = tmp_path / "f.h5", 1e9
    with h5py.File(path, "w") as file:
        file.attrs.update(basePath="/", particlesPath="beam")
        beam = file.create_group("beam")
        for axis, values in zip("xyz", ([1, 2, 3], [0, 0, 0], [10, 20, 30])):
            beam[f"position/{axis}"] = np.array(values, dtype=float)
            beam[f"position/{axis}"].attrs["unitSI"] = 1e-3
            beam[f"momentum/{axis}"] = np.full(3, p * (axis == "z")) * SI_ELEMENTARY_CHARGE / SPEED_OF_LIGHT
            beam[f"momentum/{axis}"].attrs["unitSI"] = 1.0
        beam["weight"] = np.full(3, 1e-12)
        beam["time"] = np.array([5e-12, 4e-12, 5e-12])
        beam["particleStatus"] = np.array([1, 1, 0])
    bunch = load(path)
    assert len(bunch) == 2 and bunch.ct == pytest.approx(5e-12 * SPEED_OF_LIGHT)
    assert bunch.px == pytest.approx([p, p]) and bunch.y == pytest.approx([1e-3, 2e-3])
    # the straight flight of 1 ps at nearly the speed of light
    assert bunch.x[1] - bunch.x[0] == pytest.approx(10e-3 + 1e-12 * SPEED_OF_LIGHT, rel=1e-6)


def test_csv_from_elsewhere_needs_the_coordinates_only(tmp_path):
    path = tmp_path / "b.csv"
    path.write_text("px_eV_c, x_m,y_m,z_m,py_eV_c,pz_eV_c\n1e9,1,2,3,0,0\n1.1e9,1.5,2,3,0,5\n")
    bunch = load(path)
    assert bunch.ct == 0 and bunch.x[1] == 1.5 and bunch.pz[1] == 5 and not bunch.charge.any()
    path.write_text("x_m,y_m\n1,2\n")
    with pytest.raises(ValueError, match="no column z_m"):
        load(path)
