#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "pddl/initial_state.h"
#include "pddl/messages.h"
#include "pddl/tree.h"

namespace zorvel::pddl {

/// Which object each variable of a task stands for; null where that is open.
class Binding {
 public:
  explicit Binding(const Task& task) : objects_(task.variable_count(), nullptr) {}
  const Object* operator[](const Variable& variable) const { return objects_[variable.number]; }
  void set(const Variable& variable, const Object* object) { objects_[variable.number] = object; }

 private:
  std::vector<const Object*> objects_;  // by number of the variable
};

/// Takes quantifiers out of expressions: `forall` becomes a conjunction and `exists` a disjunction over the
/// objects. What can be decided before anything is planned is decided first: atoms and numbers that never
/// change, and equalities of objects. What is left speaks of parameters of the action and of what changes.
class Expansion {
 public:
  /// A formula of more operands is refused.
  static constexpr std::size_t max_operands = 100000;

  /// With `at_start`, also what may change is taken to be known: as the initial state has it.
  Expansion(Task& task, const InitialState& initial_state, Messages& messages, bool at_start = false)
      : task_(task), initial_state_(initial_state), messages_(messages), at_start_(at_start) {}

  /// An equal condition without quantifiers and implications, with the bound variables replaced. A formula
  /// that grows too large is noted as an error, once, and `falsity` is returned.
  const Expression* condition(const Expression& expression, const Binding& binding);
  /// An equal number, with the bound variables replaced; an operation on known numbers is computed. A number
  /// that is needed and has no value is left as it is.
  const Expression* number(const Expression& expression, const Binding& binding);
  /// The target of an effect with the bound variables replaced.
  const Expression* target(const Expression& expression, const Binding& binding);

  /// Calls `use` with each choice of objects for the variables, which are bound in `binding` during the call.
  /// `is_excluded` may cut short choices of the first few; it is asked after each variable.
  template <class Excluded, class Use>
  static void for_each_choice(const std::vector<const Variable*>& variables, Binding& binding,
                              const Excluded& is_excluded, const Use& use, std::size_t next = 0) {
    if (next == variables.size()) {
      use();
      return;
    }
    for (const Object* object : variables[next]->sort->objects) {
      binding.set(*variables[next], object);
      if (!is_excluded()) for_each_choice(variables, binding, is_excluded, use, next + 1);
    }
    binding.set(*variables[next], nullptr);
  }

  /// What a condition is known to be under a binding; nothing if that depends on what is not bound or
  /// changes.
  std::optional<bool> decide(const Expression& expression, const Binding& binding) const;

 private:
  bool is_known(const Fluent& fluent) const { return at_start_ || !initial_state_.changes(fluent); }
  std::optional<rational> compute(const Expression& expression, const Binding& binding) const;
  std::optional<bool> decide_atom(const Expression& atom, const Binding& binding) const;
  std::optional<bool> decide_equality(const Expression& equality, const Binding& binding) const;
  std::optional<bool> decide_comparison(const Expression& comparison, const Binding& binding) const;
  const Expression* expand(const Expression& expression, Binding& binding);
  const Expression* expand_list(const Expression& expression, Binding& binding);
  const Expression* expand_quantifier(const Expression& expression, Binding& binding);
  void join(ExpressionKind kind, const Expression* operand, std::vector<const Expression*>& operands);
  const Expression* negate(const Expression* expression);
  const Expression* known(bool value, const Place& place);
  const Expression* replace_arguments(const Expression& expression, const Binding& binding);
  const Expression* replace(const Expression& argument, const Binding& binding);
  void count_operand(const Place& place);

  struct TooLarge {};

  Task& task_;
  const InitialState& initial_state_;
  Messages& messages_;
  bool at_start_;
  std::size_t operands_ = 0;  // of the formula at hand
};

}  // namespace zorvel::pddl
