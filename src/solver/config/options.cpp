#include "solver/config/options.h"

#include <charconv>
#include <cmath>

#include "solver/config/option_table.h"

namespace vesk {
namespace {

[[noreturn]] void fail(std::string_view key, std::string_view value, const std::string& what) {
  throw OptionError(what + ": " + std::string(key) + ", value: " + std::string(value) + ", command-line: -" +
                    std::string(key) + "=" + std::string(value));
}

template <typename T>
bool parse_number(std::string_view text, T* out) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *out);
  return error == std::errc() && end == text.data() + text.size();
}

bool is_choice(std::string_view choices, std::string_view value) {
  while (!choices.empty()) {
    const std::size_t end = choices.find(' ');
    if (choices.substr(0, end) == value) return true;
    if (end == std::string_view::npos) break;
    choices.remove_prefix(end + 1);
  }
  return false;
}

bool in_foreign_group(std::string_view key) {
  for (std::string_view group :
       {"theory.arr.", "theory.bv.", "theory.fp.", "theory.na.", "opt.theory.bv.", "opt.theory.fp."})
    if (key.size() > group.size() && key.substr(0, group.size()) == group) return true;
  return false;
}

std::string_view trim(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

std::string real_text(double value) {
  char buffer[32];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

}  // namespace

namespace {

// Whether the value, which is of the row's type, is the only one that it supports. Numbers have many texts.
bool is_only_value(const OptionRow& row, std::string_view value) {
  if (row.type == 'f') {
    double number = 0, supported = 0;
    return parse_number(value, &number) && parse_number(row.only, &supported) && number == supported;
  }
  if (row.type != 'i') return value == row.only;
  int number = 0, supported = 0;
  return parse_number(value, &number) && parse_number(row.only, &supported) && number == supported;
}

void set_row(Configuration& config, const OptionRow& row, std::string_view value) {
  const std::string_view key = row.key;
  const auto require_supported = [&] {
    if (row.only == nullptr || is_only_value(row, value)) return;
    // The table has the options of an optimiser, for files of settings that name them; there is none yet.
    const bool is_of_optimiser = key.starts_with("opt.");
    fail(key, value,
         std::string(is_of_optimiser ? "nothing serves it yet" : "not supported") + ", only the default '" +
             row.only + (is_of_optimiser ? "' is taken, of option" : "' is, of option"));
  };
  switch (row.type) {
    case 'b': {
      if (value != "true" && value != "false") fail(key, value, "bad Boolean for option");
      require_supported();
      if (row.as_bool != nullptr) row.as_bool(config) = value == "true";
      return;
    }
    case 'i': {
      int number = 0;
      if (!parse_number(value, &number)) fail(key, value, "bad integer for option");
      if (number < row.low || number > row.high) fail(key, value, "number out of range for option");
      require_supported();
      if (row.as_int != nullptr) row.as_int(config) = number;
      return;
    }
    case 'f': {
      double number = 0;
      if (!parse_number(value, &number) || !std::isfinite(number)) fail(key, value, "bad number for option");
      const bool open_below = row.low == 0 && key == "opt.bin.pivot_position";  // above 0 up to 1
      if (number < row.low || number > row.high || (open_below && number == 0))
        fail(key, value, "number out of range for option");
      require_supported();
      if (row.as_real != nullptr) row.as_real(config) = number;
      return;
    }
    default:
      if (row.choices != nullptr && !is_choice(row.choices, value)) fail(key, value, "bad choice for option");
      require_supported();
      if (row.as_text != nullptr) row.as_text(config) = value;
      return;
  }
}

std::string value_of(const OptionRow& row, Configuration& config) {
  if (row.as_bool != nullptr) return row.as_bool(config) ? "true" : "false";
  if (row.as_int != nullptr) return std::to_string(row.as_int(config));
  if (row.as_real != nullptr) return real_text(row.as_real(config));
  if (row.as_text != nullptr) return row.as_text(config);
  return row.only == nullptr ? "" : row.only;
}

}  // namespace

void set_option(Configuration& config, std::string_view key, std::string_view value) {
  for (const OptionRow& row : option_table())
    if (key == row.key) return set_row(config, row, value);
  // Groups of theories that this solver lacks are passed over, for files of settings shared with others.
  if (!in_foreign_group(key)) fail(key, value, "unknown option");
}

std::string get_option(const Configuration& config, std::string_view key) {
  Configuration copy = config;  // the table's functions give references that may be written to
  for (const OptionRow& row : option_table())
    if (key == row.key) return value_of(row, copy);
  throw OptionError("unknown option: " + std::string(key));
}

void parse_configuration(Configuration& config, std::string_view text, std::string_view section) {
  bool active = true;
  int errors = 0;
  std::string first_error;
  int line_number = 0;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = trim(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    ++line_number;
    if (line.empty() || line.front() == '#') continue;
    const std::size_t equals = line.find('=');
    const bool header = line.front() == '[';
    const bool malformed = header ? line.back() != ']' || line.size() < 3
                                  : equals == std::string_view::npos || trim(line.substr(0, equals)).empty();
    if (malformed)
      throw OptionError("bad format of configuration file, line " + std::to_string(line_number) + ": " +
                        std::string(line));
    if (header) {
      active = trim(line.substr(1, line.size() - 2)) == section;
      continue;
    }
    if (!active) continue;
    try {
      set_option(config, trim(line.substr(0, equals)), trim(line.substr(equals + 1)));
    } catch (const OptionError& error) {
      if (errors++ == 0) first_error = "line " + std::to_string(line_number) + ": " + error.get_msg();
    }
  }
  if (errors > 0)
    throw OptionError(std::to_string(errors) +
                      " error(s) while parsing the configuration file: " + first_error);
}

Configuration default_configuration(std::string_view) {
  Configuration config;
  config.model_generation = true;
  return config;
}

std::vector<OptionInfo> list_options() {
  Configuration defaults;
  std::vector<OptionInfo> options;
  for (const OptionRow& row : option_table()) {
    options.push_back({row.key, row.type, value_of(row, defaults), row.help});
  }
  return options;
}

}  // namespace vesk
