#include "solver/preprocess/nnf.h"

#include <vector>

namespace vesk {

Term NnfConverter::operator()(Term root) {
  struct Goal {
    Term term;
    bool negated;
    std::size_t key() const { return 2 * term->id() + (negated ? 1 : 0); }
  };
  const auto strip = [](Goal goal) {
    while (goal.term->tag() == Tag::not_op) goal = {goal.term->child(0), !goal.negated};
    return goal;
  };
  memo_.clear();
  const Goal first = strip({root, false});
  std::vector<Goal> stack{first};
  while (!stack.empty()) {
    const Goal goal = stack.back();
    if (memo_.contains(goal.key())) {
      stack.pop_back();
      continue;
    }
    const bool conjunction = goal.term->tag() == Tag::and_op;
    if (!conjunction && goal.term->tag() != Tag::or_op) {
      memo_.set(goal.key(), goal.negated ? terms_.make_not(goal.term) : goal.term);
      stack.pop_back();
      continue;
    }
    const Goal left = strip({goal.term->child(0), goal.negated});
    const Goal right = strip({goal.term->child(1), goal.negated});
    const Term* const a = memo_.find(left.key());
    const Term* const b = memo_.find(right.key());
    if (a == nullptr) stack.push_back(left);
    if (b == nullptr) stack.push_back(right);
    if (a == nullptr || b == nullptr) continue;
    const Term x = *a, y = *b;
    memo_.set(goal.key(), conjunction != goal.negated ? terms_.make_and(x, y) : terms_.make_or(x, y));
    stack.pop_back();
  }
  return *memo_.find(first.key());
}

}  // namespace vesk
