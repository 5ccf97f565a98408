#include "smtlib/command_reader.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace smtlib {
namespace {

constexpr int end_of_script = std::char_traits<char>::eof();

bool is_blank(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
bool is_digit(int c) { return c >= '0' && c <= '9'; }
bool is_symbol_character(int c) {
  return c != end_of_script && c < 128 &&
         (std::isalnum(c) != 0 ||
          std::string_view("~!@$%^&*_-+=<>.?/").find(static_cast<char>(c)) != std::string_view::npos);
}

std::string shown(int c) {
  if (c > ' ' && c < 127) return std::string("'") + static_cast<char>(c) + "'";
  return "of code " + std::to_string(c);
}

}  // namespace

bool is_reserved_word(std::string_view name) {
  constexpr std::array<std::string_view, 13> words{"!",      "_",       "as",         "let",    "exists",
                                                   "forall", "match",   "par",        "BINARY", "DECIMAL",
                                                   "STRING", "NUMERAL", "HEXADECIMAL"};
  return std::find(words.begin(), words.end(), name) != words.end();
}

std::string spell_symbol(std::string_view name) {
  const bool is_simple = !name.empty() && !is_digit(name.front()) && !is_reserved_word(name) &&
                         std::all_of(name.begin(), name.end(), [](char c) {
                           return is_symbol_character(static_cast<unsigned char>(c));
                         });
  return is_simple ? std::string(name) : '|' + std::string(name) + '|';
}

std::string spell_string(std::string_view text) {
  std::string result = "\"";
  for (char c : text) {
    result += c;
    if (c == '"') result += c;
  }
  return result + '"';
}

char CommandReader::take() {
  const int c = in_->sbumpc();
  if (c == '\n') {
    ++here_.line;
    here_.column = 1;
  } else {
    ++here_.column;
  }
  return static_cast<char>(c);
}

void CommandReader::note_error(Position where, const std::string& text) {
  if (!error_) error_.emplace(where, text);
}

void CommandReader::skip_blanks() {
  for (;;) {
    if (is_blank(peek())) {
      take();
    } else if (peek() == ';') {
      while (peek() != '\n' && peek() != end_of_script) take();
    } else {
      return;
    }
  }
}

void CommandReader::read_string(Command& command, Position where) {
  const std::size_t begin = command.text.size();
  take();
  for (;;) {
    if (peek() == end_of_script) {
      note_error(where, "a string without its closing quote");
      break;
    }
    const char c = take();
    if (c == '"') {
      if (peek() != '"') break;
      take();
    }
    command.text += c;
  }
  command.tokens.push_back({Token::Kind::string, false, where, begin, command.text.size() - begin});
}

void CommandReader::read_quoted_symbol(Command& command, Position where) {
  const std::size_t begin = command.text.size();
  take();
  while (peek() != '|') {
    if (peek() == end_of_script) {
      note_error(where, "a symbol without its closing bar");
      break;
    }
    if (peek() == '\\' || peek() == '\0')
      note_error(here_, "a quoted symbol may not hold a backslash or null");
    command.text += take();
  }
  if (peek() == '|') take();
  command.tokens.push_back({Token::Kind::symbol, true, where, begin, command.text.size() - begin});
}

void CommandReader::read_word(Command& command, Position where) {
  const std::size_t begin = command.text.size();
  const bool is_keyword = peek() == ':';
  const bool is_bits = peek() == '#';
  if (is_keyword || is_bits) take();
  while (is_symbol_character(peek())) command.text += take();
  const std::string_view word = std::string_view(command.text).substr(begin);
  Token::Kind kind = Token::Kind::symbol;
  if (is_keyword || is_bits) {
    kind = is_keyword ? Token::Kind::keyword : Token::Kind::bits;
    if (word.empty()) note_error(where, is_keyword ? "a colon without a keyword" : "a '#' without digits");
  } else if (is_digit(static_cast<unsigned char>(word.front()))) {
    const std::size_t point = std::min(word.find('.'), word.size());
    const std::string_view whole = word.substr(0, point);
    const std::string_view fraction = point < word.size() ? word.substr(point + 1) : "0";
    const auto is_number = [](std::string_view digits) {
      return !digits.empty() && std::all_of(digits.begin(), digits.end(), is_digit);
    };
    if (!is_number(whole) || !is_number(fraction) || (whole.size() > 1 && whole.front() == '0'))
      note_error(where, "'" + std::string(word) + "' is neither a number nor a symbol");
    kind = point < word.size() ? Token::Kind::decimal : Token::Kind::numeral;
  }
  command.tokens.push_back({kind, false, where, begin, word.size()});
}

bool CommandReader::read_token(Command& command) {
  for (;;) {
    if (limits_ != nullptr) limits_->poll_now_and_then();
    skip_blanks();
    const int c = peek();
    if (c == end_of_script) {
      // A signal ends what waits for input by an end of the input.
      if (limits_ != nullptr) limits_->poll();
      return false;
    }
    const Position where = here_;
    if (c == '(' || c == ')') {
      take();
      const Token::Kind kind = c == '(' ? Token::Kind::open : Token::Kind::close;
      command.tokens.push_back({kind, false, where, command.text.size(), 0});
      return true;
    }
    if (c == '"') return read_string(command, where), true;
    if (c == '|') return read_quoted_symbol(command, where), true;
    if (c == ':' || c == '#' || is_symbol_character(c)) return read_word(command, where), true;
    note_error(where, "a character " + shown(c) + " where none such may stand");
    take();
  }
}

bool CommandReader::next(Command& command) {
  command.text.clear();
  command.tokens.clear();
  error_.reset();
  std::size_t depth = 0;
  do {
    if (!read_token(command)) {
      if (error_) throw ScriptError(*error_);
      if (depth == 0) return false;
      throw ScriptError(command.tokens.front().where, "the command is not closed before the script ends");
    }
    const Token& token = command.tokens.back();
    if (depth == 0 && token.kind != Token::Kind::open) {
      if (error_) throw ScriptError(*error_);
      throw ScriptError(token.where, token.kind == Token::Kind::close ? "a ')' that closes nothing"
                                                                      : "a command begins with '('");
    }
    if (token.kind == Token::Kind::open) ++depth;
    if (token.kind == Token::Kind::close) --depth;
  } while (depth > 0);
  if (error_) throw ScriptError(*error_);
  return true;
}

const Token& TokenCursor::take() {
  const Token& token = peek();
  if (next_ + 1 == command_.tokens.size()) throw ScriptError(token.where, "the command ends too early");
  ++next_;
  return token;
}

bool TokenCursor::at_symbol(std::string_view name) const {
  return peek().kind == Token::Kind::symbol && !peek().quoted && text_of(peek()) == name;
}

void TokenCursor::expect_open(const char* what) {
  if (peek().kind != Token::Kind::open) throw ScriptError(peek().where, std::string("expected ") + what);
  take();
}

void TokenCursor::expect_close(const char* what) {
  if (!at_close()) throw ScriptError(peek().where, std::string("expected ')' behind ") + what);
  if (next_ + 1 < command_.tokens.size()) ++next_;
}

std::string_view TokenCursor::take_text(Token::Kind kind, const char* what) {
  if (peek().kind != kind) throw ScriptError(peek().where, std::string("expected ") + what);
  return text_of(take());
}

std::string_view TokenCursor::take_name(const char* what) {
  const Token& token = peek();
  const std::string_view name = take_text(Token::Kind::symbol, what);
  if (!token.quoted && is_reserved_word(name))
    throw ScriptError(token.where, "'" + std::string(name) + "' is a reserved word");
  return name;
}

std::string TokenCursor::take_expression() {
  std::string result;
  std::size_t depth = 0;
  do {
    const Token& token = peek();
    if (token.kind == Token::Kind::close) {
      if (depth == 0) throw ScriptError(token.where, "expected an expression");
      --depth;
      result += ')';
      take();
      continue;
    }
    if (!result.empty() && result.back() != '(') result += ' ';
    switch (token.kind) {
      case Token::Kind::open:
        ++depth;
        result += '(';
        break;
      case Token::Kind::string: result += spell_string(text_of(token)); break;
      case Token::Kind::symbol:
        result += token.quoted ? '|' + std::string(text_of(token)) + '|' : std::string(text_of(token));
        break;
      case Token::Kind::keyword: result += ':' + std::string(text_of(token)); break;
      case Token::Kind::bits: result += '#' + std::string(text_of(token)); break;
      default: result += text_of(token);
    }
    take();
  } while (depth > 0);
  return result;
}

}  // namespace smtlib
