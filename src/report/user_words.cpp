#include "report/user_words.h"

#include <cctype>

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/problem_source.h"
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

using Names = std::unordered_map<std::string, std::string>;

/// Calls `use` with every word of the text, and with what stands between them.
template <class Use>
void for_each_word(const std::string& text, Use use) {
  for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end) {
    const auto belongs = [&](char c) { return is_word(c) || c == '-'; };
    const bool is_in_word = belongs(text[begin]);
    while (end < text.size() && belongs(text[end]) == is_in_word) ++end;
    use(text.substr(begin, end - begin));
  }
}

/// The text with the words that have another name in the table exchanged.
std::string with_names(const std::string& text, const Names& names) {
  if (names.empty()) return text;
  std::string result;
  for_each_word(text, [&](const std::string& word) {
    const auto found = names.find(word);
    result += found == names.end() || found->second.empty() ? word : found->second;
  });
  return result;
}

/// The first word that nobody wrote; empty if there is none.
std::string first_hidden_word(const std::string& text, const Names& names) {
  std::string result;
  for_each_word(text, [&](const std::string& word) {
    const auto found = names.find(word);
    if (result.empty() && found != names.end() && found->second.empty()) result = word;
  });
  return result;
}

}  // namespace

UserWords::UserWords(const model::ProblemInstanceImpl& problem) {
  for (const auto& [name, type] : problem.user_types()) add_members(*type, "_" + name + "_");
  if (problem.source() != nullptr) written_names_ = problem.source()->written_names;
}

// Flat names are made in this way unless such a name is taken, which is left as it is.
void UserWords::add_members(const model::TypeScope& type, const std::string& prefix) {
  for (const auto& [name, fluent] : type.fluents()) members_.emplace(prefix + name, name);
  for (const auto& [name, constant] : type.constants()) members_.emplace(prefix + name, name);
  for (const auto& [name, inner] : type.user_types()) add_members(*inner, prefix + name + "_");
}

const std::string& UserWords::declared_name(const std::string& flat_name) const {
  if (const auto member = members_.find(flat_name); member != members_.end()) return member->second;
  const auto written = written_names_.find(flat_name);
  return written == written_names_.end() || written->second.empty() ? flat_name : written->second;
}

std::string UserWords::text(const Node* expression) const { return in_words(model::to_anml(expression)); }

std::string UserWords::message(std::string text) const {
  // The conditions that a reader adds are whole ones: "Condition X is violated! (time 3, step 1: go(a) [2])".
  const std::size_t context = text.rfind(" (time ");
  if (context == std::string::npos) return in_words(std::move(text));
  const std::string hidden = first_hidden_word(text.substr(0, context), written_names_);
  if (!hidden.empty()) {
    const std::size_t statement = text.find(", statement ", context);
    text = (hidden.starts_with("__open") ? "The action overlaps with itself"
                                         : "A constraint of the problem is violated") +
           (statement == std::string::npos ? text.substr(context)
                                           : text.substr(context, statement - context) + ")");
  }
  return in_words(std::move(text));
}

std::string UserWords::in_words(std::string text) const {
  text = with_names(text, written_names_);
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
