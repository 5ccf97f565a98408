#include "smtlib/assertion_reader.h"

#include <memory>
#include <sstream>
#include <stdexcept>

#include "smtlib/declarations.h"

namespace smtlib {
namespace {

class AssertionReader {
 public:
  explicit AssertionReader(vesk_env env) : env_(env) {}

  /// False at the end of the text.
  bool run(const Command& command) {
    TokenCursor cursor(command);
    const Token& head = cursor.peek();
    const std::string_view name = cursor.take_text(Token::Kind::symbol, "the name of a command");
    if (name == "exit") return false;
    if (name == "set-logic") {
      set_logic(cursor);
    } else if (name == "assert") {
      start();
      formulas_.push_back(builder_->read_formula(cursor));
      cursor.expect_close("the formula");
    } else if (Declarations::is_command(name)) {
      start();
      declarations_->run(name, cursor);
    } else if (name != "set-info" && name != "check-sat") {
      throw ScriptError(head.where,
                        "the command '" + std::string(name) + "' is neither a declaration nor 'assert'");
    }
    return true;
  }

  std::vector<vesk_term> formulas() && { return std::move(formulas_); }

 private:
  // The logic says what a numeral is, so nothing can be made before it is known.
  void start() {
    if (maker_ != nullptr) return;
    maker_ = std::make_unique<TermMaker>(env_, TermMaker::has_real_numerals(logic_),
                                         TermMaker::Names::of_environment);
    builder_ = std::make_unique<TermBuilder>(*maker_, symbols_, sorts_, no_limits_);
    declarations_ = std::make_unique<Declarations>(*maker_, *builder_, symbols_, sorts_);
  }

  void set_logic(TokenCursor& cursor) {
    const Position where = cursor.peek().where;
    if (maker_ != nullptr)
      throw ScriptError(where, "the logic is to be set before anything is declared or asserted");
    logic_ = cursor.take_name("the name of a logic");
    cursor.expect_close("the logic");
  }

  vesk_env env_;
  std::string logic_;
  RunLimits no_limits_;
  SymbolTable symbols_;
  SortTable sorts_;
  std::unique_ptr<TermMaker> maker_;
  std::unique_ptr<TermBuilder> builder_;
  std::unique_ptr<Declarations> declarations_;
  std::vector<vesk_term> formulas_;
};

[[noreturn]] void fail(Position where, const char* what) {
  throw std::runtime_error(std::to_string(where.line) + ':' + std::to_string(where.column) + ": " + what);
}

}  // namespace

std::vector<vesk_term> read_assertions(vesk_env env, const std::string& text) {
  std::istringstream in(text);
  CommandReader commands(in);
  Command command;
  AssertionReader reader(env);
  Position where;
  try {
    while (commands.next(command)) {
      where = command.tokens.front().where;
      if (!reader.run(command)) break;
    }
  } catch (const ScriptError& error) {
    fail(error.where(), error.what());
  } catch (const TermFault& fault) {
    fail(where, fault.what());
  }
  return std::move(reader).formulas();
}

}  // namespace smtlib
