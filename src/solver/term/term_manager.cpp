#include "solver/term/term_manager.h"

#include <algorithm>
#include <array>
#include <utility>

#include "solver/term/poly.h"
#include "solver/term/visit.h"
#include "solver/util/polling.h"
#include "solver/util/stamp_set.h"

namespace vesk {

TermManager::TermManager(bool simplify) : simplify_(simplify) {
  const Type* boolean = types_.boolean();
  const Type* rational = types_.rational();
  const Type* integer = types_.integer();
  const std::vector<const Type*> bools{boolean, boolean};
  const std::vector<const Type*> rationals{rational, rational};
  const std::vector<const Type*> integers{integer, integer};
  const Symbol* true_symbol = signature_.add("true", boolean, Tag::true_value);
  const Symbol* false_symbol = signature_.add("false", boolean, Tag::false_value);
  true_ = intern(true_symbol, std::span<const Term>());
  false_ = intern(false_symbol, std::span<const Term>());
  and_ = make_op(Tag::and_op, "and", bools, boolean);
  or_ = make_op(Tag::or_op, "or", bools, boolean);
  not_ = make_op(Tag::not_op, "not", {boolean}, boolean);
  iff_ = make_op(Tag::iff, "iff", bools, boolean);
  plus_rat_ = make_op(Tag::plus, "+_rat", rationals, rational);
  times_rat_ = make_op(Tag::times, "*_rat", rationals, rational);
  divide_rat_ = make_op(Tag::divide, "/_rat", rationals, rational);
  leq_rat_ = make_op(Tag::leq, "<=_rat", rationals, boolean);
  plus_int_ = make_op(Tag::plus, "+_int", integers, integer);
  times_int_ = make_op(Tag::times, "*_int", integers, integer);
  leq_int_ = make_op(Tag::leq, "<=_int", integers, boolean);
  floor_ = make_op(Tag::floor, "floor", {rational}, integer);
}

// Symbols.

const Symbol* TermManager::make_op(Tag tag, const std::string& name, std::vector<const Type*> params,
                                   const Type* result, const QNumber* number) {
  const Type* type = types_.function_type(params, result);
  // A symbol made on demand finds its name taken when a caller declared it before.
  if (signature_.find(name) != nullptr)
    return signature_.add(signature_.unused_name(name + '_'), type, tag, number);
  return signature_.add(name, type, tag, number);
}

namespace {

bool is_text_of_number(std::string_view name) {
  if (name[0] != '-' && (name[0] < '0' || name[0] > '9')) return false;
  QNumber value;
  return QNumber::from_str(name, &value) && value.to_str() == name;
}

std::string operator_suffix(const Type* type) {
  if (type->is_rational()) return "rat";
  if (type->is_integer()) return "int";
  return type->name();
}

}  // namespace

const Symbol* TermManager::declare(std::string_view name, const Type* type) {
  Signature::check_user_name(name);
  if (const Symbol* known = signature_.find(name)) {
    if (known->type() == type && !known->is_interpreted()) return known;
    throw SymbolError("A symbol with name `" + std::string(name) + "' already exists, of type " +
                      known->type()->name());
  }
  if (is_text_of_number(name))
    throw SymbolError("A symbol with name `" + std::string(name) + "' already exists: it is a number");
  return signature_.add(name, type);
}

const Symbol* TermManager::make_fresh_symbol(const std::string& base, const Type* type) {
  return signature_.add(signature_.unused_name(Signature::reserved + base), type);
}

const Symbol* TermManager::make_internal_symbol(const std::string& name, const Type* type) {
  const std::string full = Signature::reserved + name;
  const Symbol* known = signature_.find(full);
  if (known == nullptr) return signature_.add(full, type);
  if (known->type() != type) throw SymbolError("A symbol with name `" + full + "' already exists");
  return known;
}

Term TermManager::make_fresh_constant(const std::string& base, const Type* type) {
  return make_constant(make_fresh_symbol(base, type));
}

// Types.

void TermManager::type_error(const Symbol* symbol, std::span<const Term> args, Term bad,
                             const Type* expected) const {
  std::string where = "(" + symbol->name();
  for (Term arg : args) where += ' ' + arg->to_short_str();
  throw TermError("type error. term " + bad->to_short_str() + " has type " + bad->type()->name() + ", but " +
                  expected->name() + " was expected. (" + where + "))");
}

void TermManager::check_type(const Symbol* symbol, std::span<const Term> args) const {
  if (args.size() != symbol->arity())
    throw TermError("wrong arity for symbol " + symbol->name() + ". expected " +
                    std::to_string(symbol->arity()) + ", got " + std::to_string(args.size()));
  for (std::size_t i = 0; i < args.size(); ++i)
    if (!types_.is_subtype(args[i]->type(), symbol->type()->params()[i]))
      type_error(symbol, args, args[i], symbol->type()->params()[i]);
}

void TermManager::require_bools(const Symbol* symbol, std::span<const Term> args) const {
  for (Term arg : args)
    if (!arg->type()->is_bool()) type_error(symbol, args, arg, types_.boolean());
}

void TermManager::require_numbers(const Symbol* symbol, std::span<const Term> args) const {
  for (Term arg : args)
    if (!arg->type()->is_number()) type_error(symbol, args, arg, types_.rational());
}

// Boolean terms.

Term TermManager::make_not(Term a) {
  require_bools(not_, {&a, 1});
  if (simplify_) {
    switch (a->tag()) {
      case Tag::true_value: return false_;
      case Tag::false_value: return true_;
      case Tag::not_op: return a->child(0);
      default: break;
    }
  }
  return intern(not_, a);
}

Term TermManager::negate(Term a) { return a->tag() == Tag::not_op ? a->child(0) : intern(not_, a); }

namespace {

bool are_complements(Term a, Term b) {
  return (a->tag() == Tag::not_op && a->child(0) == b) || (b->tag() == Tag::not_op && b->child(0) == a);
}

}  // namespace

Term TermManager::make_and(Term a, Term b) {
  poll_now_and_then();
  require_bools(and_, std::array{a, b});
  if (!simplify_) return intern(and_, a, b);
  if (a == b || b->is_true()) return a;
  if (a->is_true()) return b;
  if (a->is_false() || b->is_false() || are_complements(a, b)) return false_;
  return intern_by_id(and_, a, b);
}

Term TermManager::make_or(Term a, Term b) {
  poll_now_and_then();
  require_bools(or_, std::array{a, b});
  if (!simplify_) return intern(or_, a, b);
  if (a == b || b->is_false()) return a;
  if (a->is_false()) return b;
  if (a->is_true() || b->is_true() || are_complements(a, b)) return true_;
  return intern_by_id(or_, a, b);
}

Term TermManager::make_iff(Term a, Term b) {
  require_bools(iff_, std::array{a, b});
  if (!simplify_) return intern(iff_, a, b);
  if (a == b) return true_;
  if (a->is_true()) return b;
  if (b->is_true()) return a;
  if (a->is_false()) return make_not(b);
  if (b->is_false()) return make_not(a);
  if (are_complements(a, b)) return false_;
  return intern_by_id(iff_, a, b);
}

Term TermManager::make_bool_ite(Term c, Term a, Term b) {
  const Term yes = make_and(c, a);
  const Term not_c = make_not(c);
  const Term no = make_and(not_c, b);
  return make_or(yes, no);
}

// Terms of other types.

Term TermManager::make_number(const QNumber& value) {
  if (const Term* known = numbers_.find(value)) return *known;
  const std::string text = value.to_str();
  const Type* type = value.is_int() ? types_.integer() : types_.rational();
  // why it may be known: memory may have ended after the symbol was made.
  const Symbol* symbol = signature_.find(text);
  if (symbol == nullptr) symbol = signature_.add(text, type, Tag::number, &value);
  const Term term = intern(symbol, std::span<const Term>());
  numbers_.insert(value, term);
  return term;
}

Term TermManager::make_constant(const Symbol* symbol) {
  check_type(symbol, {});
  return intern(symbol, std::span<const Term>());
}

Term TermManager::make_uf(const Symbol* symbol, std::span<const Term> args) {
  check_type(symbol, args);
  if (!simplify_) return intern(symbol, args);
  bool changed = false;
  uf_args_.assign(args.begin(), args.end());
  for (Term& arg : uf_args_) {
    if (arg->tag() != Tag::plus && arg->tag() != Tag::times) continue;
    const Term normal = Poly::of(arg).to_term(*this);
    changed |= normal != arg;
    arg = normal;
  }
  return intern(symbol, changed ? std::span<const Term>(uf_args_) : args);
}

Term TermManager::make_plus(Term a, Term b) {
  poll_now_and_then();
  require_numbers(plus_rat_, std::array{a, b});
  const bool integer = a->type()->is_integer() && b->type()->is_integer();
  const Symbol* symbol = integer ? plus_int_ : plus_rat_;
  if (!simplify_) return intern(symbol, a, b);
  if (a->is_number() && b->is_number()) return make_number(a->number() + b->number());
  if (a->is_number() && a->number().is_zero()) return b;
  if (b->is_number() && b->number().is_zero()) return a;
  return intern_by_id(symbol, a, b);
}

Term TermManager::make_times(Term a, Term b) {
  require_numbers(times_rat_, std::array{a, b});
  const bool integer = a->type()->is_integer() && b->type()->is_integer();
  const Symbol* symbol = integer ? times_int_ : times_rat_;
  if (!simplify_) return intern(symbol, a, b);
  if (b->is_number() && !a->is_number()) std::swap(a, b);
  if (!a->is_number()) return intern_by_id(symbol, a, b);
  if (b->is_number()) return make_number(a->number() * b->number());
  if (a->number().is_zero()) return a;
  if (a->number().is_one()) return b;
  return intern(symbol, a, b);
}

Term TermManager::make_divide(Term a, Term b) {
  require_numbers(divide_rat_, std::array{a, b});
  if (!simplify_ || !b->is_number() || b->number().is_zero()) return intern(divide_rat_, a, b);
  const Term inverse = make_number(b->number().inv());
  return make_times(inverse, a);
}

Term TermManager::make_floor(Term a) {
  require_numbers(floor_, {&a, 1});
  if (simplify_) {
    if (a->is_number()) return make_number(a->number().floor());
    if (a->type()->is_integer()) return a;
  }
  return intern(floor_, a);
}

Term TermManager::make_term_ite(Term c, Term a, Term b) {
  if (a->type()->is_bool() || b->type()->is_bool()) throw TermError(bool_ite_text);
  const Type* type = a->type();
  if (a->type()->is_number() && b->type()->is_number()) type = supertype(a->type(), b->type());
  const Symbol*& symbol = ite_symbols_[type];
  if (symbol == nullptr)
    symbol = make_op(Tag::ite, "ite_" + operator_suffix(type), {types_.boolean(), type, type}, type);
  const std::array args{c, a, b};
  check_type(symbol, args);
  if (simplify_) {
    if (c->is_true() || a == b) return a;
    if (c->is_false()) return b;
  }
  return intern(symbol, args);
}

// Atoms.

Term TermManager::relation(bool equality, Term a, Term b) {
  const bool numbers = a->type()->is_number() && b->type()->is_number();
  const Type* type = numbers ? supertype(a->type(), b->type()) : a->type();
  if (!equality) {
    require_numbers(leq_rat_, std::array{a, b});
    return intern(type->is_integer() ? leq_int_ : leq_rat_, a, b);
  }
  if (a->type()->is_bool() || b->type()->is_bool()) throw TermError(bool_equality_text);
  const Symbol*& symbol = equality_symbols_[type];
  if (symbol == nullptr)
    symbol = make_op(Tag::equal, "=_" + operator_suffix(type), {type, type}, types_.boolean());
  const std::array args{a, b};
  check_type(symbol, args);
  return intern(symbol, args);
}

Term TermManager::make_raw_equal(Term a, Term b) {
  if (b->id() < a->id()) std::swap(a, b);
  return relation(true, a, b);
}

Term TermManager::make_raw_leq(Term a, Term b) { return relation(false, a, b); }

Term TermManager::make_equal(Term a, Term b) {
  if (!simplify_) return relation(true, a, b);
  if (a->type()->is_number() && b->type()->is_number()) return simplify_relation(true, a, b);
  if (a->type() == b->type() && !a->type()->is_bool()) {
    // Two constants of a simple type stay undecided: no axiom keeps them apart.
    if (a == b) return true_;
    return make_raw_equal(a, b);
  }
  return relation(true, a, b);  // ill-typed: this raises the error
}

Term TermManager::make_leq(Term a, Term b) {
  poll_now_and_then();
  if (!simplify_) return relation(false, a, b);
  require_numbers(leq_rat_, std::array{a, b});
  return simplify_relation(false, a, b);
}

Term TermManager::simplify_relation(bool equality, Term a, Term b) {
  if (a == b) return true_;
  if (a->is_number() && b->is_number())
    return make_bool(equality ? a->number() == b->number() : a->number() <= b->number());
  Poly poly = Poly::difference(a, b);
  poly.make_coprime();
  if (poly.is_constant()) return make_bool(equality ? poly.constant.is_zero() : poly.constant.sgn() <= 0);
  const bool flipped = poly.monomials.front().coefficient.sgn() < 0;
  if (flipped) poly.scale(QNumber(-1));
  QNumber bound = poly.constant.neg();  // now: sum = bound, sum <= bound or, when flipped, bound <= sum
  poly.constant = QNumber(0);
  if (poly.all_integer() && !bound.is_int()) {
    if (equality) return false_;
    bound = flipped ? bound.ceil() : bound.floor();
  }
  const Term sum = poly.to_term(*this);
  const Term number = make_number(bound);
  return !equality && flipped ? relation(false, number, sum) : relation(equality, sum, number);
}

Term TermManager::make_distinct(std::span<const Term> args) {
  // Each pair is an equation of its own; so many, and no more, are better for the search than one rank each.
  constexpr std::size_t max_compared = 100;
  if (args.size() <= max_compared) {
    Term result = make_true();
    for (std::size_t i = 0; i < args.size(); ++i)
      for (std::size_t k = 0; k < i; ++k) {
        const bool are_booleans = args[k]->type()->is_bool() && args[i]->type()->is_bool();
        const Term equal = are_booleans ? make_iff(args[k], args[i]) : make_equal(args[k], args[i]);
        const Term differ = make_not(equal);
        result = make_and(result, differ);
      }
    return result;
  }
  const Type* type = args[0]->type();
  for (Term arg : args)
    if (type->is_number() && arg->type()->is_number()) type = supertype(type, arg->type());
  const Symbol*& symbol = distinct_symbols_[{args.size(), type}];
  if (symbol == nullptr) {
    const std::string name = "distinct_" + std::to_string(args.size()) + '_' + operator_suffix(type);
    symbol = make_op(Tag::distinct, name, std::vector<const Type*>(args.size(), type), types_.boolean());
  }
  check_type(symbol, args);
  StampSet met;
  const bool repeats =
      std::any_of(args.begin(), args.end(), [&](Term arg) { return !met.insert(arg->id()); });
  if (repeats || type->is_bool()) return make_false();
  const bool are_known = std::all_of(args.begin(), args.end(), [](Term arg) { return arg->is_number(); });
  return are_known ? make_true() : intern(symbol, args);
}

Term TermManager::make_mod_congr(const QNumber& modulus, Term a, Term b) {
  if (!modulus.is_int() || modulus.sgn() <= 0)
    throw TermError("The modulus " + modulus.to_str() + " is not a positive integer");
  const Symbol*& symbol = mod_symbols_[modulus];
  if (symbol == nullptr) {
    const Type* integer = types_.integer();
    symbol = make_op(Tag::mod_congr, "mod_congr_" + modulus.to_str(), {integer, integer}, types_.boolean(),
                     &modulus);
  }
  check_type(symbol, std::array{a, b});
  if (!simplify_) return intern(symbol, a, b);
  // Coefficients and constant matter up to multiples of the modulus only.
  Poly poly = Poly::difference(a, b);
  const auto reduce = [&](QNumber& number) {
    QNumber quotient, rest;
    number.divmod(modulus, &quotient, &rest);
    number = rest;
  };
  for (Poly::Monomial& m : poly.monomials) reduce(m.coefficient);
  std::erase_if(poly.monomials, [](const Poly::Monomial& m) { return m.coefficient.is_zero(); });
  QNumber rest = poly.constant.neg();
  reduce(rest);
  poly.constant = QNumber(0);
  if (poly.is_constant()) return make_bool(rest.is_zero());
  const Term sum = poly.to_term(*this);
  const Term number = make_number(rest);
  return intern(symbol, sum, number);
}

// Any symbol.

Term TermManager::make_term(const Symbol* symbol, std::span<const Term> args) {
  if (args.size() != symbol->arity()) check_type(symbol, args);
  switch (symbol->tag()) {
    case Tag::not_op: return make_not(args[0]);
    case Tag::and_op: return make_and(args[0], args[1]);
    case Tag::or_op: return make_or(args[0], args[1]);
    case Tag::iff: return make_iff(args[0], args[1]);
    case Tag::plus: return make_plus(args[0], args[1]);
    case Tag::times: return make_times(args[0], args[1]);
    case Tag::divide: return make_divide(args[0], args[1]);
    case Tag::floor: return make_floor(args[0]);
    case Tag::leq: return make_leq(args[0], args[1]);
    case Tag::equal: return make_equal(args[0], args[1]);
    case Tag::ite: return make_term_ite(args[0], args[1], args[2]);
    case Tag::distinct: return make_distinct(args);
    case Tag::mod_congr: return make_mod_congr(*symbol->number(), args[0], args[1]);
    case Tag::true_value:
    case Tag::false_value:
    case Tag::number: return intern(symbol, args);
    case Tag::uninterpreted: return make_uf(symbol, args);
  }
  throw TermError("unknown symbol " + symbol->name());
}

Term TermManager::rebuild(Term term, std::span<const Term> children) {
  poll_now_and_then();
  bool same = true;
  for (std::size_t i = 0; i < children.size() && same; ++i) same = children[i] == term->child(i);
  return same ? term : make_term(term->symbol(), children);
}

void TermManager::gc(std::span<const Term> keep) {
  StampSet marked;
  StampSet used_symbols;
  const auto mark = [&](Term root) {
    visit_post_order(
        root, marked, [](Term) { return true; },
        [&](Term term) { used_symbols.insert(term->symbol()->id()); });
  };
  mark(true_);
  mark(false_);
  for (Term term : keep) mark(term);
  std::vector<const Symbol*> dead_symbols;
  bank_.sweep([&](Term term) {
    if (marked.contains(term->id())) return true;
    // A numeral has one term; other symbols may be met many times here.
    const Symbol* symbol = term->symbol();
    const bool owned = symbol->tag() == Tag::number || (!symbol->is_interpreted() && symbol->is_internal());
    if (owned && used_symbols.insert(symbol->id())) dead_symbols.push_back(symbol);
    return false;
  });
  for (const Symbol* symbol : dead_symbols) {
    if (symbol->tag() == Tag::number) numbers_.erase(*symbol->number());
    signature_.remove(symbol);
  }
}

}  // namespace vesk
