#include "transformers/fresh_names.h"

#include <utility>

namespace zorvel::model {

void FreshNames::reserve_all_but_actions(const ProblemInstanceImpl& problem) {
  for (const auto& [name, fluent] : problem.fluents()) reserve(name);
  for (const auto& [name, constant] : problem.constants()) reserve(name);
  for (const auto& [name, type] : problem.user_types()) reserve(name);
  for (const auto& [name, instance] : problem.instances()) reserve(name);
}

std::string FreshNames::numbered(const std::string& name) {
  while (true) {
    std::string candidate = name + std::to_string(counter_++);
    if (used_.insert(candidate).second) return candidate;
  }
}

std::string FreshNames::unique(std::string name) {
  while (!used_.insert(name).second) name += '_';
  return name;
}

}  // namespace zorvel::model
