#pragma once

#include "solver/dpll/lit.h"
#include "solver/term/term.h"

namespace vesk::dpll {

/// The part of the Boolean search that theories may use: its variables for atoms.
class ProxyMaker {
 public:
  virtual ~ProxyMaker() = default;

  struct Options {
    bool decision = true;             ///< the search may decide it
    bool problem_var = false;         ///< its value belongs to the model of the formula
    lbool forced_polarity = l_undef;  ///< the sign to try first, whatever the cached phase says
  };
  /// The variable of `atom`, made if there is none; `*is_new` tells (may be null). A new one is told to the
  /// theories before the call returns. The options are taken by a new variable only, but `decision` can be
  /// turned on later. TermError for a term that is no Boolean atom or connective.
  virtual Var make_proxy(Term atom, const Options& options, bool* is_new) = 0;
  /// var_undef when the atom has none.
  virtual Var find_proxy(Term atom) const = 0;
  /// Null for a variable without a term.
  virtual Term term_of(Var var) const = 0;
  virtual lbool value(Lit lit) const = 0;
  /// Level at which an assigned variable got its value.
  virtual int level(Var var) const = 0;
  virtual int decision_level() const = 0;
  /// Number of open backtrack points; their literals are decided at the levels 1 to this number.
  virtual int num_backtrack_points() const = 0;
  virtual void set_decision(Var var, bool decision) = 0;
  virtual void set_forced_polarity(Var var, lbool polarity) = 0;
};

}  // namespace vesk::dpll
