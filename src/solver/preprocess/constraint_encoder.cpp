#include "solver/preprocess/constraint_encoder.h"

#include "solver/term/visit.h"

namespace vesk {
namespace {

// Where every choice leads to an atom of its own, nested ites have exponentially many of them.
constexpr std::size_t max_split_atoms = 500;

constexpr std::uint32_t encoded_flags =
    has_ite | has_divide | has_floor | has_product | has_bool_argument | has_distinct;

bool is_ite_over_numbers(Term root) {
  std::vector<Term> stack{root};
  StampSet seen;
  while (!stack.empty()) {
    const Term term = stack.back();
    stack.pop_back();
    if (term->is_number() || !seen.insert(term->id())) continue;
    if (term->tag() != Tag::ite) return false;
    stack.push_back(term->child(1));
    stack.push_back(term->child(2));
  }
  return true;
}

}  // namespace

void ConstraintEncoder::operator()(std::vector<Term>& conjuncts) {
  bool needed = false;
  for (Term term : conjuncts) needed |= (term->flags() & encoded_flags) != 0;
  if (!needed) return;
  memo_.clear();
  split_memo_.clear();
  sides_.clear();
  for (Term& term : conjuncts) term = encode_assertion(term);
  // Encoding a side constraint can make more of them.
  for (std::size_t i = 0; i < sides_.size(); ++i) {
    const Term side = sides_[i];
    conjuncts.push_back(encode(side));
  }
}

// An assertion that says `distinct` needs no constant for it, and nothing for the case that it is false.
Term ConstraintEncoder::encode_assertion(Term formula) {
  if (formula->tag() != Tag::distinct) return encode(formula);
  add_ranks(formula, terms_.make_false());
  return terms_.make_true();
}

Term ConstraintEncoder::encode(Term formula) {
  return rewrite_post_order(
      formula, memo_, [](Term term) { return (term->flags() & encoded_flags) != 0; },
      [this](Term term, std::span<const Term> children) {
        return encode_node(terms_.rebuild(term, children));
      });
}

// `term` has encoded children, in which ites may stand still: what becomes of them is decided at the atom.
Term ConstraintEncoder::encode_node(Term term) {
  if ((term->flags() & encoded_flags) == 0) return term;
  switch (term->tag()) {
    case Tag::leq:
    case Tag::equal: return encode_relation(term);
    case Tag::times: return encode_product(term);
    case Tag::floor: {
      const Term inner = terms_.make_floor(without_ites(term->child(0), false));
      return inner->tag() == Tag::floor ? constant_for(inner, inner->type()) : inner;
    }
    case Tag::divide: {
      const Term a = without_ites(term->child(0), false);
      const Term b = without_ites(term->child(1), false);
      if (const Poly divisor = Poly::of(b); divisor.is_constant() && !divisor.constant.is_zero()) {
        const Term factor = terms_.make_number(divisor.constant.inv());
        return terms_.make_times(factor, a);
      }
      const Term inner = terms_.make_divide(a, b);
      return inner->tag() == Tag::divide ? constant_for(inner, terms_.types().rational()) : inner;
    }
    case Tag::mod_congr: {
      const Term a = without_ites(term->child(0), true);
      const Term b = without_ites(term->child(1), true);
      const Term inner = terms_.make_mod_congr(*term->symbol()->number(), a, b);
      return inner->tag() == Tag::mod_congr ? constant_for(inner, terms_.types().boolean()) : inner;
    }
    case Tag::distinct: {
      std::vector<Term> args;
      for (std::size_t i = 0; i < term->arity(); ++i)
        args.push_back(without_ites(term->child(i), term->symbol()->type()->params()[i]->is_integer()));
      const Term inner = terms_.make_distinct(args);
      return inner->tag() == Tag::distinct ? constant_for(inner, terms_.types().boolean()) : inner;
    }
    case Tag::uninterpreted: {
      std::vector<Term> args;
      for (std::size_t i = 0; i < term->arity(); ++i)
        args.push_back(without_ites(term->child(i), term->symbol()->type()->params()[i]->is_integer()));
      return split_bool_arguments(term->symbol(), args, 0);
    }
    default: return term;
  }
}

// An application as a case split over its Boolean arguments, which become true and false.
Term ConstraintEncoder::split_bool_arguments(const Symbol* function, std::vector<Term>& args,
                                             std::size_t first) {
  while (first < args.size() &&
         (!args[first]->type()->is_bool() || args[first]->is_true() || args[first]->is_false()))
    ++first;
  if (first == args.size()) return terms_.make_uf(function, args);
  const Term condition = args[first];
  args[first] = terms_.make_true();
  const Term yes = split_bool_arguments(function, args, first + 1);
  args[first] = terms_.make_false();
  const Term no = split_bool_arguments(function, args, first + 1);
  args[first] = condition;
  return yes->type()->is_bool() ? terms_.make_bool_ite(condition, yes, no)
                                : terms_.make_term_ite(condition, yes, no);
}

// The only ite of a relation, if it has exactly one: as a summand, or as a side of an equality.
Term ConstraintEncoder::sole_ite(Term atom) const {
  if (!splits_ites_) return nullptr;
  if (!atom->child(0)->type()->is_number()) {
    const bool left = atom->child(0)->tag() == Tag::ite, right = atom->child(1)->tag() == Tag::ite;
    return left == right ? nullptr : atom->child(left ? 0 : 1);
  }
  Term sole = nullptr;
  for (const Poly::Monomial& m : Poly::difference(atom->child(0), atom->child(1)).monomials) {
    if (m.atom->tag() != Tag::ite) continue;
    if (sole != nullptr) return nullptr;
    sole = m.atom;
  }
  return sole;
}

Term ConstraintEncoder::with_branch(Term atom, Term ite, Term branch) {
  if (!branch->type()->is_number())
    return terms_.make_equal(branch, atom->child(0) == ite ? atom->child(1) : atom->child(0));
  Poly poly = Poly::difference(atom->child(0), atom->child(1));
  QNumber coefficient;
  std::erase_if(poly.monomials, [&](const Poly::Monomial& m) {
    if (m.atom == ite) coefficient = m.coefficient;
    return m.atom == ite;
  });
  poly.add(coefficient, Poly::of(branch));
  const Term sum = poly.to_term(terms_);
  const Term zero = terms_.make_number(QNumber(0));
  return atom->tag() == Tag::equal ? terms_.make_equal(sum, zero) : terms_.make_leq(sum, zero);
}

Term ConstraintEncoder::encode_relation(Term atom) {
  if (!atom->has(has_ite)) return atom;
  if (sole_ite(atom) != nullptr)
    if (const Term cases = split_cases(atom)) return cases;
  return with_constants(atom);
}

Term ConstraintEncoder::with_constants(Term atom) {
  const Term left = without_ites(atom->child(0), false);
  const Term right = without_ites(atom->child(1), false);
  return atom->tag() == Tag::equal ? terms_.make_equal(left, right) : terms_.make_leq(left, right);
}

// `P(ite(c, a, b))` as `P(a)` where c holds, else `P(b)`; and so on inside the branches, each atom once. Null
// if there are too many of them.
Term ConstraintEncoder::split_cases(Term root) {
  struct Frame {
    Term atom, condition, yes, no;
  };
  std::vector<Frame> stack;
  std::size_t num_atoms = 0;
  // Pushes what is not known yet; true if `atom` is finished.
  const auto visit = [&](Term atom) {
    if (split_memo_.contains(atom->id())) return true;
    const bool relation = atom->tag() == Tag::leq || atom->tag() == Tag::equal;
    const Term ite = relation && atom->has(has_ite) ? sole_ite(atom) : nullptr;
    if (ite == nullptr) {
      split_memo_.set(atom->id(), relation && atom->has(has_ite) ? with_constants(atom) : atom);
      return true;
    }
    ++num_atoms;
    const Term yes = with_branch(atom, ite, ite->child(1));
    const Term no = with_branch(atom, ite, ite->child(2));
    stack.push_back({atom, ite->child(0), yes, no});
    return false;
  };
  visit(root);
  while (!stack.empty()) {
    if (num_atoms > max_split_atoms) return nullptr;
    const Frame frame = stack.back();
    if (!visit(frame.yes) || !visit(frame.no)) continue;
    stack.pop_back();
    const Term yes = *split_memo_.find(frame.yes->id());
    const Term no = *split_memo_.find(frame.no->id());
    split_memo_.set(frame.atom->id(), terms_.make_bool_ite(frame.condition, yes, no));
  }
  return *split_memo_.find(root->id());
}

// The factor times an ite whose leaves are numbers is an ite of multiples; any other product of unknowns
// stays, as an unknown.
Term ConstraintEncoder::encode_product(Term product) {
  if (product->child(0)->is_number() || product->child(1)->is_number()) return product;
  // A factor like 2 * 3 stands only where terms are built as asked for.
  for (std::size_t i : {0u, 1u}) {
    const Poly factor = Poly::of(product->child(i));
    if (!factor.is_constant()) continue;
    const Term number = terms_.make_number(factor.constant);
    return terms_.make_times(number, product->child(1 - i));
  }
  for (std::size_t i : {0u, 1u}) {
    const Term ite = product->child(i), factor = product->child(1 - i);
    if (ite->tag() != Tag::ite || !is_ite_over_numbers(ite)) continue;
    const Term plain = without_ites(factor, false);
    if (const Term cases = scaled_cases(plain, ite, 0)) return cases;
  }
  const Term a = without_ites(product->child(0), false);
  const Term b = without_ites(product->child(1), false);
  const Term plain = terms_.make_times(a, b);
  if (plain->tag() != Tag::times || plain->child(0)->is_number() || plain->child(1)->is_number())
    return plain;
  if (constants_.insert(plain, plain).second) {
    if (trail_.num_marks() > 0) trail_.push(plain);
    add_sign_facts(plain);
  }
  return plain;
}

Term ConstraintEncoder::scaled_cases(Term factor, Term ite, int depth) {
  constexpr int max_depth = 200;
  if (ite->is_number()) return terms_.make_times(ite, factor);
  if (depth > max_depth) return nullptr;
  const Term yes = scaled_cases(factor, ite->child(1), depth + 1);
  const Term no = yes == nullptr ? nullptr : scaled_cases(factor, ite->child(2), depth + 1);
  return no == nullptr ? nullptr : terms_.make_term_ite(ite->child(0), yes, no);
}

// `term` with each ite that stands in a sum, a multiple or alone replaced by its constant.
Term ConstraintEncoder::without_ites(Term root, bool integer_wanted) {
  if (!root->has(has_ite)) return root;
  const auto replace = [&](Term term) {
    if (term->tag() != Tag::ite) return term;
    // why rational: its value is one of the numbers anyway, and the formula stays free of integers.
    const bool numbers = !integer_wanted && is_ite_over_numbers(term);
    return constant_for(term, numbers ? terms_.types().rational() : term->type());
  };
  // The branches of an ite are left alone here: they are encoded with its side constraints.
  StampMap<Term> memo;
  const Term result = rewrite_post_order(
      root, memo,
      [](Term term) { return term->has(has_ite) && (term->tag() == Tag::plus || term->tag() == Tag::times); },
      [&](Term term, std::span<const Term> children) {
        const Term replaced[2] = {replace(children[0]), replace(children[1])};
        return terms_.rebuild(term, replaced);
      });
  return replace(result);
}

Term ConstraintEncoder::constant_for(Term term, const Type* type) {
  if (const Term* known = constants_.find(term)) {
    const bool is_other = type->is_integer() && !(*known)->type()->is_integer();
    return is_other ? integer_twin(*known) : *known;
  }
  const Term constant =
      terms_.make_constant(terms_.make_internal_symbol("constr" + std::to_string(term->id()), type));
  constants_.insert(term, constant);
  if (trail_.num_marks() > 0) trail_.push(term);
  switch (term->tag()) {
    case Tag::ite: add_ite(term, constant); break;
    case Tag::floor: add_floor(term, constant); break;
    case Tag::mod_congr: add_mod_congr(term, constant); break;
    case Tag::distinct: add_distinct(term, constant); break;
    default: add_divide(term, constant); break;
  }
  return constant;
}

// An integer that equals a rational constant, where a function takes nothing else.
Term ConstraintEncoder::integer_twin(Term constant) {
  if (const Term* known = constants_.find(constant)) return *known;
  const std::string name = "constr" + std::to_string(constant->id());
  const Term twin = terms_.make_constant(terms_.make_internal_symbol(name, terms_.types().integer()));
  constants_.insert(constant, twin);
  if (trail_.num_marks() > 0) trail_.push(constant);
  add_side(terms_.make_equal(twin, constant));
  return twin;
}

// A function that numbers the arguments, in their order, has two values at one place if two of them are
// equal.
void ConstraintEncoder::add_ranks(Term distinct, Term unless) {
  const Type* type = distinct->symbol()->type()->params()[0];
  const Symbol* rank =
      terms_.make_fresh_symbol("rank", terms_.types().function_type({type}, terms_.types().rational()));
  long number = 0;
  for (const Term argument : distinct->children()) {
    const Term value = terms_.make_number(QNumber(number++));
    const Term has_rank = terms_.make_equal(terms_.make_uf(rank, {&argument, 1}), value);
    add_side(terms_.make_or(unless, has_rank));
  }
}

// Where it is false, two places are picked that hold one value.
void ConstraintEncoder::add_distinct(Term distinct, Term constant) {
  add_ranks(distinct, terms_.make_not(constant));
  const Term shared = terms_.make_fresh_constant("shared", distinct->symbol()->type()->params()[0]);
  Term some_first = constant, some_second = constant;
  for (const Term argument : distinct->children()) {
    const Term first = terms_.make_fresh_constant("first", terms_.types().boolean());
    const Term second = terms_.make_fresh_constant("second", terms_.types().boolean());
    const Term holds = terms_.make_equal(argument, shared);
    const Term not_first = terms_.make_not(first), not_second = terms_.make_not(second);
    some_first = terms_.make_or(some_first, first);
    some_second = terms_.make_or(some_second, second);
    add_side(terms_.make_or(not_first, holds));
    add_side(terms_.make_or(not_second, holds));
    add_side(terms_.make_or(not_first, not_second));
  }
  add_side(some_first);
  add_side(some_second);
}

void ConstraintEncoder::add_ite(Term ite, Term constant) {
  const Term is_yes = terms_.make_equal(constant, ite->child(1));
  const Term is_no = terms_.make_equal(constant, ite->child(2));
  const Term not_condition = terms_.make_not(ite->child(0));
  add_side(terms_.make_or(not_condition, is_yes));
  add_side(terms_.make_or(ite->child(0), is_no));
  if (constant->type()->is_number()) add_bounds(ite, constant);
}

// Without these a sum of ites has no bounds before all their conditions are decided, and a bound that it
// cannot meet is refuted once for each choice of them.
void ConstraintEncoder::add_bounds(Term ite, Term constant) {
  const TermBounds::Bounds bounds = bounds_.of(ite);
  bounds_.note(constant, bounds);
  if (bounds.lower) {
    const Term least = terms_.make_number(bounds.lower->value);
    const Term not_above = terms_.make_leq(constant, least);
    add_side(bounds.lower->strict ? terms_.make_not(not_above) : terms_.make_leq(least, constant));
  }
  if (bounds.upper) {
    const Term most = terms_.make_number(bounds.upper->value);
    const Term not_below = terms_.make_leq(most, constant);
    add_side(bounds.upper->strict ? terms_.make_not(not_below) : terms_.make_leq(constant, most));
  }
}

void ConstraintEncoder::add_floor(Term floor, Term constant) {
  const Term one = terms_.make_number(QNumber(1));
  const Term next = terms_.make_plus(constant, one);
  const Term too_small = terms_.make_leq(next, floor->child(0));
  add_side(terms_.make_leq(constant, floor->child(0)));
  add_side(terms_.make_not(too_small));
}

// The congruence holds exactly if the rest of the difference is 0.
void ConstraintEncoder::add_mod_congr(Term congruence, Term holds) {
  const Type* integer = terms_.types().integer();
  const Term quotient = terms_.make_fresh_constant("quotient", integer);
  const Term rest = terms_.make_fresh_constant("rest", integer);
  const QNumber& modulus = *congruence->symbol()->number();
  const Term m = terms_.make_number(modulus);
  const Term largest = terms_.make_number(modulus - QNumber(1));
  const Term zero = terms_.make_number(QNumber(0));
  const Term multiple = terms_.make_times(m, quotient);
  const Term value = terms_.make_plus(multiple, rest);
  const Term sum = terms_.make_plus(value, congruence->child(1));
  const Term no_rest = terms_.make_equal(rest, zero);
  add_side(terms_.make_equal(congruence->child(0), sum));
  add_side(terms_.make_leq(zero, rest));
  add_side(terms_.make_leq(rest, largest));
  add_side(terms_.make_iff(holds, no_rest));
}

const Symbol* ConstraintEncoder::quotient_by_zero() {
  const Type* rational = terms_.types().rational();
  return terms_.make_internal_symbol("uf./_rat", terms_.types().function_type({rational}, rational));
}

void ConstraintEncoder::add_divide(Term divide, Term constant) {
  const Term a = divide->child(0), b = divide->child(1);
  const Term zero = terms_.make_number(QNumber(0));
  const Term by_zero = terms_.make_uf(quotient_by_zero(), std::span<const Term>(&a, 1));
  const Term is_by_zero = terms_.make_equal(constant, by_zero);
  const Term b_is_zero = terms_.make_equal(b, zero);
  const Term b_is_not_zero = terms_.make_not(b_is_zero);
  const Term product = terms_.make_times(constant, b);
  const Term is_quotient = terms_.make_equal(product, a);
  add_side(terms_.make_or(b_is_not_zero, is_by_zero));
  add_side(terms_.make_or(b_is_zero, is_quotient));
}

Term ConstraintEncoder::strictly_positive(Term term) {
  const Term zero = terms_.make_number(QNumber(0));
  const Term not_positive = terms_.make_leq(term, zero);
  return terms_.make_not(not_positive);
}

Term ConstraintEncoder::strictly_negative(Term term) {
  const Term zero = terms_.make_number(QNumber(0));
  const Term not_negative = terms_.make_leq(zero, term);
  return terms_.make_not(not_negative);
}

void ConstraintEncoder::add_sign_facts(Term product) {
  const Term a = product->child(0), b = product->child(1);
  const Term product_positive = strictly_positive(product);
  const Term product_negative = strictly_negative(product);
  const Term a_positive = strictly_positive(a), a_negative = strictly_negative(a);
  if (a == b) {
    const Term a_not_zero = terms_.make_or(a_positive, a_negative);
    add_side(terms_.make_iff(product_positive, a_not_zero));
    add_side(terms_.make_not(product_negative));
    return;
  }
  const Term b_positive = strictly_positive(b), b_negative = strictly_negative(b);
  const Term both_positive = terms_.make_and(a_positive, b_positive);
  const Term both_negative = terms_.make_and(a_negative, b_negative);
  const Term first_positive = terms_.make_and(a_positive, b_negative);
  const Term second_positive = terms_.make_and(a_negative, b_positive);
  const Term same_sign = terms_.make_or(both_positive, both_negative);
  const Term other_sign = terms_.make_or(first_positive, second_positive);
  add_side(terms_.make_iff(product_positive, same_sign));
  add_side(terms_.make_iff(product_negative, other_sign));
}

void ConstraintEncoder::pop_backtrack_point() {
  trail_.undo_to_mark(trail_.num_marks() - 1, [this](Term term) { constants_.erase(term); });
  bounds_.pop_backtrack_point();
}

}  // namespace vesk
