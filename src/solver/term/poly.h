#pragma once

#include <utility>
#include <vector>

#include "solver/num/qnumber.h"
#include "solver/term/term.h"

namespace vesk {

class TermManager;

/// A linear polynomial over terms: what sums, and products with a number, amount to. Everything that is
/// neither (a constant, an application, an ite, a product of two unknowns) is an atom of the polynomial.
///
/// Invariant: `monomials` is sorted by id of the atom, and no coefficient is zero.
struct Poly {
  struct Monomial {
    Term atom;
    QNumber coefficient;
  };

  std::vector<Monomial> monomials;
  QNumber constant;

  /// Reads `term`; each shared subterm is visited once, whatever the depth.
  static Poly of(Term term);
  /// `a - b`.
  static Poly difference(Term a, Term b);

  bool is_constant() const { return monomials.empty(); }
  bool all_integer() const;

  /// Multiplies by a non-zero number.
  void scale(const QNumber& factor);
  /// Scales by the positive number that makes the coefficients coprime integers, the constant going along;
  /// nothing for a constant.
  void make_coprime();
  /// Adds `factor` times `other`.
  void add(const QNumber& factor, const Poly& other);

  /// The sum as a term: `times(c, atom)` in order of id, nested to the left, the constant last.
  Term to_term(TermManager& terms) const;
};

}  // namespace vesk
