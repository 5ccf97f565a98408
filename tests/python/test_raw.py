"""The raw module _pyzorvel: what each rule of its wrappers promises."""

import gc
import re
import sys
import unittest

import _pyzorvel as raw
import pyzorvel
from support import HEADERS, LAMP, PARITY, TestCase, run_python

CALL = "in method '{}', argument {} of type '{}'"


kept_alive = []  # the raw module does not keep the environments of its objects


def parsed(text=LAMP):
    env = raw.zorvel_env_new()
    kept_alive.append(env)
    return env, raw.zorvel_parse_anml_text(env, text)[0]


class Surface(TestCase):
    def header(self):
        text = "".join(path.read_text() for path in sorted(HEADERS.glob("zorvel*.h")))
        return re.sub(r"/\*.*?\*/", "", text, flags=re.S)

    def test_every_function_of_the_header_has_its_wrapper_and_the_other_way_round(self):
        declared = set(re.findall(r"ZORVEL_API[^;(]*?\b(zorvel_\w+)\s*\(", self.header()))
        hidden = {"zorvel_get_last_error_message", "zorvel_reset_error_message"}
        wanted = {name for name in declared if not name.endswith("_destroy")} - hidden
        classes = [name for name in dir(raw) if isinstance(getattr(raw, name), type)]
        # Fields and the registration of classes are no functions of C.
        of_classes = re.compile(rf"^(new_|delete_)?({'|'.join(classes)})(_swig(register|init)|_\w+_[gs]et)?$")
        fields = {f"{name}_{field}_{way}" for name in classes for field, value in vars(getattr(raw, name)).items()
                  if isinstance(value, property) and field != "thisown" for way in ("get", "set")}
        found = {name.removeprefix("_") for name in dir(raw)
                 if callable(getattr(raw, name)) and re.match("_?zorvel_", name) and name not in classes
                 and name not in fields and not (of_classes.match(name) and "_swig" in name)}
        self.assertEqual(wanted - found, set())
        self.assertEqual(found - wanted, set())
        self.assertGreater(len(wanted), 300)

    def test_every_handle_is_a_class_with_its_functions(self):
        for kind in re.findall(r"ZORVEL_DECLARE_HANDLE\((\w+)\);", self.header()):
            with self.subTest(kind):
                made = getattr(raw, kind)()
                self.assertIsNone(made.repr)
                self.assertEqual(type(made).__name__, kind)
                for name in ("{}_repr_set", "{}_repr_get", "{}_swigregister", "{}_swiginit", "new_{}", "delete_{}"):
                    self.assertTrue(callable(getattr(raw, name.format(kind))))
                self.assertFalse(hasattr(raw, f"{kind}_destroy"))
        self.assertTrue(callable(raw.SWIG_PyInstanceMethod_New(len)))

    def test_types_of_the_module_are_told(self):
        stub = next((path for path in map(lambda folder: HEADERS.parents[0].joinpath(folder, "_pyzorvel.pyi"), sys.path)
                     if path.exists()), None)
        self.assertIsNotNone(stub)
        told = set(re.findall(r"^def (\w+)", stub.read_text(), re.M))
        self.assertEqual({name for name in told if not hasattr(raw, name)}, set())


class Arguments(TestCase):
    def test_bad_arguments_raise_with_the_function_and_the_argument(self):
        env = raw.zorvel_env_new()
        boolean = raw.zorvel_boolean_type(env)
        dead = raw.zorvel_expr()
        rows = [
            (TypeError, "zorvel_expr_make_not expected 2 arguments, got 1", raw.zorvel_expr_make_not, env),
            (TypeError, CALL.format("zorvel_expr_make_true", 1, "zorvel_env"), raw.zorvel_expr_make_true, []),
            (TypeError, CALL.format("zorvel_expr_make_not", 2, "zorvel_expr"), raw.zorvel_expr_make_not, env, env),
            (ValueError, "invalid null reference in method 'zorvel_expr_make_not', argument 2 of type 'zorvel_expr'",
             raw.zorvel_expr_make_not, env, None),
            (TypeError, CALL.format("zorvel_env_set_integer_option", 3, "int"), raw.zorvel_env_set_integer_option, env,
             "a", "1"),
            (OverflowError, CALL.format("zorvel_env_set_integer_option", 3, "int"), raw.zorvel_env_set_integer_option,
             env, "a", 2**31),
            (OverflowError, CALL.format("zorvel_expr_make_integer_constant", 2, "long"),
             raw.zorvel_expr_make_integer_constant, env, 2**63),
            (OverflowError, CALL.format("zorvel_env_get_warning", 2, "unsigned int"), raw.zorvel_env_get_warning, env,
             -1),
            (TypeError, CALL.format("zorvel_expr_make_rational_constant_from_float", 2, "double"),
             raw.zorvel_expr_make_rational_constant_from_float, env, "1"),
            (TypeError, CALL.format("zorvel_parse_anml", 2, "char const *"), raw.zorvel_parse_anml, env, 1),
            (TypeError, "Sequence object required", raw._zorvel_fluent_new, env, "p", boolean, [], 0, 1, 0),
            (TypeError, "Invalid type for argument, zorvel_param object expected", raw._zorvel_fluent_new, env, "p",
             boolean, [], 0, "p", 1),
            (TypeError, "Invalid type for argument, zorvel_param object expected", raw._zorvel_fluent_new, env, "p",
             boolean, [], 0, [None], 1),
            (TypeError, "not a list", raw._zorvel_fluent_new, env, "p", boolean, (), 0, [], 0),
            (TypeError, "list must contain strings", raw._zorvel_fluent_new, env, "p", boolean, [b"a"], 1, [], 0),
            (ValueError, "_zorvel_fluent_new: the length 1 is greater than that of the sequence",
             raw._zorvel_fluent_new, env, "p", boolean, [], 0, [], 1),
            (ValueError, "_zorvel_fluent_new: the length 2 is greater than that of the sequence",
             raw._zorvel_fluent_new, env, "p", boolean, ["T"], 2, [], 0),
            (ValueError, "_zorvel_constant_field_new: the length 1 is greater than that of the sequence",
             raw._zorvel_constant_field_new, env, "c", boolean, [], 0, [], 0, [], [raw.zorvel_function_value_new()], 1),
            (ValueError, "zorvel_search_new: the length 1 is greater than that of the sequence", raw.zorvel_search_new,
             parsed()[1], [], ["1"], 1),
            (pyzorvel.InvalidParameterError, "The length of 'params' is negative",
             raw._zorvel_fluent_new, env, "p", boolean, [], 0, [], -1),
            (TypeError, "argument 2 of type 'function'", raw.py_zorvel_do_ftp_planning_with_custom_heuristic,
             parsed()[1], 1),
            (pyzorvel.InternalError, "InternalError: Error-object passed to deref function", raw.zorvel_expr_is_and, env,
             dead),
            (pyzorvel.InvalidParameterError, "InvalidParameterError: File 'missing' does not exist!",
             raw.zorvel_parse_anml, env, "missing"),
            (pyzorvel.TypeCheckingError, "TypeCheckingError: ", raw.zorvel_expr_make_not, env,
             raw.zorvel_expr_make_integer_constant(env, 1)),
        ]
        for error, text, function, *arguments in rows:
            with self.subTest(function=function.__name__, text=text):
                self.assert_raises(error, text, function, *arguments)
        # No error is left over for the next call.
        self.assertEqual(raw.zorvel_expr_is_and(env, raw.zorvel_expr_make_true(env)), 0)

    def test_the_length_says_how_many_are_read(self):
        env = raw.zorvel_env_new()
        parameters = [raw.zorvel_parameter_new(name, raw.zorvel_boolean_type(env)) for name in ("x", "y")]
        fluent = raw._zorvel_fluent_new(env, "p", raw.zorvel_boolean_type(env), [], 0, tuple(parameters), 1)
        self.assertEqual(raw.zorvel_fluent_get_arity(fluent), 1)

    def test_the_place_of_an_error_can_be_asked_for(self):
        env = raw.zorvel_env_new()
        self.assert_raises(pyzorvel.ParserError, "line 2", raw.zorvel_parse_anml_text, env, "fluent boolean p;\nfoo")
        self.assertEqual([raw.zorvel_get_last_error_file(), raw.zorvel_get_last_error_line()], [None, 2])


class Results(TestCase):
    def test_results_have_the_types_of_python(self):
        env, problem = parsed()
        number = raw.zorvel_expr_make_rational_constant(env, 2, -4)
        bounds = raw.zorvel_integer_type_lub(env, 0, 3)
        plan = raw._zorvel_do_ftp_planning(problem)
        nothing = raw.zorvel_ttplan_step_get_post_condition(raw.zorvel_ttplan_step_iter_next(
            raw._zorvel_ttplan_get_steps(plan)))
        search = raw.zorvel_search_new(problem, [], [], 0)
        rows = [
            (raw._zorvel_expr_get_rational_constant(env, number), [0, -1, 2]),
            (raw._zorvel_type_get_integer_lower_bound(bounds), [0, 0]),
            (raw._zorvel_type_get_integer_upper_bound(bounds), [0, 3]),
            (raw.zorvel_type_get_name(bounds), "integer [0, 3]"),
            (raw.zorvel_expr_get_anml(raw.zorvel_expr_make_true(env)), "true"),
            (raw.zorvel_get_last_error_file(), None),
            (raw.zorvel_ttplan_explain(problem, plan), [1, ""]),
            (raw.zorvel_expr_is_error(nothing), 1),
            (raw.zorvel_search_get_bound(search), 0.0),
            (raw.zorvel_search_next(search, 0)[1], raw.ZORVEL_PLAN_FOUND),
            (raw.zorvel_search_get_progress(search)[1].best_estimate, -1.0),
            (raw.zorvel_get_version(), "Zorvel v0.0.1"),
        ]
        for given, wanted in rows:
            with self.subTest(wanted):
                self.assertEqual(given, wanted)
                self.assertIs(type(given), type(wanted))

    def test_text_of_any_encoding_goes_in_and_out(self):
        env = raw.zorvel_env_new()
        type_ = raw.zorvel_user_type_new(env, "Küche")
        self.assertEqual(raw.zorvel_type_get_name(type_), "Küche")
        self.assert_raises(TypeError, "in method", raw.zorvel_user_type_new, env, "\udcff")

    def test_a_problem_without_a_plan_is_no_error(self):
        _, problem = parsed(LAMP.replace("[all] lit", "[all] not lit and lit"))
        self.assertEqual(raw.zorvel_ttplan_is_error(raw._zorvel_do_ftp_planning(problem)), 1)

    def test_reference_counts_are_steady(self):
        env, problem = parsed()
        texts, fluents = ["a"], [fluent := raw.zorvel_fluent_iter_next(raw._zorvel_problem_get_fluents(problem))]
        watched = (env, problem, texts, texts[0], fluents, fluent, None)

        def calls():
            raw._zorvel_env_set_vector_string_option(env, "ftp-heuristic", texts, 1)
            raw.zorvel_fluent_get_anml(fluent)
            raw.zorvel_expr_get_anml(raw.zorvel_expr_make_true(env))
            raw._zorvel_type_get_integer_lower_bound(raw.zorvel_integer_type_lub(env, 0, 3))
            for function, *arguments in ((raw.zorvel_parse_anml, env, "missing"), (raw.zorvel_expr_make_not, env, 3),
                                         (raw._zorvel_action_new, env, "a", texts, 1, fluents, 1, [], 0, [], 0)):
                try:
                    function(*arguments)
                except (TypeError, pyzorvel.ZorvelError):
                    pass

        calls()
        before = [sys.getrefcount(thing) for thing in watched]
        blocks = sys.getallocatedblocks()
        for _ in range(10_000):
            calls()
        gc.collect()
        after = [sys.getrefcount(thing) for thing in watched]
        self.assertLess(max(abs(a - b) for a, b in zip(after, before)), 20, (before, after))
        self.assertLess(sys.getallocatedblocks() - blocks, 2_000)


class Callbacks(TestCase):
    COUNTER = ("fluent integer [0, 9] n;\naction up() { duration := 1; [start] n < 9; [end] n := n + 1; };\n"
               "[start] n := 0;\ngoal [end] n == 3;\n")

    def planners(self):
        return (raw.py_zorvel_do_ftp_planning_with_custom_heuristic,
                raw.py_zorvel_do_tsimple_planning_with_custom_heuristic)

    def test_a_heuristic_in_python_guides_and_its_objects_die_with_the_call(self):
        for planner in self.planners():
            env, problem = parsed(self.COUNTER)
            n = raw._zorvel_expr_make_fluent_reference(
                env, raw.zorvel_fluent_iter_next(raw._zorvel_problem_get_fluents(problem)), [], 0)
            kept = []

            def heuristic(state, interpretation):
                kept.append((state, interpretation))
                value = raw.zorvel_state_get_value(state, interpretation, n)
                try:
                    raw.zorvel_parse_anml(env, "missing")  # an error that is caught is none of the search
                except pyzorvel.ZorvelError:
                    pass
                return 3 - raw._zorvel_expr_get_integer_constant(env, value)[1]

            before = sys.getrefcount(heuristic)
            plan = planner(problem, heuristic)
            self.assertGreaterEqual(getattr(raw, "zorvel_ttplan_get_size" if "ftp" in planner.__name__ else
                                            "zorvel_potplan_get_size")(plan), 3)
            self.assertEqual(sys.getrefcount(heuristic), before)
            self.assertGreater(len(kept), 2)
            for state, interpretation in (kept[0], kept[-1]):
                self.assertFalse(state.thisown)
                self.assert_raises(pyzorvel.InternalError, "Error-object", raw.zorvel_state_get_value, state,
                                   interpretation, n)

    def test_what_a_heuristic_raises_comes_out_as_itself(self):
        class Mine(Exception):
            pass

        def raising(*_):
            raise Mine("here")

        rows = [(raising, Mine, "here"), (lambda *_: "text", TypeError, "must be real number"),
                (lambda *_: None, TypeError, "must be real number"), (lambda: 1, TypeError, "positional argument"),
                (lambda *_: float("nan"), pyzorvel.InvalidParameterError, "not finite"),
                (lambda *_: sys.exit(3), SystemExit, "3")]
        for planner in self.planners():
            for function, error, text in rows:
                with self.subTest(planner=planner.__name__, text=text):
                    self.assert_raises(error, text, planner, parsed(self.COUNTER)[1], function)

    def simulated(self, function):
        env = raw.zorvel_env_new()
        boolean = raw.zorvel_boolean_type(env)
        fluent = raw._zorvel_fluent_new(env, "p", boolean, [], 0, [], 0)
        p = raw._zorvel_expr_make_fluent_reference(env, fluent, [], 0)
        end = raw.zorvel_expr_make_point_interval(env, raw.zorvel_expr_make_end_anchor(env))
        start = raw.zorvel_expr_make_point_interval(env, raw.zorvel_expr_make_start_anchor(env))
        effect = raw.py_zorvel_simulated_effect_new(end, [p], 1, function)
        duration = raw.zorvel_expr_make_assign(env, raw.zorvel_expr_make_duration_anchor(env),
                                               raw.zorvel_expr_make_integer_constant(env, 1))
        action = raw._zorvel_action_new(env, "act", [], 0, [], 0, [duration], 1, [effect], 1)
        statements = [raw.zorvel_expr_make_temporal_expression(env, start, raw.zorvel_expr_make_assign(
            env, p, raw.zorvel_expr_make_false(env))), raw.zorvel_expr_make_temporal_expression(env, end, p)]
        return env, raw._zorvel_problem_new(env, [action], 1, [fluent], 1, [], 0, [], 0, [], 0, statements, 2)

    def test_a_simulated_effect_in_python_works_and_raises(self):
        kept = []

        def effect(state, interpretation, parameters, result):
            kept.append(result)
            raw.zorvel_vector_add_expr(result, raw.zorvel_expr_make_true(env))

        env, problem = self.simulated(effect)
        plan = raw._zorvel_do_ftp_planning(problem)
        self.assertEqual(raw.zorvel_ttplan_get_size(plan), 1)
        self.assertEqual(raw.zorvel_ttplan_validate(problem, plan), 1)
        self.assert_raises(pyzorvel.InternalError, "Error-object", raw.zorvel_vector_get_size, kept[0])

        def raising(state, interpretation, parameters, result):
            raw.zorvel_vector_add_expr(result, raw.zorvel_expr_make_true(env))
            raise LookupError("late")

        env, problem = self.simulated(raising)
        self.assert_raises(LookupError, "late", raw._zorvel_do_ftp_planning, problem)

    def test_progress_can_end_a_search(self):
        def stop(*numbers):
            raise StopAsyncIteration(len(numbers))

        problem = parsed(PARITY)[1]
        for heuristic in (None, lambda *_: 1.0):
            self.assert_raises(StopAsyncIteration, "5", raw.py_zorvel_do_planning_with_limits, problem, "ftp", 60, 0,
                               heuristic, stop)


class Lifetimes(TestCase):
    def test_objects_may_be_dropped_in_every_order(self):
        run = run_python("""
import itertools, _pyzorvel as raw
from support import LAMP
made = 0
for order in itertools.permutations(range(5)):
    env = raw.zorvel_env_new()
    problem = raw.zorvel_parse_anml_text(env, LAMP)[0]
    plan = raw._zorvel_do_ftp_planning(problem)
    things = [env, problem, plan, raw._zorvel_problem_get_actions(problem), raw.zorvel_search_new(problem, [], [], 0)]
    del env, problem, plan
    for i in order:
        things[i] = None
    made += 1
print(made)
""")
        self.assertEqual((run.stdout, run.stderr, run.returncode), ("120\n", "", 0))

    def test_the_module_works_without_the_package_being_imported_first(self):
        run = run_python("""
import _pyzorvel as raw
env = raw.zorvel_env_new()
try:
    raw.zorvel_parse_anml(env, "missing")
except Exception as error:
    print(type(error).__module__, error)
""")
        self.assertEqual((run.stdout, run.stderr), (
            "pyzorvel.errors InvalidParameterError: File 'missing' does not exist!\n", ""))


if __name__ == "__main__":
    unittest.main()
