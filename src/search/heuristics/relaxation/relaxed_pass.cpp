#include "search/heuristics/relaxation/relaxed_pass.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <functional>

namespace zorvel {

RelaxedPass::RelaxedPass(const RelaxedTask& task, bool is_optimistic)
    : task_(task),
      table_(task.facts()),
      is_optimistic_(is_optimistic),
      values_(table_.slots(), unset_value),
      facts_(table_.size(), FactState{0, 0, no_supporter, 0}),
      missing_in_state_(task.size()),
      applicable_((task.size() + 63) / 64),
      is_stale_(table_.predicates().size()),
      buckets_(bucket_limit),
      goal_pass_(table_.size(), 0),
      fact_seen_(table_.size(), 0),
      operator_step_(task.size(), 0) {
  assert(task.size() < change_bit && table_.size() < change_bit);
  for (OperatorId id = 0; id < task.size(); ++id)
    missing_in_state_[id] = static_cast<Count>(task.conditions(id).size());
  for (const OperatorId id : task.unconditional()) applicable_[id / 64] |= std::uint64_t{1} << (id % 64);
}

void RelaxedPass::set_holds(FactId fact, bool holds) {
  FactState& state = facts_[fact];
  if ((state.pass == always) == holds) return;
  state.pass = holds ? always : 0;
  for (const OperatorId id : task_.operators_with(fact)) {
    Count& missing = missing_in_state_[id];
    assert(!holds || missing > 0);
    const bool was_applicable = missing == 0;
    missing = static_cast<Count>(holds ? missing - 1 : missing + 1);
    if (was_applicable || missing == 0) applicable_[id / 64] ^= std::uint64_t{1} << (id % 64);
  }
}

void RelaxedPass::change_slot(std::uint32_t slot, ValueId value) {
  values_[slot] = value;
  const auto [first, last] = table_.literals_of(slot);
  for (FactId fact = first; fact < last; ++fact) set_holds(fact, table_.literal(fact).holds(values_.data()));
  for (const std::uint32_t predicate : table_.predicates_reading(slot)) {
    if (is_stale_[predicate] != 0) continue;
    is_stale_[predicate] = 1;
    stale_predicates_.push_back(predicate);
  }
}

void RelaxedPass::set_state(const ValueId* values) {
  // The states of a search differ from one another in a few slots, so whole blocks are passed over.
  constexpr std::size_t block = 16;
  for (std::size_t first = 0; first < values_.size(); first += block) {
    const std::size_t size = std::min(block, values_.size() - first);
    if (std::memcmp(values + first, values_.data() + first, size * sizeof(ValueId)) == 0) continue;
    for (std::size_t slot = first; slot < first + size; ++slot)
      if (values_[slot] != values[slot]) change_slot(static_cast<std::uint32_t>(slot), values[slot]);
  }
  if (!has_state_) {
    // Predicates that read no slot, such as a comparison of constants, are not found by a change.
    has_state_ = true;
    stale_predicates_.clear();
    for (std::uint32_t predicate = 0; predicate < table_.predicates().size(); ++predicate)
      stale_predicates_.push_back(predicate);
  }
  for (const std::uint32_t predicate : stale_predicates_) {
    is_stale_[predicate] = 0;
    set_holds(table_.first_predicate() + predicate,
              table_.predicates()[predicate].program.evaluate(values_.data()) == true_value);
  }
  stale_predicates_.clear();
}

void RelaxedPass::begin(const ValueId* values) {
  set_state(values);
  ++pass_;
  assert(pass_ != always);
  if (lowest_ <= highest_)
    for (Cost key = lowest_; key <= highest_; ++key) buckets_[key].clear();
  lowest_ = bucket_limit;
  highest_ = 0;
  far_.clear();
  goals_.clear();
  goals_missing_ = 0;
  goal_sum_ = 0;
  extras_.clear();
  extra_facts_.clear();
}

std::uint32_t RelaxedPass::add_extra(std::span<const FactId> conditions, std::span<const FactId> added,
                                     Cost cost) {
  const auto number = static_cast<std::uint32_t>(extras_.size());
  Extra extra{static_cast<std::uint32_t>(extra_facts_.size()), 0, 0, cost, 0, 0};
  for (const FactId fact : conditions) {
    if (holds(fact)) continue;
    facts_[fact].marked = pass_;
    extra_facts_.push_back(fact);
    ++extra.missing;
  }
  extra.first_added = static_cast<std::uint32_t>(extra_facts_.size());
  assert(std::ranges::all_of(added, [&](FactId fact) { return fact < facts_.size(); }));
  extra_facts_.insert(extra_facts_.end(), added.begin(), added.end());
  extra.last_added = static_cast<std::uint32_t>(extra_facts_.size());
  extras_.push_back(extra);
  return number;
}

void RelaxedPass::add_goal(FactId fact) {
  assert(fact < facts_.size());
  if (holds(fact) || goal_pass_[fact] == pass_) return;
  goal_pass_[fact] = pass_;
  facts_[fact].marked = pass_;
  goals_.push_back(fact);
  ++goals_missing_;
}

inline void RelaxedPass::reach(FactId fact, Cost cost, std::uint32_t supporter) {
  FactState& state = facts_[fact];
  assert(cost <= max_cost);
  // Of supporters of equal cost the one found first stays, which is the same on every run.
  if (state.pass == always || (state.pass == pass_ && state.cost <= cost)) return;
  state.pass = pass_;
  state.cost = cost;
  state.supporter = supporter;
  if (cost < bucket_limit) {
    buckets_[cost].push_back(fact);
    lowest_ = std::min(lowest_, cost);
    highest_ = std::max(highest_, cost);
  } else {
    far_.emplace_back(cost, fact);
    std::push_heap(far_.begin(), far_.end(), std::greater<>());
  }
}

inline void RelaxedPass::complete(OperatorId id) {
  Cost cost = task_.cost(id);
  for (const FactId fact : task_.conditions(id))
    if (facts_[fact].pass != always) cost = std::min(cost + facts_[fact].cost, max_cost);
  for (const FactId fact : task_.added(id)) reach(fact, cost, id);
}

void RelaxedPass::complete_extra(std::uint32_t number) {
  const Extra extra = extras_[number];
  assert(extra.missing == 0);
  const Cost cost = std::min(extra.sum + extra.cost, max_cost);
  const auto supporter = static_cast<std::uint32_t>(task_.size()) + number;
  for (std::uint32_t i = extra.first_added; i < extra.last_added; ++i)
    reach(extra_facts_[i], cost, supporter);
}

inline void RelaxedPass::settle_fact(FactId fact, Cost cost) {
  if (facts_[fact].marked == pass_) settle_marked(fact, cost);
  for (const OperatorId id : task_.operators_with(fact)) {
    assert(missing_[id] > 0);
    if (--missing_[id] == 0) complete(id);
  }
  if (table_.is_change(fact)) settle_change(fact, cost);
}

void RelaxedPass::settle_marked(FactId fact, Cost cost) {
  if (goal_pass_[fact] == pass_) {
    goal_pass_[fact] = 0;
    assert(goals_missing_ > 0);
    --goals_missing_;
    goal_sum_ = std::min(goal_sum_ + cost, max_cost);
  }
  // A scan, as a state has few open actions, and only facts that they or the goals ask for are marked.
  for (std::uint32_t number = 0; number < extras_.size(); ++number) {
    Extra& extra = extras_[number];
    for (std::uint32_t i = extra.first_condition; i < extra.first_added; ++i) {
      if (extra_facts_[i] != fact) continue;
      extra.sum = std::min(extra.sum + cost, max_cost);
      if (--extra.missing == 0) complete_extra(number);
    }
  }
}

void RelaxedPass::settle_change(FactId fact, Cost cost) {
  const FactTable::Change& change = table_.change(fact);
  for (const std::uint32_t predicate : table_.predicates_reading(change.slot)) {
    const FactId head = table_.first_predicate() + predicate;
    if (holds(head)) continue;
    const std::uint32_t times = is_optimistic_ ? 1 : table_.repetitions(change, predicate, values_.data());
    if (times != FactTable::never) reach(head, std::min(cost + times - 1, max_cost), fact | change_bit);
  }
}

RelaxedPass::Cost RelaxedPass::settle(bool early) {
  if (is_done(early)) return goal_sum_;
  missing_ = missing_in_state_;
  for (std::size_t word = 0; word < applicable_.size(); ++word)
    for (std::uint64_t set = applicable_[word]; set != 0; set &= set - 1)
      complete(static_cast<OperatorId>(word * 64 + static_cast<std::size_t>(std::countr_zero(set))));
  for (std::uint32_t number = 0; number < extras_.size(); ++number)
    if (extras_[number].missing == 0) complete_extra(number);
  if (!settle_near(early)) settle_far(early);
  return goals_missing_ == 0 ? goal_sum_ : unreachable;
}

/// Settles what the buckets hold; true if nothing else is wanted.
bool RelaxedPass::settle_near(bool early) {
  for (Cost key = lowest_; key <= highest_; ++key) {
    // By index, since operators without cost add to the bucket that is being emptied.
    for (std::size_t i = 0; i < buckets_[key].size(); ++i) {
      const FactId fact = buckets_[key][i];
      if (facts_[fact].cost != key) continue;
      settle_fact(fact, key);
      if (is_done(early)) return true;
    }
    buckets_[key].clear();
  }
  return false;
}

void RelaxedPass::settle_far(bool early) {
  while (!far_.empty()) {
    std::pop_heap(far_.begin(), far_.end(), std::greater<>());
    const auto [cost, fact] = far_.back();
    far_.pop_back();
    if (facts_[fact].cost == cost) settle_fact(fact, cost);
    if (is_done(early)) return;
  }
}

bool RelaxedPass::is_free(OperatorId id) const {
  const auto conditions = task_.conditions(id);
  return std::all_of(conditions.begin(), conditions.end(), [this](FactId fact) { return cost(fact) == 0; });
}

std::span<const RelaxedPass::Step> RelaxedPass::extract() {
  assert(goals_missing_ == 0);  // there is no plan before all goals are reached
  for (const Step& step : steps_)
    if (!step.is_extra) operator_step_[step.number] = 0;
  steps_.clear();
  extra_step_.assign(extras_.size(), 0);
  stack_ = goals_;
  while (!stack_.empty()) {
    const FactId fact = stack_.back();
    stack_.pop_back();
    if (holds(fact) || fact_seen_[fact] == pass_) continue;
    fact_seen_[fact] = pass_;
    assert(cost(fact) != unreachable);
    const std::uint32_t supporter = facts_[fact].supporter;
    if ((supporter & change_bit) == 0) {
      add_step(supporter, 1);
      continue;
    }
    const FactId change = supporter & ~change_bit;
    assert(table_.is_change(change) && table_.is_predicate(fact));
    const std::uint32_t predicate = fact - table_.first_predicate();
    add_step(facts_[change].supporter,
             is_optimistic_ ? 1 : table_.repetitions(table_.change(change), predicate, values_.data()));
  }
  return steps_;
}

/// Puts what supports a fact into the relaxed plan, and what it needs on the stack.
void RelaxedPass::add_step(std::uint32_t supporter, std::uint32_t times) {
  const bool is_extra = supporter >= task_.size();
  const std::uint32_t number = is_extra ? supporter - static_cast<std::uint32_t>(task_.size()) : supporter;
  assert(!is_extra || number < extras_.size());
  std::uint32_t& step = is_extra ? extra_step_[number] : operator_step_[number];
  if (step != 0) {
    steps_[step - 1].times = std::max(steps_[step - 1].times, times);
    return;
  }
  if (is_extra || task_.owner(number) != RelaxedTask::no_owner) {
    steps_.push_back({number, is_extra, times});
    step = static_cast<std::uint32_t>(steps_.size());
  }
  if (is_extra) {
    const Extra& extra = extras_[number];
    stack_.insert(stack_.end(), extra_facts_.begin() + extra.first_condition,
                  extra_facts_.begin() + extra.first_added);
  } else {
    const auto conditions = task_.conditions(number);
    stack_.insert(stack_.end(), conditions.begin(), conditions.end());
  }
}

std::uint64_t RelaxedPass::bytes() const {
  return facts_.capacity() * (sizeof(FactState) + 2 * sizeof(std::uint32_t)) +
         missing_.capacity() * (2 * sizeof(Count) + sizeof(std::uint32_t));
}

}  // namespace zorvel
