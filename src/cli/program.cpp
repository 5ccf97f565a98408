#include "cli/program.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "cli/commands.h"
#include "cli/plan_output.h"
#include "core/environment.h"
#include "core/errors.h"
#include "core/log.h"
#include "core/planner_options.h"
#include "report/answer.h"
#include "search/forward/guided/guided_parts.h"
#include "search/heuristics/heuristic_set.h"

namespace zorvel::cli {

namespace {

constexpr const char* usage =
    "usage: zorvel solve FILE [OPTIONS]\n"
    "       zorvel validate --plan PLAN FILE\n"
    "       zorvel report --plan PLAN FILE [--output PAGE]\n"
    "       zorvel check FILE\n"
    "       zorvel transform -t NAME... FILE [--output OUT]\n"
    "       zorvel convert-to --target NAME FILE [--output OUT]\n"
    "       zorvel convert-to --target pddl FILE [--output-domain DOMAIN --output-problem PROBLEM]\n"
    "       with --pddl, FILE is DOMAIN PROBLEM\n"
    "       zorvel --version | --help\n";

using Command = std::function<Status(Environment&, const std::vector<std::string>&)>;

const std::map<std::string, Command>& commands() {
  static const std::map<std::string, Command> table{{"solve", solve},         {"validate", validate},
                                                    {"report", report_plan},  {"check", check},
                                                    {"transform", transform}, {"convert-to", convert}};
  return table;
}

/// `-t a b FILE` as `-t a -t b FILE`: every name of a transformer behind the first one is another one.
std::vector<std::string> spelled_out(int argc, const char* const* argv) {
  const auto& names = transformer_names();
  std::vector<std::string> words;
  bool in_names = false;
  for (int i = 0; i < argc; ++i) {
    const std::string word = argv[i];
    const bool is_name = std::find(names.begin(), names.end(), word) != names.end();
    if (in_names && is_name && words.back() != "-t") words.emplace_back("-t");
    if (!(in_names && is_name)) in_names = false;
    const bool is_option = word == "-t" || word == "--transformer";
    if (is_option) in_names = true;
    words.push_back(is_option ? "-t" : word);
  }
  return words;
}

/// Lets an option of the table have these values, and those `kept_free` for other engines, alone.
void allow(Configuration& options, std::string_view key, const std::vector<std::string>& names,
           std::unordered_set<std::string> kept_free = {}) {
  const auto rows = planner_options();
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const OptionRow& r) { return r.key == key; });
  assert(row != rows.end());
  const std::string name(key), help(row->help), group(row->group);
  std::unordered_set<std::string> allowed = std::move(kept_free);
  allowed.insert(names.begin(), names.end());
  if (row->kind == OptionKind::texts)
    options.add_vector_string_option(name, help, group, options.get_vector_string_value(name), allowed,
                                     row->shortcut);
  else
    options.add_string_option(name, help, group, options.get_string_value(name), allowed, row->shortcut);
}

int run(Environment& env, int argc, const char* const* argv) {
  Configuration& options = env.configuration();
  options.add_float_option("time-limit", "Ends the search after so many seconds; 0 for no limit.", "solve",
                           0);
  options.add_integer_option("memory-limit",
                             "Ends the search when its states take so many MiB; 0 for no limit.", "solve", 0);
  options.add_string_option("plan-format", "How plans are written and read.", "generic", "anml",
                            {"anml", "html", "json", "pddl"});
  options.add_boolean_option("anytime", "Goes on to shorter plans until a limit or a proof ends the search.",
                             "solve");
  std::unordered_set<std::string> parts;
  for (const std::string_view part : tp::ftp::guided_part_names()) parts.emplace(part);
  options.add_vector_string_option("guided-without",
                                   "Leaves out a part of the guided search, to see what it is worth.",
                                   "solve", {}, parts);
  options.add_string_option("rows", "What a row of a chart is.", "charts", "actions", {"actions", "objects"});
  options.add_vector_string_option("fluent", "A fluent whose values a chart shows; may be repeated.",
                                   "charts", {});
  options.add_boolean_option("verbose", "Prints what the search did, in a table.", "solve");
  options.add_boolean_option("explain", "Says why there is no plan, as far as it is known.", "solve");
  options.add_boolean_option("quiet", "Prints nothing but the answer and errors.", "generic", 'q');
  options.add_boolean_option("standard-pddl", "Writes the PDDL of other planners.", "convert-to");
  allow(options, "transformer", transformer_names());
  allow(options, "ftp-heuristic", heuristic_names(Engine::temporal), {"rlvalue", "rldistance"});
  allow(options, "tsimple-heuristic", heuristic_names(Engine::classical));
  const std::vector<std::string> words = spelled_out(argc, argv);
  std::vector<const char*> pointers;
  for (const std::string& word : words) pointers.push_back(word.c_str());
  const bool asks_for_help = std::any_of(words.begin() + 1, words.end(), [](const std::string& word) {
    return word == "--help" || word == "-h";
  });
  if (asks_for_help) std::cout << usage << '\n';
  std::vector<std::string> files;
  if (options.parse_from_command_line(static_cast<int>(pointers.size()), pointers.data(), files) != 0)
    return asks_for_help ? success : bad_input;
  if (options.get_boolean_value("version")) {
    std::cout << zorvel_version_string() << '\n';
    return success;
  }
  set_logging_level(
      static_cast<int>(std::clamp<std::int64_t>(options.get_integer_value("logging-level"), 0, 5)));
  if (options.get_float_value("time-limit") < 0) throw InputError("--time-limit must not be negative");
  if (options.get_integer_value("memory-limit") < 0) throw InputError("--memory-limit must not be negative");
  const auto command = commands().find(options.get_string_value("function"));
  if (command == commands().end()) {
    const std::string& name = options.get_string_value("function");
    std::cerr << (name.empty() ? "zorvel: no command was given\n"
                               : "zorvel: the command '" + name + "' is not available\n")
              << usage;
    return bad_input;
  }
  return command->second(env, files);
}

}  // namespace

int run_program(int argc, const char* const* argv) {
  std::unique_ptr<Environment> env;
  const auto fail = [&](const char* what, Status status) {
    std::cerr << "zorvel: " << what << '\n';
    // Who reads JSON reads it in every case.
    if (env != nullptr && env->configuration().was_given("plan-format") &&
        plan_format(env->configuration()) == PlanFormat::json)
      std::cout << report::failure_to_json("error", what) << std::flush;
    return status;
  };
  try {
    env = std::make_unique<Environment>();
    return run(*env, argc, argv);
  } catch (const InputError& error) {
    return fail(error.what(), bad_input);
  } catch (const std::bad_alloc&) {
    return fail("out of memory", gave_up);
  } catch (const std::exception& error) {
    return fail(error.what(), gave_up);
  }
}

}  // namespace zorvel::cli
