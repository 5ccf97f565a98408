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
      {"check-sat", {&I::check_sat, true}},
      {"check-sat-assuming", {&I::check_sat_assuming, true}},
      {"declare-const", {&I::declare_const, true}},
      {"declare-fun", {&I::declare_fun, true}},
      {"declare-sort", {&I::declare_sort, true}},
      {"define-fun", {&I::define_fun, true}},
      {"define-sort", {&I::define_sort, true}},
      {"echo", {&I::echo, false}},
      {"exit", {&I::exit, false}},
      {"get-info", {&I::get_info, false}},
      {"get-model", {&I::get_model, true}},
      {"get-unsat-assumptions", {&I::get_unsat_assumptions, true}},
      {"get-value", {&I::get_value, true}},
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

Interpreter::Interpreter(std::ostream& out) : out_(out) {}
Interpreter::~Interpreter() { close_environment(); }

int Interpreter::is_too_late(void* interpreter) {
  auto& self = *static_cast<Interpreter*>(interpreter);
  self.has_timed_out_ = std::chrono::steady_clock::now() >= self.deadline_;
  return self.has_timed_out_ ? 1 : 0;
}

void Interpreter::start_environment() {
  if (env_.repr != nullptr) return;
  const vesk_config config = vesk_create_default_config(logic_.empty() ? nullptr : logic_.c_str());
  for (const auto& [key, value] : options_) vesk_set_option(config, key.c_str(), value.c_str());
  env_ = vesk_create_env(config);
  vesk_destroy_config(config);
  if (env_.repr == nullptr) throw TermFault(vesk_last_error_message(env_));
  if (time_limit_seconds_ > 0) vesk_set_termination_test(env_, &Interpreter::is_too_late, this);
  maker_ = std::make_unique<TermMaker>(env_, numerals_are_real());
  builder_ = std::make_unique<TermBuilder>(*maker_, symbols_, sorts_);
  sorts_.add("Bool", maker_->bool_type());
  sorts_.add("Real", maker_->real_type());
  sorts_.add("Int", maker_->int_type());
}

void Interpreter::close_environment() {
  levels_.clear();
  shrink_to({0, 0, 0});
  assumptions_.clear();
  last_answer_ = Answer::none;
  lost_level_ = no_level;
  vesk_destroy_env(env_);
  env_.repr = nullptr;
}

void Interpreter::shrink_to(const Level& level) {
  symbols_.shrink(level.num_symbols);
  sorts_.shrink(level.num_sorts);
  labels_.shrink(level.num_labels);
}

void Interpreter::run(std::istream& script, const std::string& name) {
  CommandReader reader(script);
  Command command;
  while (!has_exited_) {
    Position where;
    std::string fault;
    const Level before{symbols_.size(), sorts_.size(), labels_.size()};
    try {
      if (!reader.next(command)) return;
      where = command.tokens.front().where;
      run_command(command);
      continue;
    } catch (const ScriptError& error) {
      where = error.where();
      fault = error.what();
    } catch (const TermFault& error) {
      fault = error.what();
    } catch (const std::bad_alloc&) {
      command.text = std::string();  // room for the message
      fault = out_of_memory;
    }
    shrink_to(before);
    if (builder_ != nullptr) builder_->unbind_all();
    has_failed_ = true;
    fault = name + ':' + std::to_string(where.line) + ':' + std::to_string(where.column) + ": " + fault;
    out_ << "(error " << spell_string(fault) << ")" << std::endl;
    if (fault.ends_with(out_of_memory)) has_exited_ = has_ended_early_ = true;
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
  if (handler == nullptr)
    throw ScriptError(command.tokens.front().where,
                      "the command '" + std::string(name) + "' is not supported");
  if (handler->needs_environment) start_environment();
  has_answered_ = false;
  (this->*handler->run)(cursor);
  if (print_success_ && !has_answered_) answer() << "success\n";
  if (has_answered_) out_.flush();
}

std::ostream& Interpreter::answer() {
  has_answered_ = true;
  return out_;
}

// Declarations and definitions.

void Interpreter::declare(std::string_view name, std::vector<vesk_type> params, vesk_type result) {
  Symbol symbol{Symbol::Kind::declared, std::move(params), result};
  if (symbol.params.empty()) {
    symbol.decl = maker_->declare(name, result);
    symbol.term = vesk_make_constant(env_, symbol.decl);
  } else {
    const vesk_type type = vesk_get_function_type(env_, symbol.params.data(), symbol.params.size(), result);
    symbol.decl = maker_->declare(name, type);
  }
  symbols_.add(name, std::move(symbol));
}

void Interpreter::declare_const(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a constant");
  builder_->require_new_name(name, where);
  const vesk_type sort = builder_->read_sort(cursor);
  cursor.expect_close("the sort");
  declare(name, {}, sort);
}

void Interpreter::declare_fun(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a function");
  builder_->require_new_name(name, where);
  cursor.expect_open("'(' and the sorts of the parameters");
  std::vector<vesk_type> params;
  while (!cursor.at_close()) params.push_back(builder_->read_sort(cursor));
  cursor.expect_close("the sorts of the parameters");
  const vesk_type result = builder_->read_sort(cursor);
  cursor.expect_close("the sort");
  declare(name, std::move(params), result);
}

void Interpreter::declare_sort(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a sort");
  if (sorts_.find(name) != nullptr)
    throw ScriptError(where, "the sort '" + std::string(name) + "' is declared already");
  const Position arity_where = cursor.peek().where;
  if (!cursor.at_close() && cursor.take_text(Token::Kind::numeral, "a number of parameters") != "0")
    throw ScriptError(arity_where, "sorts with parameters are not supported");
  cursor.expect_close("the number of parameters");
  sorts_.add(name, maker_->simple_type(name));
}

void Interpreter::define_sort(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a sort");
  if (sorts_.find(name) != nullptr)
    throw ScriptError(where, "the sort '" + std::string(name) + "' is declared already");
  cursor.expect_open("'()'");
  if (!cursor.at_close()) throw ScriptError(cursor.peek().where, "sorts with parameters are not supported");
  cursor.expect_close("the parameters");
  const vesk_type sort = builder_->read_sort(cursor);
  cursor.expect_close("the sort");
  sorts_.add(name, sort);
}

// Binds each parameter to the constant that stands for it in the body.
std::vector<vesk_term> Interpreter::read_parameters(TokenCursor& cursor, std::vector<vesk_type>& types) {
  std::vector<vesk_term> formals;
  cursor.expect_open("'(' and the parameters");
  while (!cursor.at_close()) {
    cursor.expect_open("'(' and a parameter");
    const std::string_view name = cursor.take_name("the name of a parameter");
    types.push_back(builder_->read_sort(cursor));
    cursor.expect_close("the sort of the parameter");
    const std::string stand_in = "|parameter|" + std::to_string(types.size());
    formals.push_back(vesk_make_constant(env_, maker_->declare(stand_in, types.back())));
    builder_->bind(name, {formals.back(), types.back()});
  }
  cursor.expect_close("the parameters");
  return formals;
}

void Interpreter::define_fun(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a function");
  builder_->require_new_name(name, where);
  Symbol symbol{Symbol::Kind::defined, {}, {}};
  symbol.formals = read_parameters(cursor, symbol.params);
  symbol.result = builder_->read_sort(cursor);
  const Position body_where = cursor.peek().where;
  const TypedTerm body = builder_->read_term(cursor);
  builder_->unbind_all();
  if (!maker_->fits(body.type, symbol.result))
    throw ScriptError(body_where, "a body of sort " + maker_->sort_text(body.type) + " where " +
                                      maker_->sort_text(symbol.result) + " is expected");
  cursor.expect_close("the body");
  symbol.term = body.term;
  symbols_.add(name, std::move(symbol));
}

// Assertions and checks.

void Interpreter::assert_formula(TokenCursor& cursor) {
  const vesk_term formula = builder_->read_formula(cursor);
  cursor.expect_close("the formula");
  if (vesk_assert_formula(env_, formula) != 0) throw TermFault(vesk_last_error_message(env_));
  last_answer_ = Answer::none;
}

void Interpreter::check(const std::vector<Assumption>& assumptions) {
  std::vector<vesk_term> literals;
  for (const Assumption& assumption : assumptions) literals.push_back(assumption.literal);
  has_timed_out_ = false;
  deadline_ =
      std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                             std::chrono::duration<double>(time_limit_seconds_));
  const int result = vesk_solve_with_assumptions(env_, literals.data(), literals.size());
  const bool is_sat = result == 1 && lost_level_ == no_level;
  last_answer_ = is_sat ? Answer::sat : result == 0 ? Answer::unsat : Answer::unknown;
  answer() << (is_sat ? "sat\n" : result == 0 ? "unsat\n" : "unknown\n");
  if (last_answer_ != Answer::unknown) return;
  unknown_reason_ = result == 1 ? lost_reason_ : vesk_last_error_message(env_);
  if (unknown_reason_ == out_of_memory) throw TermFault(out_of_memory);
}

void Interpreter::check_sat(TokenCursor& cursor) {
  cursor.expect_close("'check-sat'");
  assumptions_.clear();
  check(assumptions_);
}

Interpreter::Assumption Interpreter::read_assumption(TokenCursor& cursor) {
  std::string text = TokenCursor(cursor).take_expression();
  const vesk_term asked = builder_->read_formula(cursor);
  const vesk_term atom = vesk_term_is_not(env_, asked) != 0 ? vesk_term_get_arg(asked, 0) : asked;
  const bool is_literal = vesk_term_is_constant(env_, atom) != 0 || vesk_term_is_true(env_, atom) != 0 ||
                          vesk_term_is_false(env_, atom) != 0;
  if (is_literal) return {asked, std::move(text)};
  const std::string id = std::to_string(vesk_term_id(asked));
  if (const vesk_term* label = labels_.find(id)) return {*label, std::move(text)};
  const vesk_decl decl = maker_->declare("|assumption|" + id, maker_->bool_type());
  const vesk_term label = vesk_make_constant(env_, decl);
  if (vesk_assert_formula(env_, vesk_make_or(env_, vesk_make_not(env_, label), asked)) != 0)
    throw TermFault(vesk_last_error_message(env_));
  labels_.add(id, label);
  return {label, std::move(text)};
}

void Interpreter::check_sat_assuming(TokenCursor& cursor) {
  cursor.expect_open("'(' and the assumptions");
  std::vector<Assumption> assumptions;
  while (!cursor.at_close()) assumptions.push_back(read_assumption(cursor));
  cursor.expect_close("the assumptions");
  cursor.expect_close("the assumptions");
  assumptions_ = std::move(assumptions);
  check(assumptions_);
}

void Interpreter::get_unsat_assumptions(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  cursor.expect_close("'get-unsat-assumptions'");
  if (last_answer_ != Answer::unsat) throw ScriptError(where, "the last check was not answered unsat");
  std::size_t num_refuted = 0;
  vesk_term* refuted = vesk_get_unsat_assumptions(env_, &num_refuted);
  std::set<void*> refuted_literals;
  for (std::size_t i = 0; i < num_refuted; ++i) refuted_literals.insert(refuted[i].repr);
  std::string texts;
  for (const Assumption& assumption : assumptions_)
    if (refuted_literals.erase(assumption.literal.repr) > 0)
      texts += (texts.empty() ? "" : " ") + assumption.text;
  answer() << '(' << texts << ")\n";
  vesk_free(refuted);
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
    levels_.push_back({symbols_.size(), sorts_.size(), labels_.size()});
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
      labels_.shrink(level.num_labels);
    else
      shrink_to(level);
  }
  if (count > 0) last_answer_ = Answer::none;
  if (lost_level_ > levels_.size()) lost_level_ = no_level;
}

void Interpreter::reset_assertions(TokenCursor& cursor) {
  cursor.expect_close("'reset-assertions'");
  if (vesk_reset_env(env_) != 0) throw TermFault(vesk_last_error_message(env_));
  constexpr std::size_t num_own_sorts = 3;
  if (declarations_are_global_)
    labels_.shrink(0);
  else
    shrink_to({0, num_own_sorts, 0});
  levels_.clear();
  lost_level_ = no_level;
  last_answer_ = Answer::none;
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

void Interpreter::get_model(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  cursor.expect_close("'get-model'");
  require_model(where);
  print_model(*maker_, symbols_, answer());
}

}  // namespace smtlib
