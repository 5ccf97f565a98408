#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "search/forward/action_timeline.h"
#include "search/forward/event.h"
#include "state/search_state.h"

namespace zorvel::tp::ftp {

/// Dense number of an action of the ground problem, in the order of the names.
using ActionId = std::uint32_t;

/// A ground problem compiled to chains of events: what a forward temporal search works on.
///
/// Each action, and the problem's own timed statements, become events in a fixed order; only the times within
/// that order are left to a temporal network. All tables are fixed once built.
class FtpModel {
 public:
  /// `problem` must be ground and without transformable features. InternalError on a statement that cannot be
  /// laid out, an effect over an interval or an unknown form of time anchor; UnsupportedProblemError on an
  /// effect or condition that reads the duration. InvalidParameterError on what the problem itself states for
  /// a moment before its start, or writes twice at one moment.
  FtpModel(Environment& env, const model::ProblemPtr& problem, const rational& epsilon);

  Environment& env() const { return env_; }
  const model::ProblemPtr& problem() const { return problem_; }
  const rational& epsilon() const { return epsilon_; }
  const StateIndex& index() const { return index_; }
  /// The ground fluent reference of each slot.
  const std::vector<Node*>& references() const { return references_; }
  /// Initial values as (slot, value expression), in the order of the problem's expressions.
  const std::vector<std::pair<std::uint32_t, Node*>>& initial_values() const { return initial_values_; }
  const std::vector<ActionModel>& actions() const { return actions_; }
  /// The number of the action of this name; raises std::out_of_range if there is none.
  ActionId action_id(const std::string& name) const;
  /// How many events each action leaves pending when it opens.
  std::vector<std::uint32_t> chain_lengths() const;
  const Event* start_event() const { return start_event_; }
  const Event* end_event() const { return end_event_; }
  const std::vector<Event*>& global_start_events() const { return global_start_events_; }
  const std::vector<Event*>& global_end_events() const { return global_end_events_; }
  const std::deque<Event>& events() const { return events_; }

  /// The fluent references that an event reads or writes, by id.
  const std::vector<Node*>& fluents(const Event& event) const { return fluents_[event.index]; }
  /// The same as numbers: two events without simulated effects have a fluent in common exactly if they have a
  /// number in common. A reference with a nested reference among its arguments counts for every reference of
  /// its fluent.
  const std::vector<std::uint64_t>& touch_keys(const Event& event) const { return touch_keys_[event.index]; }
  /// The touch keys, and for an effect a number for each set of fluents that one conjunct of a condition over
  /// an interval reads together, if the effect touches one of them: such effects must keep their order, since
  /// the condition may hold in between for one order alone.
  const std::vector<std::uint64_t>& order_keys(const Event& event) const { return order_keys_[event.index]; }
  /// Whether two events have a fluent in common. A simulated effect may read every fluent, and an opening
  /// reads those that its duration rests on.
  bool touch(const Event& a, const Event& b) const;
  /// Whether the order of two events counts: they touch, and one of them is an effect.
  bool interfere(const Event& a, const Event& b) const {
    return (a.is_effect_like() || b.is_effect_like()) && touch(a, b);
  }
  /// Events whose masks have no bit in common do not touch.
  std::uint64_t touch_mask(const Event& event) const;
  /// With mutual exclusion, the numbers of what a condition at one instant names, an opening's duration
  /// included; empty for all other events, and without mutual exclusion.
  const std::vector<std::uint64_t>& instant_keys(const Event& event) const {
    return instant_keys_[event.index];
  }
  /// With mutual exclusion, the numbers of what an effect writes; else empty.
  const std::vector<std::uint64_t>& written_keys(const Event& event) const {
    return written_keys_[event.index];
  }
  /// Whether mutual exclusion sets the first one, a condition, and the second one, a later effect, apart if
  /// they belong to different openings. Of an effect and a later condition `must_be_apart` tells.
  bool exclude(const Event& condition, const Event& effect) const;
  /// Whether `pending` must lie at least epsilon behind `applied`: an opening and a closed condition behind
  /// any effect, and an effect behind an effect on a common fluent.
  bool must_be_apart(const Event& applied, const Event& pending) const;

 private:
  void build_global_events(EventMaker& maker);
  void compute_fluents();
  void compute_order_keys();
  void compute_exclusion_keys();
  std::vector<std::uint64_t> keys_of(const std::vector<Node*>& references) const;
  void warn_about_missing_values() const;

  Environment& env_;
  model::ProblemPtr problem_;
  rational epsilon_;
  StateIndex index_;
  std::vector<Node*> references_;
  std::vector<std::pair<std::uint32_t, Node*>> initial_values_;
  std::deque<Event> events_;  // a deque, since events are compared by address
  const Event* start_event_ = nullptr;
  const Event* end_event_ = nullptr;
  std::vector<Event*> global_start_events_;
  std::vector<Event*> global_end_events_;
  std::vector<ActionModel> actions_;
  std::vector<std::vector<Node*>> fluents_;             // by event
  std::vector<std::vector<std::uint64_t>> touch_keys_;  // by event, sorted: see compute_fluents
  std::vector<std::vector<std::uint64_t>> order_keys_;  // by event, sorted
  std::vector<std::vector<std::uint64_t>> instant_keys_, written_keys_;  // by event, sorted
  std::map<std::string, std::uint64_t> fluent_numbers_;
};

}  // namespace zorvel::tp::ftp
