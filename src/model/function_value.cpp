#include "model/function_value.h"

#include <algorithm>

#include "model/expression_factory.h"
#include "model/hash_mix.h"

namespace zorvel::model {

std::size_t NodeVectorHash::operator()(const std::vector<Node*>& nodes) const {
  std::size_t result = nodes.size();
  for (const Node* node : nodes) result = mix_hash(result, node->id);
  return result;
}

std::vector<std::pair<std::vector<Node*>, Node*>> FunctionValueImpl::sorted_assignments() const {
  std::vector<std::pair<std::vector<Node*>, Node*>> result(assignments_.begin(), assignments_.end());
  std::sort(result.begin(), result.end(), [](const auto& a, const auto& b) {
    if (a.first.size() != b.first.size()) return a.first.size() < b.first.size();
    return std::lexicographical_compare(a.first.begin(), a.first.end(), b.first.begin(), b.first.end(),
                                        NodeIdLess());
  });
  return result;
}

Node* FunctionValueImpl::assignment(const std::vector<Node*>& arguments) const {
  const auto exact = assignments_.find(arguments);
  if (exact != assignments_.end()) return exact->second;
  if (!std::all_of(arguments.begin(), arguments.end(), ExpressionFactory::is_value)) return nullptr;
  std::vector<Node*> key = arguments;
  while (!key.empty()) {
    key.pop_back();
    const auto found = assignments_.find(key);
    if (found != assignments_.end()) return found->second;
  }
  return nullptr;
}

Node* FunctionValueImpl::default_value() const {
  const auto found = assignments_.find({});
  return found == assignments_.end() ? nullptr : found->second;
}

}  // namespace zorvel::model
