#include "search/heuristics/relaxation/additive_relaxation.h"

#include <algorithm>
#include <cassert>
#include <functional>

#include "model/expression_factory.h"
#include "state/slot_differences.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

/// A fluent reference whose arguments are all values.
bool is_ground_reference(const Node* node) {
  if (!F::is_fluent_reference(node)) return false;
  return std::all_of(node->operands().begin(), node->operands().end(),
                     [](const Node* argument) { return F::is_value(argument); });
}

/// A literal that an effect can make true as such: `f`, `not f`, or `f == instance`.
bool is_plain_literal(const Node* node) {
  if (F::is_not(node)) return is_ground_reference(node->children[0]);
  if (F::is_equals(node))
    return is_ground_reference(node->children[0]) && F::is_instance_reference(node->children[1]);
  return is_ground_reference(node);
}

// With fewer predicates a pass from nothing is as good.
constexpr std::size_t least_carried = 2048;
// What updates may cost more than passes from nothing, in passes, and for how many passes they then rest.
constexpr std::uint64_t most_excess = 64;
constexpr std::uint32_t passes_of_rest = 1024;
// Of an update, in entries of tables copied.
constexpr std::uint64_t work_of_step = 4;

}  // namespace

AdditiveRelaxation::AdditiveRelaxation(EvaluationTables& tables, const std::vector<model::NodeSet>& goals,
                                       const std::vector<ClassicalAction>& actions)
    : tables_(tables) {
  of_slot_.resize(tables.layout.slots());
  for (std::uint32_t number = 0; number < actions.size(); ++number) {
    const ClassicalAction& action = actions[number];
    first_clause_.push_back(static_cast<std::uint32_t>(clauses_.size()));
    const auto& clauses = action.dnf_condition();
    if (action.conditions().empty()) add_clause(number, 0, {});
    for (std::uint32_t clause = 0; clause < clauses.size(); ++clause)
      add_clause(number, clause, clauses[clause]);
    auto& added = added_.emplace_back();
    for (Node* node : action.predicates_added(false)) added.push_back(predicate(node));
  }
  first_goal_ = static_cast<std::uint32_t>(clauses_.size());
  goal_count_ = goals.size();
  for (std::uint32_t clause = 0; clause < goals.size(); ++clause)
    add_clause(goal_owner, clause, goals[clause]);
}

void AdditiveRelaxation::add_clause(std::uint32_t owner, std::uint32_t number,
                                    const model::NodeSet& literals) {
  clauses_.push_back({owner, number, static_cast<std::uint32_t>(literals_.size()),
                      static_cast<std::uint32_t>(literals.size())});
  for (Node* literal : model::sorted_by_id(literals)) literals_.push_back(predicate(literal));
}

AdditiveRelaxation::PredicateId AdditiveRelaxation::predicate(Node* node) {
  const auto [known, is_new] = numbers_.try_emplace(node, static_cast<PredicateId>(nodes_.size()));
  const PredicateId id = known->second;
  if (!is_new) return id;
  assert(watch_offsets_.empty());  // finish has made the tables for all of them
  nodes_.push_back(node);
  if (!is_plain_literal(node))
    complex_.push_back({id, tables_.compiler.compile_condition(node)});
  else
    note_state_predicate(node, id);
  return id;
}

void AdditiveRelaxation::note_state_predicate(Node* node, PredicateId id) {
  Node* reference = node;
  ValueId value = true_value;
  if (F::is_not(node)) {
    reference = node->children[0];
    value = false_value;
  } else if (F::is_equals(node)) {
    reference = node->children[0];
    value = tables_.values.id_of(node->children[1]);
  }
  const auto slot = tables_.layout.index().find(reference);
  if (slot == tables_.layout.index().end()) return;
  auto& by_value = of_slot_[slot->second];
  if (by_value.size() <= value) by_value.resize(value + 1, no_predicate);
  by_value[value] = id;
}

void AdditiveRelaxation::add_default(PredicateId predicate) { defaults_.push_back(predicate); }

void AdditiveRelaxation::finish() {
  assert(watch_offsets_.empty());
  std::vector<std::uint32_t> counts(nodes_.size() + 1, 0);
  for (const PredicateId literal : literals_) ++counts[literal + 1];
  for (std::size_t i = 1; i < counts.size(); ++i) counts[i] += counts[i - 1];
  watch_offsets_ = counts;
  watches_.resize(literals_.size());
  for (std::uint32_t clause = 0; clause < clauses_.size(); ++clause)
    for (std::uint32_t i = 0; i < clauses_[clause].literals; ++i)
      watches_[counts[literals_[clauses_[clause].first_literal + i]]++] = clause;

  initial_costs_.assign(nodes_.size(), unreachable);
  for (const Clause& clause : clauses_) initial_progress_.push_back({clause.literals, 0});
  for (const PredicateId predicate : defaults_) {
    if (initial_costs_[predicate] == 0) continue;
    initial_costs_[predicate] = 0;
    for (std::uint32_t w = watch_offsets_[predicate]; w < watch_offsets_[predicate + 1]; ++w)
      --initial_progress_[watches_[w]].missing;
  }
  for (std::uint32_t clause = 0; clause < clauses_.size(); ++clause)
    if (initial_progress_[clause].missing == 0) initially_complete_.push_back(clause);
  // What nothing waits for need not be reached; what holds by default need not be reached again.
  restorers_.resize(nodes_.size());
  may_restore_.resize(added_.size());
  added_defaults_.resize(added_.size());
  for (std::uint32_t action = 0; action < added_.size(); ++action) {
    std::erase_if(added_[action], [&](PredicateId predicate) {
      if (watch_offsets_[predicate] == watch_offsets_[predicate + 1]) return true;
      if (initial_costs_[predicate] != 0) return false;
      added_defaults_[action].push_back(predicate);
      restorers_[predicate].push_back(action);
      return true;
    });
  }
  gain_offsets_.push_back(0);
  for (const auto& added : added_) {
    gains_.insert(gains_.end(), added.begin(), added.end());
    gain_offsets_.push_back(static_cast<std::uint32_t>(gains_.size()));
  }
  supporters_.resize(nodes_.size());
  completed_.resize(clauses_.size());
}

void AdditiveRelaxation::begin(const std::uint32_t* values, bool may_carry) {
  assert(supporters_.size() == nodes_.size());
  is_carried_ = may_carry && chooses_to_carry();
  if (is_carried_) return begin_carried(values);
  progress_ = initial_progress_;
  costs_ = initial_costs_;
  for (auto& bucket : buckets_) bucket.clear();
  far_.clear();
  current_ = {};
  ++pass_;
  best_goal_cost_ = unreachable;
  best_goal_ = 0;
  for (std::size_t slot = 0; slot < of_slot_.size(); ++slot) {
    const auto& by_value = of_slot_[slot];
    if (values[slot] < by_value.size() && by_value[values[slot]] != no_predicate)
      reach(by_value[values[slot]], 0);
  }
  for (const auto& [id, condition] : complex_) reach(id, condition.holds(values) ? 0 : 1);
}

std::unique_ptr<AdditiveUpdate> AdditiveRelaxation::make_update() const {
  auto update = std::make_unique<AdditiveUpdate>(nodes_.size(), max_cost);
  std::vector<PredicateId> gained;
  for (const Clause& clause : clauses_) {
    const auto literals = std::span(literals_).subspan(clause.first_literal, clause.literals);
    if (clause.owner == goal_owner) {
      update->add_goal(literals);
      continue;
    }
    gained = added_[clause.owner];
    gained.insert(gained.end(), added_defaults_[clause.owner].begin(), added_defaults_[clause.owner].end());
    update->add_rule(literals, gained);
  }
  update->finish();
  return update;
}

bool AdditiveRelaxation::chooses_to_carry() {
  if (nodes_.size() < least_carried) return false;
  if (passes_to_next_try_ == 0) return true;
  --passes_to_next_try_;
  return false;
}

void AdditiveRelaxation::begin_carried(const std::uint32_t* values) {
  const auto change = [&](std::size_t slot, ValueId value, Cost cost) {
    const auto& by_value = of_slot_[slot];
    if (value < by_value.size() && by_value[value] != no_predicate) update_->set_base(by_value[value], cost);
  };
  if (!update_) {
    update_ = make_update();
    for (const PredicateId predicate : defaults_) update_->set_base(predicate, 0);
    known_values_.assign(values, values + of_slot_.size());
    for (std::size_t slot = 0; slot < of_slot_.size(); ++slot) change(slot, values[slot], 0);
  }
  for_each_difference(known_values_.data(), values, of_slot_.size(), [&](std::size_t slot) {
    change(slot, known_values_[slot], unreachable);
    change(slot, values[slot], 0);
    known_values_[slot] = values[slot];
  });
  for (const PredicateId predicate : established_) update_->set_base(predicate, unreachable);
  for (const PredicateId predicate : suspended_) update_->set_base(predicate, 0);
  established_.clear();
  suspended_.clear();
  for (const auto& [id, condition] : complex_) update_->set_base(id, condition.holds(values) ? 0 : 1);
}

AdditiveRelaxation::Cost AdditiveRelaxation::settle_carried() {
  const Cost cost = update_->update();
  const std::uint64_t pass = nodes_.size() + clauses_.size();
  const std::uint64_t work = work_of_step * update_->work();
  excess_ = work > pass ? excess_ + work - pass : excess_ - std::min(excess_, pass - work);
  if (excess_ > most_excess * pass) {
    excess_ = 0;
    passes_to_next_try_ = passes_of_rest;
  }
  return cost;
}

void AdditiveRelaxation::establish(PredicateId predicate) {
  if (!is_carried_) return reach(predicate, 0);
  established_.push_back(predicate);
  update_->set_base(predicate, 0);
}

void AdditiveRelaxation::suspend(PredicateId predicate) {
  if (is_carried_) {
    suspended_.push_back(predicate);
    update_->set_base(predicate, unreachable);
    return;
  }
  assert(costs_[predicate] == 0);
  costs_[predicate] = unreachable;
  for (std::uint32_t w = watch_offsets_[predicate]; w < watch_offsets_[predicate + 1]; ++w)
    ++progress_[watches_[w]].missing;
  for (const std::uint32_t action : restorers_[predicate]) may_restore_[action] = pass_;
}

void AdditiveRelaxation::reach(PredicateId predicate, Cost cost) {
  if (costs_[predicate] <= cost) return;
  assert(cost <= max_cost);
  costs_[predicate] = cost;
  if (current_.exists()) supporters_[predicate] = current_;
  if (cost >= bucket_limit) {
    far_.emplace_back(cost, predicate);
    std::push_heap(far_.begin(), far_.end(), std::greater<>());
    return;
  }
  if (buckets_.size() <= cost) buckets_.resize(cost + 1);
  buckets_[cost].push_back(predicate);
}

void AdditiveRelaxation::complete(std::uint32_t index, Cost sum) {
  const Clause& clause = clauses_[index];
  if (clause.owner == goal_owner) {
    if (sum >= best_goal_cost_) return;
    best_goal_cost_ = sum;
    best_goal_ = clause.number;
    return;
  }
  completed_[index] = 1;
  current_ = {clause.owner, clause.number};
  const Cost gained = std::min(sum + 1, max_cost);
  for (std::uint32_t i = gain_offsets_[clause.owner]; i < gain_offsets_[clause.owner + 1]; ++i)
    reach(gains_[i], gained);
  if (may_restore_[clause.owner] == pass_)
    for (const PredicateId added : added_defaults_[clause.owner]) reach(added, gained);
}

void AdditiveRelaxation::settle_predicate(PredicateId predicate, Cost cost) {
  for (std::uint32_t w = watch_offsets_[predicate]; w < watch_offsets_[predicate + 1]; ++w) {
    Progress& progress = progress_[watches_[w]];
    assert(progress.missing > 0);
    progress.sum = std::min(progress.sum + cost, max_cost);
    if (--progress.missing == 0) complete(watches_[w], progress.sum);
  }
}

AdditiveRelaxation::Cost AdditiveRelaxation::settle(bool early) {
  if (is_carried_) return settle_carried();
  if (!early) std::fill(completed_.begin(), completed_.end(), 0);
  for (const std::uint32_t clause : initially_complete_)
    if (progress_[clause].missing == 0) complete(clause, 0);
  if (!settle_near(early)) settle_far(early);
  return best_goal_cost_;
}

/// Settles what the buckets hold; true if the goal's cost is final and nothing else is wanted.
bool AdditiveRelaxation::settle_near(bool early) {
  // A clause that is not complete has a literal at the present key or above. With a single clause there is
  // none to wait for: its literals' costs are final when they are settled.
  const bool first_decides = early && goal_count_ == 1;
  for (Cost key = 0; key < buckets_.size(); ++key) {
    if (early && best_goal_cost_ <= key) return true;
    // By index, since settling a predicate can add to this bucket and to the list of buckets.
    for (std::size_t i = 0; i < buckets_[key].size(); ++i) {
      const PredicateId predicate = buckets_[key][i];
      if (costs_[predicate] == key) settle_predicate(predicate, key);
      if (first_decides && best_goal_cost_ != unreachable) return true;
    }
  }
  return false;
}

void AdditiveRelaxation::settle_far(bool early) {
  while (!far_.empty()) {
    std::pop_heap(far_.begin(), far_.end(), std::greater<>());
    const auto [cost, predicate] = far_.back();
    far_.pop_back();
    if (early && best_goal_cost_ <= cost) return;
    if (costs_[predicate] == cost) settle_predicate(predicate, cost);
  }
}

bool AdditiveRelaxation::is_reached(std::uint32_t action) const {
  assert(!is_carried_);  // what an update completes is not noted
  const std::uint32_t end = action + 1 < first_clause_.size() ? first_clause_[action + 1] : first_goal_;
  for (std::uint32_t clause = first_clause_[action]; clause < end; ++clause)
    if (completed_[clause]) return true;
  return false;
}

std::span<const AdditiveRelaxation::PredicateId> AdditiveRelaxation::goal_literals(
    std::uint32_t clause) const {
  assert(clause < goal_count_);
  const Clause& goal = clauses_[first_goal_ + clause];
  return std::span(literals_).subspan(goal.first_literal, goal.literals);
}

std::span<const AdditiveRelaxation::PredicateId> AdditiveRelaxation::clause_literals(
    std::uint32_t action, std::uint32_t clause) const {
  assert(first_clause_[action] + clause < first_goal_);
  const Clause& found = clauses_[first_clause_[action] + clause];
  return std::span(literals_).subspan(found.first_literal, found.literals);
}

}  // namespace zorvel
