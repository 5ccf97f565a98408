#include <array>
#include <limits>

#include <gmp.h>

#include "solver/capi/frame.h"
#include "solver/num/qnumber_gmp.h"
#include "solver/term/substitute.h"
#include "solver/term/visit.h"

using namespace vesk;        // NOLINT: this file is nothing but the C functions
using namespace vesk::capi;  // NOLINT

namespace {

constexpr vesk_type no_type{nullptr};

// A constructor of the term manager with terms as arguments.
template <typename F, typename... Terms>
vesk_term make(vesk_env env, F constructor, Terms... terms) {
  return guard(env, no_term, [&](EnvRecord& r) {
    // why an array: the order in which null terms are found is that of the arguments.
    const std::array<Term, sizeof...(Terms)> args{arg(terms)...};
    return std::apply([&](auto... t) { return wrap((r.env->terms().*constructor)(t...)); }, args);
  });
}

// `neutral` and the arguments, joined two by two from the left. The neutral one takes part, so that a single
// argument of the wrong type is refused, too.
template <typename Neutral>
vesk_term fold(vesk_env env, const vesk_term* args, size_t n, Neutral neutral,
               Term (TermManager::*join)(Term, Term)) {
  return guard(env, no_term, [&](EnvRecord& r) {
    require(args != nullptr || n == 0, "null array of terms");
    TermManager& terms = r.env->terms();
    if (n == 0) return wrap(neutral(terms));
    const Term first = arg(args[0]);
    Term result = (terms.*join)(neutral(terms), first);
    if (n > 1) result = first;
    for (size_t i = 1; i < n; ++i) result = (terms.*join)(result, arg(args[i]));
    return wrap(result);
  });
}

std::vector<Term> read_args(const Symbol* symbol, const vesk_term* args) {
  require(args != nullptr || symbol->arity() == 0, "null array of arguments");
  std::vector<Term> terms;
  for (std::size_t i = 0; i < symbol->arity(); ++i) terms.push_back(arg(args[i]));
  return terms;
}

QNumber read_number(const char* text) {
  QNumber value;
  if (!QNumber::from_str(arg(text), &value)) throw ArgumentError("not a number: " + std::string(text));
  return value;
}

const Type* copy_type(TermManager& terms, const Type* type) {
  switch (type->kind()) {
    case Type::Kind::boolean: return terms.types().boolean();
    case Type::Kind::rational: return terms.types().rational();
    case Type::Kind::integer: return terms.types().integer();
    case Type::Kind::simple: return terms.types().simple_type(type->name());
    case Type::Kind::function: break;
  }
  std::vector<const Type*> params;
  for (const Type* param : type->params()) params.push_back(copy_type(terms, param));
  return terms.types().function_type(params, copy_type(terms, type->result()));
}

Term copy_node(TermManager& terms, Term term, std::span<const Term> children) {
  const Symbol* symbol = term->symbol();
  switch (symbol->tag()) {
    case Tag::true_value: return terms.make_true();
    case Tag::false_value: return terms.make_false();
    case Tag::number: return terms.make_number(*symbol->number());
    case Tag::equal: return terms.make_equal(children[0], children[1]);
    case Tag::ite: return terms.make_term_ite(children[0], children[1], children[2]);
    case Tag::distinct: return terms.make_distinct(children);
    case Tag::mod_congr: return terms.make_mod_congr(*symbol->number(), children[0], children[1]);
    case Tag::uninterpreted: {
      const Type* type = copy_type(terms, symbol->type());
      const Symbol* copy = symbol->is_internal() ? terms.make_internal_symbol(symbol->name().substr(1), type)
                                                 : terms.declare(symbol->name(), type);
      return terms.make_uf(copy, children);
    }
    default: return terms.make_term(terms.signature().get(symbol->name()), children);
  }
}

}  // namespace

extern "C" {

// Types.

vesk_type vesk_get_bool_type(vesk_env env) {
  return guard(env, no_type, [](EnvRecord& r) { return wrap(r.env->terms().types().boolean()); });
}

vesk_type vesk_get_rational_type(vesk_env env) {
  return guard(env, no_type, [](EnvRecord& r) { return wrap(r.env->terms().types().rational()); });
}

vesk_type vesk_get_integer_type(vesk_env env) {
  return guard(env, no_type, [](EnvRecord& r) { return wrap(r.env->terms().types().integer()); });
}

vesk_type vesk_get_simple_type(vesk_env env, const char* name) {
  return guard(env, no_type,
               [&](EnvRecord& r) { return wrap(r.env->terms().types().simple_type(arg(name))); });
}

vesk_type vesk_get_function_type(vesk_env env, const vesk_type* params, size_t n, vesk_type result) {
  return guard(env, no_type, [&](EnvRecord& r) {
    require(params != nullptr || n == 0, "null array of types");
    std::vector<const Type*> types;
    for (size_t i = 0; i < n; ++i) types.push_back(arg(params[i]));
    return wrap(r.env->terms().types().function_type(types, arg(result)));
  });
}

int vesk_type_equals(vesk_type a, vesk_type b) { return a.repr != nullptr && a.repr == b.repr; }

char* vesk_type_repr(vesk_type handle) {
  return guard(static_cast<char*>(nullptr), [&] { return to_c(arg(handle)->name()); });
}

int vesk_is_bool_type(vesk_env, vesk_type handle) {
  return handle.repr != nullptr && type(handle)->is_bool();
}

int vesk_is_rational_type(vesk_env, vesk_type handle) {
  return handle.repr != nullptr && type(handle)->is_rational();
}

int vesk_is_integer_type(vesk_env, vesk_type handle) {
  return handle.repr != nullptr && type(handle)->is_integer();
}

// Terms.

vesk_decl vesk_declare_function(vesk_env env, const char* name, vesk_type type) {
  return guard(env, vesk_decl{nullptr},
               [&](EnvRecord& r) { return wrap(r.env->terms().declare(arg(name), arg(type))); });
}

vesk_term vesk_make_true(vesk_env env) {
  return guard(env, no_term, [](EnvRecord& r) { return wrap(r.env->terms().make_true()); });
}

vesk_term vesk_make_false(vesk_env env) {
  return guard(env, no_term, [](EnvRecord& r) { return wrap(r.env->terms().make_false()); });
}

vesk_term vesk_make_not(vesk_env env, vesk_term a) { return make(env, &TermManager::make_not, a); }
vesk_term vesk_make_and(vesk_env env, vesk_term a, vesk_term b) {
  return make(env, &TermManager::make_and, a, b);
}
vesk_term vesk_make_or(vesk_env env, vesk_term a, vesk_term b) {
  return make(env, &TermManager::make_or, a, b);
}
vesk_term vesk_make_iff(vesk_env env, vesk_term a, vesk_term b) {
  return make(env, &TermManager::make_iff, a, b);
}
vesk_term vesk_make_leq(vesk_env env, vesk_term a, vesk_term b) {
  return make(env, &TermManager::make_leq, a, b);
}
vesk_term vesk_make_plus(vesk_env env, vesk_term a, vesk_term b) {
  return make(env, &TermManager::make_plus, a, b);
}
vesk_term vesk_make_times(vesk_env env, vesk_term a, vesk_term b) {
  return make(env, &TermManager::make_times, a, b);
}
vesk_term vesk_make_divide(vesk_env env, vesk_term a, vesk_term b) {
  return make(env, &TermManager::make_divide, a, b);
}
vesk_term vesk_make_floor(vesk_env env, vesk_term a) { return make(env, &TermManager::make_floor, a); }

vesk_term vesk_make_equal(vesk_env env, vesk_term a, vesk_term b) {
  // why no exception here: callers find out this way that a Boolean equality is an iff, many times.
  if (env.repr != nullptr && a.repr != nullptr && b.repr != nullptr && term(a)->type()->is_bool()) {
    keep_error(record(env)->last_error, TermManager::bool_equality_text);
    return no_term;
  }
  return make(env, &TermManager::make_equal, a, b);
}

vesk_term vesk_make_eq(vesk_env env, vesk_term a, vesk_term b) {
  const bool booleans =
      a.repr != nullptr && b.repr != nullptr && term(a)->type()->is_bool() && term(b)->type()->is_bool();
  return booleans ? vesk_make_iff(env, a, b) : vesk_make_equal(env, a, b);
}

vesk_term vesk_make_and_n(vesk_env env, const vesk_term* args, size_t n) {
  return fold(
      env, args, n, [](TermManager& t) { return t.make_true(); }, &TermManager::make_and);
}

vesk_term vesk_make_or_n(vesk_env env, const vesk_term* args, size_t n) {
  return fold(
      env, args, n, [](TermManager& t) { return t.make_false(); }, &TermManager::make_or);
}

vesk_term vesk_make_plus_n(vesk_env env, const vesk_term* args, size_t n) {
  return fold(
      env, args, n, [](TermManager& t) { return t.make_number(QNumber(0)); }, &TermManager::make_plus);
}

vesk_term vesk_make_distinct_n(vesk_env env, const vesk_term* args, size_t n) {
  return guard(env, no_term, [&](EnvRecord& r) {
    require(args != nullptr || n == 0, "null array of terms");
    std::vector<Term> list;
    for (size_t i = 0; i < n; ++i) list.push_back(arg(args[i]));
    return wrap(r.env->terms().make_distinct(list));
  });
}

vesk_term vesk_make_term_ite(vesk_env env, vesk_term c, vesk_term a, vesk_term b) {
  if (env.repr != nullptr && c.repr != nullptr && a.repr != nullptr && b.repr != nullptr &&
      (term(a)->type()->is_bool() || term(b)->type()->is_bool())) {
    keep_error(record(env)->last_error, TermManager::bool_ite_text);
    return no_term;
  }
  return make(env, &TermManager::make_term_ite, c, a, b);
}

vesk_term vesk_make_int_modular_congruence(vesk_env env, const char* modulus, vesk_term a, vesk_term b) {
  return guard(env, no_term, [&](EnvRecord& r) {
    return wrap(r.env->terms().make_mod_congr(read_number(modulus), arg(a), arg(b)));
  });
}

vesk_term vesk_make_number(vesk_env env, const char* text) {
  return guard(env, no_term,
               [&](EnvRecord& r) { return wrap(r.env->terms().make_number(read_number(text))); });
}

vesk_term vesk_make_mpq_number(vesk_env env, mpq_srcptr value) {
  return guard(env, no_term, [&](EnvRecord& r) {
    require(value != nullptr, "null number");
    require(mpz_sgn(mpq_denref(value)) != 0, "zero denominator");
    mpq_t reduced;
    mpq_init(reduced);
    mpz_set(mpq_numref(reduced), mpq_numref(value));  // mpq_set() wants a positive denominator
    mpz_set(mpq_denref(reduced), mpq_denref(value));
    mpq_canonicalize(reduced);
    const QNumber number = QNumberGmp::from_mpq(reduced);
    mpq_clear(reduced);
    return wrap(r.env->terms().make_number(number));
  });
}

vesk_term vesk_make_int_number(vesk_env env, long value) {
  return guard(env, no_term, [&](EnvRecord& r) { return wrap(r.env->terms().make_number(QNumber(value))); });
}

vesk_term vesk_make_int64_number(vesk_env env, int64_t value) { return vesk_make_int_number(env, value); }

vesk_term vesk_make_constant(vesk_env env, vesk_decl decl) {
  return guard(env, no_term, [&](EnvRecord& r) { return wrap(r.env->terms().make_constant(arg(decl))); });
}

vesk_term vesk_make_uf(vesk_env env, vesk_decl decl, const vesk_term* args) {
  return guard(env, no_term, [&](EnvRecord& r) {
    const Symbol* head = arg(decl);
    if (head->is_interpreted()) throw ArgumentError("the symbol " + head->name() + " is interpreted");
    return wrap(r.env->terms().make_uf(head, read_args(head, args)));
  });
}

vesk_term vesk_make_term(vesk_env env, vesk_decl decl, const vesk_term* args) {
  return guard(env, no_term, [&](EnvRecord& r) {
    const Symbol* head = arg(decl);
    return wrap(r.env->terms().make_term(head, read_args(head, args)));
  });
}

vesk_term vesk_make_copy_from(vesk_env env, vesk_term handle, vesk_env source) {
  return guard(env, no_term, [&](EnvRecord& r) {
    require(source.repr != nullptr, "null environment");
    TermManager& terms = r.env->terms();
    if (&terms == &record(source)->env->terms()) return wrap(arg(handle));
    StampMap<Term> memo;
    return wrap(rewrite_post_order(
        arg(handle), memo, [](Term) { return true; },
        [&](Term old, std::span<const Term> children) { return copy_node(terms, old, children); }));
  });
}

vesk_term vesk_apply_substitution(vesk_env env, vesk_term handle, const vesk_term* from, const vesk_term* to,
                                  size_t n) {
  return guard(env, no_term, [&](EnvRecord& r) {
    require((from != nullptr && to != nullptr) || n == 0, "null array of terms");
    Substitution substitution(r.env->terms());
    for (size_t i = 0; i < n; ++i) {
      const Term old = arg(from[i]);
      substitution.set(old, arg(to[i]));
    }
    return wrap(substitution.apply(arg(handle)));
  });
}

// Inspection.

size_t vesk_term_id(vesk_term handle) { return handle.repr == nullptr ? 0 : term(handle)->id(); }
size_t vesk_term_arity(vesk_term handle) { return handle.repr == nullptr ? 0 : term(handle)->arity(); }

vesk_term vesk_term_get_arg(vesk_term handle, size_t n) {
  return guard(no_term, [&] {
    if (n >= arg(handle)->arity()) throw ArgumentError("a term has no argument " + std::to_string(n));
    return wrap(term(handle)->child(n));
  });
}

vesk_type vesk_term_get_type(vesk_term handle) {
  return guard(no_type, [&] { return wrap(arg(handle)->type()); });
}

vesk_decl vesk_term_get_decl(vesk_term handle) {
  return guard(vesk_decl{nullptr}, [&] { return wrap(arg(handle)->symbol()); });
}

#define VESK_TERM_TEST(suffix, condition)                                             \
  int vesk_term_is_##suffix(vesk_env env, vesk_term handle) {                         \
    return guard(env, 0, [&](EnvRecord&) { return arg(handle)->condition ? 1 : 0; }); \
  }
VESK_TERM_TEST(true, is_true())
VESK_TERM_TEST(false, is_false())
VESK_TERM_TEST(number, is_number())
VESK_TERM_TEST(atom, is_atom())
VESK_TERM_TEST(constant, is_constant())
VESK_TERM_TEST(not, tag() == Tag::not_op)
VESK_TERM_TEST(and, tag() == Tag::and_op)
VESK_TERM_TEST(or, tag() == Tag::or_op)
VESK_TERM_TEST(iff, tag() == Tag::iff)
VESK_TERM_TEST(equal, tag() == Tag::equal)
VESK_TERM_TEST(leq, tag() == Tag::leq)
VESK_TERM_TEST(plus, tag() == Tag::plus)
VESK_TERM_TEST(times, tag() == Tag::times)
VESK_TERM_TEST(divide, tag() == Tag::divide)
VESK_TERM_TEST(floor, tag() == Tag::floor)
VESK_TERM_TEST(term_ite, tag() == Tag::ite)
VESK_TERM_TEST(int_modular_congruence, tag() == Tag::mod_congr)
#undef VESK_TERM_TEST

int vesk_term_is_uf(vesk_env env, vesk_term handle) {
  return guard(env, 0, [&](EnvRecord&) {
    return arg(handle)->tag() == Tag::uninterpreted && term(handle)->arity() > 0 ? 1 : 0;
  });
}

char* vesk_term_to_number(vesk_env env, vesk_term handle) {
  return guard(env, static_cast<char*>(nullptr), [&](EnvRecord&) {
    if (!arg(handle)->is_number()) throw ArgumentError("not a number: " + term(handle)->to_short_str());
    return to_c(term(handle)->number().to_str());
  });
}

int vesk_term_to_int64(vesk_env env, vesk_term handle, int64_t* value) {
  return guard(env, -1, [&](EnvRecord&) {
    require(value != nullptr, "null place for a number");
    if (!arg(handle)->is_number()) throw ArgumentError("not a number: " + term(handle)->to_short_str());
    const QNumber& number = term(handle)->number();
    // The least word has no small form.
    if (number == QNumber(std::numeric_limits<long>::min()))
      *value = std::numeric_limits<int64_t>::min();
    else if (number.is_small_int())
      *value = number.small_int();
    else
      throw ArgumentError("no integer of 64 bits: " + term(handle)->to_short_str());
    return 0;
  });
}

int vesk_term_to_double(vesk_env env, vesk_term handle, double* value) {
  return guard(env, -1, [&](EnvRecord&) {
    require(value != nullptr, "null place for a number");
    if (!arg(handle)->is_number()) throw ArgumentError("not a number: " + term(handle)->to_short_str());
    *value = QNumberGmp::to_double(term(handle)->number());
    return 0;
  });
}

char* vesk_term_repr(vesk_term handle) {
  return guard(static_cast<char*>(nullptr), [&] {
    constexpr std::size_t limit = std::size_t{1} << 30;
    std::string text;
    if (!arg(handle)->append_text(&text, limit))
      throw ArgumentError("the text of the term exceeds 2^30 characters");
    return to_c(text);
  });
}

int vesk_visit_term(vesk_env env, vesk_term handle, vesk_term_visitor visitor, void* user_data) {
  return guard(env, -1, [&](EnvRecord&) {
    require(visitor != nullptr, "null visitor");
    StampSet seen;
    bool stopped = false;
    visit_post_order(
        arg(handle), seen, [&](Term) { return !stopped; },
        [&](Term t) {
          if (!stopped && visitor(wrap(t), user_data) != 0) stopped = true;
        });
    return 0;
  });
}

vesk_decl vesk_find_decl(vesk_env env, const char* name) {
  return guard(env, vesk_decl{nullptr},
               [&](EnvRecord& r) { return wrap(r.env->terms().signature().get(arg(name))); });
}

char* vesk_decl_get_name(vesk_decl decl) {
  return guard(static_cast<char*>(nullptr), [&] { return to_c(arg(decl)->name()); });
}

size_t vesk_decl_get_arity(vesk_decl decl) { return decl.repr == nullptr ? 0 : symbol(decl)->arity(); }

vesk_type vesk_decl_get_return_type(vesk_decl decl) {
  return guard(no_type, [&] { return wrap(arg(decl)->output_type()); });
}

vesk_type vesk_decl_get_arg_type(vesk_decl decl, size_t n) {
  return guard(no_type, [&] {
    if (n >= arg(decl)->arity())
      throw ArgumentError("the symbol " + symbol(decl)->name() + " has no parameter " + std::to_string(n));
    return wrap(symbol(decl)->type()->params()[n]);
  });
}

}  // extern "C"
