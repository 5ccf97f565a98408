#include "pddl/messages.h"

#include <algorithm>

#include "core/errors.h"

namespace zorvel::pddl {

void Messages::error(const Place& place, std::string_view text) {
  std::string line = place_text(place) + ": " + std::string(text);
  if (std::find(errors_.begin(), errors_.end(), line) != errors_.end()) return;
  if (errors_.empty()) first_error_place_ = place;
  errors_.push_back(std::move(line));
  if (errors_.size() == max_errors) raise_errors();
}

void Messages::warn(const Place& place, std::string_view text) {
  warnings_.push_back(place_text(place) + ": " + std::string(text));
}

void Messages::raise_errors() const {
  if (errors_.empty()) return;
  std::string text;
  for (const std::string& error : errors_) text += (text.empty() ? "" : "\n") + error;
  throw ParserError(text);
}

void Messages::publish_warnings(Environment& env) const {
  for (const std::string& warning : warnings_) env.warning_manager().warn(warning);
}

std::string Messages::place_text(const Place& place) const {
  return files_.at(place.file) + ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
}

std::string quoted(std::string_view text) {
  constexpr std::size_t longest = 80;
  if (text.size() <= longest) return "'" + std::string(text) + "'";
  std::size_t end = longest;
  // A character of several bytes is not cut in two: its later bytes begin with the bits 10.
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return "'" + std::string(text.substr(0, end)) + "...'";
}

}  // namespace zorvel::pddl
