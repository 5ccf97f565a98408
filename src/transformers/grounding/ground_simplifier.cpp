#include "transformers/grounding/ground_simplifier.h"

#include <algorithm>
#include <cassert>

namespace zorvel::model {

void GroundSimplifier::clear_layout() {
  for (const Slot& slot : slots_) slot_of_id_[slot.node->id] = no_slot;
  slots_.clear();
  roots_.clear();
  ends_.clear();
  dependences_.clear();
  dependence_of_parameters_.clear();
}

void GroundSimplifier::lay_out(std::span<Node* const> statements, const std::vector<Node*>& parameters) {
  clear_layout();
  slot_of_id_.resize(factory().node_manager().size(), no_slot);
  for (std::uint32_t position = 0; position < parameters.size(); ++position) {
    slot_of_id_[parameters[position]->id] = position;
    slots_.push_back({parameters[position], nullptr, 0, dependence_on({position})});
  }
  for (Node* statement : statements) {
    add_slots(statement);
    roots_.push_back(slot_of(statement));
    ends_.push_back(static_cast<SlotIndex>(slots_.size()));
  }
  values_.assign(parameters.size(), nullptr);
  changed_.assign(parameters.size(), tick_);
}

void GroundSimplifier::add_slots(Node* root) {
  std::vector<Node*> open{root};
  while (!open.empty()) {
    Node* const node = open.back();
    const std::size_t depth = open.size();
    if (slot_of(node) == no_slot)
      for (Node* child : node->operands())
        if (slot_of(child) == no_slot) open.push_back(child);
    if (open.size() > depth) continue;
    open.pop_back();
    if (slot_of(node) != no_slot) continue;
    slot_of_id_[node->id] = static_cast<SlotIndex>(slots_.size());
    slots_.push_back({node, nullptr, 0, dependence_of(node)});
  }
}

std::uint32_t GroundSimplifier::dependence_of(const Node* node) {
  std::vector<std::uint32_t> parameters;
  for (const Node* child : node->operands()) {
    const auto& below = dependences_[slots_[slot_of(child)].dependence].parameters;
    parameters.insert(parameters.end(), below.begin(), below.end());
  }
  std::sort(parameters.begin(), parameters.end());
  parameters.erase(std::unique(parameters.begin(), parameters.end()), parameters.end());
  return dependence_on(parameters);
}

std::uint32_t GroundSimplifier::dependence_on(const std::vector<std::uint32_t>& parameters) {
  const auto [place, is_new] =
      dependence_of_parameters_.emplace(parameters, static_cast<std::uint32_t>(dependences_.size()));
  if (is_new) dependences_.push_back({parameters});
  return place->second;
}

void GroundSimplifier::bind(const std::vector<Node*>& values) {
  assert(values.size() == values_.size());
  if (!memo_.empty()) clear_memoization();
  ++tick_;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values_[i] != values[i]) changed_[i] = tick_;
    values_[i] = values[i];
    slots_[i].value = values[i];
    slots_[i].computed = tick_;
  }
  for (Dependence& dependence : dependences_)
    for (const std::uint32_t parameter : dependence.parameters)
      dependence.changed = std::max(dependence.changed, changed_[parameter]);
}

Node* GroundSimplifier::simplify_statement(std::size_t index) const {
  const SlotIndex begin = index == 0 ? static_cast<SlotIndex>(values_.size()) : ends_[index - 1];
  for (SlotIndex i = begin; i < ends_[index]; ++i) {
    if (is_fresh(slots_[i])) continue;
    met_undefined_constant_ = false;
    evaluate_and_cache_expression(slots_[i].node);
  }
  assert(is_fresh(slots_[roots_[index]]));
  return slots_[roots_[index]].value;
}

Node* const& GroundSimplifier::memoized_value(Node* node) const {
  const SlotIndex slot = slot_of(node);
  if (slot == no_slot) return ExpressionSimplifier::memoized_value(node);
  assert(is_fresh(slots_[slot]));
  return slots_[slot].value;
}

void GroundSimplifier::do_memoize_value(Node* node, Node* value) const {
  const SlotIndex index = slot_of(node);
  if (index == no_slot) {
    ExpressionSimplifier::do_memoize_value(node, value);
    return;
  }
  Slot& slot = slots_[index];
  slot.value = value;
  slot.computed = tick_;
  slot.is_tainted =
      met_undefined_constant_ || std::ranges::any_of(node->operands(), [this](const Node* child) {
        return slots_[slot_of(child)].is_tainted;
      });
}

bool GroundSimplifier::is_memoized(Node* node) const {
  const SlotIndex slot = slot_of(node);
  return slot == no_slot ? ExpressionSimplifier::is_memoized(node) : is_fresh(slots_[slot]);
}

Node* GroundSimplifier::walk_constant_reference(Node* node) const {
  Node* const result = ExpressionSimplifier::walk_constant_reference(node);
  // The value of a constant may be an expression over others, and one of those have no value.
  met_undefined_constant_ |=
      !ExpressionFactory::is_constant(result) && !ExpressionFactory::is_instance_reference(result);
  return result;
}

Node* GroundSimplifier::walk_sqrt(Node* node) const {
  Node* const decimals = memoized_value(node->children[1]);
  if (decimals == node->children[1]) return ExpressionSimplifier::walk_sqrt(node);
  // The number of places is a parameter: the base class looks at the node as it stands.
  Node* const radicand = memoized_value(node->children[0]);
  return (*this)(factory().make_sqrt(radicand, decimals));
}

}  // namespace zorvel::model
