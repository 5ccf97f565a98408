#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "smtlib/command_reader.h"
#include "smtlib/symbol_table.h"
#include "smtlib/term_maker.h"

namespace smtlib {

/// Makes terms and sorts of the tokens of a command. Has a stack of its own: terms may be as deep as memory
/// allows. What is wrong is a ScriptError at the symbol at fault.
class TermBuilder {
 public:
  TermBuilder(const TermMaker& maker, SymbolTable& symbols, SortTable& sorts, RunLimits& limits)
      : maker_(maker), symbols_(symbols), sorts_(sorts), limits_(limits) {}

  TypedTerm read_term(TokenCursor& cursor);
  /// The name that an annotation around the whole of the last term gave it; "" for none.
  std::string_view name_of_last() const { return name_of_last_; }
  /// A term that is Boolean.
  vesk_term read_formula(TokenCursor& cursor);
  vesk_type read_sort(TokenCursor& cursor);

  /// While terms are read, `name` is `value`; it hides what the symbol table says.
  void bind(std::string_view name, TypedTerm value);
  void unbind_all() { bound_.shrink(0); }

  /// ScriptError if a declaration may not give the name a meaning.
  void require_new_name(std::string_view name, Position where) const;

 private:
  struct Frame {
    enum class Kind { application, divisible, let_bindings, binding, let_body, annotation };
    Kind kind;
    const Token* head;        // the function, its index, or the word that began the expression
    std::size_t first_value;  // in values_: of the arguments, or of the bound terms
    std::size_t mark;  // of a let: size of bound_names_ before its bindings, or of bound_ before its body
  };

  void begin_term(TokenCursor& cursor);
  void begin_compound(TokenCursor& cursor);
  void step(TokenCursor& cursor);
  bool step_let_bindings(TokenCursor& cursor, Frame& frame);
  bool begin_indexed(TokenCursor& cursor);
  void finish_annotation(TokenCursor& cursor, const Frame& frame);
  TypedTerm apply(const TokenCursor& cursor, const Token& head, std::span<const TypedTerm> args) const;
  TypedTerm apply_divisible(const TokenCursor& cursor, const Token& divisor,
                            std::span<const TypedTerm> args) const;
  bool is_complete(const Frame& frame) const { return values_.size() > frame.first_value; }

  const TermMaker& maker_;
  SymbolTable& symbols_;
  SortTable& sorts_;
  RunLimits& limits_;
  SymbolTable bound_;  // by `let`, and the parameters of a definition being read
  std::vector<Frame> frames_;
  std::vector<TypedTerm> values_;
  std::string_view name_of_last_;
  std::vector<std::string_view> bound_names_;  // of lets whose bindings are being read
};

}  // namespace smtlib
