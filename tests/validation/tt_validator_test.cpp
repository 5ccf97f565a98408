#include "validation/tt_validator.h"

#include <gtest/gtest.h>

#include <sstream>

#include "core/errors.h"
#include "model/model_factory.h"
#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"
#include "state/search_state.h"

namespace zorvel {
namespace {

struct Row {
  const char* name;
  const char* problem;
  const char* plan;
  /// Empty for a valid plan; otherwise a part of the reason.
  const char* reason = "";
};

class Validation {
 public:
  explicit Validation(const std::string& problem_text) {
    std::istringstream in(problem_text);
    problem = AnmlParser(env).parse(in);
  }
  bool accepts(const std::string& plan_text) {
    std::istringstream in(plan_text);
    const auto plan = TTPParser(env, problem).parse(in);
    TTValidator validator(env, problem);
    const bool is_valid = validator.check_validity(plan);
    reason = validator.reason();
    return is_valid;
  }

  Environment env;
  model::ProblemPtr problem;
  std::string reason;
};

void expect_rows(std::initializer_list<Row> rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Validation validation(row.problem);
    const bool should_accept = std::string(row.reason).empty();
    EXPECT_EQ(validation.accepts(row.plan), should_accept) << validation.reason;
    if (should_accept)
      EXPECT_EQ(validation.reason, "");
    else
      EXPECT_NE(validation.reason.find(row.reason), std::string::npos) << validation.reason;
  }
}

/// Actions that switch p on and off, and that want it over some interval.
#define SWITCHES                                         \
  "fluent boolean p := true; fluent boolean q := false;" \
  "action off() { duration >= 0; [start] p := false; };" \
  "action on() { duration >= 0; [start] p := true; };"   \
  "action mark() { duration >= 0; [start] q := true; };"
/// So that something happens behind the last step.
#define GOAL " goal [end] true;"

TEST(TTValidator, ChecksGoalsOneUnitBehindTheLastEvent) {
  const char* const make = "fluent boolean p := false; action mk() { duration := 2; [end] p := true; };";
  const std::string at_end = std::string(make) + "goal [end] p;";
  const std::string before_end = std::string(make) + "goal [end - 1] p;";
  const std::string long_before_end = std::string(make) + "goal [end - 0.5] p;";
  const std::string switched_off = at_end + "[10] p := false;";
  expect_rows({
      {"goal holds from the start", "fluent boolean p := true; goal [end] p;", ""},
      {"goal does not hold", at_end.c_str(), "", "Condition p is violated! (time 1, statement"},
      {"goal is reached", at_end.c_str(), "0: mk() [2]"},
      {"half a unit behind the effect", long_before_end.c_str(), "0: mk() [2]"},
      {"the last effect is not seen one unit before the end", before_end.c_str(), "0: mk() [2]",
       "Condition p is violated! (time 2"},
      {"a timed effect of the problem comes last", switched_off.c_str(), "0: mk() [2]",
       "Condition p is violated! (time 11"},
      {"and can be mended behind it", switched_off.c_str(), "8.5: mk() [2]"},
      {"a bare statement stands at the start", "fluent boolean p := false; p;", "",
       "Condition p is violated! (time 0"},
      {"so does one at start", "fluent boolean p := true; [start] p;", ""},
  });
}

TEST(TTValidator, ChecksStatementsOverTheProblemsTime) {
  expect_rows({
      {"held all the time", SWITCHES "[start, end] p;", "1: mark() [1]"},
      {"not held to the end", SWITCHES "[start, end] p;", "1: off() [1]", "Durative Condition p"},
      {"off inside an absolute interval", SWITCHES "[2, 4] p;" GOAL, "3: off() [1]", "Durative Condition p"},
      {"off at its end", SWITCHES "[2, 4] p;" GOAL, "4: off() [1]"},
      {"off before it, on again at its start", SWITCHES "[2, 4] p;" GOAL, "1: off() [1]\n2: on() [1]",
       "Durative Condition p"},
      {"the same for an interval without its start", SWITCHES "(2, 4] p;" GOAL, "1: off() [1]\n2: on() [1]"},
      {"off at its start", SWITCHES "(2, 4] p;" GOAL, "2: off() [1]", "Durative Condition p"},
      {"off and on inside, with nothing in between", SWITCHES "[2, 4] p;" GOAL,
       "2.5: off() [1]\n3.5: on() [1]", "Durative Condition p"},
      {"interval from the plan's end", SWITCHES "[end - 2, end] p;", "0: off() [1]\n4: mark() [1]",
       "Durative Condition p"},
      {"reached before it", SWITCHES "[end - 2, end] p;", "0: off() [1]\n1: on() [1]\n4: mark() [1]"},
      {"longer than the plan, with the last change inside", SWITCHES "[0, 100] p;", "5: off() [1]",
       "Durative Condition p"},
  });
}

TEST(TTValidator, ShowsAnEffectOnlyBehindItsInstant) {
  const char* const text = SWITCHES
      "action want() { duration := 1; [start] p; };"
      "action want_end() { duration := 1; [end] p; };"
      "action swap() { duration := 3; [end] p := q; [end] q := p; };" GOAL;
  expect_rows({
      {"a condition beside the effect that spoils it", text, "3: off() [1]\n3: want() [1]"},
      {"a condition just behind", text, "3: off() [1]\n3.00001: want() [1]",
       "Condition p is violated! (time 300001/100000, step 300001/100000: want() [1])"},
      {"a condition beside the effect that it waits for", text, "1: off() [1]\n3: on() [1]\n3: want() [1]",
       "Condition p is violated!"},
      {"likewise at the end", text, "1: off() [1]\n4: on() [1]\n3: want_end() [1]",
       "Condition p is violated!"},
      {"two effects that read one another",
       SWITCHES "action swap() { duration := 3; [end] p := q; [end] q := p; }; goal [end] (q and (not p));",
       "0: swap() [3]"},
  });
}

TEST(TTValidator, RefusesTwoEffectsOnOneFluentAtOneTime) {
  const char* const text = SWITCHES GOAL;
  expect_rows({
      {"of different values", text, "1: on() [1]\n1: off() [1]", "Double effect on p at the same time!"},
      {"of the same value", text, "1: on() [1]\n1: on() [1]", "Double effect on p"},
      {"a hundred-thousandth apart", text, "1: on() [1]\n1.00001: off() [1]"},
      {"a millionth apart", text, "1: on() [1]\n1.000001: off() [1]", "Double effect on p"},
      {"at times that only meet when exact",
       "fluent boolean p := false;"
       "action a() { duration >= 0; [end] p := true; }; action b() { duration >= 0; [start] p := true; "
       "};" GOAL,
       "2/3: a() [0.333335]\n1.0000016: b() [1]", "Double effect on p"},
      {"with a timed effect of the problem", SWITCHES "[4] p := false;" GOAL, "4: on() [1]",
       "Double effect on p"},
      {"on different arguments",
       "type L; instance L a, b; fluent boolean f(L x); [start] f(a) := false; [start] f(b) := false;"
       "action set_it(L x) { duration := 1; [start] f(x) := true; }; goal [end] (f(a) and f(b));",
       "0: set_it(a) [1]\n0: set_it(b) [1]"},
  });
}

TEST(TTValidator, ChecksConditionsOverAnInterval) {
  const char* const closed = SWITCHES "action hold() { duration >= 0; [start, end] p; };" GOAL;
  const char* const open = SWITCHES "action hold() { duration >= 0; (start, end) p; };" GOAL;
  const char* const left_open = SWITCHES "action hold() { duration >= 0; (start, end] p; };" GOAL;
  expect_rows({
      {"nothing changes", closed, "0: hold() [5]"},
      {"off at the end", closed, "0: hold() [5]\n5: off() [1]"},
      {"off at the start", closed, "0: hold() [5]\n0: off() [1]",
       "Durative Condition p is violated at time 5 (time 0, step 0: hold() [5])"},
      {"off inside, and the next event lies behind the end", closed, "0: hold() [5]\n3: off() [4]",
       "Durative Condition p is violated at time 5"},
      {"off just before the end", closed, "0: hold() [5]\n4.99999: off() [1]", "Durative Condition p"},
      {"off and on again inside", closed, "0: hold() [5]\n3: off() [1]\n3.5: on() [1]",
       "Durative Condition p"},
      {"on at the start of a closed interval", closed, "0: off() [1]\n2: on() [1]\n2: hold() [5]",
       "Durative Condition p"},
      {"on at the start of an open one", open, "0: off() [1]\n2: on() [1]\n2: hold() [5]"},
      {"on behind the start of an open one", open, "0: off() [1]\n2: hold() [5]\n2.1: on() [1]",
       "Durative Condition p"},
      {"never on, and nothing happens inside", left_open, "0: off() [1]\n2: hold() [0.5]",
       "Durative Condition p"},
      {"an open interval without length is empty", open, "0: off() [1]\n2: hold() [0]"},
      {"a closed one is a point", closed, "0: off() [1]\n2: hold() [0]", "Condition p is violated!"},
      {"two holders, of which the later one is broken", closed, "0: hold() [2]\n1: hold() [4]\n3: off() [1]",
       "step 1: hold() [4]"},
      {"an interval turned inside out demands nothing",
       SWITCHES "action hold() { duration >= 0; [start + 3, end - 3] p; };" GOAL,
       "0: off() [1]\n2: hold() [5]"},
      {"inner bounds", SWITCHES "action hold() { duration >= 0; [start + 2, end - 1] p; };" GOAL,
       "0: hold() [10]\n1: off() [0.1]\n1.5: on() [0.1]\n9: off() [1]"},
      {"inner bounds broken", SWITCHES "action hold() { duration >= 0; [start + 2, end - 1] p; };" GOAL,
       "0: hold() [10]\n8.9: off() [1]", "Durative Condition p is violated at time 9"},
  });
}

TEST(TTValidator, WantsAContainsConditionAtSomeMoment) {
  const char* const text =
      "fluent boolean p := false;"
      "action on() { duration >= 0; [start] p := true; }; action off() { duration >= 0; [start] p := false; "
      "};"
      "action look() { duration >= 0; [start, end] contains p; };";
  const std::string with_goal = std::string(text) + GOAL;
  expect_rows({
      {"never", with_goal.c_str(), "0: look() [5]", "Contains condition p is violated!"},
      {"never, and nothing comes behind its end", text, "0: look() [5]", "Contains condition p is violated!"},
      {"in the middle", with_goal.c_str(), "0: look() [5]\n2: on() [0.5]\n3: off() [0.5]"},
      {"only behind the last event inside", with_goal.c_str(), "0: look() [5]\n4: on() [10]"},
      {"only from its end on", with_goal.c_str(), "0: look() [5]\n5: on() [1]",
       "Contains condition p is violated!"},
      {"only up to its start", with_goal.c_str(), "0: on() [1]\n2: look() [5]\n2: off() [1]"},
  });
}

TEST(TTValidator, BoundsDurationsWithAHundredThousandthOfSlack) {
  const auto problem = [](const std::string& bound) {
    return "fluent boolean p := true; constant integer five := 5; action a() { " + bound + " [start] p; };";
  };
  const std::string exact = problem("duration := five;"), equal = problem("duration == 5;"),
                    most = problem("duration <= 5;"), least = problem("5 <= duration;"),
                    below = problem("duration < 5;"), sum = problem("duration + 0 <= 5;"),
                    timed = problem("[start] duration >= 5;"),
                    range = problem("duration >= 2; duration <= 3;");
  expect_rows({
      {"exact", exact.c_str(), "0: a() [5]"},
      {"nearly", exact.c_str(), "0: a() [5.000001]"},
      {"too long", exact.c_str(), "0: a() [5.0001]", "(time 0, step 0: a() [50001/10000])"},
      {"too short", equal.c_str(), "0: a() [4.9999]", "is violated!"},
      {"nearly the upper bound", most.c_str(), "0: a() [5.000001]"},
      {"above it", most.c_str(), "0: a() [5.0001]", "Condition (duration <= 5) is violated!"},
      {"turned round, there is no slack", least.c_str(), "0: a() [4.9999]", "is violated!"},
      {"a strict bound has no slack", below.c_str(), "0: a() [5]", "is violated!"},
      {"below a strict bound", below.c_str(), "0: a() [4.999999]"},
      {"an expression over the duration has none", sum.c_str(), "0: a() [5]"},
      {"a bound with a time", timed.c_str(), "0: a() [4]", "is violated!"},
      {"within a range", range.c_str(), "0: a() [5/2]"},
      {"outside of it", range.c_str(), "0: a() [7/2]", "(duration <= 3)"},
  });
}

TEST(TTValidator, PlacesIntermediateStatementsFromEitherEnd) {
  const char* const text =
      "fluent boolean p := false; constant integer wait := 2;"
      "action pulse() { duration >= 0; [start + wait] p := true; [end - 1] p := false; };"
      "action late() { duration := 10; [3] p := true; };"
      "action want() { duration := 1; [start, end] p; };" GOAL;
  expect_rows({
      {"inside the pulse", text, "10: pulse() [5]\n12.1: want() [1]"},
      {"before it", text, "10: pulse() [5]\n12: want() [1]", "Durative Condition p"},
      {"behind it", text, "10: pulse() [5]\n13.5: want() [1]", "Durative Condition p"},
      {"a bare number counts from the start of the step", text, "10: late() [10]\n13.1: want() [1]"},
      {"and not from that of the plan", text, "10: late() [10]\n4: want() [1]", "Durative Condition p"},
      {"on and off at once", text, "10: pulse() [3]", "Double effect on p"},
  });
}

TEST(TTValidator, ComputesWithExactNumbers) {
  const char* const battery =
      "fluent integer [0, 10] b := 10; fluent float x := 0.0; fluent integer y := 0;"
      "action use() { duration := 1; [end] b := b - 3; };"
      "action use_safely() { duration := 1; [start] b >= 3; [end] b := b - 3; };"
      "action third() { duration := 1; [end] x := x + 1.0 / 3.0; };"
      "action halve() { duration := 1; [end] y := 7 / 2; };"
      "action divide() { duration := 1; [start] y != 0 and 6 / y > 2; };"
      "action root() { duration := 1; [end] x := 1.0 / x; };"
      "action more() { duration := 1; [end] b :-= 2; [end] y :+= 2; };";
  const auto with_goal = [&](const char* goal) { return std::string(battery) + "goal [end] " + goal + ";"; };
  const std::string one = with_goal("b == 1"), unit = with_goal("x == 1"), three = with_goal("y == 3"),
                    eight = with_goal("b == 8 and y == 2"), none = with_goal("true");
  expect_rows({
      {"three uses", one.c_str(), "0: use_safely() [1]\n2: use_safely() [1]\n4: use_safely() [1]"},
      {"a fourth is refused by its condition", none.c_str(),
       "0: use() [1]\n2: use() [1]\n4: use() [1]\n6: use_safely() [1]", "Condition (b >= 3) is violated!"},
      {"and by the bounds of the fluent", none.c_str(),
       "0: use() [1]\n2: use() [1]\n4: use() [1]\n6: use() [1]",
       "Effect on b leaves the type integer [0, 10]: -2"},
      {"three thirds are one", unit.c_str(), "0: third() [1]\n2: third() [1]\n4: third() [1]"},
      {"a quotient of integers is cut", three.c_str(), "0: halve() [1]"},
      {"a guarded division by zero is no more than false", none.c_str(), "0: divide() [1]", "is violated!"},
      {"an effect that divides by zero", none.c_str(), "0: root() [1]", "Effect on x divides by zero"},
      {"increase and decrease", eight.c_str(), "0: more() [1]"},
  });
}

TEST(TTValidator, FollowsArgumentsThatAreFluents) {
  const char* const text =
      "fluent integer [1, 3] pos := 1; fluent boolean free(integer [1, 3] i); fluent integer [1, 3] "
      "back(integer [1, 3] i);"
      "[start] free(1) := true; [start] free(2) := true; [start] free(3) := false;"
      "[start] back(1) := 1; [start] back(2) := 1; [start] back(3) := 2;"
      "action step() { duration := 1; [start] free(pos + 1); [end] pos := pos + 1; [end] free(pos) := true; "
      "};"
      "action open() { duration := 1; [end] free(3) := true; };"
      "action spoil() { duration := 1; [end] free(pos + 1) := false; };"
      "action jump() { duration := 1; [end] pos := (2 * pos) / 2; };"
      "action hold() { duration := 2; [start, end] free(back(pos + 1)); };" GOAL;
  expect_rows({
      {"two steps", text, "0: open() [1]\n2: step() [1]\n4: step() [1]"},
      {"the second is blocked", text, "0: step() [1]\n2: step() [1]",
       "Condition free((pos + 1)) is violated!"},
      {"beyond the last place a condition is false", text,
       "0: open() [1]\n2: step() [1]\n4: step() [1]\n6: step() [1]",
       "Condition free((pos + 1)) is violated!"},
      {"and an effect impossible", text, "0: open() [1]\n2: step() [1]\n4: step() [1]\n6: spoil() [1]",
       "which has an argument outside its parameter's type"},
      {"a whole quotient is an integer again", text, "0: jump() [1]\n2: step() [1]"},
      {"a condition whose fluent moves", text, "0: hold() [2]\n0.5: step() [1]"},
      {"and meets another value", text, "0: hold() [2]\n0.5: step() [1]\n1.7: spoil() [0.1]", "is violated!"},
  });
}

TEST(TTValidator, LooksThroughTypesAndForall) {
  const char* const cars =
      "type Car with { fluent boolean runs; constant integer need;"
      "  action go() { duration := need; [start] not runs; [end] runs := true; }; };"
      "type Place; instance Car c1, c2; instance Place here;"
      "c1.need := 1; c2.need := 2; [start] forall (Car c) { c.runs := false; };"
      "goal [end] forall (Car c) { c.runs; };";
  const char* const sweep =
      "type L; instance L a, b; fluent boolean f(L x); [start] forall (L x) { f(x) := false; };"
      "action all_on() { duration := 1; [end] forall (L x) { f(x) := true; }; };"
      "action one(L x) { duration := 1; [end] f(x) := true; }; goal [end] forall (L x) { f(x); };";
  expect_rows({
      {"both cars", cars, "0: c1.go() [1]\n0: c2.go() [2]"},
      {"a duration of the wrong car", cars, "0: c1.go() [1]\n0: c2.go() [1]", "step 0: c2.go() [1]"},
      {"one car is left out", cars, "0: c1.go() [1]", "is violated!"},
      {"a method without its object", cars, "0: go() [1]", "Step 0: go() [1] names no object"},
      {"an object that is no car", cars, "0: here.go() [1]", "runs on an object that is no Car"},
      {"an effect on all", sweep, "0: all_on() [1]"},
      {"an effect on one", sweep, "0: one(a) [1]", "Condition f(b) is violated!"},
  });
}

TEST(TTValidator, RefusesStepsThatDoNotFitTheirAction) {
  const char* const text =
      "type L; type M; instance L a; instance M m; fluent boolean p := true;"
      "action go(L x, integer [1, 3] n, boolean c) { duration >= 0; [start] p; };" GOAL;
  expect_rows({
      {"fitting", text, "0: go(a, 3, true) [1]"},
      {"an object of another type", text, "0: go(m, 3, true) [1]", "has a parameter 'x' that is no L"},
      {"a number out of range", text, "0: go(a, 4, true) [1]",
       "has a parameter 'n' that is no integer [1, 3]"},
      {"a number for a boolean", text, "0: go(a, 3, 1) [1]", "has a parameter 'c' that is no boolean"},
      {"an object for no reason", text, "0: a.go(a, 3, true) [1]", "names an object"},
  });
  Validation validation(text);
  const auto plan = std::make_shared<TimeTriggeredPlan>(validation.env);
  const auto go = validation.problem->actions().at("go");
  TTValidator validator(validation.env, validation.problem);
  plan->add_step(std::make_shared<TimeTriggeredStep>(0, go, std::vector<Node*>(), rational(1)));
  EXPECT_FALSE(validator.check_validity(plan));
  EXPECT_EQ(validator.reason(), "Step 0: go() [1] needs 3 parameters");
}

TEST(TTValidator, TakesAStepWithoutDurationAsOneOfNone) {
  Validation validation(SWITCHES "action hold() { [start, end] p; };");
  const auto plan = std::make_shared<TimeTriggeredPlan>(validation.env);
  const auto add = [&](const rational& start, const char* name) {
    plan->add_step(std::make_shared<TimeTriggeredStep>(start, validation.problem->actions().at(name),
                                                       std::vector<Node*>(), std::nullopt));
  };
  TTValidator validator(validation.env, validation.problem);
  add(3, "hold");
  EXPECT_TRUE(validator.check_validity(plan)) << validator.reason();
  add(-1, "hold");
  EXPECT_FALSE(validator.check_validity(plan));
  EXPECT_EQ(validator.reason(), "Step -1: hold() starts before time 0");
}

// The effect sees the state before its instant and the step's parameters, and its values are effects like
// any other: seen from behind the instant, one at a time a fluent, within bounds.
TEST(TTValidator, RunsSimulatedEffects) {
  Validation base(
      "fluent integer [0, 10] x := 1; fluent integer y := 0;"
      "action spoil() { duration >= 0; [start] x := 5; }; goal [end] x == 3;");
  model::ExpressionFactory& factory = base.env.expression_factory();
  Node* const x = factory.make_fluent_reference(base.problem->fluents().at("x"), {});
  const auto by = std::make_shared<model::ParameterImpl>("by", base.env.model_factory().make_integer_type());
  model::SimulatedEffectImpl effect;
  effect.timing = factory.make_point_interval(factory.make_end_anchor());
  effect.fluents = {x};
  effect.function = [&](const SearchState& state, const StateIndex& index, const std::vector<Node*>& actual) {
    const integer old = factory.get_integer_constant(state.value(index.at(x)));
    return std::vector<Node*>{
        factory.make_integer_constant(old + factory.get_integer_constant(actual.at(0)))};
  };
  const auto add = base.env.model_factory().make_action(
      "add", {}, false, {by}, {}, {std::make_shared<model::SimulatedEffectImpl>(effect)});
  std::vector<std::shared_ptr<model::FluentImpl>> fluents;
  for (const auto& [name, fluent] : base.problem->fluents()) fluents.push_back(fluent);
  const auto spoil = base.problem->actions().at("spoil");
  const auto problem = base.env.model_factory().make_problem_instance(
      {add, spoil}, fluents, {}, {}, {},
      {base.problem->expressions().begin(), base.problem->expressions().end()}, {}, {});

  TTValidator validator(base.env, problem);
  const auto plan = std::make_shared<TimeTriggeredPlan>(base.env);
  const auto add_at = [&](const rational& start, int amount) {
    plan->add_step(std::make_shared<TimeTriggeredStep>(
        start, add, std::vector<Node*>{factory.make_integer_constant(integer(amount))}, rational(1)));
  };
  add_at(0, 2);
  EXPECT_TRUE(validator.check_validity(plan)) << validator.reason();
  add_at(2, 1);
  EXPECT_FALSE(validator.check_validity(plan));
  EXPECT_NE(validator.reason().find("Condition (x == 3) is violated!"), std::string::npos);
  add_at(3, 9);
  EXPECT_FALSE(validator.check_validity(plan));
  EXPECT_NE(validator.reason().find("Effect on x leaves the type integer [0, 10]: 13"), std::string::npos)
      << validator.reason();
  plan->add_step(std::make_shared<TimeTriggeredStep>(1, spoil, std::vector<Node*>(), rational(1)));
  EXPECT_FALSE(validator.check_validity(plan));
  EXPECT_NE(validator.reason().find("Double effect on x"), std::string::npos) << validator.reason();
}

TEST(TTValidator, RaisesOnWhatHasNoValueInAnyState) {
  const auto error_of = [](const char* problem, const char* plan) -> std::string {
    try {
      Validation(problem).accepts(plan);
      return "none";
    } catch (const ZorvelError& error) {
      return error.what();
    }
  };
  EXPECT_EQ(error_of("fluent boolean p; fluent boolean f(boolean b); goal [end] p;", ""),
            "InvalidParameterError: Missing value for fluent: p");
  EXPECT_EQ(error_of("fluent boolean f(boolean b); [start] f(true) := true;"
                     "action a(boolean b) { duration := 1; [start] f(b); };",
                     "0: a(false) [1]"),
            "InvalidParameterError: Missing value for fluent: f(false)");
  EXPECT_EQ(error_of("fluent boolean p := true; [start, end] p := false;", ""),
            "InternalError: Found an effect over a non-punctual interval");
  EXPECT_EQ(error_of("fluent boolean p := true; fluent integer x := 1; [start + x] p;", ""),
            "InvalidParameterError: Unsupported timing for expression: [(start + x)] p");
  EXPECT_EQ(error_of("type L; instance L a; fluent L x := a; goal [end] (x in {a});", ""),
            "UnsupportedProblemError: Set compiler is not able to handle this expression: (x in {a})");
}

TEST(TTValidator, AnswersForManyPlansAlike) {
  Validation validation(SWITCHES "action hold() { duration := 5; [start, end] p; };" GOAL);
  TTValidator validator(validation.env, validation.problem);
  const auto read = [&](const std::string& text) {
    std::istringstream in(text);
    return TTPParser(validation.env, validation.problem).parse(in);
  };
  for (int round = 0; round < 3; ++round) {
    EXPECT_FALSE(validator.check_validity(read("0: hold() [5]\n3: off() [1]")));
    EXPECT_NE(validator.reason(), "");
    EXPECT_TRUE(validator.check_validity(read("0: hold() [5]")));
    EXPECT_EQ(validator.reason(), "");
  }
}

}  // namespace
}  // namespace zorvel
