#pragma once

#include "core/errors.h"

namespace zorvel {

/// A problem that is well formed, with something in it that the planner asked cannot handle. The text names
/// it. InternalError stays for our own faults.
class UnsupportedProblemError : public ZorvelError {
 public:
  explicit UnsupportedProblemError(std::string_view message = {})
      : ZorvelError("UnsupportedProblemError", message) {}
};

}  // namespace zorvel
