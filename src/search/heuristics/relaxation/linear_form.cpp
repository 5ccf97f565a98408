#include "search/heuristics/relaxation/linear_form.h"

#include <algorithm>
#include <cassert>
#include <limits>

#include "model/expression_factory.h"

namespace zorvel {

using F = model::ExpressionFactory;

double LinearForm::factor_of(std::uint32_t slot) const {
  const auto place =
      std::lower_bound(terms.begin(), terms.end(), slot,
                       [](const auto& term, std::uint32_t wanted) { return term.first < wanted; });
  return place != terms.end() && place->first == slot ? place->second : 0;
}

double LinearForm::evaluate(const ValueTable& table, const ValueId* slots) const {
  double sum = constant;
  for (const auto& [slot, factor] : terms) {
    if (!table.is_number(slots[slot])) return std::numeric_limits<double>::quiet_NaN();
    sum += factor * table.approximation_of(slots[slot]);
  }
  return sum;
}

void LinearForm::add(const LinearForm& other, double factor) {
  constant += factor * other.constant;
  for (const auto& [slot, own] : other.terms) {
    const auto place =
        std::lower_bound(terms.begin(), terms.end(), slot,
                         [](const auto& term, std::uint32_t wanted) { return term.first < wanted; });
    if (place == terms.end() || place->first != slot)
      terms.insert(place, {slot, factor * own});
    else if ((place->second += factor * own) == 0)
      terms.erase(place);
  }
}

namespace {

// A shared operand is walked once for each of its parents, so that the work needs a bound of its own.
constexpr std::size_t most_nodes = 200;

std::optional<LinearForm> walk(const StateLayout& layout, Node* expression, std::size_t& nodes) {
  if (++nodes > most_nodes) return std::nullopt;
  LinearForm result;
  if (F::is_numeric_constant(expression)) {
    result.constant = layout.values().approximation_of(layout.values().id_of(expression));
    return result;
  }
  if (F::is_fluent_reference(expression)) {
    const auto slot = layout.index().find(expression);
    if (slot == layout.index().end()) return std::nullopt;
    result.terms.emplace_back(static_cast<std::uint32_t>(slot->second), 1.0);
    return result;
  }
  const NodeKind kind = expression->kind();
  if (kind != NodeKind::PLUS && kind != NodeKind::MINUS && kind != NodeKind::TIMES && kind != NodeKind::DIV)
    return std::nullopt;
  for (std::size_t i = 0; i < expression->arity; ++i) {
    const auto operand = walk(layout, expression->children[i], nodes);
    if (!operand) return std::nullopt;
    if (i == 0) {
      result = *operand;
    } else if (kind == NodeKind::PLUS || kind == NodeKind::MINUS) {
      result.add(*operand, kind == NodeKind::PLUS ? 1 : -1);
    } else {
      // A product is linear as long as all its operands but one are constant, a quotient by a constant.
      const bool is_divided = kind == NodeKind::DIV;
      if (!operand->terms.empty() && (is_divided || !result.terms.empty())) return std::nullopt;
      if (is_divided && operand->constant == 0) return std::nullopt;
      LinearForm scaled;
      if (operand->terms.empty())
        scaled.add(result, is_divided ? 1 / operand->constant : operand->constant);
      else
        scaled.add(*operand, result.constant);
      std::erase_if(scaled.terms, [](const auto& term) { return term.second == 0; });
      result = std::move(scaled);
    }
  }
  return result;
}

}  // namespace

std::optional<LinearForm> linear_form(const StateLayout& layout, Node* expression) {
  std::size_t nodes = 0;
  std::optional<LinearForm> form = walk(layout, expression, nodes);
  // factor_of and add look for slots among them.
  assert(!form || std::ranges::is_sorted(form->terms, {}, [](const auto& term) { return term.first; }));
  return form;
}

}  // namespace zorvel
