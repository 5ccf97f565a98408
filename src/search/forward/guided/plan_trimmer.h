#pragma once

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "search/forward/guided/guided_successors.h"

namespace zorvel::tp::ftp {

/// Takes moves out of a plan that it does not need: action elimination (Nakhost and Mueller, Action
/// Elimination and Plan Neighborhood Graph Search, 2010), with a causal order of the events.
class PlanTrimmer {
 public:
  PlanTrimmer(const GuidedModel& model, Openings& openings, const PlainState<double>& initial);

  /// Each move in turn is left out, with all later ones that become impossible by that; where the rest is
  /// still a plan of no larger makespan, it takes the place of the plan. Stops early, with what was reached,
  /// when `must_stop` says so.
  std::vector<Move> trim(std::vector<Move> moves, const std::function<bool()>& must_stop);
  /// The makespan that the moves have, without those that are impossible, if they make a plan.
  std::optional<double> makespan(std::span<const Move> moves);
  /// The events of a plan.
  std::vector<const Event*> events(std::span<const Move> moves);

 private:
  using Ref = BlockPool::Ref;
  /// Goes on from a state with what is possible of the moves. The makespan if that is a plan; the moves taken
  /// are appended to `taken`.
  std::optional<double> follow(Ref from, std::span<const Move> moves, std::vector<Move>& taken);

  const PlainState<double>& initial_;
  GuidedSuccessors successors_;
};

}  // namespace zorvel::tp::ftp
