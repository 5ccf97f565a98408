#include "smtlib/interpreter.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <ostream>
#include <sstream>

// Commands that concern neither formulas nor models: settings, information, and the end.

namespace smtlib {
namespace {

bool is_any_of(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool is_known_logic(std::string_view logic) {
  return TermMaker::has_real_numerals(logic) ||
         is_any_of(logic, {"ALL", "QF_UF", "UF", "QF_LIA", "QF_IDL", "QF_LIRA", "QF_UFLIA", "QF_UFIDL",
                           "QF_UFLIRA"});
}

}  // namespace

bool Interpreter::numerals_are_real() const { return TermMaker::has_real_numerals(logic_); }

std::string Interpreter::option_error(const std::string& key, const std::string& value) const {
  const vesk_config scratch = vesk_create_config();
  const bool is_good = vesk_set_option(scratch, key.c_str(), value.c_str()) == 0;
  vesk_destroy_config(scratch);
  return is_good ? "" : vesk_last_error_message(vesk_env{nullptr});
}

std::string Interpreter::set_solver_option(const std::string& key, const std::string& value) {
  const std::string error = option_error(key, value);
  if (error.empty()) {
    options_.emplace_back(key, value);
    num_outer_options_ = options_.size();
  }
  return error;
}

void Interpreter::require_new_environment(Position where) const {
  if (env_.repr != nullptr)
    throw ScriptError(where, "this is to be set before anything is declared, asserted or checked");
}

void Interpreter::set_logic(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string logic(cursor.take_name("the name of a logic"));
  cursor.expect_close("the logic");
  require_new_environment(where);
  if (!logic_.empty()) throw ScriptError(where, "the logic is set already");
  // What the content needs and is not there is refused where it stands.
  if (!is_known_logic(logic) && warnings_ != nullptr)
    *warnings_ << "warning: the logic '" << logic << "' is not known and counts as ALL" << std::endl;
  logic_ = logic;
}

std::string Interpreter::read_setting(TokenCursor& cursor) const {
  if (cursor.at_close() || cursor.peek().kind == Token::Kind::open ||
      cursor.peek().kind == Token::Kind::keyword)
    throw ScriptError(cursor.peek().where, "expected the value of the option");
  return std::string(cursor.text_of(cursor.take()));
}

bool Interpreter::read_switch(TokenCursor& cursor) const {
  const Position where = cursor.peek().where;
  const std::string text = read_setting(cursor);
  if (text != "true" && text != "false") throw ScriptError(where, "expected true or false");
  cursor.expect_close("the value");
  return text == "true";
}

std::size_t Interpreter::read_limit(TokenCursor& cursor) const {
  const Position where = cursor.peek().where;
  const std::string_view digits = cursor.take_text(Token::Kind::numeral, "a number, 0 for no limit");
  std::size_t limit = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), limit);
  if (error != std::errc()) throw ScriptError(where, "the limit is too large");
  cursor.expect_close("the value");
  return limit;
}

// Options of the interpreter's own. False: it is none of these.
bool Interpreter::set_own_option(const std::string& name, TokenCursor& cursor) {
  if (name == "print-success") {
    print_success_ = read_switch(cursor);
  } else if (name == "produce-unsat-assumptions") {
    keeps_assumptions_ = read_switch(cursor);
  } else if (name == "produce-assignments") {
    keeps_assignments_ = read_switch(cursor);
  } else if (name == "timeout") {
    timeout_ms_ = read_limit(cursor);
  } else if (name == "reproducible-resource-limit") {
    conflict_limit_ = read_limit(cursor);
  } else if (name == "global-declarations") {
    require_new_environment(cursor.peek().where);
    declarations_are_global_ = read_switch(cursor);
  } else if (name == "produce-assertions" || name == "interactive-mode") {
    require_new_environment(cursor.peek().where);
    keeps_assertions_ = read_switch(cursor);
  } else {
    return false;
  }
  return true;
}

// The solver's key for an option of a script; "" if there is none.
std::string Interpreter::solver_key(const std::string& name) {
  constexpr std::string_view prefix = "veskor.";
  return name == "produce-models"        ? "model_generation"
         : name == "produce-unsat-cores" ? "unsat_core_generation"
         : name == "minimal-unsat-cores" ? "unsat_core_minimization"
         : name == "random-seed"         ? "random_seed"
         : name == "verbosity"           ? "verbosity"
         : name.starts_with("opt.")      ? name
         : name.starts_with(prefix)      ? name.substr(prefix.size())
                                         : "";
}

void Interpreter::set_option(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string name(cursor.take_text(Token::Kind::keyword, "an option"));
  if (set_own_option(name, cursor)) return;
  const std::string key = solver_key(name);
  if (key.empty()) {
    answer() << "unsupported\n";
    return;
  }
  std::string value = read_setting(cursor);
  cursor.expect_close("the value");
  require_new_environment(where);
  if (name == "produce-unsat-cores") {
    if (value != "true" && value != "false") throw ScriptError(where, "expected true or false");
    keeps_cores_ = value == "true";
    value = keeps_cores_ ? "3" : "0";
  }
  if (const std::string error = option_error(key, value); !error.empty()) throw ScriptError(where, error);
  options_.emplace_back(key, value);
}

void Interpreter::get_option(TokenCursor& cursor) {
  const std::string name(cursor.take_text(Token::Kind::keyword, "an option"));
  cursor.expect_close("the option");
  const auto truth = [](bool value) { return value ? "true" : "false"; };
  const std::pair<std::string_view, std::string> own[] = {
      {"print-success", truth(print_success_)},
      {"produce-unsat-assumptions", truth(keeps_assumptions_)},
      {"produce-assignments", truth(keeps_assignments_)},
      {"produce-assertions", truth(keeps_assertions_)},
      {"interactive-mode", truth(keeps_assertions_)},
      {"global-declarations", truth(declarations_are_global_)},
      {"produce-unsat-cores", truth(keeps_cores_)},
      {"timeout", std::to_string(timeout_ms_)},
      {"reproducible-resource-limit", std::to_string(conflict_limit_)},
  };
  for (const auto& [own_name, value] : own)
    if (name == own_name) {
      answer() << value << '\n';
      return;
    }
  const vesk_config config = make_config();
  char* value = vesk_get_option(config, solver_key(name).c_str());
  vesk_destroy_config(config);
  answer() << (value == nullptr ? "unsupported" : value) << '\n';
  vesk_free(value);
}

void Interpreter::set_info(TokenCursor& cursor) {
  cursor.take_text(Token::Kind::keyword, "an attribute");
  if (!cursor.at_close()) cursor.take_expression();
  cursor.expect_close("the attribute");
}

void Interpreter::get_info(TokenCursor& cursor) {
  const std::string name(cursor.take_text(Token::Kind::keyword, "an attribute"));
  cursor.expect_close("the attribute");
  char* own_version = vesk_get_version();
  const std::string version = own_version;
  vesk_free(own_version);
  const std::size_t blank = version.find(' ');
  std::string value;
  if (name == "name")
    value = spell_string(version.substr(0, blank));
  else if (name == "version")
    value = spell_string(version.substr(blank + 1));
  else if (name == "error-behavior")
    value = "continued-execution";
  else if (name == "assertion-stack-levels")
    value = std::to_string(levels_.size());
  else if (name == "reason-unknown" && last_answer_ == Answer::unknown)
    value = reason_unknown();
  if (name == "all-statistics") {
    std::istringstream counters(statistics());
    const char* before = "(:";
    for (std::string counter, count; counters >> counter >> count; before = "\n :")
      answer() << before << counter << ' ' << count;
    answer() << (before[0] == '(' ? "()\n" : ")\n");
  } else if (value.empty()) {
    answer() << "unsupported\n";
  } else {
    answer() << "(:" << name << ' ' << value << ")\n";
  }
}

std::string Interpreter::reason_unknown() const {
  const std::string_view reason = unknown_reason_;
  const bool is_time = reason == "the time limit is reached";
  return is_time                                         ? "timeout"
         : reason.starts_with("out of memory")           ? "memout"
         : reason == "the limit of conflicts is reached" ? "resourceout"
                                                         : spell_string(reason);
}

std::string Interpreter::statistics() const {
  if (env_.repr == nullptr) return "";
  char* text = vesk_get_search_stats(env_);
  std::string counters = text == nullptr ? "" : text;
  vesk_free(text);
  const auto run_time = std::chrono::steady_clock::now() - start_;
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(run_time).count();
  return counters + "run_milliseconds " + std::to_string(milliseconds) + "\npeak_memory_kilobytes " +
         std::to_string(vesk_get_peak_memory() / 1024) + '\n';
}

void Interpreter::echo(TokenCursor& cursor) {
  const std::string_view text = cursor.take_text(Token::Kind::string, "a string");
  cursor.expect_close("the string");
  answer() << spell_string(text) << '\n';
}

void Interpreter::exit(TokenCursor& cursor) {
  cursor.expect_close("'exit'");
  has_exited_ = true;
}

void Interpreter::reset(TokenCursor& cursor) {
  cursor.expect_close("'reset'");
  close_environment();
  logic_.clear();
  options_.resize(num_outer_options_);
  declarations_are_global_ = false;
  print_success_ = false;
  keeps_assertions_ = keeps_assignments_ = keeps_cores_ = false;
  keeps_assumptions_ = true;
  timeout_ms_ = conflict_limit_ = 0;
}

}  // namespace smtlib
