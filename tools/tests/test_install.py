"""What is installed works: the guide's commands from an unpacked Debian package, completion, manual pages, the places."""
import os
import re
import subprocess

import pytest
from conftest import ROOT

TUTORIAL = (ROOT / "docs" / "guide.md").read_text().partition("\n## Working")[0]


def clean_environment(*places):
    """The environment of somebody who has nothing but these folders of commands and Debian's."""
    kept = {name: value for name, value in os.environ.items() if name not in ("TESSARON", "PYTHONPATH")}
    return kept | {"PATH": os.pathsep.join([*map(str, places), "/usr/bin", "/bin"])}


def shell(script, folder, environment, **more):
    return subprocess.run(["bash", "-e", "-c", script], cwd=folder, env=environment, capture_output=True, text=True, **more)


@pytest.fixture(scope="module")
def build(program):
    folder = program.resolve().parent
    if not (folder / "CPackConfig.cmake").exists():
        pytest.skip("the program stands in no build folder")
    subprocess.run(["cmake", "--build", folder, "--target", "tessaron", "pages"], check=True, capture_output=True)
    return folder


@pytest.fixture(scope="module")
def unpacked(build, tmp_path_factory):
    """The Debian package, unpacked into a bare folder; its fields beside it."""
    place = tmp_path_factory.mktemp("package")
    subprocess.run(["cpack", "--config", build / "CPackConfig.cmake", "-B", place], cwd=place, check=True, capture_output=True)
    package, = place.glob("*.deb")
    subprocess.run(["dpkg-deb", "-x", package, place / "root"], check=True)
    fields = subprocess.run(["dpkg-deb", "-f", package], check=True, capture_output=True, text=True).stdout
    return place / "root" / "usr", fields


def test_the_tutorial_runs_from_the_unpacked_package(unpacked, tmp_path):
    usr, _ = unpacked
    deck = re.search(r"\*\*Write a deck\*\*, `tessar.in`:\n\n```\n(.*?)```", TUTORIAL, re.S)[1]
    (tmp_path / "tessar.in").write_text(deck)
    commands = "".join(re.findall(r"```sh\n(.*?)```", TUTORIAL, re.S))
    done = shell(commands, tmp_path, clean_environment(usr / "bin"), timeout=300)
    assert done.returncode == 0, done.stderr
    assert "0 errors, 0 warnings" in done.stdout and "completed at c·t = 2.2854 m" in done.stdout
    assert all((tmp_path / name).stat().st_size > 10000 for name in ("end.png", "budget.png", "slices.png", "optics.png", "report.html"))
    away = f"{usr}/bin/tessaron-tools run\npython3 {usr}/share/doc/tessaron/examples/quiet_start/run.py --quick"
    done = shell(away, tmp_path, clean_environment(), timeout=300)  # each finds the program that was installed with it
    assert done.returncode == 0 and (tmp_path / "work").is_dir(), done.stderr


def test_the_package_needs_what_its_files_need(unpacked):
    usr, fields = unpacked
    needed = re.search(r"^Depends: (.*)$", fields, re.M)[1]
    modules = {word for path in usr.rglob("dist-packages/tessaron/**/*.py") for word in re.findall(r"^\s*(?:from|import) (\w+)", path.read_text(), re.M)}
    third_party = modules & {"numpy", "matplotlib", "h5py", "scipy", "lark", "pyparsing", "tqdm", "PIL"}
    assert {"numpy", "h5py"} < third_party
    assert all(f"python3-{name}" in needed for name in third_party) and "libstdc++6" in needed and "libc6" in needed
    architecture = subprocess.run(["dpkg", "--print-architecture"], capture_output=True, text=True, check=True).stdout
    assert f"Architecture: {architecture}" in fields and 'project(Tessaron VERSION ' + re.search(r"^Version: (\S+)", fields, re.M)[1] + " " \
        in (ROOT / "CMakeLists.txt").read_text()


@pytest.mark.parametrize("words, expected", [
    ("co", {"convert", "convert-lattice", "converge"}), ("convert a.dat --to o", {"openpmd"}), ("plot pha", {"phase"}), ("make-bunch --en", {"--energy", "--energy-spread"}),
    ("--traceback analyse --fr", {"--from", "--frame"}), ("analyse st", set())])
def test_bash_completes(unpacked, tmp_path, words, expected):
    script = f"""source {unpacked[0]}/share/bash-completion/completions/tessaron-tools
COMP_WORDS=(tessaron-tools {words}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); _tessaron_tools; echo "${{COMPREPLY[@]}}" """
    done = shell(script, tmp_path, clean_environment())
    assert set(done.stdout.split()) == expected and not done.stderr


def test_another_prefix_has_everything_in_its_place(build, tmp_path):
    subprocess.run(["cmake", "--install", build, "--prefix", tmp_path], check=True, capture_output=True)
    done = shell("tessaron --version; tessaron-tools --version; tessaron-tools check --help | head -1", tmp_path, clean_environment(tmp_path / "bin"))
    program, tools, usage = done.stdout.splitlines()
    assert tools == program.replace("tessaron", "tessaron-tools") and usage.startswith("usage: tessaron-tools check")
    for name, words in (("tessaron", ["tessar.in", r"\-\-version"]), ("tessaron-tools", [r"\-\-bash\-completion", r"\-\-beam\-axis"])):
        page = shell(f"zcat {name}.1.gz", tmp_path / "share/man/man1", clean_environment()).stdout
        assert all(word in page for word in words) and re.match(rf'\.TH {name.upper()} 1 "20\d\d-\d\d-\d\d"', page)
    assert (tmp_path / "share/doc/tessaron/docs/pictures/phase.png").exists() and not list(tmp_path.rglob("test_*.py"))
