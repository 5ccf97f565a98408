#include "search/forward/self_overlap.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <set>
#include <vector>

namespace zorvel::tp::ftp {

namespace {

bool is_same_moment(const DenseProblem& problem, std::uint32_t a, std::uint32_t b) {
  const DenseEvent &first = problem.event(a), &second = problem.event(b);
  return first.from_start == second.from_start && first.shift == second.shift;
}

/// One effect on a slot.
struct Write {
  ValueId value;  ///< Unset if it depends on the state.
  std::uint32_t chain;
  bool is_first, is_last;  ///< Whether no event of the chain lies before it, or behind it, in time.
};

class Locks {
 public:
  Locks(const DenseProblem& problem, const ValueId* values, const std::function<bool(ActionId)>& is_used)
      : problem_(problem), writes_(problem.slots()), takers_(problem.slots()) {
    collect_writes(values);
    for (ActionId action = 0; action < problem.action_count(); ++action)
      if (is_used(action)) collect_takes(action);
    find_holders();
  }

  bool is_held_by(ActionId action) const { return holders_.contains(action); }

 private:
  /// An action that needs a value of the slot at its start and writes another one there.
  struct Taker {
    ActionId action;
    ValueId needed, written;
  };

  void collect_writes(const ValueId* values) {
    const auto chains =
        DenseProblem::first_action_chain + static_cast<std::uint32_t>(problem_.action_count());
    for (std::uint32_t chain = 0; chain < chains; ++chain) {
      const auto& events = problem_.chain(chain).events;
      for (const std::uint32_t event : events) {
        const DenseEvent& source = problem_.event(event);
        if (!source.is_effect_like) continue;
        const bool is_first = source.from_start && source.shift == 0;
        const bool is_last = is_same_moment(problem_, event, events.back());
        const auto constant = source.effect.constant_writes(values);
        for (const std::uint32_t slot : source.effect.slots_written()) {
          assert(slot < writes_.size());
          const auto known =
              std::ranges::find_if(constant, [&](const SlotWrite& write) { return write.slot == slot; });
          writes_[slot].push_back(
              {known == constant.end() ? unset_value : known->value, chain, is_first, is_last});
        }
      }
    }
  }

  void collect_takes(ActionId action) {
    assert(action < problem_.action_count());
    const std::uint32_t chain = DenseProblem::first_action_chain + action;
    for (const auto& literal : problem_.action(action).opening.literals()) {
      if (!literal.is_equal) continue;
      for (const Write& write : writes_[literal.slot])
        if (write.chain == chain && write.is_first && !write.is_last && write.value != unset_value &&
            write.value != literal.expected)
          takers_[literal.slot].push_back({action, literal.expected, write.value});
    }
  }

  void find_holders() {
    for (std::uint32_t slot = 0; slot < takers_.size(); ++slot) {
      std::set<ValueId> needed;
      for (const Taker& taker : takers_[slot]) needed.insert(taker.needed);
      if (needed.empty()) continue;
      if (note_holders(slot, needed) || needed.size() == 1) continue;
      for (const ValueId value : needed) note_holders(slot, {value});
    }
  }

  /// Whether the slot is a lock that is idle with these values; then notes who holds it. A slot is no lock if
  /// something but a holder's end can make it idle: while one holder is open, so is no other, since it would
  /// have found the slot idle.
  bool note_holders(std::uint32_t slot, const std::set<ValueId>& idle) {
    assert(!idle.empty());  // no write would keep a lock, then
    std::set<ActionId> holders;
    for (const Taker& taker : takers_[slot])
      if (idle.contains(taker.needed) && !idle.contains(taker.written)) holders.insert(taker.action);
    for (const Write& write : writes_[slot]) {
      if (write.value != unset_value && !idle.contains(write.value)) continue;
      const bool is_end_of_holder = write.chain >= DenseProblem::first_action_chain && write.is_last &&
                                    holders.contains(write.chain - DenseProblem::first_action_chain);
      if (!is_end_of_holder) return false;
    }
    holders_.insert(holders.begin(), holders.end());
    return true;
  }

  const DenseProblem& problem_;
  std::vector<std::vector<Write>> writes_;  // by slot
  std::vector<std::vector<Taker>> takers_;  // by slot
  std::set<ActionId> holders_;
};

}  // namespace

bool may_need_self_overlap(const DenseProblem& problem, const ValueId* values,
                           const std::function<bool(ActionId)>& is_used) {
  const Locks locks(problem, values, is_used);
  for (ActionId action = 0; action < problem.action_count(); ++action) {
    if (!is_used(action) || locks.is_held_by(action)) continue;
    // It is open from its start to the last of its events.
    const auto& events = problem.chain(DenseProblem::first_action_chain + action).events;
    const auto upper = problem.action(action).upper;
    const bool is_one_moment = events.empty() || (problem.event(events.back()).from_start &&
                                                  problem.event(events.back()).shift == 0);
    if (!is_one_moment && !(upper && *upper <= 0)) return true;
  }
  return false;
}

}  // namespace zorvel::tp::ftp
