#pragma once

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "smtlib/symbol_table.h"
#include "veskor.h"

namespace smtlib {

/// A term that cannot be made, without the place.
class TermFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Makes terms as SMT-LIB has them, with operators of any number of arguments, from those of the solver's
/// interface. What is ill-sorted, or what the solver refuses, is a TermFault.
class TermMaker {
 public:
  /// Whose symbols the script's are: its own, under other names where the environment has given the names
  /// away, or those that a caller of the environment sees, declared there or in the script.
  enum class Names { of_script, of_environment };

  /// `numerals_are_real`: in the script's logic 1 and 1.0 are the same.
  TermMaker(vesk_env env, bool numerals_are_real, Names names = Names::of_script);

  /// Whether a numeral is a real in that logic.
  static bool has_real_numerals(std::string_view logic);

  vesk_env env() const { return env_; }
  vesk_type bool_type() const { return bool_; }
  vesk_type real_type() const { return real_; }
  vesk_type int_type() const { return int_; }

  static bool is_operator(std::string_view name);
  /// `name` is an operator, or true or false.
  TypedTerm apply_operator(std::string_view name, std::span<const TypedTerm> args) const;
  /// `symbol` is named `name`.
  TypedTerm apply(std::string_view name, const Symbol& symbol, std::span<const TypedTerm> args) const;
  TypedTerm numeral(std::string_view digits) const;
  TypedTerm decimal(std::string_view text) const;
  /// Whether the text is "-5" or "-0.5".
  static bool is_negative_number(std::string_view text);
  TypedTerm negative_number(std::string_view text) const;
  /// Whether the number `divisor` divides the one argument, an integer.
  TypedTerm divisible(std::string_view divisor, std::span<const TypedTerm> args) const;

  /// Whether a term of sort `actual` may stand where `expected` is asked for: also an integer as a real.
  bool fits(vesk_type actual, vesk_type expected) const;
  std::string sort_text(vesk_type type) const;
  /// A symbol of that name and type; see Names for one that is taken.
  vesk_decl declare(std::string_view name, vesk_type type) const;
  /// What a name that the script has not declared means in the environment, if that is to be asked.
  std::optional<Symbol> symbol_of_environment(std::string_view name) const;
  vesk_type simple_type(std::string_view name) const;

 private:
  using Args = std::span<const TypedTerm>;
  using Binary = vesk_term (*)(vesk_env, vesk_term, vesk_term);
  struct Operator;
  static const Operator* find_operator(std::string_view name);

  TypedTerm fold(Args args, Binary make, vesk_type type) const;
  TypedTerm negation(Args args) const;
  TypedTerm implication(Args args) const;
  TypedTerm exclusive_or(Args args) const;
  TypedTerm equality(Args args) const;
  TypedTerm distinct(Args args) const;
  TypedTerm choice(Args args) const;
  TypedTerm difference(Args args) const;
  TypedTerm quotient(Args args) const;
  TypedTerm integer_quotient(Args args) const;
  vesk_term integer_quotient(vesk_term dividend, vesk_term divisor) const;
  TypedTerm remainder(Args args) const;
  TypedTerm absolute(Args args) const;
  TypedTerm comparison(Args args, bool swapped, bool strict) const;

  vesk_term checked(vesk_term term) const;
  vesk_term negated(vesk_term term) const;
  vesk_term minus(vesk_term term) const;
  vesk_type common_number_type(Args args) const;
  /// The one sort of all arguments; null type if there is none.
  vesk_type common_type(Args args) const;
  TypedTerm truth(vesk_term term) const { return {checked(term), bool_}; }

  vesk_env env_;
  bool numerals_are_real_;
  Names names_;
  vesk_type bool_, real_, int_;
};

}  // namespace smtlib
