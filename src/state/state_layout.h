#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "model/fluent.h"
#include "state/argument_table.h"
#include "state/constant_table.h"
#include "state/search_state.h"
#include "state/value_table.h"

namespace zorvel {

/// How states are packed: a state is an array of `slots()` value ids, slot by slot as a StateIndex says.
///
/// Everything compiled for a layout refers to it; it must stay where it is and outlive them.
class StateLayout : public EnvObject {
 public:
  /// `index` and `values` are referred to and must outlive the layout; `index` must not change and numbers
  /// its references from 0 without gaps.
  StateLayout(Environment& env, const StateIndex& index, ValueTable& values);
  StateLayout(const StateLayout&) = delete;
  StateLayout& operator=(const StateLayout&) = delete;

  std::size_t slots() const { return references_.size(); }
  Node* reference(std::size_t slot) const { return references_[slot]; }
  const StateIndex& index() const { return index_; }
  ValueTable& values() const { return values_; }

  /// The plain form of a packed state, with cost and heuristic values 0.
  SearchState unpack(const ValueId* slots, std::size_t heuristics = 0) const;
  /// Writes the packed form of `state` to `slots()` places.
  void pack(const SearchState& state, ValueId* slots) const;

  /// From the arguments of a fluent with parameters to the slot of the ground reference; null if no reference
  /// of the fluent has a slot.
  const ArgumentTable* slots_of(const model::FluentImpl& fluent) const;
  /// The values of a constant with parameters.
  ConstantTable& values_of(const std::shared_ptr<model::ConstantImpl>& constant) const;

 private:
  const StateIndex& index_;
  ValueTable& values_;
  std::vector<Node*> references_;                            // by slot
  std::vector<std::shared_ptr<model::FluentImpl>> fluents_;  // keeps the keys of the table alive
  std::unordered_map<const model::FluentImpl*, std::unique_ptr<ArgumentTable>> tables_;
  mutable std::unordered_map<const model::ConstantImpl*, std::unique_ptr<ConstantTable>> constants_;
};

}  // namespace zorvel
