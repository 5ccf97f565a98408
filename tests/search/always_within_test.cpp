#include "search/forward/guided/guided_planner.h"
#include "search/support.h"
#include "support/random_problems.h"

// Rules `always-within`. The validator looks at states; the planner takes each rule as an action.

namespace zorvel::tp::ftp {
namespace {

struct Case {
  const char* name;
  const char* rule;  // behind the limit
  const char* goals;
  bool is_solvable;
};

// `raise` takes 1 and makes p true at its end, `calm` takes 3 and makes q true at its end, `drop` makes both
// false at its start.
const std::string actions =
    "fluent boolean p := false; fluent boolean q := false; fluent boolean r := true; fluent boolean s := "
    "false;"
    "action raise() { duration := 1; [end] p := true; };"
    "action calm() { duration := 3; [start] p; [end] q := true; };"
    "action drop() { duration := 1; [start] q; [start] p := false; [start] q := false; [end] s := true; };"
    "action leave() { duration := 2; [end] r := false; };";

TEST(AlwaysWithin, IsKeptByThePlannersAndDecidesWhetherThereIsAPlan) {
  const Case cases[] = {
      {"long enough", "4, p, q", "[end] p;", true},
      // `calm` begins an epsilon behind p.
      {"exactly long enough", "3.01, p, q", "[end] p;", true},
      {"too short", "3, p, q", "[end] p;", false},
      {"nothing to answer", "3, p, q", "[end] not r;", true},
      {"owed again", "4, p, q", "[end] s; [end] p;", true},
      {"owed from the start on", "2.5, r, not r", "", true},
      {"owed from the start on, at the last moment", "2, r, not r", "", true},
      {"owed from the start on, too short", "1.9, r, not r", "", false},
      {"answered by the same effect", "0, p, p", "[end] p;", true},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    const std::string rule = std::string(":: (\"always-within\", ") + test.rule + ");";
    for (const bool has_mutual_exclusion : {false, true}) {
      const std::string text =
          (has_mutual_exclusion ? ":: (\"mutual-exclusion\");" : "") + actions + rule + test.goals;
      Environment env;
      const model::ProblemPtr problem = parse(env, text);
      ASSERT_EQ(problem->rules().always_within.size(), 1U);
      GuidedPlanner guided(env, problem);
      FtpPlanner forward(env, problem);
      for (FtpPlanner* const planner : {static_cast<FtpPlanner*>(&guided), &forward}) {
        planner->set_limits(at_most(4000));
        const auto plan = planner->solve();
        EXPECT_EQ(plan != nullptr, test.is_solvable) << planner->name();
        if (plan == nullptr) continue;
        TTValidator validator(env, problem);
        EXPECT_TRUE(validator.check_validity(std::make_shared<TimeTriggeredPlan>(plan)))
            << validator.reason() << exact_text(plan);
      }
    }
  }
}

TEST(AlwaysWithin, EveryPlanOfARandomProblemIsValid) {
  int solved = 0, harder = 0;
  for (unsigned seed = 0; seed < 100 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto fluent = [&] { return "p" + std::to_string(random() % 8); };
    timed::Features features = timed::overlapping(3 * seed);
    features.has_parameters = false;
    const std::string plain = timed::random_problem(seed, features).text();
    const std::string trigger = fluent();
    const std::string rule = ":: (\"always-within\", " + std::to_string(random() % 6) + ", " + trigger +
                             ", " + (seed % 2 == 0 ? "not " + trigger : fluent()) + ");\n";
    Environment env;
    const model::ProblemPtr problem = parse(env, plain + rule);
    GuidedPlanner planner(env, problem);
    planner.set_limits(at_most(1000));
    const auto plan = planner.solve();
    if (plan == nullptr) continue;
    ++solved;
    TTValidator validator(env, problem);
    EXPECT_TRUE(validator.check_validity(std::make_shared<TimeTriggeredPlan>(plan)))
        << validator.reason() << '\n'
        << plain << rule << exact_text(plan);
    Environment other;
    GuidedPlanner without(other, parse(other, plain));
    without.set_limits(at_most(1000));
    const auto free = without.solve();
    if (free != nullptr && exact_text(free) != exact_text(plan)) ++harder;
  }
  EXPECT_GT(solved, 30);
  EXPECT_GT(harder, 5);
}

}  // namespace
}  // namespace zorvel::tp::ftp
