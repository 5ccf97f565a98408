#include "report/markup.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace zorvel::report {

namespace {

constexpr unsigned decimals_of_times = 4;
constexpr std::string_view replacement = "\xEF\xBF\xBD";

bool is_continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

/// The bytes of the character at the beginning of the text, which is not empty; 0 if it is no UTF-8.
std::size_t character_size(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) return 1;
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < size) return 0;
  std::uint32_t code = first & (0x7FU >> size);
  for (std::size_t i = 1; i < size; ++i) {
    if (!is_continuation(text[i])) return 0;
    code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  // Too long a form, half of a pair, or more than there is.
  constexpr std::array<std::uint32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
  return code < least[size] || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF ? 0 : size;
}

bool is_control(char c) {
  const auto code = static_cast<unsigned char>(c);
  return (code < 0x20 && c != '\n' && c != '\t') || code == 0x7F;
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t size = character_size(text);
    const char c = text.front();
    if (size == 0 || (size == 1 && is_control(c)))
      result += replacement;
    else if (c == '&')
      result += "&amp;";
    else if (c == '<')
      result += "&lt;";
    else if (c == '>')
      result += "&gt;";
    else if (c == '"')
      result += "&quot;";
    else if (c == '\'')
      result += "&#39;";
    else
      result += text.substr(0, size);
    text.remove_prefix(size == 0 ? 1 : size);
  }
  return result;
}

std::size_t length_of(std::string_view text) {
  std::size_t length = 0;
  for (const char c : text) length += is_continuation(c) ? 0 : 1;
  return length;
}

std::string shortened(std::string_view text, std::size_t length) {
  if (length_of(text) <= length) return std::string(text);
  if (length < 2) return {};
  std::size_t end = 0;
  for (std::size_t left = length - 1; end < text.size(); ++end)
    if (!is_continuation(text[end]) && left-- == 0) break;
  return std::string(text.substr(0, end)) + "…";
}

std::string time_text(const rational& time) { return short_decimal_text(time, decimals_of_times); }

std::string coordinate(double value) {
  std::array<char, 32> text{};
  const double rounded = std::round(value * 100) / 100;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), rounded + 0.0);
  return {text.data(), end.ptr};
}

}  // namespace zorvel::report
