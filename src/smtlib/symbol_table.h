#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "veskor.h"

namespace smtlib {

/// A term and the sort that the script gives it. The solver's own type may be narrower: to it 1.0 is an
/// integer.
struct TypedTerm {
  vesk_term term;
  vesk_type type;
};

/// What a name stands for.
struct Symbol {
  enum class Kind { declared, defined, named, bound };  // named: by an annotation
  Kind kind;
  std::vector<vesk_type> params;
  vesk_type result;
  vesk_decl decl{};                  ///< of a declared symbol
  vesk_term term{};                  ///< of a constant; the body of a definition; what `let` binds
  std::vector<vesk_term> formals{};  ///< of a definition: what stands for its parameters in the body
};

/// Names and what they stand for, the innermost first. Names are taken back in the opposite order.
template <typename T>
class ScopedTable {
 public:
  void add(std::string_view name, T value) {
    const auto [entry, is_new] = table_.try_emplace(std::string(name));
    entry->second.push_back(std::move(value));
    names_.push_back(&entry->first);
  }
  /// Null if nothing has that name.
  const T* find(std::string_view name) const {
    const auto found = table_.find(name);
    return found == table_.end() || found->second.empty() ? nullptr : &found->second.back();
  }
  std::size_t size() const { return names_.size(); }
  /// Back to a size that the table had.
  void shrink(std::size_t size) {
    for (; names_.size() > size; names_.pop_back()) table_.find(*names_.back())->second.pop_back();
  }
  /// Oldest first.
  const std::string& name(std::size_t i) const { return *names_[i]; }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
  };
  std::unordered_map<std::string, std::vector<T>, Hash, std::equal_to<>> table_;
  std::vector<const std::string*> names_;  // keys of table_, which stay where they are
};

using SymbolTable = ScopedTable<Symbol>;
using SortTable = ScopedTable<vesk_type>;

}  // namespace smtlib
