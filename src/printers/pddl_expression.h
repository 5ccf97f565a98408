#pragma once

#include <iosfwd>
#include <string>

#include "core/node.h"
#include "core/numbers.h"
#include "printers/pddl_names.h"

namespace zorvel {

/// Appends an expression as PDDL. A timed statement is a whole line; a closed interval is a conjunction with
/// its ends, since `over all` has none.
///
/// InternalError "Unknown Node type Encountered in Pddl Expression Printing", "Intervals with arity greater
/// than 1 must have START and END as bounds!", "Temporal expression of an effect must has only point
/// interval!" or "Intermediate effects are forbidden!".
void append_pddl(std::string& text, const Node* expression, const PddlNames& names, PddlForm form);

/// "2.5", "-3", or "(/ 1 3)" where there is no end of decimals.
void append_pddl_number(std::string& text, const rational& number);

/// Streams an expression as PDDL, with the names that the problem has.
struct print_pddl_expression {
  const Node* node;
};
std::ostream& operator<<(std::ostream& out, const print_pddl_expression& expression);

}  // namespace zorvel
