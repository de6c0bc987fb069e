"""Variables and attributes of MAD-X: values of now, values of later, and what an expression is worth."""
from __future__ import annotations

import math
from dataclasses import dataclass, field
from typing import Callable, Union

from ...constants import SPEED_OF_LIGHT
from ...deck.reader import Place
from ..definition import Definition
from ..source import LatticeFault
from .text import Given, Node

DEEPEST = 120  #: expressions and variables within each other

CONSTANTS = {"pi": math.pi, "twopi": 2 * math.pi, "degrad": 180 / math.pi, "raddeg": math.pi / 180, "e": math.e, "clight": SPEED_OF_LIGHT,
             "emass": 0.51099895e-3, "pmass": 0.93827208816, "nmass": 0.93956542052, "umass": 0.93149410242, "mumass": 0.1056583755,
             "qelect": 1.602176634e-19, "hbar": 6.582119569e-22, "erad": 2.8179403262e-15, "prad": 1.534698e-18, "true": 1.0, "false": 0.0}
_FUNCTIONS: dict[str, Callable[..., float]] = {
    name: getattr(math, name) for name in "sqrt log log10 exp sin cos tan asin acos atan sinh cosh tanh erf erfc floor ceil".split()}
_FUNCTIONS |= {"abs": abs, "sinc": lambda x: math.sin(x) / x if x else 1.0, "round": lambda x: math.copysign(math.floor(abs(x) + 0.5), x),
               "frac": lambda x: x - math.trunc(x), "atan2": math.atan2}


@dataclass
class Value:
    """What a name or an attribute stands for."""

    node: Node
    place: Place
    now: Union[float, LatticeFault, None] = None  #: None for one that is worked out when it is used
    unset: tuple[str, ...] = ()  #: names without a value that `now` counted as 0

    @property
    def text(self) -> str:
        """A word or a string."""
        return str(self.node.parts[0]) if self.node.kind in ("name", "string") else ""


@dataclass
class Names:
    """All variables and elements by their names in small letters, and the worth of expressions in them."""

    variables: dict[str, Value] = field(default_factory=dict)
    elements: dict[str, Definition[Value]] = field(default_factory=dict)
    beam: Callable[[str], Union[float, None]] = lambda name: None  #: attribute of the beam
    remarks: list[str] = field(default_factory=list)
    _known: dict[str, float] = field(default_factory=dict)  # worth of variables, until one is set
    _unset: list[str] = field(default_factory=list)
    _depth: int = 0

    def value(self, given: Given, place: Place, whole: bool = False) -> Value:
        """The value of what is written: worked out unless := puts that off.

        :param whole: cut off the fraction.
        """
        node = given.value or Node("number", (float(given.on),))
        value = Value(node, place)
        if not given.later and node.kind not in ("string", "array"):
            before, self._unset = self._unset, []
            try:
                value.now = self._worth(node, place)
                value.now = float(math.trunc(value.now)) if whole else value.now
            except LatticeFault as fault:
                value.now = fault
            value.unset, self._unset = tuple(self._unset), before
        return value

    def set(self, name: str, value: Value) -> None:
        """Gives a variable a value."""
        self.variables[name.lower()] = value
        self.forget()

    def forget(self) -> None:
        """Something has changed on which expressions may depend."""
        self._known.clear()

    def number(self, value: Value) -> float:
        """The number of a value that is used.

        :raises LatticeFault: it is none.
        """
        self._unset = []
        number = self._number(value)
        self.remarks += [f"{value.place}: {name!r} was never given a value and counts as 0" for name in self._unset]
        return number

    def array(self, value: Value) -> list[float]:
        """The numbers of a value in braces."""
        nodes = value.node.parts if value.node.kind == "array" else (value.node,)
        return [self.number(Value(node, value.place)) for node in nodes]

    def _number(self, value: Value) -> float:
        if isinstance(value.now, LatticeFault):
            raise value.now
        if value.now is not None:
            self._unset += value.unset
            return value.now
        return self._worth(value.node, value.place)

    def _worth(self, node: Node, place: Place) -> float:
        self._depth += 1
        try:
            if self._depth > DEEPEST:
                raise LatticeFault(place, f"expressions nest deeper than {DEEPEST}, or a value refers to itself")
            number = getattr(self, "_of_" + node.kind)(node.parts, place)
        except (ArithmeticError, ValueError, TypeError) as error:
            if isinstance(error, LatticeFault):
                raise
            raise LatticeFault(place, f"an expression has no value: {error}") from None
        finally:
            self._depth -= 1
        if isinstance(number, complex) or not math.isfinite(number):
            raise LatticeFault(place, "an expression has no finite value")
        return number

    def _of_number(self, parts: tuple, place: Place) -> float:
        return parts[0]

    def _of_string(self, parts: tuple, place: Place) -> float:
        raise LatticeFault(place, f"{parts[0]!r} is no number")

    def _of_array(self, parts: tuple, place: Place) -> float:
        raise LatticeFault(place, "numbers in braces where one number belongs")

    def _of_sum(self, parts: tuple, place: Place) -> float:
        total = self._worth(parts[0], place)
        for sign, part in zip(parts[1::2], parts[2::2]):
            total += self._worth(part, place) * (1 if sign == "+" else -1)
        return total

    def _of_product(self, parts: tuple, place: Place) -> float:
        total = self._worth(parts[0], place)
        for sign, part in zip(parts[1::2], parts[2::2]):
            total = total * self._worth(part, place) if sign == "*" else total / self._worth(part, place)
        return total

    def _of_power(self, parts: tuple, place: Place) -> float:
        return self._worth(parts[0], place) ** self._worth(parts[1], place)

    def _of_negative(self, parts: tuple, place: Place) -> float:
        return -self._worth(parts[0], place)

    def _of_call(self, parts: tuple, place: Place) -> float:
        if parts[0] not in _FUNCTIONS:
            raise LatticeFault(place, f"the function {parts[0]!r} is not known here")
        return float(_FUNCTIONS[parts[0]](*(self._worth(part, place) for part in parts[1:])))

    def _of_attribute_of(self, parts: tuple, place: Place) -> float:
        name = parts[0].lower()
        if name == "beam" or name.startswith("beam%"):
            number = self.beam(parts[1])
            if number is None:
                raise LatticeFault(place, f"beam->{parts[1]} is not known here")
            return number
        if name not in self.elements:
            raise LatticeFault(place, f"{parts[0]!r} is no element")
        value = self.elements[name].find(parts[1])
        return 0.0 if value is None else self._number(value)

    def _of_name(self, parts: tuple, place: Place) -> float:
        name = parts[0].lower()
        if name in self._known:
            return self._known[name]
        if name in self.variables:
            self._known[name] = self._number(self.variables[name])
            return self._known[name]
        if name not in CONSTANTS:
            self._unset.append(parts[0])
        return CONSTANTS.get(name, 0.0)
