#include "search/heuristics/relaxation/fact_table.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <tuple>

#include "model/expression_factory.h"
#include "search/heuristics/relaxation/classical_action.h"

namespace zorvel {

using F = model::ExpressionFactory;

namespace {

// Beyond this a count says no more than "many".
constexpr double most_repetitions = 1e6;

bool is_connective(const Node* node) {
  switch (node->kind()) {
    case NodeKind::NOT:
    case NodeKind::AND:
    case NodeKind::OR:
    case NodeKind::IMPLY:
    case NodeKind::IFF: return true;
    default: return false;
  }
}

bool is_less(const FactTable::Literal& a, const FactTable::Literal& b) {
  return std::tie(a.slot, a.value, a.is_equal) < std::tie(b.slot, b.value, b.is_equal);
}

/// Classifies a comparison of linear forms.
void classify(const StateLayout& layout, Node* node, FactTable::Predicate& predicate) {
  using Kind = FactTable::Predicate::Kind;
  const bool is_negated = F::is_not(node);
  Node* const atom = is_negated ? node->children[0] : node;
  bool is_strict = false, is_turned = false;
  switch (atom->kind()) {
    case NodeKind::GE: break;
    case NodeKind::GT: is_strict = true; break;
    case NodeKind::LE: is_turned = true; break;
    case NodeKind::LT: is_strict = is_turned = true; break;
    case NodeKind::EQUALS:
      if (is_negated) return;  // not a half-space: what is unequal may lie on either side
      break;
    default: return;
  }
  const auto left = linear_form(layout, atom->children[0]), right = linear_form(layout, atom->children[1]);
  if (!left || !right) return;
  if (is_negated) {
    is_strict = !is_strict;
    is_turned = !is_turned;
  }
  predicate.form = is_turned ? *right : *left;
  predicate.form.add(is_turned ? *left : *right, -1);
  predicate.kind = F::is_equals(atom) ? Kind::equal : is_strict ? Kind::above : Kind::at_least;
}

bool holds(FactTable::Predicate::Kind kind, double value) {
  using Kind = FactTable::Predicate::Kind;
  return kind == Kind::at_least ? value >= 0 : kind == Kind::above ? value > 0 : value == 0;
}

}  // namespace

FactTable::FactTable(EvaluationTables& tables) : tables_(tables), changes_of_slot_(tables.layout.slots()) {}

FactTable::Literal FactTable::as_positive(const CompiledCondition::Literal& literal) {
  // A boolean that is not true is false: there is no third value.
  if (!literal.is_equal && ValueTable::is_boolean(literal.expected))
    return {literal.slot, ValueTable::of_boolean(literal.expected == false_value), true};
  return {literal.slot, literal.expected, literal.is_equal};
}

void FactTable::ask(const CompiledCondition& condition) {
  assert(!is_frozen_);
  for (const CompiledCondition::Literal& literal : condition.literals())
    literals_.push_back(as_positive(literal));
  for (const CompiledExpression& conjunct : condition.rest()) formula(conjunct.expression());
}

std::uint32_t FactTable::formula(Node* node) {
  if (const auto known = formula_numbers_.find(node); known != formula_numbers_.end()) return known->second;
  if (!is_connective(node)) return leaf(node);
  Node* const root = normalized_condition(tables_.layout.env(), node);
  std::vector<std::pair<Node*, bool>> pending{{root, false}};
  while (!pending.empty()) {
    const auto [part, has_parts] = pending.back();
    pending.pop_back();
    if (formula_numbers_.contains(part)) continue;
    if (!F::is_and(part) && !F::is_or(part)) {
      leaf(part);
    } else if (!has_parts) {
      pending.emplace_back(part, true);
      for (Node* child : part->operands()) pending.emplace_back(child, false);
    } else {
      Formula inner{F::is_and(part) ? Formula::Kind::all_of : Formula::Kind::one_of, 0, {}, {}};
      if (inner.kind == Formula::Kind::one_of) inner.number = formula_facts_++;
      for (Node* child : part->operands()) inner.parts.push_back(formula_numbers_.at(child));
      formula_numbers_.emplace(part, static_cast<std::uint32_t>(formulas_.size()));
      formulas_.push_back(std::move(inner));
    }
  }
  // Under the number of its normal form, the condition as written is found at once the next time.
  const std::uint32_t number = formula_numbers_.at(root);
  formula_numbers_.emplace(node, number);
  return number;
}

std::uint32_t FactTable::leaf(Node* node) {
  const CompiledCondition condition = tables_.compiler.compile_condition(node);
  Formula formula{Formula::Kind::all_of, 0, {}, {}};  // without parts: always true
  if (!condition.is_conjunction_of_literals()) {
    formula.kind = Formula::Kind::predicate;
    formula.number = add_predicate(node);
  } else if (!condition.literals().empty()) {
    assert(condition.literals().size() == 1);
    formula.kind = Formula::Kind::literal;
    formula.literal = as_positive(condition.literals().front());
    literals_.push_back(formula.literal);
  }
  const auto number = static_cast<std::uint32_t>(formulas_.size());
  formulas_.push_back(std::move(formula));
  formula_numbers_.emplace(node, number);
  return number;
}

std::uint32_t FactTable::add_predicate(Node* node) {
  const auto [known, is_new] =
      predicate_numbers_.try_emplace(node, static_cast<std::uint32_t>(predicates_.size()));
  if (!is_new) return known->second;
  Predicate& predicate = predicates_.emplace_back();
  predicate.program = tables_.compiler.compile(node);
  classify(tables_.layout, node, predicate);
  return known->second;
}

void FactTable::freeze() {
  assert(!is_frozen_);
  is_frozen_ = true;
  // By slot and value: the facts of a slot are a range, and a literal is found by bisection.
  std::sort(literals_.begin(), literals_.end(), is_less);
  literals_.erase(
      std::unique(literals_.begin(), literals_.end(),
                  [](const Literal& a, const Literal& b) { return !is_less(a, b) && !is_less(b, a); }),
      literals_.end());
  slot_offsets_.assign(tables_.layout.slots() + 1, 0);
  for (const Literal& literal : literals_) ++slot_offsets_[literal.slot + 1];
  for (std::size_t slot = 1; slot < slot_offsets_.size(); ++slot)
    slot_offsets_[slot] += slot_offsets_[slot - 1];
  formula_slots_.resize(formula_facts_);
  index_predicates();
  add_rules();
}

void FactTable::index_predicates() {
  reader_offsets_.assign(tables_.layout.slots() + 1, 0);
  for (const Predicate& predicate : predicates_)
    for (const std::uint32_t slot : predicate.program.slots_read()) ++reader_offsets_[slot + 1];
  for (std::size_t slot = 1; slot < reader_offsets_.size(); ++slot)
    reader_offsets_[slot] += reader_offsets_[slot - 1];
  readers_.resize(reader_offsets_.back());
  std::vector<std::uint32_t> next = reader_offsets_;
  for (std::uint32_t number = 0; number < predicates_.size(); ++number)
    for (const std::uint32_t slot : predicates_[number].program.slots_read()) readers_[next[slot]++] = number;
}

void FactTable::add_rules() {
  // Parts have lower numbers than what they are parts of, so their slots are known.
  for (std::uint32_t number = 0; number < formulas_.size(); ++number) {
    const Formula& formula = formulas_[number];
    if (formula.kind != Formula::Kind::one_of) continue;
    std::vector<std::uint32_t>& slots = formula_slots_[formula.number];
    for (const std::uint32_t part : formula.parts) {
      assert(part < number);
      Rule rule{first_formula() + formula.number, {}};
      append_formula(part, rule.body);
      for (const FactId fact : rule.body) {
        const auto read = slots_of(fact);
        slots.insert(slots.end(), read.begin(), read.end());
      }
      rules_.push_back(std::move(rule));
    }
    std::sort(slots.begin(), slots.end());
    slots.erase(std::unique(slots.begin(), slots.end()), slots.end());
  }
}

FactId FactTable::literal_fact(const Literal& literal) const {
  const auto place = std::lower_bound(literals_.begin() + slot_offsets_[literal.slot],
                                      literals_.begin() + slot_offsets_[literal.slot + 1], literal, is_less);
  assert(place != literals_.end() && !is_less(literal, *place));
  return static_cast<FactId>(place - literals_.begin());
}

void FactTable::append_formula(std::uint32_t number, std::vector<FactId>& facts) const {
  std::vector<std::uint32_t> pending{number};
  while (!pending.empty()) {
    const Formula& formula = formulas_[pending.back()];
    pending.pop_back();
    switch (formula.kind) {
      case Formula::Kind::literal: facts.push_back(literal_fact(formula.literal)); break;
      case Formula::Kind::predicate: facts.push_back(first_predicate() + formula.number); break;
      case Formula::Kind::one_of: facts.push_back(first_formula() + formula.number); break;
      case Formula::Kind::all_of: pending.insert(pending.end(), formula.parts.rbegin(), formula.parts.rend());
    }
  }
}

void FactTable::append_facts(const CompiledCondition& condition, std::vector<FactId>& facts) const {
  assert(is_frozen_);
  for (const CompiledCondition::Literal& literal : condition.literals())
    facts.push_back(literal_fact(as_positive(literal)));
  for (const CompiledExpression& conjunct : condition.rest())
    append_formula(formula_numbers_.at(conjunct.expression()), facts);
}

std::span<const std::uint32_t> FactTable::slots_of(FactId fact) const {
  if (is_literal(fact)) return {&literals_[fact].slot, 1};
  if (is_predicate(fact)) return predicate(fact).program.slots_read();
  if (is_formula(fact)) return formula_slots_[fact - first_formula()];
  return {};
}

void FactTable::append_value(std::uint32_t slot, ValueId value, std::vector<FactId>& facts) const {
  assert(is_frozen_);
  const auto [first, last] = literals_of(slot);
  for (FactId fact = first; fact < last; ++fact)
    if ((literals_[fact].value == value) == literals_[fact].is_equal) facts.push_back(fact);
}

void FactTable::append_any_value(std::uint32_t slot, std::vector<FactId>& facts) const {
  assert(is_frozen_);
  const auto [first, last] = literals_of(slot);
  for (FactId fact = first; fact < last; ++fact) facts.push_back(fact);
}

void FactTable::append_effect(const CompiledEffect& effect, std::vector<FactId>& certain,
                              std::vector<FactId>& possible) {
  assert(is_frozen_);
  const auto append_unknown = [&](std::uint32_t slot) {
    append_any_value(slot, possible);
    if (!predicates_reading(slot).empty()) possible.push_back(change_of(slot, Change::Kind::unknown, 0));
  };
  // A simulated effect may write anything to what it names.
  if (!effect.is_all_assignments()) {
    for (const std::uint32_t slot : effect.slots_written()) append_unknown(slot);
    return;
  }
  for (const CompiledEffect::Assignment& assignment : effect.assignments()) {
    const ValueId value = assignment.value.constant();
    if (assignment.table != nullptr) {  // its arguments change: any of these slots, or none
      for (const std::uint32_t slot : assignment.table->results()) append_unknown(slot);
      continue;
    }
    if (value == no_value)
      append_any_value(assignment.slot, possible);
    else
      append_value(assignment.slot, value, certain);
    if (!predicates_reading(assignment.slot).empty())
      append_change(assignment.slot, assignment.value, certain);
  }
}

void FactTable::append_change(std::uint32_t slot, const CompiledExpression& value,
                              std::vector<FactId>& facts) {
  std::optional<LinearForm> form = linear_form(tables_.layout, value.expression());
  Change::Kind kind = Change::Kind::unknown;
  if (form && form->terms.empty()) {
    kind = Change::Kind::assignment;
  } else if (form) {
    LinearForm self;
    self.terms.emplace_back(slot, 1.0);
    form->add(self, -1);
    if (form->terms.empty()) kind = Change::Kind::addition;
  }
  facts.push_back(change_of(slot, kind, kind == Change::Kind::unknown ? 0 : form->constant));
}

FactId FactTable::change_of(std::uint32_t slot, Change::Kind kind, double amount) {
  for (const FactId known : changes_of_slot_[slot])
    if (change(known).kind == kind && change(known).amount == amount) return known;
  assert(marks_ == 0);
  const FactId fact = first_mark();
  changes_.push_back({slot, kind, amount});
  changes_of_slot_[slot].push_back(fact);
  return fact;
}

std::uint32_t FactTable::repetitions(const Change& change, std::uint32_t number,
                                     const ValueId* values) const {
  assert(number < predicates_.size() && change.slot < changes_of_slot_.size());
  const Predicate& predicate = predicates_[number];
  if (predicate.kind == Predicate::Kind::opaque || change.kind == Change::Kind::unknown) return 1;
  const double factor = predicate.form.factor_of(change.slot);
  const double value = predicate.form.evaluate(tables_.values, values);
  if (std::isnan(value)) return 1;
  if (change.kind == Change::Kind::assignment) {
    const double old = tables_.values.approximation_of(values[change.slot]);
    return holds(predicate.kind, value + factor * (change.amount - old)) ? 1 : never;
  }
  const double gain = factor * change.amount;
  const bool is_excess = predicate.kind == Predicate::Kind::equal && value > 0;
  if (is_excess ? gain >= 0 : gain <= 0) return never;
  const double steps = -value / gain;
  const double count = predicate.kind == Predicate::Kind::above ? std::floor(steps) + 1 : std::ceil(steps);
  return static_cast<std::uint32_t>(std::clamp(count, 1.0, most_repetitions));
}

}  // namespace zorvel
