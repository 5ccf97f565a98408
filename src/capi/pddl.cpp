#include "parsers/pddl_parser.h"

#include "capi/frame.h"
#include "pddl/reader.h"

using namespace zorvel;  // NOLINT: the bodies below are C functions
using namespace zorvel::capi;

namespace {

/// Runs `read`; a failure in the text of one of the two files gets its place behind its own text.
template <class Read>
zorvel_problem with_place(PddlParser& parser, Read read) {
  try {
    return to_handle<zorvel_problem>(read());
  } catch (const std::exception& error) {
    if (parser.error_line() == 0) throw;
    const std::string& place = parser.error_place();
    note_error_place({place.substr(0, place.find_last_of(':')), parser.error_line(), 0});
    throw std::runtime_error(std::string(error.what()) + " (" + parser.error_place() + ")");
  }
}

/// The same for the reader of the full language, whose texts begin with their places.
template <class Read>
zorvel_problem noting_place(PddlReader& reader, Read read) {
  try {
    return to_handle<zorvel_problem>(read());
  } catch (const std::exception&) {
    note_error_place({reader.error_file(), reader.error_line(), reader.error_column()});
    throw;
  }
}

}  // namespace

extern "C" {

zorvel_problem zorvel_parse_pddl(zorvel_env env, const char* domain_file, const char* problem_file) {
  return at_boundary([&] {
    PddlParser parser(to_cxx(env));
    const std::string domain = to_text(domain_file, "domain_file");
    const std::string problem = to_text(problem_file, "problem_file");
    return with_place(parser, [&] { return parser.parse_files(domain, problem); });
  });
}
zorvel_problem zorvel_parse_pddl_text(zorvel_env env, const char* domain_text, const char* problem_text,
                                      int* error_line) {
  return at_boundary([&] {
    PddlParser parser(to_cxx(env));
    const std::string domain = to_text(domain_text, "domain_text");
    const std::string problem = to_text(problem_text, "problem_text");
    if (error_line != nullptr) *error_line = 0;
    return with_place(parser, [&] {
      try {
        return parser.parse_texts(domain, problem);
      } catch (const std::exception&) {
        if (error_line != nullptr) *error_line = parser.error_line();
        throw;
      }
    });
  });
}

zorvel_problem zorvel_read_pddl(zorvel_env env, const char* domain_file, const char* problem_file) {
  return at_boundary([&] {
    PddlReader reader(to_cxx(env));
    const std::string domain = to_text(domain_file, "domain_file");
    const std::string problem = to_text(problem_file, "problem_file");
    return noting_place(reader, [&] { return reader.read_files(domain, problem); });
  });
}
zorvel_problem zorvel_read_pddl_text(zorvel_env env, const char* domain, const char* problem) {
  return at_boundary([&] {
    PddlReader reader(to_cxx(env));
    const std::string domain_text = to_text(domain, "domain"), problem_text = to_text(problem, "problem");
    return noting_place(reader, [&] { return reader.read_texts(domain_text, problem_text); });
  });
}
}
