#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "veskor.h"

/// An environment behind the C interface, with the shorthand that scripts of calls want.
class SolverScript {
 public:
  explicit SolverScript(const std::vector<std::pair<const char*, const char*>>& options = {},
                        vesk_env (*create)(vesk_config) = vesk_create_env) {
    const vesk_config cfg = vesk_create_config();
    EXPECT_EQ(vesk_set_option(cfg, "model_generation", "true"), 0);
    for (const auto& [key, value] : options) EXPECT_EQ(vesk_set_option(cfg, key, value), 0) << key;
    env = create(cfg);
    vesk_destroy_config(cfg);
    EXPECT_NE(env.repr, nullptr);
  }
  SolverScript(const SolverScript&) = delete;
  SolverScript& operator=(const SolverScript&) = delete;
  ~SolverScript() { vesk_destroy_env(env); }

  vesk_type bool_type() { return vesk_get_bool_type(env); }
  vesk_type real_type() { return vesk_get_rational_type(env); }
  vesk_type int_type() { return vesk_get_integer_type(env); }
  vesk_term constant(const char* name, vesk_type type) {
    return vesk_make_constant(env, vesk_declare_function(env, name, type));
  }
  vesk_term boolean(const std::string& name) { return constant(name.c_str(), bool_type()); }
  vesk_term real(const std::string& name) { return constant(name.c_str(), real_type()); }
  vesk_decl function(const char* name, std::vector<vesk_type> params, vesk_type result) {
    return vesk_declare_function(env, name,
                                 vesk_get_function_type(env, params.data(), params.size(), result));
  }
  vesk_term apply(vesk_decl f, std::vector<vesk_term> args) { return vesk_make_uf(env, f, args.data()); }
  vesk_term num(const char* text) { return vesk_make_number(env, text); }
  vesk_term neg(vesk_term a) { return vesk_make_not(env, a); }
  vesk_term conj(vesk_term a, vesk_term b) { return vesk_make_and(env, a, b); }
  vesk_term disj(vesk_term a, vesk_term b) { return vesk_make_or(env, a, b); }
  vesk_term eq(vesk_term a, vesk_term b) { return vesk_make_eq(env, a, b); }
  vesk_term leq(vesk_term a, vesk_term b) { return vesk_make_leq(env, a, b); }
  vesk_term less(vesk_term a, vesk_term b) { return neg(leq(b, a)); }
  vesk_term plus(vesk_term a, vesk_term b) { return vesk_make_plus(env, a, b); }
  vesk_term times(vesk_term a, vesk_term b) { return vesk_make_times(env, a, b); }
  vesk_term ite(vesk_term c, vesk_term a, vesk_term b) { return vesk_make_term_ite(env, c, a, b); }

  void add(vesk_term formula) { ASSERT_EQ(vesk_assert_formula(env, formula), 0) << error(); }
  void push() { ASSERT_EQ(vesk_push_backtrack_point(env), 0); }
  void pop() { ASSERT_EQ(vesk_pop_backtrack_point(env), 0); }
  int solve() { return vesk_solve(env); }
  int solve(std::vector<vesk_term> assumptions) {
    return vesk_solve_with_assumptions(env, assumptions.data(), assumptions.size());
  }
  std::string value(vesk_term term) { return text(vesk_get_model_value(env, term)); }
  static std::string text(vesk_term term) {
    char* repr = vesk_term_repr(term);
    const std::string result = repr == nullptr ? "null" : repr;
    vesk_free(repr);
    return result;
  }
  std::string error() { return vesk_last_error_message(env); }

  vesk_env env{nullptr};
};

/// A termination test that lets one look pass and stops at the next; `calls` points to an int that is 0.
inline int stop_at_once(void* calls) { return ++*static_cast<int*>(calls) > 1; }
