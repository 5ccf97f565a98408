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
    bool is_instantaneous = false;  ///< Texts show no duration, which is 0.
  };

  /// Nothing is renamed.
  PlanNames() = default;
  void add(const std::string& model_name, ActionName name) {
    note(model_names_, name.name, model_name);
    actions_[model_name] = std::move(name);
  }

  /// An object that texts may also write in another letter case.
  void add_object(const std::string& name) { note(objects_, name, name); }

  /// Null for an action that texts write as the model has it.
  const ActionName* find(const std::string& model_name) const {
    const auto found = actions_.find(model_name);
    return found == actions_.end() ? nullptr : &found->second;
  }
  /// The name in the model of an action of a text; the same name where none is known.
  const std::string& model_name(const std::string& name) const { return look_up(model_names_, name); }
  /// The same for an object.
  const std::string& object_name(const std::string& name) const { return look_up(objects_, name); }

 private:
  static std::string lower_case(std::string text) {
    for (char& c : text)
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
  }
  /// Names in the model by the name in texts, and by that name in lower case.
  struct Table {
    std::map<std::string, std::string> exact, lower;
  };
  static void note(Table& table, const std::string& text, const std::string& model_name) {
    table.exact[text] = table.lower[lower_case(text)] = model_name;
  }
  static const std::string& look_up(const Table& table, const std::string& name) {
    // Not every reader takes names that differ in case alone for one.
    if (const auto found = table.exact.find(name); found != table.exact.end()) return found->second;
    const auto found = table.lower.find(lower_case(name));
    return found == table.lower.end() ? name : found->second;
  }

  std::map<std::string, ActionName> actions_;  // by name in the model
  Table model_names_, objects_;
};

}  // namespace zorvel
