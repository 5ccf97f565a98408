#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "solver/num/qnumber.h"
#include "solver/opt/circuits.h"
#include "solver/opt/pb_manager.h"
#include "solver/term/term_manager.h"

namespace vesk::opt {

/// The search for the least sum of a group of soft formulas from below: all of them are assumed, each set
/// that is refuted costs its least weight and is relaxed, until what is left can be assumed together (OLL: A.
/// Morgado, C. Dodaro, J. Marques-Silva, CP 2014; A. Ignatiev, A. Morgado, J. Marques-Silva, RC2, JSAT 2019).
///
/// Heavy formulas are assumed first (strata), and those heavier than the gap between the bounds are asserted.
/// Nothing here asks the search: it says what to assume and to assert, and is told the answers.
class CoreGuidedSearch {
 public:
  /// `numbers` says which names are free.
  CoreGuidedSearch(TermManager& terms, const PbManager::Group& group, const ConstantNumbers& numbers);

  /// What is to be assumed next.
  std::vector<Term> assumptions() const;
  /// What has to be kept by a model of the least sum, and makes it one, once that is known to be
  /// lower_bound().
  std::vector<Term> all() const;
  /// No sum is below this.
  const QNumber& lower_bound() const { return lower_; }

  /// Some of the assumptions, not none, contradict the rest. Formulas to be asserted are added to `formulas`.
  void note_core(const std::vector<Term>& core, std::vector<Term>& formulas);
  /// The assumptions hold in a model. `gap`: how far the best sum found is above the lower bound. True if
  /// that was all, and the sum of the model is the least one.
  bool note_model(const QNumber& gap, std::vector<Term>& formulas);

 private:
  static constexpr std::size_t no_counter = static_cast<std::size_t>(-1);
  /// A formula to be assumed; violated it costs the weight.
  struct Soft {
    QNumber weight;
    std::size_t counter = no_counter;  // that it bounds
    std::size_t output = 0;            // which is false if it holds
  };

  void add(Term formula, const QNumber& weight, std::size_t counter = no_counter, std::size_t output = 0);
  void lower_stratum();

  TermManager& terms_;
  ConstantNumbers numbers_;
  QNumber lower_;
  std::map<Term, Soft, TermIdLess> soft_;
  std::vector<std::vector<Term>> counters_;  // outputs: at least so many of a core are violated
  QNumber stratum_;                          // the least weight that is assumed
};

}  // namespace vesk::opt
