#include "state/evaluator_from_map.h"

#include "core/errors.h"

namespace zorvel {

Node* ExpressionEvaluatorFromMap::value_of(Node* reference) const {
  const auto found = values_.find(reference);
  if (found == values_.end() || found->second == nullptr)
    throw InvalidParameterError("Missing value for fluent: ") << model::print_expression{reference};
  return found->second;
}

}  // namespace zorvel
