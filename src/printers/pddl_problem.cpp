#include "printers/pddl_problem.h"

#include <algorithm>
#include <unordered_map>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/function_value.h"
#include "model/model_factory.h"
#include "model/tuples.h"
#include "model/walkers/expression_identity.h"
#include "model/walkers/expression_parts.h"
#include "model/walkers/expression_simplifier.h"
#include "transformers/chain.h"
#include "transformers/problem_parts.h"

namespace zorvel {

using namespace model;

namespace {

using F = ExpressionFactory;

bool is_object_valued(const auto& declared) { return declared.type()->is_user_defined(); }

/// Whether every assignment in the body of a `forall` at the start is one of false: then nothing of it is
/// written, and it need not be expanded.
bool only_says_false(const F& factory, const Node* statement, bool is_at_start = false) {
  if (F::is_temporal_expression(statement)) {
    const Node* const interval = statement->children[0];
    const bool is_start = F::is_interval(interval) && factory.is_point_interval(interval) &&
                          F::is_start_anchor(interval->children[0]);
    return is_start && only_says_false(factory, statement->children[1], true);
  }
  if (F::is_forall(statement))
    return std::ranges::all_of(statement->operands(), [&](const Node* inner) {
      return only_says_false(factory, inner, is_at_start);
    });
  return is_at_start && F::is_assign(statement) && statement->children[1]->kind() == NodeKind::FALSE;
}

bool has_forall(const Node* statement) {
  return any_part(statement, [](const Node* n) { return F::is_forall(n); });
}

ProblemPtr without_false_foralls(const ProblemPtr& problem) {
  const F& factory = problem->env().expression_factory();
  ProblemParts parts(*problem);
  const auto dropped = std::erase_if(parts.expressions, [&](const Node* statement) {
    return has_forall(statement) && only_says_false(factory, statement);
  });
  if (dropped == 0) return problem;
  for (const auto& [name, action] : problem->actions()) parts.actions.push_back(action);
  return parts.make(problem->env());
}

/// Whether a fluent or a constant stands among the arguments of another one.
bool has_nested_references(const ProblemInstanceImpl& problem) {
  std::vector<const Node*> expressions(problem.expressions().begin(), problem.expressions().end());
  for (const auto& [name, action] : problem.actions())
    expressions.insert(expressions.end(), action->expressions().begin(), action->expressions().end());
  return any_part(std::move(expressions), [](const Node* node) {
    return (F::is_fluent_reference(node) || F::is_constant_reference(node)) &&
           std::ranges::any_of(node->operands(), [](const Node* a) { return F::is_fluent_reference(a); });
  });
}

bool has_object_values(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.fluents(), [](const auto& e) { return is_object_valued(*e.second); }) ||
         std::ranges::any_of(problem.constants(), [](const auto& e) {
           return e.second->has_parameters() && is_object_valued(*e.second);
         });
}

const ParameterImpl* parameter_without_objects(const ParameterVector& parameters) {
  const auto found = std::ranges::find_if(
      parameters, [](const auto& parameter) { return !parameter->type()->is_user_defined(); });
  return found == parameters.end() ? nullptr : found->get();
}

/// Refuses a parameter that is no object; false if there is none.
template <class Declared>
void require_object_parameters(const char* word, const std::string& name, const Declared& declared) {
  if (const ParameterImpl* const parameter = parameter_without_objects(declared.parameters()))
    throw UnsupportedProblemError("PDDL has objects alone as parameters: ")
        << word << " '" << name << "' has the parameter '" << parameter->name() << "' of type "
        << parameter->type()->reference_name();
}

bool has_other_parameters(const ProblemInstanceImpl& problem) {
  const auto has_one = [](const auto& entry) {
    return parameter_without_objects(entry.second->parameters()) != nullptr;
  };
  return std::ranges::any_of(problem.actions(), has_one) || std::ranges::any_of(problem.fluents(), has_one) ||
         std::ranges::any_of(problem.constants(), has_one);
}

}  // namespace

/// Writes constants as the fluents that they became.
class PddlProblem::ConstantWalker : public ExpressionIdentity {
 public:
  using ExpressionIdentity::ExpressionIdentity;
  std::unordered_map<const ConstantImpl*, std::shared_ptr<FluentImpl>> fluents;

 protected:
  Node* walk_constant_reference(Node* node) const override {
    const auto constant = factory().get_constant_from_reference(node);
    const auto found = fluents.find(constant.get());
    if (found == fluents.end())
      throw UnsupportedProblemError("PDDL has no constants of this kind: ")
          << constant->name() << " of type " << constant->type()->reference_name();
    return factory().make_fluent_reference(found->second, memoized_children(node));
  }
};

PddlProblem::PddlProblem(const ProblemPtr& problem) {
  transform(problem);
  refuse_what_is_left();
  replace_constants();
}

/// The order counts: metrics go out before the transformers that refuse them, what is nested before what is
/// grounded, and constants come last, since the grounder prunes by them.
void PddlProblem::transform(const ProblemPtr& problem) {
  TransformerChain flat(problem);
  for (const char* name : {"flattener", "type-hierarchy-compiler"}) flat.apply(name);
  metric_ = std::make_shared<CarriedMetric>(flat.problem());
  TransformerChain plain(metric_->problem());
  plain.apply("increase-decrease-compiler");
  TransformerChain chain(without_false_foralls(plain.problem()));
  chain.apply("forall-compiler");
  const auto ground = [&] {
    if (has_nested_references(*chain.problem())) chain.apply("free-var-params-compiler");
    if (!chain.problem()->is_ground(true)) chain.apply("action-grounder");
  };
  // Cuts of actions may be said in a forall again.
  for (const char* name : {"intermediate-effects-compiler", "forall-compiler"}) chain.apply(name);
  if (uses_sets(*chain.problem())) {
    ground();
    chain.apply("set-compiler");
  }
  if (has_object_values(*chain.problem()) || has_nested_references(*chain.problem())) ground();
  chain.apply("usertype-fluents-compiler");
  if (has_other_parameters(*chain.problem())) chain.apply("full-grounder");
  problem_ = metric_->take_out(chain.problem());
}

void PddlProblem::refuse_what_is_left() const {
  for (const auto& [name, action] : problem_->actions())
    if (!action->simulated_effects().empty())
      throw UnsupportedProblemError("Simulated effects are not supported!");
  if (problem_->has_continuous_change()) throw InternalError("Continuous change is not supported!");
  if (problem_->has_processes()) throw InternalError("Processes are not supported!");
  for (const auto& [name, action] : problem_->actions()) require_object_parameters("action", name, *action);
  for (const auto& [name, fluent] : problem_->fluents()) require_object_parameters("fluent", name, *fluent);
}

Node* PddlProblem::written(Node* expression) const {
  Node* const simple = ExpressionSimplifier(problem_->env())(expression);
  return (*constant_walker_)(simple);
}

void PddlProblem::replace_constants() {
  fluents_ = problem_->fluents();
  const auto walker = std::make_shared<ConstantWalker>(problem_->env());
  for (const auto& [name, constant] : problem_->constants()) {
    const bool is_value =
        constant->type()->is_boolean() || constant->type()->is_integer() || constant->type()->is_rational();
    if (!constant->has_parameters() || !is_value) continue;
    require_object_parameters("constant", name, *constant);
    fluents_[name] =
        problem_->env().model_factory().make_fluent(name, constant->type(), {}, constant->parameters());
    walker->fluents[constant.get()] = fluents_[name];
  }
  constant_walker_ = walker;
  for (const auto& [name, constant] : problem_->constants())
    if (walker->fluents.contains(constant.get())) add_values(*constant, fluents_[name]);
}

/// A table has rows that stand for many: of a predicate that is false otherwise, those that are true are
/// enough.
void PddlProblem::add_values(const ConstantImpl& constant, const std::shared_ptr<FluentImpl>& fluent) {
  F& factory = problem_->env().expression_factory();
  const ExpressionSimplifier simplify(problem_->env());
  const auto table = constant.value("");
  if (table == nullptr) return;
  Node* const start = factory.make_point_interval(factory.make_start_anchor());
  const auto add = [&](const std::vector<Node*>& arguments, Node* value) {
    Node* const plain = value == nullptr ? nullptr : as_value_of(factory, *constant.type(), simplify(value));
    if (plain == nullptr || plain->kind() == NodeKind::FALSE) return;
    constant_values_.push_back(factory.make_temporal_expression(
        start, factory.make_assign(factory.make_fluent_reference(fluent, arguments), plain)));
  };
  const bool rows_are_enough = std::ranges::all_of(table->assignments(), [&](const auto& row) {
    return row.first.size() == constant.arity() || simplify(row.second)->kind() == NodeKind::FALSE;
  });
  if (rows_are_enough) {
    for (const auto& [arguments, value] : table->sorted_assignments())
      if (arguments.size() == constant.arity()) add(arguments, value);
    return;
  }
  std::vector<std::vector<Node*>> domains;
  for (const auto& parameter : constant.parameters())
    domains.push_back(values_for(*problem_, parameter->type()));
  for_each_tuple(domains, TurnsFastest::LAST,
                 [&](const std::vector<Node*>& tuple) { add(tuple, table->assignment(tuple)); });
}

}  // namespace zorvel
