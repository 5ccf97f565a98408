#include "support/random_problems.h"

#include <algorithm>
#include <cassert>
#include <set>

#include "support/picker.h"

namespace zorvel::timed {

namespace {

constexpr int quarter = ticks / 4;

/// The durations that a test of all plans tries, in ticks; those of `read` for all values of the fluent.
std::vector<int> durations_to_try(const Problem& problem, const Duration& duration) {
  const int low = duration.low * ticks, high = duration.high * ticks;
  switch (duration.kind) {
    case Duration::Kind::fixed: return {low};
    case Duration::Kind::closed: return {low, (low + high) / 2, high};
    case Duration::Kind::open: return {low + quarter, (low + high) / 2, high - quarter};
    case Duration::Kind::chosen_by_world: return {high};
    case Duration::Kind::read: break;
  }
  std::vector<int> result;
  for (int value = 0; value <= problem.fluents[duration.fluent].most; ++value)
    result.push_back(low + value * ticks);
  return result;
}

class Generator {
 public:
  Generator(unsigned seed, const Features& features) : random_(seed), features_(features) {}

  Problem generate() {
    declare();
    const int actions = random_.between(features_.fewest_actions, features_.most_actions);
    for (int i = 0; i < actions; ++i) problem_.actions.push_back(action(i));
    if (features_.has_timed_effects && random_.chance(2))
      for (int i = random_.between(1, 2); i > 0; --i) add_timed_effect();
    if (features_.has_plan)
      write_around_a_plan();
    else
      add_free_conditions();
    if (features_.has_uncertain_durations) problem_.plan.reset();
    return std::move(problem_);
  }

 private:
  void declare() {
    if (features_.has_parameters) problem_.objects = 2;
    for (int i = 0; i < features_.fluents; ++i)
      problem_.fluents.push_back({"p" + std::to_string(i), features_.has_parameters && i % 2 == 1, 1});
    if (features_.has_numbers) problem_.fluents.push_back({"level", false, 3});
    for (const Fluent& fluent : problem_.fluents)
      for (int object = 0; object < (fluent.has_argument ? problem_.objects : 1); ++object)
        problem_.initial.push_back(fluent.most > 1 ? random_.pick(3) : random_.chance(4) ? 1 : 0);
  }

  std::size_t level() const {
    assert(features_.has_numbers);
    return problem_.fluents.size() - 1;
  }
  Atom atom(bool in_action_with_parameter) {
    const auto fluent = static_cast<std::size_t>(random_.pick(features_.fluents));
    if (!problem_.fluents[fluent].has_argument) return {fluent, no_argument};
    if (in_action_with_parameter && !random_.chance(4)) return {fluent, the_parameter};
    return {fluent, random_.pick(problem_.objects)};
  }
  Literal literal(bool in_lifted) { return {atom(in_lifted), !random_.chance(3)}; }

  Formula formula(bool in_lifted) {
    using enum Formula::Kind;
    Formula result{literal, this->literal(in_lifted), this->literal(in_lifted), 0};
    if (features_.has_numbers && random_.chance(8)) {
      result.kind = random_.chance(3) ? at_most : at_least;
      result.left = {{level(), no_argument}, true};
      result.bound = random_.between(1, 2);
    } else if (features_.has_formulas) {
      static const std::vector<Formula::Kind> kinds{literal, literal, literal, literal, either, both, same};
      const bool is_one_atom = result.left.atom.fluent == result.right.atom.fluent &&
                               result.left.atom.argument == result.right.atom.argument;
      result.kind = is_one_atom ? literal : random_.one_of(kinds);
    }
    return result;
  }

  Duration duration() {
    const int low = random_.between(3, 6);
    if (features_.has_uncertain_durations && random_.chance(2))
      return {Duration::Kind::chosen_by_world, low, low + random_.between(1, 3), 0};
    if (features_.has_numbers && random_.chance(8)) return {Duration::Kind::read, low, low, level()};
    if (features_.has_ranges && random_.chance(4)) return {Duration::Kind::closed, low, low + 2, 0};
    if (features_.has_ranges && random_.chance(4)) return {Duration::Kind::open, low, low + 3, 0};
    return {Duration::Kind::fixed, low, low, 0};
  }

  /// No action is shorter than 3, so moments with an offset of 1 keep their order.
  Moment moment() {
    const bool is_from_start = random_.chance(2);
    return {is_from_start, features_.has_offsets && random_.chance(4) ? 1 : 0};
  }

  Action action(int number) {
    Action result{
        "a" + std::to_string(number), problem_.objects > 0 && random_.chance(2), duration(), {}, {}};
    const bool lifted = result.has_parameter;
    if (random_.chance(2)) {
      // What holds only while the action runs, for others to happen under.
      const Atom target = atom(lifted);
      const int value = random_.chance(4) ? 0 : 1;
      add_effect(result, {{true, 0}, target, Effect::Kind::constant, value, {}});
      add_effect(result, {{false, 0}, target, Effect::Kind::constant, 1 - value, {}});
    }
    for (int i = random_.between(1, 2); i > 0; --i) {
      Effect effect{moment(), atom(lifted), Effect::Kind::constant, random_.chance(4) ? 0 : 1, {}};
      if (random_.chance(8)) {
        effect.kind = Effect::Kind::literal;
        effect.literal = literal(lifted);
      }
      add_effect(result, effect);
    }
    if (features_.has_numbers && random_.chance(3))
      add_effect(result,
                 {moment(), {level(), no_argument}, Effect::Kind::plus, random_.chance(2) ? 1 : -1, {}});
    return result;
  }

  /// Leaves the effect out if another writes the fluent at the same moment of the action, which would make
  /// the action unusable for some or all objects.
  static void add_effect(Action& action, const Effect& effect) {
    const auto meets = [&](const Effect& other) {
      return other.at.is_from_start == effect.at.is_from_start && other.at.offset == effect.at.offset &&
             other.target.fluent == effect.target.fluent;
    };
    if (std::ranges::none_of(action.effects, meets)) action.effects.push_back(effect);
  }

  void add_timed_effect() {
    const Effect effect{
        {true, random_.between(2, 9)}, atom(false), Effect::Kind::constant, random_.pick(2), {}};
    const auto meets = [&](const Effect& other) { return other.at.offset == effect.at.offset; };
    if (std::ranges::none_of(problem_.effects, meets)) problem_.effects.push_back(effect);
  }

  Condition condition_of_action(bool lifted) {
    Condition condition;
    condition.formula = formula(lifted);
    condition.from = moment();
    condition.to = condition.from;
    if (random_.chance(2)) {
      condition.from = {true, condition.from.offset};
      condition.to = {false, features_.has_offsets && random_.chance(4) ? 1 : 0};
      condition.is_left_closed = random_.chance(2);
      condition.is_right_closed = random_.chance(2);
    }
    return condition;
  }

  Condition condition_of_problem(bool is_contains) {
    Condition condition;
    condition.formula = formula(false);
    condition.is_contains = is_contains;
    const int from = random_.between(1, 6);
    condition.from = {true, from};
    condition.to = {true, from + random_.between(1, 4)};
    condition.is_left_closed = random_.chance(2);
    condition.is_right_closed = random_.chance(2);
    return condition;
  }

  void add_free_conditions() {
    for (Action& action : problem_.actions)
      for (int i = random_.between(0, 2); i > 0; --i)
        action.conditions.push_back(condition_of_action(action.has_parameter));
    if (features_.has_timed_conditions && random_.chance(4))
      problem_.conditions.push_back(condition_of_problem(false));
    if (features_.has_contains && random_.chance(2))
      problem_.conditions.push_back(condition_of_problem(true));
    for (int i = random_.between(1, 2); i > 0; --i) problem_.goals.push_back(formula(false));
  }

  void write_around_a_plan() {
    draw_plan();
    const std::vector<Step>& plan = *problem_.plan;
    std::set<std::size_t> used;
    for (const Step& step : plan) used.insert(step.action);
    for (std::size_t i = 0; i < problem_.actions.size(); ++i) {
      Action& action = problem_.actions[i];
      const bool is_used = used.contains(i);
      for (int tries = is_used ? 30 : 3; tries > 0 && action.conditions.size() < 3; --tries) {
        const Condition condition = condition_of_action(action.has_parameter);
        // What holds at first needs no other action, so mostly it is no use.
        const int object = action.has_parameter ? 0 : no_argument;
        if (!random_.chance(4) && problem_.holds(condition.formula, problem_.initial, object)) continue;
        add_if_plan_stays(action.conditions, condition);
      }
    }
    if (features_.has_timed_conditions && random_.chance(3))
      for (int tries = 4; tries > 0; --tries)
        add_if_plan_stays(problem_.conditions, condition_of_problem(false), true);
    if (features_.has_contains)
      for (int tries = 6; tries > 0 && problem_.conditions.size() < 3; --tries)
        add_if_plan_stays(problem_.conditions, condition_of_problem(true), true);
    // A goal that holds from the beginning on asks for nothing.
    for (int tries = 30; tries > 0 && problem_.goals.size() < 3; --tries) {
      problem_.goals.push_back(formula(false));
      if (!is_plan_good() || simulate(problem_, {}).is_valid()) problem_.goals.pop_back();
    }
  }

  void add_if_plan_stays(std::vector<Condition>& conditions, const Condition& condition,
                         bool has_to_matter = false) {
    const bool was_done = simulate(problem_, {}).is_valid();
    conditions.push_back(condition);
    if (!is_plan_good() || (has_to_matter && was_done && simulate(problem_, {}).is_valid()))
      conditions.pop_back();
  }
  bool is_plan_good() const {
    const Verdict verdict = simulate(problem_, *problem_.plan);
    return verdict.is_valid() && verdict.is_spread_out;
  }

  /// Steps in the order of their starts, each of which starts soon after the one before. A step that would
  /// meet an event of another is drawn again, and left out if it does so every time.
  void draw_plan() {
    problem_.plan.emplace();
    const int steps = random_.between(2, static_cast<int>(problem_.actions.size()) + 1);
    int last_start = 0;
    for (int i = 0; i < steps; ++i)
      for (int tries = 10; tries > 0; --tries) {
        Step step;
        step.action = static_cast<std::size_t>(random_.pick(static_cast<int>(problem_.actions.size())));
        const Action& action = problem_.actions[step.action];
        if (action.has_parameter) step.object = random_.pick(problem_.objects);
        step.start = last_start + quarter * (random_.chance(3) ? random_.pick(20) : random_.pick(6));
        step.duration = random_.one_of(durations_to_try(problem_, action.duration));
        problem_.plan->push_back(step);
        if (is_plan_good()) {
          last_start = step.start;
          break;
        }
        problem_.plan->pop_back();
      }
  }

  Picker random_;
  Features features_;
  Problem problem_;
};

/// Tries steps in the order of their starts, so that what is violated before the newest start stays violated.
class PlanSearch {
 public:
  PlanSearch(const Problem& problem, int horizon) : problem_(problem), horizon_(horizon) {}

  bool run(int steps_left) {
    const Verdict verdict = simulate(problem_, steps_);
    if (verdict.is_valid() && verdict.is_spread_out) return true;
    const int newest = steps_.empty() ? 0 : steps_.back().start;
    if (steps_left == 0 || !verdict.is_spread_out) return false;
    if (verdict.violated_at && *verdict.violated_at < newest) return false;
    for (int start = newest; start < horizon_ * ticks; start += quarter) {
      // A start behind a violation cannot mend it.
      if (verdict.violated_at && *verdict.violated_at < start) break;
      for (std::size_t action = 0; action < problem_.actions.size(); ++action)
        if (try_action(action, start, steps_left)) return true;
    }
    return false;
  }

  const std::vector<Step>& steps() const { return steps_; }

 private:
  bool try_action(std::size_t action, int start, int steps_left) {
    const bool has_parameter = problem_.actions[action].has_parameter;
    for (int object = has_parameter ? 0 : no_argument; object < (has_parameter ? problem_.objects : 0);
         ++object)
      for (const int duration : durations_to_try(problem_, problem_.actions[action].duration)) {
        steps_.push_back({action, object, start, duration});
        if (run(steps_left - 1)) return true;
        steps_.pop_back();
      }
    return false;
  }

  const Problem& problem_;
  int horizon_;
  std::vector<Step> steps_;
};

}  // namespace

Features overlapping(unsigned seed) {
  Features features;
  const bool is_large = seed % 10 == 9;
  features.fewest_actions = is_large ? 12 : 6;
  features.most_actions = is_large ? 16 : 8;
  features.fluents = is_large ? 12 : 8;
  features.has_parameters = seed % 3 == 2;
  return features;
}

Problem random_problem(unsigned seed, const Features& features) {
  return Generator(seed, features).generate();
}

std::optional<std::vector<Step>> find_plan(const Problem& problem, int most_steps, int horizon) {
  PlanSearch search(problem, horizon);
  if (!search.run(most_steps)) return std::nullopt;
  return search.steps();
}

}  // namespace zorvel::timed
