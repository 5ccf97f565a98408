#include "search/forward/guided/guided_planner.h"
#include "search/support.h"

// Two actions that have to run at nearly the same time, with and without mutual exclusion, in all forms of
// the forward search.

namespace zorvel::tp::ftp {
namespace {

/// What `go` and `spoil` say; both can begin from 0 to 0.005 alone.
struct Pair {
  const char* name;
  const char* go;
  const char* spoil;
  bool exclude_each_other;
  const char* problem = "";
};

const Pair pairs[] = {
    {"an effect at the instant of a condition", "duration := 2; [start + 2] clear;",
     "duration := 2; [end] clear := false;", true},
    {"an effect that gives what the condition names", "duration := 2; [end] other or clear;",
     "duration := 2; [end] other := true;", true},
    {"on another fluent", "duration := 2; [end] clear;", "duration := 2; [end] other := true;", false},
    {"the end of an interval", "duration := 2; [start, start + 2] clear;",
     "duration := 2; [end] clear := false;", false},
    {"the start of an interval", "duration := 2; [start, end] other or clear;",
     "duration := 1; [start] other := true;", false},
    {"what the opening names", "duration := 2; [start] clear;", "duration := 1; [start] clear := false;",
     true},
    {"an opening that is over", "duration := 0; [start] clear;", "duration := 1; [start] clear := false;",
     true},
    {"what a duration reads", "duration := level;", "duration := 1; [start] level := 3;", true},
    {"a number that is read and written elsewhere", "duration := 2; [end] level >= 1;",
     "duration := 2; [end] level := 1;", true},
    {"a condition in the middle", "duration := 4; [start + 1] clear;",
     "duration := 3; [start + 1] clear := false;", true},
    {"its own effects",
     "duration := 2; [end] clear; [end] clear := false; [start] not other; [start] other := true;",
     "duration := 2;", false},
    {"a timed effect", "duration := 2; [start] clear;", "duration := 2;", true, "[0.005] clear := false;"},
    {"a timed effect on what is not named", "duration := 2; [start] clear;", "duration := 2;", false,
     "[0.005] other := true;"},
};

std::string text_of(const Pair& pair, bool has_mutual_exclusion) {
  return std::string(has_mutual_exclusion ? ":: (\"mutual-exclusion\");" : "") +
         "fluent boolean now := true; fluent boolean clear := true; fluent boolean other := false;"
         "fluent boolean went := false; fluent boolean spoiled := false;"
         "fluent integer [0, 9] level := 2; [0.015] now := false;" +
         pair.problem + "action go() { [start] now; [end] went := true; " + pair.go +
         " }; action spoil() { [start] now; [end] spoiled := true; " + pair.spoil +
         " }; goal [end] went; goal [end] spoiled;";
}

template <class PlannerType>
void expect_plan(const std::string& text, bool is_solvable, const char* option = nullptr) {
  SCOPED_TRACE(text);
  Environment env;
  if (option != nullptr) env.configuration().set_value(option, true);
  env.configuration().set_value("ftp-heuristic", std::vector<std::string>{"blind"});
  const model::ProblemPtr problem = parse(env, text);
  PlannerType planner(env, problem);
  planner.set_limits(at_most(3000));
  const auto plan = planner.solve();
  EXPECT_EQ(planner.outcome(), is_solvable ? SearchOutcome::plan_found : SearchOutcome::no_plan);
  if (plan == nullptr) return;
  TTValidator validator(env, problem);
  EXPECT_TRUE(validator.check_validity(std::make_shared<TimeTriggeredPlan>(plan))) << validator.reason();
}

TEST(MutualExclusion, SetsAConditionAndAnEffectOfAnotherActionApart) {
  for (const Pair& pair : pairs) {
    SCOPED_TRACE(pair.name);
    for (const bool has_mutual_exclusion : {false, true}) {
      const std::string text = text_of(pair, has_mutual_exclusion);
      const bool is_solvable = !has_mutual_exclusion || !pair.exclude_each_other;
      {
        SCOPED_TRACE("guided");
        expect_plan<GuidedPlanner>(text, is_solvable);
      }
      {
        SCOPED_TRACE("dense");
        expect_plan<FtpPlanner>(text, is_solvable);
      }
      for (const char* option : {"ftp-deordering", "simultaneity"}) {
        SCOPED_TRACE(option);
        expect_plan<FtpPlanner>(text, is_solvable, option);
      }
    }
  }
}

// Whoever ends closes the street for those that have not begun.
TEST(MutualExclusion, HoldsInEveryBetterPlanToo) {
  Environment env;
  const model::ProblemPtr problem =
      parse(env,
            ":: (\"mutual-exclusion\"); type Car; instance Car a, b, c;"
            "fluent boolean clear := true; fluent boolean waiting(Car c); fluent boolean through(Car c);"
            "[start] { waiting(a) := false; waiting(b) := true; waiting(c) := true;"
            " forall (Car c) { through(c) := false; }; };"
            "action pass(Car c) { duration := 2; [start] clear; [start] not waiting(c); [end] clear := false;"
            " [end] through(c) := true; };"
            "action rest(Car c) { duration := 2; [start] waiting(c); [end] waiting(c) := false; };"
            "goal [end] { through(a); through(b); through(c); };");
  GuidedPlanner planner(env, problem);
  planner.set_limits(at_most(2000));
  TTValidator validator(env, problem);
  int plans = 0;
  while (const auto plan = planner.next()) {
    ++plans;
    EXPECT_TRUE(validator.check_validity(plan)) << validator.reason() << exact_text(plan);
  }
  EXPECT_GT(plans, 0);
}

}  // namespace
}  // namespace zorvel::tp::ftp
