"""Planning problems."""

from __future__ import annotations

import json
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any

import _pyzorvel as raw

from .environment import Environment, common_environment
from .expressions import Expression
from .handles import Handle, elements, handles, wrapped
from .model import Action, Constant, Fluent, Object, Type


class Problem(Handle):
    """A planning problem. Read one with ``parse_anml`` or ``parse_pddl``, or build it of its parts.

    ``statements`` are initial values (``at_start(assign(p(), False))``), timed effects and goals
    (``at_end(p())``). ``types`` need not name those of objects, fluents and parameters.
    """

    __slots__ = ("source",)
    _kind = "problem"

    def __init__(self, *, fluents: Iterable[Fluent] = (), actions: Iterable[Action] = (),
                 objects: Iterable[Object] = (), constants: Iterable[Constant] = (), types: Iterable[Type] = (),
                 statements: Iterable[Expression] = (), environment: Environment | None = None) -> None:
        fluents, actions, objects = list(fluents), list(actions), list(objects)
        constants, types, statements = list(constants), list(types), list(statements)
        environment = common_environment([*fluents, *actions, *objects, *constants, *types, *statements], environment)
        types += [thing.type for thing in (*objects, *fluents, *constants)]
        types += [parameter.type for thing in (*fluents, *constants, *actions) for parameter in thing.parameters]
        user_types = list(dict.fromkeys(type_ for type_ in types if type_.is_user_type))
        super().__init__(raw._zorvel_problem_new(environment._raw, *handles(actions), *handles(fluents),
                                                 *handles(constants), *handles(objects), *handles(user_types),
                                                 *handles(statements)), environment)
        #: The texts that the problem was read from, as arguments of ``read_source``; None for one that was built.
        self.source: tuple[str, ...] | None = None
        environment.keep(self._raw)
        environment.pass_warnings()

    def _parts(self, what: str, kind: str, cls: type[Any]) -> tuple[Any, ...]:
        iterator = getattr(raw, f"_zorvel_problem_get_{what}")(self._raw)
        return tuple(wrapped(cls, handle, self.environment) for handle in elements(iterator, kind))

    @property
    def fluents(self) -> tuple[Fluent, ...]:
        """The fluents, by name."""
        return self._parts("fluents", "fluent", Fluent)

    @property
    def actions(self) -> tuple[Action, ...]:
        """The actions, by name."""
        return self._parts("actions", "action", Action)

    @property
    def constants(self) -> tuple[Constant, ...]:
        """The constants, by name."""
        return self._parts("constants", "constant", Constant)

    @property
    def instances(self) -> tuple[Object, ...]:
        """The objects, by name."""
        return self._parts("instances", "instance", Object)

    @property
    def expressions(self) -> tuple[Expression, ...]:
        """Initial values, timed effects and goals, in the order in which they were first made."""
        iterator = raw._zorvel_problem_get_expressions(self._raw)
        return tuple(Expression(handle, self.environment) for handle in elements(iterator, "expr"))

    def instances_of(self, type_: Type) -> tuple[Object, ...]:
        """The objects of a user type and of those derived from it."""
        iterator = raw._zorvel_problem_get_user_type_instances(self._raw, type_._raw)
        return tuple(wrapped(Object, handle, self.environment) for handle in elements(iterator, "instance"))

    @property
    def has_temporal_uncertainty(self) -> bool:
        """Whether an action has a duration that is not the planner's choice."""
        return raw.zorvel_problem_has_temporal_uncertainty(self._raw) == 1

    @property
    def has_mutual_exclusion(self) -> bool:
        """Whether conditions and effects of two actions on one fluent have to be apart in time, as in PDDL."""
        return raw.zorvel_problem_has_mutual_exclusion(self._raw) == 1

    def without_metrics(self) -> Problem:
        """The same problem without its metrics, which ``ftp``, ``tsimple`` and ``iw`` refuse."""
        return wrapped_problem(raw.zorvel_problem_without_metrics(self._raw), self.environment)

    def explain(self) -> Report:
        """What stands out, without planning: goals out of reach, actions that no plan has, and the like."""
        answer = json.loads(raw.zorvel_problem_check(self._raw))
        self.environment.pass_warnings()
        return Report(answer["unsolvable"], tuple(Finding(**finding) for finding in answer["findings"]))

    def __str__(self) -> str:
        return raw.zorvel_problem_get_anml(self._raw)

    def __repr__(self) -> str:
        return (f"<Problem of {len(self.fluents)} fluents, {len(self.actions)} actions and "
                f"{len(self.instances)} objects>")

    def __reduce__(self) -> Any:
        from .parsing import read_source

        if self.source is None:
            raise TypeError("A problem that was built in Python cannot be copied or sent to another process: it has "
                            "no text")
        return read_source, self.source


def wrapped_problem(handle: Any, environment: Environment, source: tuple[str, ...] | None = None) -> Problem:
    """A problem for a handle of the library."""
    problem = wrapped(Problem, handle, environment)
    problem.source = source
    environment.keep(handle)
    environment.pass_warnings(4)
    return problem


@dataclass(frozen=True)
class Finding:
    """Something that stands out; ``kind`` is goal, action, condition, value, object or warning."""

    kind: str
    text: str
    file: str | None
    line: int  #: From 1; 0 where it is not known, like the column.
    column: int

    def __str__(self) -> str:
        place = ":".join(str(part) for part in (self.file, self.line, self.column) if part)
        return f"{place}: {self.text}" if place else self.text


@dataclass(frozen=True)
class Report:
    """What stands out in a problem; ``unsolvable`` if a goal is out of reach of every plan."""

    unsolvable: bool
    findings: tuple[Finding, ...]

    def __str__(self) -> str:
        return "\n".join(map(str, self.findings))
