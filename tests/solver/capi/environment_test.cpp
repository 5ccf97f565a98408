#include <algorithm>
#include <array>
#include <functional>
#include <random>

#include "solver/capi/solver_script.h"

namespace {

using Options = std::vector<std::pair<const char*, const char*>>;

// Random Boolean formulas and scripts over a handful of constants, replayed by brute force. Each formula is
// kept as a truth table beside its term. In builds with assertions the environment also evaluates every
// model over the original assertions.
void run_boolean_script(unsigned seed, const Options& options) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 engine(seed);
  const auto below = [&](unsigned bound) { return engine() % bound; };
  constexpr unsigned num_constants = 5;
  using Table = std::uint32_t;  // bit i: value under assignment i
  struct Formula {
    vesk_term term;
    Table table;
  };
  SolverScript s(options);
  std::vector<Formula> pool;
  for (unsigned c = 0; c < num_constants; ++c) {
    Table table = 0;
    for (unsigned i = 0; i < 32; ++i) table |= static_cast<Table>((i >> c) & 1) << i;
    pool.push_back({s.boolean("b" + std::to_string(c)), table});
  }
  const auto pick = [&] { return pool[below(static_cast<unsigned>(pool.size()))]; };
  std::vector<Table> asserted{~Table{0}};  // per level, that of the levels below included
  std::vector<Formula> in_force;
  std::vector<std::size_t> levels;
  const bool with_cores = std::any_of(options.begin(), options.end(), [](const auto& option) {
    return std::string(option.first) == "unsat_core_generation";
  });
  for (int step = 0; step < 40; ++step) {
    switch (below(8)) {
      case 0:
      case 1:
      case 2: {
        const Formula a = pick(), b = pick();
        switch (below(4)) {
          case 0: pool.push_back({s.conj(a.term, b.term), a.table & b.table}); break;
          case 1: pool.push_back({s.disj(a.term, b.term), a.table | b.table}); break;
          case 2: pool.push_back({s.eq(a.term, b.term), ~(a.table ^ b.table)}); break;
          default: pool.push_back({s.neg(a.term), ~a.table}); break;
        }
        break;
      }
      case 3:
      case 4: {
        const Formula a = pick(), b = pick();
        const bool single = below(3) == 0;
        in_force.push_back(single ? a : Formula{s.disj(a.term, b.term), a.table | b.table});
        s.add(in_force.back().term);
        asserted.back() &= in_force.back().table;
        break;
      }
      case 5:
        if (below(2) == 0) {
          s.push();
          asserted.push_back(asserted.back());
          levels.push_back(in_force.size());
        } else if (asserted.size() > 1) {
          s.pop();
          asserted.pop_back();
          in_force.resize(levels.back());
          levels.pop_back();
        }
        break;
      default: {
        Table all = asserted.back();
        std::vector<vesk_term> assumptions;
        std::vector<Formula> assumed;
        for (unsigned k = below(2) == 0 ? below(4) : 0; k > 0; --k) {
          Formula a = below(3) == 0 ? pick() : pool[below(num_constants)];
          if (below(2) == 0) a = {s.neg(a.term), ~a.table};
          assumptions.push_back(a.term);
          assumed.push_back(a);
          all &= a.table;
        }
        const int answer = s.solve(assumptions);
        ASSERT_EQ(answer, all != 0 ? 1 : 0) << "step " << step << ": " << s.error();
        if (answer == 0) {
          size_t n = 0;
          // With cores the asserted formulas count as far as the core names them, without they all do.
          Table rest = asserted.back();
          const auto join = [&](vesk_term* core, const std::vector<Formula>& known) {
            for (size_t i = 0; i < n; ++i) {
              const auto same = [&](const Formula& a) { return a.term.repr == core[i].repr; };
              const auto at = std::find_if(known.begin(), known.end(), same);
              if (at == known.end())
                ADD_FAILURE() << "not asserted, or assumed: " << SolverScript::text(core[i]);
              else
                rest &= at->table;
            }
            vesk_free(core);
          };
          if (vesk_term* core = vesk_get_unsat_core(s.env, &n); with_cores) {
            rest = ~Table{0};
            join(core, in_force);
          }
          join(vesk_get_unsat_assumptions(s.env, &n), assumed);
          ASSERT_EQ(rest, 0u) << "step " << step << ": the core is too small";
          break;
        }
        // The values of the constants are one assignment, and every formula has its value under it.
        unsigned assignment = 0;
        for (unsigned c = 0; c < num_constants; ++c)
          if (s.value(pool[c].term) == "true") assignment |= 1u << c;
        ASSERT_TRUE((all >> assignment) & 1) << "step " << step;
        for (const Formula& f : pool)
          ASSERT_EQ(s.value(f.term), (f.table >> assignment) & 1 ? "true" : "false") << "step " << step;
        break;
      }
    }
  }
}

TEST(Environment, AgreesWithBruteForceOnBooleanScripts) {
  const std::vector<Options> option_sets = {
      {},
      {{"preprocessor.toplevel_propagation", "false"}},
      {{"preprocessor.toplevel_propagation_limit", "1"}, {"dpll.branching_initial_phase", "2"}},
      {{"preprocessor.simplification", "0"}, {"dpll.restart_strategy", "3"}},
      {{"debug.term_simplifications", "false"}, {"dpll.pop_btpoint_reset_var_order", "false"}},
      {{"dpll.minimize_model", "true"}, {"preprocessor.full_cnf_conversion", "true"}},
      {{"unsat_core_generation", "1"}},
      {{"unsat_core_generation", "3"}, {"unsat_core_minimization", "true"}},
      {{"unsat_core_generation", "2"}, {"debug.term_simplifications", "false"}},
  };
  for (unsigned seed = 0; seed < 900; ++seed) {
    run_boolean_script(seed, option_sets[seed % option_sets.size()]);
    if (HasFatalFailure()) return;
  }
}

TEST(Environment, AConstantOfAnEncodedFormulaIsNotSubstitutedAwayLater) {
  SolverScript s;
  const vesk_term x = s.real("x");
  s.add(s.leq(x, s.num("5")));
  EXPECT_EQ(s.solve(), 1);
  s.add(s.eq(x, s.num("10")));
  EXPECT_EQ(s.solve(), 0);
}

TEST(Environment, SubstitutionsGoWithTheirLevelAndComeBackInModels) {
  SolverScript s;
  const vesk_term x = s.real("x"), y = s.real("y"), z = s.real("z");
  s.push();
  s.add(s.conj(s.eq(x, s.num("3")), s.leq(s.plus(x, y), s.num("5"))));
  s.add(s.eq(z, s.plus(x, y)));
  s.add(s.less(s.num("19/4"), z));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(x), "3");
  EXPECT_EQ(s.value(s.leq(y, s.num("2"))), "true");
  EXPECT_EQ(s.value(s.eq(z, s.plus(y, s.num("3")))), "true");
  s.pop();
  s.add(s.eq(x, s.num("4")));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(x), "4");
  // A cycle of definitions keeps one equation.
  s.push();
  s.add(s.conj(s.eq(y, s.plus(z, s.num("1"))), s.eq(z, s.plus(y, s.num("-1")))));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(s.eq(y, s.plus(z, s.num("1")))), "true");
  s.add(s.eq(z, s.plus(y, s.num("1"))));
  EXPECT_EQ(s.solve(), 0);
  s.pop();
  EXPECT_EQ(s.solve(), 1);
}

TEST(Environment, AssumptionsMayNameWhatPreprocessingRemoved) {
  SolverScript s;
  const vesk_term a = s.boolean("a"), b = s.boolean("b"), c = s.boolean("c"), x = s.real("x");
  s.add(a);
  s.add(s.eq(b, s.disj(c, s.leq(s.ite(c, x, s.num("2")), s.num("1")))));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.solve({s.neg(a)}), 0);
  EXPECT_EQ(s.solve({a, b}), 1);
  EXPECT_EQ(s.value(c), "true");
  EXPECT_EQ(s.solve({b, s.neg(c)}), 0);
  EXPECT_EQ(s.solve({c, s.neg(c)}), 0);
  EXPECT_EQ(s.solve({vesk_make_true(s.env), s.neg(b), s.neg(b)}), 1);
  EXPECT_EQ(s.solve({vesk_make_false(s.env)}), 0);
  EXPECT_EQ(s.solve({s.neg(s.disj(a, b))}), 0);
  EXPECT_EQ(s.solve(), 1);
}

TEST(Environment, TermItesDivisionsAndBooleanArgumentsMeanWhatTheySay) {
  SolverScript s;
  const vesk_term c = s.boolean("c"), d = s.boolean("d"), x = s.real("x"), y = s.real("y");
  const vesk_decl f = s.function("f", {s.real_type()}, s.real_type());
  const vesk_decl p = s.function("p", {s.bool_type()}, s.bool_type());
  s.push();
  s.add(s.leq(s.plus(s.ite(c, s.num("1"), s.num("2")), s.ite(d, s.num("10"), s.num("20"))), x));
  s.add(s.less(x, s.num("12")));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(s.conj(c, d)), "true");
  s.add(s.neg(c));
  EXPECT_EQ(s.solve(), 0);
  s.pop();
  s.push();
  s.add(s.eq(s.apply(f, {s.ite(c, x, y)}), s.num("1")));
  s.add(s.eq(s.apply(f, {x}), s.num("2")));
  s.add(s.disj(c, s.eq(x, y)));
  EXPECT_EQ(s.solve(), 0);
  s.pop();
  s.push();
  s.add(s.eq(vesk_make_divide(s.env, s.num("6"), x), s.num("4")));
  s.add(s.eq(vesk_make_divide(s.env, y, s.num("0")), s.num("7")));
  s.add(s.eq(x, s.num("3/2")));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(vesk_make_divide(s.env, y, s.num("0"))), "7");
  s.add(s.less(s.num("7"), vesk_make_divide(s.env, y, s.num("0"))));
  EXPECT_EQ(s.solve(), 0);
  s.pop();
  s.push();
  s.add(s.apply(p, {c}));
  s.add(s.neg(s.apply(p, {d})));
  s.add(s.disj(c, d));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_NE(s.value(c), s.value(d));
  s.add(s.eq(c, d));
  EXPECT_EQ(s.solve(), 0);
  s.pop();
  // Three of four conditions, through the cardinality rule.
  vesk_term count = s.num("0");
  for (const char* name : {"k0", "k1", "k2", "k3"})
    count = s.plus(count, s.ite(s.boolean(name), s.num("1"), s.num("0")));
  s.add(s.leq(s.num("3"), count));
  s.add(s.neg(s.boolean("k0")));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(count), "3");
  s.add(s.neg(s.boolean("k2")));
  EXPECT_EQ(s.solve(), 0);
}

// The equation is an atom of level 0 that congruence closure has no use for, until the functions of the level
// above make it one of their arguments.
TEST(Environment, AnEquationSharedOnlyAboveItsLevelOutlivesThatLevel) {
  SolverScript s;
  const vesk_term x = s.real("x"), y = s.real("y"), b = s.boolean("b");
  const vesk_decl g = s.function("g", {s.real_type()}, s.real_type());
  const vesk_term difference = s.plus(x, s.times(s.num("-1"), y));
  const vesk_term equal = s.eq(difference, s.num("-2"));
  s.add(s.disj(b, equal));
  s.add(s.disj(s.neg(b), s.leq(x, y)));
  for (int round = 0; round < 2; ++round) {
    s.push();
    s.add(s.eq(s.apply(g, {difference}), s.num("1")));
    s.add(s.eq(s.apply(g, {s.num("-2")}), s.num("2")));
    EXPECT_EQ(s.solve(), 1);
    s.add(s.leq(difference, s.num("-2")));
    s.add(s.leq(s.num("-2"), difference));
    EXPECT_EQ(s.solve(), 0);
    s.pop();
    ASSERT_EQ(s.solve(), 1);
    s.push();
    s.add(s.neg(b));
    ASSERT_EQ(s.solve(), 1);
    EXPECT_EQ(s.value(equal), "true");
    s.pop();
  }
}

// Each link says that two neighbours are equal by way of one of two terms. A search that meets one path after
// another would be at it for ages.
TEST(Environment, ChainsOfEquationDiamondsAreSeenThrough) {
  constexpr int n = 60;
  for (const bool numbers : {false, true}) {
    SolverScript s;
    const vesk_type type = numbers ? s.real_type() : vesk_get_simple_type(s.env, "U");
    const auto term = [&](const char* base, int i) {
      return s.constant((base + std::to_string(i)).c_str(), type);
    };
    const auto path = [&](int i, const char* base) {
      return s.conj(s.eq(term("x", i), term(base, i)), s.eq(term(base, i), term("x", i + 1)));
    };
    s.add(s.neg(s.eq(term("x", 0), term("x", n))));
    for (int i = 0; i < n; ++i) {
      const vesk_term up = path(i, "up"), down = path(i, "down");
      if (i == n / 2) continue;
      s.add(i % 2 == 0 ? s.disj(up, down) : s.neg(s.conj(s.neg(up), s.disj(s.neg(down), s.neg(up)))));
    }
    EXPECT_EQ(s.solve(), 1);
    const vesk_term half = s.eq(term("x", n / 2), term("up", n / 2));
    s.push();
    s.add(s.disj(s.conj(half, s.boolean("b")), path(n / 2, "down")));
    EXPECT_EQ(s.solve(), 1);
    s.pop();
    s.push();
    s.add(s.disj(path(n / 2, "up"), path(n / 2, "down")));
    EXPECT_EQ(s.solve(), 0);
    s.pop();
    EXPECT_EQ(s.solve(), 1);
  }
}

int counter(SolverScript& s, const std::string& name) {
  char* text = vesk_get_search_stats(s.env);
  const std::string all = text;
  vesk_free(text);
  const std::size_t at = all.find(name + ' ');
  return at == std::string::npos ? -1 : std::stoi(all.substr(at + name.size() + 1));
}

// Each guard makes its clause true, so that nothing depends on the atoms beside it. These contradict each
// other, and the theories would have to sort that out.
TEST(Environment, AtomsThatDoNotMatterAreLeftAlone) {
  for (const char* option : {"dpll.ghost_filtering", "theory.pure_literal_filtering", "verbosity"}) {
    SolverScript s(Options{{"dpll.branching_initial_phase", "1"}, {option, option[0] == 'v' ? "0" : "true"}});
    std::vector<vesk_term> x, guards;
    for (int i = 0; i < 8; ++i) {
      x.push_back(s.real("x" + std::to_string(i)));
      guards.push_back(s.boolean("guard" + std::to_string(i)));
    }
    for (std::size_t i = 0; i < 8; ++i) {
      ASSERT_EQ(vesk_add_preferred_for_branching(s.env, guards[i], 1), 0);
      s.add(s.disj(guards[i], s.neg(s.leq(s.plus(x[i], s.num("1")), x[(i + 1) % 8]))));
    }
    ASSERT_EQ(s.solve(), 1);
    EXPECT_EQ(counter(s, "ghosts") > 0, option[0] == 'd');
    EXPECT_EQ(counter(s, "filtered_literals") > 0, option[0] == 't');
    EXPECT_EQ(counter(s, "theory_implications") > 0, option[0] == 'v');
    for (std::size_t i = 0; i < 8; ++i) s.add(s.neg(guards[i]));
    ASSERT_EQ(s.solve(), 1);
    for (std::size_t i = 0; i < 8; ++i)
      EXPECT_EQ(s.value(s.leq(s.plus(x[i], s.num("1")), x[(i + 1) % 8])), "false");
    for (std::size_t i = 0; i < 7; ++i) s.add(s.less(s.plus(x[i], s.num("1/7")), x[i + 1]));
    s.add(s.leq(x[7], s.plus(x[0], s.num("1"))));
    EXPECT_EQ(s.solve(), 0);
  }
}

struct Visits {
  std::vector<std::string> seen;
  std::size_t limit = SIZE_MAX;
};

int note_model(const vesk_term* values, size_t n, void* user_data) {
  Visits& visits = *static_cast<Visits*>(user_data);
  std::string text;
  for (size_t i = 0; i < n; ++i) text += SolverScript::text(values[i]) + ' ';
  visits.seen.push_back(text);
  return visits.seen.size() >= visits.limit ? 1 : 0;
}

TEST(Environment, EnumerationVisitsEachCombinationOfValuesOnce) {
  SolverScript s(Options{{"model_generation", "false"}});
  const vesk_term a = s.boolean("a"), b = s.boolean("b"), c = s.boolean("c"), x = s.real("x");
  const vesk_term at_most = s.leq(x, s.num("1"));
  s.add(s.disj(a, b));
  s.add(s.eq(c, at_most));
  s.add(s.disj(s.eq(x, s.num("1")), s.disj(s.eq(x, s.num("2")), s.eq(x, s.num("5/2")))));
  s.add(s.disj(s.neg(b), c));
  const vesk_term terms[] = {a, b, at_most};
  Visits all;
  EXPECT_EQ(vesk_all_sat(s.env, terms, 3, note_model, &all), 4);
  std::sort(all.seen.begin(), all.seen.end());
  EXPECT_EQ(all.seen, (std::vector<std::string>{"false true true ", "true false false ", "true false true ",
                                                "true true true "}));
  Visits numbers;
  const vesk_term diversifiers[] = {x};
  EXPECT_EQ(vesk_solve_diversify(s.env, diversifiers, 1, note_model, &numbers), 3);
  std::sort(numbers.seen.begin(), numbers.seen.end());
  EXPECT_EQ(numbers.seen, (std::vector<std::string>{"1 ", "2 ", "5/2 "}));
  Visits some{{}, 2};
  EXPECT_EQ(vesk_all_sat(s.env, terms, 3, note_model, &some), 2);
  Visits once;
  EXPECT_EQ(vesk_all_sat(s.env, nullptr, 0, note_model, &once), 1);
  EXPECT_EQ(vesk_all_sat(s.env, diversifiers, 1, note_model, &once), -1);  // no Boolean
  EXPECT_EQ(vesk_num_backtrack_points(s.env), 0);
  EXPECT_EQ(vesk_get_model_value(s.env, a).repr, nullptr);
  EXPECT_EQ(s.solve({b, s.neg(c)}), 0);
  EXPECT_EQ(s.solve(), 1);
  int calls = 0;
  vesk_set_termination_test(s.env, stop_at_once, &calls);
  EXPECT_EQ(vesk_all_sat(s.env, terms, 3, note_model, &once), -1);
}

TEST(Environment, StoredTheoryLemmasAreValidEach) {
  SolverScript s(Options{{"dpll.store_tlemmas", "true"}, {"preprocessor.toplevel_propagation", "false"}});
  const vesk_decl f = s.function("f", {s.real_type()}, s.real_type());
  std::vector<vesk_term> x;
  for (int i = 0; i < 5; ++i) x.push_back(s.real("x" + std::to_string(i)));
  for (std::size_t i = 0; i + 1 < 5; ++i) {
    s.add(s.disj(s.eq(x[i], x[i + 1]), s.eq(s.apply(f, {x[i]}), s.apply(f, {x[i + 1]}))));
    s.add(s.disj(s.less(x[i], x[i + 1]), s.leq(s.apply(f, {x[i + 1]}), x[i])));
  }
  s.add(s.less(s.apply(f, {x[0]}), s.apply(f, {x[4]})));
  EXPECT_EQ(s.solve(), 0);
  size_t n = 0;
  vesk_term* lemmas = vesk_get_theory_lemmas(s.env, &n);
  ASSERT_GT(n, 0u);
  const vesk_config cfg = vesk_create_config();
  const vesk_env fresh = vesk_create_shared_env(cfg, s.env);
  for (size_t i = 0; i < n; ++i) {
    vesk_push_backtrack_point(fresh);
    vesk_assert_formula(fresh, vesk_make_not(fresh, lemmas[i]));
    EXPECT_EQ(vesk_solve(fresh), 0) << SolverScript::text(lemmas[i]);
    vesk_pop_backtrack_point(fresh);
  }
  vesk_free(lemmas);
  vesk_destroy_env(fresh);
  vesk_destroy_config(cfg);
}

TEST(Environment, ProductsOfUnknownsAreNeverAnsweredWrongly) {
  SolverScript s;
  const vesk_term x = s.real("x"), y = s.real("y"), c = s.boolean("c");
  s.push();
  s.add(s.less(s.times(x, x), s.num("0")));
  EXPECT_EQ(s.solve(), 0);
  s.pop();
  s.push();
  s.add(s.eq(s.times(x, y), s.num("6")));
  s.add(s.leq(s.num("5"), s.plus(x, y)));
  EXPECT_NE(s.solve(), 0);
  s.pop();
  s.add(s.eq(s.times(s.ite(c, s.num("2"), s.num("3")), x), s.num("6")));
  s.add(s.less(s.num("2"), x));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(x), "3");
}

TEST(Environment, FactorsOfNumbersAloneAreNumbersAlsoWhereTermsAreNotSimplified) {
  SolverScript s({std::pair{"debug.term_simplifications", "false"}});
  const vesk_term x = s.real("x"), c = s.boolean("c");
  const vesk_term six = s.times(s.plus(s.num("1"), s.num("1")), s.num("3"));
  const vesk_term third = vesk_make_divide(s.env, s.num("2"), six);
  s.add(s.eq(s.times(third, s.ite(c, x, s.plus(x, s.num("3")))), s.num("5")));  // 15 is x or x + 3
  s.add(s.less(vesk_make_divide(s.env, x, six), s.num("2.5")));
  ASSERT_EQ(s.solve(), 1) << s.error();
  EXPECT_EQ(s.value(x), "12");
  EXPECT_EQ(s.value(c), "false");
  s.add(c);
  EXPECT_EQ(s.solve(), 0) << s.error();
}

TEST(Environment, WithoutIntegerReasoningTheReasonIsNamed) {
  SolverScript s({std::pair{"theory.la.laz_enabled", "false"}});
  const vesk_term i = s.constant("i", s.int_type()), j = s.constant("j", s.int_type());
  const vesk_term sum = s.plus(s.times(s.num("3"), i), s.times(s.num("-3"), j));
  const vesk_term k = s.constant("k", s.int_type());
  s.add(s.eq(sum, k));
  s.add(s.conj(s.leq(s.num("1"), k), s.leq(k, s.num("2"))));
  EXPECT_EQ(s.solve(), -1);
  EXPECT_NE(s.error().find("integer"), std::string::npos) << s.error();
}

TEST(Environment, TheModelLivesUntilTheNextAssertionSolveOrPop) {
  SolverScript s;
  const vesk_term a = s.boolean("a"), unseen = s.real("unseen");
  EXPECT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(unseen), "0");
  EXPECT_EQ(s.value(a), "false");
  const vesk_model model = vesk_get_model(s.env);
  s.add(a);
  EXPECT_EQ(vesk_get_model_value(s.env, a).repr, nullptr);
  s.push();
  EXPECT_EQ(s.solve(), 1);
  s.push();
  EXPECT_EQ(s.value(a), "true");
  EXPECT_EQ(SolverScript::text(vesk_model_eval(model, a)), "false");
  s.pop();
  EXPECT_EQ(vesk_get_model_value(s.env, a).repr, nullptr);
  EXPECT_NE(s.error(), "");
  vesk_destroy_model(model);
  SolverScript without(Options{{"model_generation", "false"}});
  EXPECT_EQ(without.solve(), 1);
  EXPECT_EQ(vesk_get_model_value(without.env, without.boolean("a")).repr, nullptr);
  EXPECT_EQ(without.error(), "model generation not enabled");
}

TEST(Environment, ModelsListWhatPreprocessingRemovedToo) {
  SolverScript s;
  const vesk_decl f = s.function("f", {s.real_type()}, s.real_type());
  s.add(s.eq(s.real("x"), s.num("5")));
  s.add(s.boolean("a"));
  const vesk_term f1 = s.apply(f, {s.num("1")}), f2 = s.apply(f, {s.num("2")});
  s.add(s.less(f1, f2));
  ASSERT_EQ(s.solve(), 1);
  std::string listing;
  const vesk_model_iterator iterator = vesk_create_model_iterator(s.env);
  vesk_term term, value;
  while (vesk_model_iterator_has_next(iterator)) {
    ASSERT_EQ(vesk_model_iterator_next(iterator, &term, &value), 0);
    listing += SolverScript::text(term) + " ";
  }
  EXPECT_EQ(vesk_model_iterator_next(iterator, &term, &value), -1);
  vesk_destroy_model_iterator(iterator);
  EXPECT_EQ(listing, "x a (f 1) (f 2) ");
}

// More arguments than are compared pair by pair, asserted, denied and in a choice; models are evaluated.
TEST(Environment, ManyNumbersAreDistinctOrNot) {
  for (const bool integers : {false, true}) {
    SolverScript s;
    constexpr int n = 120;
    std::vector<vesk_term> x;
    for (int i = 0; i < n; ++i)
      x.push_back(s.constant(("x" + std::to_string(i)).c_str(), integers ? s.int_type() : s.real_type()));
    const vesk_term differ = vesk_make_distinct_n(s.env, x.data(), x.size());
    ASSERT_NE(differ.repr, nullptr);
    EXPECT_EQ(s.solve({differ}), 1);
    for (int i = 1; i < n; ++i) s.add(s.eq(x[i], s.num(std::to_string(i).c_str())));
    const auto between = [&](const char* low, const char* high) {
      return s.conj(s.leq(s.num(low), x[0]), s.leq(x[0], s.num(high)));
    };
    EXPECT_EQ(s.solve({differ, between("7", "7")}), 0);
    EXPECT_EQ(s.solve({differ, between("7", "8")}), integers ? 0 : 1);
    EXPECT_EQ(s.solve({s.neg(differ), between("1/2", "3/2")}), 1);
    EXPECT_EQ(s.value(x[0]), "1");
    EXPECT_EQ(s.value(differ), "false");
    EXPECT_EQ(s.solve({s.neg(differ), between("-1", "1/2")}), 0);
    EXPECT_EQ(s.solve({s.disj(differ, s.eq(x[0], s.num("9"))), between("8", "9")}), 1);
  }
}

// All are zero in the first model. A batch of equalities guessed at a time takes conflicts for each.
TEST(Environment, ManyNumbersThatNothingTiesAreMovedApartAtOnce) {
  SolverScript s;
  std::vector<vesk_term> x;
  for (int i = 0; i < 400; ++i) x.push_back(s.constant(("x" + std::to_string(i)).c_str(), s.real_type()));
  s.add(vesk_make_distinct_n(s.env, x.data(), x.size()));
  EXPECT_EQ(s.solve(), 1);
  uint64_t guessed = 1;
  EXPECT_EQ(vesk_get_statistic(s.env, "interface_equalities", &guessed), 0);
  EXPECT_EQ(guessed, 0U);
}

TEST(Environment, PreferredConstantsAreDecidedFirstAndAsTold) {
  SolverScript s;
  std::vector<vesk_term> v;
  for (int i = 0; i < 4; ++i) v.push_back(s.boolean("v" + std::to_string(i)));
  s.add(s.disj(s.disj(v[0], v[1]), s.disj(v[2], v[3])));
  EXPECT_EQ(vesk_add_preferred_for_branching(s.env, v[2], 1), 0);
  EXPECT_EQ(vesk_add_preferred_for_branching(s.env, v[0], 0), 0);
  EXPECT_EQ(vesk_add_preferred_for_branching(s.env, s.num("1"), 0), -1);
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(v[2]), "true");
  EXPECT_EQ(s.value(v[0]), "false");
  vesk_clear_preferred_for_branching(s.env);
  vesk_add_preferred_for_branching(s.env, v[1], 1);
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(v[1]), "true");
}

void solve_a_large_formula(const Options& options) {
  SolverScript s(options);
  constexpr int n = 200000;
  std::vector<vesk_term> v;
  for (int i = 0; i < 1000; ++i) v.push_back(s.boolean("v" + std::to_string(i)));
  vesk_term all = vesk_make_true(s.env);
  for (int i = 0; i < n; ++i) {
    const auto a = static_cast<std::size_t>(i % 1000),
               b = static_cast<std::size_t>((i * 7 + i / 1000) % 1000);
    if (a == b) continue;
    all = s.conj(all, s.neg(s.conj(v[a], v[b])));
  }
  s.add(all);
  vesk_term deep = v[0];
  for (std::size_t i = 0; i < 300000; ++i)
    deep = i % 2 == 0 ? s.disj(deep, v[i % 999]) : s.eq(s.neg(deep), v[i % 998]);
  s.add(deep);
  EXPECT_GE(s.solve(), 0);
}

TEST(Environment, HundredsOfThousandsOfConjunctsAndVeryDeepTermsFit) {
  solve_a_large_formula({});
  solve_a_large_formula({{"preprocessor.partial_nnf_conversion", "true"},
                         {"preprocessor.full_cnf_conversion", "true"},
                         {"preprocessor.simplification", "63"},
                         {"dpll.ghost_filtering", "true"},
                         {"dpll.minimize_model", "true"}});
}

TEST(Environment, GarbageCollectionAndResetLeaveAUsableEnvironment) {
  SolverScript s;
  const vesk_term x = s.real("x");
  s.add(s.leq(s.num("1/3"), x));
  ASSERT_EQ(s.solve(), 1);
  for (int i = 0; i < 1000; ++i) s.leq(s.plus(x, s.num(std::to_string(i).c_str())), s.real("y"));
  EXPECT_EQ(vesk_gc_env(s.env, &x, 1), 0) << s.error();
  EXPECT_EQ(s.value(s.leq(s.num("1/3"), x)), "true");
  EXPECT_EQ(s.solve(), 1);
  s.add(s.less(x, s.num("1/3")));
  EXPECT_EQ(s.solve(), 0);
  EXPECT_EQ(vesk_reset_env(s.env), 0);
  EXPECT_EQ(s.solve(), 1);
  EXPECT_EQ(vesk_num_backtrack_points(s.env), 0);
}

}  // namespace
