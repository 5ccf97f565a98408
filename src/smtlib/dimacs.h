#pragma once

#include <iosfwd>
#include <string>

namespace smtlib {

class Interpreter;

/// Whether the text begins as one in DIMACS form: with a comment or the header. Takes nothing of it.
bool is_dimacs(std::istream& in);

/// Reads a formula in conjunctive normal form, as the DIMACS challenge of 1993 has it, up to the end or a
/// line that begins with '%', and solves it with the options and limits of `solver`. The answer goes to
/// `out`: a line "s SATISFIABLE" with the values of all variables in lines "v", "s UNSATISFIABLE", or "s
/// UNKNOWN". Gives the exit status of the program; what is wrong with the text goes to standard error with
/// its line.
int run_dimacs(std::istream& in, const std::string& name, Interpreter& solver, std::ostream& out);

}  // namespace smtlib
