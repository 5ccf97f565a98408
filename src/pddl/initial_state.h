#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "pddl/messages.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

/// What is true at the start, and which predicates and functions can change at all: those that an effect of
/// an action or a timed fact names. What cannot change is known before anything is planned.
class InitialState {
 public:
  struct Row {
    std::vector<const Object*> arguments;
    bool holds = true;
    rational value;
  };

  /// Notes facts that contradict one another in `messages`.
  InitialState(const Task& task, Messages& messages);

  bool changes(const Fluent& fluent) const { return tables_[fluent.number].changes; }
  /// Whether an atom is true; false where nothing is said.
  bool holds(const Fluent& predicate, std::span<const Object* const> arguments) const;
  /// The value of a function; null where it has none.
  const rational* value(const Fluent& function, std::span<const Object* const> arguments) const;
  /// What was said of the fluent, once for all arguments, in the order of the text.
  const std::vector<Row>& rows(const Fluent& fluent) const { return tables_[fluent.number].rows; }

 private:
  using Key = std::vector<std::uint32_t>;  // numbers of objects
  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };
  struct Table {
    bool changes = false;
    std::vector<Row> rows;
    std::unordered_map<Key, std::size_t, KeyHash> row_of;
  };

  void note_changes(const Expression& effect);
  void add(const Fact& fact, Messages& messages);
  const Row* find(const Fluent& fluent, std::span<const Object* const> arguments) const;

  std::vector<Table> tables_;  // by number of the fluent
};

/// Whether the fact is part of the initial state, and not a change later on.
bool is_initial(const Fact& fact);

}  // namespace zorvel::pddl
