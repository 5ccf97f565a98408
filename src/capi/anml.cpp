#include <fstream>

#include "capi/frame.h"
#include "core/output_file.h"
#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

std::ifstream open(const char* name) {
  const std::string path = to_text(name, "file");
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) throw InvalidParameterError("File '") << path << "' does not exist!";
  return file;
}

/// Runs `read`; a failure gets the line that the parser tells.
template <class Parser, class Read>
auto noting_place(const Parser& parser, const std::string& file, Read read) {
  try {
    return read();
  } catch (const std::exception&) {
    note_error_place({parser.error_line() == 0 ? "" : file, parser.error_line(), 0});
    throw;
  }
}

/// Reads text in memory; on a failure `*error_line` gets the line, if the caller wants it.
template <class Parser>
auto parse_text(Parser&& parser, const char* text, int* error_line) {
  std::istringstream stream(to_text(text, "text"));
  try {
    if (error_line != nullptr) *error_line = 0;
    return noting_place(parser, "", [&] { return parser.parse(stream); });
  } catch (const std::exception&) {
    if (error_line != nullptr) *error_line = parser.error_line();
    throw;
  }
}

}  // namespace

extern "C" {

zorvel_problem zorvel_parse_anml(zorvel_env env, const char* file) {
  return at_boundary([&] {
    Environment& environment = to_cxx(env);
    std::ifstream stream = open(file);
    AnmlParser parser(environment);
    return to_handle<zorvel_problem>(noting_place(parser, file, [&] { return parser.parse(stream, file); }));
  });
}
zorvel_problem zorvel_parse_anml_text(zorvel_env env, const char* text, int* error_line) {
  return at_boundary(
      [&] { return to_handle<zorvel_problem>(parse_text(AnmlParser(to_cxx(env)), text, error_line)); });
}
int zorvel_dump_anml(zorvel_problem problem, const char* file) {
  return at_boundary([&] {
    std::ostringstream text;
    text << to_cxx(problem) << '\n';
    write_output_file(to_text(file, "file"), text.str());
    return 0;
  });
}

zorvel_ttplan zorvel_parse_ttplan(zorvel_problem problem, const char* file) {
  return at_boundary([&] {
    const model::ProblemPtr object = to_cxx(problem);
    std::ifstream stream = open(file);
    TTPParser parser(object->env(), object);
    return to_handle<zorvel_ttplan>(noting_place(parser, file, [&] { return parser.parse(stream); }));
  });
}
zorvel_ttplan zorvel_parse_ttplan_text(zorvel_problem problem, const char* text, int* error_line) {
  return at_boundary([&] {
    const model::ProblemPtr object = to_cxx(problem);
    return to_handle<zorvel_ttplan>(parse_text(TTPParser(object->env(), object), text, error_line));
  });
}
}
