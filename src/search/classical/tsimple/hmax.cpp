#include "search/classical/tsimple/hmax.h"

namespace zorvel::tsimple {

namespace {

constexpr double cost_of_one_missing = 100;

}  // namespace

HMax::HMax(Environment& env, std::shared_ptr<EvaluationTables> tables, std::vector<Node*> goals,
           std::vector<Node*> landmarks, std::vector<ClassicalAction> actions)
    : zorvel::HMax(env, tables->layout.index(), goals, actions),
      tables_(std::move(tables)),
      reachability_(*tables_, goals, actions),
      landmarks_(landmarks.size()) {}

double HMax::operator()(const zorvel::SearchState& state) {
  const auto& own = static_cast<const SearchState&>(state);
  return with_achievements(zorvel::HMax::operator()(state), own.achieved_goals,
                           own.achieved_landmarks.size());
}

double HMax::evaluate(const StateView& view) {
  const auto packed = reachability_.layers(view.values);
  const double layers = packed ? *packed : zorvel::HMax::operator()(tables_->layout.unpack(view.values, 1));
  return with_achievements(layers, view.achieved_goals, view.achieved_landmarks);
}

double HMax::with_achievements(double layers, std::size_t achieved_goals,
                               std::size_t achieved_landmarks) const {
  if (layers == 0.0 || layers == dead_end) return layers;
  const std::size_t missing = goals().size() - achieved_goals + landmarks_ - achieved_landmarks;
  return layers + cost_of_one_missing * static_cast<double>(missing);
}

}  // namespace zorvel::tsimple
