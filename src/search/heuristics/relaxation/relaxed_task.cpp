#include "search/heuristics/relaxation/relaxed_task.h"

#include <algorithm>
#include <cassert>

namespace zorvel {

void RelaxedTask::add_operator(std::span<const FactId> conditions, std::span<const FactId> certain,
                               std::span<const FactId> possible, std::uint32_t owner, std::uint32_t cost) {
  assert(watch_offsets_.empty());  // those who watch were not counted yet
  assert(std::ranges::all_of(conditions, [&](FactId fact) { return fact < facts_.size(); }));
  Operator& added = operators_.emplace_back();
  added.owner = owner;
  added.cost = cost;
  added.first_condition = static_cast<std::uint32_t>(data_.size());
  data_.insert(data_.end(), conditions.begin(), conditions.end());
  const auto first = data_.begin() + added.first_condition;
  std::sort(first, data_.end());
  data_.erase(std::unique(first, data_.end()), data_.end());
  added.first_added = static_cast<std::uint32_t>(data_.size());
  data_.insert(data_.end(), certain.begin(), certain.end());
  added.first_possible = static_cast<std::uint32_t>(data_.size());
  data_.insert(data_.end(), possible.begin(), possible.end());
  added.last_added = static_cast<std::uint32_t>(data_.size());
}

void RelaxedTask::finish() {
  for (const FactTable::Rule& rule : facts_.rules())
    add_operator(rule.body, std::span(&rule.head, 1), {}, no_owner, 0);
  watch_offsets_.assign(facts_.size() + 1, 0);
  for (OperatorId id = 0; id < size(); ++id) {
    for (const FactId fact : conditions(id)) ++watch_offsets_[fact + 1];
    if (conditions(id).empty()) unconditional_.push_back(id);
  }
  for (std::size_t fact = 1; fact < watch_offsets_.size(); ++fact)
    watch_offsets_[fact] += watch_offsets_[fact - 1];
  watches_.resize(watch_offsets_.back());
  std::vector<std::uint32_t> next = watch_offsets_;
  for (OperatorId id = 0; id < size(); ++id)
    for (const FactId fact : conditions(id)) watches_[next[fact]++] = id;
}

std::uint64_t RelaxedTask::bytes() const {
  return operators_.capacity() * sizeof(Operator) +
         (data_.capacity() + watches_.capacity()) * sizeof(FactId) +
         watch_offsets_.capacity() * sizeof(std::uint32_t);
}

}  // namespace zorvel
