#pragma once

#include <unordered_set>
#include <vector>

#include "core/node.h"

namespace zorvel::model {

/// Whether some part of an expression, itself included, meets the test. Nothing below a part that `is_closed`
/// is looked at. Expressions share their parts: each is met once.
template <class Test, class IsClosed>
bool any_part(const Node* expression, const Test& test, const IsClosed& is_closed) {
  std::vector<const Node*> open{expression};
  std::unordered_set<const Node*> seen{expression};
  while (!open.empty()) {
    const Node* const node = open.back();
    open.pop_back();
    if (test(node)) return true;
    if (is_closed(node)) continue;
    for (const Node* operand : node->operands())
      if (seen.insert(operand).second) open.push_back(operand);
  }
  return false;
}
template <class Test>
bool any_part(const Node* expression, const Test& test) {
  return any_part(expression, test, [](const Node*) { return false; });
}

/// Whether the value of an expression depends on the state.
bool reads_fluent(const Node* expression);

/// The operands of a conjunction, through nested ones, each once; otherwise the expression alone.
std::vector<Node*> conjuncts_of(Node* expression);

}  // namespace zorvel::model
