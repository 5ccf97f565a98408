#include "search/forward/plain/ftp_successors.h"

#include <algorithm>
#include <map>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "state/evaluator.h"
#include "state/operations.h"
#include "transformers/duration_bounds.h"

namespace zorvel::tp::ftp {

using model::ExpressionFactory;

namespace {

/// A value as a slot of the reference's fluent holds it: whole numbers in integer fluents are integers.
Node* stored_value(Environment& env, Node* reference, Node* value) {
  ExpressionFactory& factory = env.expression_factory();
  if (!ExpressionFactory::is_rational_constant(value)) return value;
  const rational& number = factory.get_rational_constant(value);
  if (!number.is_integer() || !factory.get_fluent_from_reference(reference)->type()->is_integer())
    return value;
  return factory.make_integer_constant(number.numerator());
}

}  // namespace

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
typename Successors<T>::StatePtr Successors<T>::initial_state() {
  auto state = std::make_unique<State>(model_.index().size(), heuristics_, model_.epsilon());
  for (const auto& [slot, value] : model_.initial_values()) {
    // why a new evaluator each time: a value may read those set before it.
    ExpressionEvaluator evaluator(model_.env(), model_.index(), *state);
    Node* const reference = model_.references()[slot];
    state->set_value(model_.index(), reference, stored_value(model_.env(), reference, evaluator(value)));
  }
  TodoList starting;
  for (const Event* event : model_.global_start_events()) {
    const bool at_start = event->anchor.offset == rational(0);
    if (at_start && event->kind == EventKind::CONDITION && !event->is_closer() && !event->is_left_open) {
      if (!holds(*state, event->body())) return nullptr;
      if (event->is_opener()) state->active_conditions.insert(event);
      continue;
    }
    starting.emplace_back(event, state->next_instance++);
    anchor_rigidly(*state, starting.back(), plan_start(), plan_end());
  }
  if (!starting.empty()) state->todo.push_back(std::move(starting));
  TodoList ending;
  for (const Event* event : model_.global_end_events()) {
    ending.emplace_back(event, state->next_instance++);
    anchor_rigidly(*state, ending.back(), plan_start(), plan_end());
  }
  if (!ending.empty()) state->todo.push_back(std::move(ending));
  return state;
}

template <class T>
EventInstance Successors<T>::add_action(State& state, ActionId id) {
  const ActionModel& action = model_.actions()[id];
  const EventInstance start(action.start, state.next_instance), end(action.end, state.next_instance + 1);
  state.next_instance += 2;
  before(state, end, plan_end(), number(rational(1) + model_.epsilon()));

  DurationBounds bounds = action.duration_bounds.value_or(DurationBounds());
  if (!action.duration_constraints.empty()) {
    ExpressionEvaluator evaluator(model_.env(), model_.index(), state);
    for (Node* statement : action.duration_constraints)
      model::update_duration_bound(model_.env().expression_factory(), evaluator(statement), bounds);
  }
  before(state, start, end,
         number(bounds.lower.strict ? bounds.lower.value + model_.epsilon() : bounds.lower.value));
  if (bounds.has_upper)
    before(state, end, start,
           -number(bounds.upper.strict ? bounds.upper.value - model_.epsilon() : bounds.upper.value));

  TodoList list;
  for (const Event* event : action.events) {
    if (event->is_opener() && !event->is_left_open && event->anchor.from_start &&
        event->anchor.offset == rational(0)) {
      state.active_conditions.insert(event);  // tested by the opening itself
      continue;
    }
    list.emplace_back(event, state.next_instance++);
    anchor_rigidly(state, list.back(), start, end);
  }
  if (!list.empty()) state.todo.push_back(std::move(list));
  return start;
}

template <class T>
void Successors<T>::order_opening(State& state, const EventInstance& opening) {
  before(state, plan_start(), opening, T(0));
  if (options_.deordering) {
    order_opening_causally(state, opening);
    return;
  }
  for (const StatePath* cell = state.path.get(); cell != nullptr; cell = cell->parent().get())
    before(state, cell->event_instance(), opening,
           cell->event_instance().first->is_effect_like() ? epsilon_ : T(0));
  for (const TodoList& list : state.todo)
    for (const EventInstance& pending : list) before(state, opening, pending, T(0));
}

template <class T>
void Successors<T>::order_opening_causally(State& state, const EventInstance& opening) {
  const auto touches = [](const std::vector<Node*>& nodes, Node* fluent) {
    return std::find(nodes.begin(), nodes.end(), fluent) != nodes.end();
  };
  for (Node* fluent : model_.fluents(*opening.first)) {
    for (const StatePath* cell = state.path.get(); cell != nullptr; cell = cell->parent().get()) {
      const EventInstance& applied = cell->event_instance();
      if (!applied.first->is_effect_like() || !touches(model_.fluents(*applied.first), fluent)) continue;
      before(state, applied, opening, epsilon_);
      break;
    }
  }
  if (!state.todo.empty() && state.todo.back().front().first->action == opening.first->action) {
    for (const EventInstance& own : state.todo.back()) {
      for (Node* fluent : model_.fluents(*own.first)) {
        bool found = false;
        for (const StatePath* cell = state.path.get(); cell != nullptr; cell = cell->parent().get()) {
          const EventInstance& applied = cell->event_instance();
          const bool touching = touches(model_.fluents(*applied.first), fluent);
          if (!found && applied.first->is_effect_like()) {
            if (touching) {
              before(state, applied, own, epsilon_);
              found = true;
            }
          } else if (!own.first->is_effect_like()) {
            break;
          } else if (!applied.first->is_effect_like() && touching) {
            before(state, applied, own, T(0));
          }
        }
      }
    }
  }
  for (const TodoList& list : state.todo) {
    for (const EventInstance& pending : list) {
      if (!pending.first->is_effect_like() || !model_.touch(*opening.first, *pending.first)) continue;
      before(state, opening, pending, T(0));
      break;
    }
  }
}

template <class T>
void Successors<T>::order_event(State& state, const EventInstance& instance) {
  if (options_.deordering) {
    order_event_causally(state, instance);
    return;
  }
  if (state.path) before(state, state.path->event_instance(), instance, T(0));
  for (const TodoList& list : state.todo)
    for (const EventInstance& pending : list)
      before(state, instance, pending,
             model_.must_be_apart(*instance.first, *pending.first) ? epsilon_ : T(0));
}

template <class T>
void Successors<T>::order_event_causally(State& state, const EventInstance& instance) {
  const Event& event = *instance.first;
  for (const TodoList& list : state.todo) {
    for (const EventInstance& pending : list) {
      if (!model_.touch(event, *pending.first)) continue;
      if (!event.is_effect_like() && !pending.first->is_effect_like()) continue;
      const bool may_coincide =
          !event.is_effect_like() || (pending.first->is_opener() && pending.first->is_left_open);
      before(state, instance, pending, may_coincide ? T(0) : epsilon_);
      break;
    }
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
  if (!conditions_hold(state)) return false;
  std::vector<Node*> values;
  if (event.simulated_effect) {
    values = event.simulated_effect->function(state, model_.index(), {});
    if (values.size() != event.simulated_effect->fluents.size())
      throw InternalError("A simulated effect must give one value for each of its fluents");
  }
  if (event.kind == EventKind::EFFECT && !tp::apply(model_.env(), state, event.body(), model_.index()))
    return false;
  for (std::size_t i = 0; i < values.size(); ++i) {
    Node* const reference = event.simulated_effect->fluents[i];
    Node* const value = stored_value(model_.env(), reference, values[i]);
    if (!check_bounds(model_.env(), model_.env().expression_factory().get_fluent_from_reference(reference),
                      value))
      return false;
    state.override_value(model_.index(), reference, value);
  }
  return conditions_hold(state);
}

template <class T>
bool Successors<T>::apply_in_place(State& state, EventInstance instance) {
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
