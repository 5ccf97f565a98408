#include <algorithm>
#include <string>
#include <vector>

#include "solver/capi/solver_script.h"

// What a check answers where it is stopped, where an assertion was lost and where formulas are assumed, and
// why: reasons, refuted assumptions, cores.

namespace {

using Options = std::vector<std::pair<const char*, const char*>>;

// One pigeon more than there are holes.
void add_pigeons(SolverScript& s, int holes) {
  for (int p = 0; p <= holes; ++p) {
    vesk_term some = vesk_make_false(s.env);
    for (int h = 0; h < holes; ++h) {
      const vesk_term in = s.boolean("p" + std::to_string(p) + "_" + std::to_string(h));
      for (int q = 0; q < p; ++q)
        s.add(s.neg(s.conj(in, s.boolean("p" + std::to_string(q) + "_" + std::to_string(h)))));
      some = s.disj(some, in);
    }
    s.add(some);
  }
}

TEST(EnvironmentAnswers, AStoppedCheckIsUnknownAndTheNextOneIsRight) {
  SolverScript s;
  s.push();
  add_pigeons(s, 8);
  for (int allowed = 0; allowed < 6; ++allowed) {
    int calls = -allowed;
    ASSERT_EQ(vesk_set_termination_test(s.env, stop_at_once, &calls), 0);
    EXPECT_EQ(s.solve(), -1);
    EXPECT_NE(s.error(), "");
  }
  vesk_set_termination_test(s.env, nullptr, nullptr);
  s.add(s.boolean("p0_0"));
  EXPECT_EQ(s.solve(), 0);
  s.pop();
  EXPECT_EQ(s.solve(), 1);
}

TEST(EnvironmentAnswers, ALostAssertionKeepsTheAnswerFromBeingSatisfiable) {
  SolverScript s;
  const vesk_term x = s.real("x"), none{nullptr};
  const auto lose = [&] { EXPECT_EQ(vesk_assert_formula(s.env, x), -1); };
  s.add(s.leq(x, s.num("1")));
  s.push();
  s.push();
  lose();
  EXPECT_EQ(s.solve(), -1);
  EXPECT_NE(s.error().find("Bool was expected"), std::string::npos) << s.error();
  EXPECT_EQ(vesk_get_model_value(s.env, x).repr, nullptr);
  EXPECT_EQ(vesk_all_sat(
                s.env, nullptr, 0, [](const vesk_term*, size_t, void*) { return 0; }, nullptr),
            -1);
  s.push();
  EXPECT_EQ(vesk_assert_formula(s.env, none), -1);
  s.pop();
  EXPECT_EQ(s.solve(), -1) << "the level of the first loss is open still";
  s.add(s.leq(s.num("2"), x));
  EXPECT_EQ(s.solve(), 0) << "what contradicts itself does so with more";
  s.pop();
  EXPECT_EQ(s.solve(), 1);
  lose();
  s.push();
  lose();
  s.pop();
  EXPECT_EQ(s.solve(), -1);
  s.pop();
  EXPECT_EQ(s.solve(), 1);
  lose();
  EXPECT_EQ(s.solve(), -1);
  vesk_reset_env(s.env);
  EXPECT_EQ(s.solve(), 1);
}

TEST(EnvironmentAnswers, EachLimitOfACheckEndsItAndLeavesTheRest) {
  SolverScript s(Options{{"theory.max_number_bits", "4096"}});
  const vesk_term x = s.real("x");
  s.push();
  add_pigeons(s, 9);
  ASSERT_EQ(vesk_set_conflict_limit(s.env, 10), 0);
  EXPECT_EQ(s.solve(), -1);
  EXPECT_EQ(s.error(), "the limit of conflicts is reached");
  vesk_set_conflict_limit(s.env, 0);
  ASSERT_EQ(vesk_set_time_limit(s.env, 1e-9), 0);
  EXPECT_EQ(s.solve(), -1);
  EXPECT_EQ(s.error(), "the time limit is reached");
  EXPECT_EQ(vesk_set_time_limit(s.env, -1), -1);
  vesk_set_time_limit(s.env, 1e300);
  if (vesk_get_memory_in_use() > 0) {
    ASSERT_EQ(vesk_set_memory_limit(s.env, 1), 0);
    EXPECT_EQ(s.solve(), -1);
    EXPECT_EQ(s.error().find("out of memory"), 0u) << s.error();
    vesk_set_memory_limit(s.env, 0);
  }
  s.pop();
  // A row whose coefficients outgrow the ceiling: unknown, and the next question is answered.
  s.push();
  vesk_term last = x;
  s.add(s.leq(s.num("1"), x));
  for (int i = 0; i < 12; ++i) {
    const vesk_term next = s.real("y" + std::to_string(i)),
                    large = s.num(("1" + std::string(150, '7')).c_str());
    s.add(s.disj(s.eq(next, s.times(large, last)), s.eq(next, s.times(s.plus(large, s.num("2")), last))));
    last = next;
  }
  EXPECT_EQ(s.solve(), -1);
  EXPECT_NE(s.error().find("theory.max_number_bits"), std::string::npos) << s.error();
  s.pop();
  EXPECT_EQ(s.solve(), 1);
  EXPECT_EQ(s.num(std::string(2000, '7').c_str()).repr, nullptr);
}

TEST(EnvironmentAnswers, AssumedFormulasHoldForOneCallAndTheirModelStays) {
  SolverScript s;
  const vesk_term x = s.real("x"), y = s.real("y"), p = s.boolean("p");
  s.add(s.leq(x, s.num("10")));
  // The equation removes a constant; the model speaks of it all the same, after its level is gone.
  ASSERT_EQ(s.solve({s.eq(y, s.plus(x, s.num("5"))), s.leq(s.num("7"), x), p}), 1);
  EXPECT_EQ(s.value(s.eq(y, s.plus(x, s.num("5")))), "true");
  EXPECT_EQ(s.value(s.leq(s.num("12"), y)), "true");
  EXPECT_EQ(s.value(p), "true");
  EXPECT_EQ(vesk_num_backtrack_points(s.env), 0);
  size_t n = 0;
  vesk_free(vesk_get_asserted_formulas(s.env, &n));
  EXPECT_EQ(n, 1u);
  const std::vector<vesk_term> refuting{s.eq(y, x), s.leq(s.num("11"), y), s.leq(y, s.num("100")), p};
  ASSERT_EQ(s.solve(refuting), 0);
  vesk_term* refuted = vesk_get_unsat_assumptions(s.env, &n);
  ASSERT_EQ(n, 2u);
  EXPECT_EQ(refuted[0].repr, refuting[0].repr);
  EXPECT_EQ(refuted[1].repr, refuting[1].repr);
  vesk_free(refuted);
  EXPECT_EQ(s.solve(), 1);
  // What was refuted before an assertion is not said of it.
  ASSERT_EQ(s.solve(refuting), 0);
  s.add(s.leq(s.num("200"), y));
  vesk_free(vesk_get_unsat_assumptions(s.env, &n));
  EXPECT_EQ(n, refuting.size());
  s.add(s.leq(y, s.num("0")));
  ASSERT_EQ(s.solve(refuting), 0);
  vesk_free(vesk_get_unsat_assumptions(s.env, &n));
  EXPECT_EQ(n, 0u) << "the assertions contradict each other alone";
}

// Under a label the formula has a constant inside that the search does not take without simplifications.
TEST(EnvironmentAnswers, RefutedAssumptionsAreAllOfThemWhereASecondSearchFails) {
  SolverScript s(Options{{"debug.term_simplifications", "false"}});
  const vesk_term p = s.boolean("p"), x = s.real("x");
  const std::vector<vesk_term> assumed{s.neg(s.eq(x, s.num("1"))), s.boolean("q"), s.neg(p), p};
  ASSERT_EQ(s.solve(assumed), 0);
  size_t n = 0;
  vesk_term* refuted = vesk_get_unsat_assumptions(s.env, &n);
  ASSERT_NE(refuted, nullptr) << s.error();
  const auto is_refuted = [&](vesk_term term) {
    return std::any_of(refuted, refuted + n, [&](vesk_term r) { return r.repr == term.repr; });
  };
  EXPECT_TRUE(is_refuted(p) && is_refuted(assumed[2]));
  vesk_free(refuted);
}

TEST(EnvironmentAnswers, CoresNameTheAssertionsAndAMinimalOneNoneTooMany) {
  for (const char* minimal : {"false", "true"}) {
    SolverScript s(Options{{"unsat_core_generation", "1"}, {"unsat_core_minimization", minimal}});
    size_t n = 0;
    std::vector<vesk_term> chain;
    for (int i = 0; i < 20; ++i)
      chain.push_back(s.less(s.real("x" + std::to_string(i)), s.real("x" + std::to_string(i + 1))));
    for (vesk_term link : chain) s.add(link);
    for (int i = 0; i < 20; ++i) s.add(s.leq(s.num("-5"), s.real("x" + std::to_string(i))));
    ASSERT_EQ(s.solve(), 1);
    EXPECT_EQ(vesk_get_unsat_core(s.env, &n), nullptr);
    s.push();
    s.add(s.less(s.real("x7"), s.real("x3")));
    ASSERT_EQ(s.solve(), 0);
    vesk_term* core = vesk_get_unsat_core(s.env, &n);
    ASSERT_EQ(n, 5u);
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(core[i].repr, chain[3 + i].repr);
    vesk_free(core);
    s.pop();
    EXPECT_EQ(s.solve(), 1);
  }
  SolverScript without;
  size_t n = 0;
  EXPECT_EQ(vesk_get_unsat_core(without.env, &n), nullptr);
  EXPECT_NE(without.error().find("unsat_core_generation"), std::string::npos);
}

}  // namespace
