#pragma once

#include <map>
#include <optional>
#include <span>

#include "solver/la/la_solver.h"

namespace vesk::la {

/// The simplex solver with an objective: each successful complete check moves on to values where one variable
/// is least, by the primal simplex method (G. Dantzig, 1947), with R. Bland's rule (1977) when it takes long.
///
/// The values found satisfy all that is asserted, and are those of the solver from then on: they are
/// committed like those of any other check, so that a level that is cancelled later has nothing to restore.
class OptSolver : public Solver {
 public:
  using Solver::Solver;

  /// The variable to be minimised, which is kept as long as it is that; `null_var`: none. `max_delta`: the
  /// most that the infinitesimal may be in a model meanwhile, so that a bound which is not reached is met
  /// closely.
  void set_objective(Var var, const QNumber& max_delta) {
    objective_ = var;
    max_delta_ = max_delta;
    is_unbounded_ = false;
  }

  /// In the last complete check the objective fell without end along a ray.
  bool is_unbounded() const { return is_unbounded_; }
  /// How a sum changes along this ray, for each unit that the variable moves that sets out on it.
  QNumber slope(std::span<const Monomial> sum) const;

  /// The objective's least value under the bounds asserted now, which are satisfiable; null: there is none.
  std::optional<DNumber> relaxed_minimum();

 private:
  struct Step {
    Var entering = null_var;
    bool rises = false;
    Var leaving = null_var;  // the variable that reaches a bound first; null_var: none does
    DNumber length;
  };

  void additional_optimization_steps(bool satisfiable) override;
  void set_delta_value(QNumber& delta) override;
  bool minimize();
  std::optional<Step> find_improvement(bool greedy) const;
  void find_limit(Step& step) const;
  void take(const Step& step);
  void note_ray(const Step& step);

  Var objective_ = null_var;
  QNumber max_delta_;
  bool is_unbounded_ = false;
  std::map<Var, QNumber> ray_;  // how the variables in the tableau change along it
};

}  // namespace vesk::la
