#include "transformers/timing.h"

#include "core/errors.h"
#include "model/walkers/expression_simplifier.h"

namespace zorvel::model {

namespace {

/// The anchor as it stands, without simplification.
std::optional<Timing> match(const ExpressionFactory& factory, const Node* anchor) {
  using F = ExpressionFactory;
  if (F::is_start_anchor(anchor)) return Timing{true, 0};
  if (F::is_end_anchor(anchor)) return Timing{false, 0};
  if (F::is_numeric_constant(anchor)) return Timing{true, factory.get_numeric_constant(anchor)};
  // why arity 1: the simplifier drops the zero of `start + 0` and keeps the sum.
  if (F::is_plus(anchor) && anchor->arity == 1) return match(factory, anchor->children[0]);
  if (anchor->arity != 2 || !F::is_numeric_constant(anchor->children[1])) return std::nullopt;
  const bool start_plus = F::is_plus(anchor) && F::is_start_anchor(anchor->children[0]);
  const bool end_minus = F::is_minus(anchor) && F::is_end_anchor(anchor->children[0]);
  if (!start_plus && !end_minus) return std::nullopt;
  return Timing{start_plus, factory.get_numeric_constant(anchor->children[1])};
}

}  // namespace

std::optional<Timing> read_timing(ExpressionFactory& factory, Node* anchor) {
  if (auto result = match(factory, anchor)) return result;
  return match(factory, ExpressionSimplifier(factory.env())(anchor));
}

Timing timing(ExpressionFactory& factory, Node* anchor) {
  if (auto result = read_timing(factory, anchor)) return *std::move(result);
  throw InternalError("Found a time that cannot be read: ") << print_expression{anchor};
}

bool is_empty_interval(ExpressionFactory& factory, Node* interval) {
  if (interval->arity != 2) return false;
  const auto from = read_timing(factory, interval->children[0]);
  const auto to = read_timing(factory, interval->children[1]);
  if (!from || !to || from->from_start != to->from_start) return false;
  const rational length = from->from_start ? to->k - from->k : from->k - to->k;
  const bool is_closed = factory.is_left_closed(interval) && factory.is_right_closed(interval);
  return length < rational(0) || (length == rational(0) && !is_closed);
}

Node* point_interval_of(ExpressionFactory& factory, Node* interval_or_anchor) {
  Node* const interval = ExpressionFactory::is_interval(interval_or_anchor)
                             ? interval_or_anchor
                             : factory.make_point_interval(interval_or_anchor);
  return ExpressionSimplifier(factory.env())(interval);
}

}  // namespace zorvel::model
