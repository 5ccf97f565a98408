#include "search/heuristics/hlandmarks.h"

#include <algorithm>
#include <cassert>

namespace zorvel {

HLandmarks::HLandmarks(std::shared_ptr<const RelaxedProblem> problem)
    : Heuristic(problem->env()),
      problem_(std::move(problem)),
      graph_(problem_->extended_tables().layout, problem_->extended_tables().compiler,
             problem_->extended_initial().data(), problem_->goal_clauses(), problem_->actions(),
             problem_->initial().size()),
      truths_(graph_, problem_->extended_initial()),
      sets_(graph_.words()),
      reached_(graph_.words()),
      positions_(problem_->rings().actions(), idle),
      stays_open_(problem_->rings().actions(), 0) {}

void HLandmarks::update_progress(std::span<const OpenChain> open) {
  assert(next_open_.empty());
  for (const OpenChain& chain : open)
    if (const auto at = problem_->rings().position(chain)) next_open_.push_back(*at);
  for (const RingPosition& at : next_open_) stays_open_[at.action] = 1;
  for (const RingPosition& closed : open_) {
    if (stays_open_[closed.action] != 0) continue;
    truths_.set(problem_->ring_slot(closed), false_value);
    truths_.set(problem_->ring_slot({closed.action, 0}), true_value);
    positions_[closed.action] = idle;
  }
  for (const RingPosition& at : next_open_) {
    stays_open_[at.action] = 0;
    std::uint32_t& position = positions_[at.action];
    if (position == at.position) continue;
    truths_.set(problem_->ring_slot({at.action, position == idle ? 0 : position}), false_value);
    if (at.position != 0) truths_.set(problem_->ring_slot(at), true_value);
    position = at.position;
  }
  open_.swap(next_open_);
  next_open_.clear();
}

double HLandmarks::estimate(const StateView& state) {
  update_progress(state.open);
  truths_.set_first(state.values, problem_->initial().size());
  const LandmarkGraph::Word* const holding = truths_.holding();
  assert(state.note != nullptr);  // the search keeps notes for it
  SetId& set = *state.note;
  if (state.parent_note == 0) {
    graph_.reach_initially(holding, reached_.data());
    set = sets_.insert(reached_.data());
  } else {
    const LandmarkGraph::Word* const parent = sets_[state.parent_note];
    graph_.reach(parent, holding, reached_.data());
    set = std::equal(reached_.begin(), reached_.end(), parent) ? state.parent_note
                                                               : sets_.insert(reached_.data());
  }
  return static_cast<double>(graph_.count_needed(reached_.data(), holding));
}

}  // namespace zorvel
