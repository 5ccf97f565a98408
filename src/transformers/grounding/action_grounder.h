#pragma once

#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "model/action.h"
#include "model/problem_instance.h"
#include "model/walkers/constant_checker.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "model/walkers/fun_apply_substituter.h"
#include "transformers/grounding/combination_search.h"
#include "transformers/grounding/ground_simplifier.h"
#include "transformers/grounding/statements.h"

namespace zorvel::model {

/// Builds the ground versions of actions with parameters.
class ActionGrounder {
 public:
  /// One combination that is kept. It refers to the grounder's own data and is valid during the call.
  struct GroundAction {
    const std::vector<Node*>& values;   ///< Of the finite parameters.
    const ParameterVector& parameters;  ///< New ones for the infinite ones.
    const std::vector<Node*>& statements;
    const ActionImpl::SimulatedEffects& simulated_effects;
  };
  struct Counters {
    std::uint64_t combinations = 0, tries = 0, built = 0;
  };

  /// With `functions`, applications are replaced by ground fluents and constants before simplification; null
  /// if they stay. Both must outlive the grounder.
  ActionGrounder(const ProblemInstanceImpl& problem, const FunApplySubstituter* functions,
                 bool prune_actions);

  /// Calls `keep` with every combination that is not useless, in order.
  Counters ground(const ActionImpl& action, const std::function<void(const GroundAction&)>& keep);

  /// The expression under the values of the combination that is being kept. UndefinedConstantError if it
  /// needs a constant without a value.
  Node* rewrite(Node* expression);

 private:
  void read_action(const ActionImpl& action);
  void bind(std::span<const CombinationSearch::Digit> digits);
  bool build_statements(const ActionImpl& action);
  Node* rewrite_statement(std::size_t index);
  bool is_useless(Node* statement);
  bool is_useless_effect(const EffectTarget& effect, const Node* statement);
  bool build_simulated_effects(const ActionImpl& action);
  std::shared_ptr<SimulatedEffectImpl> wrap(const ActionImpl& action, const SimulatedEffectImpl& effect);

  Environment& env_;
  ExpressionFactory& factory_;
  const ProblemInstanceImpl& problem_;
  const FunApplySubstituter* functions_;
  bool prune_actions_;
  ConstantChecker check_constants_;
  GroundSimplifier simplify_;
  ExpressionSimplifier simplify_ground_;  // after `functions_`

  // Of the action:
  ParameterVector finite_, infinite_;
  std::vector<std::vector<Node*>> domains_;
  std::vector<Node*> references_, statements_;  // references of the finite parameters, then of the others
  bool tests_domains_ = false;

  // Of the combination:
  std::unique_ptr<ExpressionSubstituter> substitute_;  // where there are functions
  std::vector<Node*> values_, all_values_, built_;     // all_values_: what each of references_ stands for
  ParameterVector parameters_;
  ActionImpl::SimulatedEffects simulated_effects_;
  std::vector<std::pair<EffectTarget, const Node*>> effects_;  // with their statements
};

}  // namespace zorvel::model
