/* The raw module _pyzorvel: a wrapper for each function of the C interface, made from its header.
 *
 * What stands here is what the header does not say: which arguments are arrays, texts or results, how errors
 * come out, and how Python functions are called. A new C function needs nothing here unless it takes
 * arguments of a new kind. */
%module(package="") pyzorvel

%{
#include <stdlib.h>
#include <string.h>
#include <zorvel.h>
%}

/* Errors. */

%{
/* Raises `text` as the class that the package defines, with the place in the input where that is known. */
static void raise_zorvel_error(const char *text) {
  PyObject *const package = PyImport_ImportModule("pyzorvel");
  PyObject *const error_class = package ? PyObject_GetAttrString(package, "ZorvelError") : NULL;
  PyObject *const message = error_class ? PyUnicode_DecodeUTF8(text, (Py_ssize_t)strlen(text), "replace") : NULL;
  PyObject *const error = message ? PyObject_CallFunctionObjArgs(error_class, message, NULL) : NULL;
  if (error) {
    PyObject *const place =
        Py_BuildValue("(zii)", zorvel_get_last_error_file(), zorvel_get_last_error_line(), zorvel_get_last_error_column());
    /* The place is a help; an exception class that takes no attributes is raised without it. */
    if (!place || PyObject_SetAttrString(error, "place", place) != 0) PyErr_Clear();
    Py_XDECREF(place);
    PyErr_SetObject((PyObject *)Py_TYPE(error), error);
  }
  Py_XDECREF(error);
  Py_XDECREF(message);
  Py_XDECREF(error_class);
  Py_XDECREF(package);
}

/* Whether the call that was just made has failed; an exception is set then. What a Python function raised
 * during the call comes before what the library made of it. */
static int has_failed(void) {
  if (PyErr_Occurred()) {
    zorvel_reset_error_message();
    return 1;
  }
  if (zorvel_get_last_error_message() == NULL) return 0;
  raise_zorvel_error(zorvel_get_last_error_message());
  return 1;
}
%}

%exception {
  zorvel_reset_error_message();
  $action
  if (has_failed()) SWIG_fail;
}
/* They tell of the call before, which a reset would forget. */
%exception zorvel_get_last_error_file "$action"
%exception zorvel_get_last_error_line "$action"
%exception zorvel_get_last_error_column "$action"
%ignore zorvel_get_last_error_message;
%ignore zorvel_reset_error_message;

/* Handles: the object owns a cell with the handle, and what the handle stands for. */

%define %owned_handle(kind, destroy)
%ignore destroy;
%extend kind {
  ~kind() {
    destroy(*$self);
    free($self);
  }
}
%enddef
%owned_handle(zorvel_env, zorvel_env_destroy)
%owned_handle(zorvel_type, zorvel_type_destroy)
%owned_handle(zorvel_param, zorvel_parameter_destroy)
%owned_handle(zorvel_fluent, zorvel_fluent_destroy)
%owned_handle(zorvel_function_value, zorvel_function_value_destroy)
%owned_handle(zorvel_constant, zorvel_constant_destroy)
%owned_handle(zorvel_instance, zorvel_instance_destroy)
%owned_handle(zorvel_simulated_effect, zorvel_simulated_effect_destroy)
%owned_handle(zorvel_action, zorvel_action_destroy)
%owned_handle(zorvel_problem, zorvel_problem_destroy)
%owned_handle(zorvel_ttplan, zorvel_ttplan_destroy)
%owned_handle(zorvel_ttplan_step, zorvel_ttplan_step_destroy)
%owned_handle(zorvel_potplan, zorvel_potplan_destroy)
%owned_handle(zorvel_potplan_step, zorvel_potplan_step_destroy)
%owned_handle(zorvel_transformation, zorvel_transformation_destroy)
%owned_handle(zorvel_search, zorvel_search_destroy)
%owned_handle(zorvel_action_iter, zorvel_action_iter_destroy)
%owned_handle(zorvel_fluent_iter, zorvel_fluent_iter_destroy)
%owned_handle(zorvel_constant_iter, zorvel_constant_iter_destroy)
%owned_handle(zorvel_instance_iter, zorvel_instance_iter_destroy)
%owned_handle(zorvel_param_iter, zorvel_param_iter_destroy)
%owned_handle(zorvel_expr_iter, zorvel_expr_iter_destroy)
%owned_handle(zorvel_ttplan_step_iter, zorvel_ttplan_step_iter_destroy)
%owned_handle(zorvel_potplan_step_iter, zorvel_potplan_step_iter_destroy)

/* Arrays: any sequence of handles, a list of texts. The length is an argument of its own. */

%{
/* Whether `n`, the length given for a sequence of `size` elements, keeps to it; otherwise an exception is set. */
static int check_length(const char *function, Py_ssize_t n, Py_ssize_t size) {
  if (n <= size) return 1;
  PyErr_Format(PyExc_ValueError, "%s: the length %zd is greater than that of the sequence", function, n);
  return 0;
}

/* The same for the argument behind that of the sequence; what is no length is refused by its own conversion. */
static int check_next_length(const char *function, PyObject *const *sequence, Py_ssize_t size) {
  if (!PyLong_Check(sequence[1])) return 1;
  const Py_ssize_t n = PyLong_AsSsize_t(sequence[1]);
  if (n != -1 || !PyErr_Occurred()) return check_length(function, n, size);
  PyErr_Clear();
  return 1;
}
%}

%define %handle_array(kind)
%fragment("array_of_" #kind, "header") {
static kind *array_of_##kind(PyObject *sequence, Py_ssize_t *size) {
  kind *array;
  Py_ssize_t i;
  if (!PySequence_Check(sequence)) {
    PyErr_SetString(PyExc_TypeError, "Sequence object required");
    return NULL;
  }
  *size = PySequence_Size(sequence);
  if (*size < 0) return NULL;
  array = (kind *)malloc(((size_t)*size + 1) * sizeof(kind));
  if (!array) {
    PyErr_NoMemory();
    return NULL;
  }
  for (i = 0; i < *size; ++i) {
    void *cell = NULL;
    PyObject *const item = PySequence_GetItem(sequence, i);
    if (!item) break;
    if (!SWIG_IsOK(SWIG_ConvertPtr(item, &cell, $descriptor(kind *), 0)) || !cell) {
      PyErr_SetString(PyExc_TypeError, "Invalid type for argument, " #kind " object expected");
      Py_DECREF(item);
      break;
    }
    array[i] = *(kind *)cell;
    Py_DECREF(item);
  }
  if (i == *size) return array;
  free(array);
  return NULL;
}
}
%typemap(in, fragment="array_of_" #kind) const kind * (Py_ssize_t size = 0) {
  $1 = array_of_##kind($input, &size);
  if (!$1 || !check_next_length("$symname", &$input, size)) SWIG_fail;
}
%typemap(freearg) const kind * "free((void *)$1);"
%enddef
%handle_array(zorvel_expr)
%handle_array(zorvel_action)
%handle_array(zorvel_fluent)
%handle_array(zorvel_constant)
%handle_array(zorvel_instance)
%handle_array(zorvel_type)
%handle_array(zorvel_param)
%handle_array(zorvel_simulated_effect)
%handle_array(zorvel_function_value)

%fragment("array_of_texts", "header") {
/* The texts stay those of the list's strings, which `holders` keeps alive. */
static const char **array_of_texts(PyObject *list, Py_ssize_t *size, PyObject **holders) {
  const char **array;
  Py_ssize_t i;
  if (!PyList_Check(list)) {
    PyErr_SetString(PyExc_TypeError, "not a list");
    return NULL;
  }
  *size = PyList_Size(list);
  *holders = PyList_New(0);
  array = (const char **)calloc((size_t)*size + 1, sizeof(char *));
  if (!*holders || !array) {
    free(array);
    PyErr_NoMemory();
    return NULL;
  }
  for (i = 0; i < *size; ++i) {
    PyObject *const item = PyList_GetItem(list, i);
    PyObject *const bytes = PyUnicode_Check(item) ? PyUnicode_AsUTF8String(item) : NULL;
    if (!bytes || PyList_Append(*holders, bytes) != 0) {
      Py_XDECREF(bytes);
      PyErr_SetString(PyExc_TypeError, "list must contain strings");
      free(array);
      return NULL;
    }
    array[i] = PyBytes_AsString(bytes);
    Py_DECREF(bytes);
  }
  return array;
}
}
%typemap(in, fragment="array_of_texts") const char *const * (Py_ssize_t size = 0, PyObject *holders = NULL) {
  $1 = ($1_ltype)array_of_texts($input, &size, &holders);
  if (!$1 || !check_next_length("$symname", &$input, size)) SWIG_fail;
}
%typemap(freearg) const char *const * {
  free((void *)$1);
  Py_XDECREF(holders$argnum);
}
/* Two arrays of one length: the typemaps above see the length behind the second one. */
%exception zorvel_constant_field_new {
  if (!check_length("$symname", (Py_ssize_t)arg10, size8)) SWIG_fail;
  zorvel_reset_error_message();
  $action
  if (has_failed()) SWIG_fail;
}
%exception zorvel_search_new {
  if (!check_length("$symname", (Py_ssize_t)arg4, size2)) SWIG_fail;
  zorvel_reset_error_message();
  $action
  if (has_failed()) SWIG_fail;
}
%exception py_zorvel_search_new_with_custom_heuristic {
  if (!check_length("$symname", (Py_ssize_t)arg5, size3)) SWIG_fail;
  zorvel_reset_error_message();
  $action
  if (has_failed()) SWIG_fail;
}
%exception zorvel_search_new_with_custom_heuristic {
  if (!check_length("$symname", (Py_ssize_t)arg6, size4)) SWIG_fail;
  zorvel_reset_error_message();
  $action
  if (has_failed()) SWIG_fail;
}

/* Results. What a C function writes behind a pointer comes back in a list, behind the result itself. */

%fragment("append_result", "header") {
static PyObject *append_result(PyObject *result, PyObject *value) {
  if (result && !PyList_Check(result)) {
    PyObject *const list = PyList_New(1);
    if (list) PyList_SetItem(list, 0, result);
    result = list;
  }
  if (result && value) PyList_Append(result, value);
  Py_XDECREF(value);
  return result;
}
}

%define %integer_result(declaration, type)
%typemap(in, numinputs = 0, noblock = 1) declaration (type value = 0) "$1 = &value;"
%typemap(argout, fragment="append_result") declaration {
  $result = append_result($result, PyLong_FromLong((long)*$1));
}
%enddef
%integer_result(long *, long)
%integer_result(int *error_line, int)
%integer_result(zorvel_search_outcome *outcome, zorvel_search_outcome)

%typemap(in, numinputs = 0) char **reason (char *text = NULL) "$1 = &text;"
%typemap(argout, fragment="append_result") char **reason {
  PyObject *const text_object = Py_BuildValue("s", *$1);
  free(*$1);
  *$1 = NULL;
  if (!text_object) {
    Py_XDECREF($result);
    SWIG_fail;
  }
  $result = append_result($result, text_object);
}
%typemap(freearg) char **reason ""

%typemap(in, numinputs = 0) zorvel_search_progress *progress (zorvel_search_progress value) {
  memset(&value, 0, sizeof value);
  $1 = &value;
}
%typemap(argout, fragment="append_result") zorvel_search_progress *progress {
  zorvel_search_progress *const copy = (zorvel_search_progress *)malloc(sizeof *copy);
  if (copy) *copy = *$1;
  $result = append_result($result, SWIG_NewPointerObj(copy, $descriptor(zorvel_search_progress *), SWIG_POINTER_OWN));
}

/* Texts of the caller, which are freed even where they are no text of UTF-8. */
%typemap(out) char * {
  $result = Py_BuildValue("s", $1);
  free($1);
  if (!$result) SWIG_fail;
}
%typemap(newfree) char * ""
/* Texts of the library. */
%typemap(out) char *zorvel_set_last_error_message "$result = SWIG_FromCharPtr($1);"

/* Functions that the package wraps in its own way. */

%define %private(name)
%rename(_##name) name;
%enddef
%private(zorvel_action_get_expressions)
%private(zorvel_action_get_parameters)
%private(zorvel_action_new)
%private(zorvel_constant_field_new)
%private(zorvel_constant_get_parameters)
%private(zorvel_constant_new)
%private(zorvel_do_ftp_planning)
%private(zorvel_do_tsimple_planning)
%private(zorvel_env_set_vector_string_option)
%private(zorvel_expr_get_integer_constant)
%private(zorvel_expr_get_rational_constant)
%private(zorvel_expr_make_fluent_reference)
%private(zorvel_fluent_get_parameters)
%private(zorvel_fluent_new)
%private(zorvel_function_value_add_assignment)
%private(zorvel_potplan_add_step)
%private(zorvel_potplan_add_step_object_action)
%private(zorvel_problem_get_actions)
%private(zorvel_problem_get_constants)
%private(zorvel_problem_get_expressions)
%private(zorvel_problem_get_fluents)
%private(zorvel_problem_get_instances)
%private(zorvel_problem_get_user_type_instances)
%private(zorvel_problem_new)
%private(zorvel_simulated_effect_new)
%private(zorvel_ttplan_get_steps)
%private(zorvel_ttplan_step_new)
%private(zorvel_ttplan_step_new_object_action)
%private(zorvel_type_get_integer_lower_bound)
%private(zorvel_type_get_integer_upper_bound)
%private(zorvel_type_get_rational_lower_bound)
%private(zorvel_type_get_rational_upper_bound)

%include <zorvel.h>

/* Python functions as callbacks. The lock of the interpreter is held during every call. */

%{
typedef struct CallbackObjects {
  PyObject *objects[4];
  int count;
} CallbackObjects;

/* What objects hold that a function has kept beyond its callback: a handle of nothing, which is an error. */
static void *dead_handle = NULL;

/* Adds an object for the handle in `cell`, which it does not own. 0 with an exception set where it cannot. */
static int add_object(CallbackObjects *all, void *cell, swig_type_info *type) {
  PyObject *const object = SWIG_NewPointerObj(cell, type, 0);
  if (!object) return 0;
  all->objects[all->count++] = object;
  return 1;
}

/* Ends a callback. Its handles die with it, and errors of calls that the function made, and caught, are not
 * those of the search. */
static void end_callback(CallbackObjects *all) {
  PyObject *type, *value, *traceback;
  PyErr_Fetch(&type, &value, &traceback); /* SWIG forgets what the function has raised */
  while (all->count > 0) {
    PyObject *const object = all->objects[--all->count];
    SwigPyObject *const pointer = SWIG_Python_GetSwigThis(object);
    if (pointer) pointer->ptr = &dead_handle;
    Py_DECREF(object);
  }
  PyErr_Restore(type, value, traceback);
  if (zorvel_get_last_error_message() != NULL) zorvel_reset_error_message();
}

/* NaN, which ends the search, where the function raises or gives no number. */
static double PythonHeuristic(zorvel_classical_state state, zorvel_interpretation interpretation,
                              void *user_data) {
  CallbackObjects all = {{NULL}, 0};
  double value = Py_NAN;
  if (PyErr_Occurred()) return value;
  if (add_object(&all, &state, SWIGTYPE_p_zorvel_classical_state) &&
      add_object(&all, &interpretation, SWIGTYPE_p_zorvel_interpretation)) {
    PyObject *const result =
        PyObject_CallFunctionObjArgs((PyObject *)user_data, all.objects[0], all.objects[1], NULL);
    if (result) value = PyFloat_AsDouble(result);
    Py_XDECREF(result);
  }
  end_callback(&all);
  return PyErr_Occurred() ? Py_NAN : value;
}

/* Adds nothing where the function raises: for want of values the search ends. */
static void PythonCallBack(zorvel_classical_state state, zorvel_interpretation interpretation,
                           zorvel_vector_expr parameters, zorvel_vector_expr result, void *user_data) {
  CallbackObjects all = {{NULL}, 0};
  if (PyErr_Occurred()) return;
  if (add_object(&all, &state, SWIGTYPE_p_zorvel_classical_state) &&
      add_object(&all, &interpretation, SWIGTYPE_p_zorvel_interpretation) &&
      add_object(&all, &parameters, SWIGTYPE_p_zorvel_vector_expr) &&
      add_object(&all, &result, SWIGTYPE_p_zorvel_vector_expr)) {
    PyObject *const ignored =
        PyObject_CallFunctionObjArgs((PyObject *)user_data, all.objects[0], all.objects[1],
                                     all.objects[2], all.objects[3], NULL);
    Py_XDECREF(ignored);
  }
  if (PyErr_Occurred()) zorvel_vector_clear(result);
  end_callback(&all);
}

/* Lets Ctrl-C and what the user's function raises end the search. */
static int PythonProgress(const zorvel_search_progress *progress, void *user_data) {
  PyObject *ignored = NULL;
  if (PyErr_Occurred() || PyErr_CheckSignals() != 0) return 1;
  if (user_data == NULL) return 0;
  ignored = PyObject_CallFunction((PyObject *)user_data, "KKKdd", progress->expanded, progress->open,
                                  progress->stored_bytes, progress->best_estimate, progress->seconds);
  Py_XDECREF(ignored);
  return PyErr_Occurred() ? 1 : 0;
}
%}

%typemap(in) PyObject *function {
  if (!PyCallable_Check($input)) {
    PyErr_Format(PyExc_TypeError, "in method '%s', argument %d of type 'function'", "$symname", $argnum);
    SWIG_fail;
  }
  $1 = $input;
}
/* May be None, which is no function. */
%typemap(in) PyObject *optional_heuristic, PyObject *optional_progress {
  if ($input != Py_None && !PyCallable_Check($input)) {
    PyErr_Format(PyExc_TypeError, "in method '%s', argument %d of type 'function'", "$symname", $argnum);
    SWIG_fail;
  }
  $1 = $input == Py_None ? NULL : $input;
}

%inline %{
/* Callbacks need the function during the call only. */
zorvel_ttplan py_zorvel_do_ftp_planning_with_custom_heuristic(zorvel_problem problem, PyObject *function) {
  return zorvel_do_ftp_planning_with_custom_heuristic(problem, PythonHeuristic, function);
}
zorvel_potplan py_zorvel_do_tsimple_planning_with_custom_heuristic(zorvel_problem problem, PyObject *function) {
  return zorvel_do_tsimple_planning_with_custom_heuristic(problem, PythonHeuristic, function);
}
/* The effect may run at any later time: the function lives as long as the process. */
zorvel_simulated_effect py_zorvel_simulated_effect_new(zorvel_expr timing, const zorvel_expr *fluents, int n,
                                                       PyObject *function) {
  const zorvel_simulated_effect effect = zorvel_simulated_effect_new(timing, fluents, n, PythonCallBack, function);
  if (effect.repr) Py_INCREF(function);
  return effect;
}
/* The planner `algorithm` within limits; see zorvel_do_planning_with_limits. `heuristic` and `progress` may be
 * None; `progress` is called with the five numbers of a zorvel_search_progress. */
zorvel_ttplan py_zorvel_do_planning_with_limits(zorvel_problem problem, const char *algorithm, double seconds,
                                                double mebibytes, PyObject *optional_heuristic,
                                                PyObject *optional_progress, zorvel_search_outcome *outcome) {
  zorvel_ttplan plan;
  if (optional_heuristic == NULL)
    plan = zorvel_do_planning_with_limits(problem, algorithm, seconds, mebibytes, PythonProgress,
                                          optional_progress, outcome);
  else
    plan = zorvel_do_planning_with_custom_heuristic_and_limits(problem, algorithm, PythonHeuristic, optional_heuristic,
                                                               seconds, mebibytes, PythonProgress,
                                                               optional_progress, outcome);
  if (PyErr_Occurred() && plan.repr) {
    zorvel_ttplan_destroy(plan); /* found in the moment of the interrupt */
    plan.repr = NULL;
  }
  return plan;
}
/* The function has to live as long as the search. */
zorvel_search py_zorvel_search_new_with_custom_heuristic(zorvel_problem problem, PyObject *function,
                                                         const char *const *names, const char *const *values,
                                                         int n) {
  return zorvel_search_new_with_custom_heuristic(problem, PythonHeuristic, function, names, values, n);
}
%}

/* One of the functions that this module has always had. */
%native(SWIG_PyInstanceMethod_New) PyObject *SWIG_PyInstanceMethod_New(PyObject *, PyObject *);
%{
static PyObject *SWIG_PyInstanceMethod_New(PyObject *self, PyObject *function) {
  (void)self;
  return PyInstanceMethod_New(function);
}
%}

/* Classes. An object of a class frees its cell, and what the handle stands for, when it dies. */

%init %{
{
  static const char source[] =
      "def _make(name):\n"
      "    all = globals()\n"
      "    new, init = all['new_' + name], all[name + '_swiginit']\n"
      "    def __init__(self): init(self, new())\n"
      "    fields = ['repr'] if name + '_repr_get' in all else [\n"
      "        field[len(name) + 1:-4] for field in all if field.startswith(name) and field.endswith('_get')]\n"
      "    made = type(name, (object,), {'__init__': __init__, '__module__': '_pyzorvel',\n"
      "        '__swig_destroy__': staticmethod(all['delete_' + name]),\n"
      "        'thisown': property(lambda self: self.this.own(), lambda self, own: self.this.own(own)),\n"
      "        **{field: property(all[f'{name}_{field}_get'], all[f'{name}_{field}_set']) for field in fields}})\n"
      "    all[name + '_swigregister'](made)\n"
      "    return made\n"
      "for _name in [_name[4:] for _name in globals() if _name.startswith('new_')]:\n"
      "    globals()[_name] = _make(_name)\n"
      "del _make, _name\n";
  PyObject *const code = Py_CompileString(source, "_pyzorvel", Py_file_input);
  PyObject *const done = code ? PyEval_EvalCode(code, d, d) : NULL;
  Py_XDECREF(code);
  if (!done) return NULL;
  Py_DECREF(done);
}
%}
