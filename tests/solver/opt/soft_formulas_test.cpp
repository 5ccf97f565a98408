#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "solver/opt/circuits.h"
#include "solver/opt/opt_script.h"

namespace {

using vesk::QNumber;

TEST(Circuits, SortWithAsManyComparatorsAsBatchersNetwork) {
  const std::size_t expected[] = {1, 3, 5, 9, 12, 16, 19, 26, 31, 37};
  for (std::size_t n = 2; n <= 11; ++n) {
    vesk::TermManager terms;
    vesk::opt::ConstantNumbers numbers;
    std::vector<vesk::Term> clauses, inputs;
    for (std::size_t i = 0; i < n; ++i)
      inputs.push_back(terms.make_fresh_constant("input", terms.types().boolean()));
    EXPECT_EQ(vesk::opt::CircuitBuilder(terms, numbers, clauses).sort(inputs).size(), n);
    EXPECT_EQ(numbers.comparator, 2 * expected[n - 2]) << n;
    EXPECT_EQ(clauses.size(), 6 * expected[n - 2]) << n;
  }
}

/// A formula over the flags, as a term and as a function of an assignment of them.
struct Formula {
  vesk_term term;
  std::function<bool(unsigned)> holds;
};

/// Everything about a script of soft formulas, so that all assignments can be tried.
class SoftScript {
 public:
  SoftScript(const OptScript::Options& options, unsigned seed) : s("lex", options), random_(seed) {
    for (int i = 0; i < num_flags; ++i) flags_.push_back(s.boolean("p" + std::to_string(i)));
    levels_.emplace_back();
  }
  ~SoftScript() {
    for (const auto& level : levels_)
      for (const std::string& id : level.goals) vesk_destroy_objective(s.env, objectives_[id]);
  }
  SoftScript(const SoftScript&) = delete;
  SoftScript& operator=(const SoftScript&) = delete;

  std::size_t below(std::size_t n) { return random_() % n; }

  void step() {
    const std::string id = below(2) == 0 ? "g" : "h";
    switch (below(10)) {
      case 0:
        s.push();
        levels_.emplace_back();
        break;
      case 1:
        if (levels_.size() > 1) pop();
        break;
      case 2: add_hard(formula()); break;
      case 3: minimize(id); break;
      case 4: limit(id); break;
      case 5: check(below(2) == 0 ? std::vector<Formula>{formula()} : std::vector<Formula>{}); break;
      default: add_soft(id);
    }
  }

  /// Compares the answer with all assignments of the flags.
  void check(const std::vector<Formula>& assumptions) {
    std::vector<vesk_term> terms;
    for (const Formula& assumption : assumptions) terms.push_back(assumption.term);
    const int answer = s.solve(terms);
    std::vector<std::string> goals;
    for (const Level& level : levels_) goals.insert(goals.end(), level.goals.begin(), level.goals.end());
    // A group without entries is any number: there the search ends.
    const auto no_sum =
        std::find_if(goals.begin(), goals.end(), [&](const std::string& id) { return !has_entries(id); });
    std::vector<QNumber> best;
    bool has_model = false;
    for (unsigned point = 0; point < 1u << num_flags; ++point) {
      if (!is_allowed(point, assumptions)) continue;
      std::vector<QNumber> values;
      for (auto id = goals.begin(); id != no_sum; ++id) values.push_back(sum(*id, point));
      if (!has_model || values < best) best = values;
      has_model = true;
    }
    ASSERT_EQ(answer, has_model ? 1 : 0) << s.error();
    if (!has_model) return;
    unsigned point = 0;
    for (int i = 0; i < num_flags; ++i)
      if (s.value(flags_[static_cast<std::size_t>(i)]) == "true") point |= 1u << i;
    EXPECT_TRUE(is_allowed(point, assumptions));
    for (const char* id : {"g", "h"}) {
      if (has_entries(id)) {
        EXPECT_EQ(parsed(s.value(s.real(id))), sum(id, point)) << id;
      }
    }
    for (std::size_t i = 0; i < goals.size(); ++i) {
      const std::string optimum = s.value(objectives_[goals[i]]);
      if (i < best.size()) {
        EXPECT_EQ(parsed(optimum), best[i]) << goals[i];
      } else {
        EXPECT_EQ(optimum, i > best.size() ? "null" : optimum);
      }
    }
  }

  OptScript s;

 private:
  static constexpr int num_flags = 7;
  struct Soft {
    std::string id;
    Formula formula;
    QNumber weight;
  };
  struct Limit {
    std::string id;
    QNumber most;
  };
  struct Level {
    std::vector<Formula> hard;
    std::vector<Soft> soft;
    std::vector<Limit> limits;
    std::vector<std::string> goals;
  };

  Formula formula() {
    const std::size_t i = below(num_flags), k = below(num_flags);
    const vesk_term a = flags_[i], b = flags_[k];
    switch (below(7)) {
      case 0: return {vesk_make_true(s.env), [](unsigned) { return true; }};
      case 1: return {vesk_make_false(s.env), [](unsigned) { return false; }};
      case 2: return {a, [=](unsigned p) { return (p >> i & 1) != 0; }};
      case 3: return {s.neg(a), [=](unsigned p) { return (p >> i & 1) == 0; }};
      case 4: return {s.disj(a, b), [=](unsigned p) { return ((p >> i | p >> k) & 1) != 0; }};
      case 5: return {s.conj(a, s.neg(b)), [=](unsigned p) { return (p >> i & ~(p >> k) & 1) != 0; }};
      default: return {s.neg(s.conj(a, b)), [=](unsigned p) { return (p >> i & p >> k & 1) == 0; }};
    }
  }
  void add_hard(Formula formula) {
    if (s.text(formula.term) == "false") return;
    s.add(formula.term);
    levels_.back().hard.push_back(std::move(formula));
  }
  void add_soft(const std::string& id) {
    const char* weights[] = {"1", "1", "1", "2", "2", "-1", "0", "1/2", "7"};
    const char* weight = weights[below(std::size(weights))];
    Formula soft = formula();
    ASSERT_EQ(vesk_assert_soft_formula(s.env, soft.term, s.num(weight), id.c_str()), 0) << s.error();
    levels_.back().soft.push_back({id, std::move(soft), parsed(weight)});
  }
  void minimize(const std::string& id) {
    for (const Level& level : levels_)
      if (std::find(level.goals.begin(), level.goals.end(), id) != level.goals.end()) return;
    objectives_[id] = s.minimize(s.real(id));
    levels_.back().goals.push_back(id);
  }
  /// The sum is bounded by a formula of the caller's.
  void limit(const std::string& id) {
    if (below(2) != 0 || !has_entries(id)) return;
    s.add(s.leq(s.real(id), s.num("4")));
    levels_.back().limits.push_back({id, QNumber(4)});
  }
  void pop() {
    s.pop();
    for (const std::string& id : levels_.back().goals) vesk_destroy_objective(s.env, objectives_[id]);
    levels_.pop_back();
  }

  bool has_entries(const std::string& id) const {
    for (const Level& level : levels_)
      for (const Soft& soft : level.soft)
        if (soft.id == id) return true;
    return false;
  }
  QNumber sum(const std::string& id, unsigned point) const {
    QNumber total;
    for (const Level& level : levels_)
      for (const Soft& soft : level.soft)
        if (soft.id == id && !soft.formula.holds(point)) total += soft.weight;
    return total;
  }
  bool is_allowed(unsigned point, const std::vector<Formula>& assumptions) const {
    for (const Formula& assumption : assumptions)
      if (!assumption.holds(point)) return false;
    for (const Level& level : levels_) {
      for (const Formula& formula : level.hard)
        if (!formula.holds(point)) return false;
      for (const Limit& limit : level.limits)
        if (sum(limit.id, point) > limit.most) return false;
    }
    return true;
  }

  std::mt19937 random_;
  std::vector<vesk_term> flags_;
  std::vector<Level> levels_;
  std::map<std::string, vesk_objective> objectives_;
};

const OptScript::Options soft_option_sets[] = {
    {},
    {{"opt.asoft.encoding", "la"}},
    {{"opt.maxsmt_engine", "maxres"}},
    {{"opt.maxsmt_engine", "ext"}, {"unsat_core_generation", "1"}},
    {{"opt.maxsmt_engine", "maxres"}, {"opt.asoft.reduce_vars", "false"}, {"opt.asoft.encoding", "seq"}},
    {{"opt.asoft.encoding", "seq"}, {"opt.asoft.circuit_limit", "1"}},
    {{"opt.asoft.encoding", "seq"}, {"opt.asoft.reduce_vars", "false"}, {"opt.strategy", "lin"}},
    {{"opt.asoft.reduce_vars", "false"},
     {"opt.asoft.prefer_pbterms", "false"},
     {"unsat_core_generation", "1"}},
    {{"preprocessor.toplevel_propagation", "false"}, {"opt.bin.max_consecutive", "5"}},
};

// Groups that are minimised before their first formula, between, and after; on levels, with limits on their
// sums.
TEST(SoftFormulas, SumsAndOptimaAgreeWithAllAssignments) {
  const char* text = std::getenv("VESKOR_FUZZ_SOFT");
  const unsigned num_scripts = text == nullptr ? 600 : static_cast<unsigned>(std::atoi(text));
  for (unsigned seed = 0; seed < num_scripts; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    SoftScript script(soft_option_sets[seed % std::size(soft_option_sets)], seed);
    const std::size_t num_steps = 10 + script.below(40);
    for (std::size_t i = 0; i < num_steps; ++i) script.step();
    script.check({});
    script.check({});
    if (testing::Test::HasFailure()) return;
  }
}

TEST(SoftFormulas, RoundsOfLevelsLeaveNoTermsBehind) {
  for (const char* encoding : {"car", "seq", "la"}) {
    OptScript s("lex", {{"opt.asoft.encoding", encoding}});
    const vesk_term a = s.boolean("a"), b = s.boolean("b"), one = s.num("1");
    vesk_assert_soft_formula(s.env, a, one, "g");
    const vesk_objective least = s.minimize(s.real("g"));
    std::uint64_t num_terms = 0, now = 0;
    for (int round = 0; round < 50; ++round) {
      s.push();
      vesk_assert_soft_formula(s.env, s.neg(s.disj(a, b)), one, "g");
      vesk_assert_soft_formula(s.env, b, one, "g");
      ASSERT_EQ(s.solve(), 1);
      EXPECT_EQ(s.value(least), "1");
      s.pop();
      ASSERT_EQ(vesk_get_statistic(s.env, "terms", &now), 0);
      if (round == 1) num_terms = now;
    }
    EXPECT_EQ(now, num_terms);
    vesk_destroy_objective(s.env, least);
  }
}

TEST(SoftFormulas, RefuseWhatIsNoFormulaNoWeightAndNoName) {
  OptScript s;
  const vesk_term a = s.boolean("a"), x = s.real("x"), one = s.num("1");
  const auto error = [&](vesk_term formula, vesk_term weight, const char* id) {
    EXPECT_EQ(vesk_assert_soft_formula(s.env, formula, weight, id), -1);
    return s.error();
  };
  EXPECT_EQ(error(x, one, "g"), "assert_soft: soft clause must be of Boolean type");
  EXPECT_EQ(error(a, a, "g"), "assert_soft: all weights must be of Real or Int type");
  EXPECT_EQ(error(a, x, "g"), "assert_soft: weight must be a constant value");
  EXPECT_NE(error(a, one, ""), "");
  EXPECT_NE(error(a, one, nullptr), "");
  EXPECT_NE(error(a, one, "a"), "");
  EXPECT_EQ(s.solve(), -1);  // what was to be asserted is missing
}

}  // namespace
