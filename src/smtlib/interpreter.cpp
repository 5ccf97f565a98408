#include "smtlib/interpreter.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <ostream>
#include <set>
#include <unordered_map>

#include "smtlib/model_printer.h"

namespace smtlib {
namespace {

// The solver's own text, too.
constexpr char out_of_memory[] = "out of memory";

}  // namespace

const Interpreter::Handler* Interpreter::find_handler(std::string_view name) {
  using I = Interpreter;
  static const std::unordered_map<std::string_view, Handler> table{
      {"assert", {&I::assert_formula, true}},
      {"assert-soft", {&I::assert_soft, true}},
      {"check-sat", {&I::check_sat, true}},
      {"check-sat-assuming", {&I::check_sat_assuming, true}},
      {"echo", {&I::echo, false}},
      {"exit", {&I::exit, false}},
      {"get-assertions", {&I::get_assertions, false}},
      {"get-assignment", {&I::get_assignment, true}},
      {"get-info", {&I::get_info, false}},
      {"get-model", {&I::get_model, true}},
      {"get-objectives", {&I::get_objectives, false}},
      {"get-option", {&I::get_option, false}},
      {"get-unsat-assumptions", {&I::get_unsat_assumptions, true}},
      {"get-unsat-core", {&I::get_unsat_core, false}},
      {"get-value", {&I::get_value, true}},
      {"maximize", {&I::maximize, true}},
      {"minimize", {&I::minimize, true}},
      {"pop", {&I::pop, true}},
      {"push", {&I::push, true}},
      {"reset", {&I::reset, false}},
      {"reset-assertions", {&I::reset_assertions, true}},
      {"set-info", {&I::set_info, false}},
      {"set-logic", {&I::set_logic, false}},
      {"set-option", {&I::set_option, false}},
  };
  const auto found = table.find(name);
  return found == table.end() ? nullptr : &found->second;
}

Interpreter::Interpreter(std::ostream& out, std::ostream* warnings)
    : out_(out), warnings_(warnings), start_(std::chrono::steady_clock::now()) {}
Interpreter::~Interpreter() { close_environment(); }

void Interpreter::set_memory_limit(std::size_t bytes) {
  memory_limit_bytes_ = bytes;
  limits_.set_memory(bytes);
}

int Interpreter::is_over(void* interpreter) {
  return static_cast<Interpreter*>(interpreter)->limits_.is_over() ? 1 : 0;
}

vesk_config Interpreter::make_config() const {
  const vesk_config config = vesk_create_default_config(logic_.empty() ? nullptr : logic_.c_str());
  vesk_set_option(config, "debug.check_models", "true");
  vesk_set_option(config, "opt.priority", "lex");
  for (const auto& [key, value] : options_) vesk_set_option(config, key.c_str(), value.c_str());
  return config;
}

void Interpreter::start_environment() {
  if (env_.repr != nullptr) return;
  const vesk_config config = make_config();
  env_ = vesk_create_opt_env(config);
  vesk_destroy_config(config);
  if (env_.repr == nullptr) throw TermFault(vesk_last_error_message(env_));
  vesk_set_termination_test(env_, &Interpreter::is_over, this);
  vesk_set_memory_limit(env_, memory_limit_bytes_);
  maker_ = std::make_unique<TermMaker>(env_, numerals_are_real());
  builder_ = std::make_unique<TermBuilder>(*maker_, symbols_, sorts_, limits_);
  declarations_ = std::make_unique<Declarations>(*maker_, *builder_, symbols_, sorts_);
  objectives_ = std::make_unique<Objectives>(*maker_);
}

void Interpreter::close_environment() {
  levels_.clear();
  shrink_to({0, 0, 0, 0});
  assumptions_.clear();
  last_answer_ = Answer::none;
  lost_level_ = no_level;
  vesk_destroy_env(env_);
  env_.repr = nullptr;
}

void Interpreter::shrink_to(const Level& level) {
  symbols_.shrink(level.num_symbols);
  sorts_.shrink(level.num_sorts);
  shrink_assertions_to(level);
}

void Interpreter::shrink_assertions_to(const Level& level) {
  assertions_.resize(level.num_assertions);
  if (objectives_ != nullptr) objectives_->shrink(level.num_objectives);
}

Interpreter::Level Interpreter::current_level() const {
  return {symbols_.size(), sorts_.size(), assertions_.size(),
          objectives_ == nullptr ? 0 : objectives_->size()};
}

void Interpreter::run(std::istream& script, const std::string& name) {
  CommandReader reader(script, &limits_);
  Command command;
  while (!has_exited_) {
    Position where;
    bool is_reading = true;
    std::string fault;
    Level before = current_level();
    has_answered_ = false;
    try {
      if (!reader.next(command)) return;
      is_reading = false;
      where = command.tokens.front().where;
      run_command(command);
      continue;
    } catch (const ScriptError& error) {
      where = error.where();
      fault = error.what();
    } catch (const TermFault& error) {
      fault = error.what();
    } catch (const RunEnded&) {
      has_exited_ = has_ended_early_ = true;
      if (!has_answered_) out_ << "unknown" << std::endl;
      return;
    } catch (const std::bad_alloc&) {
      if (is_reading) where = reader.where();
      command.text = std::string();  // room for the message
      fault = out_of_memory;
    }
    // The command may have made the environment, with the sorts that are always there.
    if (env_.repr != nullptr) before.num_sorts = std::max(before.num_sorts, Declarations::num_own_sorts);
    shrink_to(before);
    if (builder_ != nullptr) builder_->unbind_all();
    has_failed_ = true;
    const bool has_no_memory = fault.starts_with(out_of_memory);
    fault = name + ':' + std::to_string(where.line) + ':' + std::to_string(where.column) + ": " + fault;
    out_ << "(error " << spell_string(fault) << ")" << std::endl;
    if (has_no_memory) has_exited_ = has_ended_early_ = true;
    note_if_lost(command, fault);
  }
}

// A check must not answer `sat` where less is in force than the script asserts.
void Interpreter::note_if_lost(const Command& command, const std::string& fault) {
  if (command.tokens.size() < 2 || command.tokens[1].kind != Token::Kind::symbol) return;
  const std::string_view name = command.text_of(command.tokens[1]);
  const bool is_push = name == "push";
  if (!is_push && !name.starts_with("assert") && name != "minimize" && name != "maximize") return;
  // After a push that failed nobody can tell which level a later pop means.
  const std::size_t level = is_push ? 0 : levels_.size();
  if (lost_level_ <= level) return;
  lost_level_ = level;
  lost_reason_ = "an assertion was lost: " + fault;
  last_answer_ = Answer::none;
}

void Interpreter::run_command(const Command& command) {
  TokenCursor cursor(command);
  const std::string_view name = cursor.take_text(Token::Kind::symbol, "the name of a command");
  const Handler* handler = find_handler(name);
  const bool is_declaration = Declarations::is_command(name);
  if (handler == nullptr && !is_declaration)
    throw ScriptError(command.tokens.front().where,
                      "the command '" + std::string(name) + "' is not supported");
  if (is_declaration || handler->needs_environment) start_environment();
  has_answered_ = false;
  if (is_declaration)
    declarations_->run(name, cursor);
  else
    (this->*handler->run)(cursor);
  if (print_success_ && !has_answered_) answer() << "success\n";
  if (has_answered_) out_.flush();
}

std::ostream& Interpreter::answer() {
  has_answered_ = true;
  return out_;
}

// Assertions and checks.

void Interpreter::assert_formula(TokenCursor& cursor) {
  Assertion assertion;
  if (keeps_assertions_) assertion.text = TokenCursor(cursor).take_expression();
  assertion.formula = builder_->read_formula(cursor);
  assertion.name = builder_->name_of_last();
  cursor.expect_close("the formula");
  if (vesk_assert_formula(env_, assertion.formula) != 0) throw TermFault(vesk_last_error_message(env_));
  if (keeps_assertions_ || (keeps_cores_ && !assertion.name.empty()))
    assertions_.push_back(std::move(assertion));
  last_answer_ = Answer::none;
}

double Interpreter::check_seconds() const {
  const double timeout = static_cast<double>(timeout_ms_) / 1000;
  if (timeout == 0 || time_limit_seconds_ == 0) return std::max(timeout, time_limit_seconds_);
  return std::min(timeout, time_limit_seconds_);
}

vesk_env Interpreter::environment() {
  start_environment();
  return env_;
}

int Interpreter::solve(const std::vector<vesk_term>& assumptions) {
  vesk_set_time_limit(env_, check_seconds());
  vesk_set_conflict_limit(env_, conflict_limit_);
  return vesk_solve_with_assumptions(env_, assumptions.data(), assumptions.size());
}

void Interpreter::check(const std::vector<Assumption>& assumptions) {
  std::vector<vesk_term> formulas;
  for (const Assumption& assumption : assumptions) formulas.push_back(assumption.formula);
  const int result = solve(formulas);
  const bool is_sat = result == 1 && lost_level_ == no_level;
  last_answer_ = is_sat ? Answer::sat : result == 0 ? Answer::unsat : Answer::unknown;
  answer() << (is_sat ? "sat\n" : result == 0 ? "unsat\n" : "unknown\n");
  if (last_answer_ != Answer::unknown) return;
  unknown_reason_ = result == 1 ? lost_reason_ : vesk_last_error_message(env_);
  // The system's memory, that is; a limit of ours is for the check, and the next one may keep it.
  if (unknown_reason_ == out_of_memory) throw TermFault(out_of_memory);
  if (limits_.is_over()) throw RunEnded();
}

void Interpreter::check_sat(TokenCursor& cursor) {
  cursor.expect_close("'check-sat'");
  assumptions_.clear();
  check(assumptions_);
}

void Interpreter::check_sat_assuming(TokenCursor& cursor) {
  cursor.expect_open("'(' and the assumptions");
  std::vector<Assumption> assumptions;
  while (!cursor.at_close()) {
    std::string text = TokenCursor(cursor).take_expression();
    assumptions.push_back({builder_->read_formula(cursor), std::move(text)});
  }
  cursor.expect_close("the assumptions");
  cursor.expect_close("the assumptions");
  assumptions_ = std::move(assumptions);
  check(assumptions_);
}

void Interpreter::get_unsat_assumptions(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  cursor.expect_close("'get-unsat-assumptions'");
  if (last_answer_ != Answer::unsat) throw ScriptError(where, "the last check was not answered unsat");
  if (!keeps_assumptions_) throw ScriptError(where, "the option :produce-unsat-assumptions is not set");
  vesk_set_time_limit(env_, check_seconds());
  std::set<void*> refuted = handles(&vesk_get_unsat_assumptions);
  std::string texts;
  for (const Assumption& assumption : assumptions_)
    if (refuted.erase(assumption.formula.repr) > 0) texts += (texts.empty() ? "" : " ") + assumption.text;
  answer() << '(' << texts << ")\n";
}

// Terms that a function of the environment lists.
std::set<void*> Interpreter::handles(vesk_term* (*list)(vesk_env, std::size_t*)) const {
  std::size_t n = 0;
  vesk_term* terms = list(env_, &n);
  std::set<void*> result;
  for (std::size_t i = 0; i < n; ++i) result.insert(terms[i].repr);
  vesk_free(terms);
  return result;
}

void Interpreter::get_unsat_core(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  cursor.expect_close("'get-unsat-core'");
  if (!keeps_cores_) throw ScriptError(where, "the option :produce-unsat-cores is not set");
  if (last_answer_ != Answer::unsat) throw ScriptError(where, "the last check was not answered unsat");
  std::set<void*> core = handles(&vesk_get_unsat_core);
  std::string names;
  // Of assertions that are one term to the solver the first one is enough.
  for (const Assertion& assertion : assertions_)
    if (!assertion.name.empty() && core.erase(assertion.formula.repr) > 0)
      names += (names.empty() ? "" : " ") + spell_symbol(assertion.name);
  answer() << '(' << names << ")\n";
}

void Interpreter::get_assertions(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  cursor.expect_close("'get-assertions'");
  if (!keeps_assertions_) throw ScriptError(where, "the option :produce-assertions is not set");
  const char* before = "(";
  for (const Assertion& assertion : assertions_) {
    answer() << before << assertion.text;
    before = "\n ";
  }
  answer() << (before[0] == '(' ? "()\n" : ")\n");
}

std::size_t Interpreter::read_count(TokenCursor& cursor) const {
  if (cursor.at_close()) return 1;
  constexpr std::size_t most = 1000000;
  const Position where = cursor.peek().where;
  const std::string_view digits = cursor.take_text(Token::Kind::numeral, "a number of levels");
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
  if (error != std::errc() || count > most)
    throw ScriptError(where, "a number of levels is at most " + std::to_string(most));
  return count;
}

void Interpreter::push(TokenCursor& cursor) {
  const std::size_t count = read_count(cursor);
  cursor.expect_close("the number of levels");
  for (std::size_t i = 0; i < count; ++i) {
    if (vesk_push_backtrack_point(env_) != 0) throw TermFault(vesk_last_error_message(env_));
    levels_.push_back(current_level());
  }
}

void Interpreter::pop(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::size_t count = read_count(cursor);
  cursor.expect_close("the number of levels");
  if (count > levels_.size())
    throw ScriptError(where, "levels to pop: " + std::to_string(count) +
                                 ", levels that are open: " + std::to_string(levels_.size()));
  for (std::size_t i = 0; i < count; ++i) {
    if (vesk_pop_backtrack_point(env_) != 0) throw TermFault(vesk_last_error_message(env_));
    const Level level = levels_.back();
    levels_.pop_back();
    if (declarations_are_global_)
      shrink_assertions_to(level);
    else
      shrink_to(level);
  }
  if (count > 0) last_answer_ = Answer::none;
  if (lost_level_ > levels_.size()) lost_level_ = no_level;
}

void Interpreter::reset_assertions(TokenCursor& cursor) {
  cursor.expect_close("'reset-assertions'");
  if (vesk_reset_env(env_) != 0) throw TermFault(vesk_last_error_message(env_));
  if (declarations_are_global_)
    shrink_assertions_to({0, 0, 0, 0});
  else
    shrink_to({0, Declarations::num_own_sorts, 0, 0});
  levels_.clear();
  lost_level_ = no_level;
  last_answer_ = Answer::none;
}

// Objectives.

void Interpreter::assert_objective(bool maximizes, TokenCursor& cursor) {
  std::string text = TokenCursor(cursor).take_expression();
  const Position where = cursor.peek().where;
  const TypedTerm term = builder_->read_term(cursor);
  cursor.expect_close("the objective");
  if (vesk_is_bool_type(env_, term.type) != 0 || !maker_->fits(term.type, maker_->real_type()))
    throw ScriptError(where, "an objective is a number");
  objectives_->add(maximizes, term, std::move(text));
  last_answer_ = Answer::none;
}

void Interpreter::assert_soft(TokenCursor& cursor) {
  const vesk_term formula = builder_->read_formula(cursor);
  vesk_term weight = vesk_make_int_number(env_, 1);
  std::string group;
  bool has_weight = false, has_group = false;
  while (!cursor.at_close()) {
    const Token& key = cursor.peek();
    const std::string_view name = cursor.take_text(Token::Kind::keyword, "':weight', ':id' or ')'");
    bool& is_given = name == "weight" ? has_weight : has_group;
    if (name != "weight" && name != "id")
      throw ScriptError(key.where, "expected ':weight' or ':id', not ':" + std::string(name) + "'");
    if (is_given) throw ScriptError(key.where, "':" + std::string(name) + "' is given already");
    is_given = true;
    const Position where = cursor.peek().where;
    if (name == "weight") {
      weight = builder_->read_term(cursor).term;
      if (vesk_term_is_number(env_, weight) == 0) throw ScriptError(where, "a weight is a number");
    } else {
      group = cursor.take_name("the name of a group");
    }
  }
  cursor.expect_close("the soft formula");
  objectives_->add_soft(formula, weight, group);
  last_answer_ = Answer::none;
}

void Interpreter::minimize(TokenCursor& cursor) { assert_objective(false, cursor); }
void Interpreter::maximize(TokenCursor& cursor) { assert_objective(true, cursor); }

void Interpreter::get_objectives(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  cursor.expect_close("'get-objectives'");
  if (last_answer_ != Answer::sat && last_answer_ != Answer::unknown)
    throw ScriptError(where, "the last check was answered neither sat nor unknown, or more was asserted");
  objectives_->print(last_answer_ == Answer::unknown, answer());
}

// Models.

void Interpreter::require_model(Position where) const {
  if (last_answer_ != Answer::sat)
    throw ScriptError(where, "there is no model: the last check was not answered sat, or more was asserted");
  if (vesk_get_model_value(env_, vesk_make_true(env_)).repr == nullptr)
    throw ScriptError(where, vesk_last_error_message(env_));
}

void Interpreter::get_value(TokenCursor& cursor) {
  require_model(cursor.peek().where);
  cursor.expect_open("'(' and terms");
  std::vector<std::pair<std::string, TypedTerm>> terms;
  do {
    std::string text = TokenCursor(cursor).take_expression();
    terms.emplace_back(std::move(text), builder_->read_term(cursor));
  } while (!cursor.at_close());
  cursor.expect_close("the terms");
  cursor.expect_close("the terms");
  std::string values;
  for (const auto& [text, asked] : terms) {
    const vesk_term value = vesk_get_model_value(env_, asked.term);
    if (value.repr == nullptr) throw TermFault(vesk_last_error_message(env_));
    values += (values.empty() ? "((" : "\n (") + text + ' ' + value_text(*maker_, value, asked.type) + ')';
  }
  answer() << values << ")\n";
}

void Interpreter::get_assignment(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  cursor.expect_close("'get-assignment'");
  if (!keeps_assignments_) throw ScriptError(where, "the option :produce-assignments is not set");
  require_model(where);
  std::string values;
  for (std::size_t i = 0; i < symbols_.size(); ++i) {
    const Symbol& symbol = *symbols_.find(symbols_.name(i));
    if (symbol.kind != Symbol::Kind::named || vesk_is_bool_type(env_, symbol.result) == 0) continue;
    const vesk_term value = vesk_get_model_value(env_, symbol.term);
    if (value.repr == nullptr) throw TermFault(vesk_last_error_message(env_));
    values += (values.empty() ? "(" : "\n (") + spell_symbol(symbols_.name(i)) + ' ' +
              value_text(*maker_, value, symbol.result) + ')';
  }
  answer() << '(' << values << ")\n";
}

void Interpreter::get_model(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  cursor.expect_close("'get-model'");
  require_model(where);
  print_model(*maker_, symbols_, answer());
}

}  // namespace smtlib
