#pragma once

#include <cstdint>
#include <iosfwd>

namespace zorvel {

/// What a search did, beside its answer.
struct SearchStatistics {
  std::uint64_t expanded = 0;
  std::uint64_t stored = 0;       ///< States put into the open lists.
  std::uint64_t evaluated = 0;    ///< Calls of heuristics.
  std::uint64_t most_states = 0;  ///< The most that were held at one time (in steps of some hundreds).
  std::uint64_t bytes = 0;        ///< Memory of states, open lists and tables at that moment.
  // Of searches that keep moves in their open lists: how many they put there, and took out of them.
  std::uint64_t moves_offered = 0, moves_taken = 0;
  double seconds = 0;            ///< By the clock on the wall.
  double processor_seconds = 0;  ///< Of the loop alone.
};

/// The sum of two searches that ran one after the other; of memory and states the most.
SearchStatistics& operator+=(SearchStatistics& sum, const SearchStatistics& more);
/// One line of figures: what was done, how fast by processor time, and the memory of a state.
std::ostream& operator<<(std::ostream& out, const SearchStatistics& statistics);
/// The same for people: a line for each figure, its name in front.
void print_table(std::ostream& out, const SearchStatistics& statistics);

}  // namespace zorvel
