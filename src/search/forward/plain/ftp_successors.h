#pragma once

#include <functional>
#include <memory>
#include <span>

#include "model/walkers/expression_free_vars.h"
#include "search/forward/ftp_model.h"
#include "search/forward/plain/ftp_state.h"

namespace zorvel::tp::ftp {

/// What of the configuration the successors depend on.
struct SuccessorOptions {
  bool deordering = false;    ///< Only causal order is put into the network.
  bool simultaneity = false;  ///< A chain runs through all its events at one time in a single move.
};

/// The successor relation of the temporal search in its plain form, over any number type.
///
/// An event sequence is legal exactly if these functions let it through. The search itself runs on a dense
/// form of the same relation (`DenseSearch`); this one replays a found sequence in exact numbers, serves the
/// rarer options, and is what the dense form is tested against. See Bit-Monnot et al. and Micheli and Scala
/// (2019) on forward search over temporal networks.
template <class T>
class Successors {
 public:
  using State = PlainState<T>;
  using StatePtr = std::unique_ptr<State>;
  /// Sets the f values of a new state; false if it is a dead end. Empty: no heuristics.
  using Evaluate = std::function<bool(State&)>;

  Successors(const FtpModel& model, SuccessorOptions options, std::size_t heuristics, Evaluate evaluate = {});

  /// The state before anything has happened; null if a condition at time 0 fails.
  StatePtr initial_state();
  /// Its values and conditions in force alone, without todo lists and network.
  StatePtr initial_world();

  /// A child that opens an action; null if that is not possible. The parent is never changed.
  StatePtr open(const State& parent, ActionId action, bool compute_h);
  /// A child that opens a set of actions at one time and fires their start effects.
  StatePtr open_all(const State& parent, std::span<const ActionId> actions, bool compute_h);
  /// A child that applies a pending event instance; null if that is not possible.
  StatePtr apply(const State& parent, const EventInstance& instance, bool compute_h);

  /// The same moves on the state itself, without heuristics; false leaves it unusable.
  bool open_in_place(State& state, ActionId action);
  bool apply_in_place(State& state, EventInstance instance);  // by value: the todo list it stands in changes

  /// Whether the action may be opened: it is not open, and its conditions at the opening hold.
  bool is_applicable(const State& state, ActionId action);
  /// The event's logic alone (conditions, values, active conditions), without todo lists, network or path.
  bool check_and_apply(State& state, const Event& event);

 private:
  EventInstance add_action(State& state, ActionId action);
  void order_opening(State& state, const EventInstance& opening);
  void order_event(State& state, const EventInstance& instance);
  void order_causally(State& state, const EventInstance& instance);
  void put_behind_touching(State& state, const EventInstance& later);
  void put_behind(State& state, const EventInstance& a, const EventInstance& b);
  void exclude(State& state, const EventInstance& a, const EventInstance& pending);
  void exclude_path(State& state, const TodoList& opened);
  void exclude_pending(State& state, const EventInstance& condition);
  bool must_prune(const State& state);
  bool conditions_hold(const State& state);
  bool holds(const State& state, Node* condition);
  void before(State& state, const EventInstance& a, const EventInstance& b, const T& distance);
  void anchor_rigidly(State& state, const EventInstance& instance, const EventInstance& start,
                      const EventInstance& end);
  T number(const rational& value) const { return static_cast<T>(value); }

  const FtpModel& model_;
  SuccessorOptions options_;
  std::size_t heuristics_;
  Evaluate evaluate_;
  TNInterpreter<EventInstance> interpreter_;
  T epsilon_;
  bool opened_a_list_ = false;  // whether the newest opening left events to do

 public:
  TNInterpreter<EventInstance>& interpreter() { return interpreter_; }
  EventInstance plan_start() const { return {model_.start_event(), 0}; }
  EventInstance plan_end() const { return {model_.end_event(), 0}; }
};

extern template class Successors<double>;
extern template class Successors<rational>;

}  // namespace zorvel::tp::ftp
