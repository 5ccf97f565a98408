#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "smtlib/run_limits.h"
#include "smtlib/script_error.h"

namespace smtlib {

struct Token {
  enum class Kind : std::uint8_t { open, close, numeral, decimal, string, symbol, keyword, bits };
  Kind kind;
  bool quoted;  ///< a symbol between bars
  Position where;
  std::size_t begin;  ///< of its text in the command: without bars, quotes or the colon of a keyword
  std::size_t size;
};

/// The tokens of one command, parentheses matched, from its first one to its last.
struct Command {
  std::string text;
  std::vector<Token> tokens;

  std::string_view text_of(const Token& token) const {
    return std::string_view(text).substr(token.begin, token.size);
  }
};

/// Cuts a script into commands. A command is read whole before anything is done with it, so that an error in
/// it leaves nothing half done and the next command is known to begin behind it. Reads no character behind
/// a command's last parenthesis: a program may talk through a pipe.
class CommandReader {
 public:
  /// `limits` are polled while reading; null for none.
  explicit CommandReader(std::istream& in, RunLimits* limits = nullptr) : in_(in.rdbuf()), limits_(limits) {}

  /// The next command; false at the end of the script. ScriptError for what is no command; the next call
  /// goes on behind it. RunLimits::poll() says what else is thrown; that is the end.
  bool next(Command& command);
  /// How far the script is read.
  Position where() const { return here_; }

 private:
  /// False at the end of the script.
  bool read_token(Command& command);
  void read_string(Command& command, Position where);
  void read_quoted_symbol(Command& command, Position where);
  void read_word(Command& command, Position where);
  void skip_blanks();
  int peek() { return in_->sgetc(); }
  char take();
  void note_error(Position where, const std::string& text);

  std::streambuf* in_;
  RunLimits* limits_;
  Position here_;
  std::optional<ScriptError> error_;  // the first one in the command being read
};

/// Walks over the tokens of a command. What is not as expected is a ScriptError there.
class TokenCursor {
 public:
  explicit TokenCursor(const Command& command) : command_(command) {}

  /// The command's last parenthesis is never taken: there is always a token to look at.
  const Token& peek() const { return command_.tokens[next_]; }
  const Token& take();
  bool at_close() const { return peek().kind == Token::Kind::close; }
  /// To the place of another cursor over the same command.
  void move_to(const TokenCursor& other) { next_ = other.next_; }
  bool at_symbol(std::string_view name) const;
  std::string_view text_of(const Token& token) const { return command_.text_of(token); }

  void expect_open(const char* what);
  void expect_close(const char* what);
  std::string_view take_text(Token::Kind kind, const char* what);
  /// A symbol that is not a reserved word.
  std::string_view take_name(const char* what);
  /// Passes over an expression and gives its text, each run of blanks and comments as one blank.
  std::string take_expression();

 private:
  const Command& command_;
  std::size_t next_ = 1;  // behind the opening parenthesis
};

/// The symbol as a script spells it, between bars where it must be.
std::string spell_symbol(std::string_view name);
/// The text as a string constant.
std::string spell_string(std::string_view text);
bool is_reserved_word(std::string_view name);

}  // namespace smtlib
