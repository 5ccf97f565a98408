#pragma once

#include <memory>

#include "model/walkers/expression_substituter.h"
#include "transformers/back_only.h"
#include "transformers/one_to_one_transformer.h"
#include "transformers/problem_parts.h"
#include "transformers/user_type_fluents_substituter.h"

namespace zorvel::model {

/// Takes out fluents whose values are objects: a fluent `f` of a user type T becomes a boolean fluent of the
/// same name with one more parameter, `f(args, o)`, which says that `f(args)` has the value o. What becomes
/// of statements is told at UserTypeFluentsSubstituter; an assignment becomes one for each object of T.
/// Actions keep their names, and exactly one object is the value at any moment, as before.
///
/// It works on ground problems, behind TypeHierarchyCompiler where types stand below types.
///
/// Errors of `do_computation`, beside those of the substituter: UnsupportedProblemError
/// "UserTypeFluentsCompiler transformer only works with ground actions!" and the action, "Usertype fluents
/// compiler cannot be applied to problem with simulated effects", "The usertype fluents compiler can be only
/// applied to flattened models!", a default for such a fluent (InitialValuesCompiler comes first);
/// InternalError of MetricRewriter.
class UserTypeFluentsCompiler : public BackOnly<OneToOneTransformer> {
 public:
  /// Unknown actions of plans: InternalError "Found an action that is unknown to the usertype fluents
  /// compiler!".
  explicit UserTypeFluentsCompiler(const ProblemPtr& problem);

  /// Whether a fluent of the problem has objects as values.
  static bool is_needed(const ProblemInstanceImpl& problem);

  void do_computation() override;

 protected:
  Node* condition_back(Node* post_condition) const override;

 private:
  void add_fluents(ProblemParts& parts);
  std::shared_ptr<ActionImpl> compiled(const ActionImpl& action,
                                       const UserTypeFluentsSubstituter& walker) const;

  UserTypeFluentsSubstituter::FluentTable new_fluents_;
  NodeMap old_heads_;  // from new fluents' references without arguments to those of the old ones
};

}  // namespace zorvel::model
