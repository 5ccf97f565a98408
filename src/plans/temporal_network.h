#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include <boost/container/flat_map.hpp>

#include "core/errors.h"
#include "core/numbers.h"
#include "plans/bound.h"

namespace zorvel {

/// Hash of a key of time points: pairs combine the hashes of their halves.
template <class K>
struct TimePointHash : std::hash<K> {};
template <class A, class B>
struct TimePointHash<std::pair<A, B>> {
  std::size_t operator()(const std::pair<A, B>& key) const {
    const std::size_t seed = std::hash<A>()(key.first);
    return seed ^ (std::hash<B>()(key.second) + 0x9e3779b9 + (seed << 6) + (seed >> 2));
  }
};

/// Numbers time points by key, from 0 in order of first use; shared by all networks of one planner. A number
/// is never freed.
template <class K>
class TNInterpreter {
 public:
  /// The key's number, a new one at its first use.
  unsigned id(const K& key) {
    const auto [entry, is_new] = ids_.try_emplace(key, static_cast<unsigned>(keys_.size()));
    if (is_new) keys_.push_back(key);
    return entry->second;
  }
  /// The key's number, or null if it has none.
  const unsigned* find(const K& key) const {
    const auto entry = ids_.find(key);
    return entry == ids_.end() ? nullptr : &entry->second;
  }
  /// Null for a number that was never given.
  const K* key(unsigned id) const { return id < keys_.size() ? &keys_[id] : nullptr; }
  std::size_t size() const { return keys_.size(); }

 private:
  std::unordered_map<K, unsigned, TimePointHash<K>> ids_;
  std::vector<K> keys_;
};

/// One edge of a time point and the edges added before it. Immutable, so that any number of networks share
/// tails.
template <class T>
struct TNNeighbors {
  using Ptr = std::shared_ptr<const TNNeighbors>;

  TNNeighbors(unsigned to, const Bound<T>& edge_bound, Ptr rest)
      : destination(to), bound(edge_bound), next(std::move(rest)) {}
  TNNeighbors(const TNNeighbors&) = delete;
  ~TNNeighbors();

  unsigned destination;
  Bound<T> bound;
  mutable Ptr next;  // written by destructors alone
};

/// An incremental simple temporal network: constraints t(a) - t(b) <= c over numbered time points.
///
/// Invariant, while `consistent()`: the value of each time point is the smallest non-negative one that
/// satisfies all constraints, up to `precision` an edge. A value starts at 0 and only rises. A network is
/// copied for each successor of a search state; the copy shares all edges and costs the time points alone.
/// Constraints cannot be withdrawn.
///
/// The method is label-correcting shortest paths (Bellman 1958, Moore 1959) on Dechter, Meiri and Pearl's
/// temporal constraint networks (1991), started from the one new edge.
///
/// order: Propagation is part of the contract, since with `double` the sums depend on it bit by bit and the
/// search keeps a dense form of its own. For an edge a -> b of constant c, v(x) being the value of x:
///   1. new := v(a) - c; if not (new - v(b) > precision), nothing happens;
///   2. v(b) := new; a first-in first-out queue holds b;
///   3. pop u from the front; for each edge (w, l) of u, the newest edge first, also edges that a tighter one
///      shadows: new := v(u) - l, with v(u) read afresh for each edge; if new - v(w) > precision, then
///      u = a, w = b and l = c is a contradiction, and otherwise v(w) := new and w is pushed at the back,
///      also if the queue holds it already;
///   4. a queue that is not empty after as many rounds as there are time points (a round being what the queue
///      held when it began, {b} the first time) is a contradiction too.
/// why the fourth: with differences below `precision`, a cycle that is negative by more than that can have
/// been let through, each edge a little short. Later it would turn for ever, if the new edge is not on it. A
/// value set in round n stems from a path of at least n edges, so in the round of that number some time point
/// stands twice on it, and risen in between: that cycle is negative.
template <class K, class T>
class TemporalNetwork {
 public:
  using Key = K;
  using Number = T;
  using Neighbors = TNNeighbors<T>;

  /// `epsilon` is the time quantum, above 0; the smallest change that counts is a hundredth of it.
  explicit TemporalNetwork(const rational& epsilon)
      : epsilon_(static_cast<T>(epsilon)), precision_(static_cast<T>(epsilon / rational(100))) {}

  const T& epsilon() const { return epsilon_; }
  const T& precision() const { return precision_; }
  bool consistent() const { return consistent_; }

  /// Demands t(a) - t(b) <= c. Both keys get their number and their time point in any case, the first key
  /// first; an inconsistent network does no more than that.
  void add_le(TNInterpreter<K>& interpreter, const K& a, const K& b, const T& c);

  /// Adds a time point of value 0; a known one stays as it is.
  void add_time_point(unsigned id) { values_.try_emplace(id, T{}); }
  /// Stores an edge. False if an equal or tighter one is there: nothing has changed then. Nothing is
  /// propagated.
  [[nodiscard]] bool add_constraint(unsigned a, unsigned b, const Bound<T>& bound);
  /// Propagates an edge that `add_constraint` has just stored. False on a contradiction; the values are
  /// meaningless from then on.
  [[nodiscard]] bool incremental_check(unsigned a, unsigned b, const Bound<T>& bound) const;

  /// The value of a time point; 0 for an unknown one.
  T value(unsigned id) const;
  /// Number and value of every time point, by number.
  const boost::container::flat_map<unsigned, T>& values() const { return values_; }

  /// The earliest schedule, every time point with its value, in order of number. An inconsistent network
  /// raises TemporalNetworkIsUnsat, a time point that `interpreter` does not know InternalError, both without
  /// text.
  std::vector<std::pair<K, T>> schedule(const TNInterpreter<K>& interpreter) const;
  /// The same by key. Iterate `schedule` where the order can be seen.
  std::unordered_map<K, T, TimePointHash<K>> get_min_makespan_solution(
      const TNInterpreter<K>& interpreter) const;

  /// The invariant, from scratch: no value is below 0, and no edge is short by more than `precision`.
  bool is_satisfied() const;

 private:
  T epsilon_;
  T precision_;
  bool consistent_ = true;
  mutable boost::container::flat_map<unsigned, T> values_;
  boost::container::flat_map<unsigned, typename Neighbors::Ptr> neighbors_;  // points with edges only
};

}  // namespace zorvel

#include "plans/temporal_network.inl.h"
