#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "plans/temporal_network.h"
#include "search/forward/event.h"
#include "state/search_state.h"

namespace zorvel::tp::ftp {

/// The event instances applied so far, newest first: an immutable list whose tails states share.
class StatePath {
 public:
  StatePath(EventInstance instance, std::shared_ptr<const StatePath> parent)
      : instance_(instance), parent_(std::move(parent)) {}
  StatePath(const StatePath&) = delete;
  StatePath& operator=(const StatePath&) = delete;
  ~StatePath();  ///< Frees a long tail without a deep call stack.
  const EventInstance& event_instance() const { return instance_; }
  const std::shared_ptr<const StatePath>& parent() const { return parent_; }

 private:
  EventInstance instance_;
  mutable std::shared_ptr<const StatePath> parent_;
};

/// Pending events of one open action or of the problem, in order; only the first may be applied next.
using TodoList = std::vector<EventInstance>;

struct EventIndexLess {
  bool operator()(const Event* a, const Event* b) const { return a->index < b->index; }
};

/// One node of the temporal search: a world state and what is still owed. `T` is the number type of its
/// network: double in a search, rational where a plan is extracted.
template <class T>
class PlainState : public zorvel::SearchState {
 public:
  using TodoSizes = std::unordered_map<std::shared_ptr<model::ActionImpl>, std::size_t>;
  using Network = TemporalNetwork<EventInstance, T>;

  PlainState(std::size_t slots, std::size_t heuristics, const rational& epsilon)
      : zorvel::SearchState(slots, heuristics), tn(epsilon) {}
  PlainState(const PlainState& other) = default;
  /// A copy without the pending entries of `event`; a list that becomes empty is dropped.
  PlainState(const PlainState& other, const Event* event) : PlainState(other) { remove_pending(event); }

  /// The number of pending events of each open action.
  TodoSizes todo_sizes() const {
    TodoSizes sizes;
    for (const TodoList& list : todo)
      if (list.back().first->action) sizes.emplace(list.back().first->action, list.size());
    return sizes;
  }
  void remove_pending(const Event* event) {
    for (TodoList& list : todo) std::erase_if(list, [&](const EventInstance& e) { return e.first == event; });
    std::erase_if(todo, [](const TodoList& list) { return list.empty(); });
  }
  void add_to_path(const EventInstance& instance) {
    path = std::make_shared<const StatePath>(instance, std::move(path));
  }

  unsigned long next_instance = 2;  ///< 0 and 1 are never used by events of a chain.
  Network tn;
  std::vector<TodoList> todo;  ///< At most two lists of the problem's own events, then one an open action.
  std::set<const Event*, EventIndexLess> active_conditions;  ///< The openers of the intervals now in force.
  std::shared_ptr<const StatePath> path;
  std::uint32_t note = 0;  ///< See StateView: the parent's until a heuristic has set it.
};

}  // namespace zorvel::tp::ftp
