#pragma once

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "search/forward/dense/dense_problem.h"
#include "search/frame/successor_generator.h"

namespace zorvel::tp::ftp {

/// Which actions a state lets open, of those that a plan may need.
class Openings {
 public:
  Openings(const DenseProblem& problem, const std::function<bool(ActionId)>& is_relevant);

  /// The actions whose conditions at their opening hold, ascending, also those that are open already. Valid
  /// until the next call.
  std::span<const ActionId> at(const ValueId* values);

 private:
  const DenseProblem& problem_;
  std::vector<ActionId> generated_;  // the actions that the generator knows, by its numbers
  std::optional<SuccessorGenerator> generator_;
  std::vector<ActionId> found_;
};

}  // namespace zorvel::tp::ftp
