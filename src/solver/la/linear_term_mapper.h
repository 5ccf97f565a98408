#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "solver/la/la_solver.h"
#include "solver/la/linear_term.h"
#include "solver/term/poly.h"
#include "solver/term/term_manager.h"
#include "solver/util/hash_table.h"

namespace vesk::la {

/// Variables of the arithmetic solver for terms and for sums of terms, with a count of the users of each.
///
/// A term that is no sum and no multiple gets a variable of its own, whatever it is; a sum gets a slack
/// variable, the same for every use of that sum. A term that arithmetic gives a meaning (a product of two
/// unknowns, a quotient, a floor) is opaque: its variable is free of what the term says, and
/// opaque_term_at_fault() tells whether the values fit.
class LinearTermMapper {
 public:
  explicit LinearTermMapper(Solver& solver) : solver_(solver) {}

  /// The variable equal to the sum, which has at least one summand; one more user of it.
  Var acquire(std::span<const LinearAtom::Summand> sum);
  Var acquire_term(Term term);
  /// One user less; the last one takes the variable along.
  void release(Var var);

  /// `null_var` if the term has none.
  Var find(Term term) const;
  /// The value of a linear term in the model; false if a part of it has no variable.
  bool evaluate_model(Term term, QNumber& value) const;

  /// By variable: how its value may change without a term that fits its meaning, or is an integer, ceasing to
  /// be so.
  std::vector<Solver::Freedom> freedom() const;

  bool has_integers() const { return num_integers_ != 0; }
  /// Whether its value is to be an integer: an integer term, or a sum of such with integer coefficients.
  bool is_whole(Var var) const { return records_[static_cast<std::size_t>(var)].whole; }
  /// The integer term's variable whose value now is the furthest from an integer, the oldest of these;
  /// `null_var` if all are integers.
  Var most_fractional_var() const;
  /// The term that the variable is for; null if it stands for a sum, or for nothing any more.
  Term atomic_term(Var var) const { return records_[static_cast<std::size_t>(var)].term; }
  /// Variables have smaller numbers.
  std::size_t var_limit() const { return records_.size(); }
  /// What the variable stands for.
  Term term_of(Var var, TermManager& terms) const;
  bool has_opaque_terms() const { return num_opaque_ != 0; }
  /// An integer term whose value in the model is no integer; null if there is none.
  Term fractional_term() const;
  /// An opaque term whose value in the model is not what the values of its arguments give; null if there is
  /// none.
  Term opaque_term_at_fault() const;

 private:
  struct Record {
    Term term = nullptr;                   // null for a slack variable
    std::vector<LinearAtom::Summand> sum;  // of a slack variable
    std::vector<Var> parts;                // variables that this one uses
    std::uint64_t hash = 0;
    int users = 0;
    bool integer = false;
    bool whole = false;  // integer, or a slack variable of integers
    bool opaque = false;
  };

  Record& record(Var var) { return records_[static_cast<std::size_t>(var)]; }
  Var start(Var var);

  Solver& solver_;
  std::vector<Record> records_;  // by variable
  hsh::Map<Term, Var> var_of_term_;
  std::unordered_multimap<std::uint64_t, Var> slacks_;  // by hash of the sum
  std::size_t num_integers_ = 0;
  std::size_t num_opaque_ = 0;
};

}  // namespace vesk::la
