#pragma once

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/la/diophantine.h"
#include "solver/la/la_solver.h"
#include "solver/la/linear_term_mapper.h"
#include "solver/util/termination.h"

namespace vesk::laz {

/// Looks for integers where the rational solver has found rational numbers.
///
/// Owns nothing that lasts: each check() reads bounds, rows and values of the rational solver, so that
/// neither a cancelled level nor a pop has anything to undo here. What it finds goes to the search, as a
/// conflict or as a clause.
class Solver {
 public:
  /// `is_literal`: whether a constraint may be a reason of a clause.
  Solver(const Configuration::Theory::La& config, la::Solver& rationals, const la::LinearTermMapper& mapper,
         std::function<bool(ConstraintId)> is_literal)
      : config_(config), rationals_(rationals), mapper_(mapper), is_literal_(std::move(is_literal)) {}

  void set_termination_test(TerminationTest* test) { termination_ = test; }

  enum class Result {
    whole,     ///< every integer has a whole value
    conflict,  ///< see conflict()
    clause     ///< see clause()
  };
  /// After a successful complete check of the rational solver.
  Result check();

  /// Asserted constraints that no integers satisfy.
  const std::vector<ConstraintId>& conflict() const { return conflict_; }

  /// `var <= at_most` or `at_least <= var`, whichever of these are there, or one of the reasons is false.
  struct Clause {
    std::vector<ConstraintId> reasons;
    Var var = la::null_var;
    std::optional<QNumber> at_most, at_least;
  };
  const Clause& clause() const { return clause_; }

 private:
  bool refutes_equations();
  bool refutes_bounds(DiophantineSystem& system, Var var);

  const Configuration::Theory::La& config_;
  la::Solver& rationals_;
  const la::LinearTermMapper& mapper_;
  std::function<bool(ConstraintId)> is_literal_;
  TerminationTest* termination_ = nullptr;
  std::vector<ConstraintId> conflict_;
  Clause clause_;
};

}  // namespace vesk::laz
