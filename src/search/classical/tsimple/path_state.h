#pragma once

#include <memory>
#include <set>

#include "model/action.h"
#include "state/search_state.h"

namespace zorvel::tsimple {

/// A classical state in its plain form, with the way to it. A search packs its states (see StateTable); this
/// form is for the user's code, for building plans, and for saying what the packed one has to do.
class PathState : public zorvel::SearchState {
 public:
  explicit PathState(std::size_t slots) : zorvel::SearchState(slots, 1) {}
  explicit PathState(const zorvel::SearchState& values) : zorvel::SearchState(values) {}

  const PathState* parent = nullptr;               ///< Not owned; null in the initial state.
  std::shared_ptr<model::ActionImpl> last_action;  ///< Null in the initial state.
  /// Numbers of the landmarks that held here or in an ancestor.
  std::set<unsigned long> achieved_landmarks;
  unsigned long achieved_goals = 0;  ///< How many goals hold here.
};

}  // namespace zorvel::tsimple
