#pragma once

#include <bit>
#include <cstdint>

#include "solver/term/term.h"

namespace vesk {

/// A Boolean atom or its negation in one word, for literals whose atom may have no variable of the search
/// yet.
class TheoryLit {
 public:
  TheoryLit() = default;
  TheoryLit(Term atom, bool negated) : bits_(std::bit_cast<std::uintptr_t>(atom) | (negated ? 1u : 0u)) {}
  Term atom() const { return std::bit_cast<Term>(bits_ & ~std::uintptr_t{1}); }
  bool negated() const { return (bits_ & 1) != 0; }
  TheoryLit operator~() const { return TheoryLit(atom(), !negated()); }
  friend bool operator==(TheoryLit a, TheoryLit b) = default;

 private:
  std::uintptr_t bits_ = 0;
};

}  // namespace vesk
