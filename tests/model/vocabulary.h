#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/environment.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/type_checker.h"
#include "test_helpers.h"

namespace zorvel::model {

/// A small world to build expressions in.
class Vocabulary {
 public:
  using Fluent = std::shared_ptr<FluentImpl>;
  using Constant = std::shared_ptr<ConstantImpl>;

  Node* boolean(const std::string& name) { return reference(fluent(name, m.make_boolean_type())); }
  Node* integer_in(const std::string& name, long lower, long upper) {
    return reference(fluent(name, m.make_integer_type(integer(lower), integer(upper))));
  }
  Node* real(const std::string& name) { return reference(fluent(name, m.make_rational_type())); }
  Node* of_type(const std::string& name, const TypePtr& type) { return reference(fluent(name, type)); }

  Fluent fluent(const std::string& name, const TypePtr& type, const std::vector<TypePtr>& parameters = {}) {
    return m.make_fluent(name, type, {}, formal(parameters));
  }
  Constant constant(const std::string& name, const TypePtr& type,
                    const std::vector<TypePtr>& parameters = {}) {
    return m.make_constant(name, type, {}, formal(parameters), {});
  }
  Node* object(const std::string& name) {
    const auto instance = m.make_instance(name, place);
    objects_.push_back(instance);
    return f.make_instance_reference(instance);
  }
  Node* reference(const Fluent& fluent, const std::vector<Node*>& arguments = {}) {
    fluents_.push_back(fluent);
    return f.make_fluent_reference(fluent, arguments);
  }
  Node* reference(const Constant& constant, const std::vector<Node*>& arguments = {}) {
    constants_.push_back(constant);
    return f.make_constant_reference(constant, arguments);
  }
  Node* number(long value) { return f.make_integer_constant(integer(value)); }
  Node* fraction(long numerator, long denominator = 1) {
    return f.make_rational_constant(rational(integer(numerator), integer(denominator)));
  }

  Environment env;

 private:
  // Expressions do not keep alive what they refer to. Before the members below, which are made with them.
  std::vector<Fluent> fluents_;
  std::vector<Constant> constants_;
  std::vector<std::shared_ptr<InstanceImpl>> objects_;

 public:
  ExpressionFactory& f = env.expression_factory();
  ModelFactory& m = env.model_factory();
  std::shared_ptr<UserTypeImpl> place = m.make_user_type("Place");
  Node* const yes = f.make_boolean_constant(true);
  Node* const no = f.make_boolean_constant(false);
  Node* const home = object("home");
  Node* const work = object("work");
  Node* const a = boolean("a");
  Node* const b = boolean("b");
  Node* const c = boolean("c");
  Node* const d = boolean("d");
  Node* const x = integer_in("x", 0, 10);
  Node* const y = integer_in("y", 0, 10);
  Node* const r = real("r");

 private:
  ParameterVector formal(const std::vector<TypePtr>& types) {
    ParameterVector parameters;
    for (const TypePtr& type : types)
      parameters.push_back(std::make_shared<ParameterImpl>("p" + std::to_string(parameters.size()), type));
    return parameters;
  }
};

/// An expression and what a walker should make of it.
struct Row {
  Node* input;
  Node* expected;
};

template <class Walker>
void expect_rows(const Walker& walker, const std::vector<Row>& rows) {
  for (const Row& row : rows)
    EXPECT_EQ(to_anml(walker(row.input)), to_anml(row.expected)) << "of " << to_anml(row.input);
  for (const Row& row : rows) EXPECT_EQ(walker(row.input), row.expected) << "of " << to_anml(row.input);
}

}  // namespace zorvel::model
