#include "search/forward/guided/openings.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace zorvel::tp::ftp {

Openings::Openings(const DenseProblem& problem, const std::function<bool(ActionId)>& is_relevant)
    : problem_(problem) {
  std::vector<std::vector<SuccessorGenerator::Demand>> demands;
  for (ActionId id = 0; id < problem.action_count(); ++id) {
    if (!is_relevant(id)) continue;
    generated_.push_back(id);
    auto& of_action = demands.emplace_back();
    for (const auto& literal : problem.action(id).opening.literals())
      // A demand asks for one value: the others are left to `at`, as is what is no literal.
      if (literal.is_equal) of_action.push_back({literal.slot, literal.expected});
  }
  generator_.emplace(std::move(demands));
}

std::span<const ActionId> Openings::at(const ValueId* values) {
  found_.clear();
  for (const std::uint32_t number : generator_->applicable(values)) {
    assert(number < generated_.size());
    const ActionId id = generated_[number];
    if (problem_.action(id).opening.holds(values)) found_.push_back(id);
  }
  assert(std::ranges::is_sorted(found_));
  return found_;
}

}  // namespace zorvel::tp::ftp
