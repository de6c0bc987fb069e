"""Pictures on a page, one after the other; what cannot be drawn is told in its place."""
from __future__ import annotations

import base64
import io
from typing import Callable, TypeVar

from matplotlib.figure import Figure

from ..pictures.style import plt
from .page import Page

T = TypeVar("T")


class Album:
    """Draws pictures and puts them on a page.

    :param told: is told what is drawn, as in `looks.Told`.
    """

    def __init__(self, page: Page, told: Callable[[str, int, int], None]) -> None:
        self._page, self._told, self._count = page, told, 0

    def add(self, title: str, draw: Callable[[], Figure], spoken: str = "") -> None:
        """Draws one picture. `spoken` says what it shows, for those who cannot see it."""
        self._told(f"drawing {title}", self._count, 0)
        self._count += 1
        figure = self.attempt(title, draw)
        if figure is None:
            return
        memory = io.BytesIO()
        figure.savefig(memory, format="png", dpi=110)
        plt.close(figure)
        self._page.image(title, base64.b64encode(memory.getvalue()).decode(), spoken)

    def attempt(self, title: str, work: Callable[[], T]) -> T | None:
        """The result of some work, or None and a line on the page that says why not."""
        try:
            return work()
        except (OSError, ValueError) as error:
            self._page.text(f"{title}: not here, since {error}")
            return None
