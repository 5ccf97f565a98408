#include "capi/listed_fluents.h"

#include <unordered_set>
#include <vector>

#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/simulated_effect.h"
#include "model/user_type.h"

namespace zorvel::capi {

namespace {

using model::ExpressionFactory;

/// Looks at every expression of a problem once, however often it is shared.
class Check {
 public:
  explicit Check(const model::ProblemInstanceImpl& problem) : factory_(problem.env().expression_factory()) {
    note_fluents(problem);
    check_expressions(problem);
    check_actions(problem);
  }

 private:
  void note_fluents(const model::TypeScope& scope) {
    for (const auto& [name, fluent] : scope.fluents()) listed_.insert(fluent.get());
    for (const auto& [name, type] : scope.user_types()) note_fluents(*type);
  }

  void check_actions(const model::TypeScope& scope) {
    for (const auto& [name, action] : scope.actions()) {
      check_expressions(*action);
      for (const auto& effect : action->simulated_effects())
        for (Node* reference : effect->fluents) check(reference);
    }
    for (const auto& [name, type] : scope.user_types()) check_actions(*type);
  }

  void check_expressions(const model::ExpressionScope& scope) {
    for (Node* expression : scope.expressions()) check(expression);
  }

  void check(Node* expression) {
    std::vector<Node*> open{expression};
    while (!open.empty()) {
      Node* const node = open.back();
      open.pop_back();
      if (!seen_.insert(node).second) continue;
      if (ExpressionFactory::is_fluent_reference(node)) {
        const auto fluent = factory_.get_fluent_from_reference(node);
        if (!listed_.contains(fluent.get()))
          throw InvalidParameterError("The problem does not list the fluent '")
              << fluent->name() << "', which is used in: " << model::print_expression{expression};
      }
      open.insert(open.end(), node->operands().begin(), node->operands().end());
    }
  }

  const ExpressionFactory& factory_;
  std::unordered_set<const model::FluentImpl*> listed_;
  std::unordered_set<const Node*> seen_;
};

}  // namespace

void require_listed_fluents(const model::ProblemInstanceImpl& problem) { Check{problem}; }

}  // namespace zorvel::capi
