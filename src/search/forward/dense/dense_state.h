#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>

#include "search/forward/dense/block_pool.h"

namespace zorvel::tp::ftp {

/// A state of the forward search as one block of memory: copied whole, compared by its slots.
///
/// Where a problem has very many slots, a state stores only those in which it differs from a whole one, its
/// source, which stays in memory as long as such states do.
///
/// Time points are numbered along a path: 0 is the plan's start and 1 its end; an opening of an action takes
/// a number for its start and the next one for its end. Every other event lies at a fixed distance from one
/// of these, its anchor, so it needs no time point of its own. Of the actions' time points a state keeps
/// those from `base` on. Older ones are frozen: no constraint that a later move can add reaches them (see
/// DenseSuccessors::window_base), so of all of them only two times are kept.
struct DenseState {
  std::uint32_t depth;       ///< Moves since the initial state: the g value.
  std::uint32_t next_point;  ///< The next free time point.
  std::uint32_t base;        ///< The oldest time point of an action that is not frozen; at least 2.
  BlockPool::Ref path;       ///< The newest PathCell.
  std::uint32_t todo_count;
  std::uint32_t active_count;
  std::uint32_t
      newest_effect;           ///< The cell's event of the newest effect on the path, `no_event` without one.
  std::uint32_t effect_point;  ///< Its anchor.
  std::uint32_t note;          ///< See StateView.
  std::uint16_t unverified;    ///< 1 if a condition is in force that was not tested when it opened.
  std::uint16_t changes;       ///< Slots in which it differs from `source`; `whole` if it has all values.
  BlockPool::Ref source;       ///< The state that holds its values; itself if it is whole.
  std::uint32_t
      references;        ///< Of a whole state: one while the search holds it, and one a state that differs.
  double frozen_newest;  ///< Time of the newest event on the path, where its anchor is frozen.
  double frozen_effect;  ///< Likewise of the newest effect.
};

static_assert(sizeof(DenseState) == 4 * BlockPool::unit);
inline constexpr std::uint16_t whole = ~std::uint16_t{0};

/// What one slot holds in a state that stores only where it differs from its source.
struct SlotChange {
  std::uint32_t slot, value;
};

inline constexpr std::uint32_t no_event = ~std::uint32_t{0};
inline constexpr std::uint32_t plan_start_point = 0, plan_end_point = 1, first_action_point = 2;

/// What is left of one chain: the events from `cursor` on. `start` is the time point of its action's start,
/// or of the plan's; the end's is the next one.
struct Todo {
  std::uint32_t chain;
  std::uint32_t start;
  std::uint32_t cursor;
  std::uint32_t open_depth;  ///< Depth of the path cell that opened it; 0 for the problem's own chains.
};

/// A constraint t(source) - t(destination) <= bound, in the list of its source.
struct EdgeCell {
  double bound;
  std::uint32_t destination;
  BlockPool::Ref next;  ///< The unit of the next cell, 0 at the end.
};
static_assert(sizeof(EdgeCell) == BlockPool::unit);

/// One applied event; behind it in the same block stand the constraints that the move added. States share
/// path cells, so their constraints live as long as the last descendant.
struct PathCell {
  BlockPool::Ref parent;  ///< 0 for the root cell, which stands for no event.
  std::uint32_t references;
  std::uint32_t event;       ///< `no_event` in the root cell.
  std::uint32_t anchor;      ///< The time point that the event is measured from.
  std::uint32_t depth;       ///< 0 for the root cell.
  std::uint32_t open_depth;  ///< Depth of the cell that opened its action; 0 for the problem's own events.
  std::uint32_t start;       ///< The time point of its action's start; 0 for the problem's own events.
  std::uint32_t edges;
};
static_assert(sizeof(PathCell) % BlockPool::unit == 0);

/// Where the parts of a state lie in its block: times, heads, values or changes, todo list, conditions.
struct BlockLayout {
  std::size_t slots;

  static std::size_t points(const DenseState& state) {
    return first_action_point + state.next_point - state.base;
  }
  std::size_t value_words(const DenseState& state) const {
    return state.changes == whole ? slots : state.changes * (sizeof(SlotChange) / sizeof(std::uint32_t));
  }
  std::size_t bytes(const DenseState& state) const {
    return sizeof(DenseState) + points(state) * (sizeof(double) + sizeof(BlockPool::Ref)) +
           value_words(state) * sizeof(std::uint32_t) + state.todo_count * sizeof(Todo) +
           state.active_count * sizeof(std::uint32_t);
  }
  const double* times(const DenseState* state) const { return reinterpret_cast<const double*>(state + 1); }
  /// Of a whole state.
  const std::uint32_t* values(const DenseState* state) const {
    assert(state->changes == whole);
    return value_part(state);
  }
  /// Of one that is not.
  std::span<const SlotChange> changes(const DenseState* state) const {
    assert(state->changes != whole);
    return {reinterpret_cast<const SlotChange*>(value_part(state)), state->changes};
  }
  const BlockPool::Ref* heads(const DenseState* state) const {
    return value_part(state) + value_words(*state);
  }
  std::span<const Todo> todo(const DenseState* state) const {
    return {reinterpret_cast<const Todo*>(heads(state) + points(*state)), state->todo_count};
  }
  std::span<const std::uint32_t> active(const DenseState* state) const {
    return {reinterpret_cast<const std::uint32_t*>(todo(state).data() + state->todo_count),
            state->active_count};
  }

 private:
  const std::uint32_t* value_part(const DenseState* state) const {
    return reinterpret_cast<const std::uint32_t*>(times(state) + points(*state));
  }
};

}  // namespace zorvel::tp::ftp
