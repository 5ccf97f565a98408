#include "search/heuristics/relaxation/value_reachability.h"

#include <algorithm>
#include <cassert>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "search/heuristics/heuristic.h"

namespace zorvel {

using F = model::ExpressionFactory;

ValueReachability::ValueReachability(EvaluationTables& tables, const std::vector<Node*>& goals,
                                     const std::vector<ClassicalAction>& actions)
    : tables_(tables),
      has_goals_(!goals.empty()),
      tests_of_value_(tables.layout.slots()),
      other_tests_(tables.layout.slots()),
      readers_(tables.layout.slots()),
      sets_(tables.layout.slots()),
      bits_(tables.layout.slots()) {
  for (Node* goal : goals) add_condition(goal, goal_owner, goals_);
  for (const ClassicalAction& action : actions) add_action(action);
  for (std::uint32_t number = 0; number < actions_.size(); ++number) {
    for (const SetExpression& condition : actions_[number].conditions) watch_slots(condition, number);
    for (const Effect& effect : actions_[number].effects) {
      watch_slots(effect.value, number);
      for (const SetExpression& argument : effect.arguments) watch_slots(argument, number);
    }
  }
  for (const SetExpression& goal : goals_) is_compiled_ = is_compiled_ && goal.is_compiled();
  for (auto& readers : readers_) {
    std::sort(readers.begin(), readers.end());
    readers.erase(std::unique(readers.begin(), readers.end()), readers.end());
  }
  is_satisfied_.resize(tests_.size());
  stamps_.resize(actions_.size());
}

void ValueReachability::watch_slots(const SetExpression& expression, std::uint32_t action) {
  is_compiled_ = is_compiled_ && expression.is_compiled();
  for (const std::uint32_t slot : expression.slots_read()) readers_[slot].push_back(action);
}

/// Splits a conjunction; it can be true exactly if all its operands can.
void ValueReachability::add_condition(Node* condition, std::uint32_t owner,
                                      std::vector<SetExpression>& rest) {
  std::vector<Node*> pending{condition};
  std::unordered_set<Node*> seen;
  while (!pending.empty()) {
    Node* const conjunct = pending.back();
    pending.pop_back();
    if (!seen.insert(conjunct).second || conjunct->kind() == NodeKind::TRUE) continue;
    if (F::is_and(conjunct))
      pending.insert(pending.end(), conjunct->operands().begin(), conjunct->operands().end());
    else if (const auto test = as_test(conjunct))
      add_test(*test, owner);
    else
      rest.emplace_back(tables_, conjunct);
  }
}

/// The slot of a reference whose arguments are values inside of their types.
std::optional<std::uint32_t> ValueReachability::slot_of(Node* reference) const {
  if (!F::is_fluent_reference(reference)) return std::nullopt;
  const auto slot = tables_.layout.index().find(reference);
  if (slot == tables_.layout.index().end()) return std::nullopt;
  if (reference->arity == 0) return static_cast<std::uint32_t>(slot->second);
  // The table has reachable references only, with their arguments in the form that evaluation gives them.
  const auto fluent = tables_.layout.env().expression_factory().get_fluent_from_reference(reference);
  const ArgumentTable* const table = tables_.layout.slots_of(*fluent);
  std::vector<ValueId> arguments;
  for (Node* argument : reference->operands()) {
    if (!F::is_value(argument)) return std::nullopt;
    arguments.push_back(tables_.values.id_of(argument));
  }
  if (table == nullptr || table->find(arguments.data()) != slot->second) return std::nullopt;
  return static_cast<std::uint32_t>(slot->second);
}

std::optional<ValueReachability::Test> ValueReachability::as_test(Node* conjunct) const {
  const bool is_negated = F::is_not(conjunct);
  Node* const atom = is_negated ? conjunct->children[0] : conjunct;
  if (const auto slot = slot_of(atom)) return Test{*slot, ValueTable::of_boolean(!is_negated), true};
  if (!F::is_equals(atom)) return std::nullopt;
  const bool is_turned = F::is_fluent_reference(atom->children[1]);
  Node* const value = atom->children[is_turned ? 0 : 1];
  const auto slot = slot_of(atom->children[is_turned ? 1 : 0]);
  // why not numbers: one number has two ids, of its integer and of its rational.
  if (!slot || !F::is_value(value) || F::is_numeric_constant(value)) return std::nullopt;
  return Test{*slot, tables_.values.id_of(value), !is_negated};
}

void ValueReachability::add_test(const Test& test, std::uint32_t owner) {
  assert(test.slot < other_tests_.size());
  auto& others = other_tests_[test.slot];
  std::uint32_t number = 0;
  if (test.is_equal) {
    auto& by_value = tests_of_value_[test.slot];
    if (by_value.size() <= test.value) by_value.resize(test.value + 1, 0);
    if (by_value[test.value] == 0) by_value[test.value] = static_cast<std::uint32_t>(tests_.size()) + 1;
    number = by_value[test.value] - 1;
  } else {
    const auto known = std::find_if(others.begin(), others.end(),
                                    [&](std::uint32_t other) { return tests_[other].value == test.value; });
    number = known == others.end() ? static_cast<std::uint32_t>(tests_.size()) : *known;
    if (number == tests_.size()) others.push_back(number);
  }
  if (number == tests_.size()) {
    tests_.push_back(test);
    owners_.emplace_back();
  }
  owners_[number].push_back(owner);
  ++(owner == goal_owner ? initially_missing_goals_ : initially_missing_[owner]);
}

void ValueReachability::add_action(const ClassicalAction& source) {
  const auto number = static_cast<std::uint32_t>(actions_.size());
  actions_.emplace_back();
  initially_missing_.push_back(0);
  Action action;
  add_condition(source.condition(), number, action.conditions);
  for (const auto& [reference, effect] : source.effects()) add_effect(reference, *effect, action);
  add_simulated(source, action);
  actions_[number] = std::move(action);
}

void ValueReachability::add_effect(Node* reference, const zorvel::Effect& effect, Action& action) {
  const ValueRange range(*effect.fluent->type(), tables_);
  const auto slot = slot_of(reference);
  if (slot && F::is_value(effect.value)) {
    const ValueId value = tables_.values.id_of(effect.value);
    if (range.admits(tables_.values, value))
      action.facts.emplace_back(*slot, range.as_held(tables_.values, value));
    return;
  }
  Effect compiled(SetExpression(tables_, effect.value), range);
  if (slot) {
    compiled.slot = *slot;
  } else {
    compiled.table = tables_.layout.slots_of(*effect.fluent);
    is_compiled_ = is_compiled_ && compiled.table != nullptr &&
                   compiled.table->arity() == effect.parameters.size() && !effect.parameters.empty();
    if (!is_compiled_) return;
    for (std::size_t i = 0; i < effect.parameters.size(); ++i) {
      compiled.arguments.emplace_back(tables_, effect.parameters[i]);
      compiled.argument_ranges.emplace_back(*effect.fluent->parameters()[i]->type(), tables_);
    }
  }
  action.effects.push_back(std::move(compiled));
}

void ValueReachability::add_simulated(const ClassicalAction& source, Action& action) {
  const F& factory = tables_.layout.env().expression_factory();
  for (const auto& simulated : source.simulated_effects()) {
    for (Node* reference : simulated->fluents) {
      const auto slot = slot_of(reference);
      if (!slot) {
        is_compiled_ = false;
        return;
      }
      if (!factory.get_fluent_from_reference(reference)->type()->is_finite_domain())
        action.facts.emplace_back(*slot, any_value_id);
      for (Node* added : source.predicates_added(true)) {
        if (added == reference)
          action.facts.emplace_back(*slot, true_value);
        else if (F::is_not(added) && added->children[0] == reference)
          action.facts.emplace_back(*slot, false_value);
        else if (F::is_equals(added) && added->children[0] == reference)
          action.facts.emplace_back(*slot, tables_.values.id_of(added->children[1]));
      }
    }
  }
}

void ValueReachability::begin() {
  for (std::size_t slot = 0; slot < sets_.size(); ++slot) {
    for (const ValueId value : sets_[slot])
      if (value != any_value_id) bits_[slot][value / 64] = 0;
    sets_[slot].clear();
  }
  missing_ = initially_missing_;
  missing_goals_ = initially_missing_goals_;
  std::fill(is_satisfied_.begin(), is_satisfied_.end(), 0);
  new_facts_.clear();
  coming_facts_.clear();
  ready_.clear();
  ++layer_stamp_;
  for (std::uint32_t action = 0; action < actions_.size(); ++action) {
    if (missing_[action] > 0) continue;
    ready_.push_back(action);
    stamps_[action] = layer_stamp_;
  }
}

/// Puts the fact into its set, and into `new_facts_` if it was not there.
void ValueReachability::add(Fact fact) {
  const auto [slot, value] = fact;
  assert(slot < sets_.size());
  std::vector<ValueId>& set = sets_[slot];
  if (set.size() == 1 && set[0] == any_value_id) return;
  if (value == any_value_id || set.size() == value_limit) {
    if (value != any_value_id && (bits_[slot].size() > value / 64) &&
        (bits_[slot][value / 64] >> (value % 64) & 1) != 0)
      return;
    for (const ValueId old : set) bits_[slot][old / 64] = 0;
    set = {any_value_id};
    new_facts_.emplace_back(slot, any_value_id);
    return;
  }
  auto& bits = bits_[slot];
  if (bits.size() <= value / 64) bits.resize(value / 64 + 1, 0);
  std::uint64_t& word = bits[value / 64];
  const std::uint64_t bit = std::uint64_t{1} << (value % 64);
  if ((word & bit) != 0) return;
  word |= bit;
  set.push_back(value);
  new_facts_.push_back(fact);
}

void ValueReachability::satisfy(std::uint32_t test) {
  if (is_satisfied_[test]) return;
  is_satisfied_[test] = 1;
  for (const std::uint32_t owner : owners_[test]) {
    assert((owner == goal_owner ? missing_goals_ : missing_[owner]) > 0);
    if (owner == goal_owner) {
      --missing_goals_;
    } else if (--missing_[owner] == 0 && stamps_[owner] != layer_stamp_) {
      stamps_[owner] = layer_stamp_;
      ready_.push_back(owner);
    }
  }
}

/// Tells the tests and the dynamic actions of the facts that are new in this layer.
void ValueReachability::take_new_facts() {
  for (const auto& [slot, value] : new_facts_) {
    const auto& by_value = tests_of_value_[slot];
    if (value == any_value_id) {
      for (const std::uint32_t test : by_value)
        if (test != 0) satisfy(test - 1);
    } else if (value < by_value.size() && by_value[value] != 0) {
      satisfy(by_value[value] - 1);
    }
    for (const std::uint32_t test : other_tests_[slot])
      if (tests_[test].value != value) satisfy(test);
    for (const std::uint32_t action : readers_[slot]) {
      if (missing_[action] > 0 || stamps_[action] == layer_stamp_) continue;
      stamps_[action] = layer_stamp_;
      ready_.push_back(action);
    }
  }
  new_facts_.clear();
}

std::optional<bool> ValueReachability::goals_can_hold() {
  bool can_hold = missing_goals_ == 0;
  for (SetExpression& goal : goals_) {
    if (!can_hold) return false;
    const auto answer = goal.can_be_true(sets_);
    if (!answer) return std::nullopt;
    can_hold = *answer;
  }
  return can_hold;
}

/// Collects what the ready actions add; false where a value is unknown.
bool ValueReachability::fire_actions() {
  for (const std::uint32_t number : ready_) {
    Action& action = actions_[number];
    if (action.is_dynamic() && !fire_dynamically(action)) return false;
    if (!action.is_dynamic())
      coming_facts_.insert(coming_facts_.end(), action.facts.begin(), action.facts.end());
  }
  ready_.clear();
  return true;
}

bool ValueReachability::fire_dynamically(Action& action) {
  for (SetExpression& condition : action.conditions) {
    const auto answer = condition.can_be_true(sets_);
    if (!answer) return false;
    if (!*answer) return true;
  }
  coming_facts_.insert(coming_facts_.end(), action.facts.begin(), action.facts.end());
  return std::all_of(action.effects.begin(), action.effects.end(),
                     [this](Effect& effect) { return fire(effect); });
}

bool ValueReachability::fire(Effect& effect) {
  const std::vector<ValueId>* const values = effect.value.evaluate(sets_);
  if (values == nullptr) return false;
  const auto add_to = [&](std::uint32_t slot) {
    for (const ValueId value : *values)
      if (effect.range.admits(tables_.values, value))
        coming_facts_.emplace_back(slot, effect.range.as_held(tables_.values, value));
  };
  if (effect.table == nullptr) {
    add_to(effect.slot);
    return true;
  }
  std::vector<std::vector<ValueId>> choices;
  for (std::size_t i = 0; i < effect.arguments.size(); ++i) {
    const std::vector<ValueId>* const arguments = effect.arguments[i].evaluate(sets_);
    if (arguments == nullptr) return false;
    auto& choice = choices.emplace_back();
    for (const ValueId argument : *arguments) {
      if (argument == any_value_id) return false;
      if (!effect.argument_ranges[i].admits(tables_.values, argument)) continue;
      const bool is_integer = effect.argument_ranges[i].is_integer() && tables_.values.is_number(argument);
      choice.push_back(is_integer ? tables_.values.as_integer(argument) : argument);
    }
  }
  return for_each_choice(choices, [&](const std::vector<ValueId>& arguments) {
    const std::uint32_t slot = effect.table->find(arguments.data());
    if (slot == ArgumentTable::absent) return false;
    add_to(slot);
    return true;
  });
}

std::optional<double> ValueReachability::layers(const ValueId* values, std::span<const Fact> more) {
  if (!is_compiled_) return std::nullopt;
  if (!has_goals_) return 0.0;
  if (sets_.empty()) return dead_end;
  begin();
  for (std::uint32_t slot = 0; slot < sets_.size(); ++slot) add({slot, values[slot]});
  for (const Fact& fact : more) add(fact);
  for (double depth = 0.0;; depth += 1.0) {
    take_new_facts();
    const auto is_reached = goals_can_hold();
    if (!is_reached) return std::nullopt;
    if (*is_reached) return depth;
    if (!fire_actions()) return std::nullopt;
    ++layer_stamp_;
    for (const Fact& fact : coming_facts_) add(fact);
    coming_facts_.clear();
    if (new_facts_.empty()) return dead_end;
  }
}

}  // namespace zorvel
