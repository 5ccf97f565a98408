#include "solver/preprocess/toplevel_propagator.h"

#include <algorithm>

#include "solver/term/poly.h"
#include "solver/term/visit.h"
#include "solver/util/polling.h"

namespace vesk {

bool ToplevelPropagator::operator()(std::vector<Term>& conjuncts, int limit) {
  conjuncts_.clear();
  queue_.clear();
  links_.clear();
  first_link_.clear();
  linked_.clear();
  met_.clear();
  memo_.clear();
  budget_ = 100000;
  for (Term term : conjuncts) {
    if (term->is_true()) continue;
    if (!add_conjunct(apply(term))) return false;
  }
  budget_ += 20 * links_.size();

  for (int round = 0; !queue_.empty() && (limit == 0 || round < limit); ++round) {
    TerminationTest::poll(termination_);
    found_.clear();
    for (std::uint32_t index : queue_)
      if (conjuncts_[index] != nullptr && solve(conjuncts_[index], round == 0)) conjuncts_[index] = nullptr;
    queue_.clear();
    if (found_.empty()) break;

    changed_.clear();
    changed_conjuncts_.clear();
    queued_.clear();
    memo_.clear();
    for (Term constant : found_) mark_changed(constant);
    std::sort(changed_conjuncts_.begin(), changed_conjuncts_.end());
    for (std::uint32_t index : changed_conjuncts_) {
      const Term old = conjuncts_[index];
      if (old == nullptr) continue;
      conjuncts_[index] = nullptr;
      if (!add_conjunct(apply(old))) return false;
    }
  }
  conjuncts.clear();
  for (Term term : conjuncts_)
    if (term != nullptr) conjuncts.push_back(term);
  return true;
}

// Takes a conjunct apart and notes where its subterms occur. False: it is false.
bool ToplevelPropagator::add_conjunct(Term root) {
  stack_.assign(1, root);
  while (!stack_.empty()) {
    const Term term = stack_.back();
    stack_.pop_back();
    if (term->is_true()) continue;
    if (term->is_false()) return false;
    if (!met_.insert(term->id())) continue;
    if (term->tag() == Tag::and_op) {
      stack_.push_back(term->child(1));
      stack_.push_back(term->child(0));
      continue;
    }
    if (term->tag() == Tag::not_op && term->child(0)->tag() == Tag::or_op) {
      const Term disjunction = term->child(0);
      stack_.push_back(terms_.make_not(disjunction->child(1)));
      stack_.push_back(terms_.make_not(disjunction->child(0)));
      continue;
    }
    const auto index = static_cast<std::uint32_t>(conjuncts_.size());
    conjuncts_.push_back(term);
    queue_.push_back(index);
    link(nullptr, index, term);
    visit_post_order(
        term, linked_, [](Term) { return true; },
        [this](Term parent) {
          for (Term child : parent->children()) link(parent, 0, child);
        });
    for (Term equation : abstraction_.implied_by(term)) stack_.push_back(equation);
  }
  return true;
}

void ToplevelPropagator::link(Term parent, std::uint32_t conjunct, Term child) {
  poll_now_and_then();
  const std::uint32_t* first = first_link_.find(child->id());
  links_.push_back({parent, conjunct, first == nullptr ? no_link : *first});
  first_link_.set(child->id(), static_cast<std::uint32_t>(links_.size() - 1));
}

// Everything above the constant is to be rebuilt.
void ToplevelPropagator::mark_changed(Term constant) {
  if (!changed_.insert(constant->id())) return;
  stack_.assign(1, constant);
  while (!stack_.empty()) {
    const Term term = stack_.back();
    stack_.pop_back();
    const std::uint32_t* first = first_link_.find(term->id());
    for (std::uint32_t at = first == nullptr ? no_link : *first; at != no_link; at = links_[at].next) {
      const Link& up = links_[at];
      if (up.parent == nullptr) {
        if (conjuncts_[up.conjunct] == term && queued_.insert(up.conjunct))
          changed_conjuncts_.push_back(up.conjunct);
      } else if (changed_.insert(up.parent->id())) {
        stack_.push_back(up.parent);
      }
    }
  }
}

// A constant with a substitution is walked like a term whose only child is its value, so that chains of
// substitutions need no recursion either.
Term ToplevelPropagator::apply(Term root) {
  if (!any_substitution_) return root;
  struct Frame {
    Term term;
    std::size_t next;
  };
  const auto known = [this](Term term) -> Term {
    poll_now_and_then();
    if (const Term* found = memo_.find(term->id())) return *found;
    return term->arity() == 0 && substitution(term) == nullptr ? term : nullptr;
  };
  if (const Term result = known(root)) return result;
  std::vector<Frame> stack{{root, 0}};
  std::vector<Term> results;
  for (;;) {
    Frame& frame = stack.back();
    const Term term = frame.term;
    const Term value = substitution(term);
    const std::size_t arity = value != nullptr ? 1 : term->arity();
    if (frame.next < arity) {
      const Term child = value != nullptr ? value : term->child(frame.next);
      ++frame.next;
      if (const Term result = known(child))
        results.push_back(result);
      else
        stack.push_back({child, 0});
      continue;
    }
    const std::size_t first = results.size() - arity;
    const Term result = value != nullptr
                            ? results[first]
                            : terms_.rebuild(term, std::span<const Term>(results).subspan(first));
    memo_.set(term->id(), result);
    results.resize(first);
    stack.pop_back();
    if (stack.empty()) return result;
    results.push_back(result);
  }
}

// Reads a conjunct as the definition of a constant. True: it is one, and says nothing more.
bool ToplevelPropagator::solve(Term conjunct, bool first_round) {
  const bool negated = conjunct->tag() == Tag::not_op;
  const Term term = negated ? conjunct->child(0) : conjunct;
  if (term->is_constant()) {
    if (!is_free_constant(term)) return false;
    substitute(term, terms_.make_bool(!negated));
    return true;
  }
  if (term->tag() == Tag::iff) {
    for (std::size_t i : {0u, 1u}) {
      if (!is_free_constant(term->child(i))) continue;
      const Term other = term->child(1 - i);
      if (try_substitute(term->child(i), negated ? terms_.make_not(other) : other)) return true;
    }
    return false;
  }
  return !negated && term->tag() == Tag::equal && solve_equality(term, first_round);
}

bool ToplevelPropagator::solve_equality(Term equality, bool first_round) {
  const Term left = equality->child(0), right = equality->child(1);
  for (const auto& [constant, value] : {std::pair{left, right}, std::pair{right, left}})
    if (is_free_constant(constant) && terms_.types().is_subtype(value->type(), constant->type()) &&
        try_substitute(constant, value))
      return true;
  if (!left->type()->is_number()) return false;
  // why in the first round only: solving rewrites whole sums, and what the later rounds could add is rare.
  return first_round && solve_linear(left, right);
}

// An equation over several unknowns. `x - y = 0` is `x = y`; any other is solved for a rational constant
// with coefficient 1 or -1, which keeps all coefficients integer.
bool ToplevelPropagator::solve_linear(Term left, Term right) {
  Poly poly = Poly::difference(left, right);
  poly.make_coprime();
  // why the newest first: it occurs in the fewest formulas.
  for (std::size_t i = poly.monomials.size(); i-- > 0;) {
    const Term constant = poly.monomials[i].atom;
    const QNumber& coefficient = poly.monomials[i].coefficient;
    if (!is_free_constant(constant) || !(coefficient.is_one() || coefficient == -1)) continue;
    if (!constant->type()->is_rational() && poly.monomials.size() != 2) continue;
    Poly rest = poly;
    rest.monomials.erase(rest.monomials.begin() + static_cast<std::ptrdiff_t>(i));
    if (coefficient.is_one()) rest.scale(QNumber(-1));
    if (!constant->type()->is_rational()) {
      // Over the integers an equation of two constants only.
      const bool same = rest.constant.is_zero() && rest.monomials[0].coefficient.is_one() &&
                        rest.monomials[0].atom->type() == constant->type();
      if (!same) continue;
    }
    const Term value = rest.to_term(terms_);
    if (try_substitute(constant, value)) return true;
  }
  return false;
}

bool ToplevelPropagator::try_substitute(Term constant, Term value) {
  if (constant == value || occurs(constant, value)) return false;
  substitute(constant, value);
  return true;
}

// Whether `constant` occurs in `term` with the substitutions applied. When the budget is spent the answer
// is yes: the equation stays where it is.
bool ToplevelPropagator::occurs(Term constant, Term root) {
  seen_.clear();
  stack_.assign(1, root);
  while (!stack_.empty()) {
    const Term term = stack_.back();
    stack_.pop_back();
    if (term == constant || budget_ == 0) return true;
    if (!seen_.insert(term->id())) continue;
    --budget_;
    if (const Term value = substitution(term)) stack_.push_back(value);
    for (Term child : term->children()) stack_.push_back(child);
  }
  return false;
}

void ToplevelPropagator::substitute(Term constant, Term value) {
  const std::uint64_t id = constant->id();
  if (id >= substitutions_.size()) substitutions_.resize(id + id / 2 + 64, nullptr);
  substitutions_[id] = value;
  any_substitution_ = true;
  if (trail_.num_marks() > 0) trail_.push({constant, true});
  rewrites_.push_rewrite(constant, value);
  found_.push_back(constant);
}

void ToplevelPropagator::set_protected(Term term) {
  const std::uint64_t id = term->id();
  if (id >= protected_.size()) protected_.resize(id + id / 2 + 64, 0);
  if (protected_[id] != 0) return;
  protected_[id] = 1;
  if (trail_.num_marks() > 0) trail_.push({term, false});
}

void ToplevelPropagator::protect_constants(Term formula) {
  stack_.assign(1, formula);
  while (!stack_.empty()) {
    const Term term = stack_.back();
    stack_.pop_back();
    if (is_protected(term)) continue;
    poll_now_and_then();
    set_protected(term);
    for (Term child : term->children()) stack_.push_back(child);
  }
}

void ToplevelPropagator::pop_backtrack_point() {
  memo_.clear();
  trail_.undo_to_mark(trail_.num_marks() - 1, [this](const Cell& cell) {
    if (cell.is_substitution)
      substitutions_[cell.term->id()] = nullptr;
    else
      protected_[cell.term->id()] = 0;
  });
}

}  // namespace vesk
