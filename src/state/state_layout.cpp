#include "state/state_layout.h"

#include <cassert>
#include <utility>

#include "core/errors.h"
#include "state/operations.h"

namespace zorvel {

using model::ExpressionFactory;

namespace {

/// Whether evaluation would look up the reference at all: all arguments are values inside their types.
bool is_reachable(const ExpressionFactory& factory, const model::FluentImpl& fluent, const Node* reference) {
  if (fluent.arity() != reference->arity) return false;
  for (std::size_t i = 0; i < reference->arity; ++i) {
    const Node* const argument = reference->children[i];
    const model::TypePtr type = fluent.parameters()[i]->type();
    if (!ExpressionFactory::is_value(argument)) return false;
    if ((type->is_integer() || type->is_rational()) &&
        (!ExpressionFactory::is_numeric_constant(argument) || !check_domain(factory, argument, *type)))
      return false;
  }
  return true;
}

}  // namespace

StateLayout::StateLayout(Environment& env, const StateIndex& index, ValueTable& values)
    : EnvObject(env), index_(index), values_(values), references_(index.size(), nullptr) {
  for (const auto& [reference, slot] : index) {
    if (slot >= index.size() || references_[slot] != nullptr)
      throw InternalError("The slots of a state are not numbered from 0: ")
          << model::print_expression{reference};
    references_[slot] = reference;
  }
  const ExpressionFactory& factory = env.expression_factory();
  std::unordered_map<const model::FluentImpl*, std::vector<ArgumentTable::Entry>> entries;
  for (std::size_t slot = 0; slot < references_.size(); ++slot) {
    Node* const reference = references_[slot];
    if (reference->arity == 0) continue;
    const auto fluent = factory.get_fluent_from_reference(reference);
    auto& of_fluent = entries[fluent.get()];
    if (!is_reachable(factory, *fluent, reference)) continue;
    ArgumentTable::Entry entry{{}, static_cast<std::uint32_t>(slot)};
    for (Node* argument : reference->operands()) entry.arguments.push_back(values.id_of(argument));
    of_fluent.push_back(std::move(entry));
    fluents_.push_back(fluent);
  }
  for (const auto& fluent : fluents_)
    if (!tables_.contains(fluent.get()))
      tables_.emplace(fluent.get(),
                      std::make_unique<ArgumentTable>(fluent->arity(), std::move(entries[fluent.get()])));
}

SearchState StateLayout::unpack(const ValueId* slots, std::size_t heuristics) const {
  SearchState state(references_.size(), heuristics);
  for (std::size_t slot = 0; slot < references_.size(); ++slot)
    state.override_value(slot, values_.node_of(slots[slot]));
  return state;
}

void StateLayout::pack(const SearchState& state, ValueId* slots) const {
  assert(state.assignments().size() == references_.size());
  for (std::size_t slot = 0; slot < references_.size(); ++slot)
    slots[slot] = values_.id_of(state.value(slot));
}

const ArgumentTable* StateLayout::slots_of(const model::FluentImpl& fluent) const {
  const auto found = tables_.find(&fluent);
  return found == tables_.end() ? nullptr : found->second.get();
}

ConstantTable& StateLayout::values_of(const std::shared_ptr<model::ConstantImpl>& constant) const {
  std::unique_ptr<ConstantTable>& table = constants_[constant.get()];
  if (table == nullptr) table = std::make_unique<ConstantTable>(constant, values_);
  return *table;
}

}  // namespace zorvel
