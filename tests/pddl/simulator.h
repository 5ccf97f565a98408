#pragma once

#include <algorithm>
#include <cctype>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "pddl/tree.h"

// What a plan does, by the syntax tree alone: a slow interpreter of PDDL that shares nothing with the passes
// which turn the tree into a problem. A state is what is true and the numbers there are; formulas are looked
// at as they were written, with all objects for a quantifier.

namespace zorvel::pddl {

/// An atom or a function with its objects: the numbers of the fluent and of the objects.
using Cell = std::vector<std::uint32_t>;

struct WorldState {
  std::set<Cell> atoms;
  std::map<Cell, rational> numbers;
};

/// What variables and `?duration` stand for.
struct Assignment {
  std::map<const Variable*, const Object*> objects;
  std::optional<rational> duration;
};

struct SimulatedStep {
  const Action* action = nullptr;
  std::vector<const Object*> arguments;
  rational start, duration;
};

/// The values of formulas and numbers. What needs a number that is not there has no value.
class TreeEvaluator {
 public:
  explicit TreeEvaluator(const Task& task) : task_(task), changes_(task.fluents.size(), false) {
    for (const Action& action : task.actions)
      if (action.effect != nullptr) note_changes(*action.effect);
    for (const Fact& fact : task.facts)
      if (fact.time && *fact.time > rational(0))
        changes_[fact.fluent->number] = true;
      else
        set(fact);
  }

  const Task& task() const { return task_; }
  const WorldState& initial() const { return initial_; }

  /// A null state knows only what never changes.
  std::optional<bool> truth(const Expression& e, Assignment& scope, const WorldState* state) const {
    using Kind = ExpressionKind;
    switch (e.kind) {
      case Kind::truth: return true;
      case Kind::falsity: return false;
      case Kind::atom:
        if (state == nullptr && changes_[e.fluent->number]) return std::nullopt;
        return (state == nullptr ? initial_ : *state).atoms.contains(cell_of(e, scope));
      case Kind::negation: return negation(truth(*e.operands[0], scope, state));
      case Kind::implication:
        return either(negation(truth(*e.operands[0], scope, state)), truth(*e.operands[1], scope, state));
      case Kind::conjunction:
      case Kind::disjunction: {
        std::optional<bool> result = e.kind == Kind::conjunction;
        for (const Expression* operand : e.operands) {
          const auto value = truth(*operand, scope, state);
          result = e.kind == Kind::conjunction ? both(result, value) : either(result, value);
        }
        return result;
      }
      case Kind::forall:
      case Kind::exists: {
        std::optional<bool> result = e.kind == Kind::forall;
        for_each(e.variables, scope, [&] {
          const auto value = truth(*e.operands[0], scope, state);
          result = e.kind == Kind::forall ? both(result, value) : either(result, value);
        });
        return result;
      }
      case Kind::equality:
        if (is_object(*e.operands[0])) return object(*e.operands[0], scope) == object(*e.operands[1], scope);
        [[fallthrough]];
      case Kind::less:
      case Kind::less_or_equal:
      case Kind::greater:
      case Kind::greater_or_equal: {
        const auto a = number(*e.operands[0], scope, state);
        const auto b = number(*e.operands[1], scope, state);
        if (!a || !b) return std::nullopt;
        if (e.kind == Kind::equality) return *a == *b;
        if (e.kind == Kind::less) return *a < *b;
        if (e.kind == Kind::less_or_equal) return *a <= *b;
        return e.kind == Kind::greater ? *a > *b : *a >= *b;
      }
      default: throw std::logic_error("no condition");
    }
  }

  std::optional<rational> number(const Expression& e, Assignment& scope, const WorldState* state) const {
    using Kind = ExpressionKind;
    if (e.kind == Kind::number) return e.value;
    if (e.kind == Kind::duration) return scope.duration;
    if (e.kind == Kind::function) {
      if (state == nullptr && changes_[e.fluent->number]) return std::nullopt;
      const auto& numbers = (state == nullptr ? initial_ : *state).numbers;
      const auto found = numbers.find(cell_of(e, scope));
      return found == numbers.end() ? std::nullopt : std::optional(found->second);
    }
    std::vector<rational> operands;
    for (const Expression* operand : e.operands) {
      const auto value = number(*operand, scope, state);
      if (!value) return std::nullopt;
      operands.push_back(*value);
    }
    rational result = operands[0];
    if (e.kind == Kind::minus && operands.size() == 1) return -result;
    for (std::size_t i = 1; i < operands.size(); ++i) {
      if (e.kind == Kind::plus) result += operands[i];
      if (e.kind == Kind::minus) result -= operands[i];
      if (e.kind == Kind::times) result *= operands[i];
      if (e.kind == Kind::divide) {
        if (operands[i] == rational(0)) return std::nullopt;
        result = result / operands[i];
      }
    }
    return result;
  }

  /// Adds the cells that the truth of a formula, or a number, may depend on. A part that what never changes
  /// decides depends on none.
  void add_reads(const Expression& e, Assignment& scope, std::set<Cell>& reads) const {
    using Kind = ExpressionKind;
    const bool is_number = e.kind == Kind::function || (e.kind >= Kind::number && e.kind <= Kind::duration);
    if (is_number ? number(e, scope, nullptr).has_value()
                  : !is_object(e) && truth(e, scope, nullptr).has_value())
      return;
    if (e.kind == Kind::forall || e.kind == Kind::exists)
      return for_each(e.variables, scope, [&] { add_reads(*e.operands[0], scope, reads); });
    if (e.kind == Kind::atom || e.kind == Kind::function) {
      reads.insert(cell_of(e, scope));
      return;
    }
    for (const Expression* operand : e.operands) add_reads(*operand, scope, reads);
  }

  Cell cell_of(const Expression& e, const Assignment& scope) const {
    Cell cell{e.fluent->number};
    for (const Expression* argument : e.operands) cell.push_back(object(*argument, scope)->number);
    return cell;
  }

  static void for_each(const std::vector<const Variable*>& variables, Assignment& scope,
                       const std::function<void()>& use, std::size_t next = 0) {
    if (next == variables.size()) return use();
    for (const Object* object : variables[next]->sort->objects) {
      scope.objects[variables[next]] = object;
      for_each(variables, scope, use, next + 1);
    }
  }

 private:
  /// What is not said to be true is false, so a fact that says so is worth nothing.
  void set(const Fact& fact) {
    Cell cell{fact.fluent->number};
    for (const Object* argument : fact.arguments) cell.push_back(argument->number);
    if (fact.fluent->is_function)
      initial_.numbers[cell] = fact.value;
    else if (fact.holds)
      initial_.atoms.insert(cell);
  }
  static bool is_object(const Expression& e) {
    return e.kind == ExpressionKind::object || e.kind == ExpressionKind::variable;
  }
  static const Object* object(const Expression& e, const Assignment& scope) {
    return e.kind == ExpressionKind::object ? e.object : scope.objects.at(e.variable);
  }
  static std::optional<bool> negation(std::optional<bool> a) { return a ? std::optional(!*a) : a; }
  static std::optional<bool> both(std::optional<bool> a, std::optional<bool> b) {
    if (a == false || b == false) return false;
    return a && b ? std::optional(true) : std::nullopt;
  }
  static std::optional<bool> either(std::optional<bool> a, std::optional<bool> b) {
    return negation(both(negation(a), negation(b)));
  }
  void note_changes(const Expression& effect) {
    using Kind = ExpressionKind;
    if (effect.kind == Kind::atom || effect.kind == Kind::function)
      changes_[effect.fluent->number] = true;
    else if (effect.kind == Kind::when)
      note_changes(*effect.operands[1]);
    else if (effect.kind >= Kind::assign && effect.kind <= Kind::scale_down)
      note_changes(*effect.operands[0]);
    else
      for (const Expression* operand : effect.operands) note_changes(*operand);
  }

  const Task& task_;
  std::vector<bool> changes_;  // by number of the fluent
  WorldState initial_;
};

/// A run of a plan from the start on, one moment after the other.
///
/// All that happens at one moment sees the state before it. Two steps, or a step and a timed fact, do not
/// write one cell at one moment, and none writes what another one reads there. Of the effects of one step,
/// adds win over deletes and changes of a number are made in the order of the text; two changes that take
/// place without a condition have to be increases or decreases.
class Simulation {
 public:
  explicit Simulation(const TreeEvaluator& evaluate) : evaluate_(&evaluate) {
    states_.push_back({rational(0), evaluate.initial()});
  }

  /// Goes on to a moment, which is no earlier than the last one. Steps that end there have been begun. False,
  /// with a `reason`, if something fails.
  bool advance(const rational& time, const std::vector<SimulatedStep>& starting);
  /// The ends of open steps and timed facts that still come.
  std::optional<rational> next_moment() const;
  bool has_open_steps() const { return !open_.empty(); }
  bool is_open(const SimulatedStep& step) const {
    return std::any_of(open_.begin(), open_.end(), [&](const OpenStep& open) {
      return open.step.action == step.action && open.step.arguments == step.arguments;
    });
  }
  /// With all that still comes.
  bool finish();
  const std::string& reason() const { return reason_; }
  const WorldState& state() const { return states_.back().state; }
  const rational& now() const { return now_; }

 private:
  using Kind = ExpressionKind;
  enum class When { start, end, all };
  struct Condition {
    When when;
    const Expression* formula;
    Assignment scope;
  };
  struct Change {
    When when;
    const Expression* effect;
    Cell cell;
    Assignment scope;
    std::vector<std::size_t> conditions;  // of the step's `triggers`
    bool is_certain;                      // without a `when` around it
  };
  struct OpenStep {
    SimulatedStep step;
    std::vector<Condition> conditions, triggers;
    std::vector<bool> is_triggered;  // so far
    std::vector<Change> changes;
    std::optional<std::size_t> part = std::nullopt;  // at the moment at hand
  };
  struct Stay {
    rational since;
    WorldState state;
  };
  /// What one step, or the timed facts, do at one moment.
  struct Part {
    std::set<Cell> reads, writes;
    std::map<Cell, bool> atoms;
    std::map<Cell, rational> numbers;
  };

  bool fail(const std::string& what) {
    reason_ = what;
    return false;
  }
  static std::optional<When> time_of(Kind kind) {
    if (kind == Kind::at_start) return When::start;
    if (kind == Kind::at_end) return When::end;
    return kind == Kind::over_all ? std::optional(When::all) : std::nullopt;
  }
  void collect_conditions(const Expression& e, When when, Assignment& scope, std::vector<Condition>& result);
  void collect_changes(const Expression& e, std::optional<When> when, Assignment& scope,
                       std::vector<std::size_t>& conditions, OpenStep& step);
  OpenStep open(const SimulatedStep& step);
  bool holds(const Condition& condition, const WorldState& state) {
    Assignment scope = condition.scope;
    return evaluate_->truth(*condition.formula, scope, &state) == true;
  }
  static bool counts(const OpenStep& step, std::size_t trigger);
  bool look(OpenStep& step, When when, Part* part);
  bool change(OpenStep& step, When when, Part& part);
  bool check_duration(const Expression& e, OpenStep& step, Part& part);
  bool join(const std::vector<Part>& parts, const rational& time);
  bool check_constraint(const Expression& e, Assignment& scope);
  bool holds_in(std::size_t i, const Expression& formula, Assignment& scope) {
    return evaluate_->truth(formula, scope, &states_[i].state) == true;
  }

  const TreeEvaluator* evaluate_;
  std::vector<Stay> states_;  // the last one is that of now
  std::vector<OpenStep> open_;
  rational now_{-1};
  std::string reason_;
};

inline void Simulation::collect_conditions(const Expression& e, When when, Assignment& scope,
                                           std::vector<Condition>& result) {
  if (e.kind == Kind::preference) return;
  if (const auto time = time_of(e.kind)) return collect_conditions(*e.operands[0], *time, scope, result);
  if (e.kind == Kind::conjunction) {
    for (const Expression* operand : e.operands) collect_conditions(*operand, when, scope, result);
    return;
  }
  if (e.kind == Kind::forall) {
    TreeEvaluator::for_each(e.variables, scope,
                            [&] { collect_conditions(*e.operands[0], when, scope, result); });
    return;
  }
  result.push_back({when, &e, scope});
}

inline void Simulation::collect_changes(const Expression& e, std::optional<When> when, Assignment& scope,
                                        std::vector<std::size_t>& conditions, OpenStep& step) {
  if (const auto time = time_of(e.kind))
    return collect_changes(*e.operands[0], time, scope, conditions, step);
  switch (e.kind) {
    case Kind::truth: return;
    case Kind::conjunction:
      for (const Expression* operand : e.operands) collect_changes(*operand, when, scope, conditions, step);
      return;
    case Kind::forall:
      return TreeEvaluator::for_each(e.variables, scope,
                                     [&] { collect_changes(*e.operands[0], when, scope, conditions, step); });
    case Kind::when: {
      const std::size_t first = step.triggers.size(), outer = conditions.size();
      collect_conditions(*e.operands[0], when.value_or(When::start), scope, step.triggers);
      for (std::size_t i = first; i < step.triggers.size(); ++i) conditions.push_back(i);
      const auto is_never = [&](std::size_t i) {
        return evaluate_->truth(*step.triggers[i].formula, step.triggers[i].scope, nullptr) == false;
      };
      if (std::none_of(conditions.begin(), conditions.end(), is_never))
        collect_changes(*e.operands[1], when, scope, conditions, step);
      conditions.resize(outer);
      return;
    }
    default: {
      const bool is_atom = e.kind == Kind::atom;
      const Expression& target = is_atom ? e : *e.operands[0];
      std::vector<std::size_t> open_conditions;
      for (const std::size_t i : conditions)
        if (!evaluate_->truth(*step.triggers[i].formula, step.triggers[i].scope, nullptr))
          open_conditions.push_back(i);
      step.changes.push_back({when.value_or(When::start), &e, evaluate_->cell_of(target, scope), scope,
                              open_conditions, conditions.empty()});
    }
  }
}

inline Simulation::OpenStep Simulation::open(const SimulatedStep& step) {
  OpenStep result;
  result.step = step;
  Assignment scope;
  for (std::size_t i = 0; i < step.arguments.size(); ++i)
    scope.objects[step.action->parameters[i]] = step.arguments[i];
  scope.duration = step.duration;
  if (step.action->condition != nullptr)
    collect_conditions(*step.action->condition, When::start, scope, result.conditions);
  std::vector<std::size_t> conditions;
  if (step.action->effect != nullptr)
    collect_changes(*step.action->effect, std::nullopt, scope, conditions, result);
  result.is_triggered.assign(result.triggers.size(), true);
  return result;
}

/// The conditions of a time on the state at hand, and whether the effects that depend on such take place.
inline bool Simulation::look(OpenStep& step, When when, Part* part) {
  for (Condition& condition : step.conditions) {
    if (condition.when != when) continue;
    if (part != nullptr) evaluate_->add_reads(*condition.formula, condition.scope, part->reads);
    if (!holds(condition, state())) return fail("a condition of " + step.step.action->name.text);
  }
  for (std::size_t i = 0; i < step.triggers.size(); ++i) {
    if (step.triggers[i].when != when) continue;
    if (part != nullptr && counts(step, i))
      evaluate_->add_reads(*step.triggers[i].formula, step.triggers[i].scope, part->reads);
    step.is_triggered[i] = step.is_triggered[i] && holds(step.triggers[i], state());
  }
  return true;
}

/// Whether an effect depends on the condition: not where the step adds the atom in any case, or deletes in
/// any case what the effect deletes.
inline bool Simulation::counts(const OpenStep& step, std::size_t trigger) {
  const auto is_decided = [&](const Change& change) {
    return std::any_of(step.changes.begin(), step.changes.end(), [&](const Change& other) {
      return other.conditions.empty() && other.when == change.when && other.cell == change.cell &&
             (other.effect->kind == Kind::atom ||
              (other.effect->kind == Kind::negation && change.effect->kind == Kind::negation));
    });
  };
  return std::any_of(step.changes.begin(), step.changes.end(), [&](const Change& change) {
    return std::find(change.conditions.begin(), change.conditions.end(), trigger) !=
               change.conditions.end() &&
           !is_decided(change);
  });
}

inline bool Simulation::change(OpenStep& step, When when, Part& part) {
  std::map<Cell, std::vector<bool>> certain;  // by function: whether each is a sum
  for (Change& change : step.changes) {
    if (change.when != when) continue;
    part.writes.insert(change.cell);
    const Expression& e = *change.effect;
    const bool takes_place = std::all_of(change.conditions.begin(), change.conditions.end(),
                                         [&](std::size_t i) { return step.is_triggered[i]; });
    if (e.kind == Kind::atom || e.kind == Kind::negation) {
      if (takes_place) part.atoms[change.cell] = part.atoms[change.cell] || e.kind == Kind::atom;
      continue;
    }
    evaluate_->add_reads(*e.operands[1], change.scope, part.reads);
    if (change.is_certain)
      certain[change.cell].push_back(e.kind == Kind::increase || e.kind == Kind::decrease);
    const auto operand = evaluate_->number(*e.operands[1], change.scope, &state());
    const auto old = state().numbers.find(change.cell);
    if (!takes_place) continue;
    if (!operand) return fail("a number that is not there");
    if (e.kind == Kind::assign) {
      part.numbers[change.cell] = *operand;
      continue;
    }
    if (old == state().numbers.end()) return fail("a change of a number that is not there");
    rational& value = part.numbers.try_emplace(change.cell, old->second).first->second;
    if (e.kind == Kind::increase) value += *operand;
    if (e.kind == Kind::decrease) value -= *operand;
    if (e.kind == Kind::scale_up) value *= *operand;
    if (e.kind == Kind::scale_down) {
      if (*operand == rational(0)) return fail("a division by zero");
      value = value / *operand;
    }
  }
  for (const auto& [cell, are_sums] : certain)
    if (are_sums.size() > 1 && std::find(are_sums.begin(), are_sums.end(), false) != are_sums.end())
      return fail("two changes of one number");
  return true;
}

inline bool Simulation::check_duration(const Expression& e, OpenStep& step, Part& part) {
  Assignment scope;
  for (std::size_t i = 0; i < step.step.arguments.size(); ++i)
    scope.objects[step.step.action->parameters[i]] = step.step.arguments[i];
  scope.duration = step.step.duration;
  if (time_of(e.kind) || e.kind == Kind::conjunction)
    return std::all_of(e.operands.begin(), e.operands.end(),
                       [&](const Expression* operand) { return check_duration(*operand, step, part); });
  if (e.kind == Kind::truth) return true;
  for (const Expression* operand : e.operands) evaluate_->add_reads(*operand, scope, part.reads);
  return evaluate_->truth(e, scope, &state()) == true || fail("a duration");
}

inline bool Simulation::join(const std::vector<Part>& parts, const rational& time) {
  for (std::size_t i = 0; i < parts.size(); ++i)
    for (std::size_t j = 0; j < parts.size(); ++j)
      for (const Cell& cell : parts[i].writes)
        if (i != j && (parts[j].reads.contains(cell) || parts[j].writes.contains(cell)))
          return fail("two that write, or read and write, one cell at one moment");
  WorldState next = state();
  for (const Part& part : parts) {
    for (const auto& [cell, holds] : part.atoms) {
      if (holds)
        next.atoms.insert(cell);
      else
        next.atoms.erase(cell);
    }
    for (const auto& [cell, value] : part.numbers) next.numbers[cell] = value;
  }
  states_.push_back({time, std::move(next)});
  return true;
}

inline bool Simulation::advance(const rational& time, const std::vector<SimulatedStep>& starting) {
  for (OpenStep& step : open_) {
    step.part.reset();
    if (step.step.start < time && !look(step, When::all, nullptr)) return false;
  }
  std::vector<Part> parts;
  for (const SimulatedStep& step : starting) {
    OpenStep& opened = open_.emplace_back(open(step));
    opened.part = parts.size();
    Part& part = parts.emplace_back();
    if (step.action->duration != nullptr && step.action->is_durative &&
        !check_duration(*step.action->duration, opened, part))
      return false;
    if (!look(opened, When::start, &part) || !change(opened, When::start, part)) return false;
  }
  for (OpenStep& step : open_) {
    if (step.step.start + step.step.duration != time || !step.step.action->is_durative) continue;
    Part part;
    if (!look(step, When::end, &part) || !change(step, When::end, part)) return false;
    if (step.part) {
      // A step without duration does both at once.
      Part& begin = parts[*step.part];
      for (const Cell& cell : part.writes)
        if (begin.writes.contains(cell)) return fail("a step that writes a cell twice");
      begin.reads.merge(part.reads);
      begin.writes.merge(part.writes);
      begin.atoms.merge(part.atoms);
      begin.numbers.merge(part.numbers);
    } else {
      parts.push_back(std::move(part));
    }
  }
  std::erase_if(open_, [&](const OpenStep& step) {
    return step.step.start + step.step.duration <= time || !step.step.action->is_durative;
  });
  Part facts;
  for (const Fact& fact : evaluate_->task().facts) {
    if (!fact.time || *fact.time != time || time == rational(0)) continue;
    Cell cell{fact.fluent->number};
    for (const Object* argument : fact.arguments) cell.push_back(argument->number);
    facts.writes.insert(cell);
    if (fact.fluent->is_function)
      facts.numbers[cell] = fact.value;
    else
      facts.atoms[cell] = facts.atoms[cell] || fact.holds;
  }
  if (!facts.writes.empty()) parts.push_back(std::move(facts));
  now_ = time;
  return join(parts, time);
}

inline std::optional<rational> Simulation::next_moment() const {
  std::optional<rational> next;
  const auto consider = [&](const rational& time) {
    if (time > now_ && (!next || time < *next)) next = time;
  };
  for (const OpenStep& step : open_) consider(step.step.start + step.step.duration);
  for (const Fact& fact : evaluate_->task().facts)
    if (fact.time && *fact.time > rational(0)) consider(*fact.time);
  return next;
}

inline bool Simulation::finish() {
  while (const auto next = next_moment())
    if (!advance(*next, {})) return false;
  for (const Expression* goal : evaluate_->task().goals) {
    Assignment scope;
    std::vector<Condition> conditions;
    collect_conditions(*goal, When::end, scope, conditions);
    for (const Condition& condition : conditions)
      if (!holds(condition, state())) return fail("a goal");
  }
  for (const Expression* constraint : evaluate_->task().constraints) {
    Assignment scope;
    if (!check_constraint(*constraint, scope)) return fail("a constraint");
  }
  return true;
}

/// State i is seen by conditions behind its `since` up to the next one's, that one included: conditions at an
/// instant see the state before it. The last one is seen for ever.
inline bool Simulation::check_constraint(const Expression& e, Assignment& scope) {
  const std::size_t count = states_.size();
  const auto some = [&](std::size_t first, std::size_t end, std::size_t operand) {
    for (std::size_t i = first; i < end; ++i)
      if (holds_in(i, *e.operands[operand], scope)) return true;
    return false;
  };
  const auto begins_before = [&](std::size_t i, const rational& time) {
    return i == 0 || states_[i].since < time;
  };
  const auto ends_after = [&](std::size_t i, const rational& time) {
    return i + 1 == count || states_[i + 1].since > time;
  };
  const auto every = [&](const auto& is_meant, std::size_t operand) {
    for (std::size_t i = 0; i < count; ++i)
      if (is_meant(i) && !holds_in(i, *e.operands[operand], scope)) return false;
    return true;
  };
  switch (e.kind) {
    case Kind::truth:
    case Kind::preference: return true;
    case Kind::conjunction:
      return std::all_of(e.operands.begin(), e.operands.end(),
                         [&](const Expression* operand) { return check_constraint(*operand, scope); });
    case Kind::forall: {
      bool holds = true;
      TreeEvaluator::for_each(e.variables, scope,
                              [&] { holds = holds && check_constraint(*e.operands[0], scope); });
      return holds;
    }
    case Kind::end: return holds_in(count - 1, *e.operands[0], scope);
    case Kind::always: return every([](std::size_t) { return true; }, 0);
    case Kind::sometime: return some(0, count, 0);
    case Kind::within:
      for (std::size_t i = 0; i < count; ++i)
        if (begins_before(i, e.operands[0]->value) && holds_in(i, *e.operands[1], scope)) return true;
      return false;
    case Kind::hold_during:
      return every(
          [&](std::size_t i) {
            return begins_before(i, e.operands[1]->value) && ends_after(i, e.operands[0]->value);
          },
          2);
    case Kind::hold_after:
      return every([&](std::size_t i) { return ends_after(i, e.operands[0]->value); }, 1);
    case Kind::at_most_once: {
      int rises = 0;
      for (std::size_t i = 0; i < count; ++i)
        if (holds_in(i, *e.operands[0], scope) && (i == 0 || !holds_in(i - 1, *e.operands[0], scope)))
          ++rises;
      return rises <= 1;
    }
    case Kind::sometime_after:
      for (std::size_t i = 0; i < count; ++i)
        if (holds_in(i, *e.operands[0], scope) && !some(i, count, 1)) return false;
      return true;
    case Kind::sometime_before:
      for (std::size_t i = 0; i < count; ++i)
        if (holds_in(i, *e.operands[0], scope) && !some(0, i, 1)) return false;
      return true;
    case Kind::always_within:
      for (std::size_t i = 0; i < count; ++i) {
        if (!holds_in(i, *e.operands[1], scope)) continue;
        std::size_t last = i;
        while (last < count && states_[last].since - states_[i].since <= e.operands[0]->value) ++last;
        if (!some(i, last, 2)) return false;
      }
      return true;
    default: throw std::logic_error("no constraint");
  }
}

/// The steps of a plan in the PDDL format; the task has declared all its names.
inline std::vector<SimulatedStep> read_plan(const Task& task, const std::string& text) {
  const auto lower = [](std::string word) {
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
    return word;
  };
  std::vector<SimulatedStep> result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line[0] == ';') continue;
    for (char& c : line)
      if (std::string("():[]").find(c) != std::string::npos) c = ' ';
    std::istringstream words(line);
    std::string word;
    SimulatedStep step;
    words >> word;
    step.start = rational_from_string(word);
    words >> word;
    for (const Action& action : task.actions)
      if (action.name.symbol->text == lower(word)) step.action = &action;
    if (step.action == nullptr) throw std::logic_error("no action " + word);
    while (step.arguments.size() < step.action->parameters.size() && words >> word)
      for (const Object& object : task.objects)
        if (object.name.symbol->text == lower(word)) step.arguments.push_back(&object);
    if (step.action->is_durative && words >> word) step.duration = rational_from_string(word);
    result.push_back(std::move(step));
  }
  return result;
}

/// What is wrong with a plan; empty if nothing is.
inline std::string fault_of(const TreeEvaluator& evaluate, std::vector<SimulatedStep> plan) {
  for (const SimulatedStep& step : plan)
    for (std::size_t i = 0; i < step.arguments.size(); ++i)
      if (!contains(*step.action->parameters[i]->sort, *step.arguments[i])) return "an argument's type";
  std::stable_sort(plan.begin(), plan.end(), [](const auto& a, const auto& b) { return a.start < b.start; });
  Simulation simulation(evaluate);
  for (std::size_t i = 0; i < plan.size();) {
    const auto next = simulation.next_moment();
    std::vector<SimulatedStep> starting;
    const rational time = next && *next < plan[i].start ? *next : plan[i].start;
    while (i < plan.size() && plan[i].start == time) starting.push_back(plan[i++]);
    if (!simulation.advance(time, starting)) return simulation.reason();
  }
  return simulation.finish() ? "" : simulation.reason();
}

/// All ways to begin an action that takes no time, or up to four units in halves.
inline std::vector<SimulatedStep> kinds_of_steps(const Task& task) {
  std::vector<SimulatedStep> kinds;
  for (const Action& action : task.actions) {
    Assignment scope;
    TreeEvaluator::for_each(action.parameters, scope, [&] {
      SimulatedStep step;
      step.action = &action;
      for (const Variable* parameter : action.parameters)
        step.arguments.push_back(scope.objects.at(parameter));
      for (int halves = 1; halves <= (action.is_durative ? 8 : 1); ++halves) {
        step.duration = action.is_durative ? rational(halves) / rational(2) : rational(0);
        kinds.push_back(step);
      }
    });
  }
  return kinds;
}

/// Tries all plans of at most `steps` steps which start at halves before `horizon` and of which no two of one
/// kind overlap, as long as the number of moments looked at allows.
class ExhaustiveSearch {
 public:
  ExhaustiveSearch(const TreeEvaluator& evaluate, int horizon, std::size_t moments)
      : evaluate_(evaluate),
        horizon_(horizon),
        moments_left_(moments),
        kinds_(kinds_of_steps(evaluate.task())) {}

  /// The steps of a plan; nothing if there is none, or none was found.
  std::optional<std::vector<SimulatedStep>> find(int steps) {
    for (int allowed = 0; allowed <= steps; ++allowed)
      if (go(Simulation(evaluate_), 0, allowed)) return plan_;
    return std::nullopt;
  }

 private:
  static rational half(int count) { return rational(count) / rational(2); }

  /// `allowed` steps are still to come, from that many halves on.
  bool go(const Simulation& before, int halves, int allowed) {
    if (allowed == 0) {
      Simulation last = before;
      return last.finish();
    }
    for (; halves < 2 * horizon_; ++halves) {
      // What happens up to this moment without another step.
      Simulation simulation = before;
      bool is_sound = true;
      for (auto next = simulation.next_moment(); is_sound && next && *next < half(halves);
           next = simulation.next_moment())
        is_sound = simulation.advance(*next, {});
      if (!is_sound) return false;
      std::vector<std::size_t> possible;  // kinds that can start alone
      for (std::size_t i = 0; i < kinds_.size(); ++i) {
        if (moments_left_ == 0) return false;
        const auto alone = start_at(simulation, halves, {i});
        if (alone != nullptr) {
          if (go(*alone, halves + 1, allowed - 1)) return true;
          possible.push_back(i);
        }
        plan_.pop_back();
      }
      for (std::size_t i = 0; allowed > 1 && i < possible.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
          if (moments_left_ == 0) return false;
          const auto both = start_at(simulation, halves, {possible[i], possible[j]});
          if (both != nullptr && go(*both, halves + 1, allowed - 2)) return true;
          plan_.resize(plan_.size() - 2);
        }
      }
    }
    return false;
  }

  /// The run with these steps at this time, which are in plan_ afterwards; null if that fails.
  std::unique_ptr<Simulation> start_at(const Simulation& before, int halves,
                                       std::initializer_list<std::size_t> kinds) {
    if (moments_left_ > 0) --moments_left_;
    std::vector<SimulatedStep> starting;
    bool is_free = true;
    for (const std::size_t kind : kinds) {
      SimulatedStep step = kinds_[kind];
      step.start = half(halves);
      is_free = is_free && !before.is_open(step) &&
                std::none_of(starting.begin(), starting.end(), [&](const SimulatedStep& other) {
                  return other.action == step.action && other.arguments == step.arguments;
                });
      starting.push_back(std::move(step));
    }
    plan_.insert(plan_.end(), starting.begin(), starting.end());
    if (!is_free) return nullptr;
    auto next = std::make_unique<Simulation>(before);
    return next->advance(half(halves), starting) ? std::move(next) : nullptr;
  }

  const TreeEvaluator& evaluate_;
  const int horizon_;
  std::size_t moments_left_;
  const std::vector<SimulatedStep> kinds_;
  std::vector<SimulatedStep> plan_;
};

}  // namespace zorvel::pddl
