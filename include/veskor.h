/* Veskor: a solver for quantifier-free formulas over Booleans, uninterpreted functions and linear arithmetic
 * over reals and integers, and for combinations of these.
 *
 * Handles. Every object is a small record of one pointer, passed by value; a null pointer is the error
 * value. A null handle as an argument makes a call fail, it does not crash. A handle of an object that was
 * destroyed may not be used.
 *
 * Failure. A function that fails returns its failure value: the null handle, a null pointer, 0 for counts
 * and ids, -1 for other numbers. vesk_last_error_message() then says why. Functions that do something
 * return 0 for success; tests return 1 for yes and 0 for no, and 0 too when they fail.
 *
 * Text. `const char *` results belong to the library. `char *` results are the caller's, to be given to
 * vesk_free().
 *
 * Threads. An environment, its siblings and their terms are used by one thread at a time.
 *
 * Ownership. Terms, symbols and types belong to their environment (for shared environments, to the oldest
 * one) and are not freed one by one. */
#ifndef VESKOR_H
#define VESKOR_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A set of options, from which environments are made. */
typedef struct vesk_config {
  void* repr;
} vesk_config;

/** One solving context: terms, assertions, search, last model, last error text. */
typedef struct vesk_env {
  void* repr;
} vesk_env;

/** A type of terms. Equal types of one environment have the same `repr`. */
typedef struct vesk_type {
  void* repr;
} vesk_type;

/** A symbol: a name with a type. */
typedef struct vesk_decl {
  void* repr;
} vesk_decl;

/** A term or formula. Equal terms of one environment have the same `repr`. */
typedef struct vesk_term {
  void* repr;
} vesk_term;

/** A model taken out of its environment with vesk_get_model(). */
typedef struct vesk_model {
  void* repr;
} vesk_model;

/** A walk over the constants and function values of a model. */
typedef struct vesk_model_iterator {
  void* repr;
} vesk_model_iterator;

/** Asked now and then while the solver works; non-zero ends the search with the unknown result. It may not
 *  call functions of the same environment. */
typedef int (*vesk_termination_test)(void* user_data);

/** Called by vesk_visit_term(); non-zero ends the walk. */
typedef int (*vesk_term_visitor)(vesk_term term, void* user_data);

/** Called for each model that vesk_all_sat() or vesk_solve_diversify() finds, with the values of the `n`
 *  terms in it, in their order; non-zero ends the enumeration. It may make and inspect terms, but not call
 *  anything else of the same environment. */
typedef int (*vesk_model_visitor)(const vesk_term* values, size_t n, void* user_data);

/* ---- life cycle ---- */

/** A configuration with every option at its default. To be destroyed with vesk_destroy_config(). */
vesk_config vesk_create_config(void);

/** A configuration suited to an SMT-LIB logic, "QF_UFLRA" for example; models are on. Null stands for no
 *  particular logic. A logic that this solver does not know gives the same configuration. */
vesk_config vesk_create_default_config(const char* logic);

/** Reads a configuration text: one `key = value` a line, empty lines and lines that begin with `#` left
 *  out. Lines behind a line `[name]` belong to the section of that name: they count when `section` is that
 *  name. Lines before the first section always count. `section` may be null.
 *  Null handle: a malformed line ("bad format of configuration file"), an unknown key, or a bad value. */
vesk_config vesk_parse_config(const char* text, const char* section);

/** As vesk_parse_config(), for the contents of a file. */
vesk_config vesk_parse_config_file(const char* path, const char* section);

/** Environments made from `cfg` keep their own copy and live on. A null handle is left alone. */
void vesk_destroy_config(vesk_config cfg);

/** Sets an option. Booleans are "true" and "false", integers decimal, other numbers any decimal form. Options
 * for what this library does not have take their default only. -1, with nothing changed: unknown key, or a
 * value that does not parse or is out of range. The text of the failure is that of vesk_last_error_message()
 * for a null environment. */
int vesk_set_option(vesk_config cfg, const char* key, const char* value);

/** The value of an option, as text for vesk_set_option(). Null for an unknown key. */
char* vesk_get_option(vesk_config cfg, const char* key);

/** An environment with its own terms. It copies `cfg`. To be destroyed with vesk_destroy_env(). */
vesk_env vesk_create_env(vesk_config cfg);

/** An environment that uses the terms, symbols and types of `sibling`, but has its own assertions. The
 *  environment that owns the terms must be destroyed last. */
vesk_env vesk_create_shared_env(vesk_config cfg, vesk_env sibling);

/** Frees the environment and, unless they are a sibling's, its terms. A null handle is left alone. */
void vesk_destroy_env(vesk_env env);

/** Drops assertions, also those that failed, backtrack points, preferred variables and the model; terms and
 *  symbols stay. */
int vesk_reset_env(vesk_env env);

/** Sets the test that may stop a search; it stays until replaced, null removes it. */
int vesk_set_termination_test(vesk_env env, vesk_termination_test test, void* user_data);

/** Each solve call ends with the unknown result after so many seconds on the clock; 0, as in the beginning,
 * for no limit. The text for vesk_last_error_message() is "the time limit is reached". */
int vesk_set_time_limit(vesk_env env, double seconds);

/** Each solve call ends with the unknown result after so many conflicts of the search, a measure that is the
 *  same on every machine; 0 for no limit. "the limit of conflicts is reached" */
int vesk_set_conflict_limit(vesk_env env, size_t conflicts);

/** A limit for vesk_get_memory_in_use(); 0 for none. Solve calls that reach it end with the unknown result,
 * and give back what they took; a call that would make a large number fails. Texts begin with "out of
 * memory". The limit is looked at now and then: leave some megabytes between it and a limit of the system
 * (`ulimit -v`), where calls fail, too, with "out of memory", unless it is GMP that meets it, which ends the
 * process. */
int vesk_set_memory_limit(vesk_env env, size_t bytes);

/** The address space of the process in bytes, of which this library has a part: what the system's own limit
 *  goes by. 0 where the system does not say. */
size_t vesk_get_memory_in_use(void);

/** The most memory that the process ever had resident, in bytes. */
size_t vesk_get_peak_memory(void);

/** Frees all terms that are reached neither from the `n` terms of `keep` nor from what the environment
 *  itself holds (assertions, model). Fails when siblings share the terms. Symbols declared by the caller
 *  stay. */
int vesk_gc_env(vesk_env env, const vesk_term* keep, size_t n);

/* ---- miscellaneous ---- */

/** Name and version of the library, to be freed by the caller. */
char* vesk_get_version(void);

/** Frees memory that a function of this interface returned; null is allowed. */
void vesk_free(void* memory);

/** The text of the environment's last failure, valid until the next one; successful calls leave it as it
 *  is; "" when nothing failed. For the null handle: the last failure of a call without an environment. */
const char* vesk_last_error_message(vesk_env env);

/* ---- types ---- */

vesk_type vesk_get_bool_type(vesk_env env);
vesk_type vesk_get_rational_type(vesk_env env);
vesk_type vesk_get_integer_type(vesk_env env);

/** The uninterpreted type of that name, the same one for the same name. */
vesk_type vesk_get_simple_type(vesk_env env, const char* name);

/** The type of functions from `n` >= 1 parameters to `result`, none of them a function type. */
vesk_type vesk_get_function_type(vesk_env env, const vesk_type* params, size_t n, vesk_type result);

int vesk_type_equals(vesk_type a, vesk_type b);

/** "Bool", "Real", "Int", the name of a simple type, "(-> A B R)" for functions from A and B to R. */
char* vesk_type_repr(vesk_type type);

/** These three are exact: the integer type is not the rational type. */
int vesk_is_bool_type(vesk_env env, vesk_type type);
int vesk_is_rational_type(vesk_env env, vesk_type type);
int vesk_is_integer_type(vesk_env env, vesk_type type);

/* ---- terms ----
 *
 * Terms are simplified while they are made: what comes back is an equal term, not always the one that was
 * spelled out. An integer term may stand wherever a rational one is expected. Ill-typed arguments fail. */

/** A symbol for constants or, with a function type, functions. Any name but "" and those that begin with
 *  "." is allowed. A known name gives the known symbol if the type is the same, and fails if it is another;
 *  names of interpreted symbols and texts of numbers count as known. */
vesk_decl vesk_declare_function(vesk_env env, const char* name, vesk_type type);

vesk_term vesk_make_true(vesk_env env);
vesk_term vesk_make_false(vesk_env env);
vesk_term vesk_make_not(vesk_env env, vesk_term a);
vesk_term vesk_make_and(vesk_env env, vesk_term a, vesk_term b);
vesk_term vesk_make_or(vesk_env env, vesk_term a, vesk_term b);

/** Equality of two Booleans. */
vesk_term vesk_make_iff(vesk_env env, vesk_term a, vesk_term b);

/** Equality of two terms of one type, or of two numbers; fails for Booleans. */
vesk_term vesk_make_equal(vesk_env env, vesk_term a, vesk_term b);

/** vesk_make_iff() for Booleans, vesk_make_equal() for the rest. */
vesk_term vesk_make_eq(vesk_env env, vesk_term a, vesk_term b);

/** a <= b. The strict a < b is the negation of b <= a. */
vesk_term vesk_make_leq(vesk_env env, vesk_term a, vesk_term b);
vesk_term vesk_make_plus(vesk_env env, vesk_term a, vesk_term b);

/** The same for `n` arguments, which may be none: true, false, and 0. */
vesk_term vesk_make_and_n(vesk_env env, const vesk_term* args, size_t n);
vesk_term vesk_make_or_n(vesk_env env, const vesk_term* args, size_t n);
vesk_term vesk_make_plus_n(vesk_env env, const vesk_term* args, size_t n);

/** No two of the `n` arguments are equal; true for none and for one. Types are as for vesk_make_eq(). */
vesk_term vesk_make_distinct_n(vesk_env env, const vesk_term* args, size_t n);
vesk_term vesk_make_times(vesk_env env, vesk_term a, vesk_term b);

/** a / b, of rational type. Division by zero is a function of the dividend that nothing constrains. */
vesk_term vesk_make_divide(vesk_env env, vesk_term a, vesk_term b);

/** The largest integer that is at most `a`, of integer type. */
vesk_term vesk_make_floor(vesk_env env, vesk_term a);

/** Whether `modulus`, the text of a positive integer, divides a - b, which are integers. */
vesk_term vesk_make_int_modular_congruence(vesk_env env, const char* modulus, vesk_term a, vesk_term b);

/** The number that `text` says: an integer "-3", a fraction "1/2", a decimal "0.25" or "1e-3". It is an
 *  integer if its value is one. Fails for other text and for a zero denominator. */
vesk_term vesk_make_number(vesk_env env, const char* text);
vesk_term vesk_make_int_number(vesk_env env, long value);
vesk_term vesk_make_int64_number(vesk_env env, int64_t value);

#ifdef __GNU_MP__
/** The number `value` of GMP, which is read only and need not be in lowest terms; fails for a zero
 *  denominator. Declared where <gmp.h> was included before this header. */
vesk_term vesk_make_mpq_number(vesk_env env, mpq_srcptr value);
#endif

/** `a` where the Boolean `c` holds, else `b`; fails when these are Boolean. */
vesk_term vesk_make_term_ite(vesk_env env, vesk_term c, vesk_term a, vesk_term b);

/** The constant of a symbol without parameters. */
vesk_term vesk_make_constant(vesk_env env, vesk_decl decl);

/** Application of a declared symbol to as many arguments as it has parameters. */
vesk_term vesk_make_uf(vesk_env env, vesk_decl decl, const vesk_term* args);

/** Application of any symbol, interpreted ones included. */
vesk_term vesk_make_term(vesk_env env, vesk_decl decl, const vesk_term* args);

/** The term of `env` that reads as `term` does in the environment `source`; symbols are declared as
 *  needed. */
vesk_term vesk_make_copy_from(vesk_env env, vesk_term term, vesk_env source);

/** `term` with each `from[i]` replaced by `to[i]`, all at once; types must agree. */
vesk_term vesk_apply_substitution(vesk_env env, vesk_term term, const vesk_term* from, const vesk_term* to,
                                  size_t n);

/* ---- term inspection ---- */

/** A number above 0 that no other term of the environment has. */
size_t vesk_term_id(vesk_term term);
size_t vesk_term_arity(vesk_term term);

/** Child number `n`, from 0; null handle when there is none. */
vesk_term vesk_term_get_arg(vesk_term term, size_t n);
vesk_type vesk_term_get_type(vesk_term term);
vesk_decl vesk_term_get_decl(vesk_term term);

int vesk_term_is_true(vesk_env env, vesk_term term);
int vesk_term_is_false(vesk_env env, vesk_term term);
int vesk_term_is_number(vesk_env env, vesk_term term);
int vesk_term_is_atom(vesk_env env, vesk_term term);     /**< Boolean, no connective, not true or false */
int vesk_term_is_constant(vesk_env env, vesk_term term); /**< a declared symbol without arguments */
int vesk_term_is_uf(vesk_env env, vesk_term term);       /**< a declared symbol with arguments */
int vesk_term_is_not(vesk_env env, vesk_term term);
int vesk_term_is_and(vesk_env env, vesk_term term);
int vesk_term_is_or(vesk_env env, vesk_term term);
int vesk_term_is_iff(vesk_env env, vesk_term term);
int vesk_term_is_equal(vesk_env env, vesk_term term);
int vesk_term_is_leq(vesk_env env, vesk_term term);
int vesk_term_is_plus(vesk_env env, vesk_term term);
int vesk_term_is_times(vesk_env env, vesk_term term);
int vesk_term_is_divide(vesk_env env, vesk_term term);
int vesk_term_is_floor(vesk_env env, vesk_term term);
int vesk_term_is_term_ite(vesk_env env, vesk_term term);
int vesk_term_is_int_modular_congruence(vesk_env env, vesk_term term);

/** The value of a number term in text, "-3" or "1/2"; null for any other term. */
char* vesk_term_to_number(vesk_env env, vesk_term term);

/** Stores the value of a number term; -1, with `*value` as it was, for any other term and for a number that
 * is no integer of 64 bits. */
int vesk_term_to_int64(vesk_env env, vesk_term term, int64_t* value);

/** Stores the double nearest to the value of a number term, infinite beyond their range; -1 for any other
 *  term. With vesk_get_model_value() it reads a model. */
int vesk_term_to_double(vesk_env env, vesk_term term, double* value);

/** The name of a symbol without arguments; "(name arg arg)" for the rest. The text spells out shared
 *  subterms each time; null when it would exceed 2^30 characters. */
char* vesk_term_repr(vesk_term term);

/** Calls `visitor` for each subterm of `term` once, children before parents, `term` last. */
int vesk_visit_term(vesk_env env, vesk_term term, vesk_term_visitor visitor, void* user_data);

/** The symbol of that name, or the null handle. */
vesk_decl vesk_find_decl(vesk_env env, const char* name);
char* vesk_decl_get_name(vesk_decl decl);
size_t vesk_decl_get_arity(vesk_decl decl);
vesk_type vesk_decl_get_return_type(vesk_decl decl);
vesk_type vesk_decl_get_arg_type(vesk_decl decl, size_t n);

/* ---- SMT-LIB text ---- */

/** Asserts what a text of SMT-LIB 2 asserts, all of it or, after a failure, nothing. What the text declares
 *  becomes symbols of the environment: vesk_find_decl() finds them, a known symbol of the same type is that
 *  symbol, and one of another type is a fault. Symbols of the environment need no declaration; sorts do.
 *  Definitions hold in this text alone. Commands: `declare-...`, `define-...`, `assert`, `set-logic`, which
 *  says whether a numeral is a real, as in `QF_LRA`; `set-info` and `check-sat` are passed over, and `exit`
 *  ends the text. -1 for any other command and for what is wrong; the text of the failure begins with
 *  "LINE:COLUMN: ", and what is declared up to there stays. A failure counts as one of
 *  vesk_assert_formula(). */
int vesk_read_smtlib(vesk_env env, const char* text);

/** The term in SMT-LIB, for vesk_read_smtlib() and other programs, to be freed. Its length is that of the
 * term with each shared subterm told once. Null where a name is no symbol of SMT-LIB: it holds a bar or a
 *  backslash, or is an operator's. */
char* vesk_term_to_smtlib(vesk_env env, vesk_term term);

/** A script that declares what the asserted formulas of the open levels speak of, and asserts them, in order.
 *  To be freed. Null also where one holds an element of a simple type that a model gave: no script can
 *  declare it. */
char* vesk_assertions_to_smtlib(vesk_env env);

/* ---- solving ---- */

/** Opens a backtrack point: the next pop takes back what was asserted since. After a failure, for want of
 *  memory, solve calls answer -1 instead of 1 until vesk_reset_env(). */
int vesk_push_backtrack_point(vesk_env env);

/** -1 when no backtrack point is open. */
int vesk_pop_backtrack_point(vesk_env env);
int vesk_num_backtrack_points(vesk_env env);

/** Adds a formula; -1 for a term that is not Boolean, or the null handle. Costs nothing until the next solve
 *  call. After a failure solve calls answer -1 instead of 1, with the text of the failure, until the
 * backtrack point that is open now is popped, or vesk_reset_env(): nobody is told that less than what was to
 * be asserted can be satisfied. The answer 0 stands. */
int vesk_assert_formula(vesk_env env, vesk_term formula);

/** 1: the asserted formulas can be satisfied together; 0: they cannot; -1: unknown, because the
 *  termination test said so, or because of something that vesk_last_error_message() names. So are
 *  answered formulas over integers without bounds for which many thousand case splits come to no end, and
 *  products of unknowns that a model gets wrong. */
int vesk_solve(vesk_env env);

/** As vesk_solve(), with the `n` Boolean terms as assumptions, for this call only. Boolean constants and
 * their negations are decisions of the search, and all that it learns is kept. Other formulas are asserted on
 * a backtrack point of their own, which the caller does not see; what is learnt from them goes with it, the
 *  model stays. */
int vesk_solve_with_assumptions(vesk_env env, const vesk_term* assumptions, size_t n);

/** The assumptions that the last call refuted, given as they were: together with the assertions they
 *  cannot hold. An array of `*n`, to be freed; null and `*n` 0 when the last answer was not such. Where
 * formulas were assumed, the first call searches again, within the limits of a solve call; if one of these
 * ends it, the result is all assumptions. */
vesk_term* vesk_get_unsat_assumptions(vesk_env env, size_t* n);

/** With the option "unsat_core_generation" (1, 2 and 3 mean the same): of the asserted formulas, given as
 * they were, oldest first, some that contradict each other and the result of vesk_get_unsat_assumptions().
 * With "unsat_core_minimization" none of them can be left out, unless a limit ended the search for such a
 * core. An array of `*n`, to be freed; null and `*n` 0 when the last answer was not 0, or when it rests on
 * assumptions alone. */
vesk_term* vesk_get_unsat_core(vesk_env env, size_t* n);

/** Calls `visitor` once for each way in which the `n` Boolean terms `important` can be true and false
 *  together with the asserted formulas. The number of calls; -1 when an answer was unknown, what was visited
 *  until then notwithstanding. Assertions and backtrack points are afterwards as before; the last model is
 *  gone. Needs no option. */
int vesk_all_sat(vesk_env env, const vesk_term* important, size_t n, vesk_model_visitor visitor,
                 void* user_data);

/** As vesk_all_sat(), for terms that are Boolean or numbers: each model differs from all before in the value
 *  of at least one of them. Over rational numbers there may be no end but that of the visitor. */
int vesk_solve_diversify(vesk_env env, const vesk_term* diversifiers, size_t n, vesk_model_visitor visitor,
                         void* user_data);

/** Lets the search decide `term`, a Boolean constant, before others, in the order of the calls.
 *  `polarity`: 1 true first, 0 false first, -1 as the search likes. The preference goes with the backtrack
 *  point that is open now. */
int vesk_add_preferred_for_branching(vesk_env env, vesk_term term, int polarity);
int vesk_clear_preferred_for_branching(vesk_env env);

/** An equal term, brought in the form that the solver gives to what it is asked to solve. */
vesk_term vesk_simplify(vesk_env env, vesk_term term);

/** The asserted formulas of the open levels, in order, an array of `*n` to be freed. Null when there are
 *  none. */
vesk_term* vesk_get_asserted_formulas(vesk_env env, size_t* n);

/** With the option "dpll.store_tlemmas": the clauses that the theories gave the search (conflicts, reasons
 * and lemmas), as far as their levels are open, an array of `*n` to be freed. Each is valid by itself. They
 * speak of the atoms of the preprocessed formulas. Null when there are none. */
vesk_term* vesk_get_theory_lemmas(vesk_env env, size_t* n);

/** Counters of the search since the environment was made or reset, and the time that solve calls took, one
 *  `name value` a line. The values are whole numbers. */
char* vesk_get_search_stats(vesk_env env);

/** Stores the value that vesk_get_search_stats() lists under that name; -1 for another name. */
int vesk_get_statistic(vesk_env env, const char* name, uint64_t* value);

/* ---- models ----
 *
 * Models need the option "model_generation". The model of a solve call that gave 1 lives until the next
 * assertion, solve, pop or reset. Values are true, false, numbers and, for simple types, constants of the
 * solver's own: two terms of a simple type are equal in the model exactly if their values are the same
 * term. */

/** The value of any term; what nothing constrains is false, 0, or some value of its type, and stays so for
 *  the life of the model. */
vesk_term vesk_get_model_value(vesk_env env, vesk_term term);

/** A copy of the model that outlives it, though not its environment. To be destroyed. */
vesk_model vesk_get_model(vesk_env env);
void vesk_destroy_model(vesk_model model);

/** As vesk_get_model_value(), in that model. */
vesk_term vesk_model_eval(vesk_model model, vesk_term term);

/** Walks the constants, and the applications of functions to values, that the model says something about,
 *  those removed by preprocessing included, in order of id. The iterator is to be destroyed before the
 *  model, or the environment. */
vesk_model_iterator vesk_create_model_iterator(vesk_env env);
vesk_model_iterator vesk_model_create_iterator(vesk_model model);
int vesk_model_iterator_has_next(vesk_model_iterator iterator);

/** Stores the next term and its value; -1 at the end. */
int vesk_model_iterator_next(vesk_model_iterator iterator, vesk_term* term, vesk_term* value);
void vesk_destroy_model_iterator(vesk_model_iterator iterator);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
