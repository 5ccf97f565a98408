#pragma once

#include <memory>
#include <vector>

#include "search/hmax.h"
#include "search/tsimple/classical_search.h"

namespace zorvel::tsimple {

/// The layers of a relaxed reachability analysis (see zorvel::HMax), and 100 more for each goal that does not
/// hold and each landmark that has not been met: goals and landmarks are pursued before anything else.
class HMax : public zorvel::HMax {
 public:
  /// `index` must outlive the heuristic.
  HMax(Environment& env, const StateIndex& index, std::vector<Node*> goals, std::vector<Node*> landmarks,
       std::vector<ClassicalAction> actions);

  /// `state` must be a tsimple::SearchState.
  double operator()(const zorvel::SearchState& state) override;

  /// The value, given the relaxed distance `layers`.
  double with_achievements(double layers, std::size_t achieved_goals, std::size_t achieved_landmarks) const;

 private:
  std::size_t landmarks_;
};

}  // namespace zorvel::tsimple
