#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <tuple>

#include "solver/capi/solver_script.h"
#include "solver/num/qnumber.h"

// Random scripts over functions and numbers, run side by side under several option sets: all environments
// must give one answer, and every model must satisfy what was asserted by an evaluation that knows nothing of
// the solver but the values of constants and applications. Formulas without numbers are also decided by going
// through all worlds: the congruent partitions of the terms of the simple type.

namespace {

using Options = std::vector<std::pair<const char*, const char*>>;
using vesk::QNumber;

const std::vector<Options> option_sets = {
    {},
    {{"preprocessor.toplevel_propagation", "false"}, {"preprocessor.simplification", "0"}},
    {{"theory.eq_propagation", "false"}, {"theory.interface_eq_policy", "0"}, {"dpll.restart_strategy", "1"}},
    {{"theory.la.deduction_enabled", "false"}, {"theory.la.split_rat_eq", "false"}},
    {{"theory.la.delay_alien", "true"}, {"theory.interface_eq_policy", "1"}, {"dpll.restart_initial", "2"}},
    {{"debug.term_simplifications", "false"}, {"dpll.glucose_learnt_minimization", "true"}},
    {{"preprocessor.partial_nnf_conversion", "true"},
     {"preprocessor.full_cnf_conversion", "true"},
     {"preprocessor.ite_minimization", "true"}},
    {{"preprocessor.simplification", "62"}, {"dpll.store_tlemmas", "true"}},
    {{"dpll.ghost_filtering", "true"}, {"dpll.minimize_model", "true"}, {"dpll.restart_initial", "2"}},
    {{"theory.pure_literal_filtering", "true"}, {"theory.la.pure_equality_filtering", "false"}},
    {{"theory.pure_literal_filtering", "true"},
     {"dpll.ghost_filtering", "true"},
     {"dpll.branching_initial_phase", "1"},
     {"theory.eq_propagation", "false"}},
};

enum class Sort { boolean, simple, real };
enum class Kind { constant, number, function, neg, conj, disj, eq, leq, plus, times, ite };

struct Expression {
  Kind kind;
  Sort sort;
  std::string name;                   // of a constant, number or function
  std::vector<std::size_t> children;  // older expressions
  std::vector<vesk_term> terms;       // by environment
  std::vector<std::uint8_t> worlds;   // its value in each world: a truth value or a number of a class
};

/// What a term means in a model: "true", a number or the name of a value.
struct Value {
  std::string text;
  QNumber number;
};

class TheoryScript {
 public:
  TheoryScript(unsigned seed, bool numbers) : random_(seed), numbers_(numbers) {
    for (const Options& options : option_sets)
      environments_.push_back(std::make_unique<SolverScript>(options));
    asserted_.emplace_back();
    make_leaves();
    if (!numbers_) make_worlds();
  }

  void step() {
    switch (below(numbers_ ? 11 : 9)) {
      case 0:
        for (const auto& s : environments_) s->push();
        asserted_.emplace_back();
        transcript_ += "(push 1)\n";
        break;
      case 1:
        if (asserted_.size() == 1) break;
        for (const auto& s : environments_) s->pop();
        asserted_.pop_back();
        transcript_ += "(pop 1)\n";
        break;
      case 2:
      case 3:
        add_assertion();
        if (below(2) == 0) solve();
        break;
      case 4: solve(); break;
      case 5: make_atom(); break;
      case 9:
      case 10: make_number_term(); break;
      default: make_connective();
    }
  }

  const std::string& transcript() const { return transcript_; }
  int answers[2] = {0, 0};

 private:
  std::size_t below(std::size_t limit) { return random_() % limit; }
  std::vector<std::size_t>& pool(Sort sort) { return pools_[static_cast<std::size_t>(sort)]; }
  std::size_t pick(Sort sort) {
    // late ones more often, so that terms grow
    const std::vector<std::size_t>& all = pool(sort);
    return all[std::max(below(all.size()), below(all.size()))];
  }

  std::size_t add(Kind kind, Sort sort, std::string name, std::vector<std::size_t> children) {
    Expression e{kind, sort, std::move(name), std::move(children), {}, {}};
    for (std::size_t i = 0; i < environments_.size(); ++i) {
      e.terms.push_back(build(*environments_[i], i, e));
      EXPECT_NE(e.terms.back().repr, nullptr) << environments_[i]->error();
    }
    expressions_.push_back(std::move(e));
    pool(sort).push_back(expressions_.size() - 1);
    fill_worlds(expressions_.size() - 1);
    return expressions_.size() - 1;
  }
  vesk_term build(SolverScript& s, std::size_t environment, const Expression& e) {
    std::vector<vesk_term> args;
    for (const std::size_t child : e.children) args.push_back(expressions_[child].terms[environment]);
    switch (e.kind) {
      case Kind::constant: return s.constant(e.name.c_str(), type(s, e.sort));
      case Kind::number: return s.num(e.name.c_str());
      case Kind::function: {
        std::vector<vesk_type> params;
        for (const std::size_t child : e.children) params.push_back(type(s, expressions_[child].sort));
        return s.apply(s.function(e.name.c_str(), params, type(s, e.sort)), args);
      }
      case Kind::neg: return s.neg(args[0]);
      case Kind::conj: return s.conj(args[0], args[1]);
      case Kind::disj: return s.disj(args[0], args[1]);
      case Kind::eq: return s.eq(args[0], args[1]);
      case Kind::leq: return s.leq(args[0], args[1]);
      case Kind::plus: return s.plus(args[0], args[1]);
      case Kind::times: return s.times(args[0], args[1]);
      case Kind::ite: return s.ite(args[0], args[1], args[2]);
    }
    return {nullptr};
  }
  static vesk_type type(SolverScript& s, Sort sort) {
    if (sort == Sort::boolean) return s.bool_type();
    return sort == Sort::real ? s.real_type() : vesk_get_simple_type(s.env, "U");
  }

  void make_leaves() {
    transcript_ = "(declare-sort U 0)\n(declare-fun f (U) U)\n(declare-fun p (U) Bool)\n";
    if (numbers_) transcript_ += "(declare-fun g (Real) Real)\n(declare-fun h (Real U) Real)\n";
    for (const char* name : {"a", "b"}) constant(name, Sort::boolean);
    std::vector<std::size_t> u;
    for (const char* name : {"u", "v", "w"}) u.push_back(constant(name, Sort::simple));
    u.push_back(add(Kind::function, Sort::simple, "f", {u[0]}));
    u.push_back(add(Kind::function, Sort::simple, "f", {u[1]}));
    u.push_back(add(Kind::function, Sort::simple, "f", {u[3]}));
    add(Kind::function, Sort::boolean, "p", {u[below(6)]});
    add(Kind::function, Sort::boolean, "p", {u[below(6)]});
    if (!numbers_) return;
    for (const char* name : {"x", "y", "z"}) constant(name, Sort::real);
    for (const char* text : {"0", "1", "-2", "1/2"}) add(Kind::number, Sort::real, text, {});
  }
  std::size_t constant(const char* name, Sort sort) {
    const char* sort_names[] = {"Bool", "U", "Real"};
    transcript_ +=
        std::string("(declare-fun ") + name + " () " + sort_names[static_cast<std::size_t>(sort)] + ")\n";
    return add(Kind::constant, sort, name, {});
  }

  void make_atom() {
    const Sort sort = numbers_ && below(3) != 0 ? Sort::real : Sort::simple;
    if (sort == Sort::simple && below(4) == 0) {
      const std::size_t condition = pick(Sort::boolean);
      add(Kind::ite, Sort::simple, "", {condition, pool(sort)[below(6)], pool(sort)[below(6)]});
    }
    const std::size_t left = pick(sort), right = pick(sort);
    add(sort == Sort::real && below(3) != 0 ? Kind::leq : Kind::eq, Sort::boolean, "", {left, right});
  }
  void make_number_term() {
    const std::size_t a = pick(Sort::real);
    switch (below(5)) {
      case 0: add(Kind::function, Sort::real, "g", {a}); break;
      case 1: add(Kind::function, Sort::real, "h", {a, pool(Sort::simple)[below(6)]}); break;
      case 2: add(Kind::ite, Sort::real, "", {pick(Sort::boolean), a, pool(Sort::real)[below(5)]}); break;
      case 3: add(Kind::times, Sort::real, "", {pool(Sort::real)[3 + below(4)], a}); break;
      default: add(Kind::plus, Sort::real, "", {a, pool(Sort::real)[below(6)]});
    }
  }
  void make_connective() {
    const std::size_t a = pick(Sort::boolean), b = pick(Sort::boolean);
    const Kind kinds[] = {Kind::conj, Kind::disj, Kind::disj, Kind::eq, Kind::neg};
    const Kind kind = kinds[below(5)];
    add(kind, Sort::boolean, "",
        kind == Kind::neg ? std::vector<std::size_t>{a} : std::vector<std::size_t>{a, b});
  }
  void add_assertion() {
    std::size_t formula = pick(Sort::boolean);
    if (below(3) != 0) {
      const std::size_t other = pick(Sort::boolean);
      formula = add(Kind::disj, Sort::boolean, "", {formula, other});
    }
    asserted_.back().push_back(formula);
    for (std::size_t i = 0; i < environments_.size(); ++i)
      environments_[i]->add(expressions_[formula].terms[i]);
    transcript_ += "(assert " + text(formula) + ")\n";
  }

  void solve() {
    std::vector<std::size_t> formulas;
    for (const auto& level : asserted_) formulas.insert(formulas.end(), level.begin(), level.end());
    std::vector<std::size_t> assumed;  // constants and their negations
    for (std::size_t k = below(3); k > 1; --k) {
      assumed.push_back(pool(Sort::boolean)[below(2)]);
      if (below(2) == 0) assumed.back() = add(Kind::neg, Sort::boolean, "", {assumed.back()});
    }
    formulas.insert(formulas.end(), assumed.begin(), assumed.end());
    int expected = numbers_ ? -1 : has_world(formulas);
    for (std::size_t i = 0; i < environments_.size(); ++i) {
      std::vector<vesk_term> terms;
      for (const std::size_t a : assumed) terms.push_back(expressions_[a].terms[i]);
      const int answer = environments_[i]->solve(terms);
      ASSERT_NE(answer, -1) << "option set " << i << ": " << environments_[i]->error();
      if (expected < 0) expected = answer;
      ASSERT_EQ(answer, expected) << "option set " << i << '\n' << transcript_;
      if (answer == 1) check_model(i, formulas);
      if (testing::Test::HasFatalFailure()) return;
    }
    ++answers[expected];
    transcript_ += "(push 1)\n";
    for (const std::size_t a : assumed) transcript_ += "(assert " + text(a) + ")\n";
    transcript_ +=
        std::string("(set-info :status ") + (expected == 1 ? "sat" : "unsat") + ")\n(check-sat)\n(pop 1)\n";
  }

  // Models.

  void check_model(std::size_t environment, const std::vector<std::size_t>& formulas) {
    values_.assign(expressions_.size(), {});
    table_.clear();
    for (std::size_t e = 0; e < expressions_.size(); ++e) values_[e] = evaluate(environment, e);
    for (const std::size_t formula : formulas)
      ASSERT_EQ(values_[formula].text, "true")
          << "option set " << environment << ": " << text(formula) << '\n'
          << transcript_;
  }
  Value evaluate(std::size_t environment, std::size_t index) {
    const Expression& e = expressions_[index];
    const auto arg = [&](std::size_t i) -> const Value& { return values_[e.children[i]]; };
    const auto truth = [](bool value) { return Value{value ? "true" : "false", {}}; };
    const auto number = [](QNumber value) { return Value{value.to_str(), value}; };
    switch (e.kind) {
      case Kind::constant: return read(environment, e);
      case Kind::number: return parse(e.name);
      case Kind::function: {
        std::string key = e.name;
        for (std::size_t i = 0; i < e.children.size(); ++i) key += ' ' + arg(i).text;
        const Value value = read(environment, e);
        const auto [row, is_new] = table_.emplace(key, value.text);
        EXPECT_TRUE(is_new || row->second == value.text) << key << " has two values";
        return value;
      }
      case Kind::neg: return truth(arg(0).text == "false");
      case Kind::conj: return truth(arg(0).text == "true" && arg(1).text == "true");
      case Kind::disj: return truth(arg(0).text == "true" || arg(1).text == "true");
      case Kind::eq: return truth(arg(0).text == arg(1).text);
      case Kind::leq: return truth(arg(0).number <= arg(1).number);
      case Kind::plus: return number(arg(0).number + arg(1).number);
      case Kind::times: return number(arg(0).number * arg(1).number);
      case Kind::ite: return arg(arg(0).text == "true" ? 1 : 2);
    }
    return {};
  }
  Value read(std::size_t environment, const Expression& e) {
    const std::string text = environments_[environment]->value(e.terms[environment]);
    return e.sort == Sort::real ? parse(text) : Value{text, {}};
  }
  static Value parse(const std::string& text) {
    Value value{text, {}};
    EXPECT_TRUE(QNumber::from_str(text, &value.number)) << text;
    return value;
  }

  // Worlds.

  void make_worlds() {
    const std::vector<std::size_t> terms = pool(Sort::simple);
    std::vector<std::uint8_t> classes(terms.size());
    partition(terms, classes, 0, 0);
  }
  /// Puts each term in an older class or a new one; keeps what is congruent.
  void partition(const std::vector<std::size_t>& terms, std::vector<std::uint8_t>& classes, std::size_t next,
                 std::uint8_t num_classes) {
    if (next < terms.size()) {
      for (std::uint8_t c = 0; c <= num_classes; ++c) {
        classes[next] = c;
        partition(terms, classes, next + 1, std::max(num_classes, static_cast<std::uint8_t>(c + 1)));
      }
      return;
    }
    const std::vector<std::size_t>& booleans = pool(Sort::boolean);  // a, b and two predicates
    for (std::uint8_t truth = 0; truth < 16; ++truth) {
      std::map<std::tuple<std::string, std::uint8_t>, std::uint8_t> rows;
      bool is_congruent = true;
      const auto check = [&](std::size_t e, std::uint8_t value) {
        if (expressions_[e].kind != Kind::function) return;
        const std::size_t argument = expressions_[e].children[0];
        const auto place = std::find(terms.begin(), terms.end(), argument) - terms.begin();
        const auto [row, is_new] =
            rows.emplace(std::tuple(expressions_[e].name, classes[static_cast<std::size_t>(place)]), value);
        is_congruent = is_congruent && (is_new || row->second == value);
      };
      for (std::size_t i = 0; i < terms.size(); ++i) check(terms[i], classes[i]);
      for (std::size_t i = 0; i < 4; ++i) check(booleans[i], truth >> i & 1);
      if (!is_congruent) continue;
      for (std::size_t i = 0; i < terms.size(); ++i) expressions_[terms[i]].worlds.push_back(classes[i]);
      for (std::size_t i = 0; i < 4; ++i) expressions_[booleans[i]].worlds.push_back(truth >> i & 1);
      ++num_worlds_;
    }
  }
  void fill_worlds(std::size_t index) {
    Expression& e = expressions_[index];
    if (e.kind == Kind::constant || e.kind == Kind::function) return;
    for (std::size_t w = 0; w < num_worlds_; ++w) {
      const auto arg = [&](std::size_t i) { return expressions_[e.children[i]].worlds[w]; };
      std::uint8_t value = 0;
      if (e.kind == Kind::neg) value = !arg(0);
      if (e.kind == Kind::conj) value = arg(0) & arg(1);
      if (e.kind == Kind::disj) value = arg(0) | arg(1);
      if (e.kind == Kind::eq) value = arg(0) == arg(1);
      if (e.kind == Kind::ite) value = arg(arg(0) ? 1 : 2);
      e.worlds.push_back(value);
    }
  }
  int has_world(const std::vector<std::size_t>& formulas) {
    for (std::size_t w = 0; w < num_worlds_; ++w) {
      bool holds = true;
      for (const std::size_t formula : formulas) holds = holds && expressions_[formula].worlds[w] != 0;
      if (holds) return 1;
    }
    return 0;
  }

  std::string text(std::size_t index) const {
    const char* operators[] = {"", "", "", "not", "and", "or", "=", "<=", "+", "*", "ite"};
    const Expression& e = expressions_[index];
    if (e.kind == Kind::constant) return e.name;
    if (e.kind == Kind::number) return e.name == "-2" ? "(- 2.0)" : e.name == "1/2" ? "0.5" : e.name + ".0";
    std::string result =
        '(' + (e.kind == Kind::function ? e.name : operators[static_cast<std::size_t>(e.kind)]);
    for (const std::size_t child : e.children) result += ' ' + text(child);
    return result + ')';
  }

  std::mt19937 random_;
  bool numbers_;
  std::vector<std::unique_ptr<SolverScript>> environments_;
  std::vector<Expression> expressions_;
  std::vector<std::size_t> pools_[3];
  std::vector<std::vector<std::size_t>> asserted_;  // by level
  std::size_t num_worlds_ = 0;
  std::vector<Value> values_;                 // by expression, in the model at hand
  std::map<std::string, std::string> table_;  // of the functions in it
  std::string transcript_;
};

/// VESKOR_FUZZ_SCRIPTS sets the number of scripts. VESKOR_FUZZ_TRANSCRIPT names a file that takes them in
/// SMT-LIB, each answer noted with set-info, for another solver to replay.
void run_scripts(bool numbers, unsigned first, unsigned count) {
  if (const char* wanted = std::getenv("VESKOR_FUZZ_SCRIPTS"))
    count = static_cast<unsigned>(std::atoi(wanted));
  const char* path = std::getenv("VESKOR_FUZZ_TRANSCRIPT");
  std::ofstream transcripts;
  if (path != nullptr) transcripts.open(path, std::ios::app);
  int satisfiable = 0, unsatisfiable = 0;
  for (unsigned seed = first; seed < first + count; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    TheoryScript script(seed, numbers);
    for (int step = 0; step < 60; ++step) {
      script.step();
      if (testing::Test::HasFailure()) return;
    }
    satisfiable += script.answers[1];
    unsatisfiable += script.answers[0];
    if (transcripts.is_open()) transcripts << script.transcript() << "(reset)\n";
  }
  EXPECT_GT(satisfiable, static_cast<int>(count / 2));
  EXPECT_GT(unsatisfiable, static_cast<int>(count / 2));
}

TEST(TheoryScripts, FunctionsAgreeWithAllWorldsUnderEveryOptionSet) { run_scripts(false, 0, 40); }
TEST(TheoryScripts, NumbersAndFunctionsAgreeUnderEveryOptionSet) { run_scripts(true, 10000, 40); }

}  // namespace
