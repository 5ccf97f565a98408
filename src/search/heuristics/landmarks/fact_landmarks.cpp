#include "search/heuristics/landmarks/fact_landmarks.h"

#include <algorithm>
#include <cassert>
#include <map>

#include "model/expression_factory.h"

namespace zorvel {

FactLandmarks::FactLandmarks(const RelaxedTask& task, const StateLayout& layout, const ValueId* initial,
                             std::vector<FactId> given)
    : task_(task),
      table_(task.facts()),
      given_(std::move(given)),
      holds_(table_.size(), 0),
      missing_initially_(task.size(), 0),
      formula_literals_(table_.first_change() - table_.first_formula()),
      landmarks_with_(table_.size()),
      reached_in_(table_.size(), 0),
      forbidden_in_(table_.size(), 0),
      touched_in_(task.size(), 0),
      missing_(task.size(), 0),
      wanted_in_(task.size(), 0),
      sure_in_(task.size(), 0) {
  for (FactId fact = 0; fact < table_.first_predicate(); ++fact)
    holds_[fact] = table_.literal(fact).holds(initial) ? 1 : 0;
  for (FactId fact = table_.first_predicate(); fact < table_.first_formula(); ++fact)
    holds_[fact] = table_.predicate(fact).program.evaluate(initial) == true_value ? 1 : 0;
  for (OperatorId id = 0; id < task.size(); ++id)
    for (const FactId fact : task.conditions(id)) missing_initially_[id] += holds_[fact] != 0 ? 0 : 1;
  for (OperatorId id = 0; id < task.size(); ++id)
    if (missing_initially_[id] == 0) applicable_.push_back(id);
  // A disjunction of literals is a landmark as such; any other formula is none.
  std::vector<char> is_simple(formula_literals_.size(), 1);
  for (const FactTable::Rule& rule : table_.rules()) {
    const std::size_t number = rule.head - table_.first_formula();
    if (rule.body.size() == 1 && table_.is_literal(rule.body[0]))
      formula_literals_[number].push_back(rule.body[0]);
    else
      is_simple[number] = 0;
  }
  for (std::size_t number = 0; number < is_simple.size(); ++number)
    if (is_simple[number] == 0) formula_literals_[number].clear();
  std::map<const model::FluentImpl*, std::uint32_t> fluents;  // numbered in the order of their slots
  for (std::size_t slot = 0; slot < layout.slots(); ++slot) {
    const auto fluent =
        layout.env().expression_factory().get_fluent_from_reference(layout.reference(slot)).get();
    fluent_of_slot_.push_back(
        fluents.try_emplace(fluent, static_cast<std::uint32_t>(fluents.size())).first->second);
  }
  index_adders();
}

void FactLandmarks::index_adders() {
  adder_offsets_.assign(table_.size() + 1, 0);
  for (OperatorId id = 0; id < task_.size(); ++id)
    for (const FactId fact : task_.added(id)) ++adder_offsets_[fact + 1];
  for (std::size_t fact = 1; fact < adder_offsets_.size(); ++fact)
    adder_offsets_[fact] += adder_offsets_[fact - 1];
  adders_.resize(adder_offsets_.back());
  std::vector<std::uint32_t> next = adder_offsets_;
  for (OperatorId id = 0; id < task_.size(); ++id)
    for (const FactId fact : task_.added(id)) adders_[next[fact]++] = id;
}

std::uint32_t FactLandmarks::group_of(FactId literal) const {
  const FactTable::Literal& known = table_.literal(literal);
  const bool is_turned = known.value == false_value || !known.is_equal;
  return 2 * fluent_of_slot_[known.slot] + (is_turned ? 1 : 0);
}

std::vector<FactId> FactLandmarks::as_landmark(FactId condition) const {
  if (table_.is_literal(condition) || table_.is_predicate(condition)) return {condition};
  if (!table_.is_formula(condition)) return {};
  std::vector<FactId> facts = formula_literals_[condition - table_.first_formula()];
  std::sort(facts.begin(), facts.end());
  facts.erase(std::unique(facts.begin(), facts.end()), facts.end());
  return facts;
}

FactLandmarks::LandmarkId FactLandmarks::add(std::vector<FactId> facts, bool is_goal) {
  assert(!facts.empty() && std::ranges::is_sorted(facts));  // they are compared as sets
  // Equal sets have one first fact, so no other list has to be looked at.
  for (const LandmarkId known : landmarks_with_[facts.front()])
    if (is_removed_[known] == 0 && landmarks_[known].facts == facts) {
      landmarks_[known].is_goal = landmarks_[known].is_goal || is_goal;
      return known;
    }
  const auto added = static_cast<LandmarkId>(landmarks_.size());
  for (const FactId fact : facts) landmarks_with_[fact].push_back(added);
  landmarks_.push_back({std::move(facts), is_goal});
  is_removed_.push_back(0);
  queue_.push_back(added);
  return added;
}

void FactLandmarks::run(std::span<const FactId> goals, std::span<const FactId> passed,
                        std::uint64_t most_work, const std::function<bool()>& must_stop) {
  assert(queue_.empty());
  for (const FactId goal : goals)
    if (auto facts = as_landmark(goal); !facts.empty()) add(std::move(facts), true);
  for (const FactId goal : passed)
    if (auto facts = as_landmark(goal); !facts.empty()) add(std::move(facts), false);
  for (std::size_t next = 0; next < queue_.size() && work_ < most_work; ++next) {
    if (must_stop && must_stop()) break;
    const LandmarkId landmark = queue_[next];
    const auto& facts = landmarks_[landmark].facts;
    const bool holds =
        std::any_of(facts.begin(), facts.end(), [&](FactId fact) { return holds_[fact] != 0; });
    if (!holds && is_removed_[landmark] == 0) look_behind(landmark);
  }
  drop_removed();
}

void FactLandmarks::look_behind(LandmarkId landmark) {
  const std::vector<FactId> facts = landmarks_[landmark].facts;
  if (may_come_by_itself(facts)) return;
  const std::vector<OperatorId> achievers = first_achievers(facts);
  if (achievers.empty()) return;  // the goal is out of reach, or the landmark's truth rests on no effect
  add_shared_conditions(achievers, landmark);
  add_disjunctions(achievers, landmark);
}

bool FactLandmarks::may_come_by_itself(const std::vector<FactId>& facts) const {
  return std::any_of(given_.begin(), given_.end(), [&](FactId given) {
    if (std::find(facts.begin(), facts.end(), given) != facts.end()) return true;
    if (!table_.is_change(given)) return false;
    const auto readers = table_.predicates_reading(table_.change(given).slot);
    return std::any_of(readers.begin(), readers.end(), [&](std::uint32_t predicate) {
      return std::find(facts.begin(), facts.end(), table_.first_predicate() + predicate) != facts.end();
    });
  });
}

std::vector<FactLandmarks::OperatorId> FactLandmarks::first_achievers(const std::vector<FactId>& facts) {
  ++stamp_;
  std::vector<OperatorId> wanted;
  const auto want_adders = [&](FactId fact, bool is_sure) {
    for (std::uint32_t i = adder_offsets_[fact]; i < adder_offsets_[fact + 1]; ++i) {
      const OperatorId id = adders_[i];
      const auto certain = task_.certain(id);
      if (is_sure && std::find(certain.begin(), certain.end(), fact) != certain.end()) sure_in_[id] = stamp_;
      if (wanted_in_[id] == stamp_) continue;
      wanted_in_[id] = stamp_;
      wanted.push_back(id);
    }
  };
  for (const FactId fact : facts) {
    forbidden_in_[fact] = stamp_;
    want_adders(fact, true);
    if (!table_.is_predicate(fact)) continue;
    for (const std::uint32_t slot : table_.slots_of(fact))
      for (const FactId change : table_.changes_of(slot)) want_adders(change, false);
  }
  wanted_left_ = wanted.size();
  explore();
  // A formula's rule is no event: who achieves the formula by way of the landmark is no achiever of it.
  std::erase_if(wanted, [&](OperatorId id) {
    const std::uint32_t missing = touched_in_[id] == stamp_ ? missing_[id] : missing_initially_[id];
    return missing != 0;
  });
  std::sort(wanted.begin(), wanted.end());
  return wanted;
}

void FactLandmarks::explore() {
  reached_.clear();
  work_ += applicable_.size();
  for (const OperatorId id : applicable_) apply(id);
  for (const FactId fact : given_) reach(fact);
  // When all candidates are applicable, nothing that is reached later tells them apart.
  for (std::size_t next = 0; next < reached_.size() && wanted_left_ > 0; ++next) {
    const auto operators = task_.operators_with(reached_[next]);
    work_ += operators.size();
    for (const OperatorId id : operators) {
      if (touched_in_[id] != stamp_) {
        touched_in_[id] = stamp_;
        missing_[id] = missing_initially_[id];
      }
      assert(missing_[id] > 0);
      if (--missing_[id] == 0) apply(id);
    }
  }
}

void FactLandmarks::reach(FactId fact) {
  if (holds_[fact] != 0 || reached_in_[fact] == stamp_ || forbidden_in_[fact] == stamp_) return;
  reached_in_[fact] = stamp_;
  reached_.push_back(fact);
  if (!table_.is_change(fact)) return;
  for (const std::uint32_t predicate : table_.predicates_reading(table_.change(fact).slot))
    reach(table_.first_predicate() + predicate);
}

void FactLandmarks::apply(OperatorId id) {
  assert(wanted_in_[id] != stamp_ || wanted_left_ > 0);
  if (wanted_in_[id] == stamp_) --wanted_left_;
  // An event that makes the landmark true does nothing before the landmark is true.
  if (sure_in_[id] == stamp_) return;
  for (const FactId fact : task_.added(id)) reach(fact);
}

void FactLandmarks::add_shared_conditions(const std::vector<OperatorId>& achievers, LandmarkId landmark) {
  const auto first = task_.conditions(achievers.front());
  std::vector<FactId> shared(first.begin(), first.end()), rest;
  for (const OperatorId id : achievers) {
    const auto conditions = task_.conditions(id);
    assert(std::ranges::is_sorted(conditions));
    work_ += conditions.size();
    rest.clear();
    std::set_intersection(shared.begin(), shared.end(), conditions.begin(), conditions.end(),
                          std::back_inserter(rest));
    shared.swap(rest);
  }
  for (const FactId fact : shared)
    if (auto facts = as_landmark(fact); !facts.empty()) add_candidate(std::move(facts), landmark);
}

void FactLandmarks::add_disjunctions(const std::vector<OperatorId>& achievers, LandmarkId landmark) {
  if (achievers.size() < 2) return;  // the conditions of a single one are landmarks themselves
  struct Group {
    std::vector<FactId> facts;
    std::size_t achievers = 0;  // that ask for one of them, as long as there is no gap
  };
  std::map<std::uint32_t, Group> groups;
  for (std::size_t number = 0; number < achievers.size(); ++number) {
    for (const FactId fact : task_.conditions(achievers[number])) {
      if (!table_.is_literal(fact) || holds_[fact] != 0) continue;
      if (number > 0 && !groups.contains(group_of(fact))) continue;
      Group& group = groups[group_of(fact)];
      if (group.achievers == number + 1) continue;  // one of its facts is enough
      if (group.achievers < number) continue;
      ++group.achievers;
      group.facts.push_back(fact);
    }
  }
  for (auto& [key, group] : groups) {
    if (group.achievers < achievers.size()) continue;
    std::sort(group.facts.begin(), group.facts.end());
    group.facts.erase(std::unique(group.facts.begin(), group.facts.end()), group.facts.end());
    if (group.facts.size() > 1 && group.facts.size() <= most_disjuncts)
      add_candidate(std::move(group.facts), landmark);
  }
}

void FactLandmarks::add_candidate(std::vector<FactId> facts, LandmarkId landmark) {
  if (std::any_of(facts.begin(), facts.end(), [&](FactId fact) { return holds_[fact] != 0; })) return;
  std::vector<LandmarkId> weaker;
  for (const FactId fact : facts)
    for (const LandmarkId known : landmarks_with_[fact]) {
      if (is_removed_[known] != 0) continue;
      const auto& others = landmarks_[known].facts;
      // What is known with fewer disjuncts says more than the candidate.
      if (others.size() < facts.size() &&
          std::includes(facts.begin(), facts.end(), others.begin(), others.end()))
        return;
      if (others.size() > facts.size() && !landmarks_[known].is_goal &&
          std::includes(others.begin(), others.end(), facts.begin(), facts.end()))
        weaker.push_back(known);
    }
  for (const LandmarkId known : weaker) is_removed_[known] = 1;
  const LandmarkId candidate = add(std::move(facts), false);
  if (candidate != landmark) orderings_.emplace_back(candidate, landmark);
}

void FactLandmarks::drop_removed() {
  // Only now: the queue and the orderings name landmarks by number as long as new ones come.
  std::vector<LandmarkId> numbers(landmarks_.size(), none);
  std::vector<Landmark> kept;
  for (LandmarkId landmark = 0; landmark < landmarks_.size(); ++landmark) {
    if (is_removed_[landmark] != 0) continue;
    numbers[landmark] = static_cast<LandmarkId>(kept.size());
    kept.push_back(std::move(landmarks_[landmark]));
  }
  landmarks_ = std::move(kept);
  std::vector<LandmarkGraph::Ordering> orderings;
  for (const auto& [before, after] : orderings_)
    if (numbers[before] != none && numbers[after] != none)
      orderings.emplace_back(numbers[before], numbers[after]);
  std::sort(orderings.begin(), orderings.end());
  orderings.erase(std::unique(orderings.begin(), orderings.end()), orderings.end());
  orderings_ = std::move(orderings);
}

LandmarkGraph FactLandmarks::graph(Environment& env) const {
  std::vector<LandmarkGraph::Description> descriptions;
  for (const Landmark& landmark : landmarks_) {
    LandmarkGraph::Description& description = descriptions.emplace_back();
    description.is_goal = landmark.is_goal;
    for (const FactId fact : landmark.facts) {
      if (table_.is_predicate(fact)) {
        description.program = table_.predicate(fact).program;
        continue;
      }
      const FactTable::Literal& literal = table_.literal(fact);
      description.tests.push_back({literal.slot, literal.value, literal.is_equal});
    }
  }
  return LandmarkGraph(env, descriptions, orderings_);
}

}  // namespace zorvel
