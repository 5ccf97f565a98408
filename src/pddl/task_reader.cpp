#include "pddl/task_reader.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "pddl/declarations.h"
#include "pddl/expression_reader.h"

namespace zorvel::pddl {

namespace {

using Kind = ExpressionKind;

constexpr std::string_view domain_sections[] = {
    ":requirements", ":types",  ":constants",       ":predicates",
    ":functions",    ":action", ":durative-action", ":uncontrollable-durative-action",
    ":constraints"};
constexpr std::string_view problem_sections[] = {":domain", ":requirements", ":objects",     ":init",
                                                 ":goal",   ":metric",       ":constraints", ":length"};
constexpr std::string_view unsupported_sections[] = {":derived", ":axiom", ":process", ":event"};

class TaskReader {
 public:
  TaskReader(Task& task, SymbolTable& symbols, Messages& messages)
      : task_(task),
        messages_(messages),
        declarations_(task, symbols, messages),
        expressions_(task, declarations_, messages) {}

  void read(const std::vector<const Form*>& forms) {
    for (const Form* form : forms) collect_sections(*form);
    // A name is declared before it is used, wherever that stands in the text.
    each(":types", &Declarations::declare_types);
    declarations_.finish();
    each(":constants", &Declarations::declare_objects);
    each(":objects", &Declarations::declare_objects);
    task_.collect_objects();
    each(":predicates", &Declarations::declare_predicates);
    each(":functions", &Declarations::declare_functions);
    for (const Form* section : sections_) read_section(*section);
  }

 private:
  void collect_sections(const Form& form);
  void each(std::string_view keyword, void (Declarations::*declare)(const Form&)) {
    for (const Form* section : sections_)
      if (section->items[0]->is_keyword(keyword)) (declarations_.*declare)(*section);
  }
  void read_section(const Form& section);
  void read_action(const Form& section, bool is_durative);
  void read_field(Action& action, const Form& keyword, const Form& value);
  void read_fact(const Form& form, const std::optional<rational>& time);
  void add_fact(const Expression& atom, bool holds, const rational& value,
                const std::optional<rational>& time);
  void read_metric(const Form& section);
  std::optional<rational> time_of_fact(const Form& form);

  Task& task_;
  Messages& messages_;
  Declarations declarations_;
  ExpressionReader expressions_;
  std::vector<const Form*> sections_;
};

template <class Names>
bool contains(const Names& names, std::string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

/// Checks the frame of one `(define (domain NAME) section...)` or `(define (problem NAME) section...)`.
void TaskReader::collect_sections(const Form& form) {
  if (!form.is_call("define") || form.items.size() < 2) {
    messages_.error(form.place, "'(define (domain NAME) ...)' or '(define (problem NAME) ...)' was expected");
    return;
  }
  const Form& title = *form.items[1];
  const bool is_domain = title.is_call("domain");
  if (!is_domain && !title.is_call("problem")) {
    messages_.error(title.place, "'(domain NAME)' or '(problem NAME)' was expected");
    return;
  }
  std::vector<std::string_view> known;
  if (is_domain)
    known.assign(std::begin(domain_sections), std::end(domain_sections));
  else
    known.assign(std::begin(problem_sections), std::end(problem_sections));
  for (const Form* section : form.items.subspan(2)) {
    if (!section->is_list() || section->items.empty() || section->items[0]->kind != FormKind::keyword) {
      messages_.error(section->place, "a section such as '(:" + std::string(is_domain ? "types" : "init") +
                                          " ...)' was expected");
      continue;
    }
    const Form& keyword = *section->items[0];
    if (contains(known, keyword.symbol->text)) {
      sections_.push_back(section);
    } else if (contains(unsupported_sections, keyword.symbol->text)) {
      messages_.error(section->place, quoted(keyword.text) + " is not planned for");
    } else {
      messages_.error(keyword.place, quoted(keyword.text) + " is no section of a " +
                                         (is_domain ? "domain" : "problem") +
                                         suggestion(keyword.symbol->text, known));
    }
  }
}

void TaskReader::read_section(const Form& section) {
  const std::string& keyword = section.items[0]->symbol->text;
  if (keyword == ":action") return read_action(section, false);
  if (keyword == ":durative-action") return read_action(section, true);
  if (keyword == ":uncontrollable-durative-action") {
    read_action(section, true);
    task_.actions.back().is_uncontrollable = true;
    return;
  }
  expressions_.set_scope({});
  const std::span<const Form* const> items = section.items.subspan(1);
  if (keyword == ":init") {
    for (const Form* item : items) read_fact(*item, std::nullopt);
  } else if (keyword == ":goal") {
    for (const Form* item : items)
      if (const Expression* const goal = expressions_.condition(*item)) task_.goals.push_back(goal);
  } else if (keyword == ":constraints") {
    for (const Form* item : items)
      if (const Expression* const constraint = expressions_.constraint(*item))
        task_.constraints.push_back(constraint);
  } else if (keyword == ":metric") {
    read_metric(section);
  }
}

void TaskReader::read_action(const Form& section, bool is_durative) {
  Action& action = task_.actions.emplace_back();
  action.is_durative = is_durative;
  if (section.items.size() < 2 || section.items[1]->kind != FormKind::name) {
    messages_.error(section.place, "the action has no name");
    return;
  }
  action.name = name_of(*section.items[1]);
  for (std::size_t i = 0; i + 1 < task_.actions.size(); ++i)
    if (task_.actions[i].name.symbol == action.name.symbol)
      messages_.error(action.name.place, "the action " + quoted(action.name.text) +
                                             " is declared twice, first at " +
                                             messages_.place_text(task_.actions[i].name.place));
  // The parameters are needed by all other fields, in whatever order they stand.
  for (const bool are_parameters : {true, false}) {
    for (std::size_t i = 2; i < section.items.size(); i += 2) {
      const Form& keyword = *section.items[i];
      if (keyword.kind != FormKind::keyword || i + 1 == section.items.size()) {
        if (!are_parameters)
          messages_.error(keyword.place, keyword.kind == FormKind::keyword
                                             ? "nothing stands behind " + quoted(keyword.text)
                                             : "a keyword such as ':effect' was expected");
        break;
      }
      if (keyword.is_keyword(":parameters") == are_parameters)
        read_field(action, keyword, *section.items[i + 1]);
    }
    if (are_parameters) expressions_.set_scope(action.parameters);
  }
}

void TaskReader::read_field(Action& action, const Form& keyword, const Form& value) {
  static const std::vector<std::string_view> fields{":parameters", ":precondition", ":condition", ":effect",
                                                    ":duration"};
  const std::string& field = keyword.symbol->text;
  const auto set = [&](const Expression*& part, const Expression* (ExpressionReader::*reader)(const Form&)) {
    if (part != nullptr)
      messages_.error(keyword.place,
                      "the action " + quoted(action.name.text) + " has " + quoted(keyword.text) + " twice");
    part = (expressions_.*reader)(value);
  };
  if (field == ":parameters") {
    if (value.is_list())
      action.parameters = declarations_.parameters(value);
    else
      messages_.error(value.place, "parameters in parentheses were expected");
  } else if (field == ":condition" || field == ":precondition") {
    set(action.condition, &ExpressionReader::condition);
  } else if (field == ":effect") {
    set(action.effect, &ExpressionReader::effect);
  } else if (field == ":duration" && action.is_durative) {
    set(action.duration, &ExpressionReader::duration);
  } else if (field == ":duration") {
    messages_.error(keyword.place, "an ':action' has no duration; a ':durative-action' has one");
  } else {
    messages_.error(keyword.place,
                    quoted(keyword.text) + " is no part of an action" + suggestion(field, fields));
  }
}

/// The time of a fact `(at 5 F)`; `at` with anything else is a predicate.
std::optional<rational> TaskReader::time_of_fact(const Form& form) {
  if (!form.is_call("at") || form.items.size() != 3 || form.items[1]->kind != FormKind::number ||
      !form.items[2]->is_list())
    return std::nullopt;
  const std::optional<rational> time = read_number(form.items[1]->text);
  if (!time)
    messages_.error(form.items[1]->place,
                    "the number " + quoted(form.items[1]->text) + " is too large or has too many digits");
  else if (*time < rational(0))
    messages_.error(form.items[1]->place, "the time of a fact lies before the start");
  return time.value_or(rational(0));
}

void TaskReader::read_fact(const Form& form, const std::optional<rational>& time) {
  if (form.is_call("and")) {
    for (const Form* item : form.items.subspan(1)) read_fact(*item, time);
    return;
  }
  if (form.is_call("=")) {
    if (form.items.size() != 3) {
      messages_.error(form.place, "'=' takes a function and a number");
      return;
    }
    const Expression* const target = expressions_.number(*form.items[1]);
    const Expression* const value = expressions_.number(*form.items[2]);
    if (target == nullptr || value == nullptr) return;
    if (target->kind != Kind::function || value->kind != Kind::number)
      messages_.error(form.place, "the initial state gives a function a number, as in (= (f a) 5)");
    else
      add_fact(*target, true, value->value, time);
    return;
  }
  if (!time)
    if (const std::optional<rational> at = time_of_fact(form)) return read_fact(*form.items[2], at);
  const bool is_negated = form.is_call("not") && form.items.size() == 2;
  const Expression* const atom = expressions_.condition(is_negated ? *form.items[1] : form);
  if (atom == nullptr || atom->kind == Kind::truth) return;
  if (atom->kind != Kind::atom)
    messages_.error(form.place,
                    "a fact was expected, such as (p a), (not (p a)), (= (f a) 5) or (at 3 (p a))");
  else
    add_fact(*atom, !is_negated, rational(), time);
}

void TaskReader::add_fact(const Expression& atom, bool holds, const rational& value,
                          const std::optional<rational>& time) {
  Fact fact{atom.place, atom.fluent, {}, holds, value, time};
  for (const Expression* argument : atom.operands) fact.arguments.push_back(argument->object);
  task_.facts.push_back(std::move(fact));
}

void TaskReader::read_metric(const Form& section) {
  const auto items = section.items;
  const bool is_maximized = items.size() > 1 && items[1]->is_name("maximize");
  if (items.size() != 3 || (!is_maximized && !items[1]->is_name("minimize"))) {
    messages_.error(section.place, "'(:metric minimize E)' or '(:metric maximize E)' was expected");
    return;
  }
  const Expression* const expression = expressions_.number(*items[2]);
  if (expression == nullptr) return;
  if (task_.metric) messages_.error(section.place, "the problem has two metrics");
  task_.metric = Metric{section.place, is_maximized, expression};
}

}  // namespace

void read_task(const std::vector<const Form*>& forms, Task& task, SymbolTable& symbols, Messages& messages) {
  TaskReader(task, symbols, messages).read(forms);
}

}  // namespace zorvel::pddl
