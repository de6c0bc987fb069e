"""Executes the notebooks of this folder, as a test or to store their outputs anew.

    execute.py [--particles N] [--program PATH] [--store] [NAME ...]

Each runs in a folder of its own below `work`. With --store the outputs go back into the notebook, without progress bars.
"""
from __future__ import annotations

import argparse
import os
import sys
from base64 import b64decode, b64encode
from io import BytesIO
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]


def execute(notebook: Path, folder: Path, program: Path, particles: int | None = None, store: bool = False) -> int:
    """Runs all cells in a folder; returns how many there were.

    :raises nbclient.exceptions.CellExecutionError: a cell failed; it tells which and why.
    """
    import nbformat
    from nbclient import NotebookClient

    folder.mkdir(parents=True, exist_ok=True)
    book = nbformat.read(notebook, as_version=4)
    environment = dict(os.environ, TESSARON=str(program), PYTHONPATH=os.pathsep.join([str(ROOT / "tools"), *sys.path]))
    if particles is not None:
        environment["PARTICLES"] = str(particles)
    client = NotebookClient(book, timeout=1800, kernel_name="python3", resources={"metadata": {"path": str(folder)}})
    with client.setup_kernel(env=environment):
        for k, cell in enumerate(book.cells):
            if cell.cell_type == "code":
                client.execute_cell(cell, k)
    if store:
        for cell in book.cells:
            cell.metadata = {}
            if cell.cell_type == "code":
                cell.outputs = [small(output) for output in cell.outputs if output.get("name") != "stderr"]
        book.metadata = {"kernelspec": {"display_name": "Python 3", "language": "python", "name": "python3"}}
        nbformat.write(book, notebook)
    return sum(cell.cell_type == "code" for cell in book.cells)


def small(output: dict) -> dict:
    """An output whose picture has 64 colours, a third of the size."""
    from PIL import Image

    picture = output.get("data", {}).get("image/png")
    if picture:
        data = BytesIO()
        Image.open(BytesIO(b64decode(picture))).convert("RGB").quantize(64).save(data, "PNG", optimize=True)
        output["data"]["image/png"] = b64encode(data.getvalue()).decode()
    return output


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("names", nargs="*", help="notebooks; all of them otherwise")
    parser.add_argument("--particles", type=int, help="in place of what each notebook takes by itself")
    parser.add_argument("--program", type=Path, default=ROOT / "build" / "tessaron")
    parser.add_argument("--store", action="store_true", help="store the outputs in the notebooks")
    options = parser.parse_args()
    for notebook in [HERE / name for name in options.names] or sorted(HERE.glob("*.ipynb")):
        execute(notebook, HERE / "work" / notebook.stem, options.program.resolve(), options.particles, options.store)
        print(f"{notebook.name}: done", flush=True)


if __name__ == "__main__":
    main()
