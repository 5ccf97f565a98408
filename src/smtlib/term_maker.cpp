#include "smtlib/term_maker.h"

#include <algorithm>
#include <array>

#include "smtlib/command_reader.h"

namespace smtlib {
namespace {

bool same(vesk_type a, vesk_type b) { return vesk_type_equals(a, b) != 0; }

// A bar can stand in no symbol, so names with one never clash with a script's.
constexpr char name_mark = '|';

std::string counted(std::size_t n, const char* noun) {
  return std::to_string(n) + ' ' + noun + (n == 1 ? "" : "s");
}

}  // namespace

struct TermMaker::Operator {
  enum class Takes { booleans, numbers, integers, anything };
  static constexpr std::size_t any = static_cast<std::size_t>(-1);
  std::string_view name;
  std::size_t at_least, at_most;
  Takes takes;
  TypedTerm (*make)(const TermMaker&, Args);
};

const TermMaker::Operator* TermMaker::find_operator(std::string_view name) {
  using Maker = const TermMaker&;
  constexpr auto any = Operator::any;
  using enum Operator::Takes;
  static const std::unordered_map<std::string_view, Operator> table = [] {
    std::unordered_map<std::string_view, Operator> by_name;
    for (const Operator& op : std::initializer_list<Operator>{
             {"true", 0, 0, booleans, [](Maker m, Args) { return m.truth(vesk_make_true(m.env_)); }},
             {"false", 0, 0, booleans, [](Maker m, Args) { return m.truth(vesk_make_false(m.env_)); }},
             {"not", 1, 1, booleans, [](Maker m, Args a) { return m.negation(a); }},
             {"and", 1, any, booleans, [](Maker m, Args a) { return m.fold(a, vesk_make_and, m.bool_); }},
             {"or", 1, any, booleans, [](Maker m, Args a) { return m.fold(a, vesk_make_or, m.bool_); }},
             {"xor", 2, any, booleans, [](Maker m, Args a) { return m.exclusive_or(a); }},
             {"=>", 2, any, booleans, [](Maker m, Args a) { return m.implication(a); }},
             {"=", 2, any, anything, [](Maker m, Args a) { return m.equality(a); }},
             {"distinct", 2, any, anything, [](Maker m, Args a) { return m.distinct(a); }},
             {"ite", 3, 3, anything, [](Maker m, Args a) { return m.choice(a); }},
             {"+", 1, any, numbers,
              [](Maker m, Args a) { return m.fold(a, vesk_make_plus, m.common_number_type(a)); }},
             {"*", 1, any, numbers,
              [](Maker m, Args a) { return m.fold(a, vesk_make_times, m.common_number_type(a)); }},
             {"-", 1, any, numbers, [](Maker m, Args a) { return m.difference(a); }},
             {"/", 2, any, numbers, [](Maker m, Args a) { return m.quotient(a); }},
             {"<=", 2, any, numbers, [](Maker m, Args a) { return m.comparison(a, false, false); }},
             {"<", 2, any, numbers, [](Maker m, Args a) { return m.comparison(a, false, true); }},
             {">=", 2, any, numbers, [](Maker m, Args a) { return m.comparison(a, true, false); }},
             {">", 2, any, numbers, [](Maker m, Args a) { return m.comparison(a, true, true); }},
             {"div", 2, any, integers, [](Maker m, Args a) { return m.integer_quotient(a); }},
             {"mod", 2, 2, integers, [](Maker m, Args a) { return m.remainder(a); }},
             {"abs", 1, 1, numbers, [](Maker m, Args a) { return m.absolute(a); }},
             {"to_real", 1, 1, numbers,
              [](Maker m, Args a) {
                return TypedTerm{a[0].term, m.real_};
              }},
             {"to_int", 1, 1, numbers,
              [](Maker m, Args a) {
                return TypedTerm{m.checked(vesk_make_floor(m.env_, a[0].term)), m.int_};
              }},
             {"is_int", 1, 1, numbers,
              [](Maker m, Args a) {
                const vesk_term floor = m.checked(vesk_make_floor(m.env_, a[0].term));
                return m.truth(vesk_make_equal(m.env_, a[0].term, floor));
              }},
         })
      by_name.emplace(op.name, op);
    return by_name;
  }();
  const auto found = table.find(name);
  return found == table.end() ? nullptr : &found->second;
}

bool TermMaker::has_real_numerals(std::string_view logic) {
  constexpr std::array<std::string_view, 6> logics{"QF_LRA",   "QF_RDL", "QF_UFLRA",
                                                   "QF_UFRDL", "LRA",    "UFLRA"};
  return std::find(logics.begin(), logics.end(), logic) != logics.end();
}

TermMaker::TermMaker(vesk_env env, bool numerals_are_real, Names names)
    : env_(env),
      numerals_are_real_(numerals_are_real),
      names_(names),
      bool_(vesk_get_bool_type(env)),
      real_(vesk_get_rational_type(env)),
      int_(vesk_get_integer_type(env)) {}

bool TermMaker::is_operator(std::string_view name) { return find_operator(name) != nullptr; }

TypedTerm TermMaker::apply_operator(std::string_view name, Args args) const {
  const Operator& op = *find_operator(name);
  if (args.size() < op.at_least || args.size() > op.at_most) {
    throw TermFault("'" + std::string(name) + "' takes " + (op.at_least == op.at_most ? "" : "at least ") +
                    counted(op.at_least, "argument") + " and was given " + std::to_string(args.size()));
  }
  for (std::size_t i = 0; i < args.size(); ++i) {
    const vesk_type type = args[i].type;
    const char* expected = nullptr;
    switch (op.takes) {
      case Operator::Takes::booleans: expected = same(type, bool_) ? nullptr : "Bool"; break;
      case Operator::Takes::numbers: expected = fits(type, real_) ? nullptr : "Real or Int"; break;
      case Operator::Takes::integers: expected = same(type, int_) ? nullptr : "Int"; break;
      case Operator::Takes::anything: break;
    }
    if (expected != nullptr)
      throw TermFault("argument " + std::to_string(i + 1) + " of '" + std::string(name) + "' is of sort " +
                      sort_text(type) + " where " + expected + " is expected");
  }
  return op.make(*this, args);
}

TypedTerm TermMaker::apply(std::string_view name, const Symbol& symbol, Args args) const {
  if (args.size() != symbol.params.size())
    throw TermFault("'" + std::string(name) + "' takes " + counted(symbol.params.size(), "argument") +
                    " and was given " + std::to_string(args.size()));
  std::vector<vesk_term> terms;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (!fits(args[i].type, symbol.params[i]))
      throw TermFault("argument " + std::to_string(i + 1) + " of '" + std::string(name) + "' is of sort " +
                      sort_text(args[i].type) + " where " + sort_text(symbol.params[i]) + " is expected");
    terms.push_back(args[i].term);
  }
  if (args.empty()) return {symbol.term, symbol.result};
  const vesk_term term =
      symbol.kind == Symbol::Kind::declared
          ? vesk_make_uf(env_, symbol.decl, terms.data())
          : vesk_apply_substitution(env_, symbol.term, symbol.formals.data(), terms.data(), terms.size());
  return {checked(term), symbol.result};
}

TypedTerm TermMaker::numeral(std::string_view digits) const {
  return {checked(vesk_make_number(env_, std::string(digits).c_str())), numerals_are_real_ ? real_ : int_};
}

TypedTerm TermMaker::decimal(std::string_view text) const {
  return {checked(vesk_make_number(env_, std::string(text).c_str())), real_};
}

bool TermMaker::is_negative_number(std::string_view text) {
  if (!text.starts_with('-')) return false;
  text.remove_prefix(1);
  const std::size_t point = std::min(text.find('.'), text.size());
  const auto is_number = [](std::string_view digits) {
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
  };
  return is_number(text.substr(0, point)) && (point == text.size() || is_number(text.substr(point + 1)));
}

TypedTerm TermMaker::negative_number(std::string_view text) const {
  return text.find('.') == std::string_view::npos ? numeral(text) : decimal(text);
}

TypedTerm TermMaker::divisible(std::string_view divisor, Args args) const {
  if (args.size() != 1)
    throw TermFault("'divisible' takes 1 argument and was given " + std::to_string(args.size()));
  if (!same(args[0].type, int_))
    throw TermFault("argument 1 of 'divisible' is of sort " + sort_text(args[0].type) +
                    " where Int is expected");
  const std::string modulus(divisor);
  return truth(
      vesk_make_int_modular_congruence(env_, modulus.c_str(), args[0].term, vesk_make_int_number(env_, 0)));
}

bool TermMaker::fits(vesk_type actual, vesk_type expected) const {
  return same(actual, expected) || (same(actual, int_) && same(expected, real_));
}

std::string TermMaker::sort_text(vesk_type type) const {
  char* repr = vesk_type_repr(type);
  std::string name = repr == nullptr ? "?" : repr;
  vesk_free(repr);
  return spell_symbol(name.substr(0, name.find(name_mark)));
}

vesk_decl TermMaker::declare(std::string_view name, vesk_type type) const {
  std::string candidate(name);
  // Refused are the solver's own names, numbers, and names that a popped declaration gave another type.
  for (int i = 1;; ++i) {
    const vesk_decl decl = vesk_declare_function(env_, candidate.c_str(), type);
    if (decl.repr != nullptr) return decl;
    if (names_ == Names::of_environment) throw TermFault(vesk_last_error_message(env_));
    if (vesk_find_decl(env_, candidate.c_str()).repr == nullptr && i > 1)
      throw TermFault(vesk_last_error_message(env_));
    candidate = name_mark + std::string(name) + name_mark + std::to_string(i);
  }
}

std::optional<Symbol> TermMaker::symbol_of_environment(std::string_view name) const {
  if (names_ == Names::of_script) return {};
  const vesk_decl decl = vesk_find_decl(env_, std::string(name).c_str());
  if (decl.repr == nullptr) return {};
  Symbol symbol{Symbol::Kind::declared, {}, vesk_decl_get_return_type(decl), decl};
  for (std::size_t i = 0; i < vesk_decl_get_arity(decl); ++i)
    symbol.params.push_back(vesk_decl_get_arg_type(decl, i));
  if (symbol.params.empty()) symbol.term = checked(vesk_make_constant(env_, decl));
  return symbol;
}

vesk_type TermMaker::simple_type(std::string_view name) const {
  for (const std::string& candidate : {std::string(name), std::string(name) + name_mark}) {
    const vesk_type type = vesk_get_simple_type(env_, candidate.c_str());
    if (type.repr != nullptr) return type;
  }
  throw TermFault(vesk_last_error_message(env_));
}

vesk_term TermMaker::checked(vesk_term term) const {
  if (term.repr == nullptr) throw TermFault(vesk_last_error_message(env_));
  return term;
}

vesk_term TermMaker::negated(vesk_term term) const { return checked(vesk_make_not(env_, term)); }

// The interface has no subtraction and no unary minus.
vesk_term TermMaker::minus(vesk_term term) const {
  // A number stays one whatever the solver simplifies: some places take nothing else.
  if (vesk_term_is_number(env_, term) == 1) {
    char* number = vesk_term_to_number(env_, term);
    const std::string text = number;
    vesk_free(number);
    const bool is_negative = text.front() == '-';
    return checked(vesk_make_number(env_, is_negative ? text.c_str() + 1 : ('-' + text).c_str()));
  }
  return checked(vesk_make_times(env_, vesk_make_int_number(env_, -1), term));
}

vesk_type TermMaker::common_number_type(Args args) const {
  for (const TypedTerm& arg : args)
    if (same(arg.type, real_)) return real_;
  return int_;
}

vesk_type TermMaker::common_type(Args args) const {
  vesk_type type = args.front().type;
  for (const TypedTerm& arg : args) {
    if (fits(type, arg.type))
      type = arg.type;
    else if (!fits(arg.type, type))
      throw TermFault("terms of sort " + sort_text(type) + " and " + sort_text(arg.type) +
                      " stand where one sort is expected");
  }
  return type;
}

TypedTerm TermMaker::fold(Args args, Binary make, vesk_type type) const {
  vesk_term result = args.front().term;
  for (const TypedTerm& arg : args.subspan(1)) result = checked(make(env_, result, arg.term));
  return {result, type};
}

TypedTerm TermMaker::negation(Args args) const { return {negated(args[0].term), bool_}; }

// Associates to the right, where all others do to the left.
TypedTerm TermMaker::implication(Args args) const {
  vesk_term result = args.back().term;
  for (std::size_t i = args.size() - 1; i-- > 0;)
    result = checked(vesk_make_or(env_, negated(args[i].term), result));
  return {result, bool_};
}

TypedTerm TermMaker::exclusive_or(Args args) const {
  vesk_term result = args.front().term;
  for (const TypedTerm& arg : args.subspan(1))
    result = negated(checked(vesk_make_iff(env_, result, arg.term)));
  return {result, bool_};
}

// Chained: each argument equals the next, which says it of all pairs with one equality less than there are
// arguments.
TypedTerm TermMaker::equality(Args args) const {
  common_type(args);
  vesk_term result = checked(vesk_make_eq(env_, args[0].term, args[1].term));
  for (std::size_t i = 2; i < args.size(); ++i) {
    const vesk_term next = checked(vesk_make_eq(env_, args[i - 1].term, args[i].term));
    result = checked(vesk_make_and(env_, result, next));
  }
  return {result, bool_};
}

TypedTerm TermMaker::distinct(Args args) const {
  common_type(args);
  std::vector<vesk_term> terms;
  for (const TypedTerm& arg : args) terms.push_back(arg.term);
  return truth(vesk_make_distinct_n(env_, terms.data(), terms.size()));
}

TypedTerm TermMaker::choice(Args args) const {
  if (!same(args[0].type, bool_))
    throw TermFault("argument 1 of 'ite' is of sort " + sort_text(args[0].type) + " where Bool is expected");
  const vesk_type type = common_type(args.subspan(1));
  const vesk_term condition = args[0].term, yes = args[1].term, no = args[2].term;
  if (!same(type, bool_)) return {checked(vesk_make_term_ite(env_, condition, yes, no)), type};
  // A choice of truth is a formula, and only terms have an ite of their own.
  const vesk_term then = checked(vesk_make_and(env_, condition, yes));
  const vesk_term otherwise = checked(vesk_make_and(env_, negated(condition), no));
  return truth(vesk_make_or(env_, then, otherwise));
}

TypedTerm TermMaker::difference(Args args) const {
  const vesk_type type = common_number_type(args);
  if (args.size() == 1) return {minus(args[0].term), type};
  vesk_term result = args.front().term;
  for (const TypedTerm& arg : args.subspan(1))
    result = checked(vesk_make_plus(env_, result, minus(arg.term)));
  return {result, type};
}

TypedTerm TermMaker::quotient(Args args) const { return fold(args, vesk_make_divide, real_); }

vesk_term TermMaker::integer_quotient(vesk_term dividend, vesk_term divisor) const {
  char* number = vesk_term_to_number(env_, divisor);
  const std::string text = number == nullptr ? "0" : number;
  vesk_free(number);
  if (text == "0") throw TermFault("'div' and 'mod' take no divisor but a number that is not 0");
  // Rounded so that the remainder is not negative, whatever the divisor's sign (R. Boute, The Euclidean
  // Definition of the Functions div and mod, 1992).
  const bool is_negative = text.front() == '-';
  const vesk_term size = is_negative ? minus(divisor) : divisor;
  const vesk_term floor = checked(vesk_make_floor(env_, vesk_make_divide(env_, dividend, size)));
  return is_negative ? minus(floor) : floor;
}

TypedTerm TermMaker::integer_quotient(Args args) const {
  vesk_term result = args.front().term;
  for (const TypedTerm& arg : args.subspan(1)) result = integer_quotient(result, arg.term);
  return {result, int_};
}

TypedTerm TermMaker::remainder(Args args) const {
  const vesk_term quotient = integer_quotient(args[0].term, args[1].term);
  const vesk_term whole = checked(vesk_make_times(env_, args[1].term, quotient));
  return {checked(vesk_make_plus(env_, args[0].term, minus(whole))), int_};
}

TypedTerm TermMaker::absolute(Args args) const {
  const vesk_term is_positive = checked(vesk_make_leq(env_, vesk_make_int_number(env_, 0), args[0].term));
  const vesk_term result = vesk_make_term_ite(env_, is_positive, args[0].term, minus(args[0].term));
  return {checked(result), args[0].type};
}

TypedTerm TermMaker::comparison(Args args, bool swapped, bool strict) const {
  vesk_term result{};
  for (std::size_t i = 0; i + 1 < args.size(); ++i) {
    const vesk_term low = args[swapped ? i + 1 : i].term, high = args[swapped ? i : i + 1].term;
    // `low < high` is that `high <= low` does not hold: the solver knows `<=` alone.
    const vesk_term next =
        strict ? negated(checked(vesk_make_leq(env_, high, low))) : checked(vesk_make_leq(env_, low, high));
    result = i == 0 ? next : checked(vesk_make_and(env_, result, next));
  }
  return {result, bool_};
}

}  // namespace smtlib
