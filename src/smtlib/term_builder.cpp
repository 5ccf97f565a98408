#include "smtlib/term_builder.h"

#include <cassert>

namespace smtlib {

void TermBuilder::bind(std::string_view name, TypedTerm value) {
  bound_.add(name, {Symbol::Kind::bound, {}, value.type, {}, value.term});
}

void TermBuilder::require_new_name(std::string_view name, Position where) const {
  if (TermMaker::is_operator(name))
    throw ScriptError(where, "'" + std::string(name) + "' is a symbol of the theories");
  if (symbols_.find(name) != nullptr)
    throw ScriptError(where, "'" + std::string(name) + "' is declared already");
}

TypedTerm TermBuilder::read_term(TokenCursor& cursor) {
  frames_.clear();
  values_.clear();
  bound_names_.clear();
  name_of_last_ = {};
  const std::size_t mark = bound_.size();
  try {
    begin_term(cursor);
    while (!frames_.empty()) {
      limits_.poll_now_and_then();
      step(cursor);
    }
  } catch (...) {
    bound_.shrink(mark);
    throw;
  }
  assert(values_.size() == 1 && bound_.size() == mark);
  return values_.back();
}

vesk_term TermBuilder::read_formula(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const TypedTerm read = read_term(cursor);
  if (!maker_.fits(read.type, maker_.bool_type()))
    throw ScriptError(where,
                      "a term of sort " + maker_.sort_text(read.type) + " where a formula is expected");
  return read.term;
}

vesk_type TermBuilder::read_sort(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  if (cursor.peek().kind == Token::Kind::open)
    throw ScriptError(where, "sorts with parameters are not supported");
  const std::string_view name = cursor.take_name("a sort");
  if (const vesk_type* sort = sorts_.find(name)) return *sort;
  throw ScriptError(where, "unknown sort '" + std::string(name) + "'");
}

void TermBuilder::begin_term(TokenCursor& cursor) {
  if (cursor.at_close()) throw ScriptError(cursor.peek().where, "expected a term");
  const Token& token = cursor.take();
  switch (token.kind) {
    case Token::Kind::numeral: values_.push_back(maker_.numeral(cursor.text_of(token))); return;
    case Token::Kind::decimal: values_.push_back(maker_.decimal(cursor.text_of(token))); return;
    case Token::Kind::symbol: values_.push_back(apply(cursor, token, {})); return;
    case Token::Kind::open: begin_compound(cursor); return;
    case Token::Kind::close: break;
    case Token::Kind::keyword: throw ScriptError(token.where, "a keyword where a term is expected");
    case Token::Kind::string: throw ScriptError(token.where, "strings are not supported in terms");
    case Token::Kind::bits: throw ScriptError(token.where, "bit vectors are not supported");
  }
}

void TermBuilder::begin_compound(TokenCursor& cursor) {
  const bool is_let = cursor.at_symbol("let"), is_annotation = cursor.at_symbol("!");
  for (const char* word : {"forall", "exists", "match", "_", "as"})
    if (cursor.at_symbol(word))
      throw ScriptError(cursor.peek().where, "'" + std::string(word) + "' is not supported");
  const Token& head = cursor.peek();
  if (head.kind == Token::Kind::open) {
    if (begin_indexed(cursor)) return;
    throw ScriptError(head.where, "a function is a symbol or '(_ divisible N)'; others are not supported");
  }
  if (is_let || is_annotation)
    cursor.take();
  else
    cursor.take_name("a function");
  if (is_let) cursor.expect_open("'(' and the bindings of 'let'");
  const Frame::Kind kind = is_let          ? Frame::Kind::let_bindings
                           : is_annotation ? Frame::Kind::annotation
                                           : Frame::Kind::application;
  frames_.push_back({kind, &head, values_.size(), bound_names_.size()});
}

// Of the functions with indices there is one: `((_ divisible 3) x)`. False: it is another.
bool TermBuilder::begin_indexed(TokenCursor& cursor) {
  TokenCursor ahead(cursor);
  ahead.take();
  if (!ahead.at_symbol("_")) return false;
  ahead.take();
  if (!ahead.at_symbol("divisible")) return false;
  ahead.take();
  const Token& divisor = ahead.peek();
  const std::string_view digits = ahead.take_text(Token::Kind::numeral, "the number that divides");
  if (digits == "0") throw ScriptError(divisor.where, "'divisible' takes a number that is not 0");
  ahead.expect_close("the number that divides");
  cursor.move_to(ahead);
  frames_.push_back({Frame::Kind::divisible, &divisor, values_.size(), bound_names_.size()});
  return true;
}

void TermBuilder::step(TokenCursor& cursor) {
  Frame& frame = frames_.back();
  switch (frame.kind) {
    case Frame::Kind::divisible:
    case Frame::Kind::application: {
      if (!cursor.at_close()) return begin_term(cursor);
      if (!is_complete(frame)) throw ScriptError(cursor.peek().where, "an application without an argument");
      const auto args = std::span<const TypedTerm>(values_).subspan(frame.first_value);
      const TypedTerm result = frame.kind == Frame::Kind::divisible
                                   ? apply_divisible(cursor, *frame.head, args)
                                   : apply(cursor, *frame.head, args);
      values_.resize(frame.first_value);
      values_.push_back(result);
      cursor.expect_close("the arguments");
      break;
    }
    case Frame::Kind::let_bindings:
      if (step_let_bindings(cursor, frame)) return;
      return begin_term(cursor);
    case Frame::Kind::binding: cursor.expect_close("the bound term"); break;
    case Frame::Kind::let_body:
      if (!is_complete(frame)) return begin_term(cursor);
      cursor.expect_close("the body of 'let'");
      bound_.shrink(frame.mark);
      break;
    case Frame::Kind::annotation:
      if (!is_complete(frame)) return begin_term(cursor);
      finish_annotation(cursor, frame);
      break;
  }
  frames_.pop_back();
}

// At the end of the bindings turns the frame into that of the body and gives true; else begins a binding,
// of which the term is left to be read.
bool TermBuilder::step_let_bindings(TokenCursor& cursor, Frame& frame) {
  if (!cursor.at_close()) {
    cursor.expect_open("'(' and a binding");
    bound_names_.push_back(cursor.take_name("the name that 'let' binds"));
    frames_.push_back({Frame::Kind::binding, frame.head, values_.size(), 0});
    return false;
  }
  cursor.expect_close("the bindings");
  const std::size_t mark = bound_.size();
  for (std::size_t i = 0; frame.first_value + i < values_.size(); ++i)
    bind(bound_names_[frame.mark + i], values_[frame.first_value + i]);
  values_.resize(frame.first_value);
  bound_names_.resize(frame.mark);
  frame.kind = Frame::Kind::let_body;
  frame.mark = mark;
  return true;
}

void TermBuilder::finish_annotation(TokenCursor& cursor, const Frame& frame) {
  while (!cursor.at_close()) {
    const bool is_name = cursor.text_of(cursor.peek()) == "named";
    cursor.take_text(Token::Kind::keyword, "an attribute");
    if (is_name) {
      const Position where = cursor.peek().where;
      const std::string_view name = cursor.take_name("a name");
      require_new_name(name, where);
      const TypedTerm& value = values_[frame.first_value];
      symbols_.add(name, {Symbol::Kind::named, {}, value.type, {}, value.term});
      if (frames_.size() == 1) name_of_last_ = name;
    } else if (!cursor.at_close() && cursor.peek().kind != Token::Kind::keyword) {
      cursor.take_expression();
    }
  }
  cursor.expect_close("the attributes");
}

TypedTerm TermBuilder::apply_divisible(const TokenCursor& cursor, const Token& divisor,
                                       std::span<const TypedTerm> args) const {
  try {
    return maker_.divisible(cursor.text_of(divisor), args);
  } catch (const TermFault& fault) {
    throw ScriptError(divisor.where, fault.what());
  }
}

TypedTerm TermBuilder::apply(const TokenCursor& cursor, const Token& head,
                             std::span<const TypedTerm> args) const {
  const std::string_view name = cursor.text_of(head);
  if (!head.quoted && is_reserved_word(name))
    throw ScriptError(head.where, "'" + std::string(name) + "' is a reserved word");
  const Symbol* symbol = bound_.find(name);
  if (symbol == nullptr) symbol = symbols_.find(name);
  try {
    if (symbol != nullptr) return maker_.apply(name, *symbol, args);
    if (TermMaker::is_operator(name)) return maker_.apply_operator(name, args);
    // Not in the standard, but scripts hold it: -5 is the number, unless it was declared.
    if (!head.quoted && args.empty() && TermMaker::is_negative_number(name))
      return maker_.negative_number(name);
    if (const std::optional<Symbol> outer = maker_.symbol_of_environment(name))
      return maker_.apply(name, *outer, args);
  } catch (const TermFault& fault) {
    throw ScriptError(head.where, fault.what());
  }
  throw ScriptError(head.where, "unknown symbol '" + std::string(name) + "'");
}

}  // namespace smtlib
