#include "smtlib/script_oracle.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>

#include "core/numbers.h"
#include "smtlib/command_reader.h"
#include "smtlib/interpreter.h"

#ifdef ZORVEL_HAS_Z3
#include <z3.h>
#endif

namespace solver_fuzz {
namespace {

using smtlib::Command;
using smtlib::CommandReader;
using smtlib::Token;
using smtlib::TokenCursor;
using zorvel::rational;

constexpr char full_memory[] = "full_memory";

struct Fault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

#ifdef ZORVEL_HAS_Z3
/// The independent solver, one conversation.
class Reference {
 public:
  Reference() {
    const Z3_config config = Z3_mk_config();
    context_ = Z3_mk_context(config);
    Z3_del_config(config);
    Z3_set_error_handler(context_, [](Z3_context, Z3_error_code) {});
  }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() { Z3_del_context(context_); }
  std::string run(const std::string& text) {
    std::string answer = Z3_eval_smtlib2_string(context_, text.c_str());
    if (answer.find("error") != std::string::npos)
      throw Fault("the reference refuses " + text + ": " + answer);
    return answer;
  }

 private:
  Z3_context context_;
};
#else
class Reference {
 public:
  std::string run(const std::string&) { return ""; }
};
#endif

rational floor_of(const rational& number) {
  const zorvel::integer quotient = number.numerator() / number.denominator();
  const rational truncated(quotient);
  return truncated > number ? truncated - rational(1) : truncated;
}

/// One value: truth, number, or the name of an element.
struct Value {
  bool truth = false;
  rational number;
  std::string element;
  friend bool operator==(const Value& a, const Value& b) {
    return a.truth == b.truth && a.number == b.number && a.element == b.element;
  }
};

rational read_number(TokenCursor& cursor, bool whole) {
  if (cursor.peek().kind != Token::Kind::open) {
    const std::string text(cursor.text_of(cursor.take()));
    if (whole) return rational(zorvel::integer(text));
    const std::size_t point = text.find(".0");
    if (point == std::string::npos || point + 2 != text.size()) throw Fault("not a real: " + text);
    return rational(zorvel::integer(text.substr(0, point)));
  }
  cursor.expect_open("a number");
  const std::string op(cursor.text_of(cursor.take()));
  rational result = read_number(cursor, whole);
  if (op == "-")
    result = rational() - result;
  else if (op == "/" && !whole)
    result /= read_number(cursor, whole);
  else
    throw Fault("not a number: " + op);
  cursor.expect_close("a number");
  return result;
}

Value read_value(TokenCursor& cursor, Sort sort, bool whole) {
  if (sort == Sort::real) return {false, read_number(cursor, whole), ""};
  const std::string text = cursor.take_expression();
  if (sort == Sort::element) return {false, {}, text};
  if (text != "true" && text != "false") throw Fault("not a truth value: " + text);
  return {text == "true", {}, ""};
}

/// Evaluates the script's formulas from the values of constants and of applications.
class Evaluator {
 public:
  Evaluator(const Script& script, std::map<std::size_t, Value> given)
      : script_(script), given_(std::move(given)) {}

  Value value(std::size_t number) {
    if (const auto known = known_.find(number); known != known_.end()) return known->second;
    const Expr& expr = script_.exprs[number];
    std::vector<Value> args;
    for (std::size_t arg : expr.args) args.push_back(value(arg));
    const Value result = evaluate(number, expr, args);
    known_.emplace(number, result);
    return result;
  }

 private:
  Value evaluate(std::size_t number, const Expr& expr, const std::vector<Value>& v) {
    using Op = Expr::Op;
    Value result;
    switch (expr.op) {
      case Op::symbol: return given_.at(number);
      case Op::apply: return look_up(number, expr, v);
      case Op::number: {
        result.number = literal(expr.text);
        return result;
      }
      case Op::ite: return v[0].truth ? v[1] : v[2];
      case Op::lower: return v[0].number <= v[1].number ? v[0] : v[1];
      case Op::negation: result.truth = !v[0].truth; return result;
      case Op::conjunction:
        result.truth = true;
        for (const Value& arg : v) result.truth = result.truth && arg.truth;
        return result;
      case Op::disjunction:
        for (const Value& arg : v) result.truth = result.truth || arg.truth;
        return result;
      case Op::exclusive_or:
        for (const Value& arg : v) result.truth = result.truth != arg.truth;
        return result;
      case Op::implication:
        result.truth = v.back().truth;
        for (std::size_t i = 0; i + 1 < v.size(); ++i) result.truth = result.truth || !v[i].truth;
        return result;
      case Op::equal: return neighbours(v, [](const Value& a, const Value& b) { return a == b; });
      case Op::distinct:
        result.truth = true;
        for (std::size_t i = 0; i < v.size(); ++i)
          for (std::size_t j = 0; j < i; ++j) result.truth = result.truth && !(v[i] == v[j]);
        return result;
      case Op::leq: return neighbours(v, [](const Value& a, const Value& b) { return a.number <= b.number; });
      case Op::less: return neighbours(v, [](const Value& a, const Value& b) { return a.number < b.number; });
      case Op::geq: return neighbours(v, [](const Value& a, const Value& b) { return a.number >= b.number; });
      case Op::greater:
        return neighbours(v, [](const Value& a, const Value& b) { return a.number > b.number; });
      case Op::plus:
        for (const Value& arg : v) result.number += arg.number;
        return result;
      case Op::minus:
        if (v.size() == 1) {
          result.number -= v[0].number;
          return result;
        }
        result = v[0];
        for (std::size_t i = 1; i < v.size(); ++i) result.number -= v[i].number;
        return result;
      case Op::scale: result.number = v[0].number * v[1].number; return result;
      case Op::divide: result.number = v[0].number / v[1].number; return result;
      case Op::whole_divide: {
        const rational quotient = v[0].number / v[1].number;
        const bool rounds_down = v[1].number > rational();
        result.number = rounds_down ? floor_of(quotient) : rational() - floor_of(rational() - quotient);
        return result;
      }
    }
    return result;
  }

  template <typename Test>
  static Value neighbours(const std::vector<Value>& v, Test test) {
    Value result;
    result.truth = true;
    for (std::size_t i = 0; i + 1 < v.size(); ++i) result.truth = result.truth && test(v[i], v[i + 1]);
    return result;
  }

  /// "2", "0.25", "(- 2)", "(/ 1 3)", as the generator writes them.
  static rational literal(const std::string& text) {
    if (text.starts_with("(- ")) return rational() - literal(text.substr(3, text.size() - 4));
    if (text.starts_with("(/ ")) {
      const std::size_t blank = text.rfind(' ');
      return literal(text.substr(3, blank - 3)) / literal(text.substr(blank + 1, text.size() - blank - 2));
    }
    const std::size_t point = text.find('.');
    if (point == std::string::npos) return rational(zorvel::integer(text));
    const std::string digits = text.substr(0, point) + text.substr(point + 1);
    rational result{zorvel::integer(digits)};
    for (std::size_t i = point + 1; i < text.size(); ++i) result /= rational(10);
    return result;
  }

  Value look_up(std::size_t number, const Expr& expr, const std::vector<Value>& args) {
    const Value value = given_.at(number);
    for (const auto& [known_args, known_value] : tables_[expr.text])
      if (known_args == args && !(known_value == value))
        throw Fault("two values of " + expr.text + " at one place, seen at " + script_.text_of(number));
    tables_[expr.text].emplace_back(args, value);
    return value;
  }

  const Script& script_;
  std::map<std::size_t, Value> given_;
  std::map<std::size_t, Value> known_;
  std::map<std::string, std::vector<std::pair<std::vector<Value>, Value>>> tables_;
};

class Run {
 public:
  Run(const Script& script, const Options& options) : script_(script), options_(options), interpreter_(out_) {
    for (const auto& [key, value] : options) {
      if (key.starts_with(':')) {
        ask("(set-option " + key + ' ' + value + ')');
        has_cores_ = has_cores_ || key == ":produce-unsat-cores";
        continue;
      }
      if (key == full_memory) {
        checks_between_ends_ = std::stoul(value);
        continue;
      }
      if (const std::string error = interpreter_.set_solver_option(key, value); !error.empty())
        throw Fault(error);
    }
    interpreter_.set_time_limit(60);
    ask(script.preamble);
    reference_.run(script.preamble);
  }

  void go() {
    for (const Step& step : script_.steps) {
      if (step.kind == Step::Kind::pop && levels_.empty()) continue;
      const std::string text = script_.text_of(step);
      const bool is_check = step.kind == Step::Kind::check || step.kind == Step::Kind::check_assuming;
      const bool is_full = is_check && checks_between_ends_ > 0 && ++num_checks_ % checks_between_ends_ == 0;
      if (is_full) vesk_set_memory_limit(interpreter_.environment(), 1);
      const std::string answer = ask(has_cores_ && step.kind == Step::Kind::assertion ? named(step) : text);
      if (is_full) vesk_set_memory_limit(interpreter_.environment(), 0);
      const std::string expected = reference_.run(text);
      switch (step.kind) {
        case Step::Kind::assertion: formulas_.push_back(step.exprs[0]); break;
        case Step::Kind::push: levels_.push_back(formulas_.size()); break;
        case Step::Kind::pop:
          formulas_.resize(levels_.back());
          levels_.pop_back();
          break;
        case Step::Kind::check:
        case Step::Kind::check_assuming: judge(step, answer, expected);
      }
    }
  }

  std::string transcript() const { return transcript_; }

  /// A number outgrew the ceiling that the options set, so that the script is no longer the one that was
  /// made.
  struct OutgrewCeiling {};

 private:
  std::string ask(const std::string& text) {
    out_.str("");
    std::istringstream script(text);
    interpreter_.run(script, "script");
    transcript_ += out_.str();
    if (out_.str().find("(error") != std::string::npos &&
        out_.str().find("(option theory.max_number_bits)") != std::string::npos)
      throw OutgrewCeiling();
    if (interpreter_.has_failed()) throw Fault("refused: " + text + out_.str());
    return out_.str();
  }

  void judge(const Step& step, const std::string& answer, const std::string& expected) {
    if (answer == "unknown\n") {
      // Without simplifications true and false may stand inside of formulas, which the solver does not take.
      const std::string reason = ask("(get-info :reason-unknown)");
      if (reason.find("does not support `true' and `false'") != std::string::npos) return;
      if (reason.find(" resourceout)") != std::string::npos && has_option(":reproducible-resource-limit"))
        return;
      if (reason.find(" memout)") != std::string::npos && checks_between_ends_ > 0) return;
      if (reason.find(" timeout)") != std::string::npos && has_option(":timeout")) return;
      if (reason.find("theory.max_number_bits") != std::string::npos && has_option("theory.max_number_bits"))
        return;
      if (script_.has_integers && reason.find("integers without bounds") != std::string::npos) return;
      throw Fault("unknown: " + reason);
    }
    if (has_reference() && expected != "unknown\n" && answer != expected)
      throw Fault("the answer is " + answer + "and should be " + expected);
    std::vector<std::size_t> in_force = formulas_;
    in_force.insert(in_force.end(), step.exprs.begin(), step.exprs.end());
    if (answer == "sat\n") {
      check_values(in_force);
      // why not always: it takes the reference as long as all the rest.
      if (has_reference() && num_models_++ % 8 == script_.exprs.size() % 8) check_printed_model(in_force);
    } else if (has_reference()) {
      std::string refuted = "()";
      if (step.kind == Step::Kind::check_assuming) refuted = ask("(get-unsat-assumptions)");
      if (has_cores_)
        check_core(refuted);
      else if (refuted != "()" && reference_.run("(check-sat-assuming " + refuted + ")") == "sat\n")
        throw Fault("the refuted assumptions " + refuted + "can hold");
    }
  }

  bool has_option(const std::string& key) const {
    return std::any_of(options_.begin(), options_.end(),
                       [&](const auto& option) { return option.first == key; });
  }

  std::string named(const Step& step) const {
    return "(assert (! " + script_.text_of(step.exprs[0]) + " :named a" + std::to_string(formulas_.size()) +
           "))";
  }

  /// The named assertions contradict each other and the assumptions, without the others.
  void check_core(const std::string& refuted) {
    const std::string core = ask("(get-unsat-core)");
    std::string text = script_.preamble, name;
    std::istringstream names(core.substr(1, core.rfind(')') - 1));
    while (names >> name)
      text += "(assert " + script_.text_of(formulas_.at(std::stoul(name.substr(1)))) + ")\n";
    if (Reference().run(text + "(check-sat-assuming " + refuted + ")") == "sat\n")
      throw Fault("the core " + core + " and the assumptions " + refuted + "can hold");
  }

  void collect_leaves(std::size_t number, std::set<std::size_t>& leaves, std::set<std::size_t>& seen) const {
    if (!seen.insert(number).second) return;
    const Expr& expr = script_.exprs[number];
    if (expr.op == Expr::Op::symbol || expr.op == Expr::Op::apply) leaves.insert(number);
    for (std::size_t arg : expr.args) collect_leaves(arg, leaves, seen);
  }

  void check_values(const std::vector<std::size_t>& in_force) {
    std::set<std::size_t> leaves(script_.constants.begin(), script_.constants.end()), seen;
    for (std::size_t formula : in_force) collect_leaves(formula, leaves, seen);
    std::string query = "(get-value (";
    for (std::size_t leaf : leaves) query += script_.text_of(leaf) + "\n";
    std::istringstream answer(ask(query + "))"));
    CommandReader reader(answer);
    Command values;
    if (!reader.next(values)) throw Fault("no values");
    TokenCursor cursor(values);
    std::map<std::size_t, Value> given;
    for (std::size_t leaf : leaves) {
      cursor.expect_open("a value");
      cursor.take_expression();
      given[leaf] = read_value(cursor, script_.exprs[leaf].sort, script_.has_integers);
      cursor.expect_close("a value");
    }
    Evaluator evaluator(script_, std::move(given));
    for (std::size_t formula : in_force)
      if (!evaluator.value(formula).truth)
        throw Fault("false in the model: " + script_.text_of(formula) + "\n" + ask("(get-model)"));
  }

  /// With the printed definitions for declarations, the formulas must hold. Elements of sorts have no
  /// constants that another solver would know.
  void check_printed_model(const std::vector<std::size_t>& in_force) {
    if (script_.preamble.find("declare-sort") != std::string::npos) return;
    std::string model = ask("(get-model)");
    model.erase(0, model.find('(') + 1);
    model.erase(model.rfind(')'));
    std::string text = model;
    if (const std::size_t definition = script_.preamble.find("(define-fun"); definition != std::string::npos)
      text += script_.preamble.substr(definition, script_.preamble.find('\n', definition) - definition);
    for (std::size_t formula : in_force) text += "(assert " + script_.text_of(formula) + ")\n";
    if (Reference().run(text + "(check-sat)") != "sat\n") throw Fault("the printed model is none:\n" + model);
  }

  const Script& script_;
  const Options& options_;
  bool has_cores_ = false;
  std::size_t checks_between_ends_ = 0;  // of memory; 0: it does not end
  std::size_t num_checks_ = 0;
  std::ostringstream out_;
  smtlib::Interpreter interpreter_;
  Reference reference_;
  std::string transcript_;
  std::size_t num_models_ = 0;
  std::vector<std::size_t> formulas_;
  std::vector<std::size_t> levels_;
};

}  // namespace

bool has_reference() {
#ifdef ZORVEL_HAS_Z3
  return true;
#else
  return false;
#endif
}

const std::vector<Options>& option_sets() {
  static const std::vector<Options> sets{
      {},
      {{"preprocessor.toplevel_propagation", "false"}},
      {{"preprocessor.simplification", "0"}, {"dpll.restart_strategy", "0"}, {"dpll.restart_initial", "2"}},
      {{"dpll.restart_strategy", "3"}, {"dpll.branching_initial_phase", "1"}},
      {{"theory.la.deduction_enabled", "false"}, {"theory.eq_propagation", "false"}},
      {{"theory.la.model_mutation", "false"}},
      {{"theory.interface_eq_policy", "1"}, {"theory.pairwise_interface_eq", "true"}},
      {{"theory.interface_eq_policy", "0"}, {"theory.interface_eq_batch_size", "1"}},
      {{"theory.la.split_rat_eq", "false"}, {"dpll.pop_btpoint_reset_var_order", "false"}},
      {{"theory.la.pure_equality_filtering", "false"}, {"theory.la.delay_alien", "true"}},
      {{"theory.la.pivoting_greedy_threshold", "1"}, {"theory.la.lazy_expl_threshold", "1"}},
      {{"debug.term_simplifications", "false"}},
      {{"dpll.branching_random_frequency", "0.2"}, {"random_seed", "7"}, {"dpll.branching_cache_phase", "0"}},
      {{":produce-unsat-cores", "true"}},
      {{":produce-unsat-cores", "true"}, {":minimal-unsat-cores", "true"}},
      {{":reproducible-resource-limit", "2"}},
      {{"theory.max_number_bits", "80"}},
      {{full_memory, "2"}},
      {{full_memory, "3"}, {":produce-unsat-cores", "true"}},
  };
  return sets;
}

const Options& time_limit() {
  static const Options options{{":timeout", "1"}};
  return options;
}

std::string find_fault(const Script& script, const Options& options, std::string* transcript) {
  try {
    Run run(script, options);
    run.go();
    if (transcript != nullptr) *transcript = run.transcript();
    return "";
  } catch (const Run::OutgrewCeiling&) {
    return "";
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace solver_fuzz
