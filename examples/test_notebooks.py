"""Every notebook with few particles, and what is stored of it."""
from __future__ import annotations

import json
import sys
from pathlib import Path

import pytest
from test_examples import PROGRAM, pytestmark  # noqa: F401  without the program nothing is tested

HERE = Path(__file__).resolve().parent
NOTEBOOKS = sorted((HERE / "notebooks").glob("*.ipynb"))
sys.path.insert(0, str(HERE / "notebooks"))


@pytest.mark.parametrize("notebook", NOTEBOOKS, ids=lambda path: path.stem)
def test_a_notebook_runs_with_few_particles(notebook, tmp_path):
    pytest.importorskip("nbclient")
    pytest.importorskip("ipykernel")
    from execute import execute

    assert execute(notebook, tmp_path, PROGRAM, particles=400) >= 3


@pytest.mark.parametrize("notebook", NOTEBOOKS, ids=lambda path: path.stem)
def test_what_is_stored_is_whole_and_small(notebook):
    book = json.loads(notebook.read_text())
    outputs = [output for cell in book["cells"] if cell["cell_type"] == "code" for output in cell["outputs"]]
    assert sum("image/png" in output.get("data", {}) for output in outputs) >= 1
    assert not any(output["output_type"] == "error" or output.get("name") == "stderr" for output in outputs)
    assert notebook.stat().st_size < 250_000 and str(HERE.parent) not in notebook.read_text()
