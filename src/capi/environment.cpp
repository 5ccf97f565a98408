#include "capi/frame.h"
#include "core/planner_options.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

template <class Value>
int set_option(zorvel_env env, const char* key, const Value& value) {
  return at_boundary([&] {
    to_cxx(env).configuration().set_value(to_text(key, "key"), value);
    return 0;
  });
}

const OptionRow& option_row(std::size_t i) {
  const std::span<const OptionRow> rows = planner_options();
  if (i >= rows.size()) refuse_index(i, rows.size(), "options");
  return rows[i];
}

zorvel_option_kind to_c(OptionKind kind) {
  switch (kind) {
    case OptionKind::boolean: return ZORVEL_BOOLEAN_OPTION;
    case OptionKind::integer: return ZORVEL_INTEGER_OPTION;
    case OptionKind::real: return ZORVEL_FLOAT_OPTION;
    case OptionKind::texts: return ZORVEL_VECTOR_STRING_OPTION;
    case OptionKind::text:
    case OptionKind::positional_text: break;
  }
  return ZORVEL_STRING_OPTION;
}

}  // namespace

extern "C" {

int zorvel_option_get_num(void) { return static_cast<int>(planner_options().size()); }
const char* zorvel_option_get_key(unsigned int i) {
  return at_boundary([&] { return option_row(i).key.data(); });
}
int zorvel_option_get_kind(unsigned int i) {
  return at_boundary([&] { return static_cast<int>(to_c(option_row(i).kind)); });
}

zorvel_env zorvel_env_new(void) {
  return at_boundary([] { return zorvel_env{std::make_unique<Environment>().release()}; });
}
int zorvel_env_destroy(zorvel_env env) {
  return at_boundary([&] {
    std::unique_ptr<Environment>(static_cast<Environment*>(env.repr));
    return 0;
  });
}

int zorvel_env_set_boolean_option(zorvel_env env, const char* key, int value) {
  return set_option(env, key, value != 0);
}
int zorvel_env_set_integer_option(zorvel_env env, const char* key, int value) {
  return set_option(env, key, static_cast<long>(value));
}
int zorvel_env_set_float_option(zorvel_env env, const char* key, float value) {
  return set_option(env, key, static_cast<double>(value));
}
int zorvel_env_set_string_option(zorvel_env env, const char* key, const char* value) {
  return at_boundary([&] {
    to_cxx(env).configuration().set_value(to_text(key, "key"), to_text(value, "value"));
    return 0;
  });
}
int zorvel_env_set_vector_string_option(zorvel_env env, const char* key, const char* const* values, int n) {
  return at_boundary([&] {
    to_cxx(env).configuration().set_value(to_text(key, "key"), to_texts(values, n, "values"));
    return 0;
  });
}

int zorvel_env_get_warnings_num(zorvel_env env) {
  return at_boundary([&] { return static_cast<int>(to_cxx(env).warning_manager().warnings().size()); });
}
const char* zorvel_env_get_warning(zorvel_env env, unsigned int i) {
  return at_boundary([&] { return at(to_cxx(env).warning_manager().warnings(), i, "warnings").c_str(); });
}
}
