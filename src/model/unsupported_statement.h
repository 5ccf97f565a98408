#pragma once

#include <string_view>

#include "core/errors.h"
#include "core/node.h"

namespace zorvel::model {

/// A statement of a problem that is well formed and that no planner here can handle. What the message says is
/// followed by ": " and the statement.
class UnsupportedStatementError : public ZorvelError {
 public:
  UnsupportedStatementError(std::string_view message, const Node* statement);
  /// As it stood in the problem in which it was found, which a transformer may have made of the user's own.
  const Node* statement() const { return statement_; }

 private:
  const Node* statement_;
};

}  // namespace zorvel::model
