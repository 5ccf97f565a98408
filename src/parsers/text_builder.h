#pragma once

#include <exception>
#include <string>

namespace zorvel {

/// What the builders behind the grammars have in common: the scanner's line and the first failure.
///
/// Nothing is thrown through the generated parsers, which hold their stacks in plain memory: `run` keeps the
/// first failure, for `rethrow`.
class TextBuilder {
 public:
  TextBuilder() = default;
  virtual ~TextBuilder() = default;
  TextBuilder(const TextBuilder&) = delete;
  TextBuilder& operator=(const TextBuilder&) = delete;

  /// Runs `work`, a part of a text that begins at `line`. False if it fails.
  template <class Work>
  bool run(int line, Work work) noexcept {
    try {
      work();
      return true;
    } catch (...) {
      keep_failure(line);
      return false;
    }
  }
  void syntax_error(const char* message) noexcept;  ///< The parser's own messages.
  void unknown_character(unsigned char character) noexcept;
  void rethrow() const;  ///< The first failure; nothing if there was none.
  int failing_line() const { return failing_line_; }
  /// ParserError with the text, " at line " and the scanner's line.
  [[noreturn]] void handle_error(const std::string& text) const;

  int line() const { return line_; }
  void next_line() { ++line_; }

 protected:
  /// The number by which messages call a line.
  virtual int shown_line(int line) const { return line; }

  int line_ = 1;  ///< Where the scanner is.

 private:
  void keep_failure(int line) noexcept;

  std::exception_ptr failure_;
  int failing_line_ = 0;
};

}  // namespace zorvel
