#pragma once

#include <string>
#include <vector>

namespace solver_bench {

/// A formula as an SMT-LIB script, and the commands of which the time is taken.
struct Instance {
  std::string family;
  std::string name;
  std::string logic;
  std::string script;
  std::string check = "(check-sat)\n";
  /// The answer to `get-objectives`, with % for the optimum; "" where there is nothing to optimise.
  std::string objectives{};
};

/// Plans of at most `horizon` time points, state by state: real time points, one Boolean for each action and
/// time point, frame axioms, and a clause for each two effects on one fluent at one time point. By far the
/// most of the clauses are these.
///
/// `fuses` are mended one at a time, for 2 units each, in the light of `matches` that burn for 5.
Instance match_cellar(int fuses, int matches, int horizon);
/// Trucks carry packages between locations on a ring; positions are numbers.
Instance logistics(int trucks, int packages, int locations, int horizon);
/// Jobs that drain a battery, which a charge of free duration fills.
Instance battery(int jobs, int horizon);

/// `jobs` times `machines` operations of 1 to 9 units, to be done by `makespan`.
Instance job_shop(int jobs, int machines, unsigned seed, int makespan);
/// The same, done as early as can be.
Instance least_makespan(int jobs, int machines, unsigned seed);
/// A chain of `length` choices between two ways that lead to the same place, which is denied.
Instance diamonds(int length);
/// The same with a function of numbers.
Instance number_diamonds(int length);
/// Two chains `x_i+1 = f(x_i) + 1` with one beginning, said by inequalities, and different ends.
Instance number_chains(int length);
/// One pigeon more than there are holes.
Instance pigeonhole(int holes);
/// Clauses of three literals, 4.26 to a variable.
Instance random_3sat(int variables, unsigned seed);

/// A sum of choices between 0 and 1 to `summands` that is to be larger than all of them together.
Instance ite_sum(int summands);
/// `terms` numbers with nothing said of them but the order of the values that a function gives them.
Instance accidental_equalities(int terms);
/// So many numbers of which no two are equal.
Instance distinct_numbers(int count);
enum class LevelKind { bounds, functions, functions_of_numbers };
/// Levels one on top of the other, each with a disjunction and a check, which are popped one by one, with a
/// check after each.
Instance levels(LevelKind kind, int count);
/// That a product of two numbers of so many bits is the same the other way round, gate by gate.
Instance multiplier_miter(int bits);
/// A Latin square of this order with an element that is its own product in each place of the diagonal, and
/// with `(x y) y = x` where `is_strict`.
Instance quasigroup(int order, bool is_strict);

/// Over integers, in integer_families.cpp: residues, knapsacks, jugs, rows of inequalities, thin strips.
std::vector<Instance> integer_instances(bool quick);

/// With objectives, in optimisation_families.cpp: job shops, soft formulas of one weight and of many, sums of
/// choices.
std::vector<Instance> optimisation_instances(bool quick);

/// All families, each around the sizes where it starts to be hard; `quick` keeps what takes well under a
/// second.
std::vector<Instance> all_instances(bool quick);

}  // namespace solver_bench
