#include "search/classical/tsimple/tsimple_model.h"

#include <set>
#include <string>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_simplifier.h"
#include "search/frame/missing_values.h"
#include "state/evaluator.h"
#include "state/operations.h"

namespace zorvel::tsimple {

using F = model::ExpressionFactory;

namespace {

/// Whether an effect stands anywhere in the expression.
bool has_effect(Node* expression) {
  std::vector<Node*> pending{expression};
  std::unordered_set<Node*> seen;
  while (!pending.empty()) {
    Node* const node = pending.back();
    pending.pop_back();
    if (!seen.insert(node).second) continue;
    if (F::is_assign(node) && !F::is_duration_anchor(node->children[0])) return true;
    for (Node* child : node->operands()) pending.push_back(child);
  }
  return false;
}

/// Whether no step can be made of the action, since its duration is a negative constant.
bool is_impossible(Environment& env, const model::ActionImpl& action) {
  Node* const duration = duration_statement(env, action);
  return duration != nullptr && F::is_numeric_constant(duration) &&
         env.expression_factory().get_numeric_constant(duration) < rational(0);
}

void warn_with_list(Environment& env, const std::string& text, const std::set<std::string>& names) {
  if (!names.empty()) env.warning_manager().warn_once(text + shortened_list(names));
}

}  // namespace

Node* duration_statement(Environment& env, const model::ActionImpl& action) {
  for (const auto is_kind : {&F::is_assign, &F::is_equals})
    for (Node* expression : action.expressions())
      if (is_kind(expression) && F::is_duration_anchor(expression->children[0]))
        return model::ExpressionSimplifier(env)(expression->children[1]);
  return nullptr;
}

TSimpleModel::TSimpleModel(Environment& env, model::ProblemPtr problem)
    : env_(env), problem_(std::move(problem)) {
  for (Node* expression : problem_->expressions()) add_statement(expression);
  for (const auto& [name, action] : problem_->actions())
    if (!is_impossible(env_, *action)) actions_.emplace_back(problem_, action);
  for (const model::AlwaysWithin& rule : problem_->rules().always_within)
    ignored_.push_back(env_.expression_factory().make_imply(rule.trigger, rule.response));
  warn_about_what_is_ignored(landmarks_);
  warn_about_what_is_ignored(ignored_);
  warn_about_missing_values();
  warn_about_missing_durations();
}

void TSimpleModel::add_statement(Node* expression) {
  F& factory = env_.expression_factory();
  const model::ExpressionSimplifier simplify(env_);
  if (const auto effect = get_effect(factory, expression, nullptr)) {
    if (!F::is_start_anchor(effect->anchor) && !F::is_zero(simplify(effect->anchor)))
      throw UnsupportedProblemError("Search planner does not support TILs!");
    std::vector<Node*> arguments;
    for (Node* argument : effect->parameters) arguments.push_back(simplify(argument));
    Node* const reference = factory.make_fluent_reference(effect->fluent, arguments);
    index_.try_emplace(reference, index_.size());
    initial_values_.emplace_back(reference, effect->value);
    return;
  }
  if (!F::is_temporal_expression(expression)) {
    ignored_.push_back(expression);
    return;
  }
  Node* const interval = expression->children[0];
  Node* const body = expression->children[1];
  if (F::is_contains(interval))
    landmarks_.push_back(body);
  else if (factory.is_point_interval(interval) && F::is_end_anchor(interval->children[0]) &&
           !has_effect(expression))
    goals_.push_back(normalized_condition(env_, body));
  else
    ignored_.push_back(expression);
}

SearchState TSimpleModel::initial_values() const {
  SearchState state(index_.size(), 1);
  for (const auto& [reference, value] : initial_values_) {
    // why a new evaluator each time: a value may read those set before it.
    const ExpressionEvaluator evaluate(env_, index_, state);
    F& factory = env_.expression_factory();
    const auto type = factory.get_fluent_from_reference(reference)->type();
    state.set_value(index_, reference, model::as_value_of(factory, *type, evaluate(value)));
  }
  return state;
}

PathState TSimpleModel::initial_state() const {
  PathState state(initial_values());
  note_achievements(state);
  return state;
}

void TSimpleModel::note_achievements(PathState& state) const {
  for (std::size_t i = 0; i < landmarks_.size(); ++i)
    if (tp::check(env_, state, landmarks_[i], index_)) state.achieved_landmarks.insert(i);
  state.achieved_goals = 0;
  for (Node* goal : goals_)
    if (tp::check(env_, state, goal, index_)) ++state.achieved_goals;
}

void TSimpleModel::warn_about_what_is_ignored(const std::vector<Node*>& conditions) const {
  std::set<std::string> texts;
  for (Node* condition : conditions) {
    std::ostringstream text;
    text << model::print_expression{condition};
    texts.insert(text.str());
  }
  const bool are_landmarks = &conditions == &landmarks_;
  warn_with_list(env_,
                 are_landmarks
                     ? "This planner is guided by these conditions, and does not see to it that they hold at "
                       "some moment: "
                     : "This planner knows no time but the end, and does not see to these conditions: ",
                 texts);
}

void TSimpleModel::warn_about_missing_values() const {
  model::ExpressionFreeVars free_vars(env_);
  MissingValues missing(index_);
  const auto note = [&](Node* expression) {
    for (Node* reference : free_vars(expression))
      if (!model::is_undefined(env_.expression_factory(), reference)) missing.note(reference);
  };
  for (Node* goal : goals_) note(goal);
  for (Node* landmark : landmarks_) note(landmark);
  for (const ClassicalAction& action : actions_) {
    note(action.condition());
    for (const auto& [reference, effect] : action.effects()) {
      note(reference);
      note(effect->value);
    }
    for (const auto& simulated : action.simulated_effects())
      for (Node* reference : simulated->fluents) missing.note(reference);
  }
  missing.warn(env_);
}

void TSimpleModel::warn_about_missing_durations() const {
  std::set<std::string> names;
  for (const ClassicalAction& action : actions_)
    if (duration_statement(env_, *action.action()) == nullptr) names.insert(action.action()->name());
  warn_with_list(env_,
                 "This planner takes no plan with these actions, whose duration no statement fixes: ", names);
}

}  // namespace zorvel::tsimple
