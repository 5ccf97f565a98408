#pragma once

#include <iosfwd>
#include <string>

#include "smtlib/symbol_table.h"
#include "smtlib/term_maker.h"
#include "veskor.h"

namespace smtlib {

/// The value, which is true, false, a number or the solver's name of an element of a declared sort, as
/// SMT-LIB writes it for sort `type`.
std::string value_text(const TermMaker& maker, vesk_term value, vesk_type type);

/// Writes a definition of every declared symbol, in order of declaration, from the environment's model: a
/// function as a choice between the arguments that the model speaks of.
void print_model(const TermMaker& maker, const SymbolTable& symbols, std::ostream& out);

}  // namespace smtlib
