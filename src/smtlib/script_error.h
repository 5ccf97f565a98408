#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace smtlib {

/// Place in a script, both from 1; columns count bytes.
struct Position {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
};

/// A fault in a script. The text is for the user, without the place.
class ScriptError : public std::runtime_error {
 public:
  ScriptError(Position where, const std::string& text) : std::runtime_error(text), where_(where) {}
  Position where() const { return where_; }

 private:
  Position where_;
};

}  // namespace smtlib
