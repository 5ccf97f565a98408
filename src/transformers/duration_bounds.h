#pragma once

#include "core/numbers.h"
#include "model/expression_factory.h"
#include "plans/bound.h"

// Statements on the duration of an action: which expressions are some, and what they allow.

namespace zorvel::model {

/// The statement with comparisons like `2 <= duration` turned round, in conjunctions too.
Node* with_duration_first(ExpressionFactory& factory, Node* expression);

/// The statement, which has to limit the duration by something else: `duration <= x` and the like, or their
/// `and`. Anything else raises UnsupportedProblemError "No limit on a duration can be read
/// from " and the statement.
Node* require_limit(ExpressionFactory& factory, Node* statement);

/// Tightens the bounds by `duration <= c`, `<`, `>=`, `>`, `==` or `:=` with a number c, or the same with the
/// sides exchanged, or a conjunction of such; the expression is simplified first. Anything else raises
/// UnsupportedProblemError "No limit on a duration can be read from " and the expression.
void update_duration_bound(ExpressionFactory& factory, Node* expression, DurationBounds& bounds);

/// The same for statements that may be unreadable: false in place of the error, and then the bounds are not
/// to be used.
[[nodiscard]] bool read_duration_bound(ExpressionFactory& factory, Node* expression, DurationBounds& bounds);

/// The bounds as one statement on the duration: `duration == c`, or the `and` of the clauses that hold.
Node* update_duration_expression(ExpressionFactory& factory, const DurationBounds& bounds);

/// Whether the bounds allow this duration.
bool admits(const DurationBounds& bounds, const rational& duration);

/// Whether the expression holds the duration anchor anywhere.
bool reads_duration(ExpressionFactory& factory, Node* expression);

/// The body of a timed statement on the duration, such as `[start] duration >= 2`; any other expression as it
/// is. The duration is one number for the whole action, so the interval says nothing, unless the statement
/// reads fluents elsewhere than at the start: that is a condition, and it is left alone.
Node* without_timing_of_duration(ExpressionFactory& factory, Node* expression);

/// The duration by which the points of an action are put in order. `max_from_start` and `max_from_end` are
/// the largest offsets of its points, from 0. The bounds are looked at only if both are above 0: the middle
/// of a bounded range, else a duration at which no point measured from the end precedes one measured from the
/// start.
rational ordering_duration(const DurationBounds& bounds, const rational& max_from_start,
                           const rational& max_from_end);

}  // namespace zorvel::model
