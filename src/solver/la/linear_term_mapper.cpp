#include "solver/la/linear_term_mapper.h"

#include <algorithm>
#include <cassert>

namespace vesk::la {

namespace {

bool has_meaning(Term term) {
  return term->tag() == Tag::times || term->tag() == Tag::divide || term->tag() == Tag::floor ||
         term->tag() == Tag::ite;
}

std::uint64_t hash_of(std::span<const LinearAtom::Summand> sum) {
  std::uint64_t hash = sum.size();
  for (const LinearAtom::Summand& summand : sum) {
    hash = hsh::combine(hash, summand.term->id());
    hash = hsh::combine(hash, summand.coefficient.hash());
  }
  return hsh::mix(hash);
}

bool same_sum(std::span<const LinearAtom::Summand> a, std::span<const LinearAtom::Summand> b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const LinearAtom::Summand& left, const LinearAtom::Summand& right) {
                      return left.term == right.term && left.coefficient == right.coefficient;
                    });
}

}  // namespace

Var LinearTermMapper::start(Var var) {
  if (static_cast<std::size_t>(var) >= records_.size()) records_.resize(static_cast<std::size_t>(var) + 1);
  record(var) = Record();
  record(var).users = 1;
  return var;
}

Var LinearTermMapper::acquire_term(Term term) {
  if (const Var* known = var_of_term_.find(term)) {
    ++record(*known).users;
    return *known;
  }
  // The arguments of an opaque term get variables too, so that its meaning can be evaluated. They can be
  // opaque in turn, to any depth, so the walk keeps its own stack.
  std::vector<Term> stack{term};
  while (!stack.empty()) {
    const Term next = stack.back();
    if (var_of_term_.contains(next)) {
      stack.pop_back();
      continue;
    }
    std::vector<Term> parts;
    if (has_meaning(next))
      for (const Term child : next->children())
        if (child->type()->is_number())
          for (const Poly::Monomial& monomial : Poly::of(child).monomials) parts.push_back(monomial.atom);
    const std::size_t before = stack.size();
    for (const Term part : parts)
      if (!var_of_term_.contains(part)) stack.push_back(part);
    if (stack.size() != before) continue;
    stack.pop_back();
    const Var var = start(solver_.new_var());
    for (const Term part : parts) {
      const Var part_var = *var_of_term_.find(part);
      ++record(part_var).users;
      record(var).parts.push_back(part_var);
    }
    Record& made = record(var);
    made.term = next;
    made.integer = made.whole = next->type()->is_integer();
    made.opaque = has_meaning(next);
    made.users = next == term ? 1 : 0;  // a part is used by those that mention it
    num_integers_ += made.integer ? 1 : 0;
    num_opaque_ += made.opaque ? 1 : 0;
    var_of_term_[next] = var;
  }
  return *var_of_term_.find(term);
}

Var LinearTermMapper::acquire(std::span<const LinearAtom::Summand> sum) {
  assert(!sum.empty());
  // A term alone needs no row of its own: its bounds are those of its variable.
  if (sum.size() == 1 && sum[0].coefficient.is_one()) return acquire_term(sum[0].term);
  const std::uint64_t hash = hash_of(sum);
  const auto [first, last] = slacks_.equal_range(hash);
  for (auto it = first; it != last; ++it) {
    if (!same_sum(record(it->second).sum, sum)) continue;
    ++record(it->second).users;
    return it->second;
  }
  std::vector<Monomial> definition;
  for (const LinearAtom::Summand& summand : sum)
    definition.push_back({acquire_term(summand.term), summand.coefficient});
  const Var slack = start(solver_.new_slack(definition));
  Record& made = record(slack);
  made.sum.assign(sum.begin(), sum.end());
  made.whole = true;
  for (const Monomial& monomial : definition) {
    made.parts.push_back(monomial.var);
    made.whole = made.whole && is_whole(monomial.var) && monomial.coeff.is_int();
  }
  made.hash = hash;
  slacks_.emplace(hash, slack);
  return slack;
}

void LinearTermMapper::release(Var var) {
  // What is gone lets go of its parts, to any depth; a part outlives it while others use it.
  std::vector<Var> pending{var};
  while (!pending.empty()) {
    const Var next = pending.back();
    pending.pop_back();
    Record& gone = record(next);
    assert(gone.users > 0);
    if (--gone.users > 0) continue;
    pending.insert(pending.end(), gone.parts.begin(), gone.parts.end());
    if (gone.term != nullptr) {
      num_integers_ -= gone.integer ? 1 : 0;
      num_opaque_ -= gone.opaque ? 1 : 0;
      var_of_term_.erase(gone.term);
    } else {
      const auto [first, last] = slacks_.equal_range(gone.hash);
      slacks_.erase(std::find_if(first, last, [next](const auto& entry) { return entry.second == next; }));
    }
    solver_.remove_var(next);
    gone = Record();
  }
}

Var LinearTermMapper::find(Term term) const {
  const Var* var = var_of_term_.find(term);
  return var == nullptr ? null_var : *var;
}

bool LinearTermMapper::evaluate_model(Term term, QNumber& value) const {
  if (const Var var = find(term); var != null_var) {
    value = solver_.model_value(var);
    return true;
  }
  const Poly poly = Poly::of(term);
  value = poly.constant;
  for (const Poly::Monomial& monomial : poly.monomials) {
    const Var var = find(monomial.atom);
    if (var == null_var) return false;
    value.self_addmul(monomial.coefficient, solver_.model_value(var));
  }
  return true;
}

std::vector<Solver::Freedom> LinearTermMapper::freedom() const {
  std::vector<Solver::Freedom> freedom(records_.size(), Solver::Freedom::any);
  for (std::size_t v = 0; v < records_.size(); ++v)
    if (records_[v].users > 0 && records_[v].integer) freedom[v] = Solver::Freedom::whole;
  for (std::size_t v = 0; v < records_.size() && has_opaque_terms(); ++v) {
    if (records_[v].users == 0 || !records_[v].opaque) continue;
    // The value of an opaque term follows from those of its parts, so neither can be moved on its own.
    freedom[v] = Solver::Freedom::none;
    for (const Var part : records_[v].parts) freedom[static_cast<std::size_t>(part)] = Solver::Freedom::none;
  }
  return freedom;
}

Var LinearTermMapper::most_fractional_var() const {
  Var best = null_var;
  QNumber best_distance;
  for (std::size_t v = 0; num_integers_ != 0 && v < records_.size(); ++v) {
    if (records_[v].users == 0 || !records_[v].integer) continue;
    const Var var = static_cast<Var>(v);
    const DNumber& value = solver_.value(var);
    if (value.is_int()) continue;
    // An infinitesimal away counts as nothing.
    const QNumber part = value.c - value.c.floor();
    const QNumber distance = std::min(part, QNumber(1) - part);
    if (best != null_var && distance <= best_distance) continue;
    best = var;
    best_distance = distance;
  }
  return best;
}

Term LinearTermMapper::term_of(Var var, TermManager& terms) const {
  const Record& known = records_[static_cast<std::size_t>(var)];
  if (known.term != nullptr) return known.term;
  Poly poly;
  for (const LinearAtom::Summand& summand : known.sum)
    poly.monomials.push_back({summand.term, summand.coefficient});
  return poly.to_term(terms);
}

Term LinearTermMapper::fractional_term() const {
  for (std::size_t v = 0; v < records_.size(); ++v)
    if (records_[v].users > 0 && records_[v].integer && !solver_.model_value(static_cast<Var>(v)).is_int())
      return records_[v].term;
  return nullptr;
}

Term LinearTermMapper::opaque_term_at_fault() const {
  for (std::size_t v = 0; v < records_.size(); ++v) {
    if (records_[v].users == 0 || !records_[v].opaque) continue;
    const Term term = records_[v].term;
    const QNumber& value = solver_.model_value(static_cast<Var>(v));
    QNumber left, right;
    if (term->tag() == Tag::ite) return term;  // its condition is not known here
    bool fits = evaluate_model(term->child(0), left);
    if (term->tag() == Tag::floor) {
      fits = fits && value == left.floor();
    } else {
      fits = fits && evaluate_model(term->child(1), right);
      if (term->tag() == Tag::times)
        fits = fits && value == left * right;
      else
        fits = fits && !right.is_zero() && value == left / right;
    }
    if (!fits) return term;
  }
  return nullptr;
}

}  // namespace vesk::la
