#pragma once

#include <cstdint>
#include <vector>

#include "search/frame/evaluation_tables.h"
#include "search/frame/successor_generator.h"
#include "search/heuristics/relaxation/classical_action.h"
#include "state/compiled_condition.h"
#include "state/compiled_effect.h"

namespace zorvel::tsimple {

/// A classical action on packed states.
class CompiledAction {
 public:
  /// `tables` must outlive it. `values` is any state with all slots set.
  CompiledAction(const ClassicalAction& action, EvaluationTables& tables, const ValueId* values);

  /// The part of the condition that asks for values of slots.
  const std::vector<SuccessorGenerator::Demand>& demands() const { return demands_; }
  /// Whether the rest of the condition holds in a state that meets the demands. An argument outside the type
  /// of its parameter makes it false.
  bool meets_rest(const ValueId* values) const;
  /// Sets `writes` to what the action writes in the state, simulated effects last; the first `plain` of them
  /// are those of the other effects. False if it cannot: a value leaves the bounds of its fluent or has none,
  /// or an argument is outside the type of its parameter.
  bool compute(const ValueId* values, std::vector<SlotWrite>& writes, std::size_t& plain) const;

 private:
  std::vector<SuccessorGenerator::Demand> demands_;
  CompiledCondition condition_;
  bool has_rest_ = false;
  CompiledEffect effect_;
  std::vector<CompiledEffect> simulated_;
  bool is_constant_ = false;       // the effect gives the same in all states:
  bool is_possible_ = true;        // whether it gives anything
  std::vector<SlotWrite> writes_;  // what it gives
};

}  // namespace zorvel::tsimple
