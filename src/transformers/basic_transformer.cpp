#include "transformers/basic_transformer.h"

#include "core/errors.h"
#include "model/user_type.h"

namespace zorvel::model {

namespace {

bool type_has_members(const UserTypeImpl& type) {
  if (!type.fluents().empty() || !type.constants().empty() || !type.actions().empty()) return true;
  for (const auto& [name, nested] : type.user_types())
    if (type_has_members(*nested)) return true;
  return false;
}

}  // namespace

void BasicTransformer::require_flat(std::string_view message) const {
  for (const auto& [name, type] : problem_->user_types())
    if (type_has_members(*type)) throw InternalError(message);
}

const std::shared_ptr<ActionImpl>& BasicTransformer::find_action(const ActionTable& table,
                                                                 const std::shared_ptr<ActionImpl>& action,
                                                                 std::string_view message) {
  const auto found = table.find(action);
  if (found == table.end()) throw InternalError(message);
  return found->second;
}

}  // namespace zorvel::model
