#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

namespace vesk::dpll {

/// A Boolean variable: a number from 0.
using Var = int;
constexpr Var var_undef = -1;

/// A variable or its negation: variable times 2, plus 1 when negated.
struct Lit {
  std::int32_t x = -2;

  constexpr Lit() = default;
  constexpr explicit Lit(Var var, bool negated = false) : x(2 * var + (negated ? 1 : 0)) {}
  static constexpr Lit from_index(std::size_t index) {
    Lit lit;
    lit.x = static_cast<std::int32_t>(index);
    return lit;
  }

  constexpr Var var() const { return x >> 1; }
  constexpr bool negated() const { return (x & 1) != 0; }
  /// Good as an index; not for lit_undef and lit_error.
  constexpr std::size_t index() const { return static_cast<std::size_t>(x); }
  constexpr Lit operator~() const { return from_index(static_cast<std::size_t>(x ^ 1)); }
  /// The literal, negated when `flip`.
  constexpr Lit operator^(bool flip) const {
    return from_index(static_cast<std::size_t>(x ^ (flip ? 1 : 0)));
  }

  friend constexpr bool operator==(Lit a, Lit b) { return a.x == b.x; }
  friend constexpr bool operator<(Lit a, Lit b) { return a.x < b.x; }
};

constexpr Lit lit_undef = Lit();
constexpr Lit lit_error = Lit::from_index(static_cast<std::size_t>(-1));

/// Three-valued truth in one byte. Undefined exactly when the bit of weight 2 is set, so that XOR with a
/// literal's sign bit turns the value of a variable into that of the literal.
using lbool = std::uint8_t;
constexpr lbool l_true = 0;
constexpr lbool l_false = 1;
constexpr lbool l_undef = 2;

constexpr bool is_undef(lbool value) { return (value & 2) != 0; }
constexpr lbool to_lbool(bool value) { return value ? l_true : l_false; }

}  // namespace vesk::dpll
