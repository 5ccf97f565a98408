#pragma once

#include <span>
#include <string>
#include <vector>

#include "solver/preprocess/term_bounds.h"
#include "solver/term/poly.h"
#include "solver/term/term.h"
#include "solver/term/term_manager.h"
#include "solver/util/hash_table.h"
#include "solver/util/stamp_set.h"
#include "solver/util/undo_trail.h"

namespace vesk {

/// Replaces what no theory takes: term-ites, floors, modular congruences and divisions become fresh
/// constants with side constraints (a `distinct` of many arguments becomes a rank for each), or, where an
/// atom holds just one ite, a Boolean case split without any. Products of two unknowns stay, as unknowns of
/// their own, with facts about their signs.
///
/// The constraint of a term is made once; backtrack points are followed.
class ConstraintEncoder {
 public:
  /// `splits_ites`: a relation with one ite becomes a case split.
  ConstraintEncoder(TermManager& terms, bool splits_ites) : terms_(terms), splits_ites_(splits_ites) {}

  /// Rewrites `conjuncts` in place and appends the side constraints, which need no encoding again.
  void operator()(std::vector<Term>& conjuncts);

  /// The uninterpreted function that stands for the quotient by zero.
  const Symbol* quotient_by_zero();

  /// Formulas that hold at the level that is open, for bounds of what is encoded later.
  void note_facts(std::span<const Term> conjuncts) { bounds_.note_facts(conjuncts); }

  void push_backtrack_point() {
    trail_.push_mark();
    bounds_.push_backtrack_point();
  }
  void pop_backtrack_point();

 private:
  Term encode(Term formula);
  Term encode_node(Term term);
  Term encode_relation(Term atom);
  Term with_constants(Term atom);
  Term split_cases(Term atom);
  Term split_bool_arguments(const Symbol* function, std::vector<Term>& args, std::size_t first);
  Term sole_ite(Term atom) const;
  Term with_branch(Term atom, Term ite, Term branch);
  Term encode_product(Term product);
  Term scaled_cases(Term factor, Term ite, int depth);
  Term without_ites(Term term, bool integer_wanted);
  Term constant_for(Term term, const Type* type);
  Term integer_twin(Term constant);

  void add_ite(Term ite, Term constant);
  void add_bounds(Term ite, Term constant);
  void add_floor(Term floor, Term constant);
  void add_mod_congr(Term congruence, Term quotient);
  void add_divide(Term divide, Term constant);
  void add_distinct(Term distinct, Term constant);
  void add_ranks(Term distinct, Term unless);
  Term encode_assertion(Term formula);
  void add_sign_facts(Term product);
  void add_side(Term constraint) { sides_.push_back(constraint); }
  Term strictly_positive(Term term);
  Term strictly_negative(Term term);

  TermManager& terms_;
  bool splits_ites_;
  hsh::Map<Term, Term> constants_;  // encoded term -> its constant; a product -> itself once it has its facts
  UndoTrail<Term> trail_;           // keys of constants_
  StampMap<Term> memo_;             // of one call
  StampMap<Term> split_memo_;
  std::vector<Term> sides_;  // to be encoded still
  TermBounds bounds_;
};

}  // namespace vesk
