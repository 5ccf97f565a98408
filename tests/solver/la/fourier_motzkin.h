#pragma once

#include <cstddef>
#include <vector>

#include "solver/num/qnumber.h"

namespace vesk::la {

/// `sum coeffs[i] * x_i <= bound`, or `<` if strict.
struct Inequality {
  std::vector<QNumber> coeffs;
  QNumber bound;
  bool strict = false;
};

/// Is there a rational point that satisfies all? Eliminates one variable after the other; for small systems
/// only.
inline bool is_satisfiable(std::vector<Inequality> system, std::size_t num_vars) {
  for (std::size_t v = 0; v < num_vars; ++v) {
    std::vector<Inequality> next, upper, lower;
    for (Inequality& row : system) {
      const int sign = row.coeffs[v].sgn();
      (sign == 0 ? next : sign > 0 ? upper : lower).push_back(std::move(row));
    }
    for (const Inequality& up : upper)
      for (const Inequality& low : lower) {
        Inequality sum = up;
        const QNumber factor = up.coeffs[v] / low.coeffs[v].neg();
        for (std::size_t i = 0; i < num_vars; ++i) sum.coeffs[i].self_addmul(factor, low.coeffs[i]);
        sum.bound.self_addmul(factor, low.bound);
        sum.strict = up.strict || low.strict;
        next.push_back(std::move(sum));
      }
    system = std::move(next);
  }
  for (const Inequality& row : system)
    if (row.strict ? row.bound.sgn() <= 0 : row.bound.sgn() < 0) return false;
  return true;
}

}  // namespace vesk::la
