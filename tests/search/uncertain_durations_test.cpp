#include <regex>
#include <utility>

#include "search/support.h"

// Plans for problems whose durations the world chooses, simulated with many choices of the world. The
// simulation knows nothing of how the planner deals with them: there each duration is the planner's own.

namespace zorvel::tp::ftp {
namespace {

std::string with_durations_of_the_plan(const std::string& text) {
  static const std::regex chosen_by_world(R"(duration :in \[(\d+), (\d+)\];)");
  return std::regex_replace(text, chosen_by_world, "duration >= $1 and duration <= $2;");
}

/// The shortest and longest duration of each action that has an uncertain one.
std::map<std::string, std::pair<int, int>> uncertain_durations(const std::string& text) {
  static const std::regex action(R"(action (\w+)\(\) \{\s*duration :in \[(\d+), (\d+)\];)");
  std::map<std::string, std::pair<int, int>> result;
  for (std::sregex_iterator match(text.begin(), text.end(), action), last; match != last; ++match)
    result.emplace((*match)[1], std::pair(std::stoi((*match)[2]), std::stoi((*match)[3])));
  return result;
}

/// The problem with durations of its own, and plans simulated in it.
class World {
 public:
  explicit World(const std::string& text)
      : durations_(uncertain_durations(text)),
        problem_(parse(env_, with_durations_of_the_plan(text))),
        validator_(env_, problem_) {}

  /// Why the plan fails if each uncertain step takes what `choose` makes of the shortest and longest one.
  template <class Choose>
  std::string run(const TimeTriggeredPlan& plan, Choose choose) {
    const auto actual = std::make_shared<TimeTriggeredPlan>(env_);
    for (const auto& [start, steps] : plan.steps())
      for (const auto& step : steps) {
        std::optional<rational> duration = step->optional_duration();
        if (const auto range = durations_.find(step->action->name()); range != durations_.end())
          duration = choose(range->second.first, range->second.second);
        actual->add_step(std::make_shared<TimeTriggeredStep>(
            start, problem_->actions().at(step->action->name()), std::vector<Node*>(), duration));
      }
    if (validator_.check_validity(actual)) return "";
    return validator_.reason() + "\nwith\n" + exact_text(actual);
  }

  /// The same for the ends of all ranges, and for durations that meet no other time of the plan.
  std::string run_often(const TimeTriggeredPlan& plan, unsigned seed, int samples) {
    std::mt19937 random(seed);
    std::string failure = run(plan, [](int low, int) { return rational(low); });
    if (failure.empty()) failure = run(plan, [](int, int high) { return rational(high); });
    for (int sample = 0; sample < samples && failure.empty(); ++sample)
      failure = run(plan, [&](int low, int high) {
        const int choice = static_cast<int>(random() % 1000U);
        // Now and then an end of the range; otherwise 5 decimals that the planner's times never have.
        if (choice % 5 == 0) return rational(choice % 2 == 0 ? low : high);
        return rational(low) + rational(high - low) * rational(choice * 100 + 37, 100'000);
      });
    return failure;
  }

 private:
  Environment env_;
  std::map<std::string, std::pair<int, int>> durations_;
  model::ProblemPtr problem_;
  TTValidator validator_;
};

/// Problems in which the ends of actions matter: conditions and effects near them, values that are passed on.
std::string random_uncertain_problem(unsigned seed) {
  std::mt19937 random(seed);
  const auto pick = [&](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
  const auto fluent = [&] { return "p" + std::to_string(pick(4)); };
  const auto literal = [&] { return (pick(3) == 0 ? "not " : "") + fluent(); };
  const auto condition = [&]() -> std::string {
    switch (pick(6)) {
      case 0: return "(" + literal() + ") or (" + literal() + ")";
      case 1: return fluent() + " == " + fluent();
      case 2: return "level >= " + std::to_string(1 + pick(2));
      default: return literal();
    }
  };
  const auto value = [&]() -> std::string {
    switch (pick(7)) {
      case 0: return "false";
      case 1: return fluent();
      case 2: return "((" + literal() + ") and (" + literal() + "))";
      default: return "true";
    }
  };
  const auto interval = [&]() -> std::string {
    static const char* const intervals[] = {"[start]",        "[start]",         "[start, end]",
                                            "(start, end)",   "(start, end]",    "[start, end)",
                                            "[end]",          "[end]",           "[end - 1]",
                                            "[start + 1]",    "[start + 2]",     "[start + 1, end - 1]",
                                            "(end - 1, end]", "[start + 1, end]"};
    return intervals[pick(14)];
  };
  std::ostringstream text;
  for (int i = 0; i < 4; ++i) text << "fluent boolean p" << i << ";\n";
  text << "fluent integer [0, 4] level;\n";
  for (int i = 0; i < 4; ++i)
    text << "[start] p" << i << " := " << (pick(4) == 0 ? "true" : "false") << ";\n";
  text << "[start] level := " << pick(3) << ";\n";
  const int actions = 2 + pick(3);
  for (int a = 0; a < actions; ++a) {
    const int low = 1 + pick(4);
    const int high = low + 1 + pick(3);
    text << "action a" << a << "() {\n";
    if (a == 0 || pick(2) == 0)
      text << "  duration :in [" << low << ", " << high << "];\n";
    else
      text << "  duration := " << low << ";\n";
    for (int s = pick(3); s > 0; --s) text << "  " << interval() << " " << condition() << ";\n";
    if (pick(2) == 0) text << "  [start] " << fluent() << " := " << value() << ";\n";
    if (pick(4) == 0) text << "  [start + 1] " << fluent() << " := " << value() << ";\n";
    if (pick(4) == 0) text << "  [end - 1] " << fluent() << " := " << value() << ";\n";
    if (low >= 2 && pick(4) == 0) text << "  [end - 2] " << fluent() << " := " << value() << ";\n";
    if (pick(3) == 0) text << "  [end] level := level " << (pick(2) == 0 ? "+ 1" : "- 1") << ";\n";
    text << "  [end] " << fluent() << " := " << value() << ";\n};\n";
  }
  if (pick(4) == 0) text << "[" << 2 + pick(4) << "] " << fluent() << " := " << value() << ";\n";
  if (pick(6) == 0) text << "[" << 1 + pick(3) << ", " << 4 + pick(3) << "] " << condition() << ";\n";
  text << "[end] " << condition() << ";\n[end] " << literal() << ";\n";
  return text.str();
}

TEST(UncertainDurations, PlansOfRandomProblemsWorkWhateverTheWorldChooses) {
  int solved = 0, uncertain = 0;
  for (unsigned seed = 0; seed < 3000 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text = random_uncertain_problem(seed);
    Environment env;
    env.configuration().set_value("ftp-heuristic",
                                  std::vector<std::string>{seed % 3 == 0 ? "hadd" : "blind"});
    const auto problem = parse(env, text);
    FtpPlanner planner(env, problem);
    planner.set_limits(at_most(800));
    const auto plan = planner.solve();
    if (!plan || plan->size() == 0) continue;
    ++solved;
    const auto timed = std::make_shared<TimeTriggeredPlan>(plan);
    TTValidator validator(env, problem);
    EXPECT_TRUE(validator.check_validity(timed)) << validator.reason() << '\n' << text << exact_text(plan);
    EXPECT_EQ(World(text).run_often(*timed, seed, 20), "") << text << exact_text(plan);
    const auto durations = uncertain_durations(text);
    for (const auto& [start, steps] : timed->steps())
      for (const auto& step : steps)
        if (durations.contains(step->action->name())) {
          ++uncertain;
          EXPECT_EQ(step->duration, rational(durations.at(step->action->name()).second));
        }
  }
  EXPECT_GT(solved, 250);
  EXPECT_GT(uncertain, 100);
}

TEST(UncertainDurations, WhatOneActionSaysOfItsOwnEndIsTakenTogether) {
  const std::string fluents =
      "fluent boolean p0 := false; fluent boolean p1 := true; fluent boolean p2 := false; fluent boolean p3 "
      ":= "
      "false;";
  const std::vector<std::pair<const char*, std::string>> rows = {
      {"a fluent written before, another one after",
       "action a() { duration :in [3, 5]; [end - 1] (p2 == p1) or not p0; [end - 2] p2 := true; [end] p0 := "
       "true; "
       "[end] p3 := true; };"},
      {"two fluents written before",
       "action a() { duration :in [3, 5]; [end - 1] (p2 == p1) or not p0; [end - 2] p2 := true; "
       "[end - 3] p0 := true; [end] p3 := true; };"},
      {"a condition over an interval behind them",
       "action a() { duration :in [4, 7]; (end - 2, end] p2 and p0; [end - 3] p2 := true; [end - 4] p0 := "
       "true; "
       "[end] p3 := true; };"},
      {"intervals that are always empty",
       "action a() { duration :in [1, 2]; [end, end - 1] p0; [start + 3, end] p0; [end] p3 := true; };"},
  };
  for (const auto& [name, action] : rows) {
    SCOPED_TRACE(name);
    const std::string text = fluents + action + "[end] p3;";
    Environment env;
    FtpPlanner planner(env, parse(env, text));
    const auto plan = planner.solve();
    ASSERT_NE(plan, nullptr);
    EXPECT_EQ(World(text).run_often(TimeTriggeredPlan(plan), 1, 50), "");
  }
}

}  // namespace
}  // namespace zorvel::tp::ftp
