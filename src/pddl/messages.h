#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/environment.h"

namespace zorvel::pddl {

/// A place in one of the texts that are read together. Lines and columns count from 1, columns in characters.
struct Place {
  std::uint32_t file = 0;
  std::uint32_t line = 0;
  std::uint32_t column = 0;

  friend bool operator==(const Place&, const Place&) = default;
};

/// The errors and warnings found in the texts, each "FILE:LINE:COLUMN: what is wrong".
///
/// Reading goes on behind an error, so that one run shows up to `max_errors` of them; whoever needs what was
/// wrong calls `raise_errors` first.
class Messages {
 public:
  static constexpr std::size_t max_errors = 10;

  /// `files` are the names of the texts, as messages call them.
  explicit Messages(std::vector<std::string> files) : files_(std::move(files)) {}

  /// Notes an error; with the last one that is shown, raises what `raise_errors` does. The same text at the
  /// same place is noted once.
  void error(const Place& place, std::string_view text);
  void warn(const Place& place, std::string_view text);

  bool has_errors() const { return !errors_.empty(); }
  /// ParserError with all errors so far, a line each, if there are any.
  void raise_errors() const;
  /// Gives the warnings to the environment, in the order in which they were found.
  void publish_warnings(Environment& env) const;
  std::string place_text(const Place& place) const;  ///< "FILE:LINE:COLUMN"
  const Place& first_error_place() const { return first_error_place_; }

 private:
  std::vector<std::string> files_;
  std::vector<std::string> errors_, warnings_;
  Place first_error_place_;
};

/// The text in quotes, for a message; cut where it is too long for one.
std::string quoted(std::string_view text);

}  // namespace zorvel::pddl
