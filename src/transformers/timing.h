#pragma once

#include <optional>

#include "core/numbers.h"
#include "model/expression_factory.h"

namespace zorvel::model {

/// A moment relative to the start (`from_start`: start + k) or the end (end - k) of an action or a plan.
struct Timing {
  bool from_start;
  rational k;
  friend bool operator==(const Timing&, const Timing&) = default;
};

/// Reads a time anchor: `start`, `start + k`, `end`, `end - k`, or a bare number k, which counts from the
/// start. The anchor is simplified first, so that k may be any expression that folds to a number. No value
/// for anything else.
std::optional<Timing> read_timing(ExpressionFactory& factory, Node* anchor);

/// The same, but anything else raises InternalError with an empty message.
Timing timing(ExpressionFactory& factory, Node* anchor);

/// Whether an interval holds no moment, as far as its ends say: both are measured from the same side, and the
/// last lies before the first, or the two are one moment that is excluded.
bool is_empty_interval(ExpressionFactory& factory, Node* interval);

/// The point interval of a simulated effect's timing, which may be an interval or a bare anchor; simplified,
/// so that equal moments written alike are one node.
Node* point_interval_of(ExpressionFactory& factory, Node* interval_or_anchor);

}  // namespace zorvel::model
