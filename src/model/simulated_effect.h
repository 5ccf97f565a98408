#pragma once

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "core/node.h"

namespace zorvel {
class SearchState;
/// Slot of each ground fluent reference in a state.
using StateIndex = std::unordered_map<Node*, unsigned long>;
}  // namespace zorvel

namespace zorvel::model {

/// An effect whose values are computed by the user's own code.
struct SimulatedEffectImpl {
  /// Gets the state before the effect, the slots of its fluents, and the actual parameters of the action;
  /// returns one value for each entry of `fluents`, in order.
  using Function =
      std::function<std::vector<Node*>(const SearchState&, const StateIndex&, const std::vector<Node*>&)>;

  Node* timing;                ///< The interval or anchor at which the effect takes place.
  std::vector<Node*> fluents;  ///< The fluent references that it writes.
  Function function;
};

}  // namespace zorvel::model
