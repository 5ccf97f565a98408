#include "search/frame/search_guard.h"

#include <cassert>
#include <utility>

namespace zorvel {

namespace {

constexpr double seconds_between_reports = 0.2;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

SearchGuard::SearchGuard(SearchLimits limits)
    : limits_(std::move(limits)), started_(Clock::now()), last_progress_(started_) {}

double SearchGuard::seconds() const { return seconds_since(started_); }

bool SearchGuard::must_stop_now() {
  work_ = 0;
  if (outcome_ == SearchOutcome::not_run) outcome_ = reached_limit();
  return outcome_ != SearchOutcome::not_run;
}

bool SearchGuard::must_stop_expanding() {
  if (outcome_ != SearchOutcome::not_run) return true;
  ++expanded_;
  if (limits_.expansions != 0 && expanded_ > limits_.expansions) {
    outcome_ = SearchOutcome::expansion_limit;
    return true;
  }
  // The first state shows a limit that was over before the search began.
  return expanded_ == 1 ? must_stop_now() : must_stop(1);
}

SearchOutcome SearchGuard::reached_limit() {
  assert(outcome_ == SearchOutcome::not_run);
  if (limits_.interrupted != nullptr && limits_.interrupted->load(std::memory_order_relaxed))
    return SearchOutcome::interrupted;
  const bool asks_for_progress =
      limits_.on_progress && seconds_since(last_progress_) > seconds_between_reports;
  SearchProgress progress;
  if (report_ && (limits_.memory_bytes != 0 || asks_for_progress)) report_(progress);
  if (limits_.memory_bytes != 0 && progress.stored_bytes > limits_.memory_bytes)
    return SearchOutcome::memory_limit;
  if (limits_.seconds > 0 && seconds() > limits_.seconds) return SearchOutcome::time_limit;
  if (asks_for_progress) {
    last_progress_ = Clock::now();
    progress.expanded = expanded_;
    progress.seconds = seconds();
    limits_.on_progress(progress);
  }
  return SearchOutcome::not_run;
}

}  // namespace zorvel
