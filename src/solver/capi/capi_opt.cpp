#include "solver/capi/frame.h"
#include "solver/opt/opt_environment.h"
#include "veskormax.h"

using namespace vesk;        // NOLINT: this file is nothing but the C functions
using namespace vesk::capi;  // NOLINT
using opt::Objective;
using opt::OptEnvironment;

namespace {

OptEnvironment& opt_env(EnvRecord& r) {
  auto* env = dynamic_cast<OptEnvironment*>(r.env.get());
  require(env != nullptr, "optimizing version of environment required");
  return *env;
}

Objective* arg(vesk_objective handle) {
  require(handle.repr != nullptr, "null objective");
  return static_cast<Objective*>(handle.repr);
}

std::vector<Term> args(const vesk_term* handles, size_t n) {
  require(handles != nullptr || n == 0, "null array of terms");
  std::vector<Term> terms;
  for (size_t i = 0; i < n; ++i) terms.push_back(vesk::capi::arg(handles[i]));
  return terms;
}

template <typename F>
vesk_objective make(vesk_env env, F&& maker) {
  return guard(env, vesk_objective{nullptr}, [&](EnvRecord& r) { return vesk_objective{maker(opt_env(r))}; });
}

const opt::Value& value_of(EnvRecord& r, vesk_objective handle, int api_code) {
  opt_env(r);
  const Objective* objective = ::arg(handle);
  require(api_code == VESK_OPTIMUM || api_code == VESK_LOWER || api_code == VESK_UPPER,
          "the code of a value is VESK_OPTIMUM, VESK_LOWER or VESK_UPPER");
  require(objective->outcome.has_value(), "the objective has no value: the last check did not search for it");
  if (api_code == VESK_LOWER) return objective->outcome->lower;
  if (api_code == VESK_UPPER) return objective->outcome->upper;
  require(objective->outcome->optimum.has_value(),
          "the objective has bounds only: the search was not finished");
  return *objective->outcome->optimum;
}

}  // namespace

extern "C" {

vesk_env vesk_create_opt_env(vesk_config cfg) {
  return guard(vesk_env{nullptr}, [&] { return make_env<OptEnvironment>(cfg, nullptr); });
}

vesk_env vesk_create_shared_opt_env(vesk_config cfg, vesk_env sibling) {
  return guard(vesk_env{nullptr}, [&] {
    require(sibling.repr != nullptr, "null environment");
    return make_env<OptEnvironment>(cfg, record(sibling)->env.get());
  });
}

vesk_objective vesk_make_minimize(vesk_env env, vesk_term term) {
  return make(env, [&](OptEnvironment& e) { return e.make_objective(false, vesk::capi::arg(term)); });
}

vesk_objective vesk_make_maximize(vesk_env env, vesk_term term) {
  return make(env, [&](OptEnvironment& e) { return e.make_objective(true, vesk::capi::arg(term)); });
}

vesk_objective vesk_make_minmax(vesk_env env, const vesk_term* terms, size_t n) {
  return make(env, [&](OptEnvironment& e) { return e.make_extreme(false, args(terms, n)); });
}

vesk_objective vesk_make_maxmin(vesk_env env, const vesk_term* terms, size_t n) {
  return make(env, [&](OptEnvironment& e) { return e.make_extreme(true, args(terms, n)); });
}

int vesk_assert_objective(vesk_env env, vesk_objective objective) {
  return guard(env, -1, [&](EnvRecord& r) {
    opt_env(r).assert_objective(::arg(objective));
    return 0;
  });
}

int vesk_assert_soft_formula(vesk_env env, vesk_term formula, vesk_term weight, const char* id) {
  const int status = guard(env, -1, [&](EnvRecord& r) {
    OptEnvironment& e = opt_env(r);
    e.assert_soft_formula(vesk::capi::arg(formula), vesk::capi::arg(weight), vesk::capi::arg(id));
    return 0;
  });
  return note_if_lost(env, status, false);
}

void vesk_destroy_objective(vesk_env env, vesk_objective objective) {
  if (env.repr == nullptr || objective.repr == nullptr) return;
  guard(env, -1, [&](EnvRecord& r) {
    opt_env(r).destroy_objective(::arg(objective));
    return 0;
  });
}

int vesk_load_objective_model(vesk_env env, vesk_objective objective) {
  return guard(env, -1, [&](EnvRecord& r) {
    opt_env(r).load_model(::arg(objective));
    return 0;
  });
}

int vesk_objective_value_is_unbounded(vesk_env env, vesk_objective objective, int api_code) {
  return guard(env, 0, [&](EnvRecord& r) { return value_of(r, objective, api_code).is_infinite() ? 1 : 0; });
}

int vesk_objective_value_is_strict(vesk_env env, vesk_objective objective, int api_code) {
  return guard(env, 0, [&](EnvRecord& r) { return value_of(r, objective, api_code).is_strict() ? 1 : 0; });
}

vesk_term vesk_objective_value_term(vesk_env env, vesk_objective objective, int api_code) {
  return guard(env, no_term, [&](EnvRecord& r) {
    const opt::Value& value = value_of(r, objective, api_code);
    require(!value.is_infinite(), "the value is infinite");
    return wrap(r.env->terms().make_number(value.number.c));
  });
}

char* vesk_objective_value_repr(vesk_env env, vesk_objective objective, int api_code) {
  return guard(env, static_cast<char*>(nullptr),
               [&](EnvRecord& r) { return to_c(value_of(r, objective, api_code).to_str()); });
}

}  // extern "C"
