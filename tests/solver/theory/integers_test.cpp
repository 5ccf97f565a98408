#include <array>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "solver/capi/solver_script.h"

namespace {

using Point = std::array<int, 3>;

/// A random formula over three integers, as a term and as a function.
struct Formula {
  vesk_term term;
  std::function<bool(const Point&)> holds;
};

class RandomIntegers {
 public:
  RandomIntegers(SolverScript& script, unsigned seed) : s_(script), random_(seed) {
    for (const char* name : {"x", "y", "z"}) vars_.push_back(s_.constant(name, s_.int_type()));
  }

  std::size_t below(std::size_t n) { return random_() % n; }
  const std::vector<vesk_term>& vars() const { return vars_; }

  Formula formula(int depth) {
    if (depth == 0 || below(3) == 0) return atom();
    Formula a = formula(depth - 1), b = formula(depth - 1);
    if (below(3) == 0) return {s_.neg(a.term), [a](const Point& p) { return !a.holds(p); }};
    if (below(2) == 0)
      return {s_.conj(a.term, b.term), [a, b](const Point& p) { return a.holds(p) && b.holds(p); }};
    return {s_.disj(a.term, b.term), [a, b](const Point& p) { return a.holds(p) || b.holds(p); }};
  }

 private:
  int number(int size) { return static_cast<int>(below(static_cast<std::size_t>(2 * size + 1))) - size; }
  vesk_term num(int value) { return vesk_make_int_number(s_.env, value); }

  Formula atom() {
    std::array<int, 3> factors{};
    vesk_term sum = num(0);
    for (std::size_t i = 0; i < 3; ++i) {
      factors[i] = number(9);
      sum = s_.plus(sum, s_.times(num(factors[i]), vars_[i]));
    }
    const int bound = number(20), modulus = 2 + static_cast<int>(below(5));
    const auto value = [factors](const Point& p) {
      return factors[0] * p[0] + factors[1] * p[1] + factors[2] * p[2];
    };
    const auto quotient = [value, modulus](const Point& p) {
      const int v = value(p);
      return v >= 0 ? v / modulus : -((modulus - 1 - v) / modulus);
    };
    switch (below(5)) {
      case 0: return {s_.leq(sum, num(bound)), [=](const Point& p) { return value(p) <= bound; }};
      case 1: return {s_.less(num(bound), sum), [=](const Point& p) { return bound < value(p); }};
      case 2: return {s_.eq(sum, num(bound)), [=](const Point& p) { return value(p) == bound; }};
      case 3: {
        const std::string text = std::to_string(modulus);
        return {vesk_make_int_modular_congruence(s_.env, text.c_str(), sum, num(bound)),
                [=](const Point& p) { return (value(p) - bound) % modulus == 0; }};
      }
      default: {
        const std::string text = "1/" + std::to_string(modulus);
        const vesk_term floor = vesk_make_floor(s_.env, s_.times(s_.num(text.c_str()), sum));
        return {s_.leq(floor, vars_[0]), [=](const Point& p) { return quotient(p) <= p[0]; }};
      }
    }
  }

  SolverScript& s_;
  std::mt19937 random_;
  std::vector<vesk_term> vars_;
};

using Options = std::vector<std::pair<const char*, const char*>>;
const Options option_sets[] = {
    {},
    {{"theory.la.laz_equality_elimination", "false"}},
    {{"theory.la.deduction_enabled", "false"}, {"theory.la.split_rat_eq", "false"}},
    {{"preprocessor.toplevel_propagation", "false"}, {"dpll.branching_random_frequency", "0.2"}},
    {{"unsat_core_generation", "1"}},
};

// Formulas on levels, in a box of which every point is tried. In builds with assertions models and cores are
// checked on the way.
TEST(Integers, SmallBoxesAgreeWithTryingEveryPoint) {
  constexpr int box = 4;
  for (unsigned seed = 0; seed < 1500; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    SolverScript s(option_sets[seed % std::size(option_sets)]);
    RandomIntegers random(s, seed);
    for (const vesk_term var : random.vars()) s.add(s.conj(s.leq(s.num("-4"), var), s.leq(var, s.num("4"))));
    std::vector<std::vector<Formula>> levels(1);
    for (int step = 0; step < 8; ++step) {
      const std::size_t action = random.below(8);
      if (action == 0) {
        s.push();
        levels.emplace_back();
      } else if (action == 1 && levels.size() > 1) {
        s.pop();
        levels.pop_back();
      } else if (action < 5) {
        levels.back().push_back(random.formula(2));
        s.add(levels.back().back().term);
      }
      std::vector<vesk_term> assumptions;
      std::vector<Formula> in_force;
      for (const auto& level : levels) in_force.insert(in_force.end(), level.begin(), level.end());
      if (action == 7) {
        in_force.push_back(random.formula(1));
        assumptions.push_back(in_force.back().term);
      }
      bool has_point = false;
      for (int x = -box; x <= box; ++x)
        for (int y = -box; y <= box; ++y)
          for (int z = -box; z <= box && !has_point; ++z) {
            has_point = true;
            for (const Formula& formula : in_force) has_point = has_point && formula.holds({x, y, z});
          }
      ASSERT_EQ(s.solve(assumptions), has_point ? 1 : 0) << s.error();
      if (!has_point) continue;
      Point point{};
      for (std::size_t i = 0; i < 3; ++i) point[i] = std::stoi(s.value(random.vars()[i]));
      for (const Formula& formula : in_force) ASSERT_TRUE(formula.holds(point)) << s.text(formula.term);
    }
  }
}

}  // namespace
