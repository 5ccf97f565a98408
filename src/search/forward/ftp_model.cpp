#include "search/forward/ftp_model.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <stdexcept>
#include <unordered_map>

#include "core/errors.h"
#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_simplifier.h"
#include "search/forward/event_maker.h"
#include "search/forward/event_semantics.h"
#include "search/frame/missing_values.h"
#include "state/effect.h"
#include "transformers/clashing_effects.h"
#include "transformers/readable_times.h"
#include "transformers/timing.h"

namespace zorvel::tp::ftp {

using model::ExpressionFactory;

FtpModel::FtpModel(Environment& env, const model::ProblemPtr& problem, const rational& epsilon)
    : env_(env), problem_(problem), epsilon_(epsilon) {
  EventMaker maker(env, epsilon, events_);
  build_global_events(maker);
  ActionTimeline timeline(env, problem, maker);
  for (const auto& [name, action] : problem->actions()) actions_.push_back(timeline.lay_out(action));
  // action_id looks them up by name.
  assert(std::ranges::is_sorted(
      actions_, {}, [](const ActionModel& one) -> const std::string& { return one.action->name(); }));
  assert(std::ranges::all_of(events_, [&](const Event& one) { return &events_[one.index] == &one; }));
  compute_fluents();
  compute_order_keys();
  compute_exclusion_keys();
  // have_common and the searches step through two lists of keys at once.
  for ([[maybe_unused]] const auto* keys : {&touch_keys_, &order_keys_, &instant_keys_, &written_keys_})
    assert(std::ranges::all_of(*keys, [](const auto& one) { return std::ranges::is_sorted(one); }));
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

void FtpModel::build_global_events(EventMaker& maker) {
  ExpressionFactory& factory = env_.expression_factory();
  model::ExpressionSimplifier simplifier(env_);
  model::refuse_statements_before_start(*problem_);
  model::refuse_clashing_effects(*problem_);
  start_event_ = maker.make(EventKind::START_PLAN, nullptr, nullptr, 0);
  end_event_ = maker.make(EventKind::END_PLAN, nullptr, nullptr, 0);

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
    assert(!index_.contains(reference));
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
  for (Node* expression : maker.in_text_order(effects))
    maker.add_effect(EventKind::EFFECT, expression, lower_anchor(expression->children[0]), nullptr, pos,
                     moment);
  for (Node* expression : maker.in_text_order(conditions))
    maker.add_condition(expression, nullptr, pos, moment);
  assert(from_start.empty() || from_start.begin()->first >= rational(0));  // see the refusals above
  append_events(from_start, global_start_events_);
  append_events(from_end, global_end_events_);
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
  assert(instant_keys(condition).empty() || !condition.is_effect_like());
  return have_common(instant_keys(condition), written_keys(effect));
}

void FtpModel::compute_order_keys() {
  assert(touch_keys_.size() == events_.size());  // they are extended here
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
  assert(a.index < touch_keys_.size() && b.index < touch_keys_.size());
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
