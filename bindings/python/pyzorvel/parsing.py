"""Problems and plans from files and texts."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Any, Union

import _pyzorvel as raw

from .environment import Environment
from .plans import Plan
from .problem import Problem, wrapped_problem

PathLike = Union[str, "os.PathLike[str]"]


def parse_anml(path: PathLike, environment: Environment | None = None) -> Problem:
    """Reads a problem in ANML, into a new environment unless one is given.

    ``InvalidParameterError`` where the file cannot be opened; ``ParserError``, ``TypeCheckingError`` and others
    where the text is at fault, with ``file`` and ``line``.
    """
    environment = environment or Environment()
    handle = raw.zorvel_parse_anml(environment._raw, os.fspath(path))
    return wrapped_problem(handle, environment, _source_of("anml", path))


def parse_anml_text(text: str, environment: Environment | None = None) -> Problem:
    """The same for a text."""
    environment = environment or Environment()
    handle, _ = raw.zorvel_parse_anml_text(environment._raw, _checked(text))
    return wrapped_problem(handle, environment, ("anml", text))


def parse_pddl(domain: PathLike, problem: PathLike, environment: Environment | None = None) -> Problem:
    """Reads a domain and a problem in PDDL, in either order, into a new environment unless one is given.

    A ``ParserError`` has a line for each fault; ``file``, ``line`` and ``column`` are those of the first.
    """
    environment = environment or Environment()
    handle = raw.zorvel_read_pddl(environment._raw, os.fspath(domain), os.fspath(problem))
    return wrapped_problem(handle, environment, _source_of("pddl", domain, problem))


def parse_pddl_text(domain: str, problem: str, environment: Environment | None = None) -> Problem:
    """The same for two texts, which errors call "domain" and "problem"."""
    environment = environment or Environment()
    handle = raw.zorvel_read_pddl_text(environment._raw, _checked(domain), _checked(problem))
    return wrapped_problem(handle, environment, ("pddl", domain, problem))


def parse_plan(problem: Problem, path: PathLike) -> Plan:
    """Reads a plan of the problem: a line for each step, as ``str(plan)`` writes it."""
    return Plan(raw.zorvel_parse_ttplan(problem._raw, os.fspath(path)), problem)


def parse_plan_text(problem: Problem, text: str) -> Plan:
    """The same for a text."""
    handle, _ = raw.zorvel_parse_ttplan_text(problem._raw, _checked(text))
    return Plan(handle, problem)


def read_source(kind: str, *texts: str) -> Problem:
    """The problem of ``Problem.source``, in a new environment."""
    return (parse_anml_text if kind == "anml" else parse_pddl_text)(*texts)


def to_problem(given: Any, domain: Any = None, environment: Environment | None = None) -> Problem:
    """The problem that a ``Problem``, a file name or a text stands for; with ``domain`` it is PDDL.

    A ``str`` of several lines is a text, any other the name of a file.
    """
    if isinstance(given, Problem):
        if environment is None or given.environment is environment:
            return given
        if given.source is None:
            raise TypeError("A problem that was built in Python cannot move to another environment: it has no text")
        kind, *texts = given.source
        return (parse_anml_text if kind == "anml" else parse_pddl_text)(*texts, environment=environment)
    is_text = isinstance(given, str) and "\n" in given
    if domain is None:
        return (parse_anml_text if is_text else parse_anml)(given, environment)
    return (parse_pddl_text if is_text else parse_pddl)(domain, given, environment)


def _checked(text: str) -> str:
    # C would take it for the end of the text, and what stands behind it would be lost in silence.
    if "\0" in text:
        raise ValueError("The text has a NUL character in it")
    return text


def _source_of(kind: str, *paths: PathLike) -> tuple[str, ...]:
    return (kind, *(Path(path).read_text(encoding="utf-8", errors="surrogateescape") for path in paths))
