#pragma once

#include <vector>

#include "solver/term/term.h"
#include "solver/term/term_manager.h"

namespace vesk {

/// Rules over a whole conjunction: `c` and `not c` is false (the result is that one conjunct), `P <= k` and
/// `k <= P` becomes `P = k`.
void apply_global_rules(TermManager& terms, std::vector<Term>& conjuncts);

}  // namespace vesk
