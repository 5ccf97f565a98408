#include "solver/la/linear_term.h"

#include <utility>

#include "solver/term/poly.h"

namespace vesk::la {

bool LinearAtom::is_trivially_true() const {
  switch (relation) {
    case Relation::at_most: return bound.sgn() >= 0;
    case Relation::at_least: return bound.sgn() <= 0;
    case Relation::equal: break;
  }
  return bound.is_zero();
}

bool LinearAtom::is_arithmetic(Term atom) {
  return atom->tag() == Tag::leq || (atom->tag() == Tag::equal && atom->child(0)->type()->is_number());
}

LinearAtom LinearAtom::of(Term atom) {
  if (!is_arithmetic(atom)) throw LinearTermError("unsupported symbol: " + atom->symbol()->name());
  Poly poly = Poly::difference(atom->child(0), atom->child(1));
  poly.make_coprime();
  LinearAtom result;
  result.relation = atom->tag() == Tag::equal ? Relation::equal : Relation::at_most;
  if (!poly.monomials.empty() && poly.monomials.front().coefficient.sgn() < 0) {
    poly.scale(QNumber(-1));
    if (result.relation == Relation::at_most) result.relation = Relation::at_least;
  }
  result.all_integer = poly.all_integer();
  for (Poly::Monomial& monomial : poly.monomials)
    result.sum.push_back({monomial.atom, std::move(monomial.coefficient)});
  result.bound = poly.constant.neg();
  return result;
}

}  // namespace vesk::la
