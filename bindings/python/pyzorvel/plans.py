"""Plans and their steps."""

from __future__ import annotations

import functools
import json
from collections.abc import Sequence
from dataclasses import dataclass
from fractions import Fraction
from typing import Any, Iterator, Union, overload

import _pyzorvel as raw

from .environment import Environment
from .expressions import Expression
from .handles import elements, wrapped
from .model import Action, Object
from .problem import Problem


@dataclass(frozen=True)
class Step:
    """An action of a plan with its arguments and its exact times."""

    start: Fraction
    duration: Fraction
    action: Action
    arguments: tuple[Any, ...]  #: Objects, numbers and truth values.
    object: Object | None = None  #: Whose action it is, where a type has it.

    @property
    def end(self) -> Fraction:
        return self.start + self.duration

    def __str__(self) -> str:
        owner = f"{self.object}." if self.object else ""
        return f"{self.start}: {owner}{self.action.name}({', '.join(map(_text, self.arguments))}) [{self.duration}]"


class Plan(Sequence[Step]):
    """The steps of a plan by start time. In a notebook it shows as a Gantt chart."""

    def __init__(self, handle: Any, problem: Problem) -> None:
        self._raw = handle
        self.problem = problem

    @property
    def environment(self) -> Environment:
        return self.problem.environment

    @functools.cached_property
    def _steps(self) -> tuple[Step, ...]:
        return tuple(_step(handle, self.environment)
                     for handle in elements(raw._zorvel_ttplan_get_steps(self._raw), "ttplan_step"))

    @overload
    def __getitem__(self, index: int) -> Step: ...
    @overload
    def __getitem__(self, index: slice) -> tuple[Step, ...]: ...
    def __getitem__(self, index: Union[int, slice]) -> Any:
        return self._steps[index]

    def __len__(self) -> int:
        return len(self._steps)

    def __iter__(self) -> Iterator[Step]:
        return iter(self._steps)

    def __eq__(self, other: object) -> Any:
        """Plans are equal whose texts are."""
        return str(self) == str(other) if isinstance(other, Plan) else NotImplemented

    def __hash__(self) -> int:
        return hash(str(self))

    @property
    def makespan(self) -> Fraction:
        """The latest end of a step; 0 without steps."""
        return max((step.end for step in self), default=Fraction(0))

    def __str__(self) -> str:
        """A line for each step with exact times: what ``parse_plan_text`` reads."""
        return raw.zorvel_ttplan_get_exact_string(self._raw)

    def __repr__(self) -> str:
        return f"<Plan of {len(self)} steps, makespan {self.makespan}>"

    def to_json(self) -> str:
        """Makespan, metric and steps, with the names of the problem's text, in the form of ``zorvel solve``."""
        return raw.zorvel_ttplan_get_json(self.problem._raw, self._raw)

    def to_dict(self) -> dict[str, Any]:
        """What ``to_json`` writes, as dicts, lists and texts."""
        return json.loads(self.to_json())

    def to_pddl_plan(self) -> str:
        """The lines of a plan in the form of PDDL's tools, behind a comment with the makespan."""
        text = raw.zorvel_ttplan_get_pddl(self.problem._raw, self._raw)
        self.environment.pass_warnings()
        return text

    def to_svg(self, rows: str = "actions") -> str:
        """A picture: a row for each action or, with ``rows="objects"``, for each object, and values below."""
        return raw.zorvel_ttplan_get_svg(self.problem._raw, self._raw, rows)

    def _repr_html_(self) -> str:
        return self.to_svg()

    def __reduce__(self) -> Any:
        from .parsing import parse_plan_text

        return parse_plan_text, (self.problem, str(self))


def _step(handle: Any, environment: Environment) -> Step:
    owner = raw.zorvel_ttplan_step_get_instance(handle)
    arguments = (Expression(raw.zorvel_ttplan_step_get_parameter(handle, i), environment)
                 for i in range(raw.zorvel_ttplan_step_get_num_parameters(handle)))
    return Step(Fraction(raw.zorvel_ttplan_step_get_start_time(handle)),
                Fraction(raw.zorvel_ttplan_step_get_duration(handle)),
                wrapped(Action, raw.zorvel_ttplan_step_get_action(handle), environment),
                tuple(argument.value if argument.is_constant else argument for argument in arguments),
                None if raw.zorvel_instance_is_error(owner) else wrapped(Object, owner, environment))


def _text(value: Any) -> str:
    return str(value).lower() if isinstance(value, bool) else str(value)
