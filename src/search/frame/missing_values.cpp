#include "search/frame/missing_values.h"

#include <algorithm>

#include "model/expression_factory.h"

namespace zorvel {

void MissingValues::note(Node* reference) {
  if (!model::ExpressionFactory::is_fluent_reference(reference)) return;
  const auto arguments = reference->operands();
  const bool is_ground = std::all_of(arguments.begin(), arguments.end(),
                                     [](const Node* n) { return model::ExpressionFactory::is_value(n); });
  if (is_ground && !index_.contains(reference)) names_.insert(model::to_anml(reference));
}

void MissingValues::warn(Environment& env) const {
  if (names_.empty()) return;
  env.warning_manager().warn_once(std::string(missing_values_warning) + ": " + shortened_list(names_));
}

std::string shortened_list(const std::set<std::string>& texts) {
  std::string list;
  std::size_t listed = 0;
  for (const std::string& text : texts) {
    if (listed == 20) return list + " and " + std::to_string(texts.size() - listed) + " more";
    list += (listed++ == 0 ? "" : ", ") + text;
  }
  return list;
}

}  // namespace zorvel
