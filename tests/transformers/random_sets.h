#pragma once

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

// Random expressions over sets of integers, as ANML text and as functions that say what they mean. Nothing in
// here uses the library.

namespace zorvel::random_sets {

using Set = std::set<int>;
using State = std::map<std::string, Set>;  // by variable

struct Variable {
  const char* name;
  int lower, upper;  // of its elements
};
inline constexpr Variable variables[] = {{"s", 0, 3}, {"t", 2, 5}, {"u(0)", 0, 3}, {"u(1)", 0, 3}};
inline constexpr const char* declarations =
    "fluent set(integer [0, 3]) s; fluent set(integer [2, 5]) t;"
    "fluent set(integer [0, 3]) u(integer [0, 1] k);\n";

struct Term {
  std::string text;
  std::function<Set(const State&)> value;
};
struct Formula {
  std::string text;
  std::function<bool(const State&)> holds;
};

inline std::string text_of(const Set& set) {
  std::string text;
  for (const int element : set) text += (text.empty() ? "" : ", ") + std::to_string(element);
  return "{" + text + "}";
}

inline bool can_hold(const Variable& variable, const Set& set) {
  return set.empty() || (*set.begin() >= variable.lower && *set.rbegin() <= variable.upper);
}

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int pick(int bound) { return static_cast<int>(engine_() % static_cast<unsigned>(bound)); }
  const Variable& variable() { return variables[pick(4)]; }
  Set subset(int lower, int upper) {
    Set set;
    for (int element = lower; element <= upper; ++element)
      if (pick(2) == 0) set.insert(element);
    return set;
  }
  State state() {
    State state;
    for (const Variable& variable : variables) state[variable.name] = subset(variable.lower, variable.upper);
    return state;
  }
  Term term(int depth);
  Formula formula(int depth);

 private:
  template <class Combine>
  Term combined(int depth, const char* sign, Combine combine) {
    const Term a = term(depth - 1), b = term(depth - 1);
    return {"(" + a.text + " " + sign + " " + b.text + ")", [a, b, combine](const State& state) {
              const Set x = a.value(state), y = b.value(state);
              Set result;
              combine(x.begin(), x.end(), y.begin(), y.end(), std::inserter(result, result.end()));
              return result;
            }};
  }

  std::mt19937 engine_;
};

inline Term Random::term(int depth) {
  switch (depth == 0 ? pick(3) : pick(6)) {
    case 0: {
      const Set set = subset(-1, 6);
      return {text_of(set), [set](const State&) { return set; }};
    }
    case 1:
    case 2: {
      const std::string name = variable().name;
      return {name, [name](const State& state) { return state.at(name); }};
    }
    case 3: return combined(depth, "union", [](auto... range) { std::set_union(range...); });
    case 4: return combined(depth, "intersection", [](auto... range) { std::set_intersection(range...); });
    default: return combined(depth, "\\", [](auto... range) { std::set_difference(range...); });
  }
}

inline Formula Random::formula(int depth) {
  const Term a = term(depth), b = term(depth);
  switch (depth == 0 ? pick(4) : pick(7)) {
    case 0: {
      const int element = pick(7);
      return {"(" + std::to_string(element) + " in " + a.text + ")",
              [a, element](const State& state) { return a.value(state).contains(element); }};
    }
    case 1:
      return {"(" + a.text + " subset " + b.text + ")", [a, b](const State& state) {
                const Set x = a.value(state), y = b.value(state);
                return std::includes(y.begin(), y.end(), x.begin(), x.end());
              }};
    case 2:
      return {"(" + a.text + " == " + b.text + ")",
              [a, b](const State& state) { return a.value(state) == b.value(state); }};
    case 3:
      return {"(" + a.text + " != " + b.text + ")",
              [a, b](const State& state) { return a.value(state) != b.value(state); }};
    case 4: {
      const Formula f = formula(depth - 1);
      return {"(not " + f.text + ")", [f](const State& state) { return !f.holds(state); }};
    }
    case 5: {
      const Formula f = formula(depth - 1), g = formula(depth - 1);
      return {"(" + f.text + " or " + g.text + ")",
              [f, g](const State& state) { return f.holds(state) || g.holds(state); }};
    }
    default: {
      const Formula f = formula(depth - 1), g = formula(depth - 1);
      return {"(" + f.text + " and " + g.text + ")",
              [f, g](const State& state) { return f.holds(state) && g.holds(state); }};
    }
  }
}

/// An action with a condition at its start or over its whole length, and an assignment at its end.
struct Action {
  std::string name;
  int duration;
  bool is_condition_kept;
  Formula condition;
  Variable target;
  Term value;
};

struct Problem {
  State initial;
  std::vector<Action> actions;
  Formula goal;
  std::string text;
};

struct Step {
  int action;
  int start;
};

inline Problem random_problem(Random& random) {
  Problem problem{random.state(), {}, random.formula(1), declarations};
  const int count = 2 + random.pick(2);
  for (int i = 0; i < count; ++i) {
    problem.actions.push_back({"a" + std::to_string(i), 1 + random.pick(3), random.pick(3) == 0,
                               random.formula(random.pick(2)), random.variable(), random.term(1)});
    const Action& action = problem.actions.back();
    problem.text += "action " + action.name + "() { duration := " + std::to_string(action.duration) + "; [" +
                    (action.is_condition_kept ? "start, end" : "start") + "] " + action.condition.text +
                    "; [end] " + action.target.name + " := " + action.value.text + "; };\n";
  }
  for (const auto& [name, set] : problem.initial)
    problem.text += "[start] " + name + " := " + text_of(set) + ";\n";
  problem.text += "goal [end] " + problem.goal.text + ";\n";
  return problem;
}

/// Whether the plan is valid, on the sets themselves: an effect is seen behind its time, and no two effects
/// of one time assign one variable. Times come in the unit of `Step::start`, of which `unit` make one unit of
/// the problem.
inline bool is_valid(const Problem& problem, const std::vector<Step>& plan, int unit) {
  const auto end_of = [&](const Step& step) {
    return step.start + unit * problem.actions[static_cast<std::size_t>(step.action)].duration;
  };
  std::set<int> times;
  for (const Step& step : plan) times.insert({step.start, end_of(step)});
  State state = problem.initial;
  for (const int time : times) {
    State next = state;
    std::set<std::string> written;
    for (const Step& step : plan) {
      const Action& action = problem.actions[static_cast<std::size_t>(step.action)];
      const int end = end_of(step);
      const bool is_checked =
          time == step.start || (action.is_condition_kept && step.start < time && time <= end);
      if (is_checked && !action.condition.holds(state)) return false;
      if (time != end) continue;
      const Set value = action.value.value(state);
      if (!can_hold(action.target, value)) return false;
      if (action.value.text == action.target.name) continue;
      if (!written.insert(action.target.name).second) return false;
      next[action.target.name] = value;
    }
    state = next;
  }
  return problem.goal.holds(state);
}

}  // namespace zorvel::random_sets
