#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "solver/num/qnumber.h"
#include "solver/term/term_manager.h"

namespace vesk::opt {

/// Numbers of the constants that circuits are made of. They go back when a level is popped, so that the same
/// names are used again, and terms do not pile up.
struct ConstantNumbers {
  std::size_t circuit = 0, comparator = 0, counter = 0, weight = 0, label = 0;
};

/// Makes formulas that say how many of some inputs are true, over fresh constants of the solver's own. They
/// constrain nothing but these, so any number of them may stand.
class CircuitBuilder {
 public:
  /// Formulas are appended to `out`; all references outlive this object.
  CircuitBuilder(TermManager& terms, ConstantNumbers& numbers, std::vector<Term>& out)
      : terms_(terms), numbers_(numbers), out_(out) {}

  /// As many outputs as inputs, the true ones first (K. Batcher's odd-even merge sort, 1968).
  std::vector<Term> sort(std::span<const Term> inputs);
  /// The same of two lists with the true ones first.
  std::vector<Term> merge(std::vector<Term> a, std::vector<Term> b);
  /// A sequential counter (C. Sinz, CP 2005): the outputs for one more input than `outputs` are for.
  std::vector<Term> count(const std::vector<Term>& outputs, Term input);
  /// A rational constant that is `weight`, which is not zero, times the number of true outputs; these have
  /// the true ones first.
  Term connect(std::span<const Term> outputs, const QNumber& weight);
  /// A rational constant that is 0 or, where `label` is false, `weight`.
  Term choose(Term label, const QNumber& weight);
  /// A Boolean constant.
  Term label();

 private:
  Term constant(const char* base, std::size_t& number, const Type* type);
  void clause(std::initializer_list<Term> literals);
  std::pair<Term, Term> compare(Term a, Term b);
  void bound(Term constant, const QNumber& end);

  TermManager& terms_;
  ConstantNumbers& numbers_;
  std::vector<Term>& out_;
};

}  // namespace vesk::opt
