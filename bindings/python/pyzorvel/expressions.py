"""Expressions, made with Python's operators."""

from __future__ import annotations

from collections.abc import Callable
from decimal import Decimal
from fractions import Fraction
from typing import Any, Union

import _pyzorvel as raw

from .environment import Environment, common_environment
from .handles import Handle

#: What stands for a constant: a truth value or a number. A ``float`` is taken exactly; ``Decimal("0.1")`` is 1/10.
Number = Union[int, Fraction, Decimal, float]


def _binary(make: Callable[..., Any], swapped: bool = False) -> Callable[[Any, Any], Any]:
    def operator(self: Operand, other: Any) -> Any:
        if not is_operand(other):
            return NotImplemented
        left, right = (other, self) if swapped else (self, other)
        return combine(make, left, right)

    return operator


class Operand:
    """What operators make expressions of: fluents, constants, parameters and objects, and expressions themselves.

    ``+ - * /`` and ``< <= > >=`` are those of numbers, ``~ & |`` those of truth values; ``/`` of two integers has
    no remainder. ``==`` makes an expression of an ``Expression`` only.
    """

    __slots__ = ()
    environment: Environment

    def as_expression(self) -> Expression:
        """This as an expression."""
        raise NotImplementedError

    __add__ = _binary(raw.zorvel_expr_make_plus)
    __radd__ = _binary(raw.zorvel_expr_make_plus, swapped=True)
    __sub__ = _binary(raw.zorvel_expr_make_minus)
    __rsub__ = _binary(raw.zorvel_expr_make_minus, swapped=True)
    __mul__ = _binary(raw.zorvel_expr_make_times)
    __rmul__ = _binary(raw.zorvel_expr_make_times, swapped=True)
    __truediv__ = _binary(raw.zorvel_expr_make_div)
    __rtruediv__ = _binary(raw.zorvel_expr_make_div, swapped=True)
    __lt__ = _binary(raw.zorvel_expr_make_lt)
    __le__ = _binary(raw.zorvel_expr_make_le)
    __gt__ = _binary(raw.zorvel_expr_make_gt)
    __ge__ = _binary(raw.zorvel_expr_make_ge)
    __and__ = _binary(raw.zorvel_expr_make_and)
    __rand__ = _binary(raw.zorvel_expr_make_and, swapped=True)
    __or__ = _binary(raw.zorvel_expr_make_or)
    __ror__ = _binary(raw.zorvel_expr_make_or, swapped=True)

    def __invert__(self) -> Expression:
        return combine(raw.zorvel_expr_make_not, self)

    def __neg__(self) -> Expression:
        return combine(raw.zorvel_expr_make_minus, 0, self)

    def implies(self, other: Any) -> Expression:
        """``self`` implies ``other``."""
        return combine(raw.zorvel_expr_make_imply, self, other)

    def iff(self, other: Any) -> Expression:
        """``self`` and ``other`` have one truth value."""
        return combine(raw.zorvel_expr_make_iff, self, other)

    def equals(self, other: Any) -> Expression:
        """``self`` and ``other`` have one value: what ``==`` is for expressions."""
        return combine(raw.zorvel_expr_make_equals, self, other)


class ModelOperand(Handle, Operand):
    """A fluent, constant, parameter or object. ``==`` says whether two are the same."""

    __slots__ = ()

    def __init__(self, handle: Any, environment: Environment) -> None:
        super().__init__(handle, environment)
        environment.keep(handle)

    def __eq__(self, other: object) -> Any:
        if isinstance(other, (bool, int, float, Fraction, Decimal)):
            raise TypeError(f"{self!r} == {other!r} is always false; an expression of it is {self!r}.equals({other!r})")
        return Handle.__eq__(self, other)

    __hash__ = Handle.__hash__


class Expression(Operand):
    """An expression. ``==`` and ``!=`` make expressions; ``same_as`` compares."""

    __slots__ = ("_raw", "environment", "__weakref__")
    __hash__ = None  # type: ignore[assignment]

    def __init__(self, handle: Any, environment: Environment) -> None:
        self._raw = handle
        self.environment = environment

    def as_expression(self) -> Expression:
        return self

    def same_as(self, other: Expression) -> bool:
        """Whether both are the same expression."""
        return raw.zorvel_expr_equality(self._raw, other._raw) == 1

    def __eq__(self, other: object) -> Any:
        return self.equals(other) if is_operand(other) else NotImplemented

    def __ne__(self, other: object) -> Any:
        return ~self.equals(other) if is_operand(other) else NotImplemented

    def __bool__(self) -> bool:
        raise TypeError(f"The expression {self} has no truth value: use ~, & and | for 'not', 'and' and 'or', and "
                        "same_as to compare expressions")

    @property
    def children(self) -> tuple[Expression, ...]:
        """The operands."""
        return tuple(Expression(raw.zorvel_expr_get_child(self._raw, i), self.environment)
                     for i in range(raw.zorvel_expr_get_arity(self._raw)))

    @property
    def is_constant(self) -> bool:
        """Whether this is a truth value, a number or an object."""
        return any(test(self.environment._raw, self._raw) == 1 for test in _CONSTANT_TESTS)

    @property
    def value(self) -> Any:
        """A constant as ``bool``, ``int``, ``Fraction`` or ``Object``; ``ValueError`` for anything else."""
        env, handle = self.environment._raw, self._raw
        if raw.zorvel_expr_is_boolean_constant(env, handle) == 1:
            return raw.zorvel_expr_get_boolean_constant(env, handle) == 1
        if raw.zorvel_expr_is_instance_reference(env, handle) == 1:
            from .model import Object
            from .handles import wrapped

            return wrapped(Object, raw.zorvel_expr_get_instance(env, handle), self.environment)
        # As text: numbers may be larger than what the readers of C can give.
        if raw.zorvel_expr_is_integer_constant(env, handle) == 1:
            return int(str(self).strip("()"))
        if raw.zorvel_expr_is_rational_constant(env, handle) == 1:
            return Fraction(str(self).strip("()").replace(" ", ""))
        raise ValueError(f"{self} is no constant")

    def __str__(self) -> str:
        return raw.zorvel_expr_get_anml(self._raw)

    def __repr__(self) -> str:
        return f"<Expression {self}>"

    def __reduce__(self) -> Any:
        raise TypeError(f"{self!r} cannot be copied or sent to another process")


_CONSTANT_TESTS = (raw.zorvel_expr_is_boolean_constant, raw.zorvel_expr_is_integer_constant,
                   raw.zorvel_expr_is_rational_constant, raw.zorvel_expr_is_instance_reference)


def is_operand(value: object) -> bool:
    """Whether `value` can stand in an expression."""
    return isinstance(value, (Operand, bool, int, Fraction, Decimal, float))


def to_expression(value: Any, environment: Environment) -> Expression:
    """`value` as an expression of the environment; ``TypeError`` for what cannot be one."""
    if isinstance(value, Operand):
        common_environment([value], environment)
        return value.as_expression()
    env = environment._raw
    if isinstance(value, bool):
        made = raw.zorvel_expr_make_true(env) if value else raw.zorvel_expr_make_false(env)
    elif isinstance(value, float):
        made = raw.zorvel_expr_make_rational_constant_from_float(env, value)
    elif isinstance(value, int):
        made = _number(raw.zorvel_expr_make_integer_constant, env, value)
    elif isinstance(value, (Fraction, Decimal)):
        made = _number(raw.zorvel_expr_make_rational_constant, env, *Fraction(value).as_integer_ratio())
    else:
        raise TypeError(f"{value!r} cannot stand in an expression")
    return Expression(made, environment)


def combine(make: Callable[..., Any], *operands: Any) -> Expression:
    """The expression that a maker of the raw module gives for these operands."""
    environment = common_environment(operands)
    words = [to_expression(operand, environment)._raw for operand in operands]
    return Expression(make(environment._raw, *words), environment)


def _number(make: Callable[..., Any], env: Any, *parts: int) -> Any:
    try:
        return make(env, *parts)
    except OverflowError:
        raise OverflowError(f"{'/'.join(map(str, parts))} is too large: numbers of 64 bits can be passed") from None
