/* Veskor: objectives and soft formulas, beside what veskor.h has. The same library holds them.
 *
 * Checks of an optimising environment find a model that is best for the asserted objectives: one after the
 * other, in their order of assertion, with the option opt.priority "lex", or each on its own with "box".
 * Optima are exact: a value that is reached, a bound that is approached and not reached, or unbounded.
 * vesk_solve() and vesk_solve_with_assumptions() answer as ever, 1 also where an objective has no bound or
 * does not reach it; the model then satisfies the assertions, and keeps what earlier objectives came to.
 * After the answer -1 of a search that had a model, the best model and the bounds known can be read. Checks
 * with objectives need the option model_generation.
 *
 * What the header of veskor.h says of handles, failures, texts and threads holds here, too. With an
 * environment that vesk_create_env() made, every call fails with "optimizing version of environment
 * required". */
#ifndef VESKORMAX_H
#define VESKORMAX_H

#include "veskor.h"

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** An objective. It belongs to its environment until vesk_destroy_objective(). */
typedef struct vesk_objective {
  void* repr;
} vesk_objective;

enum {
  VESK_OPTIMUM = 0, /**< the optimum found by the last solve call */
  VESK_LOWER = 1,   /**< the greatest lower bound known */
  VESK_UPPER = 2    /**< the least upper bound known */
};

/** As vesk_create_env() and vesk_create_shared_env(), with objectives. */
vesk_env vesk_create_opt_env(vesk_config cfg);
vesk_env vesk_create_shared_opt_env(vesk_config cfg, vesk_env sibling);

/** Objectives: the least or greatest value of a numeric term. Making one asserts nothing. To be destroyed
 * with vesk_destroy_objective(). Null handle: the term is no number. */
vesk_objective vesk_make_minimize(vesk_env env, vesk_term term);
vesk_objective vesk_make_maximize(vesk_env env, vesk_term term);

/** The least value that the greatest of `n` >= 1 numeric terms can have. */
vesk_objective vesk_make_minmax(vesk_env env, const vesk_term* terms, size_t n);
/** The greatest value that the least of them can have. */
vesk_objective vesk_make_maxmin(vesk_env env, const vesk_term* terms, size_t n);

/** From now on, until its backtrack point is popped, solve calls optimise the objective, after those that
 * were asserted before. -1: it is asserted already. */
int vesk_assert_objective(vesk_env env, vesk_objective objective);

/** In models that violate the formula the number `weight` counts, which may be negative. The sum of what
 * counts is the value of the rational constant named `id`, in every model, from the first soft formula of
 * that name on; it may be declared before or after, stand in formulas, and be minimised, which nothing does
 * by itself. -1: "assert_soft: soft clause must be of Boolean type", "assert_soft: all weights must be of
 * Real or Int type", "assert_soft: weight must be a constant value", or `id` is no name for a rational
 * constant. */
int vesk_assert_soft_formula(vesk_env env, vesk_term formula, vesk_term weight, const char* id);

/** The handle may not be used any more. An objective that is asserted counts until it is popped. A null
 * handle is left alone. */
void vesk_destroy_objective(vesk_env env, vesk_objective objective);

/** Makes the best model of an objective the current one, for vesk_get_model_value() and its like; the last
 *  solve call left that of the last objective it searched. -1: there is none. */
int vesk_load_objective_model(vesk_env env, vesk_objective objective);

/* What the last solve call found for an objective. `api_code` is VESK_OPTIMUM, VESK_LOWER or VESK_UPPER;
 * lower is below, for a maximised objective, too. There is nothing to be read (0 or null, with a text) before
 * the first solve call, once something was asserted or popped, after the answer 0, and for objectives behind
 * one that is unbounded; after -1 for objectives that were not reached, and there is no optimum then. */

/** 1: the value is infinite. */
int vesk_objective_value_is_unbounded(vesk_env env, vesk_objective objective, int api_code);
/** 1: the value is a bound that is approached and not reached. */
int vesk_objective_value_is_strict(vesk_env env, vesk_objective objective, int api_code);
/** The value; of one that is not reached the bound. Null for an infinite one. */
vesk_term vesk_objective_value_term(vesk_env env, vesk_objective objective, int api_code);
/** "5", "-7/2", "5 + epsilon" or "5 - epsilon" for a bound not reached, "-oo", "oo". */
char* vesk_objective_value_repr(vesk_env env, vesk_objective objective, int api_code);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
