#pragma once

#include <string>
#include <vector>

#include "solver/term/term.h"

namespace smttext {

/// The term in SMT-LIB, as long as its DAG: what stands in it more than once is bound by `let`. Numbers that
/// stand where a real is expected are spelled as reals. vesk::Exception for a symbol that SMT-LIB cannot
/// name.
std::string term_text(vesk::Term term);

/// A script that declares what the formulas speak of and asserts them one by one. vesk::Exception also for
/// symbols that are the solver's own: they cannot be declared.
std::string script_text(const std::vector<vesk::Term>& formulas);

}  // namespace smttext
