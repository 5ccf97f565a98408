#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "solver/capi/solver_script.h"
#include "solver/config/configuration.h"
#include "solver/dpll/dpll_solver.h"
#include "solver/euf/euf_interface.h"
#include "solver/la/la_interface.h"
#include "solver/term/polarity_checker.h"
#include "solver/term/term_manager.h"
#include "solver/theory/theory_manager.h"

namespace vesk {
namespace {

using dpll::Lit;

/// The search with its theories, without what stands above them: clauses over atoms go straight in.
struct Engine {
  explicit Engine(const Configuration& configuration)
      : config(configuration),
        search(config),
        euf(terms),
        la(config.theory.la, terms,
           std::make_unique<la::OptSolver>(la::LaSolverInterface::solver_options(config.theory.la)), nullptr),
        manager(config.theory, terms, nullptr, log) {
    manager.set_search(&search);
    manager.add_solver(euf);
    manager.add_solver(la);
    search.set_theory(&manager);
    search.set_invariants_interval(1);
  }
  Lit lit(Term atom, bool negated) { return Lit(search.make_proxy(atom, {}, nullptr), negated); }

  Configuration config;
  Logger log;
  TermManager terms;
  dpll::DpllSolver search;
  euf::EufSolverInterface euf;
  la::LaSolverInterface la;
  TheoryManager manager;
};

/// Decides conjunctions of atoms with functions over numbers by case splits: two applications of one function
/// have equal values or some unequal arguments.
class Oracle {
 public:
  struct Literal {
    Term atom;
    bool negated;
  };
  bool is_satisfiable(const std::vector<Literal>& literals) {
    solver_ = std::make_unique<la::Solver>(la::Solver::Options());
    var_of_.clear();
    applications_.clear();
    for (const Literal& literal : literals) collect(literal.atom);
    for (const Literal& literal : literals) {
      if (literal.atom->tag() == Tag::uninterpreted) {
        const Term zero_or_one = literal.atom;  // a predicate is a function to 0 or 1
        if (!post({{zero_or_one, QNumber(1)}}, QNumber(literal.negated ? 0 : 1), la::Relation::equal, false))
          return false;
        continue;
      }
      const la::LinearAtom atom = la::LinearAtom::of(literal.atom);
      if (atom.sum.empty()) {
        if (atom.is_trivially_true() == literal.negated) return false;
        continue;
      }
      if (!post(atom.sum, atom.bound, atom.relation, literal.negated)) return false;
    }
    return split(0, 1);
  }

 private:
  void collect(Term term) {
    if (var_of_.count(term) != 0) return;
    for (const Term child : term->children()) collect(child);
    if (term->tag() != Tag::uninterpreted) return;
    var_of_[term] = solver_->new_var();
    if (term->arity() != 0) applications_.push_back(term);
  }
  bool post(const std::vector<la::LinearAtom::Summand>& sum, const QNumber& bound, la::Relation relation,
            bool negated) {
    std::vector<la::Monomial> form;
    for (const auto& summand : sum) form.push_back({var_of_.at(summand.term), summand.coefficient});
    const la::Var var = solver_->new_slack(form);
    const la::DNumber value(bound);
    la::AtomId atom = 0;
    switch (relation) {
      case la::Relation::at_most:
        atom = solver_->add_at_most(var, value, la::DNumber(bound, QNumber(1)));
        break;
      case la::Relation::at_least:
        atom = solver_->add_at_least(var, value, la::DNumber(bound, QNumber(-1)));
        break;
      case la::Relation::equal: atom = solver_->add_equal(var, bound); break;
    }
    return solver_->push(2 * atom + (negated ? 1 : 0));
  }
  bool post_difference(Term a, Term b, bool negated) {
    const Poly poly = Poly::difference(a, b);
    if (poly.is_constant()) return poly.constant.is_zero() != negated;
    std::vector<la::LinearAtom::Summand> sum;
    for (const auto& monomial : poly.monomials) sum.push_back({monomial.atom, monomial.coefficient});
    return post(sum, poly.constant.neg(), la::Relation::equal, negated);
  }
  bool split(std::size_t i, std::size_t j) {
    if (!solver_->check(false)) return false;
    while (i < applications_.size() &&
           (j >= applications_.size() || applications_[i]->symbol() != applications_[j]->symbol())) {
      if (++j >= applications_.size()) j = ++i + 1;
    }
    if (i >= applications_.size()) return true;
    const Term a = applications_[i], b = applications_[j];
    for (std::size_t choice = 0; choice <= a->arity(); ++choice) {
      const std::size_t levels = solver_->num_levels();
      solver_->push_level();
      bool holds;
      if (choice == a->arity()) {
        const std::vector<la::Monomial> form{{var_of_.at(a), QNumber(1)}, {var_of_.at(b), QNumber(-1)}};
        const la::Var difference = solver_->new_slack(form);
        const la::AtomId equal = solver_->add_equal(difference, QNumber(0));
        holds = solver_->push(2 * equal);
      } else {
        holds = post_difference(a->child(choice), b->child(choice), true);
      }
      if (holds && split(i, j + 1)) return true;
      solver_->pop_to_level(levels);
    }
    return false;
  }

  std::unique_ptr<la::Solver> solver_;
  std::map<Term, la::Var, TermIdLess> var_of_;
  std::vector<Term> applications_;
};

class RandomScript {
 public:
  RandomScript(unsigned seed, bool functions) : random_(seed), engine_(configuration(seed)) {
    TermManager& terms = engine_.terms;
    const Type* real = terms.types().rational();
    for (const char* name : {"x", "y", "z"})
      numbers_.push_back(terms.make_constant(terms.declare(name, real)));
    if (functions) {
      const Symbol* f = terms.declare("f", terms.types().function_type({real}, real));
      const Symbol* g = terms.declare("g", terms.types().function_type({real, real}, real));
      const Symbol* p = terms.declare("p", terms.types().function_type({real}, terms.types().boolean()));
      const Term one = terms.make_number(QNumber(1));
      std::vector<Term> arguments = numbers_;
      arguments.push_back(one);
      arguments.push_back(terms.make_plus(numbers_[0], one));
      for (int i = 0; i < 4; ++i) {
        Term args[2] = {arguments[below(arguments.size())], arguments[below(arguments.size())]};
        const Term made = below(4) == 0 ? terms.make_uf(g, args) : terms.make_uf(f, {args, 1});
        arguments.push_back(made);
        numbers_.push_back(made);
      }
      for (int i = 0; i < 2; ++i) {
        const Term argument = arguments[below(arguments.size())];
        atoms_.push_back(terms.make_uf(p, {&argument, 1}));
      }
    }
    const std::size_t num_atoms = atoms_.size() + 5 + below(3);
    while (atoms_.size() < num_atoms) {
      const Term atom = random_atom();
      if (atom->is_atom()) atoms_.push_back(atom);
    }
  }

  void step() {
    switch (below(8)) {
      case 0:
        engine_.search.push_backtrack_point();
        points_.push_back(clauses_.size());
        break;
      case 1:
        if (points_.empty()) break;
        engine_.search.pop_backtrack_point();
        clauses_.resize(points_.back());
        points_.pop_back();
        break;
      case 2:
      case 3: solve(); break;
      default: add_clause();
    }
  }
  std::size_t satisfiable = 0, unsatisfiable = 0;

 private:
  struct Literal {
    std::size_t atom;
    bool negated;
  };
  static Configuration configuration(unsigned seed) {
    Configuration config;
    config.model_generation = true;
    config.theory.la.split_rat_eq = seed % 2 == 0;
    config.theory.la.deduction_enabled = seed % 5 != 0;
    config.theory.la.lazy_expl_threshold = static_cast<int>(seed % 3);
    config.theory.interface_eq_policy = static_cast<int>(seed % 3);
    config.theory.pairwise_interface_eq = seed % 2 == 0;
    config.theory.interface_eq_batch_size = seed % 7 == 0 ? 1 : 100;
    config.theory.eq_propagation = seed % 4 != 3;
    config.theory.la.delay_alien = seed % 11 < 3;
    return config;
  }
  std::size_t below(std::size_t limit) { return random_() % limit; }
  Term random_atom() {
    TermManager& terms = engine_.terms;
    Term left = numbers_[below(numbers_.size())];
    if (below(3) != 0) {
      const Term factor = terms.make_number(QNumber(static_cast<long>(below(3)) - 1));
      const Term product = terms.make_times(factor, numbers_[below(numbers_.size())]);
      left = terms.make_plus(left, product);
    }
    const Term right = terms.make_number(QNumber(static_cast<long>(below(4)) - 1, below(6) == 0 ? 2 : 1));
    switch (below(3)) {
      case 0: return terms.make_leq(left, right);
      case 1: return terms.make_leq(right, left);
      default: return terms.make_equal(left, right);
    }
  }

  void add_clause() {
    std::vector<Literal> clause;
    const std::size_t size = 1 + below(3);
    for (std::size_t i = 0; i < size; ++i) clause.push_back({below(atoms_.size()), below(2) == 0});
    clauses_.push_back(clause);
    std::vector<Lit> lits;
    for (const Literal& literal : clause) lits.push_back(engine_.lit(atoms_[literal.atom], literal.negated));
    engine_.search.add_clause(lits);
  }

  void solve() {
    std::vector<Lit> assumptions;
    std::vector<std::vector<Literal>> formula = clauses_;
    for (std::size_t i = below(3); i-- > 1;) {
      const Literal literal{below(atoms_.size()), below(2) == 0};
      const dpll::Var var = engine_.search.find_proxy(atoms_[literal.atom]);
      if (var == dpll::var_undef) continue;
      assumptions.push_back(Lit(var, literal.negated));
      formula.push_back({literal});
    }
    std::vector<int> values(atoms_.size(), -1);
    const bool expected = brute_force(formula, values, 0);
    const dpll::Result result = engine_.search.solve(assumptions, true);
    if (result == dpll::Result::satisfiable) engine_.manager.build_model();
    ASSERT_EQ(result == dpll::Result::satisfiable, expected);
    ++(expected ? satisfiable : unsatisfiable);
    if (expected) check_model(formula);
    engine_.search.release_model();
  }

  bool brute_force(const std::vector<std::vector<Literal>>& formula, std::vector<int>& values,
                   std::size_t next) {
    for (const auto& clause : formula)
      if (std::all_of(clause.begin(), clause.end(), [&](const Literal& literal) {
            return values[literal.atom] >= 0 && (values[literal.atom] != 0) == literal.negated;
          }))
        return false;
    std::vector<Oracle::Literal> literals;
    for (std::size_t i = 0; i < next; ++i)
      if (values[i] >= 0) literals.push_back({atoms_[i], values[i] == 0});
    if (next > 0 && !oracle_.is_satisfiable(literals)) return false;
    if (next == atoms_.size()) return true;
    const bool used = std::any_of(formula.begin(), formula.end(), [&](const auto& clause) {
      return std::any_of(clause.begin(), clause.end(),
                         [&](const Literal& literal) { return literal.atom == next; });
    });
    for (const int value : {0, 1}) {
      values[next] = used ? value : -1;
      if (brute_force(formula, values, next + 1)) return true;
      if (!used) break;
    }
    values[next] = -1;
    return false;
  }

  /// Evaluates the formula by the values of the constants and the tables of the functions alone.
  void check_model(const std::vector<std::vector<Literal>>& formula) {
    table_.clear();
    std::vector<Term> applications;
    for (const auto& function : engine_.manager.functions())
      applications.insert(applications.end(), function.applications.begin(), function.applications.end());
    std::sort(applications.begin(), applications.end(), TermIdLess());  // inner ones first
    for (const Term application : applications) {
      const Term known = engine_.manager.get_model_value(application);
      ASSERT_NE(known, nullptr);
      const std::string value = known->to_str();
      const auto [row, is_new] = table_.emplace(key(application), value);
      ASSERT_TRUE(is_new || row->second == value) << application->to_str() << " has two values";
    }
    for (const auto& clause : formula)
      ASSERT_TRUE(std::any_of(clause.begin(), clause.end(), [&](const Literal& literal) {
        return holds(atoms_[literal.atom]) != literal.negated;
      }));
  }
  std::string key(Term application) {
    std::string result = application->symbol()->name();
    for (const Term argument : application->children()) result += " " + evaluate(argument).to_str();
    return result;
  }
  QNumber evaluate(Term term) {
    if (term->is_number()) return term->number();
    if (term->tag() == Tag::plus) return evaluate(term->child(0)) + evaluate(term->child(1));
    if (term->tag() == Tag::times) return evaluate(term->child(0)) * evaluate(term->child(1));
    QNumber value;
    if (term->arity() == 0) {
      // 0 where nothing constrains it
      if (const Term known = engine_.manager.get_model_value(term)) value = known->number();
    } else {
      const auto row = table_.find(key(term));
      if (row != table_.end() && !QNumber::from_str(row->second, &value)) ADD_FAILURE() << row->second;
    }
    return value;
  }
  bool holds(Term atom) {
    if (atom->tag() == Tag::leq) return evaluate(atom->child(0)) <= evaluate(atom->child(1));
    if (atom->tag() == Tag::equal) return evaluate(atom->child(0)) == evaluate(atom->child(1));
    return table_[key(atom)] == "true";
  }

  std::mt19937 random_;
  Engine engine_;
  Oracle oracle_;
  std::vector<Term> numbers_, atoms_;
  std::vector<std::vector<Literal>> clauses_;
  std::vector<std::size_t> points_;
  std::map<std::string, std::string> table_;
};

/// VESKOR_FUZZ_SCRIPTS sets the number of scripts, for long runs by hand.
void run_scripts(bool functions, unsigned first, unsigned count) {
  if (const char* wanted = std::getenv("VESKOR_FUZZ_SCRIPTS"))
    count = static_cast<unsigned>(std::atoi(wanted));
  std::size_t satisfiable = 0, unsatisfiable = 0;
  for (unsigned seed = first; seed < first + count; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomScript script(seed, functions);
    for (int step = 0; step < 40; ++step) {
      script.step();
      if (testing::Test::HasFatalFailure()) return;
    }
    satisfiable += script.satisfiable;
    unsatisfiable += script.unsatisfiable;
  }
  // both answers are put to the test
  EXPECT_GT(satisfiable, count);
  EXPECT_GT(unsatisfiable, count);
}

/// `x = y` makes `f(x)` and `f(y)` congruent, at the third step through `f(f(x))` only. What congruence
/// closure finds reaches arithmetic without the help of a new atom, and is explained by the equations it
/// rests on.
TEST(TheoryCombination, EquationsOfCongruenceClosureReachArithmetic) {
  for (const bool propagated : {true, false}) {
    Configuration config;
    config.theory.eq_propagation = propagated;
    Engine engine(config);
    TermManager& terms = engine.terms;
    const Type* real = terms.types().rational();
    const Symbol* f = terms.declare("f", terms.types().function_type({real}, real));
    const auto apply = [&](Term argument) { return terms.make_uf(f, {&argument, 1}); };
    const Term x = terms.make_constant(terms.declare("x", real));
    const Term y = terms.make_constant(terms.declare("y", real));
    const Term z = terms.make_constant(terms.declare("z", real));
    const Lit equal = engine.lit(terms.make_equal(x, y), false);
    const Lit unrelated = engine.lit(terms.make_equal(y, z), false);
    const Term one = terms.make_number(QNumber(1));
    const Term next = terms.make_plus(apply(apply(apply(x))), one);
    const Lit less = engine.lit(terms.make_leq(next, apply(apply(apply(y)))), false);
    EXPECT_EQ(engine.search.solve({}), dpll::Result::satisfiable);
    const Lit all[] = {unrelated, equal, less};
    EXPECT_EQ(engine.search.solve(all), dpll::Result::unsatisfiable);
    std::vector<Lit> core = engine.search.conflict_assumptions();
    std::sort(core.begin(), core.end());
    EXPECT_EQ(core, (std::vector<Lit>{equal, less}));
    EXPECT_EQ(engine.la.statistics().equalities_taken > 0, propagated);
    EXPECT_EQ(engine.manager.statistics().interface_equalities > 0, !propagated);
    EXPECT_EQ(engine.search.solve(std::span<const Lit>(all).first(2)), dpll::Result::satisfiable);
  }
}

/// `x_0 = y_0`, `x_i+1 = f(x_i) + 1` and the same of y, all of it said by inequalities, so that arithmetic
/// has to find each equation of arguments before congruence closure can find the next of values. Where
/// equations that the model suggests are guessed, from the last one back, the conflicts grow with the length.
TEST(TheoryCombination, ImpliedEquationsOfArgumentsNeedNoGuess) {
  constexpr int length = 8;
  for (const int policy : {0, 1, 2}) {
    Configuration config;
    config.theory.interface_eq_policy = policy;
    Engine engine(config);
    TermManager& terms = engine.terms;
    const Type* real = terms.types().rational();
    const Symbol* f = terms.declare("f", terms.types().function_type({real}, real));
    const Term one = terms.make_number(QNumber(1));
    const auto constant = [&](const char* name, int i) {
      return terms.make_constant(terms.declare(name + std::to_string(i), real));
    };
    const auto assert_leq = [&](Term a, Term b) {
      const Lit lits[] = {engine.lit(terms.make_leq(a, b), false)};
      engine.search.add_clause(lits);
    };
    std::vector<Term> x{constant("x", 0)}, y{constant("y", 0)};
    assert_leq(x[0], y[0]);
    assert_leq(y[0], x[0]);
    for (int i = 1; i <= length; ++i)
      for (std::vector<Term>* side : {&x, &y}) {
        const Term last = side->back();
        const Term next = terms.make_plus(terms.make_uf(f, {&last, 1}), one);
        side->push_back(constant(side == &x ? "x" : "y", i));
        assert_leq(side->back(), next);
        assert_leq(next, side->back());
      }
    const Lit strict[] = {engine.lit(terms.make_leq(y.back(), x.back()), true)};
    engine.search.add_clause(strict);
    EXPECT_EQ(engine.search.solve({}), dpll::Result::unsatisfiable);
    if (policy != 2) continue;
    EXPECT_EQ(engine.search.stats().conflicts, 1u);
    EXPECT_EQ(engine.manager.statistics().interface_equalities, static_cast<std::uint64_t>(length));
  }
}

// Nothing is asserted of the arguments but a few bounds, disequalities and sums, so that they share values by
// accident only. Integers must stay whole.
TEST(TheoryCombination, TermsEqualByAccidentAreMovedApartInsteadOfCompared) {
  for (const bool integers : {false, true}) {
    SolverScript s;
    constexpr int n = 40;
    const vesk_type type = integers ? s.int_type() : s.real_type();
    const vesk_decl f = s.function("f", {type}, s.real_type());
    std::vector<vesk_term> x;
    for (int i = 0; i < n; ++i) {
      x.push_back(s.constant(("x" + std::to_string(i)).c_str(), type));
      if (i % 3 == 0) s.add(s.leq(x[i], s.num("100")));
      if (i % 4 == 1) s.add(s.less(s.num("0"), x[i]));
      if (i % 5 == 2) s.add(s.neg(s.eq(x[i], s.num(std::to_string(i + 1).c_str()))));
      if (i % 8 == 7) s.add(s.leq(s.plus(s.times(s.num("3"), x[i]), x[i - 1]), s.num("200")));
    }
    for (int i = 1; i < n; ++i) s.add(s.less(s.apply(f, {x[i - 1]}), s.apply(f, {x[i]})));
    ASSERT_EQ(s.solve(), 1);
    for (int i = 0; i < n && integers; ++i) EXPECT_EQ(s.value(x[i]).find('/'), std::string::npos);
    char* text = vesk_get_search_stats(s.env);
    const std::string all = text;
    vesk_free(text);
    EXPECT_NE(all.find("interface_equalities 0\n"), std::string::npos) << all;
  }
}

/// At most one of the applications of one predicate is true.
class AtMostOne : public TheorySolver {
 public:
  explicit AtMostOne(const Symbol* predicate) : predicate_(predicate) {}
  const char* get_name() const override { return "at most one"; }
  bool tell_atom(Term atom, dpll::Var var) override {
    if (atom->symbol() == predicate_) told_.push_back(var);
    return atom->symbol() == predicate_;
  }
  void retract_atom(dpll::Var var) override { std::erase(told_, var); }
  void new_decision_level() override { marks_.push_back({true_.size(), implied_.size()}); }
  void cancel_until(int level) override {
    if (static_cast<std::size_t>(level) >= marks_.size()) return;
    true_.resize(marks_[static_cast<std::size_t>(level)].first);
    implied_.resize(marks_[static_cast<std::size_t>(level)].second);
    next_ = std::min(next_, implied_.size());
    marks_.resize(static_cast<std::size_t>(level));
  }
  bool assume(Lit lit) override {
    if (lit.negated()) return true;
    true_.push_back(lit);
    if (true_.size() > 1) return false;
    for (const dpll::Var var : told_)
      if (var != lit.var()) implied_.push_back(Lit(var, true));
    return true;
  }
  bool check(bool) override { return true_.size() < 2; }
  void get_conflict(std::vector<Lit>& lits) override { lits.assign(true_.begin(), true_.begin() + 2); }
  Lit get_next_implied() override { return next_ < implied_.size() ? implied_[next_++] : dpll::lit_undef; }
  bool get_explanation(Lit, bool, std::vector<Lit>& reasons) override {
    reasons.assign(1, true_.front());
    return true;
  }

 private:
  const Symbol* predicate_;
  std::vector<dpll::Var> told_;
  std::vector<Lit> true_, implied_;
  std::vector<std::pair<std::size_t, std::size_t>> marks_;
  std::size_t next_ = 0;
};

// The predicate holds of one x, as the third theory says, so all x that it holds of by the clauses are equal
// to none of the others; congruence closure and arithmetic own the same atoms and the arguments.
TEST(TheoryCombination, TakesFurtherTheoriesThatShareAtomsWithTheOthers) {
  for (const bool with_third : {false, true}) {
    Engine engine{Configuration()};
    TermManager& terms = engine.terms;
    const Type* real = terms.types().rational();
    const Symbol* p = terms.declare("p", terms.types().function_type({real}, terms.types().boolean()));
    AtMostOne third(p);
    if (with_third) engine.manager.add_solver(third);
    constexpr int n = 5;
    std::vector<Term> x, holds;
    for (int i = 0; i < n; ++i) {
      x.push_back(terms.make_constant(terms.declare("x" + std::to_string(i), real)));
      holds.push_back(terms.make_uf(p, {&x.back(), 1}));
    }
    // Of each pair of neighbours the predicate holds of at least one, or they are equal.
    for (int i = 0; i + 1 < n; ++i)
      engine.search.add_clause(std::vector<Lit>{engine.lit(holds[i], false), engine.lit(holds[i + 1], false),
                                                engine.lit(terms.make_equal(x[i], x[i + 1]), false)});
    const Term apart = terms.make_leq(terms.make_plus(x[1], terms.make_number(QNumber(1))), x[0]);
    const Term far = terms.make_leq(terms.make_plus(x[3], terms.make_number(QNumber(1))), x[4]);
    const std::vector<Lit> both{engine.lit(apart, false), engine.lit(far, false)};
    const std::span<const Lit> all(both);
    EXPECT_EQ(engine.search.solve(all.first(1)), dpll::Result::satisfiable);
    // Both ends are cut off from the middle: two pairs need an application each.
    EXPECT_EQ(engine.search.solve(all), with_third ? dpll::Result::unsatisfiable : dpll::Result::satisfiable);
    EXPECT_EQ(engine.search.solve(all.last(1)), dpll::Result::satisfiable);
  }
}

TEST(TheoryCombination, AgreesWithCaseSplitsOnLinearArithmetic) { run_scripts(false, 0, 60); }
TEST(TheoryCombination, AgreesWithCaseSplitsOnFunctionsOfNumbers) { run_scripts(true, 100000, 60); }

}  // namespace
}  // namespace vesk
