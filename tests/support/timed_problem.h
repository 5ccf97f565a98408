#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// Temporal problems as plain data, which tests write as text for the library and simulate themselves.
///
/// Times in a problem are whole units. Plans count in ticks, of which a hundred make a unit, so that every
/// plan of the planner with its usual epsilon can be said in them.
namespace zorvel::timed {

constexpr int ticks = 100;

/// What stands in the place of a fluent's argument, if not the number of an object.
constexpr int no_argument = -1, the_parameter = -2;

/// A boolean fluent, or an integer one from 0 to `most` if that is above 1. It may take one object.
struct Fluent {
  std::string name;
  bool has_argument = false;
  int most = 1;
};

struct Atom {
  std::size_t fluent = 0;
  int argument = no_argument;
};

struct Literal {
  Atom atom;
  bool is_positive = true;
};

struct Formula {
  enum class Kind { literal, either, both, same, at_least, at_most };
  Kind kind = Kind::literal;
  Literal left, right;  ///< `right` of `either`, `both` and `same` alone.
  int bound = 0;        ///< Of `at_least` and `at_most`, whose fluent `left` names.
};

/// `start + offset`, or `end - offset`.
struct Moment {
  bool is_from_start = true;
  int offset = 0;
};

struct Condition {
  Moment from, to;  ///< A point if both are the same and closed.
  bool is_left_closed = true, is_right_closed = true;
  bool is_contains = false;
  Formula formula;
};

struct Effect {
  enum class Kind { constant, literal, plus };
  Moment at;
  Atom target;
  Kind kind = Kind::constant;
  int number = 0;  ///< The constant, or what is added to the target.
  Literal literal;
};

struct Duration {
  enum class Kind { fixed, closed, open, chosen_by_world, read };
  Kind kind = Kind::fixed;
  int low = 1, high = 1;   ///< In units. `fixed` and `read` have the low one alone.
  std::size_t fluent = 0;  ///< `read`: its value is added to `low`.
};

struct Action {
  std::string name;
  bool has_parameter = false;
  Duration duration;
  std::vector<Condition> conditions;
  std::vector<Effect> effects;
};

struct Step {
  std::size_t action = 0;
  int object = no_argument;
  int start = 0, duration = 0;  ///< In ticks.
};

struct Problem {
  bool has_mutual_exclusion = false;  ///< Stated in the text; what is spread out has it anyway.
  int objects = 0;
  std::vector<Fluent> fluents;
  std::vector<int> initial;  ///< By slot.
  std::vector<Action> actions;
  std::vector<Effect> effects;        ///< At `start + offset` of the plan.
  std::vector<Condition> conditions;  ///< Between such moments and the plan's end.
  std::vector<Formula> goals;
  std::optional<std::vector<Step>> plan;  ///< A plan, if one is known.

  int slots() const;
  /// The slot of an atom in a state, where `object` takes the place of the parameter.
  std::size_t slot(const Atom& atom, int object) const;
  bool holds(const Literal& literal, const std::vector<int>& state, int object) const;
  bool holds(const Formula& formula, const std::vector<int>& state, int object) const;
  /// The problem in ANML.
  std::string text() const;
};

/// A plan in the text form that the reader of plans takes.
std::string plan_text(const Problem& problem, const std::vector<Step>& steps);

struct Verdict {
  /// The first moment at which something is violated, in ticks; none for a valid plan. A goal, and what the
  /// problem wants at the end, is violated behind everything else.
  std::optional<int> violated_at;
  /// No effect meets an event of another step or of the problem, and no step overlaps another of its action.
  /// Such a plan can be written as one sequence of events with a gap behind each effect.
  bool is_spread_out = true;

  bool is_valid() const { return !violated_at; }
};

/// Simulates the plan as a validator has to: an effect is seen behind its moment, so a condition at it reads
/// the old value. No two effects of one moment write one fluent, values stay within bounds, durations within
/// theirs. An end of the problem lies one unit behind the last event.
Verdict simulate(const Problem& problem, const std::vector<Step>& steps);

}  // namespace zorvel::timed
