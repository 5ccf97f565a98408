#include "pddl/assignments.h"

#include <algorithm>
#include <map>
#include <set>

#include "model/fluent.h"
#include "pddl/unification.h"

namespace zorvel::pddl {

namespace {

using F = model::ExpressionFactory;
using Kind = ExpressionKind;

bool is_boolean(const ModelChange& change) {
  return change.change->kind == Kind::atom || change.change->kind == Kind::negation ||
         change.change->kind == Kind::assign_truth;
}

bool has_formula(const std::vector<const ModelChange*>& changes) {
  return std::any_of(changes.begin(), changes.end(),
                     [](const ModelChange* change) { return change->change->kind == Kind::assign_truth; });
}

bool is_sum(const ModelChange& change) {
  return change.change->kind == Kind::increase || change.change->kind == Kind::decrease;
}

bool has_parameters(const Node* reference) {
  return std::any_of(reference->operands().begin(), reference->operands().end(), F::is_parameter_reference);
}

/// The changes of one fluent at one moment.
class ChangesOfFluent {
 public:
  ChangesOfFluent(F& factory, Choices& choices, const InstanceOf& instance,
                  std::vector<const ModelChange*> changes, Messages& messages)
      : factory_(factory),
        choices_(choices),
        instance_(instance),
        changes_(std::move(changes)),
        messages_(messages) {
    for (std::size_t i = 0; i < changes_.size(); ++i) {
      std::vector<std::size_t>& same = changes_of_[changes_[i]->target];
      if (same.empty()) targets_.push_back(changes_[i]->target);
      same.push_back(i);
    }
    find_fixed_positions();
    if (!has_formula(changes_)) write_out_parameters();
  }

  void append_to(JoinedChanges& joined) const {
    if (has_formula(changes_)) return append_as_written(joined);
    if (!is_boolean(*changes_.front())) keep_apart(joined.conditions);
    for (Node* target : targets_)
      joined.assignments.push_back(
          factory_.make_assign(target, is_boolean(*changes_.front()) ? truth_of(target) : number_of(target)));
  }

 private:
  /// The changes with parameters, by the objects where all of them have one: others cannot meet.
  void find_fixed_positions() {
    std::vector<std::size_t> with_parameters;
    for (std::size_t i = 0; i < changes_.size(); ++i)
      if (has_parameters(changes_[i]->target)) with_parameters.push_back(i);
    for (std::size_t position = 0; position < changes_.front()->target->arity; ++position)
      if (std::none_of(with_parameters.begin(), with_parameters.end(), [&](std::size_t i) {
            return F::is_parameter_reference(changes_[i]->target->children[position]);
          }))
        fixed_positions_.push_back(position);
    for (const std::size_t i : with_parameters) with_parameters_[fixed_of(changes_[i]->target)].push_back(i);
  }

  std::vector<Node*> fixed_of(const Node* target) const {
    std::vector<Node*> result;
    for (const std::size_t position : fixed_positions_) result.push_back(target->children[position]);
    return result;
  }

  /// So where a quantifier has written out the objects that a parameter may stand for as well, each object
  /// gets one assignment, and the parameter none.
  void write_out_parameters() {
    std::vector<Node*> kept;
    std::set<Node*> known(targets_.begin(), targets_.end());
    std::vector<Node*> added;
    for (Node* target : targets_) {
      const bool meets_object =
          has_parameters(target) && std::any_of(targets_.begin(), targets_.end(), [&](Node* other) {
            return !has_parameters(other) && unify(factory_, target, other);
          });
      if (!meets_object) {
        kept.push_back(target);
        continue;
      }
      std::vector<Node*> arguments(target->operands().begin(), target->operands().end());
      write_out(*changes_[changes_of_.at(target).front()]->change->target, arguments, 0, known, added);
    }
    targets_ = std::move(kept);
    targets_.insert(targets_.end(), added.begin(), added.end());
  }

  void write_out(const Expression& target, std::vector<Node*>& arguments, std::size_t position,
                 std::set<Node*>& known, std::vector<Node*>& added) {
    if (position == arguments.size()) {
      const auto fluent = factory_.get_fluent_from_reference(changes_.front()->target);
      Node* const reference = factory_.make_fluent_reference(fluent, arguments);
      if (known.insert(reference).second) added.push_back(reference);
      return;
    }
    if (!F::is_parameter_reference(arguments[position]))
      return write_out(target, arguments, position + 1, known, added);
    Node* const parameter = arguments[position];
    for (const Object* object : target.operands[position]->variable->sort->objects) {
      arguments[position] = instance_(*object);
      write_out(target, arguments, position + 1, known, added);
    }
    arguments[position] = parameter;
  }

  /// A change, and when it is one of the target at hand; null for always.
  struct Meeting {
    const ModelChange* change;
    Node* condition;
  };

  /// The changes that may be ones of `target`, in their order.
  std::vector<Meeting> meetings(Node* target) const {
    std::vector<std::size_t> candidates;
    if (const auto own = changes_of_.find(target); own != changes_of_.end()) candidates = own->second;
    if (const auto others = with_parameters_.find(fixed_of(target)); others != with_parameters_.end())
      candidates.insert(candidates.end(), others->second.begin(), others->second.end());
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    std::vector<Meeting> result;
    for (const std::size_t i : candidates) {
      auto conditions = unify(factory_, target, changes_[i]->target);
      if (!conditions) continue;
      if (changes_[i]->condition != nullptr) conditions->push_back(changes_[i]->condition);
      result.push_back({changes_[i], conditions->empty()       ? nullptr
                                     : conditions->size() == 1 ? conditions->front()
                                                               : factory_.make_and(*conditions)});
    }
    return result;
  }

  /// Who gives a predicate a formula has said in it what all changes come to.
  void append_as_written(JoinedChanges& joined) const {
    for (Node* target : targets_) {
      const std::vector<std::size_t>& own = changes_of_.at(target);
      const ModelChange& change = *changes_[own.front()];
      if (own.size() > 1)
        messages_.error(changes_[own[1]]->change->place,
                        "the action gives a predicate a formula, and changes it in another way at that time");
      Node* const value = change.change->kind == Kind::assign_truth
                              ? change.value
                              : factory_.make_boolean_constant(change.change->kind == Kind::atom);
      joined.assignments.push_back(
          factory_.make_assign(target, change.condition == nullptr ? value : chosen(target, change, value)));
    }
  }

  Node* chosen(Node* target, const ModelChange& change, Node* value) const {
    return factory_.make_or(factory_.make_and(change.condition, value),
                            factory_.make_and(target, factory_.make_not(change.condition)));
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
    check_that_they_go_together(target);
    Node* value = target;
    for (const Meeting& meeting : meetings(target)) value = changed(value, meeting);
    return value;
  }

  /// Changes that would meet under some choice of parameters, and do not go together.
  void keep_apart(std::vector<Node*>& conditions) const {
    if (std::all_of(changes_.begin(), changes_.end(),
                    [](const ModelChange* change) { return is_sum(*change); }))
      return;
    for (std::size_t i = 0; i < changes_.size(); ++i) {
      if (changes_[i]->condition != nullptr) continue;
      const auto others = with_parameters_.find(fixed_of(changes_[i]->target));
      if (others == with_parameters_.end()) continue;
      for (const std::size_t j : others->second) {
        const bool go_together = is_sum(*changes_[i]) && is_sum(*changes_[j]);
        if (changes_[j]->condition != nullptr || changes_[i]->target == changes_[j]->target || go_together)
          continue;
        if (const auto equalities = unify(factory_, changes_[i]->target, changes_[j]->target))
          conditions.push_back(factory_.make_not(equalities->size() == 1 ? equalities->front()
                                                                         : factory_.make_and(*equalities)));
      }
    }
    std::sort(conditions.begin(), conditions.end(), NodeIdLess());
    conditions.erase(std::unique(conditions.begin(), conditions.end()), conditions.end());
  }

  /// Of changes that may or may not take place, those of two that do are made in the order of the text.
  void check_that_they_go_together(Node* target) const {
    std::vector<Meeting> always;
    const auto own = changes_of_.find(target);
    if (own == changes_of_.end()) return;
    for (const std::size_t i : own->second)
      if (changes_[i]->condition == nullptr) always.push_back({changes_[i], nullptr});
    if (always.size() > 1 && !std::all_of(always.begin(), always.end(),
                                          [](const Meeting& meeting) { return is_sum(*meeting.change); }))
      messages_.error(always[1].change->change->place,
                      "the action changes one function twice at one time; only increases and decreases go "
                      "together");
  }

  Node* changed(Node* old, const Meeting& meeting) const {
    Node* const operand = meeting.change->value;
    Node* const condition = meeting.condition;
    Node* const sum_operand = condition == nullptr ? operand : choices_.if_else_zero(condition, operand);
    Node* result = operand;
    switch (meeting.change->change->kind) {
      case Kind::increase: return factory_.make_plus(old, sum_operand);
      case Kind::decrease: return factory_.make_minus(old, sum_operand);
      case Kind::scale_up: result = factory_.make_times(old, operand); break;
      case Kind::scale_down: result = factory_.make_div(old, operand); break;
      default: break;
    }
    return condition == nullptr ? result : choices_.if_else(condition, result, old);
  }

  F& factory_;
  Choices& choices_;
  const InstanceOf& instance_;
  std::vector<const ModelChange*> changes_;
  Messages& messages_;
  std::vector<Node*> targets_;                            // each once, in the order of the text
  std::map<Node*, std::vector<std::size_t>> changes_of_;  // those of each target; looked up only
  std::vector<std::size_t> fixed_positions_;
  std::map<std::vector<Node*>, std::vector<std::size_t>> with_parameters_;  // looked up only
};

}  // namespace

JoinedChanges join_changes(F& factory, Choices& choices, const InstanceOf& instance,
                           const std::vector<ModelChange>& changes, Messages& messages) {
  std::vector<const model::FluentImpl*> fluents;
  std::map<const model::FluentImpl*, std::vector<const ModelChange*>> by_fluent;
  for (const ModelChange& change : changes) {
    const model::FluentImpl* const fluent = factory.get_fluent_from_reference(change.target).get();
    if (by_fluent[fluent].empty()) fluents.push_back(fluent);
    by_fluent[fluent].push_back(&change);
  }
  JoinedChanges joined;
  for (const model::FluentImpl* fluent : fluents)
    ChangesOfFluent(factory, choices, instance, by_fluent[fluent], messages).append_to(joined);
  return joined;
}

}  // namespace zorvel::pddl
