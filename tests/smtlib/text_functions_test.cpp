#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "smtlib/random_script.h"
#include "veskor.h"

namespace {

class TextEnvironment {
 public:
  TextEnvironment() {
    const vesk_config config = vesk_create_default_config(nullptr);
    env_ = vesk_create_env(config);
    vesk_destroy_config(config);
  }
  TextEnvironment(const TextEnvironment&) = delete;
  TextEnvironment& operator=(const TextEnvironment&) = delete;
  ~TextEnvironment() { vesk_destroy_env(env_); }

  vesk_env env() const { return env_; }
  std::string error() const { return vesk_last_error_message(env_); }
  int read(const std::string& text) const { return vesk_read_smtlib(env_, text.c_str()); }
  std::string print() const { return taken(vesk_assertions_to_smtlib(env_)); }
  std::string print(vesk_term term) const { return taken(vesk_term_to_smtlib(env_, term)); }
  vesk_term constant(const char* name) const { return vesk_make_constant(env_, vesk_find_decl(env_, name)); }
  std::vector<void*> assertions() const {
    std::size_t n = 0;
    vesk_term* terms = vesk_get_asserted_formulas(env_, &n);
    std::vector<void*> result;
    for (std::size_t i = 0; i < n; ++i) result.push_back(terms[i].repr);
    vesk_free(terms);
    return result;
  }

 private:
  static std::string taken(char* text) {
    const std::string copy = text == nullptr ? "(null)" : text;
    vesk_free(text);
    return copy;
  }

  vesk_env env_;
};

// What is printed is read as the same terms by the environment that printed it, and by one that knows nothing
// of it as copies of them.
void expect_round_trip(const std::string& script) {
  const TextEnvironment first, second;
  ASSERT_EQ(first.read(script), 0) << first.error() << "\n" << script;
  const std::string printed = first.print();
  const std::vector<void*> assertions = first.assertions();
  ASSERT_EQ(first.read(printed), 0) << first.error() << "\n" << printed;
  std::vector<void*> twice = assertions;
  twice.insert(twice.end(), assertions.begin(), assertions.end());
  EXPECT_EQ(first.assertions(), twice) << script << "\nprinted as\n" << printed;
  ASSERT_EQ(second.read(printed), 0) << second.error() << "\n" << printed;
  std::vector<void*> copies;
  for (void* assertion : assertions) {
    const vesk_term copy = vesk_make_copy_from(second.env(), {assertion}, first.env());
    copies.push_back(copy.repr);
  }
  EXPECT_EQ(second.assertions(), copies) << printed;
  EXPECT_EQ(vesk_solve(second.env()), vesk_solve(first.env())) << printed;
}

TEST(SmtLibText, EveryKindOfTermIsReadBack) {
  expect_round_trip(
      "(declare-const |a b| Bool)(declare-fun p (Bool Real) Bool)(declare-const |let| Bool)"
      "(assert (xor |a b| (not |let|) (p |a b| (- 0.5))))(assert true)(assert (or |a b| false))");
  expect_round_trip(
      "(declare-const x Real)(declare-const i Int)(declare-const j Int)(declare-fun f (Real) Int)"
      "(assert (< (+ x i) (* 2 (f i))))(assert (= (to_real j) x))(assert (<= (* i j) (/ x (- x 3.5))))"
      "(assert (distinct (mod i 3) (div j (- 4))))(assert ((_ divisible 5) (+ i j)))"
      "(assert (= (f (ite (< i j) x i)) (ite (< i j) 1 j)))(assert (is_int (* 0.3 x)))");
  expect_round_trip(
      "(declare-sort S 0)(declare-sort |T u| 0)(declare-fun g (S |T u|) S)(declare-const s S)"
      "(declare-const t |T u|)(declare-const ?1 S)(declare-const ??2 S)"
      "(assert (distinct (g (g s t) t) (g (g ?1 t) t) (g (g s t) t) (g ??2 t)))");
  std::string distinct = "(declare-fun h (Int) Real)(assert (distinct";
  for (int i = 0; i < 120; ++i) distinct += " (h " + std::to_string(i) + ")";
  expect_round_trip(distinct + "))");
}

TEST(SmtLibText, RandomScriptsAreReadBack) {
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const solver_fuzz::Script script = solver_fuzz::random_script(seed);
    std::string text = script.preamble;
    for (const solver_fuzz::Step& step : script.steps)
      if (step.kind == solver_fuzz::Step::Kind::assertion) text += script.text_of(step) + '\n';
    expect_round_trip(text);
    if (HasFailure()) return;
  }
}

TEST(SmtLibText, SharedTermsArePrintedOnceHoweverDeepTheyLie) {
  const TextEnvironment environment;
  ASSERT_EQ(environment.read("(declare-fun f (Real Real) Real)(declare-const x Real)"), 0);
  vesk_term term = environment.constant("x");
  const vesk_decl f = vesk_find_decl(environment.env(), "f");
  constexpr int depth = 20000;
  for (int i = 0; i < depth; ++i) {
    const vesk_term args[] = {term, term};
    term = vesk_make_uf(environment.env(), f, args);
  }
  const std::string text = environment.print(term);
  EXPECT_LT(text.size(), std::size_t{40} * depth);
  ASSERT_EQ(environment.read("(assert (< " + text + " 0.0))"), 0) << environment.error();
  const vesk_term zero = vesk_make_int_number(environment.env(), 0);
  const vesk_term negative = vesk_make_not(environment.env(), vesk_make_leq(environment.env(), zero, term));
  EXPECT_EQ(environment.assertions(), std::vector<void*>{negative.repr});
}

TEST(SmtLibText, SymbolsAreThoseOfTheEnvironment) {
  const TextEnvironment environment;
  const vesk_env env = environment.env();
  const vesk_decl x = vesk_declare_function(env, "x", vesk_get_rational_type(env));
  ASSERT_EQ(environment.read(
                "(set-logic QF_LRA)(set-info :status sat)(assert (= (* 2 x) 1))(check-sat)(exit)what?"),
            0)
      << environment.error();
  ASSERT_EQ(environment.read("(declare-const x Real)(define-fun half () Real 0.5)(declare-const y Real)"
                             "(assert (and (= x half) (! (< x y) :named less)))"),
            0)
      << environment.error();
  EXPECT_EQ(vesk_solve(env), 1);
  double value = 0;
  EXPECT_EQ(vesk_term_to_double(env, vesk_get_model_value(env, vesk_make_constant(env, x)), &value), 0);
  EXPECT_EQ(value, 0.5);
  EXPECT_EQ(environment.read("(assert (< x half))"), -1);  // definitions stay in their text
  EXPECT_EQ(environment.error(), "1:14: unknown symbol 'half'");
}

TEST(SmtLibText, AFaultHasAPlaceAndNothingOfTheTextIsAsserted) {
  struct Case {
    const char *text, *error;
  };
  const Case cases[] = {
      {"(assert x)\n(assert (< x 1))",
       "2:10: argument 1 of '<' is of sort Bool where Real or Int is expected"},
      {"(declare-const x Int)", "1:1: A symbol with name `x' already exists, of type Bool"},
      {"(assert x)\n(push 1)", "2:2: the command 'push' is neither a declaration nor 'assert'"},
      {"(assert x)(set-logic QF_LRA)",
       "1:22: the logic is to be set before anything is declared or asserted"},
      {"(assert x", "1:1: "},
      {"(assert (and x", "1:1: "},
      {"(assert (or x (<=_rat 1 2)))", "1:16: the symbol <=_rat is interpreted"},
      {"x", "1:1: "},
  };
  for (const Case& c : cases) {
    const TextEnvironment environment;
    const vesk_env env = environment.env();
    vesk_declare_function(env, "x", vesk_get_bool_type(env));
    vesk_push_backtrack_point(env);
    EXPECT_EQ(environment.read(c.text), -1) << c.text;
    EXPECT_EQ(environment.error().substr(0, std::string(c.error).size()), c.error);
    EXPECT_TRUE(environment.assertions().empty()) << c.text;
    EXPECT_EQ(vesk_solve(env), -1) << c.text;
    vesk_pop_backtrack_point(env);
    EXPECT_EQ(vesk_solve(env), 1) << c.text;
  }
  const TextEnvironment environment;
  EXPECT_EQ(vesk_read_smtlib(environment.env(), nullptr), -1);
  EXPECT_EQ(vesk_term_to_smtlib(environment.env(), {nullptr}), nullptr);
}

TEST(SmtLibText, WhatSmtLibCannotNameIsNotPrinted) {
  const TextEnvironment environment;
  const vesk_env env = environment.env();
  for (const char* name : {"a|b", "back\\slash", "mod"}) {
    const vesk_decl decl = vesk_declare_function(env, name, vesk_get_bool_type(env));
    EXPECT_EQ(environment.print(vesk_make_constant(env, decl)), "(null)");
    EXPECT_EQ(environment.error(), "SMT-LIB has no text for a symbol of the name " + std::string(name));
  }
  ASSERT_EQ(environment.read("(declare-sort S 0)(declare-const s S)"), 0);
  ASSERT_EQ(vesk_solve(env), 1);
  const vesk_term s = environment.constant("s");
  vesk_assert_formula(env, vesk_make_equal(env, s, vesk_get_model_value(env, s)));
  EXPECT_EQ(environment.print(), "(null)");
  EXPECT_NE(environment.error().find("the solver's own"), std::string::npos);
}

}  // namespace
