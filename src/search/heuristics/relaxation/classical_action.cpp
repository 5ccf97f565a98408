#include "search/heuristics/relaxation/classical_action.h"

#include <algorithm>
#include <deque>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/normal_forms.h"
#include "state/operations.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

bool is_finite(const model::TypePtr& type) {
  return type->is_boolean() || type->is_user_defined() || (type->is_integer() && type->is_finite_domain());
}

}  // namespace

Node* normalized_condition(Environment& env, Node* condition) {
  return model::ExpressionSimplifier(env)(model::ToNNF(env)(condition));
}

ClassicalAction::ClassicalAction(model::ProblemPtr problem, std::shared_ptr<model::ActionImpl> action)
    : problem_(std::move(problem)), action_(std::move(action)) {
  if (action_->has_parameters()) throw InternalError("The ftp-based planner assumes a grounded model");
  F& factory = env().expression_factory();
  model::CheckContainsWalker contains_duration(env(), NodeKind::DURATION);
  for (Node* expression : action_->expressions()) {
    if (contains_duration(expression)) {
      if (F::is_temporal_expression(expression))
        throw UnsupportedProblemError("Duration anchor cannot be used in temporal expression: ")
            << model::print_expression{expression};
      continue;
    }
    if (const std::shared_ptr<Effect> effect = get_effect(factory, expression, action_))
      add_effect(expression, effect);
    else
      add_condition(F::is_temporal_expression(expression) ? expression->children[1] : expression);
  }
  std::unordered_set<const model::FluentImpl*> plainly_written;
  for (const auto& [reference, effect] : effects_) plainly_written.insert(effect->fluent.get());
  for (const auto& simulated : simulated_effects())
    for (Node* reference : simulated->fluents)
      if (plainly_written.contains(factory.get_fluent_from_reference(reference).get()))
        throw UnsupportedProblemError(
            "Actions with multiple normal and simulated effects on the same fluent are not supported in the "
            "tsimple algorithm: in action ")
            << action_->name();
  condition_ = conditions_.empty() ? factory.make_boolean_constant(true) : factory.make_and(conditions_);
  if (!conditions_.empty()) dnf_condition_ = model::ToDNF(env())(normalized_condition(env(), condition_));
}

void ClassicalAction::add_effect(Node* expression, const std::shared_ptr<Effect>& effect) {
  F& factory = env().expression_factory();
  Node* const reference = factory.make_fluent_reference(effect->fluent, effect->parameters);
  const auto [known, is_new] = effects_.try_emplace(reference, effect);
  if (is_new) return;
  Node* const old_anchor = known->second->anchor;
  if (old_anchor == effect->anchor)
    throw UnsupportedProblemError(
        "Found two contradicting effects of the same action at the same time: in action ")
        << action_->name();
  // Of a write at the start and one at the end the later is what stays; moments between cannot be ordered
  // here.
  if (F::is_start_anchor(old_anchor) && F::is_end_anchor(effect->anchor)) {
    known->second = effect;
  } else if (!(F::is_end_anchor(old_anchor) && F::is_start_anchor(effect->anchor))) {
    throw UnsupportedProblemError(
        "Actions with complex self-interfering effects are not supported: in action ")
        << action_->name() << " effect " << model::print_expression{expression};
  }
}

void ClassicalAction::add_condition(Node* condition) {
  F& factory = env().expression_factory();
  conditions_.push_back(condition);
  std::deque<Node*> work{normalized_condition(env(), condition)};
  while (!work.empty()) {
    Node* const node = work.front();
    work.pop_front();
    if (F::is_and(node) || F::is_or(node))
      work.insert(work.end(), node->operands().begin(), node->operands().end());
    else if (F::is_equals(node) && F::is_instance_reference(node->children[0]) &&
             F::is_fluent_reference(node->children[1]))
      predicates_conditions_.push_back(factory.make_equals(node->children[1], node->children[0]));
    else
      predicates_conditions_.push_back(node);
  }
}

const std::vector<Node*>& ClassicalAction::predicates_added(bool all) const {
  std::optional<std::vector<Node*>>& known = predicates_added_[all ? 1 : 0];
  if (known) return *known;
  std::vector<Node*>& added = known.emplace();
  for (const auto& [reference, effect] : effects_) add_predicates_of(reference, effect->value, all, added);
  for (const auto& simulated : simulated_effects())
    for (Node* reference : simulated->fluents) add_predicates_of(reference, nullptr, all, added);
  std::unordered_set<Node*> seen;
  std::erase_if(added, [&](Node* predicate) { return !seen.insert(predicate).second; });
  return added;
}

void ClassicalAction::add_predicates_of(Node* reference, Node* value, bool all,
                                        std::vector<Node*>& added) const {
  if (value == reference) return;  // keeps what is there, and so adds nothing
  F& factory = env().expression_factory();
  const auto fluent = factory.get_fluent_from_reference(reference);
  const auto type = fluent->type();
  const auto& instances = problem_->instances();

  std::vector<std::vector<Node*>> choices;  // by argument
  for (std::size_t i = 0; i < reference->arity; ++i) {
    std::vector<Node*>& choice = choices.emplace_back();
    if (F::is_value(reference->children[i])) {
      choice.push_back(reference->children[i]);
      continue;
    }
    const auto domain = fluent->parameters()[i]->type();
    if (!is_finite(domain))
      throw UnsupportedProblemError(fluent->name())
          << " is not a finite domain type: heuristic value can not be computed!";
    for (std::size_t item = 0; item < model::domain_size(instances, domain); ++item)
      choice.push_back(model::domain_item(env(), instances, domain, item));
  }
  for (const std::vector<Node*>& arguments : cartesian_product(choices)) {
    Node* const ground = factory.make_fluent_reference(fluent, arguments);
    if (type->is_boolean()) {
      if (value == nullptr || !F::is_kind(value, NodeKind::FALSE)) added.push_back(ground);
      if (value == nullptr || !F::is_kind(value, NodeKind::TRUE)) added.push_back(factory.make_not(ground));
    }
    if (!type->is_user_defined() && !all) continue;
    if (value != nullptr && F::is_value(value)) {
      added.push_back(factory.make_equals(ground, value));
    } else if (is_finite(type)) {
      for (std::size_t item = 0; item < model::domain_size(instances, type); ++item)
        added.push_back(factory.make_equals(ground, model::domain_item(env(), instances, type, item)));
    } else if (!all) {
      throw InternalError("Found an undefined finite-domain type");
    }
  }
}

std::unordered_set<const model::FluentImpl*> ClassicalAction::written_fluents() const {
  std::unordered_set<const model::FluentImpl*> written;
  for (const auto& [reference, effect] : effects_) written.insert(effect->fluent.get());
  for (const auto& simulated : simulated_effects())
    for (Node* reference : simulated->fluents)
      written.insert(env().expression_factory().get_fluent_from_reference(reference).get());
  return written;
}

}  // namespace zorvel
