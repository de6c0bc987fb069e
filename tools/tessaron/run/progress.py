"""A progress bar for a run."""
from __future__ import annotations

import sys

from .process import Progress


def in_notebook() -> bool:
    """Whether the Python process is the kernel of a notebook."""
    return "ipykernel" in sys.modules


class Bar:
    """Shows a run's bunch time and the time left, by tqdm, on a terminal or in a notebook.

    :param shown: True, False, or None for a terminal or a notebook only.
    """

    def __init__(self, name: str, shown: bool | None = None) -> None:
        self._name, self._bar, self._from = name, None, None
        self._shown = _is_shown(shown)

    def __enter__(self) -> "Bar":
        return self

    def __exit__(self, *_: object) -> None:
        if self._bar is not None:
            self._bar.close()

    def show(self, progress: Progress) -> None:
        """Takes the bar to where the run stands. A further tracking run makes it longer."""
        if not self._shown:
            return
        if self._bar is None:
            self._from = progress.start
            self._bar = _tqdm()(total=progress.end - progress.start, desc=self._name, unit="m",
                                bar_format="{l_bar}{bar}| {n:.3f} of {total:.3f} m [{elapsed}, {remaining} left]")
        self._bar.total = max(self._bar.total, progress.end - self._from)
        self._bar.update(min(progress.ct - self._from, self._bar.total) - self._bar.n)


def _tqdm() -> type:
    """tqdm's bar for where we are; the plain one in notebooks without its widgets."""
    import warnings

    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        from tqdm.auto import tqdm
    return tqdm




def points_bar(total: int, name: str, shown: bool | None = None):
    """A bar over the points of a study, with the time left; `shown` as above."""
    return _tqdm()(total=total, desc=name, unit="point", disable=not _is_shown(shown))


def _is_shown(shown: bool | None) -> bool:
    return shown if shown is not None else in_notebook() or sys.stderr.isatty()
