"""Python functions as the library calls them."""

from __future__ import annotations

import weakref
from collections.abc import Callable
from typing import Any

import _pyzorvel as raw

from .environment import Environment
from .expressions import Expression, to_expression


class State:
    """The values of all fluents at one moment, while a heuristic or a simulated effect is called.

    ``state[at(robot)]`` is a value. Kept beyond the call, it raises a ``ZorvelError``.
    """

    __slots__ = ("_state", "_interpretation", "environment")

    def __init__(self, state: Any, interpretation: Any, environment: Environment) -> None:
        self._state, self._interpretation, self.environment = state, interpretation, environment

    def __getitem__(self, fluent: Any) -> Any:
        word = to_expression(fluent, self.environment)._raw
        value = raw.zorvel_state_get_value(self._state, self._interpretation, word)
        return Expression(value, self.environment).value


def heuristic_callback(function: Callable[[State], float], environment: Environment) -> Callable[[Any, Any], Any]:
    """The function in the form of the raw module."""
    if not callable(function):
        raise TypeError(f"A heuristic is a function of a State, not {function!r}; names of heuristics are options of "
                        "the environment: Environment(ftp_heuristic=[...])")

    def call(state: Any, interpretation: Any) -> Any:
        return function(State(state, interpretation, environment))

    return call


def effect_callback(function: Callable[[State, tuple[Any, ...]], Any], count: int,
                    environment: Environment) -> Callable[[Any, Any, Any, Any], None]:
    """The function of a simulated effect on `count` fluents in the form of the raw module."""
    # The module keeps the function as long as the process lives, and the environment shall not live so long.
    reference = weakref.ref(environment)

    def call(state: Any, interpretation: Any, parameters: Any, result: Any) -> None:
        environment = reference()
        assert environment is not None, "an effect runs in a problem, which holds its environment"
        arguments = tuple(Expression(raw.zorvel_vector_get_expr(parameters, i), environment).value
                          for i in range(raw.zorvel_vector_get_size(parameters)))
        values = list(function(State(state, interpretation, environment), arguments))
        if len(values) != count:
            raise ValueError(f"A simulated effect on {count} fluents gave {len(values)} values")
        for value in values:
            raw.zorvel_vector_add_expr(result, to_expression(value, environment)._raw)

    return call
