#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "search/forward/guided/guided_model.h"
#include "search/forward/guided/guided_network.h"
#include "search/forward/guided/guided_state.h"
#include "search/forward/guided/openings.h"
#include "search/forward/plain/ftp_state.h"
#include "search/frame/state_view.h"

namespace zorvel::tp::ftp {

/// How the events of a path are ordered in time.
enum class PathOrder {
  total,  ///< As they were applied. Few things to remember, so states are often alike.
  causal  ///< Only where two of them touch and one is an effect, so that moves reach back in time.
};

/// The states of the guided search, and how a move makes one of another.
///
/// A state is the values of the slots, the pending events of the open chains, and a GuidedNetwork over
/// - the plan's start, where something is measured from it,
/// - the plan's end, if events lie at a distance before it,
/// - the makespan, the latest end of an action, if the search is bounded,
/// - of each open chain the start, if an event measured from it is pending, and the end likewise.
/// All else is in the past: it bounds later events from below alone, and lives in release columns. With a
/// total order there is one column, the earliest moment of the next opening; with a causal one there are two
/// for each fluent, its last writer and its readers since. Mutual exclusion adds one for each fluent: the
/// last condition at one instant that an effect of an action still to be opened must be apart from.
///
/// The key of a state is its values and its chains. Of two states with one key, the one whose constraints all
/// follow from those of the other can be dropped: a continuation adds constraints between live and new points
/// alone, so what the tighter state can do the looser one can do as well.
class GuidedSuccessors {
 public:
  using Ref = BlockPool::Ref;
  struct Options {
    PathOrder order = PathOrder::total;
    bool is_bounded = false;   ///< The makespan is a time point, and `makespan` tells its least value.
    bool is_protected = true;  ///< Conditions in force bind pending effects that break them at once.
  };

  GuidedSuccessors(const GuidedModel& model, Openings& openings, Options options);
  GuidedSuccessors(const GuidedSuccessors&) = delete;
  GuidedSuccessors& operator=(const GuidedSuccessors&) = delete;

  // Each of these builds a state in scratch memory; only `keep` stores it.

  /// False if the plan's own timed events contradict each other.
  [[nodiscard]] bool build_initial(const PlainState<double>& plain);
  /// A state that was kept becomes the one built last, for `finishes`.
  void restore(Ref ref);
  /// False if the move is not possible. To go on with the plan's own timed events is to go to the next moment
  /// at which an action is open or could be opened: before that there is nothing to choose.
  [[nodiscard]] bool build(Ref parent, Move move);
  /// Whether the conditions at the end of the plan, as far as the values tell, leave it open that `finishes`.
  bool may_finish() const;
  /// Goes on from the state built last with all that is pending of the plan's own chains; no action may be
  /// open. True if that ends in a goal. What was built is gone then.
  [[nodiscard]] bool finishes();

  // The state built last.
  StateView built();
  std::uint32_t built_hash() const { return hash_; }
  /// The least makespan, if the search is bounded; else 0.
  double makespan() const;
  /// Whether the chains of actions are all done.
  bool is_action_open() const;
  /// Whether it has the key of the state.
  bool has_key_of(Ref state) const;
  /// Whether everything that the built state can do, a state of the same key can do as well.
  bool is_dominated_by(Ref state) const;
  Ref keep(bool is_dead);
  /// Gives a state back. Nothing may refer to it.
  void release(Ref state) { pool_.release(state, layout_.bytes(*this->state(state))); }

  const GuidedState* state(Ref ref) const { return pool_.at<GuidedState>(ref); }
  GuidedState* state(Ref ref) { return pool_.at<GuidedState>(ref); }
  const GuidedLayout& layout() const { return layout_; }
  std::uint64_t bytes() const { return pool_.reserved_bytes(); }
  /// The moves from the initial state to this one, oldest first.
  std::vector<Move> moves_to(Ref ref) const;
  /// All events from the initial state to this one, oldest first.
  std::vector<const Event*> events_to(Ref ref) const;

 private:
  static constexpr std::uint32_t no_point = ~std::uint32_t{0};
  /// A chain with pending events. Its end is a point of its own, or lies `duration` behind its start.
  struct Chain {
    std::uint32_t chain;
    std::uint32_t cursor;
    std::uint32_t start;
    std::uint32_t end;
    double duration;  // NaN if the end is a point of its own
  };
  /// A moment beside a time point.
  struct Place {
    std::uint32_t point;
    double shift;
  };

  void load(const GuidedState* parent);
  void add_fixed_points(bool has_plan_start);
  bool open(ActionId action);
  bool add_end(Chain& added, const DenseAction& action);
  /// Applies the next event of the chain number `at`; false leaves everything in disorder.
  bool apply(std::size_t at);
  bool change_values(const DenseEvent& event);
  bool conditions_hold() const;
  bool put_behind_past(std::uint32_t event, Place place);
  bool put_behind_excluded(std::uint32_t event, Place place);
  bool put_before_pending(std::uint32_t event, Place place);
  bool carry_on();
  bool put_chain_behind(const Chain& chain, std::uint32_t event, Place place);
  void record(std::uint32_t event, Place place);
  bool has_exclusion() const { return network_.columns() > first_excluding_; }
  std::uint32_t excluding(std::uint32_t touched) const { return first_excluding_ + touched; }
  void clear_excluding();
  bool protect();
  bool effects_collide() const;
  bool effects_collide(const Chain& one, const Chain& other) const;
  bool settle();
  Place place_of(const Chain& chain, std::uint32_t event) const;
  bool is_own(const Chain& chain) const { return chain.chain < DenseProblem::first_action_chain; }
  std::uint32_t cursor_of(std::uint32_t chain) const;
  template <class Visit>
  void for_each_force(Visit visit) const;  // visit(force): opener and closer

  const GuidedModel& model_;
  const DenseProblem& problem_;
  Openings& openings_;
  Options options_;
  GuidedLayout layout_;
  BlockPool pool_;
  double epsilon_;
  std::uint32_t first_excluding_;  // the column of the first fluent's excluding conditions

  // The state under construction.
  GuidedState header_{};
  std::vector<std::uint32_t> values_;
  std::vector<Chain> chains_;  // in order of their numbers, once settled
  GuidedNetwork network_;
  std::uint32_t plan_start_ = no_point, plan_end_ = no_point, makespan_ = no_point;
  std::uint32_t hash_ = 0;
  std::vector<std::uint32_t> live_;         // points that stay, in their order of storing
  std::vector<OpenChain> view_chains_;      // for built()
  std::vector<SlotWrite> writes_;           // scratch of change_values
  std::vector<std::uint32_t> row_columns_;  // scratch of clear_excluding
  mutable std::vector<StoredColumn> row_;   // scratch of keep and is_dominated_by
};

}  // namespace zorvel::tp::ftp
