#include "state/search_state.h"

#include <algorithm>
#include <cassert>

#include "core/errors.h"

namespace zorvel {

std::size_t slot_of(const StateIndex& index, Node* reference) {
  const auto found = index.find(reference);
  if (found == index.end())
    throw InternalError("Found an unexpected fluent: ") << model::print_expression{reference};
  return found->second;
}

std::uint64_t SearchState::hash() const {
  std::uint64_t hash = 0;
  for (const Node* value : assignments_) {
    const std::uint64_t id = value == nullptr ? 0 : value->id;
    hash ^= (hash << 6) + (hash >> 2) + 0x9e3779b9 + id;
  }
  return hash;
}

Node* SearchState::value(const StateIndex& index, Node* reference) const {
  Node* const value = assignments_[slot_of(index, reference)];
  if (value == nullptr)
    throw InternalError("Found an uninitialized fluent: ") << model::print_expression{reference};
  return value;
}

void SearchState::set_value(const StateIndex& index, Node* reference, Node* value) {
  assert(index.size() == assignments_.size());
  Node*& slot = assignments_[slot_of(index, reference)];
  if (slot != nullptr)
    throw InternalError("Found a double-initialization of fluent: ") << model::print_expression{reference};
  slot = value;
}

void SearchState::override_value(const StateIndex& index, Node* reference, Node* value) {
  assignments_[slot_of(index, reference)] = value;
}

Node* SearchState::as_expression(const StateIndex& index, model::ExpressionFactory& factory,
                                 unsigned long tag) const {
  std::vector<Node*> references;
  references.reserve(index.size());
  for (const auto& [reference, slot] : index) references.push_back(reference);
  std::ranges::sort(references, NodeIdLess());
  std::vector<Node*> conjuncts;
  conjuncts.reserve(references.size() + 1);
  for (Node* reference : references)
    conjuncts.push_back(factory.make_equals(reference, value(index, reference)));
  Node* const number = factory.make_integer_constant(integer(tag));
  conjuncts.push_back(factory.make_equals(number, number));
  return factory.make_and(conjuncts);
}

}  // namespace zorvel
