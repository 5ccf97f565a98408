#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "model/parameter.h"
#include "search/frame/evaluation_tables.h"

namespace zorvel {

/// Stands in a set for every value there is.
inline constexpr ValueId any_value_id = no_value;

/// The values that slots can have, without repetition; a set with `any_value_id` has nothing else.
using ValueSets = std::vector<std::vector<ValueId>>;  // by slot

/// The numbers that a type takes; everything, if it is not numeric.
class ValueRange {
 public:
  ValueRange(const model::TypeBase& type, EvaluationTables& tables);
  bool admits(const ValueTable& values, ValueId value) const;
  bool is_integer() const { return is_integer_; }
  /// An admitted value in the form that a fluent of the type holds.
  ValueId as_held(ValueTable& values, ValueId value) const;

 private:
  ValueId lower_ = unset_value, upper_ = unset_value;  // unset: no bound
  bool is_integer_ = false;
  bool is_rational_ = false;
};

/// An expression compiled for evaluation on sets of values: the packed form of AllValuesEvaluator, with the
/// same meaning of each kind of expression.
class SetExpression {
 public:
  /// `tables` must outlive it.
  SetExpression(EvaluationTables& tables, Node* expression);

  /// The values of the expression, without repetition and valid until the next call; null where only
  /// AllValuesEvaluator has an answer or an error.
  const std::vector<ValueId>* evaluate(const ValueSets& slots);
  /// Whether the expression can be true; none where `evaluate` gives null.
  std::optional<bool> can_be_true(const ValueSets& slots);

  /// Every slot that can have a part in the values, ascending.
  const std::vector<std::uint32_t>& slots_read() const { return slots_read_; }
  /// False if `evaluate` always gives null.
  bool is_compiled() const { return is_compiled_; }

 private:
  enum class Op : std::uint8_t {
    constant,
    slot,
    slot_of,   // of a fluent's arguments
    value_of,  // of a constant's arguments
    logical_not,
    logical_and,
    logical_or,
    imply,
    iff,
    equals,
    less,
    less_or_equal,
    greater,
    greater_or_equal,
    sum,
    product,
    difference,
    quotient
  };
  struct Step {
    Op op = Op::constant;
    std::uint32_t slot = 0;
    std::uint32_t first_operand = 0, operands = 0;  // in operands_, numbers of earlier steps
    const ArgumentTable* table = nullptr;
    ConstantTable* constant = nullptr;
    std::uint32_t first_range = 0;  // of the parameters, in ranges_
    std::vector<ValueId> values;    // scratch, or the value of a constant
  };

  bool compile(Node* node, Step& step);
  bool compile_application(Node* node, const model::ParameterVector& parameters, Step& step);
  bool run(Step& step, const ValueSets& slots);
  void run_connective(Step& step);
  void run_comparison(Step& step);
  void run_arithmetic(Step& step);
  bool run_application(Step& step, const ValueSets& slots);
  const std::vector<ValueId>& operand(const Step& step, std::size_t number) const {
    return *results_[operands_[step.first_operand + number]];
  }

  EvaluationTables& tables_;
  std::vector<Step> steps_;  // operands first; the last one is the expression
  std::vector<std::uint32_t> operands_;
  std::vector<ValueRange> ranges_;
  std::vector<const std::vector<ValueId>*> results_;  // by step
  std::vector<std::uint32_t> slots_read_;
  std::vector<std::vector<ValueId>> choices_;  // scratch: the arguments of an application
  bool is_compiled_ = true;
};

/// Calls `visit` with every choice of one member of each list, until it gives false; whether it never did.
template <class Visit>
bool for_each_choice(const std::vector<std::vector<ValueId>>& lists, const Visit& visit) {
  std::vector<std::size_t> positions(lists.size(), 0);
  std::vector<ValueId> choice(lists.size());
  for (const auto& list : lists)
    if (list.empty()) return true;
  while (true) {
    for (std::size_t i = 0; i < lists.size(); ++i) choice[i] = lists[i][positions[i]];
    if (!visit(choice)) return false;
    std::size_t i = lists.size();
    while (i > 0 && ++positions[i - 1] == lists[i - 1].size()) positions[--i] = 0;
    if (i == 0) return true;
  }
}

/// Removes repetitions, and everything else where any value is among them.
void make_set(std::vector<ValueId>& values);

}  // namespace zorvel
