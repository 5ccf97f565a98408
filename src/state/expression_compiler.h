#pragma once

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "state/compiled_condition.h"
#include "state/compiled_effect.h"
#include "state/compiled_expression.h"
#include "state/state_layout.h"

namespace zorvel {

/// Compiles expressions for the states of one layout.
///
/// Work that the problem alone decides, done once before a search: references become slots, nested references
/// `f(g(a))` look-ups in a table, conjunctions of literals lists of (slot, value). Simplify expressions
/// first; nothing is folded here, so that errors stay where they are.
class ExpressionCompiler : public EnvObject {
 public:
  /// The layout is referred to by everything that is compiled.
  ExpressionCompiler(Environment& env, const StateLayout& layout);

  CompiledExpression compile(Node* expression) const;
  CompiledCondition compile_condition(Node* condition) const;
  /// `effect` is an assignment or a conjunction of assignments, timed or not; null for none.
  CompiledEffect compile_effect(Node* effect) const;
  /// The same with one simulated effect, called with `parameters`, the values of the action's parameters.
  CompiledEffect compile_effect(Node* effect, const std::shared_ptr<model::SimulatedEffectImpl>& simulated,
                                const std::vector<Node*>& parameters) const;

 private:
  class Assembler;

  /// The value in the form that a fluent or parameter of `type` holds.
  CompiledExpression compile_for(Node* expression, const model::TypeBase& type) const;
  /// The conjunct as a test of one slot, if it is one.
  std::optional<CompiledCondition::Literal> as_literal(Node* conjunct) const;
  CompiledEffect::Domain domain_of(const model::FluentImpl& fluent) const;
  /// Null if the assignment cannot be compiled.
  const CompiledEffect::Assignment* assignment(Node* statement) const;
  std::optional<CompiledEffect::Assignment> compile_assignment(Node* statement) const;

  /// A conjunct of a condition: a literal, or else a program.
  struct Conjunct {
    std::optional<CompiledCondition::Literal> literal;
    CompiledExpression program;
  };
  const Conjunct& conjunct(Node* node) const;

  const StateLayout& layout_;
  // Ground actions share most of their conjuncts and assignments; each is compiled once.
  mutable std::unordered_map<Node*, Conjunct> conjuncts_;
  mutable std::unordered_map<Node*, std::optional<CompiledEffect::Assignment>> assignments_;
};

}  // namespace zorvel
