#include "pddl/initial_state.h"

namespace zorvel::pddl {

namespace {

std::vector<std::uint32_t> key_of(std::span<const Object* const> arguments) {
  std::vector<std::uint32_t> key;
  key.reserve(arguments.size());
  for (const Object* argument : arguments) key.push_back(argument->number);
  return key;
}

}  // namespace

bool is_initial(const Fact& fact) { return !fact.time || *fact.time == rational(0); }

std::size_t InitialState::KeyHash::operator()(const Key& key) const {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const std::uint32_t number : key) hash = (hash ^ number) * 0x100000001b3U;
  return static_cast<std::size_t>(hash ^ (hash >> 32));
}

InitialState::InitialState(const Task& task, Messages& messages) : tables_(task.fluents.size()) {
  for (const Action& action : task.actions)
    if (action.effect != nullptr) note_changes(*action.effect);
  for (const Fact& fact : task.facts)
    if (is_initial(fact))
      add(fact, messages);
    else
      tables_[fact.fluent->number].changes = true;
}

void InitialState::note_changes(const Expression& effect) {
  if (effect.kind == ExpressionKind::when) return note_changes(*effect.operands[1]);
  if (effect.fluent != nullptr) tables_[effect.fluent->number].changes = true;
  // Of a numeric effect, only the target changes.
  const bool is_numeric = !effect.operands.empty() && effect.kind >= ExpressionKind::assign &&
                          effect.kind <= ExpressionKind::scale_down;
  if (is_numeric) return note_changes(*effect.operands[0]);
  for (const Expression* operand : effect.operands) note_changes(*operand);
}

void InitialState::add(const Fact& fact, Messages& messages) {
  Table& table = tables_[fact.fluent->number];
  const auto [entry, is_new] = table.row_of.try_emplace(key_of(fact.arguments), table.rows.size());
  if (is_new) {
    table.rows.push_back({fact.arguments, fact.holds, fact.value});
    return;
  }
  Row& row = table.rows[entry->second];
  if (row.holds == fact.holds && row.value == fact.value) return;
  messages.warn(fact.place, "the initial state says something else of " + quoted(fact.fluent->name.text) +
                                (fact.fluent->is_function ? " before; this is taken"
                                                          : " before; it is taken to be true"));
  row.holds = row.holds || fact.holds;
  row.value = fact.value;
}

const InitialState::Row* InitialState::find(const Fluent& fluent,
                                            std::span<const Object* const> arguments) const {
  const Table& table = tables_[fluent.number];
  const auto found = table.row_of.find(key_of(arguments));
  return found == table.row_of.end() ? nullptr : &table.rows[found->second];
}

bool InitialState::holds(const Fluent& predicate, std::span<const Object* const> arguments) const {
  const Row* const row = find(predicate, arguments);
  return row != nullptr && row->holds;
}

const rational* InitialState::value(const Fluent& function, std::span<const Object* const> arguments) const {
  const Row* const row = find(function, arguments);
  return row == nullptr ? nullptr : &row->value;
}

}  // namespace zorvel::pddl
