#include "transformers/constant_order.h"

#include <unordered_set>

#include "core/errors.h"
#include "model/walkers/expression_parts.h"

namespace zorvel::model {

namespace {

using Constants = std::vector<std::shared_ptr<ConstantImpl>>;

void collect_constants(const ExpressionFactory& factory, Node* root,
                       std::vector<std::shared_ptr<ConstantImpl>>& constants) {
  for_each_part(std::vector<const Node*>{root}, [&](const Node* node) {
    if (ExpressionFactory::is_constant_reference(node))
      constants.push_back(factory.get_constant_from_reference(node));
  });
}

/// The constants that occur in the values of a constant.
std::vector<std::shared_ptr<ConstantImpl>> constants_in_values(const ExpressionFactory& factory,
                                                               const ConstantImpl& constant) {
  std::vector<std::shared_ptr<ConstantImpl>> used;
  for (const auto& [key, table] : constant.all_values()) {
    if (table == nullptr) continue;
    for (const auto& [arguments, value] : table->sorted_assignments()) {
      for (Node* argument : arguments) collect_constants(factory, argument, used);
      collect_constants(factory, value, used);
    }
  }
  return used;
}

}  // namespace

Constants in_order_of_use(const ExpressionFactory& factory, const Constants& constants) {
  struct Visit {
    std::shared_ptr<ConstantImpl> constant;
    Constants used;
  };
  std::unordered_set<const ConstantImpl*> known, open, finished;
  for (const auto& constant : constants) known.insert(constant.get());
  Constants result;
  for (const auto& first : constants) {
    std::vector<Visit> stack;
    const auto enter = [&](const std::shared_ptr<ConstantImpl>& constant) {
      if (finished.contains(constant.get()) || !known.contains(constant.get())) return;
      if (!open.insert(constant.get()).second)
        throw InternalError("The value of the constant '") << constant->name() << "' depends on itself";
      stack.push_back({constant, constants_in_values(factory, *constant)});
    };
    enter(first);
    while (!stack.empty()) {
      if (stack.back().used.empty()) {
        result.push_back(stack.back().constant);
        finished.insert(stack.back().constant.get());
        stack.pop_back();
      } else {
        const auto next = stack.back().used.back();
        stack.back().used.pop_back();
        enter(next);
      }
    }
  }
  return result;
}

}  // namespace zorvel::model
