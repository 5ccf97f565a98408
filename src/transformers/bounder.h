#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "model/constant.h"
#include "transformers/back_only.h"
#include "transformers/one_to_one_transformer.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

/// Restricts a flat problem to the objects that a second, smaller problem names. The other ones stay
/// declared, but no parameter of an action may be one of them (a constant `_is_active_T` for each type T is a
/// condition of the actions), and a fluent with one of them among its arguments has a fixed value from the
/// start: false, the number of its type that is nearest to 0, or the first active object. This takes the
/// place of all that the problem's own statements assign to it; its foralls are expanded for that.
///
/// What an action says of an object by name, and goals about objects that are left out, stay as they are; the
/// latter cause a warning.
///
/// Errors of `do_computation`: InternalError "The bounding phase can be only applied to flattened models!",
/// those of MetricRewriter; UnsupportedProblemError, with the fluent, for one that has arguments left out and
/// beside them a parameter with infinitely many values, a type without a default (a set, a type without
/// active objects), or more than 5,000,000 references with arguments left out.
class Bounder : public BackOnly<OneToOneTransformer> {
 public:
  /// Of the bounding problem the names of its objects count, and nothing else. Unknown actions of plans:
  /// InternalError "Found an action that is unknown to the bounder!".
  Bounder(const ProblemPtr& problem, const ProblemPtr& bounding_problem);

  void do_computation() override;

 private:
  using UserTypePtr = std::shared_ptr<UserTypeImpl>;

  bool is_inactive(const Node* node) const { return inactive_.contains(node); }
  bool names_inactive(const Node* expression) const;
  void split_instances();
  void add_constants(ProblemParts& parts);
  std::shared_ptr<ActionImpl> bounded(const std::shared_ptr<ActionImpl>& action) const;
  void add_statements(ProblemParts& parts) const;
  void add_statement(Node* statement, ProblemParts& parts) const;
  bool assigns_to_inactive(Node* statement) const;
  void add_defaults(const std::shared_ptr<FluentImpl>& fluent, ProblemParts& parts) const;
  std::vector<std::vector<Node*>> argument_domains(const FluentImpl& fluent) const;
  Node* default_of(const FluentImpl& fluent) const;

  ProblemPtr bounding_problem_;
  std::unordered_set<const Node*> inactive_;  // references to the objects that are left out
  std::map<std::string, std::shared_ptr<ConstantImpl>> is_active_;  // by name of the type
};

}  // namespace zorvel::model
