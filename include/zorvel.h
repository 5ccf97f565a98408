/* The C interface of Zorvel, a temporal planner.
 *
 * Handles. Every object is reached through a handle: a structure with one member, `repr`, passed by value. A
 * handle whose `repr` is null is an error handle; zorvel_<kind>_is_error tells it apart. A handle of a kind
 * that has a destroy function is the caller's: each one that a function returns must be given to that
 * function once, also where two handles stand for the same object. An object lives while a handle of it or
 * another object that uses it lives. The environment must outlive the use of everything made in it: after
 * zorvel_env_destroy, other handles may be destroyed and nothing else. Expressions have no destroy function;
 * they live as long as their environment. Never pass objects of one environment to functions of another.
 *
 * Errors. No exception leaves a function. A function that fails returns an error handle, -1, or a null
 * pointer, and sets the last error, one text for the whole process, which begins with the class of the error
 * ("TypeCheckingError: ...") where the planner itself found the fault. A function that succeeds leaves the
 * text alone: call zorvel_reset_error_message before a call whose error matters, and look at
 * zorvel_get_last_error_message after it. An error handle passed where an object is needed gives
 * "InternalError: Error-object passed to deref function", a null pointer passed where text or memory is
 * needed "InvalidParameterError: The argument '<name>' is null". That holds for every function below and is
 * not said again.
 *
 * Memory. A `char*` that a function returns comes from malloc and is the caller's to free(). A `const char*`
 * that a function returns belongs to the object it was asked of and is valid while that object lives. Arrays
 * and texts passed in are read during the call only. A null array is allowed where its length is 0. Text is
 * UTF-8.
 *
 * Threads. There is no locking: use the interface from one thread at a time, also with several environments.
 */
#ifndef ZORVEL_H
#define ZORVEL_H

#include <stddef.h>

#if defined(__GNUC__)
#define ZORVEL_API __attribute__((visibility("default")))
#else
#define ZORVEL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define ZORVEL_DECLARE_HANDLE(name) \
  typedef struct name {             \
    void* repr;                     \
  } name

ZORVEL_DECLARE_HANDLE(zorvel_env);              /* a planning context: options, warnings, all expressions */
ZORVEL_DECLARE_HANDLE(zorvel_expr);             /* an expression; lives as long as its environment */
ZORVEL_DECLARE_HANDLE(zorvel_type);             /* a type of values */
ZORVEL_DECLARE_HANDLE(zorvel_param);            /* a formal parameter of a fluent, constant or action */
ZORVEL_DECLARE_HANDLE(zorvel_fluent);           /* a state variable, perhaps with parameters */
ZORVEL_DECLARE_HANDLE(zorvel_function_value);   /* the table of values of a constant */
ZORVEL_DECLARE_HANDLE(zorvel_constant);         /* a function fixed for a problem */
ZORVEL_DECLARE_HANDLE(zorvel_instance);         /* an object of a user type */
ZORVEL_DECLARE_HANDLE(zorvel_simulated_effect); /* an effect that a callback computes */
ZORVEL_DECLARE_HANDLE(zorvel_action);           /* an action */
ZORVEL_DECLARE_HANDLE(zorvel_problem);          /* a planning problem */
ZORVEL_DECLARE_HANDLE(zorvel_ttplan);           /* a plan with a start time for each step */
ZORVEL_DECLARE_HANDLE(zorvel_ttplan_step);
ZORVEL_DECLARE_HANDLE(zorvel_potplan); /* a plan with precedences and delays */
ZORVEL_DECLARE_HANDLE(zorvel_potplan_step);
ZORVEL_DECLARE_HANDLE(zorvel_transformation); /* a problem made of another one, and the way back for plans */
ZORVEL_DECLARE_HANDLE(zorvel_search);         /* a search that goes on to better plans */

/* Iterators. zorvel_<kind>_iter_next gives the next element, as a handle that the caller destroys, and an
 * error handle without an error text when there is none left. An iterator shows the elements that were there
 * when it was made, and stays usable when the object that it came from has been changed or destroyed. */
ZORVEL_DECLARE_HANDLE(zorvel_action_iter);
ZORVEL_DECLARE_HANDLE(zorvel_fluent_iter);
ZORVEL_DECLARE_HANDLE(zorvel_constant_iter);
ZORVEL_DECLARE_HANDLE(zorvel_instance_iter);
ZORVEL_DECLARE_HANDLE(zorvel_param_iter);
ZORVEL_DECLARE_HANDLE(zorvel_expr_iter);
ZORVEL_DECLARE_HANDLE(zorvel_ttplan_step_iter);
ZORVEL_DECLARE_HANDLE(zorvel_potplan_step_iter);

/* What a callback receives: valid until it returns, never destroyed by the caller. */
ZORVEL_DECLARE_HANDLE(zorvel_classical_state); /* the values of all fluents at one moment */
ZORVEL_DECLARE_HANDLE(zorvel_interpretation);  /* where the state keeps the value of which fluent */
ZORVEL_DECLARE_HANDLE(zorvel_vector_expr);     /* a list of expressions */

/* Handles of the learning simulator. */
ZORVEL_DECLARE_HANDLE(zorvel_simulator);
ZORVEL_DECLARE_HANDLE(zorvel_state);

/* Errors, version, log. None of these functions fails. */

/* The last error; null if there was none since the last reset. Valid until the next failing call or reset. */
ZORVEL_API const char* zorvel_get_last_error_message(void);
/* Where in a problem or a plan the last error was found: the file as it was named, "domain" or "problem" for
 * two PDDL texts in memory, null for one text in memory and for an error that has no place; line and column
 * from 1, 0 where they are not known. Of several errors in one text, the first one. */
ZORVEL_API const char* zorvel_get_last_error_file(void);
ZORVEL_API int zorvel_get_last_error_line(void);
ZORVEL_API int zorvel_get_last_error_column(void);
/* Stores a copy of `text` as the last error (null: no error) and returns the copy, which the library owns. */
ZORVEL_API char* zorvel_set_last_error_message(const char* text);
/* Forgets the last error. */
ZORVEL_API void zorvel_reset_error_message(void);
/* "Zorvel v0.0.1". */
ZORVEL_API const char* zorvel_get_version(void);
/* Sends log lines to the standard error stream: 0 and 1 none, 2 warnings, 3 information, 4 debugging, 5
 * everything. `level` is clamped into 0..5. Holds for the whole process. Returns 0. */
ZORVEL_API int zorvel_set_logging_level(int level);

/* 1 for an error handle, 0 otherwise. */
ZORVEL_API int zorvel_env_is_error(zorvel_env env);
ZORVEL_API int zorvel_expr_is_error(zorvel_expr expr);
ZORVEL_API int zorvel_type_is_error(zorvel_type type);
ZORVEL_API int zorvel_param_is_error(zorvel_param param);
ZORVEL_API int zorvel_fluent_is_error(zorvel_fluent fluent);
ZORVEL_API int zorvel_function_value_is_error(zorvel_function_value value);
ZORVEL_API int zorvel_constant_is_error(zorvel_constant constant);
ZORVEL_API int zorvel_instance_is_error(zorvel_instance instance);
ZORVEL_API int zorvel_simulated_effect_is_error(zorvel_simulated_effect effect);
ZORVEL_API int zorvel_action_is_error(zorvel_action action);
ZORVEL_API int zorvel_problem_is_error(zorvel_problem problem);
ZORVEL_API int zorvel_ttplan_is_error(zorvel_ttplan plan);
ZORVEL_API int zorvel_ttplan_step_is_error(zorvel_ttplan_step step);
ZORVEL_API int zorvel_potplan_is_error(zorvel_potplan plan);
ZORVEL_API int zorvel_potplan_step_is_error(zorvel_potplan_step step);
ZORVEL_API int zorvel_action_iter_is_error(zorvel_action_iter iter);
ZORVEL_API int zorvel_fluent_iter_is_error(zorvel_fluent_iter iter);
ZORVEL_API int zorvel_constant_iter_is_error(zorvel_constant_iter iter);
ZORVEL_API int zorvel_instance_iter_is_error(zorvel_instance_iter iter);
ZORVEL_API int zorvel_param_iter_is_error(zorvel_param_iter iter);
ZORVEL_API int zorvel_expr_iter_is_error(zorvel_expr_iter iter);
ZORVEL_API int zorvel_ttplan_step_iter_is_error(zorvel_ttplan_step_iter iter);
ZORVEL_API int zorvel_potplan_step_iter_is_error(zorvel_potplan_step_iter iter);
ZORVEL_API int zorvel_simulator_is_error(zorvel_simulator simulator);
/* Also 1 for a handle that holds no state. */
ZORVEL_API int zorvel_state_is_error(zorvel_state state);

/* Releases the handle. Returns 0; does nothing for an error handle. */
ZORVEL_API int zorvel_type_destroy(zorvel_type type);
ZORVEL_API int zorvel_parameter_destroy(zorvel_param param);
ZORVEL_API int zorvel_fluent_destroy(zorvel_fluent fluent);
ZORVEL_API int zorvel_function_value_destroy(zorvel_function_value value);
ZORVEL_API int zorvel_constant_destroy(zorvel_constant constant);
ZORVEL_API int zorvel_instance_destroy(zorvel_instance instance);
ZORVEL_API int zorvel_simulated_effect_destroy(zorvel_simulated_effect effect);
ZORVEL_API int zorvel_action_destroy(zorvel_action action);
ZORVEL_API int zorvel_problem_destroy(zorvel_problem problem);
ZORVEL_API int zorvel_ttplan_destroy(zorvel_ttplan plan);
ZORVEL_API int zorvel_ttplan_step_destroy(zorvel_ttplan_step step);
ZORVEL_API int zorvel_potplan_destroy(zorvel_potplan plan);
ZORVEL_API int zorvel_potplan_step_destroy(zorvel_potplan_step step);
ZORVEL_API int zorvel_action_iter_destroy(zorvel_action_iter iter);
ZORVEL_API int zorvel_fluent_iter_destroy(zorvel_fluent_iter iter);
ZORVEL_API int zorvel_constant_iter_destroy(zorvel_constant_iter iter);
ZORVEL_API int zorvel_instance_iter_destroy(zorvel_instance_iter iter);
ZORVEL_API int zorvel_param_iter_destroy(zorvel_param_iter iter);
ZORVEL_API int zorvel_expr_iter_destroy(zorvel_expr_iter iter);
ZORVEL_API int zorvel_ttplan_step_iter_destroy(zorvel_ttplan_step_iter iter);
ZORVEL_API int zorvel_potplan_step_iter_destroy(zorvel_potplan_step_iter iter);

/* 1 if both handles stand for the same object, 0 if not, -1 on an error handle. Types, fluents, constants,
 * instances, actions and problems of equal content are the same object. */
ZORVEL_API int zorvel_type_equality(zorvel_type a, zorvel_type b);
ZORVEL_API int zorvel_param_equality(zorvel_param a, zorvel_param b);
ZORVEL_API int zorvel_fluent_equality(zorvel_fluent a, zorvel_fluent b);
ZORVEL_API int zorvel_function_value_equality(zorvel_function_value a, zorvel_function_value b);
ZORVEL_API int zorvel_constant_equality(zorvel_constant a, zorvel_constant b);
ZORVEL_API int zorvel_instance_equality(zorvel_instance a, zorvel_instance b);
ZORVEL_API int zorvel_simulated_effect_equality(zorvel_simulated_effect a, zorvel_simulated_effect b);
ZORVEL_API int zorvel_action_equality(zorvel_action a, zorvel_action b);
ZORVEL_API int zorvel_problem_equality(zorvel_problem a, zorvel_problem b);
ZORVEL_API int zorvel_ttplan_equality(zorvel_ttplan a, zorvel_ttplan b);
ZORVEL_API int zorvel_ttplan_step_equality(zorvel_ttplan_step a, zorvel_ttplan_step b);
ZORVEL_API int zorvel_potplan_equality(zorvel_potplan a, zorvel_potplan b);
ZORVEL_API int zorvel_potplan_step_equality(zorvel_potplan_step a, zorvel_potplan_step b);

/* The low 32 bits of the object's address: equal objects give equal numbers, which differ from run to run. An
 * error handle gives (unsigned int)-1 and sets the last error. */
ZORVEL_API unsigned int zorvel_type_get_hash(zorvel_type type);
ZORVEL_API unsigned int zorvel_param_get_hash(zorvel_param param);
ZORVEL_API unsigned int zorvel_fluent_get_hash(zorvel_fluent fluent);
ZORVEL_API unsigned int zorvel_function_value_get_hash(zorvel_function_value value);
ZORVEL_API unsigned int zorvel_constant_get_hash(zorvel_constant constant);
ZORVEL_API unsigned int zorvel_instance_get_hash(zorvel_instance instance);
ZORVEL_API unsigned int zorvel_simulated_effect_get_hash(zorvel_simulated_effect effect);
ZORVEL_API unsigned int zorvel_action_get_hash(zorvel_action action);
ZORVEL_API unsigned int zorvel_problem_get_hash(zorvel_problem problem);
ZORVEL_API unsigned int zorvel_ttplan_get_hash(zorvel_ttplan plan);
ZORVEL_API unsigned int zorvel_ttplan_step_get_hash(zorvel_ttplan_step step);
ZORVEL_API unsigned int zorvel_potplan_get_hash(zorvel_potplan plan);
ZORVEL_API unsigned int zorvel_potplan_step_get_hash(zorvel_potplan_step step);

/* The next element, or an error handle without an error text at the end; see Iterators above. */
ZORVEL_API zorvel_action zorvel_action_iter_next(zorvel_action_iter iter);
ZORVEL_API zorvel_fluent zorvel_fluent_iter_next(zorvel_fluent_iter iter);
ZORVEL_API zorvel_constant zorvel_constant_iter_next(zorvel_constant_iter iter);
ZORVEL_API zorvel_instance zorvel_instance_iter_next(zorvel_instance_iter iter);
ZORVEL_API zorvel_param zorvel_param_iter_next(zorvel_param_iter iter);
ZORVEL_API zorvel_expr zorvel_expr_iter_next(zorvel_expr_iter iter);
ZORVEL_API zorvel_ttplan_step zorvel_ttplan_step_iter_next(zorvel_ttplan_step_iter iter);
ZORVEL_API zorvel_potplan_step zorvel_potplan_step_iter_next(zorvel_potplan_step_iter iter);

/* Environment and options. */

/* A new context with all options at their defaults. */
ZORVEL_API zorvel_env zorvel_env_new(void);
/* Destroys the context with all its expressions. Returns 0; does nothing for an error handle. */
ZORVEL_API int zorvel_env_destroy(zorvel_env env);

/* Set an option; docs/command-line.md lists them. 0, or -1 with "InvalidParameterError: Undefined option
 * <key>" where no option of this kind has the key. Values are not checked before they are used. Options are
 * read when a function needs them, so they may be changed at any time. */
ZORVEL_API int zorvel_env_set_boolean_option(zorvel_env env, const char* key,
                                             int value); /* any value but 0: true */
ZORVEL_API int zorvel_env_set_integer_option(zorvel_env env, const char* key, int value);
/* The value is that of the float: 0.3f is not 0.3. */
ZORVEL_API int zorvel_env_set_float_option(zorvel_env env, const char* key, float value);
ZORVEL_API int zorvel_env_set_string_option(zorvel_env env, const char* key, const char* value);
/* Replaces the whole list by the `n` texts at `values`. */
ZORVEL_API int zorvel_env_set_vector_string_option(zorvel_env env, const char* key, const char* const* values,
                                                   int n);

/* Which options there are: their number, and of option `i`, from 0, the key and the function that sets it.
 * The key lives as long as the library; from the number on null and -1, and an error. */
typedef enum zorvel_option_kind {
  ZORVEL_BOOLEAN_OPTION = 0,
  ZORVEL_INTEGER_OPTION = 1,
  ZORVEL_FLOAT_OPTION = 2,
  ZORVEL_STRING_OPTION = 3,
  ZORVEL_VECTOR_STRING_OPTION = 4
} zorvel_option_kind;
ZORVEL_API int zorvel_option_get_num(void);
ZORVEL_API const char* zorvel_option_get_key(unsigned int i);
ZORVEL_API int zorvel_option_get_kind(unsigned int i);

/* Number of warnings stored so far; they are kept as long as the environment. */
ZORVEL_API int zorvel_env_get_warnings_num(zorvel_env env);
/* Warning number `i`, the oldest being 0. Null, and an error, from zorvel_env_get_warnings_num on. The text
 * is valid until the next call that may warn. */
ZORVEL_API const char* zorvel_env_get_warning(zorvel_env env, unsigned int i);

/* Expressions. Equal expressions are one object. Every maker checks the types of what it makes: an ill-typed
 * expression gives an error handle and "TypeCheckingError: ...". A check may also store a warning. */

ZORVEL_API zorvel_expr zorvel_expr_make_true(zorvel_env env);
ZORVEL_API zorvel_expr zorvel_expr_make_false(zorvel_env env);
ZORVEL_API zorvel_expr zorvel_expr_make_not(zorvel_env env, zorvel_expr a);
ZORVEL_API zorvel_expr zorvel_expr_make_and(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_or(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_iff(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_imply(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_equals(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_lt(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_le(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_gt(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_ge(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_plus(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_minus(zorvel_env env, zorvel_expr a, zorvel_expr b);
ZORVEL_API zorvel_expr zorvel_expr_make_times(zorvel_env env, zorvel_expr a, zorvel_expr b);
/* Two integers divide without a remainder: 7 / 2 is 3. */
ZORVEL_API zorvel_expr zorvel_expr_make_div(zorvel_env env, zorvel_expr a, zorvel_expr b);

ZORVEL_API zorvel_expr zorvel_expr_make_integer_constant(zorvel_env env, long value);
/* num / den in lowest terms; a zero `den` is an error. */
ZORVEL_API zorvel_expr zorvel_expr_make_rational_constant(zorvel_env env, long num, long den);
/* The exact value of the double: 0.5 is 1/2, but 0.1 is not 1/10. An infinity or a NaN is an error. */
ZORVEL_API zorvel_expr zorvel_expr_make_rational_constant_from_float(zorvel_env env, double value);

/* The value of `fluent` or `constant` for the `n` arguments at `args`. */
ZORVEL_API zorvel_expr zorvel_expr_make_fluent_reference(zorvel_env env, zorvel_fluent fluent,
                                                         const zorvel_expr* args, unsigned int n);
ZORVEL_API zorvel_expr zorvel_expr_make_constant_reference(zorvel_env env, zorvel_constant constant,
                                                           const zorvel_expr* args, unsigned int n);
ZORVEL_API zorvel_expr zorvel_expr_make_parameter_reference(zorvel_env env, zorvel_param param);
ZORVEL_API zorvel_expr zorvel_expr_make_instance_reference(zorvel_env env, zorvel_instance instance);
/* `object.member`. */
ZORVEL_API zorvel_expr zorvel_expr_make_scoping(zorvel_env env, zorvel_expr object, zorvel_expr member);

/* The start, end and duration of the action (at the level of a problem: of the plan). */
ZORVEL_API zorvel_expr zorvel_expr_make_start_anchor(zorvel_env env);
ZORVEL_API zorvel_expr zorvel_expr_make_end_anchor(zorvel_env env);
ZORVEL_API zorvel_expr zorvel_expr_make_duration_anchor(zorvel_env env);
/* [at], (from, to), [from, to], (from, to] and [from, to). */
ZORVEL_API zorvel_expr zorvel_expr_make_point_interval(zorvel_env env, zorvel_expr at);
ZORVEL_API zorvel_expr zorvel_expr_make_open_interval(zorvel_env env, zorvel_expr from, zorvel_expr to);
ZORVEL_API zorvel_expr zorvel_expr_make_closed_interval(zorvel_env env, zorvel_expr from, zorvel_expr to);
ZORVEL_API zorvel_expr zorvel_expr_make_left_open_interval(zorvel_env env, zorvel_expr from, zorvel_expr to);
ZORVEL_API zorvel_expr zorvel_expr_make_right_open_interval(zorvel_env env, zorvel_expr from, zorvel_expr to);
/* `body` holds, or happens, in `interval` (an interval or a `contains`). */
ZORVEL_API zorvel_expr zorvel_expr_make_temporal_expression(zorvel_env env, zorvel_expr interval,
                                                            zorvel_expr body);
/* left := right. */
ZORVEL_API zorvel_expr zorvel_expr_make_assign(zorvel_env env, zorvel_expr left, zorvel_expr right);
/* duration :in [a, b]: `left` must be the duration anchor and `right` a closed interval; the point [a] is
 * read as [a, a]. */
ZORVEL_API zorvel_expr zorvel_expr_make_in_assign(zorvel_env env, zorvel_expr left, zorvel_expr right);
/* `interval contains`, for use as the interval of a temporal expression; with a label, or with a constraint
 * on the duration of the occurrence. */
ZORVEL_API zorvel_expr zorvel_expr_make_contains(zorvel_env env, zorvel_expr interval);
ZORVEL_API zorvel_expr zorvel_expr_make_contains_with_label(zorvel_env env, zorvel_expr interval,
                                                            const char* label);
ZORVEL_API zorvel_expr zorvel_expr_make_contains_with_duration(zorvel_env env, zorvel_expr interval,
                                                               zorvel_expr duration);

/* 1 if the expression is of the kind, 0 if not, -1 on an error. A point interval is also a closed interval.
 */
ZORVEL_API int zorvel_expr_is_and(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_or(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_not(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_imply(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_iff(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_equals(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_lt(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_le(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_gt(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_ge(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_plus(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_minus(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_times(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_div(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_assign(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_in_assign(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_contains(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_temporal_expression(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_open_interval(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_closed_interval(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_left_open_interval(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_right_open_interval(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_point_interval(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_start_anchor(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_end_anchor(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_duration_anchor(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_boolean_constant(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_integer_constant(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_rational_constant(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_fluent_reference(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_constant_reference(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_parameter_reference(zorvel_env env, zorvel_expr expr);
ZORVEL_API int zorvel_expr_is_instance_reference(zorvel_env env, zorvel_expr expr);

/* Readers. An expression of another kind is an error ("InvalidParameterError: A boolean constant was
 * expected", and so on). */
ZORVEL_API int zorvel_expr_get_boolean_constant(zorvel_env env, zorvel_expr expr); /* 1 or 0 */
/* 0, with the value in `*value`; one that does not fit becomes the least or greatest long. */
ZORVEL_API int zorvel_expr_get_integer_constant(zorvel_env env, zorvel_expr expr, long* value);
/* 0, with numerator and denominator in `*num` and `*den`, each clamped likewise. */
ZORVEL_API int zorvel_expr_get_rational_constant(zorvel_env env, zorvel_expr expr, long* num, long* den);
ZORVEL_API zorvel_fluent zorvel_expr_get_fluent(zorvel_env env, zorvel_expr expr);
ZORVEL_API zorvel_constant zorvel_expr_get_constant(zorvel_env env, zorvel_expr expr);
ZORVEL_API zorvel_param zorvel_expr_get_parameter(zorvel_env env, zorvel_expr expr);
ZORVEL_API zorvel_instance zorvel_expr_get_instance(zorvel_env env, zorvel_expr expr);
/* Number of operands. */
ZORVEL_API int zorvel_expr_get_arity(zorvel_expr expr);
/* Operand `i`, from 0; from the arity on an error. */
ZORVEL_API zorvel_expr zorvel_expr_get_child(zorvel_expr expr, unsigned int i);
/* The low 32 bits of the expression's address. */
ZORVEL_API unsigned int zorvel_expr_get_hash(zorvel_expr expr);
/* 1 if both are the same expression, else 0. */
ZORVEL_API int zorvel_expr_equality(zorvel_expr a, zorvel_expr b);
/* The expression as ANML text. */
ZORVEL_API char* zorvel_expr_get_anml(zorvel_expr expr);

/* Types. */

ZORVEL_API zorvel_type zorvel_boolean_type(zorvel_env env);
/* Integers without bounds; from `lb` on; up to `ub`; between both. */
ZORVEL_API zorvel_type zorvel_integer_type(zorvel_env env);
ZORVEL_API zorvel_type zorvel_integer_type_lb(zorvel_env env, int lb);
ZORVEL_API zorvel_type zorvel_integer_type_ub(zorvel_env env, int ub);
ZORVEL_API zorvel_type zorvel_integer_type_lub(zorvel_env env, int lb, int ub);
/* Rationals likewise. A bound is the exact value of the float; an infinity or a NaN is an error. */
ZORVEL_API zorvel_type zorvel_rational_type(zorvel_env env);
ZORVEL_API zorvel_type zorvel_rational_type_lb(zorvel_env env, float lb);
ZORVEL_API zorvel_type zorvel_rational_type_ub(zorvel_env env, float ub);
ZORVEL_API zorvel_type zorvel_rational_type_lub(zorvel_env env, float lb, float ub);
/* The user type of the name; made if there is none. */
ZORVEL_API zorvel_type zorvel_user_type_new(zorvel_env env, const char* name);

/* The type as ANML text: "boolean", "integer [0, 5]", "Rover". */
ZORVEL_API const char* zorvel_type_get_name(zorvel_type type);
/* 1, 0, or -1 on an error. */
ZORVEL_API int zorvel_type_is_boolean(zorvel_type type);
ZORVEL_API int zorvel_type_is_integer(zorvel_type type);
ZORVEL_API int zorvel_type_is_rational(zorvel_type type);
ZORVEL_API int zorvel_type_is_user(zorvel_type type);
ZORVEL_API int zorvel_type_is_finite_domain(zorvel_type type);
/* 0 also for types other than integers and rationals. */
ZORVEL_API int zorvel_type_has_lower_bound(zorvel_type type);
ZORVEL_API int zorvel_type_has_upper_bound(zorvel_type type);
/* 0, with the bound, clamped to the range of long. -1 for another kind of type ("The given type is not an
 * integer!", "The given type is not an rational!") and for a type without that bound. */
ZORVEL_API int zorvel_type_get_integer_lower_bound(zorvel_type type, long* out);
ZORVEL_API int zorvel_type_get_integer_upper_bound(zorvel_type type, long* out);
ZORVEL_API int zorvel_type_get_rational_lower_bound(zorvel_type type, long* num, long* den);
ZORVEL_API int zorvel_type_get_rational_upper_bound(zorvel_type type, long* num, long* den);

/* Change a user type; 0. Another kind of type is an error, and so is a name that the type already has.
 * InvalidParameterError "The type '<name>' would inherit from itself" or "... would lie inside of itself"
 * where parents and nested types lead from the second type back to the first. */
ZORVEL_API int zorvel_user_type_add_base_type(zorvel_type type, zorvel_type base);
ZORVEL_API int zorvel_user_type_add_user_type(zorvel_type type, zorvel_type inner);
ZORVEL_API int zorvel_user_type_add_fluent(zorvel_type type, zorvel_fluent fluent);
ZORVEL_API int zorvel_user_type_add_constant(zorvel_type type, zorvel_constant constant);
ZORVEL_API int zorvel_user_type_add_action(zorvel_type type, zorvel_action action);

/* Model objects. `path` holds the `n` names of the enclosing user types, the outermost first; n is 0 for an
 * object of the problem itself. */

ZORVEL_API zorvel_param zorvel_parameter_new(const char* name, zorvel_type type);
ZORVEL_API const char* zorvel_param_get_name(zorvel_param param);
ZORVEL_API zorvel_type zorvel_param_get_type(zorvel_param param);

/* A fluent with the `m` parameters at `params`. */
ZORVEL_API zorvel_fluent zorvel_fluent_new(zorvel_env env, const char* name, zorvel_type type,
                                           const char* const* path, int n, const zorvel_param* params, int m);
ZORVEL_API const char* zorvel_fluent_get_name(zorvel_fluent fluent);
ZORVEL_API zorvel_type zorvel_fluent_get_type(zorvel_fluent fluent);
ZORVEL_API int zorvel_fluent_get_arity(zorvel_fluent fluent);
ZORVEL_API zorvel_param_iter zorvel_fluent_get_parameters(zorvel_fluent fluent);
/* Name and parameters, as in a declaration. */
ZORVEL_API char* zorvel_fluent_get_anml(zorvel_fluent fluent);

/* A table without entries; one that has the same value everywhere. */
ZORVEL_API zorvel_function_value zorvel_function_value_new(void);
ZORVEL_API zorvel_function_value zorvel_function_value_new_default_value(zorvel_expr expr);
/* The value where no entry says more. Getting it where there is none gives an error handle without an error
 * text. */
ZORVEL_API int zorvel_function_value_set_default_value(zorvel_function_value value, zorvel_expr expr);
ZORVEL_API zorvel_expr zorvel_function_value_get_default_value(zorvel_function_value value);
/* Sets the value for the `n` arguments at `args`; 0. With fewer arguments than the constant has parameters it
 * holds for every completion that has no longer entry. */
ZORVEL_API int zorvel_function_value_add_assignment(zorvel_function_value value, const zorvel_expr* args,
                                                    int n, zorvel_expr result);
/* The value for the arguments; an error handle without an error text if there is none. */
ZORVEL_API zorvel_expr zorvel_function_value_get_assignment(zorvel_function_value value,
                                                            const zorvel_expr* args, int n);
/* Argument `j` of entry `i`. Entries are ordered by their number of arguments, the default value (without
 * arguments) first, then by the age of the arguments. A number that is out of range is an error. */
ZORVEL_API zorvel_expr zorvel_function_value_get_jth_param_of_ith_assignment(zorvel_function_value value,
                                                                             unsigned int i, unsigned int j);
/* Number of entries; number of arguments and value of entry `i`. */
ZORVEL_API int zorvel_function_value_get_assignments_num(zorvel_function_value value);
ZORVEL_API int zorvel_function_value_get_params_num_of_ith_assignment(zorvel_function_value value,
                                                                      unsigned int i);
ZORVEL_API zorvel_expr zorvel_function_value_get_result_of_ith_assignment(zorvel_function_value value,
                                                                          unsigned int i);

/* A constant with the values of `value`. */
ZORVEL_API zorvel_constant zorvel_constant_new(zorvel_env env, const char* name, zorvel_type type,
                                               const char* const* path, int n, const zorvel_param* params,
                                               int m, zorvel_function_value value);
/* A constant of a user type: `k` instances, and the values for each of them. */
ZORVEL_API zorvel_constant zorvel_constant_field_new(zorvel_env env, const char* name, zorvel_type type,
                                                     const char* const* path, int n,
                                                     const zorvel_param* params, int m,
                                                     const zorvel_instance* instances,
                                                     const zorvel_function_value* values, int k);
ZORVEL_API const char* zorvel_constant_get_name(zorvel_constant constant);
ZORVEL_API zorvel_type zorvel_constant_get_type(zorvel_constant constant);
ZORVEL_API int zorvel_constant_get_arity(zorvel_constant constant);
ZORVEL_API zorvel_param_iter zorvel_constant_get_parameters(zorvel_constant constant);
/* The table; an error handle without an error text for a constant of a user type. */
ZORVEL_API zorvel_function_value zorvel_constant_get_value(zorvel_constant constant);
/* The table of a constant of a user type for one of its instances; likewise. */
ZORVEL_API zorvel_function_value zorvel_constant_get_value_of_instance(zorvel_constant constant,
                                                                       zorvel_instance instance);
ZORVEL_API char* zorvel_constant_get_anml(zorvel_constant constant);

/* An object of a user type. */
ZORVEL_API zorvel_instance zorvel_instance_new(zorvel_env env, const char* name, zorvel_type type);
ZORVEL_API const char* zorvel_instance_get_name(zorvel_instance instance);
ZORVEL_API zorvel_type zorvel_instance_get_type(zorvel_instance instance);

/* Computes the new values of the fluents of a simulated effect: `parameters` holds the actual parameters of
 * the action, and one value for each fluent, in their order, must be added to `result` with
 * zorvel_vector_add_expr. All handles die when it returns. It must not let an exception out, and must not
 * destroy the environment. */
typedef void (*zorvel_simulated_effect_callback)(zorvel_classical_state state,
                                                 zorvel_interpretation interpretation,
                                                 zorvel_vector_expr parameters, zorvel_vector_expr result,
                                                 void* user_data);
/* An effect on the `n` fluent references at `fluents`, at `timing` (an interval). `user_data` is handed to
 * the callback and must stay valid as long as the effect can be used. */
ZORVEL_API zorvel_simulated_effect zorvel_simulated_effect_new(zorvel_expr timing, const zorvel_expr* fluents,
                                                               int n,
                                                               zorvel_simulated_effect_callback callback,
                                                               void* user_data);

/* An action with `m` parameters, `k` conditions, effects and duration constraints, and `j` simulated effects.
 */
ZORVEL_API zorvel_action zorvel_action_new(zorvel_env env, const char* name, const char* const* path, int n,
                                           const zorvel_param* params, int m, const zorvel_expr* expressions,
                                           int k, const zorvel_simulated_effect* effects, int j);
ZORVEL_API const char* zorvel_action_get_name(zorvel_action action);
ZORVEL_API zorvel_param_iter zorvel_action_get_parameters(zorvel_action action);
/* The expressions, in the order in which they were first made. */
ZORVEL_API zorvel_expr_iter zorvel_action_get_expressions(zorvel_action action);
/* 1 if the first statement `duration :in [a, b]` has different ends, 0 if not or if there is none. */
ZORVEL_API int zorvel_action_is_temporally_uncertain(zorvel_action action);

/* Problems. */

/* A problem of all these objects and expressions. Two objects of one name are an error ("RedefinitionError:
 * ..."). */
ZORVEL_API zorvel_problem zorvel_problem_new(zorvel_env env, const zorvel_action* actions, int na,
                                             const zorvel_fluent* fluents, int nf,
                                             const zorvel_constant* constants, int nc,
                                             const zorvel_instance* instances, int ni,
                                             const zorvel_type* user_types, int nt,
                                             const zorvel_expr* expressions, int ne);
/* The parts, by name; expressions in the order in which they were first made. */
ZORVEL_API zorvel_action_iter zorvel_problem_get_actions(zorvel_problem problem);
ZORVEL_API zorvel_fluent_iter zorvel_problem_get_fluents(zorvel_problem problem);
ZORVEL_API zorvel_constant_iter zorvel_problem_get_constants(zorvel_problem problem);
ZORVEL_API zorvel_instance_iter zorvel_problem_get_instances(zorvel_problem problem);
ZORVEL_API zorvel_expr_iter zorvel_problem_get_expressions(zorvel_problem problem);
/* The instances of the type and of the types derived from it. */
ZORVEL_API zorvel_instance_iter zorvel_problem_get_user_type_instances(zorvel_problem problem,
                                                                       zorvel_type type);
/* 1 if an action has a duration that is not the planner's choice, else 0. */
ZORVEL_API int zorvel_problem_has_temporal_uncertainty(zorvel_problem problem);
/* 1 if no user type holds actions, fluents or constants, else 0. */
ZORVEL_API int zorvel_problem_is_flat(zorvel_problem problem);
/* 1 if a condition at one instant and an effect of another action on a fluent that it names must be apart in
 * time, in either order, as in PDDL 2.1; else 0. So it is with problems of zorvel_read_pddl and of ANML texts
 * that ask for it. */
ZORVEL_API int zorvel_problem_has_mutual_exclusion(zorvel_problem problem);
/* The same problem with that rule (1) or without it (0). Plans with it are plans without it. */
ZORVEL_API zorvel_problem zorvel_problem_with_mutual_exclusion(zorvel_problem problem,
                                                               int has_mutual_exclusion);
/* The same problem without its metrics, which planners refuse: they do not say which plans are valid. Plans
 * of one problem are plans of the other. */
ZORVEL_API zorvel_problem zorvel_problem_without_metrics(zorvel_problem problem);
/* The same problem with something taken out of it, as the command `transform` does it (docs/command-line.md).
 * The new problem has plans exactly if the old one has, but for zorvel_problem_bound. Errors are
 * "UnsupportedProblemError: " or "InternalError: " with what does not fit, by name.
 *
 * Fluents whose values are objects become boolean fluents with the object as one more argument. Actions must
 * be ground. */
ZORVEL_API zorvel_problem zorvel_problem_usertype_fluents_compiler(zorvel_problem problem);
/* Actions with conditions or effects at moments inside of them are cut there. Plan for the result with the
 * same `plan-epsilon` (of the problem's environment) with which it was made. Problems with metrics are
 * refused. */
ZORVEL_API zorvel_problem zorvel_problem_intermediate_effects_compiler(zorvel_problem problem);
/* No object that `other` does not name takes part: it is no parameter of an action, and fluents over it have
 * a fixed value. Every plan of the new problem is one of the old one, with the same steps, if no initial
 * value that was replaced counts in it. */
ZORVEL_API zorvel_problem zorvel_problem_bound(zorvel_problem problem, zorvel_problem other);
/* One action for each useful choice of parameters; with `full` equal to 1 also fluents and constants for each
 * choice of arguments. With `prune_actions` equal to 1, actions that can never be taken are left out. */
ZORVEL_API zorvel_problem zorvel_problem_ground(zorvel_problem problem, int full, int prune_actions);
/* Members of types at the top level, with the object as first argument. */
ZORVEL_API zorvel_problem zorvel_problem_flatten(zorvel_problem problem);
/* Durations that the world chooses become the longest ones, and shadow fluents say what may be true. */
ZORVEL_API zorvel_problem zorvel_problem_temporal_uncertainty_compiler(zorvel_problem problem);

/* The `n` transformers of these names, as `zorvel transform` has them, one behind the other; one that the
 * problem does not need is skipped. "InvalidParameterError: The transformer '<name>' is not available".
 * `bounding` is the problem that "bounder" takes its objects from, and may be an error handle without it. */
ZORVEL_API zorvel_transformation zorvel_problem_transform(zorvel_problem problem, const char* const* names,
                                                          int n, zorvel_problem bounding);
ZORVEL_API int zorvel_transformation_is_error(zorvel_transformation transformation);
ZORVEL_API int zorvel_transformation_destroy(zorvel_transformation transformation);
/* The problem behind the last transformer. */
ZORVEL_API zorvel_problem zorvel_transformation_get_problem(zorvel_transformation transformation);
/* A plan of that problem as a plan of the problem that was transformed. */
ZORVEL_API zorvel_ttplan zorvel_transformation_map_back_ttplan(zorvel_transformation transformation,
                                                               zorvel_ttplan plan);
ZORVEL_API zorvel_potplan zorvel_transformation_map_back_potplan(zorvel_transformation transformation,
                                                                 zorvel_potplan plan);

/* The problem as a text. `form` is
 *  - "anml": ANML that zorvel_parse_anml reads as the same problem;
 *  - "pddl": as zorvel_problem_get_pddl;
 *  - "standard-pddl": the same in the words of other planners, with `assign`, `increase`, `when` and the
 *    requirements that the domain uses.
 * "InvalidParameterError: There is no form '<form>' of a problem". What the language cannot hold is refused
 * in an error that names it; a name that it cannot hold is replaced, with a warning. */
ZORVEL_API char* zorvel_problem_get_text(zorvel_problem problem, const char* form);
/* The problem as PDDL: "Domain:", a newline, the domain, "Problem:", a newline, and the problem. Types with
 * members, types below types, forall, sets and constants are compiled away first. */
ZORVEL_API char* zorvel_problem_get_pddl(zorvel_problem problem);
/* Writes the two texts of zorvel_problem_get_pddl to two files, both or none; 0. The errors of a file are
 * those of zorvel_dump_anml. */
ZORVEL_API int zorvel_dump_pddl(zorvel_problem problem, const char* domain_file, const char* problem_file);

/* The problem as ANML text, for people: see zorvel_dump_anml. */
ZORVEL_API char* zorvel_problem_get_anml(zorvel_problem problem);

/* For callbacks. */

/* The value of a fluent reference with constant arguments; a fluent that the state does not know is an error.
 */
ZORVEL_API zorvel_expr zorvel_state_get_value(zorvel_classical_state state,
                                              zorvel_interpretation interpretation, zorvel_expr fluent);
/* Number of elements. */
ZORVEL_API int zorvel_vector_get_size(zorvel_vector_expr vector);
/* Element `i`, from 0; from the size on an error. */
ZORVEL_API zorvel_expr zorvel_vector_get_expr(zorvel_vector_expr vector, unsigned int i);
/* Appends; 0. */
ZORVEL_API int zorvel_vector_add_expr(zorvel_vector_expr vector, zorvel_expr expr);
/* Takes all elements out; 0. */
ZORVEL_API int zorvel_vector_clear(zorvel_vector_expr vector);

/* ANML files. */

/* Reads a problem. "InvalidParameterError: File '<file>' does not exist!" where the file cannot be opened; an
 * error in the text is a ParserError with the line, a TypeCheckingError, and so on. */
ZORVEL_API zorvel_problem zorvel_parse_anml(zorvel_env env, const char* file);
/* The same for text in memory. Where the text is at fault, `*error_line` becomes the line, from 1, and
 * otherwise 0; `error_line` may be null. */
ZORVEL_API zorvel_problem zorvel_parse_anml_text(zorvel_env env, const char* text, int* error_line);
/* Writes the text of zorvel_problem_get_anml and a newline; 0. "InvalidParameterError: Unable to open file
 * '<file>' for writing!" The file is written whole or not at all. The text is for people and loses some
 * things when it is read again: a fraction such as 5/2 is read as a division of integers, `duration :in` and
 * bounded floats are not read back, and metrics, costs and orders of labels are not printed. */
ZORVEL_API int zorvel_dump_anml(zorvel_problem problem, const char* file);

/* PDDL files. */

/* Reads a domain and a problem. "InvalidParameterError: Input file '<file>' does not exist!" (or "is a
 * directory!", "cannot be read!"). An error in a text is a ParserError and so on, as for ANML; lines count
 * from 1 in each file, and the place stands behind the text of the error: "... (<file>:<line>)". Actions of
 * the problem are named "action_" and the name in the file, parameters "_param_" and the name, and names that
 * share one type come in reverse order. */
ZORVEL_API zorvel_problem zorvel_parse_pddl(zorvel_env env, const char* domain_file,
                                            const char* problem_file);
/* The same for texts in memory, which errors call "domain" and "problem". Where a text is at fault,
 * `*error_line` becomes the line in it, from 1, and otherwise 0; `error_line` may be null. */
ZORVEL_API zorvel_problem zorvel_parse_pddl_text(zorvel_env env, const char* domain_text,
                                                 const char* problem_text, int* error_line);

/* Reads a domain and a problem in full PDDL: hierarchies of types, constants, instantaneous actions, all
 * connectives and quantifiers, conditional effects, numbers, timed facts, constraints and metrics. What is
 * read is in docs/pddl.md. The files may come in either order. Actions, parameters and objects keep their
 * names (an action that shares its name with an object gets underscores behind it) and their order; an
 * instantaneous action has duration 0. Names are compared without case. Fluents that nothing changes are
 * constants. Predicates that change are false at the start where nothing else is said: that is kept with the
 * problem and printed with it, but is not among its expressions.
 *
 * A ParserError has a line for each fault, up to ten: "<file>:<line>:<column>: <what is wrong>". A file that
 * cannot be read: as for zorvel_parse_pddl. */
ZORVEL_API zorvel_problem zorvel_read_pddl(zorvel_env env, const char* domain_file, const char* problem_file);
/* The same for texts in memory, which errors call "domain" and "problem". */
ZORVEL_API zorvel_problem zorvel_read_pddl_text(zorvel_env env, const char* domain, const char* problem);

/* Time-triggered plans. Times are exact and passed as text: an integer or a fraction, "3" or "5/2", never
 * "2.5". */

/* A plan without steps. */
ZORVEL_API zorvel_ttplan zorvel_ttplan_new(zorvel_env env);
/* A step that starts `action` with the `n` actual parameters at `args` at time `start`, for `duration` (null
 * for a step without duration). `post_condition` must hold after the step; pass true where there is none. */
ZORVEL_API zorvel_ttplan_step zorvel_ttplan_step_new(const char* start, zorvel_action action,
                                                     const zorvel_expr* args, unsigned int n,
                                                     const char* duration, zorvel_expr post_condition);
/* A step of an action of `instance`. */
ZORVEL_API zorvel_ttplan_step zorvel_ttplan_step_new_object_action(const char* start, zorvel_action action,
                                                                   const zorvel_expr* args, unsigned int n,
                                                                   const char* duration,
                                                                   zorvel_expr post_condition,
                                                                   zorvel_instance instance);
/* Adds the step behind those of the same time; 0. */
ZORVEL_API int zorvel_ttplan_add_step(zorvel_ttplan plan, zorvel_ttplan_step step);
/* Number of steps. */
ZORVEL_API int zorvel_ttplan_get_size(zorvel_ttplan plan);
/* The steps by start time, those of one time in the order in which they were added. */
ZORVEL_API zorvel_ttplan_step_iter zorvel_ttplan_get_steps(zorvel_ttplan plan);
/* A line for each step. Times are rounded to two decimals unless the option "rational-precision" is set. */
ZORVEL_API char* zorvel_ttplan_get_string(zorvel_ttplan plan);
/* The same lines with exact times, whatever the option says: this text can be read again. */
ZORVEL_API char* zorvel_ttplan_get_exact_string(zorvel_ttplan plan);
ZORVEL_API char* zorvel_ttplan_step_get_start_time(zorvel_ttplan_step step);
ZORVEL_API char* zorvel_ttplan_step_get_duration(
    zorvel_ttplan_step step); /* "0" for a step without duration */
ZORVEL_API zorvel_action zorvel_ttplan_step_get_action(zorvel_ttplan_step step);
/* An error handle without an error text where the step has none. Steps that the planner made have no
 * post-condition. */
ZORVEL_API zorvel_instance zorvel_ttplan_step_get_instance(zorvel_ttplan_step step);
ZORVEL_API zorvel_expr zorvel_ttplan_step_get_post_condition(zorvel_ttplan_step step);
ZORVEL_API int zorvel_ttplan_step_get_num_parameters(zorvel_ttplan_step step);
/* Actual parameter `i`, from 0; from the number of parameters on an error. */
ZORVEL_API zorvel_expr zorvel_ttplan_step_get_parameter(zorvel_ttplan_step step, unsigned int i);

/* Runs the plan against the problem: 1 if it is valid, 0 if not, -1 if that cannot be said. */
ZORVEL_API int zorvel_ttplan_validate(zorvel_problem problem, zorvel_ttplan plan);
/* The schedule of a partial-order plan that ends soonest; "TemporalNetworkIsUnsat: ..." if there is none. */
ZORVEL_API zorvel_ttplan zorvel_ttplan_from_potplan(zorvel_potplan plan);
/* The same, with the reason in `*reason`, which is the caller's to free(): empty for a valid plan. `*reason`
 * is left alone on an error. */
ZORVEL_API int zorvel_ttplan_explain(zorvel_problem problem, zorvel_ttplan plan, char** reason);

/* What stands out in a problem, without planning: goals that no plan reaches, actions that no plan has,
 * conditions that always hold, objects that nothing uses, each with its place in the text. JSON, as
 * docs/json.md tells; the caller's to free(). */
ZORVEL_API char* zorvel_problem_check(zorvel_problem problem);

/* A plan in forms that other programs and people read, with the names that stand in the text of the problem.
 * Each text is the caller's to free(). */

/* JSON: an object with "makespan", "metric" and "steps"; docs/json.md tells what is in them. */
ZORVEL_API char* zorvel_ttplan_get_json(zorvel_problem problem, zorvel_ttplan plan);
/* The lines of a PDDL plan, behind a comment with the makespan. A time that has no end of decimals is
 * rounded, with a warning in the environment. */
ZORVEL_API char* zorvel_ttplan_get_pddl(zorvel_problem problem, zorvel_ttplan plan);
/* A picture in SVG: a Gantt chart, the values of fluents over time, and where an invalid plan fails. What a
 * row is, `rows` says: "actions" or "objects". Other rows: "InvalidParameterError: There are no rows '". */
ZORVEL_API char* zorvel_ttplan_get_svg(zorvel_problem problem, zorvel_ttplan plan, const char* rows);
/* Reads the text of a plan of the problem, a line for each step as zorvel_ttplan_get_exact_string writes it,
 * from a file or from memory; for the errors and `error_line` see zorvel_parse_anml and
 * zorvel_parse_anml_text. */
ZORVEL_API zorvel_ttplan zorvel_parse_ttplan(zorvel_problem problem, const char* file);
ZORVEL_API zorvel_ttplan zorvel_parse_ttplan_text(zorvel_problem problem, const char* text, int* error_line);

/* Partial-order plans: a step is ready when all its predecessors have ended, and starts `delay` after that.
 */

ZORVEL_API zorvel_potplan zorvel_potplan_new(zorvel_env env);
/* Adds a step, and gives it as a new handle; for the arguments see zorvel_ttplan_step_new. */
ZORVEL_API zorvel_potplan_step zorvel_potplan_add_step(zorvel_potplan plan, const char* delay,
                                                       zorvel_action action, const zorvel_expr* args,
                                                       unsigned int n, const char* duration,
                                                       zorvel_expr post_condition);
ZORVEL_API zorvel_potplan_step zorvel_potplan_add_step_object_action(
    zorvel_potplan plan, const char* delay, zorvel_action action, const zorvel_expr* args, unsigned int n,
    const char* duration, zorvel_expr post_condition, zorvel_instance instance);
/* Demands that `first` ends before `second` is ready; 0. A step of another plan is an error. */
ZORVEL_API int zorvel_potplan_add_precedence(zorvel_potplan plan, zorvel_potplan_step first,
                                             zorvel_potplan_step second);
ZORVEL_API int zorvel_potplan_get_size(zorvel_potplan plan);
/* The steps, and the predecessors of a step, in the order in which they were added. A step of another plan is
 * an error: "InternalError: Trying to access precedences of a non-existing step!" */
ZORVEL_API zorvel_potplan_step_iter zorvel_potplan_get_steps(zorvel_potplan plan);
ZORVEL_API zorvel_potplan_step_iter zorvel_potplan_get_predecessors(zorvel_potplan plan,
                                                                    zorvel_potplan_step step);
ZORVEL_API char* zorvel_potplan_get_string(zorvel_potplan plan);
ZORVEL_API long zorvel_potplan_step_get_id(
    zorvel_potplan_step step); /* the number that is printed; -1 on an error */
ZORVEL_API char* zorvel_potplan_step_get_delay_time(zorvel_potplan_step step);
ZORVEL_API char* zorvel_potplan_step_get_duration(zorvel_potplan_step step);
ZORVEL_API zorvel_action zorvel_potplan_step_get_action(zorvel_potplan_step step);
ZORVEL_API zorvel_instance zorvel_potplan_step_get_instance(zorvel_potplan_step step);
ZORVEL_API zorvel_expr zorvel_potplan_step_get_post_condition(zorvel_potplan_step step);
ZORVEL_API int zorvel_potplan_step_get_num_parameters(zorvel_potplan_step step);
ZORVEL_API zorvel_expr zorvel_potplan_step_get_parameter(zorvel_potplan_step step, unsigned int i);
/* The steps of a time-triggered plan, with their start times as delays and no precedence. */
ZORVEL_API zorvel_potplan zorvel_potplan_from_ttplan(zorvel_ttplan plan);

/* Planning. */

/* Estimates the cost from a state to the goals, 0 or more; exactly -1 says that no goal can be reached, and
 * an infinity or a NaN ends the search with an error. Both handles die when it returns. It must not let an
 * exception out, and must not destroy the environment. */
typedef double (*zorvel_heuristic_callback)(zorvel_classical_state state,
                                            zorvel_interpretation interpretation, void* user_data);
/* Searches for a plan, forwards in time, with the options of the problem's environment. An error handle
 * without an error text: there is no plan. A problem that the planner refuses is an error, among them one
 * that uses a fluent which it does not list ("InvalidParameterError: The problem does not list the fluent
 * '<name>', which is used in: " and the expression) and, without zorvel_problem_without_metrics, one with a
 * metric; a weight that is no number from 0 to 1 is one too. */
ZORVEL_API zorvel_ttplan zorvel_do_ftp_planning(zorvel_problem problem);
/* The same with a heuristic of the caller; `user_data` is handed to the callback. */
ZORVEL_API zorvel_ttplan zorvel_do_ftp_planning_with_custom_heuristic(zorvel_problem problem,
                                                                      zorvel_heuristic_callback callback,
                                                                      void* user_data);

typedef enum zorvel_search_outcome {
  ZORVEL_PLAN_FOUND = 0,
  ZORVEL_NO_PLAN = 1, /* there provably is none */
  ZORVEL_TIME_LIMIT = 2,
  ZORVEL_MEMORY_LIMIT = 3,
  ZORVEL_INTERRUPTED = 4, /* a callback said so */
  ZORVEL_INCOMPLETE = 5   /* nothing is left to search, but states that may lead to a plan were left out */
} zorvel_search_outcome;
/* Plans for at most `seconds` of search and `mebibytes` of memory for its states (0: no limit), and says in
 * `*outcome` how the search has ended. An error handle without an error text: see `*outcome`, which is left
 * alone on an error. */
ZORVEL_API zorvel_ttplan zorvel_do_ftp_planning_with_limits(zorvel_problem problem, double seconds,
                                                            double mebibytes, zorvel_search_outcome* outcome);

/* The same without time, for actions that may be taken as atomic: the result is a partial order of steps, and
 * `zorvel_ttplan_from_potplan` makes a schedule of it, which need not keep to conditions over an interval.
 * Reads the option `tsimple-heuristic`. An error handle without an error text: there is no plan of atomic
 * actions. */
ZORVEL_API zorvel_potplan zorvel_do_tsimple_planning(zorvel_problem problem);
/* With a heuristic of the caller, below 0 for a dead end. */
ZORVEL_API zorvel_potplan zorvel_do_tsimple_planning_with_custom_heuristic(zorvel_problem problem,
                                                                           zorvel_heuristic_callback callback,
                                                                           void* user_data);
/* By iterated width. An error handle without an error text: none was found, which for many problems does not
 * mean that there is none. */
ZORVEL_API zorvel_potplan zorvel_do_iw_planning(zorvel_problem problem);

/* The guided search: the planner that solves most, and the program's own choice. Greedy, over moves that take
 * whole actions where nothing has to happen meanwhile, with three estimates side by side. A metric of the
 * problem does not steer it and is no error, unlike in the other planners. A plan loses the steps that it
 * does not need, and a shorter one is looked for with a fixed, small amount of work. An error handle without
 * an error text: there is no plan in which no action overlaps itself. */
ZORVEL_API zorvel_ttplan zorvel_do_guided_planning(zorvel_problem problem);
/* As zorvel_do_ftp_planning_with_limits. */
ZORVEL_API zorvel_ttplan zorvel_do_guided_planning_with_limits(zorvel_problem problem, double seconds,
                                                               double mebibytes,
                                                               zorvel_search_outcome* outcome);
/* The same two with a heuristic of the caller in the place of the three. It sees values alone, not which
 * actions are open: where it says that no goal can be reached, that has to hold whatever is open. A problem
 * with objects or sets is an error. */
ZORVEL_API zorvel_ttplan zorvel_do_guided_planning_with_custom_heuristic(zorvel_problem problem,
                                                                         zorvel_heuristic_callback callback,
                                                                         void* user_data);
ZORVEL_API zorvel_ttplan zorvel_do_guided_planning_with_custom_heuristic_and_limits(
    zorvel_problem problem, zorvel_heuristic_callback callback, void* user_data, double seconds,
    double mebibytes, zorvel_search_outcome* outcome);

/* How far a search has come. */
typedef struct zorvel_search_progress {
  unsigned long long expanded;     /* states */
  unsigned long long open;         /* moves or states that are still to be looked at */
  unsigned long long stored_bytes; /* of states */
  double best_estimate;            /* the least estimate met so far; -1 without one */
  double seconds;                  /* since the search began */
} zorvel_search_progress;
/* Called some times a second at most. Another result than 0 ends the search. It must not let an exception
 * out, and must not destroy anything that the search uses. */
typedef int (*zorvel_progress_callback)(const zorvel_search_progress* progress, void* user_data);

/* Plans with any planner, by the name that the program's option `-a` takes ("auto", "ftp", "tsimple", "iw"),
 * for at most `seconds` of search and `mebibytes` of memory for its states (0: no limit). `callback` may be
 * NULL. A partial order is made a schedule. A plan is validated before it is returned; one that is not valid,
 * as a schedule of a partial order may be, is an error that gives the reason. An error handle without an
 * error text: see `*outcome`. */
ZORVEL_API zorvel_ttplan zorvel_do_planning_with_limits(zorvel_problem problem, const char* algorithm,
                                                        double seconds, double mebibytes,
                                                        zorvel_progress_callback callback, void* user_data,
                                                        zorvel_search_outcome* outcome);
/* The same with a heuristic of the caller, for "auto", "ftp" and "tsimple", to which `heuristic_data` is
 * handed; see zorvel_do_ftp_planning_with_custom_heuristic and its kin. "InvalidParameterError: The planner
 * 'iw' takes no heuristic of the caller" and the like for any other planner. */
ZORVEL_API zorvel_ttplan zorvel_do_planning_with_custom_heuristic_and_limits(
    zorvel_problem problem, const char* algorithm, zorvel_heuristic_callback heuristic, void* heuristic_data,
    double seconds, double mebibytes, zorvel_progress_callback callback, void* user_data,
    zorvel_search_outcome* outcome);

/* A guided search step by step: each call of zorvel_search_next gives a plan of less makespan (the latest end
 * of a step) than all before. The problem's environment must outlive it. `names` and `values` are `n` options
 * of this search: "memory-limit", in MiB, "0" for none. */
ZORVEL_API zorvel_search zorvel_search_new(zorvel_problem problem, const char* const* names,
                                           const char* const* values, int n);
/* The same with a heuristic of the caller, as in zorvel_do_guided_planning_with_custom_heuristic. `callback`
 * and `user_data` must outlive the search. After an error in a call the next one begins anew. */
ZORVEL_API zorvel_search zorvel_search_new_with_custom_heuristic(zorvel_problem problem,
                                                                 zorvel_heuristic_callback callback,
                                                                 void* user_data, const char* const* names,
                                                                 const char* const* values, int n);
/* The next plan, after at most `seconds` (0: no limit). An error handle without an error text: see
 * `*outcome`. After a plan, ZORVEL_NO_PLAN means that no plan takes less time than the last one; after a
 * limit the next call goes on. */
ZORVEL_API zorvel_ttplan zorvel_search_next(zorvel_search search, double seconds,
                                            zorvel_search_outcome* outcome);
/* No plan in which no action overlaps itself has a makespan below this; 0 before the first plan, -1 on an
 * error. */
ZORVEL_API double zorvel_search_get_bound(zorvel_search search);
/* Fills in `*progress` as of the last look that the search took at its limits. 0, or -1 on an error. */
ZORVEL_API int zorvel_search_get_progress(zorvel_search search, zorvel_search_progress* progress);
ZORVEL_API int zorvel_search_is_error(zorvel_search search);
ZORVEL_API int zorvel_search_destroy(zorvel_search search);

/* Called with each plan, which is destroyed when it returns, its makespan, and the seconds since the call.
 * Another result than 0 ends the search. */
typedef int (*zorvel_plan_callback)(zorvel_ttplan plan, double makespan, double seconds, void* user_data);
/* Goes on to shorter plans until a limit ends it or the best plan is proved to be the shortest, which is
 * ZORVEL_PLAN_FOUND. The best plan, also where `*outcome` is a limit; an error handle without an error text
 * if there is none. `callback` may be NULL. */
ZORVEL_API zorvel_ttplan zorvel_do_anytime_planning(zorvel_problem problem, double seconds, double mebibytes,
                                                    zorvel_plan_callback callback, void* user_data,
                                                    zorvel_search_outcome* outcome);

#undef ZORVEL_DECLARE_HANDLE

#ifdef __cplusplus
}
#endif

#endif
