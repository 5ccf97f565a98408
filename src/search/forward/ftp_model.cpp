#include "search/forward/ftp_model.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <unordered_map>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_simplifier.h"
#include "search/forward/event_semantics.h"
#include "search/frame/missing_values.h"
#include "state/effect.h"
#include "transformers/clashing_effects.h"
#include "transformers/duration_bounds.h"
#include "transformers/readable_times.h"
#include "transformers/static_fluents.h"
#include "transformers/timing.h"

namespace zorvel::tp::ftp {

using model::ActionImpl;
using model::ExpressionFactory;

namespace {

/// Statements by interval. Filled by node, read in the order of the intervals' texts.
using ByInterval = std::map<Node*, std::vector<Node*>, NodeIdLess>;

/// The groups as temporal expressions, by the text of their interval. `texts` remembers the texts.
std::vector<Node*> in_text_order(ExpressionFactory& factory, const ByInterval& groups,
                                 std::unordered_map<Node*, std::string>& texts) {
  std::vector<std::pair<const std::string*, Node*>> ordered;
  for (const auto& [interval, bodies] : groups) {
    std::string& text = texts[interval];
    if (text.empty()) text = model::to_anml(interval);
    ordered.emplace_back(&text, factory.make_temporal_expression(interval, factory.make_and(bodies)));
  }
  std::ranges::stable_sort(ordered, [](const auto& a, const auto& b) { return *a.first < *b.first; });
  std::vector<Node*> result;
  for (const auto& [text, expression] : ordered) result.push_back(expression);
  return result;
}

Node* lower_anchor(const Node* interval) { return interval->children[0]; }
Node* upper_anchor(const Node* interval) { return interval->children[interval->arity - 1]; }

/// Whether an expression that holds the duration only limits it: `duration <= x` and the like, or their
/// `and`.
bool limits_duration(Node* body, const model::CheckContainsWalker& contains_duration) {
  if (ExpressionFactory::is_and(body)) {
    const auto operands = body->operands();
    return std::all_of(operands.begin(), operands.end(),
                       [&](Node* operand) { return limits_duration(operand, contains_duration); });
  }
  return body->arity == 2 && ExpressionFactory::is_duration_anchor(body->children[0]) &&
         !contains_duration(body->children[1]);
}

/// Several simulated effects at one time are one happening.
std::shared_ptr<model::SimulatedEffectImpl> merged(
    const std::shared_ptr<model::SimulatedEffectImpl>& first,
    const std::shared_ptr<model::SimulatedEffectImpl>& second) {
  auto result = std::make_shared<model::SimulatedEffectImpl>(*first);
  result->fluents.insert(result->fluents.end(), second->fluents.begin(), second->fluents.end());
  result->function = [first, second](const zorvel::SearchState& state, const StateIndex& index,
                                     const std::vector<Node*>& parameters) {
    std::vector<Node*> values = first->function(state, index, parameters);
    const std::vector<Node*> more = second->function(state, index, parameters);
    values.insert(values.end(), more.begin(), more.end());
    return values;
  };
  return result;
}

}  // namespace

/// Conditions and effects that happen at one time, conditions first.
struct FtpModel::Moment {
  std::vector<Event*> conditions;
  std::vector<Event*> effects;
};

void FtpModel::append_events(const Timeline& timeline, std::vector<Event*>& out) {
  for (const auto& [time, moment] : timeline) {
    out.insert(out.end(), moment.conditions.begin(), moment.conditions.end());
    out.insert(out.end(), moment.effects.begin(), moment.effects.end());
  }
}

/// The statements of one action or problem, sorted by what they are.
struct FtpModel::Groups {
  ByInterval effects;
  ByInterval conditions;
  std::map<Node*, std::shared_ptr<model::SimulatedEffectImpl>, NodeIdLess> simulated;
  std::vector<Node*> duration_statements;
};

/// What all actions are read with; what it remembers, they have in common.
struct FtpModel::Reader {
  model::StaticFluents static_fluents;
  model::CheckContainsWalker contains_duration;
  std::unordered_map<Node*, std::string> interval_texts;
};

FtpModel::FtpModel(Environment& env, const model::ProblemPtr& problem, const rational& epsilon)
    : env_(env), problem_(problem), epsilon_(epsilon) {
  build_global_events();
  Reader reader{model::StaticFluents(problem), model::CheckContainsWalker(env, NodeKind::DURATION), {}};
  for (const auto& [name, action] : problem->actions()) build_action_events(action, reader);
  compute_fluents();
  compute_order_keys();
  compute_exclusion_keys();
  warn_about_missing_values();
}

ActionId FtpModel::action_id(const std::string& name) const {
  const auto found =
      std::lower_bound(actions_.begin(), actions_.end(), name,
                       [](const ActionModel& a, const std::string& b) { return a.action->name() < b; });
  if (found == actions_.end() || found->action->name() != name)
    throw std::out_of_range("no action is called " + name);
  return static_cast<ActionId>(found - actions_.begin());
}

Event* FtpModel::new_event(EventKind kind, Node* expression, const std::shared_ptr<ActionImpl>& action,
                           unsigned long pos) {
  Event& event = events_.emplace_back();
  event.kind = kind;
  event.expression = expression;
  event.action = action;
  event.pos = pos;
  event.index = static_cast<std::uint32_t>(events_.size() - 1);
  return &event;
}

void FtpModel::set_anchor(Event& event, Node* anchor_node) {
  const auto [is_from_start, offset] = model::timing(env_.expression_factory(), anchor_node);
  event.anchor_node = anchor_node;
  event.anchor = Anchor{is_from_start, offset};
}

void FtpModel::add_condition(Node* expression, const std::shared_ptr<ActionImpl>& action, unsigned long& pos,
                             const MomentOf& moment) {
  const ExpressionFactory& factory = env_.expression_factory();
  Node* const interval = expression->children[0];
  Event* const event = new_event(EventKind::CONDITION, expression, action, pos++);
  set_anchor(*event, lower_anchor(interval));
  if (factory.is_point_interval(interval)) {
    moment(event->anchor, 0).conditions.push_back(event);
    return;
  }
  event->is_start_durative = true;
  event->is_left_open = !factory.is_left_closed(interval);
  // why the shift: what happens exactly at an excluded bound comes before the interval.
  moment(event->anchor, event->is_left_open ? epsilon_ : rational(0)).conditions.push_back(event);
  Event* const closer = new_event(EventKind::CONDITION, expression, action, pos++);
  closer->start_time_point = event;
  closer->is_left_open = event->is_left_open;
  set_anchor(*closer, upper_anchor(interval));
  moment(closer->anchor, 0).conditions.push_back(closer);
}

void FtpModel::build_global_events() {
  ExpressionFactory& factory = env_.expression_factory();
  model::ExpressionSimplifier simplifier(env_);
  model::refuse_statements_before_start(*problem_);
  model::refuse_clashing_effects(*problem_);
  start_event_ = new_event(EventKind::START_PLAN, nullptr, nullptr, 0);
  end_event_ = new_event(EventKind::END_PLAN, nullptr, nullptr, 0);

  ByInterval effects, conditions;
  std::map<std::string, Node*> references;  // by text, which fixes the order of the slots
  std::vector<std::pair<Node*, Node*>> initial_values;
  for (Node* expression : problem_->expressions()) {
    model::require_readable_times(env_, expression, nullptr);
    const auto effect = get_effect(factory, expression, nullptr);
    if (!effect) {
      // A bare condition holds at the start.
      const bool timed = ExpressionFactory::is_temporal_expression(expression);
      Node* const interval =
          timed ? expression->children[0] : factory.make_point_interval(factory.make_start_anchor());
      if (model::is_empty_interval(factory, interval)) continue;
      conditions[interval].push_back(timed ? expression->children[1] : expression);
    } else if (!ExpressionFactory::is_start_anchor(effect->anchor) &&
               !ExpressionFactory::is_zero(simplifier(effect->anchor))) {
      effects[expression->children[0]].push_back(expression->children[1]);
    } else {
      std::vector<Node*> arguments;
      for (Node* argument : effect->parameters) arguments.push_back(simplifier(argument));
      Node* const reference = factory.make_fluent_reference(effect->fluent, arguments);
      references.emplace(model::to_anml(reference), reference);
      initial_values.emplace_back(reference, effect->value);
    }
  }
  for (const auto& [text, reference] : references) {
    index_.emplace(reference, references_.size());
    references_.push_back(reference);
  }
  for (const auto& [reference, value] : initial_values)
    initial_values_.emplace_back(static_cast<std::uint32_t>(index_.at(reference)), value);

  Timeline from_start, from_end;
  const auto moment = [&](const Anchor& anchor, const rational& shift) -> Moment& {
    return anchor.from_start ? from_start[anchor.offset + shift] : from_end[-anchor.offset + shift];
  };
  unsigned long pos = 1;
  std::unordered_map<Node*, std::string> texts;
  for (Node* expression : in_text_order(factory, effects, texts)) {
    Event* const event = new_event(EventKind::EFFECT, expression, nullptr, pos++);
    set_anchor(*event, lower_anchor(expression->children[0]));
    moment(event->anchor, 0).effects.push_back(event);
  }
  for (Node* expression : in_text_order(factory, conditions, texts))
    add_condition(expression, nullptr, pos, moment);
  append_events(from_start, global_start_events_);
  append_events(from_end, global_end_events_);
}

void FtpModel::build_action_events(const std::shared_ptr<ActionImpl>& action, Reader& reader) {
  ExpressionFactory& factory = env_.expression_factory();
  const model::CheckContainsWalker& contains_duration = reader.contains_duration;
  Groups groups;
  Node* const at_start = factory.make_point_interval(factory.make_start_anchor());
  for (Node* given : action->expressions()) {
    Node* const expression = model::without_timing_of_duration(factory, given);
    const bool timed = ExpressionFactory::is_temporal_expression(expression);
    Node* const interval = timed ? expression->children[0] : at_start;
    Node* const body = timed ? expression->children[1] : expression;
    if (contains_duration(body)) {
      Node* const limit = model::with_duration_first(factory, body);
      if (timed || !limits_duration(limit, contains_duration))
        throw UnsupportedProblemError(
            "The duration of an action cannot be read by its effects or conditions: ")
            << model::print_expression{expression} << " in action " << action->name();
      groups.duration_statements.push_back(reader.static_fluents(limit));
    } else if (ExpressionFactory::is_assign(body)) {
      if (!factory.is_point_interval(interval))
        throw InternalError("Found an effect over a non-punctual interval");
      groups.effects[interval].push_back(body);
    } else {
      groups.conditions[interval].push_back(body);
    }
  }
  for (const auto& effect : action->simulated_effects()) {
    auto& slot = groups.simulated[model::point_interval_of(factory, effect->timing)];
    slot = slot ? merged(slot, effect) : effect;
  }

  rational max_from_start(0), max_from_end(0);
  const auto note = [&](Node* anchor) {
    const auto [is_from_start, offset] = model::timing(factory, anchor);
    rational& largest = is_from_start ? max_from_start : max_from_end;
    if (offset > largest) largest = offset;
  };
  const auto note_interval = [&](const Node* interval) {
    for (Node* anchor : interval->operands()) note(anchor);
  };
  for (const auto& [interval, bodies] : groups.effects) note_interval(interval);
  for (const auto& [interval, bodies] : groups.conditions) note_interval(interval);
  for (const auto& [interval, effect] : groups.simulated) note_interval(interval);

  ActionModel entry;
  entry.action = action;
  DurationBounds bounds;
  if (max_from_start > rational(0) && max_from_end > rational(0)) {
    for (Node* statement : groups.duration_statements) {
      DurationBounds limited = bounds;
      if (model::read_duration_bound(factory, statement, limited))
        bounds = limited;
      else
        entry.duration_constraints.push_back(statement);  // the state decides
    }
    entry.duration_bounds = bounds;
  } else {
    entry.duration_constraints = groups.duration_statements;
  }
  // A representative duration, which only orders the events.
  const rational duration = model::ordering_duration(bounds, max_from_start, max_from_end);

  const std::vector<Node*> conditions = in_text_order(factory, groups.conditions, reader.interval_texts);
  std::vector<Node*> at_opening, at_opening_alone;
  for (Node* expression : conditions) {
    const Node* const interval = expression->children[0];
    const auto [is_from_start, offset] = model::timing(factory, lower_anchor(interval));
    if (!factory.is_left_closed(interval) || !is_from_start || offset != rational(0)) continue;
    at_opening.push_back(expression->children[1]);
    if (factory.is_point_interval(interval)) at_opening_alone.push_back(expression->children[1]);
  }
  if (problem_->rules().has_mutual_exclusion && !at_opening_alone.empty())
    entry.opening = factory.make_and(at_opening_alone);
  entry.start = new_event(
      EventKind::START_ACTION,
      at_opening.empty() ? nullptr : factory.make_temporal_expression(at_start, factory.make_and(at_opening)),
      action, 0);
  entry.end = new_event(EventKind::END_ACTION, nullptr, action, 0);

  Timeline timeline;
  const auto moment = [&](const Anchor& anchor, const rational& shift) -> Moment& {
    // A shift makes the offset larger from the start and smaller from the end: later in either case.
    return timeline[anchor.from_start ? anchor.offset + shift : duration - (anchor.offset - shift)];
  };
  unsigned long pos = 1;
  for (Node* expression : in_text_order(factory, groups.effects, reader.interval_texts)) {
    Event* const event = new_event(EventKind::EFFECT, expression, action, pos++);
    set_anchor(*event, lower_anchor(expression->children[0]));
    const auto simulated = groups.simulated.find(expression->children[0]);
    if (simulated != groups.simulated.end()) {
      event->simulated_effect = simulated->second;
      groups.simulated.erase(simulated);
    }
    moment(event->anchor, 0).effects.push_back(event);
  }
  for (Node* expression : conditions) {
    Node* const interval = expression->children[0];
    const auto [is_from_start, offset] = model::timing(factory, lower_anchor(interval));
    const bool is_tested_at_opening =
        factory.is_point_interval(interval) && is_from_start && offset == rational(0);
    if (!is_tested_at_opening) add_condition(expression, action, pos, moment);
  }
  std::multimap<std::string, std::pair<Node*, std::shared_ptr<model::SimulatedEffectImpl>>> simulated;
  for (const auto& [interval, effect] : groups.simulated)
    simulated.emplace(model::to_anml(interval), std::pair(interval, effect));
  for (const auto& [text, entry_of_interval] : simulated) {
    Event* const event = new_event(EventKind::SIMULATED_EFFECT, nullptr, action, pos++);
    set_anchor(*event, lower_anchor(entry_of_interval.first));
    event->simulated_effect = entry_of_interval.second;
    moment(event->anchor, 0).effects.push_back(event);
  }
  append_events(timeline, entry.events);
  actions_.push_back(std::move(entry));
}

std::vector<std::uint32_t> FtpModel::chain_lengths() const {
  std::vector<std::uint32_t> lengths;
  for (const ActionModel& action : actions_)
    lengths.push_back(
        static_cast<std::uint32_t>(std::count_if(action.events.begin(), action.events.end(),
                                                 [](const Event* e) { return !is_tested_at_opening(*e); })));
  return lengths;
}

void FtpModel::compute_fluents() {
  model::ExpressionFreeVars free_vars(env_);
  for (const auto& [name, fluent] : problem_->fluents())
    fluent_numbers_.emplace(name, fluent_numbers_.size());
  std::vector<std::vector<Node*>> read(events_.size());
  for (const Event& event : events_)
    if (event.expression != nullptr) read[event.index].push_back(event.expression);
  for (const ActionModel& action : actions_) {
    auto& nodes = read[action.start->index];
    nodes.insert(nodes.end(), action.duration_constraints.begin(), action.duration_constraints.end());
  }
  fluents_.resize(events_.size());
  touch_keys_.resize(events_.size());
  for (const Event& event : events_) {
    std::vector<Node*>& nodes = fluents_[event.index];
    for (Node* expression : read[event.index])
      for (Node* node : free_vars(expression))
        if (ExpressionFactory::is_fluent_reference(node)) nodes.push_back(node);
    if (event.simulated_effect)
      nodes.insert(nodes.end(), event.simulated_effect->fluents.begin(),
                   event.simulated_effect->fluents.end());
    std::ranges::sort(nodes, NodeIdLess());
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    touch_keys_[event.index] = keys_of(nodes);
  }
}

/// A key is a slot, or, for a reference whose slot is not known before the search, its fluent and all its
/// fluent's slots. Such references are rare: the actions have none after their free variables became
/// parameters.
std::vector<std::uint64_t> FtpModel::keys_of(const std::vector<Node*>& references) const {
  const ExpressionFactory& factory = env_.expression_factory();
  std::vector<std::uint64_t> keys;
  for (Node* node : references) {
    const auto slot = index_.find(node);
    if (slot != index_.end()) {
      keys.push_back(slot->second);
      continue;
    }
    const auto fluent = factory.get_fluent_from_reference(node);
    keys.push_back(references_.size() + fluent_numbers_.at(fluent->name()));
    for (std::size_t other = 0; other < references_.size(); ++other)
      if (factory.get_fluent_from_reference(references_[other]) == fluent) keys.push_back(other);
  }
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  return keys;
}

void FtpModel::compute_exclusion_keys() {
  instant_keys_.resize(events_.size());
  written_keys_.resize(events_.size());
  if (!problem_->rules().has_mutual_exclusion) return;
  model::ExpressionFreeVars free_vars(env_);
  std::vector<Node*> references;
  const auto read = [&](Node* expression) {
    for (Node* node : free_vars(expression))
      if (ExpressionFactory::is_fluent_reference(node)) references.push_back(node);
  };
  const auto take_keys = [&](std::vector<std::uint64_t>& keys) {
    keys = keys_of(references);
    references.clear();
  };
  for (const ActionModel& action : actions_) {
    if (action.opening != nullptr) read(action.opening);
    for (Node* limit : action.duration_constraints) read(limit);
    take_keys(instant_keys_[action.start->index]);
  }
  std::vector<Node*> effects;
  for (const Event& event : events_) {
    if (event.kind == EventKind::CONDITION && !event.is_opener() && !event.is_closer()) {
      read(event.body());
      take_keys(instant_keys_[event.index]);
    }
    if (!event.is_effect_like()) continue;
    if (event.expression != nullptr) effects.push_back(event.body());
    while (!effects.empty()) {
      Node* const effect = effects.back();
      effects.pop_back();
      if (ExpressionFactory::is_and(effect))
        effects.insert(effects.end(), effect->operands().begin(), effect->operands().end());
      else
        references.push_back(effect->children[0]);
    }
    if (event.simulated_effect)
      references.insert(references.end(), event.simulated_effect->fluents.begin(),
                        event.simulated_effect->fluents.end());
    take_keys(written_keys_[event.index]);
  }
}

namespace {

bool have_common(const std::vector<std::uint64_t>& left, const std::vector<std::uint64_t>& right) {
  for (auto i = left.begin(), j = right.begin(); i != left.end() && j != right.end();) {
    if (*i == *j) return true;
    *i < *j ? ++i : ++j;
  }
  return false;
}

}  // namespace

bool FtpModel::exclude(const Event& condition, const Event& effect) const {
  return have_common(instant_keys(condition), written_keys(effect));
}

void FtpModel::compute_order_keys() {
  order_keys_ = touch_keys_;
  // The sets of slots that one conjunct reads, if they are more than one: an effect on a single one keeps or
  // breaks the conjunct whatever else happens.
  std::map<std::vector<std::uint64_t>, std::uint64_t> groups;
  std::unordered_map<std::uint64_t, std::vector<std::uint64_t>> groups_with;  // by slot
  model::ExpressionFreeVars free_vars(env_);
  const std::uint64_t first = references_.size() + problem_->fluents().size();
  std::vector<Node*> conjuncts;
  for (const Event& event : events_) {
    if (!event.is_opener()) continue;
    conjuncts.assign(1, event.body());
    while (!conjuncts.empty()) {
      Node* const conjunct = conjuncts.back();
      conjuncts.pop_back();
      if (ExpressionFactory::is_and(conjunct)) {
        conjuncts.insert(conjuncts.end(), conjunct->operands().begin(), conjunct->operands().end());
        continue;
      }
      std::vector<std::uint64_t> slots;
      bool is_known = true;
      for (Node* node : free_vars(conjunct)) {
        if (!ExpressionFactory::is_fluent_reference(node)) continue;
        const auto slot = index_.find(node);
        if (slot == index_.end())
          is_known = false;
        else
          slots.push_back(slot->second);
      }
      // A reference whose slot is not known may be any of those that the event touches.
      if (!is_known) slots = touch_keys_[event.index];
      std::sort(slots.begin(), slots.end());
      if (slots.size() < 2) continue;
      const auto [group, is_new] = groups.emplace(std::move(slots), first + groups.size());
      if (!is_new) continue;
      for (const std::uint64_t slot : group->first) groups_with[slot].push_back(group->second);
    }
  }
  if (groups.empty()) return;
  for (const Event& event : events_) {
    if (!event.is_effect_like()) continue;
    std::vector<std::uint64_t>& keys = order_keys_[event.index];
    for (const std::uint64_t key : touch_keys_[event.index])
      if (const auto found = groups_with.find(key); found != groups_with.end())
        keys.insert(keys.end(), found->second.begin(), found->second.end());
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  }
}

bool FtpModel::touch(const Event& a, const Event& b) const {
  if (a.simulated_effect || b.simulated_effect) return true;
  return have_common(touch_keys_[a.index], touch_keys_[b.index]);
}

std::uint64_t FtpModel::touch_mask(const Event& event) const {
  if (event.simulated_effect) return ~std::uint64_t{0};
  std::uint64_t mask = 0;
  for (const std::uint64_t key : touch_keys_[event.index]) mask |= std::uint64_t{1} << (key % 64);
  return mask;
}

bool FtpModel::must_be_apart(const Event& applied, const Event& pending) const {
  if (!applied.is_effect_like()) return false;
  if (pending.is_effect_like()) return touch(applied, pending);
  return !(pending.is_opener() && pending.is_left_open);
}

void FtpModel::warn_about_missing_values() const {
  MissingValues missing(index_);
  // A reference outside the domain of its fluent has no value and needs none.
  for (const auto& nodes : fluents_)
    for (Node* node : nodes)
      if (!model::is_undefined(env_.expression_factory(), node)) missing.note(node);
  missing.warn(env_);
}

}  // namespace zorvel::tp::ftp
