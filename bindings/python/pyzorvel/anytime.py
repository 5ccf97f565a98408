"""Better and better plans."""

from __future__ import annotations

import time
from collections.abc import Callable, Iterator
from typing import Any

import _pyzorvel as raw

from .callbacks import State, heuristic_callback
from .plans import Plan
from .problem import Problem
from .solving import Progress, _limit, raise_outcome

#: Seconds between two looks at Ctrl-C and at the function for progress.
_SLICE = 0.1


class Solutions(Iterator[Plan]):
    """What ``solutions`` gives: an iterator over plans, each of less makespan than all before.

    ``bound``, ``is_optimal`` and ``progress`` tell of the search at any time. ``close`` ends it, and so does the
    end of a ``with`` block or of the object.
    """

    def __init__(self, problem: Problem, time_limit: float | None, memory_limit: float | None,
                 heuristic: Callable[[State], float] | None, on_progress: Callable[[Progress], Any] | None) -> None:
        self.problem = problem
        self.is_optimal = False  #: Whether the last plan is proved to be one of least makespan.
        self._deadline = time.monotonic() + _limit("time", time_limit) if time_limit is not None else None
        self._on_progress = on_progress
        self._has_plan = False
        names = [] if memory_limit is None else ["memory-limit"]
        values = [str(_limit("memory", memory_limit))][:len(names)]
        # The search does not keep the function alive.
        self._function = None if heuristic is None else heuristic_callback(heuristic, problem.environment)
        if self._function is None:
            self._search = raw.zorvel_search_new(problem._raw, names, values, len(names))
        else:
            self._search = raw.py_zorvel_search_new_with_custom_heuristic(problem._raw, self._function, names, values,
                                                                          len(names))
        problem.environment.pass_warnings(4)

    def __next__(self) -> Plan:
        while self._search is not None:
            left = _SLICE if self._deadline is None else min(_SLICE, self._deadline - time.monotonic())
            if left <= 0:
                self._end(raw.ZORVEL_TIME_LIMIT)
            # Python sees to its signals between two slices; the next one goes on where this one has stopped.
            handle, outcome = raw.zorvel_search_next(self._search, left)
            self.problem.environment.pass_warnings()
            if not raw.zorvel_ttplan_is_error(handle):
                self._has_plan = True
                return Plan(handle, self.problem)
            if self._on_progress is not None:
                self._on_progress(self.progress)
            if outcome != raw.ZORVEL_TIME_LIMIT:
                self._end(outcome)
        raise StopIteration

    def _end(self, outcome: int) -> None:
        """Nothing more comes. It is an error only where nothing has come."""
        self._bound, self._last_progress = self.bound, self.progress
        self.close()
        self.is_optimal = self._has_plan and outcome == raw.ZORVEL_NO_PLAN
        if not self._has_plan:
            raise_outcome(outcome)
        raise StopIteration

    @property
    def bound(self) -> float:
        """No plan in which no action overlaps itself has a makespan below this; 0 before the first plan."""
        return self._bound if self._search is None else raw.zorvel_search_get_bound(self._search)

    @property
    def progress(self) -> Progress:
        """How far the search had come when it last looked at its limits."""
        if self._search is None:
            return self._last_progress
        _, told = raw.zorvel_search_get_progress(self._search)
        return Progress(told.expanded, told.open, told.stored_bytes, told.best_estimate, told.seconds)

    def close(self) -> None:
        """Ends the search; nothing for one that has ended."""
        if self._search is not None:
            self._bound, self._last_progress = self.bound, self.progress
            self._search = None

    def __enter__(self) -> Solutions:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()


def solutions(problem: Problem, time_limit: float | None = None, memory_limit: float | None = None,
              heuristic: Callable[[State], float] | None = None,
              on_progress: Callable[[Progress], Any] | None = None) -> Solutions:
    """An iterator over better and better plans, by the guided search.

    It ends where the last plan is proved to be the shortest (``is_optimal``) and where a limit is reached; without a
    plan it raises what ``solve`` raises. Leaving the loop ends the search. The time limit is one of the clock, also
    for what the loop does meanwhile. ``heuristic`` and ``on_progress`` are as in ``solve``.
    """
    return Solutions(problem, time_limit, memory_limit, heuristic, on_progress)
