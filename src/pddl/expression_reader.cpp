#include "pddl/expression_reader.h"

#include <algorithm>
#include <string>
#include <unordered_map>

namespace zorvel::pddl {

namespace {

using Kind = ExpressionKind;
using Heads = std::unordered_map<std::string_view, Kind>;

const Heads& condition_heads() {
  static const Heads heads{{"and", Kind::conjunction},     {"or", Kind::disjunction},
                           {"not", Kind::negation},        {"imply", Kind::implication},
                           {"exists", Kind::exists},       {"forall", Kind::forall},
                           {"=", Kind::equality},          {"<", Kind::less},
                           {"<=", Kind::less_or_equal},    {">", Kind::greater},
                           {">=", Kind::greater_or_equal}, {"preference", Kind::preference}};
  return heads;
}

const Heads& effect_heads() {
  static const Heads heads{{"and", Kind::conjunction},   {"not", Kind::negation},
                           {"forall", Kind::forall},     {"when", Kind::when},
                           {"=", Kind::assign},          {"assign", Kind::assign},
                           {"increase", Kind::increase}, {"decrease", Kind::decrease},
                           {"scale-up", Kind::scale_up}, {"scale-down", Kind::scale_down}};
  return heads;
}

const Heads& arithmetic_heads() {
  static const Heads heads{{"+", Kind::plus}, {"-", Kind::minus}, {"*", Kind::times}, {"/", Kind::divide}};
  return heads;
}

const Heads& constraint_heads() {
  static const Heads heads{{"and", Kind::conjunction},
                           {"forall", Kind::forall},
                           {"preference", Kind::preference},
                           {"always", Kind::always},
                           {"sometime", Kind::sometime},
                           {"within", Kind::within},
                           {"at-most-once", Kind::at_most_once},
                           {"sometime-after", Kind::sometime_after},
                           {"sometime-before", Kind::sometime_before},
                           {"always-within", Kind::always_within},
                           {"hold-during", Kind::hold_during},
                           {"hold-after", Kind::hold_after}};
  return heads;
}

/// The kind that the first word of a list stands for, if it is one of these words.
std::optional<Kind> kind_of(const Heads& heads, const Form& form) {
  if (form.items.empty() || form.items[0]->kind != FormKind::name) return std::nullopt;
  const auto found = heads.find(form.items[0]->symbol->text);
  return found == heads.end() ? std::nullopt : std::optional(found->second);
}

/// `(at start F)`, `(at end F)` and `(over all F)`, where F is a list: `(at start truck)` is an atom.
std::optional<Kind> time_of(const Form& form) {
  if (!form.is_list() || form.items.size() != 3 || !form.items[2]->is_list()) return std::nullopt;
  if (form.items[0]->is_name("at") && form.items[1]->is_name("start")) return Kind::at_start;
  if (form.items[0]->is_name("at") && form.items[1]->is_name("end")) return Kind::at_end;
  if (form.items[0]->is_name("over") && form.items[1]->is_name("all")) return Kind::over_all;
  return std::nullopt;
}

bool is_number(const Expression& term) { return term.kind != Kind::object && term.kind != Kind::variable; }

bool contains_elapsed_time(const Form& form) {
  return form.is_name("#t") || std::any_of(form.items.begin(), form.items.end(),
                                           [](const Form* item) { return contains_elapsed_time(*item); });
}

}  // namespace

std::optional<rational> read_number(std::string_view word) {
  constexpr std::size_t longest = 10000;
  constexpr long largest_exponent = 10000;
  if (word.size() > longest) return std::nullopt;
  const std::size_t mark = word.find_first_of("eE");
  std::string digits(word.substr(0, mark));
  if (digits.back() == '.') digits.pop_back();
  const rational mantissa = rational_from_string(digits);
  if (mark == std::string_view::npos) return mantissa;
  std::string_view power = word.substr(mark + 1);
  const bool is_negative = power.front() == '-';
  if (is_negative || power.front() == '+') power.remove_prefix(1);
  power.remove_prefix(std::min(power.find_first_not_of('0'), power.size()));
  if (power.size() > 5) return std::nullopt;
  const long exponent = power.empty() ? 0 : std::stol(std::string(power));
  if (exponent > largest_exponent) return std::nullopt;
  const rational scale(integer(10).pow(static_cast<unsigned long>(exponent)));
  return is_negative ? mantissa / scale : mantissa * scale;
}

const Expression* ExpressionReader::fail(const Place& place, std::string_view text) {
  messages_.error(place, text);
  return nullptr;
}

bool ExpressionReader::has_operands(const Form& form, std::size_t count) {
  if (form.items.size() == count + 1) return true;
  fail(form.place, quoted(form.items[0]->text) + " takes " + std::to_string(count) +
                       (count == 1 ? " operand" : " operands") + ", not " +
                       std::to_string(form.items.size() - 1));
  return false;
}

const Variable* ExpressionReader::find_variable(const Symbol* symbol) const {
  const auto found = std::find_if(scope_.rbegin(), scope_.rend(),
                                  [&](const Variable* variable) { return variable->name.symbol == symbol; });
  return found == scope_.rend() ? nullptr : *found;
}

const Expression* ExpressionReader::list_of(Kind kind, const Form& form, Read read) {
  std::vector<const Expression*> operands;
  bool is_sound = true;
  for (const Form* item : form.items.subspan(1)) {
    operands.push_back((this->*read)(*item));
    is_sound = is_sound && operands.back() != nullptr;
  }
  return is_sound ? task_.add(kind, form.place, std::move(operands)) : nullptr;
}

const Expression* ExpressionReader::one_operand(Kind kind, const Form& form, std::size_t at, Read read) {
  const Expression* const operand = (this->*read)(*form.items[at]);
  return operand == nullptr ? nullptr : task_.add(kind, form.place, {operand});
}

const Expression* ExpressionReader::quantifier(Kind kind, const Form& form, Read read) {
  if (!has_operands(form, 2)) return nullptr;
  if (!form.items[1]->is_list())
    return fail(form.items[1]->place,
                "parameters in parentheses were expected behind " + quoted(form.items[0]->text));
  const std::vector<const Variable*> variables = declarations_.parameters(*form.items[1]);
  scope_.insert(scope_.end(), variables.begin(), variables.end());
  const Expression* const body = (this->*read)(*form.items[2]);
  scope_.resize(scope_.size() - variables.size());
  if (body == nullptr) return nullptr;
  Expression* const result = task_.add(kind, form.place, {body});
  result->variables = variables;
  return result;
}

const Expression* ExpressionReader::preference(const Form& form, Read read) {
  if (form.items.size() == 3 && form.items[1]->kind == FormKind::name)
    return one_operand(Kind::preference, form, 2, read);
  if (!has_operands(form, 1)) return nullptr;
  return one_operand(Kind::preference, form, 1, read);
}

const Expression* ExpressionReader::condition(const Form& form) {
  if (!form.is_list()) return atom(form);
  if (form.items.empty()) return task_.add(Kind::truth, form.place);
  if (const auto time = time_of(form)) return one_operand(*time, form, 2, &ExpressionReader::condition);
  const auto kind = kind_of(condition_heads(), form);
  if (!kind) return atom(form);
  switch (*kind) {
    case Kind::conjunction:
    case Kind::disjunction: return list_of(*kind, form, &ExpressionReader::condition);
    case Kind::negation:
      if (!has_operands(form, 1)) return nullptr;
      return list_of(*kind, form, &ExpressionReader::condition);
    case Kind::implication:
      if (!has_operands(form, 2)) return nullptr;
      return list_of(*kind, form, &ExpressionReader::condition);
    case Kind::exists:
    case Kind::forall: return quantifier(*kind, form, &ExpressionReader::condition);
    case Kind::preference: return preference(form, &ExpressionReader::condition);
    case Kind::equality: return equality(form);
    default: return comparison(*kind, form);
  }
}

const Expression* ExpressionReader::comparison(Kind kind, const Form& form) {
  return has_operands(form, 2) ? list_of(kind, form, &ExpressionReader::number) : nullptr;
}

const Expression* ExpressionReader::equality(const Form& form) {
  if (!has_operands(form, 2)) return nullptr;
  const Expression* const result = list_of(Kind::equality, form, &ExpressionReader::term);
  if (result != nullptr && is_number(*result->operands[0]) != is_number(*result->operands[1]))
    return fail(form.place, "'=' between a number and an object");
  return result;
}

const Expression* ExpressionReader::duration(const Form& form) {
  if (form.is_list() && form.items.empty()) return task_.add(Kind::truth, form.place);
  if (const auto time = time_of(form)) return one_operand(*time, form, 2, &ExpressionReader::duration);
  const auto kind = kind_of(condition_heads(), form);
  if (kind == Kind::conjunction) return list_of(*kind, form, &ExpressionReader::duration);
  if (kind != Kind::equality && kind != Kind::less && kind != Kind::less_or_equal && kind != Kind::greater &&
      kind != Kind::greater_or_equal)
    return fail(form.place, "a duration is given by '(= ?duration E)', '<=', '>=' or an 'and' of these");
  const Expression* const result = comparison(*kind, form);
  if (result == nullptr) return nullptr;
  const bool is_first = result->operands[0]->kind == Kind::duration;
  const bool is_second = result->operands[1]->kind == Kind::duration;
  if (is_first == is_second) return fail(form.place, "one side of a duration has to be '?duration'");
  return result;
}

const Expression* ExpressionReader::number(const Form& form) {
  const Expression* const result = term(form);
  if (result == nullptr || is_number(*result)) return result;
  return fail(form.place, "a number was expected, and " + quoted(form.text) + " is an object");
}

const Expression* ExpressionReader::term(const Form& form) {
  if (!form.is_list()) return word_term(form);
  if (form.items.empty() || form.items[0]->kind != FormKind::name)
    return fail(form.place, "a number was expected, such as a function with its arguments");
  if (const auto kind = kind_of(arithmetic_heads(), form)) return arithmetic(*kind, form);
  const Form& name = *form.items[0];
  const std::size_t arguments = form.items.size() - 1;
  if (declarations_.find_function(name.symbol, arguments) == nullptr) {
    if (name.is_name("total-time") && arguments == 0) return task_.add(Kind::total_time, form.place);
    if (name.is_name("is-violated") && arguments == 1) return task_.add(Kind::is_violated, form.place);
  }
  const Fluent* const function = declarations_.function(name, arguments);
  return function == nullptr ? nullptr : application(*function, form);
}

const Expression* ExpressionReader::word_term(const Form& form) {
  switch (form.kind) {
    case FormKind::number: {
      const std::optional<rational> value = read_number(form.text);
      if (!value)
        return fail(form.place, "the number " + quoted(form.text) + " is too large or has too many digits");
      Expression* const result = task_.add(Kind::number, form.place);
      result->value = *value;
      return result;
    }
    case FormKind::variable: {
      if (const Variable* const variable = find_variable(form.symbol)) {
        Expression* const result = task_.add(Kind::variable, form.place);
        result->variable = variable;
        return result;
      }
      if (form.symbol->text == "duration") return task_.add(Kind::duration, form.place);
      std::vector<std::string_view> known;
      for (const Variable* variable : scope_) known.push_back(variable->name.symbol->text);
      const std::string similar = suggestion(form.symbol->text, known);
      return fail(form.place, "the parameter " + quoted(form.text) + " is not declared" + similar);
    }
    case FormKind::name: {
      if (form.text == "#t") return fail(form.place, "continuous change ('#t') is not planned for");
      const Object* const known = declarations_.find_object(form.symbol);
      if (known == nullptr) {
        // A function without arguments may stand without its parentheses.
        if (const Fluent* const function = declarations_.find_function(form.symbol, 0))
          return application(*function, form);
        if (form.is_name("total-time")) return task_.add(Kind::total_time, form.place);
      }
      const Object* const object = known != nullptr ? known : declarations_.object(form);
      if (object == nullptr) return nullptr;
      Expression* const result = task_.add(Kind::object, form.place);
      result->object = object;
      return result;
    }
    default: return fail(form.place, quoted(form.text) + " in place of an object or a number");
  }
}

const Expression* ExpressionReader::arithmetic(Kind kind, const Form& form) {
  const std::size_t operands = form.items.size() - 1;
  if (kind == Kind::divide && !has_operands(form, 2)) return nullptr;
  if (kind == Kind::minus && operands != 1 && !has_operands(form, 2)) return nullptr;
  return list_of(kind, form, &ExpressionReader::number);
}

void ExpressionReader::check_argument(const Fluent& fluent, std::size_t position, const Expression& argument,
                                      const Form& form) {
  const Variable& parameter = *fluent.parameters[position];
  const auto refuse = [&](const std::string& type) {
    messages_.error(form.place, quoted(form.text) + " is of type " + type + ", and argument " +
                                    std::to_string(position + 1) + " of " + to_text(fluent) + " at " +
                                    messages_.place_text(fluent.name.place) + " is of type " +
                                    to_text(*parameter.sort));
  };
  if (argument.kind == Kind::object) {
    if (!contains(*parameter.sort, *argument.object))
      refuse(to_text(*task_.sort({argument.object->types.begin(), argument.object->types.end()})));
    return;
  }
  if (argument.kind != Kind::variable) {
    messages_.error(form.place,
                    "an argument of " + quoted(fluent.name.text) + " is an object or a parameter");
    return;
  }
  const Sort& given = *argument.variable->sort;
  if (is_within(given, *parameter.sort)) return;
  // Parameters that are wider than what they are used for are common: what is said of the objects outside is
  // never true, unless the problem says so.
  if (parameter.sort->objects.empty() || overlap(given, *parameter.sort))
    task_.widen(parameter, given);
  else
    refuse(to_text(given));
}

const Expression* ExpressionReader::application(const Fluent& fluent, const Form& form) {
  Expression* const result = task_.add(fluent.is_function ? Kind::function : Kind::atom, form.place);
  result->fluent = &fluent;
  bool is_sound = true;
  for (std::size_t i = 0; i < fluent.parameters.size(); ++i) {
    const Form& item = *form.items[i + 1];
    const Expression* const argument =
        item.is_list() ? fail(item.place,
                              "object fluents are not planned for: an argument is an object or a "
                              "parameter")
                       : word_term(item);
    is_sound = is_sound && argument != nullptr;
    result->operands.push_back(argument);
    if (argument != nullptr) check_argument(fluent, i, *argument, item);
  }
  return is_sound ? result : nullptr;
}

const Expression* ExpressionReader::atom(const Form& form) {
  if (!form.is_list()) {
    // Written without parentheses, it can only be a constant or a predicate without arguments.
    if (form.is_name("true") || form.is_name("false"))
      return task_.add(form.is_name("true") ? Kind::truth : Kind::falsity, form.place);
    const Fluent* const predicate =
        form.kind == FormKind::name ? declarations_.find_predicate(form.symbol, 0) : nullptr;
    if (predicate == nullptr)
      return fail(form.place, quoted(form.text) + " in place of a form in parentheses");
    return application(*predicate, form);
  }
  const Form& name = *form.items[0];
  if (name.kind != FormKind::name)
    return fail(name.place, name.is_list() ? std::string("a form begins with a name")
                                           : "a form begins with a name, and not with " + quoted(name.text));
  const Fluent* const predicate = declarations_.predicate(name, form.items.size() - 1);
  return predicate == nullptr ? nullptr : application(*predicate, form);
}

const Expression* ExpressionReader::effect(const Form& form) {
  if (!form.is_list()) return atom(form);
  if (form.items.empty()) return task_.add(Kind::truth, form.place);
  if (const auto time = time_of(form)) return one_operand(*time, form, 2, &ExpressionReader::effect);
  const auto kind = kind_of(effect_heads(), form);
  if (!kind) return atom(form);
  switch (*kind) {
    case Kind::conjunction: return list_of(*kind, form, &ExpressionReader::effect);
    case Kind::forall: return quantifier(*kind, form, &ExpressionReader::effect);
    case Kind::when: return when(form);
    case Kind::negation:
      if (!has_operands(form, 1)) return nullptr;
      if (kind_of(effect_heads(), *form.items[1]) || time_of(*form.items[1]))
        return fail(form.place, "the effect 'not' takes one predicate");
      return list_of(*kind, form, &ExpressionReader::atom);
    default: return change(*kind, form);
  }
}

const Expression* ExpressionReader::when(const Form& form) {
  if (!has_operands(form, 2)) return nullptr;
  const Expression* const if_true = condition(*form.items[1]);
  const Expression* const then = effect(*form.items[2]);
  return if_true == nullptr || then == nullptr ? nullptr : task_.add(Kind::when, form.place, {if_true, then});
}

/// Whether a form is an atom, and no number.
bool ExpressionReader::is_predicate(const Form& form) const {
  if (!form.is_list() || form.items.empty() || form.items[0]->kind != FormKind::name) return false;
  const Symbol* const symbol = form.items[0]->symbol;
  const std::size_t arguments = form.items.size() - 1;
  return declarations_.find_function(symbol, arguments) == nullptr &&
         declarations_.find_predicate(symbol, arguments) != nullptr;
}

const Expression* ExpressionReader::change(Kind kind, const Form& form) {
  if (!has_operands(form, 2)) return nullptr;
  if (contains_elapsed_time(*form.items[2]))
    return fail(form.place,
                "continuous change ('#t') is not planned for; give the action the whole change "
                "at its end, such as (at end (" +
                    std::string(form.items[0]->text) + " F (* ?duration E)))");
  if (kind == Kind::assign && is_predicate(*form.items[1])) {
    const Expression* const predicate = atom(*form.items[1]);
    const Expression* const formula = condition(*form.items[2]);
    if (predicate == nullptr || formula == nullptr) return nullptr;
    return task_.add(Kind::assign_truth, form.place, {predicate, formula});
  }
  const Expression* const target = number(*form.items[1]);
  const Expression* const value = number(*form.items[2]);
  if (target == nullptr || value == nullptr) return nullptr;
  if (target->kind != Kind::function)
    return fail(form.items[1]->place,
                "the first operand of " + quoted(form.items[0]->text) + " has to be a function");
  return task_.add(kind, form.place, {target, value});
}

const Expression* ExpressionReader::timed_constraint(Kind kind, const Form& form, std::size_t numbers) {
  const bool has_two =
      kind == Kind::sometime_after || kind == Kind::sometime_before || kind == Kind::always_within;
  if (!has_operands(form, numbers + (has_two ? 2 : 1))) return nullptr;
  std::vector<const Expression*> operands;
  bool is_sound = true;
  for (std::size_t i = 1; i < form.items.size(); ++i) {
    operands.push_back(i <= numbers ? number(*form.items[i]) : condition(*form.items[i]));
    is_sound = is_sound && operands.back() != nullptr;
    if (i <= numbers && operands.back() != nullptr && operands.back()->kind != Kind::number)
      is_sound = fail(form.items[i]->place, "a number was expected") != nullptr;
  }
  return is_sound ? task_.add(kind, form.place, std::move(operands)) : nullptr;
}

const Expression* ExpressionReader::constraint(const Form& form) {
  if (form.is_list() && form.items.empty()) return task_.add(Kind::truth, form.place);
  if (time_of(form) == Kind::at_end) return one_operand(Kind::end, form, 2, &ExpressionReader::condition);
  const auto kind = kind_of(constraint_heads(), form);
  if (!kind) return fail(form.place, "a constraint such as '(always F)' was expected");
  switch (*kind) {
    case Kind::conjunction: return list_of(*kind, form, &ExpressionReader::constraint);
    case Kind::forall: return quantifier(*kind, form, &ExpressionReader::constraint);
    case Kind::preference: return preference(form, &ExpressionReader::constraint);
    case Kind::within:
    case Kind::always_within:
    case Kind::hold_after: return timed_constraint(*kind, form, 1);
    case Kind::hold_during: return timed_constraint(*kind, form, 2);
    default: return timed_constraint(*kind, form, 0);
  }
}

}  // namespace zorvel::pddl
