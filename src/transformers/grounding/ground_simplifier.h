#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "model/walkers/expression_simplifier.h"

namespace zorvel::model {

/// Puts values in the place of parameters and simplifies, in one pass: no node is made for what is folded
/// away. The result is that of substituting first and simplifying then, if sums and products are binary.
///
/// The statements of an action are laid out once: every node gets a slot behind its operands, with the
/// parameters that it depends on. From one combination to the next only those slots are computed again whose
/// parameters have changed, which are few, since combinations come in order.
///
/// invariant: A slot is fresh if it was computed after the last change of each of its parameters. A fresh
/// slot holds its node's result, and is_memoized() says so of no other node of the layout.
class GroundSimplifier : public ExpressionSimplifier {
 public:
  explicit GroundSimplifier(Environment& env) : ExpressionSimplifier(env) {}

  /// Lays out the statements of an action; `parameters` are references. To be followed by `bind`.
  void lay_out(std::span<Node* const> statements, const std::vector<Node*>& parameters);
  /// From now on each parameter stands for the node at its position.
  void bind(const std::vector<Node*>& values);
  /// The statement at this position in the layout. Since the last `bind`, all statements before it must have
  /// been asked for, in order.
  Node* simplify_statement(std::size_t index) const;
  /// Whether the statement, as it was computed, met a constant without a value. It may have been dropped
  /// again.
  bool met_undefined_constant(std::size_t index) const { return slots_[roots_[index]].is_tainted; }

 protected:
  Node* const& memoized_value(Node* node) const override;
  void do_memoize_value(Node* node, Node* value) const override;
  bool is_memoized(Node* node) const override;
  Node* walk_constant_reference(Node* node) const override;
  Node* walk_sqrt(Node* node) const override;

 private:
  using SlotIndex = std::uint32_t;
  struct Slot {
    Node* node;
    Node* value = nullptr;
    std::uint64_t computed = 0;  // tick; 0 for never
    std::uint32_t dependence;
    bool is_tainted = false;  // met an undefined constant, here or below
  };
  /// A set of parameters that some slots depend on.
  struct Dependence {
    std::vector<std::uint32_t> parameters;
    std::uint64_t changed = 1;  // tick of the last change of one of them
  };

  static constexpr SlotIndex no_slot = static_cast<SlotIndex>(-1);
  SlotIndex slot_of(const Node* node) const {
    return node->id < slot_of_id_.size() ? slot_of_id_[node->id] : no_slot;
  }
  bool is_fresh(const Slot& slot) const { return slot.computed >= dependences_[slot.dependence].changed; }
  void add_slots(Node* root);
  std::uint32_t dependence_of(const Node* node);
  std::uint32_t dependence_on(const std::vector<std::uint32_t>& parameters);
  void clear_layout();

  std::vector<SlotIndex> slot_of_id_;  // by id of the nodes there were at the last layout
  mutable std::vector<Slot> slots_;    // the parameters, then operands before what they are operands of
  std::vector<SlotIndex> roots_;       // by statement
  std::vector<SlotIndex> ends_;        // by statement: behind the slots that it adds to those before it
  std::vector<Dependence> dependences_;
  std::map<std::vector<std::uint32_t>, std::uint32_t> dependence_of_parameters_;
  std::vector<Node*> values_;           // by parameter
  std::vector<std::uint64_t> changed_;  // by parameter: tick
  std::uint64_t tick_ = 1;
  mutable bool met_undefined_constant_ = false;
};

}  // namespace zorvel::model
