#include "solver/opt/pb_manager.h"

#include <algorithm>
#include <utility>

#include "solver/env/environment.h"

namespace vesk::opt {

PbManager::Demand PbManager::add(Term formula, Term weight, std::string_view id) {
  if (!formula->type()->is_bool()) throw EnvironmentError("assert_soft: soft clause must be of Boolean type");
  if (!weight->type()->is_number())
    throw EnvironmentError("assert_soft: all weights must be of Real or Int type");
  if (!weight->is_number()) throw EnvironmentError("assert_soft: weight must be a constant value");
  const Term constant = terms_.make_constant(terms_.declare(id, terms_.types().rational()));
  Demand demand;
  demand.formula = terms_.make_true();
  Group& group = sum_of(constant).group;
  if (weight->number().is_zero() || formula->is_true()) return demand;
  if (formula->is_false()) {
    group.offset += weight->number();
    return demand;
  }
  Term label = formula;
  if (!config_.asoft_reduce_vars && !formula->is_constant()) {
    std::vector<Term> none;
    label = CircuitBuilder(terms_, state_.numbers, none).label();
    const Term not_label = terms_.make_not(label), not_formula = terms_.make_not(formula);
    const Term forth = terms_.make_or(not_label, formula), back = terms_.make_or(label, not_formula);
    demand.formula = config_.asoft_no_bidirection ? forth : terms_.make_and(forth, back);
  }
  const Term atom = label->tag() == Tag::not_op ? label->child(0) : label;
  if (config_.asoft_prefer_pbterms && atom->is_constant()) demand.preferred = atom;
  group.entries.push_back({label, weight->number()});
  return demand;
}

PbManager::Sum& PbManager::sum_of(Term id) {
  const auto found = std::find_if(state_.groups.begin(), state_.groups.end(),
                                  [id](const Sum& sum) { return sum.group.id == id; });
  if (found != state_.groups.end()) return *found;
  state_.groups.emplace_back().group.id = id;
  return state_.groups.back();
}

const PbManager::Group* PbManager::find(Term id) const {
  for (const Sum& sum : state_.groups)
    if (sum.group.id == id) return &sum.group;
  return nullptr;
}

// The last circuit of that weight, or a new one where that is full.
PbManager::Circuit& PbManager::circuit_for(Sum& sum, const QNumber& weight) {
  const auto last = std::find_if(sum.circuits.rbegin(), sum.circuits.rend(),
                                 [&](const Circuit& circuit) { return circuit.weight == weight; });
  const bool has_limit = config_.asoft_encoding == "seq" && config_.asoft_circuit_limit != 0;
  const std::size_t limit = static_cast<std::size_t>(config_.asoft_circuit_limit);
  if (last != sum.circuits.rend() && (!has_limit || last->size <= limit)) return *last;
  sum.circuits.emplace_back().weight = weight;
  return sum.circuits.back();
}

std::vector<Term> PbManager::take_definitions(const std::function<bool(const Group&)>& is_needed) {
  std::vector<Term> definitions;
  CircuitBuilder builder(terms_, state_.numbers, definitions);
  for (Sum& sum : state_.groups) {
    if (sum.num_defined == sum.group.entries.size() || !is_needed(sum.group)) continue;
    for (; sum.num_defined < sum.group.entries.size(); ++sum.num_defined) {
      const SoftEntry& entry = sum.group.entries[sum.num_defined];
      if (config_.asoft_encoding == "la") {
        sum.constants.push_back(builder.choose(entry.label, entry.weight));
        continue;
      }
      Circuit& circuit = circuit_for(sum, entry.weight);
      circuit.pending.push_back(terms_.make_not(entry.label));
      ++circuit.size;
      circuit.sum = nullptr;
    }
    for (Circuit& circuit : sum.circuits) {
      if (circuit.sum != nullptr) continue;
      if (config_.asoft_encoding == "seq")
        for (Term input : circuit.pending) circuit.outputs = builder.count(circuit.outputs, input);
      else
        circuit.outputs = builder.merge(std::move(circuit.outputs), builder.sort(circuit.pending));
      circuit.pending.clear();
      circuit.sum = builder.connect(circuit.outputs, circuit.weight);
    }
  }
  return definitions;
}

std::vector<Term> PbManager::sums() const {
  std::vector<Term> equations;
  const Term zero = terms_.make_number(QNumber(0));
  for (const Sum& sum : state_.groups) {
    Term total = terms_.make_number(sum.group.offset);
    for (Term constant : sum.constants) total = terms_.make_plus(total, constant);
    for (const Circuit& circuit : sum.circuits) total = terms_.make_plus(total, circuit.sum);
    for (std::size_t i = sum.num_defined; i < sum.group.entries.size(); ++i) {
      const SoftEntry& entry = sum.group.entries[i];
      const Term weight = terms_.make_number(entry.weight);
      const Term choice = terms_.make_term_ite(entry.label, zero, weight);
      total = terms_.make_plus(total, choice);
    }
    equations.push_back(terms_.make_equal(sum.group.id, total));
  }
  return equations;
}

void PbManager::pop() {
  state_ = std::move(saved_.back());
  saved_.pop_back();
}

void PbManager::reset() {
  state_ = State();
  saved_.clear();
}

void PbManager::append_roots(std::vector<Term>& roots) const {
  const auto append = [&roots](const State& state) {
    for (const Sum& sum : state.groups) {
      roots.push_back(sum.group.id);
      for (const SoftEntry& entry : sum.group.entries) roots.push_back(entry.label);
      roots.insert(roots.end(), sum.constants.begin(), sum.constants.end());
      for (const Circuit& circuit : sum.circuits) {
        roots.insert(roots.end(), circuit.outputs.begin(), circuit.outputs.end());
        roots.insert(roots.end(), circuit.pending.begin(), circuit.pending.end());
        if (circuit.sum != nullptr) roots.push_back(circuit.sum);
      }
    }
  };
  append(state_);
  for (const State& state : saved_) append(state);
}

}  // namespace vesk::opt
