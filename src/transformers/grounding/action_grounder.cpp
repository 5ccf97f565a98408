#include "transformers/grounding/action_grounder.h"

#include <algorithm>
#include <cassert>
#include <limits>

#include "core/errors.h"
#include "core/log.h"
#include "model/fluent.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_identity.h"
#include "transformers/finite_domain.h"
#include "transformers/grounding/action_checks.h"
#include "transformers/timed_statements.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

/// Raises before the values of a domain that no memory holds are made.
void require_size(const ProblemInstanceImpl& problem, const ActionImpl& action,
                  const ParameterImpl& parameter) {
  if (parameter.type()->is_integer() &&
      domain_size(problem.instances(), parameter.type()) > max_listed_values)
    throw GroundingFailedError("Parameter '")
        << parameter.name() << "' of action '" << action.name()
        << "' has too many values: " << parameter.type()->reference_name();
}

bool has_numeric_parameter(const FluentImpl& fluent) {
  return std::any_of(fluent.parameters().begin(), fluent.parameters().end(), [](const auto& parameter) {
    return parameter->type()->is_integer() || parameter->type()->is_rational();
  });
}

/// Whether some fluent of the statements takes numbers, so that it can be applied outside its domain.
bool applies_to_numbers(Environment& env, const std::vector<Node*>& expressions) {
  const ExpressionFreeVars free_variables(env);
  return std::any_of(expressions.begin(), expressions.end(), [&](Node* expression) {
    const auto& references = free_variables(expression);
    return std::any_of(references.begin(), references.end(), [&](Node* reference) {
      return has_numeric_parameter(*env.expression_factory().get_fluent_from_reference(reference));
    });
  });
}

bool is_same_time(ExpressionFactory& factory, Node* a, Node* b) {
  if (a == b) return true;
  const auto time_a = read_timing(factory, a), time_b = read_timing(factory, b);
  return time_a && time_a == time_b;
}

}  // namespace

ActionGrounder::ActionGrounder(const ProblemInstanceImpl& problem, const FunApplySubstituter* functions,
                               bool prune_actions)
    : env_(problem.env()),
      factory_(env_.expression_factory()),
      problem_(problem),
      functions_(functions),
      prune_actions_(prune_actions),
      check_constants_(env_),
      simplify_(env_),
      simplify_ground_(env_) {}

void ActionGrounder::read_action(const ActionImpl& action) {
  finite_.clear();
  infinite_.clear();
  domains_.clear();
  references_.clear();
  statements_.clear();
  for (const auto& parameter : action.parameters()) {
    const bool is_finite = parameter->type()->is_finite_domain();
    (is_finite ? finite_ : infinite_).push_back(parameter);
    if (!is_finite) continue;
    require_size(problem_, action, *parameter);
    domains_.push_back(finite_domain_values(env_, problem_.instances(), parameter->type()));
  }
  for (const ParameterVector* parameters : {&finite_, &infinite_})
    for (const auto& parameter : *parameters)
      references_.push_back(factory_.make_parameter_reference(parameter));
  // why rebuilt: substitution would make long sums and products binary, and so decide how they simplify.
  const ExpressionIdentity rebuild(env_);
  for (Node* statement : action.expressions()) statements_.push_back(rebuild(statement));
  std::vector<Node*> expressions = statements_;
  for (const auto& effect : action.simulated_effects())
    expressions.insert(expressions.end(), effect->fluents.begin(), effect->fluents.end());
  if (functions_ == nullptr) simplify_.lay_out(statements_, references_);
  tests_domains_ = prune_actions_ && applies_to_numbers(env_, expressions);
}

ActionGrounder::Counters ActionGrounder::ground(const ActionImpl& action,
                                                const std::function<void(const GroundAction&)>& keep) {
  read_action(action);
  StaticProgram program(env_, finite_);
  std::vector<std::vector<StaticValue>> static_domains;
  for (const auto& domain : domains_) {
    std::vector<StaticValue>& values = static_domains.emplace_back();
    for (const Node* value : domain) values.push_back(StaticValue::of(factory_, value));
  }
  CombinationSearch search(
      program, std::move(static_domains),
      compile_checks(env_, program, statements_, prune_actions_, !problem_.rules().has_mutual_exclusion));
  Counters counters{search.combinations(), 0, 0};
  search.for_each([&](std::span<const CombinationSearch::Digit> digits) {
    ++counters.built;
    bind(digits);
    if (build_statements(action)) keep({values_, parameters_, built_, simulated_effects_});
  });
  counters.tries = search.tries();
  return counters;
}

void ActionGrounder::bind(std::span<const CombinationSearch::Digit> digits) {
  values_.clear();
  parameters_.clear();
  for (std::size_t i = 0; i < finite_.size(); ++i) values_.push_back(domains_[i][digits[i]]);
  all_values_ = values_;
  for (const auto& parameter : infinite_) {
    parameters_.push_back(std::make_shared<ParameterImpl>(parameter->name(), parameter->type()));
    all_values_.push_back(factory_.make_parameter_reference(parameters_.back()));
  }
  if (functions_ == nullptr) {
    simplify_.bind(all_values_);
    return;
  }
  NodeMap replacements;
  assert(references_.size() <= all_values_.size());
  for (std::size_t i = 0; i < references_.size(); ++i) replacements[references_[i]] = all_values_[i];
  substitute_ = std::make_unique<ExpressionSubstituter>(env_, std::move(replacements), NodeMap(), false);
}

Node* ActionGrounder::rewrite(Node* expression) {
  Node* const result = functions_ == nullptr ? simplify_(expression)
                                             : simplify_ground_((*functions_)((*substitute_)(expression)));
  check_constants_(result);
  return result;
}

Node* ActionGrounder::rewrite_statement(std::size_t index) {
  assert(index < statements_.size());
  if (functions_ != nullptr) return rewrite(statements_[index]);
  Node* const result = simplify_.simplify_statement(index);
  if (simplify_.met_undefined_constant(index)) check_constants_(result);
  return result;
}

/// Builds the statements of the combination that is bound; false if it is useless.
bool ActionGrounder::build_statements(const ActionImpl& action) {
  built_.clear();
  effects_.clear();
  try {
    for (std::size_t index = 0; index < statements_.size(); ++index) {
      Node* const ground = rewrite_statement(index);
      Node* const body = body_of(ground);
      if (F::is_boolean_constant(body)) {
        if (factory_.get_boolean_constant(body)) continue;
        if (prune_actions_) return false;
        built_.push_back(ground);
        continue;
      }
      built_.push_back(ground);
      if (is_useless(ground)) return false;
    }
    return build_simulated_effects(action);
  } catch (const UndefinedConstantError& error) {
    ZORVEL_LOG(DEBUG) << "--> Pruning action " << action.name() << " because it contains a constant that "
                      << "is not initialized: " << error.what();
    return false;
  }
}

bool ActionGrounder::is_useless(Node* statement) {
  const auto effect = effect_target(factory_, statement);  // which also refuses what is no proper effect
  if (!prune_actions_) return false;
  if (effect && is_useless_effect(*effect, statement)) return true;
  if (!tests_domains_) return false;
  const auto applications = decisive_applications(statement, [](const Node*) { return true; });
  return std::any_of(applications.begin(), applications.end(),
                     [this](const Node* application) { return is_outside_domain(factory_, application); });
}

/// Whether the combination has an effect on the same fluent at the same time already. With mutual exclusion,
/// two equal ones are one effect.
bool ActionGrounder::is_useless_effect(const EffectTarget& effect, const Node* statement) {
  for (const auto& [other, of_statement] : effects_)
    if (other.reference == effect.reference && is_same_time(factory_, other.anchor, effect.anchor) &&
        !(problem_.rules().has_mutual_exclusion && statement == of_statement))
      return true;
  effects_.emplace_back(effect, statement);
  return false;
}

bool ActionGrounder::build_simulated_effects(const ActionImpl& action) {
  simulated_effects_.clear();
  for (const auto& effect : action.simulated_effects()) {
    simulated_effects_.push_back(wrap(action, *effect));
    const std::vector<Node*>& fluents = simulated_effects_.back()->fluents;
    if (tests_domains_ && std::any_of(fluents.begin(), fluents.end(), [this](const Node* fluent) {
          return is_outside_domain(factory_, fluent);
        }))
      return false;
  }
  return true;
}

/// The effect with its fluents ground, and with the values put in front of the user's function.
std::shared_ptr<SimulatedEffectImpl> ActionGrounder::wrap(const ActionImpl& action,
                                                          const SimulatedEffectImpl& effect) {
  std::vector<Node*> all_values;  // in the action's order; null where the step gives one
  std::size_t next_finite = 0;
  for (const auto& parameter : action.parameters()) {
    const bool is_finite = next_finite < finite_.size() && finite_[next_finite] == parameter;
    all_values.push_back(is_finite ? values_[next_finite++] : nullptr);
  }
  assert(next_finite == finite_.size());
  auto call = [function = effect.function, all_values](const SearchState& state, const StateIndex& index,
                                                       const std::vector<Node*>& given) {
    std::vector<Node*> parameters = all_values;
    auto next = given.begin();
    for (Node*& parameter : parameters) {
      if (parameter != nullptr) continue;
      if (next == given.end()) throw InternalError("A simulated effect was called with too few parameters");
      parameter = *next++;
    }
    return function(state, index, parameters);
  };
  std::vector<Node*> fluents;
  for (Node* fluent : effect.fluents) fluents.push_back(rewrite(fluent));
  return std::make_shared<SimulatedEffectImpl>(
      SimulatedEffectImpl{rewrite(effect.timing), std::move(fluents), std::move(call)});
}

}  // namespace zorvel::model
