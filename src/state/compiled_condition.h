#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "state/compiled_expression.h"

namespace zorvel {

/// A condition on a packed state: literals over single slots, which cost one comparison each, and programs
/// for the conjuncts that are more than that.
class CompiledCondition {
 public:
  /// `slot` holds `expected`, or with `is_equal` false anything else.
  struct Literal {
    std::uint32_t slot;
    ValueId expected;
    bool is_equal;
  };

  CompiledCondition() = default;

  /// Whether the condition holds; the same answer and the same errors as `tp::check` on the unpacked state.
  /// Only an unset slot may go unnoticed, where another conjunct is false already.
  bool holds(const ValueId* slots) const;

  Node* expression() const { return expression_; }
  /// Every slot that can have a part in the answer, ascending.
  std::span<const std::uint32_t> slots_read() const { return slots_read_; }
  /// The whole condition if `is_conjunction_of_literals()`.
  std::span<const Literal> literals() const { return literals_; }
  bool is_conjunction_of_literals() const { return rest_.empty(); }
  /// The conjuncts that are no literals.
  std::span<const CompiledExpression> rest() const { return rest_; }

 private:
  friend class ExpressionCompiler;

  bool holds_plainly(const ValueId* slots) const;

  const StateLayout* layout_ = nullptr;
  Node* expression_ = nullptr;
  std::vector<Literal> literals_;
  std::vector<CompiledExpression> rest_;  // those that can raise first
  std::size_t raising_ = 0;               // how many of them can
  std::vector<std::uint32_t> slots_read_;
};

}  // namespace zorvel
