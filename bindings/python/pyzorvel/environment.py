"""The environment of problems: their options, and every expression made for them."""

from __future__ import annotations

import difflib
import functools
import warnings
from collections.abc import Iterable
from fractions import Fraction
from typing import Any

import _pyzorvel as raw

from .errors import InvalidParameterError, ZorvelWarning


@functools.cache
def option_kinds() -> dict[str, int]:
    """The kind of each option by its key, as the library lists them."""
    return {raw.zorvel_option_get_key(i): raw.zorvel_option_get_kind(i) for i in range(raw.zorvel_option_get_num())}


class Environment:
    """Options and expressions that problems share. Problems of two environments must not be mixed.

    What was read or built in an environment stays in memory as long as the environment, or anything of it, is used.

    Options are keyword arguments, with underscores for the dashes of the command line's names::

        Environment(ftp_heuristic=["hadd", "hff"], weight=0.8, plan_epsilon="1/1000")
    """

    __slots__ = ("_raw", "_warned", "_kept", "__weakref__")

    def __init__(self, **options: Any) -> None:
        self._raw = raw.zorvel_env_new()
        self._warned = 0
        # Expressions refer to fluents, parameters and objects and do not keep them: that is done here.
        self._kept: list[Any] = []
        self.set_options(**options)

    def set_options(self, **options: Any) -> None:
        """Changes options; they count from the next call on.

        An unknown name is an ``InvalidParameterError`` that gives the nearest known one, a value of the wrong
        type a ``TypeError``; no option has changed then.
        """
        calls = [_option_call(name, value) for name, value in options.items()]
        for setter, *arguments in calls:
            setter(self._raw, *arguments)

    @property
    def start(self) -> Any:
        """The start of an action, or of the plan in a statement of the problem."""
        return self._expression(raw.zorvel_expr_make_start_anchor(self._raw))

    @property
    def end(self) -> Any:
        """The end of an action, or of the plan in a statement of the problem."""
        return self._expression(raw.zorvel_expr_make_end_anchor(self._raw))

    @property
    def duration(self) -> Any:
        """The duration of an action."""
        return self._expression(raw.zorvel_expr_make_duration_anchor(self._raw))

    def keep(self, handle: Any) -> None:
        """Keeps a handle of the raw module as long as this environment."""
        self._kept.append(handle)

    def _expression(self, handle: Any) -> Any:
        from .expressions import Expression

        return Expression(handle, self)

    def pass_warnings(self, stacklevel: int = 3) -> None:
        """Hands what the library has warned of since the last time to ``warnings``."""
        first, self._warned = self._warned, raw.zorvel_env_get_warnings_num(self._raw)
        for i in range(first, self._warned):
            warnings.warn(raw.zorvel_env_get_warning(self._raw, i), ZorvelWarning, stacklevel)

    def __repr__(self) -> str:
        return f"<Environment at {id(self):#x}>"

    def __reduce__(self) -> Any:
        raise TypeError("An environment cannot be copied or sent to another process")


@functools.cache
def default_environment() -> Environment:
    """What objects belong to that were made without an environment, and of nothing that has one."""
    return Environment()


def common_environment(things: Iterable[Any], environment: Environment | None = None) -> Environment:
    """The environment of all these objects; ``environment`` or the default one where none has any.

    ``ValueError`` where they come from several.
    """
    for thing in things:
        other = getattr(thing, "environment", None)
        if environment is None:
            environment = other
        elif other is not None and other is not environment:
            raise ValueError(f"{thing!r} belongs to another environment")
    return environment or default_environment()


def _option_call(name: str, value: Any) -> tuple[Any, ...]:
    """The function that sets the option, and its arguments behind the environment."""
    key = name.replace("_", "-")
    kind = option_kinds().get(key)
    if kind is None:
        near = difflib.get_close_matches(key, option_kinds(), n=1, cutoff=0.5)
        hint = f"; did you mean '{near[0].replace('-', '_')}'?" if near else ""
        raise InvalidParameterError(f"InvalidParameterError: There is no option '{name}'{hint}")
    if kind == raw.ZORVEL_BOOLEAN_OPTION and isinstance(value, bool):
        return raw.zorvel_env_set_boolean_option, key, int(value)
    if kind == raw.ZORVEL_INTEGER_OPTION and isinstance(value, int) and not isinstance(value, bool):
        return raw.zorvel_env_set_integer_option, key, value
    if kind == raw.ZORVEL_FLOAT_OPTION and isinstance(value, (int, float, Fraction)) and not isinstance(value, bool):
        return raw.zorvel_env_set_float_option, key, float(value)
    if kind == raw.ZORVEL_STRING_OPTION and isinstance(value, (str, int, Fraction)) and not isinstance(value, bool):
        return raw.zorvel_env_set_string_option, key, str(value)
    if kind == raw.ZORVEL_VECTOR_STRING_OPTION and not isinstance(value, str):
        texts = list(value)
        if all(isinstance(text, str) for text in texts):
            return raw._zorvel_env_set_vector_string_option, key, texts, len(texts)
    wanted = ("a bool", "an int", "a number", "a str", "a list of str")[kind]
    raise TypeError(f"The option '{name}' must be {wanted}, not {value!r}")
