#pragma once

#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "solver/env/term_values.h"
#include "solver/preprocess/rewrite_stack.h"
#include "solver/term/term.h"
#include "solver/term/term_manager.h"

namespace vesk {

class ModelError : public Exception {
 public:
  using Exception::Exception;
};

/// The value of a term that nothing gives one: false, 0, or one constant of the type.
Term default_value(TermManager& terms, const Type* type);
/// The same for a constant, which may stand for a value of its type already.
Term free_constant_value(TermManager& terms, Term constant);
/// What an operator makes of the values of its arguments; null for a function that the model gives the values
/// of: an uninterpreted one, and a quotient by zero.
Term operator_value(TermManager& terms, Term term, std::span<const Term> values);

/// A model, detached from the search that found it: the values of constants and of function applications,
/// and what preprocessing removed. Evaluates any term, from the leaves up; a constant, or an application to
/// values, that nothing constrains gets false, 0 or one value of its type when it is first met, and keeps
/// it.
///
/// Atoms are evaluated over the values of their terms, never taken from the search, which may have left an
/// atom false that the values happen to make true where nothing depends on it.
class ModelStore {
 public:
  /// `quotient_by_zero` is the function that a division by zero reads.
  ModelStore(TermManager& terms, RewriteStack::Steps steps, const Symbol* quotient_by_zero)
      : terms_(terms), steps_(std::move(steps)), quotient_by_zero_(quotient_by_zero) {}

  /// The value of a constant, or of an application whose arguments have values by what was added before.
  void set_constant(Term constant, Term value) { values_.insert(constant, value); }
  /// To be called after all constants are set; ModelError if the function would have two values at one
  /// place.
  void set_application(Term application, Term value);

  /// ModelError, naming the first that is not true, unless all of the formulas are; null is passed over.
  void require_true(std::span<const Term> formulas);

  /// True, false, a number, or a constant of a simple type.
  Term get_value(Term term);

  /// Constants, and applications to values, with what the model says of them, in order of id; those that
  /// preprocessing removed included, those of the solver's own left out.
  std::vector<std::pair<Term, Term>> list();

  /// All terms that the model refers to.
  void append_roots(std::vector<Term>& roots) const;

 private:
  struct Frame {
    Term term;
    std::size_t next;
  };
  Term known_value(Term term);
  Term node_value(Term term, std::span<const Term> children);
  Term application_value(Term key);
  Term definition(Term constant);

  TermManager& terms_;
  RewriteStack::Steps steps_;
  const Symbol* quotient_by_zero_;
  TermValues values_;       // of constants, and of applications to values
  TermValues memo_;         // of compound terms
  TermValues definitions_;  // of removed constants; read from steps_ when first needed
  bool definitions_read_ = false;
  std::vector<Frame> stack_;   // scratch of get_value()
  std::vector<Term> results_;  // likewise
};

}  // namespace vesk
