#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace solver_fuzz {

enum class Sort { boolean, real, element };

/// A node of a formula, in a form of its own that only the generator, the printer and the evaluator know.
struct Expr {
  enum class Op {
    symbol,
    number,
    apply,
    negation,
    conjunction,
    disjunction,
    exclusive_or,
    implication,
    equal,
    distinct,
    ite,
    leq,
    less,
    geq,
    greater,
    plus,
    minus,
    scale,
    divide,
    whole_divide,  ///< rounded so that the rest is not negative
    lower          ///< by a definition of the script: the lesser of two numbers
  };
  Op op;
  Sort sort;
  std::string text;               ///< of a symbol, a function or a number
  std::vector<std::size_t> args;  ///< numbers of expressions made before
};

struct Step {
  enum class Kind { assertion, push, pop, check, check_assuming };
  Kind kind;
  std::vector<std::size_t> exprs;
};

struct Script {
  std::string preamble;       ///< logic, declarations and definitions, and bounds of the integers
  bool has_integers = false;  ///< numbers are integers, and not reals
  std::vector<Expr> exprs;
  std::vector<std::size_t> constants;
  std::vector<Step> steps;

  std::string text_of(std::size_t expr) const;
  std::string text_of(const Step& step) const;
  std::string text() const;
};

/// A script of one of the logics QF_UF, QF_LRA and QF_UFLRA, in turn by seed; the same one for the same seed
/// everywhere.
Script random_script(unsigned seed);
/// The same with integers in place of reals, of which the constants are -20 to 20.
Script random_integer_script(unsigned seed);

}  // namespace solver_fuzz
