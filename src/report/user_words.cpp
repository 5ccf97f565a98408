#include "report/user_words.h"

#include <cctype>

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/user_type.h"

namespace zorvel::report {

namespace {

/// The end of the argument that begins at `begin`: a comma or a parenthesis outside of all others.
std::size_t end_of_argument(const std::string& text, std::size_t begin) {
  int depth = 0;
  std::size_t end = begin;
  for (; end < text.size(); ++end) {
    const char c = text[end];
    if (depth == 0 && (c == ',' || c == ')')) break;
    depth += c == '(' ? 1 : c == ')' ? -1 : 0;
  }
  return end;
}

bool is_word(char c) { return c == '_' || std::isalnum(static_cast<unsigned char>(c)) != 0; }

}  // namespace

UserWords::UserWords(const model::ProblemInstanceImpl& problem) {
  for (const auto& [name, type] : problem.user_types()) add_members(*type, "_" + name + "_");
}

// Flat names are made in this way unless such a name is taken, which is left as it is.
void UserWords::add_members(const model::TypeScope& type, const std::string& prefix) {
  for (const auto& [name, fluent] : type.fluents()) members_.emplace(prefix + name, name);
  for (const auto& [name, constant] : type.constants()) members_.emplace(prefix + name, name);
  for (const auto& [name, inner] : type.user_types()) add_members(*inner, prefix + name + "_");
}

const std::string& UserWords::declared_name(const std::string& flat_name) const {
  const auto member = members_.find(flat_name);
  return member == members_.end() ? flat_name : member->second;
}

std::string UserWords::text(const Node* expression) const {
  std::string text = model::to_anml(expression);
  for (const auto& [flat, name] : members_)
    for (std::size_t at = text.find(flat + '('); at != std::string::npos;
         at = text.find(flat + '(', at + 1)) {
      if (at > 0 && is_word(text[at - 1])) continue;
      const std::size_t begin = at + flat.size() + 1;
      const std::size_t end = end_of_argument(text, begin);
      if (end >= text.size()) break;
      // `flat(object, more)` is `object.name(more)`, and `flat(object)` is `object.name`.
      const std::string object = text.substr(begin, end - begin);
      const bool is_alone = text[end] == ')';
      text.replace(at, end - at + (is_alone ? 1 : 2), object + '.' + name + (is_alone ? "" : "("));
    }
  return text;
}

}  // namespace zorvel::report
