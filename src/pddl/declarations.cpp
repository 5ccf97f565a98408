#include "pddl/declarations.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>

namespace zorvel::pddl {

namespace {

// Names longer than this are not compared: the cost is their product.
constexpr std::size_t longest_compared = 100;

/// The changes of one letter, or swaps of two neighbours, from one word to the other; `limit` if that many do
/// not do.
std::size_t edit_distance(std::string_view a, std::string_view b, std::size_t limit) {
  std::vector<std::size_t> before, last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], before[j - 2] + 1);
    }
    if (*std::min_element(row.begin(), row.end()) >= limit) return limit;
    before = last;
    std::swap(last, row);
  }
  return std::min(last[b.size()], limit);
}

bool has_same_types(const Fluent& a, const std::vector<const Variable*>& parameters) {
  return std::equal(a.parameters.begin(), a.parameters.end(), parameters.begin(), parameters.end(),
                    [](const Variable* x, const Variable* y) { return x->sort == y->sort; });
}

template <class Table>
std::vector<std::string_view> names_in(const Table& table) {
  std::vector<std::string_view> names;
  for (const auto& [symbol, declared] : table) names.push_back(symbol->text);
  std::sort(names.begin(), names.end());
  return names;
}

std::string count_text(std::size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

Name name_of(const Form& form) {
  return {form.symbol, std::string(form.kind == FormKind::variable ? form.text.substr(1) : form.text),
          form.place};
}

std::string suggestion(const std::string& name, const std::vector<std::string_view>& candidates) {
  if (name.size() < 2 || name.size() > longest_compared) return {};
  // One change for a short word, two for one of six letters and more.
  std::size_t best = name.size() < 6 ? 2 : 3;
  std::string_view nearest;
  for (const std::string_view candidate : candidates) {
    if (candidate.size() > name.size() + best || candidate.size() + best < name.size()) continue;
    const std::size_t distance = edit_distance(name, candidate, best);
    if (distance >= best) continue;
    best = distance;
    nearest = candidate;
  }
  return nearest.empty() ? "" : "; did you mean " + quoted(nearest) + "?";
}

Declarations::Declarations(Task& task, SymbolTable& symbols, Messages& messages)
    : task_(task), symbols_(symbols), messages_(messages) {
  Type& object = task_.types.emplace_back();
  object.name.symbol = symbols_.find_or_make("object");
  object.name.text = "object";
  types_[object.name.symbol] = &object;
}

std::vector<Declarations::TypedForm> Declarations::typed_list(const Form& list, std::size_t first,
                                                              FormKind kind, const char* what) {
  std::vector<TypedForm> result;
  std::size_t untyped = 0;  // the first that waits for a type
  for (std::size_t i = first; i < list.items.size(); ++i) {
    const Form& item = *list.items[i];
    if (item.is_name("-")) {
      if (i + 1 == list.items.size()) {
        messages_.error(item.place, "a type is missing behind '-'");
        break;
      }
      if (untyped == result.size())
        messages_.error(item.place, std::string("before '-', ") + what + " was expected");
      const Form* const type = list.items[++i];
      for (; untyped < result.size(); ++untyped) result[untyped].type = type;
    } else if (item.kind == kind) {
      result.push_back({&item, nullptr});
    } else if (item.is_list()) {
      messages_.error(item.place, std::string("a form in place of ") + what);
    } else {
      messages_.error(item.place, quoted(item.text) + " in place of " + what);
    }
  }
  return result;
}

Type* Declarations::find_type(const Symbol* symbol) const {
  const auto found = types_.find(symbol);
  return found == types_.end() ? nullptr : found->second;
}

Type* Declarations::declare_type(const Form& name) {
  if (Type* const known = find_type(name.symbol)) return known;
  Type& type = task_.types.emplace_back();
  type.name = name_of(name);
  type.number = static_cast<std::uint32_t>(task_.types.size() - 1);
  return types_[name.symbol] = &type;
}

void Declarations::add_parent(Type& type, Type* parent) {
  const bool is_object = &type == &task_.types.front() && parent == &type;
  if (!is_object && std::find(type.parents.begin(), type.parents.end(), parent) == type.parents.end())
    type.parents.push_back(parent);
}

void Declarations::declare_types(const Form& section) {
  for (const auto& [name, behind_dash] : typed_list(section, 1, FormKind::name, "a type")) {
    Type& type = *declare_type(*name);
    const auto [declared, is_first] = declared_types_.try_emplace(name->symbol, name->place);
    const std::size_t old_parents = type.parents.size();
    if (behind_dash == nullptr) {
      // `object` is above everything anyway.
    } else if (behind_dash->is_call("either")) {
      for (const Form* alternative : behind_dash->items.subspan(1))
        if (alternative->kind == FormKind::name) add_parent(type, declare_type(*alternative));
    } else if (behind_dash->kind == FormKind::name) {
      add_parent(type, declare_type(*behind_dash));
    } else {
      messages_.error(behind_dash->place, "a type was expected");
    }
    if (!is_first && type.parents.size() == old_parents)
      messages_.warn(name->place, "the type " + quoted(name->text) + " is declared twice, first at " +
                                      messages_.place_text(declared->second));
  }
}

void Declarations::finish() {
  Type& object = task_.types.front();
  for (Type& type : task_.types)
    if (type.parents.empty() && &type != &object) type.parents.push_back(&object);
  // A type is sound once all its parents are; what is left inherits from itself.
  std::unordered_map<const Type*, std::vector<const Type*>> children;
  std::unordered_map<const Type*, std::size_t> unsound_parents;
  for (const Type& type : task_.types) {
    unsound_parents[&type] = type.parents.size();
    for (const Type* parent : type.parents) children[parent].push_back(&type);
  }
  std::vector<const Type*> open;
  if (object.parents.empty()) open.push_back(&object);
  std::unordered_set<const Type*> sound;
  while (!open.empty()) {
    const Type* const type = open.back();
    open.pop_back();
    sound.insert(type);
    for (const Type* child : children[type])
      if (--unsound_parents[child] == 0) open.push_back(child);
  }
  for (const Type& type : task_.types) {
    if (sound.contains(&type)) continue;
    // From here, parents that are not sound lead into the circle.
    std::vector<const Type*> path{&type};
    std::unordered_set<const Type*> seen;
    while (seen.insert(path.back()).second)
      path.push_back(*std::find_if(path.back()->parents.begin(), path.back()->parents.end(),
                                   [&](const Type* parent) { return !sound.contains(parent); }));
    const auto begin = std::find(path.begin(), path.end(), path.back());
    std::string circle;
    for (auto step = begin; step != path.end(); ++step)
      circle += (step == begin ? "" : " - ") + (*step)->name.text;
    // `object` is declared nowhere.
    const auto declared =
        std::find_if(begin, path.end(), [](const Type* step) { return step->name.place.line != 0; });
    assert(declared != path.end() && "'object' is not below itself");
    messages_.error((*declared)->name.place, "a type is below itself: " + quoted(circle));
    messages_.raise_errors();  // walks over types would not end
  }
}

Type* Declarations::type(const Form& name) {
  if (name.kind != FormKind::name) {
    messages_.error(name.place, "a type was expected");
    return nullptr;
  }
  if (Type* const found = find_type(name.symbol)) return found;
  messages_.error(name.place, "the type " + quoted(name.text) + " is not declared" +
                                  suggestion(name.symbol->text, names_in(types_)));
  return nullptr;
}

std::vector<Type*> Declarations::types(const Form* form) {
  if (form == nullptr) return {&task_.types.front()};
  std::vector<Type*> result;
  if (!form->is_call("either")) {
    if (Type* const only = type(*form)) result.push_back(only);
    return result;
  }
  for (const Form* alternative : form->items.subspan(1))
    if (Type* const found = type(*alternative)) result.push_back(found);
  return result;
}

void Declarations::declare_objects(const Form& section) {
  // Many objects share what stands behind one dash.
  const Form* last_form = nullptr;
  std::vector<Type*> last_types = types(nullptr);
  for (const auto& [name, behind_dash] : typed_list(section, 1, FormKind::name, "an object")) {
    if (behind_dash != last_form) last_types = types(last_form = behind_dash);
    Object*& object = objects_[name->symbol];
    if (object == nullptr) {
      object = &task_.objects.emplace_back();
      object->name = name_of(*name);
      object->number = static_cast<std::uint32_t>(task_.objects.size() - 1);
      object->types = last_types;
      continue;
    }
    bool is_new_type = false;
    for (Type* type : last_types)
      if (std::find(object->types.begin(), object->types.end(), type) == object->types.end()) {
        object->types.push_back(type);
        is_new_type = true;
      }
    if (!is_new_type)
      messages_.warn(name->place, "the object " + quoted(name->text) + " is declared twice, first at " +
                                      messages_.place_text(object->name.place));
  }
}

std::vector<const Variable*> Declarations::parameters(const Form& list) {
  std::vector<const Variable*> result = typed_variables(list, 0);
  std::unordered_set<const Symbol*> seen;
  for (const Variable* parameter : result)
    if (!seen.insert(parameter->name.symbol).second)
      messages_.error(parameter->name.place,
                      "the parameter " + quoted("?" + parameter->name.text) + " is declared twice");
  return result;
}

std::vector<const Variable*> Declarations::typed_variables(const Form& list, std::size_t first) {
  std::vector<const Variable*> result;
  for (const auto& [name, behind_dash] : typed_list(list, first, FormKind::variable, "a parameter")) {
    std::vector<Type*> of_types = types(behind_dash);
    if (of_types.empty()) of_types = types(nullptr);  // an error was noted
    result.push_back(task_.add_variable(name_of(*name), task_.sort({of_types.begin(), of_types.end()})));
  }
  return result;
}

void Declarations::declare_fluent(FluentTable& table, const Form& declaration, bool is_function) {
  const char* const what = is_function ? "function" : "predicate";
  if (!declaration.is_list() || declaration.items.empty() || declaration.items[0]->kind != FormKind::name) {
    messages_.error(declaration.place, std::string("a ") + what + " was expected, such as (" +
                                           (is_function ? "distance" : "visited") + " ?x - place)");
    return;
  }
  const Form& name = *declaration.items[0];
  std::vector<const Variable*> declared = typed_variables(declaration, 1);
  for (const Fluent* other : table[name.symbol]) {
    if (other->parameters.size() != declared.size()) continue;
    const std::string text = std::string("the ") + what + " " + quoted(name.text) +
                             " is declared twice, first at " + messages_.place_text(other->name.place);
    if (has_same_types(*other, declared))
      messages_.warn(name.place, text);
    else
      messages_.error(name.place, text + " with other types");
    return;
  }
  Fluent& fluent = task_.fluents.emplace_back();
  fluent.name = name_of(name);
  fluent.is_function = is_function;
  fluent.parameters = std::move(declared);
  fluent.number = static_cast<std::uint32_t>(task_.fluents.size() - 1);
  table[name.symbol].push_back(&fluent);
}

void Declarations::declare_predicates(const Form& section) {
  for (const Form* declaration : section.items.subspan(1)) declare_fluent(predicates_, *declaration, false);
}

void Declarations::declare_functions(const Form& section) {
  for (std::size_t i = 1; i < section.items.size(); ++i) {
    const Form& item = *section.items[i];
    if (!item.is_name("-")) {
      declare_fluent(functions_, item, true);
    } else if (++i == section.items.size()) {
      messages_.error(item.place, "a type is missing behind '-'");
    } else if (!section.items[i]->is_name("number")) {
      messages_.error(section.items[i]->place,
                      "object fluents are not planned for: a function can only be of type number");
    }
  }
}

const Object* Declarations::find_object(const Symbol* symbol) const {
  const auto found = objects_.find(symbol);
  return found == objects_.end() ? nullptr : found->second;
}

const Object* Declarations::object(const Form& name) {
  if (const Object* const found = find_object(name.symbol)) return found;
  messages_.error(name.place, "the object " + quoted(name.text) + " is not declared" +
                                  suggestion(name.symbol->text, names_in(objects_)));
  return nullptr;
}

const Fluent* Declarations::find_function(const Symbol* symbol, std::size_t arguments) const {
  const auto found = functions_.find(symbol);
  if (found == functions_.end()) return nullptr;
  for (const Fluent* fluent : found->second)
    if (fluent->parameters.size() == arguments) return fluent;
  return nullptr;
}

const Fluent* Declarations::find_predicate(const Symbol* symbol, std::size_t arguments) const {
  const auto found = predicates_.find(symbol);
  if (found == predicates_.end()) return nullptr;
  for (const Fluent* fluent : found->second)
    if (fluent->parameters.size() == arguments) return fluent;
  return nullptr;
}

const Fluent* Declarations::fluent(const FluentTable& table, const char* what, const Form& name,
                                   std::size_t arguments) {
  const auto found = table.find(name.symbol);
  if (found == table.end()) {
    const bool is_other = (&table == &predicates_ ? functions_ : predicates_).contains(name.symbol);
    messages_.error(name.place, std::string("the ") + what + " " + quoted(name.text) + " is not declared" +
                                    (is_other ? std::string("; it is a ") +
                                                    (&table == &predicates_ ? "function" : "predicate")
                                              : suggestion(name.symbol->text, names_in(table))));
    return nullptr;
  }
  for (const Fluent* fluent : found->second)
    if (fluent->parameters.size() == arguments) return fluent;
  const Fluent& declared = *found->second.front();
  messages_.error(name.place, "the " + std::string(what) + " " + quoted(name.text) + " has " +
                                  count_text(arguments, "argument") + ", not " +
                                  count_text(declared.parameters.size(), "argument") + " as in " +
                                  to_text(declared) + " at " + messages_.place_text(declared.name.place));
  return nullptr;
}

}  // namespace zorvel::pddl
