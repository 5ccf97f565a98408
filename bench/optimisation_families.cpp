#include <random>
#include <sstream>

#include "solver_families.h"

namespace solver_bench {
namespace {

/// Clauses over Booleans b0, b1 and so on, and ways to name some of them.
class RandomClauses {
 public:
  RandomClauses(int variables, unsigned seed) : variables_(variables), random_(seed) {
    for (int i = 0; i < variables; ++i) script << "(declare-const b" << i << " Bool)\n";
  }

  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  std::string literal() {
    const std::string name = "b" + std::to_string(below(variables_));
    return below(2) == 0 ? name : "(not " + name + ')';
  }
  /// Clauses of three literals.
  void add(int count) {
    for (int i = 0; i < count; ++i)
      script << "(assert (or " << literal() << ' ' << literal() << ' ' << literal() << "))\n";
  }

  std::ostringstream script;

 private:
  int variables_;
  std::mt19937 random_;
};

enum class Weights { one, distinct };

/// As many soft literals as variables, with hard clauses of three literals, `density` of them to ten
/// variables.
Instance soft_literals(int count, int density, Weights weights, unsigned seed) {
  RandomClauses clauses(count, seed);
  clauses.add(count * density / 10);
  for (int i = 0; i < count; ++i) {
    const int weight = weights == Weights::one ? 1 : 3 * i + 1 + clauses.below(3);
    clauses.script << "(assert-soft " << clauses.literal() << " :weight " << weight << " :id g)\n";
  }
  const std::string name = weights == Weights::one ? "unit" : "weights";
  return {"soft " + name,
          name + '(' + std::to_string(count) + ',' + std::to_string(density) + ')',
          "QF_LRA",
          clauses.script.str(),
          "(check-sat)\n(get-objectives)\n",
          "(objectives\n (g %)\n)\n"};
}

/// The least sum of choices between two numbers.
Instance least_sum(int summands, unsigned seed) {
  RandomClauses clauses(summands, seed);
  clauses.add(2 * summands);
  clauses.script << "(declare-const sum Real)\n(assert (= sum (+";
  for (int i = 0; i < summands; ++i)
    clauses.script << " (ite b" << i << ' ' << 1 + clauses.below(30) << ' ' << 1 + clauses.below(30) << ')';
  clauses.script << ")))\n(minimize sum)\n";
  return {"optimal sum",        "sum(" + std::to_string(summands) + ')', "QF_LRA",
          clauses.script.str(), "(check-sat)\n(get-objectives)\n",       "(objectives\n (sum %.0)\n)\n"};
}

}  // namespace

std::vector<Instance> optimisation_instances(bool quick) {
  std::vector<Instance> list;
  for (const int size : {3, 4, 5, 6}) list.push_back(least_makespan(size, size, 1));
  for (const int count : {20, 60})
    for (const Weights weights : {Weights::one, Weights::distinct})
      list.push_back(soft_literals(count, 30, weights, 1));
  for (const int summands : {10, 20}) list.push_back(least_sum(summands, 1));
  if (quick) return list;
  for (const unsigned seed : {2, 3}) list.push_back(least_makespan(6, 6, seed));
  for (const int count : {100, 200})
    for (const Weights weights : {Weights::one, Weights::distinct})
      for (const int density : {15, 20, 25}) list.push_back(soft_literals(count, density, weights, 2));
  for (const int summands : {30, 40}) list.push_back(least_sum(summands, 2));
  return list;
}

}  // namespace solver_bench
