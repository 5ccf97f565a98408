#include "validation/value.h"

namespace zorvel::validation {

using model::ExpressionFactory;

Value Value::of_node(const ExpressionFactory& factory, Node* node) {
  switch (node->kind()) {
    case NodeKind::TRUE: return boolean(true);
    case NodeKind::FALSE: return boolean(false);
    case NodeKind::INTEGER_CONSTANT: return integer_number(rational(factory.get_integer_constant(node)));
    case NodeKind::RATIONAL_CONSTANT: return rational_number(factory.get_rational_constant(node));
    case NodeKind::INSTANCE_REFERENCE: return object_reference(node);
    default: return without(ValueKind::OPAQUE);
  }
}

Node* Value::node(ExpressionFactory& factory) const {
  switch (kind) {
    case ValueKind::BOOLEAN: return factory.make_boolean_constant(truth);
    case ValueKind::INTEGER: return factory.make_integer_constant(number.numerator());
    case ValueKind::RATIONAL: return factory.make_rational_constant(number);
    case ValueKind::OBJECT: return object;
    default: return nullptr;
  }
}

}  // namespace zorvel::validation
