#include "cli/input.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <sstream>

#include "cli/commands.h"
#include "core/errors.h"
#include "core/input_file.h"
#include "model/expression_factory.h"
#include "model/walkers/expression_parts.h"
#include "parsers/anml_parser.h"
#include "parsers/pddl_plan_parser.h"
#include "parsers/statement_line.h"
#include "parsers/ttp_parser.h"
#include "pddl/reader.h"
#include "report/value_history.h"

namespace zorvel::cli {

namespace {

constexpr const char* standard_input = "-";

/// A file as messages name it.
std::string shown(const std::string& path) { return path == standard_input ? "standard input" : path; }

std::string read_text(const std::string& path) {
  if (path == standard_input) return read_all(std::cin);
  std::ifstream file = open_input_file(path);
  return read_all(file);
}

/// Runs `read`; a failure becomes an InputError that begins with the file and, if there is one, the line.
template <class Reader, class Read>
auto reading(const std::string& path, Reader& reader, Read read) {
  try {
    return read();
  } catch (const std::exception& error) {
    const std::string line = reader.error_line() > 0 ? std::to_string(reader.error_line()) + ":" : "";
    throw InputError(shown(path) + ":" + line + " " + error.what());
  }
}

/// The line of a statement that a planner has refused, 0 if unknown. One with parameters is refused in
/// another form than it was read in; then the first whose time depends on the state of the world is meant.
int line_of(const std::string& path, const Node* refused) {
  const std::string text = model::to_anml(refused);
  const int line =
      find_statement_line(path, [&](Node* statement) { return model::to_anml(statement) == text; });
  if (line != 0) return line;
  return find_statement_line(path, [](const Node* statement) {
    if (!model::ExpressionFactory::is_temporal_expression(statement)) return false;
    return model::reads_fluent(statement->children[0]);
  });
}

Input read_anml(Environment& env, const std::vector<std::string>& files, const char* command) {
  if (files.size() != 1)
    throw InputError(std::string("'") + command + "' takes one problem file, not " +
                     std::to_string(files.size()));
  const std::string& path = files[0];
  AnmlParser parser(env);
  const model::ProblemPtr problem = reading(path, parser, [&] {
    return path == standard_input ? parser.parse(std::cin, shown(path)) : parser.parse_file(path);
  });
  return {problem, {}, path == standard_input ? "" : path};
}

Input read_pddl(Environment& env, const std::vector<std::string>& files, const char* command) {
  if (files.size() != 2)
    throw InputError(std::string("'") + command + " --pddl' takes a domain file and a problem file, not " +
                     std::to_string(files.size()) + (files.size() == 1 ? " file" : " files"));
  PddlReader reader(env);
  try {
    std::string domain = read_text(files[0]);
    const model::ProblemPtr problem =
        reader.read_texts(std::move(domain), read_text(files[1]), shown(files[0]), shown(files[1]));
    return {problem, reader.plan_names()};
  } catch (const ParserError& error) {
    // Its lines have all that is needed; the name of its class would hide where the first of them is.
    throw InputError(error.message().substr(std::string_view(ParserError().what()).size()));
  } catch (const ZorvelError& error) {
    throw InputError(error.message());
  }
}

template <class Parser>
std::shared_ptr<TimeTriggeredPlan> parse_plan(Parser&& parser, const std::string& path,
                                              const std::string& text) {
  return reading(path, parser, [&] {
    std::istringstream stream(text);
    return parser.parse(stream);
  });
}

/// Whether the first step stands in parentheses, as in the PDDL format.
bool looks_like_pddl(const std::string& text) {
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == ';') continue;
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) return false;
    const std::size_t step = line.find_first_not_of(" \t", colon + 1);
    return step != std::string::npos && line[step] == '(';
  }
  return false;
}

}  // namespace

Input read_problem(Environment& env, const std::vector<std::string>& files, const char* command) {
  if (std::ranges::count(files, standard_input) +
          (env.configuration().get_string_value("plan") == standard_input ? 1 : 0) >
      1)
    throw InputError("standard input, '-', can be one of the files, and no more");
  const bool is_pddl = env.configuration().get_boolean_value("pddl");
  Input input = is_pddl ? read_pddl(env, files, command) : read_anml(env, files, command);
  try {
    report::require_fluents(*input.problem, env.configuration().get_vector_string_value("fluent"));
  } catch (const ZorvelError& error) {
    throw InputError(error.message());
  }
  return input;
}

std::shared_ptr<TimeTriggeredPlan> read_plan(Environment& env, const std::string& path, const Input& input) {
  std::string text;
  try {
    text = read_text(path);
  } catch (const ZorvelError& error) {
    throw InputError(error.message());
  }
  const Configuration& options = env.configuration();
  const std::string& format = options.get_string_value("plan-format");
  // The formats that are only written say nothing of what is read.
  const bool is_named = options.was_given("plan-format") && (format == "anml" || format == "pddl");
  const bool is_pddl = is_named ? format == "pddl" : looks_like_pddl(text);
  if (is_pddl) return parse_plan(PddlPlanParser(env, input.problem, input.names), path, text);
  return parse_plan(TTPParser(env, input.problem), path, text);
}

std::string locate(const Input& input, const Node* refused, const std::string& message) {
  const int line = input.anml_file.empty() ? 0 : line_of(input.anml_file, refused);
  return line == 0 ? "" : input.anml_file + ":" + std::to_string(line) + ": " + message;
}

}  // namespace zorvel::cli
