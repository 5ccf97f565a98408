#include "search/forward/event_semantics.h"

#include <cassert>
#include <optional>
#include <vector>

#include "model/walkers/expression_simplifier.h"
#include "state/evaluator.h"
#include "state/operations.h"
#include "transformers/duration_bounds.h"

namespace zorvel::tp::ftp {

void set_initial_values(const FtpModel& model, zorvel::SearchState& state) {
  for (const auto& [slot, value] : model.initial_values()) {
    assert(slot < model.references().size());
    // why a new evaluator each time: a value may read those set before it.
    const ExpressionEvaluator evaluate(model.env(), model.index(), state);
    Node* const reference = model.references()[slot];
    const auto fluent = model.env().expression_factory().get_fluent_from_reference(reference);
    state.set_value(model.index(), reference,
                    model::as_value_of(model.env().expression_factory(), *fluent->type(), evaluate(value)));
  }
}

DurationBounds duration_bounds_in(const FtpModel& model, const ActionModel& action,
                                  const zorvel::SearchState& state) {
  DurationBounds bounds = action.duration_bounds.value_or(DurationBounds());
  if (action.duration_constraints.empty()) return bounds;
  const ExpressionEvaluator evaluate(model.env(), model.index(), state);
  for (Node* statement : action.duration_constraints)
    model::update_duration_bound(model.env().expression_factory(), evaluate(statement), bounds);
  return bounds;
}

bool is_tested_at_opening(const Event& event) {
  return event.kind == EventKind::CONDITION && !event.is_closer() && !event.is_left_open &&
         event.anchor.from_start && event.anchor.offset == rational(0);
}

bool apply_writes(const FtpModel& model, zorvel::SearchState& state, const Event& event) {
  assert(event.is_effect_like());
  assert(event.kind == EventKind::EFFECT || event.simulated_effect != nullptr);
  std::optional<std::vector<StateWrite>> plain, simulated;
  if (event.kind == EventKind::EFFECT) {
    plain = writes_of(model.env(), state, event.body(), model.index());
    if (!plain) return false;
  }
  if (event.simulated_effect) {
    simulated = writes_of_simulated(model.env(), state, *event.simulated_effect, {}, model.index());
    if (!simulated) return false;
  }
  for (const auto* writes : {&plain, &simulated})
    if (*writes)
      for (const StateWrite& write : **writes) state.override_value(write.slot, write.value);
  return true;
}

}  // namespace zorvel::tp::ftp
