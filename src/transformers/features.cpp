#include "transformers/features.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "model/action.h"
#include "model/constant.h"
#include "model/user_type.h"

namespace zorvel::model {

namespace {

bool is_set_node(const Node& node) {
  switch (node.kind()) {
    case NodeKind::IN:
    case NodeKind::SUBSET:
    case NodeKind::UNION:
    case NodeKind::INTERSECTION:
    case NodeKind::DIFFERENCE:
    case NodeKind::SET_CONSTANT: return true;
    default: return false;
  }
}

bool is_contains_node(const Node& node) { return node.kind() == NodeKind::CONTAINS; }

/// Whether the test holds for a node of an expression of the problem, of a top-level action or of the value
/// of a top-level constant.
bool occurs(const ProblemInstanceImpl& problem, bool (*test)(const Node&)) {
  std::vector<const Node*> open(problem.expressions().begin(), problem.expressions().end());
  for (const auto& [name, action] : problem.actions())
    open.insert(open.end(), action->expressions().begin(), action->expressions().end());
  for (const auto& [name, constant] : problem.constants())
    for (const auto& [key, table] : constant->all_values())
      if (table != nullptr)
        for (const auto& [arguments, value] : table->assignments()) open.push_back(value);
  std::unordered_set<const Node*> seen(open.begin(), open.end());
  while (!open.empty()) {
    const Node* const node = open.back();
    open.pop_back();
    if (test(*node)) return true;
    for (const Node* child : node->operands())
      if (seen.insert(child).second) open.push_back(child);
  }
  return false;
}

}  // namespace

bool has_members(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.user_types(), [](const auto& entry) {
    const UserTypeImpl& type = *entry.second;
    return !type.actions().empty() || !type.user_types().empty() || !type.fluents().empty() ||
           !type.constants().empty();
  });
}

bool uses_sets(const ProblemInstanceImpl& problem) {
  return problem.has_sets() || occurs(problem, &is_set_node);
}

bool uses_contains(const ProblemInstanceImpl& problem) { return occurs(problem, &is_contains_node); }

}  // namespace zorvel::model
