"""What a finished point of a scan tells about itself, in its folder: `manifest.json`."""
from __future__ import annotations

import json
import os
from dataclasses import asdict, dataclass, field
from pathlib import Path
from typing import Any

from ..deck.reader import Place
from ..files.ending import Ending

NAME = "manifest.json"


@dataclass(frozen=True)
class Manifest:
    """One finished point, completed or failed."""

    point: dict[str, Any]  #: the values of the axes
    completed: bool
    reason: str  #: how the run ended, in one line
    trace: list[str] = field(default_factory=list)  #: the program's own lines about a failure
    place: list | None = None  #: file and line of the deck where it stopped
    quantities: dict[str, float] = field(default_factory=dict)  #: see `tessaron.run.quantities`
    seconds: float = 0.0  #: from the start of the run to the end of its analysis

    def save(self, folder: Path) -> None:
        """Writes it whole or not at all."""
        passing = folder / f"{NAME}.new"
        passing.write_text(json.dumps(asdict(self), indent=1, default=str) + "\n")
        os.replace(passing, folder / NAME)

    @classmethod
    def load(cls, folder: Path) -> "Manifest | None":
        """That of a folder, or None where there is none."""
        path = folder / NAME
        return cls(**json.loads(path.read_text())) if path.is_file() else None

    @property
    def ending(self) -> Ending:
        """The same as how a run ended."""
        return Ending(self.completed, self.reason, tuple(self.trace), Place(*self.place) if self.place else None)
