#include "report/static_obstacle.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "model/expression_factory.h"
#include "model/walkers/expression_free_vars.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "report/step_details.h"

namespace zorvel::report {

using F = model::ExpressionFactory;

namespace {

constexpr std::size_t most_steps = 200000;

/// A search for one choice of parameters that meets some conditions.
class ChoiceSearch {
 public:
  ChoiceSearch(const model::ActionImpl& action, std::vector<std::vector<Node*>> domains)
      : action_(action), domains_(std::move(domains)), simplify_(action.env()) {
    F& factory = action.env().expression_factory();
    for (const auto& parameter : action.parameters())
      references_.push_back(factory.make_parameter_reference(parameter));
  }

  /// Adds a condition; false if no choice is left. True as well where that is not known.
  bool admits(Node* condition) {
    conditions_.push_back(condition);
    model::NodeMap values;
    return has_choice(0, values, conditions_);
  }

 private:
  bool has_choice(std::size_t depth, model::NodeMap& values, const std::vector<Node*>& conditions) {
    if (++steps_ > most_steps || depth == domains_.size()) return true;
    for (Node* value : domains_[depth]) {
      // What the parameters so far leave of the conditions; the deeper levels go on from there.
      const model::ExpressionSubstituter substitute(action_.env(), {{references_[depth], value}}, {}, false);
      std::vector<Node*> rest;
      bool is_possible = true;
      for (Node* condition : conditions) {
        Node* const left = simplify_(substitute(condition));
        if (left->kind() == NodeKind::FALSE) {
          is_possible = false;
          break;
        }
        rest.push_back(left);
      }
      if (++steps_ > most_steps) return true;
      if (is_possible && has_choice(depth + 1, values, rest)) return true;
    }
    return false;
  }

  const model::ActionImpl& action_;
  std::vector<std::vector<Node*>> domains_;
  model::ExpressionSimplifier simplify_;
  std::vector<Node*> references_;
  std::vector<Node*> conditions_;
  std::size_t steps_ = 0;
};

}  // namespace

StaticObstacle find_static_obstacle(const model::ProblemPtr& problem, const model::ActionImpl& action) {
  std::vector<std::vector<Node*>> domains;
  for (const auto& parameter : action.parameters()) {
    if (!parameter->type()->is_finite_domain()) return {};
    domains.push_back(model::values_for(*problem, parameter->type()));
    if (domains.back().empty()) return {nullptr, parameter.get()};
  }
  const model::ExpressionSimplifier simplify(problem->env());
  ChoiceSearch search(action, std::move(domains));
  for (Node* statement : action.expressions()) {
    Node* const condition = condition_in(statement);
    if (condition == nullptr) continue;
    if (simplify(condition)->kind() == NodeKind::FALSE || !search.admits(condition)) return {statement};
  }
  return {};
}

}  // namespace zorvel::report
