#include "transformers/constant_promoter.h"

#include <algorithm>
#include <unordered_set>

#include "model/constant.h"
#include "model/fluent.h"
#include "model/function_value.h"
#include "model/model_factory.h"
#include "model/walkers/expression_identity.h"
#include "model/walkers/expression_parts.h"
#include "model/walkers/expression_simplifier.h"
#include "transformers/problem_parts.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

bool is_assignment(const Node* node) {
  return F::is_assign(node) || F::is_increase(node) || F::is_decrease(node);
}

/// The assignment of a value at the start; null for any other statement of a problem.
Node* initial_assignment(F& factory, Node* statement) {
  if (!F::is_temporal_expression(statement)) return nullptr;
  Node* const interval = statement->children[0];
  Node* const assignment = statement->children[1];
  if (!factory.is_point_interval(interval) || !F::is_start_anchor(interval->children[0]) ||
      !F::is_assign(assignment))
    return nullptr;
  const Node* const target = assignment->children[0];
  const bool is_of_values = F::is_fluent_reference(target) && F::is_value(assignment->children[1]) &&
                            std::all_of(target->operands().begin(), target->operands().end(), F::is_value);
  return is_of_values ? assignment : nullptr;
}

/// The values at the start of the fluents that never change.
class StaticTables {
 public:
  using Tables = std::unordered_map<const FluentImpl*, std::shared_ptr<FunctionValueImpl>>;

  explicit StaticTables(const ProblemInstanceImpl& problem)
      : problem_(problem), factory_(problem.env().expression_factory()) {
    for (const auto& [name, action] : problem.actions()) {
      if (!action->simulated_effects().empty()) return;
      for (Node* expression : action->expressions()) exclude_targets(expression);
    }
    for (Node* statement : problem.expressions())
      if (Node* const assignment = initial_assignment(factory_, statement))
        note_value(assignment);
      else
        exclude_targets(statement);
    // Only what changes has a default: the rest of its values is not listed.
    for (const InitialDefault& rule : problem.rules().initial_defaults) changing_.insert(rule.fluent.get());
    for (const FluentImpl* fluent : changing_) tables_.erase(fluent);
    for (auto& [fluent, table] : tables_) shorten(*fluent, *table);
  }

  const Tables& tables() const { return tables_; }

 private:
  const FluentImpl* fluent_of(Node* reference) const {
    return factory_.get_fluent_from_reference(reference).get();
  }

  void exclude_targets(Node* expression) {
    for_each_part(std::vector<const Node*>{expression}, [this](const Node* node) {
      if (is_assignment(node) && F::is_fluent_reference(node->children[0]))
        changing_.insert(fluent_of(node->children[0]));
    });
  }

  void note_value(Node* assignment) {
    Node* const target = assignment->children[0];
    const FluentImpl* const fluent = fluent_of(target);
    const ParameterVector& parameters = fluent->parameters();
    const bool is_of_objects =
        !parameters.empty() && std::all_of(parameters.begin(), parameters.end(), [](const auto& parameter) {
          return parameter->type()->is_user_defined();
        });
    if (!is_of_objects) changing_.insert(fluent);
    std::shared_ptr<FunctionValueImpl>& table = tables_[fluent];
    if (!table) table = std::make_shared<FunctionValueImpl>();
    const std::vector<Node*> arguments(target->operands().begin(), target->operands().end());
    Node* const value = as_value_of(factory_, *fluent->type(), assignment->children[1]);
    if (table->has_assignments(arguments) && table->assignments().at(arguments) != value)
      changing_.insert(fluent);
    table->add_assignment(arguments, value);
  }

  /// A predicate that is known for all arguments is kept as the rows where it is true.
  void shorten(const FluentImpl& fluent, FunctionValueImpl& table) const {
    if (!fluent.type()->is_boolean()) return;
    std::size_t references = 1;
    for (const auto& parameter : fluent.parameters())
      references *= domain_items(problem_.env(), problem_.instances(), parameter->type()).size();
    if (table.assignments().size() != references) return;
    FunctionValueImpl rows(factory_.make_boolean_constant(false));
    for (const auto& [arguments, value] : table.assignments())
      if (F::is_kind(value, NodeKind::TRUE)) rows.add_assignment(arguments, value);
    table = std::move(rows);
  }

  const ProblemInstanceImpl& problem_;
  ExpressionFactory& factory_;
  Tables tables_;
  std::unordered_set<const FluentImpl*> changing_;
};

class PromotionWalker : public ExpressionIdentity {
 public:
  using Constants = std::unordered_map<const FluentImpl*, std::shared_ptr<ConstantImpl>>;

  PromotionWalker(Environment& env, const Constants& constants)
      : ExpressionIdentity(env), constants_(constants) {}

 protected:
  Node* walk_fluent_reference(Node* node) const override {
    const auto found = constants_.find(factory().get_fluent_from_reference(node).get());
    if (found == constants_.end()) return ExpressionIdentity::walk_fluent_reference(node);
    return factory().make_constant_reference(found->second, memoized_children(node));
  }

 private:
  const Constants& constants_;
};

}  // namespace

ConstantPromoter::ConstantPromoter(const ProblemPtr& problem)
    : OneToOneTransformer(problem, {unknown_to_transformer, unknown_to_transformer, "the transformer"}) {}

void ConstantPromoter::do_computation() {
  require_flat("The constant promoter can be only applied to flattened models!");
  const StaticTables found(*problem_);
  if (found.tables().empty()) {
    for (const auto& [name, action] : problem_->actions()) pair(action, action);
    new_problem_ = problem_;
    return;
  }
  PromotionWalker::Constants constants;
  ProblemParts parts(*problem_);
  std::erase_if(parts.fluents, [&](const auto& fluent) {
    const auto table = found.tables().find(fluent.get());
    if (table == found.tables().end()) return false;
    parts.constants.push_back(env().model_factory().make_constant(
        fluent->name(), fluent->type(), fluent->path(), fluent->parameters(), {{"", table->second}}));
    constants[fluent.get()] = parts.constants.back();
    return true;
  });
  std::erase_if(parts.expressions, [&](Node* statement) {
    Node* const assignment = initial_assignment(factory(), statement);
    return assignment != nullptr &&
           constants.contains(factory().get_fluent_from_reference(assignment->children[0]).get());
  });

  const PromotionWalker walker(env(), constants);
  const NodeRewrite rewrite = [&](Node* node) { return walker(node); };
  MetricRewriter metrics(*problem_);
  for (const auto& [name, action] : problem_->actions()) {
    std::vector<Node*> expressions;
    for (Node* expression : action->expressions()) expressions.push_back(walker(expression));
    const auto rewritten =
        env().model_factory().make_action(name, action->path(), action->is_process(), action->parameters(),
                                          expressions, action->simulated_effects());
    parts.actions.push_back(rewritten);
    pair(action, rewritten);
    metrics.carry_cost(action, rewritten, rewrite);
  }
  parts.rewrite_statements(rewrite);
  parts.metrics = metrics.metrics(rewrite);
  new_problem_ = parts.make(env());
}

}  // namespace zorvel::model
