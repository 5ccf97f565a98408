#include "smtlib/random_script.h"

#include <algorithm>
#include <array>
#include <random>

namespace solver_fuzz {
namespace {

using Op = Expr::Op;

struct Function {
  const char* name;
  std::vector<Sort> params;
  Sort result;
};

class Generator {
 public:
  explicit Generator(unsigned seed, bool has_integers = false) : engine_(seed) {
    script_.has_integers = has_integers;
    has_reals_ = seed % 3 != 0;
    has_functions_ = seed % 3 != 1;
    has_elements_ = !has_reals_ || (has_functions_ && chance(50));
    // Three shapes: deep formulas, clauses over a pool of atoms, and hundreds of these.
    shape_ = below(5) == 0 ? Shape::many_clauses : chance(50) ? Shape::clauses : Shape::deep;
    declare();
    if (shape_ != Shape::deep)
      for (unsigned i = below(10) + (shape_ == Shape::clauses ? 6u : 25u); i > 0; --i)
        atoms_.push_back(chance(25) ? make(Sort::boolean, 0) : atom(1));
    if (has_reals_ && shape_ != Shape::deep && below(400) == 0) atoms_.push_back(long_distinct());
    write_steps();
  }
  Script take() { return std::move(script_); }

 private:
  enum class Shape { deep, clauses, many_clauses };

  const char* sort_name(Sort sort) const {
    return sort == Sort::boolean   ? "Bool"
           : sort == Sort::element ? "E"
           : script_.has_integers  ? "Int"
                                   : "Real";
  }

  unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }
  bool chance(unsigned percent) { return below(100) < percent; }
  template <typename List>
  auto pick(const List& list) {
    return list[below(static_cast<unsigned>(list.size()))];
  }

  std::size_t add(Op op, Sort sort, std::string text, std::vector<std::size_t> args = {}) {
    script_.exprs.push_back({op, sort, std::move(text), std::move(args)});
    return script_.exprs.size() - 1;
  }

  void declare() {
    std::string& text = script_.preamble;
    text = std::string("(set-logic ") +
           (!has_reals_            ? "QF_UF"
            : script_.has_integers ? "QF_UFLIA"
            : has_functions_       ? "QF_UFLRA"
                                   : "QF_LRA") +
           ")\n";
    if (has_elements_) text += "(declare-sort E 0)\n";
    const unsigned more = shape_ == Shape::many_clauses ? 5 : 0;
    const auto declare_some = [&](Sort sort, const char* name, unsigned count) {
      for (unsigned i = 0; i < count; ++i) {
        const std::string symbol = name + std::to_string(i);
        text += "(declare-const " + symbol + ' ' + sort_name(sort) + ")\n";
        script_.constants.push_back(add(Op::symbol, sort, symbol));
      }
    };
    declare_some(Sort::boolean, "p", 2 + below(3) + more);
    if (has_reals_) declare_some(Sort::real, "x", 2 + below(4) + more);
    if (has_elements_) declare_some(Sort::element, "e", 2 + below(3) + more);
    const std::string number = sort_name(Sort::real);
    if (has_reals_)
      text +=
          "(define-fun lower ((a " + number + ") (b " + number + ")) " + number + " (ite (<= a b) a b))\n";
    for (const std::size_t constant : script_.constants)
      if (script_.has_integers && script_.exprs[constant].sort == Sort::real)
        text += "(assert (<= (- 20) " + script_.exprs[constant].text + " 20))\n";
    if (!has_functions_) return;
    using enum Sort;
    for (const Function& f : {Function{"f", {real}, real}, Function{"g", {real, real}, real},
                              Function{"q", {real}, boolean}, Function{"h", {element}, element},
                              Function{"r", {element, element}, boolean}, Function{"k", {element}, real},
                              Function{"b", {boolean}, real}, Function{"c", {boolean, element}, element}}) {
      const auto uses = [&](Sort sort) {
        return f.result == sort || std::find(f.params.begin(), f.params.end(), sort) != f.params.end();
      };
      if ((uses(real) && !has_reals_) || (uses(element) && !has_elements_) || chance(25)) continue;
      functions_.push_back(f);
      text += std::string("(declare-fun ") + f.name + " (";
      for (std::size_t i = 0; i < f.params.size(); ++i)
        text += std::string(i == 0 ? "" : " ") + sort_name(f.params[i]);
      text += std::string(") ") + sort_name(f.result) + ")\n";
    }
  }

  std::size_t number() {
    static const std::array<const char*, 12> whole{"0", "1", "2", "3", "(- 1)", "(- 2)",
                                                   "7", "4", "5", "0", "1",     "(- 6)"};
    if (script_.has_integers) return add(Op::number, Sort::real, pick(whole));
    static const std::array<const char*, 16> plain{"0",     "1",   "2",       "3",           "(- 1)", "(- 2)",
                                                   "(- 3)", "0.5", "(/ 1 3)", "(- (/ 2 3))", "0",     "1",
                                                   "2",     "1",   "0",       "(- 1)"};
    static const std::array<const char*, 4> large{"9223372036854775807", "(- 9223372036854775808)",
                                                  "100000000000000000000.25", "(/ 1 4294967297)"};
    return add(Op::number, Sort::real, chance(2) ? pick(large) : pick(plain));
  }

  std::size_t constant(Sort sort) {
    std::vector<std::size_t> candidates;
    for (std::size_t expr : script_.constants)
      if (script_.exprs[expr].sort == sort) candidates.push_back(expr);
    return pick(candidates);
  }

  Sort any_sort() {
    for (;;) {
      const Sort sort = static_cast<Sort>(below(3));
      if (sort == Sort::boolean || (sort == Sort::real ? has_reals_ : has_elements_)) return sort;
    }
  }

  std::vector<std::size_t> several(Sort sort, unsigned count, unsigned depth) {
    std::vector<std::size_t> args;
    for (unsigned i = 0; i < count; ++i) args.push_back(make(sort, depth));
    return args;
  }

  std::size_t ite(Sort sort, unsigned depth) {
    std::vector<std::size_t> args{make(Sort::boolean, depth)};
    args.push_back(make(sort, depth));
    args.push_back(make(sort, depth));
    return add(Op::ite, sort, "", std::move(args));
  }

  /// An application of a function to `sort`; a constant if there is none.
  std::size_t apply(Sort sort, unsigned depth) {
    std::vector<Function> candidates;
    for (const Function& f : functions_)
      if (f.result == sort) candidates.push_back(f);
    if (candidates.empty()) return constant(sort);
    const Function f = pick(candidates);
    std::vector<std::size_t> args;
    for (Sort param : f.params) args.push_back(make(param, depth));
    return add(Op::apply, sort, f.name, std::move(args));
  }

  std::size_t atom(unsigned depth) {
    if (chance(15) && has_functions_) return apply(Sort::boolean, depth);
    Sort sort = any_sort();
    while (sort == Sort::boolean) sort = any_sort();
    const unsigned count = chance(85) ? 2 : 3;
    if (sort == Sort::element || chance(35))
      return add(chance(75) ? Op::equal : Op::distinct, Sort::boolean, "", several(sort, count, depth));
    const Op op = pick(std::array{Op::leq, Op::less, Op::geq, Op::greater});
    return add(op, Sort::boolean, "", several(sort, count, depth));
  }

  /// Of more numbers than are compared pair by pair; a few of them may be equal.
  std::size_t long_distinct() {
    std::vector<std::size_t> args;
    for (unsigned i = 0; i < 102; ++i) {
      const std::size_t offset = add(Op::number, Sort::real, std::to_string(2 * i));
      args.push_back(add(Op::plus, Sort::real, "", {make(Sort::real, i % 8 == 0 ? 1 : 0), offset}));
    }
    return add(Op::distinct, Sort::boolean, "", std::move(args));
  }

  std::size_t make(Sort sort, unsigned depth) {
    if (!made_.empty() && chance(20)) {
      const std::size_t old = pick(made_);
      if (script_.exprs[old].sort == sort) return old;
    }
    const std::size_t expr = sort == Sort::boolean ? formula(depth) : term(sort, depth);
    made_.push_back(expr);
    return expr;
  }

  std::size_t formula(unsigned depth) {
    if (depth == 0) return constant(Sort::boolean);
    switch (below(12)) {
      case 0: return add(Op::negation, Sort::boolean, "", several(Sort::boolean, 1, depth - 1));
      case 1: return add(Op::conjunction, Sort::boolean, "", several(Sort::boolean, 2 + below(2), depth - 1));
      case 2:
      case 3: return add(Op::disjunction, Sort::boolean, "", several(Sort::boolean, 2 + below(2), depth - 1));
      case 4:
        return add(Op::exclusive_or, Sort::boolean, "", several(Sort::boolean, 2 + below(2), depth - 1));
      case 5: return add(Op::implication, Sort::boolean, "", several(Sort::boolean, 2 + below(2), depth - 1));
      case 6: return add(Op::equal, Sort::boolean, "", several(Sort::boolean, 2 + below(2), depth - 1));
      case 7: return ite(Sort::boolean, depth - 1);
      default: return has_reals_ || has_elements_ ? atom(depth - 1) : constant(Sort::boolean);
    }
  }

  std::size_t term(Sort sort, unsigned depth) {
    if (depth == 0) return sort == Sort::real && chance(30) ? number() : constant(sort);
    if (chance(25)) return apply(sort, depth - 1);
    if (chance(10)) return ite(sort, depth - 1);
    if (sort == Sort::element) return constant(sort);
    switch (below(8)) {
      case 0:
      case 1: return add(Op::plus, sort, "", several(sort, 2 + below(2), depth - 1));
      case 2: return add(Op::minus, sort, "", several(sort, 1 + below(3), depth - 1));
      case 3: {
        const std::size_t factor = number(), scaled = make(sort, depth - 1);
        return add(Op::scale, sort, "", {factor, scaled});
      }
      case 4: {
        const std::size_t divided = make(sort, depth - 1);
        if (script_.has_integers)
          return add(Op::whole_divide, sort, "",
                     {divided, add(Op::number, sort, pick(std::array{"2", "3", "5"}))});
        return add(Op::divide, sort, "",
                   {divided, add(Op::number, sort, pick(std::array{"2", "(- 3)", "0.5"}))});
      }
      case 5: return chance(30) ? add(Op::lower, sort, "", several(sort, 2, depth - 1)) : constant(sort);
      default: return chance(30) ? number() : constant(sort);
    }
  }

  std::size_t assertion() {
    if (shape_ == Shape::deep) return make(Sort::boolean, 2 + below(3));
    std::vector<std::size_t> literals;
    for (unsigned i = shape_ == Shape::many_clauses ? 2 + below(2) : 1 + below(3); i > 0; --i) {
      const std::size_t literal = pick(atoms_);
      literals.push_back(chance(50) ? literal : add(Op::negation, Sort::boolean, "", {literal}));
    }
    return literals.size() == 1 ? literals.front()
                                : add(Op::disjunction, Sort::boolean, "", std::move(literals));
  }

  void write_steps() {
    const bool is_large = shape_ == Shape::many_clauses;
    unsigned depth = 0;
    for (unsigned i = 4 + below(12); i > 0; --i) {
      const unsigned what = below(100);
      if (what < 50) {
        for (unsigned k = 1 + below(is_large ? 25 : 3); k > 0; --k)
          script_.steps.push_back({Step::Kind::assertion, {assertion()}});
      } else if (what < 62) {
        script_.steps.push_back({Step::Kind::push, {}});
        ++depth;
      } else if (what < 72 && depth > 0) {
        script_.steps.push_back({Step::Kind::pop, {}});
        --depth;
      } else if (what < 86) {
        script_.steps.push_back({Step::Kind::check, {}});
      } else {
        Step step{Step::Kind::check_assuming, {}};
        for (unsigned k = 1 + below(4); k > 0; --k) {
          if (chance(25)) {
            step.exprs.push_back(assertion());
            continue;
          }
          const std::size_t literal = constant(Sort::boolean);
          step.exprs.push_back(chance(50) ? literal : add(Op::negation, Sort::boolean, "", {literal}));
        }
        script_.steps.push_back(std::move(step));
      }
    }
    script_.steps.push_back({Step::Kind::check, {}});
  }

  std::mt19937 engine_;
  Script script_;
  bool has_reals_, has_functions_, has_elements_;
  Shape shape_;
  std::vector<Function> functions_;
  std::vector<std::size_t> atoms_;
  std::vector<std::size_t> made_;
};

const char* operator_name(Op op) {
  switch (op) {
    case Op::negation: return "not";
    case Op::conjunction: return "and";
    case Op::disjunction: return "or";
    case Op::exclusive_or: return "xor";
    case Op::implication: return "=>";
    case Op::equal: return "=";
    case Op::distinct: return "distinct";
    case Op::ite: return "ite";
    case Op::leq: return "<=";
    case Op::less: return "<";
    case Op::geq: return ">=";
    case Op::greater: return ">";
    case Op::plus: return "+";
    case Op::minus: return "-";
    case Op::scale: return "*";
    case Op::divide: return "/";
    case Op::whole_divide: return "div";
    case Op::lower: return "lower";
    case Op::symbol:
    case Op::number:
    case Op::apply: break;
  }
  return "";
}

}  // namespace

std::string Script::text_of(std::size_t number) const {
  const Expr& expr = exprs[number];
  if (expr.args.empty()) return expr.text;
  const std::string head = expr.op == Op::apply ? expr.text : operator_name(expr.op);
  // Some first arguments are bound by `let`, under a few names that hide one another.
  const bool is_bound = number % 11 == 3;
  const std::string bound = "l" + std::to_string(number % 3);
  std::string result =
      is_bound ? "(let ((" + bound + ' ' + text_of(expr.args[0]) + ")) (" + head : '(' + head;
  for (std::size_t i = 0; i < expr.args.size(); ++i)
    result += ' ' + (is_bound && i == 0 ? bound : text_of(expr.args[i]));
  return result + (is_bound ? "))" : ")");
}

std::string Script::text_of(const Step& step) const {
  std::string terms;
  for (std::size_t expr : step.exprs) terms += (terms.empty() ? "" : " ") + text_of(expr);
  switch (step.kind) {
    case Step::Kind::assertion: return "(assert " + terms + ")\n";
    case Step::Kind::push: return "(push 1)\n";
    case Step::Kind::pop: return "(pop 1)\n";
    case Step::Kind::check: return "(check-sat)\n";
    case Step::Kind::check_assuming: return "(check-sat-assuming (" + terms + "))\n";
  }
  return "";
}

std::string Script::text() const {
  std::string result = preamble;
  for (const Step& step : steps) result += text_of(step);
  return result;
}

Script random_script(unsigned seed) { return Generator(seed).take(); }

Script random_integer_script(unsigned seed) { return Generator(seed, true).take(); }

}  // namespace solver_fuzz
