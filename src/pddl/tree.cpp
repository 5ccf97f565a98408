#include "pddl/tree.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>

namespace zorvel::pddl {

namespace {

struct ByNumber {
  bool operator()(const Object* a, const Object* b) const { return a->number < b->number; }
};

}  // namespace

const Sort* Task::sort(std::vector<const Type*> of_types) {
  std::sort(of_types.begin(), of_types.end(),
            [](const Type* a, const Type* b) { return a->name.symbol->text < b->name.symbol->text; });
  of_types.erase(std::unique(of_types.begin(), of_types.end()), of_types.end());
  const auto [entry, is_new] = sorts_.try_emplace(of_types);
  if (is_new) {
    entry->second.types = std::move(of_types);
    sort_order_.push_back(&entry->second);
    if (has_objects_) fill(entry->second);
  }
  return &entry->second;
}

void Task::fill(Sort& sort) const {
  // why only here, and not a list for each type: in a deep hierarchy all of them together would be long.
  std::vector<const Type*> open = sort.types;
  std::unordered_set<const Type*> seen(open.begin(), open.end());
  while (!open.empty()) {
    const Type* const type = open.back();
    open.pop_back();
    sort.objects.insert(sort.objects.end(), type->objects.begin(), type->objects.end());
    for (const Type* child : type->children)
      if (seen.insert(child).second) open.push_back(child);
  }
  std::sort(sort.objects.begin(), sort.objects.end(), ByNumber());
  sort.objects.erase(std::unique(sort.objects.begin(), sort.objects.end()), sort.objects.end());
}

void Task::collect_objects() {
  assert(!has_objects_);
  for (const Type& type : types)
    for (Type* parent : type.parents) parent->children.push_back(&type);
  for (const Object& object : objects)
    for (Type* type : object.types) type->objects.push_back(&object);
  has_objects_ = true;
  for (auto& [of_types, sort] : sorts_) fill(sort);
}

const Variable* Task::add_variable(Name name, const Sort* of_sort) {
  return &variables_.emplace_back(
      Variable{std::move(name), of_sort, static_cast<std::uint32_t>(variables_.size())});
}

void Task::widen(const Variable& variable, const Sort& more) {
  std::vector<const Type*> of_types = variable.sort->types;
  of_types.insert(of_types.end(), more.types.begin(), more.types.end());
  variables_[variable.number].sort = sort(std::move(of_types));
}

Expression* Task::add(ExpressionKind kind, const Place& place, std::vector<const Expression*> operands) {
  Expression& expression = expressions_.emplace_back();
  expression.kind = kind;
  expression.place = place;
  expression.operands = std::move(operands);
  return &expression;
}

bool is_within(const Sort& lower, const Sort& upper) {
  return &lower == &upper || std::includes(upper.objects.begin(), upper.objects.end(), lower.objects.begin(),
                                           lower.objects.end(), ByNumber());
}

bool contains(const Sort& sort, const Object& object) {
  return std::binary_search(sort.objects.begin(), sort.objects.end(), &object, ByNumber());
}

bool overlap(const Sort& a, const Sort& b) {
  if (&a == &b) return !a.objects.empty();
  const Sort& small = a.objects.size() <= b.objects.size() ? a : b;
  const Sort& large = &small == &a ? b : a;
  return std::any_of(small.objects.begin(), small.objects.end(),
                     [&](const Object* object) { return contains(large, *object); });
}

std::string to_text(const Sort& sort) {
  if (sort.types.size() == 1) return sort.types[0]->name.text;
  std::string text = "(either";
  for (const Type* type : sort.types) text += " " + type->name.text;
  return text + ")";
}

std::string to_text(const Fluent& fluent) {
  std::string text = "(" + fluent.name.text;
  for (const Variable* parameter : fluent.parameters)
    text += " ?" + parameter->name.text + " - " + to_text(*parameter->sort);
  return text + ")";
}

}  // namespace zorvel::pddl
