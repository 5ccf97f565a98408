#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/planner_options.h"

namespace zorvel {

/// Typed options by key, with a command-line description kept beside them.
///
/// The five kinds are separate name spaces: a key is found only by the accessors of its kind; any other key
/// raises InvalidParameterError "Undefined option " and the key. Allowed values bind the command line only.
class Configuration {
 public:
  Configuration();  ///< Registers every option of the planner.
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;

  /// `shortcut` is a letter for the command line, 0 for none.
  void add_boolean_option(const std::string& key, const std::string& help, const std::string& group,
                          char shortcut = 0);
  void add_integer_option(const std::string& key, const std::string& help, const std::string& group,
                          std::int64_t value, char shortcut = 0);
  void add_float_option(const std::string& key, const std::string& help, const std::string& group,
                        double value, char shortcut = 0);
  /// An empty `allowed` means that any text is accepted.
  void add_string_option(const std::string& key, const std::string& help, const std::string& group,
                         const std::string& value, const std::unordered_set<std::string>& allowed = {},
                         char shortcut = 0);
  void add_vector_string_option(const std::string& key, const std::string& help, const std::string& group,
                                const std::vector<std::string>& value,
                                const std::unordered_set<std::string>& allowed = {}, char shortcut = 0);

  bool get_boolean_value(const std::string& key) const;
  std::int64_t get_integer_value(const std::string& key) const;
  double get_float_value(const std::string& key) const;
  const std::string& get_string_value(const std::string& key) const;
  const std::vector<std::string>& get_vector_string_value(const std::string& key) const;

  void set_value(const std::string& key, bool value);
  void set_value(const std::string& key, long value);
  void set_value(const std::string& key, int value) { set_value(key, static_cast<long>(value)); }
  void set_value(const std::string& key, double value);
  void set_value(const std::string& key, const std::string& value);
  /// why: without it a literal would pick the overload for bool.
  void set_value(const std::string& key, const char* value) { set_value(key, std::string(value)); }
  void set_value(const std::string& key, const std::vector<std::string>& value);

  /// Raised by every set_value and by a command line: a reader in an inner loop keeps typed copies and
  /// compares this one number.
  std::uint64_t changes() const { return changes_; }

  /// Reads options from a command line into this registry and the other words into `input_files`. 0 on
  /// success; on a failure the text goes to standard output or error and the result is what the parser gives;
  /// help prints the help text to standard output and gives 1.
  int parse_from_command_line(int argc, const char* const* argv, std::vector<std::string>& input_files);

  /// Whether the last command line that was read had this option.
  bool was_given(const std::string& key) const { return given_.contains(key); }

 private:
  /// How an option looks on a command line.
  struct Description {
    std::string key, help, group;
    std::vector<std::string> allowed;  // empty for any
    OptionKind kind;
    char shortcut;
  };
  void describe(OptionKind kind, const std::string& key, const std::string& help, const std::string& group,
                char shortcut, const std::unordered_set<std::string>& allowed = {});

  // why only these, and why no command-line object: most contexts never read a command line, so what it needs
  // is put together when one does; describing every option here made half of a context's cost.
  std::vector<Description> added_;  // those registered after the table's, in order
  std::unordered_map<std::string, bool> booleans_;
  std::unordered_map<std::string, std::int64_t> integers_;
  std::unordered_map<std::string, double> floats_;
  std::unordered_map<std::string, std::string> strings_;
  std::unordered_map<std::string, std::vector<std::string>> vector_strings_;
  std::unordered_set<std::string> given_;
  std::uint64_t changes_ = 0;
};

}  // namespace zorvel
