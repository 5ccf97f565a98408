"""What all objects of the package have in common that stand for one of the library."""

from __future__ import annotations

from collections.abc import Iterable, Iterator
from typing import Any, ClassVar

import _pyzorvel as raw

from .environment import Environment


class Handle:
    """An object of the library. It holds its environment, so that no part can be freed before it.

    Objects are equal where the library says so: types, fluents, constants, objects, actions and problems of equal
    content are.
    """

    __slots__ = ("_raw", "environment", "__weakref__")
    _kind: ClassVar[str]

    def __init__(self, handle: Any, environment: Environment) -> None:
        self._raw = handle
        self.environment = environment

    def __eq__(self, other: object) -> Any:
        if not isinstance(other, Handle) or other._kind != self._kind:
            return NotImplemented
        return getattr(raw, f"zorvel_{self._kind}_equality")(self._raw, other._raw) == 1

    def __hash__(self) -> int:
        return getattr(raw, f"zorvel_{self._kind}_get_hash")(self._raw)

    def __reduce__(self) -> Any:
        raise TypeError(f"{self!r} cannot be copied or sent to another process")


def wrapped(cls: type[Any], handle: Any, environment: Environment) -> Any:
    """An object of `cls` for a handle of the library, past the constructor that makes a new thing."""
    made = cls.__new__(cls)
    Handle.__init__(made, handle, environment)
    return made


def elements(iterator: Any, kind: str) -> Iterator[Any]:
    """The handles that an iterator of the library goes over."""
    next_, is_error = getattr(raw, f"zorvel_{kind}_iter_next"), getattr(raw, f"zorvel_{kind}_is_error")
    while not is_error(handle := next_(iterator)):
        yield handle


def handles(things: Iterable[Any]) -> tuple[list[Any], int]:
    """An array argument of the raw module and its length."""
    words = [thing._raw for thing in things]
    return words, len(words)
