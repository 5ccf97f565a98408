#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "search/heuristics/relaxation/fact_table.h"

namespace zorvel {

/// The operators of a delete relaxation over the facts of a FactTable, in flat arrays: an operator makes its
/// added facts true where all its conditions are, and nothing false.
class RelaxedTask {
 public:
  using OperatorId = std::uint32_t;
  static constexpr std::uint32_t no_owner = ~std::uint32_t{0};

  explicit RelaxedTask(const FactTable& facts) : facts_(facts) {}

  /// `owner` is a number of the caller's own. An operator whose `possible` facts may come true or not is no
  /// sure way to them, which only landmarks have to know. Repeated conditions count once.
  void add_operator(std::span<const FactId> conditions, std::span<const FactId> certain,
                    std::span<const FactId> possible, std::uint32_t owner, std::uint32_t cost);
  /// Must be called once, after the last operator and the last effect was read into the table of facts. The
  /// rules of formulas become operators without an owner, at no cost.
  void finish();

  const FactTable& facts() const { return facts_; }
  std::size_t size() const { return operators_.size(); }
  std::uint32_t owner(OperatorId id) const { return operators_[id].owner; }
  std::uint32_t cost(OperatorId id) const { return operators_[id].cost; }
  std::span<const FactId> conditions(OperatorId id) const {
    return slice(operators_[id].first_condition, operators_[id].first_added);
  }
  std::span<const FactId> added(OperatorId id) const {
    return slice(operators_[id].first_added, operators_[id].last_added);
  }
  /// Those of `added` that are true after each application.
  std::span<const FactId> certain(OperatorId id) const {
    return slice(operators_[id].first_added, operators_[id].first_possible);
  }
  /// The operators that have the fact as a condition, ascending.
  std::span<const OperatorId> operators_with(FactId condition) const {
    return {watches_.data() + watch_offsets_[condition], watches_.data() + watch_offsets_[condition + 1]};
  }
  /// Operators without conditions.
  const std::vector<OperatorId>& unconditional() const { return unconditional_; }
  std::uint64_t bytes() const;

 private:
  struct Operator {
    std::uint32_t first_condition, first_added, first_possible, last_added;
    std::uint32_t owner, cost;
  };
  std::span<const FactId> slice(std::uint32_t first, std::uint32_t last) const {
    return {data_.data() + first, data_.data() + last};
  }

  const FactTable& facts_;
  std::vector<Operator> operators_;
  std::vector<FactId> data_;
  std::vector<std::uint32_t> watch_offsets_;
  std::vector<OperatorId> watches_;
  std::vector<OperatorId> unconditional_;
};

}  // namespace zorvel
