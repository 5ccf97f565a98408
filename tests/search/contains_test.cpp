#include "search/support.h"

// Problems that want something to hold at some moment of an interval. The validator, which evaluates such
// statements itself, says whether the planner found the moment.

namespace zorvel::tp::ftp {
namespace {

struct Answer {
  model::ProblemPtr problem;
  std::shared_ptr<TimeTriggeredPlan> plan;  // null if none was found
  SearchOutcome outcome;
};

Answer solve(Environment& env, const std::string& text, std::uint64_t expansions) {
  const auto problem = parse(env, text);
  FtpPlanner planner(env, problem);
  planner.set_limits(at_most(expansions));
  const auto plan = planner.solve();
  return {problem, plan ? std::make_shared<TimeTriggeredPlan>(plan) : nullptr, planner.outcome()};
}

std::string random_contains(unsigned seed) {
  std::mt19937 random(seed);
  const auto pick = [&](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
  const auto literal = [&] { return (pick(2) == 0 ? "not p" : "p") + std::to_string(pick(4)); };
  std::string text;
  for (int count = 1 + pick(2); count > 0; --count) {
    // The end of the plan lies where planner and validator like, so it only closes what is open from the
    // start.
    const bool to_end = pick(4) == 0;
    const int from = to_end ? 0 : pick(5);
    const std::string to = to_end ? "end" : std::to_string(from + 1 + pick(4));
    text += (pick(2) == 0 ? "[" : "(") + std::to_string(from) + ", " + to + (pick(2) == 0 ? "]" : ")") +
            " contains (" + literal() + (pick(2) == 0 ? ") or (" : ") and (") + literal() + ");\n";
  }
  return text;
}

TEST(Contains, EveryPlanOfARandomProblemIsValid) {
  int solved = 0, harder = 0;
  for (unsigned seed = 0; seed < 1500 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string plain = random_problem(seed);
    const std::string text = plain + random_contains(seed);
    Environment env;
    env.configuration().set_value("ftp-heuristic",
                                  std::vector<std::string>{seed % 2 == 0 ? "blind" : "hadd"});
    const Answer answer = solve(env, text, 1000);
    if (!answer.plan) continue;
    ++solved;
    TTValidator validator(env, answer.problem);
    EXPECT_TRUE(validator.check_validity(answer.plan)) << validator.reason() << '\n'
                                                       << text << exact_text(answer.plan);
    for (const auto& [start, steps] : answer.plan->steps())
      for (const auto& step : steps) EXPECT_EQ(step->action->name().substr(0, 1), "a");
    // How often the statements matter: the plan for the problem without them does not meet them.
    Environment other;
    const Answer without = solve(other, plain, 1000);
    if (without.plan && exact_text(without.plan) != exact_text(answer.plan)) ++harder;
  }
  EXPECT_GT(solved, 80);
  EXPECT_GT(harder, 20);
}

#define LAMP                                                            \
  "fluent boolean lit := false; fluent boolean done := false;"          \
  "action on() { duration := 1; [start] not lit; [end] lit := true; };" \
  "action off() { duration := 1; [start] lit; [end] lit := false; };"   \
  "action work() { duration := 5; (start, end) lit; [end] done := true; };"

TEST(Contains, TheMomentIsFoundInsideOfTheIntervalAndInOrder) {
  const struct {
    const char* name;
    const char* text;
    bool has_plan;
  } cases[] = {
      {"at once", LAMP "[start, end] contains not lit;", true},
      {"an action is needed", LAMP "[start, end] contains lit; [end] not lit;", true},
      {"only while it is too early", LAMP "[0, 1] contains lit;", false},
      {"just in time", LAMP "[0, 2] contains lit;", true},
      {"late, and then undone", LAMP "[10, 12] contains lit; [end] not lit; [end] done;", true},
      {"both at one moment", LAMP "[2, 9] contains (lit and not lit);", false},
      {"both at two moments", LAMP "[2, 9] contains lit; [2, 9] contains not lit; [end] done;", true},
      {"no time for both", LAMP "[start, 3.5] contains a: lit; (3, 3.5] contains b: not lit;", true},
      {"in the order that is possible",
       LAMP "[start, 4] contains a: not lit; [start, 4] contains b: lit; start(a) < start(b); [1.5, 99] lit;",
       true},
      {"in the order that is not",
       LAMP "[start, 4] contains a: lit; [start, 4] contains b: not lit; start(a) < start(b); [1.5, 99] lit;",
       false},
      {"from the moment on", LAMP "[start, end] contains a: lit; [start(a), end] lit; [end] done;", true},
      {"from the moment on, against a goal",
       LAMP "[start, 9] contains a: lit; [start(a), end] lit; [end] not lit;", false},
      {"until the moment", LAMP "[start, 9] contains a: lit; [start, start(a)] not done; [end] done;", true},
      {"until the moment, which comes too late",
       LAMP "[20, 29] contains a: lit; [start, start(a)] not lit; [end] done;", false},
      {"a fluent inside of a fluent",
       "type P; instance P x, y; fluent P at := x; fluent boolean red(P p); [start] red(x) := false;"
       "[start] red(y) := true; action go() { duration := 1; [end] at := y; };"
       "[start, end] contains red(at);",
       true},
      {"with an uncertain duration, the moment has to be there for sure",
       LAMP "action glow() { duration :in [3, 6]; [start] lit := true; [end] lit := false; };"
            "[8, 9] contains lit; [end] not lit;",
       true},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    Environment env;
    const Answer answer = solve(env, test.text, 20000);
    EXPECT_EQ(answer.plan != nullptr, test.has_plan);
    if (!answer.plan) {
      EXPECT_EQ(answer.outcome, SearchOutcome::no_plan);
      continue;
    }
    if (std::string(test.text).find("[start(") != std::string::npos ||
        std::string(test.text).find(", start(") != std::string::npos)
      continue;  // the validator knows no labels
    TTValidator validator(env, answer.problem);
    EXPECT_TRUE(validator.check_validity(answer.plan)) << validator.reason() << '\n'
                                                       << exact_text(answer.plan);
  }
}

}  // namespace
}  // namespace zorvel::tp::ftp
