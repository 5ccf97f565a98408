#include "solver/term/poly.h"

#include <algorithm>

#include "solver/term/term_manager.h"

namespace vesk {
namespace {

// why a heap by id: a child is older than its parent, so when a term comes to the top all its occurrences
// have been met. Each shared subterm is opened once, and the atoms come out in order.
class Reader {
 public:
  void add(Term term, const QNumber& factor) {
    if (term->is_number()) {
      poly_.constant.self_addmul(factor, term->number());
      return;
    }
    const std::size_t known = find(term);
    if (known < met_.size()) {
      met_[known].coefficient += factor;
      return;
    }
    heap_.push_back(met_.size());
    met_.push_back({term, factor});
    std::push_heap(heap_.begin(), heap_.end(), [this](std::size_t a, std::size_t b) { return less(a, b); });
  }

  Poly read() {
    while (!heap_.empty()) {
      std::pop_heap(heap_.begin(), heap_.end(), [this](std::size_t a, std::size_t b) { return less(a, b); });
      const Term term = met_[heap_.back()].atom;
      QNumber factor = std::move(met_[heap_.back()].coefficient);
      heap_.pop_back();
      if (factor.is_zero()) continue;
      const Tag tag = term->tag();
      if (tag == Tag::plus) {
        add(term->child(0), factor);
        add(term->child(1), factor);
      } else if (tag == Tag::times && term->child(0)->is_number()) {
        add(term->child(1), factor * term->child(0)->number());
      } else if (tag == Tag::times && term->child(1)->is_number()) {
        add(term->child(0), factor * term->child(1)->number());
      } else {
        poly_.monomials.push_back({term, std::move(factor)});
      }
    }
    std::reverse(poly_.monomials.begin(), poly_.monomials.end());
    return std::move(poly_);
  }

 private:
  static constexpr std::size_t small = 16;  // up to here a scan is cheaper than a table

  bool less(std::size_t a, std::size_t b) const { return met_[a].atom->id() < met_[b].atom->id(); }

  std::size_t find(Term term) {
    if (met_.size() > small) return table_.insert(term, met_.size()).first;
    std::size_t at = 0;
    while (at < met_.size() && met_[at].atom != term) ++at;
    if (at == small)
      for (std::size_t i = 0; i <= small; ++i) table_.insert(i < small ? met_[i].atom : term, i);
    return at;
  }

  Poly poly_;
  std::vector<Poly::Monomial> met_;
  std::vector<std::size_t> heap_;  // of indices of met_
  hsh::Map<Term, std::size_t> table_;
};

}  // namespace

Poly Poly::of(Term term) {
  Reader reader;
  reader.add(term, QNumber(1));
  return reader.read();
}

Poly Poly::difference(Term a, Term b) {
  Reader reader;
  reader.add(a, QNumber(1));
  reader.add(b, QNumber(-1));
  return reader.read();
}

bool Poly::all_integer() const {
  return std::all_of(monomials.begin(), monomials.end(),
                     [](const Monomial& m) { return m.atom->type()->is_integer(); });
}

void Poly::scale(const QNumber& factor) {
  for (Monomial& m : monomials) m.coefficient *= factor;
  constant *= factor;
}

void Poly::make_coprime() {
  if (monomials.empty()) return;
  QNumber denominators(1);
  for (const Monomial& m : monomials)
    if (!m.coefficient.is_int()) denominators = lcm(denominators, m.coefficient.get_den());
  QNumber divisor(0);
  for (const Monomial& m : monomials) {
    if (divisor.is_one()) break;
    divisor = gcd(divisor, (m.coefficient * denominators).get_num());
  }
  const QNumber factor = denominators / divisor;
  if (!factor.is_one()) scale(factor);
}

void Poly::add(const QNumber& factor, const Poly& other) {
  std::vector<Monomial> sum;
  sum.reserve(monomials.size() + other.monomials.size());
  auto mine = monomials.begin();
  for (const Monomial& m : other.monomials) {
    while (mine != monomials.end() && mine->atom->id() < m.atom->id()) sum.push_back(std::move(*mine++));
    QNumber coefficient = factor * m.coefficient;
    if (mine != monomials.end() && mine->atom == m.atom) coefficient += (mine++)->coefficient;
    if (!coefficient.is_zero()) sum.push_back({m.atom, std::move(coefficient)});
  }
  while (mine != monomials.end()) sum.push_back(std::move(*mine++));
  monomials = std::move(sum);
  constant.self_addmul(factor, other.constant);
}

Term Poly::to_term(TermManager& terms) const {
  Term sum = nullptr;
  for (const Monomial& m : monomials) {
    Term summand = m.atom;
    if (!m.coefficient.is_one()) {
      const Term factor = terms.make_number(m.coefficient);
      summand = terms.make_times(factor, m.atom);
    }
    sum = sum == nullptr ? summand : terms.make_plus(sum, summand);
  }
  if (sum == nullptr) return terms.make_number(constant);
  if (constant.is_zero()) return sum;
  const Term number = terms.make_number(constant);
  return terms.make_plus(sum, number);
}

}  // namespace vesk
