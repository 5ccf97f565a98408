#pragma once

#include <functional>
#include <string>

#include "core/node.h"

namespace zorvel {

/// The line, from 1, of a statement in an ANML file that was read before; 0 if there is none. The file is
/// read once more, in an environment of its own, so that reading need not keep the place of everything;
/// `is_meant` sees the statements of that other problem, those of the top level first, then those of actions
/// by name.
int find_statement_line(const std::string& path, const std::function<bool(Node*)>& is_meant);

}  // namespace zorvel
