#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "search/heuristics/relaxation/relaxed_problem.h"

namespace zorvel {

/// Which actions can matter for the goal: those that write a fluent that the goal, a guiding fluent, or a
/// condition, value or argument of such an action reads.
class ActionRelevance {
 public:
  explicit ActionRelevance(std::shared_ptr<const RelaxedProblem> problem) : problem_(std::move(problem)) {}

  /// The fluents of the goal, in order, without progress fluents.
  std::vector<std::shared_ptr<model::FluentImpl>> subgoals() const;
  /// By action of the relaxed problem: whether it can matter.
  std::vector<bool> useful() const;
  /// The numbers of the searched problem's actions of which a piece can matter and all are `reachable`, which
  /// goes by action of the relaxed problem.
  std::vector<std::uint32_t> relevant(const std::vector<bool>& reachable) const;

 private:
  std::shared_ptr<const RelaxedProblem> problem_;
};

}  // namespace zorvel
