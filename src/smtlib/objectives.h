#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "smtlib/symbol_table.h"
#include "smtlib/term_maker.h"
#include "veskormax.h"

namespace smtlib {

/// What a script minimises and maximises, in order of assertion, and its answers to `get-objectives`.
class Objectives {
 public:
  /// The environment is an optimising one and outlives this object.
  explicit Objectives(const TermMaker& maker) : maker_(maker) {}
  Objectives(const Objectives&) = delete;
  Objectives& operator=(const Objectives&) = delete;
  ~Objectives() { shrink(0); }

  /// Asserts the objective; `text` is what the script calls it. TermFault if it cannot be.
  void add(bool maximizes, TypedTerm term, std::string text);
  /// A soft formula; the first one of a group asserts the objective to keep the group's sum small.
  void add_soft(vesk_term formula, vesk_term weight, std::string_view group);
  std::size_t size() const { return entries_.size(); }
  /// Back to a size that the list had; the environment was popped, or is about to be destroyed.
  void shrink(std::size_t size);
  /// What the last check found, one objective a line: optima, or, where it was stopped, what is known.
  void print(bool was_stopped, std::ostream& out) const;

 private:
  struct Entry {
    vesk_objective objective;
    vesk_type type;
    std::string text;
    std::string group{};  // the name in the environment of a group of soft formulas; "" for none
  };
  void assert_objective(bool maximizes, vesk_term term, Entry entry);
  std::string value(const Entry& entry, int api_code) const;

  const TermMaker& maker_;
  std::vector<Entry> entries_;
};

}  // namespace smtlib
