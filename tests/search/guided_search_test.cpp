#include <algorithm>

#include "search/forward/guided/guided_planner.h"
#include "search/support.h"
#include "support/random_problems.h"
#include "transformers/plan_quality.h"

// The guided search against what is known of random problems, with each of its parts left out in turn, and
// with both orders of the path.

namespace zorvel::tp::ftp {
namespace {

/// One part is left out, or none.
GuidedParts parts_for(unsigned seed) {
  GuidedParts parts;
  const auto names = guided_part_names();
  // why divided: the features of the random problems go by the remainders of the seed.
  const std::size_t number = seed / 4 % (names.size() + 1);
  if (number < names.size()) parts.leave_out(names[number]);
  return parts;
}

int makespan_in_ticks(const std::vector<timed::Step>& plan) {
  int latest = 0;
  for (const timed::Step& step : plan) latest = std::max(latest, step.start + step.duration);
  return latest;
}

bool overlaps_itself(const std::vector<timed::Step>& plan) {
  for (std::size_t i = 0; i < plan.size(); ++i)
    for (std::size_t j = i + 1; j < plan.size(); ++j)
      if (plan[i].action == plan[j].action && plan[i].object == plan[j].object &&
          plan[i].start <= plan[j].start + plan[j].duration &&
          plan[j].start <= plan[i].start + plan[i].duration)
        return true;
  return false;
}

struct Counts {
  int solved = 0, improved = 0, proved = 0, refuted = 0;
};

/// Asks for plans until the planner has no better one, or has expanded too many states. All must be valid,
/// each shorter than the one before, and no plan known to exist may be denied or shorter than what is called
/// optimal.
void check_problem(const timed::Problem& problem, const std::vector<timed::Step>& known, unsigned seed,
                   Counts& counts) {
  SCOPED_TRACE(problem.text() + timed::plan_text(problem, known));
  Environment env;
  const model::ProblemPtr parsed = parse(env, problem.text());
  TTValidator validator(env, parsed);
  GuidedPlanner planner(env, parsed);
  planner.set_parts(parts_for(seed));
  planner.set_limits(at_most(1500));
  const bool is_in_reach = !overlaps_itself(known);
  std::optional<rational> last;
  while (const auto plan = planner.next()) {
    EXPECT_TRUE(validator.check_validity(plan)) << validator.reason() << "\n" << exact_text(plan);
    const rational makespan = model::makespan(*plan);
    EXPECT_EQ(makespan, planner.best_makespan());
    if (last) {
      EXPECT_LT(makespan, *last);
      ++counts.improved;
    } else {
      ++counts.solved;
    }
    last = makespan;
  }
  if (!last) {
    if (is_in_reach) {
      EXPECT_NE(planner.outcome(), SearchOutcome::no_plan);
    }
    return;
  }
  const rational known_makespan = rational(makespan_in_ticks(known)) / rational(timed::ticks);
  if (is_in_reach) {
    EXPECT_LE(planner.makespan_bound(), static_cast<double>(known_makespan) + 1e-6);
  }
  EXPECT_LE(planner.makespan_bound(), static_cast<double>(*last) + 1e-6);
  if (planner.is_proved_optimal()) {
    ++counts.proved;
    EXPECT_TRUE(!is_in_reach || *last <= known_makespan) << exact_text(planner.best_plan());
  }
}

TEST(GuidedSearch, FindsValidPlansWhereActionsOverlap) {
  Counts counts;
  for (unsigned seed = 0; seed < 96 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    timed::Problem problem = timed::random_problem(seed, timed::overlapping(seed));
    problem.has_mutual_exclusion = seed >= 48;
    check_problem(problem, *problem.plan, seed, counts);
  }
  EXPECT_GT(counts.solved, 40);
  EXPECT_GT(counts.improved, 10);
}

TEST(GuidedSearch, SolveGivesNoLongerPlanThanTheFirstAndGoesOnFromThere) {
  int shorter = 0, proved = 0;
  for (unsigned seed = 0; seed < 60 && !testing::Test::HasFailure(); ++seed) {
    const timed::Problem random = timed::random_problem(seed, timed::overlapping(seed));
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + random.text());
    Environment env;
    const model::ProblemPtr problem = parse(env, random.text());
    GuidedPlanner first(env, problem), whole(env, problem);
    first.set_limits(at_most(1500));
    whole.set_limits(at_most(3000));
    if (first.next() == nullptr) continue;
    const auto plan = std::dynamic_pointer_cast<TimeTriggeredPlan>(whole.solve());
    ASSERT_NE(plan, nullptr);
    EXPECT_EQ(whole.outcome(), SearchOutcome::plan_found);
    TTValidator validator(env, problem);
    EXPECT_TRUE(validator.check_validity(plan)) << validator.reason();
    EXPECT_LE(model::makespan(*plan), first.best_makespan());
    if (model::makespan(*plan) < first.best_makespan()) ++shorter;
    if (const auto next = whole.next()) {
      EXPECT_LT(model::makespan(*next), model::makespan(*plan));
    }
    if (whole.is_proved_optimal()) ++proved;
  }
  EXPECT_GT(shorter, 5);
  EXPECT_GT(proved, 5);
}

TEST(GuidedSearch, DeniesNoPlanOfFewStepsAndProvesOnlyWhatIsTrue) {
  Counts counts;
  timed::Features features;
  features.has_plan = false;
  features.fluents = 3;
  for (unsigned seed = 0; seed < 300 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    features.has_parameters = seed % 4 == 3;
    features.has_timed_effects = features.has_timed_conditions = seed % 3 != 0;
    timed::Problem problem = timed::random_problem(seed, features);
    problem.has_mutual_exclusion = seed % 2 != 0;
    if (const auto known = timed::find_plan(problem, 2, 8)) check_problem(problem, *known, seed, counts);
  }
  EXPECT_GT(counts.solved, 40);
  EXPECT_GT(counts.proved, 20);
}

TEST(GuidedSearch, AgreesWithTheForwardSearchThatThereIsNoPlan) {
  int both = 0;
  timed::Features features;
  features.has_plan = false;
  features.fluents = 3;
  for (unsigned seed = 0; seed < 300 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    features.has_timed_effects = features.has_timed_conditions = seed % 2 != 0;
    timed::Problem random = timed::random_problem(seed, features);
    random.has_mutual_exclusion = seed % 4 < 2;
    const std::string text = random.text();
    SCOPED_TRACE(text);
    Environment env;
    const model::ProblemPtr problem = parse(env, text);
    FtpPlanner forward(env, problem);
    forward.set_limits(at_most(500));
    const auto plan = forward.solve();
    GuidedPlanner guided(env, problem);
    guided.set_parts(parts_for(seed));
    guided.set_limits(at_most(5000));
    const auto other = guided.solve();
    EXPECT_FALSE(plan != nullptr && guided.outcome() == SearchOutcome::no_plan);
    if (forward.outcome() != SearchOutcome::no_plan) continue;
    EXPECT_EQ(other, nullptr);
    // In total order alone plans are lost, unless there is nothing to search at all.
    if (!parts_for(seed).causal_order && guided.outcome() == SearchOutcome::no_plan) {
      EXPECT_EQ(guided.statistics().expanded, 0U);
    }
    if (guided.outcome() == SearchOutcome::no_plan) ++both;
  }
  EXPECT_GT(both, 40);
}

TEST(GuidedSearch, PartsAreKnownByNameAndOneEstimateHasToStay) {
  GuidedParts parts;
  EXPECT_THROW(parts.leave_out("hmax"), InvalidParameterError);
  parts.leave_out("hff");
  parts.leave_out("hadd");
  EXPECT_THROW(parts.leave_out("landmarks"), InvalidParameterError);
}

// In these an action has to begin while another one is open, or needs at its end what only others bring
// about.
TEST(GuidedSearch, OpensActionsThatCannotBeTakenWhole) {
  const char* const problems[] = {
      "fluent boolean p := false; fluent boolean q := false;"
      "action a() { duration := 10; [start] p := true; [end] q; };"
      "action b() { duration := 1; [start] p; [end] q := true; };"
      "goal [end] q; goal [end] p;",
      "fluent boolean p := false;"
      "action a() { duration := 5; [start] p := true; (start, end] p; };"
      "goal [end] p;",
      "fluent boolean day := true; fluent boolean done := false; [5] day := false;"
      "action a() { duration := 10; [start] day; [end] done := true; };"
      "goal [end] done;",
      "fluent boolean light := false; fluent boolean fixed := false;"
      "action match() { duration := 5; [start] light := true; [end] light := false; };"
      "action fix() { duration := 4; (start, end) light; [end] fixed := true; };"
      "goal [end] fixed; goal [end] not light;"};
  for (const char* const text : problems) {
    SCOPED_TRACE(text);
    Environment env;
    const model::ProblemPtr problem = parse(env, text);
    GuidedPlanner planner(env, problem);
    planner.set_limits(at_most(1000));
    const auto plan = planner.next();
    ASSERT_NE(plan, nullptr);
    EXPECT_TRUE(TTValidator(env, problem).check_validity(plan)) << exact_text(plan);
  }
}

// Whoever is open holds a lock, so that no other plan could let it overlap itself; or not.
// The room is there for exactly as long as what is done in it takes, so that both start and end together.
// With time to spare only the second problem has a plan in which one event comes after the other.
TEST(GuidedSearch, FindsWhatHasToStartAtTheMomentOfAnEffect) {
  for (const char* length : {"10", "12"}) {
    SCOPED_TRACE(length);
    Environment env;
    const model::ProblemPtr problem = parse(env, std::string(R"(
        fluent boolean used; fluent boolean room; fluent boolean done;
        [start] used := false; [start] room := false; [start] done := false;
        action lend() { duration := )") + length + R"(; [start] not used; [start] used := true;
                        [start] room := true; [end] room := false; };
        action work() { duration := 10; (start, end) room; [end] done := true; };
        [end] done;)");
    GuidedPlanner planner(env, problem);
    planner.set_limits(at_most(1500));
    const auto plan = planner.next();
    ASSERT_TRUE(plan);
    TTValidator validator(env, problem);
    EXPECT_TRUE(validator.check_validity(plan)) << validator.reason();
  }
}

// With nothing to choose between them, timed events are one move and not a state each.
TEST(GuidedSearch, GoesThroughATimetableToTheNextMomentThatMatters) {
  std::string text = "fluent boolean p; fluent integer [0, 400] n; [start] p := false; [start] n := 0;\n";
  for (int i = 1; i <= 400; ++i) text += "[" + std::to_string(i) + "] n := " + std::to_string(i) + ";\n";
  text +=
      "action late() { duration := 1; [start] n == 250; [start, end] n <= 251; [end] p := true; };\n"
      "action last() { duration := 1; [start] p; [start] n == 400; [end] p := false; };\n"
      "[end] not p; [251, 300] contains p;\n";
  Environment env;
  const model::ProblemPtr problem = parse(env, text);
  GuidedPlanner planner(env, problem);
  const auto plan = planner.next();
  ASSERT_NE(plan, nullptr);
  EXPECT_LT(planner.statistics().expanded, 100U);
  TTValidator validator(env, problem);
  EXPECT_TRUE(validator.check_validity(plan)) << validator.reason();
  EXPECT_EQ(model::makespan(*plan), rational(40101, 100));
}

TEST(GuidedSearch, KnowsWhereSelfOverlapIsLeftOut) {
  struct Case {
    const char* name;
    const char* text;
    bool may_miss;
  };
  const Case cases[] = {
      {"taken and given back", "[start] free; [start] free := false; [end] free := true; [end] p := true;",
       false},
      {"never given back", "[start] free; [start] free := false; [end] p := true;", false},
      {"not taken", "[start] free; [end] p := true;", true},
      {"not needed", "[start] free := false; [end] free := true; [end] p := true;", true},
      {"given back too early",
       "[start] free; [start] free := false; [start + 1] free := true; [end] p := true;", true},
      {"taken too late", "[start] free; [start + 1] free := false; [end] free := true; [end] p := true;",
       true},
      {"a single moment", "[start] p := true;", false}};
  const auto check = [](const std::string& text, bool may_miss, bool is_finite) {
    Environment env;
    const model::ProblemPtr problem = parse(env, text);
    GuidedPlanner guided(env, problem);
    FtpPlanner forward(env, problem);
    std::vector<FtpPlanner*> planners{&guided};
    if (is_finite) planners.push_back(&forward);
    for (FtpPlanner* const planner : planners) {
      planner->set_limits(at_most(1000));
      EXPECT_EQ(planner->solve(), nullptr);
      ASSERT_EQ(planner->outcome(), SearchOutcome::no_plan);
      EXPECT_EQ(planner->may_miss_self_overlap(), may_miss) << planner->name();
    }
  };
  // The goal asks for what two actions that never meet would bring about, as far as the estimates see.
  const std::string fluents =
      "fluent boolean free := true; fluent boolean p := false;"
      "fluent boolean q := false; fluent boolean r := false;";
  const std::string hopeless =
      "action b() { duration := 0; [start] p; [start] q := true; [start] p := false;"
      " [start] r := true; }; goal [end] p; goal [end] q; goal [end] not r;";
  for (const Case& shown : cases) {
    SCOPED_TRACE(shown.name);
    check(fluents + "action a() { duration := 4; " + shown.text + " };" + hopeless, shown.may_miss, true);
  }
  SCOPED_TRACE("a timed effect gives the lock back");
  check(fluents + "[3] free := true; action a() { duration := 4; " + cases[0].text + " };" + hopeless, true,
        true);
  SCOPED_TRACE("two share the lock, and one that does not hold it gives it back");
  const std::string other =
      "action c() { duration := 4; [start] free; [start] free := false;"
      " [end] free := true; [end] p := true; };";
  const std::string stranger = "action d() { duration := 0; [start] free := true; [start] p := true; };";
  check(fluents + "action a() { duration := 4; " + cases[0].text + " };" + other + hopeless, false, true);
  check(fluents + "action a() { duration := 4; " + cases[0].text + " };" + stranger + hopeless, true, false);
}

// The step that stands for a `contains` is not the caller's: the plan that ends first wins although that step
// comes behind its end.
TEST(GuidedSearch, StepsThatAreTakenOffDoNotCountForTheMakespan) {
  Environment env;
  const model::ProblemPtr problem =
      parse(env,
            "fluent boolean p := false; fluent boolean q := false;"
            "action slow() { duration := 4; [start] p := true; [end] q := true; };"
            "action quick() { duration := 3.995; [end] p := true; [end] q := true; };"
            "[start, end] contains p; goal [end] q;");
  GuidedPlanner planner(env, problem);
  while (planner.next() != nullptr) {}
  EXPECT_TRUE(planner.is_proved_optimal());
  EXPECT_EQ(planner.best_makespan(), rational(799, 200));
}

}  // namespace
}  // namespace zorvel::tp::ftp
