#pragma once

#include <memory>
#include <unordered_set>
#include <vector>

#include "search/forward/plain/ftp_successors.h"
#include "search/forward/plain/plain_view.h"
#include "search/frame/open_lists.h"
#include "search/frame/search_guard.h"
#include "search/frame/search_statistics.h"
#include "search/heuristics/heuristic.h"

namespace zorvel::tp::ftp {

/// The same best-first search as DenseSearch over plain states, for the options that the dense successors do
/// not know: `simultaneity`, `ftp-deordering` and `ftp-diamond`. It says what the dense search must find, and
/// is what that is tested against.
class PlainSearch {
 public:
  using Heuristics = std::vector<std::shared_ptr<Heuristic>>;

  /// As DenseSearch; `tables` are those of the heuristics.
  PlainSearch(const FtpModel& model, const EvaluationTables& tables, const Heuristics& heuristics,
              std::vector<ActionId> openable, SearchGuard& guard);

  SearchOutcome run(bool weak);
  const std::vector<const Event*>& events() const { return events_; }
  const SearchStatistics& statistics() const { return statistics_; }

 private:
  using State = PlainState<double>;
  struct WorldHash {
    std::size_t operator()(const State* state) const { return static_cast<std::size_t>(state->hash()); }
  };
  struct WeakEquality {
    bool operator()(const State* a, const State* b) const;
  };

  SearchOutcome search(bool weak);
  /// Sets the f values of a state from its g; false if a heuristic says that it is a dead end.
  bool evaluate(State& state);
  void push(std::unique_ptr<State> state);
  void expand(const State& state);
  bool is_seen_at_end(const State& state);
  void build_openable_sets(std::int64_t largest);
  bool are_mutex(ActionId a, ActionId b) const;

  const FtpModel& model_;
  const Heuristics& heuristics_;
  std::vector<ActionId> openable_;
  SearchGuard& guard_;
  Successors<double> successors_;
  PlainView view_;
  std::vector<std::vector<ActionId>> openable_sets_;
  bool has_sets_ = false;
  OpenLists<std::unique_ptr<State>> open_;  // ties: the todo lists
  std::unordered_set<std::string> end_values_;
  std::uint64_t bytes_ = 0;  // of the states held, roughly
  double best_estimate_ = -1;
  std::vector<const Event*> events_;
  SearchStatistics statistics_;
};

}  // namespace zorvel::tp::ftp
