#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <sstream>

#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"
#include "validation/tt_validator.h"

// Random problems over three boolean fluents, with plans that are simulated a second time here: without
// events, by looking at the states that each interval meets.

namespace zorvel {
namespace {

constexpr int fluents = 3;
using State = std::array<bool, fluents>;

/// Times are counted in halves.
std::string time_text(int halves) { return std::to_string(halves / 2) + (halves % 2 != 0 ? ".5" : ".0"); }

struct Literal {
  int fluent;
  bool positive;
  bool holds(const State& state) const { return state[static_cast<std::size_t>(fluent)] == positive; }
  std::string text() const {
    const std::string name = "f" + std::to_string(fluent);
    return positive ? name : "(not " + name + ")";
  }
};

/// `start + offset`, or `end - offset`.
struct Anchor {
  bool from_start;
  int offset;
  int time(int start, int end) const { return from_start ? start + offset : end - offset; }
  std::string text() const {
    return from_start ? "start + " + time_text(offset) : "end - " + time_text(offset);
  }
};

struct Condition {
  Anchor from, to;
  bool is_point, left_closed, right_closed, is_contains;
  Literal either, other;
  bool holds(const State& state) const { return either.holds(state) || other.holds(state); }
  std::string text() const {
    const std::string interval =
        is_point ? "[" + from.text() + "]"
                 : (left_closed ? "[" : "(") + from.text() + ", " + to.text() + (right_closed ? "]" : ")");
    return interval + (is_contains ? " contains (" : " (") + either.text() + " or " + other.text() + ");";
  }
};

struct Effect {
  Anchor at;
  int fluent;
  Literal value;
  std::string text() const {
    return "[" + at.text() + "] f" + std::to_string(fluent) + " := " + value.text() + ";";
  }
};

struct Statements {
  std::vector<Condition> conditions;
  std::vector<Effect> effects;
  std::string text() const {
    std::string result;
    for (const Condition& condition : conditions) result += condition.text() + "\n";
    for (const Effect& effect : effects) result += effect.text() + "\n";
    return result;
  }
};

struct Step {
  int action, start, duration;
};

class RandomPlan {
 public:
  explicit RandomPlan(unsigned seed) : random_(seed) {
    for (bool& value : initial_) value = chance(2);
    actions_.resize(3);
    for (Statements& action : actions_) action = statements(3, true);
    problem_ = statements(2, false);
    for (int steps = draw(1, 4); steps > 0; --steps) plan_.push_back({draw(0, 2), draw(0, 16), draw(0, 10)});
  }

  std::string problem_text() const {
    std::string text;
    for (int i = 0; i < fluents; ++i)
      text += "fluent boolean f" + std::to_string(i) +
              " := " + (initial_[static_cast<std::size_t>(i)] ? "true" : "false") + ";\n";
    for (std::size_t i = 0; i < actions_.size(); ++i)
      text += "action a" + std::to_string(i) + "() {\n" + actions_[i].text() + "};\n";
    return text + problem_.text();
  }
  std::string plan_text() const {
    std::string text;
    for (const Step& step : plan_)
      text += time_text(step.start) + ": a" + std::to_string(step.action) + "() [" +
              time_text(step.duration) + "]\n";
    return text;
  }

  bool is_valid(bool has_mutual_exclusion) {
    int makespan = 0;
    for (const Step& step : plan_) {
      ++owner_;
      const int end = step.start + step.duration;
      makespan = std::max(makespan, end);
      place(actions_[static_cast<std::size_t>(step.action)], step.start, end, &makespan);
    }
    owner_ = 0;
    for (const Effect& effect : problem_.effects) {
      const int time = effect.at.time(0, 0);
      changes_[time].push_back({&effect, owner_});
      makespan = std::max(makespan, time);
    }
    for (const Condition& condition : problem_.conditions) {
      for (const Anchor& anchor : {condition.from, condition.is_point ? condition.from : condition.to})
        if (anchor.from_start) makespan = std::max(makespan, anchor.time(0, 0));
    }
    Statements conditions_only;
    conditions_only.conditions = problem_.conditions;
    place(conditions_only, 0, makespan + 2, nullptr);
    return simulate(has_mutual_exclusion) && (!has_mutual_exclusion || are_apart()) &&
           std::ranges::all_of(placed_, [&](const Placed& placed) { return is_met(placed); });
  }

 private:
  struct Placed {
    Condition condition;
    int from, to;
    int owner;  // the number of the step, or 0 for the problem
  };
  struct Change {
    const Effect* effect;
    int owner;
  };

  int draw(int low, int high) {
    return low + static_cast<int>(random_() % static_cast<unsigned>(high - low + 1));
  }
  bool chance(int one_in) { return draw(1, one_in) == 1; }
  Literal literal() { return {draw(0, fluents - 1), chance(2)}; }
  Anchor anchor(bool near_start) { return {near_start, draw(0, 4)}; }

  Statements statements(int most, bool of_action) {
    Statements result;
    for (int i = draw(0, most); i > 0; --i) {
      const Literal either = literal();
      const bool left_closed = chance(2), right_closed = chance(2), is_point = chance(4);
      result.conditions.push_back({anchor(!chance(4)), anchor(chance(4)), is_point, is_point || left_closed,
                                   is_point || right_closed, !is_point && chance(3), either,
                                   chance(3) ? either : literal()});
    }
    for (int i = draw(0, most); i > 0; --i) {
      const Effect effect{of_action ? anchor(chance(2)) : Anchor{true, draw(1, 20)}, draw(0, fluents - 1),
                          literal()};
      // The same statement twice is one statement.
      if (std::ranges::none_of(result.effects, [&](const Effect& e) { return e.text() == effect.text(); }))
        result.effects.push_back(effect);
    }
    return result;
  }

  void place(const Statements& statements, int start, int end, int* makespan) {
    for (const Condition& condition : statements.conditions) {
      const int from = condition.from.time(start, end);
      const int to = condition.is_point ? from : condition.to.time(start, end);
      if (from == to && !(condition.left_closed && condition.right_closed) && !condition.is_contains)
        continue;
      placed_.push_back({condition, from, to, owner_});
      if (makespan != nullptr) *makespan = std::max(*makespan, to);
    }
    for (const Effect& effect : statements.effects) {
      const int time = effect.at.time(start, end);
      changes_[time].push_back({&effect, owner_});
      if (makespan != nullptr) *makespan = std::max(*makespan, time);
    }
  }

  /// Fills after_. False if two effects meet on one fluent, save those of one step that write one value.
  bool simulate(bool may_repeat) {
    State state = initial_;
    for (const auto& [time, effects] : changes_) {
      const State before = state;
      std::array<const Change*, fluents> written{};
      for (const Change& change : effects) {
        const auto fluent = static_cast<std::size_t>(change.effect->fluent);
        const bool value = change.effect->value.holds(before);
        const Change* const other = written[fluent];
        const bool repeats = other != nullptr && may_repeat && change.owner != 0 &&
                             other->owner == change.owner && state[fluent] == value;
        if (other != nullptr && !repeats) return false;
        written[fluent] = &change;
        state[fluent] = value;
      }
      after_[time] = state;
    }
    return true;
  }

  /// Whether nothing that a point condition or the value of an effect names is written by another at its
  /// time.
  bool are_apart() const {
    const auto is_apart = [&](int time, int fluent, int owner) {
      const auto changes = changes_.find(time);
      return changes == changes_.end() || std::ranges::none_of(changes->second, [&](const Change& change) {
               return change.owner != owner && change.effect->fluent == fluent;
             });
    };
    for (const Placed& placed : placed_)
      if (placed.condition.is_point &&
          !(is_apart(placed.from, placed.condition.either.fluent, placed.owner) &&
            is_apart(placed.from, placed.condition.other.fluent, placed.owner)))
        return false;
    for (const auto& [time, changes] : changes_)
      for (const Change& change : changes)
        if (!is_apart(time, change.effect->value.fluent, change.owner)) return false;
    return true;
  }

  /// The state behind the last change at a time below `time`, or also at it.
  State state_before(int time) const { return last_of(after_.lower_bound(time)); }
  State state_after(int time) const { return last_of(after_.upper_bound(time)); }
  State last_of(std::map<int, State>::const_iterator next) const {
    return next == after_.begin() ? initial_ : std::prev(next)->second;
  }

  bool is_met(const Placed& placed) const {
    const Condition& condition = placed.condition;
    std::vector<State> met;
    if (placed.from <= placed.to && condition.left_closed) met.push_back(state_before(placed.from));
    if (placed.from < placed.to) {
      met.push_back(state_after(placed.from));
      for (auto change = after_.upper_bound(placed.from); change != after_.end() && change->first < placed.to;
           ++change)
        met.push_back(change->second);
    }
    const auto holds = [&](const State& state) { return condition.holds(state); };
    if (!condition.is_contains) return std::ranges::all_of(met, holds);
    const bool has_moment = placed.from < placed.to ||
                            (placed.from == placed.to && condition.left_closed && condition.right_closed);
    return has_moment && std::ranges::any_of(met, holds);
  }

  std::mt19937 random_;
  State initial_;
  std::vector<Statements> actions_;
  Statements problem_;
  std::vector<Step> plan_;
  int owner_ = 0;
  std::map<int, std::vector<Change>> changes_;
  std::map<int, State> after_;
  std::vector<Placed> placed_;
};

TEST(TTValidator, AgreesWithAPlainSimulationOnRandomPlans) {
  int valid = 0, excluded = 0;
  Environment env;
  for (unsigned seed = 0; seed < 2500; ++seed) {
    const bool has_mutual_exclusion = seed >= 1500;
    RandomPlan random(seed);
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + random.problem_text() + random.plan_text());
    std::istringstream problem_text((has_mutual_exclusion ? ":: (\"mutual-exclusion\");\n" : "") +
                                    random.problem_text()),
        plan_text(random.plan_text());
    model::ProblemPtr problem = AnmlParser(env).parse(problem_text);
    const auto plan = TTPParser(env, problem).parse(plan_text);
    TTValidator validator(env, problem);
    const bool is_valid = random.is_valid(has_mutual_exclusion);
    if (has_mutual_exclusion && !is_valid && RandomPlan(seed).is_valid(false)) ++excluded;
    ASSERT_EQ(validator.check_validity(plan), is_valid) << validator.reason();
    ASSERT_EQ(validator.reason().empty(), is_valid);
    valid += is_valid ? 1 : 0;
  }
  EXPECT_GT(valid, 200);  // else the test would say little of valid plans
  EXPECT_LT(valid, 2200);
  EXPECT_GT(excluded, 20);
}

}  // namespace
}  // namespace zorvel
