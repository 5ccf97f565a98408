#include "smtlib/model_printer.h"

#include <map>
#include <ostream>
#include <vector>

#include "smtlib/command_reader.h"

namespace smtlib {
namespace {

std::string taken(char* text) {
  std::string copy = text == nullptr ? "" : text;
  vesk_free(text);
  return copy;
}

std::string number_text(std::string text, bool is_real) {
  const bool is_negative = text.starts_with('-');
  if (is_negative) text.erase(0, 1);
  const std::size_t slash = text.find('/');
  const std::string point = is_real ? ".0" : "";
  if (slash == std::string::npos)
    text += point;
  else
    text = "(/ " + text.substr(0, slash) + point + ' ' + text.substr(slash + 1) + point + ')';
  return is_negative ? "(- " + text + ')' : text;
}

struct Entry {
  vesk_term application, value;
};

/// The applications to values that the model speaks of, by the function's name.
std::map<std::string, std::vector<Entry>> function_tables(vesk_env env) {
  std::map<std::string, std::vector<Entry>> tables;
  const vesk_model_iterator iterator = vesk_create_model_iterator(env);
  Entry entry;
  while (vesk_model_iterator_has_next(iterator) != 0 &&
         vesk_model_iterator_next(iterator, &entry.application, &entry.value) == 0)
    if (vesk_term_arity(entry.application) > 0)
      tables[taken(vesk_decl_get_name(vesk_term_get_decl(entry.application)))].push_back(entry);
  vesk_destroy_model_iterator(iterator);
  return tables;
}

/// What a model says of places that nothing constrains.
std::string default_text(const TermMaker& maker, vesk_type type) {
  const vesk_decl anything = maker.declare("|default|" + maker.sort_text(type), type);
  const vesk_term value = vesk_get_model_value(maker.env(), vesk_make_constant(maker.env(), anything));
  return value_text(maker, value, type);
}

void print_function(const TermMaker& maker, const Symbol& symbol, const std::vector<Entry>& entries,
                    std::ostream& out) {
  std::string closing;
  for (const Entry& entry : entries) {
    out << "(ite ";
    const bool is_unary = symbol.params.size() == 1;
    if (!is_unary) out << "(and";
    for (std::size_t i = 0; i < symbol.params.size(); ++i)
      out << (is_unary ? "" : " ") << "(= x!" << i + 1 << ' '
          << value_text(maker, vesk_term_get_arg(entry.application, i), symbol.params[i]) << ')';
    out << (is_unary ? " " : ") ") << value_text(maker, entry.value, symbol.result) << ' ';
    closing += ')';
  }
  out << default_text(maker, symbol.result) << closing;
}

}  // namespace

std::string value_text(const TermMaker& maker, vesk_term value, vesk_type type) {
  const vesk_env env = maker.env();
  if (vesk_term_is_true(env, value) != 0) return "true";
  if (vesk_term_is_false(env, value) != 0) return "false";
  if (vesk_term_is_number(env, value) != 0)
    return number_text(taken(vesk_term_to_number(env, value)), vesk_is_rational_type(env, type) != 0);
  // The solver's name of an element begins with a dot.
  const std::string name = taken(vesk_term_repr(value));
  return "(as " + spell_symbol('@' + name.substr(name.find_first_not_of('.'))) + ' ' + maker.sort_text(type) +
         ')';
}

void print_model(const TermMaker& maker, const SymbolTable& symbols, std::ostream& out) {
  const auto tables = function_tables(maker.env());
  const std::vector<Entry> no_entries;
  out << "(\n";
  for (std::size_t i = 0; i < symbols.size(); ++i) {
    const Symbol& symbol = *symbols.find(symbols.name(i));
    if (symbol.kind != Symbol::Kind::declared) continue;
    out << "  (define-fun " << spell_symbol(symbols.name(i)) << " (";
    for (std::size_t k = 0; k < symbol.params.size(); ++k)
      out << (k == 0 ? "" : " ") << "(x!" << k + 1 << ' ' << maker.sort_text(symbol.params[k]) << ')';
    out << ") " << maker.sort_text(symbol.result) << ' ';
    if (symbol.params.empty()) {
      out << value_text(maker, vesk_get_model_value(maker.env(), symbol.term), symbol.result);
    } else {
      const auto table = tables.find(taken(vesk_decl_get_name(symbol.decl)));
      print_function(maker, symbol, table == tables.end() ? no_entries : table->second, out);
    }
    out << ")\n";
  }
  out << ")\n";
}

}  // namespace smtlib
