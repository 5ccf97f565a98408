#include "state/constant_table.h"

#include <cassert>

#include "model/expression_factory.h"
#include "state/operations.h"

namespace zorvel {

std::size_t ConstantTable::ArgumentsHash::operator()(const std::vector<ValueId>& arguments) const {
  std::size_t hash = 0;
  for (const ValueId argument : arguments) hash = (hash ^ argument) * 0x9E3779B97F4A7C15u;
  return hash ^ hash >> 32;
}

ValueId ConstantTable::find(const ValueId* arguments) {
  key_.assign(arguments, arguments + arity());
  if (const auto found = known_.find(key_); found != known_.end()) return found->second;
  const ValueId value = compute(key_);
  known_.emplace(key_, value);
  return value;
}

ValueId ConstantTable::compute(const std::vector<ValueId>& arguments) {
  const auto table = constant_->value();
  if (table == nullptr) return unset_value;
  assert(arguments.size() == constant_->parameters().size());
  model::ExpressionFactory& factory = values_.env().expression_factory();
  std::vector<Node*> nodes;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const model::TypePtr type = constant_->parameters()[i]->type();
    const bool is_numeric = type->is_integer() || type->is_rational();
    nodes.push_back(values_.node_of(arguments[i]));
    if (is_numeric && (!values_.is_number(arguments[i]) || !check_domain(factory, nodes.back(), *type)))
      return unset_value;
  }
  Node* const value = table->assignment(nodes);
  return value != nullptr && model::ExpressionFactory::is_value(value) ? values_.id_of(value) : unset_value;
}

}  // namespace zorvel
