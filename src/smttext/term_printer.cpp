#include "smttext/term_printer.h"

#include <algorithm>
#include <string_view>

#include "smtlib/command_reader.h"
#include "smtlib/term_maker.h"
#include "solver/term/visit.h"
#include "solver/util/exception.h"

namespace smttext {
namespace {

using vesk::StampMap;
using vesk::StampSet;
using vesk::Symbol;
using vesk::Tag;
using vesk::Term;
using vesk::Type;

class TextError : public vesk::Exception {
 public:
  using Exception::Exception;
};

std::string spell(std::string_view name, const char* what) {
  if (name.find_first_of("|\\") != std::string_view::npos || smtlib::TermMaker::is_operator(name))
    throw TextError("SMT-LIB has no text for a " + std::string(what) + " of the name " + std::string(name));
  return smtlib::spell_symbol(name);
}

std::string spell(const Symbol* symbol) { return spell(symbol->name(), "symbol"); }

std::string sort_text(const Type* type) {
  return type->is_simple() ? spell(type->name(), "sort") : type->name();
}

std::string number_text(const vesk::QNumber& number, bool as_real) {
  const bool is_negative = number.sgn() < 0;
  std::string text = (is_negative ? number.neg() : number).to_str();
  const std::size_t slash = text.find('/');
  const std::string point = as_real || slash != std::string::npos ? ".0" : "";
  text = slash == std::string::npos
             ? text + point
             : "(/ " + text.substr(0, slash) + point + ' ' + text.substr(slash + 1) + point + ')';
  return is_negative ? "(- " + text + ')' : text;
}

/// What stands behind the parenthesis of a compound term.
std::string head_text(Term term) {
  switch (term->tag()) {
    case Tag::not_op: return "not";
    case Tag::and_op: return "and";
    case Tag::or_op: return "or";
    case Tag::iff:
    case Tag::equal: return "=";
    case Tag::plus: return "+";
    case Tag::times: return "*";
    case Tag::divide: return "/";
    case Tag::floor: return "to_int";
    case Tag::leq: return "<=";
    case Tag::ite: return "ite";
    case Tag::distinct: return "distinct";
    case Tag::mod_congr: return "(_ divisible " + term->symbol()->number()->to_str() + ") (-";
    case Tag::uninterpreted:
    case Tag::true_value:
    case Tag::false_value:
    case Tag::number: break;
  }
  return spell(term->symbol());
}

class TermPrinter {
 public:
  explicit TermPrinter(Term root) : root_(root) {
    StampSet seen;
    const auto visit = [&](Term term) {
      for (const Term child : term->children())
        if (child->arity() > 0 && !met_.insert(child->id())) shared_.insert(child->id());
      order_.push_back(term);
      // A bound name that begins as no symbol does hides none.
      if (term->tag() == Tag::uninterpreted)
        while (term->symbol()->name().starts_with(prefix_)) prefix_ += '?';
    };
    visit_post_order(
        root, seen, [](Term) { return true; }, visit);
  }

  std::string print() && {
    std::size_t num_lets = 0;
    for (const Term term : order_) {
      if (!shared_.contains(term->id())) continue;
      const std::string name = prefix_ + std::to_string(++num_lets);
      text_ += "(let ((" + name + ' ';
      append(term);
      text_ += ")) ";
      names_.set(term->id(), name);
    }
    append(root_);
    return std::move(text_.append(num_lets, ')'));
  }

 private:
  struct Frame {
    Term term;
    std::size_t next;
  };

  // Appends a term that needs no parentheses behind its children, or begins one that does.
  bool begin(Term term, bool as_real) {
    const std::string* name = names_.find(term->id());
    if (term->is_number()) {
      text_ += number_text(term->number(), as_real);
      return true;
    }
    const bool converts = as_real && term->type()->is_integer();
    if (name == nullptr && term->arity() > 0) {
      text_ += converts ? "(to_real (" : "(";
      text_ += head_text(term);
      return false;
    }
    const std::string leaf = name != nullptr                       ? *name
                             : term->is_true() || term->is_false() ? term->symbol()->name()
                                                                   : spell(term->symbol());
    text_ += converts ? "(to_real " + leaf + ')' : leaf;
    return true;
  }

  void append(Term root) {
    if (begin(root, false)) return;
    std::vector<Frame> stack{{root, 0}};
    std::vector<bool> converted{false};  // beside `stack`: the term is printed within a `to_real`
    while (!stack.empty()) {
      Frame& frame = stack.back();
      const Term term = frame.term;
      if (frame.next == term->arity()) {
        text_ += term->tag() == Tag::mod_congr ? "))" : ")";
        if (converted.back()) text_ += ')';
        stack.pop_back();
        converted.pop_back();
        continue;
      }
      const bool as_real = term->symbol()->type()->params()[frame.next]->is_rational();
      const Term child = term->child(frame.next++);
      text_ += ' ';
      if (begin(child, as_real)) continue;
      stack.push_back({child, 0});
      converted.push_back(as_real && child->type()->is_integer());
    }
  }

  Term root_;
  std::vector<Term> order_;  // children before parents
  StampSet met_;             // compound terms that stand below another
  StampSet shared_;          // those that do so twice
  StampMap<std::string> names_;
  std::string prefix_ = "?";
  std::string text_;
};

}  // namespace

std::string term_text(Term term) { return TermPrinter(term).print(); }

std::string script_text(const std::vector<Term>& formulas) {
  std::vector<const Symbol*> symbols;
  StampSet seen, known;
  for (const Term formula : formulas)
    visit_post_order(
        formula, seen, [](Term) { return true; },
        [&](Term term) {
          if (term->tag() == Tag::uninterpreted && known.insert(term->symbol()->id()))
            symbols.push_back(term->symbol());
        });
  std::sort(symbols.begin(), symbols.end(),
            [](const Symbol* a, const Symbol* b) { return a->id() < b->id(); });
  std::string text = "(set-logic ALL)\n";
  StampSet sorts;
  const auto declare_sort = [&](const Type* type) {
    if (type->is_simple() && sorts.insert(type->id())) text += "(declare-sort " + sort_text(type) + " 0)\n";
  };
  for (const Symbol* symbol : symbols) {
    if (symbol->is_internal())
      throw TextError("the symbol " + symbol->name() + " is the solver's own, which no script can declare");
    std::string params;
    for (const Type* param : symbol->type()->params()) {
      declare_sort(param);
      params += (params.empty() ? "" : " ") + sort_text(param);
    }
    declare_sort(symbol->output_type());
    text += "(declare-fun " + spell(symbol) + " (" + params + ") " + sort_text(symbol->output_type()) + ")\n";
  }
  for (const Term formula : formulas) text += "(assert " + term_text(formula) + ")\n";
  return text;
}

}  // namespace smttext
