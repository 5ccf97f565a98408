#include "pddl/unification.h"

namespace zorvel::pddl {

using F = model::ExpressionFactory;

std::optional<std::vector<Node*>> unify(F& factory, const Node* a, const Node* b) {
  std::vector<Node*> equalities;
  for (std::size_t i = 0; i < a->arity; ++i) {
    Node* const left = a->children[i];
    Node* const right = b->children[i];
    if (left == right) continue;
    if (F::is_instance_reference(left) && F::is_instance_reference(right)) return std::nullopt;
    const bool is_ordered = left->id < right->id;
    equalities.push_back(factory.make_equals(is_ordered ? left : right, is_ordered ? right : left));
  }
  return equalities;
}

}  // namespace zorvel::pddl
