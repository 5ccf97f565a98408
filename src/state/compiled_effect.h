#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "model/simulated_effect.h"
#include "state/compiled_expression.h"

namespace zorvel {

struct SlotWrite {
  std::uint32_t slot;
  ValueId value;
};

inline void write_slots(std::span<const SlotWrite> writes, ValueId* slots) {
  for (const SlotWrite& write : writes) slots[write.slot] = write.value;
}

/// Effects on a packed state: assignments, which all read the state as it was, then simulated effects, which
/// read the same state and win where both write a slot.
class CompiledEffect {
 public:
  CompiledEffect() = default;

  /// Appends the writes of the effect in the state `slots` to `writes`, in an order in which the last one to
  /// a slot counts. False, with `writes` as it was, if a value leaves the bounds of its fluent or has none:
  /// the same answer and the same errors as `tp::apply` on the unpacked state.
  [[nodiscard]] bool compute(const ValueId* slots, std::vector<SlotWrite>& writes) const;

  /// The writes that are the same in all states, if nothing else of the effect can write their slots. `slots`
  /// is any state with all slots set.
  std::vector<SlotWrite> constant_writes(const ValueId* slots) const;

  /// Every slot that the effect can read or write, each list ascending. A simulated effect reads all slots.
  std::span<const std::uint32_t> slots_read() const { return slots_read_; }
  std::span<const std::uint32_t> slots_written() const { return slots_written_; }

  /// The bounds and the kind of number that a fluent holds.
  struct Domain {
    ValueId lower = unset_value;  // unset: no bound
    ValueId upper = unset_value;
    bool is_integer = false;
    bool is_rational = false;
    bool is_numeric = false;
  };
  struct Assignment {
    CompiledExpression value;
    Domain domain;
    std::uint32_t slot = 0;                // of the target, if `table` is null
    const ArgumentTable* table = nullptr;  // the slots of the target by its arguments
    std::vector<CompiledExpression> arguments;
  };
  /// Whether the assignments are all that it does: otherwise any slot written can take any value.
  bool is_all_assignments() const { return !is_plain_ && simulated_ == nullptr; }
  std::span<const Assignment> assignments() const { return assignments_; }

 private:
  friend class ExpressionCompiler;

  enum class Outcome { possible, impossible, unknown };  // unknown: only the plain operation can say

  Outcome compute_assignments(const ValueId* slots, std::vector<SlotWrite>& writes) const;
  bool compute_plainly(const ValueId* slots, std::vector<SlotWrite>& writes) const;
  bool compute_simulated(const ValueId* slots, std::vector<SlotWrite>& writes) const;

  const StateLayout* layout_ = nullptr;
  Node* expression_ = nullptr;  // null if there is only a simulated effect
  std::vector<Assignment> assignments_;
  bool is_plain_ = false;  // an assignment is beyond the programs
  std::shared_ptr<model::SimulatedEffectImpl> simulated_;
  std::vector<Node*> parameters_;  // of the simulated effect
  std::vector<std::uint32_t> slots_read_, slots_written_;
  mutable std::vector<ValueId> arguments_;  // scratch
};

}  // namespace zorvel
