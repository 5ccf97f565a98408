#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "solver/config/configuration.h"
#include "solver/util/exception.h"

namespace vesk {

/// An unknown key, a value that does not parse, a malformed configuration text.
class OptionError : public Exception {
 public:
  using Exception::Exception;
};

/// Sets the option `key` from its text; OptionError, with nothing changed, if that cannot be. Booleans are
/// "true" and "false", integers decimal, other numbers any decimal form. Keys of the groups of theories
/// that this solver does not have are taken without effect; of the table's options for what it does not have
/// only the defaults are.
void set_option(Configuration& config, std::string_view key, std::string_view value);

/// The value of an option as text; OptionError for an unknown key.
std::string get_option(const Configuration& config, std::string_view key);

/// Reads a configuration text, one `key = value` a line; `#` begins a comment line. Lines behind `[name]`
/// count only if `section` is that name, lines before the first section always.
void parse_configuration(Configuration& config, std::string_view text, std::string_view section);

/// Settings for an SMT-LIB logic; models are on.
Configuration default_configuration(std::string_view logic);

struct OptionInfo {
  std::string_view key;
  char type;  ///< i integer, b Boolean, f real number, t text
  std::string default_value;
  std::string_view help;
};
/// All keys, in the order of the documentation.
std::vector<OptionInfo> list_options();

}  // namespace vesk
