#!/usr/bin/env python3
"""Reads, sets up and solves the problems of a folder of PDDL domains, and prints a table of what came of them.

    bench/pddl_domains.py [--program PROGRAM] [--seconds N] [--only first|all] [--filter TEXT] [FOLDER]
                          [-- OPTIONS OF SOLVE]

FOLDER holds domains at any depth: folders with `domain.pddl` and problems `pNN.pddl`, or with `pNN-domain.pddl`
for each problem. A problem is

  read    if `transform` reads it, which plans nothing;
  set up  if `solve` ends with a plan, with a proof that there is none, or at a limit;
  solved  if `solve` ends with a plan within N seconds of processor time;
  valid   if `validate` accepts that plan.

Each column of the table counts problems by domain; the last line counts domains of which all problems were read,
and the first one set up, solved and valid. With `--seconds 0` problems are read and no more. What could not be
read is listed behind the table with its first message.
"""

import argparse
import pathlib
import resource
import subprocess
import sys
import tempfile

COLUMNS = ["problems", "read", "set up", "solved", "valid"]
SOLVED, REFUTED, BAD_INPUT, GAVE_UP = 0, 1, 2, 3


def problems_below(folder):
    """(name of the domain, domain file, problem file), by name."""
    for path in sorted(folder.rglob("p*.pddl")):
        if path.stem.endswith("-domain"):
            continue
        own = path.with_name(path.stem + "-domain.pddl")
        domain = own if own.exists() else path.with_name("domain.pddl")
        if domain.exists():
            yield str(path.parent.relative_to(folder)), domain, path


def run(arguments, seconds):
    """Status, standard error and processor seconds; a program that does not end has the status GAVE_UP."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CPU, (int(seconds) + 1, int(seconds) + 2))

    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    # The clock is only against programs that wait for something: the machine may be busy.
    try:
        done = subprocess.run(arguments, capture_output=True, text=True, errors="replace", preexec_fn=limit,
                              timeout=20 * seconds + 60, check=False)
        status, error = done.returncode, done.stderr
    except subprocess.TimeoutExpired:
        status, error = GAVE_UP, "no answer"
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    used = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return (GAVE_UP if status < 0 else status), error, used


def first_message(error):
    lines = [line for line in error.splitlines() if "warning:" not in line]
    return lines[0] if lines else ""


def measure(program, domain, problem, seconds, options):
    """The columns that the problem counts in, and a message if it was not read or not set up."""
    files = ["--pddl", str(domain), str(problem)]
    reached = {"problems"}
    status, error, _ = run([program, "transform", "-t", "flattener", "--output", "/dev/null"] + files, 60)
    if status != SOLVED:
        return reached, first_message(error)
    reached.add("read")
    if seconds == 0:
        return reached, ""
    with tempfile.TemporaryDirectory() as folder:
        plan = folder + "/plan"
        form = ["--plan-format", "pddl"]
        status, error, used = run([program, "solve", "--output-plan", plan] + form + options + files, seconds)
        if status not in (SOLVED, REFUTED) and "zorvel: no plan was found" not in error and error != "no answer":
            if used < seconds:
                return reached, first_message(error)
        reached.add("set up")
        if status == SOLVED and used <= seconds:
            reached.add("solved")
            status, error, _ = run([program, "validate", "--plan", plan] + form + files, 60)
            if status == SOLVED:
                reached.add("valid")
            else:
                return reached, "the plan is refused"
    return reached, ""


def main():
    arguments, options = sys.argv[1:], []
    if "--" in arguments:
        cut = arguments.index("--")
        arguments, options = arguments[:cut], arguments[cut + 1:]
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", nargs="?", default="../shared/benchmarks/ipc")
    parser.add_argument("--program", default="build/release/bin/zorvel")
    parser.add_argument("--seconds", type=float, default=10)
    parser.add_argument("--only", choices=["first", "all"], default="first")
    parser.add_argument("--filter", default="", help="only domains whose name has this in it")
    parsed = parser.parse_args(arguments)

    folder = pathlib.Path(parsed.folder)
    table, messages, firsts = {}, [], {column: 0 for column in COLUMNS}
    for name, domain, problem in problems_below(folder):
        if parsed.filter not in name or (parsed.only == "first" and name in table):
            continue
        is_first = name not in table
        row = table.setdefault(name, {column: 0 for column in COLUMNS})
        reached, message = measure(parsed.program, domain, problem, parsed.seconds, options)
        for column in reached:
            row[column] += 1
            firsts[column] += is_first
        if message:
            messages.append(f"{name}/{problem.name}: {message}")
    if not table:
        sys.exit(f"no problems below {folder}")

    width = max(map(len, table))
    print(" " * width, *(f"{column:>8}" for column in COLUMNS))
    for name, row in table.items():
        print(f"{name:<{width}}", *(f"{row[column]:>8}" for column in COLUMNS))
    whole = sum(row["read"] == row["problems"] for row in table.values())
    counts = [len(table), whole] + [firsts[column] for column in COLUMNS[2:]]
    print(f"{'domains':<{width}}", *(f"{count:>8}" for count in counts))
    for message in messages:
        print(message)


if __name__ == "__main__":
    main()
