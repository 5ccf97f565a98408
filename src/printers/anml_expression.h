#pragma once

#include <string>
#include <string_view>

#include "core/node.h"
#include "core/numbers.h"
#include "model/types.h"
#include "printers/anml_names.h"

// The parts of an ANML text that is read back as what it was written for. The texts of `model::to_anml` are
// for messages: not all of them can be read, and of some another expression comes back.

namespace zorvel {

/// Appends a statement or an expression, without parentheses round the whole. Chains of `and`, `or`, `+` and
/// `*` that are nested to the right, as they are read, are written without parentheses.
///
/// UnsupportedStatementError for what no text of ANML is read as: the status of an action, a duration of the
/// world inside of another statement, an interval inside of a condition.
void append_anml(std::string& text, const Node* expression, const AnmlNames& names);

/// Appends a type. UnsupportedProblemError that names the type and its `owner`, such as "fluent 'level'", for
/// one with a single bound, and for a bound that has no end of decimals.
void append_anml_type(std::string& text, const model::TypeBase& type, const AnmlNames& names,
                      std::string_view owner);

/// Appends a number that is read as a fraction, also where it is whole: "2.0", "0.25", "(1.0 / 3.0)".
void append_anml_fraction(std::string& text, const rational& number);

}  // namespace zorvel
