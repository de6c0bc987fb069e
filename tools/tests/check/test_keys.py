"""The deck's words in the tools against those in the program's own sources: neither side can change alone."""
import re
from pathlib import Path

import pytest
from conftest import ROOT

from tessaron.deck import keys

SOURCES = [path for path in sorted((ROOT / "src").rglob("*")) if path.suffix in (".cpp", ".hpp")]
WORD_LIST = re.compile(r'\{\s*("\w+"(?:\s*,\s*"\w+")*)\s*\}')
# How a table of keys is spelled: KeyTable<N> keys({...}), Keys keys({...}), PropertyTable table({...}), ... names = {...}.
KEY_TABLE = re.compile(r'(?:(?:Keys|Table(?:<\d+>)?)\s+\w+\(|string_view,\s*\d+>\s+names\s*=\s*)(\{\s*"\w+"(?:\s*,\s*"\w+")*\s*\})')

BLOCKS = {
    "io_path": keys.IO_PATH, "forces": keys.FORCES, "track_step": keys.TRACK_STEP, "tracker": keys.TRACKER, "monitor": keys.MONITOR,
    "online_monitor": keys.ONLINE_MONITOR, "position": keys.POSITION,
    "properties of bends": {**keys.PROPERTIES["dipole"], **keys.PROPERTIES["multipole"]},
    "properties of thin_quadrupole": keys.PROPERTIES["thin_quadrupole"],
    "properties of discrete_free": keys.PROPERTIES["discrete_free"],
}
OTHER_LISTS = {"words of type": keys.FORCE_TYPES, "formats": keys.MONITOR_FORMATS, "monitor types": keys.MONITOR_TYPES}


def text_of(path: Path) -> str:
    return re.sub(r"//[^\n]*", "", path.read_text())


def words_of(braced: str) -> frozenset[str]:
    return frozenset(re.findall(r'"(\w+)"', braced))


def all_lists() -> set[frozenset[str]]:
    return {words_of(found[0]) for path in SOURCES for found in WORD_LIST.finditer(text_of(path))}


@pytest.mark.parametrize("block", [*BLOCKS, *OTHER_LISTS])
def test_every_table_of_the_tools_stands_in_the_sources(block):
    assert frozenset({**BLOCKS, **OTHER_LISTS}[block]) in all_lists()


def test_every_key_table_of_the_sources_is_known_to_the_tools():
    known = {frozenset(table) for table in [*BLOCKS.values(), *OTHER_LISTS.values()]}
    found = {(path.name, words_of(match[1])) for path in SOURCES for match in KEY_TABLE.finditer(text_of(path))}
    assert len({words for _, words in found}) >= 10
    assert {item for item in found if item[1] not in known} == set()


def test_commands_elements_and_particle_keys():
    def compared(name: str, variable: str) -> set[str]:
        return set(re.findall(rf'\b{variable} == "(\w+)"', text_of(ROOT / "src" / name)))

    driver = text_of(ROOT / "src/driver/command_loop.cpp")
    table = driver[driver.index("layer_commands"):]
    assert tuple(re.findall(r'\{"(\w+)", \w+', table[:table.index("});")])) == keys.COMMANDS
    assert compared("lattice/block/lattice_block.cpp", "token") == set(keys.ELEMENTS)
    assert compared("beam/particles.cpp", "key") == set(keys.PARTICLES)
    words = set(keys.PARTICLES["format"].words) | set(keys.PARTICLES["reference_momentum"].words)
    assert compared("beam/particles.cpp", "token") == words


def test_capacities():
    text = "\n".join(text_of(path) for path in SOURCES if path.suffix == ".hpp")
    found = {name: int(value) for name, value in re.findall(r"constexpr \w+ (\w+) = (\d+);", text)}
    assert {name: found.get(name) for name in keys.CAPACITY} == keys.CAPACITY
