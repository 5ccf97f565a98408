#include "solver/preprocess/ite_minimizer.h"

#include "solver/term/visit.h"

namespace vesk {

Term IteMinimizer::operator()(Term formula) {
  calls_ = 0;
  memo_.clear();
  return rewrite_post_order(
      formula, memo_, [](Term term) { return term->has(has_ite); },
      [this](Term term, std::span<const Term> children) {
        const Term rebuilt = terms_.rebuild(term, children);
        return rebuilt->tag() == Tag::ite ? minimize(rebuilt) : rebuilt;
      });
}

Term IteMinimizer::minimize(Term ite) {
  if (limit_ > 0 && calls_ >= limit_) return ite;
  ++calls_;
  Term condition = ite->child(0), yes = ite->child(1), no = ite->child(2);
  if (condition->tag() == Tag::not_op) {
    condition = condition->child(0);
    std::swap(yes, no);
  }
  const Term known_yes = with_condition(yes, condition, true);
  const Term known_no = with_condition(no, condition, false);
  return terms_.make_term_ite(condition, known_yes, known_no);
}

Term IteMinimizer::with_condition(Term branch, Term condition, bool value) {
  if (!branch->has(has_ite)) return branch;
  branch_memo_.clear();
  branch_memo_.set(condition->id(), terms_.make_bool(value));
  return rewrite_post_order(
      branch, branch_memo_, [](Term term) { return term->has(has_ite) || term->is_connective(); },
      [this](Term term, std::span<const Term> children) { return terms_.rebuild(term, children); });
}

}  // namespace vesk
