#include "transformers/temporally_aware_relaxer.h"

#include <algorithm>
#include <cassert>
#include <string>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "model/model_factory.h"
#include "model/walkers/expression_parts.h"
#include "plans/plan.h"
#include "transformers/duration_bounds.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

/// The statements of one interval.
struct Group {
  Node* interval;
  std::vector<Node*> bodies;
};
/// Groups by printed interval, the order that the search uses for events of one time.
using Groups = std::map<std::string, Group>;

/// The simulated effects of one point.
struct SimulatedGroup {
  Node* interval;
  ActionImpl::SimulatedEffects effects;
};

void add_to_group(Groups& groups, Node* interval, Node* body) {
  Group& group = groups[to_anml(interval)];
  group.interval = interval;
  group.bodies.push_back(body);
}

}  // namespace

/// The expressions of one action, sorted.
struct TemporallyAwareRelaxer::Sorted {
  Groups effects;
  Groups conditions;
  std::vector<Node*> duration_list;
};

unsigned long TemporallyAwareRelaxer::Timeline::size() const {
  unsigned long count = 1;
  for (const auto& [time, moment] : moments) count += moment.conditions.size() + moment.effects.size();
  return count;
}

TemporallyAwareRelaxer::TemporallyAwareRelaxer(const ProblemPtr& problem)
    : BasicTransformer(problem),
      static_fluents_(problem),
      has_duration_(problem->env(), NodeKind::DURATION),
      to_nnf_(problem->env()),
      simplify_(problem->env()) {}

void TemporallyAwareRelaxer::do_computation() {
  require_flat("This phase can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Temporally aware relaxer started!";
  parts_ = ProblemParts(*problem_);
  names_.reserve_all_but_actions(*problem_);
  for (const auto& [name, action] : problem_->actions()) add_action(action);
  add_statements();
  new_problem_ = parts_.make(env());
  parts_ = ProblemParts();
  ZORVEL_LOG(DEBUG) << "Temporally aware relaxing completed!";
}

TemporallyAwareRelaxer::Sorted TemporallyAwareRelaxer::sort(const ActionImpl& action) const {
  Node* const at_start = factory().make_point_interval(factory().make_start_anchor());
  Sorted sorted;
  for (Node* expression : action.expressions()) {
    Node* const statement = without_timing_of_duration(factory(), expression);
    const bool is_timed = F::is_temporal_expression(statement);
    const bool has_duration = has_duration_(statement);
    Node* const interval = is_timed ? statement->children[0] : at_start;
    Node* const body = is_timed ? statement->children[1] : statement;
    if (has_duration && (!is_timed || F::is_assign(body)))
      sorted.duration_list.push_back(static_fluents_(body));
    else if (!F::is_assign(body))
      add_to_group(sorted.conditions, interval, body);
    else if (factory().is_point_interval(interval))
      add_to_group(sorted.effects, interval, body);
  }
  return sorted;
}

TemporallyAwareRelaxer::Timeline TemporallyAwareRelaxer::timeline(const ActionImpl& action) const {
  const Sorted sorted = sort(action);
  std::map<std::string, SimulatedGroup> simulated;  // by printed interval
  for (const auto& effect : action.simulated_effects()) {
    Node* const interval = point_interval_of(factory(), effect->timing);
    SimulatedGroup& group = simulated[to_anml(interval)];
    group.interval = interval;
    group.effects.push_back(effect);
  }

  rational max_from_start, max_from_end;
  const auto note_anchors = [&](Node* interval) {
    for (Node* anchor : interval->operands()) {
      const Timing time = timing(factory(), anchor);
      rational& greatest = time.from_start ? max_from_start : max_from_end;
      greatest = std::max(greatest, time.k);
    }
  };
  for (const auto& [text, group] : sorted.effects) note_anchors(group.interval);
  for (const auto& [text, group] : sorted.conditions) note_anchors(group.interval);
  for (const auto& [text, group] : simulated) note_anchors(group.interval);
  DurationBounds bounds;
  if (max_from_start > rational(0) && max_from_end > rational(0))
    for (Node* statement : sorted.duration_list) {
      DurationBounds limited = bounds;
      if (read_duration_bound(factory(), statement, limited)) bounds = limited;  // else the state decides
    }
  const rational duration = ordering_duration(bounds, max_from_start, max_from_end);
  const auto time_of = [&](const Timing& time) { return time.from_start ? time.k : duration - time.k; };

  Timeline result;
  for (const auto& [text, group] : sorted.effects) {
    EffectPiece piece{group.bodies, {}};
    // One event of the search carries all that happens in one interval.
    if (const auto found = simulated.find(to_anml(simplify_(group.interval))); found != simulated.end()) {
      piece.simulated = found->second.effects;
      simulated.erase(found);
    }
    result.moments[time_of(timing(factory(), group.interval->children[0]))].effects.push_back(piece);
  }
  for (const auto& [text, group] : simulated)
    result.moments[time_of(timing(factory(), group.interval->children[0]))].effects.push_back(
        {{}, group.effects});

  const rational epsilon = plan_epsilon(env());
  for (const auto& [text, group] : sorted.conditions) {
    Node* const condition = factory().make_and(group.bodies);
    const bool is_left_closed = factory().is_left_closed(group.interval);
    Timing from = timing(factory(), group.interval->children[0]);
    if (is_left_closed && from == Timing{true, 0}) {
      result.start_conditions.push_back(condition);
    } else {
      if (!is_left_closed) from.k = from.from_start ? from.k + epsilon : from.k - epsilon;
      result.moments[time_of(from)].conditions.push_back(condition);
    }
    if (group.interval->arity > 1)
      result.moments[time_of(timing(factory(), group.interval->children[1]))].conditions.push_back(condition);
  }
  return result;
}

Node* TemporallyAwareRelaxer::condition_of(const std::vector<Node*>& conditions) const {
  if (conditions.size() == 1) return conditions.front();  // the ring fluent alone
  return simplify_(to_nnf_(factory().make_and(conditions)));
}

void TemporallyAwareRelaxer::add_action(const std::shared_ptr<ActionImpl>& action) {
  const Timeline line = timeline(*action);
  const unsigned long size = line.size();
  auto& ring = ring_fluents_[action];
  for (unsigned long i = 1; i <= size; ++i) {
    const auto fluent =
        env().model_factory().make_fluent(names_.unique("_f_" + std::to_string(i) + "_" + action->name()),
                                          env().model_factory().make_boolean_type(), {}, {});
    parts_.fluents.push_back(fluent);
    ring[i] = factory().make_fluent_reference(fluent, {});
  }

  Node* const start = factory().make_point_interval(factory().make_start_anchor());
  Node* const end = factory().make_point_interval(factory().make_end_anchor());
  unsigned long step = 0;
  const auto add_piece = [&](std::vector<Node*> conditions, const EffectPiece& effect) {
    ++step;
    conditions.insert(conditions.begin(), ring.at(step));
    std::vector<Node*> expressions{factory().make_temporal_expression(start, condition_of(conditions))};
    for (unsigned long j = 1; j <= size; ++j)
      expressions.push_back(factory().make_temporal_expression(
          end, factory().make_assign(ring.at(j % size + 1), factory().make_boolean_constant(j == step))));
    for (Node* body : effect.assignments)
      for (Node* assignment : conjuncts_of(body))
        expressions.push_back(factory().make_temporal_expression(end, assignment));
    const auto piece = env().model_factory().make_action(names_.numbered(action->name()), action->path(),
                                                         action->is_process(), action->parameters(),
                                                         expressions, effect.simulated);
    pieces_[action].push_back(piece);
    parts_.actions.push_back(piece);
  };
  add_piece(line.start_conditions, {});
  for (const auto& [time, moment] : line.moments) {
    for (Node* condition : moment.conditions) add_piece({condition}, {});
    for (const EffectPiece& effect : moment.effects) add_piece({}, effect);
  }
  assert(step == size);
}

/// Timed effects become actions that may be taken at any time; the other statements stay.
void TemporallyAwareRelaxer::add_statements() {
  Node* const end = factory().make_point_interval(factory().make_end_anchor());
  std::vector<Node*> kept;
  unsigned long number = 0;
  for (Node* statement : parts_.expressions) {
    const bool is_effect = F::is_temporal_expression(statement) &&
                           factory().is_point_interval(statement->children[0]) &&
                           F::is_assign(statement->children[1]);
    Node* const anchor = is_effect ? simplify_(statement->children[0]->children[0]) : nullptr;
    if (!is_effect || F::is_start_anchor(anchor) || F::is_zero(anchor)) {
      kept.push_back(statement);
      continue;
    }
    std::string name;
    do name = "_action_til_" + std::to_string(number++);
    while (!names_.take(name));
    parts_.actions.push_back(env().model_factory().make_action(
        name, {}, false, {}, {factory().make_temporal_expression(end, statement->children[1])}, {}));
  }
  parts_.expressions = std::move(kept);
}

ActionStep TemporallyAwareRelaxer::map_back(const ActionStep&) const {
  throw InternalError("Map back not implemented!");
}

std::shared_ptr<Plan> TemporallyAwareRelaxer::map_back(const std::shared_ptr<Plan>&) const {
  throw InternalError("Map back not implemented!");
}

std::vector<ActionStep> TemporallyAwareRelaxer::map_forward(const ActionStep&) const {
  throw InternalError("Map forward not implemented!");
}

std::shared_ptr<TimeTriggeredPlan> TemporallyAwareRelaxer::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>&) const {
  throw InternalError("Not supported!");
}

}  // namespace zorvel::model
