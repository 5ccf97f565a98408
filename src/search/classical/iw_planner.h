#pragma once

#include <memory>
#include <string>

#include "search/frame/planner.h"

namespace zorvel::iw {

/// Iterated width (Lipovetzky and Geffner 2012): the search of TSimplePlanner with a novelty test of width 1,
/// then 2, and so on up to the number of ground fluents, until one finds a plan.
///
/// A width that leaves nothing out and finds no plan ends the series: the larger ones search the same states.
class IWPlanner : public Planner {
 public:
  /// UnsupportedProblemError for a problem that no engine handles.
  IWPlanner(Environment& env, model::ProblemPtr problem);

  const std::string& name() const override;
  /// A POTPlan. The limits hold for all widths together, that of memory for each. The outcome is `incomplete`
  /// if every width left states out; so it is for a problem without ground fluents, where no width is tried.
  std::shared_ptr<Plan> solve_under(SearchGuard& guard) override;

  /// The width searched last; 0 before `solve`.
  std::size_t width() const { return width_; }
  /// By all widths of the last `solve`, as the statistics are.
  std::uint64_t expanded() const { return statistics_.expanded; }

 private:
  std::shared_ptr<Plan> search(SearchGuard& guard);

  model::ProblemPtr fluents_;  // with all fluents of the caller's problem: their number bounds the width
  std::size_t width_ = 0;
};

}  // namespace zorvel::iw
