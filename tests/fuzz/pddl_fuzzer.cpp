// Any bytes as a PDDL text, as one text and cut in two: the readers give a problem or an error, and a problem
// that was read can be printed. Errors of the reader of the full language are all its own, with their places.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "core/environment.h"
#include "core/errors.h"
#include "model/problem_instance.h"
#include "parsers/pddl_parser.h"
#include "pddl/reader.h"

namespace {

/// The number of the last line of a text, where one behind its last newline counts.
int last_line(const std::string& text) {
  return static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
}

void read_whole(const std::string& text) {
  zorvel::Environment env;
  zorvel::PddlParser parser(env);
  std::istringstream stream(text);
  try {
    const auto problem = parser.parse(stream);
    if (parser.error_line() != 0) std::abort();
    std::ostringstream printed;
    printed << problem;
  } catch (const std::exception&) {
    if (parser.error_line() < 0 || parser.error_line() > last_line(text)) std::abort();
  }
}

void read_in_two(const std::string& domain, const std::string& problem) {
  zorvel::Environment env;
  zorvel::PddlParser parser(env);
  try {
    parser.parse_texts(domain, problem);
    if (!parser.error_place().empty()) std::abort();
  } catch (const std::exception&) {
    const int last = last_line(parser.is_error_in_problem() ? problem : domain);
    if (parser.error_line() < 0 || parser.error_line() > last || parser.error_place().empty()) std::abort();
  }
}

void read_full_language(const std::string& domain, const std::string& problem) {
  zorvel::Environment env;
  zorvel::PddlReader reader(env);
  try {
    std::ostringstream printed;
    printed << reader.read_texts(domain, problem);
  } catch (const zorvel::ParserError&) {}
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  read_whole(text);
  const std::size_t cut = std::min(text.find('@'), text.size() / 2);
  const std::string rest = text.substr(std::min(size, cut + (cut < size && text[cut] == '@' ? 1 : 0)));
  read_in_two(text.substr(0, cut), rest);
  read_full_language(text.substr(0, cut), rest);
  return 0;
}
