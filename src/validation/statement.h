#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/node.h"
#include "model/action.h"
#include "model/simulated_effect.h"
#include "validation/program.h"

namespace zorvel::validation {

enum class StatementKind : std::uint8_t { CONDITION, EFFECT, SIMULATED_EFFECT };

/// A fluent reference that an effect writes. Its arguments are outputs of the statement's body.
struct Target {
  FluentId fluent;
  std::size_t first_argument;  ///< Output number.
  std::size_t arity;
  Node* reference;  ///< As written.
};

/// One end of an interval.
struct TimeAnchor {
  Program program;
  /// It names neither start nor end, and so counts from the start of what it stands in.
  bool is_offset = false;
  bool names_end = false;
};

/// One condition or effect of an action or of a problem, compiled.
struct Statement {
  StatementKind kind = StatementKind::CONDITION;
  Node* source = nullptr;     ///< The whole expression; null for a simulated effect.
  Node* condition = nullptr;  ///< The body of a condition.
  Node* value = nullptr;      ///< The right side of an effect.
  std::shared_ptr<model::SimulatedEffectImpl> simulated_effect;

  TimeAnchor lower, upper;  ///< Of a point, `upper` is not used.
  bool is_point = true;
  bool is_left_closed = true;
  bool is_right_closed = true;
  bool is_contains = false;  ///< It has to hold at some moment of the interval, not at all of them.

  /// Of a condition `e == p`, for a parameter p to which the step gives no value: what gives it one.
  struct Definition {
    std::size_t parameter;
    Program value;
  };
  std::optional<Definition> defines;

  Program body;  ///< Output 0 is the condition or the value of an effect; arguments of targets follow.
  std::vector<Target> targets;
};

/// The statements of one expression. A statement without an interval stands at the start; a conjunction of
/// assignments is as many effects.
///
/// An effect over more than a point raises InternalError "Found an effect over a non-punctual interval", one
/// on anything but a fluent InternalError "Found an unknown effect kind: " and the expression, a `contains`
/// that asks for a length UnsupportedProblemError "Unsupported contains with duration", an end of an interval
/// that is not fixed by the times of the step InvalidParameterError "Unsupported timing for expression: " and
/// the expression.
std::vector<Statement> compile_statements(FluentSlots& slots, const model::ParameterVector& parameters,
                                          Node* expression);

Statement compile_simulated_effect(FluentSlots& slots, const model::ParameterVector& parameters,
                                   const std::shared_ptr<model::SimulatedEffectImpl>& effect);

/// All statements of an action: its expressions in order of id, then its simulated effects. Steps give values
/// to the first `given` parameters; the others get them from conditions.
std::vector<Statement> compile_action(FluentSlots& slots, const model::ActionImpl& action, std::size_t given);

}  // namespace zorvel::validation
