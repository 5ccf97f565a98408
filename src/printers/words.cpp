#include "printers/words.h"

#include <algorithm>
#include <cassert>

namespace zorvel {

namespace {

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool may_begin(char c, const WordForm& form) {
  return is_letter(c) || form.also_first.find(c) != std::string_view::npos;
}
bool may_follow(char c, const WordForm& form) {
  return is_letter(c) || is_digit(c) || form.also_later.find(c) != std::string_view::npos;
}

/// The bytes of a character of UTF-8 behind the first one.
bool is_continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

}  // namespace

bool is_word(std::string_view name, const WordForm& form) {
  return !name.empty() && may_begin(name.front(), form) &&
         std::ranges::all_of(name, [&](char c) { return may_follow(c, form); });
}

std::string to_word(std::string_view name, const WordForm& form) {
  assert(may_follow('_', form));
  std::string word;
  for (const char c : name)
    if (!is_continuation(c)) word += may_follow(c, form) ? c : '_';
  if (word.empty() || !may_begin(word.front(), form)) word.insert(0, may_begin('_', form) ? "_" : "x");
  return word;
}

}  // namespace zorvel
