#pragma once

#include "state/expression_compiler.h"
#include "state/state_layout.h"
#include "state/value_table.h"

namespace zorvel {

/// Numbered values and compiled expressions over one index of slots, shared by a search and its heuristics.
struct EvaluationTables {
  /// `index` must outlive the tables and not change.
  EvaluationTables(Environment& env, const StateIndex& index)
      : values(env), layout(env, index, values), compiler(env, layout) {}

  ValueTable values;
  StateLayout layout;
  ExpressionCompiler compiler;
};

}  // namespace zorvel
