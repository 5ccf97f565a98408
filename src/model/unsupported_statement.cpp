#include "model/unsupported_statement.h"

#include "model/expression_factory.h"

namespace zorvel::model {

UnsupportedStatementError::UnsupportedStatementError(std::string_view message, const Node* statement)
    : ZorvelError("UnsupportedStatementError", message), statement_(statement) {
  *this << ": " << print_expression{statement};
}

}  // namespace zorvel::model
