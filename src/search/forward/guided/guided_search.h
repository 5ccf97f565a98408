#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "search/forward/dense/dense_search.h"
#include "search/forward/guided/estimates/guided_estimates.h"
#include "search/forward/guided/guided_parts.h"
#include "search/forward/guided/guided_successors.h"
#include "search/forward/guided/move_queues.h"
#include "search/forward/guided/type_buckets.h"
#include "search/frame/search_guard.h"

namespace zorvel::tp::ftp {

/// A lazy greedy best-first search over the states of GuidedSuccessors.
///
/// What stands in the queues are moves, with the estimates of the state that they leave from; a child is
/// built, tested for duplicates and evaluated when its move is taken (Helmert, The Fast Downward Planning
/// System, 2006). Each estimate has two queues, one with all moves and one with the preferred ones; the queue
/// that was served least is next, and where an estimate reaches a new least value, the preferred ones get a
/// number of turns ahead (Richter and Westphal, The LAMA Planner, 2010). Two side queues are served every
/// tenth turn: children that have the key of a known state and are not dominated by it, and openings of
/// actions that need not stay open. With them nothing is lost: a search in causal order ends without a plan
/// only if there is none in which no action overlaps itself. In total order plans are lost in which an action
/// has to start at the very moment of an effect.
class GuidedSearch {
 public:
  struct Options {
    GuidedSuccessors::Options states;
    GuidedParts parts;
    /// What the makespan counts beside an estimate in the order of the queues, where the search is bounded: 1
    /// makes all of the bound as dear as the estimate of the initial state.
    double makespan_weight = 0;
  };

  GuidedSearch(const GuidedModel& model, Openings& openings, GuidedEstimates& estimates, Options options);
  const Options& options() const { return options_; }

  /// Searches on for a goal; from `initial` at the first call. `expansion_limit` after so many more
  /// expansions.
  SearchOutcome run(const PlainState<double>& initial, SearchGuard& guard,
                    std::uint64_t most_expansions = std::numeric_limits<std::uint64_t>::max());
  /// From now on only plans of a makespan below this are looked for. Only where the search is bounded.
  void set_bound(double makespan) { bound_ = makespan; }
  /// The events of the plan found last.
  const std::vector<const Event*>& events() const { return events_; }
  /// The moves of the plan found last.
  const std::vector<Move>& moves() const { return plan_moves_; }
  /// The makespan of the plan found last, if the search is bounded.
  double makespan() const { return plan_makespan_; }
  const SearchStatistics& statistics() const { return statistics_; }
  /// Adds open moves, memory and the best estimate to what is there.
  void report(SearchProgress& progress) const;

 private:
  using Ref = BlockPool::Ref;
  enum class Verdict { new_state, goal, dropped };

  Verdict examine(bool is_from_side, Ref parent, Move move, const SearchGuard& guard);
  Verdict take_built(const SearchGuard& guard);
  void offer_moves(Ref ref);
  double key_of(const GuidedState* state, std::size_t estimate) const;
  void collect_actions(const GuidedState* state);
  std::optional<std::pair<Ref, Move>> next_move(bool& is_from_side);
  Ref find_key() const;
  void remember(Ref ref);
  void log_progress(const SearchGuard& guard);
  std::uint64_t memory() const;
  SearchOutcome finish(SearchOutcome outcome);

  static constexpr std::size_t estimates_count = GuidedEstimates::count;
  // Queues: for each estimate all moves and the preferred ones, then the two at the side.
  static std::size_t all_moves(std::size_t estimate) { return 2 * estimate; }
  static std::size_t preferred_moves(std::size_t estimate) { return 2 * estimate + 1; }
  static constexpr std::size_t main_queues = 2 * estimates_count;
  bool has_queues(std::size_t estimate) const {
    return estimates_.has(estimate) && (options_.parts.lists[estimate] || estimates_.has_custom());
  }
  static constexpr std::size_t known_keys = main_queues, bare_openings = main_queues + 1;

  const GuidedModel& model_;
  const DenseProblem& problem_;
  Openings& openings_;
  GuidedEstimates& estimates_;
  Options options_;
  GuidedSuccessors successors_;
  MoveQueues queues_;
  TypeBuckets types_;
  std::uint64_t next_exploration_ = 0;             // by expansions
  std::array<std::int64_t, main_queues> turns_{};  // served so far, less what was granted
  std::array<double, estimates_count> best_;
  std::array<std::uint64_t, 2> next_side_turn_{10, 15};  // by expansions
  double bound_ = std::numeric_limits<double>::infinity();
  bool has_begun_ = false;

  std::vector<Ref> table_;  // open addressing by hash: the newest state of each key
  std::size_t keys_ = 0;

  std::vector<bool> is_open_, is_preferred_;  // by action: of the state being expanded
  std::vector<ActionId> applicable_;
  std::vector<Move> moves_, bare_;

  std::vector<const Event*> events_;
  std::vector<Move> plan_moves_;
  double plan_makespan_ = 0;
  std::array<double, estimates_count> initial_{};  // estimates
  SearchStatistics statistics_;
  std::uint64_t depth_sum_ = 0;
  double last_log_ = 0;  // seconds of the guard
};

}  // namespace zorvel::tp::ftp
