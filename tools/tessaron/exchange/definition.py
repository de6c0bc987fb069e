"""Elements as files define them: by a type or by an earlier element whose attributes they inherit."""
from __future__ import annotations

from dataclasses import dataclass
from typing import Generic, Iterator, TypeVar, Union

from ..deck.reader import Place

V = TypeVar("V")


@dataclass
class Definition(Generic[V]):
    """An element and the attributes that it has been given."""

    name: str
    base: Union[str, "Definition[V]"]
    values: dict[str, V]  #: by names in small letters
    place: Place

    @property
    def type(self) -> str:
        """The word for its type."""
        return list(self._owners())[-1].base

    @property
    def given(self) -> set[str]:
        """The names of all attributes, inherited ones included."""
        return {name for owner in self._owners() for name in owner.values}

    def find(self, name: str) -> V | None:
        """An attribute, its own or inherited; None for one that is not given."""
        return next((owner.values[name] for owner in self._owners() if name in owner.values), None)

    def giver(self, name: str) -> "Definition[V]":
        """Itself, or the element from which it inherits an attribute that is given."""
        return next(owner for owner in self._owners() if name in owner.values)

    def _owners(self) -> Iterator["Definition[V]"]:
        owner: Union[str, "Definition[V]"] = self
        while isinstance(owner, Definition):
            yield owner
            owner = owner.base
