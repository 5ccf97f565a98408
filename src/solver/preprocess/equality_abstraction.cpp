#include "solver/preprocess/equality_abstraction.h"

#include <algorithm>

#include "solver/term/poly.h"

namespace vesk {
namespace {

constexpr std::size_t max_leaves = 20000;
constexpr int max_depth = 12;

/// Union-find over terms that remembers them in order of arrival.
class Classes {
 public:
  void unite(Term a, Term b) {
    const Term x = find(add(a)), y = find(add(b));
    if (x != y) *parent_.find(x->id() < y->id() ? y : x) = x->id() < y->id() ? x : y;
  }
  const std::vector<Term>& terms() const { return terms_; }
  Term find(Term term) {
    Term* up = parent_.find(term);
    while (*up != term) {
      Term* next = parent_.find(*up);
      *up = *next;
      term = *up;
      up = parent_.find(term);
    }
    return term;
  }

 private:
  Term add(Term term) {
    if (parent_.insert(term, term).second) terms_.push_back(term);
    return term;
  }

  hsh::Map<Term, Term> parent_;
  std::vector<Term> terms_;
};

}  // namespace

EqualityAbstraction::Node EqualityAbstraction::strip(Term term, bool negated) {
  while (term->tag() == Tag::not_op) {
    term = term->child(0);
    negated = !negated;
  }
  return {term, negated};
}

bool EqualityAbstraction::is_conjunction(const Node& node) {
  return node.term->tag() == (node.negated ? Tag::or_op : Tag::and_op);
}

bool EqualityAbstraction::is_disjunction(const Node& node) {
  return node.term->tag() == (node.negated ? Tag::and_op : Tag::or_op);
}

bool EqualityAbstraction::may_equate(const Node& node) {
  return is_conjunction(node) || is_disjunction(node) || (!node.negated && node.term->tag() == Tag::equal);
}

const std::vector<Term>& EqualityAbstraction::implied_by(Term formula) {
  implied_.clear();
  const Node root = strip(formula, false);
  if (!is_disjunction(root) || !may_equate(strip(root.term->child(0), root.negated)) ||
      !may_equate(strip(root.term->child(1), root.negated)))
    return implied_;
  budget_ = max_leaves;
  for (const Member& member : partition_of(root, 0))
    if (member.term != member.representative)
      implied_.push_back(terms_.make_equal(member.representative, member.term));
  return implied_;
}

// The parts of a conjunction or disjunction that are not of its kind; none if they are too many.
std::vector<EqualityAbstraction::Node> EqualityAbstraction::flatten(const Node& root) {
  const bool conjunction = is_conjunction(root);
  std::vector<Node> leaves, stack{root};
  while (!stack.empty()) {
    const Node node = stack.back();
    stack.pop_back();
    if (conjunction ? !is_conjunction(node) : !is_disjunction(node)) {
      // One disjunct that equates nothing decides the disjunction.
      if (!conjunction && !may_equate(node)) return {};
      leaves.push_back(node);
      continue;
    }
    if (budget_ == 0) return {};
    --budget_;
    stack.push_back(strip(node.term->child(1), node.negated));
    stack.push_back(strip(node.term->child(0), node.negated));
  }
  return leaves;
}

EqualityAbstraction::Partition EqualityAbstraction::partition_of(const Node& node, int depth) {
  if (!node.negated && node.term->tag() == Tag::equal) return partition_of_equality(node.term);
  if (depth > max_depth || !(is_conjunction(node) || is_disjunction(node))) return {};
  const std::vector<Node> parts = flatten(node);
  if (parts.empty()) return {};
  if (is_conjunction(node)) return join(parts, depth);
  Partition common = partition_of(parts[0], depth + 1);
  for (std::size_t i = 1; i < parts.size() && !common.empty(); ++i)
    common = meet(common, partition_of(parts[i], depth + 1));
  return common;
}

EqualityAbstraction::Partition EqualityAbstraction::join(const std::vector<Node>& parts, int depth) {
  Classes classes;
  for (const Node& part : parts)
    for (const Member& member : partition_of(part, depth + 1))
      classes.unite(member.representative, member.term);
  Partition joined;
  for (const Term term : classes.terms()) joined.push_back({term, classes.find(term)});
  return joined;
}

// Terms that are together in both; a class of one is left out.
EqualityAbstraction::Partition EqualityAbstraction::meet(const Partition& a, const Partition& b) {
  hsh::Map<Term, Term> class_in_b;
  for (const Member& member : b) class_in_b.insert(member.term, member.representative);
  hsh::Map<std::pair<Term, Term>, Term> first_of;
  Partition common;
  hsh::Set<Term> listed;
  for (const Member& member : a) {
    const Term* other = class_in_b.find(member.term);
    if (other == nullptr) continue;
    const auto [first, is_new] = first_of.insert({member.representative, *other}, member.term);
    if (is_new) continue;
    if (listed.insert(first)) common.push_back({first, first});
    common.push_back({member.term, first});
  }
  return common;
}

// Two equal terms; of an equation between numbers those on which it comes down to that.
EqualityAbstraction::Partition EqualityAbstraction::partition_of_equality(Term equality) {
  Term left = equality->child(0), right = equality->child(1);
  if (left->type()->is_number()) {
    const Poly poly = Poly::difference(left, right);
    if (poly.monomials.size() == 1) {
      left = poly.monomials[0].atom;
      right = terms_.make_number(poly.constant / poly.monomials[0].coefficient.neg());
    } else if (poly.monomials.size() == 2 && poly.constant.is_zero() &&
               poly.monomials[0].coefficient == poly.monomials[1].coefficient.neg()) {
      left = poly.monomials[0].atom;
      right = poly.monomials[1].atom;
    } else {
      return {};
    }
  }
  return {{left, left}, {right, left}};
}

}  // namespace vesk
