#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace zorvel {

enum class OptionKind : std::uint8_t { boolean, integer, real, text, texts, positional_text };

/// One option of the planner, in the form of a table's row.
struct OptionRow {
  std::string_view key;
  OptionKind kind;
  std::string_view group;
  char shortcut;           ///< 0 for none.
  std::string_view value;  ///< The default, as text; for a list its elements, with a space between them.
  std::string_view help;
  std::string_view allowed{};  ///< The values that a command line may give, likewise; empty for any.
};

/// Every option, in the order in which they are registered and shown.
std::span<const OptionRow> planner_options();

}  // namespace zorvel
