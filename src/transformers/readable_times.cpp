#include "transformers/readable_times.h"

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/unsupported_statement.h"
#include "transformers/timing.h"

namespace zorvel::model {

void require_readable_times(Environment& env, Node* statement, const ActionImpl* action) {
  using F = ExpressionFactory;
  if (!F::is_temporal_expression(statement)) return;
  Node* const around = statement->children[0];
  Node* const interval = F::is_contains(around) ? around->children[0] : around;
  for (Node* anchor : interval->operands()) {
    if (read_timing(env.expression_factory(), anchor)) continue;
    const std::string place = action == nullptr ? "" : " of action '" + action->name() + "'";
    throw UnsupportedStatementError(
        "A time is not 'start + k' or 'end - k' with a number k, in the statement" + place, statement);
  }
}

}  // namespace zorvel::model
