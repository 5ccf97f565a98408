#include "model/walkers/expression_parts.h"

#include "model/expression_factory.h"

namespace zorvel::model {

using F = ExpressionFactory;

bool reads_fluent(const Node* expression) {
  return any_part(expression, [](const Node* node) { return F::is_fluent_reference(node); });
}

std::vector<Node*> conjuncts_of(Node* expression) {
  std::vector<Node*> open{expression}, result;
  std::unordered_set<Node*> seen;
  while (!open.empty()) {
    Node* const node = open.back();
    open.pop_back();
    if (!seen.insert(node).second) continue;
    if (!F::is_and(node)) {
      result.push_back(node);
      continue;
    }
    const auto operands = node->operands();
    open.insert(open.end(), operands.rbegin(), operands.rend());
  }
  return result;
}

}  // namespace zorvel::model
