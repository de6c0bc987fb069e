"""Which pictures the other files of a run give: forces, steps, sub-bunch sizes, meshes."""
from __future__ import annotations

from typing import Callable

import numpy as np
from matplotlib.figure import Figure

from ..files import bunchfiles, outputs
from ..pictures import plots
from ..run.folder import RunFolder

Pictures = list[tuple[str, Callable[[], Figure]]]


def force_pictures(run: RunFolder) -> Pictures:
    """The self force along the bunch, from `fmt3` files and from the diagnostic files of the last evaluation."""
    entries: Pictures = []
    for output in dict.fromkeys(run.state.outputs):
        if output.kind == "bunch" and output.fmt == "fmt3":
            for path in run.files(output)[-1:]:
                try:
                    table = bunchfiles.read_fmt3(path)[1]
                except ValueError:
                    continue  # told where the bunches are read
                if np.any(table[:, 7:10]):
                    entries.append((f"Self force along the bunch, {path.name}", lambda table=table: plots.force_on_path(table)))
    current = run.state.output_path("fc1_curr.dat")
    for name in ("fc1.dat", "fc2.dat"):
        path = run.state.output_path(name)
        if path.is_file():
            grid = current if name == "fc1.dat" and current.is_file() else None
            entries.append((f"Force of the last evaluation, {name}", lambda path=path, grid=grid: plots.force(
                [(path.name, outputs.read_force(path))], outputs.read_grid(grid) if grid else None)))
    return entries


def table_pictures(run: RunFolder) -> Pictures:
    """The tables of monitors, and the last mesh."""
    entries: Pictures = []
    for output in run.state.outputs:
        paths = run.files(output)
        if output.kind == "green":  # a step that built no mesh leaves a file with the time alone
            paths = [path for path in paths if len(path.read_text(errors="replace").split()) > 1]
        for path in paths[-1:]:
            if output.kind == "steps":
                entries.append((f"Steps, {path.name}", lambda path=path: plots.steps(outputs.read_steps(path))))
            elif output.kind == "subbunch":
                entries.append((f"Sub-bunch sizes, {path.name}", lambda path=path: plots.subbunch(outputs.read_subbunch(path))))
            elif output.kind == "green":
                entries.append((f"Mesh and wavefronts, {path.name}", lambda path=path: plots.green_mesh(outputs.read_green(path))))
    return entries
