#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <unordered_set>
#include <vector>

#include "search/forward/dense/dense_successors.h"
#include "search/frame/open_lists.h"
#include "search/frame/search_guard.h"
#include "search/frame/search_statistics.h"
#include "search/heuristics/estimate_cache.h"
#include "search/heuristics/heuristic.h"

namespace zorvel::tp::ftp {

/// Best-first search over dense states, one open list a heuristic, served in turn.
///
/// The f values, the order of the open lists with its tolerance, and the duplicate tests are those told at
/// FtpPlanner; this class is the loop, and owns all states.
class DenseSearch {
 public:
  using Heuristics = std::vector<std::shared_ptr<Heuristic>>;

  /// `openable` lists the actions that may be opened, in order. Null heuristics are blind. The guard must
  /// outlive the search.
  DenseSearch(const DenseProblem& problem, const Heuristics& heuristics, std::vector<ActionId> openable,
              SearchGuard& guard);

  /// Searches from `initial` (null: nothing to search). With `weak`, a state that is weakly equal to an
  /// expanded one is dropped. The outcome; if a plan was found, its events are in `events()`.
  SearchOutcome run(const PlainState<double>* initial, bool weak);
  const std::vector<const Event*>& events() const { return events_; }
  const SearchStatistics& statistics() const { return statistics_; }

 private:
  using Ref = BlockPool::Ref;
  /// Slots of states that were met with nothing but final checks left, or that were expanded.
  struct SlotKey {
    const std::uint32_t* slots;
    std::uint64_t hash;
    std::uint64_t tag;
  };
  struct SlotKeyHash {
    std::size_t operator()(const SlotKey& key) const { return static_cast<std::size_t>(key.hash); }
  };
  struct SlotKeyEqual {
    std::size_t slots;
    bool operator()(const SlotKey& a, const SlotKey& b) const;
  };
  using SlotSet = std::unordered_set<SlotKey, SlotKeyHash, SlotKeyEqual>;

  bool evaluate();
  /// The estimate of the built state; `known`, if not null, is its entry in the cache.
  double estimate(std::size_t heuristic, const StateView& state, double* known);
  void push_built();
  void expand(const DenseState* state);
  bool is_seen_at_end(const DenseState* state);
  void drop(Ref state);
  SlotKey key_of(const DenseState* state, std::uint64_t tag);
  /// Stores the slots of a state; false if they are there already with the same tag.
  bool insert(SlotSet& set, const DenseState* state, std::uint64_t tag);
  std::uint64_t weak_tag(const DenseState* state) const;
  SearchOutcome search(bool weak);
  void log_progress();
  std::uint64_t memory() const;

  const DenseProblem& problem_;
  const Heuristics& heuristics_;
  std::vector<ActionId> openable_;
  SearchGuard& guard_;
  DenseSuccessors successors_;

  OpenLists<Ref> open_;                                       // ties: the todo lists
  std::vector<double> f_, weights_;                           // by heuristic, f_ of the built state
  std::vector<std::unique_ptr<std::uint32_t[]>> slot_store_;  // blocks of slot arrays of the sets
  std::size_t slot_store_used_ = 0;
  SlotSet end_values_, closed_;
  std::unique_ptr<EstimateCache> estimates_;  // null: no heuristic asks for it
  std::vector<bool> is_open_;                 // by action: pending in the state being expanded
  std::uint64_t configuration_seen_ = ~std::uint64_t{0};

  std::vector<const Event*> events_;
  SearchStatistics statistics_;
  std::uint64_t live_ = 0;  // states held
  double best_estimate_ = -1;
  std::uint64_t depth_sum_ = 0;
  std::chrono::steady_clock::time_point last_log_;
};

}  // namespace zorvel::tp::ftp
