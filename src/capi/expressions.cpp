#include "capi/frame.h"
#include "model/expression_factory.h"
#include "model/type_checker.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;
using model::ExpressionFactory;

namespace {

/// What `make` makes with the factory, type-checked. An ill-typed node stays in the factory's table.
template <class Make>
zorvel_expr make_checked(zorvel_env env, Make&& make) {
  return at_boundary([&] {
    Environment& environment = to_cxx(env);
    Node* node = make(environment.expression_factory());
    environment.type_checker()(node);
    return to_handle(node);
  });
}

template <class Test>
int test(zorvel_env env, zorvel_expr expr, Test&& is_of_kind) {
  return at_boundary([&] { return is_of_kind(to_cxx(env).expression_factory(), to_cxx(expr)) ? 1 : 0; });
}

}  // namespace

extern "C" {

#define ZORVEL_MAKE_LEAF(name)                                                                  \
  zorvel_expr zorvel_expr_make_##name(zorvel_env env) {                                         \
    return make_checked(env, [](ExpressionFactory& factory) { return factory.make_##name(); }); \
  }
#define ZORVEL_MAKE_UNARY(name)                                                                           \
  zorvel_expr zorvel_expr_make_##name(zorvel_env env, zorvel_expr a) {                                    \
    return make_checked(env, [&](ExpressionFactory& factory) { return factory.make_##name(to_cxx(a)); }); \
  }
#define ZORVEL_MAKE_BINARY(name)                                                      \
  zorvel_expr zorvel_expr_make_##name(zorvel_env env, zorvel_expr a, zorvel_expr b) { \
    return make_checked(env, [&](ExpressionFactory& factory) {                        \
      Node* left = to_cxx(a);                                                         \
      return factory.make_##name(left, to_cxx(b));                                    \
    });                                                                               \
  }
#define ZORVEL_TEST(name)                                                           \
  int zorvel_expr_is_##name(zorvel_env env, zorvel_expr expr) {                     \
    return test(env, expr, [](const ExpressionFactory& factory, const Node* node) { \
      (void)factory;                                                                \
      return factory.is_##name(node);                                               \
    });                                                                             \
  }

zorvel_expr zorvel_expr_make_true(zorvel_env env) {
  return make_checked(env, [](ExpressionFactory& factory) { return factory.make_boolean_constant(true); });
}
zorvel_expr zorvel_expr_make_false(zorvel_env env) {
  return make_checked(env, [](ExpressionFactory& factory) { return factory.make_boolean_constant(false); });
}
ZORVEL_MAKE_LEAF(start_anchor)
ZORVEL_MAKE_LEAF(end_anchor)
ZORVEL_MAKE_LEAF(duration_anchor)
ZORVEL_MAKE_UNARY(not )
ZORVEL_MAKE_UNARY(point_interval)
ZORVEL_MAKE_BINARY(and)
ZORVEL_MAKE_BINARY(or)
ZORVEL_MAKE_BINARY(iff)
ZORVEL_MAKE_BINARY(imply)
ZORVEL_MAKE_BINARY(equals)
ZORVEL_MAKE_BINARY(lt)
ZORVEL_MAKE_BINARY(le)
ZORVEL_MAKE_BINARY(gt)
ZORVEL_MAKE_BINARY(ge)
ZORVEL_MAKE_BINARY(plus)
ZORVEL_MAKE_BINARY(minus)
ZORVEL_MAKE_BINARY(times)
ZORVEL_MAKE_BINARY(div)
ZORVEL_MAKE_BINARY(assign)
ZORVEL_MAKE_BINARY(in_assign)
ZORVEL_MAKE_BINARY(scoping)
ZORVEL_MAKE_BINARY(open_interval)
ZORVEL_MAKE_BINARY(closed_interval)
ZORVEL_MAKE_BINARY(left_open_interval)
ZORVEL_MAKE_BINARY(right_open_interval)
ZORVEL_MAKE_BINARY(temporal_expression)

zorvel_expr zorvel_expr_make_integer_constant(zorvel_env env, long value) {
  return make_checked(
      env, [&](ExpressionFactory& factory) { return factory.make_integer_constant(integer(value)); });
}
zorvel_expr zorvel_expr_make_rational_constant(zorvel_env env, long num, long den) {
  return make_checked(env, [&](ExpressionFactory& factory) {
    return factory.make_rational_constant(rational(integer(num), integer(den)));
  });
}
zorvel_expr zorvel_expr_make_rational_constant_from_float(zorvel_env env, double value) {
  return make_checked(
      env, [&](ExpressionFactory& factory) { return factory.make_rational_constant(rational(value)); });
}

zorvel_expr zorvel_expr_make_contains(zorvel_env env, zorvel_expr interval) {
  return make_checked(
      env, [&](ExpressionFactory& factory) { return factory.make_contains(to_cxx(interval), nullptr, {}); });
}
zorvel_expr zorvel_expr_make_contains_with_label(zorvel_env env, zorvel_expr interval, const char* label) {
  return make_checked(env, [&](ExpressionFactory& factory) {
    return factory.make_contains(to_cxx(interval), nullptr, to_text(label, "label"));
  });
}
zorvel_expr zorvel_expr_make_contains_with_duration(zorvel_env env, zorvel_expr interval,
                                                    zorvel_expr duration) {
  return make_checked(env, [&](ExpressionFactory& factory) {
    return factory.make_contains(to_cxx(interval), to_cxx(duration), {});
  });
}

zorvel_expr zorvel_expr_make_fluent_reference(zorvel_env env, zorvel_fluent fluent, const zorvel_expr* args,
                                              unsigned int n) {
  return make_checked(env, [&](ExpressionFactory& factory) {
    return factory.make_fluent_reference(to_cxx(fluent), to_vector(args, n, "args"));
  });
}
zorvel_expr zorvel_expr_make_constant_reference(zorvel_env env, zorvel_constant constant,
                                                const zorvel_expr* args, unsigned int n) {
  return make_checked(env, [&](ExpressionFactory& factory) {
    return factory.make_constant_reference(to_cxx(constant), to_vector(args, n, "args"));
  });
}
zorvel_expr zorvel_expr_make_parameter_reference(zorvel_env env, zorvel_param param) {
  return make_checked(
      env, [&](ExpressionFactory& factory) { return factory.make_parameter_reference(to_cxx(param)); });
}
zorvel_expr zorvel_expr_make_instance_reference(zorvel_env env, zorvel_instance instance) {
  return make_checked(
      env, [&](ExpressionFactory& factory) { return factory.make_instance_reference(to_cxx(instance)); });
}

ZORVEL_TEST(and)
ZORVEL_TEST(or)
ZORVEL_TEST(not )
ZORVEL_TEST(imply)
ZORVEL_TEST(iff)
ZORVEL_TEST(equals)
ZORVEL_TEST(lt)
ZORVEL_TEST(le)
ZORVEL_TEST(gt)
ZORVEL_TEST(ge)
ZORVEL_TEST(plus)
ZORVEL_TEST(minus)
ZORVEL_TEST(times)
ZORVEL_TEST(div)
ZORVEL_TEST(assign)
ZORVEL_TEST(in_assign)
ZORVEL_TEST(contains)
ZORVEL_TEST(temporal_expression)
ZORVEL_TEST(open_interval)
ZORVEL_TEST(closed_interval)
ZORVEL_TEST(left_open_interval)
ZORVEL_TEST(right_open_interval)
ZORVEL_TEST(point_interval)
ZORVEL_TEST(start_anchor)
ZORVEL_TEST(end_anchor)
ZORVEL_TEST(duration_anchor)
ZORVEL_TEST(boolean_constant)
ZORVEL_TEST(integer_constant)
ZORVEL_TEST(rational_constant)
ZORVEL_TEST(fluent_reference)
ZORVEL_TEST(constant_reference)
ZORVEL_TEST(parameter_reference)
ZORVEL_TEST(instance_reference)

int zorvel_expr_get_boolean_constant(zorvel_env env, zorvel_expr expr) {
  return at_boundary(
      [&] { return to_cxx(env).expression_factory().get_boolean_constant(to_cxx(expr)) ? 1 : 0; });
}
int zorvel_expr_get_integer_constant(zorvel_env env, zorvel_expr expr, long* value) {
  return at_boundary([&] {
    const integer& number = to_cxx(env).expression_factory().get_integer_constant(to_cxx(expr));
    to_place(value, "value") = static_cast<long>(number);
    return 0;
  });
}
int zorvel_expr_get_rational_constant(zorvel_env env, zorvel_expr expr, long* num, long* den) {
  return at_boundary([&] {
    const rational& number = to_cxx(env).expression_factory().get_rational_constant(to_cxx(expr));
    long& numerator = to_place(num, "num");
    to_place(den, "den") = static_cast<long>(number.denominator());
    numerator = static_cast<long>(number.numerator());
    return 0;
  });
}

zorvel_fluent zorvel_expr_get_fluent(zorvel_env env, zorvel_expr expr) {
  return at_boundary([&] {
    return to_handle<zorvel_fluent>(to_cxx(env).expression_factory().get_fluent_from_reference(to_cxx(expr)));
  });
}
zorvel_constant zorvel_expr_get_constant(zorvel_env env, zorvel_expr expr) {
  return at_boundary([&] {
    return to_handle<zorvel_constant>(
        to_cxx(env).expression_factory().get_constant_from_reference(to_cxx(expr)));
  });
}
zorvel_param zorvel_expr_get_parameter(zorvel_env env, zorvel_expr expr) {
  return at_boundary([&] {
    return to_handle<zorvel_param>(
        to_cxx(env).expression_factory().get_parameter_from_reference(to_cxx(expr)));
  });
}
zorvel_instance zorvel_expr_get_instance(zorvel_env env, zorvel_expr expr) {
  return at_boundary([&] {
    return to_handle<zorvel_instance>(
        to_cxx(env).expression_factory().get_instance_from_reference(to_cxx(expr)));
  });
}

int zorvel_expr_get_arity(zorvel_expr expr) {
  return at_boundary([&] { return static_cast<int>(to_cxx(expr)->arity); });
}
zorvel_expr zorvel_expr_get_child(zorvel_expr expr, unsigned int i) {
  return at_boundary([&] {
    const Node* node = to_cxx(expr);
    if (i >= node->arity) refuse_index(i, node->arity, "operands");
    return to_handle(node->children[i]);
  });
}
unsigned int zorvel_expr_get_hash(zorvel_expr expr) {
  return at_boundary([&] {
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(to_cxx(expr)) & 0xffffffffU);
  });
}
int zorvel_expr_equality(zorvel_expr a, zorvel_expr b) {
  return at_boundary([&] { return to_cxx(a) == to_cxx(b) ? 1 : 0; });
}
char* zorvel_expr_get_anml(zorvel_expr expr) {
  return at_boundary([&] { return to_c_text(model::to_anml(to_cxx(expr))); });
}
}
