#pragma once

#include <memory>

#include "state/expression_compiler.h"
#include "state/state_layout.h"
#include "state/value_table.h"

namespace zorvel {

/// Numbered values and compiled expressions over one index of slots, shared by a search and its heuristics.
struct EvaluationTables {
  /// `index` must outlive the tables and not change.
  EvaluationTables(Environment& env, const StateIndex& index)
      : EvaluationTables(env, index, std::make_shared<ValueTable>(env)) {}
  /// Tables over another index with the same numbers of values.
  EvaluationTables(const EvaluationTables& other, const StateIndex& index)
      : EvaluationTables(other.layout.env(), index, other.shared_values) {}

 private:
  EvaluationTables(Environment& env, const StateIndex& index, std::shared_ptr<ValueTable> shared)
      : shared_values(std::move(shared)),
        values(*shared_values),
        layout(env, index, values),
        compiler(env, layout) {}
  std::shared_ptr<ValueTable> shared_values;

 public:
  ValueTable& values;
  StateLayout layout;
  ExpressionCompiler compiler;
};

}  // namespace zorvel
