#include "transformers/intermediate_effects_compiler.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/model_factory.h"
#include "model/walkers/expression_parts.h"
#include "model/walkers/expression_substituter.h"
#include "plans/time_triggered_plan.h"
#include "transformers/plan_mapping.h"
#include "transformers/timed_statements.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

ParameterVector fresh_parameters(const ActionImpl& action) {
  ParameterVector result;
  for (const auto& parameter : action.parameters())
    result.push_back(std::make_shared<ParameterImpl>(parameter->name(), parameter->type()));
  return result;
}

std::vector<Node*> references_to(F& factory, const ParameterVector& parameters) {
  std::vector<Node*> result;
  for (const auto& parameter : parameters) result.push_back(factory.make_parameter_reference(parameter));
  return result;
}

/// A stretch of an action between two cuts, from `from` on; without end in the last piece.
struct Span {
  rational from;
  std::optional<rational> to;

  bool begins_at(const ActionMoment& moment) const { return !moment.is_end && moment.time == from; }
  bool ends_at(const ActionMoment& moment) const {
    return to ? !moment.is_end && moment.time == *to : moment.is_end;
  }
  /// All of it: the ends of statements are cuts, so otherwise they have no more than a moment in common.
  bool lies_within(const MomentStatement& statement) const {
    const bool begins_in = !statement.from.is_end && statement.from.time <= from;
    return begins_in && (statement.to.is_end || (to && *to <= statement.to.time));
  }
};

Node* over_span(F& factory, const MomentStatement& statement, const Span& span) {
  const bool is_left_closed = statement.is_left_closed || !span.begins_at(statement.from);
  const bool is_right_closed = statement.is_right_closed || !span.ends_at(statement.to);
  return factory.make_temporal_expression(
      factory.make_interval(factory.make_start_anchor(), factory.make_end_anchor(), is_left_closed,
                            is_right_closed),
      statement.body);
}

}  // namespace

/// The fluents at one cut, as references with the parameters of the action as arguments: the earlier piece
/// has ended, the clip lies over the joint, the later piece has begun.
struct IntermediateEffectsCompiler::Joint {
  Node* has_ended;
  Node* is_clipped;
  Node* has_begun;
};

/// The last pieces in a timed plan, each to be taken once.
class IntermediateEffectsCompiler::LastPieces {
 public:
  LastPieces(const IntermediateEffectsCompiler& compiler, const TimeTriggeredPlan& plan) {
    for (const auto& [start, steps] : plan.steps())
      for (const auto& step : steps) {
        const auto origin = compiler.origins_.find(step->action);
        if (origin == compiler.origins_.end() || origin->second.role != Role::last) continue;
        pieces_[{origin->second.action.get(), step->parameters}].push_back({start, start + step->duration});
      }
  }

  /// The end of the piece of the action that begins nearest to the moment; none if all are taken.
  std::optional<rational> take(const ActionImpl* action, const std::vector<Node*>& parameters,
                               const rational& begin) {
    auto& candidates = pieces_[{action, parameters}];
    const auto distance = [&](const Piece& piece) {
      return piece.begin < begin ? begin - piece.begin : piece.begin - begin;
    };
    const auto nearest =
        std::min_element(candidates.begin(), candidates.end(),
                         [&](const Piece& a, const Piece& b) { return distance(a) < distance(b); });
    if (nearest == candidates.end()) return std::nullopt;
    const rational end = nearest->end;
    candidates.erase(nearest);
    return end;
  }

 private:
  struct Piece {
    rational begin, end;
  };
  std::map<std::pair<const ActionImpl*, std::vector<Node*>>, std::vector<Piece>> pieces_;
};

IntermediateEffectsCompiler::IntermediateEffectsCompiler(const ProblemPtr& problem, rational epsilon)
    : BackOnly(problem), epsilon_(std::move(epsilon)) {
  assert(epsilon_ > rational(0));
}

bool IntermediateEffectsCompiler::is_needed(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.actions(),
                             [](const auto& entry) { return entry.second->has_intermediate_effects(); });
}

void IntermediateEffectsCompiler::do_computation() {
  require_flat("The compile away intermediate effects phase can be only applied to flattened models!");
  if (!problem_->metrics().empty())
    throw UnsupportedProblemError("The intermediate effects compiler does not support metrics");
  ZORVEL_LOG(DEBUG) << "Intermediate effects compiler started!";
  ProblemPtr input = problem_;
  if (IncreaseDecreaseCompiler::is_needed(*input)) {
    spelled_out_ = std::make_unique<IncreaseDecreaseCompiler>(input);
    spelled_out_->do_computation();
    input = spelled_out_->new_problem();
  }
  for (FreshNames* names : {&action_names_, &fluent_names_}) {
    names->reserve_all_but_actions(*input);
    for (const auto& [name, action] : input->actions()) names->reserve(name);
  }
  ZORVEL_LOG(DEBUG) << "--> Re-introduce the top-level types, instances, fluents and constants";
  ProblemParts parts(*input);
  parts.expressions.clear();
  ZORVEL_LOG(DEBUG) << "--> Re-introduce the actions compiling away the intermediate effects";
  const ActionCutsReader read(input);
  for (const auto& [name, action] : input->actions()) {
    if (!action->simulated_effects().empty())
      throw UnsupportedProblemError("ICE compiler cannot be applied to problem with simulated effects: ")
          << name;
    const auto original = spelled_out_ == nullptr ? action
                                                  : static_cast<const BasicTransformer&>(*spelled_out_)
                                                        .map_back(ActionStep{nullptr, action, {}})
                                                        .action;
    if (action->has_intermediate_effects() || action->has_forall()) {
      cut(original, read(*action), parts);
    } else {
      parts.actions.push_back(action);
      origins_[action] = {original};
    }
  }
  ZORVEL_LOG(DEBUG) << "--> Re-introduce all the expressions";
  parts.expressions.insert(parts.expressions.end(), input->expressions().begin(), input->expressions().end());
  new_problem_ = parts.make(env());
  ZORVEL_LOG(DEBUG) << "Intermediate effects compiling completed!";
}

/// The name itself while it is free, behind that numbered by a counter that never goes back.
std::string IntermediateEffectsCompiler::fresh_name(FreshNames& names, const std::string& name) {
  std::string result = names.take(name) ? name : names.numbered(name);
  FreshNames& others = &names == &action_names_ ? fluent_names_ : action_names_;
  others.reserve(result);
  return result;
}

Node* IntermediateEffectsCompiler::number_node(const rational& number) const {
  return number.is_integer() ? factory().make_integer_constant(number.numerator())
                             : factory().make_rational_constant(number);
}

/// An action that has nothing at inner moments after all keeps its name.
void IntermediateEffectsCompiler::cut(const std::shared_ptr<ActionImpl>& action, const ActionCuts& cuts,
                                      ProblemParts& parts) {
  Origin origin{action};
  const std::size_t last = cuts.cuts.size();
  if (last > 0) origin.last_cut = cuts.cuts.back();
  for (Node* limit : cuts.limits) {
    if (origin.limit == nullptr || F::is_assign(limit)) origin.limit = limit;
    if (F::is_assign(limit) && F::is_numeric_constant(limit->children[1]))
      origin.duration = factory().get_numeric_constant(limit->children[1]);
  }
  const auto add = [&](const std::string& name, Role role, const std::vector<Node*>& statements) {
    parts.actions.push_back(make_action(*action, name, statements));
    origin.role = role;
    origins_[parts.actions.back()] = origin;
  };
  if (last == 0) return add(action->name(), Role::whole, piece(cuts, 0));

  std::vector<Joint> joints;
  std::vector<std::string> pieces{fresh_name(action_names_, action->name() + "_s")};
  for (std::size_t i = 0; i < last; ++i) {
    const std::string clip_name = fresh_name(action_names_, action->name() + "_c");
    pieces.push_back(fresh_name(action_names_, action->name() + "_e"));
    joints.push_back(make_joint(*action, parts));
    add(clip_name, Role::inner, clip(joints.back()));
  }
  for (std::size_t i = 0; i <= last; ++i) {
    std::vector<Node*> statements = piece(cuts, i);
    add_joints(statements, joints, i);
    add(pieces[i], i == 0 ? Role::first : i < last ? Role::inner : Role::last, statements);
  }
  add_initial_values(*action, joints, parts);
}

IntermediateEffectsCompiler::Joint IntermediateEffectsCompiler::make_joint(const ActionImpl& action,
                                                                           ProblemParts& parts) {
  const auto make = [&](const char* name) {
    parts.fluents.push_back(env().model_factory().make_fluent(fresh_name(fluent_names_, name),
                                                              env().model_factory().make_boolean_type(), {},
                                                              fresh_parameters(action)));
    new_fluents_.insert(parts.fluents.back().get());
    return factory().make_fluent_reference(parts.fluents.back(),
                                           references_to(factory(), action.parameters()));
  };
  Node* const has_ended = make("f_s");
  Node* const is_clipped = make("f_c");
  return {has_ended, is_clipped, make("f_e")};
}

void IntermediateEffectsCompiler::add_initial_values(const ActionImpl& action,
                                                     const std::vector<Joint>& joints, ProblemParts& parts) {
  const ParameterVector variables = fresh_parameters(action);
  std::vector<Node*> values;
  for (const Joint& joint : joints)
    for (Node* reference : {joint.has_ended, joint.is_clipped, joint.has_begun})
      values.push_back(factory().make_assign(
          factory().make_fluent_reference(factory().get_fluent_from_reference(reference),
                                          references_to(factory(), variables)),
          factory().make_boolean_constant(false)));
  if (!variables.empty()) values = {factory().make_forall(variables, values)};
  for (Node* value : values) parts.expressions.push_back(at_start(factory(), value));
}

/// The part of the action between two cuts, in terms of the action's own parameters.
std::vector<Node*> IntermediateEffectsCompiler::piece(const ActionCuts& cuts, std::size_t number) const {
  Span span{number == 0 ? rational(0) : cuts.cuts[number - 1], std::nullopt};
  if (number < cuts.cuts.size()) span.to = cuts.cuts[number];
  std::vector<Node*> result;
  Node* const duration = factory().make_duration_anchor();
  if (span.to) {
    result.push_back(factory().make_assign(duration, number_node(*span.to - span.from)));
  } else {
    for (Node* limit : cuts.limits) result.push_back(shortened(limit, span.from));
  }
  const bool is_later_alone = problem_->rules().has_mutual_exclusion;
  for (const MomentStatement& statement : cuts.statements) {
    if (!statement.is_point()) {
      if (span.lies_within(statement)) result.push_back(over_span(factory(), statement, span));
    } else if (span.begins_at(statement.from)) {
      result.push_back(at_start(factory(), statement.body));
    } else if (span.ends_at(statement.from)) {
      if (statement.from.is_end || (!statement.is_effect && !is_later_alone))
        result.push_back(at_end(factory(), statement.body));
    }
  }
  return result;
}

/// The limit on the duration of an action for what is left of it behind a cut.
Node* IntermediateEffectsCompiler::shortened(Node* limit, const rational& passed) const {
  if (passed == rational(0)) return limit;
  Node* const value = limit->children[1];
  Node* const rest = F::is_numeric_constant(value)
                         ? number_node(factory().get_numeric_constant(value) - passed)
                         : factory().make_minus(value, number_node(passed));
  Node* const duration = limit->children[0];
  switch (limit->kind()) {
    case NodeKind::LE: return factory().make_le(duration, rest);
    case NodeKind::LT: return factory().make_lt(duration, rest);
    case NodeKind::GE: return factory().make_ge(duration, rest);
    case NodeKind::GT: return factory().make_gt(duration, rest);
    default: assert(F::is_assign(limit)); return factory().make_assign(duration, rest);
  }
}

void IntermediateEffectsCompiler::add_joints(std::vector<Node*>& statements, const std::vector<Joint>& joints,
                                             std::size_t number) const {
  Node* const yes = factory().make_boolean_constant(true);
  if (number > 0) {
    const Joint& joint = joints[number - 1];
    statements.push_back(at_start(factory(), factory().make_assign(joint.has_begun, yes)));
    statements.push_back(at_start(factory(), joint.is_clipped));
  }
  if (number < joints.size()) {
    const Joint& joint = joints[number];
    statements.push_back(at_end(factory(), factory().make_assign(joint.has_ended, yes)));
    statements.push_back(at_end(factory(), joint.is_clipped));
  }
}

std::vector<Node*> IntermediateEffectsCompiler::clip(const Joint& joint) const {
  F& f = factory();
  Node* const no = f.make_boolean_constant(false);
  const rational length = rational(2) * epsilon_;
  return {f.make_assign(f.make_duration_anchor(), number_node(length)),
          at_start(f, f.make_assign(joint.is_clipped, f.make_boolean_constant(true))),
          at_end(f, f.make_assign(joint.has_ended, no)),
          at_end(f, f.make_assign(joint.is_clipped, no)),
          at_end(f, f.make_assign(joint.has_begun, no)),
          f.make_temporal_expression(f.make_open_interval(f.make_start_anchor(), f.make_end_anchor()),
                                     joint.is_clipped),
          at_end(f, f.make_and(joint.has_ended, joint.has_begun))};
}

std::shared_ptr<ActionImpl> IntermediateEffectsCompiler::make_action(
    const ActionImpl& old_action, const std::string& name, const std::vector<Node*>& statements) const {
  const ParameterVector parameters = fresh_parameters(old_action);
  NodeMap map;
  for (std::size_t i = 0; i < parameters.size(); ++i)
    map[factory().make_parameter_reference(old_action.parameters()[i])] =
        factory().make_parameter_reference(parameters[i]);
  const ExpressionSubstituter substitute(env(), std::move(map), {}, false);
  std::vector<Node*> expressions;
  for (Node* statement : statements) expressions.push_back(substitute(statement));
  return env().model_factory().make_action(name, old_action.path(), old_action.is_process(), parameters,
                                           expressions, {});
}

std::shared_ptr<Plan> IntermediateEffectsCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  const auto timed = std::dynamic_pointer_cast<TimeTriggeredPlan>(plan);
  std::optional<LastPieces> last_pieces;
  if (timed != nullptr) last_pieces.emplace(*this, *timed);
  return map_plan(
      plan, "intermediate effects compiler", [&](const PlannedStep& planned) -> std::optional<MappedStep> {
        const auto found = origins_.find(planned.step.action);
        if (found == origins_.end())
          throw InternalError("Found an action that is unknown to the intermediate effects compiler!");
        const Origin& origin = found->second;
        MappedStep result{planned.step, planned.post_condition};
        result.step.action = origin.action;
        if (planned.post_condition != nullptr)
          result.post_condition = without_new_fluents(planned.post_condition);
        if (origin.role == Role::whole) return result;
        // The later pieces of a dropped chain still count when the precedences of a partial order pass.
        if (origin.role != Role::first) return std::nullopt;
        if (!origin.duration && timed == nullptr)
          throw InternalError("Found a duration assignment forbidden: ") << print_expression{origin.limit};
        result.duration = origin.duration;
        if (!origin.duration) {
          const rational joint = *planned.start + origin.last_cut;
          result.duration =
              last_pieces->take(origin.action.get(), planned.step.parameters, joint).value_or(joint) -
              *planned.start;
        }
        return result;
      });
}

Node* IntermediateEffectsCompiler::without_new_fluents(Node* post_condition) const {
  const auto is_new = [this](const Node* node) {
    return F::is_fluent_reference(node) &&
           new_fluents_.contains(factory().get_fluent_from_reference(node).get());
  };
  std::vector<Node*> kept = conjuncts_of(post_condition);
  const std::size_t before = kept.size();
  std::erase_if(kept, [&](Node* part) { return any_part(part, is_new); });
  if (kept.size() == before) return post_condition;
  return kept.size() == 1 ? kept.front() : factory().make_and(kept);
}

}  // namespace zorvel::model
