#pragma once

#include <cstdint>
#include <span>

namespace zorvel {

/// What is left of a chain of events: those from number `cursor` of the chain on. The chains are numbered as
/// in the ground problem in its dense form: 0 and 1 are the problem's own timed statements, measured from the
/// plan's start and from its end, and 2 + a is the action a.
struct OpenChain {
  std::uint32_t chain;
  std::uint32_t cursor;
};

/// The number of the first action's chain.
inline constexpr std::uint32_t first_action_chain = 2;

/// What a heuristic sees of a state of any search. Everything it points to is valid during the call alone.
struct StateView {
  const std::uint32_t* values = nullptr;  ///< By slot, as numbers of the search's table of values.
  std::span<const OpenChain> open;        ///< Empty where actions are atomic.
  std::uint32_t depth = 0;                ///< Moves since the initial state.
  /// What a heuristic that depends on the path kept with the parent; 0 for the initial state.
  std::uint32_t parent_note = 0;
  /// Where such a heuristic puts what it keeps with this state. There is room for one of them in a search.
  std::uint32_t* note = nullptr;
};

}  // namespace zorvel
