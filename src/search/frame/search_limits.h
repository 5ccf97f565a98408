#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace zorvel {

/// How far a search has come.
struct SearchProgress {
  std::uint64_t expanded = 0;
  std::uint64_t open = 0;          ///< States in the open list in turn.
  std::uint64_t stored_bytes = 0;  ///< Memory held by states.
  double best_estimate = -1;       ///< Least heuristic value met so far; -1 without a heuristic.
  double seconds = 0;
};

/// What ends a search early. All limits are off by default.
struct SearchLimits {
  double seconds = 0;                              ///< 0: no limit.
  std::uint64_t memory_bytes = 0;                  ///< Of stored states; 0: no limit.
  std::uint64_t expansions = 0;                    ///< 0: no limit.
  const std::atomic<bool>* interrupted = nullptr;  ///< Looked at every few expansions; null: never.
  /// Called some times a second at most.
  std::function<void(const SearchProgress&)> on_progress;
};

enum class SearchOutcome {
  not_run,
  plan_found,
  no_plan,
  incomplete,  ///< Nothing is left to search, but states that may lead to a plan were left out on the way.
  time_limit,
  memory_limit,
  expansion_limit,
  interrupted
};

}  // namespace zorvel
