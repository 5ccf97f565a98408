#pragma once

#include <vector>

#include "solver/theory/theory_solver.h"

namespace vesk {

/// Hands the equations that one theory finds to the others that subscribed.
class TheoryEqPropagator {
 public:
  void subscribe(TheorySolver* solver) { subscribers_.push_back(solver); }
  void propagate(const TheoryEq& equation) const {
    for (TheorySolver* solver : subscribers_)
      if (solver != equation.source) solver->assume_equation(equation);
  }

 private:
  std::vector<TheorySolver*> subscribers_;
};

}  // namespace vesk
