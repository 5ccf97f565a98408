#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "solver/opt/opt_script.h"

namespace {

using vesk::QNumber;
using Options = OptScript::Options;

vesk_term number(vesk_env env, const QNumber& value) { return vesk_make_number(env, value.to_str().c_str()); }

/// An optimising environment, and a plain one over the same terms that certifies what it says: an optimum is
/// one because no better value can be had, whatever another optimiser may think.
class Optimizer {
 public:
  explicit Optimizer(const Options& options, bool is_lexicographic)
      : is_lexicographic_(is_lexicographic), s(is_lexicographic ? "lex" : "box", options) {
    const vesk_config cfg = vesk_create_config();
    plain_ = vesk_create_shared_env(cfg, s.env);
    vesk_destroy_config(cfg);
  }
  Optimizer(const Optimizer&) = delete;
  Optimizer& operator=(const Optimizer&) = delete;
  ~Optimizer() {
    for (const Goal& goal : goals_) vesk_destroy_objective(s.env, goal.objective);
    vesk_destroy_env(plain_);
  }

  void add(vesk_term formula) {
    s.add(formula);
    vesk_assert_formula(plain_, formula);
  }
  void push() {
    s.push();
    vesk_push_backtrack_point(plain_);
    levels_.push_back(goals_.size());
  }
  void pop() {
    s.pop();
    vesk_pop_backtrack_point(plain_);
    for (; goals_.size() > levels_.back(); goals_.pop_back())
      vesk_destroy_objective(s.env, goals_.back().objective);
    levels_.pop_back();
  }
  bool has_level() const { return !levels_.empty(); }
  void optimize(bool maximizes, vesk_term term) {
    goals_.push_back({maximizes ? s.maximize(term) : s.minimize(term), maximizes, term});
  }

  /// Checks, and certifies the answer.
  void check(const std::vector<vesk_term>& assumptions) {
    const int answer = s.solve(assumptions);
    vesk_push_backtrack_point(plain_);
    for (const vesk_term assumption : assumptions) vesk_assert_formula(plain_, assumption);
    EXPECT_EQ(answer, vesk_solve(plain_)) << s.error();
    for (const Goal& goal : goals_)
      if (!certify(goal, answer)) break;
    vesk_pop_backtrack_point(plain_);
  }

 private:
  struct Goal {
    vesk_objective objective;
    bool maximizes;
    vesk_term term;
  };

  /// The term is better than the bound, or at least as good.
  vesk_term beats(const Goal& goal, const QNumber& bound, bool strictly) {
    const vesk_term at = number(s.env, bound);
    if (strictly) return s.neg(goal.maximizes ? s.leq(goal.term, at) : s.leq(at, goal.term));
    return goal.maximizes ? s.leq(at, goal.term) : s.leq(goal.term, at);
  }
  int solve_with(vesk_term formula) {
    vesk_push_backtrack_point(plain_);
    vesk_assert_formula(plain_, formula);
    const int answer = vesk_solve(plain_);
    vesk_pop_backtrack_point(plain_);
    return answer;
  }

  /// False: the objectives behind this one were not searched.
  bool certify(const Goal& goal, int answer) {
    const std::string text = s.value(goal.objective);
    if (answer != 1) {
      EXPECT_EQ(text, "null");
      return true;
    }
    SCOPED_TRACE(s.text(goal.term) + (goal.maximizes ? " maximised: " : " minimised: ") + text);
    const QNumber sign(goal.maximizes ? -1 : 1);
    ++num_certified[text.ends_with("oo") ? 0 : text.find(' ') == std::string::npos ? 1 : 2];
    if (text.ends_with("oo")) {
      EXPECT_EQ(text, goal.maximizes ? "oo" : "-oo");
      for (const char* far : {"-1000000000", "-1000000000000000000"})
        EXPECT_EQ(solve_with(beats(goal, parsed(far) * sign, true)), 1);
      return !is_lexicographic_;
    }
    if (!is_lexicographic_) {
      EXPECT_EQ(vesk_load_objective_model(s.env, goal.objective), 0) << s.error();
    }
    const QNumber bound = parsed(text.substr(0, text.find(' ')));
    const QNumber value = parsed(s.value(goal.term));
    const bool is_strict = vesk_objective_value_is_strict(s.env, goal.objective, VESK_OPTIMUM) != 0;
    EXPECT_EQ(is_strict, text.find(' ') != std::string::npos);
    EXPECT_EQ(solve_with(beats(goal, bound, !is_strict)), 0);
    if (is_strict) {
      EXPECT_EQ(solve_with(beats(goal, bound + sign * parsed("1e-9"), true)), 1);
      const QNumber distance = (value - bound) * sign;
      EXPECT_TRUE(distance.sgn() > 0 && distance <= parsed("1e-4") * std::max(QNumber(1), bound.abs()))
          << value.to_str();
    } else {
      EXPECT_EQ(value, bound);
    }
    if (is_lexicographic_) vesk_assert_formula(plain_, s.eq(goal.term, number(s.env, value)));
    return true;
  }

  bool is_lexicographic_;

 public:
  OptScript s;
  std::array<int, 3> num_certified{};  // unbounded, attained, not attained

 private:
  vesk_env plain_{nullptr};
  std::vector<Goal> goals_;
  std::vector<std::size_t> levels_;
};

/// Random formulas over two reals, two integers and two Booleans, and random objectives.
class RandomProblem {
 public:
  RandomProblem(SolverScript& script, unsigned seed) : s_(script), random_(seed) {
    for (const char* name : {"x", "y"}) vars_.push_back(s_.real(name));
    if (below(3) != 0)
      for (const char* name : {"i", "j"}) {
        vars_.push_back(s_.constant(name, s_.int_type()));
        limits_.push_back(s_.conj(s_.leq(s_.num("-20"), vars_.back()), s_.leq(vars_.back(), s_.num("20"))));
      }
    for (const char* name : {"a", "b"}) flags_.push_back(s_.boolean(name));
    if (below(3) == 0) function_ = s_.function("f", {s_.real_type()}, s_.real_type());
  }

  std::size_t below(std::size_t n) { return random_() % n; }
  /// Of the integers, which would have no optimum that is easily proved without.
  const std::vector<vesk_term>& limits() const { return limits_; }
  vesk_term flag() { return flags_[below(flags_.size())]; }

  vesk_term formula() {
    vesk_term clause = literal();
    for (std::size_t i = below(3); i > 0; --i) clause = s_.disj(clause, literal());
    return clause;
  }
  vesk_term sum() {
    vesk_term sum = num(3);
    for (std::size_t i = 1 + below(3); i > 0; --i) sum = s_.plus(sum, s_.times(num(4), operand()));
    return sum;
  }

 private:
  vesk_term num(int size) {
    return vesk_make_int_number(s_.env,
                                static_cast<int>(below(static_cast<std::size_t>(2 * size + 1))) - size);
  }
  vesk_term operand() {
    const vesk_term var = vars_[below(vars_.size())];
    switch (below(6)) {
      case 0: return s_.ite(flag(), var, num(5));
      case 1: return function_.repr == nullptr ? var : s_.apply(function_, {var});
      default: return var;
    }
  }
  vesk_term literal() {
    const vesk_term bound = num(9);
    switch (below(7)) {
      case 0: return flag();
      case 1: return s_.neg(flag());
      case 2: return s_.eq(sum(), bound);
      case 3: return s_.neg(s_.eq(sum(), bound));
      case 4: return s_.less(sum(), bound);
      default: return s_.leq(bound, vars_[below(vars_.size())]);
    }
  }

  SolverScript& s_;
  std::mt19937 random_;
  std::vector<vesk_term> vars_, flags_, limits_;
  vesk_decl function_{nullptr};
};

const Options option_sets[] = {
    {},
    {{"opt.strategy", "lin"}, {"theory.la.split_rat_eq", "false"}},
    {{"opt.strategy", "ada"}, {"opt.bin.max_consecutive", "1000"}, {"opt.bin.pivot_position", "0.9"}},
    {{"opt.bin.max_consecutive", "3"},
     {"opt.bin.pivot_position", "1"},
     {"theory.la.deduction_enabled", "false"}},
    {{"preprocessor.toplevel_propagation", "false"}, {"theory.la.model_mutation", "false"}},
    {{"theory.eq_propagation", "false"}, {"dpll.ghost_filtering", "true"}, {"dpll.minimize_model", "true"}},
    {{"theory.pure_literal_filtering", "true"}, {"dpll.branching_random_frequency", "0.2"}},
    {{"unsat_core_generation", "1"}, {"theory.la.delay_alien", "true"}},
};

unsigned num_problems() {
  const char* text = std::getenv("VESKOR_FUZZ_OPTIMA");
  return text == nullptr ? 600 : static_cast<unsigned>(std::atoi(text));
}

TEST(Optima, AreCertifiedByQuestionsOfSatisfiability) {
  const char* first = std::getenv("VESKOR_FUZZ_FIRST");
  const unsigned begin = first == nullptr ? 0 : static_cast<unsigned>(std::atoi(first));
  std::array<int, 3> num_certified{};
  for (unsigned seed = begin; seed < begin + num_problems(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Optimizer optimizer(option_sets[seed % std::size(option_sets)], seed % 3 != 0);
    RandomProblem random(optimizer.s, seed);
    for (const vesk_term limit : random.limits()) optimizer.add(limit);
    const std::size_t num_steps = 6 + random.below(10);
    for (std::size_t step = 0; step < num_steps; ++step) switch (random.below(9)) {
        case 0: optimizer.push(); break;
        case 1:
          if (optimizer.has_level()) optimizer.pop();
          break;
        case 2:
        case 3: optimizer.optimize(random.below(2) == 0, random.sum()); break;
        case 4: optimizer.check({}); break;
        case 5: optimizer.check({random.flag(), random.formula()}); break;
        default: optimizer.add(random.formula());
      }
    optimizer.check({});
    optimizer.check({});
    for (std::size_t kind = 0; kind < 3; ++kind) num_certified[kind] += optimizer.num_certified[kind];
    if (testing::Test::HasFailure()) return;
  }
  for (const int number : num_certified) EXPECT_TRUE(number > 0 || num_problems() < 100);
}

}  // namespace
