#include "state/compiled_effect.h"

#include <algorithm>
#include <cassert>

#include "core/errors.h"
#include "state/operations.h"

namespace zorvel {

bool CompiledEffect::compute(const ValueId* slots, std::vector<SlotWrite>& writes) const {
  const std::size_t first = writes.size();
  const auto refuse = [&] {
    writes.resize(first);
    return false;
  };
  switch (is_plain_ ? Outcome::unknown : compute_assignments(slots, writes)) {
    case Outcome::possible: break;
    case Outcome::impossible: return refuse();
    case Outcome::unknown:
      writes.resize(first);
      if (!compute_plainly(slots, writes)) return refuse();
  }
  if (simulated_ != nullptr && !compute_simulated(slots, writes)) return refuse();
  assert(std::all_of(writes.begin() + static_cast<std::ptrdiff_t>(first), writes.end(),
                     [&](const SlotWrite& write) { return write.slot < layout_->slots(); }));
  return true;
}

std::vector<SlotWrite> CompiledEffect::constant_writes(const ValueId* slots) const {
  std::vector<SlotWrite> writes;
  if (is_plain_ || simulated_ != nullptr) return writes;
  const auto is_fixed = [](const Assignment& assignment) { return assignment.table == nullptr; };
  if (!std::all_of(assignments_.begin(), assignments_.end(), is_fixed)) return writes;
  for (const Assignment& assignment : assignments_) {
    if (!assignment.value.slots_read().empty() || assignment.value.can_raise()) continue;
    ValueId value = assignment.value.run(slots);
    if (value == unset_value || value == no_value) continue;
    if (assignment.domain.is_integer) value = layout_->values().as_integer(value);
    writes.push_back({assignment.slot, value});
  }
  return writes;
}

CompiledEffect::Outcome CompiledEffect::compute_assignments(const ValueId* slots,
                                                            std::vector<SlotWrite>& writes) const {
  for (const Assignment& assignment : assignments_) {
    ValueId value = assignment.value.run(slots);
    if (value == unset_value) return Outcome::unknown;
    const Domain& domain = assignment.domain;
    if (domain.is_numeric) {
      ValueTable& values = layout_->values();
      if (!values.is_number(value)) return Outcome::unknown;
      if ((domain.lower != unset_value && values.is_less(value, domain.lower)) ||
          (domain.upper != unset_value && values.is_less(domain.upper, value)))
        return Outcome::impossible;
      if (domain.is_integer) value = values.as_integer(value);
      if (domain.is_rational) value = values.as_rational(value);
    }
    std::uint32_t slot = assignment.slot;
    if (assignment.table != nullptr) {
      arguments_.clear();
      for (const CompiledExpression& argument : assignment.arguments) {
        arguments_.push_back(argument.run(slots));
        if (arguments_.back() == unset_value) return Outcome::unknown;
      }
      slot = assignment.table->find(arguments_.data());
      if (slot == ArgumentTable::absent) return Outcome::unknown;
    }
    writes.push_back({slot, value});
  }
  return Outcome::possible;
}

bool CompiledEffect::compute_plainly(const ValueId* slots, std::vector<SlotWrite>& writes) const {
  const auto plain = tp::writes_of(layout_->env(), layout_->unpack(slots), expression_, layout_->index());
  if (!plain) return false;
  for (const tp::StateWrite& write : *plain)
    writes.push_back({static_cast<std::uint32_t>(write.slot), layout_->values().id_of(write.value)});
  return true;
}

bool CompiledEffect::compute_simulated(const ValueId* slots, std::vector<SlotWrite>& writes) const {
  const SearchState before = layout_->unpack(slots);
  const auto plain =
      tp::writes_of_simulated(layout_->env(), before, *simulated_, parameters_, layout_->index());
  if (!plain) return false;
  for (const tp::StateWrite& write : *plain)
    writes.push_back({static_cast<std::uint32_t>(write.slot), layout_->values().id_of(write.value)});
  return true;
}

}  // namespace zorvel
