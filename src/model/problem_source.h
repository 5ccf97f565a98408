#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/plan_names.h"

namespace zorvel::model {

/// A place in a text. Lines and columns count from 1; 0 where it is not known.
struct SourcePlace {
  std::uint32_t file = 0;  ///< Number in ProblemSource::files.
  std::uint32_t line = 0;
  std::uint32_t column = 0;
};

/// What the text of a problem says beyond what the problem means: how people named things, and where they
/// wrote them. It decides nothing; answers and messages read it.
class ProblemSource {
 public:
  std::vector<std::string> files;  ///< As messages name them; empty for a text without a name.
  PlanNames names;
  /// How people wrote the names of fluents, constants and actions that the model has under another name;
  /// empty for what the reader has added.
  std::unordered_map<std::string, std::string> written_names;
  /// The types, as messages name them, of which the reader's own boolean constants say who belongs to them.
  std::unordered_map<const void*, std::string> memberships;

  /// Where an object of the model is declared, or a statement stands: in the action `owner`, or at the top.
  /// The first place that is told counts.
  void add_place(const void* object, const SourcePlace& place, const void* owner = nullptr) {
    places_.try_emplace({object, owner}, place);
  }
  /// A place with line 0 if none is known.
  SourcePlace place(const void* object, const void* owner = nullptr) const {
    const auto found = places_.find({object, owner});
    return found == places_.end() ? SourcePlace() : found->second;
  }
  bool has_place(const void* object, const void* owner = nullptr) const {
    return places_.contains({object, owner});
  }

 private:
  using Key = std::pair<const void*, const void*>;
  struct KeyHash {
    std::size_t operator()(const Key& key) const {
      return std::hash<const void*>()(key.first) * 31 + std::hash<const void*>()(key.second);
    }
  };
  std::unordered_map<Key, SourcePlace, KeyHash> places_;  // looked up, never listed
};

}  // namespace zorvel::model
