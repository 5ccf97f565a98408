#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "solver/la/la_solver.h"
#include "solver/num/qnumber.h"
#include "solver/util/termination.h"

namespace vesk::laz {

using la::ConstraintId;
using la::Var;

/// Integers `sum coeff * var + constant`, in order of their variables. Variables below `null_var` are
/// parameters, which stand for any integers.
struct Form {
  std::map<Var, QNumber> sum;
  QNumber constant;

  /// `*this += factor * other`.
  void add(const QNumber& factor, const Form& other);
  void add(const QNumber& factor, Var var);
};

/// Solves equations between integers, one by one, for one variable each: with a coefficient of 1 it is what
/// the others say; else a parameter takes the place of the variable with the smallest coefficient and of the
/// multiples of it in the others, which makes these smaller (D. Knuth, The Art of Computer Programming 2,
/// 4.5.2; A. Griggio, A Practical Approach to Satisfiability Modulo Linear Integer Arithmetic, 2012).
///
/// Each equation comes with the constraints that it rests on, and whatever follows names all those it was
/// made of. Nothing is undone: a system is made anew where it is asked for.
class DiophantineSystem {
 public:
  explicit DiophantineSystem(TerminationTest* termination) : termination_(termination) {}

  /// Adds `equation = 0` with integer coefficients. False: no integers solve the system, see conflict().
  [[nodiscard]] bool add(Form equation, std::vector<ConstraintId> reasons);
  /// Of the equations that contradict each other.
  const std::vector<ConstraintId>& conflict() const { return conflict_; }
  /// Numbers or forms grew beyond all measure. What was added last may be left out then.
  bool has_given_up() const { return has_given_up_; }

  /// What is known of a variable: that it is `rest` modulo `modulus`, or, for modulus 0, that it is `rest`.
  struct Residue {
    QNumber modulus, rest;
    std::vector<ConstraintId> reasons;
  };
  /// Nothing where all integers are left.
  std::optional<Residue> residue(Var var);
  /// The variables that equations were solved for, in order.
  std::vector<Var> solved_vars() const;

 private:
  struct Solution {
    Form form;
    std::vector<ConstraintId> reasons;
  };
  void substitute(Form& form, std::vector<ConstraintId>& reasons);
  bool is_too_large(const Form& form) const;

  TerminationTest* termination_;
  std::map<Var, Solution> solutions_;
  Var next_parameter_ = la::null_var - 1;
  std::vector<ConstraintId> conflict_;
  bool has_given_up_ = false;
  std::size_t steps_ = 0;  // summands looked at
};

}  // namespace vesk::laz
