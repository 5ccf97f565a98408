#include "pddl/assignments.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <optional>

#include "model/fluent.h"

namespace zorvel::pddl {

namespace {

using F = model::ExpressionFactory;
using Kind = ExpressionKind;

bool is_boolean(const ModelChange& change) {
  return change.change->kind == Kind::atom || change.change->kind == Kind::negation;
}

bool has_parameters(const Node* reference) {
  return std::any_of(reference->operands().begin(), reference->operands().end(), F::is_parameter_reference);
}

/// The changes of one fluent at one moment.
class ChangesOfFluent {
 public:
  ChangesOfFluent(F& factory, std::vector<const ModelChange*> changes, Messages& messages)
      : factory_(factory), changes_(std::move(changes)), messages_(messages) {
    for (std::size_t i = 0; i < changes_.size(); ++i) {
      std::vector<std::size_t>& same = ground_[changes_[i]->target];
      if (same.empty()) targets_.push_back(changes_[i]->target);
      same.push_back(i);
      if (has_parameters(changes_[i]->target)) with_parameters_.push_back(i);
    }
  }

  void append_assignments(std::vector<Node*>& assignments) const {
    for (Node* target : targets_)
      assignments.push_back(
          factory_.make_assign(target, is_boolean(*changes_.front()) ? truth_of(target) : number_of(target)));
  }

 private:
  /// A change, and when it is one of the target at hand; null for always.
  struct Meeting {
    const ModelChange* change;
    Node* condition;
  };

  /// The changes that may be ones of `target`, in their order.
  std::vector<Meeting> meetings(Node* target) const {
    std::vector<std::size_t> candidates;
    if (has_parameters(target)) {
      candidates.resize(changes_.size());
      for (std::size_t i = 0; i < changes_.size(); ++i) candidates[i] = i;
    } else {
      // References to other objects are never met; there may be very many of them.
      candidates = ground_.at(target);
      candidates.insert(candidates.end(), with_parameters_.begin(), with_parameters_.end());
      std::sort(candidates.begin(), candidates.end());
    }
    std::vector<Meeting> result;
    for (const std::size_t i : candidates) {
      std::vector<Node*> conditions;
      if (!unify(target, changes_[i]->target, conditions)) continue;
      if (changes_[i]->condition != nullptr) conditions.push_back(changes_[i]->condition);
      result.push_back({changes_[i], conditions.empty()       ? nullptr
                                     : conditions.size() == 1 ? conditions[0]
                                                              : factory_.make_and(conditions)});
    }
    return result;
  }

  /// Adds the equalities under which both are one reference; false if they never are.
  bool unify(const Node* a, const Node* b, std::vector<Node*>& conditions) const {
    for (std::size_t i = 0; i < a->arity; ++i) {
      Node* const left = a->children[i];
      Node* const right = b->children[i];
      if (left == right) continue;
      if (F::is_instance_reference(left) && F::is_instance_reference(right)) return false;
      // The order of the two must not depend on whose target is looked at.
      const bool is_ordered = left->id < right->id;
      conditions.push_back(factory_.make_equals(is_ordered ? left : right, is_ordered ? right : left));
    }
    return true;
  }

  Node* truth_of(Node* target) const {
    std::vector<Node*> adds, deletes;
    bool is_deleted = false;
    for (const Meeting& meeting : meetings(target)) {
      const bool is_add = meeting.change->change->kind == Kind::atom;
      if (meeting.condition != nullptr)
        (is_add ? adds : deletes).push_back(meeting.condition);
      else if (is_add)
        return factory_.make_boolean_constant(true);
      else
        is_deleted = true;
    }
    const auto any_of = [&](const std::vector<Node*>& operands) {
      return operands.size() == 1 ? operands[0] : factory_.make_or(operands);
    };
    if (is_deleted) return adds.empty() ? factory_.make_boolean_constant(false) : any_of(adds);
    Node* stays = target;
    if (!deletes.empty()) stays = factory_.make_and(target, factory_.make_not(any_of(deletes)));
    if (adds.empty()) return stays;
    adds.push_back(stays);
    return factory_.make_or(adds);
  }

  Node* number_of(Node* target) const {
    const std::vector<Meeting> all = meetings(target);
    std::vector<Meeting> own;  // not only for some values of the parameters
    for (const Meeting& meeting : all)
      if (meeting.change->target == target) own.push_back(meeting);
    assert(!own.empty());
    const auto sums = [](const Meeting& meeting) {
      return meeting.change->change->kind == Kind::increase || meeting.change->change->kind == Kind::decrease;
    };
    if (own.size() > 1 && !std::all_of(own.begin(), own.end(), sums))
      messages_.error(own[1].change->change->place,
                      "the action changes one function twice at one time; only increases and decreases go "
                      "together");
    if (std::any_of(all.begin(), all.end(), [](const Meeting& m) { return m.change->condition != nullptr; }))
      messages_.error(own.front().change->change->place, "a function changed by a 'when' is not planned for");
    Node* value = target;
    for (const Meeting& meeting : own) value = changed(value, meeting);
    return value;
  }

  Node* changed(Node* old, const Meeting& meeting) const {
    Node* const operand = meeting.change->value;
    switch (meeting.change->change->kind) {
      case Kind::increase: return factory_.make_plus(old, operand);
      case Kind::decrease: return factory_.make_minus(old, operand);
      case Kind::scale_up: return factory_.make_times(old, operand);
      case Kind::scale_down: return factory_.make_div(old, operand);
      default: return operand;
    }
  }

  F& factory_;
  std::vector<const ModelChange*> changes_;
  Messages& messages_;
  std::vector<Node*> targets_;                        // each once, in the order of the text
  std::map<Node*, std::vector<std::size_t>> ground_;  // the changes of each target; looked up only
  std::vector<std::size_t> with_parameters_;
};

}  // namespace

std::vector<Node*> join_changes(F& factory, const std::vector<ModelChange>& changes, Messages& messages) {
  std::vector<const model::FluentImpl*> fluents;
  std::map<const model::FluentImpl*, std::vector<const ModelChange*>> by_fluent;
  for (const ModelChange& change : changes) {
    const model::FluentImpl* const fluent = factory.get_fluent_from_reference(change.target).get();
    if (by_fluent[fluent].empty()) fluents.push_back(fluent);
    by_fluent[fluent].push_back(&change);
  }
  std::vector<Node*> assignments;
  for (const model::FluentImpl* fluent : fluents)
    ChangesOfFluent(factory, by_fluent[fluent], messages).append_assignments(assignments);
  return assignments;
}

}  // namespace zorvel::pddl
