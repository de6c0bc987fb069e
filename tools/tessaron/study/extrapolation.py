"""What a quantity tends to, from its values at three resolutions.

With values Q at resolutions h, h/r and h/r^2, an error of order p makes successive differences fall by r^p; the limit lies
1/(r^p - 1) of the last difference beyond the last value (Richardson 1911). The order is never taken to be higher than the
method's own. What is left of the error counts 1.25 times where the differences fall as they should, 3 times where they do not
(Roache, J. Fluids Eng. 116 (1994) 405).
"""
from __future__ import annotations

from dataclasses import dataclass
from math import log
from typing import Sequence

LOWEST_ORDER = 0.5
SURE, UNSURE = 1.25, 3.0


@dataclass(frozen=True)
class Limit:
    """What three values tell."""

    value: float  #: extrapolated
    order: float  #: found, at most that of the method; that of the method where none can be found
    error: float  #: bound of the distance of the base value from the limit, above 0
    regular: bool  #: the differences fall as an error of a positive order does

    def refinement(self, wanted: float) -> float:
        """The factor by which the resolution has to become finer than the base's for an error of `wanted`; 1 if it is there."""
        return 1.0 if self.error <= wanted else (self.error / wanted) ** (1 / self.order)


def limit_of(values: Sequence[float], ratio: float, order: float, base: int) -> Limit:
    """The limit of three values.

    :param values: from coarse to fine.
    :param ratio: of two successive resolutions, above 1.
    :param order: of the method.
    :param base: which of the values the error is asked for.
    """
    coarse, fine = values[0] - values[1], values[1] - values[2]
    if fine == 0:
        return Limit(values[2], order, abs(values[base] - values[2]), True)
    regular = coarse * fine > 0 and abs(coarse) > abs(fine)
    found = min(log(abs(coarse / fine)) / log(ratio), order) if regular else LOWEST_ORDER
    found = max(found, LOWEST_ORDER)
    value = values[2] - fine / (ratio**found - 1) if regular else values[2]
    spread = max(abs(values[base] - other) for other in (*values, value))
    if regular:
        return Limit(value, found, SURE * abs(values[base] - value), True)
    return Limit(value, LOWEST_ORDER, UNSURE * spread, False)


def noise_of(values: Sequence[float], counts: Sequence[float], order: float) -> Limit:
    """The error of the last value, where values at fewer particles differ by chance and not by a law.

    :param counts: numbers of particles, rising, one for each value.
    :param order: how the noise falls with their number: 1/2 for random particles, 1 for a quiet start.
    """
    fewer = [(value, count) for value, count in zip(values, counts) if count < counts[-1]]
    errors = [abs(value - values[-1]) / ((counts[-1] / count)**order - 1) for value, count in fewer]
    return Limit(values[-1], order, UNSURE * max(errors), True)
