#pragma once

#include <cstddef>
#include <vector>

#include "solver/term/symbol.h"
#include "solver/term/term.h"
#include "solver/theory/theory_solver.h"
#include "solver/util/hash_table.h"
#include "solver/util/stamp_set.h"

namespace vesk {

/// Finds the applications of uninterpreted functions in atoms, and tells the theories which terms they share:
/// the numeric arguments and the numeric values of applications. Counts the atoms that mention each, so that
/// a retracted atom takes its terms along. A formula without functions costs one test an atom.
class InterfaceTermDetector {
 public:
  /// The theories that share terms; either may be null.
  void set_solvers(TheorySolver* euf, TheorySolver* arithmetic) {
    euf_ = euf;
    arithmetic_ = arithmetic;
  }

  void add_atom(Term atom);
  void remove_atom(Term atom);

  struct Function {
    const Symbol* symbol;
    std::vector<Term> applications;  ///< those that atoms mention now, oldest first
  };
  /// Functions with at least one application, in order of their first.
  const std::vector<Function>& functions() const { return functions_; }
  /// An application with a Boolean argument other than true and false, whose value the theories do not see;
  /// null if there is none.
  Term boolean_argument() const;

 private:
  void collect(Term atom);
  void share(Term application);
  void unshare(Term application);

  TheorySolver* euf_ = nullptr;
  TheorySolver* arithmetic_ = nullptr;
  hsh::Map<Term, int> users_;  // by application
  std::vector<Function> functions_;
  std::vector<Term> found_;  // scratch: the applications in one atom
  StampSet seen_;
};

}  // namespace vesk
