#include "state/expression_compiler.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "model/constant.h"
#include "model/walkers/expression_simplifier.h"
#include "state/effect.h"
#include "state/operations.h"

namespace zorvel {

using model::ExpressionFactory;

namespace {

/// Slots that an expression can read: of its ground references, and all of a fluent that is applied to
/// anything else.
std::vector<std::uint32_t> slots_of_expression(const StateLayout& layout, Node* expression) {
  std::unordered_set<std::uint32_t> slots;
  std::unordered_set<Node*> seen{expression};
  std::vector<Node*> pending{expression};
  while (!pending.empty()) {
    Node* const node = pending.back();
    pending.pop_back();
    for (Node* child : node->operands())
      if (seen.insert(child).second) pending.push_back(child);
    if (!ExpressionFactory::is_fluent_reference(node)) continue;
    if (const auto found = layout.index().find(node); found != layout.index().end()) {
      slots.insert(static_cast<std::uint32_t>(found->second));
    } else if (node->arity > 0) {
      const auto fluent = layout.env().expression_factory().get_fluent_from_reference(node);
      if (const ArgumentTable* const table = layout.slots_of(*fluent))
        slots.insert(table->results().begin(), table->results().end());
    }
  }
  std::vector<std::uint32_t> sorted(slots.begin(), slots.end());
  std::ranges::sort(sorted);
  return sorted;
}

void merge_into(std::vector<std::uint32_t>& slots, std::span<const std::uint32_t> more) {
  slots.insert(slots.end(), more.begin(), more.end());
  std::ranges::sort(slots);
  slots.erase(std::unique(slots.begin(), slots.end()), slots.end());
}

/// Whether all arguments stand in the expression as values.
bool has_constant_arguments(const Node* reference) {
  return std::ranges::all_of(reference->operands(),
                             [](const Node* argument) { return ExpressionFactory::is_value(argument); });
}

}  // namespace

/// Writes the program of one expression.
///
/// The order of the instructions is that of a walk with an explicit stack, first operand first. A node with
/// several parents is computed at its first occurrence and kept in a temporary.
class ExpressionCompiler::Assembler {
 public:
  Assembler(const StateLayout& layout, Node* expression)
      : layout_(layout), factory_(layout.env().expression_factory()) {
    result_.layout_ = &layout;
    result_.expression_ = expression;
    result_.slots_read_ = slots_of_expression(layout, expression);
    count_parents(expression);
    assemble(expression);
    if (gives_up_) {
      result_.program_ = {{Op::give_up, 0}};
      result_.tables_.clear();
      result_.constants_.clear();
      result_.can_raise_ = true;
      result_.height_ = 1;
      result_.temporaries_ = 0;
    }
  }

  /// Makes the result fit for a parameter or fluent of `type`.
  void convert_to(const model::TypeBase& type) {
    if (type.is_integer() && !gives_up_) emit(Op::to_integer, 0, 0);
  }
  CompiledExpression take() { return std::move(result_); }

 private:
  using Op = CompiledExpression::Op;

  struct Frame {
    Node* node;
    std::size_t next;  // operand to be assembled
  };

  void count_parents(Node* expression) {
    std::vector<Node*> pending{expression};
    parents_.emplace(expression, 1);
    while (!pending.empty()) {
      Node* const node = pending.back();
      pending.pop_back();
      for (Node* child : node->operands())
        if (++parents_[child] == 1) pending.push_back(child);
    }
  }

  void assemble(Node* expression) {
    std::vector<Frame> frames{{expression, 0}};
    while (!frames.empty() && !gives_up_) {
      Frame& frame = frames.back();
      Node* const node = frame.node;
      if (frame.next == 0) {
        if (assemble_at_once(node)) {
          frames.pop_back();
          continue;
        }
      } else if (is_integer_parameter(node, frame.next - 1)) {
        emit(Op::to_integer, 0, 0);
      }
      if (frame.next < node->arity) {
        frames.push_back({node->children[frame.next++], 0});
      } else {
        assemble_operation(node);
        if (parents_.at(node) > 1) {
          const std::uint32_t temporary = result_.temporaries_++;
          temporaries_.emplace(node, temporary);
          emit(Op::store, temporary, 0);
        }
        frames.pop_back();
      }
    }
  }

  /// Values, references that are ground already, and what was computed before. False for anything else.
  bool assemble_at_once(Node* node) {
    if (const auto found = temporaries_.find(node); found != temporaries_.end()) {
      emit(Op::fetch, found->second, 1);
      return true;
    }
    if (ExpressionFactory::is_value(node)) {
      emit(Op::constant, layout_.values().id_of(node), 1);
      return true;
    }
    if (ExpressionFactory::is_fluent_reference(node) && has_constant_arguments(node)) {
      if (const auto slot = slot_of_ground(node))
        emit(Op::load, *slot, 1);
      else
        gives_up_ = true;
      return true;
    }
    if (ExpressionFactory::is_constant_reference(node) && has_constant_arguments(node)) {
      const ValueId value = value_of_ground(node);
      if (value != unset_value)
        emit(Op::constant, value, 1);
      else
        gives_up_ = true;
      return true;
    }
    if (node->arity == 0 && !ExpressionFactory::is_and(node) && !ExpressionFactory::is_or(node) &&
        !ExpressionFactory::is_plus(node) && !ExpressionFactory::is_times(node))
      gives_up_ = true;
    return gives_up_;
  }

  /// The slot of a reference whose arguments are values; none if evaluation raises.
  std::optional<std::uint32_t> slot_of_ground(Node* reference) const {
    if (reference->arity == 0) {
      const auto found = layout_.index().find(reference);
      return found == layout_.index().end() ? std::nullopt
                                            : std::optional(static_cast<std::uint32_t>(found->second));
    }
    const auto fluent = factory_.get_fluent_from_reference(reference);
    const ArgumentTable* const table = layout_.slots_of(*fluent);
    if (table == nullptr || fluent->arity() != reference->arity) return std::nullopt;
    const std::vector<ValueId> arguments = ids_of(fluent->parameters(), reference);
    const std::uint32_t slot = table->find(arguments.data());
    return slot == ArgumentTable::absent ? std::nullopt : std::optional(slot);
  }

  ValueId value_of_ground(Node* reference) const {
    const auto constant = factory_.get_constant_from_reference(reference);
    if (constant->arity() != reference->arity) return unset_value;
    const std::vector<ValueId> arguments = ids_of(constant->parameters(), reference);
    return layout_.values_of(constant).find(arguments.data());
  }

  std::vector<ValueId> ids_of(const model::ParameterVector& parameters, const Node* reference) const {
    std::vector<ValueId> ids;
    for (std::size_t i = 0; i < reference->arity; ++i)
      ids.push_back(layout_.values().id_of(
          model::as_argument_of(factory_, *parameters[i]->type(), reference->children[i])));
    return ids;
  }

  bool is_integer_parameter(const Node* node, std::size_t index) const {
    if (ExpressionFactory::is_fluent_reference(node)) {
      const auto fluent = factory_.get_fluent_from_reference(node);
      return index < fluent->arity() && fluent->parameters()[index]->type()->is_integer();
    }
    if (ExpressionFactory::is_constant_reference(node)) {
      const auto constant = factory_.get_constant_from_reference(node);
      return index < constant->arity() && constant->parameters()[index]->type()->is_integer();
    }
    return false;
  }

  /// The instruction of a node whose operands stand on the stack.
  void assemble_operation(Node* node) {
    const auto count = static_cast<std::uint32_t>(node->arity);
    const int change = 1 - static_cast<int>(node->arity);
    switch (node->kind()) {
      case NodeKind::NOT: emit(Op::logical_not, 0, change); return;
      case NodeKind::AND: emit(Op::logical_and, count, change); return;
      case NodeKind::OR: emit(Op::logical_or, count, change); return;
      case NodeKind::IMPLY: emit(Op::imply, 0, change); return;
      case NodeKind::IFF: emit(Op::iff, 0, change); return;
      case NodeKind::EQUALS: emit(Op::equals, 0, change); return;
      case NodeKind::LT: emit(Op::less, 0, change); return;
      case NodeKind::LE: emit(Op::less_or_equal, 0, change); return;
      case NodeKind::GT: emit(Op::greater, 0, change); return;
      case NodeKind::GE: emit(Op::greater_or_equal, 0, change); return;
      case NodeKind::PLUS: emit(Op::sum, count, change); return;
      case NodeKind::TIMES: emit(Op::product, count, change); return;
      case NodeKind::MINUS: emit(Op::difference, 0, change); return;
      case NodeKind::DIV: emit(Op::quotient, 0, change); return;
      case NodeKind::SQRT: emit(Op::square_root, 0, change); return;
      case NodeKind::FLUENT_REFERENCE: {
        const auto fluent = factory_.get_fluent_from_reference(node);
        const ArgumentTable* const table = layout_.slots_of(*fluent);
        gives_up_ = table == nullptr || table->arity() != node->arity;
        result_.tables_.push_back(table);
        emit(Op::load_of, static_cast<std::uint32_t>(result_.tables_.size() - 1), change);
        result_.can_raise_ = true;
        return;
      }
      case NodeKind::CONSTANT_REFERENCE: {
        ConstantTable& table = layout_.values_of(factory_.get_constant_from_reference(node));
        gives_up_ = table.arity() != node->arity;
        result_.constants_.push_back(&table);
        emit(Op::value_of, static_cast<std::uint32_t>(result_.constants_.size() - 1), change);
        result_.can_raise_ = true;
        return;
      }
      default: gives_up_ = true;  // nothing that has a value; the evaluator says what is wrong
    }
  }

  /// Appends an instruction that changes the height of the stack by `change`.
  void emit(Op op, std::uint32_t operand, int change) {
    result_.program_.push_back({op, operand});
    height_ += change;
    result_.height_ = std::max(result_.height_, static_cast<std::uint32_t>(height_));
  }

  const StateLayout& layout_;
  ExpressionFactory& factory_;
  CompiledExpression result_;
  int height_ = 0;
  bool gives_up_ = false;
  std::unordered_map<Node*, std::uint32_t, NodeIdHash> parents_;      // number of occurrences as an operand
  std::unordered_map<Node*, std::uint32_t, NodeIdHash> temporaries_;  // of nodes with several parents
};

ExpressionCompiler::ExpressionCompiler(Environment& env, const StateLayout& layout)
    : EnvObject(env), layout_(layout) {}

CompiledExpression ExpressionCompiler::compile(Node* expression) const {
  return Assembler(layout_, expression).take();
}

CompiledExpression ExpressionCompiler::compile_for(Node* expression, const model::TypeBase& type) const {
  Assembler assembler(layout_, expression);
  assembler.convert_to(type);
  return assembler.take();
}

std::optional<CompiledCondition::Literal> ExpressionCompiler::as_literal(Node* conjunct) const {
  const bool is_negated = ExpressionFactory::is_not(conjunct);
  Node* const atom = is_negated ? conjunct->children[0] : conjunct;
  Node* reference = atom;
  Node* value = env().expression_factory().make_boolean_constant(true);
  if (ExpressionFactory::is_equals(atom)) {
    const bool is_turned = ExpressionFactory::is_fluent_reference(atom->children[1]);
    reference = atom->children[is_turned ? 1 : 0];
    value = atom->children[is_turned ? 0 : 1];
  }
  if (!ExpressionFactory::is_fluent_reference(reference)) return std::nullopt;
  const auto slot = layout_.index().find(reference);
  if (slot == layout_.index().end()) return std::nullopt;
  const model::TypePtr type = env().expression_factory().get_fluent_from_reference(reference)->type();
  // why not numbers: one number has two ids, of its integer and of its rational.
  const bool is_boolean = type->is_boolean() && ExpressionFactory::is_boolean_constant(value);
  const bool is_object = type->is_user_defined() && ExpressionFactory::is_instance_reference(value);
  // A ground reference that is not reachable raises, and the program knows.
  if ((!is_boolean && !is_object) || compile(reference).can_raise()) return std::nullopt;
  return CompiledCondition::Literal{static_cast<std::uint32_t>(slot->second), layout_.values().id_of(value),
                                    !is_negated};
}

const ExpressionCompiler::Conjunct& ExpressionCompiler::conjunct(Node* node) const {
  if (const auto known = conjuncts_.find(node); known != conjuncts_.end()) return known->second;
  Conjunct result{as_literal(node), {}};
  if (!result.literal) result.program = compile(node);
  return conjuncts_.emplace(node, std::move(result)).first->second;
}

CompiledCondition ExpressionCompiler::compile_condition(Node* condition) const {
  CompiledCondition result;
  result.layout_ = &layout_;
  result.expression_ = condition;
  std::unordered_set<Node*> seen{condition};
  std::vector<Node*> pending{condition};
  while (!pending.empty()) {
    Node* const node = pending.back();
    pending.pop_back();
    if (ExpressionFactory::is_and(node)) {
      for (std::size_t i = node->arity; i-- > 0;)
        if (seen.insert(node->children[i]).second) pending.push_back(node->children[i]);
    } else if (node->kind() != NodeKind::TRUE) {
      const Conjunct& part = conjunct(node);
      if (part.literal) {
        result.literals_.push_back(*part.literal);
        result.slots_read_.push_back(part.literal->slot);
        continue;
      }
      const auto read = part.program.slots_read();
      result.slots_read_.insert(result.slots_read_.end(), read.begin(), read.end());
      result.rest_.push_back(part.program);
    }
  }
  merge_into(result.slots_read_, {});
  const auto middle = std::stable_partition(result.rest_.begin(), result.rest_.end(),
                                            [](const CompiledExpression& e) { return e.can_raise(); });
  result.raising_ = static_cast<std::size_t>(middle - result.rest_.begin());
  return result;
}

CompiledEffect::Domain ExpressionCompiler::domain_of(const model::FluentImpl& fluent) const {
  CompiledEffect::Domain domain;
  const model::TypePtr type = fluent.type();
  const auto take_bounds = [&](const auto& numeric, const auto& make) {
    domain.is_numeric = true;
    if (numeric.has_lower_bound()) domain.lower = layout_.values().id_of(make(numeric.lower_bound()));
    if (numeric.has_upper_bound()) domain.upper = layout_.values().id_of(make(numeric.upper_bound()));
  };
  ExpressionFactory& factory = env().expression_factory();
  if (type->is_integer()) {
    domain.is_integer = true;
    take_bounds(static_cast<const model::IntegerTypeBase&>(*type),
                [&](const integer& bound) { return factory.make_integer_constant(bound); });
  } else if (type->is_rational()) {
    domain.is_rational = true;
    take_bounds(static_cast<const model::RationalTypeBase&>(*type),
                [&](const rational& bound) { return factory.make_rational_constant(bound); });
  }
  return domain;
}

const CompiledEffect::Assignment* ExpressionCompiler::assignment(Node* statement) const {
  auto known = assignments_.find(statement);
  if (known == assignments_.end())
    known = assignments_.emplace(statement, compile_assignment(statement)).first;
  return known->second ? &*known->second : nullptr;
}

std::optional<CompiledEffect::Assignment> ExpressionCompiler::compile_assignment(Node* statement) const {
  std::unique_ptr<Effect> effect;
  try {
    effect = get_effect(env().expression_factory(), statement, nullptr);
  } catch (const InternalError&) {
    return std::nullopt;  // it is raised when the effect takes place, as the plain operation does
  }
  if (effect == nullptr) return std::nullopt;
  CompiledEffect::Assignment assignment;
  assignment.value = compile(effect->value);
  assignment.domain = domain_of(*effect->fluent);

  Node* const reference =
      env().expression_factory().make_fluent_reference(effect->fluent, effect->parameters);
  if (const auto slot = layout_.index().find(reference); slot != layout_.index().end()) {
    assignment.slot = static_cast<std::uint32_t>(slot->second);
    return assignment;
  }
  assignment.table = layout_.slots_of(*effect->fluent);
  if (assignment.table == nullptr || assignment.table->arity() != effect->parameters.size())
    return std::nullopt;
  for (std::size_t i = 0; i < effect->parameters.size(); ++i)
    assignment.arguments.push_back(
        compile_for(effect->parameters[i], *effect->fluent->parameters()[i]->type()));
  return assignment;
}

CompiledEffect ExpressionCompiler::compile_effect(Node* effect) const {
  CompiledEffect result;
  result.layout_ = &layout_;
  result.expression_ = effect;
  if (effect == nullptr) return result;
  const std::span<Node* const> assignments =
      ExpressionFactory::is_and(effect) ? effect->operands() : std::span<Node* const>(&effect, 1);
  const auto append = [](std::vector<std::uint32_t>& slots, std::span<const std::uint32_t> more) {
    slots.insert(slots.end(), more.begin(), more.end());
  };
  for (Node* statement : assignments) {
    const CompiledEffect::Assignment* const known = assignment(statement);
    if (known == nullptr) {
      result.is_plain_ = true;
      const auto slots = slots_of_expression(layout_, statement);
      append(result.slots_read_, slots);
      append(result.slots_written_, slots);
      continue;
    }
    append(result.slots_read_, known->value.slots_read());
    for (const CompiledExpression& argument : known->arguments)
      append(result.slots_read_, argument.slots_read());
    if (known->table != nullptr)
      append(result.slots_written_, known->table->results());
    else
      result.slots_written_.push_back(known->slot);
    result.assignments_.push_back(*known);
  }
  merge_into(result.slots_read_, {});
  merge_into(result.slots_written_, {});
  return result;
}

CompiledEffect ExpressionCompiler::compile_effect(
    Node* effect, const std::shared_ptr<model::SimulatedEffectImpl>& simulated,
    const std::vector<Node*>& parameters) const {
  CompiledEffect result = compile_effect(effect);
  if (simulated == nullptr) return result;
  result.simulated_ = simulated;
  result.parameters_ = parameters;
  result.slots_read_.resize(layout_.slots());
  for (std::size_t slot = 0; slot < layout_.slots(); ++slot)
    result.slots_read_[slot] = static_cast<std::uint32_t>(slot);
  for (Node* fluent : simulated->fluents)
    merge_into(result.slots_written_, slots_of_expression(layout_, fluent));
  return result;
}

}  // namespace zorvel
