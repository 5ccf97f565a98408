#pragma once

#include <boost/container/small_vector.hpp>

#include "plans/temporal_network.h"

namespace zorvel {

/// why the loop: The chain of a time point can be long, and the library's own destruction of a chain would
/// use a call a cell.
template <class T>
TNNeighbors<T>::~TNNeighbors() {
  Ptr rest = std::move(next);
  while (rest && rest.use_count() == 1) {
    // The local move empties the cell before it dies, so its destructor ends at once.
    Ptr after = std::move(rest->next);
    rest = std::move(after);
  }
}

template <class K, class T>
void TemporalNetwork<K, T>::add_le(TNInterpreter<K>& interpreter, const K& a, const K& b, const T& c) {
  const unsigned from = interpreter.id(a);
  const unsigned to = interpreter.id(b);
  add_time_point(from);
  add_time_point(to);
  if (!consistent_) return;
  const Bound<T> bound{c, false};
  if (add_constraint(from, to, bound)) consistent_ = incremental_check(from, to, bound);
}

template <class K, class T>
bool TemporalNetwork<K, T>::add_constraint(unsigned a, unsigned b, const Bound<T>& bound) {
  typename Neighbors::Ptr& head = neighbors_[a];
  for (const Neighbors* cell = head.get(); cell != nullptr; cell = cell->next.get()) {
    if (cell->destination != b) continue;
    const Bound<T>& stored = cell->bound;
    if (stored.value < bound.value) return false;
    if (stored.value == bound.value && (stored.strict || !bound.strict)) return false;
    break;  // looser: it stays behind the new cell, where no walk for a bound gets to it
  }
  head = std::make_shared<const Neighbors>(b, bound, head);
  return true;
}

template <class K, class T>
bool TemporalNetwork<K, T>::incremental_check(unsigned a, unsigned b, const Bound<T>& bound) const {
  {
    const T raised = values_[a] - bound.value;
    T& value_of_b = values_[b];
    if (!(raised - value_of_b > precision_)) return true;
    value_of_b = raised;
  }
  boost::container::small_vector<unsigned, 64> queue{b};  // grows; what is before `head` is done
  std::size_t round_end = 1;
  std::size_t rounds = 0;
  for (std::size_t head = 0; head < queue.size(); ++head) {
    if (head == round_end) {
      if (++rounds == values_.size()) return false;
      round_end = queue.size();
    }
    const unsigned from = queue[head];
    const auto edges = neighbors_.find(from);
    if (edges == neighbors_.end()) continue;
    for (const Neighbors* cell = edges->second.get(); cell != nullptr; cell = cell->next.get()) {
      const T raised = values_[from] - cell->bound.value;
      T& old = values_[cell->destination];
      if (!(raised - old > precision_)) continue;
      if (from == a && cell->destination == b && cell->bound.value == bound.value) return false;
      old = raised;
      queue.push_back(cell->destination);
    }
  }
  return true;
}

template <class K, class T>
T TemporalNetwork<K, T>::value(unsigned id) const {
  const auto entry = values_.find(id);
  return entry == values_.end() ? T{} : entry->second;
}

template <class K, class T>
std::vector<std::pair<K, T>> TemporalNetwork<K, T>::schedule(const TNInterpreter<K>& interpreter) const {
  if (!consistent_) throw TemporalNetworkIsUnsat();
  std::vector<std::pair<K, T>> times;
  times.reserve(values_.size());
  for (const auto& [id, value] : values_) {
    const K* key = interpreter.key(id);
    if (key == nullptr) throw InternalError();
    times.emplace_back(*key, value);
  }
  return times;
}

template <class K, class T>
std::unordered_map<K, T, TimePointHash<K>> TemporalNetwork<K, T>::get_min_makespan_solution(
    const TNInterpreter<K>& interpreter) const {
  const auto times = schedule(interpreter);
  return {times.begin(), times.end()};
}

template <class K, class T>
bool TemporalNetwork<K, T>::is_satisfied() const {
  for (const auto& [id, value] : values_)
    if (value < T{}) return false;
  for (const auto& [from, head] : neighbors_)
    for (const Neighbors* cell = head.get(); cell != nullptr; cell = cell->next.get())
      if (value(from) - cell->bound.value - value(cell->destination) > precision_) return false;
  return true;
}

}  // namespace zorvel
