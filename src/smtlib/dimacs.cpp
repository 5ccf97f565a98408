#include "smtlib/dimacs.h"

#include <charconv>
#include <iostream>
#include <istream>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "smtlib/interpreter.h"
#include "smtlib/program.h"
#include "smtlib/script_error.h"

namespace smtlib {
namespace {

constexpr int end_of_text = std::char_traits<char>::eof();

bool is_dimacs_blank(int c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

class Formula {
 public:
  Formula(std::streambuf& in, Interpreter& solver)
      : in_(in), solver_(solver), env_(solver.environment()), bool_(vesk_get_bool_type(env_)) {}

  /// Asserts all clauses; ScriptError for what is wrong.
  void read() {
    read_header();
    std::vector<vesk_term> clause;
    long clauses_read = 0;
    while (skip_to_word() && in_.sgetc() != '%') {
      const long literal = read_number();
      if (literal != 0) {
        clause.push_back(term_of(literal));
        continue;
      }
      if (vesk_assert_formula(env_, vesk_make_or_n(env_, clause.data(), clause.size())) != 0)
        throw TermFault(vesk_last_error_message(env_));
      clause.clear();
      ++clauses_read;
    }
    if (!clause.empty()) fail("the last clause does not end with 0");
    if (clauses_read != num_clauses_)
      fail("there are " + std::to_string(clauses_read) + " clauses, and the header says " +
           std::to_string(num_clauses_));
  }

  void print_model(std::ostream& out) {
    std::string line = "v";
    const auto add = [&](const std::string& word) {
      constexpr std::size_t max_line = 78;
      if (line.size() + 1 + word.size() > max_line) {
        out << line << '\n';
        line = "v";
      }
      line += ' ' + word;
    };
    for (long variable = 1; variable <= num_variables_; ++variable) {
      solver_.limits().poll_now_and_then();
      const auto found = constants_.find(variable);
      const bool is_true = found != constants_.end() &&
                           vesk_term_is_true(env_, vesk_get_model_value(env_, found->second)) != 0;
      add(std::to_string(is_true ? variable : -variable));
    }
    add("0");
    out << line << std::endl;
  }

 private:
  [[noreturn]] void fail(const std::string& text) const { throw ScriptError({word_line_, 1}, text); }

  int take() {
    const int c = in_.sbumpc();
    if (c == '\n') ++line_;
    return c;
  }

  void skip_line() {
    while (in_.sgetc() != end_of_text && take() != '\n') {}
  }

  void skip_blanks() {
    while (is_dimacs_blank(in_.sgetc())) take();
  }

  // To the next word that is no comment. False: the text ends.
  bool skip_to_word() {
    for (;;) {
      solver_.limits().poll_now_and_then();
      skip_blanks();
      if (in_.sgetc() == end_of_text) {
        solver_.limits().poll();  // waiting for input ends by an end of the input, too
        return false;
      }
      if (in_.sgetc() != 'c') return true;
      skip_line();
    }
  }

  std::string read_word() {
    std::string word;
    word_line_ = line_;
    while (!is_dimacs_blank(in_.sgetc()) && in_.sgetc() != end_of_text) word += static_cast<char>(take());
    return word;
  }

  long read_number() {
    const std::string word = read_word();
    long value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size()) fail("'" + word + "' is no literal");
    if (value > num_variables_ || value < -num_variables_)
      fail("the header says " + std::to_string(num_variables_) + " variables, and there is a literal " +
           word);
    return value;
  }

  void read_header() {
    if (!skip_to_word() || read_word() != "p") fail("expected a header 'p cnf VARIABLES CLAUSES'");
    long counts[2];
    skip_blanks();
    if (read_word() != "cnf") fail("only formulas in conjunctive normal form, 'p cnf', are supported");
    for (long& count : counts) {
      skip_blanks();
      const std::string word = read_word();
      constexpr long most = 2147483647;
      const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), count);
      if (error != std::errc() || end != word.data() + word.size() || count < 0 || count > most)
        fail("'" + word + "' is no number of variables or clauses");
    }
    num_variables_ = counts[0];
    num_clauses_ = counts[1];
  }

  vesk_term term_of(long literal) {
    const long variable = literal < 0 ? -literal : literal;
    vesk_term& constant = constants_[variable];
    if (constant.repr == nullptr) {
      const std::string name = "|dimacs|" + std::to_string(variable);  // no name of a script
      constant = vesk_make_constant(env_, vesk_declare_function(env_, name.c_str(), bool_));
    }
    return literal < 0 ? vesk_make_not(env_, constant) : constant;
  }

  std::streambuf& in_;
  Interpreter& solver_;
  vesk_env env_;
  vesk_type bool_;
  std::uint32_t line_ = 1, word_line_ = 1;  // here, and of the last word
  long num_variables_ = 0, num_clauses_ = 0;
  std::unordered_map<long, vesk_term> constants_;
};

}  // namespace

bool is_dimacs(std::istream& in) {
  const int first = in.rdbuf()->sgetc();
  return first == 'c' || first == 'p';
}

int run_dimacs(std::istream& in, const std::string& name, Interpreter& solver, std::ostream& out) {
  try {
    Formula formula(*in.rdbuf(), solver);
    formula.read();
    const int answer = solver.solve({});
    out << (answer == 1 ? "s SATISFIABLE" : answer == 0 ? "s UNSATISFIABLE" : "s UNKNOWN") << std::endl;
    if (answer == 1) formula.print_model(out);
    return answer == 1 ? satisfiable : answer == 0 ? unsatisfiable : success;
  } catch (const ScriptError& error) {
    std::cerr << "veskor-run: " << name << ':' << error.where().line << ": " << error.what() << '\n';
  } catch (const TermFault& fault) {
    std::cerr << "veskor-run: " << name << ": " << fault.what() << '\n';
  } catch (const RunEnded&) {
    out << "s UNKNOWN" << std::endl;
    return ended_early;
  }
  return script_errors;
}

}  // namespace smtlib
