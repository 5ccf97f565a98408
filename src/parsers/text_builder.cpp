#include "parsers/text_builder.h"

#include "core/errors.h"

namespace zorvel {

void TextBuilder::keep_failure(int line) noexcept {
  if (failure_) return;
  failure_ = std::current_exception();
  failing_line_ = line;
  try {
    throw;
  } catch (const ParserError&) {
    failing_line_ = line_;  // as its text says
  } catch (...) {}
}

void TextBuilder::handle_error(const std::string& text) const {
  throw ParserError(text + " at line " + std::to_string(shown_line(line_)));
}

void TextBuilder::syntax_error(const char* message) noexcept {
  run(line_, [&] { handle_error(message); });
}

void TextBuilder::unknown_character(unsigned char character) noexcept {
  run(line_, [&] {
    std::string shown(1, static_cast<char>(character));
    if (character < 0x20 || character == 0x7f) {
      const char* digits = "0123456789abcdef";
      shown = std::string("\\x") + digits[character / 16] + digits[character % 16];
    }
    throw ParserError("Unknown character '" + shown + "' at line" + std::to_string(shown_line(line_)));
  });
}

void TextBuilder::rethrow() const {
  if (failure_) std::rethrow_exception(failure_);
}

}  // namespace zorvel
