#include "solver/preprocess/term_normalizer.h"

#include <cstdint>
#include <optional>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/preprocess/card_manager.h"
#include "solver/term/visit.h"

namespace vesk {
namespace {

using Groups = Configuration::Preprocessor;

constexpr std::size_t max_product_size = 4096;  // summands that multiplying out may make

std::vector<Term> summands(Term term) {
  std::vector<Term> result, stack{term};
  while (!stack.empty()) {
    const Term next = stack.back();
    stack.pop_back();
    if (next->tag() == Tag::plus) {
      stack.push_back(next->child(1));
      stack.push_back(next->child(0));
    } else {
      result.push_back(next);
    }
    if (result.size() + stack.size() > max_product_size) return {};
  }
  return result;
}

// The conditions of a sum whose summands are all `ite(c, 1, 0)`.
std::optional<std::vector<Term>> conditions_of_count(Term sum) {
  const std::vector<Term> parts = summands(sum);
  if (parts.empty()) return std::nullopt;
  std::vector<Term> conditions;
  for (Term part : parts) {
    const bool counts = part->tag() == Tag::ite && part->child(1)->is_number() &&
                        part->child(2)->is_number() && part->child(1)->number().is_one() &&
                        part->child(2)->number().is_zero();
    if (!counts) return std::nullopt;
    conditions.push_back(part->child(0));
  }
  return conditions;
}

}  // namespace

Term TermNormalizer::operator()(Term root) {
  std::uint32_t flags = 0;
  if ((groups_ & Groups::arithmetic) != 0) flags |= has_product;
  if ((groups_ & Groups::pseudo_boolean) != 0) flags |= has_ite;
  if ((root->flags() & flags) == 0) return root;
  memo_.clear();
  return rewrite_post_order(
      root, memo_, [&](Term term) { return (term->flags() & flags) != 0; },
      [&](Term term, std::span<const Term> children) { return norm_single(terms_.rebuild(term, children)); });
}

Term TermNormalizer::norm_single(Term term) {
  if ((groups_ & Groups::arithmetic) != 0 && term->tag() == Tag::times) return multiply_out(term);
  if ((groups_ & Groups::pseudo_boolean) != 0 && term->tag() == Tag::leq) return bound_of_count(term);
  return term;
}

Term TermNormalizer::multiply_out(Term product) {
  const Term a = product->child(0), b = product->child(1);
  // A number times a sum is no product of unknowns: reading the atom as a polynomial does that.
  if (a->is_number() || b->is_number()) return product;
  if (a->tag() != Tag::plus && b->tag() != Tag::plus) return product;
  const std::vector<Term> left = summands(a), right = summands(b);
  if (left.empty() || right.empty() || left.size() * right.size() > max_product_size) return product;
  Term sum = terms_.make_number(QNumber(0));
  for (Term x : left)
    for (Term y : right) {
      const Term summand = terms_.make_times(x, y);
      sum = terms_.make_plus(sum, summand);
    }
  return sum;
}

Term TermNormalizer::bound_of_count(Term leq) {
  const Term a = leq->child(0), b = leq->child(1);
  const bool upper = b->is_number();
  const Term number = upper ? b : a;
  if (!number->is_number() || !number->number().is_small_int()) return leq;
  const auto conditions = conditions_of_count(upper ? a : b);
  if (!conditions) return leq;
  const std::int64_t k = number->number().small_int();
  CardManager count(terms_, *conditions);
  if (upper) return k < 0 ? terms_.make_false() : count.make_atmost(static_cast<std::uint64_t>(k));
  if (k <= 0) return terms_.make_true();
  const Term fewer = count.make_atmost(static_cast<std::uint64_t>(k - 1));
  return terms_.make_not(fewer);
}

}  // namespace vesk
