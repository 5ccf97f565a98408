#include "search/forward/plain/ftp_successors.h"

#include <algorithm>
#include <cassert>
#include <map>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "search/forward/event_semantics.h"
#include "state/operations.h"

namespace zorvel::tp::ftp {

using model::ExpressionFactory;

StatePath::~StatePath() {
  std::shared_ptr<const StatePath> cell = std::move(parent_);
  while (cell && cell.use_count() == 1) cell = std::move(cell->parent_);
}

template <class T>
Successors<T>::Successors(const FtpModel& model, SuccessorOptions options, std::size_t heuristics,
                          Evaluate evaluate)
    : model_(model),
      options_(options),
      heuristics_(std::max<std::size_t>(1, heuristics)),
      evaluate_(std::move(evaluate)),
      epsilon_(static_cast<T>(model.epsilon())) {}

/// a <= b, or a + epsilon <= b where the two must be apart.
template <class T>
void Successors<T>::put_behind(State& state, const EventInstance& a, const EventInstance& b) {
  before(state, a, b, model_.must_be_apart(*a.first, *b.first) ? epsilon_ : T(0));
}

/// With mutual exclusion: an effect that is still to come behind a condition of another opening.
template <class T>
void Successors<T>::exclude(State& state, const EventInstance& a, const EventInstance& pending) {
  if (model_.exclude(*a.first, *pending.first)) before(state, a, pending, epsilon_);
}

/// With mutual exclusion, behind the conditions along the path: what is still to come when its action opens
/// belongs to another opening than they do.
template <class T>
void Successors<T>::exclude_path(State& state, const TodoList& opened) {
  for (const EventInstance& own : opened) {
    if (model_.written_keys(*own.first).empty()) continue;
    for (const StatePath* cell = state.path.get(); cell != nullptr; cell = cell->parent().get())
      exclude(state, cell->event_instance(), own);
  }
}

/// Likewise before what is pending, when a condition is applied.
template <class T>
void Successors<T>::exclude_pending(State& state, const EventInstance& condition) {
  if (model_.instant_keys(*condition.first).empty()) return;
  for (const TodoList& list : state.todo)
    if (list.front().first->action != condition.first->action)
      for (const EventInstance& pending : list) exclude(state, condition, pending);
}

/// a + distance <= b.
template <class T>
void Successors<T>::before(State& state, const EventInstance& a, const EventInstance& b, const T& distance) {
  state.tn.add_le(interpreter_, a, b, -distance);
}

template <class T>
void Successors<T>::anchor_rigidly(State& state, const EventInstance& instance, const EventInstance& start,
                                   const EventInstance& end) {
  const T offset = number(instance.first->anchor.offset);
  const auto& [early, late] =
      instance.first->anchor.from_start ? std::pair(start, instance) : std::pair(instance, end);
  state.tn.add_le(interpreter_, early, late, -offset);
  state.tn.add_le(interpreter_, late, early, offset);
}

template <class T>
bool Successors<T>::holds(const State& state, Node* condition) {
  return check(model_.env(), state, condition, model_.index());
}

template <class T>
bool Successors<T>::conditions_hold(const State& state) {
  for (const Event* opener : state.active_conditions)
    if (!holds(state, opener->body())) return false;
  return true;
}

template <class T>
typename Successors<T>::StatePtr Successors<T>::initial_world() {
  auto state = std::make_unique<State>(model_.index().size(), heuristics_, model_.epsilon());
  set_initial_values(model_, *state);
  for (const Event* event : model_.global_start_events()) {
    if (!is_tested_at_opening(*event)) continue;
    if (!holds(*state, event->body())) return nullptr;
    if (event->is_opener()) state->active_conditions.insert(event);
  }
  return state;
}

template <class T>
typename Successors<T>::StatePtr Successors<T>::initial_state() {
  auto state = initial_world();
  if (!state) return nullptr;
  TodoList starting;
  for (const Event* event : model_.global_start_events()) {
    if (is_tested_at_opening(*event)) continue;
    starting.emplace_back(event, state->next_instance++);
    anchor_rigidly(*state, starting.back(), plan_start(), plan_end());
    // Times measured from the plan's end are measured from behind all that is measured from its start.
    if (options_.deordering)
      before(*state, starting.back(), plan_end(), event->is_effect_like() ? epsilon_ : T(0));
  }
  if (!starting.empty()) state->todo.push_back(std::move(starting));
  TodoList ending;
  for (const Event* event : model_.global_end_events()) {
    ending.emplace_back(event, state->next_instance++);
    anchor_rigidly(*state, ending.back(), plan_start(), plan_end());
  }
  if (!ending.empty()) state->todo.push_back(std::move(ending));
  assert(state->todo.size() <= 2);
  return state;
}

template <class T>
EventInstance Successors<T>::add_action(State& state, ActionId id) {
  const ActionModel& action = model_.actions()[id];
  // An opening ends only with the last event of its chain: the lists are told apart by their action.
  assert(std::ranges::none_of(
      state.todo, [&](const TodoList& list) { return list.front().first->action == action.action; }));
  const EventInstance start(action.start, state.next_instance), end(action.end, state.next_instance + 1);
  state.next_instance += 2;
  before(state, end, plan_end(), number(rational(1) + model_.epsilon()));

  const DurationBounds bounds = duration_bounds_in(model_, action, state);
  before(state, start, end,
         number(bounds.lower.strict ? bounds.lower.value + model_.epsilon() : bounds.lower.value));
  if (bounds.has_upper)
    before(state, end, start,
           -number(bounds.upper.strict ? bounds.upper.value - model_.epsilon() : bounds.upper.value));

  TodoList list;
  for (const Event* event : action.events) {
    if (is_tested_at_opening(*event)) {
      state.active_conditions.insert(event);
      continue;
    }
    list.emplace_back(event, state.next_instance++);
    anchor_rigidly(state, list.back(), start, end);
    // The order within a chain stands whether its events touch or not.
    if (options_.deordering) before(state, list.size() > 1 ? list.end()[-2] : start, list.back(), T(0));
  }
  if (!list.empty()) state.todo.push_back(std::move(list));
  return start;
}

template <class T>
void Successors<T>::order_opening(State& state, const EventInstance& opening) {
  before(state, plan_start(), opening, T(0));
  exclude_pending(state, opening);
  if (!state.todo.empty() && state.todo.back().front().first->action == opening.first->action)
    exclude_path(state, state.todo.back());
  if (options_.deordering) {
    order_causally(state, opening);
    if (!state.todo.empty() && state.todo.back().front().first->action == opening.first->action)
      for (const EventInstance& own : state.todo.back()) put_behind_touching(state, own);
    return;
  }
  for (const StatePath* cell = state.path.get(); cell != nullptr; cell = cell->parent().get())
    put_behind(state, cell->event_instance(), opening);
  for (const TodoList& list : state.todo)
    for (const EventInstance& pending : list) before(state, opening, pending, T(0));
}

template <class T>
void Successors<T>::order_event(State& state, const EventInstance& instance) {
  exclude_pending(state, instance);
  if (options_.deordering) {
    order_causally(state, instance);
    return;
  }
  if (state.path) before(state, state.path->event_instance(), instance, T(0));
  for (const TodoList& list : state.todo)
    for (const EventInstance& pending : list) put_behind(state, instance, pending);
}

/// As `OrderOfPath::put_behind_touching` of the replay, which the plan goes through in the end.
template <class T>
void Successors<T>::order_causally(State& state, const EventInstance& instance) {
  put_behind_touching(state, instance);
  // Not needed for what is demanded in the end, but a contradiction shows earlier. One of each chain will do,
  // for the others come behind it.
  for (const TodoList& list : state.todo) {
    const auto first = std::find_if(list.begin(), list.end(), [&](const EventInstance& pending) {
      return model_.interfere(*instance.first, *pending.first);
    });
    if (first != list.end()) put_behind(state, instance, *first);
  }
}

template <class T>
void Successors<T>::put_behind_touching(State& state, const EventInstance& later) {
  const auto& keys = model_.touch_keys(*later.first);
  // Those of which no effect has been met yet; what lies before that effect lies before `later` too.
  std::vector<std::uint64_t> unmet(keys);
  const bool may_read_all = later.first->simulated_effect != nullptr;
  const auto is_in = [](const std::vector<std::uint64_t>& sorted, std::uint64_t key) {
    return std::binary_search(sorted.begin(), sorted.end(), key);
  };
  for (const StatePath* cell = state.path.get(); cell != nullptr; cell = cell->parent().get()) {
    const Event& earlier = *cell->event_instance().first;
    if (!model_.interfere(earlier, *later.first)) continue;
    put_behind(state, cell->event_instance(), later);
    if (!earlier.is_effect_like()) continue;
    std::erase_if(unmet, [&](std::uint64_t key) { return is_in(model_.touch_keys(earlier), key); });
    if (earlier.simulated_effect || (unmet.empty() && !may_read_all)) return;
  }
}

template <class T>
bool Successors<T>::must_prune(const State& state) {
  if (!state.tn.consistent()) throw TemporalNetworkIsUnsat();
  std::map<T, std::vector<EventInstance>> moments;
  for (const auto& [id, time] : state.tn.values()) {
    const EventInstance* const key = interpreter_.key(id);
    if (key == nullptr) throw InternalError();
    if (key->first->is_effect_like()) moments[time].push_back(*key);
  }
  const auto separable = [&](const EventInstance& a, const EventInstance& b) {
    typename State::Network trial(state.tn);
    trial.add_le(interpreter_, a, b, -epsilon_);
    return trial.consistent();
  };
  for (const auto& [time, instances] : moments)
    for (std::size_t i = 0; i < instances.size(); ++i)
      for (std::size_t j = i + 1; j < instances.size(); ++j)
        if (model_.touch(*instances[i].first, *instances[j].first) &&
            !separable(instances[i], instances[j]) && !separable(instances[j], instances[i]))
          return true;
  return false;
}

template <class T>
bool Successors<T>::is_applicable(const State& state, ActionId id) {
  assert(id < model_.actions().size());
  const ActionModel& action = model_.actions()[id];
  for (const TodoList& list : state.todo)
    if (list.front().first->action == action.action) return false;
  return action.start->expression == nullptr || holds(state, action.start->body());
}

template <class T>
bool Successors<T>::open_in_place(State& state, ActionId action) {
  const std::size_t lists = state.todo.size();
  const EventInstance opening = add_action(state, action);
  order_opening(state, opening);
  if (!state.tn.consistent()) return false;
  if (!options_.simultaneity && must_prune(state)) return false;
  state.add_to_path(opening);
  state.set_g(state.g() + 1);
  opened_a_list_ = state.todo.size() > lists;
  return true;
}

template <class T>
typename Successors<T>::StatePtr Successors<T>::open(const State& parent, ActionId action, bool compute_h) {
  if (!is_applicable(parent, action)) return nullptr;
  auto child = std::make_unique<State>(parent);
  if (!open_in_place(*child, action)) return nullptr;
  const bool has_list = opened_a_list_;
  if (compute_h && evaluate_ && !evaluate_(*child)) return nullptr;
  if (options_.simultaneity && has_list) {
    const EventInstance first = child->todo.back().front();
    if (ExpressionFactory::is_start_anchor(first.first->anchor_node)) return apply(*child, first, compute_h);
  }
  return child;
}

template <class T>
typename Successors<T>::StatePtr Successors<T>::open_all(const State& parent,
                                                         std::span<const ActionId> actions, bool compute_h) {
  assert(!actions.empty());
  StatePtr state;
  for (std::size_t i = 0; i < actions.size(); ++i) {
    state = open(state ? *state : parent, actions[i], compute_h && i + 1 == actions.size());
    if (!state) return nullptr;
  }
  std::vector<EventInstance> effects;
  for (const TodoList& list : state->todo) {
    const Event& event = *list.front().first;
    if (event.kind == EventKind::EFFECT && event.anchor.from_start && event.anchor.offset == rational(0))
      effects.push_back(list.front());
  }
  for (std::size_t i = 0; i < effects.size(); ++i) {
    state = apply(*state, effects[i], compute_h && i + 1 == effects.size());
    if (!state) return nullptr;
  }
  return state;
}

template <class T>
bool Successors<T>::check_and_apply(State& state, const Event& event) {
  assert(event.kind == EventKind::CONDITION || event.is_effect_like());
  if (event.kind == EventKind::CONDITION) {
    if (event.is_closer()) {
      if (!holds(state, event.body())) return false;
      state.active_conditions.erase(event.start_time_point);
      return true;
    }
    if (!(event.is_opener() && event.is_left_open) && !holds(state, event.body())) return false;
    if (event.is_opener()) state.active_conditions.insert(&event);
    return true;
  }
  return conditions_hold(state) && apply_writes(model_, state, event) && conditions_hold(state);
}

template <class T>
bool Successors<T>::apply_in_place(State& state, EventInstance instance) {
  assert(std::ranges::any_of(state.todo, [&](const TodoList& list) { return list.front() == instance; }));
  state.remove_pending(instance.first);
  if (!check_and_apply(state, *instance.first)) return false;
  order_event(state, instance);
  if (!state.tn.consistent()) return false;
  state.add_to_path(instance);
  state.set_g(state.g() + 1);
  return true;
}

template <class T>
typename Successors<T>::StatePtr Successors<T>::apply(const State& parent, const EventInstance& instance,
                                                      bool compute_h) {
  auto child = std::make_unique<State>(parent);
  if (!apply_in_place(*child, instance)) return nullptr;
  if (compute_h && evaluate_ && !evaluate_(*child)) return nullptr;
  if (options_.simultaneity) {
    for (const TodoList& list : child->todo) {
      if (list.front().first->action != instance.first->action) continue;
      const EventInstance next = list.front();
      if (next.first->anchor_node == instance.first->anchor_node) return apply(*child, next, compute_h);
      break;
    }
  }
  return child;
}

template class Successors<double>;
template class Successors<rational>;

}  // namespace zorvel::tp::ftp
