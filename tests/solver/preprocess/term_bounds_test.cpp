#include "solver/preprocess/term_bounds.h"

#include "solver/capi/solver_script.h"
#include "solver/term/term_manager.h"

namespace {

using vesk::QNumber;
using vesk::Term;

std::string text(const std::optional<vesk::TermBounds::Side>& side, const char* weak, const char* strict) {
  if (!side) return "";
  return (side->strict ? strict : weak) + side->value.to_str() + ' ';
}

/// Constants r (rational) and i (integer) within what `lower` and `upper` say, in terms over both.
struct Fixture {
  vesk::TermManager terms;
  vesk::TermBounds bounds;
  Term r = terms.make_constant(terms.declare("r", terms.types().rational()));
  Term i = terms.make_constant(terms.declare("i", terms.types().integer()));
  Term c = terms.make_constant(terms.declare("c", terms.types().boolean()));
  Term number(const char* digits) {
    QNumber value;
    EXPECT_TRUE(QNumber::from_str(digits, &value));
    return terms.make_number(value);
  }
  void note(Term fact) { bounds.note_facts(std::span<const Term>(&fact, 1)); }
  std::string of(Term term) {
    const vesk::TermBounds::Bounds found = bounds.of(term);
    return text(found.lower, ">=", ">") + text(found.upper, "<=", "<");
  }
};

TEST(TermBounds, FollowTheOperatorsAndTheLevels) {
  Fixture f;
  const Term cases = f.terms.make_term_ite(f.c, f.number("1"), f.number("5/2"));
  const Term open = f.terms.make_term_ite(f.c, f.r, f.number("2"));
  const Term twice = f.terms.make_times(f.number("-2"), f.r);
  const Term shifted = f.terms.make_plus(f.i, f.number("1"));
  const Term both = f.terms.make_plus(twice, cases);
  EXPECT_EQ(f.of(cases), ">=1 <=5/2 ");
  EXPECT_EQ(f.of(open), "");
  f.bounds.push_backtrack_point();
  f.note(f.terms.make_leq(f.r, f.number("3")));
  EXPECT_EQ(f.of(open), "<=3 ");
  EXPECT_EQ(f.of(twice), ">=-6 ");
  EXPECT_EQ(f.of(both), ">=-5 ");
  f.bounds.push_backtrack_point();
  f.note(f.terms.make_not(f.terms.make_leq(f.number("3"), f.r)));
  f.note(f.terms.make_not(f.terms.make_leq(f.r, f.number("1"))));
  f.note(f.terms.make_leq(f.r, f.number("7")));
  EXPECT_EQ(f.of(open), ">1 <3 ");
  EXPECT_EQ(f.of(both), ">-5 <1/2 ");
  f.note(f.terms.make_leq(f.number("1/2"), f.i));
  f.note(f.terms.make_not(f.terms.make_leq(f.number("4"), f.i)));
  EXPECT_EQ(f.of(shifted), ">=2 <=4 ");
  EXPECT_EQ(f.of(f.terms.make_term_ite(f.c, shifted, f.r)), ">1 <=4 ");
  f.bounds.pop_backtrack_point();
  EXPECT_EQ(f.of(open), "<=3 ");
  EXPECT_EQ(f.of(shifted), "");
  f.bounds.pop_backtrack_point();
  EXPECT_EQ(f.of(open), "");
  EXPECT_EQ(f.of(both), "");
}

int counter(SolverScript& s, const std::string& name) {
  char* text = vesk_get_search_stats(s.env);
  const std::string all = text;
  vesk_free(text);
  const std::size_t at = all.find(name + ' ');
  return at == std::string::npos ? -1 : std::stoi(all.substr(at + name.size() + 1));
}

// The steps are 1 or the step's own length, which a fact bounds. All choices of 30 steps would have
// to be refuted one by one without bounds of their sum; the facts go with their level.
TEST(TermBounds, RefuteASumOfItesBeforeTheConditionsAreDecided) {
  SolverScript s;
  constexpr int steps = 30;
  const auto name = [](const char* base, int i) { return base + std::to_string(i); };
  std::vector<vesk_term> lengths;
  vesk_term sum = s.real("start");
  for (int i = 0; i < steps; ++i) {
    lengths.push_back(s.real(name("length", i)));
    const vesk_term half = s.ite(s.boolean(name("a", i)), s.num("1/2"), s.num("1"));
    const vesk_term more = s.plus(half, s.num("1/2"));
    sum = s.plus(sum, s.ite(s.boolean(name("b", i)), more, lengths.back()));
  }
  s.add(s.eq(s.real("start"), s.num("0")));
  s.push();
  for (const vesk_term length : lengths) s.add(s.conj(s.less(length, s.num("2")), s.leq(s.num("0"), length)));
  s.push();
  s.add(s.leq(s.num("60"), sum));
  EXPECT_EQ(s.solve(), 0);
  s.pop();
  s.push();
  s.add(s.less(sum, s.num("0")));
  EXPECT_EQ(s.solve(), 0);
  EXPECT_LT(counter(s, "conflicts"), 100);
  s.pop();
  s.pop();
  s.add(s.leq(s.num("60"), sum));
  s.add(s.leq(lengths[1], s.num("-100")));
  EXPECT_EQ(s.solve(), 1);
}

// Each choice of the conditions makes another number, so a case split over them has 2^24 atoms.
TEST(TermBounds, NestedItesWithManySumsAreNotSplitIntoAllOfThem) {
  SolverScript s;
  vesk_term sum = s.real("x");
  std::string power = "1";
  for (int i = 0; i < 24; ++i) {
    sum = s.ite(s.boolean("b" + std::to_string(i)), s.plus(sum, s.num(power.c_str())), sum);
    power = std::to_string(2L << i);
  }
  s.add(s.eq(sum, s.num("11184810")));  // 101010...
  s.add(s.eq(s.real("x"), s.num("0")));
  ASSERT_EQ(s.solve(), 1);
  for (int i = 0; i < 24; ++i)
    EXPECT_EQ(s.value(s.boolean("b" + std::to_string(i))), i % 2 ? "true" : "false");
  EXPECT_LT(counter(s, "terms"), 200000);
}

}  // namespace
