#include <algorithm>
#include <array>

#include "core/unsupported_problem.h"
#include "search/support.h"
#include "support/picker.h"
#include "support/random_problems.h"
#include "transformers/chain.h"

// Problems behind transformers that no planner runs by itself: they have a plan exactly if the original has
// one, and each plan maps back to one of the original.

namespace zorvel::tp::ftp {
namespace {

using model::TransformerChain;

struct Found {
  std::shared_ptr<TimeTriggeredPlan> plan;  // null if there is none
  bool is_known = true;                     // the search came to its end
};

Found search(Environment& env, const model::ProblemPtr& problem, std::uint64_t expansions) {
  FtpPlanner planner(env, problem);
  planner.set_limits(at_most(expansions));
  const auto plan = planner.solve();
  if (plan == nullptr) return {nullptr, planner.outcome() == SearchOutcome::no_plan};
  return {std::make_shared<TimeTriggeredPlan>(plan)};
}

/// Searches the problem and the result of the chain: a plan of the one is missed by neither. True if there
/// was one behind the chain. Some plans of the result are beyond the search of the original, in which no
/// action overlaps itself.
bool agrees(Environment& env, const model::ProblemPtr& problem, const TransformerChain& chain,
            std::uint64_t expansions = 3000) {
  const Found original = search(env, problem, expansions);
  const Found compiled = search(env, chain.problem(), 4 * expansions);
  if (original.plan != nullptr && compiled.is_known) {
    EXPECT_NE(compiled.plan, nullptr) << exact_text(original.plan) << printed(chain.problem());
  }
  if (compiled.plan == nullptr) return false;
  const auto back = std::make_shared<TimeTriggeredPlan>(chain.map_back(compiled.plan));
  TTValidator validator(env, problem);
  EXPECT_TRUE(validator.check_validity(back))
      << exact_text(compiled.plan) << exact_text(back) << validator.reason();
  return true;
}

/// Robots with a place and something in their hand: fluents of objects with and without arguments, written
/// and compared in every way that the compiler knows.
std::string random_object_problem(Picker& picker) {
  const auto object = [&] { return std::string(1, static_cast<char>('a' + picker.pick(3))); };
  const auto fluent = [&] { return picker.chance(2) ? std::string("pos") : "at(" + object() + ")"; };
  const auto atom = [&] {
    switch (picker.pick(4)) {
      case 0: return fluent() + " == " + fluent();
      case 1: return object() + " == " + fluent();
      case 2: return std::string("p");
      default: return fluent() + " == " + object();
    }
  };
  const auto condition = [&] {
    switch (picker.pick(4)) {
      case 0: return "not (" + atom() + ")";
      case 1: return "(" + atom() + ") or not (" + atom() + ")";
      case 2: return "(" + atom() + ") implies (" + atom() + ")";
      default: return atom();
    }
  };
  std::ostringstream text;
  text << "type T; instance T a, b, c; fluent T pos := " << object()
       << "; fluent T at(T x); fluent boolean p := " << (picker.chance(2) ? "true" : "false") << ";\n";
  for (const char* name : {"a", "b", "c"}) text << "[start] at(" << name << ") := " << object() << ";\n";
  for (int i = 2 + picker.pick(2); i > 0; --i) {
    text << "action m" << i << "() { duration := " << picker.between(1, 3) << "; [start] " << condition()
         << ";";
    if (picker.chance(2)) text << " [start, end] " << condition() << ";";
    if (picker.chance(3)) text << " [end] p := " << condition() << ";";
    text << " [end] " << fluent() << " := " << object() << "; };\n";
  }
  if (picker.chance(3)) text << "[2] " << fluent() << " := " << object() << ";\n";
  text << "goal [end] " << condition() << ";\ngoal [end] " << fluent() << " == " << object() << ";\n";
  return text.str();
}

TEST(CompiledProblems, FluentsOfObjectsBecomeBooleans) {
  constexpr std::array<std::string_view, 1> names{"usertype-fluents-compiler"};
  int solved = 0, refuted = 0;
  for (unsigned seed = 0; seed < 150 && !testing::Test::HasFailure(); ++seed) {
    Picker picker(seed);
    const std::string text = random_object_problem(picker);
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
    Environment env;
    const model::ProblemPtr problem = parse(env, text);
    TransformerChain chain(problem);
    chain.apply(names);
    ASSERT_EQ(chain.transformers().size(), 1U);
    ++(agrees(env, problem, chain, 400) ? solved : refuted);
  }
  EXPECT_GT(solved, 40);
  EXPECT_GT(refuted, 10);
}

/// A few actions with events inside of them: closed and open intervals across the cuts, ranges of durations,
/// parameters, numbers.
timed::Problem random_inner_problem(unsigned seed) {
  timed::Features features;
  features.fewest_actions = 1;
  features.most_actions = 2;
  features.fluents = 3;
  features.has_parameters = seed % 3 == 0;
  features.has_plan = seed % 4 != 0;
  timed::Problem problem = timed::random_problem(seed, features);
  problem.has_mutual_exclusion = seed % 5 == 0;
  return problem;
}

TEST(CompiledProblems, ActionsAreCutIntoPiecesThatStayTogether) {
  constexpr std::array<std::string_view, 1> names{"intermediate-effects-compiler"};
  int solved = 0, refuted = 0, refused = 0, steps_of_many = 0;
  for (unsigned seed = 0; seed < 200 && !testing::Test::HasFailure(); ++seed) {
    const std::string text = random_inner_problem(seed).text();
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
    Environment env;
    const model::ProblemPtr problem = parse(env, text);
    TransformerChain chain(problem);
    try {
      chain.apply(names);
    } catch (const UnsupportedProblemError&) {
      ++refused;  // a moment that may lie behind the end, a duration that changes
      continue;
    }
    if (chain.transformers().empty()) continue;
    steps_of_many += chain.problem()->actions().size() > problem->actions().size() + 2 ? 1 : 0;
    ++(agrees(env, problem, chain, 300) ? solved : refuted);
  }
  EXPECT_GT(solved, 30);
  EXPECT_GT(refuted, 5);
  EXPECT_GT(steps_of_many, 10);
}

/// Deliveries among objects, of which a smaller problem leaves some out. All that is said of those is read by
/// nothing that takes part.
TEST(CompiledProblems, BoundedProblemsHaveThePlansThatNeedNoObjectLeftOut) {
  int solved = 0, refuted = 0;
  for (unsigned seed = 0; seed < 60 && !testing::Test::HasFailure(); ++seed) {
    Picker picker(seed);
    std::ostringstream text, goals, active;
    text << "type T; instance T a, b, c, d; fluent boolean road(T x, T y); fluent boolean at(T x); fluent T "
            "last;\n"
         << "action go(T x, T y) { duration := 1; [start] at(x); [start] road(x, y); [end] at(x) := false;"
         << " [end] at(y) := true; [end] last := y; };\n"
         << "[start] forall (T x, T y) { at(x) := false; road(x, y) := false; };\n[start] last := a;\n";
    std::string parsed = text.str();
    // The statements in the forall are replaced, so the facts go in as actions that need no object.
    std::ostringstream facts;
    for (const char from : {'a', 'b', 'c', 'd'})
      for (const char to : {'a', 'b', 'c', 'd'})
        if (from != to && picker.chance(3)) facts << " [end] road(" << from << ", " << to << ") := true;";
    facts << " [end] at(a) := true;";
    parsed +=
        "fluent boolean begun := false; action begin() { duration := 1; [start] not begun; [end] begun := "
        "true;" +
        facts.str() + " };\ngoal [end] last == b;\ngoal [end] at(b);\n";
    const std::string names = picker.chance(3) ? "a, b" : picker.chance(2) ? "a, b, c" : "a, b, c, d";
    SCOPED_TRACE("seed " + std::to_string(seed) + " " + names + "\n" + parsed);
    Environment env;
    const model::ProblemPtr problem = parse(env, parsed);
    model::ChainOptions options;
    options.bounding_problem = parse(env, "type T; instance T " + names + ";");
    TransformerChain chain(problem);
    chain.apply("bounder", options);
    const Found found = search(env, chain.problem(), 2000);
    ASSERT_TRUE(found.is_known);
    ++(found.plan != nullptr ? solved : refuted);
    // Within the bounds: the plain problem in which steps with other objects are impossible.
    std::string restricted = parsed;
    restricted.replace(restricted.find("[start] at(x);"), 14,
                       "[start] at(x); [start] x in {" + names + "}; [start] y in {" + names + "};");
    EXPECT_EQ(search(env, parse(env, restricted), 2000).plan != nullptr, found.plan != nullptr);
    if (found.plan == nullptr) continue;
    const auto back = std::make_shared<TimeTriggeredPlan>(chain.map_back(found.plan));
    EXPECT_TRUE(TTValidator(env, problem).check_validity(back)) << exact_text(back);
  }
  EXPECT_GT(solved, 15);
  EXPECT_GT(refuted, 10);
}

}  // namespace
}  // namespace zorvel::tp::ftp
