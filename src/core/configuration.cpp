#include "core/configuration.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "core/errors.h"

namespace zorvel {

namespace {

template <class Map>
auto& find_or_raise(Map& map, const std::string& key) {
  const auto found = map.find(key);
  if (found == map.end()) throw InvalidParameterError("Undefined option ") << key;
  return found->second;
}

std::vector<std::string> split(std::string_view words) {
  std::vector<std::string> result;
  while (!words.empty()) {
    const std::size_t space = words.find(' ');
    result.emplace_back(words.substr(0, space));
    words = space == std::string_view::npos ? std::string_view() : words.substr(space + 1);
  }
  return result;
}

}  // namespace

Configuration::Configuration() {
  for (const OptionRow& row : planner_options()) {
    std::string key(row.key), value(row.value);
    switch (row.kind) {
      case OptionKind::boolean: booleans_.emplace(std::move(key), false); break;
      case OptionKind::integer: integers_.emplace(std::move(key), std::stoll(value)); break;
      case OptionKind::real: floats_.emplace(std::move(key), std::stod(value)); break;
      case OptionKind::texts: vector_strings_.emplace(std::move(key), split(value)); break;
      case OptionKind::text:
      case OptionKind::positional_text: strings_.emplace(std::move(key), std::move(value)); break;
    }
  }
}

void Configuration::describe(OptionKind kind, const std::string& key, const std::string& help,
                             const std::string& group, char shortcut,
                             const std::unordered_set<std::string>& allowed) {
  std::vector<std::string> sorted(allowed.begin(), allowed.end());
  std::sort(sorted.begin(), sorted.end());
  added_.push_back({key, help, group, std::move(sorted), kind, shortcut});
}

void Configuration::add_boolean_option(const std::string& key, const std::string& help,
                                       const std::string& group, char shortcut) {
  booleans_[key] = false;
  describe(OptionKind::boolean, key, help, group, shortcut);
}
void Configuration::add_integer_option(const std::string& key, const std::string& help,
                                       const std::string& group, std::int64_t value, char shortcut) {
  integers_[key] = value;
  describe(OptionKind::integer, key, help, group, shortcut);
}
void Configuration::add_float_option(const std::string& key, const std::string& help,
                                     const std::string& group, double value, char shortcut) {
  floats_[key] = value;
  describe(OptionKind::real, key, help, group, shortcut);
}
void Configuration::add_string_option(const std::string& key, const std::string& help,
                                      const std::string& group, const std::string& value,
                                      const std::unordered_set<std::string>& allowed, char shortcut) {
  strings_[key] = value;
  describe(OptionKind::text, key, help, group, shortcut, allowed);
}
void Configuration::add_vector_string_option(const std::string& key, const std::string& help,
                                             const std::string& group, const std::vector<std::string>& value,
                                             const std::unordered_set<std::string>& allowed, char shortcut) {
  vector_strings_[key] = value;
  describe(OptionKind::texts, key, help, group, shortcut, allowed);
}

bool Configuration::get_boolean_value(const std::string& key) const { return find_or_raise(booleans_, key); }
std::int64_t Configuration::get_integer_value(const std::string& key) const {
  return find_or_raise(integers_, key);
}
double Configuration::get_float_value(const std::string& key) const { return find_or_raise(floats_, key); }
const std::string& Configuration::get_string_value(const std::string& key) const {
  return find_or_raise(strings_, key);
}
const std::vector<std::string>& Configuration::get_vector_string_value(const std::string& key) const {
  return find_or_raise(vector_strings_, key);
}

void Configuration::set_value(const std::string& key, bool value) {
  find_or_raise(booleans_, key) = value;
  ++changes_;
}
void Configuration::set_value(const std::string& key, long value) {
  find_or_raise(integers_, key) = value;
  ++changes_;
}
void Configuration::set_value(const std::string& key, double value) {
  find_or_raise(floats_, key) = value;
  ++changes_;
}
void Configuration::set_value(const std::string& key, const std::string& value) {
  find_or_raise(strings_, key) = value;
  ++changes_;
}
void Configuration::set_value(const std::string& key, const std::vector<std::string>& value) {
  find_or_raise(vector_strings_, key) = value;
  ++changes_;
}

int Configuration::parse_from_command_line(int argc, const char* const* argv,
                                           std::vector<std::string>& input_files) {
  CLI::App app;
  std::vector<Description> descriptions;
  for (const OptionRow& row : planner_options())
    descriptions.push_back({std::string(row.key), std::string(row.help), std::string(row.group),
                            split(row.allowed), row.kind, row.shortcut});
  for (const Description& added : added_) {
    const auto row = std::find_if(descriptions.begin(), descriptions.end(),
                                  [&](const Description& other) { return other.key == added.key; });
    if (row == descriptions.end())
      descriptions.push_back(added);
    else
      *row = added;
  }
  std::vector<std::pair<std::string, const CLI::Option*>> all;
  for (const Description& option : descriptions) {
    std::string name = "--" + option.key;
    if (option.shortcut != 0) name = std::string("-") + option.shortcut + "," + name;
    CLI::Option* described = nullptr;
    switch (option.kind) {
      case OptionKind::boolean: described = app.add_flag(name, booleans_.at(option.key), option.help); break;
      case OptionKind::integer:
        described = app.add_option(name, integers_.at(option.key), option.help);
        break;
      case OptionKind::real: described = app.add_option(name, floats_.at(option.key), option.help); break;
      case OptionKind::positional_text: name = option.key; [[fallthrough]];
      case OptionKind::text: described = app.add_option(name, strings_.at(option.key), option.help); break;
      case OptionKind::texts:
        // One word each time the option is given, so that it does not swallow the files behind it.
        described =
            app.add_option(name, vector_strings_.at(option.key), option.help)->allow_extra_args(false);
        break;
    }
    if (option.group != "generic") described->group(option.group + " options");
    if (!option.allowed.empty()) described->check(CLI::IsMember(option.allowed));
    all.emplace_back(option.key, described);
  }
  app.add_option("input-files", input_files, "The list of input files.");
  ++changes_;
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return 1;
  } catch (const CLI::ParseError& error) {
    return app.exit(error, std::cout, std::cerr);
  }
  given_.clear();
  for (const auto& [key, option] : all)
    if (option->count() > 0) given_.insert(key);
  return 0;
}

}  // namespace zorvel
