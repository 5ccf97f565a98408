#include "solver/term/term_manager.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

#include "solver/term/polarity_checker.h"
#include "solver/term/poly.h"
#include "solver/term/substitute.h"

namespace vesk {
namespace {

class TermManagerTest : public ::testing::Test {
 protected:
  Term boolean(const char* name) { return constant(name, terms.types().boolean()); }
  Term real(const char* name) { return constant(name, terms.types().rational()); }
  Term integer(const char* name) { return constant(name, terms.types().integer()); }
  Term number(const char* text) {
    QNumber value;
    EXPECT_TRUE(QNumber::from_str(text, &value)) << text;
    return terms.make_number(value);
  }
  Term constant(const char* name, const Type* type) { return terms.make_constant(terms.declare(name, type)); }
  Term times(const char* factor, Term term) {
    const Term f = number(factor);
    return terms.make_times(f, term);
  }
  Term leq(Term a, Term b) { return terms.make_leq(a, b); }

  template <typename F>
  static std::string error_of(F&& call) {
    try {
      call();
    } catch (const Exception& error) {
      return error.get_msg();
    }
    return "no error";
  }

  TermManager terms;
};

TEST_F(TermManagerTest, BooleanConstructorsFindLocalNormalForms) {
  const Term x = boolean("x"), y = boolean("y"), t = terms.make_true(), f = terms.make_false();
  const Term not_x = terms.make_not(x);
  EXPECT_EQ(terms.make_not(not_x), x);
  EXPECT_EQ(terms.make_and(x, not_x), f);
  EXPECT_EQ(terms.make_or(not_x, x), t);
  EXPECT_EQ(terms.make_iff(x, not_x), f);
  EXPECT_EQ(terms.make_iff(f, x), not_x);
  EXPECT_EQ(terms.make_iff(not_x, f), x);
  EXPECT_EQ(terms.make_and(t, x), x);
  EXPECT_EQ(terms.make_or(x, t), t);
  EXPECT_EQ(terms.make_and(x, x), x);
  EXPECT_EQ(terms.make_and(y, x), terms.make_and(x, y));
  EXPECT_EQ(terms.make_and(y, x)->to_str(), "(and x y)");
}

TEST_F(TermManagerTest, LinearAtomsHaveOneForm) {
  const Term x = real("x"), y = real("y"), i = integer("i"), j = integer("j");
  const auto sum = [&](Term a, Term b) { return terms.make_plus(a, b); };
  const struct {
    Term atom;
    const char* text;
  } cases[] = {
      {leq(times("2", i), number("3")), "(<=_int i 1)"},
      {leq(number("3"), times("2", i)), "(<=_int 2 i)"},
      {leq(number("2"), times("2", i)), "(<=_int 1 i)"},
      {terms.make_equal(times("2", i), number("1")), "false"},
      {terms.make_equal(times("2", x), number("1")), "(=_rat x 1/2)"},
      {leq(sum(x, number("1")), x), "false"},
      {leq(x, sum(x, number("1"))), "true"},
      {leq(sum(times("2", x), times("2", y)), number("3")), "(<=_rat (+_rat x y) 3/2)"},
      {leq(sum(times("2", i), times("2", j)), number("3")), "(<=_int (+_int i j) 1)"},
      {leq(times("-1/2", x), times("1/3", y)), "(<=_rat 0 (+_rat (*_rat 2 y) (*_rat 3 x)))"},
      {terms.make_equal(x, y), "(=_rat (+_rat x (*_rat -1 y)) 0)"},
      {leq(i, number("5/2")), "(<=_int i 2)"},
      {leq(times("1/2", i), x), "(<=_rat 0 (+_rat (*_rat 2 x) (*_int -1 i)))"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.atom->to_str(), c.text);
  EXPECT_EQ(leq(sum(y, x), number("3")), leq(sum(times("2", x), times("2", y)), number("6")));
}

TEST_F(TermManagerTest, BigNumbersComeBackSmallAndAreTheSameTerm) {
  const Term big = number("9223372036854775808");
  const Term five = terms.make_plus(terms.make_plus(big, number("5")), times("-1", big));
  EXPECT_EQ(five, number("5"));
  EXPECT_EQ(number("9223372036854775807")->to_str(), "9223372036854775807");
  const Term largest = number("9223372036854775807");
  EXPECT_EQ(terms.make_plus(largest, largest)->to_str(), "18446744073709551614");
  EXPECT_EQ(number("-0"), number("0"));
  EXPECT_EQ(number("007"), number("7"));
  EXPECT_EQ(number("0.50"), number("1/2"));
  EXPECT_TRUE(number("4/2")->type()->is_integer());
  EXPECT_TRUE(number("1/2")->type()->is_rational());
}

TEST_F(TermManagerTest, IllTypedTermsAreRefusedByName) {
  const Term x = real("x"), b = boolean("b"), i = integer("i");
  const Type* real_to_bool = terms.types().function_type({terms.types().rational()}, terms.types().boolean());
  const Type* int_to_int = terms.types().function_type({terms.types().integer()}, terms.types().integer());
  const Symbol* p = terms.declare("p", real_to_bool);
  const Symbol* g = terms.declare("g", int_to_int);
  EXPECT_EQ(error_of([&] { terms.make_equal(b, b); }), "Equality arguments can't be Boolean");
  EXPECT_EQ(error_of([&] { terms.make_term_ite(b, b, b); }), "Term-ITE arguments can't be Boolean");
  EXPECT_EQ(error_of([&] { terms.make_and(b, x); }),
            "type error. term x has type Real, but Bool was expected. ((and b x))");
  EXPECT_EQ(error_of([&] { terms.make_uf(g, std::array{x}); }),
            "type error. term x has type Real, but Int was expected. ((g x))");
  EXPECT_EQ(error_of([&] {
              terms.make_uf(p, std::array{x, x});
            }),
            "wrong arity for symbol p. expected 1, got 2");
  EXPECT_EQ(error_of([&] { terms.make_uf(p, std::array{i}); }), "no error");
}

TEST_F(TermManagerTest, NamesThatMeanSomethingElseAreRefused) {
  const Type* boolean_type = terms.types().boolean();
  const Symbol* x = terms.declare("x", boolean_type);
  EXPECT_EQ(terms.declare("x", boolean_type), x);
  for (const char* name : {"", ".x", "3", "-3", "1/2", "true", "and", "x"})
    EXPECT_NE(error_of([&] { terms.declare(name, terms.types().rational()); }), "no error") << name;
  for (const char* name : {"3.0", "-", "(a b)", "x y", "1/0"})
    EXPECT_EQ(error_of([&] { terms.declare(name, boolean_type); }), "no error") << name;
  // A symbol made on demand steps aside for the caller's name.
  const Type* simple = terms.types().simple_type("T");
  terms.declare("=_T", boolean_type);
  const Term a = constant("a", simple), b = constant("b", simple);
  EXPECT_EQ(terms.make_equal(a, b), terms.make_equal(b, a));
}

TEST_F(TermManagerTest, DeepAndSharedTermsNeedNeitherStackNorExponentialTime) {
  const Term one = number("1");
  const Term x = real("x");
  Term sum = x;
  for (int i = 0; i < 300; ++i) sum = terms.make_plus(sum, sum);  // 2^300 x
  const Poly poly = Poly::of(sum);
  ASSERT_EQ(poly.monomials.size(), 1u);
  EXPECT_EQ(poly.monomials[0].coefficient.to_str().size(), 91u);
  Term deep = x;
  const std::array<Term, 2> reals{real("y"), real("z")};
  for (std::size_t i = 0; i < 300000; ++i) deep = terms.make_plus(deep, reals[i % 2]);
  EXPECT_EQ(leq(deep, one)->type(), terms.types().boolean());
  Substitution substitution(terms);
  substitution.set(x, reals[0]);
  EXPECT_EQ(Poly::of(substitution.apply(deep)).monomials[0].coefficient, 150001);
  Term formula = boolean("a");
  const std::array<Term, 2> atoms{boolean("b"), boolean("c")};
  for (std::size_t i = 0; i < 300000; ++i)
    formula = i % 3 == 0 ? terms.make_not(formula) : terms.make_or(formula, atoms[i % 2]);
  PolarityChecker polarity;
  polarity.add_formula(formula);
  EXPECT_EQ(polarity(atoms[0]), PolarityChecker::both);
  EXPECT_GT(formula->to_str().size(), 300000u);
}

TEST_F(TermManagerTest, GarbageCollectionKeepsIdsAndFreesTheRest) {
  const Term x = real("x");
  const Term kept = leq(times("3/7", x), number("5"));
  const std::uint64_t id = kept->id();
  const std::string text = kept->to_str();
  for (int i = 0; i < 1000; ++i) terms.make_number(QNumber(1000 + i));
  const Term fresh = terms.make_fresh_constant("v", terms.types().rational());
  const std::string fresh_name = fresh->to_str();
  const std::size_t before = terms.num_terms();
  terms.gc(std::array{kept});
  EXPECT_LT(terms.num_terms() + 1000, before + 1);
  EXPECT_EQ(kept->id(), id);
  EXPECT_EQ(kept->to_str(), text);
  EXPECT_EQ(leq(times("3/7", x), number("5")), kept);
  EXPECT_EQ(terms.signature().find(fresh_name), nullptr);
  EXPECT_EQ(terms.signature().find("1500"), nullptr);
  EXPECT_EQ(number("1500")->to_str(), "1500");
}

TEST_F(TermManagerTest, PolarityFollowsConnectivesAndPops) {
  const Term a = boolean("a"), b = boolean("b"), c = boolean("c"), d = boolean("d");
  PolarityChecker polarity;
  const Term not_b = terms.make_not(b);
  polarity.add_formula(terms.make_and(a, not_b));
  EXPECT_EQ(polarity(a), PolarityChecker::positive);
  EXPECT_EQ(polarity(b), PolarityChecker::negative);
  EXPECT_EQ(polarity(c), PolarityChecker::unknown);
  polarity.push_backtrack_point();
  const Term iff = terms.make_iff(c, d);
  polarity.add_formula(terms.make_or(iff, b));
  polarity.add_literal(a, true);
  EXPECT_EQ(polarity(a), PolarityChecker::both);
  EXPECT_EQ(polarity(b), PolarityChecker::both);
  EXPECT_EQ(polarity(d), PolarityChecker::both);
  polarity.pop_backtrack_point();
  EXPECT_EQ(polarity(a), PolarityChecker::positive);
  EXPECT_EQ(polarity(b), PolarityChecker::negative);
  EXPECT_EQ(polarity(d), PolarityChecker::unknown);
  EXPECT_THROW(polarity(number("1")), PolarityError);
}

}  // namespace
}  // namespace vesk
