#include "transformers/clashing_effects.h"

#include <algorithm>
#include <optional>
#include <set>
#include <tuple>
#include <vector>

#include "core/errors.h"
#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_simplifier.h"
#include "transformers/timing.h"

namespace zorvel::model {

namespace {

using F = ExpressionFactory;

/// The moments at which references are written.
class Writes {
 public:
  explicit Writes(Environment& env) : factory_(env.expression_factory()), simplify_(env) {}

  /// A reference that the statement writes and that was written at its moment before; null if there is none.
  Node* add_statement(Node* statement) {
    const bool is_timed = F::is_temporal_expression(statement);
    if (is_timed && (!F::is_interval(statement->children[0]) || statement->children[0]->arity != 1))
      return nullptr;
    Node* const body = is_timed ? statement->children[1] : statement;
    const auto effects = F::is_and(body) ? body->operands() : std::span<Node* const>(&body, 1);
    Node* const anchor = is_timed ? statement->children[0]->children[0] : factory_.make_start_anchor();
    for (Node* effect : effects)
      if (F::is_assign(effect) && F::is_fluent_reference(effect->children[0]) &&
          !add(anchor, effect->children[0]))
        return effect->children[0];
    return nullptr;
  }

  /// False if the reference was written at this moment before.
  bool add(Node* anchor, Node* reference) {
    const auto time = read_timing(factory_, anchor);
    return !time || written_.emplace(time->from_start, time->k, simplify_(reference)->id).second;
  }

 private:
  F& factory_;
  ExpressionSimplifier simplify_;
  std::set<std::tuple<bool, rational, std::uint64_t>> written_;
};

}  // namespace

bool has_clashing_effects(const ActionImpl& action) {
  Writes writes(action.env());
  for (Node* statement : action.expressions())
    if (writes.add_statement(statement) != nullptr) return true;
  for (const auto& effect : action.simulated_effects()) {
    Node* const anchor = point_interval_of(action.env().expression_factory(), effect->timing)->children[0];
    for (Node* reference : effect->fluents)
      if (!writes.add(anchor, reference)) return true;
  }
  return false;
}

bool has_clashing_effects(const ProblemInstanceImpl& problem) {
  return std::ranges::any_of(problem.actions(),
                             [](const auto& entry) { return has_clashing_effects(*entry.second); });
}

void refuse_clashing_effects(const ProblemInstanceImpl& problem) {
  Writes writes(problem.env());
  F& factory = problem.env().expression_factory();
  for (Node* statement : problem.expressions()) {
    // Initial values have an error of their own.
    if (!F::is_temporal_expression(statement) ||
        read_timing(factory, statement->children[0]->children[0]) == Timing{true, 0})
      continue;
    Node* const twice = writes.add_statement(statement);
    if (twice != nullptr)
      throw InvalidParameterError("Two effects write ")
          << print_expression{twice} << " at one moment of the problem: " << print_expression{statement};
  }
}

void refuse_statements_before_start(const ProblemInstanceImpl& problem) {
  F& factory = problem.env().expression_factory();
  for (Node* statement : problem.expressions()) {
    if (!F::is_temporal_expression(statement)) continue;
    const Node* interval = statement->children[0];
    if (F::is_contains(interval)) interval = interval->children[0];
    for (Node* anchor : interval->operands()) {
      const auto time = read_timing(factory, anchor);
      if (time && time->from_start && time->k < rational(0))
        throw InvalidParameterError("A statement lies before the start of the plan: ")
            << print_expression{statement};
    }
  }
}

}  // namespace zorvel::model
