#include "state/compiled_condition.h"

#include <cassert>

#include "state/operations.h"

namespace zorvel {

bool CompiledCondition::holds(const ValueId* slots) const {
  assert(layout_ != nullptr);
  bool is_true = true;
  for (const Literal& literal : literals_) {
    const ValueId value = slots[literal.slot];
    if (value == unset_value) return holds_plainly(slots);
    is_true = is_true && (value == literal.expected) == literal.is_equal;
  }
  if (!is_true && raising_ == 0) return false;
  for (std::size_t i = 0; i < rest_.size(); ++i) {
    const ValueId value = rest_[i].run(slots);
    if (!ValueTable::is_boolean(value)) return holds_plainly(slots);
    is_true = is_true && value == true_value;
    // Programs that can raise must all have run before an answer is given.
    if (!is_true && i + 1 >= raising_) return false;
  }
  return is_true;
}

bool CompiledCondition::holds_plainly(const ValueId* slots) const {
  return tp::check(layout_->env(), layout_->unpack(slots), expression_, layout_->index());
}

}  // namespace zorvel
