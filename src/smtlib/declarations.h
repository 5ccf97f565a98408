#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "smtlib/command_reader.h"
#include "smtlib/symbol_table.h"
#include "smtlib/term_builder.h"
#include "smtlib/term_maker.h"

namespace smtlib {

/// The commands that give names a meaning: `declare-...` and `define-...`.
class Declarations {
 public:
  static constexpr std::size_t num_own_sorts = 3;

  /// Puts the three sorts that every script knows into `sorts`. All arguments outlive this object.
  Declarations(const TermMaker& maker, TermBuilder& builder, SymbolTable& symbols, SortTable& sorts);

  static bool is_command(std::string_view name) { return find_handler(name) != nullptr; }
  /// Does the command, of which the cursor has passed the name; ScriptError or TermFault for what is wrong.
  void run(std::string_view command, TokenCursor& cursor) { (this->*find_handler(command))(cursor); }

 private:
  using Handler = void (Declarations::*)(TokenCursor&);
  static Handler find_handler(std::string_view command);

  // A command reads all its arguments before it does anything.
  void declare_const(TokenCursor& cursor);
  void declare_fun(TokenCursor& cursor);
  void declare_sort(TokenCursor& cursor);
  void define_const(TokenCursor& cursor);
  void define_fun(TokenCursor& cursor);
  void define_fun_rec(TokenCursor& cursor);
  void define_sort(TokenCursor& cursor);
  void declare(std::string_view name, std::vector<vesk_type> params, vesk_type result);
  std::vector<vesk_term> read_parameters(TokenCursor& cursor, std::vector<vesk_type>& types);
  vesk_term read_body(TokenCursor& cursor, vesk_type expected);

  const TermMaker& maker_;
  TermBuilder& builder_;
  SymbolTable& symbols_;
  SortTable& sorts_;
};

}  // namespace smtlib
