#include "search/classical/tsimple/plan_builder.h"

#include <algorithm>
#include <cassert>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/errors.h"
#include "core/unsupported_problem.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_free_vars.h"
#include "state/evaluator.h"

namespace zorvel::tsimple {

using F = model::ExpressionFactory;

namespace {

rational duration_in(Environment& env, const model::ActionImpl& action, const StateIndex& index,
                     const PathState& before) {
  const F& factory = env.expression_factory();
  Node* value = duration_statement(env, action);
  if (value != nullptr && !F::is_numeric_constant(value))
    value = ExpressionEvaluator(env, index, before)(value);
  if (value == nullptr || !F::is_numeric_constant(value))
    throw UnsupportedProblemError("Actions duration not specified!");
  const rational duration = factory.get_numeric_constant(value);
  if (duration < rational(0))
    throw InternalError("The duration of an action is negative: ")
        << duration << " in action " << action.name();
  return duration;
}

bool is_ground(const Node* reference) {
  return std::all_of(reference->operands().begin(), reference->operands().end(),
                     [](const Node* argument) { return F::is_value(argument); });
}

/// What a step reads or writes: ground references, and fluents of which any reference may be meant.
class Footprint {
 public:
  void add(const F& factory, Node* reference) {
    const model::FluentImpl* const fluent = factory.get_fluent_from_reference(reference).get();
    fluents_.insert(fluent);
    references_.insert(reference);
    if (!is_ground(reference)) undetermined_.insert(fluent);
  }
  void add_everything() { is_everything_ = true; }
  bool touches(const model::FluentImpl* fluent) const { return is_everything_ || fluents_.contains(fluent); }
  bool touches(const F& factory, Node* reference) const {
    const model::FluentImpl* const fluent = factory.get_fluent_from_reference(reference).get();
    if (is_everything_ || undetermined_.contains(fluent)) return true;
    return is_ground(reference) ? references_.contains(reference) : fluents_.contains(fluent);
  }
  const std::unordered_set<const model::FluentImpl*>& fluents() const { return fluents_; }
  const model::NodeSet& references() const { return references_; }
  bool is_everything() const { return is_everything_; }

 private:
  std::unordered_set<const model::FluentImpl*> fluents_, undetermined_;
  model::NodeSet references_;
  bool is_everything_ = false;
};

struct Step {
  POTPlan::StepPtr step;
  Footprint reads, writes;
};

class PlanBuilder {
 public:
  explicit PlanBuilder(const TSimpleModel& model)
      : model_(model),
        env_(model.env()),
        factory_(env_.expression_factory()),
        free_vars_(env_),
        plan_(std::make_shared<POTPlan>(env_)) {
    for (const ClassicalAction& action : model.actions()) actions_.emplace(action.action().get(), &action);
  }

  void add(const PathState& state) {
    assert(state.parent != nullptr && state.last_action != nullptr);
    const auto position = static_cast<unsigned long>(steps_.size());
    const rational duration = duration_in(env_, *state.last_action, model_.index(), *state.parent);
    Step added;
    added.step = std::make_shared<POTStep>(position + 1, rational(0), state.last_action, std::vector<Node*>(),
                                           duration, state.as_expression(model_.index(), factory_, position));
    plan_->insert_step(added.step);
    note(*actions_.at(state.last_action.get()), added);
    for (Node* reference : model::sorted_by_id(added.writes.references())) order_write(reference, added);
    for (Node* reference : model::sorted_by_id(added.reads.references()))
      order_behind_last_writer(factory_.get_fluent_from_reference(reference).get(), added);
    if (added.reads.is_everything()) order_behind_all_writers(added);
    steps_.push_back(std::move(added));
  }

  std::shared_ptr<POTPlan> take() { return std::move(plan_); }

 private:
  void read(Node* expression, Step& step) {
    for (Node* reference : free_vars_(expression)) step.reads.add(factory_, reference);
  }

  void note(const ClassicalAction& action, Step& step) {
    read(action.condition(), step);
    if (Node* const duration = duration_statement(env_, *action.action())) read(duration, step);
    for (const auto& [reference, effect] : action.effects()) {
      step.writes.add(factory_, reference);
      read(effect->value, step);
      for (Node* argument : effect->parameters) read(argument, step);
    }
    for (const auto& simulated : action.simulated_effects()) {
      step.reads.add_everything();
      for (Node* reference : simulated->fluents) step.writes.add(factory_, reference);
    }
  }

  /// The number of the newest step that writes, plus one; 0 if none does.
  template <class Writes>
  std::size_t behind_newest(const Writes& writes) const {
    std::size_t position = steps_.size();
    while (position > 0 && !writes(steps_[position - 1])) --position;
    return position;
  }

  void order_behind_last_writer(const model::FluentImpl* fluent, const Step& added) {
    const std::size_t last = behind_newest([&](const Step& step) { return step.writes.touches(fluent); });
    if (last > 0) plan_->add_precedence(steps_[last - 1].step, added.step);
  }

  void order_write(Node* reference, const Step& added) {
    order_behind_last_writer(factory_.get_fluent_from_reference(reference).get(), added);
    // Readers before the last step that is sure to write this very reference are ordered by that one.
    const std::size_t last = !is_ground(reference) ? 0 : behind_newest([&](const Step& step) {
      return step.writes.references().contains(reference);
    });
    for (std::size_t i = last > 0 ? last - 1 : 0; i < steps_.size(); ++i)
      if (steps_[i].reads.touches(factory_, reference)) plan_->add_precedence(steps_[i].step, added.step);
  }

  void order_behind_all_writers(const Step& added) {
    std::unordered_set<const model::FluentImpl*> seen;
    for (std::size_t i = steps_.size(); i-- > 0;)
      for (const model::FluentImpl* fluent : steps_[i].writes.fluents())
        if (seen.insert(fluent).second) plan_->add_precedence(steps_[i].step, added.step);
  }

  const TSimpleModel& model_;
  Environment& env_;
  F& factory_;
  model::ExpressionFreeVars free_vars_;
  std::unordered_map<const model::ActionImpl*, const ClassicalAction*> actions_;
  std::shared_ptr<POTPlan> plan_;
  std::vector<Step> steps_;
};

}  // namespace

std::shared_ptr<POTPlan> build_plan(const TSimpleModel& model, const PathState& state) {
  std::vector<const PathState*> way;
  for (const PathState* at = &state; at->last_action; at = at->parent) way.push_back(at);
  PlanBuilder builder(model);
  for (auto at = way.rbegin(); at != way.rend(); ++at) builder.add(**at);
  return builder.take();
}

}  // namespace zorvel::tsimple
