#include "search/heuristics/relaxation/additive_update.h"

#include <algorithm>
#include <cassert>
#include <functional>

namespace zorvel {

namespace {

/// Lists, one after the other, of the rules by the predicates that `predicates` names for each.
template <class Predicates>
void list_by_predicate(std::size_t count, std::uint32_t rules, Predicates predicates,
                       std::vector<std::uint32_t>& begin, std::vector<std::uint32_t>& lists) {
  begin.assign(count + 1, 0);
  for (std::uint32_t rule = 0; rule < rules; ++rule)
    for (const std::uint32_t predicate : predicates(rule)) ++begin[predicate + 1];
  for (std::size_t i = 1; i < begin.size(); ++i) begin[i] += begin[i - 1];
  lists.resize(begin.back());
  auto next = begin;
  for (std::uint32_t rule = 0; rule < rules; ++rule)
    for (const std::uint32_t predicate : predicates(rule)) lists[next[predicate]++] = rule;
}

}  // namespace

AdditiveUpdate::AdditiveUpdate(std::size_t predicates, Cost max_cost)
    : max_cost_(max_cost),
      base_(predicates, unreachable),
      costs_(predicates, unreachable),
      supporters_(predicates, no_rule),
      is_changed_(predicates, 0),
      tentative_(predicates, unreachable),
      tentative_supporters_(predicates, no_rule) {}

void AdditiveUpdate::add_rule(std::span<const Predicate> conditions, std::span<const Predicate> added) {
  assert(progress_.empty());
  assert(std::ranges::all_of(conditions, [&](Predicate one) { return one < base_.size(); }));
  assert(std::ranges::all_of(added, [&](Predicate one) { return one < base_.size(); }));
  rules_.push_back(
      {static_cast<std::uint32_t>(conditions_.size()), static_cast<std::uint32_t>(added_.size())});
  conditions_.insert(conditions_.end(), conditions.begin(), conditions.end());
  added_.insert(added_.end(), added.begin(), added.end());
}

void AdditiveUpdate::add_goal(std::span<const Predicate> conditions) {
  goals_.push_back(static_cast<RuleId>(rules_.size()));
  add_rule(conditions, {});
}

void AdditiveUpdate::finish() {
  const auto rules = static_cast<RuleId>(rules_.size());
  add_rule({}, {});  // the end of the last one
  list_by_predicate(
      base_.size(), rules, [this](RuleId rule) { return conditions(rule); }, with_begin_, with_);
  list_by_predicate(
      base_.size(), rules, [this](RuleId rule) { return added(rule); }, adding_begin_, adding_);
  progress_.resize(rules);
  forget();
}

std::span<const AdditiveUpdate::Predicate> AdditiveUpdate::conditions(RuleId rule) const {
  const std::uint32_t first = rules_[rule].first_condition;
  return std::span(conditions_).subspan(first, rules_[rule + 1].first_condition - first);
}

std::span<const AdditiveUpdate::Predicate> AdditiveUpdate::added(RuleId rule) const {
  const std::uint32_t first = rules_[rule].first_added;
  return std::span(added_).subspan(first, rules_[rule + 1].first_added - first);
}

std::span<const AdditiveUpdate::RuleId> AdditiveUpdate::rules_with(Predicate predicate) const {
  const std::uint32_t first = with_begin_[predicate];
  return std::span(with_).subspan(first, with_begin_[predicate + 1] - first);
}

std::span<const AdditiveUpdate::RuleId> AdditiveUpdate::rules_adding(Predicate predicate) const {
  const std::uint32_t first = adding_begin_[predicate];
  return std::span(adding_).subspan(first, adding_begin_[predicate + 1] - first);
}

AdditiveUpdate::Cost AdditiveUpdate::cost_by(RuleId rule) const {
  if (progress_[rule].missing > 0) return unreachable;
  return static_cast<Cost>(std::min<std::uint64_t>(progress_[rule].sum + 1, max_cost_));
}

void AdditiveUpdate::set_base(Predicate predicate, Cost cost) {
  assert(predicate < base_.size());
  if (base_[predicate] == cost) return;
  base_[predicate] = cost;
  if (is_changed_[predicate] != 0) return;
  is_changed_[predicate] = 1;
  changed_.push_back(predicate);
}

/// Costs as before any state: nothing has one, and every predicate with a base is one that changed.
void AdditiveUpdate::forget() {
  is_capped_ = false;
  std::ranges::fill(costs_, unreachable);
  std::ranges::fill(supporters_, no_rule);
  for (RuleId rule = 0; rule < progress_.size(); ++rule)
    progress_[rule] = {0, static_cast<std::uint32_t>(conditions(rule).size())};
  for (Predicate predicate = 0; predicate < base_.size(); ++predicate) {
    if (base_[predicate] == unreachable || is_changed_[predicate] != 0) continue;
    is_changed_[predicate] = 1;
    changed_.push_back(predicate);
  }
  for (RuleId rule = 0; rule < progress_.size(); ++rule)
    if (progress_[rule].missing == 0)
      for (const Predicate predicate : added(rule)) lower(predicate, 1, rule);
  work_ += costs_.size() + conditions_.size();
}

void AdditiveUpdate::lower(Predicate predicate, Cost cost, RuleId supporter) {
  if (cost >= costs_[predicate] || cost >= tentative_[predicate]) return;
  tentative_[predicate] = cost;
  tentative_supporters_[predicate] = supporter;
  queue_.emplace_back(cost, predicate);
  std::push_heap(queue_.begin(), queue_.end(), std::greater<>());
}

/// Takes away the costs that rest on a base that rose, directly or through others.
void AdditiveUpdate::raise_unsupported() {
  raised_.clear();
  broken_.clear();
  const auto raise = [this](Predicate predicate) {
    assert(costs_[predicate] != unreachable);
    for (const RuleId rule : rules_with(predicate)) {
      assert(progress_[rule].sum >= costs_[predicate]);
      progress_[rule].sum -= costs_[predicate];
      if (progress_[rule].missing++ == 0) broken_.push_back(rule);
    }
    work_ += rules_with(predicate).size() + 1;
    costs_[predicate] = unreachable;
    supporters_[predicate] = no_rule;
    raised_.push_back(predicate);
  };
  for (const Predicate predicate : changed_)
    if (supporters_[predicate] == no_rule && costs_[predicate] < base_[predicate]) raise(predicate);
  // By index: raising appends.
  for (std::size_t i = 0; i < broken_.size(); ++i) {
    const RuleId rule = broken_[i];
    for (const Predicate gained : added(rule))
      if (supporters_[gained] == rule) raise(gained);
    work_ += added(rule).size();
  }
  for (const Predicate predicate : raised_) {
    lower(predicate, base_[predicate], no_rule);
    for (const RuleId rule : rules_adding(predicate)) lower(predicate, cost_by(rule), rule);
    work_ += rules_adding(predicate).size();
  }
}

/// Settles the least tentative cost first, so each predicate once (Knuth's generalisation of Dijkstra, 1977).
void AdditiveUpdate::settle() {
  while (!queue_.empty()) {
    std::pop_heap(queue_.begin(), queue_.end(), std::greater<>());
    const auto [cost, predicate] = queue_.back();
    queue_.pop_back();
    if (tentative_[predicate] != cost) continue;  // an older, dearer entry
    tentative_[predicate] = unreachable;
    const Cost old = costs_[predicate];
    assert(cost < old);
    costs_[predicate] = cost;
    supporters_[predicate] = tentative_supporters_[predicate];
    is_capped_ = is_capped_ || cost == max_cost_;
    for (const RuleId rule : rules_with(predicate)) {
      Progress& progress = progress_[rule];
      assert(old == unreachable ? progress.missing > 0 : progress.sum >= old);
      progress.sum += cost;
      if (old == unreachable)
        --progress.missing;
      else
        progress.sum -= old;
      if (progress.missing > 0) continue;
      const Cost gained = cost_by(rule);
      for (const Predicate next : added(rule)) lower(next, gained, rule);
      work_ += added(rule).size();
    }
    work_ += rules_with(predicate).size() + 1;
  }
}

AdditiveUpdate::Cost AdditiveUpdate::update() {
  assert(rules_.size() == progress_.size() + 1);  // finish adds an empty one
  work_ = 0;
  if (is_capped_)
    forget();
  else
    raise_unsupported();
  for (const Predicate predicate : changed_) {
    lower(predicate, base_[predicate], no_rule);
    is_changed_[predicate] = 0;
  }
  changed_.clear();
  settle();
  assert(is_settled());
  return goal_cost();
}

AdditiveUpdate::Cost AdditiveUpdate::goal_cost() const {
  Cost least = unreachable;
  for (const RuleId goal : goals_)
    if (progress_[goal].missing == 0)
      least = std::min(least, static_cast<Cost>(std::min<std::uint64_t>(progress_[goal].sum, max_cost_)));
  return least;
}

bool AdditiveUpdate::is_settled() const {
  for (RuleId rule = 0; rule < progress_.size(); ++rule) {
    Progress expected;
    for (const Predicate predicate : conditions(rule)) {
      if (costs_[predicate] == unreachable)
        ++expected.missing;
      else
        expected.sum += costs_[predicate];
    }
    if (expected.sum != progress_[rule].sum || expected.missing != progress_[rule].missing) return false;
  }
  for (Predicate predicate = 0; predicate < costs_.size(); ++predicate) {
    Cost least = base_[predicate];
    for (const RuleId rule : rules_adding(predicate)) least = std::min(least, cost_by(rule));
    if (least != costs_[predicate]) return false;
    const RuleId supporter = supporters_[predicate];
    if (least != unreachable && (supporter == no_rule ? base_[predicate] : cost_by(supporter)) != least)
      return false;
  }
  return true;
}

}  // namespace zorvel
