"""openPMD and CSV: round trips, the standard's attributes, and files that others might write."""
import re

import h5py
import numpy as np
import pytest
from conftest import assert_same

from tessaron.constants import SI_ELEMENTARY_CHARGE, SPEED_OF_LIGHT
from tessaron.files.convert import SUFFIXES, load, save


# Astra has absolute places across, SDDS times since the beginning along the beam: last digits of 5e-17 and 1e-15 m beside 5e-4 m of bunch
@pytest.mark.parametrize("name, kind, tolerance", [("b.h5", {}, 1e-15), ("b.csv", {}, 1e-15), ("b.astra", {}, 1e-12), ("b.sdds", {}, 1e-11),
                                                   ("b.sdds", {"sdds": "ascii"}, 1e-11), ("b.sdds", {"sdds": "big-endian"}, 1e-11)])
def test_round_trips_are_exact(tmp_path, askew, name, kind, tolerance):
    save(tmp_path / name, askew, **kind)
    assert_same(load(tmp_path / name), askew, tolerance)
    (tmp_path / name).rename(tmp_path / "b")  # told by what stands in it
    assert_same(load(tmp_path / "b", None if name in ("b.sdds", "b.astra") else SUFFIXES[name[1:]]), askew, tolerance)


def test_a_negative_bunch_keeps_its_sign(tmp_path, askew):
    askew.charge *= -1
    save(tmp_path / "b.h5", askew)
    assert_same(load(tmp_path / "b.h5"), askew, 1e-15)
    askew.charge[0] *= -1
    with pytest.raises(ValueError, match="both signs"):
        save(tmp_path / "c.h5", askew)


@pytest.mark.parametrize("version", ["2.0.0", "1.1.0"])
def test_openpmd_files_say_what_the_standard_asks_for(tmp_path, askew, version):
    assert "openpmd, 40 particles" in save(tmp_path / "b.h5", askew, version=version)
    with h5py.File(tmp_path / "b.h5") as file:
        extension = file.attrs["openPMDextension"]  # a number in version 1, names in version 2
        assert file.attrs["openPMD"] == version.encode() and (b"BeamPhysics" in extension if version[0] == "2" else extension.dtype == np.uint32)
        for name in ("basePath", "particlesPath", "iterationEncoding", "iterationFormat", "dataType", "author", "software", "softwareVersion"):
            assert file.attrs[name]
        assert re.fullmatch(rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4}", file.attrs["date"])
        iteration = file["data/1"]
        assert {"time", "dt", "timeUnitSI"} <= set(iteration.attrs)
        species = iteration["particles/electron"]
        assert species.attrs["speciesType"] == b"electron" and species.attrs["numParticles"] == len(askew)
        assert species.attrs["totalCharge"] == pytest.approx(askew.charge.sum())
        for record, dimension in {"position": [1, 0, 0], "momentum": [1, 1, -1]}.items():
            for name in (record, record + "Offset"):
                assert list(species[name].attrs["unitDimension"][:3]) == dimension
            shape = species[record + "Offset/x"].attrs["shape"]
            assert shape.dtype == np.uint64 and list(shape) == [len(askew)]
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


def test_csv_from_elsewhere_needs_the_coordinates_only(tmp_path, capsys):
    path = tmp_path / "b.csv"
    path.write_text("px_eV_c, x_m,y_m,z_m,py_eV_c,pz_eV_c\n1e9,1,2,3,0,0\n1.1e9,1.5,2,3,0,5\n")
    bunch = load(path)
    assert bunch.ct == 0 and bunch.x[1] == 1.5 and bunch.pz[1] == 5 and not bunch.charge.any() and "no charges" in capsys.readouterr().err
    path.write_text("x,y,z,px,py,pz,q\n1,2,3,5,0,1e9,1e-12\n1,2,3.5,0,7,1e9,1e-12\n")
    with pytest.raises(ValueError, match="--beam-axis z"):
        load(path)
    bunch = load(path, beam_axis="z")  # their x, y, z are our y, z, x
    assert "x, y, z in m" in capsys.readouterr().err
    assert list(bunch.reference) == [3, 1, 2, 1e9, 5, 0] and bunch.x[1] == 3.5 and bunch.pz[1] == 7


CSV = "x,y,z,px,py,pz,q\n0,0,0,1e9,0,0,1e-12\n"
REFUSED = [  # name of the file, what it holds or what is done to a good openPMD file, options, words of the message
    ("b.csv", "x_m,y_m\n1,2\n", {}, "no column z_m"),
    ("b.csv", CSV + "1,2,nan,1e9,0,0,1e-12\n", {}, "particle 2 holds a value that is no finite number"),
    ("b.csv", CSV + "0,0,0,0,0,0,1e-12\n", {}, "particle 2 has no momentum"),
    ("b.csv", CSV + "0,0,x,0,0,0,1e-12\n", {}, "b.csv"),
    ("b.dat", "0 0 0 0 0 0 0\n0 0 0 1e9 0 0 inf\n", {}, "particle 1 holds"),
    ("b.dat", "0 0 0 0 0 0 0\n" + "0 0 0 1e9 0 0 1e-15\n" * 300001, {}, "300001 particles are more than the 300000"),
    ("b.csv", CSV, {"species": "electron"}, "--species is for openPMD"),
    ("b.csv", CSV, {"charge": 1e-9}, "--charge is for files that tell none"),
    ("b.h5", "no HDF5", {}, "b.h5: no HDF5 file"),
    ("b.h5", lambda data: data["1/particles/electron"].attrs.update(speciesType="proton"), {}, "protons; the program tracks electrons"),
    ("b.h5", lambda data: data.copy("1/particles/electron", "1/particles/more"), {}, "several species: electron, more; choose one with --species"),
    ("b.h5", lambda data: data.copy("1", "2"), {}, "several iterations: 1, 2; choose one with --iteration"),
    ("b.h5", lambda data: None, {"species": "ions"}, "no species ions; there are electron"),
    ("b.h5", lambda data: data["1/particles/electron/momentum"].attrs.update(unitDimension=np.array([1, 0, -1, 0, 0, 0, 0.0])), {}, "momentum has the unitDimension"),
    ("b.h5", lambda data: data["1/particles/electron/weight"].attrs.update(unitDimension=np.zeros(7)), {}, "weights must be charges"),
]


@pytest.mark.parametrize("name, content, options, words", REFUSED)
def test_what_is_no_bunch_for_this_program(tmp_path, askew, name, content, options, words):
    if callable(content):
        save(tmp_path / name, askew)
        with h5py.File(tmp_path / name, "a") as file:
            content(file["data"])
    else:
        (tmp_path / name).write_text(content)
    with pytest.raises(ValueError, match=re.escape(words)):
        load(tmp_path / name, **options)


def test_a_chosen_species_and_iteration(tmp_path, askew):
    save(tmp_path / "b.h5", askew)
    with h5py.File(tmp_path / "b.h5", "a") as file:
        file.copy("data/1", "data/2")
        file.copy("data/2/particles/electron", "data/2/particles/more")
        file["data/2/particles/more/weight"][:] *= 2
    assert load(tmp_path / "b.h5", species="more", iteration="2").charge == pytest.approx(2 * askew.charge)


def test_no_suffix_is_ignored(tmp_path, askew):
    for name, fmt, columns in (("b.umbra", "umbra", 10), ("b.fmt2", "fmt2", 7), ("b.dat", "fmt1", 7)):
        assert f"{name}: {fmt}, 40 particles" in save(tmp_path / name, askew)
        assert len((tmp_path / name).read_text().splitlines()[-1].split()) == columns
        assert_same(load(tmp_path / name), askew)
    for name in ("b.png", "b.fmt3"):
        with pytest.raises(ValueError, match=name):
            save(tmp_path / name, askew)
        assert not (tmp_path / name).exists()
