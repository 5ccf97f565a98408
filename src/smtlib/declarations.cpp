#include "smtlib/declarations.h"

#include <algorithm>
#include <array>

namespace smtlib {

Declarations::Declarations(const TermMaker& maker, TermBuilder& builder, SymbolTable& symbols,
                           SortTable& sorts)
    : maker_(maker), builder_(builder), symbols_(symbols), sorts_(sorts) {
  sorts_.add("Bool", maker_.bool_type());
  sorts_.add("Real", maker_.real_type());
  sorts_.add("Int", maker_.int_type());
}

Declarations::Handler Declarations::find_handler(std::string_view command) {
  using D = Declarations;
  struct Row {
    std::string_view command;
    Handler handler;
  };
  static constexpr std::array<Row, 7> table{{{"declare-const", &D::declare_const},
                                             {"declare-fun", &D::declare_fun},
                                             {"declare-sort", &D::declare_sort},
                                             {"define-const", &D::define_const},
                                             {"define-fun", &D::define_fun},
                                             {"define-fun-rec", &D::define_fun_rec},
                                             {"define-sort", &D::define_sort}}};
  const auto found =
      std::find_if(table.begin(), table.end(), [&](const Row& row) { return row.command == command; });
  return found == table.end() ? nullptr : found->handler;
}

void Declarations::declare(std::string_view name, std::vector<vesk_type> params, vesk_type result) {
  Symbol symbol{Symbol::Kind::declared, std::move(params), result};
  if (symbol.params.empty()) {
    symbol.decl = maker_.declare(name, result);
    symbol.term = vesk_make_constant(maker_.env(), symbol.decl);
  } else {
    const vesk_type type =
        vesk_get_function_type(maker_.env(), symbol.params.data(), symbol.params.size(), result);
    symbol.decl = maker_.declare(name, type);
  }
  symbols_.add(name, std::move(symbol));
}

void Declarations::declare_const(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a constant");
  builder_.require_new_name(name, where);
  const vesk_type sort = builder_.read_sort(cursor);
  cursor.expect_close("the sort");
  declare(name, {}, sort);
}

void Declarations::declare_fun(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a function");
  builder_.require_new_name(name, where);
  cursor.expect_open("'(' and the sorts of the parameters");
  std::vector<vesk_type> params;
  while (!cursor.at_close()) params.push_back(builder_.read_sort(cursor));
  cursor.expect_close("the sorts of the parameters");
  const vesk_type result = builder_.read_sort(cursor);
  cursor.expect_close("the sort");
  declare(name, std::move(params), result);
}

void Declarations::declare_sort(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a sort");
  if (sorts_.find(name) != nullptr)
    throw ScriptError(where, "the sort '" + std::string(name) + "' is declared already");
  const Position arity_where = cursor.peek().where;
  if (!cursor.at_close() && cursor.take_text(Token::Kind::numeral, "a number of parameters") != "0")
    throw ScriptError(arity_where, "sorts with parameters are not supported");
  cursor.expect_close("the number of parameters");
  sorts_.add(name, maker_.simple_type(name));
}

void Declarations::define_sort(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a sort");
  if (sorts_.find(name) != nullptr)
    throw ScriptError(where, "the sort '" + std::string(name) + "' is declared already");
  cursor.expect_open("'()'");
  if (!cursor.at_close()) throw ScriptError(cursor.peek().where, "sorts with parameters are not supported");
  cursor.expect_close("the parameters");
  const vesk_type sort = builder_.read_sort(cursor);
  cursor.expect_close("the sort");
  sorts_.add(name, sort);
}

// Binds each parameter to the constant that stands for it in the body.
std::vector<vesk_term> Declarations::read_parameters(TokenCursor& cursor, std::vector<vesk_type>& types) {
  std::vector<vesk_term> formals;
  cursor.expect_open("'(' and the parameters");
  while (!cursor.at_close()) {
    cursor.expect_open("'(' and a parameter");
    const std::string_view name = cursor.take_name("the name of a parameter");
    types.push_back(builder_.read_sort(cursor));
    cursor.expect_close("the sort of the parameter");
    const std::string stand_in = "|parameter|" + std::to_string(types.size());
    formals.push_back(vesk_make_constant(maker_.env(), maker_.declare(stand_in, types.back())));
    builder_.bind(name, {formals.back(), types.back()});
  }
  cursor.expect_close("the parameters");
  return formals;
}

void Declarations::define_const(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a constant");
  builder_.require_new_name(name, where);
  const vesk_type sort = builder_.read_sort(cursor);
  symbols_.add(name, {Symbol::Kind::defined, {}, sort, {}, read_body(cursor, sort)});
}

// A body of the sort `expected`, and the end of the command.
vesk_term Declarations::read_body(TokenCursor& cursor, vesk_type expected) {
  const Position where = cursor.peek().where;
  const TypedTerm body = builder_.read_term(cursor);
  builder_.unbind_all();
  if (!maker_.fits(body.type, expected))
    throw ScriptError(where, "a body of sort " + maker_.sort_text(body.type) + " where " +
                                 maker_.sort_text(expected) + " is expected");
  cursor.expect_close("the body");
  return body.term;
}

void Declarations::define_fun_rec(TokenCursor& cursor) {
  const std::string name(cursor.text_of(cursor.peek()));
  try {
    define_fun(cursor);
  } catch (const ScriptError& error) {
    // While a function is read it has no meaning yet: the one name that only a recursion can hold.
    if (error.what() != "unknown symbol '" + name + "'") throw;
    throw ScriptError(error.where(), "the definition of '" + name + "' is recursive, which is not supported");
  }
}

void Declarations::define_fun(TokenCursor& cursor) {
  const Position where = cursor.peek().where;
  const std::string_view name = cursor.take_name("the name of a function");
  builder_.require_new_name(name, where);
  Symbol symbol{Symbol::Kind::defined, {}, {}};
  symbol.formals = read_parameters(cursor, symbol.params);
  symbol.result = builder_.read_sort(cursor);
  symbol.term = read_body(cursor, symbol.result);
  symbols_.add(name, std::move(symbol));
}

}  // namespace smtlib
