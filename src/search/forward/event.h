#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <utility>

#include "core/node.h"
#include "core/numbers.h"
#include "model/action.h"

namespace zorvel::tp {

enum class EventKind { START_PLAN, END_PLAN, START_ACTION, END_ACTION, CONDITION, EFFECT, SIMULATED_EFFECT };

/// Which end a time point is measured from, and how far: `start + offset` or `end - offset`.
struct Anchor {
  bool from_start = true;
  rational offset;
};

/// An atomic happening of an action or of the problem itself, with its place in a chain of such happenings.
///
/// Events are made once, before a search, live as long as their planner, and are compared by address. An
/// event instance is an event in one occurrence along a path, told apart by a number.
struct Event {
  EventKind kind = EventKind::CONDITION;
  Node* expression = nullptr;                 ///< A TEMPORAL_EXPRESSION (interval, body), or null.
  std::shared_ptr<model::ActionImpl> action;  ///< Null for the problem's own events.
  std::shared_ptr<model::SimulatedEffectImpl> simulated_effect;
  unsigned long pos = 0;           ///< Running number in its action or in the global events.
  bool is_start_durative = false;  ///< Opens an interval condition.
  const Event* start_time_point =
      nullptr;  ///< For the event that closes an interval condition: what opened it.

  // Read off the expression once, since a search asks for them all the time.
  Anchor anchor;                ///< When it happens (unused for START_* and END_*).
  Node* anchor_node = nullptr;  ///< The node that `anchor` was read from.
  bool is_left_open = false;    ///< The interval of a condition excludes its lower bound.
  std::uint32_t index = 0;      ///< Dense number in its planner.

  Node* body() const { return expression == nullptr ? nullptr : expression->children[1]; }
  bool is_opener() const { return is_start_durative; }
  bool is_closer() const { return start_time_point != nullptr; }
  bool is_effect_like() const { return kind == EventKind::EFFECT || kind == EventKind::SIMULATED_EFFECT; }
};

/// "(CONDITION, <expression>, <action>, start)", with what the event has.
std::ostream& operator<<(std::ostream& out, const Event& event);

/// An event in one occurrence: the key of a temporal network's time points.
using EventInstance = std::pair<const Event*, unsigned long>;

}  // namespace zorvel::tp
