#pragma once

#include <cassert>
#include <cstddef>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zorvel {

/// A table with nested scopes: what is bound in an inner scope hides the outer binding until the scope ends.
///
/// One table serves a whole text. Entering a scope costs nothing and leaving it what was bound in it, where a
/// copy of the table for each scope would make a text with many names and many actions quadratic.
template <class Key, class Value>
class ScopedTable {
 public:
  /// Ends its scope when it goes: the bindings made since are undone, newest first.
  class Scope {
   public:
    explicit Scope(ScopedTable& table) : table_(table), height_(table.trail_.size()) {}
    ~Scope() { table_.undo(height_); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    ScopedTable& table_;
    std::size_t height_;
  };

  /// The value of the key in the innermost scope that binds it; null if none does. Valid until the next bind.
  const Value* find(const Key& key) const {
    const auto found = table_.find(key);
    return found == table_.end() ? nullptr : &found->second;
  }
  void bind(const Key& key, const Value& value) {
    const auto [place, is_new] = table_.try_emplace(key, value);
    if (is_new) {
      trail_.emplace_back(key, std::nullopt);
    } else {
      trail_.emplace_back(key, std::move(place->second));
      place->second = value;
    }
  }

 private:
  void undo(std::size_t height) {
    assert(height <= trail_.size());  // scopes end in the reverse order of their beginning
    for (; trail_.size() > height; trail_.pop_back()) {
      auto& [key, hidden] = trail_.back();
      if (hidden)
        table_.find(key)->second = std::move(*hidden);
      else
        table_.erase(key);
    }
  }

  std::unordered_map<Key, Value> table_;
  std::vector<std::pair<Key, std::optional<Value>>> trail_;  // what each bind hid, oldest first
};

}  // namespace zorvel
