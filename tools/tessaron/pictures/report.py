"""One self-contained HTML page about a finished run, from the files in its working folder."""
from __future__ import annotations

import base64
import io
from datetime import datetime
from pathlib import Path
from typing import Callable

import numpy as np
from matplotlib.figure import Figure

from . import plots, tables
from ..beam import analyse
from ..files import bunchfiles, outputs
from ..files.outputs import Boundary
from ..lattice.of_deck import on_orbit, orbit_beside
from ..beam.bunch import Bunch
from ..check.walk import walk_deck
from ..check.state import CheckState, OutputFile
from .page import Page
from ..files.runlog import RunLog, read_log

MOST_BUNCHES = 40  # of a long series, evenly chosen


def write_report(folder: Path, page: Path | None = None, slices: int = 50) -> Path:
    """Writes the page of the run in `folder` and returns its path.

    What cannot be read is told on the page; a report is also wanted when a run has failed.
    """
    deck = folder / "tessar.in"
    if not deck.is_file():
        raise ValueError(f"no tessar.in in {folder}")
    state = walk_deck(deck)
    log = _log(state)
    content = Page(f"Run in {folder.resolve().name}")
    _overview(content, state, log)
    _troubles(content, state, log)
    bunches = _bunches(content, state, folder)
    _tables(content, bunches, slices)
    content.section("Pictures")
    for title, draw in _pictures(state, bunches, slices):
        _picture(content, title, draw)
    _settings(content, log)
    content.section("Deck")
    for name in _deck_files(folder, state):
        content.listing(name.name, name.read_text(errors="replace"))
    if log is not None:
        content.section("Log")
        content.listing("log", "\n".join(log.lines))
    target = page or folder / "report.html"
    target.write_text(content.html(), encoding="utf-8")
    return target


def _log(state: CheckState) -> RunLog | None:
    candidates = [state.output_path(state.logfile)] if state.logfile else []
    candidates.append(state.folder / "console.txt")
    return next((read_log(path) for path in candidates if path.is_file()), None)


def _overview(content: Page, state: CheckState, log: RunLog | None) -> None:
    rows = []
    if state.beam is not None:
        rows.append(("particles", f"{len(state.beam.bunch)}", ""))
        rows.append(("charge", f"{state.beam.bunch.charge.sum() * 1e9:.6g}", "nC"))
        rows.append(("momentum of particle 1", f"{state.beam.bunch.momentum[0] * 1e-6:.6g}", "MeV/c"))
    rows.append(("self force", state.force_type, ""))
    if log is not None:
        rows.append(("steps", f"{log.steps}", ""))
        rows.append(("duty stops", f"{log.duty_stops}", ""))
        if log.last_ct is not None:
            rows.append(("bunch time at the end", f"{log.last_ct:.6g}", "m"))
        for value in log.integrated_errors[-1:]:
            rows.append(("integrated step error", f"{value:.4g}", ""))
    rows += _times(state)
    content.section("Overview")
    content.pairs("The run in numbers", rows)


def _times(state: CheckState) -> list[tuple[str, str, str]]:
    """When the run took place, by the times of its files: latout.dat is written when the lattice has been read."""
    files = [state.output_path("latout.dat"), *_existing(state)]
    times = [path.stat().st_mtime for path in files if path.is_file()]
    if len(times) < 2:
        return []
    return [("first file written", datetime.fromtimestamp(min(times)).strftime("%Y-%m-%d %H:%M:%S"), ""),
            ("time spent, from the first to the last file", f"{max(times) - min(times):.1f}", "s")]


def _troubles(content: Page, state: CheckState, log: RunLog | None) -> None:
    content.section("Warnings")
    if log is None:
        content.text("The run left no log; give io_path a logfile, or keep the console in console.txt.")
    elif log.troubles:
        kinds: dict[str, list[int]] = {}
        for line, text in log.troubles:
            kinds.setdefault(text, []).append(line)
        content.table("Warnings and errors in the log", ["first line", "times", "text"],
                      [[str(lines[0]), str(len(lines)), text] for text, lines in kinds.items()])
    else:
        content.text("The log holds no warning and no error.")
    if state.findings:
        content.table("What a check of the deck finds", ["place", "kind", "text"],
                      [[str(f.place), f.severity, f.text] for f in state.findings])
    else:
        content.text("A check of the deck finds nothing to remark.")


def _settings(content: Page, log: RunLog | None) -> None:
    content.section("Settings")
    if log is None or not log.settings:
        content.text("No tracking run reported its settings.")
        return
    for number, lines in enumerate(log.settings, 1):
        rows = [[part.strip() for part in line.partition("=")[::2]] for line in lines]
        content.table(f"Tracking run {number}", ["setting", "value"], rows)


def files_of(state: CheckState, output: OutputFile) -> list[Path]:
    """The files that an output has left: a series under its numbered names."""
    if not output.series:
        path = state.output_path(output.name)
        return [path] if path.is_file() else []
    head, dot, tail = output.name.partition(".")
    pattern = f"{head}_[0-9][0-9][0-9][0-9]{dot}{tail}"
    base = state.output_path(output.name)
    return sorted((base.parent).glob(Path(pattern).name))


def _with_content(output: OutputFile, paths: list[Path]) -> list[Path]:
    """Without the `green` files of steps that built no mesh, which hold a time alone."""
    return [path for path in paths if output.kind != "green" or len(path.read_text().split()) > 1]


def _existing(state: CheckState) -> list[Path]:
    return [path for output in state.outputs for path in files_of(state, output)]


def _bunches(content: Page, state: CheckState, folder: Path) -> list[tuple[str, Bunch, list[Boundary] | None]]:
    """All bunches that monitors wrote, in the order of c*t, each with its orbit; fmt0 tells no time and is left out."""
    found: list[tuple[str, Bunch, list[Boundary] | None]] = []
    orbit = orbit_beside(folder / "tessar.in")
    failed: list[list[str]] = []
    for output in dict.fromkeys(state.outputs):
        if output.kind != "bunch" or output.fmt not in ("fmt1", "fmt2", "fmt3"):
            continue
        paths = files_of(state, output)
        chosen = sorted({int(k) for k in np.linspace(0, len(paths) - 1, min(len(paths), MOST_BUNCHES))}) if paths else []
        for path in (paths[k] for k in chosen):
            try:
                found.append((path.name, *on_orbit(bunchfiles.read_bunch(path, output.fmt), orbit)))
            except (OSError, ValueError) as error:
                failed.append([path.name, str(error)])
    if failed:
        content.table("Files that could not be read", ["file", "reason"], failed)
    return sorted(found, key=lambda item: item[1].ct)


def _tables(content: Page, bunches: list[tuple[str, Bunch, list[Boundary] | None]], slices: int) -> None:
    content.section("Bunch")
    if not bunches:
        content.text("No monitor wrote a whole bunch with its time.")
        return
    ends = [bunches[0], bunches[-1]] if len(bunches) > 1 else bunches
    for name, bunch, orbit in ends:
        content.pairs(f"{name}, c·t = {bunch.ct:.6g} m", tables.summary_rows(analyse.plain(analyse.summary(bunch, slices, orbit))))
    if len(bunches) > 1:
        columns = _series(bunches)
        content.table("Development of the bunch", *tables.column_table(columns, "series"))


def _series(bunches: list[tuple[str, Bunch, list[Boundary] | None]]) -> dict[str, np.ndarray]:
    return analyse.series_of([analyse.summary(bunch, orbit=orbit) for _, bunch, orbit in bunches])


def _pictures(state: CheckState, bunches: list[tuple[str, Bunch, list[Boundary] | None]], slices: int) -> list[tuple[str, Callable[[], Figure]]]:
    """Titles, and how to draw each picture."""
    entries: list[tuple[str, Callable[[], Figure]]] = []
    latout = state.output_path("latout.dat")
    if latout.is_file():
        entries.append(("Lattice from above with the design orbit", lambda: plots.floor_plan(outputs.read_latout(latout))))
    if bunches:
        ends = [bunches[0], bunches[-1]] if len(bunches) > 1 else bunches
        entries.append(("Longitudinal phase space and current", lambda: plots.longitudinal(ends, 2 * slices)))
        entries.append((f"Phase spaces of {ends[-1][0]}", lambda: plots.phase_spaces(*ends[-1][1:], ends[-1][0])))
        entries.append((f"Slices of {ends[-1][0]}", lambda: plots.slices(*ends[-1][1:], slices, ends[-1][0])))
    if len(bunches) > 2:
        entries.append(("Energy loss, length and emittance against c·t", lambda: plots.development(_series(bunches))))
    entries += _force_pictures(state)
    for output in state.outputs:
        for path in _with_content(output, files_of(state, output))[-1:]:
            if output.kind == "steps":
                entries.append((f"Steps, {path.name}", lambda path=path: plots.steps(outputs.read_steps(path))))
            elif output.kind == "subbunch":
                entries.append((f"Sub-bunch sizes, {path.name}", lambda path=path: plots.subbunch(outputs.read_subbunch(path))))
            elif output.kind == "green":
                entries.append((f"Mesh and wavefronts, {path.name}", lambda path=path: plots.green_mesh(outputs.read_green(path))))
    return entries


def _force_pictures(state: CheckState) -> list[tuple[str, Callable[[], Figure]]]:
    entries: list[tuple[str, Callable[[], Figure]]] = []
    for output in dict.fromkeys(state.outputs):
        if output.kind == "bunch" and output.fmt == "fmt3":
            for path in files_of(state, output)[-1:]:
                table = bunchfiles.read_fmt3(path)[1]
                if np.any(table[:, 7:10]):
                    entries.append((f"Self force along the bunch, {path.name}", lambda table=table: plots.force_on_path(table)))
    current = state.output_path("fc1_curr.dat")
    for name in ("fc1.dat", "fc2.dat"):
        path = state.output_path(name)
        if path.is_file():
            grid = outputs.read_grid(current) if name == "fc1.dat" and current.is_file() else None
            entries.append((f"Force of the last evaluation, {name}",
                            lambda path=path, grid=grid, name=name: plots.force([(name, outputs.read_force(path))], grid)))
    return entries


def _picture(content: Page, title: str, draw: Callable[[], Figure]) -> None:
    try:
        figure = draw()
    except (OSError, ValueError) as error:
        content.text(f"{title}: cannot be drawn, {error}")
        return
    memory = io.BytesIO()
    figure.savefig(memory, format="png", dpi=110)
    plots.plt.close(figure)
    content.image(title, base64.b64encode(memory.getvalue()).decode())


def _deck_files(folder: Path, state: CheckState) -> list[Path]:
    """The deck and those included files that hold no particles."""
    names = [folder / "tessar.in"]
    for path in state.reader.included if state.reader else []:
        if path.stat().st_size < 200000 and path not in names:
            names.append(path)
    return names
