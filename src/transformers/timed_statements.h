#pragma once

#include "model/expression_factory.h"

namespace zorvel::model {

/// What a statement says, without the interval in which it says it.
inline Node* body_of(Node* statement) {
  return ExpressionFactory::is_temporal_expression(statement) ? statement->children[1] : statement;
}

inline Node* at_start(ExpressionFactory& factory, Node* body) {
  return factory.make_temporal_expression(factory.make_point_interval(factory.make_start_anchor()), body);
}

inline Node* at_end(ExpressionFactory& factory, Node* body) {
  return factory.make_temporal_expression(factory.make_point_interval(factory.make_end_anchor()), body);
}

}  // namespace zorvel::model
