"""One self-contained HTML page about a run, from the files in its working folder."""
from __future__ import annotations

from datetime import datetime
from pathlib import Path

from ..beam.analyse import plain, series_of
from ..files import outputs
from ..pictures import along, plots, tables
from ..run.folder import RunFolder
from ..run.process import DECK
from ..words import counted
from . import headline
from .album import Album
from .looks import Look, Told, look_at
from .page import Page
from .run_pictures import force_pictures, table_pictures

MOST_BUNCHES = 40  # of a long series, evenly chosen


def write_report(folder: Path, page: Path | None = None, slices: int = 50, told: Told = lambda what, done, of: None,
                 run: RunFolder | None = None, about_orbit: bool = True) -> Path:
    """Writes the page of the run in `folder` and returns its path.

    What cannot be read is told on the page; a report is also wanted when a run has failed.

    :param slices: number of slices and bins.
    :param told: is told about the progress.
    :param run: the folder's contents, if they have been read already.
    :param about_orbit: coordinates about the design orbit where it is known; otherwise along the mean momentum of each bunch.
    """
    run = run or RunFolder(folder)
    content = Page(f"Run in {folder.resolve().name}", run.verdict.completed, run.verdict.line)
    album = Album(content, told)
    looks, failed = look_at(run, MOST_BUNCHES, slices, told, about_orbit)
    _headline(content, album, run, looks, slices)
    if failed:
        content.table("Files that could not be read", ["file", "reason"], failed)
    _ending(content, run)
    _along(content, album, run, looks)
    _slices(content, album, looks, slices)
    _lattice(content, album, run, looks)
    content.section("Forces and steps")
    for title, draw in [*force_pictures(run), *table_pictures(run)]:
        album.add(title, draw)
    _settings(content, run)
    content.section("Deck")
    for name in _deck_files(run):
        content.listing(name.name, name.read_text(errors="replace"))
    if run.log is not None:
        content.section("Log")
        content.listing("log", "\n".join(run.log.lines))
    target = page or folder / "report.html"
    target.write_text(content.html(), encoding="utf-8")
    return target


def _headline(content: Page, album: Album, run: RunFolder, looks: list[Look], slices: int) -> None:
    content.section("Before and behind")
    if not looks:
        content.text("There is no bunch: neither could the deck's be read, nor did a monitor write a whole one with its time.")
        return
    before, behind = looks[0], looks[-1]
    if before is behind:
        content.text("There is the input bunch alone; no monitor wrote a whole one with its time.")
        content.pairs(before.title, tables.summary_rows(plain(before.summary)))
        return
    content.table(f"{before.title}, and {behind.title}", *headline.headline(before.summary, behind.summary))
    content.text(f"Currents are means over {headline.bandwidth(before.summary)} before, and {headline.bandwidth(behind.summary)} behind. "
                 "Emittances are normalised. Without dispersion: what follows the momentum has been taken out.")
    spoken = headline.spoken(before.summary, behind.summary)
    album.add("Longitudinal phase space and current before and behind", lambda: plots.longitudinal(
        [(look.title, look.bunch, look.orbit) for look in (before, behind)], 2 * slices), spoken)
    album.add(f"Phase spaces of {behind.title}", lambda: plots.phase_spaces(behind.bunch, behind.orbit, behind.title), spoken)


def _ending(content: Page, run: RunFolder) -> None:
    content.section("How the run went")
    if run.verdict.details:
        content.table("Why it is not complete", ["what was found"], [[line] for line in run.verdict.details])
    rows = [("self force", run.state.force_type, "")]
    if run.log is not None:
        rows += [("steps", f"{run.log.steps}", ""), ("duty stops", f"{run.log.duty_stops}", "")]
        rows += [("integrated step error", f"{value:.4g}", "") for value in run.log.integrated_errors[-1:]]
    content.pairs("The run in numbers", rows + _times(run))
    if run.log is None:
        content.text("The run left no log; give io_path a logfile, or start it with tessaron-tools run, which keeps the console.")
    elif run.log.troubles:
        kinds: dict[str, list[int]] = {}
        for line, text in run.log.troubles:
            kinds.setdefault(text, []).append(line)
        content.table("Warnings and errors of the program", ["first line", "times", "text"],
                      [[str(lines[0]), str(len(lines)), text] for text, lines in kinds.items()])
    else:
        content.text("The program wrote no warning and no error.")
    if run.state.findings:
        content.table("What a check of the deck finds", ["place", "kind", "text"],
                      [[str(f.place), f.severity, f.text] for f in run.state.findings])
    else:
        content.text("A check of the deck finds nothing to remark.")


def _times(run: RunFolder) -> list[tuple[str, str, str]]:
    """When the run took place, by the times of its files: latout.dat is written when the lattice has been read."""
    paths = [run.state.output_path("latout.dat"), *(path for output in run.state.outputs for path in run.files(output))]
    times = [path.stat().st_mtime for path in paths if path.is_file()]
    if len(times) < 2:
        return []
    return [("first file written", datetime.fromtimestamp(min(times)).strftime("%Y-%m-%d %H:%M:%S"), ""),
            ("time spent, from the first to the last file", f"{max(times) - min(times):.1f}", "s")]


def _along(content: Page, album: Album, run: RunFolder, looks: list[Look]) -> None:
    content.section("Along the beam line")
    if len(looks) < 2:
        content.text("It takes bunches at several places to tell what happened in between.")
        return
    rows = album.attempt("Where the energy went", lambda: along.rows_of([look.station for look in looks], run.orbit))
    if rows:
        content.table("Where the energy went: changes in every element and drift", *tables.budget_table(rows))
        if any(row.interpolated for row in rows):
            content.text("~ marks sections without a bunch at both ends, whose values are interpolated. A tracker that ends at each boundary's "
                         "marker, with a monitor behind it, gives all of them.")
        album.add("Energy budget, length and emittance along s", lambda: along.budget(rows, [look.station for look in looks], run.orbit.boundaries),
                  "; ".join(f"{row.section.name}: {row.mean * 1e-3:.3g} keV" for row in rows))
    content.table("Development of the bunch", *tables.column_table(series_of([look.summary for look in looks]), "series"))


def _slices(content: Page, album: Album, looks: list[Look], slices: int) -> None:
    if not looks:
        return
    content.section("Slices")
    behind, on_orbit = looks[-1], looks[0].summary.place is not None
    album.add(f"Slices of {behind.title}", lambda: plots.slices(behind.bunch, behind.orbit, slices, behind.title),
              f"slice emittance in the plane {_span(behind.slices.emittance_u, 1e6)} µm, slice energy spread {_span(behind.slices.energy_spread, 1e-3)} keV")
    if len(looks) > 2:
        album.add("Slices of equal charge along the beam line", lambda: along.slices_along(
            [(look.station.place if on_orbit else look.summary.ct, look.slices) for look in looks if look.slices.s.size],
            looks[0].orbit if on_orbit else None), "current, energy, spread, emittance and centre of slices from the tail to the head")
    album.add("Bunching factor against wavelength", lambda: along.bunching_of([(look.name, look.bunch, look.orbit) for look in (looks[0], behind)]))


def _span(values, factor: float) -> str:
    return f"{values.min() * factor:.3g} to {values.max() * factor:.3g}" if values.size else "unknown"


def _lattice(content: Page, album: Album, run: RunFolder, looks: list[Look]) -> None:
    content.section("Lattice")
    if run.orbit is None:
        content.text("Neither the deck nor a latout.dat tells the lattice.")
        return
    latout = run.state.output_path("latout.dat")
    boundaries = outputs.read_latout(latout) if latout.is_file() else run.orbit.boundaries
    bends = sum(bool(b.r) for b in boundaries)
    album.add("Lattice from above with the design orbit", lambda: plots.floor_plan(boundaries),
              f"{counted(len(boundaries), 'boundary')}, {counted(bends, 'bend')}, {boundaries[-1].s:.5g} m of orbit" if boundaries else "")
    found = album.attempt("Optics", lambda: along.optics_of_run(run, looks[0].summary if looks else None))
    if found is not None:
        content.table("Optics without self force, from rays that the program tracks", *tables.optics_table(found, run.orbit.boundaries))
        album.add("Optics along s", lambda: along.optics(found, run.orbit.boundaries), f"R56 {found.r56[-1] * 1e3:.4g} mm at the end, largest dispersion "
                  f"{abs(found.dispersion).max() * 1e3:.4g} mm")


def _settings(content: Page, run: RunFolder) -> None:
    content.section("Settings")
    if run.log is None or not run.log.settings:
        content.text("No tracking run reported its settings.")
        return
    for number, lines in enumerate(run.log.settings, 1):
        rows = [[part.strip() for part in line.partition("=")[::2]] for line in lines]
        content.table(f"Tracking run {number}", ["setting", "value"], rows)


def _deck_files(run: RunFolder) -> list[Path]:
    """The deck and those included files that hold no particles."""
    names = [run.folder / DECK]
    for path in run.state.reader.included if run.state.reader else []:
        if path.stat().st_size < 200000 and path not in names:
            names.append(path)
    return names
