#pragma once

#include <string>
#include <vector>

#include "veskor.h"

namespace smtlib {

/// The formulas that a text of SMT-LIB asserts, in order: what it declares becomes symbols of the
/// environment, and symbols of the environment need no declaration. Takes declarations, definitions,
/// `assert`, and, since scripts have them, `set-logic`, `set-info`, `check-sat`, which is passed over, and
/// `exit`, which ends the text; a std::runtime_error, with the place, for anything else. Asserts nothing.
std::vector<vesk_term> read_assertions(vesk_env env, const std::string& text);

}  // namespace smtlib
