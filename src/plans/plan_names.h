#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace zorvel {

/// How plan texts write the actions of a problem, where that differs from the model: a reader may rename
/// actions and put their parameters in another order.
class PlanNames {
 public:
  struct ActionName {
    std::string name;  ///< In texts.
    std::vector<std::size_t>
        order;  ///< For each argument in a text, from the first, its position in the model.
  };

  /// Nothing is renamed.
  PlanNames() = default;
  void add(const std::string& model_name, ActionName name) {
    model_names_[name.name] = model_name;
    actions_[model_name] = std::move(name);
  }

  /// Null for an action that texts write as the model has it.
  const ActionName* find(const std::string& model_name) const {
    const auto found = actions_.find(model_name);
    return found == actions_.end() ? nullptr : &found->second;
  }
  /// The name in the model of an action of a text; the same name where none is known.
  const std::string& model_name(const std::string& name) const {
    const auto found = model_names_.find(name);
    return found == model_names_.end() ? name : found->second;
  }

 private:
  std::map<std::string, ActionName> actions_;  // by name in the model
  std::map<std::string, std::string> model_names_;
};

}  // namespace zorvel
