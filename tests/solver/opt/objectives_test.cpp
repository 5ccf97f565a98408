#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "solver/opt/opt_script.h"
#include "solver/opt/opt_search.h"

namespace {

using vesk::QNumber;

TEST(OptSearch, PivotsLieStrictlyBetweenTheBounds) {
  const auto none = std::optional<QNumber>();
  const auto at = [](int n) { return std::optional(QNumber(n)); };
  const QNumber half = QNumber(1) / QNumber(2);
  struct Case {
    std::optional<QNumber> lower, upper;
    bool is_integer;
    std::optional<QNumber> pivot;
  };
  const Case cases[] = {
      {at(0), at(100), false, at(50)}, {none, at(5), false, at(0)},    {at(3), none, false, at(30)},
      {at(0), at(1), true, none},      {at(0), at(1), false, half},    {none, none, false, at(0)},
      {none, at(0), true, at(-1)},     {at(0), none, true, at(1)},     {at(-1), none, false, at(0)},
      {at(3), at(3), false, none},     {at(-4), at(-1), true, at(-3)}, {none, at(-7), true, at(-70)},
  };
  for (const Case& c : cases)
    EXPECT_EQ(vesk::opt::compute_pivot(c.lower, c.upper, half, c.is_integer), c.pivot)
        << (c.lower ? c.lower->to_str() : "-oo") << ' ' << (c.upper ? c.upper->to_str() : "oo");
}

// What a check asserts for itself is seen by nobody.
TEST(Objectives, ChecksLeaveNothingBehind) {
  OptScript s;
  const vesk_term x = s.real("x"), y = s.real("y"), b = s.boolean("b");
  s.add(s.leq(s.num("2"), x));
  const vesk_objective first = s.minimize(x);
  for (int round = 0; round < 3; ++round) {
    s.push();
    const vesk_objective second = s.maximize(y);
    s.add(s.disj(b, s.leq(y, s.num("7"))));
    s.add(s.leq(y, s.plus(x, s.num("9"))));
    for (int i = 0; i < 2; ++i) {
      ASSERT_EQ(s.solve(), 1) << s.error();
      EXPECT_EQ(s.value(second), "11");
      ASSERT_EQ(s.solve({s.neg(b), s.leq(s.num("3"), x)}), 1);
      EXPECT_EQ(s.value(first) + ' ' + s.value(second), "3 7");
      EXPECT_EQ(s.value(y), "7");
      EXPECT_EQ(vesk_num_backtrack_points(s.env), 1);
      EXPECT_EQ(s.num_asserted(), 3u);
    }
    EXPECT_EQ(s.solve({s.less(x, s.num("2")), b}), 0);
    std::size_t n = 0;
    vesk_term* refuted = vesk_get_unsat_assumptions(s.env, &n);
    ASSERT_EQ(n, 1u);
    EXPECT_EQ(refuted[0].repr, s.less(x, s.num("2")).repr);
    vesk_free(refuted);
    EXPECT_EQ(s.value(first), "null");
    s.pop();
    // Behind the pop it may be asserted again, and does not count until then.
    ASSERT_EQ(s.solve(), 1);
    EXPECT_EQ(s.value(first) + ' ' + s.value(second), "2 null");
    EXPECT_EQ(vesk_assert_objective(s.env, second), 0);
    EXPECT_EQ(vesk_assert_objective(s.env, second), -1);
    EXPECT_EQ(s.error(), "the objective is asserted already");
    EXPECT_EQ(s.value(first), "null");
    ASSERT_EQ(s.solve(), 1);
    EXPECT_EQ(s.value(first) + ' ' + s.value(second), "2 oo");
    EXPECT_EQ(vesk_objective_value_term(s.env, second, VESK_OPTIMUM).repr, nullptr);
    vesk_reset_env(s.env);
    vesk_destroy_objective(s.env, second);
    s.add(s.leq(s.num("2"), x));
    EXPECT_EQ(vesk_assert_objective(s.env, first), 0);
  }
}

TEST(Objectives, ExtremesOfTermsAndModelsOfEachInBoxes) {
  OptScript s("box");
  const vesk_term x = s.real("x"), y = s.constant("y", s.int_type());
  s.add(s.conj(s.leq(s.num("0"), x), s.leq(x, s.num("10"))));
  s.add(s.eq(s.plus(x, y), s.num("21/2")));
  const vesk_term terms[] = {x, y, s.num("1")};
  const vesk_objective least = s.asserted(vesk_make_minmax(s.env, terms, 3));
  const vesk_objective greatest = s.asserted(vesk_make_maxmin(s.env, terms, 2));
  const vesk_objective top = s.maximize(y);
  ASSERT_EQ(s.solve(), 1) << s.error();
  EXPECT_EQ(s.value(least) + ' ' + s.value(greatest) + ' ' + s.value(top), "11/2 5 10");
  EXPECT_EQ(s.value(y), "10");
  ASSERT_EQ(vesk_load_objective_model(s.env, least), 0);
  EXPECT_EQ(s.value(x) + ' ' + s.value(y), "11/2 5");
  EXPECT_EQ(vesk_make_minmax(s.env, terms, 0).repr, nullptr);
  EXPECT_EQ(vesk_make_minimize(s.env, s.boolean("b")).repr, nullptr);
  for (const vesk_objective objective : {least, greatest, top}) vesk_destroy_objective(s.env, objective);
}

TEST(Objectives, ArePartOfOptimisingEnvironmentsAlone) {
  SolverScript s;
  const vesk_term x = s.real("x");
  const char* text = "optimizing version of environment required";
  EXPECT_EQ(vesk_make_minimize(s.env, x).repr, nullptr);
  EXPECT_EQ(s.error(), text);
  EXPECT_EQ(vesk_make_maxmin(s.env, &x, 1).repr, nullptr);
  EXPECT_EQ(vesk_assert_objective(s.env, {nullptr}), -1);
  EXPECT_EQ(vesk_load_objective_model(s.env, {nullptr}), -1);
  EXPECT_EQ(vesk_objective_value_is_strict(s.env, {nullptr}, VESK_LOWER), 0);
  EXPECT_EQ(s.error(), text);
  const vesk_config cfg = vesk_create_config();
  const vesk_env sibling = vesk_create_shared_opt_env(cfg, s.env);
  const vesk_objective objective = vesk_make_minimize(sibling, x);
  EXPECT_EQ(vesk_assert_objective(sibling, objective), 0);
  EXPECT_EQ(vesk_solve(sibling), -1);
  EXPECT_STREQ(vesk_last_error_message(sibling), "optimizer: model generation must be enabled.");
  EXPECT_EQ(vesk_num_backtrack_points(sibling), 0);
  vesk_destroy_objective(sibling, objective);
  vesk_destroy_env(sibling);
  vesk_destroy_config(cfg);
}

// Enumerations have nothing to do with objectives; the sums of soft formulas hold in each model. What
// objectives and groups are made of outlives a collection of garbage.
TEST(Objectives, StandApartFromEnumerationsAndOutliveGarbage) {
  OptScript s;
  const vesk_term x = s.constant("x", s.int_type()), a = s.boolean("a"), cost = s.real("cost");
  s.add(s.conj(s.leq(s.num("1"), x), s.leq(x, s.num("4"))));
  s.add(s.disj(s.neg(a), s.leq(x, s.num("2"))));
  for (vesk_term soft : {a, s.leq(s.num("4"), x)})
    ASSERT_EQ(vesk_assert_soft_formula(s.env, soft, s.num("2"), "cost"), 0);
  const vesk_objective least = s.minimize(s.plus(cost, x)), most = s.maximize(x);
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(s.solve(), 1) << s.error();
    EXPECT_EQ(s.value(least) + ' ' + s.value(most), "3 1");
    std::vector<std::string> sums;
    const vesk_term terms[] = {x, a, cost};
    const auto note = [](const vesk_term* values, std::size_t, void* seen) {
      static_cast<std::vector<std::string>*>(seen)->push_back(SolverScript::text(values[2]));
      return 0;
    };
    EXPECT_EQ(vesk_solve_diversify(s.env, terms, 3, note, &sums), 6) << s.error();
    std::sort(sums.begin(), sums.end());
    EXPECT_EQ(sums, (std::vector<std::string>{"2", "2", "2", "4", "4", "4"}));
    EXPECT_EQ(s.value(least), "null");
    const vesk_term keep[] = {x, a, cost};
    ASSERT_EQ(vesk_gc_env(s.env, keep, 3), 0) << s.error();
  }
  for (const vesk_objective objective : {least, most}) vesk_destroy_objective(s.env, objective);
}

/// Jobs of three tasks on three machines, each task a start; the makespan, and then the sum of the starts.
struct JobShop {
  explicit JobShop(OptScript& s) {
    const int machines[3][3] = {{0, 1, 2}, {2, 0, 1}, {1, 2, 0}},
              times[3][3] = {{3, 2, 4}, {2, 4, 1}, {5, 3, 2}};
    const auto num = [&](int n) { return s.num(std::to_string(n).c_str()); };
    vesk_term starts[3][3], sum = s.num("0");
    const vesk_term end = s.real("end");
    for (int j = 0; j < 3; ++j)
      for (int t = 0; t < 3; ++t) {
        starts[j][t] = s.real("s" + std::to_string(j) + std::to_string(t));
        sum = s.plus(sum, starts[j][t]);
        const vesk_term before = t == 0 ? s.num("0") : s.plus(starts[j][t - 1], num(times[j][t - 1]));
        s.add(s.leq(before, starts[j][t]));
        s.add(s.leq(s.plus(starts[j][t], num(times[j][t])), end));
      }
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < j; ++k)
        for (int t = 0; t < 3; ++t)
          for (int u = 0; u < 3; ++u)
            if (machines[j][t] == machines[k][u])
              s.add(s.disj(s.leq(s.plus(starts[j][t], num(times[j][t])), starts[k][u]),
                           s.leq(s.plus(starts[k][u], num(times[k][u])), starts[j][t])));
    makespan = s.minimize(end);
    total = s.minimize(sum);
  }
  vesk_objective makespan, total;
};

// Wherever a check is stopped, it leaves bounds that hold, and the environment in order.
TEST(Objectives, StoppedSearchesKeepTheBestModelAndTheBounds) {
  OptScript s;
  const JobShop shop(s);
  ASSERT_EQ(s.solve(), 1);
  const std::string optima[] = {s.value(shop.makespan), s.value(shop.total)};
  struct Countdown {
    int left;
    static int ends(void* self) { return --static_cast<Countdown*>(self)->left < 0 ? 1 : 0; }
  };
  int num_stopped = 0, num_with_bounds = 0;
  for (int polls = 0;; polls = polls * 9 / 8 + 1) {
    Countdown countdown{polls};
    vesk_set_termination_test(s.env, &Countdown::ends, &countdown);
    const int answer = s.solve();
    EXPECT_EQ(vesk_num_backtrack_points(s.env), 0);
    std::size_t i = 0;
    for (const vesk_objective objective : {shop.makespan, shop.total}) {
      const QNumber optimum = parsed(optima[i++]);
      const std::string upper = s.value(objective, VESK_UPPER), lower = s.value(objective, VESK_LOWER);
      if (upper == "null") continue;
      ++num_with_bounds;
      EXPECT_NE(s.value(vesk_make_true(s.env)), "null");
      EXPECT_LE(optimum, parsed(upper));
      EXPECT_TRUE(lower == "-oo" || parsed(lower) <= optimum) << lower;
      if (answer != 1 && i == 2) {
        EXPECT_EQ(s.value(objective), "null");
      }
    }
    if (answer == 1) break;
    ASSERT_EQ(answer, -1);
    ++num_stopped;
    vesk_set_termination_test(s.env, nullptr, nullptr);
    if (polls % 4 == 0) {
      ASSERT_EQ(s.solve(), 1);
      EXPECT_EQ(s.value(shop.makespan) + ' ' + s.value(shop.total), optima[0] + ' ' + optima[1]);
    }
  }
  EXPECT_GT(num_stopped, 5);
  EXPECT_GT(num_with_bounds, 2);
  for (const vesk_objective objective : {shop.makespan, shop.total}) vesk_destroy_objective(s.env, objective);
}

}  // namespace
