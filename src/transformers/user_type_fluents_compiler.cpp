#include "transformers/user_type_fluents_compiler.h"

#include <algorithm>
#include <string>
#include <utility>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/model_factory.h"
#include "model/walkers/expression_parts.h"
#include "transformers/fresh_names.h"
#include "transformers/timed_statements.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

constexpr std::string_view unknown_to_usertype_fluents_compiler =
    "Found an action that is unknown to the usertype fluents compiler!";

/// The parameters of the new fluent: those of the old one, and the value.
ParameterVector with_value(const FluentImpl& fluent) {
  FreshNames names;
  ParameterVector result;
  for (const auto& parameter : fluent.parameters()) {
    names.reserve(parameter->name());
    result.push_back(std::make_shared<ParameterImpl>(parameter->name(), parameter->type()));
  }
  result.push_back(std::make_shared<ParameterImpl>(names.unique("ut"), fluent.type()));
  return result;
}

/// The statement, or the single ones of an `and` of assignments, each under the interval of it.
std::vector<Node*> split_assignments(F& factory, Node* statement) {
  const bool is_timed = F::is_temporal_expression(statement);
  Node* const body = is_timed ? statement->children[1] : statement;
  if (!F::is_and(body)) return {statement};
  std::vector<Node*> parts = conjuncts_of(body);
  if (!std::ranges::all_of(parts, &F::is_assign)) return {statement};
  if (is_timed)
    for (Node*& part : parts) part = factory.make_temporal_expression(statement->children[0], part);
  return parts;
}

/// Turns new references back into what they stand for: `f(args, o)` into `f(args) == o`.
class ValueWalker : public ExpressionIdentity {
 public:
  ValueWalker(Environment& environment, const NodeMap& old_heads)
      : ExpressionIdentity(environment), old_heads_(old_heads) {}

 protected:
  Node* walk_fluent_reference(Node* node) const override {
    const auto found =
        old_heads_.find(factory().make_fluent_reference(factory().get_fluent_from_reference(node), {}));
    if (found == old_heads_.end()) return ExpressionIdentity::walk_fluent_reference(node);
    std::vector<Node*> arguments = memoized_children(node);
    Node* const value = arguments.back();
    arguments.pop_back();
    return factory().make_equals(
        factory().make_fluent_reference(factory().get_fluent_from_reference(found->second), arguments),
        value);
  }

 private:
  const NodeMap& old_heads_;
};

}  // namespace

UserTypeFluentsCompiler::UserTypeFluentsCompiler(const ProblemPtr& problem)
    : BackOnly(problem, {unknown_to_usertype_fluents_compiler, unknown_to_usertype_fluents_compiler,
                         "the usertype fluents compiler"}) {}

bool UserTypeFluentsCompiler::is_needed(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.fluents(),
                             [](const auto& entry) { return entry.second->type()->is_user_defined(); });
}

void UserTypeFluentsCompiler::do_computation() {
  if (!problem_->is_flat())
    throw UnsupportedProblemError("The usertype fluents compiler can be only applied to flattened models!");
  ZORVEL_LOG(DEBUG) << "Usertype fluents compiler started!";
  ProblemParts parts(*problem_);
  add_fluents(parts);
  const UserTypeFluentsSubstituter walker(*problem_, new_fluents_);
  const NodeRewrite rewrite = [&](Node* node) { return walker(node); };
  MetricRewriter metrics(*problem_);
  for (const auto& [name, action] : problem_->actions()) {
    parts.actions.push_back(compiled(*action, walker));
    pair(action, parts.actions.back());
    metrics.carry_cost(action, parts.actions.back(), rewrite);
  }
  parts.expressions.clear();
  parts.rewrite_statements(rewrite);
  for (Node* statement : problem_->expressions())
    for (Node* part : split_assignments(factory(), walker(statement))) parts.expressions.push_back(part);
  parts.metrics = metrics.metrics(rewrite);
  new_problem_ = parts.make(env());
  ZORVEL_LOG(DEBUG) << "Usertype fluents compiling completed: " << walker.assignments_made()
                    << " assignments to single objects";
}

void UserTypeFluentsCompiler::add_fluents(ProblemParts& parts) {
  for (auto& fluent : parts.fluents) {
    if (!fluent->type()->is_user_defined()) continue;
    const auto old = fluent;
    fluent = env().model_factory().make_fluent(old->name(), env().model_factory().make_boolean_type(),
                                               old->path(), with_value(*old));
    new_fluents_[old.get()] = fluent;
    old_heads_[factory().make_fluent_reference(fluent, {})] = factory().make_fluent_reference(old, {});
  }
  for (const InitialDefault& rule : parts.rules.initial_defaults)
    if (new_fluents_.contains(rule.fluent.get()))
      throw UnsupportedProblemError(
          "A default of a fluent whose values are objects; 'initial-values-compiler' comes first: ")
          << rule.fluent->name();
}

std::shared_ptr<ActionImpl> UserTypeFluentsCompiler::compiled(
    const ActionImpl& action, const UserTypeFluentsSubstituter& walker) const {
  if (action.has_parameters())
    throw UnsupportedProblemError("UserTypeFluentsCompiler transformer only works with ground actions!")
        << ' ' << action.name();
  if (!action.simulated_effects().empty())
    throw UnsupportedProblemError(
        "Usertype fluents compiler cannot be applied to problem with simulated effects");
  std::vector<Node*> statements;
  for (Node* statement : action.expressions())
    for (Node* part : split_assignments(factory(), walker(statement))) statements.push_back(part);
  return env().model_factory().make_action(action.name(), action.path(), action.is_process(), {}, statements,
                                           {});
}

Node* UserTypeFluentsCompiler::condition_back(Node* post_condition) const {
  return ValueWalker(env(), old_heads_)(post_condition);
}

}  // namespace zorvel::model
