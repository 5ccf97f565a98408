"""Types, objects, fluents, constants and actions."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping, Sequence
from dataclasses import dataclass
from fractions import Fraction
from typing import Any, Union

import _pyzorvel as raw

from .callbacks import effect_callback
from .environment import Environment, common_environment
from .expressions import Expression, ModelOperand, Operand, combine, to_expression
from .handles import Handle, elements, handles, wrapped


@dataclass(frozen=True)
class Integer:
    """Integers from ``lower`` to ``upper``, each of which may be None: no bound."""

    lower: int | None = None
    upper: int | None = None


@dataclass(frozen=True)
class Rational:
    """Rational numbers likewise. A bound is exact where it is a binary fraction of 24 bits, as 0.5 is."""

    lower: float | None = None
    upper: float | None = None


#: What a type may be given as: ``bool``, ``int`` and ``Fraction`` stand for the types without bounds.
TypeLike = Union["Type", Integer, Rational, type]


class Type(Handle):
    """A type of values; ``name`` is its text in ANML."""

    __slots__ = ()
    _kind = "type"

    @property
    def name(self) -> str:
        return raw.zorvel_type_get_name(self._raw)

    @property
    def is_user_type(self) -> bool:
        """Whether its values are objects."""
        return raw.zorvel_type_is_user(self._raw) == 1

    def __repr__(self) -> str:
        return f"<Type {self.name}>"


class UserType(Type):
    """A type of objects. The objects of a type are also those of its ``parents``."""

    __slots__ = ()

    def __init__(self, name: str, parents: Iterable[Type] = (), environment: Environment | None = None) -> None:
        parents = list(parents)
        environment = common_environment(parents, environment)
        super().__init__(raw.zorvel_user_type_new(environment._raw, name), environment)
        for parent in parents:
            raw.zorvel_user_type_add_base_type(self._raw, parent._raw)


def to_type(given: TypeLike, environment: Environment) -> Type:
    """The type that `given` stands for."""
    env = environment._raw
    if isinstance(given, Type):
        common_environment([given], environment)
        return given
    if given is bool:
        return wrapped(Type, raw.zorvel_boolean_type(env), environment)
    if given is int:
        given = Integer()
    if given is Fraction:
        given = Rational()
    if not isinstance(given, (Integer, Rational)):
        raise TypeError(f"{given!r} is no type: give a Type, bool, int, Fraction, Integer(...) or Rational(...)")
    bounds = [bound for bound in (given.lower, given.upper) if bound is not None]
    suffix = {(False, False): "", (True, False): "_lb", (False, True): "_ub", (True, True): "_lub"}
    name = "integer" if isinstance(given, Integer) else "rational"
    make = getattr(raw, f"zorvel_{name}_type" + suffix[given.lower is not None, given.upper is not None])
    return wrapped(Type, make(env, *bounds), environment)


class Object(ModelOperand):
    """An object of a user type. ``place == kitchen`` compares two objects; ``at(robot) == kitchen`` is an
    expression."""

    __slots__ = ()
    _kind = "instance"

    def __init__(self, name: str, type: Type) -> None:  # noqa: A002
        super().__init__(raw.zorvel_instance_new(type.environment._raw, name, type._raw), type.environment)

    @property
    def name(self) -> str:
        return raw.zorvel_instance_get_name(self._raw)

    @property
    def type(self) -> Type:
        return wrapped(Type, raw.zorvel_instance_get_type(self._raw), self.environment)

    def as_expression(self) -> Expression:
        env = self.environment
        return Expression(raw.zorvel_expr_make_instance_reference(env._raw, self._raw), env)

    def __str__(self) -> str:
        return self.name

    def __repr__(self) -> str:
        return f"<Object {self.name}>"


class Parameter(ModelOperand):
    """A parameter of an action, a fluent or a constant, to be used in the statements of its action."""

    __slots__ = ()
    _kind = "param"

    def __init__(self, name: str, type: TypeLike, environment: Environment | None = None) -> None:  # noqa: A002
        environment = common_environment([type], environment)
        super().__init__(raw.zorvel_parameter_new(name, to_type(type, environment)._raw), environment)

    @property
    def name(self) -> str:
        return raw.zorvel_param_get_name(self._raw)

    @property
    def type(self) -> Type:
        return wrapped(Type, raw.zorvel_param_get_type(self._raw), self.environment)

    def as_expression(self) -> Expression:
        env = self.environment
        return Expression(raw.zorvel_expr_make_parameter_reference(env._raw, self._raw), env)

    def __repr__(self) -> str:
        return f"<Parameter {self.type.name} {self.name}>"


#: Parameters as objects, or as their types by name.
Parameters = Union[Sequence[Parameter], Mapping[str, TypeLike]]


def to_parameters(given: Parameters, environment: Environment) -> list[Parameter]:
    """The parameters that `given` stands for."""
    if isinstance(given, Mapping):
        return [Parameter(name, type_, environment) for name, type_ in given.items()]
    return list(given)


class _Function(ModelOperand):
    """What has a value for each tuple of arguments. Without parameters it is an operand itself."""

    __slots__ = ()

    @property
    def name(self) -> str:
        return self._get("name")

    @property
    def type(self) -> Type:
        return wrapped(Type, self._get("type"), self.environment)

    @property
    def parameters(self) -> tuple[Parameter, ...]:
        iterator = getattr(raw, f"_zorvel_{self._kind}_get_parameters")(self._raw)
        return tuple(wrapped(Parameter, handle, self.environment) for handle in elements(iterator, "param"))

    @property
    def arity(self) -> int:
        """Number of parameters."""
        return self._get("arity")

    def __call__(self, *arguments: Any) -> Expression:
        env = self.environment
        words = [to_expression(argument, env) for argument in arguments]
        if len(words) != self.arity:
            raise TypeError(f"{self.name} takes {self.arity} arguments, not {len(words)}")
        return Expression(self._reference(env._raw, self._raw, *handles(words)), env)

    def as_expression(self) -> Expression:
        if self.arity:
            raise TypeError(f"{self.name} has parameters: give it arguments, {self.name}(...)")
        return self()

    def _get(self, what: str) -> Any:
        return getattr(raw, f"zorvel_{self._kind}_get_{what}")(self._raw)

    def __str__(self) -> str:
        return self._get("anml")

    def __repr__(self) -> str:
        return f"<{type(self).__name__} {self}>"


class Fluent(_Function):
    """What changes over time. ``at(robot)`` is the value of ``at`` for that argument."""

    __slots__ = ()
    _kind = "fluent"
    _reference = staticmethod(raw._zorvel_expr_make_fluent_reference)

    def __init__(self, name: str, type: TypeLike = bool, parameters: Parameters = (),  # noqa: A002
                 environment: Environment | None = None) -> None:
        given = parameters.values() if isinstance(parameters, Mapping) else parameters
        environment = common_environment([type, *given], environment)
        made = to_parameters(parameters, environment)
        super().__init__(raw._zorvel_fluent_new(environment._raw, name, to_type(type, environment)._raw, [], 0,
                                                *handles(made)), environment)


class Constant(_Function):
    """What never changes. ``values`` are pairs of arguments and value; ``default`` holds for all others."""

    __slots__ = ()
    _kind = "constant"
    _reference = staticmethod(raw.zorvel_expr_make_constant_reference)

    def __init__(self, name: str, type: TypeLike, parameters: Parameters = (),  # noqa: A002
                 values: Iterable[tuple[Sequence[Any], Any]] = (), default: Any = None,
                 environment: Environment | None = None) -> None:
        given = parameters.values() if isinstance(parameters, Mapping) else parameters
        environment = common_environment([type, *given], environment)
        table = raw.zorvel_function_value_new()
        if default is not None:
            raw.zorvel_function_value_set_default_value(table, to_expression(default, environment)._raw)
        for arguments, value in values:
            words = [to_expression(argument, environment) for argument in arguments]
            raw._zorvel_function_value_add_assignment(table, *handles(words), to_expression(value, environment)._raw)
        super().__init__(raw._zorvel_constant_new(environment._raw, name, to_type(type, environment)._raw, [], 0,
                                                  *handles(to_parameters(parameters, environment)), table),
                         environment)


class SimulatedEffect(Handle):
    """An effect whose values a Python function computes.

    ``function(state, arguments)`` gets the ``State`` before the effect and the action's arguments, and returns one
    value for each of ``fluents``, in their order. It must depend on these alone. It lives as long as the process.
    """

    __slots__ = ()
    _kind = "simulated_effect"

    def __init__(self, timing: Any, fluents: Sequence[Operand], function: Callable[[Any, tuple[Any, ...]], Any]) -> None:
        from .statements import to_interval

        environment = common_environment(fluents)
        targets = [fluent.as_expression() for fluent in fluents]
        made = raw.py_zorvel_simulated_effect_new(to_interval(timing, environment)._raw, *handles(targets),
                                                  effect_callback(function, len(targets), environment))
        super().__init__(made, environment)


class Action(Handle):
    """An action: parameters, duration, and statements made with ``at_start``, ``during`` and their kin.

    ``duration`` is a number or an expression, a pair for what the planner chooses from, or None where it is
    not bound. ``uncertain_duration`` is a pair for what the world chooses from.
    """

    __slots__ = ()
    _kind = "action"

    def __init__(self, name: str, parameters: Sequence[Parameter] = (), statements: Iterable[Expression] = (), *,
                 duration: Any = None, uncertain_duration: tuple[Any, Any] | None = None,
                 effects: Iterable[SimulatedEffect] = (), environment: Environment | None = None) -> None:
        parameters, statements, effects = list(parameters), list(statements), list(effects)
        for statement in statements:
            if not isinstance(statement, Expression):
                raise TypeError(f"{statement!r} is no statement of an action; at_start, at_end, overall, at and during "
                                "make them")
        environment = common_environment([*parameters, *statements, *effects], environment)
        statements = [*_duration_statements(environment, duration, uncertain_duration), *statements]
        super().__init__(raw._zorvel_action_new(environment._raw, name, [], 0, *handles(parameters),
                                                *handles(statements), *handles(effects)), environment)

    @property
    def name(self) -> str:
        return raw.zorvel_action_get_name(self._raw)

    @property
    def parameters(self) -> tuple[Parameter, ...]:
        iterator = raw._zorvel_action_get_parameters(self._raw)
        return tuple(wrapped(Parameter, handle, self.environment) for handle in elements(iterator, "param"))

    @property
    def statements(self) -> tuple[Expression, ...]:
        """Duration, conditions and effects."""
        iterator = raw._zorvel_action_get_expressions(self._raw)
        return tuple(Expression(handle, self.environment) for handle in elements(iterator, "expr"))

    @property
    def is_temporally_uncertain(self) -> bool:
        """Whether the world chooses the duration."""
        return raw.zorvel_action_is_temporally_uncertain(self._raw) == 1

    def __str__(self) -> str:
        return self.name

    def __repr__(self) -> str:
        return f"<Action {self.name}({', '.join(f'{p.type.name} {p.name}' for p in self.parameters)})>"


def _duration_statements(environment: Environment, duration: Any, uncertain: tuple[Any, Any] | None) -> list[Expression]:
    anchor = environment.duration
    if uncertain is not None:
        if duration is not None:
            raise TypeError("An action has a duration or an uncertain duration, not both")
        interval = combine(raw.zorvel_expr_make_closed_interval, *(to_expression(x, environment) for x in uncertain))
        return [combine(raw.zorvel_expr_make_in_assign, anchor, interval)]
    if duration is None:
        return []
    if isinstance(duration, tuple):
        lower, upper = duration
        return [anchor >= lower, anchor <= upper]
    return [combine(raw.zorvel_expr_make_assign, anchor, to_expression(duration, environment))]
