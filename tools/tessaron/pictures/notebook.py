"""Pictures in notebooks."""
from __future__ import annotations

from matplotlib.figure import Figure


def shown_once(figure: Figure) -> Figure:
    """The figure, which pyplot lets go of: a notebook would show it a second time at the end of the cell."""
    from matplotlib import pyplot

    pyplot.close(figure)
    return figure
