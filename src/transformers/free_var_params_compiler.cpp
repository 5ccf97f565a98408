#include "transformers/free_var_params_compiler.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <map>

#include "core/errors.h"
#include "core/log.h"
#include "core/unsupported_problem.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/walkers/check_contains_walker.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "plans/time_triggered_plan.h"
#include "transformers/duration_bounds.h"
#include "transformers/fresh_names.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

TypePtr type_of_application(const F& factory, Node* application) {
  return F::is_fluent_reference(application) ? factory.get_fluent_from_reference(application)->type()
                                             : factory.get_constant_from_reference(application)->type();
}

bool is_assignment(const Node* node) {
  return F::is_assign(node) || F::is_increase(node) || F::is_decrease(node);
}

/// Whether the statement, of an action whose duration the world chooses, writes at the end of the action
/// something that depends on a fluent.
bool writes_nested_at_end(Environment& env, Node* statement) {
  if (!F::is_temporal_expression(statement) || !is_assignment(statement->children[1])) return false;
  if (!CheckContainsWalker(env, NodeKind::END)(statement->children[0])) return false;
  const CheckContainsWalker has_fluent(env, NodeKind::FLUENT_REFERENCE);
  return std::ranges::any_of(statement->children[1]->children[0]->operands(),
                             [&](Node* argument) { return has_fluent(argument); });
}

bool has_nested_uncertain_end(const ActionImpl& action) {
  return action.is_temporally_uncertain(false) &&
         std::ranges::any_of(action.expressions(),
                             [&](Node* statement) { return writes_nested_at_end(action.env(), statement); });
}

/// Replaces applications as they stand in the input; the target of an assignment stays one, with its
/// arguments replaced.
class ApplicationSubstituter : public ExpressionSubstituter {
 public:
  ApplicationSubstituter(Environment& environment, NodeMap parameters)
      : ExpressionSubstituter(environment, std::move(parameters), {}, true) {}

  /// The application itself, with its arguments replaced.
  Node* with_new_arguments(Node* application) const {
    (*this)(application);
    return rebuilt(application);
  }

 protected:
  Node* walk_assign(Node* node) const override {
    return factory().make_assign(target(node), memoized_value(node->children[1]));
  }
  Node* walk_increase(Node* node) const override {
    return factory().make_increase(target(node), memoized_value(node->children[1]));
  }
  Node* walk_decrease(Node* node) const override {
    return factory().make_decrease(target(node), memoized_value(node->children[1]));
  }

 private:
  Node* target(Node* assignment) const {
    Node* const left = assignment->children[0];
    return F::is_fluent_reference(left) ? rebuilt(left) : memoized_value(left);
  }
  Node* rebuilt(Node* application) const {
    if (F::is_fluent_reference(application))
      return factory().make_fluent_reference(factory().get_fluent_from_reference(application),
                                             memoized_children(application));
    return factory().make_constant_reference(factory().get_constant_from_reference(application),
                                             memoized_children(application));
  }
};

/// The work on one action.
class NestingRemover {
 public:
  NestingRemover(const ActionImpl& action, FreeVarParamsCompiler::Scope scope)
      : env_(action.env()),
        scope_(scope),
        factory_(env_.expression_factory()),
        applications_(env_),
        simplify_(env_),
        has_forall_(env_, NodeKind::FORALL) {
    for (Node* expression : action.expressions()) add_statement(expression);
    make_parameters(action);
  }

  const ParameterVector& new_parameters() const { return new_parameters_; }

  std::vector<Node*> expressions() {
    std::vector<Node*> result, conditions;
    for (const Statement& statement : statements_) {
      if (!statement.is_rewritten || !parameters_.contains(statement.interval)) {
        result.push_back(statement.expression);
        continue;
      }
      const NodeMap& parameters = parameters_.at(statement.interval);
      const ApplicationSubstituter& substitute = substituter(statement.interval);
      result.push_back(simplify_(substitute(statement.expression)));
      for (Node* application : sorted_by_id(applications_(statement.body))) {
        const auto found = parameters.find(application);
        if (found == parameters.end()) continue;
        conditions.push_back(simplify_(factory_.make_temporal_expression(
            statement.interval,
            factory_.make_equals(substitute.with_new_arguments(application), found->second))));
      }
    }
    result.insert(result.end(), conditions.begin(), conditions.end());
    return result;
  }

 private:
  struct Statement {
    Node* expression;
    Node* interval;  // of the start where the expression has none
    Node* body;
    bool is_rewritten;
  };

  void add_statement(Node* original) {
    Node* const expression = simplify_(without_timing_of_duration(factory_, original));
    const bool is_timed = F::is_temporal_expression(expression);
    Statement statement{
        expression,
        is_timed ? expression->children[0] : factory_.make_point_interval(factory_.make_start_anchor()),
        is_timed ? expression->children[1] : expression, false};
    // why not under a forall: an application of its variables has no value outside of it.
    statement.is_rewritten = !has_forall_(expression) && (scope_ == FreeVarParamsCompiler::Scope::ALL
                                                              ? all_finite(applications_(statement.body))
                                                              : writes_nested_at_end(env_, expression));
    statements_.push_back(statement);
    if (statement.is_rewritten) collect(statement);
  }

  bool all_finite(const NodeSet& applications) const {
    return std::all_of(applications.begin(), applications.end(), [this](Node* application) {
      return type_of_application(factory_, application)->is_finite_domain();
    });
  }

  void collect(const Statement& statement) {
    const auto enter = [&](Node* application) {
      entries_[applications_(application).size()].insert(
          factory_.make_temporal_expression(statement.interval, application));
    };
    Node* const assigned = is_assignment(statement.body) ? statement.body->children[1] : nullptr;
    for (Node* application : sorted_by_id(applications_(statement.body))) {
      if (applications_(application).size() < 2) continue;  // itself alone
      if (assigned != nullptr && type_of_application(factory_, application)->is_boolean() &&
          applications_(assigned).contains(application))
        enter(application);
      for (Node* argument : application->operands())
        if (F::is_fluent_reference(argument)) enter(argument);
    }
  }

  void make_parameters(const ActionImpl& action) {
    FreshNames names;
    for (const auto& parameter : action.parameters()) names.reserve(parameter->name());
    for (const auto& [count, entries] : entries_) {
      for (Node* entry : entries) {
        const auto parameter = std::make_shared<ParameterImpl>(
            names.numbered("_p"), type_of_application(factory_, entry->children[1]));
        new_parameters_.push_back(parameter);
        parameters_[entry->children[0]][entry->children[1]] = factory_.make_parameter_reference(parameter);
      }
    }
  }

  const ApplicationSubstituter& substituter(Node* interval) {
    assert(parameters_.contains(interval));
    auto& result = substituters_[interval];
    if (result == nullptr) result = std::make_unique<ApplicationSubstituter>(env_, parameters_.at(interval));
    return *result;
  }

  Environment& env_;
  FreeVarParamsCompiler::Scope scope_;
  F& factory_;
  ExpressionFunApply applications_;
  ExpressionSimplifier simplify_;
  CheckContainsWalker has_forall_;
  std::vector<Statement> statements_;
  // By number of applications, most first, so that an application gets its parameter before those inside it:
  // timed expressions of an interval and an application.
  std::map<std::size_t, ExpressionSet, std::greater<>> entries_;
  ParameterVector new_parameters_;
  std::unordered_map<Node*, NodeMap> parameters_;  // by interval, from applications to new parameters
  std::unordered_map<Node*, std::unique_ptr<ApplicationSubstituter>> substituters_;  // by interval
};

}  // namespace

bool FreeVarParamsCompiler::has_nested_uncertain_end(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(
      problem.actions(), [](const auto& entry) { return model::has_nested_uncertain_end(*entry.second); });
}

void FreeVarParamsCompiler::do_computation() {
  require_flat("This phase can be only applied to flattened models!");
  if (!problem_->metrics().empty())
    throw UnsupportedProblemError("The free var params compiler does not support metrics");
  ZORVEL_LOG(DEBUG) << "Free var params compiler started!";
  ProblemParts parts(*problem_);
  for (const auto& [name, action] : problem_->actions()) {
    const bool is_kept = scope_ == Scope::UNCERTAIN_ENDS && !model::has_nested_uncertain_end(*action);
    const auto rewritten = is_kept ? action : without_nested_applications(action);
    parts.actions.push_back(rewritten);
    new_to_old_[rewritten] = action;
    old_to_new_[action] = rewritten;
  }
  const ExpressionSimplifier simplify(env());
  if (scope_ == Scope::ALL) parts.rewrite_statements([&](Node* node) { return simplify(node); });
  new_problem_ = parts.make(env());
  ZORVEL_LOG(DEBUG) << "Free var params compiling completed!";
}

std::shared_ptr<ActionImpl> FreeVarParamsCompiler::without_nested_applications(
    const std::shared_ptr<ActionImpl>& action) const {
  NestingRemover remover(*action, scope_);
  // Behind the old ones, so that a step goes back by leaving the rest out.
  ParameterVector parameters = action->parameters();
  parameters.insert(parameters.end(), remover.new_parameters().begin(), remover.new_parameters().end());
  return env().model_factory().make_action(action->name(), action->path(), action->is_process(), parameters,
                                           remover.expressions(), action->simulated_effects());
}

ActionStep FreeVarParamsCompiler::map_back(const ActionStep& step) const {
  return {step.instance, find_action(new_to_old_, step.action, unknown_to_transformer), step.parameters};
}

std::shared_ptr<Plan> FreeVarParamsCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the transformer", [this](const PlannedStep& planned) {
    MappedStep mapped{map_back(planned.step), planned.post_condition};
    const std::size_t kept = std::min(mapped.step.parameters.size(), mapped.step.action->parameters().size());
    mapped.step.parameters.resize(kept);
    return mapped;
  });
}

std::vector<ActionStep> FreeVarParamsCompiler::map_forward(const ActionStep& step) const {
  if (scope_ == Scope::ALL) throw InternalError("Not supported!");
  return {{step.instance, find_action(old_to_new_, step.action, unknown_to_transformer), step.parameters}};
}

std::shared_ptr<TimeTriggeredPlan> FreeVarParamsCompiler::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  if (scope_ == Scope::ALL) throw InternalError("Not supported!");
  return map_time_triggered(plan, [this](const PlannedStep& planned) {
    return std::vector{MappedStep{map_forward(planned.step).front(), planned.post_condition}};
  });
}

}  // namespace zorvel::model
