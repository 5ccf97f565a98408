#include "solver/preprocess/term_bounds.h"

#include "solver/term/visit.h"

namespace vesk {
namespace {

using Side = TermBounds::Side;
using Bounds = TermBounds::Bounds;

/// Which of two lower bounds (upper: of two upper bounds) says more; negative: `a`.
int compare_tightness(const Side& a, const Side& b, bool upper) {
  const int order = upper ? cmp(a.value, b.value) : cmp(b.value, a.value);
  return order != 0 ? order : static_cast<int>(b.strict) - static_cast<int>(a.strict);
}

/// What both sides say together.
void tighten(std::optional<Side>& side, const std::optional<Side>& other, bool upper) {
  if (other && (!side || compare_tightness(*other, *side, upper) < 0)) side = other;
}

/// What holds whichever of the two does.
void loosen(std::optional<Side>& side, const std::optional<Side>& other, bool upper) {
  if (side && (!other || compare_tightness(*side, *other, upper) < 0)) side = other;
}

std::optional<Side> sum(const std::optional<Side>& a, const std::optional<Side>& b) {
  if (!a || !b) return std::nullopt;
  return Side{a->value + b->value, a->strict || b->strict};
}

Bounds scaled(Bounds bounds, const QNumber& factor) {
  if (factor.sgn() < 0) std::swap(bounds.lower, bounds.upper);
  for (std::optional<Side>* side : {&bounds.lower, &bounds.upper})
    if (*side) (*side)->value *= factor;
  return bounds;
}

/// An integer above 3/2, or strictly above 1, is at least 2.
void round_to_integers(Bounds& bounds) {
  if (bounds.lower) {
    const QNumber floor = bounds.lower->value.floor();
    bounds.lower = Side{bounds.lower->strict ? floor + QNumber(1) : bounds.lower->value.ceil(), false};
  }
  if (bounds.upper) {
    const QNumber ceil = bounds.upper->value.ceil();
    bounds.upper = Side{bounds.upper->strict ? ceil - QNumber(1) : bounds.upper->value.floor(), false};
  }
}

}  // namespace

void TermBounds::note_facts(std::span<const Term> conjuncts) {
  memo_.clear();
  place_.clear();
  for (const Term conjunct : conjuncts) {
    const bool negated = conjunct->tag() == Tag::not_op;
    const Term leq = negated ? conjunct->child(0) : conjunct;
    if (leq->tag() != Tag::leq) continue;
    const Term left = leq->child(0), right = leq->child(1);
    Bounds bounds;
    if (right->is_number())
      (negated ? bounds.lower : bounds.upper) = Side{right->number(), negated};
    else if (left->is_number())
      (negated ? bounds.upper : bounds.lower) = Side{left->number(), negated};
    else
      continue;
    note(right->is_number() ? left : right, bounds);
  }
}

void TermBounds::note(Term term, const Bounds& bounds) {
  Bounds& known = facts_[term];
  if (trail_.num_marks() > 0) trail_.push({term, known});
  tighten(known.lower, bounds.lower, false);
  tighten(known.upper, bounds.upper, true);
  if (term->type()->is_integer()) round_to_integers(known);
}

Bounds TermBounds::of(Term root) {
  seen_.clear();
  visit_post_order(
      root, seen_, [this](Term term) { return term->type()->is_number() && !place_.contains(term->id()); },
      [this](Term term) {
        memo_.push_back(compute(term));
        place_.set(term->id(), memo_.size() - 1);
      });
  return known(root);
}

/// The children of a sum, a multiple or an ite are in the memo.
Bounds TermBounds::compute(Term term) const {
  Bounds bounds;
  switch (term->tag()) {
    case Tag::number: return {Side{term->number()}, Side{term->number()}};
    case Tag::plus: {
      const Bounds &a = known(term->child(0)), &b = known(term->child(1));
      bounds = {sum(a.lower, b.lower), sum(a.upper, b.upper)};
      break;
    }
    case Tag::times:
      for (const std::size_t i : {0u, 1u})
        if (term->child(i)->is_number()) bounds = scaled(known(term->child(1 - i)), term->child(i)->number());
      break;
    case Tag::ite: {
      bounds = known(term->child(1));
      const Bounds& other = known(term->child(2));
      loosen(bounds.lower, other.lower, false);
      loosen(bounds.upper, other.upper, true);
      break;
    }
    default: break;
  }
  if (const Bounds* fact = facts_.find(term)) {
    tighten(bounds.lower, fact->lower, false);
    tighten(bounds.upper, fact->upper, true);
  }
  if (term->type()->is_integer()) round_to_integers(bounds);
  return bounds;
}

void TermBounds::pop_backtrack_point() {
  memo_.clear();
  place_.clear();
  trail_.undo_to_mark(trail_.num_marks() - 1, [this](const std::pair<Term, Bounds>& old) {
    if (old.second.lower || old.second.upper)
      facts_[old.first] = old.second;
    else
      facts_.erase(old.first);
  });
}

}  // namespace vesk
