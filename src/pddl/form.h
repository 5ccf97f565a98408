#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "pddl/messages.h"

namespace zorvel::pddl {

/// A word of the texts without regard to case: words that differ in case alone are one symbol.
struct Symbol {
  std::string text;  ///< In lower case.
};

/// Owner of all symbols of a reading.
class SymbolTable {
 public:
  const Symbol* find_or_make(std::string_view word);

 private:
  std::unordered_map<std::string, std::unique_ptr<Symbol>> symbols_;
  std::string lower_;  // scratch
};

enum class FormKind : std::uint8_t {
  list,
  name,      ///< Also an operator such as `<=`, and `#t`.
  variable,  ///< `?x`; the symbol is that of `x`.
  keyword,   ///< `:action`, with its colon.
  number
};

/// The syntax of PDDL before anything is known of its words: a word, or a list of forms in parentheses.
struct Form {
  FormKind kind = FormKind::list;
  Place place;
  const Symbol* symbol = nullptr;      ///< Of a name, a variable or a keyword.
  std::string_view text;               ///< Of a word, as it was written.
  std::span<const Form* const> items;  ///< Of a list.

  bool is_list() const { return kind == FormKind::list; }
  bool is_name(std::string_view lower) const { return kind == FormKind::name && symbol->text == lower; }
  bool is_keyword(std::string_view lower) const { return kind == FormKind::keyword && symbol->text == lower; }
  /// Whether the form is a list that begins with this name.
  bool is_call(std::string_view lower) const {
    return is_list() && !items.empty() && items[0]->is_name(lower);
  }
};

/// Owner of forms. They refer to the text that they were read from.
class FormArena {
 public:
  const Form* add(Form form) { return &forms_.emplace_back(std::move(form)); }
  std::span<const Form* const> add_list(std::span<const Form* const> items);

 private:
  std::deque<Form> forms_;
  std::vector<std::unique_ptr<const Form*[]>> chunks_;
  std::size_t free_ = 0;  // entries left in the last chunk
  const Form** next_ = nullptr;
};

/// The forms of a text of which nothing else is known, in their order. `text` has to outlive them and is
/// changed only while it is read. What is wrong with it is noted in `messages`; the forms are then those that
/// could be made out.
std::vector<const Form*> read_forms(std::string& text, std::uint32_t file, SymbolTable& symbols,
                                    FormArena& arena, Messages& messages);

}  // namespace zorvel::pddl
