#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "search/forward/dense/dense_network.h"
#include "search/forward/dense/dense_problem.h"
#include "search/forward/dense/dense_state.h"
#include "search/forward/plain/ftp_state.h"

namespace zorvel::tp::ftp {

/// The successor relation of the search over dense states: `Successors<double>` with the default options, at
/// the cost of what a move changes.
///
/// A move is built in scratch memory by `open` or `apply`; only `keep` stores it, so a rejected move
/// allocates nothing. Constraints that others imply are left out:
/// - an opening is bound to the newest event of the path and to its newest effect, since the path is a chain;
/// - the pending events of one chain that are measured from one end are rigid to it, so of them only the one
/// that is
///   violated first is bound, through that end;
/// - an applied event was bound to the path when the newest event of the path was applied.
class DenseSuccessors {
 public:
  explicit DenseSuccessors(const DenseProblem& problem);
  ~DenseSuccessors();
  DenseSuccessors(const DenseSuccessors&) = delete;
  DenseSuccessors& operator=(const DenseSuccessors&) = delete;

  /// Builds the dense form of the initial state. False if the problem's own timed events contradict each
  /// other.
  [[nodiscard]] bool build_initial(const PlainState<double>& plain);

  /// Builds the child of `parent` that opens an action that is not open. False if it is not possible.
  [[nodiscard]] bool open(const DenseState* parent, ActionId action);
  /// Builds the child of `parent` that applies the first event of its todo list number `list`.
  [[nodiscard]] bool apply(const DenseState* parent, std::size_t list);

  /// The state built last, whose note is still its parent's; valid until the next call of anything.
  StateView built();
  BlockPool::Ref keep();

  const DenseState* state(BlockPool::Ref ref) const { return pool_.at<DenseState>(ref); }
  const BlockLayout& layout() const { return layout_; }
  /// All values of a kept state, valid until those of another one are asked for or it is released.
  const std::uint32_t* values(const DenseState* state);
  void release(BlockPool::Ref state);
  /// The events on the path, oldest first.
  std::vector<const Event*> events_to(const DenseState* state) const;
  const BlockPool& pool() const { return pool_; }

 private:
  void load(const DenseState* parent);
  bool set_durations(ActionId action, std::uint32_t start);
  bool put_behind_path(const DenseState* parent, std::uint32_t start);
  bool put_behind_excluded(const DenseChain& opened, const Todo& own);
  bool put_before_pending(std::uint32_t anchor, const DenseEvent& event);
  bool effects_collide();
  std::uint32_t anchor_of(const Todo& todo, std::uint32_t event) const {
    return problem_.event(event).from_start ? todo.start : todo.start + 1;
  }
  bool conditions_hold(const std::uint32_t* values) const;
  bool apply_logic(const DenseState* parent, std::uint32_t event_index);
  std::uint32_t window_base() const;
  void release_path(BlockPool::Ref path);
  bool find_changes();
  void store_values(DenseState* state) const;
  void free_block(BlockPool::Ref state);

  const DenseProblem& problem_;
  BlockLayout layout_;
  BlockPool pool_;

  // The state under construction.
  DenseState state_;
  DenseNetwork network_;
  const bool has_exclusion_;
  const std::uint32_t* built_values_ = nullptr;  // the parent's, or values_
  std::vector<std::uint32_t> values_;
  std::vector<SlotChange> changes_;        // of the state to keep, against its parent's source
  const DenseState* spelt_out_ = nullptr;  // whose values stand in spelt_values_
  std::vector<std::uint32_t> spelt_values_;
  std::vector<SlotWrite> writes_;  // scratch of apply_logic
  std::vector<Todo> todo_;
  std::vector<std::uint32_t> active_;
  std::vector<OpenChain> open_;  // scratch of built
  PathCell cell_;                // of the move
  bool completes_ = false;       // the move left its action without pending events
  struct PendingEffect {
    double time;
    std::uint32_t anchor, event;
  };
  /// One of the problem's own effects.
  struct TimedEffect {
    double shift;      // from the plan's start
    std::uint32_t at;  // its place in the chain
    std::uint32_t event;
  };
  bool collide(const PendingEffect& a, const PendingEffect& b);
  std::vector<PendingEffect> pending_effects_;  // scratch of effects_collide
  std::vector<TimedEffect> timed_effects_;      // by time
};

}  // namespace zorvel::tp::ftp
