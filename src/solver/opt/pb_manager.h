#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/opt/circuits.h"
#include "solver/term/term_manager.h"

namespace vesk::opt {

/// One soft formula: its weight counts where the label, or for null everywhere, is false.
struct SoftEntry {
  Term label;
  QNumber weight;
};

/// Groups of soft formulas, and the sums of the weights of those that are violated.
///
/// What counts them (circuits, or one constant for each entry) are definitions of fresh constants, which
/// stand on the level of the entries, unless nobody needed them there; a group that grows keeps them and
/// merges what is new into them. Only the equation between the group's own constant and its sum is void when
/// the group grows; it is for the level of a check.
///
/// A pop gives back all that has changed since its push: entries, circuits, and the numbers in names.
class PbManager {
 public:
  PbManager(TermManager& terms, const Configuration::Optimization& config) : terms_(terms), config_(config) {}

  struct Group {
    Term id = nullptr;
    QNumber offset;                  // what is violated in any case
    std::vector<SoftEntry> entries;  // whose labels are neither true nor false
  };

  /// What asserting an entry calls for.
  struct Demand {
    Term formula = nullptr;    ///< to be asserted
    Term preferred = nullptr;  ///< a constant to be decided early; null for none
  };
  /// EnvironmentError for an argument of the wrong kind; SymbolError for a bad or taken name.
  Demand add(Term formula, Term weight, std::string_view id);

  /// The definitions that are missing in the groups of which `is_needed(group)` says so.
  std::vector<Term> take_definitions(const std::function<bool(const Group&)>& is_needed);
  /// An equation for each group that has entries; those without definitions stand in it as choices.
  std::vector<Term> sums() const;
  bool has_sums() const { return !state_.groups.empty(); }

  /// The group of that constant; null if it has no entries.
  const Group* find(Term id) const;

  /// The names that are free from there on.
  const ConstantNumbers& numbers() const { return state_.numbers; }

  void push() { saved_.push_back(state_); }
  void pop();
  void reset();
  void append_roots(std::vector<Term>& roots) const;

 private:
  /// Entries of one weight that are counted together.
  struct Circuit {
    QNumber weight;
    std::size_t size = 0;
    std::vector<Term> outputs;  // the true ones first
    std::vector<Term> pending;  // inputs that are not among them yet
    Term sum = nullptr;         // null while inputs are pending
  };
  struct Sum {
    Group group;
    std::size_t num_defined = 0;  // entries that circuits or constants stand for
    std::vector<Circuit> circuits;
    std::vector<Term> constants;  // one for each entry, with the encoding "la"
  };
  struct State {
    std::vector<Sum> groups;  // in order of their first entries
    ConstantNumbers numbers;
  };

  Sum& sum_of(Term id);
  Circuit& circuit_for(Sum& sum, const QNumber& weight);

  TermManager& terms_;
  const Configuration::Optimization& config_;
  State state_;
  std::vector<State> saved_;  // one for each open level
};

}  // namespace vesk::opt
