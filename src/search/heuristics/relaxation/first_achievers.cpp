#include "search/heuristics/relaxation/first_achievers.h"

#include <algorithm>
#include <cassert>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/walkers/expression_free_vars.h"
#include "state/operations.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

bool has_only_values(Node* reference) {
  return std::all_of(reference->operands().begin(), reference->operands().end(),
                     [](const Node* argument) { return F::is_value(argument); });
}

/// Whether an equality of a fluent of this type and the value is true for one node as a value alone.
bool has_one_form(const model::TypeBase& type, const Node* value) {
  if (type.is_boolean()) return F::is_boolean_constant(value);
  if (type.is_user_defined()) return F::is_instance_reference(value);
  return type.is_integer() && type.is_finite_domain() && F::is_integer_constant(value);
}

bool can_be_true(const AllValuesEvaluator& evaluator, Node* condition) {
  const model::NodeSet& values = evaluator(condition);
  return values.size() > 1 || std::any_of(values.begin(), values.end(), [](const Node* value) {
           return F::is_kind(value, NodeKind::TRUE);
         });
}

}  // namespace

FirstAchievers::FirstAchievers(Environment& env, const std::unordered_map<Node*, Node*>& initial,
                               const std::vector<ClassicalAction>& actions)
    : EnvObject(env), any_value_(AllValuesEvaluator::any_value(env.expression_factory())) {
  // In order of ids, so that facts get the same numbers on every run.
  std::map<Node*, Node*, NodeIdLess> sorted(initial.begin(), initial.end());
  for (const auto& [reference, value] : sorted) reference_of(reference);
  for (const auto& [reference, value] : sorted)
    initial_facts_.push_back(fact(reference_of(reference), value));
  actions_.resize(actions.size());
  for (std::uint32_t number = 0; number < actions.size(); ++number) {
    const ClassicalAction& action = actions[number];
    if (action.conditions().empty()) add_clause(number, {});
    for (const model::NodeSet& clause : action.dnf_condition()) add_clause(number, clause);
    add_effects(number, action);
  }
}

FirstAchievers::ReferenceId FirstAchievers::reference_of(Node* node) {
  const auto [known, is_new] = reference_ids_.try_emplace(node, static_cast<ReferenceId>(references_.size()));
  if (is_new) {
    references_.push_back({node, {}, {}, {}});
    references_of_fluent_[env().expression_factory().get_fluent_from_reference(node).get()].push_back(
        known->second);
  }
  return known->second;
}

FirstAchievers::FactId FirstAchievers::fact(ReferenceId reference, Node* value) {
  const auto fluent = env().expression_factory().get_fluent_from_reference(references_[reference].node);
  value = canonical(*fluent, value);
  const auto [known, is_new] = fact_ids_.try_emplace({reference, value}, static_cast<FactId>(facts_.size()));
  if (is_new) {
    facts_.push_back({reference, value, {}, {}});
    references_[reference].facts.push_back(known->second);
    is_forbidden_.push_back(0);
    is_reached_.push_back(0);
  }
  return known->second;
}

Node* FirstAchievers::canonical(const model::FluentImpl& fluent, Node* value) const {
  // 3 and 3/1 are two nodes, and one fact of an integer fluent.
  if (!fluent.type()->is_integer() || !F::is_rational_constant(value)) return value;
  F& factory = env().expression_factory();
  const rational& number = factory.get_rational_constant(value);
  return number.is_integer() ? factory.make_integer_constant(number.numerator()) : value;
}

std::optional<FirstAchievers::FactId> FirstAchievers::fact_of_literal(Node* literal) {
  F& factory = env().expression_factory();
  const bool is_negated = F::is_not(literal);
  Node* reference = is_negated ? literal->children[0] : literal;
  Node* value = factory.make_boolean_constant(!is_negated);
  if (F::is_equals(literal)) {
    reference = literal->children[0];
    value = literal->children[1];
  }
  if (!F::is_fluent_reference(reference) || !has_only_values(reference)) return std::nullopt;
  if (!has_one_form(*factory.get_fluent_from_reference(reference)->type(), value)) return std::nullopt;
  return fact(reference_of(reference), value);
}

void FirstAchievers::add_clause(std::uint32_t action, const model::NodeSet& literals) {
  const auto number = static_cast<std::uint32_t>(clauses_.size());
  clauses_.push_back({action, static_cast<std::uint32_t>(literals.size())});
  for (Node* literal : model::sorted_by_id(literals)) {
    if (const auto named = fact_of_literal(literal)) {
      facts_[*named].clauses.push_back(number);
      continue;
    }
    const auto known = dynamic_literals_.find(literal);
    std::uint32_t part;
    if (known != dynamic_literals_.end()) {
      part = known->second;
    } else {
      Dynamic condition;
      condition.literal = literal;
      condition.starts_eligible = true;
      part = add_dynamic(std::move(condition), {literal});
      dynamic_literals_.emplace(literal, part);
    }
    dynamic_[part].clauses.push_back(number);
  }
}

std::vector<FirstAchievers::ReferenceId> FirstAchievers::references_read(Node* expression) {
  F& factory = env().expression_factory();
  model::ExpressionFreeVars free_vars(env());
  std::vector<ReferenceId> read;
  for (Node* reference : model::sorted_by_id(free_vars(expression))) {
    if (!F::is_fluent_reference(reference)) continue;
    if (has_only_values(reference)) {
      read.push_back(reference_of(reference));
      continue;
    }
    const auto& any = references_of_fluent_[factory.get_fluent_from_reference(reference).get()];
    read.insert(read.end(), any.begin(), any.end());
    for (Node* argument : reference->operands())
      for (const ReferenceId inner : references_read(argument)) read.push_back(inner);
  }
  std::sort(read.begin(), read.end());
  read.erase(std::unique(read.begin(), read.end()), read.end());
  return read;
}

std::vector<FirstAchievers::ReferenceId> FirstAchievers::references_written(Node* reference) {
  if (has_only_values(reference)) return {reference_of(reference)};
  return references_of_fluent_[env().expression_factory().get_fluent_from_reference(reference).get()];
}

std::uint32_t FirstAchievers::add_dynamic(Dynamic part, const std::vector<Node*>& expressions) {
  const auto number = static_cast<std::uint32_t>(dynamic_.size());
  dynamic_.push_back(std::move(part));
  for (Node* expression : expressions)
    for (const ReferenceId reference : references_read(expression)) {
      auto& readers = references_[reference].readers;
      if (readers.empty() || readers.back() != number) readers.push_back(number);
    }
  return number;
}

void FirstAchievers::add_effects(std::uint32_t number, const ClassicalAction& action) {
  Action& own = actions_[number];
  for (const auto& [reference, effect] : action.effects()) {
    if (has_only_values(reference) && F::is_value(effect->value)) {
      model::NodeSet possible{effect->value};
      take_form_of(env().expression_factory(), possible, *effect->fluent->type());
      if (possible.empty()) continue;
      own.certain.push_back(fact(reference_of(reference), *possible.begin()));
      facts_[own.certain.back()].adders.push_back(number);
      continue;
    }
    Dynamic part;
    part.effect = effect;
    std::vector<Node*> expressions = effect->parameters;
    expressions.push_back(effect->value);
    own.dynamic.push_back(add_dynamic(std::move(part), expressions));
    for (const ReferenceId written : references_written(reference))
      references_[written].writers.push_back(number);
  }
  for (const auto& simulated : action.simulated_effects()) {
    for (Node* node : simulated->fluents) {
      const ReferenceId reference = reference_of(node);
      references_[reference].writers.push_back(number);
      own.unpredictable.push_back(reference);
    }
  }
}

std::optional<std::vector<std::size_t>> FirstAchievers::operator()(const std::vector<Node*>& disjuncts) {
  std::vector<FactId> wanted;
  for (Node* disjunct : disjuncts) {
    const auto named = fact_of_literal(disjunct);
    if (!named) return std::nullopt;
    wanted.push_back(*named);
  }
  assert(queue_.empty());
  for (const FactId one : wanted) is_forbidden_[one] = 1;
  explore();
  std::vector<std::size_t> achievers;
  for (const FactId one : wanted) {
    is_forbidden_[one] = 0;
    for (const auto* actions : {&facts_[one].adders, &references_[facts_[one].reference].writers})
      for (const std::uint32_t action : *actions)
        if (is_applicable_[action] != 0) achievers.push_back(action);
  }
  std::sort(achievers.begin(), achievers.end());
  achievers.erase(std::unique(achievers.begin(), achievers.end()), achievers.end());
  return achievers;
}

void FirstAchievers::explore() {
  is_reached_.assign(facts_.size(), 0);
  missing_.resize(clauses_.size());
  for (std::size_t i = 0; i < clauses_.size(); ++i) missing_[i] = clauses_[i].literals;
  is_applicable_.assign(actions_.size(), 0);
  is_settled_.assign(dynamic_.size(), 0);
  is_eligible_.assign(dynamic_.size(), 0);
  is_stale_.assign(dynamic_.size(), 0);
  stale_.clear();
  values_.clear();
  // All that exploration needs is set up first: reaching a fact may complete clauses and wake dynamic parts.
  for (const FactId one : initial_facts_) reach(one);
  for (std::uint32_t part = 0; part < dynamic_.size(); ++part)
    if (dynamic_[part].starts_eligible) make_eligible(part);
  for (std::uint32_t clause = 0; clause < clauses_.size(); ++clause)
    if (clauses_[clause].literals == 0) complete(clause);
  run_queue();
  while (!stale_.empty()) {
    evaluate_dynamic_parts();
    run_queue();
  }
}

void FirstAchievers::run_queue() {
  while (!queue_.empty()) {
    const FactId one = queue_.back();
    queue_.pop_back();
    satisfy(facts_[one].clauses);
  }
}

void FirstAchievers::reach(FactId one) {
  if (is_forbidden_[one] != 0 || is_reached_[one] != 0) return;
  is_reached_[one] = 1;
  queue_.push_back(one);
  const ReferenceId reference = facts_[one].reference;
  if (!references_[reference].is_read()) return;
  model::NodeSet& values = values_[references_[reference].node];
  if (values.contains(any_value_)) return;
  values.insert(facts_[one].value);
  // A bound on the work: with so many values any is possible, which is never too few.
  if (values.size() > value_limit)
    add_any_value(reference);
  else
    note_growth(reference);
}

void FirstAchievers::add_value(ReferenceId reference, Node* value) {
  if (value == any_value_)
    add_any_value(reference);
  else
    reach(fact(reference, value));
}

void FirstAchievers::add_any_value(ReferenceId reference) {
  if (references_[reference].is_read()) {
    model::NodeSet& values = values_[references_[reference].node];
    if (values.contains(any_value_)) return;
    values = {any_value_};
    note_growth(reference);
  }
  for (const FactId one : references_[reference].facts) reach(one);
}

void FirstAchievers::note_growth(ReferenceId reference) {
  for (const std::uint32_t part : references_[reference].readers)
    if (is_eligible_[part] != 0) make_eligible(part);
}

void FirstAchievers::make_eligible(std::uint32_t part) {
  is_eligible_[part] = 1;
  // A literal that can be true stays so, as values are only added; an effect may give more with each of them.
  if (is_stale_[part] != 0 || is_settled_[part] != 0) return;
  is_stale_[part] = 1;
  stale_.push_back(part);
}

void FirstAchievers::satisfy(const std::vector<std::uint32_t>& clauses) {
  for (const std::uint32_t clause : clauses) {
    assert(missing_[clause] > 0);
    if (--missing_[clause] == 0) complete(clause);
  }
}

void FirstAchievers::complete(std::uint32_t clause) {
  const std::uint32_t number = clauses_[clause].action;
  if (is_applicable_[number] != 0) return;
  is_applicable_[number] = 1;
  const Action& action = actions_[number];
  // An action that makes the fact true is not applied before the fact is true.
  if (std::any_of(action.certain.begin(), action.certain.end(),
                  [&](FactId one) { return is_forbidden_[one] != 0; }))
    return;
  for (const FactId one : action.certain) reach(one);
  for (const ReferenceId reference : action.unpredictable) add_any_value(reference);
  for (const std::uint32_t part : action.dynamic) make_eligible(part);
}

void FirstAchievers::evaluate_dynamic_parts() {
  std::vector<std::uint32_t> parts;
  parts.swap(stale_);
  std::vector<std::uint32_t> satisfied;
  std::vector<NewValues> added;
  const AllValuesEvaluator evaluator(env(), values_, value_limit);
  for (const std::uint32_t part : parts) {
    is_stale_[part] = 0;
    if (dynamic_[part].effect) {
      for (NewValues& one : values_of(evaluator, *dynamic_[part].effect)) added.push_back(std::move(one));
    } else if (can_be_true(evaluator, dynamic_[part].literal)) {
      is_settled_[part] = 1;
      satisfied.push_back(part);
    }
  }
  // Only now: the evaluator refers to the values.
  for (const NewValues& one : added)
    for (Node* value : model::sorted_by_id(one.values)) add_value(one.reference, value);
  for (const std::uint32_t part : satisfied) satisfy(dynamic_[part].clauses);
}

std::vector<FirstAchievers::NewValues> FirstAchievers::values_of(const AllValuesEvaluator& evaluator,
                                                                 const Effect& effect) {
  F& factory = env().expression_factory();
  const auto possible_values = [&](Node* expression, const model::TypeBase& type) {
    model::NodeSet possible = evaluator(expression);
    if (!possible.contains(any_value_)) prune_impossible_values(factory, possible, type);
    return possible;
  };
  model::NodeSet values = evaluator(effect.value);
  if (!values.contains(any_value_)) take_form_of(factory, values, *effect.fluent->type());
  std::vector<NewValues> result;
  std::vector<std::vector<Node*>> choices;
  for (std::size_t i = 0; i < effect.parameters.size(); ++i) {
    const model::NodeSet choice =
        possible_values(effect.parameters[i], *effect.fluent->parameters()[i]->type());
    if (choice.contains(any_value_)) {
      for (const ReferenceId reference : references_of_fluent_[effect.fluent.get()])
        result.push_back({reference, values});
      return result;
    }
    choices.push_back(model::sorted_by_id(choice));
  }
  for (const std::vector<Node*>& arguments : cartesian_product(choices))
    result.push_back({reference_of(factory.make_fluent_reference(effect.fluent, arguments)), values});
  return result;
}

}  // namespace zorvel
