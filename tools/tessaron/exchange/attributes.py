"""Attributes that an element's class does not have: slips of the pen, which must not leave a magnet without its strength."""
from __future__ import annotations

from difflib import SequenceMatcher
from functools import lru_cache

CLOSE = 0.65  #: likeness of two words, of 1, from which one may be a slip of the other
#: Attributes by which an element bends, focuses, or stands where it does.
DECISIVE = frozenset("l angle tilt e1 e2 k1 k1s k2 k2s k3 k3s knl ksl kick hkick vkick volt ks".split())
_LENGTH, _STRENGTH = {"length", "len", "lenght"}, {"k", "kl", "g", "grad", "gradient", "strength", "theta"}


@lru_cache(maxsize=1000)
def meant(word: str, own: tuple[str, ...], others: frozenset[str]) -> str | None:
    """The attribute of which a word may be a slip; None if it is like none.

    :param own: attributes that an element of the class is made from, its strength ahead of the others.
    :param others: further attributes of the language.
    """
    if word in _LENGTH and "l" in own:
        return "l"
    if word in _STRENGTH and own[0] in DECISIVE - {"l"}:
        return own[0]
    words = [name for name in (*own, *sorted(others)) if len(name) > 1]
    best = max(words, key=lambda name: _likeness(word, name), default=None)
    return best if best is not None and _likeness(word, best) >= CLOSE else None


def _likeness(one: str, other: str) -> float:
    """From 0 to 1; the letter l counts as the digit 1."""
    return SequenceMatcher(None, one.replace("l", "1"), other.replace("l", "1"), autojunk=False).ratio()
