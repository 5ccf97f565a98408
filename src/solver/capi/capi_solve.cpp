#include "solver/capi/frame.h"

using namespace vesk;        // NOLINT: this file is nothing but the C functions
using namespace vesk::capi;  // NOLINT

namespace {

/// What a vesk_model points to.
struct ModelRecord {
  std::unique_ptr<ModelStore> model;
};

/// What a vesk_model_iterator points to.
struct IteratorRecord {
  std::vector<std::pair<Term, Term>> entries;
  std::size_t next = 0;
};

template <typename F>
int act(vesk_env env, F&& action) {
  return guard(env, -1, [&](EnvRecord& r) {
    action(*r.env);
    return 0;
  });
}

int solve(vesk_env env, const vesk_term* assumptions, size_t n) {
  return guard(env, -1, [&](EnvRecord& r) {
    require(assumptions != nullptr || n == 0, "null array of assumptions");
    std::vector<Term> terms;
    for (size_t i = 0; i < n; ++i) terms.push_back(arg(assumptions[i]));
    const Environment::Answer answer = r.env->check(terms);
    if (answer == Environment::Answer::unknown) keep_error(r.last_error, r.env->unknown_reason().c_str());
    return static_cast<int>(answer);
  });
}

int enumerate(vesk_env env, const vesk_term* handles, size_t n, vesk_model_visitor visitor, void* user_data,
              bool only_boolean) {
  return guard(env, -1, [&](EnvRecord& r) {
    require(handles != nullptr || n == 0, "null array of terms");
    require(visitor != nullptr, "null visitor");
    std::vector<Term> terms;
    for (size_t i = 0; i < n; ++i) terms.push_back(arg(handles[i]));
    for (Term t : terms)
      if (only_boolean && !t->type()->is_bool())
        throw ArgumentError("The term " + t->to_short_str() + " is not Boolean");
    std::vector<vesk_term> values(n);
    const int count = r.env->enumerate_models(terms, [&](const std::vector<Term>& found) {
      for (size_t i = 0; i < n; ++i) values[i] = wrap(found[i]);
      return visitor(values.data(), n, user_data) != 0;
    });
    if (count < 0) keep_error(r.last_error, r.env->unknown_reason().c_str());
    return count;
  });
}

ModelRecord* model_record(vesk_model model) {
  require(model.repr != nullptr, "null model");
  return static_cast<ModelRecord*>(model.repr);
}

vesk_model_iterator make_iterator(ModelStore& model) {
  auto owned = std::make_unique<IteratorRecord>();
  owned->entries = model.list();
  return {owned.release()};
}

}  // namespace

extern "C" {

int vesk_push_backtrack_point(vesk_env env) {
  // After a push that failed nobody can tell which level a later pop means.
  return note_if_lost(env, act(env, [](Environment& e) { e.push_backtrack_point(); }), true);
}

int vesk_pop_backtrack_point(vesk_env env) {
  return act(env, [](Environment& e) { e.pop_backtrack_point(); });
}

int vesk_num_backtrack_points(vesk_env env) {
  return guard(env, -1, [](EnvRecord& r) { return r.env->num_backtrack_points(); });
}

int vesk_assert_formula(vesk_env env, vesk_term formula) {
  return note_if_lost(env, act(env, [&](Environment& e) { e.assert_formula(arg(formula)); }), false);
}

int vesk_solve(vesk_env env) { return solve(env, nullptr, 0); }

int vesk_solve_with_assumptions(vesk_env env, const vesk_term* assumptions, size_t n) {
  return solve(env, assumptions, n);
}

vesk_term* vesk_get_unsat_assumptions(vesk_env env, size_t* n) {
  if (n != nullptr) *n = 0;
  return guard(env, static_cast<vesk_term*>(nullptr), [&](EnvRecord& r) {
    require(n != nullptr, "null count");
    return to_c(r.env->unsat_assumptions(), n);
  });
}

vesk_term* vesk_get_unsat_core(vesk_env env, size_t* n) {
  if (n != nullptr) *n = 0;
  return guard(env, static_cast<vesk_term*>(nullptr), [&](EnvRecord& r) {
    require(n != nullptr, "null count");
    return to_c(r.env->unsat_core(), n);
  });
}

int vesk_add_preferred_for_branching(vesk_env env, vesk_term handle, int polarity) {
  return act(env, [&](Environment& e) {
    require(polarity >= -1 && polarity <= 1, "the polarity is neither 1, 0 nor -1");
    e.add_preferred_for_branching(arg(handle), polarity);
  });
}

int vesk_clear_preferred_for_branching(vesk_env env) {
  return act(env, [](Environment& e) { e.clear_preferred_for_branching(); });
}

vesk_term vesk_simplify(vesk_env env, vesk_term handle) {
  return guard(env, no_term, [&](EnvRecord& r) { return wrap(r.env->simplify(arg(handle))); });
}

vesk_term* vesk_get_asserted_formulas(vesk_env env, size_t* n) {
  if (n != nullptr) *n = 0;
  return guard(env, static_cast<vesk_term*>(nullptr), [&](EnvRecord& r) {
    require(n != nullptr, "null count");
    return to_c(r.env->asserted_formulas(), n);
  });
}

vesk_term* vesk_get_theory_lemmas(vesk_env env, size_t* n) {
  if (n != nullptr) *n = 0;
  return guard(env, static_cast<vesk_term*>(nullptr), [&](EnvRecord& r) {
    require(n != nullptr, "null count");
    return to_c(r.env->theory_lemmas(), n);
  });
}

int vesk_all_sat(vesk_env env, const vesk_term* important, size_t n, vesk_model_visitor visitor,
                 void* user_data) {
  return enumerate(env, important, n, visitor, user_data, true);
}

int vesk_solve_diversify(vesk_env env, const vesk_term* diversifiers, size_t n, vesk_model_visitor visitor,
                         void* user_data) {
  return enumerate(env, diversifiers, n, visitor, user_data, false);
}

char* vesk_get_search_stats(vesk_env env) {
  return guard(env, static_cast<char*>(nullptr), [](EnvRecord& r) { return to_c(r.env->statistics()); });
}

int vesk_get_statistic(vesk_env env, const char* name, uint64_t* value) {
  return guard(env, -1, [&](EnvRecord& r) {
    require(value != nullptr, "null place for a number");
    for (const auto& [counter, count] : r.env->counters())
      if (arg(name) == counter) {
        *value = count;
        return 0;
      }
    throw ArgumentError("there is no statistic " + std::string(name));
  });
}

// Models.

vesk_term vesk_get_model_value(vesk_env env, vesk_term handle) {
  return guard(env, no_term, [&](EnvRecord& r) { return wrap(r.env->get_model_value(arg(handle))); });
}

vesk_model vesk_get_model(vesk_env env) {
  return guard(env, vesk_model{nullptr}, [](EnvRecord& r) {
    auto owned = std::make_unique<ModelRecord>();
    owned->model = std::make_unique<ModelStore>(*r.env->model());
    return vesk_model{owned.release()};
  });
}

void vesk_destroy_model(vesk_model model) { delete static_cast<ModelRecord*>(model.repr); }

vesk_term vesk_model_eval(vesk_model model, vesk_term handle) {
  return guard(no_term, [&] { return wrap(model_record(model)->model->get_value(arg(handle))); });
}

vesk_model_iterator vesk_create_model_iterator(vesk_env env) {
  return guard(env, vesk_model_iterator{nullptr},
               [](EnvRecord& r) { return make_iterator(*r.env->model()); });
}

vesk_model_iterator vesk_model_create_iterator(vesk_model model) {
  return guard(vesk_model_iterator{nullptr}, [&] { return make_iterator(*model_record(model)->model); });
}

int vesk_model_iterator_has_next(vesk_model_iterator iterator) {
  const auto* r = static_cast<const IteratorRecord*>(iterator.repr);
  return r != nullptr && r->next < r->entries.size() ? 1 : 0;
}

int vesk_model_iterator_next(vesk_model_iterator iterator, vesk_term* handle, vesk_term* value) {
  return guard(-1, [&] {
    require(iterator.repr != nullptr, "null iterator");
    require(handle != nullptr && value != nullptr, "null place for a term");
    auto* r = static_cast<IteratorRecord*>(iterator.repr);
    require(r->next < r->entries.size(), "the iterator is at its end");
    *handle = wrap(r->entries[r->next].first);
    *value = wrap(r->entries[r->next].second);
    ++r->next;
    return 0;
  });
}

void vesk_destroy_model_iterator(vesk_model_iterator iterator) {
  delete static_cast<IteratorRecord*>(iterator.repr);
}

}  // extern "C"
