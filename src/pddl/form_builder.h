#pragma once

#include <cstdint>
#include <exception>
#include <string_view>
#include <vector>

#include "pddl/form.h"

namespace zorvel::pddl {

/// What the scanner of forms does: one function for each kind of word.
///
/// Lists need no grammar beside their parentheses, and a missing one is told apart by what stands at the
/// beginning of a line of thought: a section such as `(:action` can only begin directly inside of `(define`,
/// so one that begins deeper shows which form was left open, and both are read as if it had been closed.
class FormBuilder {
 public:
  FormBuilder(std::uint32_t file, SymbolTable& symbols, FormArena& arena, Messages& messages)
      : symbols_(symbols), arena_(arena), messages_(messages), next_{file, 1, 1} {}

  // Called by the scanner for every word, before the function of its kind.
  void begin_word(std::string_view text);
  void new_line();

  void open();
  void close();
  void add_word(FormKind kind, std::string_view text);
  void add_variable(std::string_view text);  ///< With its question mark.
  void add_number(std::string_view text);
  void unknown_character(std::string_view text);

  /// Runs `work` and keeps what it throws, for nothing may be thrown through generated code. False if it did.
  template <class Work>
  bool run(Work work) noexcept {
    try {
      work();
      return true;
    } catch (...) {
      failure_ = std::current_exception();
      return false;
    }
  }

  /// To be called at the end of the text.
  std::vector<const Form*> finish();

 private:
  struct OpenList {
    Place place;
    std::size_t first_item;  // in items_
  };

  void close_list();
  void close_forms_before_section();
  std::string describe(const OpenList& list) const;

  SymbolTable& symbols_;
  FormArena& arena_;
  Messages& messages_;
  Place next_, word_;               // places of the next word and of the one that is being read
  std::vector<const Form*> items_;  // of all open lists, and the finished forms before them
  std::vector<OpenList> open_;
  bool is_unbalanced_ = false;
  std::exception_ptr failure_;
};

}  // namespace zorvel::pddl
