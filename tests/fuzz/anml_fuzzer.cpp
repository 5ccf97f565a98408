// Any bytes as an ANML text: the reader gives a problem or an error, and a problem that was read can be
// printed.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "core/environment.h"
#include "model/problem_instance.h"
#include "parsers/anml_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zorvel::Environment env;
  zorvel::AnmlParser parser(env);
  std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
  try {
    const auto problem = parser.parse(text);
    if (parser.error_line() != 0) std::abort();
    std::ostringstream printed;
    printed << problem;
  } catch (const std::exception&) {
    // An error's line lies within the text, or behind its last newline.
    const std::string whole(reinterpret_cast<const char*>(data), size);
    int lines = 1;
    for (const char c : whole) lines += c == '\n';
    if (parser.error_line() < 0 || parser.error_line() > lines) std::abort();
  }
  return 0;
}
