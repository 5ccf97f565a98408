"""What the tests of the Python package share."""

import os
import subprocess
import sys
import unittest
from pathlib import Path

import pyzorvel

#: The folder of the repository, where the examples are.
ROOT = Path(__file__).resolve().parents[2]
#: The public headers: those of the installed package, or of the tree that it was built from.
HEADERS = next(folder for folder in (Path(pyzorvel.__file__).parent / "include", ROOT / "include") if folder.is_dir())

LAMP = """fluent boolean lit;
fluent boolean seen;
action light() { duration := 5; [start] lit := true; [end] lit := false; };
action look() { duration := 2; [all] lit; [end] seen := true; };
[start] lit := false;
[start] seen := false;
goal [end] seen;
"""

#: No plan: pairs of switches change together, and one switch alone has to.
PARITY = "".join(
    [f"fluent boolean s{i};\n[start] s{i} := false;\n" for i in range(18)]
    + [f"action flip{i}_{j}() {{ duration := 1; [start] s{i} {'==' if a else '!='} true; [start] s{j} "
       f"{'==' if b else '!='} true; [end] s{i} := {'false' if a else 'true'}; [end] s{j} := "
       f"{'false' if b else 'true'}; }};\n".replace(f"flip{i}_{j}", f"flip{i}_{j}_{a}{b}")
       for i in range(18) for j in range(i) for a in (0, 1) for b in (0, 1)]
    + ["goal [end] s0 and " + " and ".join(f"not s{i}" for i in range(1, 18)) + ";\n"])


class TestCase(unittest.TestCase):
    def assert_raises(self, error, text, function, *arguments, **options):
        """`function` raises exactly `error` with `text` in its text; gives the exception."""
        with self.assertRaises(error) as context:
            function(*arguments, **options)
        self.assertIs(type(context.exception), error)
        self.assertIn(text, str(context.exception))
        return context.exception


def run_python(script, *arguments, **options):
    """Runs a script in a process of its own, where freed memory is overwritten."""
    environment = dict(os.environ, MALLOC_PERTURB_="165", PYTHONMALLOC="malloc", PYTHONDONTWRITEBYTECODE="1",
                       PYTHONPATH=os.pathsep.join([str(Path(__file__).parent), *filter(None, sys.path)]))
    return subprocess.run([sys.executable, "-c", script, *arguments], env=environment, capture_output=True, text=True,
                          timeout=300, **options)
