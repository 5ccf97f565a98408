"""The package pyzorvel: problems read and built, solved, and their plans."""

import pickle
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import warnings
from decimal import Decimal
from fractions import Fraction
from pathlib import Path

import pyzorvel as z
from support import LAMP, PARITY, ROOT, TestCase, run_python

MATCHES = ROOT / "examples"


class Reading(TestCase):
    def test_problems_of_both_languages_from_files_and_texts(self):
        pddl = [MATCHES / "match_cellar_domain.pddl", MATCHES / "match_cellar_problem.pddl"]
        problems = [z.parse_anml(MATCHES / "match_cellar.anml"),
                    z.parse_anml_text((MATCHES / "match_cellar.anml").read_text()), z.parse_pddl(*pddl),
                    z.parse_pddl_text(*(path.read_text() for path in pddl))]
        for problem in problems:
            with self.subTest(problem=problem):
                self.assertEqual([action.name.replace("-", "_") for action in problem.actions],
                                 ["light_match", "mend_fuse"])
                self.assertIsNot(problem.environment, z.default_environment())
                self.assertEqual(str(z.solve(problem)), str(z.solve(pickle.loads(pickle.dumps(problem)))))
        self.assertIn("action light_match(Match m)", str(problems[0]))
        self.assertEqual([str(fluent) for fluent in problems[0].fluents],
                         ["hand_free", "light(Match m)", "mended(Fuse f)", "unused(Match m)"])

    def test_errors_are_of_their_class_and_know_the_place(self):
        error = self.assert_raises(z.ParserError, "line 2", z.parse_anml_text, "fluent boolean p;\nfoo")
        self.assertEqual((error.file, error.line, error.column), (None, 2, None))
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder, "p.anml")
            path.write_text("fluent boolean p;\n\n[start] p := 3;\n")
            error = self.assert_raises(z.TypeCheckingError, "", z.parse_anml, path)
            self.assertEqual((error.file, error.line), (str(path), 3))
        error = self.assert_raises(z.ParserError, "domain:2:3: ", z.parse_pddl_text, "(define (domain d)\n) )", "(")
        self.assertEqual((error.file, error.line, error.column), ("domain", 2, 3))
        self.assert_raises(z.InvalidParameterError, "File 'missing' does not exist!", z.parse_anml, "missing")
        self.assert_raises(ValueError, "NUL", z.parse_anml_text, LAMP + "\0")
        self.assertIs(type(z.ZorvelError("ParserError: text")), z.ParserError)
        self.assertIs(type(z.ZorvelError("Else: text")), z.ZorvelError)

    def test_options_are_keyword_arguments(self):
        path = MATCHES / "match_cellar.anml"
        problem = z.parse_anml(path, z.Environment(ftp_heuristic=["hmax"], plan_epsilon=Fraction(1, 2)))
        self.assertEqual(z.solve(problem)[2].start, Fraction(5, 2))
        rows = [(z.InvalidParameterError, "did you mean 'ftp_heuristic'", {"ftp_heuristics": ["hadd"]}),
                (z.InvalidParameterError, "There is no option 'xyzzy'", {"xyzzy": 1}),
                (TypeError, "must be a list of str", {"ftp_heuristic": "hadd"}),
                (TypeError, "must be a list of str", {"ftp_heuristic": [1]}),
                (TypeError, "must be a number", {"weight": True}), (TypeError, "must be a bool", {"weak_equality": 1}),
                (TypeError, "must be an int", {"ftp_diamond": 1.0})]
        for error, text, options in rows:
            with self.subTest(options):
                self.assert_raises(error, text, z.Environment, **options)

    def test_warnings_come_through_warnings(self):
        with self.assertWarnsRegex(z.ZorvelWarning, "bounds") as context:
            problem = z.parse_anml_text("fluent integer [0, 3] n := 0;\n"
                                        "action up() { duration := 1; [end] n := n + 1; };\ngoal [end] n == 1;\n")
        self.assertEqual(context.filename, __file__)
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            z.solve(problem)


class Building(TestCase):
    def rooms(self):
        robot, room = z.UserType("Robot"), z.UserType("Room")
        at, trips = z.Fluent("at", room, {"r": robot}), z.Fluent("trips", z.Integer(0, 5))
        r, a, b = z.Parameter("r", robot), z.Parameter("a", room), z.Parameter("b", room)
        go = z.Action("go", [r, a, b], [z.at_start(at(r) == a), z.at_start(~a.equals(b)), z.at_start(trips < 5),
                                        z.at_end(z.assign(at(r), b)), z.at_end(z.assign(trips, trips + 1))],
                      duration=(2, 4))
        marvin, kitchen, hall = z.Object("marvin", robot), z.Object("kitchen", room), z.Object("hall", room)
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", z.ZorvelWarning)  # n + 1 may leave its bounds
            problem = z.Problem(fluents=[at, trips], actions=[go], objects=[marvin, kitchen, hall], statements=[
                z.at_start(z.assign(at(marvin), kitchen)), z.at_start(z.assign(trips, 0)),
                z.at_end((at(marvin) == hall) & (trips() == 3))])
        return problem, marvin, kitchen, hall, trips

    def test_a_problem_built_of_parts_is_solved(self):
        problem, marvin, kitchen, hall, trips = self.rooms()
        plan = z.solve(problem)
        self.assertEqual([step.arguments for step in plan],
                         [(marvin, kitchen, hall), (marvin, hall, kitchen), (marvin, kitchen, hall)])
        self.assertTrue(all(2 <= step.duration <= 4 for step in plan))
        self.assertTrue(z.validate(problem, plan))
        self.assert_raises(TypeError, "has no text", pickle.dumps, problem)
        self.assertEqual(z.solve(problem, "ftp", heuristic=lambda state: 3 - state[trips]), z.solve(
            problem, "ftp", heuristic=lambda state: abs(3 - state[trips()])))

    def test_operators_make_what_they_say(self):
        p, q, n = z.Fluent("p"), z.Fluent("q"), z.Fluent("n", int)
        x = z.Fluent("x", Fraction)
        rows = [(p & ~q, "(p and (not q))"), (p | True, "(p or true)"), (p.implies(q), "(p implies q)"),
                (p.iff(q), "(p == q)"), (n + 1, "(n + 1)"), (1 - n, "(1 - n)"), (n * 2 >= 3, "((n * 2) >= 3)"),
                (n() == 3, "(n == 3)"), (n() != 3, "(not (n == 3))"), (x / Decimal("0.1"), "(x / 1/10)"),
                (x + 0.5, "(x + 1/2)"), (z.at(3, p), "[(start + 3)] p"), (z.at(z.END - 2, p), "[(end - 2)] p"),
                (z.overall(p), "[all] p"), (z.during(z.START, 5, p, open_start=True), "(start, (start + 5)] p"),
                (z.during(1, z.END, p, open_end=True), "[(start + 1), end) p"),
                (z.at_end(z.assign(n, n + 1)), "[end] (n := (n + 1))")]
        for made, text in rows:
            with self.subTest(text):
                self.assertEqual(str(made), text)
        self.assertTrue((p & q).same_as(p & q))
        self.assertEqual([child.value for child in (n + 7).children if child.is_constant], [7])
        self.assertEqual((x + Fraction(10, 4)).children[1].value, Fraction(5, 2))

    def test_what_makes_no_sense_is_refused(self):
        n, p = z.Fluent("n", int), z.Fluent("p")
        other = z.Fluent("q", environment=z.Environment())
        many = z.Fluent("many", bool, {"i": z.Integer(0, 3)})
        rows = [(TypeError, "has no truth value", lambda: bool(n() == 3)), (TypeError, "is always false", lambda: n == 3),
                (z.TypeCheckingError, "", lambda: n & p), (ValueError, "another environment", lambda: p & other),
                (ValueError, "another environment", lambda: z.Problem(fluents=[p, other])),
                (TypeError, "give it arguments", lambda: ~many), (TypeError, "takes 1 arguments, not 2", lambda: many(1, 2)),
                (TypeError, "unsupported operand", lambda: n + "1"), (OverflowError, "64 bits", lambda: n + 2**70),
                (TypeError, "cannot stand in an expression", lambda: many(None)),
                (TypeError, "is no type", lambda: z.Fluent("f", float)),
                (TypeError, "is no statement", lambda: z.Action("a", [], [True])),
                (TypeError, "is no moment", lambda: z.at("start", p)), (TypeError, "unhashable", lambda: {p()})]
        for error, text, function in rows:
            with self.subTest(text):
                self.assert_raises(error, text, function)

    def test_equal_things_are_equal_and_hash_so(self):
        first, second = (z.UserType("Room") for _ in range(2))
        rows = [(first, second), (z.Object("a", first), z.Object("a", second)), (z.Fluent("p"), z.Fluent("p")),
                (z.Action("act"), z.Action("act"))]
        for a, b in rows:
            self.assertIsNot(a, b)
            self.assertEqual((a, hash(a)), (b, hash(b)))
        self.assertNotEqual(z.Object("a", first), z.Object("b", first))
        self.assertNotEqual(z.Fluent("p"), z.Fluent("q"))

    def test_constants_uncertain_durations_and_timed_statements(self):
        env = z.Environment()
        size = z.Constant("size", int, {"b": bool}, values=[((True,), 4)], default=2, environment=env)
        done = z.Fluent("done", environment=env)
        act = z.Action("act", [], [z.at_start(size(True) > size(False)), z.at_end(z.assign(done, True))],
                       uncertain_duration=(size(False), 4))
        self.assertTrue(act.is_temporally_uncertain)
        problem = z.Problem(fluents=[done], constants=[size], actions=[act], environment=env, statements=[
            z.at_start(z.assign(done, False)), z.at(20, z.assign(done, False)), z.at_end(done)])
        self.assertTrue(problem.has_temporal_uncertainty)
        self.assertGreaterEqual(z.solve(problem)[0].start, 16)

    def test_simulated_effects_are_python_functions(self):
        def problem(function):
            level = z.Fluent("level", int)
            by = z.Parameter("by", z.Integer(2, 3))
            grow = z.Action("grow", [by], duration=1, effects=[z.SimulatedEffect(z.END, [level], function(level))])
            return z.Problem(fluents=[level], actions=[grow], statements=[
                z.at_start(z.assign(level, 1)), z.at_end(level() == 6)])

        plan = z.solve(problem(lambda level: lambda state, arguments: [state[level] * arguments[0]]))
        self.assertEqual(sorted(step.arguments for step in plan), [(2,), (3,)])
        for result, error in (([], ValueError), (["x"], TypeError), (None, TypeError), ([True], z.InternalError)):
            with self.subTest(result):
                self.assert_raises(error, "", z.solve, problem(lambda level: lambda state, arguments: result), "ftp")


class Solving(TestCase):
    def test_every_planner_gives_a_valid_plan(self):
        problem = z.parse_anml_text("fluent integer n := 0;\naction up() { duration := 3/2; [end] n := n + 1; };\n"
                                    "goal [end] n == 2;\n".replace("3/2", "2"))
        for algorithm in ("auto", "ftp", "tsimple", "iw"):
            plan = z.solve(problem, algorithm, time_limit=60, memory_limit=500)
            self.assertEqual(len(plan), 2)
            self.assertTrue(z.validate(problem, plan))
        self.assert_raises(z.InvalidParameterError, "There is no planner 'x'", z.solve, problem, "x")
        self.assert_raises(ValueError, "time limit", z.solve, problem, time_limit=-1)
        self.assert_raises(TypeError, "options of the environment", z.solve, problem, heuristic="hadd")

    def test_a_plan_is_a_sequence_of_steps_and_can_be_shown(self):
        problem = z.parse_anml_text(LAMP)
        plan = z.solve(problem)
        light, look = plan
        self.assertEqual((light.start, light.duration, light.end, light.action.name, light.arguments),
                         (0, 5, 5, "light", ()))
        self.assertIsInstance(look.start, Fraction)
        self.assertEqual((plan.makespan, len(plan), plan[-1], plan[:1]), (5, 2, look, (light,)))
        self.assertEqual(plan, z.parse_plan_text(problem, str(plan)))
        self.assertEqual(plan.to_dict()["makespan"], {"exact": "5", "number": 5.0})
        self.assertIn("; Makespan 5", plan.to_pddl_plan())
        self.assertTrue(plan._repr_html_().startswith("<svg"))
        self.assertEqual(str(pickle.loads(pickle.dumps(plan))), str(plan))

    def test_verdicts_give_the_reason(self):
        problem = z.parse_anml_text(LAMP)
        self.assertTrue(z.validate(problem, z.solve(z.parse_anml_text(LAMP))))
        verdict = z.validate(problem, "0: look() [2]\n")
        self.assertFalse(verdict)
        self.assertIn("lit", verdict.reason)
        self.assert_raises(z.ParserError, "", z.validate, problem, "nonsense")

    def test_a_problem_is_explained(self):
        report = z.parse_anml_text(LAMP.replace("[start] lit := true", "[start] lit := false")).explain()
        self.assertTrue(report.unsolvable)
        self.assertEqual([(finding.kind, finding.line) for finding in report.findings], [("goal", 7), ("action", 4)])
        self.assertIn("7: the goal seen can never be reached", str(report))
        self.assertFalse(z.parse_anml_text(LAMP).explain().unsolvable)

    def test_how_a_search_can_end(self):
        none = z.parse_anml_text(LAMP.replace("[start] lit := true", "[start] lit := false"))
        hard = z.parse_anml_text(PARITY, z.Environment(ftp_heuristic=["blind"], tsimple_heuristic="blind"))
        self.assert_raises(z.NoPlan, "There is no plan", z.solve, none)
        for algorithm in ("ftp", "tsimple"):
            error = self.assert_raises(z.LimitReached, "time limit", z.solve, hard, algorithm, time_limit=0.2)
            self.assertEqual(error.limit, "time")
        self.assertEqual(self.assert_raises(z.LimitReached, "memory", z.solve, hard, "ftp", memory_limit=1).limit,
                         "memory")
        self.assertTrue(all(issubclass(cls, z.ZorvelError) for cls in (z.NoPlan, z.LimitReached, z.Incomplete)))

    def test_what_functions_of_the_user_raise_comes_out(self):
        hard = z.parse_anml_text(PARITY, z.Environment(ftp_heuristic=["blind"]))
        seen = []

        def progress(told):
            seen.append(told)
            if len(seen) == 2:
                raise LookupError("enough")

        self.assert_raises(LookupError, "enough", z.solve, hard, "ftp", on_progress=progress)
        self.assertLess(seen[0].expanded, seen[1].expanded)
        for algorithm in ("auto", "ftp", "tsimple"):
            self.assert_raises(ZeroDivisionError, "", z.solve, hard, algorithm, heuristic=lambda state: 1 / 0)

    def test_a_state_that_is_kept_is_an_error_and_no_crash(self):
        problem = z.parse_anml_text(LAMP)
        lit, kept = problem.fluents[0], []
        z.solve(problem, heuristic=lambda state: kept.append(state) or 1.0)
        self.assert_raises(z.InternalError, "Error-object", lambda: kept[0][lit])

    def test_plans_get_better_until_the_best_is_proved(self):
        text = ("fluent boolean done := false;\naction slow() { duration := 9; [end] done := true; };\n"
                "action fast() { duration := 3; [end] done := true; };\ngoal [end] done;\n")
        problem = z.parse_anml_text(text)
        for heuristic in (None, lambda state: 0 if state[problem.fluents[0]] else 1):
            with z.solutions(problem, time_limit=60, heuristic=heuristic) as found:
                makespans = [plan.makespan for plan in found]
            self.assertEqual(makespans, sorted(set(makespans), reverse=True))
            self.assertEqual((makespans[-1], found.is_optimal, found.bound), (3, True, 3.0))
            self.assertEqual(list(found), [])
        first = next(iter(z.solutions(problem)))  # leaving the loop ends the search
        self.assertTrue(z.validate(problem, first))
        self.assert_raises(z.NoPlan, "", list, z.solutions(z.parse_anml_text(LAMP.replace("lit := true", "lit := false"))))
        self.assert_raises(ZeroDivisionError, "", list, z.solutions(problem, heuristic=lambda state: 1 / 0))

    def test_ctrl_c_ends_a_search_within_a_second(self):
        for call in ("z.solve(problem, 'ftp')", "z.solve(problem, 'tsimple')", "list(z.solutions(problem))",
                     "z.solve(problem, 'ftp', heuristic=lambda state: 1.0)"):
            script = ("import pyzorvel as z\nfrom support import PARITY\n"
                      "problem = z.parse_anml_text(PARITY, z.Environment(ftp_heuristic=['blind'], "
                      "tsimple_heuristic='blind'))\nprint('ready', flush=True)\n"
                      f"try:\n    {call}\nexcept KeyboardInterrupt:\n    print('interrupted')\n")
            with self.subTest(call), subprocess.Popen(
                    [sys.executable, "-c", script], stdout=subprocess.PIPE, text=True,
                    cwd=Path(__file__).parent) as process:
                self.assertEqual(process.stdout.readline(), "ready\n")
                time.sleep(0.5)
                process.send_signal(signal.SIGINT)
                started = time.monotonic()
                self.assertEqual(process.communicate(timeout=30)[0], "interrupted\n")
                self.assertLess(time.monotonic() - started, 2)  # one second, and the end of the process


class Package(TestCase):
    def test_objects_hold_their_environment_in_every_order(self):
        run = run_python("""
import itertools, gc
import pyzorvel as z
from support import LAMP
for order in itertools.permutations(range(6)):
    problem = z.parse_anml_text(LAMP)
    plan = z.solve(problem)
    things = [problem, plan, plan[0], problem.fluents[0], problem.expressions[0], z.solutions(problem)]
    next(things[5])
    del problem, plan
    for i in order[:-1]:
        things[i] = None
    gc.collect()
    str(things[order[-1]])
    if order[-1] == 5:
        list(things[5])
print("done")
""")
        self.assertEqual((run.stdout, run.stderr, run.returncode), ("done\n", "", 0))

    def test_nothing_is_imported_or_printed_before_it_is_asked_for(self):
        run = run_python("import sys, pyzorvel\nprint([m for m in ('numpy', 'gymnasium', 'keras', 'torch', 'onnx', "
                         "'pandas', 'distributed') if m in sys.modules])\nhelp_text = pyzorvel.solve.__doc__\n"
                         "assert set(pyzorvel.__all__) <= set(dir(pyzorvel)) and help_text")
        self.assertEqual((run.stdout, run.stderr), ("[]\n", ""))


if __name__ == "__main__":
    unittest.main()
