#pragma once

#include <vector>

#include "pddl/form.h"
#include "pddl/messages.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

/// Reads the forms of a domain and a problem into `task`, in whatever order they come. What is wrong is noted
/// in `messages`; the task is whole only if nothing was.
void read_task(const std::vector<const Form*>& forms, Task& task, SymbolTable& symbols, Messages& messages);

}  // namespace zorvel::pddl
