"""Zorvel, a temporal planner: problems read or built, solved, and their plans looked at.

>>> import pyzorvel
>>> plan = pyzorvel.solve(pyzorvel.parse_anml("ferry.anml"))
>>> for step in plan:
...     print(step.start, step.action, *step.arguments)
"""

# First: the raw module looks this class up in the package whenever a call fails, also while it is imported.
from .errors import ZorvelError  # noqa: I001
from .errors import (GroundingFailedError, Incomplete, InternalError, InvalidParameterError, LimitReached,
                     LtlEncoderError, NoPlan, OutOfBoundsValue, ParserError, RedefinitionError, SmtSolverError,
                     TemporalNetworkIsUnsat, TypeCheckingError, UndefinedConstantError, UnresolvedSymbolError,
                     UnsupportedProblemError, UnsupportedStatementError, ZorvelWarning)
from .environment import Environment, default_environment
from .expressions import Expression
from .callbacks import State
from .model import (Action, Constant, Fluent, Integer, Object, Parameter, Rational, SimulatedEffect, Type, UserType)
from .statements import END, START, TimePoint, assign, at, at_end, at_start, during, overall
from .problem import Finding, Problem, Report
from .plans import Plan, Step
from .parsing import parse_anml, parse_anml_text, parse_pddl, parse_pddl_text, parse_plan, parse_plan_text
from .solving import Progress, Verdict, solve, validate
from .anytime import Solutions, solutions

__all__ = [
    "Action", "Constant", "END", "Environment", "Expression", "Finding", "Fluent", "GroundingFailedError",
    "Incomplete", "Integer", "InternalError", "InvalidParameterError", "LimitReached", "LtlEncoderError",
    "NoPlan", "Object", "OutOfBoundsValue", "Parameter", "ParserError", "Plan", "Problem", "Progress",
    "Rational", "RedefinitionError", "Report", "START", "SimulatedEffect", "SmtSolverError", "Solutions",
    "State", "Step", "TemporalNetworkIsUnsat", "TimePoint", "Type", "TypeCheckingError",
    "UndefinedConstantError", "UnresolvedSymbolError", "UnsupportedProblemError", "UnsupportedStatementError",
    "UserType", "Verdict", "ZorvelError", "ZorvelWarning", "assign", "at", "at_end", "at_start",
    "default_environment", "during", "overall", "parse_anml", "parse_anml_text", "parse_pddl",
    "parse_pddl_text", "parse_plan", "parse_plan_text", "solutions", "solve", "validate",
]
