"""Writes _pyzorvel.pyi, the types of the raw module, from the C headers and the interface file.

make_stub.py INTERFACE OUTPUT HEADER...
"""

import keyword
import re
import sys
from pathlib import Path

PLAIN = {"int": "int", "long": "int", "size_t": "int", "double": "float", "float": "float", "void": "None"}
NAME = re.compile(r"\w+$")
NOT_WRAPPED = re.compile(r"_destroy$|^zorvel_get_last_error_message$|^zorvel_reset_error_message$")


def without_comments(text: str) -> str:
    return re.sub(r"/\*.*?\*/", " ", text, flags=re.S)


def declarations(text: str) -> list[tuple[str, str, list[str]]]:
    """Result, name and arguments of each exported function."""
    found = re.findall(r"ZORVEL_API\s+([\w\s*]+?)(\w+)\s*\(([^;]*)\)\s*;", text)
    return [(result.strip(), name, [] if args.strip() == "void" else [arg.strip() for arg in args.split(",")])
            for result, name, args in found]


def is_result(declaration: str) -> bool:
    """Whether an argument is the place of a result: a pointer to what is not constant."""
    return bool(re.match(r"(long|int|zorvel_search_outcome|zorvel_search_progress|char\*) ?\*", declaration))


def argument_type(declaration: str) -> str:
    kind = re.sub(r"\s*\w+$", "", declaration).replace("unsigned ", "")
    if re.match(r"const char\* ?const ?\*", kind):
        return "list[str]"
    if kind.startswith("const char*"):
        return "str | None"
    if kind == "PyObject*":
        return "Callable[..., Any] | None"
    if re.fullmatch(r"const zorvel_\w+\*", kind):
        return f"Sequence[{kind[6:-1]}]"
    if kind.endswith(("_callback", "*")):
        return "object"
    return PLAIN.get(kind, kind)


def result_type(kind: str) -> str:
    kind = kind.replace("unsigned ", "")
    if kind == "float*":
        return "list[float]"
    return "str | None" if kind.endswith("char*") else PLAIN.get(kind, kind)


def function_line(result: str, name: str, arguments: list[str]) -> str:
    names = [f"{name}_" if keyword.iskeyword(name) else name for name in (NAME.findall(arg)[0] for arg in arguments)]
    shown = [f"{name}: {argument_type(arg)}" for name, arg in zip(names, arguments) if not is_result(arg)]
    kind = result_type(result) if not any(map(is_result, arguments)) else "list[Any]"
    return f"def {name}({', '.join(shown)}) -> {kind}: ..."


def class_lines(name: str) -> list[str]:
    return [f"class {name}:", "    repr: Any", "    thisown: bool", "",
            f"def new_{name}() -> Any: ...", f"def delete_{name}(object: {name}) -> None: ...", ""]


def stub(interface: str, headers: str) -> str:
    private = set(re.findall(r"^%private\((\w+)\)", interface, re.M))
    lines = ['"""The C interface of Zorvel, function by function; zorvel.h documents it."""', "",
             "from collections.abc import Callable, Sequence", "from typing import Any", ""]
    for name in re.findall(r"ZORVEL_DECLARE_HANDLE\((\w+)\);", headers) + ["zorvel_search_progress"]:
        lines += class_lines(name)
    lines += [f"{name}: int" for name in re.findall(r"\b(ZORVEL_[A-Z_]+) = \d", headers)]
    lines += [function_line(result, ("_" if name in private else "") + name, arguments)
              for result, name, arguments in declarations(headers) if not NOT_WRAPPED.search(name)]
    adapters = interface[interface.index("%inline %{"):]
    for result, name, arguments in re.findall(r"^(zorvel_\w+) (py_\w+)\(([^)]*)\)", without_comments(adapters), re.M):
        # The interface file has its stars at the names, the headers at the types.
        plain = [re.sub(r" ?\*(const )?", r"* \1", re.sub(r"\s+", " ", arg)).replace("  ", " ").strip()
                 for arg in arguments.split(",")]
        lines.append(function_line(result, name, plain))
    return "\n".join(lines) + "\n"


def main() -> None:
    interface, output, *headers = map(Path, sys.argv[1:])
    text = without_comments("".join(header.read_text() for header in headers))
    output.parent.mkdir(parents=True, exist_ok=True)
    output.write_text(stub(interface.read_text(), text))


if __name__ == "__main__":
    main()
