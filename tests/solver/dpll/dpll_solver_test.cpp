#include "solver/dpll/dpll_solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "solver/term/term_manager.h"

namespace vesk::dpll {
namespace {

using ClauseList = std::vector<std::vector<Lit>>;

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int below(int bound) { return static_cast<int>(engine_() % static_cast<unsigned>(bound)); }
  bool one_in(int n) { return below(n) == 0; }

 private:
  std::mt19937 engine_;
};

bool holds(const std::vector<Lit>& clause, unsigned assignment) {
  for (Lit lit : clause)
    if (((assignment >> lit.var()) & 1) != (lit.negated() ? 1u : 0u)) return true;
  return false;
}

bool satisfiable(const ClauseList& clauses, int num_vars) {
  for (unsigned assignment = 0; assignment < (1u << num_vars); ++assignment)
    if (std::all_of(clauses.begin(), clauses.end(), [&](const auto& c) { return holds(c, assignment); }))
      return true;
  return false;
}

// A theory that knows a list of clauses over its atoms and tells them in every way that the search allows:
// as conflicts, as implied literals with early or late explanations, and as lemmas, some of them late.
class ClauseTheory : public TheoryHook {
 public:
  ClauseTheory(unsigned seed, const ClauseList& clauses) : random_(seed), clauses_(clauses) {
    told_.assign(clauses.size(), false);
  }

  int num_atoms = 0;
  int retracted = 0;
  bool lemmas_wanted = true;
  DpllSolver* solver = nullptr;

  bool tell_atom(Term, Var) override { return ++num_atoms > 0; }
  void retract_atom(Term, Var) override { --num_atoms; }
  void new_decision_level() override { marks_.push_back({trail_.size(), implied_.size()}); }
  void cancel_until(int level) override {
    const auto [size, implied] = marks_[static_cast<std::size_t>(level)];
    marks_.resize(static_cast<std::size_t>(level));
    for (std::size_t i = size; i < trail_.size(); ++i) set(trail_[i], l_undef);
    trail_.resize(size);
    implied_.resize(implied);
    next_implied_ = std::min(next_implied_, implied);
  }
  void push_backtrack_point() override { points_.push_back(marks_.size()); }
  void pop_backtrack_point() override { points_.pop_back(); }
  bool assume(Lit lit) override {
    EXPECT_TRUE(is_undef(value(lit))) << "assumed twice";
    set(lit, l_true);
    trail_.push_back(lit);
    return true;
  }
  bool check(bool approximate) override {
    if (approximate && random_.one_in(3)) return true;
    conflict_ = -1;
    for (std::size_t i = 0; i < clauses_.size(); ++i) {
      int open = 0;
      Lit last = lit_undef;
      bool is_true = false;
      for (Lit lit : clauses_[i]) {
        const lbool v = value(lit);
        is_true |= v == l_true;
        if (is_undef(v)) {
          ++open;
          last = lit;
        }
      }
      if (is_true) continue;
      if (open == 0) {
        conflict_ = static_cast<int>(i);
        if (random_.one_in(2)) return false;
      }
      if (open == 1 && random_.one_in(2)) implied_.push_back({last, i});
    }
    return conflict_ < 0;
  }
  void get_conflict(std::vector<Lit>& lits) override {
    for (Lit lit : clauses_[static_cast<std::size_t>(conflict_)]) lits.push_back(~lit);
  }
  Lit get_next_implied() override {
    if (next_implied_ >= implied_.size()) return lit_undef;
    return implied_[next_implied_++].first;
  }
  bool get_explanation(Lit lit, bool lazy, std::vector<Lit>& reasons) override {
    if (!lazy && random_.one_in(2)) return false;
    for (std::size_t i = 0; i < next_implied_; ++i) {
      if (!(implied_[i].first == lit)) continue;
      for (Lit other : clauses_[implied_[i].second])
        if (!(other == lit)) reasons.push_back(~other);
      return true;
    }
    ADD_FAILURE() << "an explanation of what was not implied";
    return true;
  }
  bool has_lemmas() override {
    if (!lemmas_wanted || lemma_ >= 0) return lemma_ >= 0;
    if (!random_.one_in(4)) return false;
    const int i = random_.below(static_cast<int>(clauses_.size()));
    if (told_[static_cast<std::size_t>(i)]) return false;
    lemma_ = i;
    return true;
  }
  Lemma next_lemma(std::vector<Lit>& lits) override {
    lits = clauses_[static_cast<std::size_t>(lemma_)];
    told_[static_cast<std::size_t>(lemma_)] = true;
    const Lemma lemma{lemma_, random_.one_in(2)};
    lemma_ = -1;
    return lemma;
  }
  void retract_lemma(int id) override {
    told_[static_cast<std::size_t>(id)] = false;
    ++retracted;
  }
  ModelFound boolean_model_found() override { return {}; }
  void recover() override {}

 private:
  lbool value(Lit lit) const { return lit.index() < values_.size() ? values_[lit.index()] : l_undef; }
  void set(Lit lit, lbool v) {
    if (values_.size() <= (lit.index() | 1)) values_.resize(lit.index() + 64, l_undef);
    values_[lit.index()] = v;
    values_[(~lit).index()] = is_undef(v) ? l_undef : static_cast<lbool>(v ^ 1);
  }

  Random random_;
  const ClauseList& clauses_;
  std::vector<bool> told_;
  std::vector<lbool> values_;
  std::vector<Lit> trail_;
  std::vector<std::pair<std::size_t, std::size_t>> marks_;
  std::vector<std::size_t> points_;
  std::vector<std::pair<Lit, std::size_t>> implied_;
  std::size_t next_implied_ = 0;
  int conflict_ = -1;
  int lemma_ = -1;
};

std::vector<Lit> random_clause(Random& random, const std::vector<Var>& vars, int max_size) {
  std::vector<Lit> clause;
  const int size = 1 + random.below(max_size);
  for (int i = 0; i < size; ++i)
    clause.push_back(
        Lit(vars[static_cast<std::size_t>(random.below(static_cast<int>(vars.size())))], random.one_in(2)));
  return clause;
}

// A random script of clauses, new variables, backtrack points and assumptions, replayed by brute force.
// Variables of the solver are numbered anew after pops, so the script keeps its own numbers.
void run_script(unsigned seed, bool with_theory) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  Random random(seed);
  Configuration config;
  config.dpll.restart_strategy = random.below(4);
  config.dpll.restart_initial = 1 + random.below(4);
  config.dpll.branching_random_frequency = random.one_in(2) ? 0.3 : 0;
  config.dpll.branching_random_invalidate_phase_cache = random.one_in(2);
  config.dpll.branching_cache_phase = random.below(3);
  config.dpll.glucose_var_activity = random.one_in(2);
  config.dpll.glucose_learnt_minimization = random.one_in(2);
  DpllSolver solver(config);
  solver.set_invariants_interval(1);
  TermManager terms;
  ClauseList theory_clauses;
  const int num_atoms = with_theory ? 6 : 0;
  std::vector<Var> vars;  // script number -> variable
  // Theory atoms are the first variables, so that the clauses of the theory can be written down at once.
  if (with_theory) {
    std::vector<Var> atoms;
    for (int i = 0; i < num_atoms; ++i) atoms.push_back(i);
    const int num_theory_clauses = 1 + random.below(10);
    for (int i = 0; i < num_theory_clauses; ++i) {
      std::vector<Lit> clause = random_clause(random, atoms, 4);
      std::sort(clause.begin(), clause.end());
      clause.erase(std::unique(clause.begin(), clause.end()), clause.end());
      bool tautology = false;
      for (std::size_t k = 1; k < clause.size(); ++k) tautology |= clause[k] == ~clause[k - 1];
      if (!tautology) theory_clauses.push_back(clause);
    }
    if (theory_clauses.empty()) theory_clauses.push_back({Lit(0)});
  }
  ClauseTheory theory(seed + 1, theory_clauses);
  theory.solver = &solver;
  if (with_theory) solver.set_theory(&theory);
  const Term zero = terms.make_number(QNumber(0));
  for (int i = 0; i < num_atoms; ++i) {
    const Term x = terms.make_fresh_constant("x", terms.types().rational());
    const Var var = solver.make_proxy(terms.make_leq(x, zero), {}, nullptr);
    ASSERT_EQ(var, i);
    vars.push_back(var);
  }

  struct Level {
    std::size_t clauses;
    std::size_t vars;
  };
  std::vector<Level> levels;
  ClauseList script = theory_clauses;  // over script numbers; those of the theory agree
  const auto to_solver = [&](Lit lit) {
    return Lit(vars[static_cast<std::size_t>(lit.var())], lit.negated());
  };
  for (int step = 0; step < 60; ++step) {
    const int choice = random.below(12);
    if (vars.size() < 3 || (choice == 0 && vars.size() < 12)) {
      vars.push_back(solver.new_var());
      continue;
    }
    std::vector<Var> numbers;
    for (std::size_t i = 0; i < vars.size(); ++i) numbers.push_back(static_cast<Var>(i));
    if (choice <= 6) {
      const std::vector<Lit> clause = random_clause(random, numbers, 4);
      script.push_back(clause);
      std::vector<Lit> lits;
      for (Lit lit : clause) lits.push_back(to_solver(lit));
      solver.add_clause(lits);
    } else if (choice == 7) {
      levels.push_back({script.size(), vars.size()});
      solver.push_backtrack_point();
    } else if (choice == 8 && !levels.empty()) {
      script.resize(levels.back().clauses);
      vars.resize(levels.back().vars);
      levels.pop_back();
      solver.pop_backtrack_point();
      ASSERT_EQ(theory.num_atoms, num_atoms);
    } else if (choice >= 9) {
      std::vector<Lit> assumptions;
      const int num_assumptions = random.one_in(2) ? random.below(4) : 0;
      for (int i = 0; i < num_assumptions; ++i)
        assumptions.push_back(Lit(random.below(static_cast<int>(vars.size())), random.one_in(2)));
      ClauseList all = script;
      for (Lit lit : assumptions) all.push_back({lit});
      std::vector<Lit> solver_assumptions;
      for (Lit lit : assumptions) solver_assumptions.push_back(to_solver(lit));
      const int n = static_cast<int>(vars.size());
      const Result expected = satisfiable(all, n) ? Result::satisfiable : Result::unsatisfiable;
      ASSERT_EQ(solver.solve(solver_assumptions) == Result::satisfiable, expected == Result::satisfiable)
          << "step " << step;
      ASSERT_LE(solver.decision_level(), solver.num_backtrack_points());
      if (expected == Result::satisfiable) {
        unsigned model = 0;
        for (int i = 0; i < n; ++i)
          if (solver.model_value(vars[static_cast<std::size_t>(i)]) == l_true) model |= 1u << i;
        for (const auto& clause : all) ASSERT_TRUE(holds(clause, model)) << "step " << step;
        continue;
      }
      // What the answer is said to rest on must be enough for it.
      if (solver.unsat_level() >= 0) {
        const auto depth = static_cast<std::size_t>(solver.unsat_level());
        ClauseList below = script;
        if (depth < levels.size()) below.resize(levels[depth].clauses);
        ASSERT_FALSE(satisfiable(below, n)) << "step " << step << " unsat level " << depth;
      } else {
        ClauseList core = script;
        ASSERT_FALSE(solver.conflict_assumptions().empty());
        for (Lit lit : solver.conflict_assumptions()) {
          const auto at = std::find(solver_assumptions.begin(), solver_assumptions.end(), lit);
          ASSERT_NE(at, solver_assumptions.end());
          core.push_back({assumptions[static_cast<std::size_t>(at - solver_assumptions.begin())]});
        }
        ASSERT_FALSE(satisfiable(core, n)) << "step " << step;
      }
    }
  }
}

TEST(DpllSolver, AgreesWithBruteForceOnScriptsOfClausesPointsAndAssumptions) {
  for (unsigned seed = 0; seed < 1000; ++seed) {
    run_script(seed, false);
    if (HasFatalFailure()) return;
  }
}

TEST(DpllSolver, AgreesWithBruteForceWhenATheoryTellsClausesItsOwnWay) {
  for (unsigned seed = 0; seed < 1000; ++seed) {
    run_script(seed, true);
    if (HasFatalFailure()) return;
  }
}

class Script : public ::testing::Test {
 protected:
  Configuration config;
  DpllSolver solver{config};
  Lit a{solver.new_var()}, b{solver.new_var()}, c{solver.new_var()};
  bool sat(std::vector<Lit> assumptions = {}) { return solver.solve(assumptions) == Result::satisfiable; }
  void add(std::vector<Lit> lits) { solver.add_clause(lits); }
};

TEST_F(Script, AClauseDiesWithThePointUnderWhichItsOtherLiteralsAreFalse) {
  add({~a});
  solver.push_backtrack_point();
  add({~b});
  add({a, b, c});  // all but c is false here: c follows, but only under the point
  EXPECT_TRUE(sat());
  EXPECT_FALSE(sat({~c}));
  solver.pop_backtrack_point();
  EXPECT_TRUE(sat({~c}));
  EXPECT_TRUE(sat({b}));
}

TEST_F(Script, AClauseThatOnlyAPointSatisfiesOutlivesThePoint) {
  add({a, b});
  solver.push_backtrack_point();
  add({a});
  add({b, c});
  EXPECT_TRUE(sat());
  solver.pop_backtrack_point();
  EXPECT_FALSE(sat({~a, ~b}));
  EXPECT_TRUE(sat({~a, b}));
}

TEST_F(Script, AnAnswerThatRestsOnAssumptionsLeavesNothingBehind) {
  add({~a, b});
  EXPECT_FALSE(sat({a, ~b}));
  EXPECT_EQ(solver.unsat_level(), -1);
  EXPECT_TRUE(sat());
  EXPECT_FALSE(sat({c, ~c}));
  EXPECT_TRUE(sat({c, c}));
}

TEST_F(Script, UnsatisfiabilityEndsWithThePointThatCausedIt) {
  add({a, b});
  solver.push_backtrack_point();
  add({~a});
  solver.push_backtrack_point();
  add({~b});
  EXPECT_FALSE(sat());
  EXPECT_EQ(solver.unsat_level(), 2);
  solver.push_backtrack_point();
  EXPECT_FALSE(sat());
  solver.pop_backtrack_point();
  solver.pop_backtrack_point();
  EXPECT_TRUE(sat());
  EXPECT_FALSE(sat({~b}));
  solver.pop_backtrack_point();
  EXPECT_TRUE(sat({~b}));
}

TEST(RestartStrategy, LimitsFollowTheirSequences) {
  Configuration::Dpll config;
  RestartStrategy geometric;
  geometric.init(config);
  EXPECT_FALSE(geometric.should_restart(199, 199));
  EXPECT_TRUE(geometric.should_restart(200, 200));
  geometric.next();
  EXPECT_FALSE(geometric.should_restart(299, 499));
  EXPECT_TRUE(geometric.should_restart(300, 500));
  config.restart_strategy = Configuration::Dpll::luby;
  config.restart_initial = 1;
  RestartStrategy luby;
  luby.init(config);
  for (double expected : {1, 1, 2, 1, 1, 2, 4, 1, 1, 2, 1, 1, 2, 4, 8}) {
    EXPECT_EQ(luby.limit(), expected);
    luby.next();
  }
}

struct Stopper : TerminationTest {
  int polls = 0;
  bool operator()() override { return ++polls > 2; }
};

// Pigeons in one hole less: hard enough to be stopped, small enough to be finished.
void add_pigeons(DpllSolver& solver, int holes) {
  std::vector<std::vector<Lit>> in;
  for (int p = 0; p <= holes; ++p) {
    in.emplace_back();
    for (int h = 0; h < holes; ++h) in.back().push_back(Lit(solver.new_var()));
    solver.add_clause(in.back());
  }
  for (std::size_t h = 0; h < static_cast<std::size_t>(holes); ++h)
    for (std::size_t p = 0; p < in.size(); ++p)
      for (std::size_t q = 0; q < p; ++q) solver.add_clause(std::vector{~in[p][h], ~in[q][h]});
}

TEST(DpllSolver, AStoppedSearchCanGoOn) {
  Configuration config;
  DpllSolver solver(config);
  Stopper stopper;
  solver.push_backtrack_point();
  add_pigeons(solver, 7);
  solver.set_termination_test(&stopper);
  EXPECT_THROW(solver.solve({}), TerminationTest::Terminated);
  solver.recover();
  solver.check_invariants(true);
  solver.set_termination_test(nullptr);
  EXPECT_EQ(solver.solve({}), Result::unsatisfiable);
  solver.pop_backtrack_point();
  EXPECT_EQ(solver.num_vars(), 0);
  EXPECT_EQ(solver.solve({}), Result::satisfiable);
}

TEST(DpllSolver, LimitedCallsAddUpToAnAnswer) {
  Configuration config;
  DpllSolver solver(config);
  add_pigeons(solver, 7);
  solver.push_backtrack_point();
  std::optional<Result> result;
  int calls = 0;
  const auto spend = [&](const DpllSolver::Budget& budget) {
    const DpllSolver::Stats before = solver.stats();
    result = solver.solve_limited({}, budget);
    ++calls;
    solver.check_invariants(false);
    EXPECT_LE(solver.decision_level(), 1);  // not above the point
    EXPECT_LE(solver.stats().conflicts - before.conflicts, 500u);
  };
  spend({.conflicts = 1});
  EXPECT_EQ(solver.stats().conflicts, 1u);
  spend({.decisions = 10});
  spend({.propagations = 100});
  EXPECT_EQ(calls, 3);
  while (!result && calls < 1000) spend({.conflicts = 500});
  EXPECT_EQ(result, Result::unsatisfiable);
  EXPECT_GT(calls, 4);  // what was learnt in one call serves the next
}

TEST(DpllSolver, SurvivesMassiveReductionOfLearntClauses) {
  Configuration config;
  config.dpll.restart_strategy = Configuration::Dpll::luby;
  config.dpll.restart_initial = 32;
  DpllSolver solver(config);
  solver.set_invariants_interval(997);
  add_pigeons(solver, 8);
  EXPECT_EQ(solver.solve({}), Result::unsatisfiable);
  EXPECT_GT(solver.stats().reductions, 1u);
  EXPECT_EQ(solver.unsat_level(), 0);
}

}  // namespace
}  // namespace vesk::dpll
