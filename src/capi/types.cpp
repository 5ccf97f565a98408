#include <unordered_set>
#include <vector>

#include "capi/frame.h"
#include "model/model_factory.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;
using model::IntegerTypeBase;
using model::ModelFactory;
using model::RationalTypeBase;
using model::TypeBase;

namespace {

template <class Make>
zorvel_type make_type(zorvel_env env, Make&& make) {
  return at_boundary([&] { return to_handle<zorvel_type>(make(to_cxx(env).model_factory())); });
}
template <class Test>
int test(zorvel_type type, Test&& holds) {
  return at_boundary([&] { return holds(*to_cxx(type)) ? 1 : 0; });
}
template <class Change>
int change(zorvel_type type, Change&& apply) {
  return at_boundary([&] {
    apply(*to_user_type(type));
    return 0;
  });
}

/// Refuses `part`, a parent or a nested type, if `whole` is reached from it. Types own their parents and what
/// they hold, so a circle would never be freed, and whoever goes from type to type would never end.
void refuse_circle(const model::UserTypeImpl& whole, const model::UserTypeImpl& part, const char* problem) {
  std::vector<const model::UserTypeImpl*> open{&part};
  std::unordered_set<const model::UserTypeImpl*> seen{&part};
  const auto enter = [&](const model::UserTypeImpl* type) {
    if (type != nullptr && seen.insert(type).second) open.push_back(type);
  };
  while (!open.empty()) {
    const model::UserTypeImpl& type = *open.back();
    open.pop_back();
    if (&type == &whole) throw InvalidParameterError("The type '") << whole.name() << "' " << problem;
    for (const auto& [name, nested] : type.user_types()) enter(nested.get());
    for (const auto& base : type.base_types()) enter(dynamic_cast<const model::UserTypeImpl*>(base.get()));
  }
}

rational exact(float value) { return rational(static_cast<double>(value)); }

/// Applies `holds` to the type if it is numeric.
template <class Test>
bool if_numeric(const TypeBase& type, Test&& holds) {
  if (type.is_integer()) return holds(static_cast<const IntegerTypeBase&>(type));
  if (type.is_rational()) return holds(static_cast<const RationalTypeBase&>(type));
  return false;
}

/// Stores the bound that `read` finds in an integer type.
template <class Read>
int integer_bound(zorvel_type type, long* out, Read&& read) {
  return at_boundary([&] {
    const auto object = to_cxx(type);
    if (!object->is_integer()) throw InvalidParameterError("The given type is not an integer!");
    const integer& bound = read(static_cast<const IntegerTypeBase&>(*object));
    to_place(out, "out") = static_cast<long>(bound);
    return 0;
  });
}
template <class Read>
int rational_bound(zorvel_type type, long* num, long* den, Read&& read) {
  return at_boundary([&] {
    const auto object = to_cxx(type);
    if (!object->is_rational()) throw InvalidParameterError("The given type is not an rational!");
    const rational& bound = read(static_cast<const RationalTypeBase&>(*object));
    long& numerator = to_place(num, "num");
    to_place(den, "den") = static_cast<long>(bound.denominator());
    numerator = static_cast<long>(bound.numerator());
    return 0;
  });
}

constexpr auto lower_of = [](const auto& type) -> const auto& { return type.lower_bound(); };
constexpr auto upper_of = [](const auto& type) -> const auto& { return type.upper_bound(); };

}  // namespace

extern "C" {

zorvel_type zorvel_boolean_type(zorvel_env env) {
  return make_type(env, [](ModelFactory& factory) { return factory.make_boolean_type(); });
}
zorvel_type zorvel_integer_type(zorvel_env env) {
  return make_type(env, [](ModelFactory& factory) { return factory.make_integer_type(); });
}
zorvel_type zorvel_integer_type_lb(zorvel_env env, int lb) {
  return make_type(env, [&](ModelFactory& factory) { return factory.make_integer_type(integer(lb), true); });
}
zorvel_type zorvel_integer_type_ub(zorvel_env env, int ub) {
  return make_type(env, [&](ModelFactory& factory) { return factory.make_integer_type(integer(ub), false); });
}
zorvel_type zorvel_integer_type_lub(zorvel_env env, int lb, int ub) {
  return make_type(
      env, [&](ModelFactory& factory) { return factory.make_integer_type(integer(lb), integer(ub)); });
}
zorvel_type zorvel_rational_type(zorvel_env env) {
  return make_type(env, [](ModelFactory& factory) { return factory.make_rational_type(); });
}
zorvel_type zorvel_rational_type_lb(zorvel_env env, float lb) {
  return make_type(env, [&](ModelFactory& factory) { return factory.make_rational_type(exact(lb), true); });
}
zorvel_type zorvel_rational_type_ub(zorvel_env env, float ub) {
  return make_type(env, [&](ModelFactory& factory) { return factory.make_rational_type(exact(ub), false); });
}
zorvel_type zorvel_rational_type_lub(zorvel_env env, float lb, float ub) {
  return make_type(env,
                   [&](ModelFactory& factory) { return factory.make_rational_type(exact(lb), exact(ub)); });
}
zorvel_type zorvel_user_type_new(zorvel_env env, const char* name) {
  return make_type(env, [&](ModelFactory& factory) { return factory.make_user_type(to_text(name, "name")); });
}

const char* zorvel_type_get_name(zorvel_type type) {
  return at_boundary([&] { return to_cxx(type)->reference_name().c_str(); });
}
int zorvel_type_is_boolean(zorvel_type type) {
  return test(type, [](const TypeBase& object) { return object.is_boolean(); });
}
int zorvel_type_is_integer(zorvel_type type) {
  return test(type, [](const TypeBase& object) { return object.is_integer(); });
}
int zorvel_type_is_rational(zorvel_type type) {
  return test(type, [](const TypeBase& object) { return object.is_rational(); });
}
int zorvel_type_is_user(zorvel_type type) {
  return test(type, [](const TypeBase& object) { return object.is_user_defined(); });
}
int zorvel_type_is_finite_domain(zorvel_type type) {
  return test(type, [](const TypeBase& object) { return object.is_finite_domain(); });
}
int zorvel_type_has_lower_bound(zorvel_type type) {
  return test(type, [](const TypeBase& object) {
    return if_numeric(object, [](const auto& numeric) { return numeric.has_lower_bound(); });
  });
}
int zorvel_type_has_upper_bound(zorvel_type type) {
  return test(type, [](const TypeBase& object) {
    return if_numeric(object, [](const auto& numeric) { return numeric.has_upper_bound(); });
  });
}
int zorvel_type_get_integer_lower_bound(zorvel_type type, long* out) {
  return integer_bound(type, out, lower_of);
}
int zorvel_type_get_integer_upper_bound(zorvel_type type, long* out) {
  return integer_bound(type, out, upper_of);
}
int zorvel_type_get_rational_lower_bound(zorvel_type type, long* num, long* den) {
  return rational_bound(type, num, den, lower_of);
}
int zorvel_type_get_rational_upper_bound(zorvel_type type, long* num, long* den) {
  return rational_bound(type, num, den, upper_of);
}

int zorvel_user_type_add_base_type(zorvel_type type, zorvel_type base) {
  return change(type, [&](model::UserTypeImpl& object) {
    const auto parent = to_user_type(base);
    refuse_circle(object, *parent, "would inherit from itself");
    object.add_base_type(parent);
  });
}
int zorvel_user_type_add_user_type(zorvel_type type, zorvel_type inner) {
  return change(type, [&](model::UserTypeImpl& object) {
    const auto nested = to_user_type(inner);
    refuse_circle(object, *nested, "would lie inside of itself");
    object.add_user_type(nested);
  });
}
int zorvel_user_type_add_fluent(zorvel_type type, zorvel_fluent fluent) {
  return change(type, [&](model::UserTypeImpl& object) { object.add_fluent(to_cxx(fluent)); });
}
int zorvel_user_type_add_constant(zorvel_type type, zorvel_constant constant) {
  return change(type, [&](model::UserTypeImpl& object) { object.add_constant(to_cxx(constant)); });
}
int zorvel_user_type_add_action(zorvel_type type, zorvel_action action) {
  return change(type, [&](model::UserTypeImpl& object) { object.add_action(to_cxx(action)); });
}
}
