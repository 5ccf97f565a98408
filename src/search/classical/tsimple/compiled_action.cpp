#include "search/classical/tsimple/compiled_action.h"

#include <algorithm>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/walkers/expression_simplifier.h"

namespace zorvel::tsimple {

namespace {

/// The effects of an action as one effect, null without any.
Node* conjunction_of(Environment& env, const ClassicalAction::Effects& effects) {
  model::ExpressionFactory& factory = env.expression_factory();
  std::vector<Node*> assignments;
  for (const auto& [reference, effect] : effects)
    assignments.push_back(factory.make_assign(reference, effect->value));
  if (assignments.empty()) return nullptr;
  return assignments.size() == 1 ? assignments.front() : factory.make_and(assignments);
}

}  // namespace

CompiledAction::CompiledAction(const ClassicalAction& action, EvaluationTables& tables,
                               const ValueId* values) {
  Environment& env = tables.layout.env();
  condition_ = tables.compiler.compile_condition(model::ExpressionSimplifier(env)(action.condition()));
  has_rest_ = !condition_.is_conjunction_of_literals();
  for (const CompiledCondition::Literal& literal : condition_.literals()) {
    if (literal.is_equal)
      demands_.push_back({literal.slot, literal.expected});
    else if (ValueTable::is_boolean(literal.expected))
      demands_.push_back({literal.slot, ValueTable::of_boolean(literal.expected == false_value)});
    else
      has_rest_ = true;
  }
  effect_ = tables.compiler.compile_effect(conjunction_of(env, action.effects()));
  for (const auto& simulated : action.simulated_effects())
    simulated_.push_back(tables.compiler.compile_effect(nullptr, simulated, {}));
  if (!effect_.slots_read().empty()) return;
  try {
    is_possible_ = effect_.compute(values, writes_);
    is_constant_ = true;
  } catch (const ZorvelError&) {
    // An effect that always fails is an error only of a search that gets to it.
  }
}

bool CompiledAction::meets_rest(const ValueId* values) const {
  if (!has_rest_) return true;
  return condition_.holds(values);
}

bool CompiledAction::compute(const ValueId* values, std::vector<SlotWrite>& writes,
                             std::size_t& plain) const {
  if (!is_possible_) return false;
  if (is_constant_ && simulated_.empty()) {
    writes = writes_;
    plain = writes.size();
    return true;
  }
  writes.clear();
  if (!effect_.compute(values, writes)) return false;
  plain = writes.size();
  return std::all_of(simulated_.begin(), simulated_.end(),
                     [&](const CompiledEffect& simulated) { return simulated.compute(values, writes); });
}

}  // namespace zorvel::tsimple
