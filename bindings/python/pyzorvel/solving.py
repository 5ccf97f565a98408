"""One plan: ``solve``; and whether a plan is valid: ``validate``."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from typing import Any, NoReturn

import _pyzorvel as raw

from .callbacks import State, heuristic_callback
from .errors import Incomplete, LimitReached, NoPlan
from .plans import Plan
from .problem import Problem


@dataclass(frozen=True)
class Progress:
    """How far a search has come."""

    expanded: int  #: States.
    open: int  #: Moves or states that are still to be looked at.
    stored_bytes: int  #: Of states.
    best_estimate: float  #: The least estimate met so far; -1 without one.
    seconds: float  #: Since the search began.


def solve(problem: Problem, algorithm: str = "auto", time_limit: float | None = None,
          memory_limit: float | None = None, heuristic: Callable[[State], float] | None = None,
          on_progress: Callable[[Progress], Any] | None = None) -> Plan:
    """A plan for the problem, with the options of its environment.

    ``algorithm`` is one of the planners of the program: "auto", "ftp", "tsimple", "iw". ``time_limit`` is in
    seconds of search, ``memory_limit`` in MiB of its states. ``heuristic`` is called with each state and gives an
    estimate of the moves to the goal, exactly -1 where it is out of reach; "iw" takes none. ``on_progress`` is
    called some times a second. What either of them raises ends the search and comes out of ``solve``, and so does
    Ctrl-C, as ``KeyboardInterrupt``.

    Raises ``NoPlan`` where there provably is no plan ("auto": none in which no action overlaps itself; "tsimple":
    none of atomic actions), ``LimitReached``, ``Incomplete`` where states were left out, or another ``ZorvelError``
    for a problem that the planner refuses.
    """
    called = None if heuristic is None else heuristic_callback(heuristic, problem.environment)
    told = None if on_progress is None else lambda *numbers: on_progress(Progress(*numbers))
    handle, outcome = raw.py_zorvel_do_planning_with_limits(problem._raw, algorithm, _limit("time", time_limit),
                                                            _limit("memory", memory_limit), called, told)
    problem.environment.pass_warnings()
    if raw.zorvel_ttplan_is_error(handle):
        raise_outcome(outcome)
    return Plan(handle, problem)


def _limit(what: str, value: float | None) -> float:
    """0, which is no limit, for None."""
    if value is None:
        return 0.0
    if not value > 0:
        raise ValueError(f"The {what} limit must be greater than 0, not {value!r}")
    return float(value)


def raise_outcome(outcome: int) -> NoReturn:
    """Raises what it means that a search has ended so, without a plan."""
    if outcome == raw.ZORVEL_NO_PLAN:
        raise NoPlan("There is no plan")
    if outcome == raw.ZORVEL_TIME_LIMIT:
        raise LimitReached("The time limit was reached before a plan was found", "time")
    if outcome == raw.ZORVEL_MEMORY_LIMIT:
        raise LimitReached("The memory limit was reached before a plan was found", "memory")
    if outcome == raw.ZORVEL_INTERRUPTED:
        raise KeyboardInterrupt
    raise Incomplete("The search has ended without a plan, but some states were left out")


@dataclass(frozen=True)
class Verdict:
    """What a validator says; true for a valid plan."""

    is_valid: bool
    reason: str  #: What fails first; empty for a valid plan.

    def __bool__(self) -> bool:
        return self.is_valid


def validate(problem: Problem, plan: Plan | str) -> Verdict:
    """Runs the plan, or the text of one, against the problem."""
    from .parsing import parse_plan_text

    if isinstance(plan, str):
        plan = parse_plan_text(problem, plan)
    elif plan.environment is not problem.environment:
        plan = parse_plan_text(problem, str(plan))
    is_valid, reason = raw.zorvel_ttplan_explain(problem._raw, plan._raw)
    problem.environment.pass_warnings()
    return Verdict(is_valid == 1, reason)
