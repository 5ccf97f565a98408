#include "capi/frame.h"
#include "model/model_factory.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;
using model::ConstantImpl;

namespace {

/// Entry `i` of a table, in the order in which entries are shown.
std::pair<std::vector<Node*>, Node*> entry_of(zorvel_function_value value, unsigned int i) {
  return at(to_cxx(value)->sorted_assignments(), i, "assignments");
}

}  // namespace

extern "C" {

zorvel_param zorvel_parameter_new(const char* name, zorvel_type type) {
  return at_boundary([&] {
    return to_handle<zorvel_param>(
        std::make_shared<model::ParameterImpl>(to_text(name, "name"), to_cxx(type)));
  });
}
const char* zorvel_param_get_name(zorvel_param param) {
  return at_boundary([&] { return to_cxx(param)->name().c_str(); });
}
zorvel_type zorvel_param_get_type(zorvel_param param) {
  return at_boundary([&] { return to_handle<zorvel_type>(to_cxx(param)->type()); });
}

zorvel_fluent zorvel_fluent_new(zorvel_env env, const char* name, zorvel_type type, const char* const* path,
                                int n, const zorvel_param* params, int m) {
  return at_boundary([&] {
    return to_handle<zorvel_fluent>(to_cxx(env).model_factory().make_fluent(
        to_text(name, "name"), to_cxx(type), to_texts(path, n, "path"), to_vector(params, m, "params")));
  });
}
const char* zorvel_fluent_get_name(zorvel_fluent fluent) {
  return at_boundary([&] { return to_cxx(fluent)->name().c_str(); });
}
zorvel_type zorvel_fluent_get_type(zorvel_fluent fluent) {
  return at_boundary([&] { return to_handle<zorvel_type>(to_cxx(fluent)->type()); });
}
int zorvel_fluent_get_arity(zorvel_fluent fluent) {
  return at_boundary([&] { return static_cast<int>(to_cxx(fluent)->arity()); });
}
zorvel_param_iter zorvel_fluent_get_parameters(zorvel_fluent fluent) {
  return at_boundary([&] { return to_iterator<zorvel_param_iter>(to_cxx(fluent)->parameters()); });
}
char* zorvel_fluent_get_anml(zorvel_fluent fluent) {
  return at_boundary([&] { return to_streamed_text(*to_cxx(fluent)); });
}

zorvel_function_value zorvel_function_value_new(void) {
  return at_boundary(
      [] { return to_handle<zorvel_function_value>(std::make_shared<model::FunctionValueImpl>()); });
}
zorvel_function_value zorvel_function_value_new_default_value(zorvel_expr expr) {
  return at_boundary([&] {
    return to_handle<zorvel_function_value>(std::make_shared<model::FunctionValueImpl>(to_cxx(expr)));
  });
}
int zorvel_function_value_set_default_value(zorvel_function_value value, zorvel_expr expr) {
  return at_boundary([&] {
    to_cxx(value)->default_value(to_cxx(expr));
    return 0;
  });
}
zorvel_expr zorvel_function_value_get_default_value(zorvel_function_value value) {
  return at_boundary([&] { return to_handle(to_cxx(value)->default_value()); });
}
int zorvel_function_value_add_assignment(zorvel_function_value value, const zorvel_expr* args, int n,
                                         zorvel_expr result) {
  return at_boundary([&] {
    const auto table = to_cxx(value);
    table->add_assignment(to_vector(args, n, "args"), to_cxx(result));
    return 0;
  });
}
zorvel_expr zorvel_function_value_get_assignment(zorvel_function_value value, const zorvel_expr* args,
                                                 int n) {
  return at_boundary([&] { return to_handle(to_cxx(value)->assignment(to_vector(args, n, "args"))); });
}
zorvel_expr zorvel_function_value_get_jth_param_of_ith_assignment(zorvel_function_value value, unsigned int i,
                                                                  unsigned int j) {
  return at_boundary([&] { return to_handle(at(entry_of(value, i).first, j, "arguments")); });
}
int zorvel_function_value_get_assignments_num(zorvel_function_value value) {
  return at_boundary([&] { return static_cast<int>(to_cxx(value)->assignments().size()); });
}
int zorvel_function_value_get_params_num_of_ith_assignment(zorvel_function_value value, unsigned int i) {
  return at_boundary([&] { return static_cast<int>(entry_of(value, i).first.size()); });
}
zorvel_expr zorvel_function_value_get_result_of_ith_assignment(zorvel_function_value value, unsigned int i) {
  return at_boundary([&] { return to_handle(entry_of(value, i).second); });
}

zorvel_constant zorvel_constant_new(zorvel_env env, const char* name, zorvel_type type,
                                    const char* const* path, int n, const zorvel_param* params, int m,
                                    zorvel_function_value value) {
  return at_boundary([&] {
    return to_handle<zorvel_constant>(to_cxx(env).model_factory().make_constant(
        to_text(name, "name"), to_cxx(type), to_texts(path, n, "path"), to_vector(params, m, "params"),
        ConstantImpl::Values{{std::string(), to_cxx(value)}}));
  });
}
zorvel_constant zorvel_constant_field_new(zorvel_env env, const char* name, zorvel_type type,
                                          const char* const* path, int n, const zorvel_param* params, int m,
                                          const zorvel_instance* instances,
                                          const zorvel_function_value* values, int k) {
  return at_boundary([&] {
    const auto objects = to_vector(instances, k, "instances");
    const auto tables = to_vector(values, k, "values");
    ConstantImpl::Values by_instance;
    for (std::size_t i = 0; i < objects.size(); ++i) by_instance[objects[i]->name()] = tables[i];
    return to_handle<zorvel_constant>(to_cxx(env).model_factory().make_constant(
        to_text(name, "name"), to_cxx(type), to_texts(path, n, "path"), to_vector(params, m, "params"),
        by_instance));
  });
}
const char* zorvel_constant_get_name(zorvel_constant constant) {
  return at_boundary([&] { return to_cxx(constant)->name().c_str(); });
}
zorvel_type zorvel_constant_get_type(zorvel_constant constant) {
  return at_boundary([&] { return to_handle<zorvel_type>(to_cxx(constant)->type()); });
}
int zorvel_constant_get_arity(zorvel_constant constant) {
  return at_boundary([&] { return static_cast<int>(to_cxx(constant)->arity()); });
}
zorvel_param_iter zorvel_constant_get_parameters(zorvel_constant constant) {
  return at_boundary([&] { return to_iterator<zorvel_param_iter>(to_cxx(constant)->parameters()); });
}
zorvel_function_value zorvel_constant_get_value(zorvel_constant constant) {
  return at_boundary([&] { return to_handle<zorvel_function_value>(to_cxx(constant)->value()); });
}
zorvel_function_value zorvel_constant_get_value_of_instance(zorvel_constant constant,
                                                            zorvel_instance instance) {
  return at_boundary(
      [&] { return to_handle<zorvel_function_value>(to_cxx(constant)->value(*to_cxx(instance))); });
}
char* zorvel_constant_get_anml(zorvel_constant constant) {
  return at_boundary([&] { return to_streamed_text(*to_cxx(constant)); });
}

zorvel_instance zorvel_instance_new(zorvel_env env, const char* name, zorvel_type type) {
  return at_boundary([&] {
    return to_handle<zorvel_instance>(
        to_cxx(env).model_factory().make_instance(to_text(name, "name"), to_user_type(type)));
  });
}
const char* zorvel_instance_get_name(zorvel_instance instance) {
  return at_boundary([&] { return to_cxx(instance)->name().c_str(); });
}
zorvel_type zorvel_instance_get_type(zorvel_instance instance) {
  return at_boundary([&] { return to_handle<zorvel_type>(to_cxx(instance)->type()); });
}

zorvel_action zorvel_action_new(zorvel_env env, const char* name, const char* const* path, int n,
                                const zorvel_param* params, int m, const zorvel_expr* expressions, int k,
                                const zorvel_simulated_effect* effects, int j) {
  return at_boundary([&] {
    return to_handle<zorvel_action>(to_cxx(env).model_factory().make_action(
        to_text(name, "name"), to_texts(path, n, "path"), false, to_vector(params, m, "params"),
        to_vector(expressions, k, "expressions"), to_vector(effects, j, "effects")));
  });
}
const char* zorvel_action_get_name(zorvel_action action) {
  return at_boundary([&] { return to_cxx(action)->name().c_str(); });
}
zorvel_param_iter zorvel_action_get_parameters(zorvel_action action) {
  return at_boundary([&] { return to_iterator<zorvel_param_iter>(to_cxx(action)->parameters()); });
}
zorvel_expr_iter zorvel_action_get_expressions(zorvel_action action) {
  return at_boundary([&] { return to_iterator<zorvel_expr_iter>(to_cxx(action)->expressions()); });
}
int zorvel_action_is_temporally_uncertain(zorvel_action action) {
  return at_boundary([&] { return to_cxx(action)->is_temporally_uncertain(false) ? 1 : 0; });
}
}
