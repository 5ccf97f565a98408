#pragma once

#include <memory>
#include <vector>

#include "model/constant.h"
#include "model/walkers/expression_substituter.h"
#include "transformers/expression_set_compiler.h"
#include "transformers/one_to_one_transformer.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

/// Takes sets out of a flat problem: a fluent `s` of type `set(T)` becomes a boolean fluent `s(e)` that says
/// whether the element e is in the set, constants likewise, and each statement is rewritten and simplified by
/// what `ExpressionSetCompiler` makes of it. An assignment to a set becomes one statement for each member
/// that changes. Actions keep their names and parameters.
///
/// Elements must be values, so the actions of the input should be ground.
///
/// A fluent cannot hold an element outside of its type. An effect that would give it one makes its action
/// impossible at that moment; a constant, or a statement of the problem itself, that does is refused.
///
/// Errors of `do_computation`, beside those of `ExpressionSetCompiler`, UnsupportedProblemError "Set compiler
/// cannot be applied to problem with simulated effects", "Infinite sets are not supported: ", type and name,
/// "Parameters that are sets are not supported: " and the name of the fluent, constant or action;
/// InternalError "The set compiler can be only applied to flattened models!"; "A set is given a member
/// outside of its type: " and the statement or constant; "Multiple MINIMIZE_ACTION_COST metrics"; "The
/// following action does not have a cost: " and the name.
class SetCompiler : public OneToOneTransformer {
 public:
  /// Unknown actions of plans: InternalError "Found an action that is unknown to the set compiler!".
  explicit SetCompiler(const ProblemPtr& problem);

  void do_computation() override;

 protected:
  Node* condition_back(Node* post_condition) const override;
  Node* condition_forward(Node* post_condition) const override;

 private:
  void add_fluents(ProblemParts& parts);
  void add_constants(ExpressionSetCompiler& compiler, ProblemParts& parts);
  ConstantImpl::Values member_values(ExpressionSetCompiler& compiler, const ConstantImpl& constant) const;
  /// The constant, which is no set, with no set in its values.
  std::shared_ptr<ConstantImpl> without_sets(ExpressionSetCompiler& compiler,
                                             const std::shared_ptr<ConstantImpl>& constant) const;
  std::shared_ptr<ActionImpl> without_sets(ExpressionSetCompiler& compiler,
                                           const std::shared_ptr<ActionImpl>& action,
                                           MetricRewriter& metrics);

  ExpressionSetCompiler::FluentTable fluents_;
  ExpressionSetCompiler::ConstantTable constants_;
  NodeMap old_heads_;  // from the membership fluents' references without arguments to those of the sets
};

}  // namespace zorvel::model
