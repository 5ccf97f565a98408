#include "solver/opt/circuits.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace vesk::opt {

Term CircuitBuilder::constant(const char* base, std::size_t& number, const Type* type) {
  const std::string name = base + std::to_string(number++);
  return terms_.make_constant(terms_.make_internal_symbol(name, type));
}

Term CircuitBuilder::label() { return constant("pb_b_", numbers_.label, terms_.types().boolean()); }

void CircuitBuilder::clause(std::initializer_list<Term> literals) {
  Term result = terms_.make_false();
  for (Term literal : literals) result = terms_.make_or(result, literal);
  out_.push_back(result);
}

std::vector<Term> CircuitBuilder::sort(std::span<const Term> inputs) {
  if (inputs.size() <= 1) return {inputs.begin(), inputs.end()};
  const std::size_t half = inputs.size() / 2;
  std::vector<Term> first = sort(inputs.first(half));
  std::vector<Term> second = sort(inputs.subspan(half));
  return merge(std::move(first), std::move(second));
}

std::vector<Term> CircuitBuilder::merge(std::vector<Term> a, std::vector<Term> b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  if (a.size() == 1 && b.size() == 1) {
    const auto [first, second] = compare(a[0], b[0]);
    return {first, second};
  }
  if (a.size() % 2 == 1 && b.size() % 2 == 0) std::swap(a, b);
  const auto every_other = [](const std::vector<Term>& list, std::size_t from) {
    std::vector<Term> result;
    for (std::size_t i = from; i < list.size(); i += 2) result.push_back(list[i]);
    return result;
  };
  const std::vector<Term> d = merge(every_other(a, 0), every_other(b, 0));
  const std::vector<Term> e = merge(every_other(a, 1), every_other(b, 1));
  std::vector<Term> result{d[0]};
  for (std::size_t i = 1; i <= std::min(d.size() - 1, e.size()); ++i) {
    const auto [first, second] = compare(e[i - 1], d[i]);
    result.push_back(first);
    result.push_back(second);
  }
  if (a.size() % 2 == 1)
    result.push_back(d.back());
  else if (b.size() % 2 == 0)
    result.push_back(e.back());
  assert(result.size() == a.size() + b.size());
  return result;
}

// The disjunction and the conjunction of the two.
std::pair<Term, Term> CircuitBuilder::compare(Term a, Term b) {
  const Type* boolean = terms_.types().boolean();
  const Term either = constant("cc_y_", numbers_.comparator, boolean);
  const Term both = constant("cc_y_", numbers_.comparator, boolean);
  const Term not_a = terms_.make_not(a), not_b = terms_.make_not(b);
  const Term not_either = terms_.make_not(either), not_both = terms_.make_not(both);
  clause({a, b, not_either});
  clause({b, not_both});
  clause({a, not_both});
  clause({not_a, not_b, both});
  clause({not_b, either});
  clause({not_a, either});
  return {either, both};
}

// Output j says that at least j + 1 inputs are true.
std::vector<Term> CircuitBuilder::count(const std::vector<Term>& outputs, Term input) {
  std::vector<Term> layer;
  for (std::size_t j = 0; j <= outputs.size(); ++j) {
    const Term fewer = j == 0 ? input : terms_.make_and(outputs[j - 1], input);
    const Term meaning = j == outputs.size() ? fewer : terms_.make_or(fewer, outputs[j]);
    layer.push_back(constant("s_", numbers_.counter, terms_.types().boolean()));
    out_.push_back(terms_.make_iff(layer.back(), meaning));
  }
  return layer;
}

// Between 0 and `end`, on whichever side that is.
void CircuitBuilder::bound(Term constant, const QNumber& end) {
  const Term zero = terms_.make_number(QNumber(0)), other = terms_.make_number(end);
  const bool is_positive = end.sgn() > 0;
  out_.push_back(terms_.make_leq(is_positive ? zero : other, constant));
  out_.push_back(terms_.make_leq(constant, is_positive ? other : zero));
}

Term CircuitBuilder::connect(std::span<const Term> outputs, const QNumber& weight) {
  assert(!weight.is_zero());
  const Term x = constant("pb_circ_", numbers_.circuit, terms_.types().rational());
  bound(x, weight * QNumber(static_cast<long>(outputs.size())));
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    const Term fewer = terms_.make_number(weight * QNumber(static_cast<long>(i)));
    const Term more = terms_.make_number(weight * QNumber(static_cast<long>(i) + 1));
    const bool is_positive = weight.sgn() > 0;
    const Term reaches = is_positive ? terms_.make_leq(more, x) : terms_.make_leq(x, more);
    const Term misses = is_positive ? terms_.make_leq(x, fewer) : terms_.make_leq(fewer, x);
    const Term output = outputs[i], no_output = terms_.make_not(output);
    clause({no_output, reaches});
    clause({output, misses});
    const Term not_reaches = terms_.make_not(reaches), not_misses = terms_.make_not(misses);
    clause({not_reaches, not_misses});
    if (i > 0) clause({no_output, outputs[i - 1]});
  }
  return x;
}

Term CircuitBuilder::choose(Term label, const QNumber& weight) {
  const Term w = constant("pb_w_", numbers_.weight, terms_.types().rational());
  const Term zero = terms_.make_number(QNumber(0)), other = terms_.make_number(weight);
  const Term chosen = terms_.make_term_ite(label, zero, other);
  out_.push_back(terms_.make_equal(w, chosen));
  bound(w, weight);
  return w;
}

}  // namespace vesk::opt
