#include <gtest/gtest.h>

#include <sstream>

#include "core/environment.h"
#include "core/errors.h"
#include "model/model_factory.h"
#include "test_helpers.h"

namespace zorvel::model {
namespace {

class Types : public testing::Test {
 protected:
  Environment env;
  ModelFactory& make = env.model_factory();
};

TEST_F(Types, PrintAsWrittenInAnmlAndKnowWhichDomainsAreFinite) {
  const struct {
    TypePtr type;
    const char* name;
    bool is_finite;
  } rows[] = {
      {make.make_boolean_type(), "boolean", true},
      {std::make_shared<StringTypeBase>(), "string", false},
      {make.make_integer_type(), "integer", false},
      {make.make_integer_type(integer(-2), true), "integer [-2, infinity]", false},
      {make.make_integer_type(integer(5), false), "integer [-infinity, 5]", false},
      {make.make_integer_type(integer(0), integer(3)), "integer [0, 3]", true},
      {make.make_rational_type(), "float", false},
      {make.make_rational_type(rational("1/2"), true), "float [1/2, infinity]", false},
      {make.make_rational_type(rational(5), false), "float [-infinity, 5]", false},
      {make.make_rational_type(rational(0), rational(1)), "float [0, 1]", false},
      {make.make_rational_type(rational(3), rational(3)), "float [3, 3]", true},
      {make.make_set_type(make.make_integer_type(integer(0), integer(3))), "set(integer [0, 3])", true},
      {make.make_set_type(make.make_integer_type()), "set(integer)", false},
      {make.make_user_type("Car"), "Car", true},
      {make.make_unresolved_type("Car"), "unresolved<Car>", true},
  };
  for (const auto& row : rows) {
    std::ostringstream printed;
    printed << row.type;
    EXPECT_EQ(printed.str(), row.name);
    EXPECT_EQ(row.type->is_finite_domain(), row.is_finite) << row.name;
  }
  EXPECT_TRUE(make.make_unresolved_type("Car")->is_unresolved());
  EXPECT_FALSE(make.make_unresolved_type("Car")->is_user_defined());
}

TEST_F(Types, AreOneObjectForEachDistinctType) {
  EXPECT_EQ(make.make_integer_type(), make.make_integer_type());
  EXPECT_EQ(make.make_integer_type(integer(0), integer(3)), make.make_integer_type(integer(0), integer(3)));
  EXPECT_NE(make.make_integer_type(integer(0), integer(3)), make.make_integer_type(integer(0), integer(4)));
  EXPECT_NE(make.make_integer_type(integer(3), true), make.make_integer_type(integer(3), false));
  EXPECT_EQ(make.make_rational_type(rational("2/4"), true), make.make_rational_type(rational("1/2"), true));
  EXPECT_EQ(make.make_set_type(make.make_boolean_type()), make.make_set_type(make.make_boolean_type()));
  EXPECT_EQ(make.make_unresolved_type("T"), make.make_unresolved_type("T"));
  // A plain number as upper bound must not be taken for the flag of the form with one bound.
  EXPECT_EQ(make.make_integer_type(integer(0), 1), make.make_integer_type(integer(0), integer(1)));
}

TEST_F(Types, GiveTheirBoundsOrSayThatThereIsNone) {
  const auto at_most = std::static_pointer_cast<IntegerTypeBase>(make.make_integer_type(integer(5), false));
  EXPECT_EQ(at_most->upper_bound(), integer(5));
  expect_error<InvalidParameterError>([&] { at_most->lower_bound(); }, "No lower bound exists.");
  const auto at_least =
      std::static_pointer_cast<RationalTypeBase>(make.make_rational_type(rational(5), true));
  EXPECT_EQ(at_least->lower_bound(), rational(5));
  expect_error<InvalidParameterError>([&] { at_least->upper_bound(); }, "No upper bound exists.");

  EXPECT_TRUE(within_bounds(*at_most, rational(5)));
  EXPECT_FALSE(within_bounds(*at_most, rational("51/10")));
  EXPECT_TRUE(within_bounds(*at_least, rational(5)));
  EXPECT_FALSE(within_bounds(*at_least, rational("49/10")));
  EXPECT_TRUE(within_bounds(*make.make_boolean_type(), rational(7)));
}

TEST_F(Types, AreDerivedFromTheirParentsAndOnlyTransitivelyFromFurtherOnes) {
  const auto thing = make.make_user_type("Thing"), car = make.make_user_type("Car"),
             taxi = make.make_user_type("Taxi"), other = make.make_user_type("Other");
  car->add_base_type(thing);
  taxi->add_base_type(car);
  EXPECT_TRUE(taxi->is_derived_from(car, false));
  EXPECT_FALSE(taxi->is_derived_from(thing, false));
  EXPECT_TRUE(taxi->is_derived_from(thing, true));
  EXPECT_FALSE(thing->is_derived_from(taxi, true));
  thing->add_base_type(taxi);  // a circle, as a text may declare it, is no endless walk
  EXPECT_FALSE(taxi->is_derived_from(other, true));
  EXPECT_TRUE(taxi->is_derived_from(taxi, true));
  thing->clear_base_types();
}

TEST_F(Types, ReplaceAParentInItsPlaceWithoutDoubling) {
  const auto car = make.make_user_type("Car"), a = make.make_user_type("A"), b = make.make_user_type("B");
  const auto unresolved = make.make_unresolved_type("A");
  car->add_base_type(unresolved);
  car->add_base_type(b);
  car->add_base_type(b);
  car->resolve_base_type(unresolved, a);
  EXPECT_EQ(car->base_types(), (std::vector<TypePtr>{a, b}));
  car->resolve_base_type(a, b);
  EXPECT_EQ(car->base_types(), std::vector<TypePtr>{b});
}

TEST_F(Types, OfOneNameAreSharedUntilAReaderDeclaresTheNameAfresh) {
  auto first = make.make_user_type("Car");
  EXPECT_EQ(make.make_user_type("Car"), first);
  const auto second = make.make_fresh_user_type("Car");
  EXPECT_NE(first, second);
  EXPECT_EQ(make.make_user_type("Car"), second);
  first.reset();  // the older type takes no entry away that is not its own
  EXPECT_EQ(make.make_user_type("Car"), second);

  const auto object = make.make_fresh_user_type("object");
  EXPECT_EQ(make.make_object_type(), object);
  EXPECT_EQ(make.make_user_type("object"), object);
}

TEST_F(Types, OfAScopeRefuseANameOfAnyKindTwice) {
  const auto scope = make.make_user_type("Scope");
  const TypePtr boolean = make.make_boolean_type();
  scope->add_fluent(make.make_fluent("f", boolean, {}, {}));
  scope->add_constant(make.make_constant("c", boolean, {}, {}, {}));
  scope->add_user_type(make.make_user_type("T"));
  scope->add_action(make.make_action("a", {}, false, {}, {}, {}));
  for (const std::string name : {"f", "c", "T", "a"}) {
    EXPECT_TRUE(scope->has_name(name));
    const std::string text = "Name '" + name + "' already defined in this scope";
    expect_error<RedefinitionError>([&] { scope->add_fluent(make.make_fluent(name, boolean, {}, {})); },
                                    text);
    expect_error<RedefinitionError>(
        [&] { scope->add_constant(make.make_constant(name, boolean, {}, {}, {})); }, text);
    expect_error<RedefinitionError>([&] { scope->add_user_type(make.make_user_type(name)); }, text);
    expect_error<RedefinitionError>([&] { scope->add_action(make.make_action(name, {}, false, {}, {}, {})); },
                                    text);
  }
  const TypePtr digit = make.make_integer_type(integer(0), integer(3));
  scope->add_set_type(make.make_set_type(make.make_user_type("T")));
  scope->add_set_type(make.make_set_type(digit));
  EXPECT_TRUE(scope->has_set_type(digit));
  expect_error<RedefinitionError>([&] { scope->add_set_type(make.make_set_type(digit)); },
                                  "Set type 'set(integer [0, 3])' already defined in this scope");
}

}  // namespace
}  // namespace zorvel::model
