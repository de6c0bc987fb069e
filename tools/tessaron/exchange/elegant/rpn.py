"""The calculator of elegant's lattice files: reverse Polish notation, as `"lb 2 /"` and `% 1.5 sto lb`."""
from __future__ import annotations

import math
import operator
from typing import Callable

from ...constants import SPEED_OF_LIGHT

CONSTANTS = {"pi": math.pi, "log_10": math.log(10), "c_mks": SPEED_OF_LIGHT, "c_cgs": SPEED_OF_LIGHT * 100, "e_mks": 1.602176634e-19,
             "me_mks": 9.1093837015e-31, "re_mks": 2.8179403262e-15, "kb_mks": 1.380649e-23, "mev": 0.51099895, "hbar_mks": 1.054571817e-34,
             "mp_mks": 1.67262192369e-27, "mu_o": 4e-7 * math.pi, "eps_o": 8.8541878128e-12}

_ONE: dict[str, Callable[[float], float]] = {name: getattr(math, name) for name in "sin cos tan asin acos atan sqrt exp sinh cosh tanh".split()}
_ONE |= {"d" + name: lambda x, f=getattr(math, name): f(math.radians(x)) for name in ("sin", "cos", "tan")}
_ONE |= {"da" + name: lambda x, f=getattr(math, "a" + name): math.degrees(f(x)) for name in ("sin", "cos", "tan")}
_ONE |= {"sqr": lambda x: x * x, "ln": math.log, "log": math.log10, "abs": abs, "chs": operator.neg, "rec": lambda x: 1 / x,
         "int": lambda x: float(math.trunc(x)), "dtor": math.radians, "rtod": math.degrees}
_TWO: dict[str, Callable[[float, float], float]] = {
    "+": operator.add, "-": operator.sub, "*": operator.mul, "/": operator.truediv, "pow": math.pow, "atan2": math.atan2,
    "max2": max, "min2": min, "hypot": math.hypot, "mult": operator.mul, "add": operator.add, "sub": operator.sub, "div": operator.truediv}


class Calculator:
    """Variables that expressions store and recall; their names are case sensitive."""

    def __init__(self) -> None:
        self.variables: dict[str, float] = {}

    def worth(self, expression: str) -> float:
        """The number that an expression leaves on top.

        :raises ValueError: with words for a person; what it had stored until then stays.
        """
        stack = self.run(expression)
        if not stack:
            raise ValueError(f"{expression!r} leaves no number")
        return stack[-1]

    def run(self, expression: str) -> list[float]:
        """The stack that an expression leaves.

        :raises ValueError: with words for a person.
        """
        stack: list[float] = []
        words = iter(expression.split())
        for word in words:
            try:
                if word == "sto":
                    self.variables[next(words)] = stack[-1]
                else:
                    self._step(word, stack)
            except StopIteration:
                raise ValueError("sto without a name") from None
            except IndexError:
                raise ValueError(f"{word!r} finds too few numbers in {expression!r}") from None
            except (ArithmeticError, ValueError) as error:
                raise ValueError(f"{word!r} in {expression!r}: {error}") from None
            if stack and not math.isfinite(stack[-1]):
                raise ValueError(f"{word!r} in {expression!r} gives no finite number")
        return stack

    def _step(self, word: str, stack: list[float]) -> None:
        if word in _TWO:
            second, first = stack.pop(), stack.pop()
            stack.append(_TWO[word](first, second))
        elif word in _ONE:
            stack.append(_ONE[word](stack.pop()))
        elif word in ("=", "dup"):
            stack.append(stack[-1])
        elif word == "pop":
            stack.pop()
        elif word == "swap":
            stack[-1], stack[-2] = stack[-2], stack[-1]
        elif word in ("rcl", "clr"):  # recalling a variable is its name alone
            stack[:] = stack if word == "rcl" else []
        elif word in self.variables or word in CONSTANTS:
            stack.append(self.variables[word] if word in self.variables else CONSTANTS[word])
        else:
            stack.append(_number(word))


def _number(word: str) -> float:
    try:
        return float(word.lower().replace("d", "e"))
    except ValueError:
        raise ValueError("is neither a number nor known here") from None
