"""What can go wrong. Every error of the library is a ``ZorvelError``; its class is the first word of its text."""

from __future__ import annotations

from typing import Any


class ZorvelError(Exception):
    """An error of the library; ``str`` is its text, which begins with the name of its class.

    ``ZorvelError(text)`` gives an object of the subclass that the text begins with, where there is one, so that
    ``except ZorvelError`` catches all and ``except ParserError`` one kind.
    """

    #: File, line and column (from 1; 0 where they are not known) of what is wrong, as the library tells them.
    place: tuple[str | None, int, int] = (None, 0, 0)

    def __new__(cls, *arguments: Any) -> ZorvelError:
        if cls is ZorvelError and arguments:
            name = str(arguments[0]).partition(":")[0]
            cls = _CORE_ERRORS.get(name, cls)
        return super().__new__(cls, *arguments)

    @property
    def file(self) -> str | None:
        """The file at fault as it was named; None for a text in memory and where no place is known."""
        return self.place[0]

    @property
    def line(self) -> int | None:
        """The line at fault, from 1; None where it is not known."""
        return self.place[1] or None

    @property
    def column(self) -> int | None:
        """The column at fault, from 1; None where it is not known."""
        return self.place[2] or None


class InvalidParameterError(ZorvelError):
    """A bad argument: an unknown option, a wrong kind of expression, a missing file."""


class InternalError(ZorvelError):
    """A broken promise inside of the library."""


class ParserError(ZorvelError):
    """A syntax error in the text of a problem or a plan."""


class TypeCheckingError(ZorvelError):
    """An expression whose types do not fit."""


class RedefinitionError(ZorvelError):
    """A name that is defined twice."""


class UnresolvedSymbolError(ZorvelError):
    """A name that nothing declares."""


class UndefinedConstantError(ZorvelError):
    """A constant without a value."""


class OutOfBoundsValue(ZorvelError):
    """A value outside of the bounds of its type, found in a search."""


class GroundingFailedError(ZorvelError):
    """A problem that cannot be grounded."""


class TemporalNetworkIsUnsat(ZorvelError):
    """Times that contradict each other."""


class UnsupportedProblemError(ZorvelError):
    """A problem with something that the planner or the validator cannot handle."""


class UnsupportedStatementError(ZorvelError):
    """A statement that cannot be handled."""


class LtlEncoderError(ZorvelError):
    """Something that cannot be said in linear temporal logic."""


class SmtSolverError(ZorvelError):
    """A failure of the solver."""


_CORE_ERRORS = {made.__name__: made for made in ZorvelError.__subclasses__()}


class NoPlan(ZorvelError):
    """There provably is no plan, in the sense of the planner: see ``solve``."""


class LimitReached(ZorvelError):
    """The search was ended before it found a plan; ``limit`` is "time" or "memory"."""

    def __init__(self, text: str, limit: str) -> None:
        super().__init__(text, limit)
        self.limit = limit

    def __str__(self) -> str:
        return str(self.args[0])


class Incomplete(ZorvelError):
    """The search has ended without a plan, but left out states from which there may be one."""


class ZorvelWarning(UserWarning):
    """Something in a problem that is legal and probably not meant."""
