#include "model/walkers/check_contains_walker.h"

#include <algorithm>

namespace zorvel::model {

bool CheckContainsWalker::occurs(const Node* node) const {
  return node->kind() == kind_ ||
         std::ranges::any_of(node->operands(), [this](Node* child) { return memoized_value(child); });
}

#define ZORVEL_WALK_OCCURS(kind, walk) \
  bool CheckContainsWalker::walk(Node* node) const { return occurs(node); }
ZORVEL_FOR_EACH_WALK(ZORVEL_WALK_OCCURS)
#undef ZORVEL_WALK_OCCURS

}  // namespace zorvel::model
