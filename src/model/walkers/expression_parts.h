#pragma once

#include <unordered_set>
#include <utility>
#include <vector>

#include "core/node.h"

namespace zorvel::model {

/// Whether some part of the expressions, themselves included, meets the test. Nothing below a part that
/// `is_closed` is looked at. Expressions share their parts: each is met once. A pointer to a `Node` or a
/// `const Node`.
template <class Pointer, class Test, class IsClosed>
bool any_part(std::vector<Pointer> expressions, const Test& test, const IsClosed& is_closed) {
  std::vector<Pointer> open = std::move(expressions);
  std::unordered_set<Pointer> seen(open.begin(), open.end());
  while (!open.empty()) {
    const Pointer node = open.back();
    open.pop_back();
    if (test(node)) return true;
    if (is_closed(node)) continue;
    for (const Pointer operand : node->operands())
      if (seen.insert(operand).second) open.push_back(operand);
  }
  return false;
}
template <class Pointer, class Test>
bool any_part(std::vector<Pointer> expressions, const Test& test) {
  return any_part(std::move(expressions), test, [](const Node*) { return false; });
}
template <class Test, class IsClosed>
bool any_part(const Node* expression, const Test& test, const IsClosed& is_closed) {
  return any_part(std::vector{expression}, test, is_closed);
}
template <class Test>
bool any_part(const Node* expression, const Test& test) {
  return any_part(std::vector{expression}, test);
}

/// Calls `visit` with every part of the expressions, themselves included, each once.
template <class Pointer, class Visit>
void for_each_part(std::vector<Pointer> expressions, const Visit& visit) {
  any_part(std::move(expressions), [&](const Pointer node) {
    visit(node);
    return false;
  });
}

/// Whether the value of an expression depends on the state.
bool reads_fluent(const Node* expression);

/// The operands of a conjunction, through nested ones, each once; otherwise the expression alone.
std::vector<Node*> conjuncts_of(Node* expression);

}  // namespace zorvel::model
