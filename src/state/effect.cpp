#include "state/effect.h"

#include "core/errors.h"

namespace zorvel {

namespace {

using model::ExpressionFactory;

bool assigns_a_fluent(const Node* statement) {
  return ExpressionFactory::is_assign(statement) &&
         !ExpressionFactory::is_duration_anchor(statement->children[0]);
}

}  // namespace

std::unique_ptr<Effect> get_effect(ExpressionFactory& factory, Node* expression,
                                   const std::shared_ptr<model::ActionImpl>& action) {
  const bool is_timed = ExpressionFactory::is_temporal_expression(expression);
  const Node* const assignment = is_timed ? expression->children[1] : expression;
  if (!assigns_a_fluent(assignment)) return nullptr;
  const Node* const interval = is_timed ? expression->children[0] : nullptr;
  if (is_timed && !factory.is_point_interval(interval))
    throw InternalError("Found an effect over a non-punctual interval");

  const Node* const target = assignment->children[0];
  if (!ExpressionFactory::is_fluent_reference(target))
    throw InternalError("Found an unknown effect kind: ") << model::print_expression{expression};
  return std::make_unique<Effect>(Effect{is_timed ? interval->children[0] : factory.make_start_anchor(),
                                         factory.get_fluent_from_reference(target),
                                         assignment->children[1],
                                         action,
                                         {target->operands().begin(), target->operands().end()}});
}

}  // namespace zorvel
