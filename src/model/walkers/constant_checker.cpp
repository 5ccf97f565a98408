#include "model/walkers/constant_checker.h"

#include <algorithm>

#include "model/constant.h"

namespace zorvel::model {

Node* ConstantChecker::walk_constant_reference(Node* node) const {
  const bool is_ground = std::ranges::all_of(node->operands(), [this](Node* argument) {
    const Node* value = memoized_value(argument);
    return ExpressionFactory::is_constant(value) || ExpressionFactory::is_instance_reference(value);
  });
  if (is_ground) throw UndefinedConstantError("No value for constant ") << print_expression{node};
  return node;
}

}  // namespace zorvel::model
