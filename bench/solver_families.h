#pragma once

#include <string>
#include <vector>

namespace solver_bench {

/// A formula as an SMT-LIB script without its check.
struct Instance {
  std::string family;
  std::string name;
  std::string logic;
  std::string script;
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

/// All families, each around the sizes where it starts to be hard; `quick` keeps what takes well under a
/// second.
std::vector<Instance> all_instances(bool quick);

}  // namespace solver_bench
