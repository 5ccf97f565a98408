#pragma once

#include <string>
#include <string_view>

namespace zorvel {

/// Which characters, beside ASCII letters and behind the first one digits, the names of a language have.
struct WordForm {
  std::string_view also_first;
  std::string_view also_later;
};

bool is_word(std::string_view name, const WordForm& form);
/// The name with underscores for what cannot stand in it, one for each character of UTF-8, and with something
/// in front of a first character that can only come later. Not empty.
std::string to_word(std::string_view name, const WordForm& form);

}  // namespace zorvel
