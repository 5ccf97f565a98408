#include <gtest/gtest.h>

#include <sstream>

#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"
#include "test_helpers.h"
#include "transformers/random_sets.h"
#include "validation/tt_validator.h"

namespace zorvel {
namespace {

struct Row {
  const char* name;
  std::string problem;
  const char* plan;
  /// Empty for a valid plan; otherwise a part of the reason.
  const char* reason = "";
};

class Validation {
 public:
  explicit Validation(const std::string& text) {
    std::istringstream in(text);
    problem_ = AnmlParser(env_).parse(in);
  }
  bool accepts(const std::string& text) {
    std::istringstream in(text);
    const auto plan = TTPParser(env_, problem_).parse(in);
    TTValidator validator(env_, problem_);
    const bool is_valid = validator.check_validity(plan);
    reason = validator.reason();
    EXPECT_EQ(reason.empty(), is_valid);
    return is_valid;
  }
  std::string reason;

 private:
  Environment env_;
  model::ProblemPtr problem_;
};

void expect_rows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Validation validation(row.problem);
    const bool should_accept = std::string(row.reason).empty();
    EXPECT_EQ(validation.accepts(row.plan), should_accept) << validation.reason;
    EXPECT_NE(validation.reason.find(row.reason), std::string::npos) << validation.reason;
  }
}

const std::string bag =
    "type T; instance T a, b, c; fluent set(T) bag; fluent set(T) box; [start] bag := {a}; [start] box := {};"
    "constant set(T) heavy := {c};"
    "action add(T x) { duration := 1; [start] not (x in bag); [end] bag := bag union {x}; };"
    "action drop(T x) { duration := 1; [start] x in bag; [end] bag := bag \\ {x}; };"
    "action swap() { duration := 2; [end] bag := box; [end] box := bag; };"
    "action only(T x) { duration := 1; [start] bag subset {x}; [end] bag := {x}; };"
    "action guard() { duration := 3; [start, end] bag subset {a, b}; };"
    "action lift(T x) { duration := 1; [start] not (x in heavy); [end] box := box union {x}; };";

TEST(SetPlans, StepsChangeTheMembersThatTheySay) {
  expect_rows({
      {"nothing to do", bag + "goal [end] bag == {a};", ""},
      {"an element more", bag + "goal [end] bag == {b, a};", "0: add(b) [1]"},
      {"an element too many", bag + "goal [end] bag == {b};", "0: add(b) [1]",
       "is violated! (time 2, statement"},
      {"it is there already", bag + "goal [end] a in bag;", "0: add(a) [1]",
       "Condition (not bag(a)) is violated! (time 0, step 0: add(a) [1])"},
      {"both of them", bag + "goal [end] {b, c} subset bag;", "0: add(b) [1]\n0.5: add(c) [1]"},
      {"one of them", bag + "goal [end] {b, c} subset bag;", "0: add(b) [1]", "is violated!"},
      {"away and back", bag + "goal [end] a in bag;", "0: drop(a) [1]\n2: add(a) [1]"},
      {"back at the instant at which it goes", bag + "goal [end] a in bag;", "0: drop(a) [1]\n1: add(a) [1]",
       "is violated! (time 1, step 1: add(a) [1])"},
      {"both sides of a swap read the old sets", bag + "goal [end] box == {a} and bag == {};",
       "1: swap() [2]"},
      {"two swaps", bag + "goal [end] bag == {a};", "1: swap() [2]\n4: swap() [2]"},
      {"subset of one", bag + "goal [end] bag == {a};", "0: only(a) [1]"},
      {"no subset", bag + "goal [end] true;", "0: only(b) [1]", "is violated! (time 0, step 0: only(b) [1])"},
      {"the empty set is a subset", bag + "goal [end] bag == {b};", "0: drop(a) [1]\n2: only(b) [1]"},
  });
}

TEST(SetPlans, TwoAssignmentsToASetAtOneTimeClash) {
  expect_rows({
      {"of different members", bag + "goal [end] true;", "0: add(b) [1]\n0: add(c) [1]", "Double effect"},
      {"one coming and one going", bag + "goal [end] true;", "0: add(b) [1]\n0: drop(a) [1]",
       "Double effect"},
      {"of different sets", bag + "goal [end] true;", "0: add(b) [1]\n0: lift(a) [1]"},
      {"a little apart", bag + "goal [end] {b, c} subset bag;", "0: add(b) [1]\n0.00001: add(c) [1]"},
      {"with a statement of the problem", bag + "[5] bag := bag;[5] box := {c}; goal [end] true;",
       "4: lift(b) [1]", "Double effect"},
  });
}

TEST(SetPlans, ConditionsHoldOverTheirWholeIntervals) {
  expect_rows({
      {"a change that is allowed", bag + "goal [end] true;", "0: guard() [3]\n1: add(b) [1]"},
      {"a change that is not", bag + "goal [end] true;", "0: guard() [3]\n1: add(c) [1]",
       "Durative Condition"},
      {"at its end, seen behind it", bag + "goal [end] true;", "0: guard() [3]\n2: add(c) [1]"},
      {"for a while", bag + "goal [end] true;", "0: guard() [3]\n0.5: add(c) [1]\n1.8: drop(c) [1]",
       "Durative Condition"},
      {"of the problem", bag + "[2, 4] b in bag; goal [end] true;", "0: add(b) [1]\n3: drop(b) [1]"},
      {"of the problem, gone too soon", bag + "[2, 4] b in bag; goal [end] true;",
       "0: add(b) [1]\n2.5: drop(b) [1]", "Durative Condition"},
      {"a timed change of the problem", bag + "[5] bag := {b, c}; goal [end] bag == {c};", "6: drop(b) [1]"},
      {"too early for it", bag + "[5] bag := {b, c}; goal [end] bag == {c};", "4: drop(b) [1]",
       "is violated! (time 4"},
  });
}

TEST(SetPlans, StepsThatCanNeverBeTakenMakeAPlanInvalid) {
  const std::string numbers =
      "fluent set(integer [0, 3]) s := {0}; fluent set(integer [0, 9]) wide := {2, 7}; fluent boolean p := "
      "true;"
      "constant boolean allowed(integer [0, 9] x); allowed(*) := false; allowed(2) := true; allowed(8) := "
      "true;"
      "action put(integer [0, 9] x) { duration := 1; [start] allowed(x); [end] s := s union {x}; };"
      "action take_all() { duration := 1; [end] s := wide; };"
      "action shrink() { duration := 1; [end] wide := wide \\ {7}; }; goal [end] true;";
  const std::string member =
      "type T with { fluent set(T) near; action meet(T x) { duration := 1; [start] x != o; [end] near := "
      "near "
      "union {x}; }; }; instance T o, q; [start] o.near := {}; [start] q.near := {}; goal [end] q in o.near;";
  expect_rows({
      {"allowed", numbers, "0: put(2) [1]"},
      {"ruled out by a constant", numbers, "1.5: put(3) [1]",
       "Step 3/2: put(3) [1] can never be taken with these parameters"},
      {"outside of the type of the set", numbers, "0: put(8) [1]",
       "Condition false is violated! (time 1, step"},
      {"a state with members outside", numbers, "0: take_all() [1]",
       "Condition (not wide(7)) is violated! (time 1"},
      {"a state without", numbers, "0: shrink() [1]\n2: take_all() [1]"},
      {"no value of the parameter's type", numbers, "0: put(12) [1]", "has a parameter 'x'"},
      {"a method", member, "0: o.meet(q) [1]"},
      {"a method with parameters that never fit", member, "0: o.meet(q) [1]\n2: q.meet(o) [1]",
       "Step 2: q.meet(o) [1] can never be taken with these parameters"},
  });
}

TEST(SetPlans, SetsThatStandInExpressionsAloneAreUnderstood) {
  const std::string text =
      "type T; instance T a, b, c; fluent boolean p := false; fluent T at := a;"
      "action go(T x) { duration := 1; [start] x in {a, b}; [start] {x} != {a}; [end] at := x; };"
      "action mark() { duration := 1; [end] p := a in {}; }; goal [end] at == b;";
  expect_rows({
      {"in the set", text, "0: go(b) [1]"},
      {"not in the set", text, "0: go(c) [1]", "is violated! (time 0"},
      {"excluded by an inequality", text, "0: go(a) [1]", "can never be taken"},
      {"a value", text, "0: go(b) [1]\n0: mark() [1]"},
      {"in a constant", "constant boolean k := 3 in {2, 3}; fluent boolean p := true; goal [end] k and p;",
       ""},
  });
}

/// Random plans for random problems, simulated a second time on sets of integers.
TEST(SetPlans, VerdictsAgreeWithAPlainSimulation) {
  constexpr int unit = 2;
  int valid = 0, invalid = 0;
  for (unsigned seed = 0; seed < 300 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random_sets::Random random(seed);
    const random_sets::Problem problem = random_sets::random_problem(random);
    Validation validation(problem.text);
    for (int trial = 0; trial < 8; ++trial) {
      std::vector<random_sets::Step> plan;
      std::string text;
      for (int left = random.pick(4); left > 0; --left) {
        plan.push_back({random.pick(static_cast<int>(problem.actions.size())), random.pick(12)});
        const random_sets::Action& action = problem.actions[static_cast<std::size_t>(plan.back().action)];
        text += std::to_string(plan.back().start) + "/2: " + action.name + "() [" +
                std::to_string(action.duration) + "]\n";
      }
      const bool expected = random_sets::is_valid(problem, plan, unit);
      (expected ? valid : invalid) += 1;
      EXPECT_EQ(validation.accepts(text), expected) << problem.text << text << validation.reason;
    }
  }
  EXPECT_GT(valid, 200);
  EXPECT_GT(invalid, 200);
}

}  // namespace
}  // namespace zorvel
