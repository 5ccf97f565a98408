#pragma once

#include <memory>
#include <vector>

#include "search/classical/tsimple/classical_search.h"
#include "search/heuristics/hmax.h"
#include "search/heuristics/relaxation/value_reachability.h"

namespace zorvel::tsimple {

/// The layers of a relaxed reachability analysis (see zorvel::HMax), and 100 more for each goal that does not
/// hold and each landmark that has not been met: goals and landmarks are pursued before anything else.
class HMax : public zorvel::HMax {
 public:
  HMax(Environment& env, std::shared_ptr<EvaluationTables> tables, std::vector<Node*> goals,
       std::vector<Node*> landmarks, std::vector<ClassicalAction> actions);

  /// `state` must be a tsimple::SearchState.
  double operator()(const zorvel::SearchState& state) override;
  /// The same for a packed state, much faster.
  double evaluate(const StateView& view);
  using zorvel::HMax::evaluate;

 private:
  double with_achievements(double layers, std::size_t achieved_goals, std::size_t achieved_landmarks) const;

  std::shared_ptr<EvaluationTables> tables_;
  ValueReachability reachability_;
  std::size_t landmarks_;
};

}  // namespace zorvel::tsimple
