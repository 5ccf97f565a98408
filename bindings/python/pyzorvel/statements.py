"""Statements of actions and problems: conditions and effects with their times."""

from __future__ import annotations

from dataclasses import dataclass
from decimal import Decimal
from fractions import Fraction
from typing import Any, Union

import _pyzorvel as raw

from .environment import Environment, common_environment
from .expressions import Expression, Number, Operand, combine, to_expression


@dataclass(frozen=True)
class TimePoint:
    """A moment, ``START + 2`` or ``END - Fraction(1, 2)``; in a statement of a problem those of the plan."""

    is_end: bool
    offset: Union[int, Fraction] = 0

    def __add__(self, offset: Number) -> TimePoint:
        return TimePoint(self.is_end, self.offset + Fraction(offset))

    def __sub__(self, offset: Number) -> TimePoint:
        return TimePoint(self.is_end, self.offset - Fraction(offset))


START = TimePoint(False)
END = TimePoint(True)

#: A moment: a TimePoint, a number (from the start on), or an expression of anchors.
Moment = Union[TimePoint, Number, Expression]


def _moment(moment: Moment, environment: Environment) -> Expression:
    if isinstance(moment, (int, Fraction, Decimal, float)):
        moment = START + Fraction(moment)
    if isinstance(moment, Expression):
        return moment
    if not isinstance(moment, TimePoint):
        raise TypeError(f"{moment!r} is no moment: give a number, START, END, or one of them and a number")
    anchor = environment.end if moment.is_end else environment.start
    if moment.offset == 0:
        return anchor
    offset: Any = moment.offset
    if Fraction(offset).denominator == 1:
        offset = int(offset)
    return anchor + offset if offset > 0 else anchor - -offset


def to_interval(timing: Any, environment: Environment) -> Expression:
    """`timing`, a moment or a pair of moments, as an interval; a pair is closed on both sides."""
    if isinstance(timing, tuple):
        start, end = (_moment(moment, environment) for moment in timing)
        return combine(raw.zorvel_expr_make_closed_interval, start, end)
    return combine(raw.zorvel_expr_make_point_interval, _moment(timing, environment))


def _timed(interval: Expression, body: Any, environment: Environment) -> Expression:
    return combine(raw.zorvel_expr_make_temporal_expression, interval, to_expression(body, environment))


def at(moment: Moment, body: Any) -> Expression:
    """``[moment] body``: a condition that holds, or an effect that happens, at that moment."""
    environment = common_environment([body])
    return _timed(to_interval(moment, environment), body, environment)


def at_start(body: Any) -> Expression:
    """``[start] body``."""
    return at(START, body)


def at_end(body: Any) -> Expression:
    """``[end] body``: in a problem, a goal."""
    return at(END, body)


def during(start: Moment, end: Moment, body: Any, *, open_start: bool = False, open_end: bool = False) -> Expression:
    """``[start, end] body``, or with an open side ``(start, end]``, ``[start, end)`` or ``(start, end)``."""
    environment = common_environment([body])
    make = {(False, False): raw.zorvel_expr_make_closed_interval, (True, True): raw.zorvel_expr_make_open_interval,
            (True, False): raw.zorvel_expr_make_left_open_interval,
            (False, True): raw.zorvel_expr_make_right_open_interval}[open_start, open_end]
    return _timed(combine(make, _moment(start, environment), _moment(end, environment)), body, environment)


def overall(body: Any) -> Expression:
    """``[all] body``: from the start to the end, both included."""
    return during(START, END, body)


def assign(fluent: Operand, value: Any) -> Expression:
    """``fluent := value``, the body of an effect."""
    return combine(raw.zorvel_expr_make_assign, fluent, value)
