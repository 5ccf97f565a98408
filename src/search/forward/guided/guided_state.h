#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "search/forward/dense/block_pool.h"

namespace zorvel::tp::ftp {

/// A move of the guided search, as one number.
enum class MoveKind : std::uint32_t {
  atomic,  ///< Opens an action and applies all of its chain.
  open,    ///< Opens an action and applies its events at the moment of its start, as far as they apply.
  advance  ///< Applies the next events of a chain that lie at one distance from one of its ends.
};

struct Move {
  std::uint32_t code = 0;

  static Move make(MoveKind kind, std::uint32_t index) {
    return {index << 2 | static_cast<std::uint32_t>(kind)};
  }
  MoveKind kind() const { return static_cast<MoveKind>(code & 3); }
  std::uint32_t index() const { return code >> 2; }  ///< The action; of `advance` the chain.
};

/// A chain with pending events, as it is stored.
struct StoredChain {
  std::uint32_t chain;
  std::uint32_t cursor : 30;
  std::uint32_t has_start : 1;  ///< Whether the start of its action is a point of the stored matrix,
  std::uint32_t
      has_end : 1;  ///< and whether its end is one. A fixed duration makes the end a place beside the start.
  double duration;  ///< Where it is fixed; NaN otherwise.
};

struct StoredColumn {
  std::uint32_t column;
  double value;
};

/// A state of the guided search in one block: what stands here, then the values of the slots, the chains, the
/// closed matrix of its points, and the finite entries of their release columns, row by row.
struct GuidedState {
  BlockPool::Ref parent;    ///< 0 for the initial state.
  Move move;                ///< From the parent.
  BlockPool::Ref same_key;  ///< Another state with equal values and chains; 0 without one.
  std::uint32_t hash;       ///< Of the key.
  std::uint32_t depth;      ///< Moves since the initial state.
  std::uint32_t note;       ///< Of the heuristic that depends on the path.
  std::uint32_t column_entries;
  std::uint16_t chain_count;
  std::uint16_t point_count;
  std::uint8_t is_unverified;  ///< A condition is in force that was not tested when it opened.
  std::uint8_t is_dead;        ///< An estimate says so: of the key, so of every state that has it.
  double makespan;  ///< The least one of a plan that goes on from here; 0 if the search is not bounded.
  float estimates[3];
};

/// Where the parts of a state lie in its block.
struct GuidedLayout {
  std::size_t slots;

  std::size_t bytes(const GuidedState& state) const {
    return chains_at() + state.chain_count * sizeof(StoredChain) +
           std::size_t{state.point_count} * state.point_count * sizeof(double) +
           state.column_entries * sizeof(StoredColumn) + state.point_count * sizeof(std::uint64_t);
  }
  std::uint32_t* values(GuidedState* state) const { return reinterpret_cast<std::uint32_t*>(state + 1); }
  const std::uint32_t* values(const GuidedState* state) const {
    return reinterpret_cast<const std::uint32_t*>(state + 1);
  }
  template <class State>
  auto chains(State* state) const {
    return std::span(at<StoredChain>(state, chains_at()), state->chain_count);
  }
  template <class State>
  auto matrix(State* state) const {
    return at<double>(state, chains_at() + state->chain_count * sizeof(StoredChain));
  }
  /// By row: how many entries of columns it has.
  template <class State>
  auto column_counts(State* state) const {
    return at<std::uint64_t>(state,
                             chains_at() + state->chain_count * sizeof(StoredChain) +
                                 std::size_t{state->point_count} * state->point_count * sizeof(double));
  }
  template <class State>
  auto columns(State* state) const {
    return at<StoredColumn>(state, bytes(*state) - state->column_entries * sizeof(StoredColumn));
  }

 private:
  static constexpr std::size_t aligned(std::size_t bytes) { return (bytes + 7) & ~std::size_t{7}; }
  std::size_t chains_at() const { return aligned(sizeof(GuidedState) + slots * sizeof(std::uint32_t)); }
  template <class T>
  static T* at(GuidedState* state, std::size_t offset) {
    return reinterpret_cast<T*>(reinterpret_cast<std::byte*>(state) + offset);
  }
  template <class T>
  static const T* at(const GuidedState* state, std::size_t offset) {
    return reinterpret_cast<const T*>(reinterpret_cast<const std::byte*>(state) + offset);
  }
};

}  // namespace zorvel::tp::ftp
