#pragma once

#include <cassert>
#include <chrono>
#include <cstdint>
#include <functional>

#include "search/frame/search_limits.h"

namespace zorvel {

/// Limits, interrupt, clock and progress of one call of a planner's `solve`: what every loop in it that can
/// run long asks whether it must end, be it of the set-up or of a search.
///
///     SearchGuard guard(limits);                 // the clock starts
///     for (...) if (guard.must_stop(1)) break;   // any loop: the unit is some microseconds of work
///     while (...) if (guard.must_stop_expanding()) return guard.outcome();  // a search, with each state
///
/// Once a limit was reached the guard says so for ever. Several searches after one another share its clock
/// and its count of expansions.
class SearchGuard {
 public:
  /// Fills in what the guard does not know: open states, bytes, best estimate. Called when the limits are
  /// looked at.
  using Report = std::function<void(SearchProgress&)>;

  explicit SearchGuard(SearchLimits limits);
  SearchGuard(const SearchGuard&) = delete;
  SearchGuard& operator=(const SearchGuard&) = delete;

  /// Whether the loop has to end, after so many units of work more. Most calls only count.
  bool must_stop(std::uint64_t work) {
    if (outcome_ != SearchOutcome::not_run) return true;
    work_ += work;
    return work_ >= work_between_looks && must_stop_now();
  }
  /// The same, looking at the limits at once.
  bool must_stop_now();
  /// Counts one more state that is about to be expanded; whether the search has to end instead. The limit of
  /// expansions is exact, so that a search ends at the same state everywhere.
  bool must_stop_expanding();

  /// The limit that was reached; `not_run` without one.
  SearchOutcome outcome() const { return outcome_; }
  double seconds() const;  ///< By the clock on the wall, since the guard was made.
  /// Including the one that was refused at the limit.
  std::uint64_t expanded() const { return expanded_; }

  /// While it lives, the guard knows of a search what `report` tells. At most one lives at a time.
  class Watch {
   public:
    Watch(SearchGuard& guard, Report report) : guard_(guard) {
      assert(!guard_.report_);
      guard_.report_ = std::move(report);
    }
    ~Watch() { guard_.report_ = nullptr; }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

   private:
    SearchGuard& guard_;
  };

 private:
  // A child that is tried counts one unit, an estimate four: a look costs about as much as one child.
  static constexpr std::uint64_t work_between_looks = 64;
  using Clock = std::chrono::steady_clock;

  SearchOutcome reached_limit();

  SearchLimits limits_;
  Report report_;  // empty: nothing is searched
  Clock::time_point started_, last_progress_;
  std::uint64_t work_ = 0;  // since the last look
  std::uint64_t expanded_ = 0;
  SearchOutcome outcome_ = SearchOutcome::not_run;
};

}  // namespace zorvel
