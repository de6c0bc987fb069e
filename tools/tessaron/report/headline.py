"""What a report opens with: how the run ended, and the bunch before and behind in one table."""
from __future__ import annotations

from ..beam.analyse import Summary
from ..constants import SPEED_OF_LIGHT

_LINES = (  # name, unit, factor, value of a summary
    ("mean energy", "MeV", 1e-6, lambda s: s.energy), ("rms energy spread", "keV", 1e-3, lambda s: s.energy_spread),
    ("spread about a cubic chirp", "keV", 1e-3, lambda s: s.energy_spread_uncorrelated), ("chirp, more behind", "1/m", 1, lambda s: s.chirp),
    ("rms length", "µm", 1e6, lambda s: s.length), ("peak current", "A", 1, lambda s: s.peak_current),
    ("emittance in the plane", "µm", 1e6, lambda s: s.horizontal.emittance),
    ("emittance without dispersion", "µm", 1e6, lambda s: s.horizontal.emittance_free),
    ("emittance, vertical", "µm", 1e6, lambda s: s.vertical.emittance), ("dispersion", "mm", 1e3, lambda s: s.horizontal.dispersion),
    ("charge", "nC", 1e9, lambda s: s.charge), ("particles", "", 1, lambda s: s.particles),
)


def headline(before: Summary, behind: Summary) -> tuple[list[str], list[list[str]]]:
    """Heads and rows of the table before and behind, with loss and compression."""
    rows = [[_label(name, unit), _number(value(before) * factor), _number(value(behind) * factor), _change(value(before), value(behind))]
            for name, unit, factor, value in _LINES]
    loss = before.energy - behind.energy
    rows.insert(1, ["mean energy loss / keV", "", _number(loss * 1e-3), f"{-100 * loss / before.energy:+.4f} %"])
    if behind.length > 0:
        rows.insert(6, ["compression", "", f"{before.length / behind.length:.4g}", ""])
    return ["", "before", "behind", "change"], rows


def _label(name: str, unit: str) -> str:
    return f"{name} / {f'({unit})' if '/' in unit else unit}" if unit else name


def _number(value: float) -> str:
    """As many digits as a loss of some parts in 10^5 needs; what rounding alone makes is 0."""
    return f"{value:.6g}" if abs(value) > 1e-4 else "0"


def bandwidth(summary: Summary) -> str:
    """How fine the peak current was looked at."""
    return f"bins of {summary.current_bin * 1e6:.3g} µm, which hold frequencies up to {0.5e-12 * SPEED_OF_LIGHT / summary.current_bin:.3g} THz"


def spoken(before: Summary, behind: Summary) -> str:
    """The same in a sentence, for those who cannot see a picture."""
    return (f"rms length {before.length * 1e6:.3g} and {behind.length * 1e6:.3g} µm, peak current {before.peak_current:.3g} and "
            f"{behind.peak_current:.3g} A, rms energy spread {before.energy_spread * 1e-3:.3g} and {behind.energy_spread * 1e-3:.3g} keV before and behind")


def _change(before: float, behind: float) -> str:
    if before == 0 or behind == before or behind * before < 0:
        return ""
    ratio = behind / before
    return f"{100 * (ratio - 1):+.3g} %" if 0.5 < ratio < 2 else f"× {ratio:.4g}"
